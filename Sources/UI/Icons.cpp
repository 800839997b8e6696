#include "UI/Icons.h"

#include <QEvent>
#include <QFile>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <cmath>
#include <utility>

#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Gives its button the icon anew whenever the style changes.
class IconFollower : public QObject {
 public:
  IconFollower(QAbstractButton* button, const char* name) : QObject(button), button_(button), name_(name) {
    setObjectName(QStringLiteral("iconFollower"));
    button_->installEventFilter(this);
    apply();
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::PaletteChange) apply();
    return QObject::eventFilter(watched, event);
  }

 private:
  void apply() { button_->setIcon(themedIcon(name_)); }

  QAbstractButton* button_;
  const char* name_;
};

}  // namespace

QPixmap iconPixmap(const QString& name, const QColor& color, int size, double devicePixelRatio) {
  const QString key = QStringLiteral("aerovane-icon/%1/%2/%3/%4")
                          .arg(name, color.name(QColor::HexArgb))
                          .arg(size)
                          .arg(devicePixelRatio);
  QPixmap result;
  if (QPixmapCache::find(key, &result)) return result;
  const QString file = QStringLiteral(":/aerovane/icons/%1.svg").arg(name);
  if (!QFile::exists(file)) return {};
  const int pixels = static_cast<int>(std::ceil(size * devicePixelRatio));
  result = QPixmap(pixels, pixels);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  QSvgRenderer(file).render(&painter);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(result.rect(), color);
  painter.end();
  result.setDevicePixelRatio(devicePixelRatio);
  QPixmapCache::insert(key, result);
  return result;
}

QIcon icon(const QString& name, const QColor& color, int size) {
  QIcon result;
  for (const double ratio : {1.0, 2.0}) result.addPixmap(iconPixmap(name, color, size, ratio));
  return result;
}

QIcon themedIcon(const char* name) {
  const QString file = QString::fromLatin1(name);
  QIcon result = icon(file, Theme::current().text2);
  for (const double ratio : {1.0, 2.0}) {
    result.addPixmap(iconPixmap(file, Theme::current().textDis, 16, ratio), QIcon::Disabled);
  }
  return result;
}

void setThemedIcon(QAbstractButton* button, const char* name) {
  delete button->findChild<QObject*>(QStringLiteral("iconFollower"), Qt::FindDirectChildrenOnly);
  new IconFollower(button, name);
}

IconLabel::IconLabel(QString name, QWidget* parent, int size)
    : QWidget(parent), name_(std::move(name)), size_(size), color_([] { return Theme::current().text2; }) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void IconLabel::setName(const QString& name) {
  if (name_ == name) return;
  name_ = name;
  update();
}

void IconLabel::setColor(QColor (*color)()) {
  color_ = color;
  update();
}

void IconLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QColor color = isEnabled() ? color_() : Theme::current().textDis;
  painter.drawPixmap((width() - size_) / 2, (height() - size_) / 2,
                     iconPixmap(name_, color, size_, devicePixelRatioF()));
}

}  // namespace halcyra
