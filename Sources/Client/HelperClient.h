#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Client/HelperInstallState.h"
#include "Platform/Platform.h"
#include "Platform/PropertyList.h"

namespace halcyra {

/// The application's single connection to the privileged helper: registration, the one session with its heartbeat and
/// activity, the fan commands. Safe from any thread; completions come exactly once, on a thread of the connection or
/// on the caller's; do not count on the main one. What is under way does not keep the client alive.
///
/// No heartbeat is sent while the main queue hangs (`MainQueueProbe`): the helper then takes the fans back.
class HelperClient {
 public:
  using DictionaryCompletion = std::function<void(PropertyList dictionary, std::optional<Error> error)>;
  using ErrorCompletion = std::function<void(std::optional<Error> error)>;

  static constexpr std::string_view clientErrorDomain = "Halcyra.HelperClient.ClientError";

  static std::shared_ptr<HelperClient> make(Platform& platform);
  ~HelperClient();
  HelperClient(const HelperClient&) = delete;
  HelperClient& operator=(const HelperClient&) = delete;

  HelperInstallState installState() const;
  /// Registers the daemon; throws the service management's `LocalizedError`.
  void install();
  /// Ends the session, asks the helper to prepare, unregisters the daemon; stops at the first error.
  void uninstall(const ErrorCompletion& completion);

  /// Opens a new session; it replaces a stored one. The dictionary is the helper's status.
  void beginSession(const DictionaryCompletion& completion);
  /// Ends the session; without one completes with no error at once. Locally the session is over at once.
  void endSession(ErrorCompletion completion);
  /// Ends the named session only: nothing happens when the stored session is another one by now.
  void endSession(const std::string& sessionID, ErrorCompletion completion);
  /// Without a session these fail with "No privileged fan-control session is active".
  void setMode(int fan, bool manual, const DictionaryCompletion& completion);
  void setTarget(int fan, std::int64_t rpm, const DictionaryCompletion& completion);
  /// Without a session completes with neither dictionary nor error.
  void resetAll(const DictionaryCompletion& completion);
  /// Drops connection and session.
  void invalidate();

  std::optional<std::string> sessionID() const;
  /// Called on the main queue when the session has been lost; the session stays stored until it is ended.
  void setSessionErrorHandler(std::function<void(Error)> handler);

 private:
  struct State;
  explicit HelperClient(Platform& platform);

  /// Outlives the state, whose timer fires on it.
  std::unique_ptr<Queue> heartbeatQueue_;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
