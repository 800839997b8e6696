#include <array>

#include "SMC/FanCapability.h"

namespace halcyra::CompetingFanControllerDetector {

namespace {

struct KnownExecutable {
  /// "/" and the file name of a privileged helper that writes the SMC; compared exactly.
  std::string_view suffix;
  std::string_view displayName;
};

constexpr std::array<KnownExecutable, 2> knownExecutableSuffixes{{
    {"/com.crystalidea.macsfancontrol.smcwrite", "Macs Fan Control"},
    {"/com.tunabellysoftware.tgfanhelper", "TG Pro"},
}};

}  // namespace

std::optional<std::string> controllerName(std::string_view executablePath) {
  for (const KnownExecutable& known : knownExecutableSuffixes) {
    if (executablePath.ends_with(known.suffix)) {
      return std::string(known.displayName);
    }
  }
  return std::nullopt;
}

std::optional<CompetingFanController> runningControllerDetails(const SystemInformation& system) {
  const std::int32_t ownProcess = system.processID();
  for (const std::int32_t process : system.listAllProcessIDs()) {
    if (process == ownProcess) {
      continue;
    }
    const std::optional<std::string> path = system.processPath(process);
    if (!path) {
      continue;
    }
    if (std::optional<std::string> name = controllerName(*path)) {
      return CompetingFanController{*name, *path, process};
    }
  }
  return std::nullopt;
}

std::optional<std::string> runningController(const SystemInformation& system) {
  const std::optional<CompetingFanController> details = runningControllerDetails(system);
  return details ? std::optional(details->name) : std::nullopt;
}

}  // namespace halcyra::CompetingFanControllerDetector
