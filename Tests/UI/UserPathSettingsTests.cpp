#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include "gtest/gtest.h"

#include "Helpers/PresetExportFile.h"
#include "UI/SettingsView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

/// What a user does in the settings, with what the fans of the machine then do.
class SettingsPath : public testing::Test {
 protected:
  void open(UIHarness::Options options = {}) {
    ui = std::make_unique<UIHarness>(options);
    ViewContext context;
    context.model = ui->sharedModel();
    view = std::make_unique<SettingsView>(context);
    view->show();
    view->activateWindow();
    UIHarness::pumpEvents();
  }
  void drive(const FanPreset& preset) {
    ui->model().activate(preset, false);
    ASSERT_TRUE(ui->runUntil([&] { return ui->allManual() && !ui->model().isBusy(); }, 30.0)) << "fans are not driven";
  }
  /// As by the keyboard.
  void chooseOwner(int steps) {
    auto& picker = child<QComboBox>(*view, "ownerPicker");
    picker.setFocus();
    QTest::keyClick(&picker, steps > 0 ? Qt::Key_Down : Qt::Key_Up);
    UIHarness::pumpEvents();
  }
  void press(const char* button) {
    QTest::keyClick(&child<QPushButton>(*view, button), Qt::Key_Space);
    UIHarness::pumpEvents();
  }
  QString text(const char* label) { return child<QLabel>(*view, label).text(); }
  bool fansAreHandedBack() {
    return ui->runUntil([&] { return ui->allAutomatic() && !ui->model().isBusy(); }, 15.0);
  }

  std::unique_ptr<UIHarness> ui;
  std::unique_ptr<SettingsView> view;

  void TearDown() override {
    view.reset();
    ui.reset();
  }
};

}  // namespace

TEST_F(SettingsPath, monitoringOnlyHandsTheFansBackAndTakingThemAgainRestoresThePreset) {
  open();
  drive(FanPreset::fullBlast());
  EXPECT_NEAR(ui->target(0), ui->loop.truth().fans.at(0).maximum, 1.0);

  chooseOwner(+1);
  EXPECT_EQ(ui->model().fanControlOwnership(), FanControlOwnership::anotherApp);
  EXPECT_EQ(text("ownerDetail").toStdString(), detail(FanControlOwnership::anotherApp));
  ASSERT_TRUE(fansAreHandedBack());
  const std::size_t writes = ui->loop.writes.size();
  ui->run(30.0);
  EXPECT_TRUE(ui->allAutomatic());
  EXPECT_EQ(ui->loop.writes.size(), writes) << "a monitor writes nothing";
  EXPECT_EQ(ui->model().activePreset(), FanPreset::fullBlast()) << "the selection is kept";

  chooseOwner(-1);
  EXPECT_EQ(text("ownerDetail").toStdString(), detail(FanControlOwnership::aerovane));
  EXPECT_TRUE(ui->runUntil([&] { return ui->allManual(); }, 30.0));
}

TEST_F(SettingsPath, theEmergencyResetHandsEverythingBackByButtonAndByShortcut) {
  open();
  for (const bool byShortcut : {false, true}) {
    drive(FanPreset::fullBlast());
    if (byShortcut) {
      QTest::keyClick(view.get(), Qt::Key_Escape, Qt::ControlModifier | Qt::AltModifier);
    } else {
      press("returnToAutomatic");
    }
    ASSERT_TRUE(fansAreHandedBack()) << "by shortcut: " << byShortcut;
    EXPECT_EQ(ui->model().activePreset(), FanPreset::systemDefault());
    EXPECT_EQ(ui->desktop().log.count("smart control disengaged: settings emergency reset"), byShortcut ? 2u : 1u);
    ui->run(20.0);
    EXPECT_TRUE(ui->allAutomatic()) << "nothing takes the fans again";
  }
}

TEST_F(SettingsPath, uninstallingHandsBackFirstAndThenRemovesTheHelper) {
  open();
  drive(FanPreset::fullBlast());
  bool fansWereAutomatic = false;
  bool removed = false;
  press("uninstallHelper");
  EXPECT_FALSE(child<QPushButton>(*view, "uninstallHelper").isEnabled()) << "not twice";
  ASSERT_TRUE(ui->runUntil(
      [&] {
        if (!removed && ui->desktop().serviceManagement.counts().unregistered > 0) {
          removed = true;
          fansWereAutomatic = ui->allAutomatic();
        }
        return removed && !ui->model().isBusy();
      },
      30.0));
  EXPECT_TRUE(fansWereAutomatic);
  ui->run(1.0);
  EXPECT_EQ(text("helperStatus"), "Not installed");
  EXPECT_EQ(ui->desktop().log.count("smart control disengaged: helper uninstall"), 2u);
  EXPECT_EQ(ui->model().lastError(), std::nullopt);
  EXPECT_TRUE(child<QPushButton>(*view, "uninstallHelper").isEnabled());
}

