#include <limits>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/FanCurveManager.h"
#include "Helpers/PresetCoding.h"
#include "Support/MemoryUserDefaults.h"

namespace halcyra {

namespace {

const std::vector<FanPreset>& catalogue() {
  return FanPreset::bundledPresets();
}

FanPreset custom(const std::string& name) {
  return {.id = UUID::random(),
          .name = name,
          .kind = PresetKind::custom,
          .strategy = ControlStrategy::cpuCoreAverage,
          .lowTemperature = 40.0,
          .highTemperature = 80.0,
          .hysteresis = 1.5};
}

class FanCurveManagerTest : public testing::Test {
 protected:
  void store(const std::vector<FanPreset>& presets) {
    defaults_.setData("customFanPresets.v1", PresetCoding::encode(presets));
  }

  test::MemoryUserDefaults defaults_;
  FanCurveManager manager_{defaults_};
};

}  // namespace

TEST_F(FanCurveManagerTest, LoadsTheCatalogueFromWhatCannotBeRead) {
  EXPECT_EQ(manager_.loadCustomPresets(), catalogue());
  for (const char* damaged : {"", "{}", "[{}]", "\xFF", "["}) {
    defaults_.setData("customFanPresets.v1", damaged);
    EXPECT_EQ(manager_.loadCustomPresets(), catalogue()) << damaged;
    EXPECT_EQ(defaults_.data("customFanPresets.v1"), damaged) << "kept until the next save";
  }
  FanPreset good = custom("Good");
  std::string document = PresetCoding::encode(std::vector{good, custom("Odd")});
  document.replace(document.rfind("\"custom\""), 8, "\"other\"");
  defaults_.setData("customFanPresets.v1", document);
  EXPECT_EQ(manager_.loadCustomPresets(), catalogue()) << "one bad preset spoils the document";
}

TEST_F(FanCurveManagerTest, KeepsTuningOfTheCatalogueWhileValid) {
  FanPreset tuned = FanPreset::batterySaver();
  tuned.name = "";  // judged under the catalogue's name
  tuned.lowTemperature = 85;
  FanPreset broken = FanPreset::cpuCoreDefault();
  broken.lowTemperature = 10;
  store({custom("Mine"), broken, tuned, FanPreset::batterySaver()});
  const std::vector<FanPreset> loaded = manager_.loadCustomPresets();
  ASSERT_EQ(loaded.size(), 3U);
  EXPECT_EQ(loaded[0].name, "Battery Saver");
  EXPECT_EQ(loaded[0].lowTemperature, 85);
  EXPECT_EQ(loaded[1], FanPreset::cpuCoreDefault());
  EXPECT_EQ(loaded[2].name, "Mine");
}

TEST_F(FanCurveManagerTest, LoadsValidUserPresetsOnceAndInOrder) {
  const FanPreset first = custom("First");
  FanPreset again = custom("Again");
  again.id = first.id;
  FanPreset reserved = custom("Reserved");
  reserved.id = FanPreset::automatic().id;
  FanPreset invalid = custom("Invalid");
  invalid.hysteresis = 0.2;
  FanPreset invalidTwin = custom("Valid twin of an invalid one");
  invalidTwin.id = invalid.id;
  store({first, again, reserved, invalid, invalidTwin, FanPreset::systemDefault(), FanPreset::fullBlast()});
  EXPECT_EQ(manager_.loadCustomPresets(), (std::vector{catalogue().at(0), catalogue().at(1), first, invalidTwin}));
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
  notEncodable.lowTemperature = std::numeric_limits<double>::infinity();
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
