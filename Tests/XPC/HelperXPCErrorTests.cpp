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

}  // namespace

TEST(HelperXPCError, GivesEveryCodeItsReadableText) {
  for (const CodeCase& code : codes) {
    const Error bare = HelperXPCError::readable(Error("Some.HelperError", code.raw));
    EXPECT_EQ(bare, Error(helperDomain, code.raw, code.text)) << "nothing but the text is added";

    const Error opaque = HelperXPCError::readable(Error(helperDomain, code.raw, "Some.HelperError error 4."));
    EXPECT_EQ(opaque.localizedDescription(), code.text);
    EXPECT_EQ(opaque.userInfo.at(std::string(debugDescriptionKey)), "Some.HelperError error 4.");

    const Error own(helperDomain, code.raw, "Fan 1 reads 0 RPM.");
    const Error shown = HelperXPCError::readable(own);
    EXPECT_EQ(shown.localizedDescription(), code.showsOwnDescription ? "Fan 1 reads 0 RPM." : code.text);
  }
}

TEST(HelperXPCError, LeavesOtherErrorsAlone) {
  const Error others[] = {
      Error(helperDomain, 7, "x"),
      Error(helperDomain, 98, "HelperError error"),
      Error("com.norwick.Halcyra.helper.x", 1),
      Error("HelperError.x", 1),
  };
  for (const Error& error : others) {
    EXPECT_EQ(HelperXPCError::readable(error), error) << error.domain << " " << error.code;
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
