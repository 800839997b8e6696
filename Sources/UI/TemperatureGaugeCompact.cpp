#include "UI/TemperatureGaugeCompact.h"

#include <QFontMetrics>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>

#include "UI/Fonts.h"
#include "UI/TemperatureGauge.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int barHeight = 6;
constexpr int textHeight = 15;
constexpr int minimumGaugeWidth = 200;

}  // namespace

CompactTemperatureGauge::CompactTemperatureGauge(std::vector<GaugeMark> boundaries, std::vector<GaugeMark> bandWords,
                                                 QWidget* parent)
    : QWidget(parent),
      boundaries_(std::move(boundaries)),
      bandWords_(std::move(bandWords)),
      bar_(new TemperatureGaugeBar(barHeight, this)) {
  setObjectName("compactTemperatureGauge");
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, textHeight, 0, textHeight);
  layout->setSpacing(0);
  layout->addWidget(bar_);
  bar_->setSurface([] { return Theme::current().card; });
}

CompactTemperatureGauge::CompactTemperatureGauge(QWidget* parent)
    : CompactTemperatureGauge(gaugeBoundaries(), gaugeBandWords(), parent) {}

void CompactTemperatureGauge::setTemperature(const std::optional<double>& temperature) {
  bar_->setTemperature(temperature);
}

void CompactTemperatureGauge::setSamplingInterval(double seconds) {
  bar_->setSamplingInterval(seconds);
}

QSize CompactTemperatureGauge::sizeHint() const {
  return {minimumGaugeWidth, bar_->sizeHint().height() + 2 * textHeight};
}

void CompactTemperatureGauge::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setFont(textFont(TextStyle::caption2));
  painter.setPen(Theme::current().text2);
  drawMarks(painter, bandWords_, 0);
  drawMarks(painter, boundaries_, height() - textHeight);
}

void CompactTemperatureGauge::drawMarks(QPainter& painter, const std::vector<GaugeMark>& marks, int top) const {
  for (const GaugeMark& mark : marks) {
    const QString text = QString::fromStdString(mark.text);
    const int textWidth = painter.fontMetrics().horizontalAdvance(text);
    const int left = static_cast<int>(mark.fraction * width()) - textWidth / 2;
    painter.drawText(QRect(std::clamp(left, 0, std::max(0, width() - textWidth)), top, textWidth, textHeight),
                     Qt::AlignCenter | Qt::TextDontClip, text);
  }
}

}  // namespace halcyra
