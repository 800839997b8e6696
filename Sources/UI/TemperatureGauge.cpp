#include "UI/TemperatureGauge.h"

#include <QEasingCurve>
#include <QHBoxLayout>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "Helpers/TemperatureGaugeScale.h"
#include "UI/Icons.h"
#include "UI/Motion.h"
#include "UI/TemperatureGaugeLegend.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"
#include "UI/ZoneGaugeColors.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int markerOverhang = 4;
constexpr double markerWidth = 3;
constexpr double haloWidth = 7;
constexpr double zoneGap = 2;
constexpr int minimumBarWidth = 120;
constexpr double absentOpacity = 0.25;
/// A shorter way is not worth an animation.
constexpr double leastAnimatedDistance = 1;

/// Of the spring; its damping fraction is 1.
constexpr double springResponse = 0.36;
/// After this long the spring has come to rest, to the pixel.
constexpr int springMilliseconds = 540;
constexpr int frameMilliseconds = 30;

/// The critically damped spring's way, of 1, after the part `progress` of its time.
double springProgress(double progress) {
  if (progress >= 1) return 1;
  const double angle = 2 * std::numbers::pi / springResponse * (progress * springMilliseconds / 1000.0);
  return 1 - (1 + angle) * std::exp(-angle);
}

}  // namespace

TemperatureGaugeBar::TemperatureGaugeBar(int height, QWidget* parent) : QWidget(parent), barHeight_(height) {
  setObjectName("temperatureGaugeBar");
  setAccessibleName(QStringLiteral("Hottest sensor temperature gauge"));
  setAccessibleDescription(QString::fromStdString(gaugeAccessibleValue(temperature_)));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setFixedHeight(barHeight_ + 2 * markerOverhang);
  QEasingCurve spring;
  spring.setCustomType(springProgress);
  animation_.setEasingCurve(spring);
  animation_.setDuration(springMilliseconds);
  connect(&animation_, &QVariantAnimation::valueChanged, this,
          [this](const QVariant& value) { followSpring(value.toDouble()); });
}

void TemperatureGaugeBar::setSurface(ColorOf color) {
  surface_ = color;
  setAttribute(Qt::WA_OpaquePaintEvent, color != nullptr);
  update();
}

void TemperatureGaugeBar::setTemperature(const std::optional<double>& temperature) {
  if (temperature == temperature_) return;
  temperature_ = temperature;
  setAccessibleDescription(QString::fromStdString(gaugeAccessibleValue(temperature)));
  animation_.stop();
  const bool isFar =
      temperature && animatedTemperature_ &&
      std::abs(markerPosition(*temperature) - markerPosition(*animatedTemperature_)) >= leastAnimatedDistance;
  if (!isFar || !isVisible() || !isMotionWanted(*this)) {
    moveMarker(temperature);
    return;
  }
  shownTime_ = -frameMilliseconds;
  animation_.setStartValue(*animatedTemperature_);
  animation_.setEndValue(*temperature);
  animation_.start();
}

void TemperatureGaugeBar::followSpring(double temperature) {
  if (animation_.state() != QAbstractAnimation::Running || !temperature_) return;
  const int time = animation_.currentTime();
  const bool isThere = time >= animation_.duration() || markerPosition(temperature) == markerPosition(*temperature_);
  // No eye sees more pictures than this of a bar that moves by a few pixels.
  if (!isThere && time - shownTime_ < frameMilliseconds) return;
  shownTime_ = time;
  if (isThere && time < animation_.duration()) animation_.stop();
  moveMarker(isThere ? *temperature_ : temperature);
}

void TemperatureGaugeBar::moveMarker(const std::optional<double>& temperature) {
  const std::optional<double> previous = animatedTemperature_;
  animatedTemperature_ = temperature;
  if (previous.has_value() != temperature.has_value()) {
    update();
  } else if (temperature && markerPosition(*previous) != markerPosition(*temperature)) {
    for (const double shown : {*previous, *temperature}) {
      update(static_cast<int>(std::floor(markerPosition(shown) - haloWidth / 2)) - 1, 0,
             static_cast<int>(haloWidth) + 3, height());
    }
  }
}

double TemperatureGaugeBar::markerPosition(double temperature) const {
  const double position = TemperatureGaugeScale::fraction(temperature) * width();
  const double wholePixels = std::round(position * devicePixelRatioF()) / devicePixelRatioF();
  return std::clamp(wholePixels, markerWidth / 2, width() - markerWidth / 2);
}

