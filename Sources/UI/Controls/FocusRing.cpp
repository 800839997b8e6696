#include "UI/Controls/FocusRing.h"

#include "UI/Theme.h"

namespace halcyra {

bool showsFocus(const QFocusEvent& event, bool before) {
  switch (event.reason()) {
    case Qt::TabFocusReason:
    case Qt::BacktabFocusReason:
    case Qt::ShortcutFocusReason:
      return true;
    case Qt::ActiveWindowFocusReason:
    case Qt::PopupFocusReason:
      return before;
    default:
      return false;
  }
}

void drawFocusRing(QPainter& painter, const QRect& rect) {
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(Theme::current().accent, 2));
  painter.drawRoundedRect(QRectF(rect).adjusted(1, 1, -1, -1), focusRadius - 1, focusRadius - 1);
}

}  // namespace halcyra
