#include "Platform/Apple/AppleActivityAssertions.h"

#import <Foundation/Foundation.h>

namespace halcyra {

namespace {

class ProcessActivity : public ActivityAssertion {
 public:
  explicit ProcessActivity(id<NSObject> token) : token_(token) {}
  ~ProcessActivity() override { [NSProcessInfo.processInfo endActivity:token_]; }
  ProcessActivity(const ProcessActivity&) = delete;
  ProcessActivity& operator=(const ProcessActivity&) = delete;

 private:
  id<NSObject> token_;
};

}  // namespace

static_assert(static_cast<NSActivityOptions>(ActivityOptions::userInitiatedAllowingIdleSystemSleep) ==
              NSActivityUserInitiatedAllowingIdleSystemSleep);

std::unique_ptr<ActivityAssertion> AppleActivityAssertions::beginActivity(ActivityOptions options,
                                                                          const std::string& reason) {
  @autoreleasepool {
    NSString* const text = [NSString stringWithUTF8String:reason.c_str()];
    return std::make_unique<ProcessActivity>([NSProcessInfo.processInfo
        beginActivityWithOptions:static_cast<NSActivityOptions>(options)
                          reason:text != nil ? text : @"fan control"]);
  }
}

}  // namespace halcyra
