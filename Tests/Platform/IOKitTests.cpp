// The driver's client over a real socket, with a driver that misbehaves on command.

#include <array>
#include <cstring>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/UnixSocket.h"
#include "Platform/PlatformTestSupport.h"

namespace halcyra::test {
namespace {

constexpr std::size_t recordSize = 80;
constexpr std::uint32_t smcSelector = 2;

/// Listens at a path; the test takes its clients and packets one by one.
class Driver {
 public:
  explicit Driver(const std::filesystem::path& path) : path_(path) {
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const auto address = unixSocketAddress(path);
    unlink(path.c_str());
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0 ||
        listen(listener_, 8) != 0) {
      throw std::runtime_error("no socket");
    }
  }
  ~Driver() {
    for (const int client : clients_) close(client);
    close(listener_);
    unlink(path_.c_str());
  }
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  int accept() {
    clients_.push_back(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    return clients_.back();
  }

 private:
  std::filesystem::path path_;
  int listener_ = -1;
  std::vector<int> clients_;
};

class IOKitTests : public testing::Test {
 protected:
  io_connect_t open(LinuxIOKit& iokit) {
    const io_service_t service =
        iokit.IOServiceGetMatchingService(kIOMainPortDefault, iokit.IOServiceMatching("AppleSMC"));
    io_connect_t connection = 0;
    EXPECT_EQ(iokit.IOServiceOpen(service, mach_task_self_, 0, &connection), kIOReturnSuccess);
    EXPECT_EQ(iokit.IOObjectRelease(service), kIOReturnSuccess);
    EXPECT_NE(connection, 0U);
    return connection;
  }

  kern_return_t call(LinuxIOKit& iokit, io_connect_t connection) {
    outputSize_ = recordSize;
    output_.fill('\0');
    return iokit.IOConnectCallStructMethod(connection, smcSelector, input_.data(), recordSize, output_.data(),
                                           &outputSize_);
  }

  /// One call, answered by a packet of `size` bytes of 'a'.
  kern_return_t callAnswered(LinuxIOKit& iokit, io_connect_t connection, int client, std::size_t size) {
    std::thread driver([&] {
      std::array<char, 200> request{};
      EXPECT_EQ(recv(client, request.data(), request.size(), 0), static_cast<ssize_t>(recordSize));
      const std::string answer(size, 'a');
      send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    const kern_return_t status = call(iokit, connection);
    driver.join();
    return status;
  }

  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "smc.sock";
  std::array<char, recordSize> input_{"request"};
  /// Larger than what is offered: nothing may be written beyond that.
  std::array<char, recordSize + 16> output_{};
  std::size_t outputSize_ = recordSize;
};

TEST_F(IOKitTests, AnswersOfEverySizeAreReportedAsTheyAre) {
  Driver driver(path_);
  LinuxIOKit iokit(path_);
  const io_connect_t connection = open(iokit);
  const int client = driver.accept();
  for (const std::size_t size : {80U, 3U, 5U, 79U, 81U, 5000U}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(callAnswered(iokit, connection, client, size), kIOReturnSuccess);
    EXPECT_EQ(outputSize_, size);
    const std::size_t filled = std::min(size, recordSize);
    EXPECT_EQ(std::string(output_.data(), output_.size()),
              std::string(filled, 'a') + std::string(output_.size() - filled, '\0'));
  }
  // Four bytes are a status: 'aaaa'. One of success says that nothing was answered.
  EXPECT_EQ(callAnswered(iokit, connection, client, sizeof(kern_return_t)), 0x61616161);
  const kern_return_t success = kIOReturnSuccess;
  send(client, &success, sizeof success, 0);
  EXPECT_EQ(call(iokit, connection), kIOReturnError);
}

TEST_F(IOKitTests, AConnectionSurvivesItsDriver) {
  auto driver = std::make_unique<Driver>(path_);
  LinuxIOKit iokit(path_);
  const io_connect_t connection = open(iokit);
  EXPECT_EQ(callAnswered(iokit, connection, driver->accept(), recordSize), kIOReturnSuccess);
  driver.reset();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(call(iokit, connection), kIOReturnNoDevice);
  driver = std::make_unique<Driver>(path_);
  std::thread answering([&] {
    const int client = driver->accept();
    std::array<char, 200> request{};
    recv(client, request.data(), request.size(), 0);
    send(client, request.data(), recordSize, MSG_NOSIGNAL);
  });
  EXPECT_EQ(call(iokit, connection), kIOReturnSuccess);
  answering.join();
  EXPECT_STREQ(output_.data(), "request");
}

TEST_F(IOKitTests, ALateAnswerIsNeverTakenForThatOfTheNextCall) {
  Driver driver(path_);
  LinuxIOKit iokit(path_, 0.02);
  const io_connect_t connection = open(iokit);
  const int first = driver.accept();
  EXPECT_EQ(call(iokit, connection), kIOReturnTimeout);
  const std::string late(recordSize, 'L');
  send(first, late.data(), late.size(), MSG_NOSIGNAL);
  EXPECT_EQ(call(iokit, connection), kIOReturnTimeout);
  EXPECT_EQ(output_[0], '\0');
}

}  // namespace
}  // namespace halcyra::test
