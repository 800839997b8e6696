#include "Platform/Linux/LoopQueue.h"

#include <utility>

#include "Platform/Precondition.h"
#include "Platform/QueueParts.h"

namespace halcyra {

LoopQueue::LoopQueue(std::string label) : loop_(std::make_shared<TaskLoop>()), label_(std::move(label)) {}

void LoopQueue::async(std::function<void()> work) {
  loop_->async(std::move(work));
}

void LoopQueue::sync(const std::function<void()>& work) {
  precondition(!loop_->isCurrentThread(), "a queue cannot wait for itself");
  runAndWait(*this, work);
}

std::unique_ptr<Timer> LoopQueue::startTimer(Seconds first, Seconds period, Seconds /*leeway*/,
                                             std::function<void()> fire) {
  return loop_->startTimer(first, period, std::move(fire));
}

}  // namespace halcyra
