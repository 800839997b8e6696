#include "Platform/Linux/ThreadQueue.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace halcyra {

namespace {

/// How much nicer than the process a queue of quality `utility` is.
constexpr int utilityNiceness = 5;

void configureThread(const std::string& label, QualityOfService quality) {
  // The kernel keeps 15 characters; the end of a reverse-DNS label is what tells queues apart.
  constexpr std::size_t longestName = 15;
  const std::string name = label.size() > longestName ? label.substr(label.size() - longestName) : label;
  pthread_setname_np(pthread_self(), name.c_str());
  if (quality == QualityOfService::utility) {
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), utilityNiceness);
  }
}

}  // namespace

ThreadQueue::ThreadQueue(std::string label, QualityOfService quality) : LoopQueue(std::move(label)) {
  thread_ = std::thread([loop = loop_, name = this->label(), quality] {
    configureThread(name, quality);
    loop->run();
  });
}

ThreadQueue::~ThreadQueue() {
  loop_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
  loop_->close();
}

}  // namespace halcyra
