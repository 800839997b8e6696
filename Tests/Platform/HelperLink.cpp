#include <utility>

#include "Platform/HelperLinks.h"

namespace halcyra::test {

Link::Link()
    : service_(
          std::make_shared<MessageService>([this](const FanControlHelperCaller& caller, const std::string& selector,
                                                  const PropertyList& arguments, HelperAnswer answer) {
            note([&](Records& now) { now.messages.push_back({caller, selector, arguments, std::move(answer)}); });
          })) {}

void Link::note(const std::function<void(Records&)>& change) {
  const std::lock_guard lock(mutex_);
  change(records_);
  changed_.notify_all();
}

Link::Message Link::nextMessage() {
  await([](const Records& now) { return !now.messages.empty(); });
  return take([](Records& now) {
    Message first = now.messages.front();
    now.messages.erase(now.messages.begin());
    return first;
  });
}

void Link::serve(FanControlHelperListener& listener) {
  listener.setService(service_);
  listener.setClientGoneHandler(
      [this](const std::string& name) { note([&](Records& now) { now.gone.push_back(name); }); });
  listener.setLostHandler([this] { note([](Records& now) { ++now.losses; }); });
  listener.resume();
}

}  // namespace halcyra::test
