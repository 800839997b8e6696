#include <optional>

#include "gtest/gtest.h"

#include "App/Published.h"

namespace halcyra {

TEST(Published, announcesBeforeItStoresAndOnlyChanges) {
  ChangeSignal signal;
  Published<int> value(signal, 1);
  std::vector<int> seen;
  const auto subscription = signal.observe([&] { seen.push_back(*value); });
  value = 2;
  value = 2;
  value.mutate([](int& number) { number = 5; });
  EXPECT_EQ(seen, (std::vector<int>{1, 2}));
  EXPECT_EQ(*value, 5);
}

TEST(Published, observersComeAndGoWithinAnAnnouncement) {
  ChangeSignal signal;
  int first = 0, second = 0, late = 0;
  std::optional<ChangeSignal::Subscription> own;
  ChangeSignal::Subscription added;
  own = signal.observe([&] {
    ++first;
    own.reset();
    added = signal.observe([&] { ++late; });
  });
  const auto other = signal.observe([&] { ++second; });
  signal.announce();
  signal.announce();
  EXPECT_EQ(first, 1) << "an observer that has ended its subscription must not be called again";
  EXPECT_EQ(second, 2) << "the observer after it must be called both times";
  EXPECT_GE(late, 1);
}

TEST(Published, subscriptionMayOutliveTheSignal) {
  ChangeSignal::Subscription subscription;
  {
    ChangeSignal signal;
    subscription = signal.observe([] {});
  }
  subscription = ChangeSignal::Subscription();
}

}  // namespace halcyra
