#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Log.h"

namespace halcyra::test {

/// Keeps what is logged. Any thread.
class CapturingLogSink : public LogSink {
 public:
  void write(const LogRecord& record) override;

  std::vector<LogRecord> records() const;
  /// Of every level, or of one.
  std::vector<std::string> messages(std::optional<LogLevel> level = std::nullopt) const;
  /// How many messages contain `text`.
  std::size_t count(std::string_view text) const;
  bool contains(std::string_view text) const { return count(text) > 0; }
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

}  // namespace halcyra::test
