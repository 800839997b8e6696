// Random kills of application and helper: whatever falls when, no fan stays driven by nobody.

#include <algorithm>
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

enum class Moment { started, sessionHeld, firstFanDriven, underControl };
enum class Victim { application, helper, both };

template <typename Choice>
Choice anyOf(std::mt19937& random, std::initializer_list<Choice> choices) {
  return *(choices.begin() + random() % choices.size());
}

/// One machine with its rounds; the first fault found ends them.
class KillRounds {
 public:
  explicit KillRounds(std::uint32_t seed) : random_(seed) {
    writeFile(machine_.configuration() / "aerovane/defaults.json",
              R"({"pollingInterval": 1.0, "supervisedFanTestProtocolVersion": 1})");
  }

  /// What went wrong; empty when nothing did.
  std::string run(int rounds) {
    for (int round = 0; round < rounds && fault_.empty(); ++round) {
      const auto moment =
          anyOf(random_, {Moment::started, Moment::sessionHeld, Moment::firstFanDriven, Moment::underControl});
      const auto victim = anyOf(random_, {Victim::application, Victim::helper, Victim::both});
      story_ << "\n  round " << round << ": moment " << static_cast<int>(moment) << ", victim "
             << static_cast<int>(victim);
      playRound(moment, victim);
    }
    if (fault_.empty()) endInOrder();
    return fault_.empty() ? "" : fault_ + story_.str();
  }

 private:
  void playRound(Moment moment, Victim victim) {
    if (!application_) start();
    await(moment);
    if (!fault_.empty()) return;
    const auto helpers = machine_.processesOf("aerovane-helper");
    const int writes = machine_.show().at("writes").get<int>();
    if (victim != Victim::application) {
      for (const pid_t helper : helpers) ::kill(helper, SIGKILL);
    }
    if (victim != Victim::helper) killApplication();
    if (victim == Victim::application) {
      expectWithin("the killed application's fans are still driven", [&] { return isAutomatic(); });
      return;
    }
    // With both gone nobody is left; the next start has to clear up.
    if (!application_) start();
    expectWithin("the killed helper has neither been replaced nor are the fans automatic", [&] {
      const auto now = machine_.processesOf("aerovane-helper");
      const bool replaced = now.size() == 1 && std::find(helpers.begin(), helpers.end(), now.front()) == helpers.end();
      return replaced || isAutomatic();
    });
    // Driven anew, not still: the new helper's hand-back and its commands are writes.
    check(waitUntil([&] {
            return isUnderControl() && machine_.show().at("writes").get<int>() >= writes + 3;
          }).has_value(),
          "the preset did not return: " + application_->errors());
  }

  void start() {
    const auto* preset = anyOf(random_, {"Full Blast", "Smart Auto", "30–50 °C Cooling"});
    application_ = startApplication(machine_, {"--preset", preset});
  }

  void killApplication() {
    application_->signal(SIGKILL);
    application_->wait();
    application_.reset();
  }

  void await(Moment moment) {
    switch (moment) {
      case Moment::started:
        return;
      case Moment::sessionHeld:
        check(!readUntil(*application_, [](const Json& line) { return line.at("session").get<bool>(); }).is_null(),
              "no session came about: " + application_->errors());
        return;
      case Moment::firstFanDriven:
        check(waitUntil([&] { return !isAutomatic(); }).has_value(), "no fan was driven: " + application_->errors());
        return;
      case Moment::underControl:
        check(waitUntil([&] { return isUnderControl(); }).has_value(),
              "the preset did not return: " + application_->errors());
        return;
    }
  }

  void endInOrder() {
    if (application_) {
      application_->signal(SIGTERM);
      check(application_->wait() == 0, "the application did not end in order: " + application_->errors());
    }
    expectWithin("a fan was left driven at the end", [&] { return isAutomatic(); });
  }

  bool isUnderControl() { return machine_.modes() == manual; }
  bool isAutomatic() { return machine_.modes() == automatic; }
  void expectWithin(const std::string& fault, const std::function<bool()>& holds) {
    check(waitUntil(holds, allowance).has_value(), fault);
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
  for (auto& [seed, faults] : machines) {
    EXPECT_EQ(faults.get(), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace halcyra::test
