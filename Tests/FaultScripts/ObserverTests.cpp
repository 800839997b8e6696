// The observer is able to fail: each defect, put into a seam of the program, makes it name the rule that is broken.

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "gtest/gtest.h"

#include "Helpers/SensorReader.h"
#include "SMC/SMCParamStruct.h"
#include "Support/ForwardingIOKit.h"
#include "Support/HelperMessages.h"
#include "Support/ScriptRunner.h"
#include "VirtualMac/KeyTable.h"

namespace halcyra::test {
namespace {

/// Holds for the sound program under this script, and is broken first with the defect.
void expectBroken(Rule rule, const std::string& script, const ScriptRunner::Defect& defect) {
  const FaultScript parsed = FaultScript::parse(script);
  const auto sound = ScriptRunner::run(parsed);
  EXPECT_TRUE(sound.empty()) << describe(sound);
  const auto broken = ScriptRunner::run(parsed, defect);
  ASSERT_FALSE(broken.empty()) << "the observer has not noticed";
  EXPECT_EQ(broken.front().rule, rule) << describe(broken);
}

SMCParamStruct recordAt(const void* place) {
  SMCParamStruct record;
  std::memcpy(&record, place, sizeof record);
  return record;
}

bool isFanKey(const SMCParamStruct& record, const char* suffix) {
  return record.key == SMCKey::fan(0, suffix).rawValue || record.key == SMCKey::fan(1, suffix).rawValue;
}

/// A driver whose answers to the die sensors go through `change`.
class ChangedDies : public ForwardingIOKit {
 public:
  using Change = std::function<float(float)>;
  ChangedDies(IOKit& inner, Change change) : ForwardingIOKit(inner), change_(std::move(change)) {}

  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override {
    const kern_return_t status =
        ForwardingIOKit::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
    const SMCParamStruct question = recordAt(input);
    const KeyEntry* const entry = KeyTable::shared().find(SMCKey(question.key));
    const bool isTemperature = entry != nullptr && entry->source == KeySource::temperature && entry->type == "flt ";
    if (status != kIOReturnSuccess || question.command != SMCParamStruct::readBytes || !isTemperature) return status;
    SMCParamStruct reply = recordAt(output);
    float value = 0;
    std::memcpy(&value, reply.bytes.data(), sizeof value);
    value = change_(value);
    std::memcpy(reply.bytes.data(), &value, sizeof value);
    std::memcpy(output, &reply, sizeof reply);
    return status;
  }

 private:
  Change change_;
};

ScriptRunner::Defect changedDies(ChangedDies::Change change) {
  return [change](ClosedLoop& loop) {
    loop.seams.applicationIOKit = [change](IOKit& inner, std::int32_t) {
      return std::make_unique<ChangedDies>(inner, change);
    };
  };
}

/// The writes of a helper go through `pass`: false leaves one out, with success for an answer.
class FilteredWrites : public ForwardingIOKit {
 public:
  using Pass = std::function<bool(SMCParamStruct&)>;
  FilteredWrites(IOKit& inner, Pass pass) : ForwardingIOKit(inner), pass_(std::move(pass)) {}

  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override {
    SMCParamStruct question = recordAt(input);
    if (question.command == SMCParamStruct::writeBytes && !pass_(question)) {
      const SMCParamStruct done;
      std::memcpy(output, &done, sizeof done);
      return kIOReturnSuccess;
    }
    return ForwardingIOKit::IOConnectCallStructMethod(connection, selector, &question, inputSize, output, outputSize);
  }

