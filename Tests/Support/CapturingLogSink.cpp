#include "Support/CapturingLogSink.h"

#include <algorithm>

namespace halcyra::test {

void CapturingLogSink::write(const LogRecord& record) {
  const std::lock_guard lock(mutex_);
  records_.push_back(record);
}

std::vector<LogRecord> CapturingLogSink::records() const {
  const std::lock_guard lock(mutex_);
  return records_;
}

std::vector<std::string> CapturingLogSink::messages(std::optional<LogLevel> level) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> result;
  for (const LogRecord& record : records_) {
    if (record.level == level.value_or(record.level)) result.push_back(record.message);
  }
  return result;
}

std::size_t CapturingLogSink::count(std::string_view text) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(records_.begin(), records_.end(), [&](const LogRecord& record) {
    return record.message.find(text) != std::string::npos;
  }));
}

void CapturingLogSink::clear() {
  const std::lock_guard lock(mutex_);
  records_.clear();
}

}  // namespace halcyra::test
