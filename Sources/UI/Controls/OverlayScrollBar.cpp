#include "UI/Controls/OverlayScrollBar.h"

#include <QEvent>

namespace halcyra {

namespace {

/// Pixels.
constexpr int barWidth = 12;

}  // namespace

OverlayScrollBar::OverlayScrollBar(QAbstractScrollArea& area) : QScrollBar(Qt::Vertical, &area), area_(area) {
  setObjectName(QStringLiteral("overlayScrollBar"));
  setFocusPolicy(Qt::NoFocus);
  area.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area.viewport()->installEventFilter(this);
  QScrollBar* const hidden = area.verticalScrollBar();
  connect(hidden, &QScrollBar::rangeChanged, this, &OverlayScrollBar::follow);
  connect(hidden, &QScrollBar::valueChanged, this, &OverlayScrollBar::follow);
  connect(this, &QScrollBar::valueChanged, hidden, &QScrollBar::setValue);
  follow();
}

bool OverlayScrollBar::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize || event->type() == QEvent::Show) follow();
  return QScrollBar::eventFilter(watched, event);
}

void OverlayScrollBar::follow() {
  const QScrollBar* const hidden = area_.verticalScrollBar();
  // Both at once: with the old value in the new range, the one bar would pull at the other.
  const int wanted = hidden->value();
  {
    const QSignalBlocker quiet(this);
    setRange(hidden->minimum(), hidden->maximum());
    setPageStep(area_.viewport()->height());
    setSingleStep(hidden->singleStep());
    setValue(wanted);
  }
  const QRect content = area_.viewport()->geometry();
  setGeometry(content.right() + 1 - barWidth, content.top(), barWidth, content.height());
  setVisible(hidden->maximum() > hidden->minimum());
  raise();
}

}  // namespace halcyra
