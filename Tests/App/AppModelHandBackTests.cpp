#include "gtest/gtest.h"

#include "App/ModelHarness.h"

namespace halcyra::test {

TEST(AppModelHandBack, resetsThenEndsTheSessionThenTellsItsCaller) {
  for (const bool preserving : {true, false}) {
    SCOPED_TRACE(preserving);
    ModelHarness h(FanPreset::fullBlast());
    h.helper.hold("end");
    int completed = 0;
    int modeAtCompletion = -1;
    h.onMain([&](AppModel& model) {
      model.resetToAutomatic({.reason = "settings emergency reset", .selection = preserving ? Selection::keep : Selection::drop}, [&] {
        ++completed;
        modeAtCompletion = h.helper.fans[0].mode;
      });
    });
    EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
    EXPECT_TRUE(h.model().isBusy());
    EXPECT_EQ(completed, 0) << "only after the last answer";
    h.helper.release("end");
    h.run(0.1);
    EXPECT_EQ(completed, 1);
    EXPECT_EQ(h.model().isBusy(), false);
    EXPECT_EQ(modeAtCompletion, 0);
    EXPECT_EQ(h.model().activePreset().name, preserving ? "Full Blast" : "Apple Default");
    h.run(3);
    EXPECT_EQ(h.helper.count("begin S2"), preserving ? 1u : 0u);
  }
}

TEST(AppModelHandBack, withoutASessionItCompletesAtOnceAndAsksNobody) {
  StartedModel h;
  bool completed = false;
  h.onMain([&](AppModel& model) {
    model.resetToAutomatic({.reason = "settings emergency reset", .selection = Selection::drop}, [&] { completed = true; });
    EXPECT_TRUE(completed);
    EXPECT_FALSE(model.isBusy());
  });
  EXPECT_EQ(h.transcript(), Lines{});
}

TEST(AppModelHandBack, failuresAreShownUnlessTheSessionWasGone) {
  struct Row {
    const char* operation;
    std::int64_t code;
    std::string message;
  };
  for (const Row& row : std::vector<Row>{
           {"reset", 99, "scripted failure"}, {"end", 99, "scripted failure"}, {"reset", 2, ""}, {"end", 2, ""}}) {
    SCOPED_TRACE(row.operation + std::to_string(row.code));
    ModelHarness h(FanPreset::fullBlast());
    h.helper.failNext(row.operation, helperError(row.code));
    int completed = 0;
    h.onMain([&](AppModel& model) { model.resetToAutomatic({.reason = "a reason", .selection = Selection::drop}, [&] { ++completed; }); });
    EXPECT_EQ(h.errorText(), row.message);
    EXPECT_EQ(completed, 1);
    EXPECT_FALSE(h.model().isBusy());
    EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"})) << "the session ends even when the reset failed";
  }
}

TEST(AppModelHandBack, twoAtOnceBothComplete) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.hold("reset");
  int first = 0, second = 0;
  h.onMain([&](AppModel& model) {
    model.resetToAutomatic({.reason = "first", .selection = Selection::keep}, [&] { ++first; });
    model.resetToAutomatic({.reason = "second", .selection = Selection::drop}, [&] { ++second; });
  });
  EXPECT_EQ(first + second, 0);
  EXPECT_TRUE(h.model().isBusy());
  h.helper.release("reset");
  h.run(0.1);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
  EXPECT_FALSE(h.model().isBusy());
  EXPECT_EQ(h.helper.count("end S1"), 1u);
  EXPECT_EQ(h.model().activePreset().name, "Apple Default");
  EXPECT_EQ(h.errorText(), "");
}

TEST(AppModelHandBack, leavesANewerSessionAlone) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.hold("reset");
  int completed = 0;
  h.onMain([&](AppModel& model) { model.resetToAutomatic({.reason = "slow", .selection = Selection::keep}, [&] { ++completed; }); });
  h.helper.dropSession();
  h.helper.hold("mode");
  // The next heartbeat finds the session gone; the poll after it opens another one.
  h.run(7);
  ASSERT_EQ(h.transcript().back(), "mode S2 0 manual");
  h.helper.release("reset");
  h.run(0.5);
  EXPECT_EQ(completed, 1);
  EXPECT_TRUE(h.model().isBusy()) << "with the newer activation";
  h.helper.release("mode");
  h.run(3);
  EXPECT_EQ(h.helper.count("end S2"), 0u);
  EXPECT_EQ(h.helper.openSession(), 2);
  EXPECT_TRUE(h.model().hasHelperSession());
  EXPECT_EQ(h.helper.fans[1].mode, 1);
  EXPECT_FALSE(h.model().isBusy());
  EXPECT_EQ(h.errorText(), "");
}

TEST(AppModelHandBack, reachesTheHelperAndItsCallerWithoutTheModel) {
  ModelHarness h(FanPreset::fullBlast());
  h.helper.hold("reset");
  int completed = 0;
  h.onMain([&](AppModel& model) { model.resetToAutomatic({.reason = "last act", .selection = Selection::keep}, [&] { ++completed; }); });
  h.destroyModel();
  h.helper.release("reset");
  h.run(0.1);
  EXPECT_EQ(h.transcript(), (Lines{"reset S1", "end S1"}));
  EXPECT_EQ(completed, 1);
}

TEST(AppModelHandBack, aLostSessionIsEndedWithoutAResetAndEstablishedAnew) {
  for (const bool foundByAWrite : {false, true}) {
    SCOPED_TRACE(foundByAWrite ? "a write finds it gone" : "a heartbeat finds it gone");
    ModelHarness h(constantPreset(3000));
    h.helper.dropSession();
    if (foundByAWrite) h.smc.setFanTarget(0, 2000);
    h.run(foundByAWrite ? 4.2 : 8);
    EXPECT_TRUE(h.logged("control session lost ("));
    EXPECT_EQ(h.helper.count("end S1"), 1u);
    EXPECT_EQ(h.helper.count("reset S1"), 0u) << "a lost session is not asked to reset";
    EXPECT_EQ(h.helper.openSession(), 2);
    EXPECT_EQ(h.helper.fans[0].mode, 1);
    EXPECT_EQ(h.errorText(), "");
    EXPECT_EQ(h.model().activePreset().name, "Constant");
  }
}

}  // namespace halcyra::test
