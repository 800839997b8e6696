// IOKit within one process, over a driver of the test's. Misuse of what the documentation forbids ends the program.

#include "Apple/Doubles/IOKitSystem.h"
#include "Apple/Doubles/Pump.h"
// clang-format off
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>
// clang-format on
#include <map>
#include <set>
#include <string>

struct __CFDictionary {
  std::string name;
};
struct IONotificationPort {
  bool isDelivering = false;
};

namespace {

using halcyra::test::require;

halcyra::IOKit* theDriver = nullptr;
int dictionaries = 0;

constexpr ::io_object_t rootPort = 0x11;
constexpr ::io_object_t notifierObject = 0x12;
struct Power {
  IOServiceInterestCallback callback = nullptr;
  void* context = nullptr;
  IONotificationPort* port = nullptr;
  bool isOpen = false;
  std::map<long, bool> announcements;
};
Power power;

}  // namespace

namespace halcyra::test {

void IOKitSystem::setDriver(IOKit* driver) {
  theDriver = driver;
}

int IOKitSystem::openDictionaries() {
  return dictionaries;
}

long IOKitSystem::announce(PowerMessage message) {
  static const std::map<PowerMessage, UInt32> numbers{{PowerMessage::mayISleep, kIOMessageCanSystemSleep},
                                                      {PowerMessage::willSleep, kIOMessageSystemWillSleep},
                                                      {PowerMessage::wakes, kIOMessageSystemHasPoweredOn}};
  const long number = static_cast<long>(power.announcements.size()) + 1;
  power.announcements[number] = false;
  if (power.callback != nullptr && power.port->isDelivering) {
    power.callback(power.context, rootPort, numbers.at(message), reinterpret_cast<void*>(number));
  }
  return number;
}

bool IOKitSystem::isAllowed(long announcement) {
  return power.announcements.at(announcement);
}

bool IOKitSystem::isObserved() {
  return power.callback != nullptr || power.isOpen || power.port != nullptr;
}

}  // namespace halcyra::test

CFMutableDictionaryRef IOServiceMatching(const char* name) {
  ++dictionaries;
  return new __CFDictionary{name};
}
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching) {
  require(matching != nullptr && --dictionaries >= 0, "a matching dictionary is used twice");
  const halcyra::IOMatchingDictionary wanted{matching->name};
  delete matching;
  return theDriver != nullptr ? theDriver->IOServiceGetMatchingService(mainPort, wanted) : 0;
}
kern_return_t IOServiceOpen(io_service_t service, task_port_t task, uint32_t type, io_connect_t* connect) {
  require(task == ::mach_task_self_, "a driver is opened for another process");
  return theDriver->IOServiceOpen(service, halcyra::mach_task_self_, type, connect);
}
kern_return_t IOServiceClose(io_connect_t connect) {
  if (connect == rootPort) {
    require(power.callback == nullptr && power.isOpen, "the power port is closed twice, or while it is registered");
    power.isOpen = false;
    return kIOReturnSuccess;
  }
  const kern_return_t status = theDriver->IOServiceClose(connect);
  require(status == kIOReturnSuccess, "a connection is closed twice");
  return status;
}
kern_return_t IOObjectRelease(io_object_t object) {
  const kern_return_t status = theDriver->IOObjectRelease(object);
  require(status == kIOReturnSuccess, "an object is released twice");
  return status;
}
kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector, const void* input, size_t inputSize,
                                        void* output, size_t* outputSize) {
  return theDriver->IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
}

io_connect_t IORegisterForSystemPower(void* context, IONotificationPortRef* port, IOServiceInterestCallback callback,
                                      io_object_t* notifier) {
  power = {callback, context, new IONotificationPort, true, {}};
  *port = power.port;
  *notifier = notifierObject;
  return rootPort;
}
IOReturn IODeregisterForSystemPower(io_object_t* notifier) {
  require(*notifier == notifierObject && power.callback != nullptr, "power is deregistered twice");
  *notifier = 0;
  power.callback = nullptr;
  return kIOReturnSuccess;
}
IOReturn IOAllowPowerChange(io_connect_t kernelPort, intptr_t notification) {
  require(kernelPort == rootPort && power.isOpen, "an answer to a port that is closed");
  require(power.announcements.contains(notification), "an answer to no announcement");
  require(!power.announcements[notification], "an announcement is answered twice");
  power.announcements[notification] = true;
  return kIOReturnSuccess;
}
void IONotificationPortSetDispatchQueue(IONotificationPortRef port, dispatch_queue_t queue) {
  require(port == power.port, "a port that is gone");
  port->isDelivering = queue != nullptr;
}
void IONotificationPortDestroy(IONotificationPortRef port) {
  require(port == power.port, "a port is destroyed twice");
  delete port;
  power.port = nullptr;
}
