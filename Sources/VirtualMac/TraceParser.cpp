#include "VirtualMac/TraceParser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "fmt/format.h"

#include "Platform/UntrustedText.h"
#include "VirtualMac/KeyTable.h"

namespace halcyra {

namespace {

constexpr double lowestTemperature = -40.0;
constexpr double highestTemperature = 125.0;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t start = text.find_first_not_of(blanks);
  return start == std::string_view::npos ? std::string_view()
                                         : text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

std::vector<std::string_view> cellsOf(std::string_view line) {
  std::vector<std::string_view> cells;
  while (true) {
    const std::size_t comma = line.find(',');
    cells.push_back(trimmed(line.substr(0, comma)));
    if (comma == std::string_view::npos) {
      return cells;
    }
    line.remove_prefix(comma + 1);
  }
}

/// A number for a message.
std::string shown(std::string_view cell) {
  constexpr std::size_t longestNumber = 24;
  return cell.size() > longestNumber ? quotedText(cell) : std::string(cell);
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool isFanColumn(std::string_view name) {
  return (name.size() == 4 && name[0] == 'F' && isDigit(name[1]) && name.substr(2) == "Ac") ||
         (name.size() == 4 && name.substr(0, 3) == "fan" && isDigit(name[3]));
}

}  // namespace

void TraceParser::fail(const std::string& why) const {
  throw WorkloadError(line_ == 0 ? why : fmt::format("line {}: {}", line_, why));
}

void TraceParser::parse(std::string_view text) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) {
    text.remove_prefix(byteOrderMark.size());
  }
  while (!text.empty()) {
    ++line_;
    const std::size_t end = text.find('\n');
    parseLine(trimmed(text.substr(0, end)));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  line_ = 0;
  if (columns_.empty()) {
    fail("it is empty");
  }
  if (trace_.times_.empty()) {
    fail("it has a header and no values");
  }
}

void TraceParser::parseLine(std::string_view line) {
  if (line.empty() || line.front() == '#') {
    return;
  }
  if (columns_.empty()) {
    parseHeader(line);
  } else {
    parseRow(line);
  }
}

void TraceParser::parseHeader(std::string_view line) {
  for (const std::string_view name : cellsOf(line)) {
    columns_.push_back(columnNamed(name));
  }
  checkColumns();
  assignPlaces();
}

TraceParser::Column TraceParser::columnNamed(std::string_view name) const {
  using Levels = WorkloadLevels;
  static const std::map<std::string_view, std::vector<double Levels::*>> loads{
      {"cpuA", {&Levels::cpuA}},
      {"cpuB", {&Levels::cpuB}},
      {"efficiency", {&Levels::efficiency}},
      {"gpuA", {&Levels::gpuA}},
      {"gpuB", {&Levels::gpuB}},
      {"cpu", {&Levels::cpuA, &Levels::cpuB, &Levels::efficiency}},
      {"gpu", {&Levels::gpuA, &Levels::gpuB}},
  };
  Column column;
  column.name = name;
  if (name == "time") {
    column.meaning = Meaning::time;
  } else if (const auto load = loads.find(name); load != loads.end()) {
    column.meaning = Meaning::load;
    column.levels = load->second;
  } else if (name.size() == 4 && name.front() == 'T') {
    column.meaning = Meaning::temperature;
    column.key = SMCKey::fromString(name);
    const KeyEntry* const entry = KeyTable::shared().find(column.key);
    if (entry == nullptr || entry->source != KeySource::temperature) {
      fail(fmt::format("the machine has no temperature key {}", quotedText(name)));
    }
  } else if (!isFanColumn(name)) {
    fail(name.empty() ? "a column has no name" : fmt::format("there is no column {}", quotedText(name)));
  }
  return column;
}

void TraceParser::checkColumns() const {
  bool hasTime = false;
  bool hasContent = false;
  std::vector<double WorkloadLevels::*> taken;
  for (std::size_t index = 0; index < columns_.size(); ++index) {
    const Column& column = columns_[index];
    hasTime = hasTime || column.meaning == Meaning::time;
    hasContent = hasContent || column.meaning == Meaning::load || column.meaning == Meaning::temperature;
    for (std::size_t other = 0; other < index; ++other) {
      if (columns_[other].name == column.name) {
        fail(fmt::format("the column {} is there twice", quotedText(column.name)));
      }
    }
    for (const auto level : column.levels) {
      if (std::find(taken.begin(), taken.end(), level) != taken.end()) {
        fail(fmt::format("the column {} repeats what another column says", quotedText(column.name)));
      }
      taken.push_back(level);
    }
  }
  if (!hasTime) {
    fail("there is no column \"time\"");
  }
  if (!hasContent) {
    fail("there is neither a load nor a temperature column");
  }
}

void TraceParser::assignPlaces() {
  for (const Column& column : columns_) {
    if (column.meaning == Meaning::temperature) {
      trace_.keys_.push_back(column.key);
    }
  }
  std::sort(trace_.keys_.begin(), trace_.keys_.end());
  for (Column& column : columns_) {
    const auto place = std::lower_bound(trace_.keys_.begin(), trace_.keys_.end(), column.key);
    column.place = static_cast<std::size_t>(place - trace_.keys_.begin());
  }
}

void TraceParser::parseRow(std::string_view line) {
  const auto cells = cellsOf(line);
  if (cells.size() != columns_.size()) {
    fail(fmt::format("there are {} values for {} columns", cells.size(), columns_.size()));
  }
  const std::size_t keyCount = trace_.keys_.size();
  const std::size_t used = trace_.temperatures_.size();
  trace_.temperatures_.resize(used + keyCount, std::numeric_limits<double>::quiet_NaN());
  if (used >= keyCount) {
    std::copy_n(trace_.temperatures_.begin() + static_cast<std::ptrdiff_t>(used - keyCount), keyCount,
                trace_.temperatures_.begin() + static_cast<std::ptrdiff_t>(used));
  }
  WorkloadLevels levels;
  for (std::size_t index = 0; index < cells.size(); ++index) {
    storeCell(columns_[index], cells[index], levels);
  }
  trace_.levels_.push_back(levels);
}

void TraceParser::storeCell(const Column& column, std::string_view cell, WorkloadLevels& levels) {
  switch (column.meaning) {
    case Meaning::time:
      storeTime(column, cell);
      return;
    case Meaning::load: {
      const double level = number(column, cell);
      if (level < 0 || level > 1) {
        fail(fmt::format("the load {} = {} is outside 0...1", column.name, shown(cell)));
      }
      for (const auto member : column.levels) {
        levels.*member = level;
      }
      return;
    }
    case Meaning::temperature: {
      if (cell.empty()) {
        return;
      }
      const double celsius = number(column, cell);
      if (celsius < lowestTemperature || celsius > highestTemperature) {
        fail(fmt::format("the temperature {} = {} is outside -40...125", column.name, shown(cell)));
      }
      trace_.temperatures_[trace_.temperatures_.size() - trace_.keys_.size() + column.place] = celsius;
      return;
    }
    case Meaning::ignored:
      if (!cell.empty()) {
        static_cast<void>(number(column, cell));
      }
  }
}

void TraceParser::storeTime(const Column& column, std::string_view cell) {
  const double time = number(column, cell);
  if (trace_.times_.empty()) {
    firstTime_ = time;
  } else if (time - firstTime_ <= trace_.times_.back()) {
    fail(fmt::format("the time {} does not come after the one before", shown(cell)));
  } else if (!std::isfinite(time - firstTime_)) {
    fail(fmt::format("the time {} is too long after the first one", shown(cell)));
  }
  trace_.times_.push_back(time - firstTime_);
}

double TraceParser::number(const Column& column, std::string_view cell) const {
  double value = 0;
  const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (error != std::errc() || end != cell.data() + cell.size() || !std::isfinite(value)) {
    fail(fmt::format("{} = {} is no number", column.name, quotedText(cell)));
  }
  return value;
}

}  // namespace halcyra
