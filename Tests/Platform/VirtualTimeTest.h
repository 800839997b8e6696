#pragma once

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// One process in virtual time, and notes of what happened when.
class VirtualTimeTest : public ::testing::Test {
 protected:
  VirtualTimeTest() : process_(scheduler_.makeProcess("application")) {}

  std::unique_ptr<Queue> makeQueue(const std::string& label) {
    return process_->makeSerialQueue(label, QualityOfService::standard);
  }
  Clock& clock() { return process_->clock(); }
  void sleep(double seconds) { clock().sleep(Seconds{seconds}); }
  double now() const { return scheduler_.elapsed().count(); }
  /// Notes `text` with the time in milliseconds.
  void note(const std::string& text) { notes_.push_back(std::to_string(std::llround(now() * 1000)) + " " + text); }
  std::vector<std::string> takeNotes() { return std::exchange(notes_, {}); }

  using Notes = std::vector<std::string>;

  Notes notes_;
  VirtualScheduler scheduler_;
  std::shared_ptr<VirtualProcess> process_;
};

/// Notes when it is destroyed.
struct Canary {
  explicit Canary(std::function<void()> action) : onDestruction(std::move(action)) {}
  ~Canary() { onDestruction(); }
  Canary(const Canary&) = delete;
  Canary& operator=(const Canary&) = delete;
  std::function<void()> onDestruction;
};

}  // namespace halcyra::test
