#include "UI/UIHarness.h"

#include <QApplication>
#include <QTest>
#include <cmath>

#include "gtest/gtest.h"

#include "UI/MenuBarPresetRow.h"

namespace halcyra::test {

namespace {

constexpr std::int32_t competitorID = 812;
constexpr const char* competitorPath = "/Library/PrivilegedHelperTools/com.tunabellysoftware.tgfanhelper";
/// How far time goes at a stretch before the widgets follow, seconds.
constexpr double turn = 0.05;

/// Work that is handed in runs as an event of the scheduler, which is on the test's own thread.
class TestThreadQueue : public Queue {
 public:
  explicit TestThreadQueue(VirtualScheduler& scheduler) : scheduler_(scheduler) {}

  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override { scheduler_.at(scheduler_.elapsed(), std::move(work)); }
  void sync(const std::function<void()>& work) override {
    bool isOver = false;
    async([&] {
      work();
      isOver = true;
    });
    scheduler_.runUntil([&] { return isOver; }, Seconds{1.0});
  }
  std::unique_ptr<Timer> startTimer(Seconds first, Seconds period, Seconds, std::function<void()> fire) override {
    auto firing = std::make_shared<Firing>(Firing{scheduler_, std::move(fire), scheduler_.elapsed() + first, period});
    schedule(firing);
    return std::make_unique<EventTimer>(std::move(firing));
  }

 private:
  struct Firing {
    VirtualScheduler& scheduler;
    std::function<void()> fire;
    Seconds due;
    Seconds period;
  };
  class EventTimer : public Timer {
   public:
    explicit EventTimer(std::shared_ptr<Firing> firing) : firing_(std::move(firing)) {}

   private:
    std::shared_ptr<Firing> firing_;
  };

  static void schedule(const std::shared_ptr<Firing>& firing) {
    firing->scheduler.at(firing->due, [weak = std::weak_ptr(firing)] {
      // Held while it fires: it may end its own timer.
      const auto held = weak.lock();
      if (!held) return;
      if (held->period.count() > 0) {
        held->due += held->period;
        schedule(held);
      }
      held->fire();
    });
  }

  VirtualScheduler& scheduler_;
  std::string label_ = "main";
};

}  // namespace

class WindowedProcess : public VirtualProcess {
 public:
  WindowedProcess(VirtualScheduler& scheduler, std::shared_ptr<VirtualProcess> inner)
      : inner_(std::move(inner)), main_(scheduler) {}

  const std::shared_ptr<VirtualProcess>& inner() const { return inner_; }
  const std::string& name() const override { return inner_->name(); }
  Clock& clock() override { return inner_->clock(); }
  Queue& mainQueue() override { return main_; }
  std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService quality) override {
    return inner_->makeSerialQueue(std::move(label), quality);
  }
  void asyncAfter(Queue& queue, Seconds delay, std::function<void()> work) override {
    inner_->asyncAfter(queue, delay, std::move(work));
  }
  void kill() override { inner_->kill(); }
  void whenKilled(std::function<void()> observer) override { inner_->whenKilled(std::move(observer)); }
  void suspend() override { inner_->suspend(); }
  void resume() override { inner_->resume(); }
  bool isAlive() const override { return inner_->isAlive(); }

 private:
  std::shared_ptr<VirtualProcess> inner_;
  TestThreadQueue main_;
};

UIHarness::UIHarness(const Options& options) : loop(options.workload, options.seed) {
  process_ = std::make_shared<WindowedProcess>(loop.scheduler, loop.scheduler.makeProcess("application"));
  iokit_ = std::make_unique<VirtualMacIOKit>(loop.machine, process_->clock(), false);
  doubles_ = std::make_unique<TestPlatform>(process_, *iokit_, loop.bus.client(process_->inner()));
  if (options.isSetUp) {
    doubles_->serviceManagement.setDaemonStatus(ServiceManagement::enabled);
    doubles_->userDefaults.setInteger(SupervisedTest::versionKey, SupervisedTest::protocolVersion);
    doubles_->userDefaults.setString(SupervisedTest::modelKey, "Mac15,11");
  }
  if (options.prepare) options.prepare(*doubles_);
  model_ = AppModel::make(doubles_->platform);
  run(1.0);
}

UIHarness::~UIHarness() {
  // What still waits for the main queue must not meet a model that is half gone.
  process_->kill();
  model_.reset();
}

void UIHarness::run(double seconds) {
  const auto turns = static_cast<int>(std::ceil(seconds / turn));
  for (int each = 0; each < turns; ++each) {
    loop.run(turn);
    pumpEvents();
  }
}

bool UIHarness::runUntil(const std::function<bool()>& done, double limit) {
  const double end = loop.now() + limit;
  while (!done()) {
    if (loop.now() >= end) return false;
    run(turn);
  }
  return true;
}

bool UIHarness::drives() {
  return runUntil([&] { return allManual() && !model().isBusy(); }, 30);
}

bool UIHarness::handsBack() {
  return runUntil([&] { return allAutomatic() && !model().isBusy(); }, 30);
}

ViewContext UIHarness::context() {
  ViewContext context;
  context.model = model_;
  context.drafts = std::make_shared<PresetDrafts>(doubles_->userDefaults, doubles_->platform.dispatch.mainQueue());
  return context;
}

void UIHarness::pumpEvents() {
  QApplication::sendPostedEvents();
  QApplication::processEvents();
}

void UIHarness::setCompetitor(bool runs) {
  if (runs) {
    doubles_->system.setProcess(competitorID, competitorPath);
  } else {
    doubles_->system.endProcess(competitorID);
  }
}

void click(QWidget& root, const char* objectName) {
  auto& widget = child<QWidget>(root, objectName);
  EXPECT_TRUE(widget.isVisible()) << objectName;
  EXPECT_TRUE(widget.isEnabled()) << objectName;
  QTest::mouseClick(&widget, Qt::LeftButton);
  UIHarness::pumpEvents();
}

PresetButton* presetButton(QWidget& root, const std::string& name) {
  for (auto* const button : root.findChildren<PresetButton*>()) {
    if (button->isVisible() && button->name().toStdString() == name) return button;
  }
  return nullptr;
}

std::vector<std::string> tabOrder(QWidget& window, QWidget& first) {
  std::vector<std::string> order;
  QWidget* each = &first;
  do {
    const QString name = each->objectName();
    if ((each->focusPolicy() & Qt::TabFocus) != 0 && each->isVisibleTo(&window) && each->isEnabled() &&
        !name.isEmpty() && !name.startsWith("qt_")) {
      order.push_back(name.toStdString());
    }
    each = each->nextInFocusChain();
  } while (each != &first);
  return order;
}

QWidget* shownWindow(const char* name) {
  for (QWidget* const each : QApplication::topLevelWidgets()) {
    if (each->objectName() == QLatin1String(name) && each->isVisible()) return each;
  }
  return nullptr;
}

}  // namespace halcyra::test
