#pragma once

#include <string>

#include "Platform/Clock.h"
#include "Platform/IOKit.h"
#include "Platform/Log.h"

namespace halcyra {

/// What to do when another live process holds the control lock.
enum class WhenOwned { handBackAllTheSame, leaveItToTheOwner };

/// Hands every fan back to the firmware, whether or not a daemon runs, and prints one line per fan. The exit status:
/// 0, or 1 when a fan could not be handed back or the SMC could not be reached.
int runReleaseAll(IOKit& iokit, Clock& clock, LogSink& log, const std::string& lockFile,
                  WhenOwned whenOwned = WhenOwned::handBackAllTheSame);

}  // namespace halcyra
