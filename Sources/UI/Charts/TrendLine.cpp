#include "UI/Charts/TrendLine.h"

#include <QPaintDevice>
#include <QPainter>
#include <QPen>
#include <algorithm>
#include <vector>

namespace halcyra {

namespace {

/// Pixels.
constexpr double areaResolution = 2;
/// Device pixels: thicker lines need strokes beside each other, too.
constexpr double widthOfTwoStrokes = 2;

/// Where to draw lines of one device pixel so that they make up one of `width` device pixels.
std::vector<QPointF> strokeOffsets(double width) {
  const double reach = std::max(0.0, (width - 1) / 2);
  std::vector<QPointF> offsets{{0, -reach}, {0, reach}};
  if (width > widthOfTwoStrokes) offsets.insert(offsets.end(), {{-reach, 0}, {reach, 0}});
  return offsets;
}

}  // namespace

void drawTrendLine(QPainter& painter, const QPolygonF& line, const QColor& color, double width) {
  const double ratio = painter.device()->devicePixelRatio();
  QPen pen(color, 1, Qt::SolidLine, Qt::FlatCap, Qt::BevelJoin);
  pen.setCosmetic(true);
  painter.setPen(pen);
  painter.setBrush(Qt::NoBrush);
  for (const QPointF& offset : strokeOffsets(width * ratio)) painter.drawPolyline(line.translated(offset / ratio));
}

QPolygonF areaUnder(const QPolygonF& line, double bottom) {
  if (line.isEmpty()) return {};
  QPolygonF area{{line.first().x(), bottom}, line.first()};
  for (const QPointF& point : line) {
    if (point.x() < area.last().x() + areaResolution) {
      area.last().setY(std::min(area.last().y(), point.y()));
    } else {
      area << point;
    }
  }
  area << QPointF(line.last().x(), area.last().y()) << QPointF(line.last().x(), bottom);
  return area;
}

}  // namespace halcyra
