#include "UI/Controls/RowButton.h"

#include <QKeyEvent>

#include "UI/Controls/FocusRing.h"

namespace halcyra {

RowButton::RowButton(QWidget* parent) : QAbstractButton(parent) {
  setFocusPolicy(Qt::StrongFocus);
  setAttribute(Qt::WA_Hover);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

bool RowButton::event(QEvent* event) {
  // Return does nothing on a plain button.
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      click();
      return true;
    }
  }
  return QAbstractButton::event(event);
}

void RowButton::focusInEvent(QFocusEvent* event) {
  showsFocus_ = showsFocus(*event, showsFocus_);
  QAbstractButton::focusInEvent(event);
}

void RowButton::drawFocus(QPainter& painter) const {
  if (hasFocus() && showsFocus_) drawFocusRing(painter, rect());
}

}  // namespace halcyra
