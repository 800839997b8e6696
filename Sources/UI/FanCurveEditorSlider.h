#pragma once

#include <QSlider>

namespace halcyra {

/// A horizontal slider over steps of a number. A click on its groove takes it there; the wheel changes nothing, it
/// belongs to the pane that scrolls. Assistive technology reads the number, not the step.
class FanCurveEditorSlider : public QSlider {
  Q_OBJECT

 public:
  /// `unit` follows the number where it is read out.
  FanCurveEditorSlider(double lowest, double highest, double step, const QString& unit, QWidget* parent = nullptr);

  /// Silent. A number between two steps is shown at the nearer one.
  void showNumber(double number);
  double number() const { return value() * step_; }
  double step() const { return step_; }
  const QString& unit() const { return unit_; }

 signals:
  /// By the user.
  void numberChanged(double number);

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  double step_;
  QString unit_;
};

}  // namespace halcyra
