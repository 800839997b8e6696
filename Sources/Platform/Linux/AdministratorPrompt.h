#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <sys/types.h>
#include <thread>

#include "Platform/Log.h"

namespace halcyra {

/// Lets an administrator register the helper for a user, through polkit's `pkexec`, which asks for the password.
class AdministratorPrompt {
 public:
  AdministratorPrompt(std::filesystem::path helperProgram, std::uint32_t userID, LogSink& log);
  /// Takes back a question that is still open.
  ~AdministratorPrompt();
  AdministratorPrompt(const AdministratorPrompt&) = delete;
  AdministratorPrompt& operator=(const AdministratorPrompt&) = delete;

  /// Returns at once; the log tells the outcome. Does nothing while an earlier question is open. Throws
  /// `ServiceManagementError`, whose text says what an administrator can do instead, when there is no `pkexec`.
  void ask();

 private:
  void awaitAnswer(pid_t process);

  const std::filesystem::path helperProgram_;
  const std::uint32_t userID_;
  const Logger logger_;
  std::mutex mutex_;
  /// -1 while no question is open.
  pid_t process_ = -1;
  std::thread waiter_;
};

}  // namespace halcyra
