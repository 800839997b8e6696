#include "UI/CurvePreview.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>
#include <algorithm>
#include <cmath>
#include <functional>

#include "UI/Charts/ChartAxis.h"
#include "UI/CurvePreviewState.h"
#include "UI/Fonts.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int canvasHeight = 90;
constexpr int previewGutter = 58;
constexpr int previewGutterGap = 6;
constexpr int labelRow = 15;
constexpr int labelGap = 4;
constexpr double rampWidth = 3;
/// °C; nothing on the axis needs a longer text.
constexpr double widestNumber = 100;
constexpr float fillOpacity = 0.08F;

std::function<double(const std::string&)> measureWith(const QFont& font) {
  return [metrics = QFontMetricsF(font)](const std::string& text) {
    return std::ceil(metrics.horizontalAdvance(textOf(text)));
  };
}

}  // namespace

CurvePreview::CurvePreview(QWidget* parent) : QWidget(parent) {
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setSizePolicy(policy);
}

void CurvePreview::setCurve(double low, double high) {
  if (low == low_ && high == high_) return;
  low_ = low;
  high_ = high;
  setAccessibleName(textOf(curveDescription(low, high)));
  update();
}

QSize CurvePreview::sizeHint() const {
  return {420, heightFor(width())};
}

QSize CurvePreview::minimumSizeHint() const {
  return {200, sizeHint().height()};
}

int CurvePreview::heightFor(int width) const {
  int rows = 1;
  for (const CurvePreviewLabel& label : layOutCurveLabels(widestNumber, widestNumber, width - previewGutter,
                                                          measureWith(textFont(TextStyle::caption2)))) {
    rows = std::max(rows, label.row + 1);
  }
  return canvasHeight + labelGap + rows * labelRow;
}

void CurvePreview::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  if (event->size().width() != event->oldSize().width()) updateGeometry();
}

void CurvePreview::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF canvas(previewGutter, 0, width() - previewGutter, canvasHeight);
  drawGrid(painter, canvas);
  drawRamp(painter, canvas);
  drawTexts(painter, canvas);
}

void CurvePreview::drawGrid(QPainter& painter, const QRectF& canvas) const {
  painter.setPen(QPen(Theme::current().hair, 1));
  painter.drawRect(canvas.adjusted(0.5, 0.5, -0.5, -0.5));
  for (const double temperature : {40.0, 60.0, 80.0}) {
    const double x = sharpPosition(canvas.left() + curvePreviewX(temperature, canvas.width()));
    painter.drawLine(QPointF(x, canvas.top()), QPointF(x, canvas.bottom()));
  }
  const double middle = sharpPosition(canvas.center().y());
  painter.drawLine(QPointF(canvas.left(), middle), QPointF(canvas.right(), middle));
}

void CurvePreview::drawRamp(QPainter& painter, const QRectF& canvas) const {
  const Theme& theme = Theme::current();
  const double low = canvas.left() + curvePreviewX(low_, canvas.width());
  const double high = canvas.left() + curvePreviewX(high_, canvas.width());
  QPen marks(theme.control, 1);
  marks.setDashPattern({2, 3});
  painter.setPen(marks);
  for (const double x : {low, high})
    painter.drawLine(QPointF(sharpPosition(x), canvas.top()), QPointF(sharpPosition(x), canvas.bottom()));
  // The stroke stays within the canvas.
  const double top = canvas.top() + rampWidth / 2;
  const double bottom = canvas.bottom() - rampWidth / 2;
  QPainterPath path(QPointF(canvas.left(), bottom));
  path.lineTo(low, bottom);
  path.lineTo(high, top);
  path.lineTo(canvas.right(), top);
  QPainterPath area = path;
  area.lineTo(canvas.right(), canvas.bottom());
  area.lineTo(canvas.left(), canvas.bottom());
  QColor fill = theme.accent;
  fill.setAlphaF(fillOpacity);
  painter.setClipRect(canvas);
  painter.fillPath(area, fill);
  painter.setPen(QPen(theme.accent, rampWidth, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
  painter.setBrush(Qt::NoBrush);
  painter.drawPath(path);
  painter.setClipping(false);
}

void CurvePreview::drawTexts(QPainter& painter, const QRectF& canvas) const {
  painter.setFont(textFont(TextStyle::caption2));
  painter.setPen(Theme::current().text2);
  const QRectF column(0, 0, previewGutter - previewGutterGap, labelRow);
  painter.drawText(column, Qt::AlignRight | Qt::AlignTop, QStringLiteral("max RPM"));
  painter.drawText(column.translated(0, canvas.bottom() - labelRow), Qt::AlignRight | Qt::AlignBottom,
                   QStringLiteral("min RPM"));
  const auto measure = measureWith(painter.font());
  for (const CurvePreviewLabel& label : layOutCurveLabels(low_, high_, canvas.width(), measure)) {
    const QRectF place(canvas.left() + label.left, canvas.bottom() + labelGap + label.row * labelRow,
                       measure(label.text) + 1, labelRow);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, textOf(label.text));
  }
}

}  // namespace halcyra
