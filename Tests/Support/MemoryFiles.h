#pragma once

#include <map>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/UserNotifications.h"

namespace halcyra::test {

class FileFailure : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return cocoaErrorDomain; }
  std::int64_t code() const override { return 4; }
};

/// Files in memory.
class MemoryFiles : public Files {
 public:
  /// Throws `FileFailure` for a file that is not there.
  std::string read(const std::string& path) override;
  void writeAtomically(const std::string& path, const std::string& content) override;

  std::map<std::string, std::string> contents;
  /// While set, reading or writing fails with this text; files stay as they are.
  std::optional<std::string> readError;
  std::optional<std::string> writeError;
};

}  // namespace halcyra::test
