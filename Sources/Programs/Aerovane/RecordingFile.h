#pragma once

#include <string>

namespace halcyra {

/// A new file that grows at its end.
class RecordingFile {
 public:
  /// Throws `FileError`, also for a file that exists already: a recording never replaces anything.
  explicit RecordingFile(std::string path);
  ~RecordingFile();
  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

  /// Throws `FileError`.
  void append(const std::string& text) const;

 private:
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace halcyra
