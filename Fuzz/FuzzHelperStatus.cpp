// Status dictionaries: what the application makes of the helper's answers.

#include <algorithm>

#include "App/HelperPreflight.h"
#include "FuzzTargets.h"
#include "Platform/Linux/HelperBusCoding.h"
#include "Support/Expect.h"
#include "Support/Input.h"
#include "XPC/HelperReplyKey.h"
#include "XPC/HelperXPCError.h"
#include "sdbus-c++/Error.h"

namespace halcyra::fuzz {
namespace {

namespace Key = HelperReplyKey;

PropertyList with(PropertyList reply, std::string_view key, PropertyList value) {
  reply[std::string(key)] = std::move(value);
  return reply;
}

// A clean report has to become unclean by any single thing that is wrong.
void checkClean(const PropertyList& reply) {
  expect(reply.is_object(), "only a dictionary can be a clean report");
  expect(integerEntry(reply, Key::protocolVersion) == 1 && integerEntry(reply, Key::fanCount),
         "a clean report has a version and a fan count");
  expect(!preflightIsClean(with(reply, Key::protocolVersion, 2)), "another version is unclean");
  expect(!preflightIsClean(with(reply, Key::fanTestMode, 1)), "the test mode is unclean");
  expect(!preflightIsClean(with(reply, Key::fanTestMode, "0")), "a test mode that is no integer is unclean");
  PropertyList uncounted = reply;
  uncounted.erase(std::string(Key::fanCount));
  expect(!preflightIsClean(uncounted), "a report without a fan count is unclean");
  const PropertyList* fans = dictionaryArrayEntry(reply, Key::fans);
  if (fans == nullptr) {
    expect(!preflightIsClean(with(reply, Key::fan0Mode, 1)) && !preflightIsClean(with(reply, Key::fan1Mode, 1)),
           "a manual fan is unclean");
    return;
  }
  for (std::size_t i = 0; i < fans->size(); ++i) {
    PropertyList manual = reply;
    manual[std::string(Key::fans)][i][std::string(Key::fanMode)] = 1;
    expect(!preflightIsClean(manual), "a manual fan is unclean");
    manual[std::string(Key::fans)][i].erase(std::string(Key::fanMode));
    expect(!preflightIsClean(manual), "a fan that does not tell its mode is unclean");
  }
}

void checkSupervisedFan(const SupervisedFan& fan) {
  expect(fan.index >= 0, "a fan has an index");
  const auto target = supervisedTestTarget(fan);
  if (!target) {
    return;
  }
  expect(*target <= fan.maximum, "the test stays below the fan's maximum");
  expect(*target > fan.actual && *target >= fan.target, "the test speeds the fan up");
  const auto present = std::max({fan.actual, fan.target, fan.minimum});
  expect(*target < 500 || *target - 500 <= present, "the test goes at most 500 RPM up");
}

void checkReply(const PropertyList& reply) {
  if (preflightIsClean(reply)) {
    checkClean(reply);
  }
  if (const auto fan = supervisedFan(reply)) {
    checkSupervisedFan(*fan);
  }
  const std::vector<FanInfo> published{{0, 2000, 1350, 5700, FanMode::automatic, std::nullopt}};
  const auto controllable = helperControllableFans(reply, published);
  const PropertyList* fans = dictionaryArrayEntry(reply, Key::fans);
  expect(fans != nullptr || controllable == std::set<int>{0}, "without a list the published fans count");
  for (const int index : controllable) {
    const auto allows = [index](const PropertyList& fan) {
      return integerEntry(fan, Key::fanIndex) == index && booleanEntry(fan, Key::fanControllable) == true;
    };
    expect(index >= 0 && (fans == nullptr || std::any_of(fans->begin(), fans->end(), allows)),
           "a fan is driven only when the helper says that it can be");
  }
}

// The error of a bus: a name and a text, both from the other side.
void checkError(const std::string& name, const std::string& text) {
  const Error error = HelperBusCoding::decoded(sdbus::Error(name, text));
  const Error again = HelperBusCoding::decoded(HelperBusCoding::encoded(error));
  const bool isInternalFailure = again.code == static_cast<std::int64_t>(HelperXPCError::Code::internalFailure);
  expect(again.code == error.code || isInternalFailure, "its code survives the way back, if its name can travel");
}

}  // namespace

void fuzzHelperStatus(Bytes input) {
  const std::string text = textOf(input);
  if (const auto reply = propertyListOf(text)) {
    checkReply(*reply);
  }
  checkError("halcyra.Error", text);
  const auto lines = linesOf(text);
  if (lines.size() >= 2) {
    checkError(std::string(lines[0]), std::string(lines[1]));
  }
}

}  // namespace halcyra::fuzz
