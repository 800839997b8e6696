#include "UI/Charts/LineChart.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>
#include <QPolygonF>
#include <algorithm>
#include <cmath>

#include "UI/Charts/ChartAxis.h"
#include "UI/Charts/TrendLine.h"
#include "UI/Fonts.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr double labelHeight = 13;
constexpr double timeRowHeight = 19;
constexpr double gutterGap = 6;
constexpr double tickLength = 3;
constexpr double lineWidth = 1.6;
constexpr double peakLabelMargin = 4;
constexpr int leastWidth = 160;
/// Of times, so that their labels keep apart.
constexpr int maximumTimes = 5;
constexpr double pixelsPerTime = 64;

const QString timeTitle = QStringLiteral("Time");

QDateTime localTime(Date date) {
  return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date.time_since_epoch().count() * 1000));
}

}  // namespace

double LineChart::Scale::x(Date date) const {
  const double span = (last - first).count();
  return span > 0 ? plot.left() + plot.width() * ((date - first).count() / span) : plot.right();
}

double LineChart::Scale::y(double value) const {
  return plot.bottom() - plot.height() * (value - ticks.front()) / (ticks.back() - ticks.front());
}

LineChart::LineChart(Options options, QWidget* parent) : QWidget(parent), options_(std::move(options)) {
  setFixedHeight(options_.height);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LineChart::setLines(std::vector<Line> lines) {
  if (lines == lines_) return;
  lines_ = std::move(lines);
  update();
}

void LineChart::setPeak(const std::optional<double>& value, const QString& text) {
  if (value == peak_ && text == peakText_) return;
  peak_ = value;
  peakText_ = text;
  update();
}

QSize LineChart::sizeHint() const {
  return {2 * leastWidth, options_.height};
}

QSize LineChart::minimumSizeHint() const {
  return {leastWidth, options_.height};
}

bool LineChart::isEmpty() const {
  return std::ranges::none_of(lines_, [](const Line& line) { return line.points.size() >= 2; });
}

LineChart::Scale LineChart::makeScale() const {
  Scale scale{{}, Date::max(), Date::min(), {}};
  double low = options_.fromZero ? 0 : HUGE_VAL;
  double high = -HUGE_VAL;
  for (const Line& line : lines_) {
    for (const HistoryPoint& point : line.points) {
      scale.first = std::min(scale.first, point.date);
      scale.last = std::max(scale.last, point.date);
      low = std::min(low, point.value);
      high = std::max(high, point.value);
    }
  }
  scale.ticks = valueTicks(low, high, options_.valueSteps, options_.maximumIntervals);
  const QFontMetricsF metrics(textFont(TextStyle::chartLabel));
  double gutter = metrics.horizontalAdvance(timeTitle);
  for (const double tick : scale.ticks) gutter = std::max(gutter, metrics.horizontalAdvance(options_.valueLabel(tick)));
  const double left = std::ceil(gutter + gutterGap);
  const double top = options_.valueTitle.isEmpty() ? std::ceil(labelHeight / 2) : labelHeight + 8;
  scale.plot = QRectF(left, top, width() - left - 1, height() - top - timeRowHeight);
  return scale;
}

void LineChart::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setFont(textFont(TextStyle::chartLabel));
  if (isEmpty()) {
    painter.setPen(Theme::current().text2);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, options_.emptyText);
    return;
  }
  const Scale scale = makeScale();
  drawGrid(painter, scale);
  drawTimes(painter, scale);
  painter.setRenderHint(QPainter::Antialiasing);
  for (const Line& line : lines_) drawLine(painter, scale, line);
  if (peak_) drawPeak(painter, scale);
}

