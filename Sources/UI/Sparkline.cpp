#include "UI/Sparkline.h"

#include <QPainter>
#include <QPolygonF>

#include "UI/Charts/TrendLine.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int sparklineWidth = 72;
constexpr int sparklineHeight = 18;
constexpr double strokeWidth = 1.4;

}  // namespace

MenuBarSparkline::MenuBarSparkline(QWidget* parent) : QWidget(parent) {
  setObjectName("menuBarSparkline");
  setAccessibleName(QStringLiteral("Fan curve temperature trend"));
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setFixedSize(sparklineWidth, sparklineHeight);
}

void MenuBarSparkline::setSamples(const std::vector<HistorySample>& samples) {
  std::vector<SparklinePoint> points = sparklinePoints(samples, sparklineWidth, sparklineHeight);
  if (points == points_) return;
  points_ = std::move(points);
  update();
}

QSize MenuBarSparkline::sizeHint() const {
  return {sparklineWidth, sparklineHeight};
}

void MenuBarSparkline::paintEvent(QPaintEvent*) {
  if (points_.empty()) return;
  // The stroke's outer half stays within the widget.
  const QRectF area = QRectF(rect()).marginsRemoved({1, 1, 1, 1});
  QPolygonF line;
  line.reserve(static_cast<qsizetype>(points_.size()));
  for (const SparklinePoint& point : points_) {
    line << QPointF(area.left() + point.x * area.width() / width(), area.top() + point.y * area.height() / height());
  }
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  drawTrendLine(painter, line, Theme::current().data, strokeWidth);
}

}  // namespace halcyra
