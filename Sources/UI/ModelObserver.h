#pragma once

#include <QObject>
#include <functional>

#include "App/AppModel.h"
#include "App/PresetDrafts.h"

namespace halcyra {

/// Has a view refreshed after changes of the model: once per turn of the event loop, however much has changed.
/// Belongs to the view and ends with it; the model may end before. Main thread only.
class ModelObserver : public QObject {
  Q_OBJECT

 public:
  ModelObserver(AppModel& model, QObject* parent, std::function<void()> refresh);

  /// The view is refreshed after changes of `drafts`, too.
  void follow(PresetDrafts& drafts);

 private:
  void schedule();

  std::function<void()> refresh_;
  AppModel::Subscription subscription_;
  ChangeSignal::Subscription draftSubscription_;
  bool isScheduled_ = false;
};

}  // namespace halcyra
