#include <optional>
#include <string>
#include <string_view>

#include "gtest/gtest.h"

#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

using HelperXPCError::Code;

constexpr std::string_view helperDomain = "com.norwick.Halcyra.helper";

struct CodeCase {
  std::int64_t raw;
  const char* text;
  /// Whether a description of the helper's own is shown instead.
  bool showsOwnDescription;
};

constexpr CodeCase codes[] = {
    {0, "Aerovane could not verify the privileged helper connection.", false},
    {1, "Another fan-control session is active. Quit any other fan utility and try again.", false},
    {2, "The fan-control session expired. Aerovane returned the fans to Automatic; try the preset again.", false},
    {3, "The selected fan is no longer available.", false},
    {4, "The helper found a fan that can be monitored but not safely controlled.", true},
    {5, "Aerovane stopped because the preflight fan readings were abnormal.", true},
    {6,
     "macOS rejected manual fan control. Aerovane returned all fans to Apple Default. Close other fan-control "
     "utilities "
     "and select the preset again.",
     true},
    {99, "The privileged helper could not complete the fan-control request.", true},
};

std::string debugDescription(const Error& error) {
  const auto found = error.userInfo.find(debugDescriptionKey);
  return found == error.userInfo.end() ? "none" : found->second;
}

}  // namespace

TEST(HelperXPCError, GivesEveryCodeItsReadableText) {
  for (const CodeCase& code : codes) {
    for (const std::string_view domain : {helperDomain, std::string_view("Some.HelperError")}) {
      const Error bare = HelperXPCError::readable(Error(domain, code.raw));
      EXPECT_EQ(bare, Error(helperDomain, code.raw, code.text)) << "nothing but the text is added";

      const Error opaque = HelperXPCError::readable(Error(domain, code.raw, "Some.HelperError error 4."));
      EXPECT_EQ(opaque.domain, helperDomain);
      EXPECT_EQ(opaque.code, code.raw);
      EXPECT_EQ(opaque.localizedDescription(), code.text);
      EXPECT_EQ(debugDescription(opaque), "Some.HelperError error 4.");

      const Error own(domain, code.raw, "Fan 1 reads 0 RPM.");
      const Error shown = HelperXPCError::readable(own);
      if (code.showsOwnDescription) {
        EXPECT_EQ(shown, own) << code.raw;
      } else {
        EXPECT_EQ(shown.localizedDescription(), code.text);
        EXPECT_EQ(debugDescription(shown), "Fan 1 reads 0 RPM.");
      }
    }
  }
}

TEST(HelperXPCError, LeavesOtherErrorsAlone) {
  const Error others[] = {
      Error(helperDomain, 7, "x"),
      Error(helperDomain, -1),
      Error(helperDomain, 98, "HelperError error"),
      Error(cocoaErrorDomain, 1, "x"),
      Error("com.norwick.Halcyra.helper.x", 1),
      Error("HelperError.x", 1),
  };
  for (const Error& error : others) {
    EXPECT_EQ(HelperXPCError::readable(error), error) << error.domain << " " << error.code;
  }
}

TEST(HelperXPCError, KnowsItsCodesOnly) {
  for (std::int64_t raw = -2; raw <= 101; ++raw) {
    const bool isKnown = (raw >= 0 && raw <= 6) || raw == 99;
    EXPECT_EQ(HelperXPCError::codeFromRaw(raw).has_value(), isKnown) << raw;
  }
}

TEST(HelperXPCError, TellsAnInvalidSession) {
  EXPECT_TRUE(HelperXPCError::isInvalidSession(HelperXPCError::make(Code::invalidSession)));
  EXPECT_TRUE(HelperXPCError::isInvalidSession(Error("Some.HelperError", 2)));
  EXPECT_FALSE(HelperXPCError::isInvalidSession(HelperXPCError::make(Code::busy)));
  EXPECT_FALSE(HelperXPCError::isInvalidSession(Error(cocoaErrorDomain, 2)));
  EXPECT_FALSE(HelperXPCError::isInvalidSession(Error("HelperErrors", 2)));
}

}  // namespace halcyra
