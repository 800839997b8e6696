#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Log.h"
#include "Platform/PowerEvents.h"
#include "Platform/ServiceManagement.h"
#include "Platform/SystemInformation.h"
#include "Platform/UserNotifications.h"

namespace halcyra::test {

class CapturingLogSink : public LogSink {
 public:
  void write(const LogRecord& record) override { records.push_back(record); }
  /// Records whose message begins with `start`.
  std::size_t count(const std::string& start) const;

  std::vector<LogRecord> records;
};

class TestError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "test"; }
  std::int64_t code() const override { return 1; }
};

class FakeServiceManagement : public ServiceManagement {
 public:
  int daemonStatus(const std::string&) const override { return status; }
  void registerDaemon(const std::string& plistName) override;
  void unregisterDaemon(const std::string& plistName) override;
  void openSystemSettingsLoginItems() override { ++settingsOpened; }
  int mainAppStatus() const override { return loginItem; }
  void registerMainApp() override;
  void unregisterMainApp() override;

  int status = enabled;
  /// What registering makes of the status.
  int statusAfterRegistering = enabled;
  int loginItem = notRegistered;
  int settingsOpened = 0;
  /// The names that were registered and unregistered, with the verb before them.
  std::vector<std::string> calls;
  /// Thrown by the next registration or removal of anything.
  std::optional<std::string> nextFailure;

 private:
  void carryOut(const std::string& call);
};

class FakeSystemInformation : public SystemInformation {
 public:
  static constexpr std::int32_t ownProcessID = 4242;

  std::optional<std::string> sysctlString(const std::string& name) const override;
  std::vector<std::int32_t> listAllProcessIDs() const override;
  std::optional<std::string> processPath(std::int32_t processID) const override;
  std::int32_t processID() const override { return ownProcessID; }

  std::optional<std::string> hardwareModel = "Mac15,11";
  std::map<std::int32_t, std::string> processes{{1, "/sbin/launchd"}, {ownProcessID, "/Applications/Aerovane"}};
  /// Called at the beginning of each walk over the processes.
  std::function<void()> onList;
};

class CountingActivityAssertions : public ActivityAssertions {
 public:
  std::unique_ptr<ActivityAssertion> beginActivity(ActivityOptions options, const std::string& reason) override;

  std::shared_ptr<int> held = std::make_shared<int>(0);
  int begun = 0;
  std::string lastReason;
  std::uint64_t lastOptions = 0;
};

/// Sleep and wake at the test's word.
class DirectPowerEvents : public PowerEvents {
 public:
  void observe(std::function<void(std::function<void()>)> willSleep, std::function<void()> didWake) override;

  /// On the main queue of the process that observes.
  void sleep(std::function<void()> allowSleep);
  void wake();

 private:
  std::function<void(std::function<void()>)> willSleep_;
  std::function<void()> didWake_;
};

class RecordingNotifications : public UserNotifications {
 public:
  void requestAuthorization(std::function<void(bool, std::optional<Error>)> completion) override;
  void add(UserNotification notification, std::function<void(std::optional<Error>)> completion) override;

  bool granted = true;
  std::optional<Error> authorizationError;
  std::optional<Error> deliveryError;
  int authorizationRequests = 0;
  std::vector<UserNotification> delivered;
};

class ScriptedWorkspace : public Workspace {
 public:
  std::optional<std::string> runSavePanel(const std::string& suggestedName) override;
  std::optional<std::string> runOpenPanel() override { return openAnswer; }
  void activateApplication() override { ++activations; }

  std::optional<std::string> saveAnswer;
  std::optional<std::string> openAnswer;
  std::string lastSuggestedName;
  int activations = 0;
};

class MemoryFiles : public Files {
 public:
  std::string read(const std::string& path) override;
  void writeAtomically(const std::string& path, const std::string& content) override;

  std::map<std::string, std::string> contents;
  /// Thrown by every write.
  std::optional<std::string> writeFailure;
};

}  // namespace halcyra::test
