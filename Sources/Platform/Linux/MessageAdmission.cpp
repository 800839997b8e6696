#include "Platform/Linux/MessageAdmission.h"

#include <algorithm>
#include <utility>

namespace halcyra {

namespace {

constexpr double burst = 1.5;

}  // namespace

std::optional<std::string> MessageAdmission::refusal(const std::string& connection, Instant now) {
  const auto found = connections_.find(connection);
  const Connection known = found == connections_.end() ? Connection{} : found->second;
  const bool isHolder = !holder_.empty() && connection == holder_;
  if (auto reason = rateRefusal(connection, known, now)) {
    return reason;
  }
  if (known.waiting >= (isHolder ? mostOfHolder : mostOfConnection)) {
    return "Too many messages of this connection wait for an answer.";
  }
  std::size_t ofUser = 0;
  std::size_t ofAll = 0;
  for (const auto& [name, other] : connections_) {
    if (name == holder_) continue;
    ofAll += other.waiting;
    if (other.userID() == known.userID()) ofUser += other.waiting;
  }
  if (!isHolder && (ofUser >= mostOfUser || ofAll >= mostOfAll)) {
    return "Too many messages wait for an answer.";
  }
  if (found == connections_.end()) {
    makeRoom();
  }
  Connection& taken = connections_[connection];
  ++taken.waiting;
  taken.lastMessage = now;
  return std::nullopt;
}

std::optional<std::string> MessageAdmission::rateRefusal(const std::string& connection, const Connection& known,
                                                         Instant now) {
  if (!holder_.empty() && connection == holder_) {
    Allowance& own = allowance(ofHolder_, rateOfHolder, now);
    if (own.left < 1) return "This connection sends too many messages a second.";
    --own.left;
    return std::nullopt;
  }
  // Those that are full again need not be remembered.
  std::erase_if(ofUsers_, [&](const auto& each) { return now - each.second.counted >= Seconds{burst}; });
  Allowance& user = allowance(ofUsers_[known.userID()], rateOfUser, now);
  Allowance& all = allowance(ofAll_, rateOfAll, now);
  if (user.left < 1 || all.left < 1) return "Too many messages a second.";
  --user.left;
  --all.left;
  return std::nullopt;
}

MessageAdmission::Allowance& MessageAdmission::allowance(Allowance& current, double rate, Instant now) {
  const bool isNew = !std::exchange(current.isCounted, true);
  const double more = isNew ? burst * rate : rate * (now - current.counted).count();
  current.left = std::min(current.left + more, burst * rate);
  current.counted = now;
  return current;
}

void MessageAdmission::makeRoom() {
  if (connections_.size() < mostConnections) {
    return;
  }
  auto oldest = connections_.end();
  for (auto each = connections_.begin(); each != connections_.end(); ++each) {
    const bool mayGo = each->second.waiting == 0 && each->first != holder_;
    if (mayGo && (oldest == connections_.end() || each->second.lastMessage < oldest->second.lastMessage)) {
      oldest = each;
    }
  }
  // There is one: no more messages wait than `mostOfAll`.
  connections_.erase(oldest);
}

void MessageAdmission::answered(const std::string& connection) {
  if (const auto found = connections_.find(connection); found != connections_.end() && found->second.waiting > 0) {
    --found->second.waiting;
  }
}

void MessageAdmission::identified(const FanControlHelperCaller& caller) {
  if (const auto found = connections_.find(caller.connectionName); found != connections_.end()) {
    found->second.caller = caller;
  }
}

const FanControlHelperCaller* MessageAdmission::caller(const std::string& connection) const {
  const auto found = connections_.find(connection);
  return found != connections_.end() && found->second.caller ? &*found->second.caller : nullptr;
}

void MessageAdmission::gone(const std::string& connection) {
  connections_.erase(connection);
  if (connection == holder_) {
    holder_.clear();
  }
}

}  // namespace halcyra
