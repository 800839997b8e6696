// The application with its windows as a process on a display server: its start, processor time and memory.

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <signal.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "benchmark/benchmark.h"

#include "DisplayServer.h"
#include "MachineUnderTest.h"
#include "Processes/ProcessSupport.h"

namespace halcyra::benchmarks {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr const char* dashboardTitle = "Aerovane";

/// A machine, a display, and the application on both under Smart Auto.
class DesktopUnderTest {
 public:
  DesktopUnderTest() {
    std::filesystem::create_directories(machine.configuration() / "aerovane");
    std::filesystem::permissions(machine.configuration(), std::filesystem::perms(0700));
    std::ofstream(machine.settings())
        << R"({"supervisedFanTestProtocolVersion": 1, "supervisedFanTestHardwareModel": "Mac15,11"})";
  }

  std::unique_ptr<test::ChildProcess> start() {
    const std::string home = machine.configuration().string();
    return std::make_unique<test::ChildProcess>(
        std::string(AEROVANE_BIN) + "/aerovane",
        std::vector<std::string>{"--runtime-dir", machine.folder().string(), "--install-helper", "--approve-helper",
                                 "--preset", "Smart Auto"},
        test::ChildProcess::Environment{{"DISPLAY", display.name()},
                                        {"QT_QPA_PLATFORM", "xcb"},
                                        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"},
                                        {"XDG_CONFIG_HOME", home},
                                        {"XDG_RUNTIME_DIR", home},
                                        {"HOME", home}});
  }

  test::MachineProcess machine{"bursts"};
  test::DisplayServer display;
};

void end(test::ChildProcess& application) {
  application.signal(SIGTERM);
  application.wait();
}

/// From the start of the process to the first picture of the dashboard; one start before it has warmed the caches.
void firstPaint(benchmark::State& state) {
  DesktopUnderTest desktop;
  const auto run = [&] {
    const auto start = SteadyClock::now();
    const auto application = desktop.start();
    const auto isPainted = [&] {
      const auto window = desktop.display.window(dashboardTitle);
      return window && desktop.display.isPainted(*window);
    };
    while (!isPainted()) {
      if (SteadyClock::now() - start > test::patience) throw std::runtime_error("nothing was painted");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const double elapsed = std::chrono::duration<double>(SteadyClock::now() - start).count();
    end(*application);
    return elapsed;
  };
  run();
  for (auto _ : state) state.SetIterationTime(run());
  state.counters["bar_ms"] = 200;
}
BENCHMARK(firstPaint)->UseManualTime()->Iterations(1)->Repetitions(7)->Unit(benchmark::kMillisecond);

/// `dashboard`: what opens on a desktop without a tray. The other two have one.
enum class Windows { none, dashboard, expandedChart };

/// Opens the panel by its icon, and the chart in it by the keyboard.
void expandChart(DesktopUnderTest& desktop) {
  desktop.display.click(*desktop.display.trayIcon(), 4, 4);
  if (!test::waitUntil([&] { return desktop.display.shownWindows().size() == 1; })) {
    throw std::runtime_error("the panel did not open");
  }
  const xcb_window_t panel = desktop.display.shownWindows().front();
  const auto before = desktop.display.height(panel);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  desktop.display.pressKey(panel, test::DisplayServer::tabKey);
  desktop.display.pressKey(panel, test::DisplayServer::spaceKey);
  if (!test::waitUntil([&] { return desktop.display.height(panel) != before; })) {
    throw std::runtime_error("the chart did not open");
  }
}

/// `state.range(0)`: what is open. Processor time of the second minute, memory after two.
void desktopFootprint(benchmark::State& state) {
  const auto open = static_cast<Windows>(state.range(0));
  DesktopUnderTest desktop;
  if (open != Windows::dashboard) desktop.display.hostTray();
  const auto application = desktop.start();
  if (open != Windows::dashboard) test::waitUntil([&] { return desktop.display.trayIcon().has_value(); });
  test::waitUntil([&] { return desktop.machine.modes() == std::vector<int>{1, 1}; });
  if (open == Windows::expandedChart) expandChart(desktop);
  std::this_thread::sleep_for(std::chrono::seconds(60));
  constexpr double seconds = 60;
  for (auto _ : state) {
    const double before = processorTime(application->pid());
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double polls = seconds / pollingInterval;
    state.counters["ms_per_poll"] = (processorTime(application->pid()) - before) / polls * 1e3;
    state.counters["PSS_MB"] = proportionalSetSize(application->pid());
  }
  if (open == Windows::none) state.counters["bar_ms"] = 9;
  if (open == Windows::expandedChart) state.counters["bar_ms"] = 18;
  state.counters["bar_MB"] = 45;
  state.counters["windows"] = static_cast<double>(desktop.display.shownWindows().size());
  end(*application);
}
BENCHMARK(desktopFootprint)
    ->ArgName("open")
    ->Arg(static_cast<int>(Windows::none))
    ->Arg(static_cast<int>(Windows::dashboard))
    ->Arg(static_cast<int>(Windows::expandedChart))
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

}  // namespace
}  // namespace halcyra::benchmarks
