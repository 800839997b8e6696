#include "SMC/SMCError.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

namespace halcyra {

namespace {

std::string hexadecimal(std::int32_t status) {
  return fmt::format("{:x}", static_cast<std::uint32_t>(status));
}

/// Codes from the firmware may hold NUL characters, which would end the text early.
std::string withoutNUL(std::string text) {
  std::ranges::replace(text, '\0', '?');
  return text;
}

}  // namespace

SMCError::SMCError(Case kind, std::string description, std::uint8_t firmwareResult)
    : LocalizedError(withoutNUL(std::move(description))), case_(kind), firmwareResult_(firmwareResult) {}

SMCError SMCError::connectionFailedWithCode(std::int32_t code) {
  return {Case::connectionFailedWithCode, fmt::format("Failed to open AppleSMC (IOKit 0x{})", hexadecimal(code))};
}

SMCError SMCError::keyNotFound(const std::string& key) {
  return {Case::keyNotFound, fmt::format("SMC key {} was not found", key)};
}

SMCError SMCError::readFailed(const std::string& message) {
  return {Case::readFailed, fmt::format("SMC read failed: {}", message)};
}

SMCError SMCError::writeFailed(const std::string& message) {
  return {Case::writeFailed, fmt::format("SMC write failed: {}", message)};
}

SMCError SMCError::ioKitFailed(const std::string& operation, std::int32_t code) {
  return {Case::ioKitFailed, fmt::format("{} failed (IOKit 0x{})", operation, hexadecimal(code))};
}

SMCError SMCError::firmwareFailed(const std::string& operation, const std::string& key, std::uint8_t result) {
  return {Case::firmwareFailed, fmt::format("{} failed for {} (SMC result 0x{:x})", operation, key, result), result};
}

SMCError SMCError::unsupportedType(const std::string& type) {
  return {Case::unsupportedType, fmt::format("Unsupported SMC data type: {}", type)};
}

SMCError SMCError::connectionFailed() {
  return {Case::connectionFailed, "AppleSMC service was not found"};
}

SMCError SMCError::notOpen() {
  return {Case::notOpen, "The AppleSMC connection is not open"};
}

SMCError SMCError::permissionDenied() {
  return {Case::permissionDenied, "Permission denied by AppleSMC"};
}

SMCError SMCError::keyCountMismatch() {
  return {Case::keyCountMismatch, "SMC key enumeration count did not match #KEY"};
}

}  // namespace halcyra
