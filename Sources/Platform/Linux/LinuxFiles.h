#pragma once

#include "Platform/POSIX/POSIXFiles.h"

namespace halcyra {

using LinuxFiles = POSIXFiles;

}  // namespace halcyra
