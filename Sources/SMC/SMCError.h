#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Error.h"

namespace halcyra {

/// The one error type of SMC access. Made by the named constructors; `what()` is the text that the user sees.
class SMCError : public LocalizedError {
 public:
  enum class Case {
    connectionFailedWithCode,
    keyNotFound,
    readFailed,
    writeFailed,
    ioKitFailed,
    firmwareFailed,
    unsupportedType,
    connectionFailed,
    notOpen,
    permissionDenied,
    keyCountMismatch,
  };

  static constexpr std::string_view errorDomain = "HalcyraCore.SMCError";
  /// Firmware results.
  static constexpr std::uint8_t resultSuccess = 0x00;
  static constexpr std::uint8_t resultKeyNotFound = 0x84;

  static SMCError connectionFailedWithCode(std::int32_t code);
  static SMCError keyNotFound(const std::string& key);
  static SMCError readFailed(const std::string& message);
  static SMCError writeFailed(const std::string& message);
  static SMCError ioKitFailed(const std::string& operation, std::int32_t code);
  static SMCError firmwareFailed(const std::string& operation, const std::string& key, std::uint8_t result);
  static SMCError unsupportedType(const std::string& type);
  static SMCError connectionFailed();
  static SMCError notOpen();
  static SMCError permissionDenied();
  static SMCError keyCountMismatch();

  Case kind() const { return case_; }
  /// The firmware's result byte; 0 unless `kind()` is `firmwareFailed`.
  std::uint8_t firmwareResult() const { return firmwareResult_; }
  /// The firmware has answered, other than that it is busy: asking again would give the same answer.
  bool isAnswer() const { return case_ == Case::keyNotFound || (case_ == Case::firmwareFailed && !isTransient()); }
  /// The firmware is still processing an earlier command: the same call may succeed in a moment.
  bool isTransient() const { return firmwareResult_ == 0x82 || firmwareResult_ == 0x83; }

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }

 private:
  SMCError(Case kind, std::string description, std::uint8_t firmwareResult = 0);

  Case case_;
  std::uint8_t firmwareResult_;
};

}  // namespace halcyra
