#include "UI/FanCurveEditorField.h"

#include <QLineEdit>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

namespace halcyra {

namespace {

/// The spin box counts in thousandths, so that a stored fraction is shown and kept.
constexpr double unit = 1000;
constexpr int thousand = 1000 * 1000;
constexpr int largestNumber = 2'000'000'000;
constexpr int decimals = 3;

int toUnits(double number) {
  return static_cast<int>(std::lround(std::clamp(number * unit, -double{largestNumber}, double{largestNumber})));
}

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
    : QSpinBox(parent), lowest_(toUnits(lowest)), highest_(toUnits(highest)), step_(toUnits(step)) {
  setRange(-largestNumber, largestNumber);
  setKeyboardTracking(false);
  setFocusPolicy(Qt::StrongFocus);
  connect(lineEdit(), &QLineEdit::textEdited, this, [this] { isTyped_ = true; });
  connect(this, &QSpinBox::valueChanged, this, [this] {
    isTyped_ = false;
    emit numberChanged(number());
  });
  // What is shown need not be stored yet: a shown default becomes a value by being entered.
  connect(this, &QSpinBox::editingFinished, this, [this] {
    if (!isTyped_) return;
    isTyped_ = false;
    emit numberChanged(number());
  });
}

void FanCurveEditorField::showNumber(double number) {
  const int value = toUnits(number);
  if (value == this->value()) return;
  const QSignalBlocker quiet(this);
  setValue(value);
}

double FanCurveEditorField::number() const {
  return value() / unit;
}

QString FanCurveEditorField::textFromValue(int value) const {
  QString text = QString::number(value / unit, 'f', decimals);
  while (text.endsWith(QLatin1Char('0'))) text.chop(1);
  if (text.endsWith(QLatin1Char('.'))) text.chop(1);
  return text;
}

int FanCurveEditorField::valueFromText(const QString& text) const {
  const auto number = numberFrom(text, lowest_ >= thousand);
  return number ? std::clamp(toUnits(*number), lowest_, highest_) : value();
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
  const std::int64_t next = std::int64_t{value()} + std::int64_t{steps} * step_;
  setValue(static_cast<int>(std::clamp<std::int64_t>(next, lowest_, highest_)));
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
