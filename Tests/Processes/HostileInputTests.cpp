// Bad packets and missing privilege change nothing and end no process.

#include <cstring>
#include <random>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Processes/ProcessSupport.h"
#include "SMC/SMCError.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCParamStruct.h"
#include "Support/Values.h"

namespace halcyra::test {
namespace {

int connectTo(const std::filesystem::path& path, int type) {
  const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

TEST(HostileInputTests, NeitherAWriteWithoutPrivilegeNorRandomPacketsChangeAnything) {
  ASSERT_EQ(geteuid(), 0U) << "this test changes users and must run as root";
  MachineProcess machine("idle");
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(nobody) != 0 || setuid(nobody) != 0) _exit(3);
    const int smc = connectTo(machine.folder() / "smc.sock", SOCK_SEQPACKET);
    SMCParamStruct input;
    input.key = SMCKey::fan0Mode.rawValue;
    input.command = SMCParamStruct::writeBytes;
    input.keyInfoDataSize = 1;
    input.bytes[0] = 1;
    SMCParamStruct output;
    if (smc < 0 || send(smc, &input, sizeof input, 0) != sizeof input) _exit(4);
    const ssize_t size = recv(smc, &output, sizeof output, 0);
    _exit(size == sizeof output && output.result == SMCError::resultSuccess ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);

  std::mt19937 random(99);
  for (const char* name : {"smc.sock", "control.sock"}) {
    for (int round = 0; round < 40; ++round) {
      int descriptor = connectTo(machine.folder() / name, SOCK_SEQPACKET);
      if (descriptor < 0) descriptor = connectTo(machine.folder() / name, SOCK_STREAM);
      ASSERT_GE(descriptor, 0) << name << " does not answer in round " << round;
      std::vector<char> packet(std::uniform_int_distribution<std::size_t>(0, 5000)(random));
      for (char& byte : packet) byte = static_cast<char>(random());
      // Not a mode write by accident: the command byte is none of a write's.
      if (packet.size() == sizeof(SMCParamStruct)) packet[offsetof(SMCParamStruct, command)] = 77;
      (void)send(descriptor, packet.data(), packet.size(), MSG_NOSIGNAL);
      close(descriptor);
    }
  }
  EXPECT_EQ(machine.modes(), automatic);
  EXPECT_EQ(machine.show().at("writes"), 0);
  EXPECT_EQ(machine.control({"fault", "no-such-fault 1 2"}), 1);
  EXPECT_EQ(machine.control({"dance"}), 2);
  machine.process().signal(SIGTERM);
  EXPECT_EQ(machine.process().wait(), 0);
}

}  // namespace
}  // namespace halcyra::test