QSize TemperatureGaugeBar::sizeHint() const {
  return {2 * minimumBarWidth, barHeight_ + 2 * markerOverhang};
}

QSize TemperatureGaugeBar::minimumSizeHint() const {
  return {minimumBarWidth, barHeight_ + 2 * markerOverhang};
}

void TemperatureGaugeBar::paintEvent(QPaintEvent* event) {
  QPainter painter(this);
  if (surface_ != nullptr) painter.fillRect(event->rect(), surface_());
  drawZones(painter);
  if (!animatedTemperature_) return;
  const double position = markerPosition(*animatedTemperature_);
  const double top = markerOverhang;
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::current().text);
  painter.drawRoundedRect(QRectF(position - markerWidth / 2, 0, markerWidth, top * 2 + barHeight_), 1.5, 1.5);
}

void TemperatureGaugeBar::drawZones(QPainter& painter) {
  const std::tuple wanted(size(), devicePixelRatioF(), temperature_.has_value(), Theme::isDark());
  if (zonesAre_ != wanted) {
    zones_ = makeZones();
    zonesAre_ = wanted;
  }
  if (animatedTemperature_) {
    const double position = markerPosition(*animatedTemperature_);
    // Left out rather than painted over, so that any surface behind the gauge shows through.
    const QRect halo = QRectF(position - haloWidth / 2, 0, haloWidth, height()).toAlignedRect();
    painter.setClipRegion(QRegion(rect()) - halo);
  }
  painter.drawPixmap(0, 0, zones_);
  painter.setClipping(false);
}

QPixmap TemperatureGaugeBar::makeZones() const {
  const double ratio = devicePixelRatioF();
  QPixmap pixmap(QSizeF(width() * ratio, height() * ratio).toSize());
  pixmap.setDevicePixelRatio(ratio);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setOpacity(temperature_ ? 1.0 : absentOpacity);
  const double radius = std::min(barHeight_ / 2.0, 6.0);
  QPainterPath outline;
  outline.addRoundedRect(QRectF(0, markerOverhang, width(), barHeight_), radius, radius);
  for (const TemperatureZone& zone : TemperatureZone::all()) {
    const double left = std::round(TemperatureGaugeScale::fraction(zone.lower) * width());
    const double right = std::round(TemperatureGaugeScale::fraction(zone.upper) * width());
    QPainterPath segment;
    const double leftGap = left > 0 ? zoneGap / 2 : 0;
    const double rightGap = right < width() ? zoneGap / 2 : 0;
    segment.addRect(QRectF(left + leftGap, 0, right - left - leftGap - rightGap, height()));
    painter.fillPath(outline.intersected(segment), zoneFill(zone.color));
  }
  return pixmap;
}

TemperatureGaugeView::TemperatureGaugeView(Header header, int barHeight, QWidget* parent) : QWidget(parent) {
  setObjectName("temperatureGaugeView");
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  if (header == Header::shown) layout->addWidget(makeHeader());
  bar_ = new TemperatureGaugeBar(barHeight, this);
  bar_->setSurface([] { return Theme::current().window; });
  layout->addWidget(bar_);
  layout->addWidget(new TemperatureGaugeLegend(this));
  status_ = makeWrappedLabel(this, TextRole::secondary);
  status_->setObjectName("temperatureGaugeStatus");
  status_->setText(status(std::nullopt));
  layout->addWidget(status_);
}

QWidget* TemperatureGaugeView::makeHeader() {
  auto* header = new QWidget(this);
  auto* layout = new QHBoxLayout(header);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(6);
  auto* presetIcon = new IconLabel(QStringLiteral("sliders"), header);
  presetName_ = makeLabel(header, "temperatureGaugePreset", TextRole::secondary);
  presetName_->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
  layout->addWidget(makeLabel(header, TextRole::headline, "Hottest Live Sensor"));
  layout->addStretch();
  layout->addWidget(presetIcon);
  layout->addWidget(presetName_);
  return header;
}

void TemperatureGaugeView::setTemperature(const std::optional<double>& temperature) {
  bar_->setTemperature(temperature);
  status_->setText(status(temperature));
}

void TemperatureGaugeView::setActivePresetName(const QString& name) {
  if (presetName_ != nullptr) presetName_->setText(name);
}

void TemperatureGaugeView::setSamplingInterval(double seconds) {
  bar_->setSamplingInterval(seconds);
}

QString TemperatureGaugeView::status(const std::optional<double>& temperature) {
  return QString::fromStdString(temperatureStatus(temperature));
}

}  // namespace halcyra
