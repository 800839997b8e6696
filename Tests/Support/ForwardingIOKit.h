#pragma once

#include <cstdint>

#include "Platform/IOKit.h"

namespace halcyra::test {

/// A driver that passes everything on to another one, which outlives it; to be derived from.
class ForwardingIOKit : public IOKit {
 public:
  explicit ForwardingIOKit(IOKit& inner) : inner_(inner) {}

  IOMatchingDictionary IOServiceMatching(const char* name) override { return inner_.IOServiceMatching(name); }
  io_service_t IOServiceGetMatchingService(mach_port_t port, const IOMatchingDictionary& matching) override {
    return inner_.IOServiceGetMatchingService(port, matching);
  }
  kern_return_t IOServiceOpen(io_service_t service, task_port_t task, std::uint32_t type,
                              io_connect_t* connection) override {
    return inner_.IOServiceOpen(service, task, type, connection);
  }
  kern_return_t IOObjectRelease(io_object_t object) override { return inner_.IOObjectRelease(object); }
  kern_return_t IOServiceClose(io_connect_t connection) override { return inner_.IOServiceClose(connection); }
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override {
    return inner_.IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
  }

 private:
  IOKit& inner_;
};

}  // namespace halcyra::test
