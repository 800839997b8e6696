#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "Platform/Error.h"
#include "Platform/UserNotifications.h"

namespace halcyra {

class FileError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.Files"; }
};

/// In bytes.
inline constexpr std::size_t largestFile = std::size_t{64} << 20;

/// The whole file, which must be a regular one (or a link to one) of at most `largestFile`. Throws `FileError`.
std::string readFile(const std::filesystem::path& path);

/// Replaces the file as one step and makes it durable: afterwards it holds the old content or the new one. A new file
/// gets `mode` as it is; an existing one keeps its mode. Throws `FileError`.
void writeFileAtomically(const std::filesystem::path& path, std::string_view content, unsigned mode);

class POSIXFiles : public Files {
 public:
  std::string read(const std::string& path) override { return readFile(path); }
  void writeAtomically(const std::string& path, const std::string& content) override {
    writeFileAtomically(path, content, 0644);
  }
};

}  // namespace halcyra
