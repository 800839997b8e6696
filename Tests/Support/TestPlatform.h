#pragma once

#include "Platform/Platform.h"
#include "Support/MemoryUserDefaults.h"
#include "Support/TestDoubles.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// A double of everything that an application takes from its operating system, but for its process, the driver and the
/// services, which the test brings.
struct TestPlatform {
  CapturingLogSink log;
  FakeServiceManagement serviceManagement;
  MemoryUserDefaults userDefaults;
  FakeSystemInformation system;
  CountingActivityAssertions activities;
  DirectPowerEvents power;
  RecordingNotifications notifications;
  ScriptedWorkspace workspace;
  MemoryFiles files;

  Platform platform(VirtualProcess& process, IOKit& iokit, MachServices& services) {
    return {process.clock(), process, log,           iokit,     services, serviceManagement, userDefaults, system,
            activities,      power,   notifications, workspace, files};
  }
};

}  // namespace halcyra::test
