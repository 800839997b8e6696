#include "Support/TestDoubles.h"

#include <algorithm>

namespace halcyra::test {

std::size_t CapturingLogSink::count(const std::string& start) const {
  return static_cast<std::size_t>(std::count_if(
      records.begin(), records.end(), [&](const LogRecord& record) { return record.message.rfind(start, 0) == 0; }));
}

void FakeServiceManagement::carryOut(const std::string& call) {
  calls.push_back(call);
  if (nextFailure) {
    const std::string text = *nextFailure;
    nextFailure.reset();
    throw TestError(text);
  }
}

void FakeServiceManagement::registerDaemon(const std::string& plistName) {
  carryOut("register " + plistName);
  status = statusAfterRegistering;
}

void FakeServiceManagement::unregisterDaemon(const std::string& plistName) {
  carryOut("unregister " + plistName);
  status = notRegistered;
}

void FakeServiceManagement::registerMainApp() {
  carryOut("register main app");
  loginItem = enabled;
}

void FakeServiceManagement::unregisterMainApp() {
  carryOut("unregister main app");
  loginItem = notRegistered;
}

std::optional<std::string> FakeSystemInformation::sysctlString(const std::string& name) const {
  return name == "hw.model" ? hardwareModel : std::nullopt;
}

std::vector<std::int32_t> FakeSystemInformation::listAllProcessIDs() const {
  if (onList) onList();
  std::vector<std::int32_t> ids;
  for (const auto& [id, path] : processes) ids.push_back(id);
  return ids;
}

std::optional<std::string> FakeSystemInformation::processPath(std::int32_t processID) const {
  const auto found = processes.find(processID);
  return found == processes.end() ? std::nullopt : std::optional(found->second);
}

std::unique_ptr<ActivityAssertion> CountingActivityAssertions::beginActivity(ActivityOptions options,
                                                                             const std::string& reason) {
  class Held : public ActivityAssertion {
   public:
    explicit Held(std::shared_ptr<int> count) : count_(std::move(count)) { ++*count_; }
    ~Held() override { --*count_; }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

   private:
    std::shared_ptr<int> count_;
  };
  ++begun;
  lastReason = reason;
  lastOptions = static_cast<std::uint64_t>(options);
  return std::make_unique<Held>(held);
}

void DirectPowerEvents::observe(std::function<void(std::function<void()>)> willSleep, std::function<void()> didWake) {
  willSleep_ = std::move(willSleep);
  didWake_ = std::move(didWake);
}

void DirectPowerEvents::sleep(std::function<void()> allowSleep) {
  if (willSleep_) {
    willSleep_(std::move(allowSleep));
  } else {
    allowSleep();
  }
}

void DirectPowerEvents::wake() {
  if (didWake_) didWake_();
}

void RecordingNotifications::requestAuthorization(std::function<void(bool, std::optional<Error>)> completion) {
  ++authorizationRequests;
  completion(granted, authorizationError);
}

void RecordingNotifications::add(UserNotification notification, std::function<void(std::optional<Error>)> completion) {
  if (!deliveryError) delivered.push_back(std::move(notification));
  completion(deliveryError);
}

std::optional<std::string> ScriptedWorkspace::runSavePanel(const std::string& suggestedName) {
  lastSuggestedName = suggestedName;
  return saveAnswer;
}

std::string MemoryFiles::read(const std::string& path) {
  const auto found = contents.find(path);
  if (found == contents.end()) throw TestError("There is no file at " + path);
  return found->second;
}

void MemoryFiles::writeAtomically(const std::string& path, const std::string& content) {
  if (writeFailure) throw TestError(*writeFailure);
  contents[path] = content;
}

}  // namespace halcyra::test
