#include "UI/Charts/LineChart.h"

#include <QDateTime>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPolygonF>
#include <algorithm>
#include <cmath>

#include "UI/Charts/ChartAxis.h"
#include "UI/Charts/TrendLine.h"
#include "UI/Controls/FocusRing.h"
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
const QString momentFormat = QStringLiteral("HH:mm:ss");

constexpr double readoutPadding = 6;
constexpr double readoutRow = 14;
constexpr double readoutStroke = 9;
constexpr double readoutGap = 5;
/// From the cross-hair.
constexpr double readoutDistance = 8;
constexpr double readingRadius = 3;

QDateTime localTime(Date date) {
  return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date.time_since_epoch().count() * 1000));
}

}  // namespace

double LineChart::Scale::x(Date date) const {
  const double span = (last - first).count();
  return span > 0 ? plot.left() + plot.width() * ((date - first).count() / span) : plot.right();
}

Date LineChart::Scale::date(double x) const {
  const double part = plot.width() > 0 ? std::clamp((x - plot.left()) / plot.width(), 0.0, 1.0) : 0;
  return first + (last - first) * part;
}

double LineChart::Scale::y(double value) const {
  return plot.bottom() - plot.height() * (value - ticks.front()) / (ticks.back() - ticks.front());
}

LineChart::LineChart(Options options, QWidget* parent) : QWidget(parent), options_(std::move(options)) {
  setFixedHeight(options_.height);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
}

void LineChart::setLines(std::vector<Line> lines) {
  if (lines == lines_) return;
  lines_ = std::move(lines);
  describeMoment();
  update();
}

void LineChart::showMoment(const std::optional<Date>& moment) {
  if (moment == moment_) return;
  moment_ = moment;
  describeMoment();
  update();
}

void LineChart::moveTo(const std::optional<Date>& moment) {
  if (moment == moment_) return;
  showMoment(moment);
  emit momentChanged(moment_);
}

std::vector<LineChart::Reading> LineChart::readings() const {
  std::vector<Reading> found;
  if (!moment_) return found;
  for (const Line& line : lines_) {
    if (const auto point = nearestPoint(line.points, *moment_)) found.push_back({&line, *point});
  }
  return found;
}

void LineChart::describeMoment() {
  QString text;
  if (moment_ && !isEmpty()) {
    text = localTime(*moment_).toString(momentFormat);
    for (const Reading& reading : readings()) {
      text += QStringLiteral(", %1 %2").arg(reading.line->name, options_.readingText(reading.point.value));
    }
  }
  if (text != accessibleDescription()) setAccessibleDescription(text);
}

bool LineChart::event(QEvent* event) {
  if (event->type() == QEvent::Leave && !(hasFocus() && showsFocus_)) moveTo(std::nullopt);
  return QWidget::event(event);
}

void LineChart::mouseMoveEvent(QMouseEvent* event) {
  if (isEmpty()) return;
  const Scale scale = makeScale();
  const double x = event->position().x();
  const bool isOver = x >= scale.plot.left() && x <= scale.plot.right() + 1;
  moveTo(isOver ? nearestDate(pointLists(), scale.date(x)) : std::nullopt);
}

void LineChart::keyPressEvent(QKeyEvent* event) {
  if (isEmpty()) return QWidget::keyPressEvent(event);
  const PointLists lists = pointLists();
  switch (event->key()) {
    case Qt::Key_Left:
      return moveTo(moment_ ? neighbourDate(lists, *moment_, -1) : nearestDate(lists, Date::max()));
    case Qt::Key_Right:
      return moveTo(moment_ ? neighbourDate(lists, *moment_, 1) : nearestDate(lists, Date::max()));
    case Qt::Key_Home:
      return moveTo(nearestDate(lists, Date::min()));
    case Qt::Key_End:
      return moveTo(nearestDate(lists, Date::max()));
    case Qt::Key_Escape:
      // Without a cross-hair it is the window's.
      if (!moment_) break;
      return moveTo(std::nullopt);
    default:
      break;
  }
  QWidget::keyPressEvent(event);
}

void LineChart::focusInEvent(QFocusEvent* event) {
  showsFocus_ = showsFocus(*event, showsFocus_);
  update();
  QWidget::focusInEvent(event);
}

void LineChart::focusOutEvent(QFocusEvent* event) {
  if (event->reason() != Qt::ActiveWindowFocusReason) {
    showsFocus_ = false;
    moveTo(std::nullopt);
  }
  update();
  QWidget::focusOutEvent(event);
}

