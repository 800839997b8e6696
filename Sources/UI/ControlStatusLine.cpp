#include "UI/ControlStatusLine.h"

#include <QPainter>

#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int statusHeight = 20;
constexpr int statusIconSize = 16;
constexpr int statusTextLeft = 24;
constexpr int narrowestStatus = 80;

QColor statusColor(ControlStatus::Kind kind) {
  const Theme& theme = Theme::current();
  if (kind == ControlStatus::Kind::driving) return theme.ok;
  return needsAttention(kind) ? theme.warn : theme.text2;
}

}  // namespace

const char* statusPicture(ControlStatus::Kind kind) {
  using Kind = ControlStatus::Kind;
  switch (kind) {
    case Kind::driving:
      return "check-circle-fill";
    case Kind::starting:
      return "fan";
    case Kind::waitingForTemperatures:
      return "thermometer";
    case Kind::paused:
      return "shield-warning-fill";
    case Kind::monitoringOnly:
      return "warning-fill";
    case Kind::firmware:
    case Kind::handingBack:
      break;
  }
  return "preset-system";
}

bool needsAttention(ControlStatus::Kind kind) {
  return kind == ControlStatus::Kind::paused || kind == ControlStatus::Kind::monitoringOnly;
}

ControlStatusLine::ControlStatusLine(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("controlStatus"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAccessibleName(textOf(status_.line()));
}

void ControlStatusLine::setStatus(const ControlStatus& status) {
  if (status_ == status) return;
  status_ = status;
  const QString line = textOf(status.line());
  setAccessibleName(line);
  setToolTip(toolTipOf(status.line()));
  updateGeometry();
  update();
}

QSize ControlStatusLine::sizeHint() const {
  const QFontMetrics metrics(textFont(TextStyle::caption));
  return {statusTextLeft + metrics.horizontalAdvance(textOf(status_.line())) + 2, statusHeight};
}

QSize ControlStatusLine::minimumSizeHint() const {
  return {narrowestStatus, statusHeight};
}

void ControlStatusLine::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QColor color = statusColor(status_.kind);
  painter.drawPixmap(
      0, (height() - statusIconSize) / 2,
      iconPixmap(QString::fromLatin1(statusPicture(status_.kind)), color, statusIconSize, devicePixelRatioF()));
  painter.setFont(textFont(TextStyle::caption));
  painter.setPen(needsAttention(status_.kind) ? color : Theme::current().text);
  const QRect place = rect().adjusted(statusTextLeft, 0, 0, 0);
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   painter.fontMetrics().elidedText(textOf(status_.line()), Qt::ElideRight, place.width()));
}

}  // namespace halcyra
