#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "Platform/UntrustedText.h"
#include "VirtualMac/Fault.h"
#include "VirtualMac/FaultCommands.h"
#include "VirtualMac/KeyTable.h"
#include "VirtualMac/VirtualFan.h"

namespace halcyra {

namespace {

using Words = std::vector<std::string_view>;

/// A fault is kept, and told, in the words that made it.
constexpr std::size_t longestWord = 32;

[[noreturn]] void fail(const FaultCommand& command, const std::string& why) {
  throw FaultError(fmt::format("{}: {}; usage: {}", command.name, why, command.syntax));
}

const KeyEntry& knownKey(const FaultCommand& command, std::string_view word) {
  const KeyEntry* const entry = word.size() == 4 ? KeyTable::shared().find(SMCKey::fromString(word)) : nullptr;
  if (entry == nullptr) {
    fail(command, fmt::format("the machine has no key {}", quotedText(word)));
  }
  return *entry;
}

double numberBetween(const FaultCommand& command, std::string_view word, double least, double most,
                     std::string_view what) {
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(value)) {
    fail(command, fmt::format("{} is no number", quotedText(word)));
  }
  if (value < least || value > most) {
    fail(command, fmt::format("{} {} is outside {}...{}", what, word, least, most));
  }
  return value;
}

std::uint32_t integerBetween(const FaultCommand& command, std::string_view word, std::uint32_t least,
                             std::uint32_t most, std::string_view what) {
  const bool hexadecimal = word.starts_with("0x") || word.starts_with("0X");
  const std::string_view digits = hexadecimal ? word.substr(2) : word;
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size()) {
    fail(command, fmt::format("{} is no whole number", quotedText(word)));
  }
  if (error != std::errc() || value < least || value > most) {
    fail(command, fmt::format("{} {} is outside {}...{}", what, word, least, most));
  }
  return value;
}

void parseReading(const FaultCommand& command, const Words& words, Fault& fault) {
  const KeyEntry& entry = knownKey(command, words[1]);
  fault.key = entry.key;
  if ((fault.kind == FaultKind::nan || fault.kind == FaultKind::inf) && entry.type != "flt ") {
    fail(command, fmt::format("{} is of type \"{}\", which has no such value", words[1], entry.type));
  }
  if (fault.kind != FaultKind::value && fault.kind != FaultKind::jump) {
    return;
  }
  if (!isNumericType(entry.type)) {
    fail(command, fmt::format("{} is of type \"{}\", which is no number", words[1], entry.type));
  }
  const NumericRange range = rangeOfType(entry.type);
  const double width = range.greatest - range.least;
  fault.number = fault.kind == FaultKind::value
                     ? numberBetween(command, words[2], range.least, range.greatest, "the value")
                     : numberBetween(command, words[2], -width, width, "the jump");
}

void parseResult(const FaultCommand& command, const Words& words, Fault& fault) {
  fault.key = knownKey(command, words[1]).key;
  fault.firmwareResult = static_cast<std::uint8_t>(integerBetween(command, words[2], 1, 0xFF, "the result"));
  if (words.size() > 3) {
    fault.remaining = integerBetween(command, words[3], 1, 1'000'000, "the number of calls");
  }
}

void parseSetMode(const FaultCommand& command, const Words& words, Fault& fault) {
  const bool named = words[1].starts_with("F") || words[1].starts_with("f");
  fault.fan = static_cast<int>(
      integerBetween(command, named ? words[1].substr(1) : words[1], 0, KeyTable::fanCount - 1, "the fan"));
  if (words[2] == "automatic") {
    fault.mode = VirtualFan::automaticMode;
  } else if (words[2] == "manual") {
    fault.mode = VirtualFan::manualMode;
  } else {
    fault.mode = static_cast<std::uint8_t>(integerBetween(command, words[2], 0, 3, "the mode"));
  }
  if (fault.mode == 2) {
    fail(command, "the firmware has no mode 2");
  }
  if (words.size() > 3) {
    fault.target = numberBetween(command, words[3], 0, 20000, "the target");
  }
}

void parseNeverLatch(const FaultCommand& command, const Words& words, Fault& fault) {
  const KeyEntry& entry = knownKey(command, words[1]);
  fault.key = entry.key;
  if (entry.source != KeySource::fanMode && entry.source != KeySource::fanTarget) {
    fail(command, fmt::format("{} is neither a fan's mode nor its target", words[1]));
  }
}

