#include "UI/SettingsFlowLayout.h"

#include <QWidget>
#include <algorithm>

namespace halcyra {

SettingsFlowLayout::SettingsFlowLayout(QWidget* parent, int gap) : QLayout(parent), gap_(gap) {
  setContentsMargins(0, 0, 0, 0);
}

SettingsFlowLayout::~SettingsFlowLayout() {
  qDeleteAll(items_);
}

QLayoutItem* SettingsFlowLayout::itemAt(int index) const {
  return items_.value(index, nullptr);
}

QLayoutItem* SettingsFlowLayout::takeAt(int index) {
  return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr;
}

void SettingsFlowLayout::setGeometry(const QRect& rect) {
  QLayout::setGeometry(rect);
  arrange(rect, true);
}

QSize SettingsFlowLayout::minimumSize() const {
  QSize size;
  for (const QLayoutItem* const item : items_) {
    size = size.expandedTo(item->minimumSize());
  }
  return size;
}

int SettingsFlowLayout::arrange(const QRect& rect, bool moves) const {
  int x = rect.x();
  int y = rect.y();
  int lineHeight = 0;
  for (QLayoutItem* const item : items_) {
    const QSize size = item->sizeHint();
    if (x > rect.x() && x + size.width() > rect.x() + rect.width()) {
      x = rect.x();
      y += lineHeight + gap_;
      lineHeight = 0;
    }
    if (moves) {
      const bool mirrored = parentWidget() != nullptr && parentWidget()->layoutDirection() == Qt::RightToLeft;
      const int left = mirrored ? rect.right() - (x - rect.x()) - size.width() + 1 : x;
      item->setGeometry(QRect(QPoint(left, y), size));
    }
    x += size.width() + gap_;
    lineHeight = std::max(lineHeight, size.height());
  }
  return y + lineHeight - rect.y();
}

}  // namespace halcyra
