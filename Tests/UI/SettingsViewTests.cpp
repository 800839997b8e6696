#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QTest>
#include <QWheelEvent>

#include "gtest/gtest.h"

#include "UI/SettingsView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

/// What a user does in the settings, with what the fans of the machine then do.
class SettingsViewTest : public testing::Test {
 protected:
  SettingsViewTest() {
    ViewContext context = ui.context();
    context.version = "1.2.0";
    context.checkForUpdates = [this] { ++updateChecks; };
    view = std::make_unique<SettingsView>(context);
    view->resize(view->minimumSizeHint());
    view->show();
    view->activateWindow();
    UIHarness::pumpEvents();
  }
  void drive() {
    ui.model().activate(FanPreset::fullBlast(), false);
    ASSERT_TRUE(ui.drives());
  }
  QString text(const char* label) { return child<QLabel>(*view, label).text(); }
  void press(const char* control) {
    QTest::keyClick(&child<QWidget>(*view, control), Qt::Key_Space);
    UIHarness::pumpEvents();
  }
  void scroll(const char* name) {
    auto& control = child<QWidget>(*view, name);
    control.setFocus();
    const QPointF middle = control.rect().center();
    QWheelEvent event(middle, control.mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&control, &event);
    UIHarness::pumpEvents();
  }

  UIHarness ui;
  std::unique_ptr<SettingsView> view;
  int updateChecks = 0;
};

TEST_F(SettingsViewTest, nothingChangesByAccident) {
  drive();
  EXPECT_FALSE(child<QComboBox>(*view, "ownerPicker").hasFocus()) << "when the window opens";
  for (const char* name : {"pollingInterval", "overheatThreshold", "ownerPicker"}) scroll(name);
  EXPECT_DOUBLE_EQ(ui.model().pollingInterval(), 2.0);
  EXPECT_DOUBLE_EQ(ui.model().overheatThreshold(), 85.0);
  auto& owner = child<QComboBox>(*view, "ownerPicker");
  QTest::keyClick(&owner, Qt::Key_Down);
  QTest::keyClick(&owner, Qt::Key_A);
  EXPECT_EQ(ui.model().fanControlOwnership(), FanControlOwnership::aerovane);
  EXPECT_TRUE(ui.allManual());
  EXPECT_TRUE(owner.view()->isVisible()) << "the key opens the list";
  QTest::keyClick(owner.view(), Qt::Key_Down);
  QTest::keyClick(owner.view(), Qt::Key_Return);
  EXPECT_EQ(ui.model().fanControlOwnership(), FanControlOwnership::anotherApp);
  ASSERT_TRUE(ui.handsBack());
}

TEST_F(SettingsViewTest, everyControlReachesTheModel) {
  auto& interval = child<QSlider>(*view, "pollingInterval");
  QTest::keyClick(&interval, Qt::Key_Right);
  UIHarness::pumpEvents();
  EXPECT_EQ(child<QPushButton>(*view, "applyInterval").text(), "Apply 2.5 second interval");
  EXPECT_EQ(interval.accessibleDescription(), "2.5 seconds");
  EXPECT_NE(ui.desktop().userDefaults.number("pollingInterval"), 2.5) << "stored only when applied";
  press("applyInterval");
  EXPECT_EQ(ui.desktop().userDefaults.number("pollingInterval"), 2.5);
  for (const auto& [key, degrees] : {std::pair(Qt::Key_Home, "40 °C"), std::pair(Qt::Key_End, "100 °C")}) {
    QTest::keyClick(&child<QSlider>(*view, "overheatThreshold"), key);
    UIHarness::pumpEvents();
    EXPECT_EQ(text("thresholdText"), degrees);
  }
  press("overheatAlerts");
  EXPECT_TRUE(ui.model().overheatAlertsEnabled());
  press("openLoginItems");
  EXPECT_EQ(ui.desktop().serviceManagement.counts().settingsOpened, 1);
  press("checkForUpdates");
  EXPECT_EQ(updateChecks, 1);
  EXPECT_EQ(text("version"), "1.2.0 (—)");

  auto& box = child<QCheckBox>(*view, "startAtLogin");
  ui.desktop().serviceManagement.failMainApp(ServiceManagementFailure("not allowed"));
  press("startAtLogin");
  EXPECT_FALSE(box.isChecked()) << "a refused login item does not stay checked";
  ui.desktop().serviceManagement.failMainApp(std::nullopt);
  press("startAtLogin");
  EXPECT_TRUE(ui.model().launchAtLogin());

  press("exportPresets");
  EXPECT_TRUE(ui.desktop().files.contents.empty()) << "the file panel was cancelled";
  ui.desktop().workspace.saveAnswer = ui.desktop().workspace.openAnswer = "/mine.json";
  press("exportPresets");
  const std::size_t presets = ui.model().customPresets().size();
  press("importPresets");
  EXPECT_EQ(ui.model().customPresets().size(), 2 * presets);

  auto& page = child<QScrollArea>(*view, "settingsScroll");
  EXPECT_LE(page.widget()->width(), page.viewport()->width()) << "the smallest window scrolls sideways";
}

TEST_F(SettingsViewTest, theTestNotificationAnswersWhereItWasPressed) {
  press("testNotification");
  EXPECT_EQ(text("testAnswer"), "Sending…");
  EXPECT_TRUE(QTest::qWaitFor([&] { return text("testAnswer").startsWith("Sent."); }, 60'000));
  ui.run(0.5);
  EXPECT_EQ(ui.desktop().notifications.shown().size(), 1u);
}

TEST_F(SettingsViewTest, theEmergencyResetHandsEverythingBackByButtonAndByShortcut) {
  for (const bool byShortcut : {false, true}) {
    drive();
    if (byShortcut) {
      QTest::keyClick(view.get(), Qt::Key_Escape, Qt::ControlModifier | Qt::AltModifier);
    } else {
      press("returnToAutomatic");
    }
    ASSERT_TRUE(ui.handsBack()) << "by shortcut: " << byShortcut;
    EXPECT_EQ(ui.model().activePreset(), FanPreset::systemDefault());
    ui.run(20.0);
    EXPECT_TRUE(ui.allAutomatic()) << "nothing takes the fans again";
  }
}

TEST_F(SettingsViewTest, uninstallingAsksHandsBackAndThenRemovesTheHelper) {
  drive();
  press("uninstallHelper");
  EXPECT_TRUE(ui.allManual()) << "nothing before the answer";
  click(*view, "confirmDelete");
  EXPECT_FALSE(child<QPushButton>(*view, "uninstallHelper").isEnabled()) << "not twice";
  ASSERT_TRUE(ui.runUntil([&] { return ui.desktop().serviceManagement.counts().unregistered > 0; }, 30.0));
  EXPECT_TRUE(ui.allAutomatic());
  ui.run(1.0);
  EXPECT_EQ(text("helperStatus"), "Not installed");
}

}  // namespace halcyra::test
