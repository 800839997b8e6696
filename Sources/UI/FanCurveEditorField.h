#pragma once

#include <QDoubleSpinBox>

namespace halcyra {

/// A number field with a stepper. Any number can be typed, with point or comma. What is typed counts at once, within
/// the limits; submitting it (Return, or leaving the field) shows it within them. A number set by the program is shown
/// as it is. The wheel changes nothing: it belongs to the pane that scrolls.
class FanCurveEditorField : public QDoubleSpinBox {
  Q_OBJECT

 public:
  FanCurveEditorField(double lowest, double highest, double step, QWidget* parent = nullptr);

  /// Decimals that are shown also where they are zero; 0…3.
  void setLeastDecimals(int count) { leastDecimals_ = count; }
  /// Silent. Does not disturb what is being typed.
  void showNumber(double number);

 signals:
  /// By the user: stepped, typed, or submitted, also when the number is the one that was shown.
  void numberChanged(double number);

 protected:
  QString textFromValue(double value) const override;
  double valueFromText(const QString& text) const override;
  QValidator::State validate(QString& text, int& position) const override;
  void stepBy(int steps) override;
  StepEnabled stepEnabled() const override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  double lowest_;
  double highest_;
  double step_;
  int leastDecimals_ = 0;
  bool isTyped_ = false;
};

}  // namespace halcyra
