#pragma once

#include <array>
#include <optional>
#include <string>

#include "App/ModelView.h"
#include "UI/Notices.h"

namespace halcyra {

/// What the card of the first run shows: three steps from a new installation to presets that drive the fans.
struct FirstRunState {
  enum class Mark { done, current, ahead, failed };

  struct Step {
    std::string title;
    /// "Installed", "Approval required", "Passed"; empty while the step is ahead.
    std::string value;
    Mark mark = Mark::ahead;

    bool operator==(const Step&) const = default;
  };

  /// Something is left to do, or was done just now.
  bool isShown = false;
  bool isComplete = false;
  /// Install, approve, test.
  std::array<Step, 3> steps;

  bool showsSetUp = false;
  bool canSetUp = false;
  /// What an administrator can type instead; empty where it would not help.
  std::string command;

  bool showsTestCaption = false;
  bool showsTest = false;
  bool canTest = false;
  bool isTesting = false;
  /// What the test does, how far it is, why it cannot be run, or what to do after it failed.
  std::string testNote;
  bool testNoteIsError = false;

  bool operator==(const FirstRunState&) const = default;
};

/// `command`: what has to be typed to approve the helper without the desktop's help; empty where there is nothing.
FirstRunState makeFirstRunState(const ModelView& view, const Notices& notices, const std::string& command);

/// Why presets other than Apple Default cannot be chosen now; none where they can.
std::optional<std::string> presetObstacle(const ModelView& view);

namespace FirstRunText {

inline constexpr const char* title = "Set up fan control";
inline constexpr const char* completeTitle = "Fan control is set up";
inline constexpr const char* complete = "The supervised test passed. Choose a preset to have Aerovane drive the fans.";
inline constexpr const char* done = "Done";
inline constexpr const char* install = "1  Install the helper";
inline constexpr const char* approve = "2  Approve it";
inline constexpr const char* test = "3  Run the supervised fan test";
inline constexpr const char* commandNote = "No password dialog? Type this in a terminal:";
inline constexpr const char* copy = "Copy";
inline constexpr const char* copied = "Copied";
inline constexpr const char* testDoes =
    "Speeds one fan up by 500 RPM for a moment, reads it back, and hands it back to macOS.";
inline constexpr const char* testRuns = "Testing: one fan is sped up, read back and handed back to macOS…";
inline constexpr const char* testFailed =
    "The test failed, and macOS drives the fans. Solve what the message below says, then run it again.";

}  // namespace FirstRunText

}  // namespace halcyra
