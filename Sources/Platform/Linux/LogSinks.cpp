#include "Platform/Linux/LogSinks.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/Linux/UnixSocket.h"
#include "Platform/POSIX/PromptOutput.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

std::string_view levelName(LogLevel level) {
  constexpr std::array<std::string_view, 4> names{"debug", "info", "notice", "error"};
  return names[static_cast<std::size_t>(level)];
}

/// The syslog priorities of the levels.
int priority(LogLevel level) {
  constexpr std::array<int, 4> priorities{7, 6, 5, 3};
  return priorities[static_cast<std::size_t>(level)];
}

/// Fields with a line break need their length, the least significant byte first, instead of "=".
void appendField(std::string& datagram, std::string_view field, std::string_view value) {
  datagram += field;
  if (value.find('\n') == std::string_view::npos) {
    datagram += '=';
  } else {
    datagram += '\n';
    for (unsigned shift = 0; shift < 64; shift += 8) {
      datagram += static_cast<char>(static_cast<std::uint64_t>(value.size()) >> shift & 0xFF);
    }
  }
  datagram += value;
  datagram += '\n';
}

class NoLogSink : public LogSink {
 public:
  void write(const LogRecord&) override {}
};

bool isSocket(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

std::string StandardErrorLogSink::line(const LogRecord& record) {
  return onOneLine(fmt::format("{} [{}] {}", levelName(record.level), record.category, record.message)) + '\n';
}

void StandardErrorLogSink::write(const LogRecord& record) {
  if (record.level >= minimum_) {
    promptStandardError().write(line(record));
  }
}

JournalLogSink::JournalLogSink(LogLevel minimum, std::string socketPath)
    : minimum_(minimum),
      socketPath_(std::move(socketPath)),
      socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      fallback_(minimum) {}

JournalLogSink::~JournalLogSink() {
  if (socket_ >= 0) {
    ::close(socket_);
  }
}

std::string JournalLogSink::datagram(const LogRecord& record) {
  std::string result;
  appendField(result, "PRIORITY", std::to_string(priority(record.level)));
  appendField(result, "SYSLOG_IDENTIFIER", "aerovane");
  appendField(result, "SUBSYSTEM", record.subsystem);
  appendField(result, "CATEGORY", record.category);
  appendField(result, "MESSAGE", record.message);
  return result;
}

void JournalLogSink::write(const LogRecord& record) {
  if (record.level < minimum_) {
    return;
  }
  const auto address = unixSocketAddress(socketPath_);
  const std::string text = datagram(record);
  const bool sent = address && ::sendto(socket_, text.data(), text.size(), MSG_NOSIGNAL,
                                        reinterpret_cast<const sockaddr*>(&*address), sizeof *address) >= 0;
  if (!sent) {
    fallback_.write(record);
  }
}

std::unique_ptr<LogSink> makeLogSink(LogDestination destination, LogLevel minimum) {
  const bool useJournal = destination == LogDestination::journal ||
                          (destination == LogDestination::automatic && ::isatty(STDERR_FILENO) == 0 &&
                           isSocket(JournalLogSink::defaultSocket));
  if (useJournal) {
    return std::make_unique<JournalLogSink>(minimum);
  }
  if (destination == LogDestination::none) {
    return std::make_unique<NoLogSink>();
  }
  return std::make_unique<StandardErrorLogSink>(minimum);
}

}  // namespace halcyra
