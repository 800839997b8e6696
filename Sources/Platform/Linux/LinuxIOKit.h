#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "Platform/IOKit.h"

namespace halcyra {

/// The call was sent, and no answer came in time.
inline constexpr kern_return_t kIOReturnTimeout = static_cast<kern_return_t>(0xE00002D6);

/// The AppleSMC driver behind a SOCK_SEQPACKET socket: each call is one packet (the input structure) and one packet
/// back: the output structure, or exactly `statusPacketSize` bytes, a `kern_return_t` in host byte order, for a call
/// that did not go through.
///
/// A connection survives the driver: when the socket breaks, the call under way fails with `kIOReturnNoDevice`, and
/// every later call first tries to connect again.
class LinuxIOKit : public IOKit {
 public:
  static constexpr std::size_t statusPacketSize = sizeof(kern_return_t);
  static constexpr std::size_t largestPacketSize = 4096;

  /// `answerTimeout`: how long a call waits for its answer.
  explicit LinuxIOKit(std::filesystem::path smcSocket, double answerTimeout = 5.0);
  ~LinuxIOKit() override;

  IOMatchingDictionary IOServiceMatching(const char* name) override;
  io_service_t IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) override;
  kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                              io_connect_t* connection) override;
  kern_return_t IOObjectRelease(io_object_t object) override;
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;
  kern_return_t IOServiceClose(io_connect_t connection) override;

 private:
  class Connection;
  std::shared_ptr<Connection> find(io_connect_t connection);

  std::filesystem::path smcSocket_;
  double answerTimeout_;
  std::mutex mutex_;
  std::map<io_connect_t, std::shared_ptr<Connection>> connections_;
  io_connect_t nextConnection_ = 0x1000;
};

}  // namespace halcyra
