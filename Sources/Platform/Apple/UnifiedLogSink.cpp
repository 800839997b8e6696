#include "Platform/Apple/UnifiedLogSink.h"

#include <array>
#include <cstdio>
#include <os/log.h>
#include <string_view>

#include "fmt/format.h"

#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

os_log_type_t logType(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return OS_LOG_TYPE_DEBUG;
    case LogLevel::info:
      return OS_LOG_TYPE_INFO;
    case LogLevel::standard:
      return OS_LOG_TYPE_DEFAULT;
    case LogLevel::error:
      return OS_LOG_TYPE_ERROR;
  }
  return OS_LOG_TYPE_DEFAULT;
}

void writeToStandardError(const LogRecord& record) {
  constexpr std::array<std::string_view, 4> names{"debug", "info", "notice", "error"};
  const std::string line = onOneLine(fmt::format("{} [{}] {}", names[static_cast<std::size_t>(record.level)],
                                                 record.category, record.message)) +
                           '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

void UnifiedLogSink::write(const LogRecord& record) {
  const auto log = static_cast<os_log_t>(logNamed(record.subsystem, record.category));
  os_log_with_type(log, logType(record.level), "%{public}s", record.message.c_str());
  if (standardErrorFrom_ && record.level >= *standardErrorFrom_) writeToStandardError(record);
}

void* UnifiedLogSink::logNamed(const std::string& subsystem, const std::string& category) {
  const std::lock_guard lock(mutex_);
  void*& log = logs_[{subsystem, category}];
  if (log == nullptr) log = os_log_create(subsystem.c_str(), category.c_str());
  return log;
}

}  // namespace halcyra
