#include "VirtualMac/KeyTable.h"

#include <algorithm>

#include "VirtualMac/SensorBank.h"
#include "VirtualMac/VirtualFan.h"

namespace halcyra {

namespace {

constexpr std::uint8_t readOnly = 0x80;
constexpr std::uint8_t readWrite = 0xC0;

KeyEntry number(std::string_view key, std::string_view type, std::uint32_t size, double value,
                std::uint8_t attributes = readOnly) {
  return {SMCKey::fromString(key), type, size, attributes, KeySource::constantNumber, 0, value, {}};
}

KeyEntry text(std::string_view key, std::string_view type, std::uint32_t size, std::string_view value) {
  return {SMCKey::fromString(key), type, size, readOnly, KeySource::constantText, 0, 0, value};
}

KeyEntry live(SMCKey key, std::string_view type, std::uint32_t size, std::uint8_t attributes, KeySource source,
              std::size_t index = 0) {
  return {key, type, size, attributes, source, index, 0, {}};
}

void appendFan(std::vector<KeyEntry>& entries, int fan) {
  const auto index = static_cast<std::size_t>(fan);
  entries.push_back(live(SMCKey::fan(fan, "Ac"), "flt ", 4, readOnly, KeySource::fanActual, index));
  entries.push_back(live(SMCKey::fan(fan, "Mn"), "flt ", 4, readOnly, KeySource::fanMinimum, index));
  entries.push_back(live(SMCKey::fan(fan, "Mx"), "flt ", 4, readOnly, KeySource::fanMaximum, index));
  entries.push_back(live(SMCKey::fan(fan, "Md"), "ui8 ", 1, readWrite, KeySource::fanMode, index));
  entries.push_back(live(SMCKey::fan(fan, "Tg"), "flt ", 4, readWrite, KeySource::fanTarget, index));
}

/// Keys whose names begin like a temperature's, and which are none.
void appendImpostors(std::vector<KeyEntry>& entries) {
  entries.push_back(number("TCal", "ui16", 2, 4660));
  entries.push_back(number("TCHP", "ui8 ", 1, 42));
  entries.push_back(number("TVSx", "ioft", 8, 41.5));
  entries.push_back(number("TPID", "fpe2", 2, 2000.5));
  entries.push_back(text("TVER", "ch8*", 8, "2.31f1"));
}

void appendOthers(std::vector<KeyEntry>& entries) {
  entries.push_back(number("AC-W", "si8 ", 1, -1));
  entries.push_back(number("B0AC", "si16", 2, -812));
  entries.push_back(number("B0AV", "ui16", 2, 12480));
  entries.push_back(number("B0CT", "ui16", 2, 87));
  entries.push_back(number("B0FC", "ui16", 2, 8579));
  entries.push_back(number("B0RM", "ui16", 2, 6420));
  entries.push_back(number("BNum", "ui8 ", 1, 1));
  entries.push_back(number("CH0B", "ui8 ", 1, 0, readWrite));
  entries.push_back(number("CLKT", "ui32", 4, 43200));
  entries.push_back(number("FNum", "ui8 ", 1, KeyTable::fanCount));
  entries.push_back(number("FRmn", "fpe2", 2, 1350));
  entries.push_back(number("ID0R", "flt ", 4, 1.52));
  entries.push_back(number("MSLD", "flag", 1, 0));
  entries.push_back(text("RPlt", "ch8*", 8, "j514"));
  entries.push_back(text("RVBF", "{rev", 6, std::string_view("\x02\x1F\x00\x00\x00\x07", 6)));
  entries.push_back(number("VD0R", "flt ", 4, 20.02));
  entries.push_back(number("VP0R", "flt ", 4, 12.48));
  entries.push_back(live(SMCKey::fromString("PDTR"), "flt ", 4, readOnly, KeySource::systemPower));
  entries.push_back(live(SMCKey::fromString("PHPC"), "flt ", 4, readOnly, KeySource::diePower));
  entries.push_back(live(SMCKey::fromString("PSTR"), "flt ", 4, readOnly, KeySource::systemPower));
}

}  // namespace

KeyTable::KeyTable() {
  entries_.push_back(live(SMCKey::fromString("#KEY"), "ui32", 4, readOnly, KeySource::keyCount));
  entries_.push_back(live(SMCKey::fanTestMode, "ui8 ", 1, readWrite, KeySource::fanTestFlag));
  const auto& sensors = sensorTraits();
  for (std::size_t index = 0; index < sensors.size(); ++index) {
    const std::uint32_t size = sensors[index].type == "sp78" ? 2 : 4;
    entries_.push_back(live(sensors[index].key, sensors[index].type, size, readOnly, KeySource::temperature, index));
  }
  for (int fan = 0; fan < fanCount; ++fan) {
    appendFan(entries_, fan);
  }
  appendImpostors(entries_);
  appendOthers(entries_);
  std::sort(entries_.begin(), entries_.end(),
            [](const KeyEntry& left, const KeyEntry& right) { return left.key < right.key; });
}

const KeyTable& KeyTable::shared() {
  static const KeyTable table;
  return table;
}

const KeyEntry* KeyTable::find(SMCKey key) const {
  const auto found = std::lower_bound(entries_.begin(), entries_.end(), key,
                                      [](const KeyEntry& entry, SMCKey wanted) { return entry.key < wanted; });
  return found != entries_.end() && found->key == key ? &*found : nullptr;
}

}  // namespace halcyra
