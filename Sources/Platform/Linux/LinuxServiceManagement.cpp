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

std::string busPolicy(const std::string& service) {
  return fmt::format(
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
      " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
      "<busconfig>\n"
      "  <policy user=\"root\"><allow own=\"{0}\"/></policy>\n"
      "  <policy context=\"default\"><allow send_destination=\"{0}\"/></policy>\n"
      "</busconfig>\n",
      service);
}

}  // namespace

LinuxServiceManagement::LinuxServiceManagement(LinuxServiceManagementOptions options, LogSink& log)
    : options_(std::move(options)), log_(log), logger_(log, "com.norwick.Halcyra", "Registration") {}

std::filesystem::path LinuxServiceManagement::activationFile(const std::string& plistName) const {
  return options_.layout.servicesFolder / (serviceName(plistName) + ".service");
}

int LinuxServiceManagement::daemonStatus(const std::string& plistName) const {
  const auto registration = readRegistration(options_.layout, log_);
  const bool registered = registration && registration->plistName == plistName;
  if (!isProgram(registered ? registration->program : options_.helperProgram)) {
    return notFound;
  }
  if (!registered) {
    return notRegistered;
  }
  if (registration->userID != 0 && !isApproved(options_.layout, registration->userID, log_)) {
    return requiresApproval;
  }
  std::error_code error;
  return std::filesystem::exists(activationFile(plistName), error) ? enabled : notRegistered;
}

void LinuxServiceManagement::registerDaemon(const std::string& plistName) {
  if (!isProgram(options_.helperProgram)) {
    throw ServiceManagementError(
        fmt::format("The helper program “{}” is missing or cannot be run.", options_.helperProgram.string()));
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
    writeActivation(plistName, options_.helperProgram);
  } else {
    removeFile(activationFile(plistName));
  }
}

void LinuxServiceManagement::unregisterDaemon(const std::string& plistName) {
  const auto registration = readRegistration(options_.layout, log_);
  if (registration && registration->plistName != plistName) {
    throw ServiceManagementError(fmt::format("The daemon “{}” is not registered.", plistName));
  }
  // First what starts it, so that a failure half-way leaves nothing that could be started.
  removeFile(activationFile(plistName));
  removeRegistration(options_.layout);
}

void LinuxServiceManagement::approve(const std::string& plistName) {
  const auto registration = readRegistration(options_.layout, log_);
  if (!registration || registration->plistName != plistName) {
    throw ServiceManagementError("The helper is not registered; there is nothing to approve.");
  }
  if (registration->userID != 0) {
    recordApproval(options_.layout, registration->userID, log_);
  }
  writeActivation(plistName, registration->program);
}

void LinuxServiceManagement::writeActivation(const std::string& plistName, const std::filesystem::path& program) {
  const std::string service = serviceName(plistName);
  std::string command = quoted(program.string());
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
    writePublicFile(*options_.layout.busPolicy, busPolicy(service));
  }
  writePublicFile(activationFile(plistName),
                  fmt::format("[D-BUS Service]\nName={}\nExec={}\n{}", service, command, user));
}

void LinuxServiceManagement::openSystemSettingsLoginItems() {
  if (options_.openSettings) {
    options_.openSettings();
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
  const std::string command = desktopCommand(options_.applicationProgram.string());
  if (command.find('\n') != std::string::npos) {
    throw ServiceManagementError("The application’s path holds a line break.");
  }
  writePublicFile(options_.autostartEntry, fmt::format("[Desktop Entry]\nType=Application\nName=Aerovane\nExec={}\n"
                                                       "X-GNOME-Autostart-enabled=true\n",
                                                       command));
}

void LinuxServiceManagement::unregisterMainApp() {
  removeFile(options_.autostartEntry);
}

std::filesystem::path autostartEntryPath() {
  return configurationFolder().parent_path() / "autostart" / "aerovane.desktop";
}

}  // namespace halcyra
