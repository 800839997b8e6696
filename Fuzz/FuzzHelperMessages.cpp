// Messages to the privileged helper: any selector with any arguments, from anybody, in any order and at any time.

#include <algorithm>
#include <charconv>
#include <string>

#include "FuzzTargets.h"
#include "Support/Expect.h"
#include "Support/HelperUnderTest.h"
#include "Support/Input.h"

namespace halcyra::fuzz {
namespace {

constexpr std::size_t mostMessages = 48;
/// Seconds: longer than the watchdog and a latch together.
constexpr double longestWait = 30;
constexpr double longestRun = 120;

double secondsOf(std::string_view text) {
  double seconds = 0;
  std::from_chars(text.data(), text.data() + text.size(), seconds);
  return seconds >= 0 ? std::min(seconds, longestWait) : 0;
}

void perform(HelperUnderTest& helper, std::string_view line) {
  const std::string_view word = takeWord(line);
  if (word == "wait") {
    helper.wait(secondsOf(line));
  } else if (word == "gone") {
    helper.clientGone(line.empty() ? '1' : line.front());
  } else if (word == "fault") {
    helper.applyFault(std::string(line));
  } else if (word == "restart") {
    helper.restart();
  } else if (word.size() == 1) {
    const std::string_view selector = takeWord(line);
    helper.send(word.front(), std::string(selector), propertyListOf(line).value_or(PropertyList()));
  } else {
    helper.send('1', std::string(word), propertyListOf(line).value_or(PropertyList()));
  }
}

}  // namespace

void fuzzHelperMessages(Bytes input) {
  const std::string text = textOf(input);
  HelperUnderTest helper;
  std::size_t count = 0;
  for (const std::string_view line : linesOf(text)) {
    if (++count > mostMessages || helper.now() > longestRun) {
      break;
    }
    perform(helper, line);
  }
  helper.finish();
}

}  // namespace halcyra::fuzz
