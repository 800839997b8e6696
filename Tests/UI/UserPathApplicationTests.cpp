#include <QApplication>
#include <QLabel>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "gtest/gtest.h"

#include "App/AppDelegate.h"
#include "UI/Application.h"
#include "UI/MenuBarPresetRow.h"
#include "UI/MenuBarState.h"
#include "UI/MenuBarView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

/// What a user does across the windows of the application, from its start to its end, with what the fans then do.
class ApplicationPath : public testing::Test {
 protected:
  ApplicationPath() {
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path());
    AppDelegateSurroundings surroundings;
    surroundings.terminate = [this] { end(); };
    surroundings.standardOutput = [](const std::string&) {};
    surroundings.standardError = surroundings.standardOutput;
    surroundings.startUpdates = [] {};
    delegate =
        std::make_shared<AppDelegate>(ui.desktop().platform, ui.sharedModel(), LaunchFlags{}, std::move(surroundings));
    delegate->applicationDidFinishLaunching();
    ViewContext context = ui.context();
    context.quit = [this] {
      if (delegate->applicationShouldTerminate() == TerminateReply::terminateNow) end();
    };
    scenes = std::make_unique<HalcyraApp>(context);
    scenes->start();
    scenes->openPanel();
    ui.run(1.0);
  }
  ~ApplicationPath() override {
    scenes.reset();
    delegate.reset();
  }

  void end() {
    ++ends;
    fansAtEnd = ui.modes();
  }
  MenuBarView& panel() { return *scenes->panelView(); }
  /// Shortcuts are the active window's.
  static void pressShortcut(QWidget& window, QKeySequence::StandardKey key) {
    window.activateWindow();
    UIHarness::pumpEvents();
    QTest::keySequence(&window, QKeySequence(key));
    UIHarness::pumpEvents();
  }
  static QString text(QWidget& root, const char* label) { return child<QLabel>(root, label).text(); }
  PresetButton& button(const std::string& name) { return *presetButton(panel(), name); }
  void chooseInPanel(const std::string& name) {
    QTest::mouseClick(&button(name), Qt::LeftButton, {}, QPoint(40, 14));
    ASSERT_TRUE(ui.drives()) << "fans are not driven";
    ui.run(0.2);
  }

  const QTemporaryDir folder;
  UIHarness ui;
  std::shared_ptr<AppDelegate> delegate;
  std::unique_ptr<HalcyraApp> scenes;
  int ends = 0;
  std::vector<int> fansAtEnd;
};

}  // namespace

TEST_F(ApplicationPath, aPresetChosenInThePanelShowsInTheDashboardAndAConflictInBoth) {
  QWidget* const dashboard = shownWindow("dashboard");
  ASSERT_NE(dashboard, nullptr);
  ui.setCompetitor(true);
  ui.run(4);
  auto& conflict = child<QWidget>(panel(), "conflict");
  EXPECT_FALSE(conflict.isVisible()) << "without a preset there is nothing to conflict with";
  ui.setCompetitor(false);
  ui.run(4);
  chooseInPanel("Full Blast");
  EXPECT_EQ(text(*dashboard, "activePresetName"), "Full Blast");
  EXPECT_EQ(button("Full Blast").accessibleDescription(), "Active");
  auto& error = child<QWidget>(*dashboard, "noticeBar");
  auto& dashboardConflict = child<QWidget>(*dashboard, "conflict");
  const auto dashboardMode = [&] { return text(child<QWidget>(*dashboard, "fanCard1"), "fanMode"); };
  ui.run(2.5);
  EXPECT_EQ(dashboardMode(), "Manual");

  ui.setCompetitor(true);
  ASSERT_TRUE(ui.handsBack());
  ui.run(2.5);
  EXPECT_TRUE(conflict.isVisible());
  EXPECT_TRUE(dashboardConflict.isVisible());
  EXPECT_TRUE(text(conflict, "conflictTitle").endsWith(" helper conflict"));
  for (QWidget* const window : {dashboard, static_cast<QWidget*>(&panel())}) {
    const QString line = child<QWidget>(*window, "controlStatus").accessibleName();
    EXPECT_TRUE(line.startsWith("Paused: ") && line.endsWith(" is running")) << line.toStdString();
  }
  EXPECT_EQ(dashboardMode(), "Automatic");
  EXPECT_EQ(text(panel(), "fanMode1"), "Auto");
  EXPECT_FALSE(error.isVisible()) << "the conflict's own notice says it, not a second error";
  ui.run(20);
  EXPECT_TRUE(ui.allAutomatic()) << "nothing is driven beside another fan utility";

  ui.setCompetitor(false);
  ASSERT_TRUE(ui.drives()) << "the preset comes back";
  ui.run(2.5);
  EXPECT_FALSE(conflict.isVisible());
  EXPECT_EQ(dashboardMode(), "Manual");
  EXPECT_EQ(text(*dashboard, "activePresetName"), "Full Blast");
}

TEST_F(ApplicationPath, closingEveryWindowLeavesControlRunningAndQuittingHandsBackFirst) {
  chooseInPanel("Smart Auto");
  scenes->openSettings();
  scenes->openSensors();
  ui.run(0.2);
  for (const char* name : {"dashboard", "settings", "sensors"}) {
    QWidget* const each = shownWindow(name);
    ASSERT_NE(each, nullptr) << name;
    pressShortcut(*each, QKeySequence::Close);
    EXPECT_EQ(shownWindow(name), nullptr) << name;
  }
  panel().window()->close();
  const double before = ui.target(0);
  ui.loop.machine.setWorkload(makeWorkload("sustained"));
  ui.run(240);
  EXPECT_EQ(ends, 0);
  EXPECT_TRUE(ui.allManual());
  EXPECT_GT(ui.target(0), before + 200) << "the preset still follows the temperature";

  scenes->activate();
  ui.run(2.5);
  EXPECT_EQ(text(*shownWindow("dashboard"), "activePresetName"), "Smart Auto");
  for (int press = 0; press < 2; ++press) {
    scenes->openPanel();
    click(panel(), "quit");
    EXPECT_EQ(ends, 0) << "the fans are still driven";
  }
  ASSERT_TRUE(ui.runUntil([&] { return ends > 0; }, 30));
  EXPECT_EQ(fansAtEnd, (std::vector<int>{0, 0}));
  ui.run(20);
  EXPECT_EQ(ends, 1) << "quitting twice is quitting once";
  EXPECT_TRUE(ui.allAutomatic()) << "nothing takes the fans again";
}

}  // namespace halcyra::test
