// What the windows cost the main thread: a poll's refresh, and the longest that it is blocked.

#include <QApplication>
#include <QEvent>
#include <QEventLoop>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "benchmark/benchmark.h"

#include "MachineUnderTest.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/Qt/QtMainQueue.h"
#include "UI/MainView.h"
#include "UI/MenuBarPanel.h"
#include "UI/Motion.h"
#include "UI/Style.h"
#include "UI/UIHarness.h"
#include "XPC/FanControlXPC.h"

namespace halcyra::benchmarks {
namespace {

double threadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The longest that one event kept the main thread: posted work, timers, sockets, input and painting all are events.
struct EventMeter {
  double longest = 0;
  double longestProcessorTime = 0;
  int events = 0;
};

/// Measures each event that the loop delivers, with all that it leads to.
class MeteredApplication : public QApplication {
 public:
  using QApplication::QApplication;

  bool notify(QObject* receiver, QEvent* event) override {
    if (isInEvent_ || meter == nullptr) return QApplication::notify(receiver, event);
    isInEvent_ = true;
    const auto started = std::chrono::steady_clock::now();
    const double startedProcessorTime = threadSeconds();
    const bool result = QApplication::notify(receiver, event);
    isInEvent_ = false;
    if (meter == nullptr) return result;
    ++meter->events;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    meter->longest = std::max(meter->longest, elapsed.count());
    meter->longestProcessorTime = std::max(meter->longestProcessorTime, threadSeconds() - startedProcessorTime);
    return result;
  }

  /// Null: nothing is measured.
  EventMeter* meter = nullptr;

 private:
  bool isInEvent_ = false;
};

MeteredApplication& application() {
  // Never destroyed: at the end of the process what Qt itself keeps in statics goes first.
  static MeteredApplication* const instance = [] {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = 1;
    static char name[] = "aerovane-benchmarks";
    static char* arguments[] = {name, nullptr};
    auto* const made = new MeteredApplication(count, arguments);
    // The programs that other benchmarks start choose for themselves.
    qunsetenv("QT_QPA_PLATFORM");
    applyStyle(*made, Appearance::light);
    return made;
  }();
  return *instance;
}

/// Counts what is painted: a refresh that paints nothing would be no refresh.
class PaintCounter : public QObject {
 public:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint && watched->objectName() == QLatin1String("sessionHistoryChart")) ++charts;
    if (event->type() == QEvent::Paint) ++all;
    return false;
  }
  int charts = 0;
  int all = 0;
};

/// Arguments: hours of history, and whether the chart is expanded. The 126 sensors and 2 fans of the simulated machine
/// under Smart Auto, panel and dashboard open.
void pollRefresh(benchmark::State& state) {
  application();
  test::UIHarness ui({.workload = "bursts", .seed = 1, .isSetUp = true, .prepare = {}});
  ui.model().activate(FanPreset::automatic(), false);
  ui.loop.run(static_cast<double>(state.range(0)) * 3600.0 + 60.0);
  ViewContext context;
  context.model = ui.sharedModel();
  auto panel = std::make_unique<MenuBarPanel>(context, MenuBarPanel::Kind::window);
  auto dashboard = std::make_unique<MainView>(context);
  dashboard->resize(960, 720);
  dashboard->show();
  panel->openNear({});
  if (state.range(1) != 0) panel->view().setHistoryExpanded(true);
  ui.run(10.0);
  PaintCounter counter;
  qApp->installEventFilter(&counter);
  double longest = 0;
  for (auto _ : state) {
    ui.loop.run(pollingInterval);
    const double before = threadSeconds();
    test::UIHarness::pumpEvents();
    const double spent = threadSeconds() - before;
    longest = std::max(longest, spent);
    state.SetIterationTime(spent);
  }
  qApp->removeEventFilter(&counter);
  const auto polls = static_cast<double>(state.iterations());
  state.counters["longest_ms"] = longest * 1e3;
  state.counters["paints"] = counter.all / polls;
  state.counters["chart_paints"] = counter.charts / polls;
  state.counters["samples"] = static_cast<double>(ui.model().history().size());
  state.counters["bar_ms"] = 4;
  dashboard.reset();
  panel.reset();
}
BENCHMARK(pollRefresh)
    ->ArgNames({"hours", "expanded"})
    ->Args({0, 0})
    ->Args({12, 0})
    ->Args({0, 1})
    ->Args({12, 1})
    ->UseManualTime()
    ->Iterations(200)
    ->Unit(benchmark::kMillisecond);

void waitInLoop(double seconds, const std::function<bool()>& done = {}) {
  QEventLoop loop;
  QTimer poll;
  QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
    if (done && done()) loop.quit();
  });
  poll.start(20);
  QTimer::singleShot(static_cast<int>(seconds * 1000), &loop, [&] { loop.quit(); });
  loop.exec();
}

/// The paints of each kind of widget.
class PaintCensus : public QObject {
 public:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint) ++paints[watched->metaObject()->className()];
    return false;
  }
  std::map<std::string, int> paints;
};

