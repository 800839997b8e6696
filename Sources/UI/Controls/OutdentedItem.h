#pragma once

#include <QWidgetItem>

namespace halcyra {

/// Pixels by which an icon button reaches beyond its picture.
inline constexpr int iconButtonInset = 4;

/// A widget that hangs out of its place in a layout, so that what it paints is in line with what stands above and below
/// it. Layouts themselves know no negative margins.
class OutdentedItem : public QWidgetItem {
 public:
  /// Pixels. The widget has to be a child of the layout's widget already.
  OutdentedItem(QWidget* widget, int left, int right) : QWidgetItem(widget), left_(left), right_(right) {}

  void setGeometry(const QRect& place) override { QWidgetItem::setGeometry(place.adjusted(-left_, 0, right_, 0)); }

 private:
  int left_;
  int right_;
};

}  // namespace halcyra