void LineChart::drawGrid(QPainter& painter, const Scale& scale) const {
  const Theme& theme = Theme::current();
  for (const double tick : scale.ticks) {
    const double y = sharpPosition(scale.y(tick));
    painter.setPen(QPen(tick == scale.ticks.front() ? theme.control : theme.hair, 1));
    painter.drawLine(QPointF(scale.plot.left(), y), QPointF(scale.plot.right(), y));
    painter.setPen(theme.text2);
    const QRectF label(0, y - labelHeight / 2, scale.plot.left() - gutterGap, labelHeight);
    painter.drawText(label, Qt::AlignRight | Qt::AlignVCenter | Qt::TextDontClip, options_.valueLabel(tick));
  }
  painter.drawText(QRectF(0, 0, width(), labelHeight), Qt::AlignLeft | Qt::AlignVCenter, options_.valueTitle);
}

void LineChart::drawTimes(QPainter& painter, const Scale& scale) const {
  const Theme& theme = Theme::current();
  const QFontMetricsF metrics(painter.font());
  const double baseline = sharpPosition(scale.plot.bottom());
  const double top = baseline + tickLength + 2;
  painter.setPen(theme.text2);
  painter.drawText(QRectF(0, top, scale.plot.left(), labelHeight), Qt::AlignLeft | Qt::AlignVCenter, timeTitle);

  const int count = std::clamp(static_cast<int>(scale.plot.width() / pixelsPerTime), 1, maximumTimes);
  const Seconds offset(localTime(scale.last).offsetFromUtc());
  const bool withSeconds = timeTicksNeedSeconds(scale.last - scale.first, count);
  const QString format = withSeconds ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm");
  double free = metrics.horizontalAdvance(timeTitle) + gutterGap;
  for (const Date tick : timeTicks(scale.first, scale.last, offset, count)) {
    const double x = sharpPosition(scale.x(tick));
    const QString label = localTime(tick).toString(format);
    const double labelWidth = metrics.horizontalAdvance(label);
    painter.setPen(QPen(theme.control, 1));
    painter.drawLine(QPointF(x, baseline), QPointF(x, baseline + tickLength));
    const double left = std::min(x - labelWidth / 2, width() - labelWidth);
    if (left < free) continue;
    painter.setPen(theme.text2);
    painter.drawText(QRectF(left, top, labelWidth, labelHeight), Qt::AlignVCenter | Qt::TextDontClip, label);
    free = left + labelWidth + gutterGap;
  }
}

void LineChart::drawLine(QPainter& painter, const Scale& scale, const Line& line) const {
  if (line.points.size() < 2) return;
  QPolygonF polygon;
  polygon.reserve(static_cast<qsizetype>(line.points.size()));
  for (const HistoryPoint& point : line.points) polygon << QPointF(scale.x(point.date), scale.y(point.value));
  const QColor color = line.color();
  if (options_.filled) {
    QColor strong = color;
    QColor faint = color;
    strong.setAlphaF(0.30F);
    faint.setAlphaF(0.02F);
    QLinearGradient gradient(scale.plot.topLeft(), scale.plot.bottomLeft());
    gradient.setColorAt(0, strong);
    gradient.setColorAt(1, faint);
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPolygon(areaUnder(polygon, scale.plot.bottom()));
  }
  drawTrendLine(painter, polygon, color, lineWidth);
}

void LineChart::drawPeak(QPainter& painter, const Scale& scale) const {
  const QColor color = Theme::current().hotT;
  const double y = sharpPosition(scale.y(*peak_));
  QPen pen(color, 1, Qt::CustomDashLine, Qt::FlatCap);
  pen.setDashPattern({3, 3});
  painter.setRenderHint(QPainter::Antialiasing, false);
  painter.setPen(pen);
  painter.drawLine(QPointF(scale.plot.left(), y), QPointF(scale.plot.right(), y));

  QFont font = painter.font();
  font.setWeight(QFont::DemiBold);
  painter.setFont(font);
  painter.setPen(color);
  const bool fitsAbove = y - labelHeight - 2 >= scale.plot.top() - labelHeight / 2;
  const double top = fitsAbove ? y - labelHeight - 2 : y + 2;
  painter.drawText(QRectF(scale.plot.left(), top, scale.plot.width() - peakLabelMargin, labelHeight),
                   Qt::AlignRight | Qt::AlignVCenter | Qt::TextDontClip, peakText_);
}

}  // namespace halcyra
