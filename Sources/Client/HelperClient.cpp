#include "Client/HelperClient.h"

#include <exception>
#include <mutex>
#include <utility>

#include "Client/MainQueueProbe.h"
#include "Platform/UUID.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

constexpr Seconds heartbeatLeeway{0.1};
constexpr int toleratedHeartbeatFailures = 1;
constexpr const char* heartbeatQueueLabel = "com.norwick.Halcyra.helper-heartbeat";
constexpr const char* activityReason = "Aerovane is actively controlling the fans";

std::string daemonPlistName() {
  return std::string(FanControlXPC::daemonPlistName);
}

Error noSession() {
  return Error(HelperClient::clientErrorDomain, 0, "No privileged fan-control session is active");
}

/// What a completion gets when there is nobody left to ask.
Error clientGone() {
  using HelperXPCError::Code;
  return HelperXPCError::make(Code::internalFailure, HelperXPCError::readableText(Code::internalFailure));
}

std::optional<Error> readable(const std::optional<Error>& error) {
  return error ? std::optional(HelperXPCError::readable(*error)) : std::nullopt;
}

}  // namespace

/// What callbacks of the connection and of the heartbeat share with the client. Two locks, always taken heartbeat lock
/// first; no message is sent and no completion called while the state lock is held.
struct HelperClient::State : std::enable_shared_from_this<HelperClient::State> {
  State(Platform& system, Queue& queue)
      : platform(system), mainQueueProbe(system.dispatch.mainQueue(), system.clock), heartbeatQueue(&queue) {}

  std::shared_ptr<FanControlHelperConnection> helper();
  std::optional<std::string> storedSessionID() const;
  /// Clears the stored session and returns it; with `only`, when it is that one.
  std::optional<std::string> takeSession(const std::string* only = nullptr);
  void sessionBegan(const std::string& sessionID);
  void holdActivity(const std::string& sessionID);
  void startHeartbeat(const std::string& sessionID);
  /// Leaves it alone when another session has begun since its own was cleared.
  void stopHeartbeat();
  void beat();
  void heartbeatEnded(const std::string& sessionID, const std::optional<Error>& error);
  /// Leaves it to another session that has begun since.
  void releaseControlActivity();
  void endSession(const std::string& sessionID, ErrorCompletion completion);
  /// Has `send` send a command of the session; without a session completes at once with `withoutSession`.
  template <typename Send>
  void command(std::optional<Error> withoutSession, const DictionaryCompletion& completion, Send send);
  void handleInvalidation(const std::shared_ptr<FanControlHelperConnection>& of);
  void invalidate();
  /// No heartbeat starts after this.
  void shutDown();

  Platform& platform;

  mutable std::mutex stateLock;
  std::shared_ptr<FanControlHelperConnection> connection;
  std::optional<std::string> sessionID;
  std::unique_ptr<ActivityAssertion> controlActivity;
  std::function<void(Error)> sessionErrorHandler;

  /// A heartbeat says that control is alive, not only the process: where it hangs, the helper's watchdog must fire.
  MainQueueProbe mainQueueProbe;

  std::mutex heartbeatLock;
  /// Null once the client is going away.
  Queue* heartbeatQueue;
  std::unique_ptr<Timer> heartbeatTimer;
  int consecutiveHeartbeatFailures = 0;
};

std::shared_ptr<FanControlHelperConnection> HelperClient::State::helper() {
  const std::lock_guard lock(stateLock);
  if (!connection) {
    connection = platform.helper.connect();
    connection->setInvalidationHandler([weakState = weak_from_this(), weakConnection = std::weak_ptr(connection)] {
      const auto state = weakState.lock();
      const auto invalidated = weakConnection.lock();
      if (state && invalidated) state->handleInvalidation(invalidated);
    });
    connection->resume();
  }
  return connection;
}

std::optional<std::string> HelperClient::State::storedSessionID() const {
  const std::lock_guard lock(stateLock);
  return sessionID;
}

std::optional<std::string> HelperClient::State::takeSession(const std::string* only) {
  const std::lock_guard lock(stateLock);
  if (only != nullptr && sessionID != *only) {
    return std::nullopt;
  }
  return std::exchange(sessionID, std::nullopt);
}

