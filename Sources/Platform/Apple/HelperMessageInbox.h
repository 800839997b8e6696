#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Apple/XPCCoding.h"
#include "Platform/FanControlHelper.h"

namespace halcyra {

/// Messages on their way to the helper, in the order in which they came; those of the client whose session is open come
/// before those of others. Safe from any thread.
class HelperMessageInbox {
 public:
  using Reply = std::function<void(HelperReply)>;
  struct Item {
    FanControlHelperCaller caller;
    HelperMessage message;
    Reply reply;
  };

  /// Counts a message of this connection as waiting; false when there are too many.
  bool admit(const std::string& connection, std::size_t mostOfConnection, std::size_t mostOfAll);
  /// One that was admitted has been answered.
  void answered(const std::string& connection);

  void put(Item item);
  /// Nothing when it is empty.
  std::optional<Item> take();

  /// Takes note of an answer: who has opened or ended the session.
  void noteAnswer(const std::string& connection, const std::string& selector, bool failed);
  void clientGone(const std::string& connection);

 private:
  std::mutex mutex_;
  std::deque<Item> items_;
  std::map<std::string, std::size_t> waiting_;
  std::string holder_;
};

/// Hands the message to the service. Returns an error, and hands nothing on, when it is not one of the helper's
/// messages with arguments of its types. Throws what the service throws.
std::optional<Error> deliver(const HelperMessage& message, const FanControlHelperCaller& caller,
                             FanControlHelperService& service, const HelperMessageInbox::Reply& reply);

}  // namespace halcyra
