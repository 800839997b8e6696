#pragma once

#include <cstddef>
#include <cstdint>

using natural_t = unsigned int;
using mach_port_t = unsigned int;
using task_port_t = mach_port_t;
using kern_return_t = int;
#define KERN_SUCCESS 0

/// Another number than the program's own constant has.
inline constexpr mach_port_t mach_task_self_ = 0x707;
