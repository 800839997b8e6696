#pragma once

#include <memory>
#include <string>

#include "Platform/Log.h"

namespace halcyra {

/// `automatic`: the journal where there is one and standard error is no terminal, else standard error.
enum class LogDestination { automatic, standardError, journal, none };

/// One line per record: level, category and message; control characters in a message become blanks. Nobody waits for a
/// reader: what has no room at once is dropped, counted, and said before the next line that has.
class StandardErrorLogSink : public LogSink {
 public:
  /// Records below `minimum` are dropped.
  explicit StandardErrorLogSink(LogLevel minimum = LogLevel::info) : minimum_(minimum) {}
  void write(const LogRecord& record) override;

  static std::string line(const LogRecord& record);

 private:
  LogLevel minimum_;
};

/// The journal's native datagram protocol. A record that cannot be delivered at once goes to standard error.
class JournalLogSink : public LogSink {
 public:
  static constexpr const char* defaultSocket = "/run/systemd/journal/socket";

  explicit JournalLogSink(LogLevel minimum, std::string socketPath = defaultSocket);
  ~JournalLogSink() override;
  JournalLogSink(const JournalLogSink&) = delete;
  JournalLogSink& operator=(const JournalLogSink&) = delete;
  void write(const LogRecord& record) override;

  /// The datagram of one record.
  static std::string datagram(const LogRecord& record);

 private:
  LogLevel minimum_;
  std::string socketPath_;
  int socket_ = -1;
  StandardErrorLogSink fallback_;
};

std::unique_ptr<LogSink> makeLogSink(LogDestination destination, LogLevel minimum);

}  // namespace halcyra
