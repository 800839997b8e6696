#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/IOKit.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCParamStruct.h"

namespace halcyra::test {

/// An AppleSMC driver in memory: a table of keys that answers the 80-byte records, failures scripted per operation and
/// key, and a record of everything it was sent.
class ScriptedIOKit : public IOKit {
 public:
  using Record = std::array<std::uint8_t, 80>;

  struct Key {
    std::string type;
    std::vector<std::uint8_t> bytes;
    std::uint8_t attributes = SMCKeyInfo::writableAttribute;
    /// The size that the metadata tells when it is not the number of bytes.
    std::optional<std::uint32_t> size;
  };

  /// How one call ends instead of succeeding.
  struct Failure {
    kern_return_t status = kIOReturnSuccess;
    std::uint8_t result = 0;
    std::size_t outputSize = 80;
  };

  bool hasMatching = true;
  bool hasService = true;
  kern_return_t openStatus = kIOReturnSuccess;
  /// 0 stands for a driver that opens without giving a handle.
  io_connect_t nextConnection = 0x2001;
  /// The firmware takes a write in, but keeps its old value.
  bool ignoresWrites = false;

  /// `type` is padded to four characters.
  void setKey(const std::string& name, std::string type, std::vector<std::uint8_t> bytes,
              std::uint8_t attributes = SMCKeyInfo::writableAttribute);
  Key& key(const std::string& name) { return keys_.at(name); }
  /// Every call of `command` about `name` ("" for the key index) ends so.
  void fail(std::uint8_t command, const std::string& name, Failure failure) { failures_[{command, name}] = failure; }
  void clearFailures() { failures_.clear(); }

  /// The raw input records of all calls, in order.
  const std::vector<Record>& records() const { return records_; }
  /// The command bytes of all calls, in order.
  std::vector<int> commands() const;
  void forgetRecords() { records_.clear(); }
  int opens() const { return opens_; }
  int openConnections() const { return openConnections_; }
  /// Services looked up and not released.
  int heldServices() const { return heldServices_; }
  const std::string& matchedName() const { return matchedName_; }

  IOMatchingDictionary IOServiceMatching(const char* name) override;
  io_service_t IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) override;
  kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                              io_connect_t* connection) override;
  kern_return_t IOObjectRelease(io_object_t object) override;
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;
  kern_return_t IOServiceClose(io_connect_t connection) override;

 private:
  static constexpr io_service_t serviceHandle = 0x1001;

  void answer(const SMCParamStruct& input, SMCParamStruct& output);

  std::map<std::string, Key> keys_;
  std::vector<std::string> table_;
  std::map<std::pair<std::uint8_t, std::string>, Failure> failures_;
  std::vector<Record> records_;
  std::string matchedName_;
  int opens_ = 0;
  int openConnections_ = 0;
  int heldServices_ = 0;
};

}  // namespace halcyra::test
