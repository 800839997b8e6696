#include "Platform/POSIX/LifeLine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <poll.h>
#include <unistd.h>

namespace halcyra {

namespace {

/// Nothing read yet, or what a read has brought.
enum class Sign { none, alive, farewell, gone };

Sign readSign(int readEnd) {
  char signs[64];
  const auto count = ::read(readEnd, signs, sizeof signs);
  if (count < 0) return errno == EINTR || errno == EAGAIN ? Sign::none : Sign::gone;
  if (count == 0) return Sign::gone;
  return std::find(signs, signs + count, LifeLine::lastSign) == signs + count ? Sign::alive : Sign::farewell;
}

}  // namespace

LifeLine::Ending LifeLine::await(int readEnd, Seconds patience) {
  using SteadyClock = std::chrono::steady_clock;
  const auto whole = std::chrono::duration_cast<SteadyClock::duration>(patience);
  auto deadline = SteadyClock::now() + whole;
  for (;;) {
    const Seconds left = deadline - SteadyClock::now();
    pollfd waiting{readEnd, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(std::ceil(std::max(left.count(), 0.0) * 1000)));
    if (ready < 0 && errno == EINTR) continue;
    // What has come is looked at, however late this process itself is.
    if (ready == 0) return Ending::silent;
    switch (ready < 0 ? Sign::gone : readSign(readEnd)) {
      case Sign::none:
        break;
      case Sign::alive:
        deadline = SteadyClock::now() + whole;
        break;
      case Sign::farewell:
        return Ending::farewell;
      case Sign::gone:
        return Ending::gone;
    }
  }
}

}  // namespace halcyra