void HelperClient::State::sessionBegan(const std::string& id) {
  {
    const std::lock_guard lock(stateLock);
    sessionID = id;
  }
  holdActivity(id);
  startHeartbeat(id);
}

void HelperClient::State::holdActivity(const std::string& id) {
  {
    const std::lock_guard lock(stateLock);
    if (sessionID != id || controlActivity) return;
  }
  // Outside the lock the session may end or be replaced: an assertion that is not wanted any more ends at once.
  auto activity =
      platform.activities.beginActivity(ActivityOptions::userInitiatedAllowingIdleSystemSleep, activityReason);
  const std::lock_guard lock(stateLock);
  if (sessionID == id && !controlActivity) {
    controlActivity = std::move(activity);
  }
}

void HelperClient::State::startHeartbeat(const std::string& id) {
  const std::lock_guard lock(heartbeatLock);
  if (heartbeatQueue == nullptr || storedSessionID() != id) {
    return;
  }
  consecutiveHeartbeatFailures = 0;
  mainQueueProbe.restart();
  heartbeatTimer = heartbeatQueue->startTimer(FanControlXPC::heartbeatSeconds, FanControlXPC::heartbeatSeconds,
                                              heartbeatLeeway, [weak = weak_from_this()] {
                                                if (const auto state = weak.lock()) state->beat();
                                              });
}

void HelperClient::State::stopHeartbeat() {
  const std::lock_guard lock(heartbeatLock);
  if (!storedSessionID()) {
    heartbeatTimer.reset();
  }
}

void HelperClient::State::beat() {
  const auto id = storedSessionID();
  if (!id || !mainQueueProbe.probe()) {
    return;
  }
  const auto ended = [weak = weak_from_this(), id = *id](const std::optional<Error>& error) {
    if (const auto state = weak.lock()) state->heartbeatEnded(id, error);
  };
  helper()->heartbeat(*id, ended);
}

void HelperClient::State::heartbeatEnded(const std::string& id, const std::optional<Error>& error) {
  int failures = 0;
  {
    const std::lock_guard lock(heartbeatLock);
    if (!error) {
      consecutiveHeartbeatFailures = 0;
      return;
    }
    failures = ++consecutiveHeartbeatFailures;
  }
  if (storedSessionID() != id) {
    return;
  }
  if (!HelperXPCError::isInvalidSession(*error) && failures <= toleratedHeartbeatFailures) {
    return;
  }
  std::function<void(Error)> handler;
  {
    const std::lock_guard lock(stateLock);
    handler = sessionErrorHandler;
  }
  if (handler) {
    platform.dispatch.mainQueue().async([handler = std::move(handler), error = *error] { handler(error); });
  }
}

void HelperClient::State::releaseControlActivity() {
  // Ended outside the lock.
  std::unique_ptr<ActivityAssertion> released;
  const std::lock_guard lock(stateLock);
  if (!sessionID) {
    released.swap(controlActivity);
  }
}

void HelperClient::State::endSession(const std::string& id, ErrorCompletion completion) {
  stopHeartbeat();
  releaseControlActivity();
  const auto ended = [completion = std::move(completion)](const std::optional<Error>& error) {
    completion(readable(error));
  };
  helper()->endSession(id, ended);
}

template <typename Send>
void HelperClient::State::command(std::optional<Error> withoutSession, const DictionaryCompletion& completion,
                                  Send send) {
  const auto id = storedSessionID();
  if (!id) {
    completion(nullptr, std::move(withoutSession));
    return;
  }
  send(*helper(), *id, [completion](PropertyList dictionary, const std::optional<Error>& error) {
    completion(std::move(dictionary), readable(error));
  });
}

void HelperClient::State::handleInvalidation(const std::shared_ptr<FanControlHelperConnection>& of) {
  {
    const std::lock_guard lock(stateLock);
    if (connection != of) return;
    connection.reset();
    sessionID.reset();
  }
  stopHeartbeat();
  releaseControlActivity();
}

void HelperClient::State::invalidate() {
  std::shared_ptr<FanControlHelperConnection> taken;
  {
    const std::lock_guard lock(stateLock);
    taken = std::exchange(connection, nullptr);
    sessionID.reset();
  }
  stopHeartbeat();
  releaseControlActivity();
  if (taken) {
    taken->invalidate();
  }
}

