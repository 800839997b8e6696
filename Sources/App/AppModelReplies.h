#pragma once

#include <tuple>
#include <utility>

#include "App/AppModel.h"

/// The ways in which answers come back to the application model; for its own sources.
namespace halcyra {

template <typename Handler>
auto AppModel::onMain(Handler handler) {
  return [weak = weak_from_this(), &queue = platform_.dispatch.mainQueue(),
          handler = std::move(handler)](auto... arguments) {
    queue.async([weak, handler, arguments = std::make_tuple(std::move(arguments)...)]() mutable {
      if (const auto self = weak.lock()) {
        std::apply([&](auto&... each) { handler(*self, std::move(each)...); }, arguments);
      }
    });
  };
}

template <typename Handler>
auto AppModel::onMainWithin(std::uint64_t generation, Handler handler) {
  return onMain([generation, handler = std::move(handler)](AppModel& self, auto&&... arguments) {
    if (self.controlGeneration_ == generation) {
      handler(self, std::forward<decltype(arguments)>(arguments)...);
    }
  });
}

template <typename Handler>
HelperClient::DictionaryCompletion AppModel::onSessionStart(std::uint64_t generation, Handler handler) {
  auto answer = onMain([generation, handler = std::move(handler)](AppModel& self, const PropertyList& status,
                                                                  const std::optional<Error>& error,
                                                                  const std::optional<std::string>& sessionID) {
    if (self.controlGeneration_ == generation) {
      handler(self, status, error);
    } else if (!error && sessionID) {
      self.helper_->endSession(*sessionID, [](const std::optional<Error>&) {});
    }
  });
  return [answer, helper = std::weak_ptr(helper_)](PropertyList status, std::optional<Error> error) {
    // On the connection's thread: by the time the main queue looks, another session may have taken its place.
    const auto client = helper.lock();
    answer(std::move(status), std::move(error), client ? client->sessionID() : std::nullopt);
  };
}

}  // namespace halcyra
