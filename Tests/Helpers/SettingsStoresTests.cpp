#include "gtest/gtest.h"

#include "Helpers/FanControlOwnership.h"
#include "Helpers/PresetSelectionStore.h"
#include "Support/MemoryUserDefaults.h"

namespace halcyra {

TEST(PresetSelectionStore, RemembersTheSelection) {
  test::MemoryUserDefaults defaults;
  PresetSelectionStore store(defaults);
  const std::vector<FanPreset> menu = FanPreset::menuOrder(FanPreset::bundledPresets());
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
  store.save(FanControlOwnership::anotherApp);
  EXPECT_EQ(defaults.string("fanControlOwnership.v1"), "anotherApp");
  EXPECT_EQ(store.load(), FanControlOwnership::anotherApp);
  defaults.setString("fanControlOwnership.v1", "AnotherApp");
  EXPECT_EQ(store.load(), FanControlOwnership::aerovane);
  EXPECT_EQ(title(FanControlOwnership::anotherApp), "Another app controls fans");
  EXPECT_TRUE(detail(FanControlOwnership::anotherApp).starts_with("Monitoring only."));
}

}  // namespace halcyra
