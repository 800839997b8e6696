#include "gmock/gmock.h"
#include "gtest/gtest.h"

#include "VirtualMac/MachineBench.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra::test {
namespace {

using testing::HasSubstr;

TEST(Traces, RecordedTemperaturesAreReplayed) {
  MachineBench bench;
  bench.runTo(100);
  bench.machine.setWorkload(
      TraceWorkload::parse("time,F0Ac,Tf44,Tf04,fan1,TaLP\n0,1350,,60,,30.5\n10,1400,50,80,1350,\n300,,50,95,,31\n"));
  bench.runTo(105);
  EXPECT_NEAR(bench.readFloat("Tf04"), 70, 1e-3);
  EXPECT_NEAR(bench.readFloat("TaLP"), 30.5, 1e-3) << "a missed reading takes the one before";
  bench.runTo(110);
  EXPECT_NEAR(bench.readFloat("Tf04"), 80, 1e-3);
  EXPECT_NEAR(bench.readFloat("Tf44"), 50, 1e-3);
  EXPECT_NEAR(bench.readFloat("Tf09"), 80, 4) << "the die goes along";
  EXPECT_GT(bench.readFloat("TCMz"), 80);
  bench.runTo(500);
  EXPECT_NEAR(bench.readFloat("Tf04"), 95, 1e-3);
  EXPECT_NEAR(bench.machine.state().fans[0].actual, 3133, 15) << "the firmware goes by what is replayed";
}

TEST(Traces, ErrorsNameTheLine) {
  struct Row {
    const char* text;
    const char* error;
  };
  const Row rows[] = {
      {"", "it is empty"},
      {"time,cpu\n", "it has a header and no values"},
      {"cpu\n1\n", "line 1: there is no column \"time\""},
      {"time,F0Ac\n1,2\n", "line 1: there is neither a load nor a temperature column"},
      {"time,cpu,cpu\n0,1,1\n", "line 1: the column \"cpu\" is there twice"},
      {"time,Tzzz\n0,1\n", "line 1: the machine has no temperature key \"Tzzz\""},
      {"time,cpu\n0\n", "line 2: there are 1 values for 2 columns"},
      {"time,cpu\n\n0,1\n1,fast\n", "line 4: cpu = \"fast\" is no number"},
      {"time,cpu\n0,1.5\n", "line 2: the load cpu = 1.5 is outside 0...1"},
      {"time,Tf04\n0,126\n", "line 2: the temperature Tf04 = 126 is outside -40...125"},
      {"time,cpu\n1,1\n1,1\n", "line 3: the time 1 does not come after the one before"},
      {"time,cpu\n-1e308,1\n1e308,1\n", "line 3: the time 1e308 is too long after the first one"},
      {"time,cpu\n0,\x01\xFFthis goes on and on and on and on\n", "cpu = \"??this goes on and on an...\" is no number"},
  };
  for (const Row& row : rows) {
    try {
      static_cast<void>(TraceWorkload::parse(row.text));
      ADD_FAILURE() << "accepted: " << row.text;
    } catch (const WorkloadError& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.error)) << row.text;
    }
  }
}

}  // namespace
}  // namespace halcyra::test
