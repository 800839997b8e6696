#include "UI/ModelObserver.h"

#include <utility>

namespace halcyra {

ModelObserver::ModelObserver(AppModel& model, QObject* parent, std::function<void()> refresh)
    : QObject(parent), refresh_(std::move(refresh)), subscription_(model.observe([this] { schedule(); })) {}

void ModelObserver::follow(PresetDrafts& drafts) {
  draftSubscription_ = drafts.observe([this] { schedule(); });
}

void ModelObserver::schedule() {
  if (isScheduled_) return;
  isScheduled_ = true;
  QMetaObject::invokeMethod(
      this,
      [this] {
        // Cleared first: what the refresh itself changes is shown in the next turn.
        isScheduled_ = false;
        refresh_();
      },
      Qt::QueuedConnection);
}

}  // namespace halcyra
