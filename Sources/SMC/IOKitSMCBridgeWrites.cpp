#include <algorithm>
#include <bit>
#include <cmath>
#include <exception>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

namespace {

constexpr std::uint32_t typeUInt8 = SMCKey::fromString("ui8 ").rawValue;
constexpr std::uint32_t typeFloat = SMCKey::fromString("flt ").rawValue;

SMCError capabilityDisabled() {
  return SMCError::writeFailed("capability gate is disabled");
}

bool isFanKey(std::string_view keyName, std::string_view suffix) {
  return keyName.size() == 4 && keyName[0] == 'F' && keyName[1] >= '0' && keyName[1] <= '9' &&
         keyName.ends_with(suffix);
}

bool isFlag(const SMCValue& value, const SMCKeyInfo& info) {
  const std::uint8_t* flag = value.asUInt8();
  return info.dataSize == 1 && info.dataType == typeUInt8 && flag != nullptr && *flag <= 1;
}

bool isFiniteFloat(const SMCValue& value, const SMCKeyInfo& info) {
  const float* number = value.asFloat();
  return info.dataSize == 4 && info.dataType == typeFloat && number != nullptr && std::isfinite(*number);
}

void requireEncodedSize(const SMCKeyInfo& info, std::uint32_t size) {
  if (info.dataSize != size) {
    throw SMCError::writeFailed(
        fmt::format("{} has unexpected size {} for {}", info.keyName, info.dataSize, stringFromCode(info.dataType)));
  }
}

std::vector<std::uint8_t> encodedFloat(float value, const SMCKeyInfo& info) {
  requireEncodedSize(info, 4);
  if (!std::isfinite(value)) {
    throw SMCError::writeFailed(info.keyName + " cannot be written with a non-finite float");
  }
  const auto bits = std::bit_cast<std::uint32_t>(value);
  return {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8), static_cast<std::uint8_t>(bits >> 16),
          static_cast<std::uint8_t>(bits >> 24)};
}

std::vector<std::uint8_t> encodedUInt16(std::uint32_t value, const SMCKeyInfo& info) {
  if (info.dataSize != 2 || value > 0xFFFF) {
    throw SMCError::writeFailed(info.keyName + " value does not fit ui16");
  }
  return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

std::vector<std::uint8_t> encodedUInt32(std::uint32_t value, const SMCKeyInfo& info) {
  requireEncodedSize(info, 4);
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

}  // namespace

void IOKitSMCBridge::validateFanWrite(const std::string& keyName, const SMCValue& value, const SMCKeyInfo& info,
                                      SMCWriteCapability capability) {
  if (capability == SMCWriteCapability::disabled) {
    throw capabilityDisabled();
  }
  if (info.keyName != keyName || (info.dataAttributes & SMCKeyInfo::writableAttribute) == 0) {
    throw SMCError::writeFailed(keyName + " metadata does not grant write access");
  }
  if (keyName == "Ftst") {
    if (capability != SMCWriteCapability::privilegedHelper && capability != SMCWriteCapability::ftstUnlockProbe) {
      throw SMCError::writeFailed("Ftst requires an explicit unlock-capable bridge");
    }
    if (!isFlag(value, info)) {
      throw SMCError::writeFailed("Ftst requires ui8 flag 0 or 1");
    }
  } else if (isFanKey(keyName, "Md")) {
    if (!isFlag(value, info)) {
      throw SMCError::writeFailed(keyName + " requires ui8 mode 0 or 1");
    }
  } else if (isFanKey(keyName, "Tg")) {
    if (!isFiniteFloat(value, info)) {
      throw SMCError::writeFailed(keyName + " requires a finite native-endian flt value");
    }
  } else {
    throw SMCError::writeFailed(keyName + " is outside the fan-write allowlist");
  }
}

std::vector<std::uint8_t> IOKitSMCBridge::encodedBytes(const SMCValue& value, const SMCKeyInfo& info) {
  const std::string type = trimmedTypeName(info.dataType);
  if (const float* number = value.asFloat(); number != nullptr && type == "flt") {
    return encodedFloat(*number, info);
  }
  if (const std::uint8_t* number = value.asUInt8(); number != nullptr && type == "ui8") {
    requireEncodedSize(info, 1);
    return {*number};
  }
  if (const std::uint32_t* number = value.asUInt32()) {
    if (type == "ui16") {
      return encodedUInt16(*number, info);
    }
    if (type == "ui32") {
      return encodedUInt32(*number, info);
    }
  }
  throw SMCError::writeFailed(
      fmt::format("{} expects {}; incompatible typed value", info.keyName, stringFromCode(info.dataType)));
}

void IOKitSMCBridge::writeKey(SMCKey key, const SMCValue& value) {
  performWrite(key, value, true);
}

void IOKitSMCBridge::writeKeyUnverified(SMCKey key, const SMCValue& value) {
  performWrite(key, value, false);
}

void IOKitSMCBridge::performWrite(SMCKey key, const SMCValue& value, bool verifyImmediately) {
  if (writeCapability_ == SMCWriteCapability::disabled) {
    throw capabilityDisabled();
  }
  try {
    writeAllowedValue(key, value, verifyImmediately);
  } catch (const std::exception& error) {
    audit(key, value, false, error.what());
    throw;
  }
  audit(key, value, true, verifyImmediately ? "verified readback" : "write sent; async application expected");
}

void IOKitSMCBridge::writeAllowedValue(SMCKey key, const SMCValue& value, bool verifyImmediately) {
  const std::string keyName = stringFromKey(key);
  const SMCKeyInfo info = getKeyInfo(key);
  validateFanWrite(keyName, value, info, writeCapability_);
  const std::vector<std::uint8_t> bytes = encodedBytes(value, info);
  if (bytes.size() != info.dataSize) {
    throw SMCError::writeFailed(
        fmt::format("{} requires {} bytes, encoder produced {}", keyName, info.dataSize, bytes.size()));
  }
  SMCParamStruct input;
  input.keyInfoDataSize = info.dataSize;
  input.command = SMCParamStruct::writeBytes;
  std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), input.bytes.size()), input.bytes.begin());
  callForKey(key, input, "write bytes");
  if (verifyImmediately) {
    verifyReadback(key, bytes);
  }
}

void IOKitSMCBridge::verifyReadback(SMCKey key, const std::vector<std::uint8_t>& written) {
  const RawValue read = readBytes(key, static_cast<std::uint32_t>(written.size()));
  if (!std::ranges::equal(read.span(), written)) {
    throw SMCError::writeFailed(fmt::format("{} readback mismatch: wrote {:02X}, read {:02X}", stringFromKey(key),
                                            fmt::join(written, " "), fmt::join(read.span(), " ")));
  }
}

void IOKitSMCBridge::audit(SMCKey key, const SMCValue& value, bool succeeded, std::string_view detail) const {
  if (writeAuditHandler_) {
    writeAuditHandler_({stringFromKey(key), value.description(), succeeded, std::string(detail)});
  }
}

}  // namespace halcyra
