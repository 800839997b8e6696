// The application with its windows, as a process on a display of its own, and what its ends leave in the machine.

#ifdef AEROVANE_UI

#include <algorithm>
#include <filesystem>

#include "Processes/DisplayServer.h"
#include "Processes/UnderControl.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::test {
namespace {

constexpr const char* dashboard = "Aerovane";
/// Of the firmware.
constexpr long callsPerPoll = 344;

class DesktopTests : public testing::Test {
 protected:
  DesktopTests() {
    std::filesystem::permissions(machine.configuration(), std::filesystem::perms(0700));
    writeFile(machine.configuration() / "aerovane/defaults.json", R"({"supervisedFanTestProtocolVersion": 1})");
  }

  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> all = {"--runtime-dir", machine.folder().string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const std::string home = machine.configuration().string();
    return std::make_unique<ChildProcess>(program("aerovane"), all,
                                          ChildProcess::Environment{{"DISPLAY", display.name()},
                                                                    {"QT_QPA_PLATFORM", "xcb"},
                                                                    {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"},
                                                                    {"XDG_CONFIG_HOME", home},
                                                                    {"XDG_RUNTIME_DIR", home},
                                                                    {"HOME", home}});
  }
  std::unique_ptr<ChildProcess> startWithPreset(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.end(), {"--install-helper", "--approve-helper", "--preset", "Full Blast"});
    return start(arguments);
  }
  ::testing::AssertionResult drives(ChildProcess& application) {
    if (waitUntil([&] { return machine.modes() == manual; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the fans are not driven: " << application.errors();
  }
  /// Of the dashboard, once it is shown.
  xcb_window_t shownDashboard() {
    if (!waitUntil([&] { return display.window(dashboard).has_value(); })) throw std::runtime_error("no dashboard");
    return *display.window(dashboard);
  }

  MachineProcess machine{"sustained"};
  DisplayServer display;
};

TEST_F(DesktopTests, QuittingWhileThePresetIsStillBeingActivatedHandsBackToo) {
  const auto application = startWithPreset();
  ASSERT_TRUE(waitUntil([&] {
    const std::vector<int> modes = machine.modes();
    return modes[0] == 1 || modes[1] == 1;
  }));
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0) << application->errors();
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(DesktopTests, TheDeathOfTheDisplayServerHandsTheFansBack) {
  const auto application = startWithPreset();
  shownDashboard();
  ASSERT_TRUE(drives(*application));
  display.kill();
  const auto handedBack = waitUntil([&] { return machine.modes() == automatic; });
  ASSERT_TRUE(handedBack) << application->errors();
  EXPECT_LE(*handedBack, FanControlXPC::watchdogSeconds + RealSeconds(1));
  EXPECT_NE(application->wait(), 0) << "it has not been asked to quit";
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(DesktopTests, AnEndThatIsWeeksAwayIsTimedAndSignalsComeBeforeIt) {
  // More milliseconds than the toolkit's own timers can count, who then complain and never fire.
  const auto application = startWithPreset({"--seconds", "3000000"});
  ASSERT_TRUE(drives(*application));
  application->signal(SIGHUP);
  application->signal(SIGINT);
  EXPECT_EQ(application->wait(), 0) << application->errors();
  EXPECT_EQ(machine.modes(), automatic);
  EXPECT_EQ(application->errors().find("negative interval"), std::string::npos) << application->errors();
}

TEST_F(DesktopTests, ClosingEveryWindowLeavesTheTrayIconAndControlRunning) {
  display.hostTray();
  const auto application = startWithPreset();
  ASSERT_TRUE(waitUntil([&] { return display.trayIcon().has_value(); })) << application->errors();
  ASSERT_TRUE(drives(*application));
  EXPECT_FALSE(display.window(dashboard)) << "with a tray icon no window opens by itself";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(start()->wait(), 0) << "a second start wakes the first and ends";
    const xcb_window_t window = shownDashboard();
    display.requestClose(window);
    ASSERT_TRUE(waitUntil([&] { return display.shownWindows().empty(); }));
    // Three more polls at least: a quit would be over by then.
    const Json closed = machine.show();
    const long later = closed.at("calls").get<long>() + 4 * callsPerPoll;
    EXPECT_TRUE(waitUntil([&] { return machine.show().at("calls").get<long>() > later; })) << application->errors();
    EXPECT_TRUE(display.trayIcon());
    EXPECT_EQ(machine.modes(), manual);
    EXPECT_EQ(machine.show().at("writes"), closed.at("writes")) << "a steady preset has nothing to write";
    EXPECT_EQ(machine.processesOf("aerovane"), std::vector<pid_t>{application->pid()});
  }
  application->signal(SIGTERM);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

TEST_F(DesktopTests, WithoutATrayASecondStartBringsTheClosedDashboardBack) {
  const auto application = startWithPreset();
  // The panel is a window here, too, with the same title; it is the narrow one.
  const auto titled = [&] {
    auto windows = display.shownWindows();
    std::erase_if(windows, [&](xcb_window_t window) { return display.title(window) != dashboard; });
    std::sort(windows.begin(), windows.end(), [&](auto a, auto b) { return display.width(a) > display.width(b); });
    return windows;
  };
  ASSERT_TRUE(waitUntil([&] { return titled().size() == 2; }));
  ASSERT_TRUE(drives(*application));
  const auto both = titled();
  const int dashboardWidth = display.width(both.at(0));
  ASSERT_GT(dashboardWidth, display.width(both.at(1)));
  display.requestClose(both.at(0));
  ASSERT_TRUE(waitUntil([&] { return titled() == std::vector<xcb_window_t>{both.at(1)}; }));
  const auto second = start({"--preset", "Apple Default"});
  EXPECT_EQ(second->wait(), 1);
  EXPECT_NE(second->errors().find("runs already"), std::string::npos) << second->errors();
  ASSERT_TRUE(waitUntil([&] { return titled().size() == 2; }));
  EXPECT_EQ(display.width(titled().at(0)), dashboardWidth);
  EXPECT_EQ(machine.modes(), manual) << "the second start has changed nothing";
  // Quitting twice is quitting once.
  const xcb_window_t again = titled().at(0);
  for (int press = 0; press < 2; ++press) display.pressKey(again, DisplayServer::qKey, XCB_MOD_MASK_CONTROL);
  EXPECT_EQ(application->wait(), 0);
  EXPECT_EQ(machine.modes(), automatic);
}

}  // namespace
}  // namespace halcyra::test

#endif
