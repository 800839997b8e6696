#include "UI/FanCurveEditorField.h"

#include <QLineEdit>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <algorithm>
#include <optional>

namespace halcyra {

namespace {

constexpr double thousand = 1000;
/// So that a stored fraction is shown and kept.
constexpr int mostDecimals = 3;

/// Nothing where it is no number. Either mark may part the fraction; in front of three digits it groups thousands
/// where numbers are that large.
std::optional<double> numberFrom(const QString& text, bool hasThousands) {
  static const QRegularExpression grouped(QStringLiteral("^\\d{1,3}([.,]\\d{3})+$"));
  QString plain = text.trimmed();
  if (hasThousands && grouped.match(plain).hasMatch()) {
    plain.remove(QLatin1Char('.')).remove(QLatin1Char(','));
  } else {
    plain.replace(QLatin1Char(','), QLatin1Char('.'));
  }
  bool isNumber = false;
  const double number = plain.toDouble(&isNumber);
  return isNumber ? std::optional(number) : std::nullopt;
}

}  // namespace

FanCurveEditorField::FanCurveEditorField(double lowest, double highest, double step, QWidget* parent)
    : QDoubleSpinBox(parent), lowest_(lowest), highest_(highest), step_(step) {
  setDecimals(mostDecimals);
  setRange(lowest, highest);
  setFocusPolicy(Qt::StrongFocus);
  connect(lineEdit(), &QLineEdit::textEdited, this, [this] { isTyped_ = true; });
  connect(this, &QDoubleSpinBox::valueChanged, this, &FanCurveEditorField::numberChanged);
  // What is shown need not be stored yet: a shown default becomes a value by being entered.
  connect(this, &QDoubleSpinBox::editingFinished, this, [this] {
    if (!isTyped_) return;
    isTyped_ = false;
    emit numberChanged(value());
  });
}

void FanCurveEditorField::showNumber(double number) {
  if (number == value()) return;
  const QSignalBlocker quiet(this);
  // A stored number may lie outside of what can be entered.
  setRange(std::min(lowest_, number), std::max(highest_, number));
  setValue(number);
}

QString FanCurveEditorField::textFromValue(double value) const {
  QString text = QString::number(value, 'f', mostDecimals);
  for (int decimals = mostDecimals; decimals > leastDecimals_ && text.endsWith(QLatin1Char('0')); --decimals) {
    text.chop(1);
  }
  if (text.endsWith(QLatin1Char('.'))) text.chop(1);
  return text;
}

double FanCurveEditorField::valueFromText(const QString& text) const {
  const auto number = numberFrom(text, lowest_ >= thousand);
  return number ? std::clamp(*number, lowest_, highest_) : value();
}

QValidator::State FanCurveEditorField::validate(QString& text, int&) const {
  const bool isWritable = std::all_of(text.cbegin(), text.cend(), [](QChar each) {
    return each.isDigit() || each == QLatin1Char('.') || each == QLatin1Char(',') || each == QLatin1Char('-');
  });
  if (!isWritable) return QValidator::Invalid;
  return numberFrom(text, lowest_ >= thousand) ? QValidator::Acceptable : QValidator::Intermediate;
}

void FanCurveEditorField::stepBy(int steps) {
  // From what has been typed, if anything.
  interpretText();
  setValue(std::clamp(value() + steps * step_, lowest_, highest_));
  selectAll();
}

QAbstractSpinBox::StepEnabled FanCurveEditorField::stepEnabled() const {
  StepEnabled enabled = StepNone;
  if (value() > lowest_) enabled |= StepDownEnabled;
  if (value() < highest_) enabled |= StepUpEnabled;
  return enabled;
}

void FanCurveEditorField::wheelEvent(QWheelEvent* event) {
  event->ignore();
}

}  // namespace halcyra
