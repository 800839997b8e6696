#include "SMC/IOKitSMCBridge.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "fmt/format.h"

namespace halcyra {

namespace {

static_assert(std::endian::native == std::endian::little, "\"flt\" values are exchanged in host byte order");

using Bytes = std::span<const std::uint8_t>;

SMCError resultError(std::uint8_t result, std::string_view operation, const std::string& key) {
  if (result == SMCError::resultKeyNotFound) {
    return SMCError::keyNotFound(key);
  }
  return SMCError::firmwareFailed(std::string(operation), key, result);
}

void requireSize(Bytes bytes, std::size_t count, const SMCKeyInfo& info) {
  if (bytes.size() < count) {
    throw SMCError::readFailed(fmt::format("{} returned fewer than {} bytes for {}", info.keyName, info.dataSize,
                                           stringFromCode(info.dataType)));
  }
}

float decodedFloat(Bytes bytes, const SMCKeyInfo& info) {
  float value = 0;
  requireSize(bytes, sizeof(value), info);
  std::memcpy(&value, bytes.data(), sizeof(value));
  return value;
}

std::uint16_t decodedUInt16(Bytes bytes, const SMCKeyInfo& info) {
  requireSize(bytes, 2, info);
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

std::uint32_t bigEndian32(Bytes bytes) {
  return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
         static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

double decodedSignedFixed(Bytes bytes, const SMCKeyInfo& info) {
  return static_cast<double>(static_cast<std::int16_t>(decodedUInt16(bytes, info))) / 256.0;
}

double decodedUnsignedFixed(Bytes bytes, const SMCKeyInfo& info) {
  return static_cast<double>(decodedUInt16(bytes, info)) / 4.0;
}

bool isUnsignedFixed(std::string_view type) {
  return type == "fpe2" || type == "fp2e";
}

SMCValue decodedValue(Bytes bytes, const SMCKeyInfo& info) {
  const std::string type = trimmedTypeName(info.dataType);
  if (type == "flt") {
    return SMCValue::makeFloat(decodedFloat(bytes, info));
  }
  if (type == "sp78") {
    return SMCValue::makeFloat(static_cast<float>(decodedSignedFixed(bytes, info)));
  }
  if (isUnsignedFixed(type)) {
    return SMCValue::makeFloat(static_cast<float>(decodedUnsignedFixed(bytes, info)));
  }
  if (type == "ui8") {
    requireSize(bytes, 1, info);
    return SMCValue::makeUInt8(bytes[0]);
  }
  if (type == "ui16") {
    return SMCValue::makeUInt32(decodedUInt16(bytes, info));
  }
  if (type == "ui32") {
    requireSize(bytes, 4, info);
    return SMCValue::makeUInt32(bigEndian32(bytes));
  }
  return SMCValue::makeBytes({bytes.begin(), bytes.end()});
}

SMCError unsupportedType(const SMCKeyInfo& info) {
  return SMCError::unsupportedType(fmt::format("{} for {}", stringFromCode(info.dataType), info.keyName));
}

}  // namespace

IOKitSMCBridge::IOKitSMCBridge(IOKit& iokit, Clock& clock, SMCWriteCapability writeCapability,
                               WriteAuditHandler writeAuditHandler)
    : iokit_(iokit),
      clock_(clock),
      writeCapability_(writeCapability),
      writeAuditHandler_(std::move(writeAuditHandler)) {}

IOKitSMCBridge::~IOKitSMCBridge() {
  IOKitSMCBridge::close();
}

void IOKitSMCBridge::open() {
  if (isOpen_) {
    return;
  }
  const IOMatchingDictionary matching = iokit_.IOServiceMatching("AppleSMC");
  if (matching.providerClass.empty()) {
    throw SMCError::connectionFailed();
  }
  const io_service_t service = iokit_.IOServiceGetMatchingService(kIOMainPortDefault, matching);
  if (service == 0) {
    throw SMCError::connectionFailed();
  }
  io_connect_t connection = 0;
  const kern_return_t status = iokit_.IOServiceOpen(service, mach_task_self_, 0, &connection);
  iokit_.IOObjectRelease(service);
  if (status != kIOReturnSuccess) {
    throw SMCError::connectionFailedWithCode(status);
  }
  connection_ = connection;
  isOpen_ = true;
}

void IOKitSMCBridge::close() {
  if (isOpen_ && connection_ != 0) {
    iokit_.IOServiceClose(connection_);
    connection_ = 0;
  }
  isOpen_ = false;
}

SMCParamStruct IOKitSMCBridge::call(const SMCParamStruct& input, std::string_view operation,
                                    std::optional<SMCKey> key) {
  if (!isOpen_ || connection_ == 0 || isAbandoned_) {
    throw SMCError::notOpen();
  }
  SMCParamStruct output;
  std::size_t outputSize = sizeof(output);
  const kern_return_t status = iokit_.IOConnectCallStructMethod(connection_, SMCParamStruct::selector, &input,
                                                                sizeof(input), &output, &outputSize);
  if (status != kIOReturnSuccess) {
    const std::string name = key ? fmt::format("{} for {}", operation, stringFromKey(*key)) : std::string(operation);
    throw SMCError::ioKitFailed(name, status);
  }
  if (outputSize != sizeof(output)) {
    throw SMCError::readFailed(fmt::format("{} returned {} bytes; expected {}", operation, outputSize, sizeof(output)));
  }
  return output;
}

SMCParamStruct IOKitSMCBridge::callForKey(SMCKey key, SMCParamStruct input, std::string_view operation) {
  input.key = key.rawValue;
  const SMCParamStruct output = call(input, operation, key);
  if (output.result != SMCError::resultSuccess) {
    throw resultError(output.result, operation, stringFromKey(key));
  }
  return output;
}

SMCKeyInfo IOKitSMCBridge::getKeyInfo(SMCKey key) {
  SMCParamStruct input;
  input.command = SMCParamStruct::readKeyInfo;
  const SMCParamStruct output = callForKey(key, input, "read key info");
  return {.key = key,
          .dataSize = output.keyInfoDataSize,
          .dataType = output.keyInfoDataType,
          .dataAttributes = output.keyInfoAttributes,
          .keyName = stringFromKey(key)};
}

IOKitSMCBridge::RawValue IOKitSMCBridge::readBytes(SMCKey key, std::uint32_t size) {
  if (size > SMCParamStruct::maximumValueSize) {
    throw SMCError::readFailed("SMC values larger than 32 bytes are unsupported");
  }
  SMCParamStruct input;
  input.keyInfoDataSize = size;
  input.command = SMCParamStruct::readBytes;
  return {callForKey(key, input, "read bytes").bytes, size};
}

SMCValue IOKitSMCBridge::readKey(SMCKey key) {
  const SMCKeyInfo info = getKeyInfo(key);
  return decodedValue(readBytes(key, info.dataSize).span(), info);
}

SMCKey IOKitSMCBridge::getKeyFromIndex(std::uint32_t index) {
  SMCParamStruct input;
  input.command = SMCParamStruct::readKeyIndex;
  input.data32 = index;
  const SMCParamStruct output = call(input, fmt::format("read key index {}", index), std::nullopt);
  if (output.result != SMCError::resultSuccess) {
    throw resultError(output.result, "read key index", fmt::format("#{}", index));
  }
  return SMCKey(output.key);
}

std::uint32_t IOKitSMCBridge::getKeyCount() {
  constexpr SMCKey key = SMCKey::fromString("#KEY");
  const RawValue value = readBytes(key, getKeyInfo(key).dataSize);
  if (value.size < 4) {
    throw SMCError::keyCountMismatch();
  }
  return bigEndian32(value.span());
}

double IOKitSMCBridge::readTemperature(SMCKey key) {
  const SMCKeyInfo info = getKeyInfo(key);
  const RawValue raw = readBytes(key, info.dataSize);
  const std::string type = trimmedTypeName(info.dataType);
  double value = 0;
  if (type == "flt") {
    value = static_cast<double>(decodedFloat(raw.span(), info));
  } else if (type == "sp78") {
    value = decodedSignedFixed(raw.span(), info);
  } else {
    throw unsupportedType(info);
  }
  if (!std::isfinite(value)) {
    throw SMCError::readFailed(info.keyName + " returned a non-finite temperature");
  }
  return value;
}

std::int64_t IOKitSMCBridge::readFanRPM(SMCKey key) {
  constexpr double limit = 0x1p63;
  const SMCKeyInfo info = getKeyInfo(key);
  const RawValue raw = readBytes(key, info.dataSize);
  const std::string type = trimmedTypeName(info.dataType);
  double value = 0;
  if (type == "flt") {
    value = static_cast<double>(decodedFloat(raw.span(), info));
  } else if (isUnsignedFixed(type)) {
    value = decodedUnsignedFixed(raw.span(), info);
  } else {
    throw unsupportedType(info);
  }
  if (!std::isfinite(value) || value < 0 || value >= limit) {
    throw SMCError::readFailed(info.keyName + " returned an invalid RPM");
  }
  return static_cast<std::int64_t>(std::round(value));
}

}  // namespace halcyra
