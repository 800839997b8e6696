#pragma once

#include <QStyledItemDelegate>

namespace halcyra {

class PresetListModel;

/// Paints the rows of the preset library and makes the field that renames one.
class PresetListDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  PresetListDelegate(const PresetListModel& model, QObject* parent);

  /// Only the keyboard's focus is shown.
  void setShowsFocus(bool shows) { showsFocus_ = shows; }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  void setEditorData(QWidget* editor, const QModelIndex& index) const override;
  void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const override;

 protected:
  /// Tab leaves the field; the view would go on to rename the next preset.
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  QRect rowRect(const QRect& item, const QModelIndex& index) const;

  const PresetListModel& model_;
  bool showsFocus_ = false;
};

}  // namespace halcyra
