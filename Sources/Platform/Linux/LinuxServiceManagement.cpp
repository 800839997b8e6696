#include "Platform/Linux/LinuxServiceManagement.h"

#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/LinuxFiles.h"
#include "Platform/Linux/LinuxPlatform.h"

namespace halcyra {

namespace {

constexpr unsigned publicFileMode = 0644;

std::string serviceName(const std::string& plistName) {
  constexpr std::string_view suffix = ".plist";
  return plistName.ends_with(suffix) ? plistName.substr(0, plistName.size() - suffix.size()) : plistName;
}

bool isProgram(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

/// Quoted as activation files and desktop entries understand it.
std::string quoted(const std::string& argument) {
  std::string result = "\"";
  for (const char character : argument) {
    if (std::string_view("\"\\$`").find(character) != std::string_view::npos) {
      result += '\\';
    }
    result += character;
  }
  return result + '"';
}

/// The Exec value of a desktop entry: percent signs start field codes, and the value is a string with escapes itself.
std::string desktopCommand(const std::string& program) {
  std::string result;
  for (const char character : quoted(program)) {
    if (character == '%' || character == '\\') {
      result += character;
    }
    result += character;
  }
  return result;
}

/// A plain string of a desktop entry.
std::string stringValue(const std::string& text) {
  std::string result;
  for (const char character : text) {
    result += character;
    if (character == '\\') {
      result += character;
    }
  }
  return result;
}

void removeFile(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::remove(path, error);
  if (error) {
    throw ServiceManagementError(fmt::format("The file “{}” couldn’t be removed: {}.", path.string(), error.message()));
  }
}

void writePublicFile(const std::filesystem::path& path, const std::string& content) {
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  writeFileAtomically(path, content, publicFileMode);
}

/// What one who may talk to the service may send it: the eight messages, and what shows them.
std::string allowedMessages(const std::string& service) {
  std::string result;
  for (const std::string_view member : {"Status", "BeginSession", "Heartbeat", "SetFanMode", "SetFanTargetRPM",
                                        "ResetAll", "EndSession", "PrepareForUninstall"}) {
    result += fmt::format("    <allow send_destination=\"{0}\" send_interface=\"{0}\" send_member=\"{1}\"/>\n", service,
                          member);
  }
  for (const std::string_view interface : {"Introspectable", "Properties", "Peer"}) {
    result += fmt::format("    <allow send_destination=\"{}\" send_interface=\"org.freedesktop.DBus.{}\"/>\n", service,
                          interface);
  }
  return result;
}

/// Nobody may talk to the service but root and this user.
std::string busPolicy(const std::string& service, std::uint32_t userID) {
  const std::string allowed = allowedMessages(service);
  const std::string user =
      userID == 0 ? std::string() : fmt::format("  <policy user=\"{}\">\n{}  </policy>\n", userID, allowed);
  return fmt::format(
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
      " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
      "<busconfig>\n"
      "  <policy context=\"default\">\n"
      "    <deny own=\"{0}\"/>\n"
      "    <deny send_destination=\"{0}\"/>\n"
      "  </policy>\n"
      "  <policy user=\"root\">\n"
      "    <allow own=\"{0}\"/>\n{1}"
      "  </policy>\n{2}"
      "</busconfig>\n",
      service, allowed, user);
}

bool contains(const std::filesystem::path& path, std::string_view text) {
  try {
    return readFile(path).find(text) != std::string::npos;
  } catch (const FileError&) {
    return false;
  }
}

}  // namespace

LinuxServiceManagement::LinuxServiceManagement(LinuxServiceManagementOptions options, LogSink& log)
    : options_(std::move(options)), log_(log), logger_(log, "com.norwick.Halcyra", "Registration") {}

std::filesystem::path LinuxServiceManagement::activationFile(const std::string& plistName) const {
  return options_.layout.servicesFolder / (serviceName(plistName) + ".service");
}

bool LinuxServiceManagement::isActivationPackaged(const std::string& plistName) const {
  const std::filesystem::path own = activationFile(plistName);
  std::error_code error;
  const auto& packaged = options_.layout.packagedServicesFolder;
  // An installation below /usr/local has its file where registering would write one; only the former names a unit.
  return (packaged && std::filesystem::exists(*packaged / own.filename(), error)) || contains(own, "\nSystemdService=");
}

int LinuxServiceManagement::daemonStatus(const std::string& plistName) const {
  const auto registration = readRegistration(options_.layout, log_);
  const bool isOurs = !options_.askAdministrator || (registration && registration->userID == options_.userID);
  const bool registered = registration && registration->plistName == plistName && isOurs;
  if (!isProgram(registered ? registration->program : options_.helperProgram)) {
    return notFound;
  }
  if (!registered) {
    return awaitsAdministrator_ ? requiresApproval : notRegistered;
  }
  if (registration->userID != 0 && !isApproved(options_.layout, registration->userID, log_)) {
    return requiresApproval;
  }
  std::error_code error;
  const bool canStart = isActivationPackaged(plistName) || std::filesystem::exists(activationFile(plistName), error);
  return canStart ? enabled : notRegistered;
}

void LinuxServiceManagement::registerDaemon(const std::string& plistName) {
  if (!isProgram(options_.helperProgram)) {
    throw ServiceManagementError(
        fmt::format("The helper program “{}” is missing or cannot be run.", options_.helperProgram.string()));
  }
  if (options_.askAdministrator) {
    awaitsAdministrator_ = true;
    return;
  }
  const auto earlier = readRegistration(options_.layout, log_);
  if (earlier && earlier->program == options_.helperProgram && daemonStatus(plistName) == enabled) {
    return;
  }
  const HelperRegistration registration{options_.userID, options_.helperProgram, plistName};
  if (earlier != registration) {
    // A record that is not believed keeps nothing, not even its mode.
    removeRegistration(options_.layout);
    writeRegistration(options_.layout, registration);
  }
  if (options_.userID == 0 || isApproved(options_.layout, options_.userID, log_)) {
    writeActivation(plistName, registration);
  } else if (!isActivationPackaged(plistName)) {
    removeFile(activationFile(plistName));
  }
}

void LinuxServiceManagement::unregisterDaemon(const std::string& plistName) {
  awaitsAdministrator_ = false;
  const auto registration = readRegistration(options_.layout, log_);
  if (registration && registration->plistName != plistName) {
    throw ServiceManagementError(fmt::format("The daemon “{}” is not registered.", plistName));
  }
  if (options_.askAdministrator && registration) {
    throw ServiceManagementError("An administrator removes the helper with: sudo aerovane-helper --unregister");
  }
  // First what starts it, so that a failure half-way leaves nothing that could be started.
  if (!isActivationPackaged(plistName)) {
    removeFile(activationFile(plistName));
  }
  removeRegistration(options_.layout);
  if (options_.layout.busPolicy) {
    removeFile(*options_.layout.busPolicy);
  }
}

void LinuxServiceManagement::approve(const std::string& plistName) {
  const auto registration = readRegistration(options_.layout, log_);
  if (!registration || registration->plistName != plistName) {
    throw ServiceManagementError("The helper is not registered; there is nothing to approve.");
  }
  if (registration->userID != 0) {
    recordApproval(options_.layout, registration->userID, log_);
  }
  writeActivation(plistName, *registration);
}

void LinuxServiceManagement::writeActivation(const std::string& plistName, const HelperRegistration& registration) {
  const std::string service = serviceName(plistName);
  std::string command = quoted(registration.program.string());
  std::string user;
  if (options_.layout.folder) {
    command += " --runtime-dir " + quoted(options_.layout.folder->string());
  } else {
    user = "User=root\n";
  }
  if (command.find('\n') != std::string::npos) {
    throw ServiceManagementError("The helper program’s path holds a line break.");
  }
  if (options_.layout.busPolicy) {
    writePublicFile(*options_.layout.busPolicy, busPolicy(service, registration.userID));
  }
  if (!isActivationPackaged(plistName)) {
    writePublicFile(activationFile(plistName),
                    fmt::format("[D-BUS Service]\nName={}\nExec={}\n{}", service, command, user));
  }
}

void LinuxServiceManagement::openSystemSettingsLoginItems() {
  if (options_.askAdministrator) {
    try {
      options_.askAdministrator();
    } catch (const LocalizedError& error) {
      logger_.error(error.errorDescription());
    }
    return;
  }
  const std::string folder =
      options_.layout.folder ? fmt::format(" --runtime-dir {}", options_.layout.folder->string()) : std::string();
  logger_.log(fmt::format("an administrator approves the helper with: aerovane{} --approve-helper", folder));
}

int LinuxServiceManagement::mainAppStatus() const {
  std::error_code error;
  return std::filesystem::exists(options_.autostartEntry, error) ? enabled : notRegistered;
}

void LinuxServiceManagement::registerMainApp() {
  const std::string program = options_.applicationProgram.string();
  const std::string command = desktopCommand(program);
  if (command.find('\n') != std::string::npos) {
    throw ServiceManagementError("The application’s path holds a line break.");
  }
  writePublicFile(options_.autostartEntry,
                  fmt::format("[Desktop Entry]\nType=Application\nName=Aerovane\nIcon=aerovane\nExec={}\nTryExec={}\n"
                              "X-GNOME-Autostart-enabled=true\n",
                              command, stringValue(program)));
}

void LinuxServiceManagement::unregisterMainApp() {
  removeFile(options_.autostartEntry);
}

std::filesystem::path autostartEntryPath() {
  return configurationFolder().parent_path() / "autostart" / "aerovane.desktop";
}

}  // namespace halcyra
