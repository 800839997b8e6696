#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Platform/Apple/AppleRuntimeLayout.h"
#include "Platform/Apple/GCDDispatch.h"
#include "Platform/Log.h"
#include "Platform/Platform.h"

namespace halcyra {

class AppleServiceManagement;

struct ApplePlatformOptions {
  AppleRuntimeLayout layout = AppleRuntimeLayout::system();
  /// Records from this level on appear on standard error as well as in the unified log; nothing: in the log alone.
  std::optional<LogLevel> standardErrorFrom;
  /// The main queue of another event loop, which then runs the main thread; must outlive the platform.
  /// Null: a `GCDMainQueue`.
  Queue* mainQueue = nullptr;
  /// The desktop's own; must outlive the platform. Null: no panels.
  Workspace* workspace = nullptr;
};

/// Everything that the application takes from macOS, made and owned together. To be made and destroyed on the main
/// thread.
class ApplePlatform {
 public:
  explicit ApplePlatform(const ApplePlatformOptions& options);
  ~ApplePlatform();
  ApplePlatform(const ApplePlatform&) = delete;
  ApplePlatform& operator=(const ApplePlatform&) = delete;

  Platform& platform();

  /// The loop to run in the main thread. Not to be used when another main queue was given.
  GCDMainQueue& mainQueue();

  /// Shows the user where an administrator approves the helper: on a Mac no program can do it.
  void openApprovalSettings();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace halcyra
