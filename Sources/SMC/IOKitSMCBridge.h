#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Clock.h"
#include "Platform/IOKit.h"
#include "SMC/SMCInterface.h"
#include "SMC/SMCParamStruct.h"

namespace halcyra {

/// What a bridge may write.
enum class SMCWriteCapability {
  /// Nothing: every write is refused before any SMC access.
  disabled,
  /// Fan mode and fan target keys; not "Ftst".
  phase2HardwareTest,
  /// Fan keys and "Ftst".
  privilegedHelper,
  /// Fan keys and "Ftst".
  ftstUnlockProbe,
};

/// One attempted write that passed the capability gate.
struct SMCWriteAuditEvent {
  std::string key;
  /// `SMCValue::description()` of the value.
  std::string value;
  bool succeeded = false;
  /// What was done, or the failure's text.
  std::string detail;

  bool operator==(const SMCWriteAuditEvent&) const = default;
};

/// The implementation of `SMCInterface` over the AppleSMC driver's user client, with the gate, the allowlist and the
/// audit of writes. Not safe for concurrent use. There is no reconnection: an owner that loses the connection closes
/// and opens again.
class IOKitSMCBridge : public SMCInterface {
 public:
  using WriteAuditHandler = std::function<void(const SMCWriteAuditEvent&)>;

  /// A closed bridge. `writeAuditHandler` may be empty; it is called on the writing thread.
  IOKitSMCBridge(IOKit& iokit, Clock& clock, SMCWriteCapability writeCapability, WriteAuditHandler writeAuditHandler);
  /// Closes the connection.
  ~IOKitSMCBridge() override;
  IOKitSMCBridge(const IOKitSMCBridge&) = delete;
  IOKitSMCBridge& operator=(const IOKitSMCBridge&) = delete;

  void open() override;
  void close() override;
  /// Ends what is under way: every call from now on fails with `notOpen` without asking the driver. For good; from any
  /// thread.
  void abandon() { isAbandoned_ = true; }
  SMCValue readKey(SMCKey key) override;
  void writeKey(SMCKey key, const SMCValue& value) override;
  void writeKeyUnverified(SMCKey key, const SMCValue& value) override;
  SMCKeyInfo getKeyInfo(SMCKey key) override;
  SMCKey getKeyFromIndex(std::uint32_t index) override;
  std::uint32_t getKeyCount() override;
  double readTemperature(SMCKey key) override;
  std::int64_t readFanRPM(SMCKey key) override;
  Clock& clock() override { return clock_; }

  bool isOpen() const { return isOpen_; }

  /// The gate and the allowlist on their own; throws `writeFailed`. Nothing passes a `disabled` capability; the others
  /// differ for "Ftst" only.
  static void validateFanWrite(const std::string& keyName, const SMCValue& value, const SMCKeyInfo& info,
                               SMCWriteCapability capability);
  /// The encoder on its own: the bytes of `value` as the key's type wants them; throws `writeFailed`.
  static std::vector<std::uint8_t> encodedBytes(const SMCValue& value, const SMCKeyInfo& info);
  /// `text` must be exactly four bytes.
  static SMCKey keyFromString(std::string_view text) { return SMCKey::fromString(text); }
  static std::string stringFromKey(SMCKey key) { return halcyra::stringFromKey(key); }
  static std::string stringFromCode(std::uint32_t code) { return halcyra::stringFromCode(code); }

 private:
  /// A value as the SMC returned it, kept off the heap: a poll reads a few hundred of them.
  struct RawValue {
    std::array<std::uint8_t, SMCParamStruct::maximumValueSize> bytes{};
    std::uint32_t size = 0;

    std::span<const std::uint8_t> span() const { return {bytes.data(), size}; }
  };

  /// The single user-client call. `operation` and `key` name it in errors only.
  SMCParamStruct call(const SMCParamStruct& input, std::string_view operation, std::optional<SMCKey> key);
  /// A call about `key` that the firmware has done; throws what it answered otherwise.
  SMCParamStruct callForKey(SMCKey key, SMCParamStruct input, std::string_view operation);
  RawValue readBytes(SMCKey key, std::uint32_t size);
  void performWrite(SMCKey key, const SMCValue& value, bool verifyImmediately);
  void writeAllowedValue(SMCKey key, const SMCValue& value, bool verifyImmediately);
  void verifyReadback(SMCKey key, const std::vector<std::uint8_t>& written);
  void audit(SMCKey key, const SMCValue& value, bool succeeded, std::string_view detail) const;

  IOKit& iokit_;
  Clock& clock_;
  io_connect_t connection_ = 0;
  bool isOpen_ = false;
  std::atomic<bool> isAbandoned_ = false;
  SMCWriteCapability writeCapability_;
  WriteAuditHandler writeAuditHandler_;
};

}  // namespace halcyra
