#pragma once

#include <memory>
#include <signal.h>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"
#include "Support/Values.h"

namespace halcyra::test {

/// The three programs on a machine that is warm, with its own truth as the judge.
class UnderControl : public testing::Test {
 protected:
  void startUnderControl(const std::string& preset) {
    application = startApplication(machine, {"--preset", preset});
    awaitControl();
  }
  /// Until the console reports both fans as driven, and the machine agrees.
  void awaitControl() {
    ASSERT_FALSE(readUntil(*application, bothManual).is_null()) << application->errors();
    ASSERT_EQ(machine.modes(), manual);
  }
  ::testing::AssertionResult comeTo(const std::vector<int>& modes) {
    if (waitUntil([&] { return machine.modes() == modes; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << application->errors();
  }
  /// Of the one that runs.
  pid_t idOf(const char* program) {
    const auto ids = machine.processesOf(program);
    EXPECT_EQ(ids.size(), 1U) << program;
    return ids.at(0);
  }
  void endInOrder(int signal = SIGTERM) {
    application->signal(signal);
    EXPECT_EQ(application->wait(), 0) << application->errors();
    EXPECT_EQ(machine.modes(), automatic);
  }

  MachineProcess machine;
  std::unique_ptr<ChildProcess> application;
};

}  // namespace halcyra::test
