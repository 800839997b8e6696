#include "UI/Controls/FocusKeeper.h"

#include <QApplication>
#include <QWidget>

namespace halcyra {

namespace {

const char* const waitsProperty = "waitsForFocus";

void letGo(QWidget* widget) {
  QWidget* const focused = widget->window()->focusWidget();
  if (focused == nullptr || (focused != widget && !widget->isAncestorOf(focused))) return;
  focused->setProperty(waitsProperty, true);
  widget->window()->setFocus(Qt::OtherFocusReason);
}

void takeBack(QWidget* widget) {
  if (!widget->property(waitsProperty).toBool()) return;
  widget->setProperty(waitsProperty, false);
  const QWidget* const focused = widget->window()->focusWidget();
  // As if it had never gone: with its ring.
  if (focused == nullptr || focused == widget->window()) widget->setFocus(Qt::TabFocusReason);
}

}  // namespace

void setEnabledKeepingFocus(QWidget* widget, bool enabled) {
  if (!enabled && widget->isEnabled()) letGo(widget);
  widget->setEnabled(enabled);
  if (enabled) takeBack(widget);
}

void setVisibleKeepingFocus(QWidget* widget, bool visible) {
  if (!visible && widget->isVisible()) letGo(widget);
  widget->setVisible(visible);
}

}  // namespace halcyra
