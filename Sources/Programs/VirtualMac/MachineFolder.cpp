#include "Programs/VirtualMac/MachineFolder.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "fmt/format.h"

#include "Programs/VirtualMac/ChildProgram.h"

namespace halcyra {

namespace {

constexpr mode_t folderMode = 0755;

std::string firstBytes(int descriptor) {
  std::array<char, 32> buffer{};
  const ssize_t count = ::pread(descriptor, buffer.data(), buffer.size(), 0);
  std::string text(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  text.erase(std::min(text.find('\n'), text.size()));
  return text;
}

}  // namespace

MachineFolder::MachineFolder(const RuntimeLayout& layout) : record_(layout.machineProcessID) {
  const std::filesystem::path folder = record_.parent_path();
  std::error_code error;
  const bool made = std::filesystem::create_directories(folder, error);
  if (made) {
    ::chmod(folder.c_str(), folderMode);
  }
  descriptor_ = ::open(record_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (descriptor_ < 0) {
    throw VirtualMacError(fmt::format("The folder “{}” cannot be used: {}", folder.string(),
                                      error ? error.message() : std::generic_category().message(errno)));
  }
  if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    const std::string process = firstBytes(descriptor_);
    ::close(descriptor_);
    throw VirtualMacError(
        fmt::format("A simulated Mac is running in “{}” already (process {}).", folder.string(), process));
  }
  const std::string text = fmt::format("{}\n", ::getpid());
  if (::ftruncate(descriptor_, 0) != 0 ||
      ::pwrite(descriptor_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
    const int failure = errno;
    ::close(descriptor_);
    throw VirtualMacError(
        fmt::format("The file “{}” cannot be written: {}", record_.string(), std::generic_category().message(failure)));
  }
}

MachineFolder::~MachineFolder() {
  // Emptied, not removed: two machines that start at once must meet at the same file.
  [[maybe_unused]] const int result = ::ftruncate(descriptor_, 0);
  ::close(descriptor_);
}

}  // namespace halcyra
