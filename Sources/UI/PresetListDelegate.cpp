#include "UI/PresetListDelegate.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>

#include "UI/Controls/FocusRing.h"
#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/PresetListModel.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int listRowHeight = 30;
constexpr int rowGap = 1;
/// Right of the rows.
constexpr int scrollBarSpace = 12;
/// With the line between the built-in presets and the user's own.
constexpr int groupGap = 13;
constexpr int listPadding = 9;
constexpr int listIconSize = 16;
constexpr int listTextLeft = listPadding + listIconSize + 10;

/// The dot of a preset with unsaved edits.
constexpr double draftMarkRadius = 3.5;
constexpr int draftMarkSpace = 14;

const char* const filledProperty = "isFilled";

}  // namespace

PresetListDelegate::PresetListDelegate(const PresetListModel& model, QObject* parent)
    : QStyledItemDelegate(parent), model_(model) {}

QRect PresetListDelegate::rowRect(const QRect& item, const QModelIndex& index) const {
  const PresetListRow* const row = model_.row(index);
  const int top = row != nullptr && row->startsUserPresets ? groupGap : 0;
  return item.adjusted(0, top + rowGap, -scrollBarSpace, -rowGap);
}

QSize PresetListDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
  const PresetListRow* const row = model_.row(index);
  const int extra = row != nullptr && row->startsUserPresets ? groupGap : 0;
  return {100, listRowHeight + 2 * rowGap + extra};
}

void PresetListDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const PresetListRow* const row = model_.row(index);
  if (row == nullptr) return;
  const Theme& theme = Theme::current();
  const QRect place = rowRect(option.rect, index);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  if (row->startsUserPresets) {
    const double y = option.rect.top() + groupGap / 2.0;
    painter->setPen(QPen(theme.hairStrong, 1));
    painter->drawLine(QPointF(place.left() + listPadding, y), QPointF(place.right() - listPadding, y));
  }
  const bool isSelected = option.state & QStyle::State_Selected;
  const bool isHovered = option.state & QStyle::State_MouseOver;
  const bool isWindowActive = option.widget == nullptr || option.widget->isActiveWindow();
  painter->setPen(Qt::NoPen);
  if (isSelected || isHovered) {
    painter->setBrush(!isSelected ? theme.rowHover : isWindowActive ? theme.accentTint : theme.hairStrong);
    painter->drawRoundedRect(place, focusRadius, focusRadius);
  }
  if (showsFocus_ && (option.state & QStyle::State_HasFocus)) drawFocusRing(*painter, place);
  const double ratio = painter->device()->devicePixelRatioF();
  painter->drawPixmap(place.left() + listPadding, place.center().y() - listIconSize / 2 + 1,
                      iconPixmap(textOf(row->icon),
                                 !row->obstacle.empty()         ? theme.textDis
                                 : isSelected && isWindowActive ? theme.accent
                                                                : theme.text2,
                                 listIconSize, ratio));
  painter->setFont(textFont(isSelected ? TextStyle::headline : TextStyle::body));
  painter->setPen(row->obstacle.empty() ? theme.text : theme.textDis);
  QRect text = place.adjusted(listTextLeft, 0, -listPadding, 0);
  if (row->hasDraft) {
    painter->save();
    painter->setPen(Qt::NoPen);
    painter->setBrush(theme.warn);
    painter->drawEllipse(QPointF(text.right() - draftMarkRadius, text.center().y() + 0.5), draftMarkRadius,
                         draftMarkRadius);
    painter->restore();
    text.setRight(text.right() - draftMarkSpace);
  }
  const QString name = QFontMetrics(painter->font()).elidedText(textOf(row->name), Qt::ElideRight, text.width());
  painter->drawText(text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, name);
  painter->restore();
}

QWidget* PresetListDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex&) const {
  auto* const field = new QLineEdit(parent);
  field->setObjectName(QStringLiteral("renameField"));
  field->setPlaceholderText(textOf(PresetListText::renamePrompt));
  field->setAccessibleName(textOf(PresetListText::renamePrompt));
  return field;
}

void PresetListDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
  // Once: a change of the library meanwhile must not take away what is being typed.
  if (editor->property(filledProperty).toBool()) return;
  editor->setProperty(filledProperty, true);
  auto* const field = static_cast<QLineEdit*>(editor);
  field->setText(index.data(Qt::EditRole).toString());
  field->selectAll();
}

bool PresetListDelegate::eventFilter(QObject* object, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Tab || key == Qt::Key_Backtab) {
      auto* const field = static_cast<QWidget*>(object);
      emit commitData(field);
      emit closeEditor(field, QAbstractItemDelegate::NoHint);
      return true;
    }
  }
  return QStyledItemDelegate::eventFilter(object, event);
}

void PresetListDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                              const QModelIndex& index) const {
  editor->setGeometry(rowRect(option.rect, index).adjusted(listTextLeft - listPadding, 0, 0, 0));
}

}  // namespace halcyra
