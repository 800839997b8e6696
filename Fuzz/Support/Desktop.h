#pragma once

#include <memory>
#include <optional>
#include <string>

#include "App/ConsoleLibrary.h"
#include "Support/InProcessMachServices.h"
#include "Support/ScriptedIOKit.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::fuzz {

/// An application's surroundings in memory and virtual time, with an SMC that nobody reads.
class Desktop {
 public:
  Desktop();

  /// Carries the commands out as the program does, on the main queue, with these settings; its error, or nothing.
  std::optional<std::string> runLibrary(UserDefaults& defaults, const LibraryCommands& commands);

  test::MemoryUserDefaults& defaults() { return doubles_->userDefaults; }
  test::MemoryFiles& files() { return doubles_->files; }
  LogSink& log() { return doubles_->log; }
  /// What the last commands had to say.
  const std::string& output() const { return output_; }

 private:
  test::ScriptedIOKit iokit_;
  test::VirtualScheduler scheduler_;
  test::InProcessMachServices bus_;
  std::unique_ptr<test::TestPlatform> doubles_;
  NamedFileWorkspace workspace_;
  std::string output_;
};

}  // namespace halcyra::fuzz