/// What a poll costs the main thread with panel and dashboard open and with everything moving that moves, in real time:
/// the refresh and the 0.8 s in which its animations end. The polling itself is left out. `state.range(0)`: whether
/// motion is wanted. With `AEROVANE_PAINTS` in the environment, what was painted is printed by kind.
void pollWithMotion(benchmark::State& state) {
  application();
  setDesktopWantsMotion(state.range(0) != 0);
  test::UIHarness ui({.workload = "bursts", .seed = 1, .isSetUp = true, .prepare = {}});
  ui.model().activate(FanPreset::automatic(), false);
  ui.loop.run(360.0);
  ViewContext context;
  context.model = ui.sharedModel();
  auto panel = std::make_unique<MenuBarPanel>(context, MenuBarPanel::Kind::window);
  auto dashboard = std::make_unique<MainView>(context);
  dashboard->resize(960, 720);
  dashboard->show();
  panel->openNear({});
  ui.run(10.0);
  waitInLoop(1.0);
  PaintCensus census;
  qApp->installEventFilter(&census);
  for (auto _ : state) {
    ui.loop.run(pollingInterval);
    const double before = threadSeconds();
    waitInLoop(0.8);
    state.SetIterationTime(threadSeconds() - before);
  }
  qApp->removeEventFilter(&census);
  const auto polls = static_cast<double>(state.iterations());
  int all = 0;
  for (const auto& [kind, count] : census.paints) {
    all += count;
    if (std::getenv("AEROVANE_PAINTS") != nullptr) std::cerr << kind << ' ' << count / polls << '\n';
  }
  state.counters["paints"] = all / polls;
  state.counters["bar_ms"] = 8.7;
  dashboard.reset();
  panel.reset();
  setDesktopWantsMotion(true);
}
BENCHMARK(pollWithMotion)
    ->ArgName("motion")
    ->Arg(1)
    ->Arg(0)
    ->UseManualTime()
    ->Iterations(15)
    ->Unit(benchmark::kMillisecond);

bool machineIsSlow(const MachineUnderTest& machine, const std::string& milliseconds) {
  const pid_t command =
      startProgram("virtual-mac", {"ctl", "--runtime-dir", machine.folder().string(), "fault", "slow", milliseconds},
                   machine.folder().parent_path() / "fault");
  waitForProgram(command);
  return contents(machine.folder().parent_path() / "fault").find("rror") == std::string::npos;
}

/// The windows in this process over the real platform, with a helper process, while every call of the machine takes
/// `state.range(0)` ms: presets chosen, a preset made and edited, the chart opened and closed, the emergency reset.
void longestBlock(benchmark::State& state) {
  application();
  const MachineUnderTest machine;
  const auto settings = machine.folder().parent_path() / "defaults.json";
  std::ofstream(settings) << R"({"supervisedFanTestProtocolVersion": 1, "supervisedFanTestHardwareModel": "Mac15,11"})";
  QtMainQueue mainQueue;
  LinuxPlatformOptions options;
  options.layout = RuntimeLayout::inFolder(machine.folder());
  options.defaultsFile = settings;
  options.minimumLogLevel = LogLevel::error;
  options.helperProgram = std::string(AEROVANE_BIN) + "/aerovane-helper";
  options.mainQueue = &mainQueue;
  LinuxPlatform linux(options);
  std::shared_ptr<AppModel> model = AppModel::make(linux.platform());
  model->installHelper();
  linux.serviceManagement().approve(std::string(FanControlXPC::daemonPlistName));
  ViewContext context;
  context.model = model;
  auto panel = std::make_unique<MenuBarPanel>(context, MenuBarPanel::Kind::window);
  auto dashboard = std::make_unique<MainView>(context);
  dashboard->resize(960, 720);
  dashboard->show();
  panel->openNear({});
  waitInLoop(30, [&] { return model->helperState() == HelperInstallState::enabled && !model->fans().empty(); });
  if (!machineIsSlow(machine, std::to_string(state.range(0)))) state.SkipWithError("the machine cannot be slowed");
  const auto act = [&](const std::function<void()>& command) {
    // As an event, like the user's own.
    QTimer::singleShot(0, panel.get(), command);
    waitInLoop(8, [&] { return !model->isBusy(); });
    waitInLoop(3);
  };
  bool wasDriven = false;
  for (auto _ : state) {
    EventMeter meter;
    application().meter = &meter;
    act([&] { model->activate(FanPreset::fullBlast(), false); });
    act([&] { panel->view().setHistoryExpanded(true); });
    act([&] { QTest::mouseClick(dashboard->findChild<QWidget*>("newCustomPreset"), Qt::LeftButton); });
    wasDriven = !model->fans().empty() && model->fans().front().mode == FanMode::manual;
    act([&] { panel->view().setHistoryExpanded(false); });
    act([&] { dashboard->resize(520, 430); });
    act([&] { model->activate(FanPreset::systemDefault(), false); });
    application().meter = nullptr;
    state.counters["longest_ms"] = meter.longest * 1e3;
    state.counters["longest_cpu_ms"] = meter.longestProcessorTime * 1e3;
    state.counters["events"] = meter.events;
  }
  state.counters["driven"] = wasDriven ? 1 : 0;
  state.counters["bar_ms"] = 8;
  bool isOver = false;
  model->prepareForTermination([&] { isOver = true; });
  waitInLoop(60, [&] { return isOver; });
  dashboard.reset();
  panel.reset();
  model.reset();
  mainQueue.close();
}
BENCHMARK(longestBlock)->ArgName("slow_ms")->Arg(0)->Arg(5)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
}  // namespace halcyra::benchmarks
