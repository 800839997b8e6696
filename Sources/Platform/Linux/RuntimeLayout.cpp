#include "Platform/Linux/RuntimeLayout.h"

#include <algorithm>
#include <string_view>
#include <sys/un.h>

#include "fmt/format.h"

namespace halcyra {

namespace {

constexpr std::string_view lockFileName = "com.norwick.Halcyra.fan-control.lock";

/// Escapes a value in a D-Bus address.
std::string busAddressValue(const std::string& text) {
  constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_/.\\*";
  std::string result;
  for (const char character : text) {
    if (plain.find(character) != std::string_view::npos) {
      result += character;
    } else {
      result += fmt::format("%{:02x}", static_cast<unsigned char>(character));
    }
  }
  return result;
}

void checkFolder(const std::filesystem::path& folder, const std::filesystem::path& longestSocket) {
  const std::string& text = folder.native();
  if (std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; })) {
    throw RuntimeLayoutError("The runtime folder's path holds a control character.");
  }
  // One byte stays for the terminating zero.
  constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1;
  if (longestSocket.native().size() > longestPath) {
    throw RuntimeLayoutError(fmt::format(
        "The runtime folder “{}” has too long a path: a socket's path may have {} bytes.", text, longestPath));
  }
}

}  // namespace

RuntimeLayout RuntimeLayout::inFolder(const std::filesystem::path& folder) {
  if (folder.empty()) {
    throw RuntimeLayoutError("The runtime folder has no name.");
  }
  std::filesystem::path base = std::filesystem::absolute(folder).lexically_normal();
  if (!base.has_filename()) {
    base = base.parent_path();
  }
  RuntimeLayout layout;
  layout.folder = base;
  layout.smcSocket = base / "smc.sock";
  layout.controlSocket = base / "control.sock";
  layout.busSocket = base / "bus";
  layout.busAddress = "unix:path=" + busAddressValue(layout.busSocket.string());
  layout.busConfiguration = base / "bus.conf";
  layout.servicesFolder = base / "services";
  layout.registration = base / "registration.json";
  layout.approval = base / "approval.json";
  layout.hardwareModel = base / "hw.model";
  layout.lockFile = base / lockFileName;
  layout.machineProcessID = base / "virtual-mac.pid";
  checkFolder(base, layout.controlSocket);
  return layout;
}

RuntimeLayout RuntimeLayout::system() {
  const std::filesystem::path volatileFolder = "/run/aerovane";
  const std::filesystem::path recordFolder = "/var/lib/aerovane";
  RuntimeLayout layout;
  layout.smcSocket = volatileFolder / "smc.sock";
  layout.controlSocket = volatileFolder / "control.sock";
  layout.servicesFolder = "/usr/local/share/dbus-1/system-services";
  layout.packagedServicesFolder = "/usr/share/dbus-1/system-services";
  layout.busPolicy = "/etc/dbus-1/system.d/com.norwick.Halcyra.helper.conf";
  layout.registration = recordFolder / "registration.json";
  layout.approval = recordFolder / "approval.json";
  layout.hardwareModel = volatileFolder / "hw.model";
  layout.lockFile = std::filesystem::path("/var/run") / lockFileName;
  layout.machineProcessID = volatileFolder / "virtual-mac.pid";
  return layout;
}

std::filesystem::path siblingProgram(const std::string& name) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) {
    return name;
  }
  const std::filesystem::path folder = self.parent_path();
  const std::filesystem::path inLibexec = folder.parent_path() / "libexec" / name;
  const bool isElsewhere = !std::filesystem::exists(folder / name, error) && std::filesystem::exists(inLibexec, error);
  return isElsewhere ? inLibexec : folder / name;
}

}  // namespace halcyra
