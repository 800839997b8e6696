#include <cmath>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "nlohmann/json.hpp"

#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Faults, WrongCommandsSayWhyAndChangeNothing) {
  struct Row {
    const char* command;
    const char* text;
  };
  const Row rows[] = {
      {"", "A fault command is missing"},
      {"explode Tf04", "There is no fault command \"explode\""},
      {"vanish", "vanish: something is missing; usage: vanish KEY"},
      {"vanish XXXX", "vanish: the machine has no key \"XXXX\"; usage: vanish KEY"},
      {"vanish \x1B[2J", "the machine has no key \"?[2J\""},
      {"value Tf04 000000000000000000000000000000050", "value: \"000000000000000000000000...\" is too long"},
      {"value Tf04 hot", "\"hot\" is no number"},
      {"value RPlt 1", "RPlt is of type \"ch8*\", which is no number"},
      {"nan F0Md", "F0Md is of type \"ui8 \", which has no such value"},
      {"result F0Md 0", "the result 0 is outside 1...255"},
      {"spike 110 0", "the duration 0 is outside 0.1...3600"},
      {"set-mode 0 2", "the firmware has no mode 2"},
      {"clear nothing", "clear: \"nothing\" is neither a fault nor a key; usage: clear [FAULT] [KEY]"},
  };
  MachineBench bench;
  bench.machine.faults().apply("jump Tf04 3");
  const std::string before = bench.machine.state().json().dump();
  for (const Row& row : rows) {
    try {
      bench.machine.faults().apply(row.command);
      ADD_FAILURE() << "accepted: " << row.command;
    } catch (const FaultError& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.text)) << row.command;
    }
  }
  EXPECT_THAT(bench.machine.faults().active(), ElementsAre("jump Tf04 3"));
  EXPECT_EQ(bench.machine.state().json().dump(), before);
}

TEST(Faults, ReadingsOfAKey) {
  MachineBench bench;
  auto& faults = bench.machine.faults();
  bench.runTo(1);
  const double truth = bench.truth("Tf04");

  faults.apply("value Tf04 200");
  EXPECT_EQ(bench.readFloat("Tf04"), 200.0F);
  faults.apply(" nan \t Tf04 ");
  EXPECT_TRUE(std::isnan(bench.readFloat("Tf04")));
  faults.apply("inf Tf04");
  EXPECT_TRUE(std::isinf(bench.readFloat("Tf04")));
  faults.apply("jump Tf04 30");
  EXPECT_NEAR(bench.readFloat("Tf04"), truth + 30, 1e-3);
  EXPECT_THAT(faults.active(), ElementsAre("jump Tf04 30")) << "one reading fault per key";
  EXPECT_NEAR(bench.readFloat("Tf09"), bench.truth("Tf09"), 1e-3) << "other keys are left alone";
  faults.apply("garbage Tf04");
  const auto first = bench.read("Tf04").output.bytes;
  EXPECT_NE(first, bench.read("Tf04").output.bytes);

  faults.apply("freeze F0Ac");
  faults.apply("vanish F0Tg");
  const float frozen = bench.readFloat("F0Ac");
  bench.runTo(10);
  EXPECT_EQ(bench.readFloat("F0Ac"), frozen);
  faults.apply("clear F0Ac");
  EXPECT_NE(bench.readFloat("F0Ac"), frozen);
  EXPECT_EQ(bench.info("F0Tg").output.result, 0x84);
  EXPECT_EQ(bench.call(SMCParamStruct::readBytes, "F0Tg", 4).output.result, 0x84);
  EXPECT_EQ(bench.writeTarget(0, 3000).output.result, 0x84);
  faults.apply("clear vanish F0Tg");
  EXPECT_EQ(bench.info("F0Tg").output.result, 0);
  EXPECT_THAT(faults.active(), ElementsAre("garbage Tf04"));
  faults.apply("clear");
  EXPECT_THAT(faults.active(), IsEmpty());
  EXPECT_NEAR(bench.readFloat("Tf04"), bench.truth("Tf04"), 1e-3);
}

TEST(Faults, ASpikeIsOverAfterItsTime) {
  MachineBench bench;
  bench.runTo(10.01);
  bench.machine.faults().apply("spike 110 6");
  EXPECT_EQ(bench.readFloat("Tf04"), 110.0F);
  EXPECT_EQ(bench.readFloat("TCMz"), 110.0F);
  EXPECT_LT(bench.readFloat("TaLP"), 60.0F);
  bench.runTo(16.0);
  EXPECT_EQ(bench.readFloat("Tf44"), 110.0F);
  bench.runTo(16.02);
  EXPECT_LT(bench.readFloat("Tf44"), 60.0F);
  EXPECT_THAT(bench.machine.faults().active(), IsEmpty());
  bench.machine.faults().apply("spike 110 600");
  bench.machine.faults().apply("clear spike");
  EXPECT_LT(bench.truth("Tf44"), 60.0);
}

}  // namespace
}  // namespace halcyra::test
