#include "UI/Controls/PaneScrolling.h"

#include <QCoreApplication>
#include <QEvent>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <algorithm>

namespace halcyra {

namespace {

/// Pixels left free beside what was scrolled to.
constexpr int scrollMargin = 12;
constexpr const char* holdProperty = "holdsScrollPosition";

QScrollArea* paneOf(QWidget& widget) {
  for (QWidget* each = widget.parentWidget(); each != nullptr; each = each->parentWidget()) {
    if (auto* const pane = qobject_cast<QScrollArea*>(each)) return pane;
  }
  return nullptr;
}

/// Gives the pane its natural length back when the widget for which it was held has gone.
class HoldUntilHidden : public QObject {
 public:
  HoldUntilHidden(QScrollArea& pane, QWidget& widget) : QObject(&pane), pane_(pane) {
    widget.installEventFilter(this);
    connect(pane.verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this](int position) { release(position == 0 ? 0 : position + pane_.viewport()->height()); });
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::HideToParent) release(0);
    return QObject::eventFilter(watched, event);
  }

 private:
  void release(int height) {
    if (pane_.widget() != nullptr && pane_.widget()->minimumHeight() > height) pane_.widget()->setMinimumHeight(height);
  }

  QScrollArea& pane_;
};

}  // namespace

void scrollIntoView(QWidget& widget) {
  QTimer::singleShot(0, &widget, [&widget] {
    QScrollArea* const pane = paneOf(widget);
    if (pane == nullptr || pane->widget() == nullptr) return;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    QScrollBar* const bar = pane->verticalScrollBar();
    const int top = widget.mapTo(pane->widget(), QPoint(0, 0)).y() - scrollMargin;
    const int bottom = top + widget.height() + 2 * scrollMargin;
    const int height = pane->viewport()->height();
    const int least = bottom - height;
    bar->setValue(std::min(std::max(bar->value(), least), top));
  });
}

void keepScrollPosition(QWidget& widget) {
  QScrollArea* const pane = paneOf(widget);
  if (pane == nullptr || pane->widget() == nullptr) return;
  QScrollBar* const bar = pane->verticalScrollBar();
  if (bar->value() == 0) return;
  pane->widget()->setMinimumHeight(bar->value() + pane->viewport()->height());
  if (pane->property(holdProperty).toBool()) return;
  pane->setProperty(holdProperty, true);
  new HoldUntilHidden(*pane, widget);
}

}  // namespace halcyra
