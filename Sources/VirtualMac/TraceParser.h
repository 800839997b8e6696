#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "VirtualMac/TraceWorkload.h"

namespace halcyra {

/// Fills a trace from its text.
class TraceParser {
 public:
  explicit TraceParser(TraceWorkload& trace) : trace_(trace) {}

  /// Throws `WorkloadError` naming the line; to be called once.
  void parse(std::string_view text);

 private:
  enum class Meaning { time, load, temperature, ignored };
  struct Column {
    Meaning meaning = Meaning::ignored;
    std::string name;
    /// `load`: which levels it sets.
    std::vector<double WorkloadLevels::*> levels;
    SMCKey key;
    /// `temperature`: its place among the keys.
    std::size_t place = 0;
  };

  [[noreturn]] void fail(const std::string& why) const;
  void parseLine(std::string_view line);
  void parseHeader(std::string_view line);
  Column columnNamed(std::string_view name) const;
  void checkColumns() const;
  void assignPlaces();
  void parseRow(std::string_view line);
  void storeCell(const Column& column, std::string_view cell, WorkloadLevels& levels);
  void storeTime(const Column& column, std::string_view cell);
  double number(const Column& column, std::string_view cell) const;

  TraceWorkload& trace_;
  std::vector<Column> columns_;
  std::size_t line_ = 0;
  double firstTime_ = 0;
};

}  // namespace halcyra
