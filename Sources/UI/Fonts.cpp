#include "UI/Fonts.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <cmath>

#include "UI/Theme.h"

namespace halcyra {

namespace {

struct Face {
  bool isDisplay;
  /// Pixels at 100 %.
  double size;
  QFont::Weight weight;
};

Face faceOf(TextStyle style) {
  switch (style) {
    case TextStyle::hero:
      return {true, 32, QFont::DemiBold};
    case TextStyle::title:
      return {true, 24, QFont::DemiBold};
    case TextStyle::figure:
      return {true, 18, QFont::DemiBold};
    case TextStyle::rowValue:
      return {false, 14, QFont::DemiBold};
    case TextStyle::headline:
      return {false, 13, QFont::DemiBold};
    case TextStyle::body:
      return {false, 13, QFont::Normal};
    case TextStyle::caption:
      return {false, 12, QFont::Normal};
    case TextStyle::caption2:
      return {false, 11, QFont::Normal};
    case TextStyle::chartLabel:
      return {false, 10.5, QFont::Normal};
  }
  return {false, 13, QFont::Normal};
}

double digitWidth(const QFontMetricsF& metrics) {
  double width = 0;
  for (char digit = '0'; digit <= '9'; ++digit) width = std::max(width, metrics.horizontalAdvance(QLatin1Char(digit)));
  return width;
}

double cellWidth(const QFontMetricsF& metrics, double digit, QChar character) {
  return character.isDigit() ? digit : metrics.horizontalAdvance(character);
}

}  // namespace

QFont textFont(TextStyle style) {
  const Face face = faceOf(style);
  QFont font;
  font.setFamilies({face.isDisplay ? QStringLiteral("Inter Display") : QStringLiteral("Inter"), QStringLiteral("Inter"),
                    QStringLiteral("DejaVu Sans")});
  if (face.size == std::floor(face.size)) {
    font.setPixelSize(static_cast<int>(face.size));
  } else {
    // Pixel sizes are whole numbers. Points are as large as the screen's logical resolution says.
    const QScreen* const screen = QGuiApplication::primaryScreen();
    const double dotsPerInch = screen != nullptr ? screen->logicalDotsPerInchY() : 96;
    font.setPointSizeF(face.size * 72 / dotsPerInch);
  }
  font.setWeight(face.weight);
  return font;
}

double figuresWidth(const QFont& font, const QString& text) {
  const QFontMetricsF metrics(font);
  const double digit = digitWidth(metrics);
  double width = 0;
  for (const QChar character : text) width += cellWidth(metrics, digit, character);
  return width;
}

void drawFigures(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text) {
  const QFontMetricsF metrics(painter.font());
  const double digit = digitWidth(metrics);
  const double width = figuresWidth(painter.font(), text);
  double x = rect.left();
  if (alignment & Qt::AlignRight) x = rect.right() - width;
  if (alignment & Qt::AlignHCenter) x = rect.center().x() - width / 2;
  double baseline = rect.top() + (rect.height() - metrics.height()) / 2 + metrics.ascent();
  if (alignment & Qt::AlignTop) baseline = rect.top() + metrics.ascent();
  if (alignment & Qt::AlignBottom) baseline = rect.bottom() - metrics.descent();
  for (const QChar character : text) {
    const double cell = cellWidth(metrics, digit, character);
    const double inset = character.isDigit() ? (cell - metrics.horizontalAdvance(character)) / 2 : 0;
    painter.drawText(QPointF(x + inset, baseline), QString(character));
    x += cell;
  }
}

FigureLabel::FigureLabel(TextStyle style, QWidget* parent) : QWidget(parent), style_(style) {
  setFont(textFont(style));
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void FigureLabel::setText(const QString& text) {
  if (text_ == text) return;
  if (accessibleName() == text_) setAccessibleName(text);
  const double before = figuresWidth(textFont(style_), text_);
  text_ = text;
  if (figuresWidth(textFont(style_), text_) != before) updateGeometry();
  update();
}

void FigureLabel::setAlignment(Qt::Alignment alignment) {
  alignment_ = alignment;
  update();
}

QSize FigureLabel::sizeHint() const {
  const QFont font = textFont(style_);
  return {static_cast<int>(std::ceil(figuresWidth(font, text_))),
          static_cast<int>(std::ceil(QFontMetricsF(font).height()))};
}

void FigureLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setFont(textFont(style_));
  const Theme& theme = Theme::current();
  const bool isSecondary = property("role").toString() == QLatin1String("secondary");
  painter.setPen(!isEnabled() ? theme.textDis : isSecondary ? theme.text2 : theme.text);
  drawFigures(painter, rect(), alignment_, text_);
}

}  // namespace halcyra
