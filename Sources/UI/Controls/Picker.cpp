#include "UI/Controls/Picker.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTimer>

#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int pickerRowHeight = 28;
constexpr int pickerLineHeight = 9;
constexpr int tickSize = 14;
constexpr int tickLeft = 8;
constexpr int pickerTextLeft = 30;
constexpr int pickerTextRight = 10;
constexpr double rowRadius = 5;

constexpr int startsGroupRole = Qt::UserRole + 1;

class PickerDelegate : public QStyledItemDelegate {
 public:
  explicit PickerDelegate(QComboBox& picker) : QStyledItemDelegate(&picker), picker_(picker) {}

  QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
    const int text = QFontMetrics(textFont(TextStyle::body)).horizontalAdvance(index.data().toString());
    const int line = index.data(startsGroupRole).toBool() ? pickerLineHeight : 0;
    return {pickerTextLeft + text + pickerTextRight, pickerRowHeight + line};
  }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    const Theme& theme = Theme::current();
    QRect place = option.rect;
    if (index.data(startsGroupRole).toBool()) {
      painter->fillRect(place.left() + tickLeft, place.top() + pickerLineHeight / 2, place.width() - 2 * tickLeft, 1,
                        theme.hair);
      place.setTop(place.top() + pickerLineHeight);
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
    const QRect text = place.adjusted(pickerTextLeft, 0, -pickerTextRight, 0);
    painter->drawText(text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                      painter->fontMetrics().elidedText(index.data().toString(), Qt::ElideRight, text.width()));
    painter->restore();
  }

 private:
  const QComboBox& picker_;
};

}  // namespace

Picker::Picker(QWidget* parent) : QComboBox(parent) {
  setItemDelegate(new PickerDelegate(*this));
}

void Picker::addOption(const QString& name, const QVariant& itemValue, bool startsGroup) {
  addItem(name, itemValue);
  if (startsGroup) setItemData(count() - 1, true, startsGroupRole);
}

void Picker::hidePopup() {
  hasJustClosed_ = view()->isVisible();
  QTimer::singleShot(0, this, [this] { hasJustClosed_ = false; });
  QComboBox::hidePopup();
}

void Picker::keyPressEvent(QKeyEvent* event) {
  // The list closes before the key that closes it arrives here: Escape would go on to close the window, too.
  if (hasJustClosed_ && event->matches(QKeySequence::Cancel)) return;
  QComboBox::keyPressEvent(event);
}

}  // namespace halcyra
