#pragma once

#include <QWidget>

namespace halcyra {

/// The ramp that two temperatures make, with its axis texts. Accessible name: the ramp in words.
class CurvePreview : public QWidget {
  Q_OBJECT

 public:
  explicit CurvePreview(QWidget* parent = nullptr);

  /// °C: ramp start and full speed, in any order.
  void setCurve(double low, double high);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void drawGrid(QPainter& painter, const QRectF& canvas) const;
  void drawRamp(QPainter& painter, const QRectF& canvas) const;
  void drawTexts(QPainter& painter, const QRectF& canvas) const;

  /// As high as the texts need at this width, whatever they say.
  int heightFor(int width) const;

  double low_ = 0;
  double high_ = 0;
};

}  // namespace halcyra
