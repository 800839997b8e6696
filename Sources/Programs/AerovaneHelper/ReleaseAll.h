#pragma once

#include "Platform/Linux/RuntimeLayout.h"

namespace halcyra {

/// Hands every fan back to the firmware, whether or not a daemon runs, and prints one line per fan. The exit status:
/// 0, or 1 when a fan could not be handed back or the SMC could not be reached.
int runReleaseAll(const RuntimeLayout& layout);

}  // namespace halcyra
