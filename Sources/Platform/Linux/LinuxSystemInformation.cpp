#include "Platform/Linux/LinuxSystemInformation.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/LinuxFiles.h"

namespace halcyra {

namespace {

constexpr const char* productNameFile = "/sys/devices/virtual/dmi/id/product_name";

std::optional<std::string> firstLine(const std::filesystem::path& path) {
  try {
    std::string text = readFile(path);
    text.erase(std::min(text.find('\n'), text.size()));
    return text.empty() ? std::nullopt : std::optional(text);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

/// What the process calls itself: the first of its arguments.
std::optional<std::string> ownName(std::int32_t processID) {
  const int descriptor = ::open(fmt::format("/proc/{}/cmdline", processID).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    return std::nullopt;
  }
  std::array<char, PATH_MAX> arguments;
  const ssize_t length = ::read(descriptor, arguments.data(), arguments.size());
  ::close(descriptor);
  if (length <= 0) {
    return std::nullopt;
  }
  const std::string_view all(arguments.data(), static_cast<std::size_t>(length));
  return std::string(all.substr(0, all.find('\0')));
}

struct FolderCloser {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

}  // namespace

LinuxSystemInformation::LinuxSystemInformation(std::filesystem::path hardwareModelFile,
                                               std::optional<std::filesystem::path> machineFolder)
    : hardwareModelFile_(std::move(hardwareModelFile)) {
  if (machineFolder) {
    // A process's own name has the folder as it was named; the kernel knows it without symbolic links.
    std::error_code error;
    const auto real = std::filesystem::weakly_canonical(*machineFolder, error);
    machineFolders_ = {machineFolder->string() + '/', (error ? *machineFolder : real).string() + '/'};
  }
}

bool LinuxSystemInformation::belongsToMachine(const std::string& path) const {
  const auto contains = [&](const std::string& folder) { return path.starts_with(folder); };
  return machineFolders_.empty() || std::any_of(machineFolders_.begin(), machineFolders_.end(), contains);
}

std::optional<std::string> LinuxSystemInformation::sysctlString(const std::string& name) const {
  if (name != "hw.model") {
    return std::nullopt;
  }
  auto model = firstLine(hardwareModelFile_);
  return model ? model : firstLine(productNameFile);
}

// Both are asked for every process every half second: no paths are made of what the kernel says.
std::vector<std::int32_t> LinuxSystemInformation::listAllProcessIDs() const {
  std::vector<std::int32_t> result;
  const std::unique_ptr<DIR, FolderCloser> folder(::opendir("/proc"));
  while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    std::int32_t number = 0;
    const auto [rest, parseError] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (parseError == std::errc() && rest == name.data() + name.size()) {
      result.push_back(number);
    }
  }
  return result;
}

std::optional<std::string> LinuxSystemInformation::processPath(std::int32_t processID) const {
  auto path = executablePath(processID);
  if (!path) {
    path = ownName(processID);
  }
  return path && belongsToMachine(*path) ? path : std::nullopt;
}

std::optional<std::string> LinuxSystemInformation::executablePath(std::int32_t processID) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = ::readlink(fmt::format("/proc/{}/exe", processID).c_str(), target.data(), target.size());
  if (length < 0) {
    return std::nullopt;
  }
  std::string_view path(target.data(), static_cast<std::size_t>(length));
  constexpr std::string_view deletedMark = " (deleted)";
  if (path.ends_with(deletedMark)) {
    path.remove_suffix(deletedMark.size());
  }
  return std::string(path);
}

std::int32_t LinuxSystemInformation::processID() const {
  return getpid();
}

}  // namespace halcyra
