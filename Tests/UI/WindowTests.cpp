#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include "gtest/gtest.h"

#include "UI/Application.h"
#include "UI/Controls/FadeTransition.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/MainView.h"
#include "UI/MenuBarPanel.h"
#include "UI/MenuBarPresetRow.h"
#include "UI/Motion.h"
#include "UI/Style.h"
#include "UI/Theme.h"
#include "UI/UIHarness.h"
#include "UI/Widgets.h"

namespace halcyra::test {

namespace {

/// The editor with one box per fan, which is what needs the most room.
void editUnlinked(UIHarness& ui, MainView& view) {
  ui.model().createCustomPreset();
  ASSERT_TRUE(ui.drives());
  FanPreset preset = ui.model().activePreset();
  preset.name = std::string(300, 'W');
  ui.model().savePreset(preset);
  ui.run(0.2);
  child<QCheckBox>(view, "linkFans").click();
  ASSERT_FALSE(view.editingPreset().linkedFans);
}

}  // namespace

TEST(Windows, theDashboardFitsEveryWidth) {
  UIHarness ui;
  MainView view(ui.context());
  view.resize(980, 800);
  view.show();
  editUnlinked(ui, view);
  child<QAbstractButton>(view, "rawThermals").click();
  auto& detail = child<QScrollArea>(view, "detail");
  for (int width = 520; width <= 1100; width += 40) {
    view.resize(width, 800);
    // Once more for what the first pass has laid out anew.
    for (int pass = 0; pass < 3; ++pass) UIHarness::pumpEvents();
    EXPECT_EQ(view.width(), width);
    EXPECT_LE(detail.widget()->width(), detail.viewport()->width()) << "in a window of " << width;
    for (auto* const part : detail.widget()->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
      EXPECT_LE(part->minimumSizeHint().width(), detail.viewport()->width()) << part->objectName().toStdString();
    }
    auto& legend = child<QWidget>(view, "temperatureGaugeLegend");
    EXPECT_GE(legend.height(), legend.heightForWidth(legend.width())) << "in a window of " << width;
  }
}

TEST(Windows, theDashboardIsWalkedInReadingOrder) {
  UIHarness ui;
  MainView view(ui.context());
  view.resize(980, 800);
  view.show();
  editUnlinked(ui, view);
  ui.model().activate(FanPreset::batterySaver(), false);
  ui.run(5);
  EXPECT_EQ(tabOrder(view, child<QWidget>(view, "presets")),
            (std::vector<std::string>{"presets", "newCustomPreset", "rawThermals", "rangeFiveMinutes", "rangeHour",
                                      "rangeAll", "addOverlay", "fanZoneChart", "fanSpeedChart", "presetName",
                                      "sourceCurve", "sourceConstant", "linkFans", "rampStart", "fullSpeed",
                                      "curvePreview", "hysteresis", "hysteresisValue", "saveAndApply"}));
}

TEST(Windows, aScrollBarStandsOverTheContentAndOnlyWhereThereIsSomethingToScroll) {
  UIHarness ui;
  MainView view(ui.context());
  view.resize(980, 430);
  view.show();
  UIHarness::pumpEvents();
  auto& detail = child<QScrollArea>(view, "detail");
  auto* const bar = detail.findChild<OverlayScrollBar*>();
  ASSERT_NE(bar, nullptr);
  EXPECT_TRUE(bar->isVisible());
  const int width = detail.viewport()->width();
  bar->setValue(40);
  EXPECT_EQ(detail.verticalScrollBar()->value(), 40);
  detail.verticalScrollBar()->setValue(7);
  EXPECT_EQ(bar->value(), 7);
  view.resize(980, 1600);
  UIHarness::pumpEvents();
  EXPECT_FALSE(bar->isVisible());
  EXPECT_EQ(detail.viewport()->width(), width);
}

TEST(Windows, sizesAreRememberedAndWithoutATrayDashboardAndPanelOpen) {
  const QTemporaryDir folder;
  QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path());
  UIHarness ui;
  {
    HalcyraApp scenes(ui.context());
    scenes.start();
    QWidget* const dashboard = shownWindow("dashboard");
    ASSERT_NE(dashboard, nullptr);
    EXPECT_EQ(dashboard->size(), QSize(960, 720));
    EXPECT_EQ(dashboard->minimumSize(), QSize(520, 430));
    ASSERT_NE(shownWindow("menuBarWindow"), nullptr);
    EXPECT_FALSE(shownWindow("menuBarWindow")->windowFlags().testFlag(Qt::FramelessWindowHint)) << "an ordinary window";
    shownWindow("menuBarWindow")->close();
    dashboard->activateWindow();
    UIHarness::pumpEvents();
    QTest::keyClick(dashboard, Qt::Key_P, Qt::ControlModifier);
    EXPECT_NE(shownWindow("menuBarWindow"), nullptr);
    dashboard->resize(701, 602);
    dashboard->close();
    EXPECT_EQ(shownWindow("dashboard"), nullptr);
    scenes.openSettings();
    scenes.openSensors();
    EXPECT_EQ(shownWindow("settings")->size(), QSize(470, 640));
    EXPECT_EQ(shownWindow("sensors")->windowTitle(), "Temperature Sensors");
  }
  HalcyraApp scenes(ui.context());
  scenes.openSettings();
  scenes.activate();
  EXPECT_EQ(shownWindow("dashboard"), nullptr) << "what is open comes to the front";
  shownWindow("settings")->close();
  scenes.activate();
  ASSERT_NE(shownWindow("dashboard"), nullptr);
  EXPECT_EQ(shownWindow("dashboard")->size(), QSize(701, 602));
}

