#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Platform/FanControlHelper.h"
#include "Platform/Time.h"

namespace halcyra {

/// Decides which messages a service on a bus takes on: so many at once and so many a second, for one connection, for
/// one user and for all. The connection that holds the session is measured by itself alone, so that nobody else can use
/// up what it needs. Not safe across threads.
class MessageAdmission {
 public:
  /// Messages without an answer yet. A message may carry 16 descriptors, of which a process has no more than 1024.
  static constexpr std::size_t mostOfConnection = 8;
  static constexpr std::size_t mostOfUser = 16;
  static constexpr std::size_t mostOfAll = 32;
  static constexpr std::size_t mostOfHolder = 24;
  /// Messages a second in the long run; half as many again at once.
  static constexpr double rateOfUser = 40;
  static constexpr double rateOfAll = 100;
  static constexpr double rateOfHolder = 200;
  /// Connections that are remembered; the one that has been silent for longest is forgotten for a new one.
  static constexpr std::size_t mostConnections = 128;

  /// Takes on a message of this connection, or tells why not. Connections that are not identified yet count as those of
  /// one user.
  std::optional<std::string> refusal(const std::string& connection, Instant now);
  /// A message that was taken on has been answered.
  void answered(const std::string& connection);

  /// Whose connection it is. Does nothing when it is gone.
  void identified(const FanControlHelperCaller& caller);
  /// Null for a connection that is not identified, or was forgotten.
  const FanControlHelperCaller* caller(const std::string& connection) const;
  void gone(const std::string& connection);

  /// Empty for none.
  void setHolder(const std::string& connection) { holder_ = connection; }
  const std::string& holder() const { return holder_; }

 private:
  struct Connection {
    std::optional<FanControlHelperCaller> caller;
    std::size_t waiting = 0;
    Instant lastMessage{};

    std::optional<std::uint32_t> userID() const { return caller ? std::optional(caller->userID) : std::nullopt; }
  };
  /// So many messages are left; more come with the time.
  struct Allowance {
    double left = 0;
    Instant counted{};
    bool isCounted = false;
  };

  static Allowance& allowance(Allowance& current, double rate, Instant now);
  std::optional<std::string> rateRefusal(const std::string& connection, const Connection& known, Instant now);
  void makeRoom();

  std::map<std::string, Connection> connections_;
  std::map<std::optional<std::uint32_t>, Allowance> ofUsers_;
  Allowance ofAll_;
  Allowance ofHolder_;
  std::string holder_;
};

}  // namespace halcyra
