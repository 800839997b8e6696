#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "FuzzTargets.h"
#include "Platform/Clock.h"
#include "Platform/IOKit.h"
#include "SMC/IOKitSMCBridge.h"
#include "SMC/SMCParamStruct.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::fuzz {

/// An SMC driver that answers with the records of the input, in turn and over again; or with a simulated machine's, of
/// which the records of the input turn bits over. Checks every record that it is sent.
class ArbitraryDriver : public IOKit {
 public:
  /// `capability` is that of the bridge over it; `clock` outlives the driver.
  ArbitraryDriver(Bytes replies, SMCWriteCapability capability, bool hasMachine, Clock& clock);

  int writesSent() const { return writesSent_; }
  int openConnections() const { return openConnections_; }
  int heldServices() const { return heldServices_; }

  IOMatchingDictionary IOServiceMatching(const char* name) override { return {name}; }
  io_service_t IOServiceGetMatchingService(mach_port_t, const IOMatchingDictionary&) override {
    ++heldServices_;
    return 1;
  }
  kern_return_t IOServiceOpen(io_service_t, task_port_t, std::uint32_t, io_connect_t* connection) override {
    ++openConnections_;
    *connection = 2;
    return kIOReturnSuccess;
  }
  kern_return_t IOObjectRelease(io_object_t) override {
    --heldServices_;
    return kIOReturnSuccess;
  }
  kern_return_t IOServiceClose(io_connect_t) override {
    --openConnections_;
    return kIOReturnSuccess;
  }
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;

 private:
  void checkSent(const SMCParamStruct& record);
  void checkSentWrite(const SMCParamStruct& record);
  SMCParamStruct nextReply();
  /// The status of the call.
  kern_return_t addTruth(const SMCParamStruct& sent, SMCParamStruct& reply);

  Bytes replies_;
  SMCWriteCapability capability_;
  Clock& clock_;
  std::unique_ptr<VirtualMac> machine_;
  std::size_t position_ = 0;
  std::size_t calls_ = 0;
  int writesSent_ = 0;
  int openConnections_ = 0;
  int heldServices_ = 0;
};

}  // namespace halcyra::fuzz