TEST_F(SettingsPath, firstSetUpFromNotInstalledToThePassedTest) {
  UIHarness::Options options;
  options.isSetUp = false;
  options.prepare = [](TestPlatform& platform) { platform.serviceManagement.setNeedsApproval(true); };
  open(options);
  EXPECT_EQ(text("helperStatus"), "Not installed");
  EXPECT_EQ(text("supervisedTestStatus"), "Required");

  press("installHelper");
  ui->run(0.2);
  EXPECT_EQ(text("helperStatus"), "Approval required");
  EXPECT_EQ(ui->desktop().serviceManagement.counts().settingsOpened, 1) << "the user is shown where to approve";
  ui->desktop().serviceManagement.approve();
  ui->run(3.0);
  EXPECT_EQ(text("helperStatus"), "Approved");

  ui->model().runSupervisedFan0Test();
  EXPECT_TRUE(ui->runUntil([&] { return text("supervisedTestStatus") == "Passed"; }, 40.0));
  EXPECT_TRUE(ui->allAutomatic());
  drive(FanPreset::fullBlast());
}

TEST_F(SettingsPath, exportedPresetsComeBackByImportWithFreshIdentities) {
  open();
  ui->model().createCustomPreset();
  ASSERT_TRUE(ui->runUntil([&] { return !ui->model().isBusy(); }, 30.0));
  const std::vector<FanPreset> before = ui->model().customPresets();
  press("exportPresets");
  EXPECT_TRUE(ui->desktop().files.contents.empty()) << "the panel was cancelled";
  ui->desktop().workspace.saveAnswer = "/mine.json";
  press("exportPresets");
  ASSERT_EQ(ui->desktop().files.contents.count("/mine.json"), 1u);
  EXPECT_EQ(PresetExportFile::decode(ui->desktop().files.contents["/mine.json"]).presets, before);

  ui->desktop().workspace.openAnswer = "/mine.json";
  press("importPresets");
  const std::vector<FanPreset>& after = ui->model().customPresets();
  ASSERT_EQ(after.size(), 2 * before.size());
  for (std::size_t index = 0; index < before.size(); ++index) {
    EXPECT_EQ(after[before.size() + index].name, before[index].name);
    EXPECT_NE(after[before.size() + index].id, before[index].id);
  }

  ui->desktop().files.contents["/broken.json"] = "{";
  ui->desktop().workspace.openAnswer = "/broken.json";
  press("importPresets");
  EXPECT_EQ(ui->model().customPresets().size(), 2 * before.size()) << "nothing is lost";
  EXPECT_TRUE(ui->model().lastError().value_or("").starts_with("Import failed: "));
}

TEST_F(SettingsPath, aSleepingMachineHasItsFansAndGetsThePresetBackAfterwards) {
  open();
  drive(FanPreset::fullBlast());
  ui->desktop().power.sleep();
  ASSERT_TRUE(ui->runUntil([&] { return ui->desktop().power.isAsleep(); }, 30.0));
  EXPECT_TRUE(ui->allAutomatic()) << "handed back before the machine sleeps";
  press("applyInterval");
  ui->run(20.0);
  EXPECT_TRUE(ui->allAutomatic()) << "a new interval does not wake the control";
  ui->desktop().power.wake();
  EXPECT_TRUE(ui->runUntil([&] { return ui->allManual(); }, 30.0));
}

TEST_F(SettingsPath, aConflictIsNamedAndEndsControlUntilItIsGone) {
  open();
  drive(FanPreset::fullBlast());
  ui->setCompetitor(true);
  ASSERT_TRUE(ui->runUntil([&] { return ui->allAutomatic() && !ui->model().isBusy(); }, 15.0));
  EXPECT_TRUE(child<QLabel>(*view, "detectedWriter").isVisible());
  EXPECT_FALSE(text("detectedWriter").isEmpty());
  ui->run(20.0);
  EXPECT_TRUE(ui->allAutomatic());
  ui->setCompetitor(false);
  EXPECT_TRUE(ui->runUntil([&] { return ui->allManual(); }, 30.0));
  EXPECT_FALSE(child<QLabel>(*view, "detectedWriter").isVisible());
}

TEST_F(SettingsPath, quittingHandsBackBeforeItIsDone) {
  open();
  drive(FanPreset::fullBlast());
  bool isOver = false;
  bool fansWereAutomatic = false;
  ui->model().prepareForTermination([&] {
    isOver = true;
    fansWereAutomatic = ui->allAutomatic();
  });
  ASSERT_TRUE(ui->runUntil([&] { return isOver; }, 30.0));
  EXPECT_TRUE(fansWereAutomatic);
  press("applyInterval");
  ui->run(20.0);
  EXPECT_TRUE(ui->allAutomatic());
}

}  // namespace halcyra::test
