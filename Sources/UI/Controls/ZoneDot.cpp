#include "UI/Controls/ZoneDot.h"

#include <QPainter>

#include "UI/ZoneGaugeColors.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int dotSize = 8;

}  // namespace

ZoneDot::ZoneDot(QWidget* parent) : QWidget(parent) {
  setFixedSize(dotSize, dotSize);
}

void ZoneDot::setZone(std::optional<ZoneColor> zone) {
  if (zone == zone_) return;
  zone_ = zone;
  update();
}

void ZoneDot::paintEvent(QPaintEvent*) {
  if (!zone_) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(zoneFill(*zone_));
  painter.drawEllipse(rect());
}

}  // namespace halcyra
