#include "UI/ZoneRail.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "Helpers/TemperatureGaugeScale.h"
#include "UI/TemperatureGaugeState.h"
#include "UI/Theme.h"
#include "UI/ZoneGaugeColors.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr double railHeight = 4;
constexpr double gapWidth = 2;
constexpr double dotDiameter = 8;
constexpr double ringWidth = 2;
constexpr int preferredWidth = 152;
constexpr int preferredHeight = 16;
/// Of the scale: a gap this close to the dot would look like a flaw of its ring.
constexpr double gapClearance = 0.07;

}  // namespace

ZoneRail::ZoneRail(QWidget* parent) : QWidget(parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ZoneRail::setTemperature(const std::optional<double>& temperature) {
  if (temperature == temperature_) return;
  temperature_ = temperature;
  update();
}

QSize ZoneRail::sizeHint() const {
  return {preferredWidth, preferredHeight};
}

QSize ZoneRail::minimumSizeHint() const {
  return {48, preferredHeight};
}

void ZoneRail::paintEvent(QPaintEvent*) {
  const Theme& theme = Theme::current();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const double middle = height() / 2.0;
  painter.setBrush(theme.track);
  painter.drawRoundedRect(QRectF(0, middle - railHeight / 2, width(), railHeight), railHeight / 2, railHeight / 2);

  const std::optional<ZoneColor> color = temperature_ ? TemperatureZone::colorFor(*temperature_) : std::nullopt;
  const double fraction = TemperatureGaugeScale::fraction(temperature_.value_or(0));
  for (const TemperatureZone& zone : TemperatureZone::all()) {
    const double boundary = TemperatureGaugeScale::fraction(zone.upper);
    if (boundary >= 1 || (color && std::abs(boundary - fraction) < gapClearance)) continue;
    painter.fillRect(
        QRectF(std::round(boundary * width()) - gapWidth / 2, middle - railHeight / 2, gapWidth, railHeight),
        theme.panel);
  }
  if (!color) return;
  constexpr double radius = dotDiameter / 2 + ringWidth;
  const QPointF center(std::clamp(fraction * width(), radius, std::max(radius, width() - radius)), middle);
  painter.setBrush(theme.panel);
  painter.drawEllipse(center, radius, radius);
  painter.setBrush(zoneFill(*color));
  painter.drawEllipse(center, dotDiameter / 2, dotDiameter / 2);
}

}  // namespace halcyra
