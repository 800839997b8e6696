#include "UI/Controls/ActionMenu.h"

#include <QPaintEvent>
#include <QPainter>

#include "UI/Compositor.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

const char* const destructiveProperty = "isDestructive";
/// Pixels; as in the stylesheet.
constexpr int textInset = 10;
constexpr double itemRadius = 5;

}  // namespace

ActionMenu::ActionMenu(QWidget* parent) : QMenu(parent) {
  setAttribute(Qt::WA_DeleteOnClose);
  if (!showsTransparency()) return;
  setProperty("round", true);
  setWindowFlag(Qt::FramelessWindowHint);
  setAttribute(Qt::WA_TranslucentBackground);
}

QAction* ActionMenu::addDestructive(const QString& text) {
  QAction* const action = addAction(text);
  action->setProperty(destructiveProperty, true);
  return action;
}

void ActionMenu::paintEvent(QPaintEvent* event) {
  QMenu::paintEvent(event);
  // The stylesheet knows one colour for all entries.
  const Theme& theme = Theme::current();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  for (QAction* const action : actions()) {
    if (!action->property(destructiveProperty).toBool()) continue;
    const QRect place = actionGeometry(action);
    painter.fillRect(place, theme.panel);
    if (activeAction() == action) {
      painter.setPen(Qt::NoPen);
      painter.setBrush(theme.accentTint);
      painter.drawRoundedRect(place, itemRadius, itemRadius);
    }
    painter.setPen(action->isEnabled() ? theme.err : theme.textDis);
    painter.drawText(place.adjusted(textInset, 0, -textInset, 0), Qt::AlignLeft | Qt::AlignVCenter, action->text());
  }
}

}  // namespace halcyra
