#include <functional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "App/PresetDrafts.h"
#include "Support/MemoryUserDefaults.h"
#include "Support/VirtualScheduler.h"
#include "UI/ConflictNotice.h"
#include "UI/FanNames.h"
#include "UI/FirstRunState.h"
#include "UI/MainViewState.h"
#include "UI/MenuBarState.h"
#include "UI/PresetListState.h"
#include "UI/SettingsState.h"

namespace halcyra::test {

namespace {

/// A Mac on which every preset may be chosen.
ModelView ready() {
  ModelView view;
  view.fans = {{0, 2040, 1350, 5950, FanMode::automatic, 2025}, {1, 980, 1350, 6200, FanMode::manual, std::nullopt}};
  view.thermalControlSupported = true;
  view.helperState = HelperInstallState::enabled;
  view.supervisedTestPassed = true;
  view.customPresets = FanPreset::bundledPresets();
  view.fanControlTemperatures = {{0, 55.96}};
  view.fanControlDrivers = {{0, "Left CPU/GPU zone"}};
  view.pollingInterval = 2.5;
  return view;
}

using Change = std::function<void(ModelView&)>;

ModelView with(const Change& change) {
  ModelView view = ready();
  change(view);
  return view;
}

const Change anotherApp = [](ModelView& view) { view.fanControlOwnership = FanControlOwnership::anotherApp; };
const Change unknownMac = [](ModelView& view) { view.thermalControlSupported = false; };
const Change noFans = [](ModelView& view) { view.fans.clear(); };
const Change busy = [](ModelView& view) { view.isBusy = true; };
const Change untested = [](ModelView& view) { view.supervisedTestPassed = false; };
const Change uninstalled = [](ModelView& view) {
  view.helperState = HelperInstallState::notRegistered;
  view.supervisedTestPassed = false;
};
const Change unapproved = [](ModelView& view) {
  view.helperState = HelperInstallState::requiresApproval;
  view.supervisedTestPassed = false;
};
const Change rival = [](ModelView& view) {
  view.competingController = "ExampleFan";
  view.supervisedTestPassed = false;
};

std::string marks(const FirstRunState& state) {
  std::string text;
  for (const auto& step : state.steps) text += "vo.x"[static_cast<int>(step.mark)];
  return text;
}

}  // namespace

TEST(ViewStates, presetsThatCannotBeChosenSayWhy) {
  struct Row {
    const char* name;
    Change change;
    bool appleDefault;
    bool others;
    const char* why;
  };
  for (const Row& row : {Row{"ready", [](ModelView&) {}, true, true, ""},
                         {"busy", busy, true, false, "Please wait: the fans are being taken or handed back."},
                         {"no fans", noFans, false, false, "No fans are known yet."},
                         {"another app", anotherApp, true, false, "Another app controls the fans."},
                         {"unknown Mac", unknownMac, true, false, "This Mac has not been validated"},
                         {"untested", untested, true, false, "Run the supervised fan test first."},
                         {"uninstalled", uninstalled, true, false, "Install and approve the helper first."}}) {
    SCOPED_TRACE(row.name);
    const ModelView view = with(row.change);
    const MenuBarState state = makeMenuBarState(view);
    for (const auto& preset : state.presets) {
      const bool isApple = preset.preset.kind == PresetKind::system;
      EXPECT_EQ(preset.isEnabled, isApple ? row.appleDefault : row.others) << preset.preset.name;
      EXPECT_FALSE(preset.canDelete);
      if (!isApple) {
        EXPECT_NE(preset.helpText.find(row.why), std::string::npos) << preset.helpText;
      }
    }
    EXPECT_EQ(state.presetNote.empty(), row.others || view.isBusy) << "what passes by itself needs no note";
    const auto rows = makePresetListState(view).rows;
    EXPECT_TRUE(rows.front().obstacle.empty());
    EXPECT_EQ(rows.back().obstacle, state.presetNote);
  }
}

TEST(ViewStates, theFirstRunLeadsThroughThreeSteps) {
  struct Row {
    const char* name;
    Change change;
    Notices::Test stage;
    bool isShown;
    const char* marks;
    bool canTest;
    bool hasCommand;
    const char* note;
  };
  using Stage = Notices::Test;
  const Change testing = [](ModelView& view) {
    untested(view);
    view.supervisedTestRunning = view.isBusy = true;
  };
  for (const Row& row :
       {Row{"done long ago", [](ModelView&) {}, Stage::notRun, false, "vvv", true, false, ""},
        {"done just now", [](ModelView&) {}, Stage::passed, true, "vvv", true, false, ""},
        {"uninstalled", uninstalled, Stage::notRun, true, "o..", false, false, "Install and approve the helper first."},
        {"unapproved", unapproved, Stage::notRun, true, "vo.", false, true, "Install and approve the helper first."},
        {"untested", untested, Stage::notRun, true, "vvo", true, false, FirstRunText::testDoes},
        {"testing", testing, Stage::running, true, "vvo", false, false, FirstRunText::testRuns},
        {"failed", untested, Stage::failed, true, "vvx", true, false, FirstRunText::testFailed},
        {"beside a rival", rival, Stage::notRun, true, "vvo", true, false,
         "ExampleFan is running. Close or remove it first."}}) {
    SCOPED_TRACE(row.name);
    Notices notices;
    if (row.stage != Stage::notRun) notices.follow(with(testing));
    if (row.stage == Stage::failed) notices.follow(with(untested));
    if (row.stage == Stage::passed) notices.follow(ready());
    const ModelView view = with(row.change);
    notices.follow(view);
    ASSERT_EQ(notices.test(), row.stage);
    const FirstRunState state = makeFirstRunState(view, notices, "type this");
    EXPECT_EQ(state.isShown, row.isShown);
    EXPECT_EQ(state.isComplete, row.stage == Stage::passed);
    EXPECT_EQ(marks(state), row.marks);
    EXPECT_EQ(state.canTest, row.canTest);
    EXPECT_EQ(!state.command.empty(), row.hasCommand);
    EXPECT_EQ(state.testNote, row.note);
    EXPECT_EQ(state.showsSetUp, view.helperState != HelperInstallState::enabled);
  }
}

TEST(ViewStates, anErrorThatWasPutAwayComesBackWithTheNextOne) {
  Notices notices;
  const auto shows = [&](std::optional<std::string> error, bool isBusy) {
    ModelView view;
    view.visibleError = std::move(error);
    view.isBusy = isBusy;
    notices.follow(view);
    return notices.error();
  };
  EXPECT_EQ(shows("A", false), "A");
  notices.dismissError();
  EXPECT_EQ(shows("A", false), std::nullopt) << "polls say it again and again";
  EXPECT_EQ(shows("B", false), "B");
  notices.dismissError();
  EXPECT_EQ(shows("B", true), "B") << "the user has commanded something";
  notices.dismissError();
  shows(std::nullopt, false);
  EXPECT_EQ(shows("B", false), "B");
}

TEST(ViewStates, readingsAreSpelledOutAndDashesStandWhereThereIsNone) {
  ModelView view = ready();
  MenuBarState state = makeMenuBarState(view);
  ASSERT_EQ(state.zones.size(), 2U) << "a zone without a temperature keeps its row";
  EXPECT_EQ(state.zones[0].name + " " + state.zones[0].value, "Left zone 56.0 °C");
  EXPECT_EQ(state.zones[1].name + " " + state.zones[1].value, "Right zone —");
  EXPECT_EQ(zoneLabel(2), "Fan 3 zone");
  EXPECT_EQ(state.fans[0].curveInput, "Curve input 56.0 °C · Left CPU/GPU zone");
  EXPECT_EQ(state.fans[1].curveInput, "Curve input —");
  EXPECT_EQ(state.rawMetrics, (std::vector<std::string>{"CPU avg —", "P-core max —", "E-core max —", "GPU max —"}));
  EXPECT_EQ(state.hottestText, "—");
  EXPECT_EQ(state.rawThermalTooltip,
            "Secondary raw values — CPU hotspot: unavailable, GPU hotspot: unavailable, P-core max: unavailable. Raw "
            "hotspots do not drive normal curves, but 105 °C triggers the critical safety override.");
  view.cpuCoreAverage = 52.34;
  view.gpuDieHotspotTemperature = 71;
  state = makeMenuBarState(view);
  EXPECT_EQ(state.rawMetrics[0], "CPU avg 52.3°");
  EXPECT_EQ(state.rawHotspots, std::vector<std::string>{"GPU die hotspot (TRDX) 71.0 °C"});
  EXPECT_EQ(makeMenuBarState(with(noFans)).monitoringNote,
            "No controllable fans detected on this Mac — sensor monitoring only.");
  EXPECT_EQ(makeMenuBarState(with(unknownMac)).monitoringNote,
            "Monitoring only — fan control is currently hardware-verified on Mac15,11.");

  const MainViewState dashboard = makeMainViewState(view);
  ASSERT_EQ(dashboard.fans.size(), 2U);
  EXPECT_EQ(dashboard.fans[0].label + ", " + dashboard.fans[0].target, "Left Fan, Target 2025 • 1350–5950");
  EXPECT_EQ(dashboard.fans[0].driver, "Left CPU/GPU zone");
  EXPECT_EQ(dashboard.fans[1].target + ", " + dashboard.fans[1].mode, "Target 0 • 1350–6200, Manual");
  EXPECT_EQ(dashboard.fans[1].curveInput, std::nullopt);
  EXPECT_EQ(dashboard.title + ", " + dashboard.subtitle.value(), "Apple Default, Stock macOS control");
}

TEST(ViewStates, aConflictNeedsAPresetThatAerovaneMayDrive) {
  ModelView view = with(rival);
  EXPECT_FALSE(makeConflictState(view)) << "Apple Default conflicts with nothing";
  view.activePreset = FanPreset::fullBlast();
  EXPECT_EQ(makeConflictState(view).value().title, "ExampleFan helper conflict");
  anotherApp(view);
  EXPECT_FALSE(makeConflictState(view));
}

TEST(ViewStates, settingsAreLimitedAndSpelledOut) {
  for (const auto& [seconds, step] :
       std::vector<std::pair<double, int>>{{1.0, 2}, {2.2, 4}, {2.3, 5}, {5.0, 10}, {0.1, 2}, {99.0, 10}}) {
    EXPECT_EQ(settingsIntervalStep(seconds), step) << seconds;
  }
  EXPECT_DOUBLE_EQ(settingsInterval(11), 5.0);
  for (const auto& [status, text] : std::vector<std::pair<HelperInstallState, const char*>>{
           {HelperInstallState::notRegistered, "Not installed"},
           {HelperInstallState::enabled, "Approved"},
           {HelperInstallState::requiresApproval, "Approval required"},
           {HelperInstallState::notFound, "Not set up"},
           {HelperInstallState::unknown, "Unknown"}}) {
    ModelView view;
    view.helperState = status;
    const SettingsState state = makeSettingsState(view, {});
    EXPECT_EQ(state.helperStatus, text);
    EXPECT_EQ(state.helperApproved, status == HelperInstallState::enabled);
    EXPECT_EQ(state.version, "— (—)");
  }
  const SettingsState state = makeSettingsState(ready(), {"1.2.0", "34"});
  EXPECT_EQ(state.version + ", " + state.applyInterval, "1.2.0 (34), Apply 2.5 second interval");
}

TEST(ViewStates, theLibraryListsBuiltInPresetsThenTheUsersOwn) {
  ModelView view = ready();
  FanPreset mine = FanPreset::batterySaver();
  mine.id = UUID::random();
  mine.name = "Mine";
  view.customPresets.push_back(mine);
  const auto rows = makePresetListState(view, {mine.id}).rows;
  ASSERT_EQ(rows.size(), 6U);
  for (const PresetListRow& row : rows) {
    const bool isMine = row.id == mine.id;
    EXPECT_EQ(row.canEdit, isMine) << row.name;
    EXPECT_EQ(row.startsUserPresets, isMine) << row.name;
    EXPECT_EQ(row.hasDraft, isMine) << row.name;
    EXPECT_EQ(row.canDuplicate, isMine || FanPreset::isBundled(row.id)) << row.name;
  }
  EXPECT_EQ(renamedPreset(view.customPresets, mine.id, " \tVideo  Export\t ").value().name, "Video  Export");
  EXPECT_EQ(renamedPreset(view.customPresets, mine.id, "\nX ").value().name, "\nX");
  EXPECT_FALSE(renamedPreset(view.customPresets, mine.id, " \t"));
  EXPECT_FALSE(renamedPreset({}, mine.id, "X"));
}

TEST(PresetDrafts, areKeptOverARestartUntilTheyAreSavedOrTheirPresetGoes) {
  MemoryUserDefaults defaults;
  VirtualScheduler scheduler;
  const auto process = scheduler.makeProcess("application");
  FanPreset saved = FanPreset::batterySaver();
  saved.id = UUID::random();
  FanPreset edited = saved;
  edited.name.clear();
  edited.highTemperature = edited.lowTemperature - 1;
  {
    PresetDrafts drafts(defaults, process->mainQueue());
    drafts.keep(edited, saved);
    EXPECT_FALSE(defaults.data(PresetDrafts::storageKey)) << "not with every key";
    scheduler.runFor(2 * PresetDrafts::storageDelay);
    EXPECT_TRUE(defaults.data(PresetDrafts::storageKey));
    drafts.keep(saved, saved);
    EXPECT_FALSE(drafts.draft(saved.id)) << "what equals the saved form is no draft";
    drafts.keep(edited, saved);
  }
  PresetDrafts drafts(defaults, process->mainQueue());
  EXPECT_EQ(drafts.draft(saved.id), edited) << "invalid as it is";
  FanPreset renamed = saved;
  renamed.name = "Renamed";
  drafts.followRename(saved, renamed);
  EXPECT_EQ(drafts.draft(saved.id)->name, "") << "an edited name stays";
  drafts.retain({renamed});
  EXPECT_EQ(drafts.ids(), std::set<UUID>{saved.id});
  drafts.retain({});
  EXPECT_TRUE(drafts.ids().empty());
  defaults.setData(PresetDrafts::storageKey, "[{]");
  EXPECT_TRUE(PresetDrafts(defaults, process->mainQueue()).ids().empty());
}

}  // namespace halcyra::test
