#include "Programs/VirtualMac/BusDaemon.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include "fmt/format.h"

#include "Platform/Linux/LinuxFiles.h"

namespace halcyra {

namespace {

constexpr int startTimeoutMilliseconds = 10'000;
/// Before a bus that died is started again; a bus that cannot start must not keep the processor busy.
constexpr Seconds restartDelay{0.25};

std::string escapedForXML(const std::string& text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += character;
    }
  }
  return result;
}

/// Waits until the daemon has printed its address, which it does once it listens.
bool awaitAddress(int readEnd) {
  pollfd waiting{readEnd, POLLIN, 0};
  while (::poll(&waiting, 1, startTimeoutMilliseconds) < 0 && errno == EINTR) {
  }
  std::array<char, 16> buffer{};
  return (waiting.revents & POLLIN) != 0 && ::read(readEnd, buffer.data(), buffer.size()) > 0;
}

}  // namespace

std::string BusDaemon::configuration(const RuntimeLayout& layout) {
  return fmt::format(
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
      " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
      "<busconfig>\n"
      "  <listen>{}</listen>\n"
      "  <auth>EXTERNAL</auth>\n"
      "  <servicedir>{}</servicedir>\n"
      "  <policy context=\"default\">\n"
      "    <allow send_destination=\"*\" eavesdrop=\"false\"/>\n"
      "    <allow receive_sender=\"*\" eavesdrop=\"false\"/>\n"
      "    <allow own=\"*\"/>\n"
      "    <allow user=\"*\"/>\n"
      "  </policy>\n"
      // The longest message of the machine has a few thousand bytes. What all connections of a user may have under way
      // to the helper must fit its queue, or else the bus refuses everybody's messages to it.
      "  <limit name=\"max_message_size\">16384</limit>\n"
      "  <limit name=\"max_incoming_bytes\">4096</limit>\n"
      "  <limit name=\"max_outgoing_bytes\">16777216</limit>\n"
      "  <limit name=\"max_connections_per_user\">128</limit>\n"
      "  <limit name=\"max_replies_per_connection\">128</limit>\n"
      "</busconfig>\n",
      layout.busAddress, escapedForXML(layout.servicesFolder.string()));
}

void BusDaemon::start() {
  std::error_code error;
  std::filesystem::create_directories(layout_.servicesFolder, error);
  writeFileAtomically(layout_.busConfiguration, configuration(layout_), 0644);
  launch();
  wanted_ = true;
}

void BusDaemon::launch() {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    throw VirtualMacError(
        fmt::format("The message bus could not be started: {}", std::generic_category().message(errno)));
  }
  try {
    daemon_.start("dbus-daemon",
                  {"--config-file=" + layout_.busConfiguration.string(), "--nofork", "--nopidfile", "--syslog-only",
                   fmt::format("--print-address={}", pipe[1])},
                  pipe[1]);
  } catch (...) {
    ::close(pipe[0]);
    ::close(pipe[1]);
    throw;
  }
  ::close(pipe[1]);
  const bool listening = awaitAddress(pipe[0]);
  ::close(pipe[0]);
  if (!listening) {
    daemon_.end(Seconds::zero());
    throw VirtualMacError(
        fmt::format("The message bus did not start. To see why: dbus-daemon --config-file={} --nofork",
                    layout_.busConfiguration.string()));
  }
}

void BusDaemon::childEnded() {
  if (wanted_ && !daemon_.isRunning()) {
    reactor_.after(restartDelay, [this] { launchAgain(); });
  }
}

void BusDaemon::launchAgain() {
  if (!wanted_ || daemon_.isRunning()) {
    return;
  }
  try {
    launch();
  } catch (const VirtualMacError& error) {
    std::cerr << "virtual-mac: " << error.what() << std::endl;
    reactor_.after(restartDelay * 8, [this] { launchAgain(); });
  }
}

void BusDaemon::end() {
  wanted_ = false;
  daemon_.end(Seconds{2.0});
}

}  // namespace halcyra
