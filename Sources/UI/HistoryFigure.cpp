#include "UI/HistoryFigure.h"

#include <QPainter>

#include "UI/Fonts.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int figureHeight = 37;
constexpr int leastFigureWidth = 72;
constexpr int swatchStroke = 2;
constexpr int figureTextLeft = 14;
constexpr int titleHeight = 15;

const QString absentText = QStringLiteral("—");

}  // namespace

HistoryFigure::HistoryFigure(Kind kind, const QString& title, QWidget* parent)
    : QWidget(parent), kind_(kind), title_(title), value_(absentText) {
  setObjectName("historyFigure" + title);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setFixedHeight(figureHeight);
  setAccessibleName(title_);
  setAccessibleDescription(value_);
}

void HistoryFigure::setValue(const std::optional<std::string>& text) {
  const QString value = text ? QString::fromStdString(*text) : absentText;
  if (value == value_) return;
  value_ = value;
  setAccessibleDescription(value_);
  update();
}

QSize HistoryFigure::sizeHint() const {
  return {leastFigureWidth, figureHeight};
}

void HistoryFigure::paintEvent(QPaintEvent*) {
  const Theme& theme = Theme::current();
  const auto [stroke, text] = kind_ == Kind::low       ? std::pair(theme.cool, theme.coolT)
                              : kind_ == Kind::average ? std::pair(theme.normal, theme.normalT)
                                                       : std::pair(theme.hot, theme.hotT);
  QPainter painter(this);
  painter.fillRect(0, 0, swatchStroke, height(), stroke);
  painter.setFont(textFont(TextStyle::caption2));
  painter.setPen(theme.text2);
  painter.drawText(QRect(figureTextLeft, 0, width() - figureTextLeft, titleHeight), Qt::AlignLeft | Qt::AlignVCenter,
                   title_);
  painter.setFont(textFont(TextStyle::figure));
  painter.setPen(value_ == absentText ? theme.text2 : text);
  drawFigures(painter, QRect(figureTextLeft, titleHeight, width() - figureTextLeft, height() - titleHeight),
              Qt::AlignLeft | Qt::AlignVCenter, value_);
}

}  // namespace halcyra
