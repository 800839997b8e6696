#include "Platform/POSIX/POSIXFiles.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "fmt/format.h"

namespace halcyra {

namespace {

FileError failure(const std::filesystem::path& path, const char* what, int error) {
  return FileError(
      fmt::format("The file “{}” couldn’t be {}: {}.", path.string(), what, std::generic_category().message(error)));
}

/// The system's words for a pipe or a device would be "Invalid argument".
FileError notRegular(const std::filesystem::path& path, const char* what, mode_t mode) {
  return S_ISDIR(mode)
             ? failure(path, what, EISDIR)
             : FileError(fmt::format("The file “{}” couldn’t be {}: It is not a regular file.", path.string(), what));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }

 private:
  int number_;
};

void writeAll(int descriptor, std::string_view content, const std::filesystem::path& path) {
  while (!content.empty()) {
    const ssize_t count = ::write(descriptor, content.data(), content.size());
    if (count < 0) {
      if (errno == EINTR) continue;
      throw failure(path, "written", errno);
    }
    content.remove_prefix(static_cast<std::size_t>(count));
  }
}

void syncFolder(const std::filesystem::path& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.get() >= 0) {
    ::fsync(descriptor.get());
  }
}

bool makeDurable(int descriptor) {
#ifdef F_FULLFSYNC
  // There `fsync` leaves the content in the drive's own cache; file systems without such a cache refuse the stricter
  // call.
  if (::fcntl(descriptor, F_FULLFSYNC) == 0) return true;
#endif
  return ::fsync(descriptor) == 0;
}

void fillTemporary(int descriptor, std::string_view content, unsigned mode, const std::filesystem::path& path) {
  if (::fchmod(descriptor, static_cast<mode_t>(mode)) != 0) {
    throw failure(path, "written", errno);
  }
  writeAll(descriptor, content, path);
  if (!makeDurable(descriptor)) {
    throw failure(path, "written", errno);
  }
}

}  // namespace

std::string readFile(const std::filesystem::path& path) {
  // A pipe must not block the caller, nor a device fill its memory.
  const Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (descriptor.get() < 0 || ::fstat(descriptor.get(), &status) != 0) {
    throw failure(path, "opened", errno);
  }
  if (!S_ISREG(status.st_mode)) {
    throw notRegular(path, "read", status.st_mode);
  }
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t count = ::read(descriptor.get(), buffer, sizeof buffer);
    if (count == 0) {
      return content;
    }
    if (count < 0) {
      if (errno == EINTR) continue;
      throw failure(path, "read", errno);
    }
    content.append(buffer, static_cast<std::size_t>(count));
    if (content.size() > largestFile) {
      throw failure(path, "read", EFBIG);
    }
  }
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view content, unsigned mode) {
  struct stat existing {};
  if (::stat(path.c_str(), &existing) == 0) {
    if (!S_ISREG(existing.st_mode)) {
      throw notRegular(path, "written", existing.st_mode);
    }
    mode = existing.st_mode & 0777;
  }
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const Descriptor descriptor(::mkostemp(temporary.data(), O_CLOEXEC));
  if (descriptor.get() < 0) {
    throw failure(path, "written", errno);
  }
  try {
    fillTemporary(descriptor.get(), content, mode, path);
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
      throw failure(path, "written", errno);
    }
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  syncFolder(folder);
}

}  // namespace halcyra