PointLists LineChart::pointLists() const {
  PointLists lists;
  for (const Line& line : lines_) lists.push_back(&line.points);
  return lists;
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
  if (moment_) drawCrossHair(painter, scale);
  if (hasFocus() && showsFocus_) drawFocusRing(painter, rect());
}

void LineChart::drawGrid(QPainter& painter, const Scale& scale) const {
  const Theme& theme = Theme::current();
  double lowestFree = height();
  for (const double tick : scale.ticks) {
    const double y = sharpPosition(scale.y(tick));
    painter.setPen(QPen(tick == scale.ticks.front() ? theme.control : theme.hair, 1));
    painter.drawLine(QPointF(scale.plot.left(), y), QPointF(scale.plot.right(), y));
    // Where the lines are close together, every second one or so has a label.
    if (y > lowestFree) continue;
    lowestFree = y - labelHeight;
    painter.setPen(theme.text2);
    const QRectF label(0, y - labelHeight / 2, scale.plot.left() - gutterGap, labelHeight);
    painter.drawText(label, Qt::AlignRight | Qt::AlignVCenter | Qt::TextDontClip, options_.valueLabel(tick));
  }
  painter.setPen(theme.text2);
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
    // At the ends beside its tick rather than over the title or the edge.
    const double left = std::min(std::max(x - labelWidth / 2, free), width() - labelWidth);
    if (left < free || left > x) continue;
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
  if (options_.filled && &line == &lines_.front()) {
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

void LineChart::drawCrossHair(QPainter& painter, const Scale& scale) const {
  const Theme& theme = Theme::current();
  const std::vector<Reading> shown = readings();
  if (shown.empty()) return;
  const double x = sharpPosition(std::clamp(scale.x(*moment_), scale.plot.left(), scale.plot.right()));
  painter.setRenderHint(QPainter::Antialiasing, false);
  painter.setPen(QPen(theme.control, 1));
  painter.drawLine(QPointF(x, scale.plot.top()), QPointF(x, scale.plot.bottom()));
  painter.setRenderHint(QPainter::Antialiasing);
  for (const Reading& reading : shown) {
    const QPointF place(scale.x(reading.point.date), scale.y(reading.point.value));
    painter.setPen(QPen(theme.card, 1.5));
    painter.setBrush(reading.line->color());
    painter.drawEllipse(place, readingRadius + 0.75, readingRadius + 0.75);
  }
  drawReadout(painter, scale, shown, x);
}

void LineChart::drawReadout(QPainter& painter, const Scale& scale, const std::vector<Reading>& shown, double x) const {
  const Theme& theme = Theme::current();
  painter.setFont(textFont(TextStyle::chartLabel));
  const QFontMetricsF metrics(painter.font());
  const QString time = localTime(*moment_).toString(momentFormat);
  double names = 0;
  double values = 0;
  for (const Reading& reading : shown) {
    names = std::max(names, metrics.horizontalAdvance(reading.line->name));
    values = std::max(values, figuresWidth(painter.font(), options_.readingText(reading.point.value)));
  }
  const double row = readoutStroke + readoutGap + names + 2 * readoutGap + values;
  const double wide = std::ceil(std::max(row, metrics.horizontalAdvance(time)) + 2 * readoutPadding);
  const double high = readoutRow * static_cast<double>(shown.size() + 1) + readoutPadding;
  const bool fitsRight = x + readoutDistance + wide <= scale.plot.right();
  const double left = std::max(0.0, fitsRight ? x + readoutDistance : x - readoutDistance - wide);
  const QRectF box(std::floor(left) + 0.5, 0.5, wide, std::min(high, height() - 1.0));
  painter.setPen(QPen(theme.hairStrong, 1));
  painter.setBrush(theme.panel);
  painter.drawRoundedRect(box, 5, 5);
  QRectF line(box.left() + readoutPadding, box.top() + readoutPadding / 2, wide - 2 * readoutPadding, readoutRow);
  painter.setPen(theme.text2);
  drawFigures(painter, line, Qt::AlignLeft | Qt::AlignVCenter, time);
  for (const Reading& reading : shown) {
    line.translate(0, readoutRow);
    painter.fillRect(QRectF(line.left(), line.center().y() - 1, readoutStroke, 2), reading.line->color());
    painter.setPen(theme.text2);
    painter.drawText(line.adjusted(readoutStroke + readoutGap, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     reading.line->name);
    painter.setPen(theme.text);
    drawFigures(painter, line, Qt::AlignRight | Qt::AlignVCenter, options_.readingText(reading.point.value));
  }
}

}  // namespace halcyra
