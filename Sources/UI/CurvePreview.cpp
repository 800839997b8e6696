#include "UI/CurvePreview.h"

#include <QFontMetricsF>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineF>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>
#include <QToolTip>
#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "UI/Charts/ChartAxis.h"
#include "UI/Charts/FanColors.h"
#include "UI/Controls/FocusRing.h"
#include "UI/Fonts.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int canvasHeight = 90;
constexpr int previewGutter = 58;
constexpr int previewGutterGap = 6;
constexpr int labelRow = 15;
constexpr int labelGap = 4;
constexpr double rampWidth = 3;
/// °C; nothing on the axis needs a longer text.
constexpr double widestNumber = 100;
constexpr float fillOpacity = 0.08F;
constexpr double pointRadius = 5;
constexpr double heldPointRadius = 6.5;
constexpr double pointReach = 12;
constexpr double markRadius = 4;
constexpr double markRing = 1.5;
constexpr double markReach = 9;
/// °C for one press of an arrow key, alone and with Shift.
constexpr double keyStep = 1;
constexpr double longKeyStep = 5;

std::function<double(const std::string&)> measureWith(const QFont& font) {
  return [metrics = QFontMetricsF(font)](const std::string& text) {
    return std::ceil(metrics.horizontalAdvance(textOf(text)));
  };
}

}  // namespace

CurvePreview::CurvePreview(QWidget* parent) : QWidget(parent) {
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setSizePolicy(policy);
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  refreshAccessibility();
}

void CurvePreview::setCurve(double low, double high) {
  if (low == low_ && high == high_) return;
  low_ = low;
  high_ = high;
  refreshMarks();
  refreshAccessibility();
  update();
}

void CurvePreview::setReadings(const std::vector<CurveReading>& readings) {
  if (readings == readings_) return;
  readings_ = readings;
  refreshMarks();
}

void CurvePreview::refreshMarks() {
  std::vector<CurveMark> marks = makeCurveMarks(readings_, low_, high_);
  if (marks == marks_) return;
  marks_ = std::move(marks);
  update();
}

void CurvePreview::refreshAccessibility() {
  setAccessibleName(textOf(curveDescription(low_, high_)));
  setAccessibleDescription(chosen_ == EditorBound::low
                               ? QStringLiteral("Left and Right move ramp start, Up chooses full speed")
                               : QStringLiteral("Left and Right move full speed, Down chooses ramp start"));
}

QSize CurvePreview::sizeHint() const {
  return {420, heightFor(width())};
}

QSize CurvePreview::minimumSizeHint() const {
  return {200, sizeHint().height()};
}

int CurvePreview::heightFor(int width) const {
  int rows = 1;
  for (const CurvePreviewLabel& label : layOutCurveLabels(widestNumber, widestNumber, width - previewGutter,
                                                          measureWith(textFont(TextStyle::caption2)))) {
    rows = std::max(rows, label.row + 1);
  }
  return canvasHeight + labelGap + rows * labelRow;
}

void CurvePreview::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  if (event->size().width() != event->oldSize().width()) updateGeometry();
}

void CurvePreview::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF area = canvas();
  drawGrid(painter, area);
  drawRamp(painter, area);
  drawMarks(painter, area);
  drawPoints(painter, area);
  drawTexts(painter, area);
}

QRectF CurvePreview::canvas() const {
  return {previewGutter, 0, static_cast<double>(width() - previewGutter), canvasHeight};
}

QPointF CurvePreview::pointOf(EditorBound bound) const {
  const QRectF area = canvas();
  const bool isLow = bound == EditorBound::low;
  const double inset = rampWidth / 2;
  return {area.left() + curvePreviewX(isLow ? low_ : high_, area.width()),
          isLow ? area.bottom() - inset : area.top() + inset};
}

QPointF CurvePreview::placeOf(const CurveMark& mark) const {
  const QRectF area = canvas();
  const double inset = rampWidth / 2;
  const double reach = markRadius + markRing;
  const double y = area.bottom() - inset - mark.speed * (area.height() - 2 * inset);
  // The mark stays within the widget.
  return {area.left() + curvePreviewX(mark.temperature, area.width()),
          std::clamp(y, area.top() + reach, area.bottom() - reach)};
}

