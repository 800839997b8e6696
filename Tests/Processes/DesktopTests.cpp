// The application with its windows, as a process without a display to look at.

#ifdef AEROVANE_UI

#include "Processes/UnderControl.h"

namespace halcyra::test {
namespace {

class DesktopTests : public UnderControl {
 protected:
  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& arguments) {
    std::filesystem::permissions(machine.configuration(), std::filesystem::perms(0700));
    std::vector<std::string> all = {"--runtime-dir", machine.folder().string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const std::string home = machine.configuration().string();
    return std::make_unique<ChildProcess>(program("aerovane"), all,
                                          ChildProcess::Environment{{"QT_QPA_PLATFORM", "offscreen"},
                                                                    {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"},
                                                                    {"XDG_CONFIG_HOME", home},
                                                                    {"XDG_RUNTIME_DIR", home},
                                                                    {"HOME", home}});
  }
};

TEST_F(DesktopTests, OneInstanceDrivesUntilItIsToldToQuit) {
  // An end that is weeks away has more milliseconds than the toolkit's own timers can count.
  application = start(
      {"--install-helper", "--approve-helper", "--supervised-test", "--preset", "Full Blast", "--seconds", "3000000"});
  ASSERT_TRUE(comeTo(manual));
  const auto second = start({"--preset", "Apple Default"});
  EXPECT_EQ(second->wait(), 1);
  EXPECT_NE(second->errors().find("runs already"), std::string::npos) << second->errors();
  EXPECT_EQ(machine.modes(), manual) << "the second start has changed something";
  application->signal(SIGHUP);
  endInOrder(SIGINT);
  EXPECT_EQ(application->errors().find("negative interval"), std::string::npos) << application->errors();
}

TEST_F(DesktopTests, AnApprovalOfNothingIsSaidAndTheWindowsStay) {
  application = start({"--approve-helper", "--seconds", "3"});
  EXPECT_EQ(application->wait(), 0);
  EXPECT_NE(application->errors().find("there is nothing to approve"), std::string::npos) << application->errors();
}

}  // namespace
}  // namespace halcyra::test

#endif
