#pragma once

#include <cstdint>

#include "Platform/Clock.h"
#include "Platform/Time.h"
#include "SMC/SMCError.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCValue.h"

namespace halcyra {

/// Access to the System Management Controller. Every operation reports failure by throwing `SMCError`; nothing is
/// retried at this level. Not safe for concurrent use: an owner confines it to one serial queue.
class SMCInterface {
 public:
  virtual ~SMCInterface() = default;

  /// Connects; does nothing while open.
  virtual void open() = 0;
  /// Disconnects; never fails.
  virtual void close() = 0;
  /// Metadata, raw bytes, decoding by the reported type. An unknown type is returned as bytes.
  virtual SMCValue readKey(SMCKey key) = 0;
  /// Writes and verifies by reading back.
  virtual void writeKey(SMCKey key, const SMCValue& value) = 0;
  /// Writes without the readback, for keys whose effect the firmware applies later. A back end without such a path
  /// verifies anyway.
  virtual void writeKeyUnverified(SMCKey key, const SMCValue& value) { writeKey(key, value); }
  virtual SMCKeyInfo getKeyInfo(SMCKey key) = 0;
  /// The key at a position of the SMC's key table, from 0.
  virtual SMCKey getKeyFromIndex(std::uint32_t index) = 0;
  /// The number of keys ("#KEY").
  virtual std::uint32_t getKeyCount() = 0;
  /// Degrees Celsius, finite; only "flt" and "sp78" keys.
  virtual double readTemperature(SMCKey key) = 0;
  /// Revolutions per minute, not negative; for "flt", "fpe2" and "fp2e" keys.
  virtual std::int64_t readFanRPM(SMCKey key) = 0;

  /// The clock by which waits on this interface run.
  virtual Clock& clock() = 0;

  /// Polls every 200 ms until the key reads as a float within `tolerance` of `expected` (inclusive), and says whether
  /// it did before `timeout` was over. Read errors and values of another case count as no match. A timeout of zero or
  /// less returns false without reading.
  virtual bool waitForFloat(SMCKey key, float expected, float tolerance, Seconds timeout);
  /// The same for a `uint8` equal to `expected`.
  virtual bool waitForUInt8(SMCKey key, std::uint8_t expected, Seconds timeout);

  /// How often the waits read.
  static constexpr Seconds pollingPeriod{0.2};
};

}  // namespace halcyra