std::optional<EditorBound> CurvePreview::pointAt(const QPointF& place) const {
  std::optional<EditorBound> found;
  double nearest = pointReach;
  for (const EditorBound bound : {EditorBound::low, EditorBound::high}) {
    const double distance = QLineF(place, pointOf(bound)).length();
    if (distance > nearest) continue;
    found = bound;
    nearest = distance;
  }
  return found;
}

void CurvePreview::movePoint(EditorBound bound, double temperature) {
  const double moved = movedCurvePoint(bound, temperature, low_, high_);
  if (moved != (bound == EditorBound::low ? low_ : high_)) emit pointMoved(bound, moved);
}

void CurvePreview::choosePoint(EditorBound bound) {
  if (bound == chosen_) return;
  chosen_ = bound;
  refreshAccessibility();
  update();
}

void CurvePreview::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return event->ignore();
  dragged_ = pointAt(event->position());
  if (dragged_) choosePoint(*dragged_);
  update();
}

void CurvePreview::mouseMoveEvent(QMouseEvent* event) {
  if (dragged_) {
    const QRectF area = canvas();
    movePoint(*dragged_, curvePreviewTemperature(event->position().x() - area.left(), area.width()));
    return;
  }
  const std::optional<EditorBound> hovered = pointAt(event->position());
  if (hovered == hovered_) return;
  hovered_ = hovered;
  hovered_ ? setCursor(Qt::SizeHorCursor) : unsetCursor();
  update();
}

void CurvePreview::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return event->ignore();
  dragged_.reset();
  update();
}

void CurvePreview::keyPressEvent(QKeyEvent* event) {
  const double step = event->modifiers().testFlag(Qt::ShiftModifier) ? longKeyStep : keyStep;
  const double present = chosen_ == EditorBound::low ? low_ : high_;
  switch (event->key()) {
    case Qt::Key_Left:
      return movePoint(chosen_, present - step);
    case Qt::Key_Right:
      return movePoint(chosen_, present + step);
    case Qt::Key_Up:
      return choosePoint(EditorBound::high);
    case Qt::Key_Down:
      return choosePoint(EditorBound::low);
    default:
      QWidget::keyPressEvent(event);
  }
}

void CurvePreview::focusInEvent(QFocusEvent* event) {
  showsFocus_ = showsFocus(*event, showsFocus_);
  update();
  QWidget::focusInEvent(event);
}

void CurvePreview::focusOutEvent(QFocusEvent* event) {
  // Kept for the window's coming back.
  if (event->reason() != Qt::ActiveWindowFocusReason) showsFocus_ = false;
  update();
  QWidget::focusOutEvent(event);
}

bool CurvePreview::event(QEvent* event) {
  if (event->type() == QEvent::Leave && hovered_) {
    hovered_.reset();
    unsetCursor();
    update();
  }
  if (event->type() != QEvent::ToolTip) return QWidget::event(event);
  const auto* const help = static_cast<QHelpEvent*>(event);
  for (const CurveMark& mark : marks_) {
    if (QLineF(help->pos(), placeOf(mark)).length() > markReach) continue;
    QToolTip::showText(help->globalPos(), toolTipOf(mark.text), this);
    return true;
  }
  QToolTip::hideText();
  event->ignore();
  return true;
}

void CurvePreview::drawMarks(QPainter& painter, const QRectF& canvasArea) const {
  const Theme& theme = Theme::current();
  for (const CurveMark& mark : marks_) {
    const QPointF place = placeOf(mark);
    QColor color = fanColor(mark.fan)();
    color.setAlphaF(0.45F);
    painter.setPen(QPen(color, 1));
    painter.drawLine(QPointF(sharpPosition(place.x()), place.y()),
                     QPointF(sharpPosition(place.x()), canvasArea.bottom()));
  }
  painter.setPen(Qt::NoPen);
  for (const CurveMark& mark : marks_) {
    painter.setBrush(theme.card);
    painter.drawEllipse(placeOf(mark), markRadius + markRing, markRadius + markRing);
    painter.setBrush(fanColor(mark.fan)());
    painter.drawEllipse(placeOf(mark), markRadius, markRadius);
  }
}

