#pragma once

#include <QAbstractScrollArea>
#include <QScrollBar>

namespace halcyra {

/// A vertical scroll bar that stands over the content of its area instead of beside it, so that the content keeps its
/// width whether or not there is something to scroll. Takes the place of the area's own bar and belongs to the area.
class OverlayScrollBar : public QScrollBar {
  Q_OBJECT

 public:
  explicit OverlayScrollBar(QAbstractScrollArea& area);

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void follow();

  QAbstractScrollArea& area_;
};

}  // namespace halcyra
