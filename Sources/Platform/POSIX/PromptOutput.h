#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace halcyra {

/// Output to a descriptor that is never waited for, whoever reads it and whoever else shares it: a pipe that nobody
/// empties and a terminal that is stopped take what they have room for at once, and the rest is dropped and counted.
/// The descriptor's flags, which other processes share, are left alone. Safe to use from any thread. SIGPIPE has to be
/// ignored.
class PromptOutput {
 public:
  enum class Result {
    written,
    /// There was no room; nothing of this text was written.
    dropped,
    /// Nobody can get it: the reader is gone, the disk is full. `error` has the number of the reason.
    failed,
  };
  /// `announcesLoss`: before the next text that has room goes a line that says how many have not been written.
  PromptOutput(int descriptor, bool announcesLoss) : descriptor_(descriptor), announcesLoss_(announcesLoss) {}
  PromptOutput(const PromptOutput&) = delete;
  PromptOutput& operator=(const PromptOutput&) = delete;

  /// Writes whole lines, each with its line feed.
  Result write(std::string_view text);
  /// Of the last failure, as `errno` has it.
  int error() const;

 private:
  Result writeLocked(std::string_view text);

  const int descriptor_;
  const bool announcesLoss_;
  mutable std::mutex mutex_;
  /// The end of a text whose beginning has been written.
  std::string pending_;
  std::uint64_t lost_ = 0;
  int error_ = 0;
};

/// The process's own standard error, with a word about what was lost, and standard output without one.
PromptOutput& promptStandardError();
PromptOutput& promptStandardOutput();

}  // namespace halcyra
