#pragma once

#include "Platform/SystemInformation.h"

namespace halcyra {

/// Activities of the process, as `NSProcessInfo` has them: without one a hidden application is napped and throttled.
class AppleActivityAssertions : public ActivityAssertions {
 public:
  std::unique_ptr<ActivityAssertion> beginActivity(ActivityOptions options, const std::string& reason) override;
};

}  // namespace halcyra
