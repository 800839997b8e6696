#pragma once

#include <QComboBox>
#include <QStyledItemDelegate>

namespace halcyra {

/// Draws the list of a picker as a menu: a tick before the option that is chosen, and lines between groups.
class PickerDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  /// Belongs to the picker.
  explicit PickerDelegate(QComboBox& picker);

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  const QComboBox& picker_;
};

}  // namespace halcyra
