#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "App/AppModel.h"
#include "Support/ClosedLoop.h"
#include "UI/ViewContext.h"

namespace halcyra {
class PresetButton;
}

namespace halcyra::test {

/// A virtual process whose main queue is the test's own thread, where the widgets live. Everything else is the process
/// that it wraps.
class WindowedProcess;

/// The desktop application on the simulated machine, in virtual time: the real model, helper, firmware and fans, and
/// real widgets on the offscreen platform. Model, widgets and test share one thread, as in the application.
class UIHarness {
 public:
  struct Options {
    std::string workload = "idle";
    std::uint64_t seed = 7;
    /// Else the helper is not installed and the supervised test not passed.
    bool isSetUp = true;
    /// Called before the model is made, to lay down what it will find.
    std::function<void(TestPlatform&)> prepare;
  };

  UIHarness() : UIHarness(Options()) {}
  explicit UIHarness(const Options& options);
  ~UIHarness();
  UIHarness(const UIHarness&) = delete;
  UIHarness& operator=(const UIHarness&) = delete;

  AppModel& model() { return *model_; }
  const std::shared_ptr<AppModel>& sharedModel() { return model_; }
  ViewContext context();

  /// Lets virtual time pass, in whole turns of 0.05 s, and the widgets follow.
  void run(double seconds);
  /// False when `limit` seconds passed first.
  bool runUntil(const std::function<bool()>& done, double limit);
  /// Both fans come to be driven, or to be the firmware's, and nothing is under way any more.
  bool drives();
  bool handsBack();
  /// Lets the widgets follow, without time passing.
  static void pumpEvents();

  // The machine's own truth.
  std::vector<int> modes() { return loop.modes(); }
  bool allManual() { return loop.allManual(); }
  bool allAutomatic() { return loop.allAutomatic(); }
  double target(int fan) { return loop.truth().fans.at(static_cast<std::size_t>(fan)).target; }
  double actual(int fan) { return loop.truth().fans.at(static_cast<std::size_t>(fan)).actual; }

  /// A fan utility of another vendor starts or ends.
  void setCompetitor(bool runs);

  ClosedLoop loop;

 private:
  std::shared_ptr<WindowedProcess> process_;
  std::unique_ptr<VirtualMacIOKit> iokit_;
  std::unique_ptr<TestPlatform> doubles_;
  std::shared_ptr<AppModel> model_;

 public:
  TestPlatform& desktop() { return *doubles_; }
};

/// The descendant of `root` with this object name; throws without one.
template <typename Widget>
Widget& child(QWidget& root, const char* objectName) {
  auto* const found = root.findChild<Widget*>(objectName);
  if (found == nullptr) {
    throw std::runtime_error(std::string("no widget is called ") + objectName);
  }
  return *found;
}

/// A mouse click in the middle of a widget of `root` that the user can see and use; fails the test otherwise.
void click(QWidget& root, const char* objectName);

/// The panel's button of a preset; null when it is not shown.
PresetButton* presetButton(QWidget& root, const std::string& name);

/// Object names of all visible stops of the Tab key that can be used, from `first` on around.
std::vector<std::string> tabOrder(QWidget& window, QWidget& first);

/// The top-level window of this object name; null when it is not shown.
QWidget* shownWindow(const char* name);

}  // namespace halcyra::test
