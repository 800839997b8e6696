#pragma once

#include <QColor>
#include <QPolygonF>

class QPainter;

namespace halcyra {

/// Draws a smoothed polyline `width` pixels thick. The painter's own stroker takes time with the square of how much a
/// line zigzags; this takes time with its length, which keeps hours of noisy history cheap. The colour is opaque.
void drawTrendLine(QPainter& painter, const QPolygonF& line, const QColor& color, double width);

/// The outline of the space between `line` (x ascending) and `bottom`, no finer than two pixels.
QPolygonF areaUnder(const QPolygonF& line, double bottom);

}  // namespace halcyra
