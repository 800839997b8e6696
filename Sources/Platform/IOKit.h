#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace halcyra {

using kern_return_t = std::int32_t;
using mach_port_t = std::uint32_t;
using task_port_t = std::uint32_t;
using io_object_t = std::uint32_t;
using io_service_t = io_object_t;
using io_connect_t = io_object_t;

inline constexpr kern_return_t kIOReturnSuccess = 0;
inline constexpr kern_return_t kIOReturnError = static_cast<kern_return_t>(0xE00002BC);
inline constexpr kern_return_t kIOReturnNotPrivileged = static_cast<kern_return_t>(0xE00002C1);
inline constexpr kern_return_t kIOReturnBadArgument = static_cast<kern_return_t>(0xE00002C2);
inline constexpr kern_return_t kIOReturnNotOpen = static_cast<kern_return_t>(0xE00002CD);
inline constexpr kern_return_t kIOReturnNoDevice = static_cast<kern_return_t>(0xE00002C0);
inline constexpr kern_return_t kIOReturnNotPermitted = static_cast<kern_return_t>(0xE00002E2);
inline constexpr mach_port_t kIOMainPortDefault = 0;
/// The calling process, as `owningTask` of `IOServiceOpen`.
inline constexpr task_port_t mach_task_self_ = 0x103;

/// What `IOServiceMatching` yields: which class of driver to look for. Empty stands for none.
struct IOMatchingDictionary {
  std::string providerClass;
};

/// The calls of the kernel's driver interface that the program makes, under their own names. Handles are 0 when there
/// is none. Each connection is used from one thread at a time; different connections may be used concurrently.
class IOKit {
 public:
  virtual ~IOKit() = default;

  virtual IOMatchingDictionary IOServiceMatching(const char* name) = 0;
  virtual io_service_t IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) = 0;
  virtual kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                                      io_connect_t* connection) = 0;
  virtual kern_return_t IOObjectRelease(io_object_t object) = 0;
  /// `outputSize` holds the room at `output` on entry and the bytes returned on exit.
  virtual kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                                  std::size_t inputSize, void* output, std::size_t* outputSize) = 0;
  virtual kern_return_t IOServiceClose(io_connect_t connection) = 0;
};

}  // namespace halcyra
