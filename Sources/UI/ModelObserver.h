#pragma once

#include <QObject>
#include <functional>

#include "App/AppModel.h"
#include "App/PresetDrafts.h"
#include "UI/Notices.h"

namespace halcyra {

/// Has a view refreshed after changes of the model: once per turn of the event loop, however much has changed.
/// Belongs to the view and ends with it; the model may end before. Main thread only.
class ModelObserver : public QObject {
  Q_OBJECT

 public:
  ModelObserver(AppModel& model, QObject* parent, std::function<void()> refresh);

  /// The view is refreshed after changes of this, too.
  void follow(PresetDrafts& drafts);
  void follow(Notices& notices);

 private:
  void schedule();

  std::function<void()> refresh_;
  AppModel::Subscription subscription_;
  ChangeSignal::Subscription draftSubscription_;
  ChangeSignal::Subscription noticeSubscription_;
  bool isScheduled_ = false;
};

}  // namespace halcyra
