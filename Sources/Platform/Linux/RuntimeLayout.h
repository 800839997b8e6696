#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Platform/Error.h"

namespace halcyra {

class RuntimeLayoutError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.RuntimeLayout"; }
};

/// Where the processes of one machine meet: the sockets, the message bus and the records. A simulated machine keeps
/// everything in one folder, so that any number of them live side by side; a real one uses the system's places.
struct RuntimeLayout {
  /// The layout of a simulated machine in `folder` (made absolute; need not exist). Throws `RuntimeLayoutError` when
  /// the path is empty, too long for the sockets in it, or holds a control character.
  static RuntimeLayout inFolder(const std::filesystem::path& folder);
  /// The layout of the real machine.
  static RuntimeLayout system();

  /// Nothing on a real machine.
  std::optional<std::filesystem::path> folder;
  /// The SMC driver's SOCK_SEQPACKET socket.
  std::filesystem::path smcSocket;
  /// Commands to the simulated machine (SOCK_STREAM, one JSON line each way).
  std::filesystem::path controlSocket;
  /// D-Bus address of the bus on which helper and power events live; empty: the system bus.
  std::string busAddress;
  std::filesystem::path busSocket;
  std::filesystem::path busConfiguration;
  /// D-Bus activation files that registering writes.
  std::filesystem::path servicesFolder;
  /// D-Bus activation files of an installed package.
  std::optional<std::filesystem::path> packagedServicesFolder;
  /// Bus policy for the helper's name, where the bus wants one.
  std::optional<std::filesystem::path> busPolicy;
  std::filesystem::path registration;
  std::filesystem::path approval;
  /// One line: the model identifier of the machine.
  std::filesystem::path hardwareModel;
  std::filesystem::path lockFile;
  /// Process id of the simulated machine; locked while it runs.
  std::filesystem::path machineProcessID;

  bool isSystem() const { return !folder.has_value(); }
};

/// A program of this installation: the file `name` beside the running executable, or in `libexec` beside the folder of
/// the executable. When there is none, the path that it would have beside the executable.
std::filesystem::path siblingProgram(const std::string& name);

}  // namespace halcyra
