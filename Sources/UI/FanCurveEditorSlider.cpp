#include "UI/FanCurveEditorSlider.h"

#include <QAccessibleWidget>
#include <QMouseEvent>
#include <QSignalBlocker>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QWheelEvent>
#include <cmath>

namespace halcyra {

namespace {

/// What assistive technology finds: the slider in the number's own unit.
class SliderInterface : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit SliderInterface(FanCurveEditorSlider& slider)
      : QAccessibleWidget(&slider, QAccessible::Slider), slider_(slider) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QString text(QAccessible::Text kind) const override {
    if (kind != QAccessible::Value) return QAccessibleWidget::text(kind);
    return QStringLiteral("%1 %2").arg(slider_.number(), 0, 'f', 1).arg(slider_.unit());
  }
  QVariant currentValue() const override { return slider_.number(); }
  void setCurrentValue(const QVariant& value) override {
    slider_.setValue(static_cast<int>(std::lround(value.toDouble() / slider_.step())));
  }
  QVariant maximumValue() const override { return slider_.maximum() * slider_.step(); }
  QVariant minimumValue() const override { return slider_.minimum() * slider_.step(); }
  QVariant minimumStepSize() const override { return slider_.step(); }

 private:
  FanCurveEditorSlider& slider_;
};

QAccessibleInterface* makeSliderInterface(const QString&, QObject* object) {
  auto* const slider = qobject_cast<FanCurveEditorSlider*>(object);
  return slider == nullptr ? nullptr : new SliderInterface(*slider);
}

}  // namespace

FanCurveEditorSlider::FanCurveEditorSlider(double lowest, double highest, double step, const QString& unit,
                                           QWidget* parent)
    : QSlider(Qt::Horizontal, parent), step_(step), unit_(unit) {
  [[maybe_unused]] static const bool isInstalled = [] {
    QAccessible::installFactory(makeSliderInterface);
    return true;
  }();
  setRange(static_cast<int>(std::lround(lowest / step)), static_cast<int>(std::lround(highest / step)));
  setFocusPolicy(Qt::StrongFocus);
  connect(this, &QSlider::valueChanged, this, [this] { emit numberChanged(number()); });
}

void FanCurveEditorSlider::showNumber(double number) {
  const QSignalBlocker quiet(this);
  setValue(static_cast<int>(std::lround(number / step_)));
}

void FanCurveEditorSlider::mousePressEvent(QMouseEvent* event) {
  QStyleOptionSlider option;
  initStyleOption(&option);
  const QRect handle = style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
  const int place = event->position().toPoint().x();
  if (event->button() == Qt::LeftButton && (place < handle.left() || place > handle.right())) {
    const QRect groove = style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, this);
    setValue(QStyle::sliderValueFromPosition(minimum(), maximum(), place - groove.left() - handle.width() / 2,
                                             groove.width() - handle.width(), option.upsideDown));
  }
  // The handle is under the pointer now and can be dragged on.
  QSlider::mousePressEvent(event);
}

void FanCurveEditorSlider::wheelEvent(QWheelEvent* event) {
  event->ignore();
}

}  // namespace halcyra
