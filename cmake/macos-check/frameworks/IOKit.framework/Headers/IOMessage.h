// IOKit, as far as this program uses it: what the kernel announces.
#pragma once

#include <MacTypes.h>
#include <mach/error.h>

#define iokit_common_msg(message) ((UInt32)(err_system(0x38) | err_sub(0) | (message)))
#define kIOMessageCanSystemSleep iokit_common_msg(0x270)
#define kIOMessageSystemWillSleep iokit_common_msg(0x280)
#define kIOMessageSystemHasPoweredOn iokit_common_msg(0x300)
