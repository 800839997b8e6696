#include "UI/Charts/SeriesKey.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "UI/Fonts.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int keyHeight = 16;
constexpr int strokeLength = 13;
constexpr int strokeGap = 6;
constexpr int entryGap = 16;

int labelWidth(const QString& label) {
  return QFontMetrics(textFont(TextStyle::caption)).horizontalAdvance(label);
}

}  // namespace

SeriesKey::SeriesKey(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void SeriesKey::setEntries(std::vector<Entry> entries) {
  if (entries == entries_) return;
  entries_ = std::move(entries);
  QStringList labels;
  for (const Entry& entry : entries_) labels << entry.label;
  setAccessibleName(QStringLiteral("Fan: ") + labels.join(QStringLiteral(", ")));
  updateGeometry();
  update();
}

QSize SeriesKey::sizeHint() const {
  int width = 0;
  for (const Entry& entry : entries_) width += strokeLength + strokeGap + labelWidth(entry.label) + entryGap;
  return {std::max(0, width - entryGap), keyHeight};
}

void SeriesKey::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setFont(textFont(TextStyle::caption));
  int left = 0;
  for (const Entry& entry : entries_) {
    painter.fillRect(QRectF(left, height() / 2.0 - 1, strokeLength, 2), entry.color());
    left += strokeLength + strokeGap;
    painter.setPen(Theme::current().text2);
    const int width = labelWidth(entry.label);
    painter.drawText(QRect(left, 0, width + 1, height()), Qt::AlignLeft | Qt::AlignVCenter, entry.label);
    left += width + entryGap;
  }
}

}  // namespace halcyra
