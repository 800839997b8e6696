#include "UI/Controls/PickerDelegate.h"

#include <QAbstractItemView>
#include <QPainter>

#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int rowHeight = 28;
constexpr int lineHeight = 9;
constexpr int tickSize = 14;
constexpr int tickLeft = 8;
constexpr int textLeft = 30;
constexpr int textRight = 10;
constexpr double rowRadius = 5;

bool isLine(const QModelIndex& index) {
  return index.data(Qt::AccessibleDescriptionRole).toString() == QLatin1String("separator");
}

}  // namespace

PickerDelegate::PickerDelegate(QComboBox& picker) : QStyledItemDelegate(&picker), picker_(picker) {
  picker.setItemDelegate(this);
}

QSize PickerDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
  if (isLine(index)) return {0, lineHeight};
  const int text = QFontMetrics(textFont(TextStyle::body)).horizontalAdvance(index.data().toString());
  return {textLeft + text + textRight, rowHeight};
}

void PickerDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const Theme& theme = Theme::current();
  const QRect& place = option.rect;
  if (isLine(index)) {
    painter->fillRect(place.left() + tickLeft, place.center().y(), place.width() - 2 * tickLeft, 1, theme.hair);
    return;
  }
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  if (option.state & (QStyle::State_Selected | QStyle::State_MouseOver)) {
    painter->setPen(Qt::NoPen);
    painter->setBrush(theme.accentTint);
    painter->drawRoundedRect(place, rowRadius, rowRadius);
  }
  if (index.row() == picker_.currentIndex()) {
    painter->drawPixmap(
        place.left() + tickLeft, place.top() + (place.height() - tickSize) / 2,
        iconPixmap(QStringLiteral("check"), theme.accent, tickSize, painter->device()->devicePixelRatioF()));
  }
  painter->setFont(textFont(TextStyle::body));
  painter->setPen(theme.text);
  const QRect text = place.adjusted(textLeft, 0, -textRight, 0);
  painter->drawText(text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                    painter->fontMetrics().elidedText(index.data().toString(), Qt::ElideRight, text.width()));
  painter->restore();
}

}  // namespace halcyra
