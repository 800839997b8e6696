#pragma once

#include <QFont>
#include <QWidget>

class QPainter;

namespace halcyra {

/// The interface's text styles.
enum class TextStyle { hero, title, figure, rowValue, headline, body, caption, caption2, chartLabel };

QFont textFont(TextStyle style);

/// The width of `text` as `drawFigures` draws it, in device-independent pixels.
double figuresWidth(const QFont& font, const QString& text);

/// Draws one line with every digit centred in a cell as wide as the widest digit, so that changing numbers do not
/// jitter. Font and pen are the painter's.
void drawFigures(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text);

/// A line of text with digits of equal width. Its accessible name is the text unless another one is given.
class FigureLabel : public QWidget {
  Q_OBJECT

 public:
  explicit FigureLabel(TextStyle style, QWidget* parent = nullptr);

  void setText(const QString& text);
  const QString& text() const { return text_; }
  void setAlignment(Qt::Alignment alignment);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  TextStyle style_;
  QString text_;
  Qt::Alignment alignment_ = Qt::AlignLeft | Qt::AlignVCenter;
};

}  // namespace halcyra
