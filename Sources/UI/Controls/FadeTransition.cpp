#include "UI/Controls/FadeTransition.h"

#include <QEasingCurve>
#include <QLayout>
#include <QPainter>
#include <utility>

#include "UI/Motion.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

constexpr int milliseconds = 160;
/// Of its size, with which the new content begins.
constexpr double firstScale = 0.96;

}  // namespace

void FadeTransition::run(QWidget& stage, int top, const std::function<void()>& change) {
  for (QWidget* const running : stage.findChildren<FadeTransition*>(Qt::FindDirectChildrenOnly)) delete running;
  if (!stage.isVisible() || !isMotionWanted(stage)) {
    change();
    return;
  }
  QPixmap before = stage.grab(QRect(0, top, stage.width(), stage.height() - top));
  change();
  (new FadeTransition(stage, top, std::move(before)))->start();
}

FadeTransition::FadeTransition(QWidget& stage, int top, QPixmap before) : QWidget(&stage), before_(std::move(before)) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  if (QLayout* const layout = stage.layout()) layout->activate();
  const QRect place(0, top, stage.width(), stage.height() - top);
  after_ = stage.grab(place);
  setGeometry(place);
  progress_.setStartValue(0.0);
  progress_.setEndValue(1.0);
  progress_.setDuration(milliseconds);
  progress_.setEasingCurve(QEasingCurve::OutCubic);
  connect(&progress_, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
  connect(&progress_, &QVariantAnimation::finished, this, &QObject::deleteLater);
}

void FadeTransition::start() {
  show();
  raise();
  progress_.start();
}

void FadeTransition::paintEvent(QPaintEvent*) {
  const double part = progress_.currentValue().toDouble();
  QPainter painter(this);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.fillRect(rect(), Theme::current().panel);
  painter.setOpacity(1 - part);
  painter.drawPixmap(0, 0, before_);
  painter.setOpacity(part);
  const double scale = firstScale + (1 - firstScale) * part;
  painter.translate(width() * (1 - scale) / 2, 0);
  painter.scale(scale, scale);
  painter.drawPixmap(0, 0, after_);
}

}  // namespace halcyra
