#pragma once

#include <filesystem>

namespace halcyra::fuzz {

/// A folder of this process's own, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// Removes what is in it.
  void clear() const;

 private:
  std::filesystem::path path_;
};

}  // namespace halcyra::fuzz