void parseArguments(const FaultCommand& command, const Words& words, Fault& fault) {
  switch (fault.kind) {
    case FaultKind::result:
    case FaultKind::resultRead:
      parseResult(command, words, fault);
      break;
    case FaultKind::neverLatch:
      parseNeverLatch(command, words, fault);
      break;
    case FaultKind::setMode:
      parseSetMode(command, words, fault);
      break;
    case FaultKind::latchDelay:
      fault.number = numberBetween(command, words[1], 0, 3600, "the delay");
      break;
    case FaultKind::slow:
      fault.number = numberBetween(command, words[1], 0, 60000, "the delay");
      break;
    case FaultKind::ambient:
      fault.number = numberBetween(command, words[1], -20, 60, "the temperature");
      break;
    case FaultKind::spike:
      fault.number = numberBetween(command, words[1], 0, 150, "the temperature");
      fault.seconds = numberBetween(command, words[2], 0.1, 3600, "the duration");
      break;
    case FaultKind::refuseWrites:
    case FaultKind::driverGone:
      break;
    default:
      parseReading(command, words, fault);
  }
}

}  // namespace

const std::vector<FaultCommand>& faultCommands() {
  static const std::vector<FaultCommand> commands{
      {FaultKind::vanish, "vanish", "vanish KEY", "the key is not found any more", 1, 1},
      {FaultKind::garbage, "garbage", "garbage KEY", "reads return random bytes", 1, 1},
      {FaultKind::value, "value", "value KEY NUMBER", "reads return this number", 2, 2},
      {FaultKind::nan, "nan", "nan KEY", "reads return not-a-number", 1, 1},
      {FaultKind::inf, "inf", "inf KEY", "reads return infinity", 1, 1},
      {FaultKind::freeze, "freeze", "freeze KEY", "reads return what the key holds now", 1, 1},
      {FaultKind::jump, "jump", "jump KEY NUMBER", "reads return that much more than the truth", 2, 2},
      {FaultKind::neverLatch, "never-latch", "never-latch KEY", "writes of F?Md or F?Tg are accepted, without effect",
       1, 1},
      {FaultKind::latchDelay, "latch-delay", "latch-delay SECONDS", "later writes take effect after this time", 1, 1},
      {FaultKind::result, "result", "result KEY RESULT [COUNT]",
       "the next writes of the key are answered with this firmware result, without COUNT for ever", 2, 3},
      {FaultKind::resultRead, "result-read", "result-read KEY RESULT [COUNT]", "the same for reads", 2, 3},
      {FaultKind::refuseWrites, "refuse-writes", "refuse-writes", "the driver permits no write", 0, 0},
      {FaultKind::slow, "slow", "slow MILLISECONDS", "every call takes this long", 1, 1},
      {FaultKind::driverGone, "driver-gone", "driver-gone", "there is no driver", 0, 0},
      {FaultKind::spike, "spike", "spike CELSIUS SECONDS", "every die is this hot for this time", 2, 2},
      {FaultKind::ambient, "ambient", "ambient CELSIUS", "the air around the machine", 1, 1},
      {FaultKind::setMode, "set-mode", "set-mode FAN MODE [RPM]",
       "another party sets the fan (0, 1) to mode 0, 1 or 3, with a target", 2, 3},
  };
  return commands;
}

const FaultCommand* findFaultCommand(std::string_view name) {
  const std::string_view wanted = name == "mode" ? "set-mode" : name;
  const auto& commands = faultCommands();
  const auto found =
      std::find_if(commands.begin(), commands.end(), [&](const auto& command) { return command.name == wanted; });
  return found == commands.end() ? nullptr : &*found;
}

std::vector<std::string_view> wordsOf(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  Words words;
  std::size_t start = text.find_first_not_of(blanks);
  while (start != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(blanks, start), text.size());
    words.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(blanks, end);
  }
  return words;
}

Fault parseFault(std::string_view text) {
  const Words words = wordsOf(text);
  if (words.empty()) {
    throw FaultError("A fault command is missing");
  }
  const FaultCommand* const command = findFaultCommand(words[0]);
  if (command == nullptr) {
    throw FaultError(fmt::format("There is no fault command {}", quotedText(words[0])));
  }
  const auto arguments = words.size() - 1;
  if (arguments < command->leastArguments || arguments > command->mostArguments) {
    fail(*command, arguments < command->leastArguments ? "something is missing" : "there is too much");
  }
  const auto tooLong = std::find_if(words.begin(), words.end(), [](auto word) { return word.size() > longestWord; });
  if (tooLong != words.end()) {
    fail(*command, fmt::format("{} is too long", quotedText(*tooLong)));
  }
  Fault fault;
  fault.kind = command->kind;
  fault.text = fmt::format("{}", fmt::join(words, " "));
  parseArguments(*command, words, fault);
  return fault;
}

}  // namespace halcyra
