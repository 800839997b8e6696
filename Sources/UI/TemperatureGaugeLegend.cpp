#include "UI/TemperatureGaugeLegend.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>

#include "UI/Fonts.h"
#include "UI/TemperatureGaugeState.h"
#include "UI/Theme.h"
#include "UI/ZoneGaugeColors.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int lineHeight = 18;
constexpr int swatchSize = 9;
constexpr int swatchGap = 6;
constexpr int leastEntryGap = 12;
constexpr int greatestEntryGap = 20;

QString entryText(const TemperatureZone& zone) {
  return QString::fromStdString(zone.name + " " + zone.rangeLabel);
}

int entryWidth(const TemperatureZone& zone) {
  return swatchSize + swatchGap + QFontMetrics(textFont(TextStyle::caption2)).horizontalAdvance(entryText(zone));
}

}  // namespace

TemperatureGaugeLegend::TemperatureGaugeLegend(QWidget* parent) : QWidget(parent) {
  setObjectName("temperatureGaugeLegend");
  QStringList texts;
  for (const TemperatureZone& zone : TemperatureZone::all()) texts << entryText(zone);
  setAccessibleName(texts.join(QStringLiteral(", ")));
  // Not fixed: that would be the height of one line.
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Minimum);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

std::vector<QRect> TemperatureGaugeLegend::layOut(int width) const {
  int total = 0;
  for (const TemperatureZone& zone : TemperatureZone::all()) total += entryWidth(zone);
  const int gaps = static_cast<int>(TemperatureZone::all().size()) - 1;
  const int gap = std::clamp((width - total) / gaps, leastEntryGap, greatestEntryGap);
  std::vector<QRect> places;
  QPoint next(0, 0);
  for (const TemperatureZone& zone : TemperatureZone::all()) {
    const int needed = entryWidth(zone);
    if (next.x() > 0 && next.x() + needed > width) next = QPoint(0, next.y() + lineHeight);
    places.emplace_back(next, QSize(needed, lineHeight));
    next.rx() += needed + gap;
  }
  return places;
}

int TemperatureGaugeLegend::heightForWidth(int width) const {
  return layOut(width).back().bottom() + 1;
}

QSize TemperatureGaugeLegend::sizeHint() const {
  int width = 0;
  for (const TemperatureZone& zone : TemperatureZone::all()) width += entryWidth(zone) + leastEntryGap;
  return {width, lineHeight};
}

QSize TemperatureGaugeLegend::minimumSizeHint() const {
  int widest = 0;
  for (const TemperatureZone& zone : TemperatureZone::all()) widest = std::max(widest, entryWidth(zone));
  return {widest, lineHeight};
}

void TemperatureGaugeLegend::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setFont(textFont(TextStyle::caption2));
  const std::vector<QRect> places = layOut(width());
  for (std::size_t i = 0; i < places.size(); ++i) {
    const TemperatureZone& zone = TemperatureZone::all()[i];
    const QRect& place = places[i];
    painter.setPen(Qt::NoPen);
    painter.setBrush(zoneFill(zone.color));
    painter.drawRoundedRect(QRectF(place.left(), place.center().y() - swatchSize / 2.0 + 0.5, swatchSize, swatchSize),
                            2, 2);
    painter.setPen(Theme::current().text);
    painter.drawText(place.adjusted(swatchSize + swatchGap, 0, 1, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     entryText(zone));
  }
}

}  // namespace halcyra
