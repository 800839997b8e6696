#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/POSIX/LifeLine.h"

namespace halcyra::test {
namespace {

using LifeLine::Ending;

/// What came before the reader looked; and whether the writer is gone by then.
Ending endingAfter(std::string_view signs, bool isGone) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  EXPECT_EQ(write(ends[1], signs.data(), signs.size()), static_cast<ssize_t>(signs.size()));
  if (isGone) close(ends[1]);
  // Whoever is silent is so for longer than any patience; the others have spoken before it begins.
  const Ending ending = LifeLine::await(ends[0], Seconds{0.01});
  close(ends[0]);
  if (!isGone) close(ends[1]);
  return ending;
}

TEST(LifeLineTests, AFarewellTheEndAndSilenceAreToldApart) {
  EXPECT_EQ(endingAfter("q", false), Ending::farewell);
  EXPECT_EQ(endingAfter("...q", true), Ending::farewell);
  EXPECT_EQ(endingAfter("", true), Ending::gone);
  EXPECT_EQ(endingAfter("...", true), Ending::gone);
  EXPECT_EQ(endingAfter("", false), Ending::silent);
  EXPECT_EQ(endingAfter("...", false), Ending::silent);
}

}  // namespace
}  // namespace halcyra::test
