#include <cmath>
#include <limits>

#include "gtest/gtest.h"
#include "nlohmann/json.hpp"

#include "Platform/IOKit.h"
#include "SMC/SMCError.h"
#include "VirtualMac/Firmware.h"
#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

TEST(Protocol, TypesAndByteOrder) {
  MachineBench bench;
  struct Row {
    const char* key;
    const char* type;
    std::uint32_t size;
    std::vector<std::uint8_t> bytes;
  };
  const Row rows[] = {
      {"F0Mn", "flt ", 4, {0x00, 0xC0, 0xA8, 0x44}},
      {"TCal", "ui16", 2, {0x12, 0x34}},
      {"AC-W", "si8 ", 1, {0xFF}},
      {"RPlt", "ch8*", 8, {'j', '5', '1', '4', 0, 0, 0, 0}},
  };
  for (const Row& row : rows) {
    const auto info = bench.info(row.key).output;
    EXPECT_EQ(stringFromCode(info.keyInfoDataType), row.type) << row.key;
    EXPECT_EQ(info.keyInfoDataSize, row.size) << row.key;
    const auto bytes = bench.read(row.key).output.bytes;
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      EXPECT_EQ(bytes[place], place < row.bytes.size() ? row.bytes[place] : 0) << row.key << " byte " << place;
    }
  }
  const auto battery = bench.read("TB0T").output.bytes;
  EXPECT_NEAR(battery[0] + battery[1] / 256.0, bench.truth("TB0T"), 1.0 / 256);
  EXPECT_NEAR(bench.readFloat("Tf04"), bench.truth("Tf04"), 1e-4);
}

TEST(Protocol, ResultsOfCallsThatCannotBeAnswered) {
  MachineBench bench;
  const std::string before = bench.machine.state().json().dump();
  struct Row {
    const char* what;
    std::uint8_t command;
    const char* key;
    std::uint32_t size;
    std::uint32_t index;
    std::uint8_t result;
  };
  const Row rows[] = {
      {"info of an unknown key", SMCParamStruct::readKeyInfo, "ZZZZ", 0, 0, 0x84},
      {"read of an unknown key", SMCParamStruct::readBytes, "F2Ac", 4, 0, 0x84},
      {"read of an absurd size", SMCParamStruct::readBytes, "Tf04", 0xFFFFFFFF, 0, 0x87},
      {"index beyond the end", SMCParamStruct::readKeyIndex, "Tf04", 0, 100000, 0x84},
      {"unknown command", 7, "Tf04", 4, 0, 0x82},
      {"write of a temperature", SMCParamStruct::writeBytes, "Tf04", 4, 0, 0x86},
      {"write of an absurd size", SMCParamStruct::writeBytes, "F0Tg", 0xFFFFFFFF, 0, 0x87},
  };
  for (const Row& row : rows) {
    SMCParamStruct input;
    input.command = row.command;
    input.key = SMCKey::fromString(row.key).rawValue;
    input.keyInfoDataSize = row.size;
    input.data32 = row.index;
    const auto reply = bench.machine.call(input, true);
    EXPECT_EQ(reply.status, kIOReturnSuccess) << row.what;
    EXPECT_EQ(reply.output.result, row.result) << row.what;
    EXPECT_EQ(reply.output.bytes, decltype(reply.output.bytes){}) << row.what;
  }
  auto after = bench.machine.state();
  EXPECT_EQ(after.calls, std::size(rows));
  EXPECT_EQ(after.writes, 0U);
  after.calls = 0;
  EXPECT_EQ(after.json().dump(), before);
}

TEST(Protocol, WritesNeedPrivilegeAndSense) {
  MachineBench bench;
  int observed = 0;
  bench.machine.setWriteObserver([&](const std::string&, double) { ++observed; });
  EXPECT_EQ(bench.writeTarget(0, 3000, false).status, kIOReturnNotPrivileged);
  EXPECT_EQ(bench.writeMode(0, 1, false).status, kIOReturnNotPrivileged);
  for (const std::uint8_t mode : {std::uint8_t{2}, std::uint8_t{3}, std::uint8_t{255}}) {
    EXPECT_EQ(bench.writeMode(0, mode).output.result, Firmware::badArgument) << int{mode};
  }
  for (const float rpm : {-1.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(bench.writeTarget(0, rpm).output.result, Firmware::badArgument) << rpm;
  }
  bench.runTo(5);
  EXPECT_EQ(bench.machine.state().fans[0].mode, 0);
  EXPECT_EQ(bench.machine.state().writes, 0U);
  EXPECT_EQ(observed, 0);
}

}  // namespace
}  // namespace halcyra::test
