#include <optional>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Helpers/FanControlOwnership.h"
#include "Helpers/PresetSelectionStore.h"
#include "Support/MemoryUserDefaults.h"

namespace halcyra {

TEST(PresetSelectionStore, RemembersTheSelection) {
  test::MemoryUserDefaults defaults;
  PresetSelectionStore store(defaults);
  const std::vector<FanPreset> menu = FanPreset::menuOrder(FanPreset::bundledPresets());
  EXPECT_EQ(store.savedPresetID(), std::nullopt);
  EXPECT_EQ(store.load(menu), FanPreset::systemDefault());

  store.save(FanPreset::batterySaver());
  EXPECT_EQ(defaults.string("lastSelectedFanPresetID.v1"), "00000000-0000-0000-0000-000000000005");
  EXPECT_EQ(store.load(menu), FanPreset::batterySaver());
  EXPECT_EQ(store.load(FanPreset::menuOrder({})), FanPreset::systemDefault()) << "deleted since";

  defaults.setString("lastSelectedFanPresetID.v1", "no identity");
  EXPECT_EQ(store.savedPresetID(), std::nullopt);
  EXPECT_EQ(store.load(menu), FanPreset::systemDefault());
}

TEST(FanControlOwnershipStore, FallsBackToThisApplication) {
  test::MemoryUserDefaults defaults;
  FanControlOwnershipStore store(defaults);
  EXPECT_EQ(store.load(), FanControlOwnership::aerovane);
  for (const char* stored : {"", "AnotherApp"}) {
    defaults.setString("fanControlOwnership.v1", stored);
    EXPECT_EQ(store.load(), FanControlOwnership::aerovane) << stored;
  }
  for (const FanControlOwnership ownership : allFanControlOwnerships) {
    store.save(ownership);
    EXPECT_EQ(defaults.string("fanControlOwnership.v1"),
              ownership == FanControlOwnership::anotherApp ? "anotherApp" : "aerovane");
    EXPECT_EQ(store.load(), ownership);
  }
}

TEST(FanControlOwnership, HasItsTexts) {
  EXPECT_EQ(title(FanControlOwnership::aerovane), "Aerovane controls fans");
  EXPECT_EQ(detail(FanControlOwnership::aerovane),
            "Aerovane may apply the selected preset when no competing controller is active.");
  EXPECT_EQ(title(FanControlOwnership::anotherApp), "Another app controls fans");
  EXPECT_EQ(detail(FanControlOwnership::anotherApp),
            "Monitoring only. Aerovane reads temperatures and RPM but performs no fan writes.");
}

}  // namespace halcyra