 private:
  Pass pass_;
};

TEST(ObserverTests, TheHandBackOfAClientThatIsGoneLeftOut) {
  const auto defect = [](ClosedLoop& loop) {
    loop.seams.helperIOKit = [&loop](IOKit& inner, Clock&) {
      return std::make_unique<FilteredWrites>(inner, [&loop](SMCParamStruct& record) {
        const bool isHandBack = record.key == SMCKey::fan(1, "Md").rawValue && record.bytes[0] == 0;
        return !isHandBack || loop.application != nullptr;
      });
    };
  };
  expectBroken(Rule::ownership, "seed=2 workload=idle; 10.0 preset smart-auto; 100.0 kill-application 60.0", defect);
}

/// Of two writes to a fan the earlier one is carried out once more, seconds later.
TEST(ObserverTests, AWriteReplayedAfterTheHandBack) {
  struct Replay : ForwardingIOKit {
    Replay(IOKit& inner, Clock& theClock) : ForwardingIOKit(inner), clock(theClock) {}
    kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                            std::size_t inputSize, void* output, std::size_t* outputSize) override {
      const SMCParamStruct question = recordAt(input);
      const bool isWrite = question.command == SMCParamStruct::writeBytes;
      if (isWrite && isFanKey(question, "Tg")) last = question;
      const auto status =
          ForwardingIOKit::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
      const bool isHandBack = isWrite && isFanKey(question, "Md") && question.bytes[0] == 0;
      if (isHandBack && last) {
        SMCParamStruct ignored;
        std::size_t size = sizeof ignored;
        clock.sleep(Seconds{0.3});
        ForwardingIOKit::IOConnectCallStructMethod(connection, selector, &*last, sizeof *last, &ignored, &size);
        last.reset();
      }
      return status;
    }
    Clock& clock;
    std::optional<SMCParamStruct> last;
  };
  expectBroken(
      Rule::writes, "seed=3 workload=bursts; 10.0 preset smart-auto; 100.0 preset apple-default", [](ClosedLoop& loop) {
        loop.seams.helperIOKit = [](IOKit& inner, Clock& clock) { return std::make_unique<Replay>(inner, clock); };
      });
}

TEST(ObserverTests, APresetThatNeverDrivesAFan) {
  const auto defect = [](ClosedLoop& loop) {
    loop.seams.helperIOKit = [](IOKit& inner, Clock&) {
      return std::make_unique<FilteredWrites>(inner, [](SMCParamStruct& record) {
        return record.key != SMCKey::fan(1, "Md").rawValue || record.bytes[0] == 0;
      });
    };
  };
  expectBroken(Rule::recovery, "seed=4 workload=idle; 10.0 preset full-blast", defect);
}

TEST(ObserverTests, GarbageReadAsACoolMachine) {
  // What a reader without a notion of "no value" makes of every value that it cannot believe; 0 °C itself would be
  // refused as implausible, so that it reads as the coolest die there can be.
  const auto defect = changedDies([](float value) { return value >= 20 && value <= 115 ? value : 20.0F; });
  expectBroken(Rule::confidence, "seed=5 workload=sustained; 10.0 preset cooling; 100.0 blind 60.0 nan", defect);
}

TEST(ObserverTests, ACriticalReadingNotActedUpon) {
  const auto defect = changedDies([](float value) { return value >= 105 && value <= 115 ? 104.0F : value; });
  expectBroken(Rule::heat, "seed=6 workload=idle; 10.0 preset battery-saver; 100.0 spike 110.0 20.0", defect);
}

TEST(ObserverTests, ATargetBeyondTheLimits) {
  const auto defect = [](ClosedLoop& loop) {
    loop.seams.helperIOKit = [](IOKit& inner, Clock&) {
      return std::make_unique<FilteredWrites>(inner, [](SMCParamStruct& record) {
        if (!isFanKey(record, "Tg")) return true;
        float target = 0;
        std::memcpy(&target, record.bytes.data(), sizeof target);
        target += 200;
        std::memcpy(record.bytes.data(), &target, sizeof target);
        return true;
      });
    };
  };
  expectBroken(Rule::limits, "seed=7 workload=idle; 10.0 preset full-blast", defect);
}

TEST(ObserverTests, ASelectionThatAProcessLosesWithItsEnd) {
  const auto defect = [](ClosedLoop& loop) {
    loop.seams.applicationIOKit = [&loop](IOKit& inner, std::int32_t) {
      // Called once the settings have been read, before the model is made.
      const auto prepare = loop.prepareApplication;
      loop.prepareApplication = [prepare](TestPlatform& platform) {
        prepare(platform);
        platform.userDefaults.remove("lastSelectedFanPresetID.v1");
      };
      return std::make_unique<ForwardingIOKit>(inner);
    };
  };
  expectBroken(Rule::selection, "seed=8 workload=idle; 10.0 preset full-blast; 100.0 kill-application 5.0", defect);
}

TEST(FaultScriptTests, AScriptSurvivesItsTextAndIsShortenedToWhatMatters) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    const FaultScript script = makeFaultScript(seed);
    EXPECT_EQ(FaultScript::parse(script.text()), script) << script.text();
  }
  for (const char* const wrong : {"", "seed=1", "seed=1 workload=idle; x preset mine", "seed=1 workload=idle; 5"}) {
    EXPECT_THROW(FaultScript::parse(wrong), std::invalid_argument) << wrong;
  }
  EXPECT_THROW(ScriptRunner::run(FaultScript::parse("seed=1 workload=idle; 5.0 dance")), std::invalid_argument);

  FaultScript script{1, "idle", {}};
  for (int i = 0; i < 20; ++i) script.events.push_back({static_cast<double>(i), fmt::format("event {}", i)});
  const auto fails = [](const FaultScript& candidate) {
    int needed = 0;
    for (const ScriptEvent& event : candidate.events) needed += event.time == 3 || event.time == 14 ? 1 : 0;
    return needed == 2;
  };
  const FaultScript shorter = shortened(script, fails);
  ASSERT_EQ(shorter.events.size(), 2U);
  EXPECT_EQ(shorter.events[0].time, 3);
  EXPECT_EQ(shorter.events[1].time, 14);
}

}  // namespace
}  // namespace halcyra::test
