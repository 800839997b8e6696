#include "Support/VirtualMacIOKit.h"

#include <cstring>
#include <string_view>

namespace halcyra::test {

namespace {

constexpr std::string_view driverClass = "AppleSMC";

}  // namespace

VirtualMacIOKit::VirtualMacIOKit(VirtualMac& machine, Clock& clock, bool privileged)
    : machine_(machine), clock_(clock), privileged_(privileged) {}

void VirtualMacIOKit::advance() {
  machine_.advance(clock_.steadyNow().time_since_epoch());
}

IOMatchingDictionary VirtualMacIOKit::IOServiceMatching(const char* name) {
  return {name != nullptr ? name : ""};
}

io_service_t VirtualMacIOKit::IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) {
  if (mainPort != kIOMainPortDefault || matching.providerClass != driverClass || machine_.faults().driverGone()) {
    return 0;
  }
  services_.insert(++nextHandle_);
  return nextHandle_;
}

kern_return_t VirtualMacIOKit::IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                                             io_connect_t* connection) {
  if (connection == nullptr || owningTask != mach_task_self_ || type != 0 || !services_.contains(service)) {
    return kIOReturnBadArgument;
  }
  if (machine_.faults().driverGone()) {
    return kIOReturnNoDevice;
  }
  connections_.insert(++nextHandle_);
  *connection = nextHandle_;
  return kIOReturnSuccess;
}

kern_return_t VirtualMacIOKit::IOObjectRelease(io_object_t object) {
  return services_.erase(object) > 0 ? kIOReturnSuccess : kIOReturnBadArgument;
}

kern_return_t VirtualMacIOKit::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector,
                                                         const void* input, std::size_t inputSize, void* output,
                                                         std::size_t* outputSize) {
  if (!connections_.contains(connection)) {
    return kIOReturnNotOpen;
  }
  if (selector != SMCParamStruct::selector || input == nullptr || inputSize != sizeof(SMCParamStruct) ||
      output == nullptr || outputSize == nullptr || *outputSize < sizeof(SMCParamStruct)) {
    return kIOReturnBadArgument;
  }
  SMCParamStruct record;
  std::memcpy(&record, input, sizeof record);
  advance();
  const VirtualSMCReply reply = machine_.call(record, privileged_);
  clock_.sleep(reply.delay);
  if (reply.status != kIOReturnSuccess) {
    if (connectionsDie && machine_.faults().driverGone()) {
      connections_.erase(connection);
    }
    return reply.status;
  }
  std::memcpy(output, &reply.output, sizeof reply.output);
  *outputSize = sizeof reply.output;
  return kIOReturnSuccess;
}

kern_return_t VirtualMacIOKit::IOServiceClose(io_connect_t connection) {
  return connections_.erase(connection) > 0 ? kIOReturnSuccess : kIOReturnNotOpen;
}

void VirtualMacIOKit::applyFault(std::string_view command) {
  advance();
  machine_.faults().apply(command);
}

VirtualMacState VirtualMacIOKit::state() {
  advance();
  return machine_.state();
}

}  // namespace halcyra::test
