#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/Linux/JSONUserDefaults.h"
#include "Support/CapturingLogSink.h"
#include "Support/MemoryUserDefaults.h"
#include "Support/TemporaryFolder.h"

namespace halcyra::test {

TEST(MemoryUserDefaults, HasTheTypingRulesOfTheRealStore) {
  const TemporaryFolder folder;
  CapturingLogSink log;
  JSONUserDefaults real(folder / "settings.json", log);
  MemoryUserDefaults memory;
  const std::vector<std::pair<std::string, std::function<void(UserDefaults&)>>> changes{
      {"integer", [](UserDefaults& store) { store.setInteger("key", -7); }},
      {"largest", [](UserDefaults& store) { store.setInteger("key", std::numeric_limits<std::int64_t>::max()); }},
      {"fraction", [](UserDefaults& store) { store.setNumber("key", 2.5); }},
      {"whole number", [](UserDefaults& store) { store.setNumber("key", 3000.0); }},
      {"beyond integers", [](UserDefaults& store) { store.setNumber("key", 9223372036854775808.0); }},
      {"least integer", [](UserDefaults& store) { store.setNumber("key", -9223372036854775808.0); }},
      {"not finite", [](UserDefaults& store) { store.setNumber("key", std::nan("")); }},
      {"true", [](UserDefaults& store) { store.setBoolean("key", true); }},
      {"text", [](UserDefaults& store) { store.setString("key", "12"); }},
      {"empty text", [](UserDefaults& store) { store.setString("key", ""); }},
      {"data", [](UserDefaults& store) { store.setData("key", "{}"); }},
      {"binary data", [](UserDefaults& store) { store.setData("key", std::string("\xFF\0\x01", 3)); }},
  };
  for (const auto& [name, change] : changes) {
    SCOPED_TRACE(name);
    change(real);
    change(memory);
    EXPECT_EQ(memory.integer("key"), real.integer("key"));
    EXPECT_EQ(memory.number("key"), real.number("key"));
    EXPECT_EQ(memory.boolean("key"), real.boolean("key"));
    EXPECT_EQ(memory.string("key"), real.string("key"));
    EXPECT_EQ(memory.data("key"), real.data("key"));
    EXPECT_EQ(memory.integer("other"), std::nullopt);
  }
}

TEST(MemoryUserDefaults, ForgetsAtRestartWhatItCouldNotWrite) {
  MemoryUserDefaults store;
  store.setInteger("kept", 1);
  store.setInteger("changed", 1);
  store.setUnwritable(true);
  store.setInteger("changed", 2);
  store.setInteger("new", 3);
  EXPECT_EQ(store.integer("changed"), 2) << "for the life of the process";
  store.restart();
  EXPECT_EQ(store.integer("kept"), 1);
  EXPECT_EQ(store.integer("changed"), 1);
  EXPECT_FALSE(store.has("new"));
}

}  // namespace halcyra::test
