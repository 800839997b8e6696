#include "Support/Desktop.h"

namespace halcyra::fuzz {

Desktop::Desktop() : bus_(scheduler_) {
  const auto process = scheduler_.makeProcess("application");
  doubles_ = std::make_unique<test::TestPlatform>(process, iokit_, bus_.client(process));
}

std::optional<std::string> Desktop::runLibrary(UserDefaults& defaults, const LibraryCommands& commands) {
  test::TestPlatform& of = *doubles_;
  Platform platform{of.platform.clock,
                    of.platform.dispatch,
                    of.log,
                    iokit_,
                    of.platform.helper,
                    of.serviceManagement,
                    defaults,
                    of.system,
                    of.activities,
                    of.power,
                    of.notifications,
                    workspace_,
                    of.files};
  std::optional<std::string> error;
  output_.clear();
  of.process->mainQueue().async([&] {
    error = runLibraryCommands(platform, workspace_, commands, [this](const std::string& text) { output_ += text; });
  });
  scheduler_.runPending();
  return error;
}

}  // namespace halcyra::fuzz
