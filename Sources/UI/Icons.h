#pragma once

#include <QColor>
#include <QIcon>
#include <QLabel>
#include <QPixmap>
#include <QToolButton>

namespace halcyra {

/// The picture `name` of the resources in one colour, `size` device-independent pixels wide and high. Cached; a null
/// pixmap for a name that there is not.
QPixmap iconPixmap(const QString& name, const QColor& color, int size = 16, double devicePixelRatio = 1.0);

/// The same at 1x and 2x.
QIcon icon(const QString& name, const QColor& color, int size = 16);

/// In the colours of the current theme: idle and disabled. To be asked anew when the theme changes.
QIcon themedIcon(const char* name);

/// Gives a button an icon that follows the theme.
void setThemedIcon(QAbstractButton* button, const char* name);

/// A picture that follows the theme, in the secondary text colour unless another one is given.
class IconLabel : public QWidget {
  Q_OBJECT

 public:
  explicit IconLabel(QString name, QWidget* parent = nullptr, int size = 16);

  void setName(const QString& name);
  /// Which colour of the theme.
  void setColor(QColor (*color)());
  QSize sizeHint() const override { return {size_, size_}; }
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString name_;
  int size_;
  QColor (*color_)();
};

}  // namespace halcyra
