#pragma once

#include <QWidget>
#include <optional>
#include <vector>

#include "UI/CurvePreviewState.h"

namespace halcyra {

/// The ramp that two temperatures make, with its axis texts. Its two points are dragged with the mouse; with the focus,
/// Left and Right move one of them, Up and Down choose which. Accessible name: the ramp in words.
class CurvePreview : public QWidget {
  Q_OBJECT

 public:
  explicit CurvePreview(QWidget* parent = nullptr);

  /// °C: ramp start and full speed, in any order.
  void setCurve(double low, double high);
  /// The fans whose present temperatures stand on the curve.
  void setReadings(const std::vector<CurveReading>& readings);
  /// Where a point of the curve stands in the widget.
  QPointF pointOf(EditorBound bound) const;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 signals:
  /// The user has moved a point; °C.
  void pointMoved(EditorBound bound, double temperature);

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  void drawGrid(QPainter& painter, const QRectF& canvasArea) const;
  void drawRamp(QPainter& painter, const QRectF& canvasArea) const;
  void drawMarks(QPainter& painter, const QRectF& canvasArea) const;
  void drawPoints(QPainter& painter, const QRectF& canvasArea) const;
  void drawTexts(QPainter& painter, const QRectF& canvasArea) const;
  QRectF canvas() const;
  QPointF placeOf(const CurveMark& mark) const;
  /// The point that a press at `place` takes hold of.
  std::optional<EditorBound> pointAt(const QPointF& place) const;
  void movePoint(EditorBound bound, double temperature);
  void choosePoint(EditorBound bound);
  void refreshMarks();
  void refreshAccessibility();

  /// As high as the texts need at this width, whatever they say.
  int heightFor(int width) const;

  double low_ = 0;
  double high_ = 0;
  std::vector<CurveReading> readings_;
  std::vector<CurveMark> marks_;
  /// The point that the keys move.
  EditorBound chosen_ = EditorBound::low;
  std::optional<EditorBound> dragged_;
  std::optional<EditorBound> hovered_;
  bool showsFocus_ = false;
};

}  // namespace halcyra
