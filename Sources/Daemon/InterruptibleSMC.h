#pragma once

#include <cstdint>

#include "Daemon/FanLedger.h"
#include "Daemon/FanWorkQueue.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

/// Thrown into work that a hand-back has overtaken.
class SupersededByHandBack : public LocalizedError {
 public:
  SupersededByHandBack() : LocalizedError("The request was overtaken by the hand-back of the fans to Automatic") {}

  std::string_view domain() const override { return "com.norwick.Halcyra.HandBack"; }
};

/// The SMC as the work of a session sees it: once a hand-back has been asked for, every access and every wait throws
/// `SupersededByHandBack` instead of going on, so that a write that waits for its latch (in steps of at most 200 ms)
/// gives way; so does a write that drives a fan when the session's deadline has passed. Keeps the ledger of what was
/// written. To be used from the fan work queue alone.
class InterruptibleSMC : public SMCInterface {
 public:
  /// All three outlive this.
  InterruptibleSMC(SMCInterface& smc, const HandBackEpoch& epoch, FanLedger& ledger);

  /// What follows was asked for in the epoch `ticket`.
  void begin(std::uint64_t ticket) { ticket_ = ticket; }
  /// Throws when a hand-back has been asked for since.
  void check() const;

  void open() override;
  void close() override;
  SMCValue readKey(SMCKey key) override;
  void writeKey(SMCKey key, const SMCValue& value) override;
  void writeKeyUnverified(SMCKey key, const SMCValue& value) override;
  SMCKeyInfo getKeyInfo(SMCKey key) override;
  SMCKey getKeyFromIndex(std::uint32_t index) override;
  std::uint32_t getKeyCount() override;
  double readTemperature(SMCKey key) override;
  std::int64_t readFanRPM(SMCKey key) override;
  Clock& clock() override { return clock_; }

 private:
  class CheckedClock : public Clock {
   public:
    explicit CheckedClock(const InterruptibleSMC& owner) : owner_(owner) {}
    Date now() const override { return owner_.smc_.clock().now(); }
    Instant steadyNow() const override { return owner_.smc_.clock().steadyNow(); }
    void sleep(Seconds duration) override;

   private:
    const InterruptibleSMC& owner_;
  };

  void checkWrite(SMCKey key, const SMCValue& value);

  SMCInterface& smc_;
  const HandBackEpoch& epoch_;
  FanLedger& ledger_;
  CheckedClock clock_;
  std::uint64_t ticket_ = 0;
};

}  // namespace halcyra
