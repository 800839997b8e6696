#include "UI/RpmRail.h"

#include <QPainter>
#include <algorithm>

#include "UI/Charts/FanColors.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

constexpr int rpmRailHeight = 4;
constexpr int tickHeight = 10;
constexpr double tickWidth = 2;
constexpr double rpmHalo = 1.5;
constexpr int heightWithHalo = tickHeight + 4;
constexpr int smallestWidth = 40;
constexpr int usualWidth = 200;

}  // namespace

RpmRail::RpmRail(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void RpmRail::setFan(int index) {
  if (index == fan_) return;
  fan_ = index;
  update();
}

void RpmRail::setSpeeds(std::int64_t minimum, std::int64_t maximum, std::int64_t actual,
                        std::optional<std::int64_t> target) {
  if (minimum == minimum_ && maximum == maximum_ && actual == actual_ && target == target_) return;
  minimum_ = minimum;
  maximum_ = maximum;
  actual_ = actual;
  target_ = target;
  update();
}

QSize RpmRail::sizeHint() const {
  return {usualWidth, heightWithHalo};
}

QSize RpmRail::minimumSizeHint() const {
  return {smallestWidth, heightWithHalo};
}

double RpmRail::positionOf(std::int64_t rpm) const {
  if (maximum_ <= minimum_) return 0;
  const double fraction = static_cast<double>(rpm - minimum_) / static_cast<double>(maximum_ - minimum_);
  return std::clamp(fraction, 0.0, 1.0) * width();
}

void RpmRail::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const Theme& theme = Theme::current();
  const double middle = height() / 2.0;
  const double radius = rpmRailHeight / 2.0;
  painter.setBrush(theme.track);
  painter.drawRoundedRect(QRectF(0, middle - radius, width(), rpmRailHeight), radius, radius);
  painter.setBrush(fanColor(fan_)());
  painter.drawRoundedRect(QRectF(0, middle - radius, positionOf(actual_), rpmRailHeight), radius, radius);
  if (!target_) return;
  const double center = std::clamp(positionOf(*target_), tickWidth / 2, width() - tickWidth / 2);
  const QRectF tick(center - tickWidth / 2, middle - tickHeight / 2.0, tickWidth, tickHeight);
  painter.fillRect(tick.adjusted(-rpmHalo, -rpmHalo, rpmHalo, rpmHalo), theme.card);
  painter.fillRect(tick, theme.text);
}

}  // namespace halcyra
