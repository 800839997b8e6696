#include "gtest/gtest.h"

#include "Helpers/FanCurveManager.h"
#include "Helpers/PresetCoding.h"
#include "Support/MemoryUserDefaults.h"
#include "Support/Values.h"

namespace halcyra {

namespace {

FanPreset custom(const std::string& name, UUID id = UUID::random()) {
  return {.id = id,
          .name = name,
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = 40.0,
          .highTemperature = 80.0,
          .hysteresis = 1.5};
}

class FanCurveManagerTest : public testing::Test {
 protected:
  void store(const std::string& document) { defaults_.setData("customFanPresets.v1", document); }
  void store(const std::vector<FanPreset>& presets) { store(PresetCoding::encode(presets)); }

  static const std::vector<FanPreset>& catalogue() { return FanPreset::bundledPresets(); }
  test::MemoryUserDefaults defaults_;
  FanCurveManager manager_{defaults_};
};

}  // namespace

TEST_F(FanCurveManagerTest, LoadsTheCatalogueFromWhatCannotBeReadWhichIsKeptUntilTheNextSave) {
  EXPECT_EQ(manager_.loadCustomPresets(), catalogue());
  std::string partlyGood = PresetCoding::encode(std::vector{custom("Good"), custom("Odd")});
  partlyGood.replace(partlyGood.rfind("\"custom\""), 8, "\"other\"");
  for (const std::string& damaged :
       {std::string(), std::string("{}"), std::string("[{}]"), std::string("\xFF"), std::string("["), partlyGood}) {
    store(damaged);
    EXPECT_EQ(manager_.loadCustomPresets(), catalogue()) << damaged;
    EXPECT_EQ(defaults_.data("customFanPresets.v1"), damaged);
  }
}

TEST_F(FanCurveManagerTest, LoadsTunedCataloguePresetsAndValidCustomOnesOnceAndInOrder) {
  FanPreset tuned = FanPreset::batterySaver();
  tuned.name = "";  // judged under the catalogue's name
  tuned.lowTemperature = 85;
  FanPreset broken = FanPreset::cpuCoreDefault();
  broken.lowTemperature = 10;
  const FanPreset first = custom("First");
  FanPreset invalid = custom("Invalid");
  invalid.hysteresis = 0.2;
  const FanPreset validTwin = custom("Valid twin of an invalid one", invalid.id);
  store({first, custom("Again", first.id), custom("Reserved", FanPreset::automatic().id), broken, tuned, invalid,
         validTwin, FanPreset::batterySaver(), FanPreset::systemDefault(), FanPreset::fullBlast()});
  tuned.name = "Battery Saver";
  EXPECT_EQ(manager_.loadCustomPresets(), (std::vector{tuned, FanPreset::cpuCoreDefault(), first, validTwin}));
}

TEST_F(FanCurveManagerTest, SavesValidCustomPresetsOnlyAndAllOrNothing) {
  const FanPreset mine = custom("Mine");
  manager_.saveCustomPresets(
      {FanPreset::systemDefault(), custom("  "), FanPreset::batterySaver(), mine, FanPreset::automatic()});
  const std::string saved = PresetCoding::encode(std::vector{FanPreset::batterySaver(), mine});
  EXPECT_EQ(defaults_.data("customFanPresets.v1"), saved);
  FanPreset notEncodable = custom("Valid as a constant");
  notEncodable.strategy = ControlStrategy::constantRPM;
  notEncodable.constantRPM = 3000;
  notEncodable.lowTemperature = test::infinity;
  EXPECT_THROW(manager_.saveCustomPresets({mine, notEncodable}), PresetCodingError);
  EXPECT_EQ(defaults_.data("customFanPresets.v1"), saved);
  manager_.saveCustomPresets({});
  EXPECT_EQ(defaults_.data("customFanPresets.v1"), "[]") << "the list is replaced, not added to";
}

TEST_F(FanCurveManagerTest, TwoProcessesLoseNothingOfEachOthers) {
  FanCurveManager other(defaults_);
  FanPreset mine = custom("Mine");
  const FanPreset gone = custom("Gone");
  manager_.saveCustomPresets({mine, gone});
  other.loadCustomPresets();
  FanPreset theirs = custom("Theirs");
  other.saveCustomPresets({mine, gone, theirs});
  // Changed here, deleted here, added here: what is not known here stays.
  mine.hysteresis = 3;
  const FanPreset more = custom("More");
  EXPECT_EQ(manager_.saveCustomPresets({mine, more}),
            (std::vector{catalogue().at(0), catalogue().at(1), mine, theirs, more}));
  // The other knows no better of what it has not touched.
  theirs.hysteresis = 4;
  FanPreset stale = mine;
  stale.hysteresis = custom("x").hysteresis;
  EXPECT_EQ(other.saveCustomPresets({stale, gone, theirs}),
            (std::vector{catalogue().at(0), catalogue().at(1), mine, theirs, more}));
}

}  // namespace halcyra
