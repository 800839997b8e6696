#pragma once

#include "Platform/IOKit.h"

namespace halcyra {

/// The kernel's own driver interface.
class AppleIOKit : public IOKit {
 public:
  IOMatchingDictionary IOServiceMatching(const char* name) override;
  io_service_t IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) override;
  kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                              io_connect_t* connection) override;
  kern_return_t IOObjectRelease(io_object_t object) override;
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;
  kern_return_t IOServiceClose(io_connect_t connection) override;
};

}  // namespace halcyra
