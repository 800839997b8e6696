#pragma once

#include "Platform/Clock.h"
#include "Platform/Dispatch.h"
#include "Platform/FanControlHelper.h"
#include "Platform/IOKit.h"
#include "Platform/Log.h"
#include "Platform/PowerEvents.h"
#include "Platform/ServiceManagement.h"
#include "Platform/SystemInformation.h"
#include "Platform/UserDefaults.h"
#include "Platform/UserNotifications.h"

namespace halcyra {

/// Everything that the application takes from its operating system. The parts outlive whatever they are handed to.
struct Platform {
  Clock& clock;
  Dispatch& dispatch;
  LogSink& log;
  IOKit& iokit;
  FanControlHelperConnections& helper;
  ServiceManagement& serviceManagement;
  UserDefaults& userDefaults;
  SystemInformation& system;
  ActivityAssertions& activities;
  PowerEvents& power;
  UserNotifications& notifications;
  Workspace& workspace;
  Files& files;
};

}  // namespace halcyra
