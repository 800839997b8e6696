#include "Platform/Linux/PlainMainQueue.h"

#include <utility>

namespace halcyra {

PlainMainQueue::PlainMainQueue() : loop_(std::make_shared<TaskLoop>()) {}

PlainMainQueue::~PlainMainQueue() {
  loop_->close();
}

void PlainMainQueue::run() {
  loop_->run();
}

void PlainMainQueue::stop() {
  loop_->stop();
}

void PlainMainQueue::close() {
  loop_->close();
}

void PlainMainQueue::async(std::function<void()> work) {
  loop_->async(std::move(work));
}

void PlainMainQueue::sync(const std::function<void()>& work) {
  loop_->sync(work);
}

std::unique_ptr<Timer> PlainMainQueue::startTimer(Seconds first, Seconds period, Seconds /*leeway*/,
                                                  std::function<void()> fire) {
  return loop_->startTimer(first, period, std::move(fire));
}

}  // namespace halcyra
