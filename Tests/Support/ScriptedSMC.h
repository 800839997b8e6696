#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "SMC/SMCInterface.h"

namespace halcyra::test {

/// An SMC in memory whose keys, failures and write behaviour a test scripts. Every access is counted and recorded.
class ScriptedSMC : public SMCInterface {
 public:
  struct Write {
    std::string key;
    SMCValue value;
    bool verified = false;

    bool operator==(const Write&) const = default;
  };

  /// The clock outlives this.
  explicit ScriptedSMC(Clock& clock) : clock_(clock) {}

  /// Adds or replaces a key; new keys go to the end of the key table. `typeCode` is padded to four characters.
  void setKey(std::string_view name, std::string_view typeCode, std::uint32_t size, SMCValue value,
              std::uint8_t attributes = SMCKeyInfo::writableAttribute);
  void setFloat(std::string_view name, double value);
  void setUInt8(std::string_view name, std::uint8_t value);
  /// Actual, minimum, maximum, mode and target keys of a controllable fan, all at plausible values.
  void addFan(int index, double minimum = 1200, double maximum = 6500);
  void removeKey(std::string_view name) { entries_.erase(std::string(name)); }
  const SMCValue& value(std::string_view name) const { return entries_.at(std::string(name)).value; }

  /// Until taken back by nothing: reads of the key's value, or of its metadata, fail.
  void failReads(std::string_view name, std::optional<SMCError> error);
  void failInfo(std::string_view name, std::optional<SMCError> error);
  void failKeyCount(std::optional<SMCError> error) { keyCountError_ = std::move(error); }
  void failIndex(std::uint32_t index) { failingIndices_.insert(index); }
  /// Replaces the number of keys that the table has.
  void setKeyCount(std::uint32_t count) { keyCount_ = count; }

  /// What a write does instead of storing its value; it may throw. It is recorded in any case.
  void setWriteHandler(std::function<void(const std::string& key, const SMCValue&)> handler) {
    writeHandler_ = std::move(handler);
  }
  /// Called before every read of a value, with the number of earlier reads of that key.
  void setReadHook(std::function<void(const std::string& key, int earlierReads)> hook) { readHook_ = std::move(hook); }

  const std::vector<Write>& writes() const { return writes_; }
  /// Every access in order: "info F0Md", "read F0Md", "write F0Md", "index 3", "count".
  const std::vector<std::string>& accesses() const { return accesses_; }
  /// How often `access` was made.
  long count(std::string_view access) const;
  void forgetAccesses() { accesses_.clear(); }

  void open() override {}
  void close() override {}
  SMCValue readKey(SMCKey key) override;
  void writeKey(SMCKey key, const SMCValue& value) override { write(key, value, true); }
  void writeKeyUnverified(SMCKey key, const SMCValue& value) override { write(key, value, false); }
  SMCKeyInfo getKeyInfo(SMCKey key) override;
  SMCKey getKeyFromIndex(std::uint32_t index) override;
  std::uint32_t getKeyCount() override;
  double readTemperature(SMCKey key) override;
  std::int64_t readFanRPM(SMCKey key) override;
  Clock& clock() override { return clock_; }

 private:
  struct Entry {
    SMCKeyInfo info;
    SMCValue value = SMCValue::makeUInt8(0);
    std::optional<SMCError> readError;
    std::optional<SMCError> infoError;
  };

  Entry& entry(const std::string& name);
  float readNumber(SMCKey key);
  void write(SMCKey key, const SMCValue& value, bool verified);

  Clock& clock_;
  std::map<std::string, Entry> entries_;
  std::vector<std::string> table_;
  std::set<std::uint32_t> failingIndices_;
  std::optional<SMCError> keyCountError_;
  std::optional<std::uint32_t> keyCount_;
  std::function<void(const std::string&, const SMCValue&)> writeHandler_;
  std::function<void(const std::string&, int)> readHook_;
  std::map<std::string, int> readCounts_;
  std::vector<Write> writes_;
  std::vector<std::string> accesses_;
};

}  // namespace halcyra::test
