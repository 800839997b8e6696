#pragma once

#include <QSpinBox>

namespace halcyra {

/// A number field with a stepper. Any number can be typed, with point or comma; submitting it (Return, or leaving the
/// field) takes it into the limits. A number set by the program is shown as it is. The wheel changes nothing: it
/// belongs to the pane that scrolls.
class FanCurveEditorField : public QSpinBox {
  Q_OBJECT

 public:
  FanCurveEditorField(double lowest, double highest, double step, QWidget* parent = nullptr);

  /// Silent. Does not disturb what is being typed.
  void showNumber(double number);
  double number() const;

 signals:
  /// By the user: stepped, or submitted, also when the number is the one that was shown.
  void numberChanged(double number);

 protected:
  QString textFromValue(int value) const override;
  int valueFromText(const QString& text) const override;
  QValidator::State validate(QString& text, int& position) const override;
  void stepBy(int steps) override;
  StepEnabled stepEnabled() const override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  int lowest_;
  int highest_;
  int step_;
  bool isTyped_ = false;
};

}  // namespace halcyra
