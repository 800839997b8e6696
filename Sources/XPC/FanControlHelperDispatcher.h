#pragma once

#include <string>

#include "Platform/MachService.h"
#include "Platform/PropertyList.h"
#include "XPC/FanControlHelperService.h"

namespace halcyra {

/// The daemon's end of the protocol: checks each message and hands it to the service. A message that is unknown or
/// malformed never reaches the service and is answered with a helper error that says what is wrong. `service` outlives
/// the dispatcher.
class FanControlHelperDispatcher {
 public:
  explicit FanControlHelperDispatcher(FanControlHelperService& service) : service_(service) {}

  /// Fits `MachServiceListener::setMessageHandler`. `answer` is called exactly once for a message that is refused, and
  /// at most once for any other: when the service replies, or at once when it throws before it has replied.
  void dispatch(const MachServiceCaller& caller, const std::string& selector, const PropertyList& arguments,
                MachServiceListener::Answer answer);

 private:
  FanControlHelperService& service_;
};

}  // namespace halcyra
