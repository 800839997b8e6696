#include "UI/Controls/SidebarButton.h"

#include <QFontMetrics>
#include <QPainter>
#include <utility>

#include "UI/Controls/FocusRing.h"
#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels; those of the rows above.
constexpr int rowHeight = 30;
constexpr int padding = 9;
constexpr int textRight = 2;
constexpr int pictureSize = 16;
constexpr int textLeft = padding + pictureSize + 10;

QFont buttonFont() {
  QFont font = textFont(TextStyle::body);
  font.setWeight(QFont::Medium);
  return font;
}

}  // namespace

SidebarButton::SidebarButton(const QString& text, QString iconName, QWidget* parent)
    : RowButton(parent), iconName_(std::move(iconName)) {
  setText(text);
}

QSize SidebarButton::sizeHint() const {
  return {textLeft + QFontMetrics(buttonFont()).horizontalAdvance(text()) + textRight, rowHeight};
}

void SidebarButton::paintEvent(QPaintEvent*) {
  const Theme& theme = Theme::current();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  if (underMouse() || isDown()) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(isDown() ? theme.btnPress : theme.rowHover);
    painter.drawRoundedRect(rect(), focusRadius, focusRadius);
  }
  drawFocus(painter);
  painter.drawPixmap(padding, (height() - pictureSize) / 2,
                     iconPixmap(iconName_, theme.accent, pictureSize, devicePixelRatioF()));
  painter.setFont(buttonFont());
  painter.setPen(theme.text);
  const QRect place = rect().adjusted(textLeft, 0, -textRight, 0);
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter,
                   painter.fontMetrics().elidedText(text(), Qt::ElideRight, place.width()));
}

}  // namespace halcyra
