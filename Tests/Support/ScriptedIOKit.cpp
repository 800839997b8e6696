#include "Support/ScriptedIOKit.h"

#include <algorithm>
#include <cstring>

#include "SMC/SMCError.h"

namespace halcyra::test {

void ScriptedIOKit::setKey(const std::string& name, std::string type, std::vector<std::uint8_t> bytes,
                           std::uint8_t attributes) {
  type.resize(4, ' ');
  if (!keys_.contains(name)) {
    table_.push_back(name);
  }
  keys_[name] = {std::move(type), std::move(bytes), attributes, std::nullopt};
}

std::vector<int> ScriptedIOKit::commands() const {
  std::vector<int> commands;
  for (const Record& record : records_) {
    commands.push_back(record[42]);
  }
  return commands;
}

IOMatchingDictionary ScriptedIOKit::IOServiceMatching(const char* name) {
  matchedName_ = name;
  return {hasMatching ? name : ""};
}

io_service_t ScriptedIOKit::IOServiceGetMatchingService(mach_port_t mainPort, const IOMatchingDictionary& matching) {
  if (!hasService || mainPort != kIOMainPortDefault || matching.providerClass != "AppleSMC") {
    return 0;
  }
  ++heldServices_;
  return serviceHandle;
}

kern_return_t ScriptedIOKit::IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                                           io_connect_t* connection) {
  ++opens_;
  if (openStatus != kIOReturnSuccess) {
    return openStatus;
  }
  if (service != serviceHandle || owningTask != mach_task_self_ || type != 0 || heldServices_ == 0) {
    return kIOReturnBadArgument;
  }
  *connection = nextConnection;
  ++openConnections_;
  return kIOReturnSuccess;
}

kern_return_t ScriptedIOKit::IOObjectRelease(io_object_t object) {
  if (object != serviceHandle) {
    return kIOReturnBadArgument;
  }
  --heldServices_;
  return kIOReturnSuccess;
}

kern_return_t ScriptedIOKit::IOServiceClose(io_connect_t connection) {
  if (connection != nextConnection) {
    return kIOReturnBadArgument;
  }
  --openConnections_;
  return kIOReturnSuccess;
}

kern_return_t ScriptedIOKit::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector,
                                                       const void* input, std::size_t inputSize, void* output,
                                                       std::size_t* outputSize) {
  if (connection != nextConnection || openConnections_ == 0) {
    return kIOReturnNotOpen;
  }
  if (selector != SMCParamStruct::selector || inputSize != 80 || *outputSize != 80) {
    return kIOReturnBadArgument;
  }
  Record record{};
  std::memcpy(record.data(), input, record.size());
  records_.push_back(record);
  SMCParamStruct request;
  std::memcpy(&request, input, sizeof(request));
  SMCParamStruct reply;
  const std::string name =
      request.command == SMCParamStruct::readKeyIndex ? std::string() : stringFromKey(SMCKey(request.key));
  if (const auto failure = failures_.find({request.command, name}); failure != failures_.end()) {
    reply.result = failure->second.result;
    *outputSize = failure->second.outputSize;
    if (failure->second.status != kIOReturnSuccess) {
      return failure->second.status;
    }
  } else {
    answer(request, reply);
  }
  std::memcpy(output, &reply, sizeof(reply));
  return kIOReturnSuccess;
}

void ScriptedIOKit::answer(const SMCParamStruct& input, SMCParamStruct& output) {
  if (input.command == SMCParamStruct::readKeyIndex) {
    if (input.data32 < table_.size()) {
      output.key = SMCKey::fromString(table_[input.data32]).rawValue;
    } else {
      output.result = SMCError::resultKeyNotFound;
    }
    return;
  }
  const auto found = keys_.find(stringFromKey(SMCKey(input.key)));
  if (found == keys_.end()) {
    output.result = SMCError::resultKeyNotFound;
    return;
  }
  Key& key = found->second;
  switch (input.command) {
    case SMCParamStruct::readKeyInfo:
      output.keyInfoDataSize = key.size.value_or(static_cast<std::uint32_t>(key.bytes.size()));
      output.keyInfoDataType = SMCKey::fromString(key.type).rawValue;
      output.keyInfoAttributes = key.attributes;
      break;
    case SMCParamStruct::readBytes:
      std::copy_n(key.bytes.begin(), std::min<std::size_t>(key.bytes.size(), input.keyInfoDataSize),
                  output.bytes.begin());
      break;
    case SMCParamStruct::writeBytes:
      if (!ignoresWrites) {
        key.bytes.assign(input.bytes.begin(), input.bytes.begin() + input.keyInfoDataSize);
      }
      break;
    default:
      output.result = 0xFF;
  }
}

}  // namespace halcyra::test
