#include "UI/Controls/Popover.h"

#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

#include "UI/Compositor.h"

namespace halcyra {

Popover::Popover(QWidget* content, QWidget* parent) : QFrame(parent, Qt::Popup | Qt::FramelessWindowHint) {
  setObjectName(QStringLiteral("popover"));
  setAttribute(Qt::WA_DeleteOnClose);
  setProperty("square", !showsTransparency());
  setAttribute(Qt::WA_TranslucentBackground, showsTransparency());
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(14, 12, 14, 12);
  layout->addWidget(content);
}

void Popover::openAt(const QWidget& anchor) {
  adjustSize();
  const QRect room = anchor.screen()->availableGeometry();
  QPoint place = anchor.mapToGlobal(QPoint(anchor.width() - width(), anchor.height() + 4));
  if (place.y() + height() > room.bottom()) place.setY(anchor.mapToGlobal(QPoint()).y() - height() - 4);
  place.setX(std::clamp(place.x(), room.left(), std::max(room.left(), room.right() - width())));
  move(place);
  show();
}

}  // namespace halcyra