void HelperClient::State::shutDown() {
  {
    const std::lock_guard lock(heartbeatLock);
    heartbeatQueue = nullptr;
  }
  invalidate();
}

std::shared_ptr<HelperClient> HelperClient::make(Platform& platform) {
  return std::shared_ptr<HelperClient>(new HelperClient(platform));
}

HelperClient::HelperClient(Platform& platform)
    : heartbeatQueue_(platform.dispatch.makeSerialQueue(heartbeatQueueLabel, QualityOfService::standard)),
      state_(std::make_shared<State>(platform, *heartbeatQueue_)) {}

HelperClient::~HelperClient() {
  state_->shutDown();
}

HelperInstallState HelperClient::installState() const {
  return helperInstallStateFromStatus(state_->platform.serviceManagement.daemonStatus(daemonPlistName()));
}

void HelperClient::install() {
  state_->platform.serviceManagement.registerDaemon(daemonPlistName());
}

void HelperClient::uninstall(const ErrorCompletion& completion) {
  const auto prepare = [weak = std::weak_ptr(state_), completion](const std::optional<Error>& endError) {
    const auto state = weak.lock();
    if (endError || !state) {
      completion(endError ? endError : clientGone());
      return;
    }
    const auto prepared = [weak, completion](const std::optional<Error>& error) {
      const auto stillThere = weak.lock();
      if (error || !stillThere) {
        completion(error ? error : clientGone());
        return;
      }
      std::optional<Error> unregisterError;
      try {
        stillThere->platform.serviceManagement.unregisterDaemon(daemonPlistName());
      } catch (const std::exception&) {
        unregisterError = currentExceptionAsError();
      }
      completion(unregisterError);
    };
    state->helper()->prepareForUninstall(prepared);
  };
  if (const auto id = state_->takeSession()) {
    state_->endSession(*id, prepare);
  } else {
    prepare(std::nullopt);
  }
}

void HelperClient::beginSession(const DictionaryCompletion& completion) {
  const std::string id = UUID::random().string();
  state_->helper()->beginSession(
      id, [weak = std::weak_ptr(state_), id, completion](PropertyList dictionary, const std::optional<Error>& error) {
        const auto state = weak.lock();
        if (error || !state) {
          completion(std::move(dictionary), error ? readable(error) : clientGone());
          return;
        }
        state->sessionBegan(id);
        completion(std::move(dictionary), std::nullopt);
      });
}

void HelperClient::endSession(ErrorCompletion completion) {
  if (const auto id = state_->takeSession()) {
    state_->endSession(*id, std::move(completion));
  } else {
    completion(std::nullopt);
  }
}

void HelperClient::endSession(const std::string& sessionID, ErrorCompletion completion) {
  if (const auto id = state_->takeSession(&sessionID)) {
    state_->endSession(*id, std::move(completion));
  } else {
    completion(std::nullopt);
  }
}

void HelperClient::setMode(int fan, bool manual, const DictionaryCompletion& completion) {
  state_->command(noSession(), completion, [=](auto& helper, const std::string& id, auto reply) {
    helper.setFanMode(fan, manual, id, std::move(reply));
  });
}

void HelperClient::setTarget(int fan, std::int64_t rpm, const DictionaryCompletion& completion) {
  state_->command(noSession(), completion, [=](auto& helper, const std::string& id, auto reply) {
    helper.setFanTargetRPM(fan, rpm, id, std::move(reply));
  });
}

void HelperClient::resetAll(const DictionaryCompletion& completion) {
  state_->command(std::nullopt, completion,
                  [](auto& helper, const std::string& id, auto reply) { helper.resetAll(id, std::move(reply)); });
}

void HelperClient::invalidate() {
  state_->invalidate();
}

std::optional<std::string> HelperClient::sessionID() const {
  return state_->storedSessionID();
}

void HelperClient::setSessionErrorHandler(std::function<void(Error)> handler) {
  const std::lock_guard lock(state_->stateLock);
  // The old one is destroyed with the argument, outside the lock.
  state_->sessionErrorHandler.swap(handler);
}

}  // namespace halcyra
