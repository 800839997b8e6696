// The program's own names for the kernel's constants come first: the system's are macros.
#include "Platform/Apple/AppleIOKit.h"
// clang-format off
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>
// clang-format on

namespace halcyra {

static_assert(sizeof(::io_object_t) == sizeof(io_object_t) && sizeof(::kern_return_t) == sizeof(kern_return_t));

IOMatchingDictionary AppleIOKit::IOServiceMatching(const char* name) {
  return {name != nullptr ? name : ""};
}

io_service_t AppleIOKit::IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) {
  if (matching.providerClass.empty()) return 0;
  const CFMutableDictionaryRef dictionary = ::IOServiceMatching(matching.providerClass.c_str());
  // The call takes the dictionary over, whatever comes of it.
  return dictionary != nullptr ? ::IOServiceGetMatchingService(mainPort, dictionary) : 0;
}

kern_return_t AppleIOKit::IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                                        io_connect_t* connection) {
  const bool isThisProcess = owningTask == mach_task_self_;
  return ::IOServiceOpen(service, isThisProcess ? ::mach_task_self_ : owningTask, type, connection);
}

kern_return_t AppleIOKit::IOObjectRelease(io_object_t object) {
  return ::IOObjectRelease(object);
}

kern_return_t AppleIOKit::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                                    std::size_t inputSize, void* output, std::size_t* outputSize) {
  return ::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
}

kern_return_t AppleIOKit::IOServiceClose(io_connect_t connection) {
  return ::IOServiceClose(connection);
}

}  // namespace halcyra
