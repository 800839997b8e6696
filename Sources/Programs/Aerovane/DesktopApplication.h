#pragma once

#include "NativePlatform.h"
#include "Programs/Aerovane/CommandLine.h"

namespace halcyra {

/// Whether there is a display to open windows on.
bool hasDisplay();

/// Runs the application with its windows until the user quits and the fans are handed back: the exit status. When
/// another one of this user is running on the same machine, that one's dashboard comes to the front and this returns.
int runDesktop(const CommandLine& line, const RuntimeLayout& layout, int& argc, char** argv);

}  // namespace halcyra