TEST(Windows, everyWindowChangesItsColoursWhileItIsOpen) {
  UIHarness ui;
  MainView view(ui.context());
  view.resize(980, 800);
  view.show();
  ui.run(0.2);
  const auto corner = [&] { return view.grab().toImage().pixelColor(view.width() - 20, view.height() - 4); };
  const auto sidebar = [&] { return view.grab().toImage().pixelColor(6, 300); };
  EXPECT_EQ(corner(), Theme::light().window);
  EXPECT_EQ(sidebar(), Theme::light().sidebar);
  showTheme(*qApp, true);
  UIHarness::pumpEvents();
  EXPECT_EQ(corner(), Theme::dark().window);
  EXPECT_EQ(sidebar(), Theme::dark().sidebar);
  showTheme(*qApp, false);
  UIHarness::pumpEvents();
  EXPECT_EQ(corner(), Theme::light().window);
}

TEST(Windows, theHistoryFadesInUnlessMotionIsReduced) {
  UIHarness ui;
  MenuBarPanel panel(ui.context(), MenuBarPanel::Kind::window);
  panel.openNear({});
  ui.run(0.2);
  const auto isMoving = [&] { return panel.findChild<FadeTransition*>() != nullptr; };
  setDesktopWantsMotion(false);
  panel.view().setHistoryExpanded(true);
  EXPECT_FALSE(isMoving());
  EXPECT_FALSE(child<QWidget>(panel, "normalContent").isVisible());
  setDesktopWantsMotion(true);
  panel.view().setHistoryExpanded(false);
  EXPECT_TRUE(isMoving());
  EXPECT_TRUE(child<QWidget>(panel, "normalContent").isVisible()) << "usable at once";
  panel.view().setHistoryExpanded(true);
  EXPECT_EQ(panel.findChildren<FadeTransition*>().size(), 1);
  panel.hide();
}

TEST(Windows, escapeClosesTheListOfSensorsAndThenThePanel) {
  UIHarness ui;
  setDesktopWantsMotion(false);
  MenuBarPanel panel(ui.context(), MenuBarPanel::Kind::popup);
  panel.openNear({});
  panel.view().setHistoryExpanded(true);
  ui.run(0.2);
  auto& picker = child<QComboBox>(panel, "sensorPicker");
  picker.setFocus();
  picker.showPopup();
  UIHarness::pumpEvents();
  ASSERT_TRUE(picker.view()->isVisible());
  picker.hidePopup();
  QTest::keyClick(&picker, Qt::Key_Escape);
  EXPECT_TRUE(panel.isVisible()) << "the key has closed the list";
  UIHarness::pumpEvents();
  QTest::keyClick(&picker, Qt::Key_Escape);
  EXPECT_FALSE(panel.isVisible());
  setDesktopWantsMotion(true);
}

TEST(Windows, aPopupMakesWayForTheQuestion) {
  UIHarness ui;
  MenuBarPanel panel(ui.context(), MenuBarPanel::Kind::popup);
  panel.openNear({});
  ui.model().duplicatePreset(FanPreset::batterySaver());
  ui.run(0.2);
  MenuBarPresetRow* mine = nullptr;
  for (auto* const row : panel.findChildren<MenuBarPresetRow*>()) mine = row->isVisible() ? row : mine;
  ASSERT_NE(mine, nullptr);
  emit mine->deletionRequested(ui.model().customPresets().back());
  UIHarness::pumpEvents();
  EXPECT_FALSE(panel.isVisible());
  auto& question = child<QMessageBox>(panel, "deleteConfirmation");
  EXPECT_TRUE(question.isVisible());
  child<QPushButton>(question, "confirmDelete").click();
  ui.run(0.2);
  EXPECT_EQ(ui.model().customPresets().size(), 2U);
}

TEST(Windows, toolTipsShowNamesAsTheyAreAndWrapWhatIsLong) {
  EXPECT_EQ(toolTipOf("Mine & yours"), "Mine & yours");
  EXPECT_EQ(toolTipOf("<b>Loud</b>"), "<qt>&lt;b&gt;Loud&lt;/b&gt;</qt>");
  EXPECT_TRUE(Qt::mightBeRichText(toolTipOf(std::string(61, 'x'))));
  UIHarness ui;
  MenuBarPanel panel(ui.context(), MenuBarPanel::Kind::window);
  panel.openNear({});
  EXPECT_TRUE(child<QWidget>(panel, "zoneBlock").toolTip().startsWith("<qt>Secondary raw values — CPU hotspot: "));
}

}  // namespace halcyra::test
