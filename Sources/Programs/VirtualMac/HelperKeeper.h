#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <sys/types.h>

#include "Platform/Linux/RuntimeLayout.h"
#include "Programs/VirtualMac/ChildProgram.h"
#include "Programs/VirtualMac/Reactor.h"

namespace halcyra {

/// What the service manager does for the helper on a real machine: once a process that has written to the driver is
/// gone, however it ended, `aerovane-helper --release-all` follows, and until that is done nobody else may write. When
/// it fails it is tried again, until another process has taken the fans over. Loop thread only.
class HelperKeeper {
 public:
  /// `released` is called each time that others may write again.
  HelperKeeper(Reactor& reactor, const RuntimeLayout& layout, std::function<void()> released);
  ~HelperKeeper();
  HelperKeeper(const HelperKeeper&) = delete;
  HelperKeeper& operator=(const HelperKeeper&) = delete;

  /// A process that may write has connected.
  void follow(pid_t process);
  /// It writes.
  void noteWrite(pid_t process);
  /// Whether this process has to wait before it may write.
  bool mustWait(pid_t process) const { return isReleasing_ && process != release_.processID(); }
  /// To be called when a child of this process has ended.
  void childEnded();
  /// The machine ends: nothing is started any more.
  void end();

 private:
  struct Followed {
    /// Readable once the process is gone; -1: it was gone before anybody looked.
    int descriptor = -1;
    bool hasWritten = false;
  };

  void processEnded(pid_t process);
  void release();
  void finishRelease(bool succeeded);
  void complain(const std::string& reason);

  Reactor& reactor_;
  const std::string runtimeFolder_;
  const std::filesystem::path helperProgram_;
  const std::function<void()> released_;
  std::map<pid_t, Followed> followed_;
  ChildProgram release_;
  bool isReleasing_ = false;
  /// Somebody has left the fans to nobody.
  bool isOwed_ = false;
  bool hasComplained_ = false;
  bool ending_ = false;
  std::uint64_t attempts_ = 0;
};

}  // namespace halcyra
