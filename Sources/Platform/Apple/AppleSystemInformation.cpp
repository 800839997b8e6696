#include "Platform/Apple/AppleSystemInformation.h"

#include <array>
#include <libproc.h>
#include <sys/sysctl.h>
#include <unistd.h>

namespace halcyra {

std::optional<std::string> AppleSystemInformation::sysctlString(const std::string& name) const {
  std::size_t size = 0;
  if (sysctlbyname(name.c_str(), nullptr, &size, nullptr, 0) != 0) return std::nullopt;
  std::string text(size, '\0');
  if (sysctlbyname(name.c_str(), text.data(), &size, nullptr, 0) != 0) return std::nullopt;
  text.resize(size);
  // The zero that ends the value is counted.
  text.erase(std::min(text.find('\0'), text.size()));
  return text.empty() ? std::nullopt : std::optional(text);
}

std::vector<std::int32_t> AppleSystemInformation::listAllProcessIDs() const {
  // Processes may be started between the two calls.
  constexpr int spare = 64;
  const int expected = proc_listallpids(nullptr, 0);
  if (expected <= 0) return {};
  std::vector<std::int32_t> result(static_cast<std::size_t>(expected + spare));
  const int count = proc_listallpids(result.data(), static_cast<int>(result.size() * sizeof(std::int32_t)));
  result.resize(count > 0 ? std::min(static_cast<std::size_t>(count), result.size()) : 0);
  return result;
}

std::optional<std::string> AppleSystemInformation::processPath(std::int32_t processID) const {
  std::array<char, PROC_PIDPATHINFO_MAXSIZE> text{};
  int length = proc_pidpath(processID, text.data(), text.size());
  if (length <= 0) length = proc_name(processID, text.data(), text.size());
  if (length <= 0) return std::nullopt;
  return std::string(text.data(), static_cast<std::size_t>(length));
}

std::int32_t AppleSystemInformation::processID() const {
  return getpid();
}

}  // namespace halcyra