void CurvePreview::drawPoints(QPainter& painter, const QRectF& canvasArea) const {
  const Theme& theme = Theme::current();
  for (const EditorBound bound : {EditorBound::low, EditorBound::high}) {
    const bool isHeld = dragged_ ? dragged_ == bound : hovered_ == bound;
    const double radius = isHeld ? heldPointRadius : pointRadius;
    QPointF place = pointOf(bound);
    // The knob stays within the widget.
    place.setX(std::clamp(place.x(), canvasArea.left() + radius, canvasArea.right() - radius));
    place.setY(std::clamp(place.y(), canvasArea.top() + radius + 1, canvasArea.bottom() - radius - 1));
    painter.setPen(QPen(theme.accent, 1.5));
    painter.setBrush(theme.knob);
    painter.drawEllipse(place, radius, radius);
    if (!hasFocus() || !showsFocus_ || bound != chosen_) continue;
    painter.setPen(QPen(theme.accent, 2));
    painter.setBrush(theme.accent);
    painter.drawEllipse(place, radius, radius);
  }
}

void CurvePreview::drawGrid(QPainter& painter, const QRectF& canvasArea) const {
  painter.setPen(QPen(Theme::current().hair, 1));
  painter.drawRect(canvasArea.adjusted(0.5, 0.5, -0.5, -0.5));
  for (const double temperature : {40.0, 60.0, 80.0}) {
    const double x = sharpPosition(canvasArea.left() + curvePreviewX(temperature, canvasArea.width()));
    painter.drawLine(QPointF(x, canvasArea.top()), QPointF(x, canvasArea.bottom()));
  }
  const double middle = sharpPosition(canvasArea.center().y());
  painter.drawLine(QPointF(canvasArea.left(), middle), QPointF(canvasArea.right(), middle));
}

void CurvePreview::drawRamp(QPainter& painter, const QRectF& canvasArea) const {
  const Theme& theme = Theme::current();
  const double low = canvasArea.left() + curvePreviewX(low_, canvasArea.width());
  const double high = canvasArea.left() + curvePreviewX(high_, canvasArea.width());
  QPen marks(theme.control, 1);
  marks.setDashPattern({2, 3});
  painter.setPen(marks);
  for (const double x : {low, high})
    painter.drawLine(QPointF(sharpPosition(x), canvasArea.top()), QPointF(sharpPosition(x), canvasArea.bottom()));
  // The stroke stays within the canvasArea.
  const double top = canvasArea.top() + rampWidth / 2;
  const double bottom = canvasArea.bottom() - rampWidth / 2;
  QPainterPath path(QPointF(canvasArea.left(), bottom));
  path.lineTo(low, bottom);
  path.lineTo(high, top);
  path.lineTo(canvasArea.right(), top);
  QPainterPath area = path;
  area.lineTo(canvasArea.right(), canvasArea.bottom());
  area.lineTo(canvasArea.left(), canvasArea.bottom());
  QColor fill = theme.accent;
  fill.setAlphaF(fillOpacity);
  painter.setClipRect(canvasArea);
  painter.fillPath(area, fill);
  painter.setPen(QPen(theme.accent, rampWidth, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
  painter.setBrush(Qt::NoBrush);
  painter.drawPath(path);
  painter.setClipping(false);
}

void CurvePreview::drawTexts(QPainter& painter, const QRectF& canvasArea) const {
  painter.setFont(textFont(TextStyle::caption2));
  painter.setPen(Theme::current().text2);
  const QRectF column(0, 0, previewGutter - previewGutterGap, labelRow);
  painter.drawText(column, Qt::AlignRight | Qt::AlignTop, QStringLiteral("max RPM"));
  painter.drawText(column.translated(0, canvasArea.bottom() - labelRow), Qt::AlignRight | Qt::AlignBottom,
                   QStringLiteral("min RPM"));
  const auto measure = measureWith(painter.font());
  for (const CurvePreviewLabel& label : layOutCurveLabels(low_, high_, canvasArea.width(), measure)) {
    const QRectF place(canvasArea.left() + label.left, canvasArea.bottom() + labelGap + label.row * labelRow,
                       measure(label.text) + 1, labelRow);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, textOf(label.text));
  }
}

}  // namespace halcyra
