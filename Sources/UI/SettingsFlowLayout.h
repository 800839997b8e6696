#pragma once

#include <QLayout>
#include <QList>

namespace halcyra {

/// Places widgets side by side at their own size and goes on in a new line where the width ends.
class SettingsFlowLayout : public QLayout {
 public:
  /// `gap` in pixels between widgets and between lines.
  SettingsFlowLayout(QWidget* parent, int gap);
  ~SettingsFlowLayout() override;

  void addItem(QLayoutItem* item) override { items_.append(item); }
  int count() const override { return static_cast<int>(items_.size()); }
  QLayoutItem* itemAt(int index) const override;
  QLayoutItem* takeAt(int index) override;
  Qt::Orientations expandingDirections() const override { return {}; }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override { return arrange(QRect(0, 0, width, 0), false); }
  void setGeometry(const QRect& rect) override;
  QSize sizeHint() const override { return minimumSize(); }
  QSize minimumSize() const override;

 private:
  /// The height that the lines take; moves the widgets only with `moves`.
  int arrange(const QRect& rect, bool moves) const;

  QList<QLayoutItem*> items_;
  int gap_;
};

}  // namespace halcyra
