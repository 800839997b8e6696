#pragma once

#include <memory>

#include "Platform/Platform.h"
#include "Support/CapturingLogSink.h"
#include "Support/CountingActivityAssertions.h"
#include "Support/DirectPowerEvents.h"
#include "Support/FakeServiceManagement.h"
#include "Support/FakeSystemInformation.h"
#include "Support/MemoryFiles.h"
#include "Support/MemoryUserDefaults.h"
#include "Support/RecordingNotifications.h"
#include "Support/ScriptedWorkspace.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// An operating system of doubles for one application process, each to be scripted and asked by its name.
struct TestPlatform {
  /// The driver and the message bus (`InProcessMachServices::client`, or another) outlive this.
  TestPlatform(const std::shared_ptr<VirtualProcess>& applicationProcess, IOKit& iokit,
               FanControlHelperConnections& machServices);

  std::shared_ptr<VirtualProcess> process;
  CapturingLogSink log;
  FakeServiceManagement serviceManagement;
  MemoryUserDefaults userDefaults;
  FakeSystemInformation system;
  CountingActivityAssertions activities;
  DirectPowerEvents power;
  RecordingNotifications notifications;
  ScriptedWorkspace workspace;
  MemoryFiles files;
  Platform platform;
};

}  // namespace halcyra::test
