#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "App/Control/ControlParts.h"

namespace halcyra {

/// The first write on a machine: one fan is driven once, watched, and handed back. It must succeed, on this very model
/// of machine, before any preset may drive a fan. Main queue only.
class SupervisedTest {
 public:
  static constexpr std::int64_t protocolVersion = 1;
  static constexpr const char* versionKey = "supervisedFanTestProtocolVersion";
  /// The hardware model on which it passed.
  static constexpr const char* modelKey = "supervisedFanTestHardwareModel";

  /// Loads whether it has passed.
  SupervisedTest(const ControlSurroundings& with, ControlSession& session);

  bool hasPassed() const { return *passed_; }
  bool isRunning() const { return *running_; }

  /// Begins; says so when there is no fresh reading. The session must be free.
  void start();
  /// A hand-back for `reason` is about to happen: a test that is running has failed. `text` says it.
  void interrupt(const std::string& text);
  /// The session is lost under a running test.
  void fail(const Error& error);

 private:
  void takeFan(const PropertyList& status);
  void writeTarget(int fan, std::int64_t target);
  void finish(const std::optional<Error>& writeError, const PropertyList& resetReply,
              const std::optional<Error>& resetError);
  void pass();
  void say(std::string text) { with_.errors.set(ErrorCause::supervisedTest, std::move(text)); }

  ControlSurroundings with_;
  ControlSession& session_;
  Published<bool> passed_;
  Published<bool> running_;
};

}  // namespace halcyra
