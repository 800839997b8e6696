#include "Programs/Aerovane/RecordingFile.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/POSIX/POSIXFiles.h"

namespace halcyra {

namespace {

FileError failure(const std::string& path, const char* what) {
  const std::string reason = std::generic_category().message(errno);
  return FileError(fmt::format("The file “{}” couldn’t be {}: {}.", path, what, reason));
}

}  // namespace

RecordingFile::RecordingFile(std::string path)
    : path_(std::move(path)), descriptor_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644)) {
  if (descriptor_ < 0) {
    throw failure(path_, "created");
  }
}

RecordingFile::~RecordingFile() {
  ::close(descriptor_);
}

void RecordingFile::append(const std::string& text) const {
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0) {
      if (errno == EINTR) continue;
      throw failure(path_, "written");
    }
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace halcyra
