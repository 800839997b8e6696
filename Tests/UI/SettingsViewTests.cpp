#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
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
  void open(const UIHarness::Options& options = {}) {
    ui = std::make_unique<UIHarness>(options);
    ViewContext context = ui->context();
    context.version = "1.2.0";
    context.checkForUpdates = [this] { ++updateChecks; };
    view = std::make_unique<SettingsView>(context);
    view->resize(470, 640);
    view->show();
    view->activateWindow();
    UIHarness::pumpEvents();
  }
  void drive() {
    ui->model().activate(FanPreset::fullBlast(), false);
    ASSERT_TRUE(ui->drives());
  }
  QString text(const char* label) { return child<QLabel>(*view, label).text(); }
  /// As by the keyboard.
  void press(const char* control) {
    QTest::keyClick(&child<QWidget>(*view, control), Qt::Key_Space);
    UIHarness::pumpEvents();
  }
  void scroll(const char* name) {
    auto& control = child<QWidget>(*view, name);
    const QPointF middle = control.rect().center();
    QWheelEvent event(middle, control.mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&control, &event);
    UIHarness::pumpEvents();
  }
  void TearDown() override {
    view.reset();
    ui.reset();
  }

  std::unique_ptr<UIHarness> ui;
  std::unique_ptr<SettingsView> view;
  int updateChecks = 0;
};

TEST_F(SettingsViewTest, theIntervalIsTakenByItsSliderAndAppliedByItsButton) {
  open();
  auto& slider = child<QSlider>(*view, "pollingInterval");
  auto& button = child<QPushButton>(*view, "applyInterval");
  QTest::keyClick(&slider, Qt::Key_Right);
  UIHarness::pumpEvents();
  EXPECT_DOUBLE_EQ(ui->model().pollingInterval(), 2.5);
  EXPECT_EQ(button.text(), "Apply 2.5 second interval");
  EXPECT_EQ(slider.accessibleDescription(), "2.5 seconds");
  for (int press = 0; press < 20; ++press) QTest::keyClick(&slider, Qt::Key_Left);
  EXPECT_DOUBLE_EQ(ui->model().pollingInterval(), 1.0);
  for (int press = 0; press < 20; ++press) QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_DOUBLE_EQ(ui->model().pollingInterval(), 5.0);
  ui->run(0.5);
  EXPECT_NE(ui->desktop().userDefaults.number("pollingInterval"), 5.0) << "stored only when applied";

  click(*view, "applyInterval");
  ui->run(0.5);
  EXPECT_EQ(ui->desktop().userDefaults.number("pollingInterval"), 5.0);
}

TEST_F(SettingsViewTest, theThresholdStaysBetweenItsLimits) {
  open();
  auto& slider = child<QSlider>(*view, "overheatThreshold");
  EXPECT_EQ(text("thresholdText"), "85 °C");
  QTest::keyClick(&slider, Qt::Key_Home);
  EXPECT_DOUBLE_EQ(ui->model().overheatThreshold(), 40.0);
  QTest::keyClick(&slider, Qt::Key_End);
  UIHarness::pumpEvents();
  EXPECT_DOUBLE_EQ(ui->model().overheatThreshold(), 100.0);
  EXPECT_EQ(text("thresholdText"), "100 °C");
}

TEST_F(SettingsViewTest, scrollingPastAControlDoesNotChangeIt) {
  open();
  child<QPushButton>(*view, "applyInterval").setFocus();
  for (const char* name : {"pollingInterval", "overheatThreshold", "ownerPicker"}) scroll(name);
  EXPECT_DOUBLE_EQ(ui->model().pollingInterval(), 2.0);
  EXPECT_DOUBLE_EQ(ui->model().overheatThreshold(), 85.0);
  EXPECT_EQ(ui->model().fanControlOwnership(), FanControlOwnership::aerovane);

  child<QSlider>(*view, "overheatThreshold").setFocus();
  scroll("overheatThreshold");
  EXPECT_LT(ui->model().overheatThreshold(), 85.0) << "a slider with the focus is turned by the wheel";
}

TEST_F(SettingsViewTest, everyOtherControlReachesTheModel) {
  open();
  press("overheatAlerts");
  EXPECT_TRUE(ui->model().overheatAlertsEnabled());
  press("testNotification");
  ui->run(0.5);
  EXPECT_EQ(ui->desktop().notifications.shown().size(), 1u);
  press("openLoginItems");
  EXPECT_EQ(ui->desktop().serviceManagement.counts().settingsOpened, 1);
  press("checkForUpdates");
  EXPECT_EQ(updateChecks, 1);
  EXPECT_EQ(text("version"), "1.2.0 (—)");

  auto& box = child<QCheckBox>(*view, "startAtLogin");
  ui->desktop().serviceManagement.failMainApp(ServiceManagementFailure("not allowed"));
  QTest::mouseClick(&box, Qt::LeftButton, Qt::NoModifier, QPoint(8, box.height() / 2));
  EXPECT_FALSE(box.isChecked()) << "a refused login item does not stay checked";
  EXPECT_EQ(ui->model().lastError(), "not allowed");
  ui->desktop().serviceManagement.failMainApp(std::nullopt);
  press("startAtLogin");
  EXPECT_TRUE(box.isChecked());
  EXPECT_TRUE(ui->model().launchAtLogin());

  press("exportPresets");
  EXPECT_TRUE(ui->desktop().files.contents.empty()) << "the file panel was cancelled";
  ui->desktop().workspace.saveAnswer = ui->desktop().workspace.openAnswer = "/mine.json";
  press("exportPresets");
  const std::size_t presets = ui->model().customPresets().size();
  press("importPresets");
  EXPECT_EQ(ui->model().customPresets().size(), 2 * presets);
}

