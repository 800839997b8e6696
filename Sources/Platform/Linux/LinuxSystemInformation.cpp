#include "Platform/Linux/LinuxSystemInformation.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

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

}  // namespace

LinuxSystemInformation::LinuxSystemInformation(std::filesystem::path hardwareModelFile)
    : hardwareModelFile_(std::move(hardwareModelFile)) {}

std::optional<std::string> LinuxSystemInformation::sysctlString(const std::string& name) const {
  if (name != "hw.model") {
    return std::nullopt;
  }
  auto model = firstLine(hardwareModelFile_);
  return model ? model : firstLine(productNameFile);
}

std::vector<std::int32_t> LinuxSystemInformation::listAllProcessIDs() const {
  std::vector<std::int32_t> result;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::int32_t number = 0;
    const auto [rest, parseError] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (parseError == std::errc() && rest == name.data() + name.size()) {
      result.push_back(number);
    }
  }
  return result;
}

std::optional<std::string> LinuxSystemInformation::processPath(std::int32_t processID) const {
  std::error_code error;
  const auto target = std::filesystem::read_symlink("/proc/" + std::to_string(processID) + "/exe", error);
  if (error) {
    return std::nullopt;
  }
  std::string path = target.string();
  constexpr std::string_view deletedMark = " (deleted)";
  if (path.ends_with(deletedMark)) {
    path.erase(path.size() - deletedMark.size());
  }
  return path;
}

std::int32_t LinuxSystemInformation::processID() const {
  return getpid();
}

}  // namespace halcyra
