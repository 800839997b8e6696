#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "App/AppModel.h"
#include "App/TelemetryRecorder.h"
#include "Platform/Platform.h"

namespace halcyra {

enum class ConsoleStyle { lines, json, table };

struct ConsoleOptions {
  /// To be activated once the set-up steps are done, unless the model was made with it and it drives already; without
  /// one the remembered preset comes back by itself. One that never drives in the whole `duration` is a failure.
  std::optional<FanPreset> preset;
  bool installHelper = false;
  bool approveHelper = false;
  bool supervisedTest = false;
  /// How long to run; without one until `stop`.
  std::optional<Seconds> duration;
  ConsoleStyle style = ConsoleStyle::lines;
};

/// What the console needs from its program.
struct ConsoleSurroundings {
  /// Approves the registered helper; throws a `LocalizedError` when it cannot.
  std::function<void()> approveHelper;
  /// Writes a piece of output, complete with its line feed; does not wait for a reader. Throws a `LocalizedError` when
  /// nobody can read it any more, which ends the session with status 1.
  std::function<void(const std::string&)> output;
  /// Writes an error message, without line feed.
  std::function<void(const std::string&)> complain;
  /// Appends to the recording of the telemetry; throws a `LocalizedError` when it cannot. Empty: nothing is recorded.
  std::function<void(const std::string&)> record;
  /// Called last, once the fans are back with the firmware: the exit status.
  std::function<void(int)> finished;
};

/// Runs the application model without a display: sets up what the options ask for, prints every applied poll and every
/// new error, records every applied poll if asked to, and hands the fans back before it finishes. A recording that
/// fails ends, is said, and makes the exit status 1; control goes on. Main queue only.
class ConsoleSession : public std::enable_shared_from_this<ConsoleSession> {
 public:
  ConsoleSession(Platform& platform, std::shared_ptr<AppModel> model, ConsoleOptions options,
                 ConsoleSurroundings surroundings);

  void start();
  /// Hands the fans back, then reports `status`, or 1 when the hand-back could not be confirmed. A second call changes
  /// nothing.
  void stop(int status);

 private:
  enum class Step { helper, test, awaitingTest, preset, running };

  void endAfterDuration();
  void scheduleRefresh();
  void refresh();
  void print();
  void printReport() const;
  void record();
  /// Takes the next step when it is due, and says whether it did.
  bool advance();
  void setUpHelper();
  bool startTest();
  void fail(const std::string& message);

  Platform& platform_;
  std::shared_ptr<AppModel> model_;
  ConsoleOptions options_;
  ConsoleSurroundings surroundings_;
  Step step_ = Step::helper;
  bool refreshScheduled_ = false;
  bool stopping_ = false;
  TelemetryRecorder recorder_;
  bool recordingFailed_ = false;
  bool presetDrove_ = false;
  /// Polls applied so far.
  int polls_ = 0;
  std::optional<Date> lastSample_;
  std::optional<std::string> lastError_;
  AppModel::Subscription subscription_;
  std::unique_ptr<Timer> end_;
};

/// The preset of this name among `presets`: an exact match, else one that differs only in the case of ASCII letters.
std::optional<FanPreset> findPreset(const std::vector<FanPreset>& presets, const std::string& name);

}  // namespace halcyra
