// Random kills of application and helper: whatever falls when, no fan stays driven by nobody.

#include <future>
#include <random>
#include <signal.h>
#include <sstream>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"
#include "Support/Values.h"

namespace halcyra::test {
namespace {

/// Whoever is lost: longer than the helper's watchdog nobody waits.
constexpr RealSeconds allowance{12};

enum class Victim { application, helper, both };

/// One machine with its rounds; the first fault found ends them.
class KillRounds {
 public:
  explicit KillRounds(std::uint32_t seed) : random_(seed) {
    writeFile(
        machine_.settings(),
        R"({"pollingInterval": 1.0, "supervisedFanTestProtocolVersion": 1, "supervisedFanTestHardwareModel": "Mac15,11"})");
  }

  /// What went wrong; empty when nothing did.
  std::string run(int rounds) {
    for (int round = 0; round < rounds && fault_.empty(); ++round) playRound(round);
    if (fault_.empty() && application_) {
      application_->signal(SIGTERM);
      check(application_->wait() == 0, "the application did not end in order: " + application_->errors());
    }
    check(waitUntil([&] { return machine_.modes() == automatic; }, allowance).has_value(), "a fan was left driven");
    return fault_.empty() ? "" : fault_ + story_.str();
  }

 private:
  void playRound(int round) {
    if (!application_) application_ = startApplication(machine_, {"--preset", any("Full Blast", "Smart Auto")});
    const int moment = any(0, 1, 2, 3);
    const auto victim = any(Victim::application, Victim::helper, Victim::both);
    story_ << "\n  round " << round << ": moment " << moment << ", victim " << static_cast<int>(victim);
    await(moment);
    if (!fault_.empty()) return;
    const int writes = machine_.show().at("writes").get<int>();
    if (victim != Victim::application) {
      for (const pid_t helper : machine_.processesOf("aerovane-helper")) ::kill(helper, SIGKILL);
    }
    if (victim == Victim::helper) {
      // Driven anew, not still: a hand-back and the new helper's commands are writes.
      const auto isDrivenAnew = [&] {
        return machine_.modes() == manual && machine_.show().at("writes").get<int>() >= writes + 3;
      };
      check(waitUntil(isDrivenAnew).has_value(), "the preset did not return: " + application_->errors());
      return;
    }
    application_->signal(SIGKILL);
    application_->wait();
    application_.reset();
    check(waitUntil([&] { return machine_.modes() == automatic; }, allowance).has_value(),
          "the killed application's fans are still driven");
  }

  /// Just started, a session is held, the first fan is driven, both are.
  void await(int moment) {
    const auto holdsSession = [](const Json& line) { return line.at("session").get<bool>(); };
    const bool came = moment == 0   ? true
                      : moment == 1 ? !readUntil(*application_, holdsSession).is_null()
                      : moment == 2 ? waitUntil([&] { return machine_.modes() != automatic; }).has_value()
                                    : waitUntil([&] { return machine_.modes() == manual; }).has_value();
    check(came, "the moment did not come: " + application_->errors());
  }

  template <typename First, typename... More>
  First any(First first, More... more) {
    const First choices[] = {first, more...};
    return choices[random_() % (1 + sizeof...(more))];
  }
  void check(bool holds, const std::string& fault) {
    if (!holds && fault_.empty()) fault_ = fault;
  }

  std::mt19937 random_;
  MachineProcess machine_{"sustained"};
  std::unique_ptr<ChildProcess> application_;
  std::ostringstream story_;
  std::string fault_;
};

TEST(RandomKillTests, FortyRoundsLeaveNoFanDrivenByNobody) {
  constexpr int roundsEach = 10;
  std::vector<std::pair<std::uint32_t, std::future<std::string>>> machines;
  for (const std::uint32_t seed : {11U, 12U, 13U, 14U}) {
    machines.emplace_back(seed, std::async(std::launch::async, [seed] { return KillRounds(seed).run(roundsEach); }));
  }
  for (auto& [seed, faults] : machines) EXPECT_EQ(faults.get(), "") << "seed " << seed;
}

}  // namespace
}  // namespace halcyra::test