TEST_F(SettingsViewTest, theDetectedWriterComesAndGoes) {
  open();
  EXPECT_FALSE(child<QLabel>(*view, "detectedWriter").isVisible());
  ui->setCompetitor(true);
  ASSERT_TRUE(ui->runUntil([&] { return ui->model().competingController().has_value(); }, 5.0));
  EXPECT_TRUE(child<QLabel>(*view, "detectedWriter").isVisible());
  EXPECT_EQ(text("detectedWriter").toStdString(), *ui->model().competingController());
  ui->setCompetitor(false);
  ASSERT_TRUE(ui->runUntil([&] { return !ui->model().competingController(); }, 5.0));
  EXPECT_FALSE(child<QLabel>(*view, "detectedWriter").isVisible());
}

TEST_F(SettingsViewTest, theEmergencyResetHandsEverythingBackByButtonAndByShortcut) {
  open();
  for (const bool byShortcut : {false, true}) {
    drive();
    if (byShortcut) {
      QTest::keyClick(view.get(), Qt::Key_Escape, Qt::ControlModifier | Qt::AltModifier);
    } else {
      press("returnToAutomatic");
    }
    ASSERT_TRUE(ui->handsBack()) << "by shortcut: " << byShortcut;
    EXPECT_EQ(ui->model().activePreset(), FanPreset::systemDefault());
    EXPECT_EQ(ui->desktop().log.count("smart control disengaged: settings emergency reset"), byShortcut ? 2u : 1u);
    ui->run(20.0);
    EXPECT_TRUE(ui->allAutomatic()) << "nothing takes the fans again";
  }
}

TEST_F(SettingsViewTest, uninstallingHandsBackFirstAndThenRemovesTheHelper) {
  open();
  drive();
  press("uninstallHelper");
  EXPECT_FALSE(child<QPushButton>(*view, "uninstallHelper").isEnabled()) << "not twice";
  ASSERT_TRUE(ui->runUntil([&] { return ui->desktop().serviceManagement.counts().unregistered > 0; }, 30.0));
  EXPECT_TRUE(ui->allAutomatic());
  ui->run(1.0);
  EXPECT_EQ(text("helperStatus"), "Not installed");
  EXPECT_EQ(ui->model().lastError(), std::nullopt);
  EXPECT_TRUE(child<QPushButton>(*view, "uninstallHelper").isEnabled());
}

TEST_F(SettingsViewTest, firstSetUpFromNotInstalledToThePassedTest) {
  open(
      {.isSetUp = false, .prepare = [](TestPlatform& platform) { platform.serviceManagement.setNeedsApproval(true); }});
  EXPECT_EQ(text("helperStatus"), "Not installed");
  press("installHelper");
  ui->run(0.2);
  EXPECT_EQ(text("helperStatus"), "Approval required");
  EXPECT_EQ(ui->desktop().serviceManagement.counts().settingsOpened, 1) << "the user is shown where to approve";
  ui->desktop().serviceManagement.approve();
  ui->run(3.0);
  EXPECT_EQ(text("helperStatus"), "Approved");
  EXPECT_EQ(text("supervisedTestStatus"), "Required");
  ui->model().runSupervisedFan0Test();
  EXPECT_TRUE(ui->runUntil([&] { return text("supervisedTestStatus") == "Passed"; }, 40.0));
  EXPECT_TRUE(ui->allAutomatic());
}

TEST_F(SettingsViewTest, aNewIntervalDoesNotWakeTheControlOfASleepingMachine) {
  open();
  drive();
  ui->desktop().power.sleep();
  ASSERT_TRUE(ui->runUntil([&] { return ui->desktop().power.isAsleep(); }, 30.0));
  EXPECT_TRUE(ui->allAutomatic()) << "handed back before the machine sleeps";
  press("applyInterval");
  ui->run(20.0);
  EXPECT_TRUE(ui->allAutomatic());
  ui->desktop().power.wake();
  EXPECT_TRUE(ui->drives());
}

TEST_F(SettingsViewTest, fitsItsSmallestWindowWithoutSidewaysScrolling) {
  open();
  view->resize(view->minimumSizeHint());
  UIHarness::pumpEvents();
  auto& scrollArea = child<QScrollArea>(*view, "settingsScroll");
  EXPECT_LE(scrollArea.widget()->width(), scrollArea.viewport()->width());
  EXPECT_GT(scrollArea.verticalScrollBar()->maximum(), 0);
  for (auto* const widget : scrollArea.widget()->findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->isWindow()) continue;
    EXPECT_LE(widget->mapTo(scrollArea.widget(), QPoint(widget->width(), 0)).x(), scrollArea.widget()->width())
        << widget->objectName().toStdString();
  }
}

TEST_F(SettingsViewTest, tabReachesEveryControlInReadingOrder) {
  open();
  EXPECT_EQ(tabOrder(*view, child<QWidget>(*view, "ownerPicker")),
            (std::vector<std::string>{"ownerPicker", "installHelper", "uninstallHelper", "openLoginItems",
                                      "startAtLogin", "pollingInterval", "applyInterval", "overheatAlerts",
                                      "overheatThreshold", "testNotification", "exportPresets", "importPresets",
                                      "returnToAutomatic", "checkForUpdates"}));
  for (const char* name : {"ownerPicker", "pollingInterval", "overheatThreshold"}) {
    auto* const accessible = QAccessible::queryAccessibleInterface(&child<QWidget>(*view, name));
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << name;
  }
}

}  // namespace halcyra::test
