#pragma once

#include <string>
#include <utility>

namespace halcyra {

enum class LogLevel { debug, info, standard, error };

struct LogRecord {
  std::string subsystem;
  std::string category;
  LogLevel level = LogLevel::standard;
  std::string message;
};

/// Where log records go. Safe to use from any thread.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogRecord& record) = 0;
};

/// A sink with the subsystem and category of one component. Messages are complete texts; format them with fmt.
class Logger {
 public:
  Logger(LogSink& sink, std::string subsystem, std::string category)
      : sink_(&sink), subsystem_(std::move(subsystem)), category_(std::move(category)) {}

  void debug(std::string message) const { write(LogLevel::debug, std::move(message)); }
  void info(std::string message) const { write(LogLevel::info, std::move(message)); }
  /// The default level.
  void log(std::string message) const { write(LogLevel::standard, std::move(message)); }
  void error(std::string message) const { write(LogLevel::error, std::move(message)); }

 private:
  void write(LogLevel level, std::string message) const {
    sink_->write({subsystem_, category_, level, std::move(message)});
  }

  LogSink* sink_;
  std::string subsystem_;
  std::string category_;
};

}  // namespace halcyra
