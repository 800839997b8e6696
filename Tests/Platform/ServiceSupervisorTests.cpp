#include <cstdlib>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/ServiceSupervisor.h"
#include "Platform/Linux/UnixSocket.h"
#include "Platform/PlatformTestSupport.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {
namespace {

/// The manager's end of the notification socket, and the environment that names it.
class Manager {
 public:
  explicit Manager(const std::filesystem::path& folder) {
    const std::string path = (folder / "notify").string();
    const auto address = unixSocketAddress(path);
    socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
    ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
  }
  ~Manager() {
    ::close(socket_);
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) ::unsetenv(name);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  std::optional<std::string> next() const {
    char buffer[512];
    const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
    return count < 0 ? std::nullopt : std::optional(std::string(buffer, static_cast<std::size_t>(count)));
  }
  int pings() const {
    int count = 0;
    while (const auto message = next()) {
      EXPECT_EQ(*message, "WATCHDOG=1");
      ++count;
    }
    return count;
  }

 private:
  int socket_ = -1;
};

struct ServiceSupervisorTests : testing::Test {
  TemporaryFolder folder;
  Manager manager{folder.path()};
  VirtualScheduler scheduler;
  std::shared_ptr<VirtualProcess> process = scheduler.makeProcess("service");
};

TEST_F(ServiceSupervisorTests, PingsStopWhileTheQueueHangs) {
  ::setenv("WATCHDOG_USEC", "10000000", 1);
  ServiceSupervisor supervisor(process->mainQueue());
  scheduler.runFor(Seconds{60});
  EXPECT_EQ(manager.pings(), 0) << "nothing was ready yet";
  process->mainQueue().async([&] { supervisor.ready("up"); });
  scheduler.runPending();
  EXPECT_EQ(manager.next(), "READY=1\nSTATUS=up");
  scheduler.runFor(Seconds{10});
  // At once, and then four in every limit.
  EXPECT_EQ(manager.pings(), 1 + ServiceSupervisor::pingsPerLimit);
  process->mainQueue().async([&] { process->clock().sleep(Seconds{30}); });
  scheduler.runFor(Seconds{29});
  EXPECT_EQ(manager.pings(), 0) << "a ping came from a queue that hangs";
  scheduler.runFor(Seconds{11});
  EXPECT_GE(manager.pings(), ServiceSupervisor::pingsPerLimit);
  process->mainQueue().async([&] { supervisor.stopping("bye"); });
  scheduler.runPending();
  EXPECT_EQ(manager.next(), "STOPPING=1\nSTATUS=bye");
  scheduler.runFor(Seconds{10});
  EXPECT_GE(manager.pings(), ServiceSupervisor::pingsPerLimit) << "handing back takes time, and is watched as well";
}

}  // namespace
}  // namespace halcyra::test
