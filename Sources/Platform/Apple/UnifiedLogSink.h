#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Log.h"

namespace halcyra {

/// The unified log, under each record's own subsystem and category. A program on a terminal shows its records there as
/// well: one line each, from a level on.
class UnifiedLogSink : public LogSink {
 public:
  explicit UnifiedLogSink(std::optional<LogLevel> standardErrorFrom = std::nullopt)
      : standardErrorFrom_(standardErrorFrom) {}
  void write(const LogRecord& record) override;

 private:
  using Name = std::pair<std::string, std::string>;

  /// The system keeps a log object for the life of the process; so does this.
  void* logNamed(const std::string& subsystem, const std::string& category);

  const std::optional<LogLevel> standardErrorFrom_;
  std::mutex mutex_;
  std::map<Name, void*> logs_;
};

}  // namespace halcyra
