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

class SettingsViewTest : public testing::Test {
 protected:
  SettingsViewTest() : view(context()) {
    view.resize(470, 640);
    view.show();
    UIHarness::pumpEvents();
  }

  ViewContext context() {
    ViewContext made;
    made.model = ui.sharedModel();
    made.version = "1.2.0";
    made.checkForUpdates = [this] { ++updateChecks; };
    return made;
  }
  QString text(const char* objectName) { return child<QLabel>(view, objectName).text(); }
  void scroll(QWidget& control, const QPoint& angle) {
    const QPointF middle = control.rect().center();
    QWheelEvent event(middle, control.mapToGlobal(middle), {}, angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(&control, &event);
    UIHarness::pumpEvents();
  }

  UIHarness ui;
  int updateChecks = 0;
  SettingsView view;
};

TEST_F(SettingsViewTest, theIntervalIsTakenByItsSliderAndAppliedByItsButton) {
  auto& slider = child<QSlider>(view, "pollingInterval");
  auto& button = child<QPushButton>(view, "applyInterval");
  EXPECT_EQ(button.text(), "Apply 2.0 second interval");
  QTest::keyClick(&slider, Qt::Key_Right);
  UIHarness::pumpEvents();
  EXPECT_DOUBLE_EQ(ui.model().pollingInterval(), 2.5);
  EXPECT_EQ(button.text(), "Apply 2.5 second interval");
  EXPECT_EQ(slider.accessibleDescription(), "2.5 seconds");
  for (int press = 0; press < 20; ++press) QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_DOUBLE_EQ(ui.model().pollingInterval(), 5.0);
  ui.run(0.5);
  EXPECT_FALSE(ui.desktop().userDefaults.number("pollingInterval") == 5.0) << "stored only when applied";

  click(view, "applyInterval");
  ui.run(0.5);
  EXPECT_EQ(ui.desktop().userDefaults.number("pollingInterval"), 5.0);
  const auto sampled = ui.model().lastTemperatureSampleDate();
  ui.run(4.0);
  EXPECT_EQ(ui.model().lastTemperatureSampleDate(), sampled) << "polls come every 5 s now";
  ui.run(2.0);
  EXPECT_NE(ui.model().lastTemperatureSampleDate(), sampled);
  for (int press = 0; press < 20; ++press) QTest::keyClick(&slider, Qt::Key_Left);
  EXPECT_DOUBLE_EQ(ui.model().pollingInterval(), 1.0);
}

TEST_F(SettingsViewTest, theThresholdStaysBetweenItsLimits) {
  auto& slider = child<QSlider>(view, "overheatThreshold");
  EXPECT_EQ(text("thresholdText"), "85 °C");
  QTest::keyClick(&slider, Qt::Key_Left);
  UIHarness::pumpEvents();
  EXPECT_EQ(text("thresholdText"), "84 °C");
  QTest::keyClick(&slider, Qt::Key_Home);
  QTest::keyClick(&slider, Qt::Key_Left);
  EXPECT_DOUBLE_EQ(ui.model().overheatThreshold(), 40.0);
  QTest::keyClick(&slider, Qt::Key_End);
  QTest::keyClick(&slider, Qt::Key_Right);
  UIHarness::pumpEvents();
  EXPECT_DOUBLE_EQ(ui.model().overheatThreshold(), 100.0);
  EXPECT_EQ(text("thresholdText"), "100 °C");
}

TEST_F(SettingsViewTest, scrollingPastAControlDoesNotChangeIt) {
  child<QPushButton>(view, "applyInterval").setFocus();
  for (const char* name : {"pollingInterval", "overheatThreshold", "ownerPicker"}) {
    scroll(child<QWidget>(view, name), {0, -120});
  }
  EXPECT_DOUBLE_EQ(ui.model().pollingInterval(), 2.0);
  EXPECT_DOUBLE_EQ(ui.model().overheatThreshold(), 85.0);
  EXPECT_EQ(ui.model().fanControlOwnership(), FanControlOwnership::aerovane);

  child<QSlider>(view, "overheatThreshold").setFocus();
  scroll(child<QWidget>(view, "overheatThreshold"), {0, -120});
  EXPECT_LT(ui.model().overheatThreshold(), 85.0) << "a slider with the focus is turned by the wheel";
}

TEST_F(SettingsViewTest, aRefusedLoginItemDoesNotStayChecked) {
  auto& box = child<QCheckBox>(view, "startAtLogin");
  ui.desktop().serviceManagement.failMainApp(ServiceManagementFailure("not allowed"));
  QTest::mouseClick(&box, Qt::LeftButton, Qt::NoModifier, QPoint(8, box.height() / 2));
  EXPECT_FALSE(box.isChecked());
  EXPECT_EQ(ui.model().lastError(), "not allowed");
  ui.desktop().serviceManagement.failMainApp(std::nullopt);
  QTest::keyClick(&box, Qt::Key_Space);
  EXPECT_TRUE(box.isChecked());
  EXPECT_TRUE(ui.model().launchAtLogin());
}

TEST_F(SettingsViewTest, alertsNotificationsUpdatesAndLoginItemsReachTheModel) {
  QTest::keyClick(&child<QCheckBox>(view, "overheatAlerts"), Qt::Key_Space);
  EXPECT_TRUE(ui.model().overheatAlertsEnabled());
  QTest::keyClick(&child<QPushButton>(view, "testNotification"), Qt::Key_Space);
  ui.run(0.5);
  EXPECT_EQ(ui.desktop().notifications.shown().size(), 1u);
  QTest::keyClick(&child<QPushButton>(view, "openLoginItems"), Qt::Key_Space);
  EXPECT_EQ(ui.desktop().serviceManagement.counts().settingsOpened, 1);
  QTest::keyClick(&child<QPushButton>(view, "checkForUpdates"), Qt::Key_Space);
  EXPECT_EQ(updateChecks, 1);
  EXPECT_EQ(text("version"), "1.2.0 (—)");
}

TEST_F(SettingsViewTest, theDetectedWriterComesAndGoes) {
  EXPECT_FALSE(child<QLabel>(view, "detectedWriter").isVisible());
  ui.setCompetitor(true);
  ASSERT_TRUE(ui.runUntil([&] { return ui.model().competingController().has_value(); }, 5.0));
  EXPECT_TRUE(child<QLabel>(view, "detectedWriter").isVisible());
  EXPECT_EQ(text("detectedWriter").toStdString(), *ui.model().competingController());
  ui.setCompetitor(false);
  ASSERT_TRUE(ui.runUntil([&] { return !ui.model().competingController(); }, 5.0));
  EXPECT_FALSE(child<QLabel>(view, "detectedWriter").isVisible());
}

TEST_F(SettingsViewTest, fitsItsSmallestWindowWithoutSidewaysScrolling) {
  view.resize(view.minimumSizeHint());
  UIHarness::pumpEvents();
  auto& scrollArea = child<QScrollArea>(view, "settingsScroll");
  EXPECT_LE(scrollArea.widget()->width(), scrollArea.viewport()->width());
  EXPECT_GT(scrollArea.verticalScrollBar()->maximum(), 0);
  for (auto* const widget : scrollArea.widget()->findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->isWindow()) continue;
    EXPECT_LE(widget->mapTo(scrollArea.widget(), QPoint(widget->width(), 0)).x(), scrollArea.widget()->width())
        << widget->objectName().toStdString();
  }
}

TEST_F(SettingsViewTest, tabReachesEveryControlInReadingOrder) {
  view.activateWindow();
  std::vector<std::string> order;
  QWidget* const first = &child<QWidget>(view, "ownerPicker");
  QWidget* each = first;
  do {
    if ((each->focusPolicy() & Qt::TabFocus) != 0 && each->isVisibleTo(&view)) {
      order.push_back(each->objectName().toStdString());
    }
    each = each->nextInFocusChain();
  } while (each != first);
  std::erase(order, "");
  EXPECT_EQ(order, (std::vector<std::string>{"ownerPicker", "installHelper", "uninstallHelper", "openLoginItems",
                                             "startAtLogin", "pollingInterval", "applyInterval", "overheatAlerts",
                                             "overheatThreshold", "testNotification", "exportPresets", "importPresets",
                                             "returnToAutomatic", "checkForUpdates"}));
  for (const char* name : {"ownerPicker", "pollingInterval", "overheatThreshold"}) {
    auto* const accessible = QAccessible::queryAccessibleInterface(&child<QWidget>(view, name));
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << name;
  }
}

}  // namespace halcyra::test
