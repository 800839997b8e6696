#include <QCheckBox>
#include <QScreen>
#include <QScrollArea>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "gtest/gtest.h"

#include "UI/Application.h"
#include "UI/MainView.h"
#include "UI/MenuBarPanel.h"
#include "UI/Style.h"
#include "UI/Theme.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

/// The tallest content that a window of the smallest laptops has to show without scrolling.
constexpr int smallHeight = 650;

}  // namespace

TEST(Windows, theDashboardFitsEveryWidth) {
  UIHarness ui;
  MainView view(ui.context());
  view.resize(980, 800);
  view.show();
  // One box per fan is what needs the most room.
  ui.model().createCustomPreset();
  ASSERT_TRUE(ui.drives());
  FanPreset preset = ui.model().activePreset();
  preset.name = std::string(300, 'W');
  ui.model().savePreset(preset);
  ui.run(0.2);
  child<QCheckBox>(view, "linkFans").click();
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

TEST(Windows, theFirstRunFitsASmallScreenWithoutScrolling) {
  UIHarness ui(
      {.isSetUp = false, .prepare = [](TestPlatform& platform) { platform.serviceManagement.setNeedsApproval(true); }});
  ui.model().installHelper();
  ViewContext context = ui.context();
  context.approvalCommand = "sudo /usr/lib/aerovane/aerovane-helper --register 1000";
  MainView dashboard(context);
  dashboard.resize(960, smallHeight);
  dashboard.show();
  MenuBarPanel panel(context, MenuBarPanel::Kind::window);
  panel.openNear({});
  panel.setFixedHeight(smallHeight);
  ui.run(0.2);
  for (QWidget* const window : {static_cast<QWidget*>(&dashboard), static_cast<QWidget*>(&panel)}) {
    for (const char* name : {"setUpHelper", "copyCommand", "runSupervisedTest", "testNote"}) {
      const auto& part = child<QWidget>(*window, name);
      EXPECT_EQ(part.visibleRegion().boundingRect(), part.rect()) << name;
    }
  }
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
    const QSize room = dashboard->screen()->availableSize();
    EXPECT_EQ(dashboard->width(), std::min(960, room.width() - 4)) << "never larger than the screen";
    EXPECT_LT(dashboard->height(), room.height());
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

}  // namespace halcyra::test
