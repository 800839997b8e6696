#include "Helpers/CoalescedRefreshState.h"

#include "Platform/Precondition.h"

namespace halcyra {

bool CoalescedRefreshState::request() {
  if (isRunning_) {
    needsRefresh_ = true;
    return false;
  }
  isRunning_ = true;
  return true;
}

bool CoalescedRefreshState::complete() {
  precondition(isRunning_, "CoalescedRefreshState::complete needs a run that is under way");
  isRunning_ = needsRefresh_;
  needsRefresh_ = false;
  return isRunning_;
}

}  // namespace halcyra
