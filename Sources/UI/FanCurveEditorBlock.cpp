#include "UI/FanCurveEditorBlock.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "UI/CurvePreview.h"
#include "UI/FanCurveEditorField.h"
#include "UI/FanCurveEditorSlider.h"
#include "UI/Icons.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int columnSpacing = 20;
constexpr int temperatureWidth = 88;
constexpr int rpmWidth = 84;
constexpr int hysteresisWidth = 52;

QVBoxLayout* makeColumn(QWidget* owner, int spacing) {
  auto* const column = new QVBoxLayout(owner);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(spacing);
  return column;
}

QLabel* makeCaption(QWidget* parent, const char* name, std::string_view text) {
  QLabel* const label = makeLabel(parent, name, TextRole::caption2, text);
  makeShrinkable(label);
  return label;
}

}  // namespace

FanCurveEditorBlock::FanCurveEditorBlock(std::optional<int> fan, QWidget* parent) : QWidget(parent), fan_(fan) {
  setObjectName(fan ? QStringLiteral("editorBlock%1").arg(*fan) : QStringLiteral("editorBlock"));
  QVBoxLayout* const column = makeColumn(this, 0);
  curve_ = makeCurve();
  constant_ = makeConstant();
  column->addWidget(curve_);
  column->addWidget(constant_);
  column->addStretch(1);
}

QWidget* FanCurveEditorBlock::makeCurve() {
  auto* const curve = new QWidget(this);
  QVBoxLayout* const rows = makeColumn(curve, editorRowSpacing);
  fieldsAndPreview_ = new QHBoxLayout;
  fieldsAndPreview_->setSpacing(columnSpacing);
  fields_ = new QVBoxLayout;
  fields_->setSpacing(editorRowSpacing);
  fields_->addWidget(makeField(curve, EditorText::rampStart, "rampStart", EditorBound::low, &low_));
  fields_->addWidget(makeField(curve, EditorText::fullSpeed, "fullSpeed", EditorBound::high, &high_));
  fields_->addStretch(1);
  fieldsAndPreview_->addLayout(fields_);
  preview_ = new CurvePreview(curve);
  preview_->setObjectName(QStringLiteral("curvePreview"));
  connect(preview_, &CurvePreview::pointMoved, this, &FanCurveEditorBlock::temperatureChanged);
  fieldsAndPreview_->addWidget(preview_, 1, Qt::AlignTop);
  rows->addLayout(fieldsAndPreview_);
  rows->addSpacing(-editorRowSpacing / 2);
  warning_ = makeWarning(curve);
  auto* const remarks = new QVBoxLayout;
  remarks->setSpacing(2);
  remarks->addWidget(warning_);
  remarks->addWidget(makeCaption(curve, "curveCaption", EditorText::curveCaption));
  rows->addLayout(remarks);
  rows->addWidget(makeHysteresis(curve));
  return curve;
}

QWidget* FanCurveEditorBlock::makeField(QWidget* parent, std::string_view label, const char* name, EditorBound bound,
                                        FanCurveEditorField** field) {
  auto* const cell = new QWidget(parent);
  QVBoxLayout* const column = makeColumn(cell, editorLabelSpacing);
  QLabel* const caption = makeLabel(cell, TextRole::secondary, label);
  column->addWidget(caption);
  *field = new FanCurveEditorField(EditorLimits::lowestTemperature, EditorLimits::highestTemperature, 1, cell);
  (*field)->setObjectName(QString::fromLatin1(name));
  (*field)->setAccessibleName(textOf(label));
  (*field)->setFixedWidth(temperatureWidth);
  caption->setBuddy(*field);
  connect(*field, &FanCurveEditorField::numberChanged, this,
          [this, bound](double temperature) { emit temperatureChanged(bound, temperature); });
  column->addWidget(*field);
  return cell;
}

QWidget* FanCurveEditorBlock::makeWarning(QWidget* parent) {
  auto* const warning = new QWidget(parent);
  warning->setObjectName(QStringLiteral("rangeWarning"));
  // Nothing below moves when it comes and goes.
  QSizePolicy policy = warning->sizePolicy();
  policy.setRetainSizeWhenHidden(true);
  warning->setSizePolicy(policy);
  auto* const row = new QHBoxLayout(warning);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  auto* const sign = new IconLabel(QStringLiteral("warning-fill"), warning);
  sign->setColor([] { return Theme::current().warn; });
  row->addWidget(sign);
  QLabel* const text = makeLabel(warning, "rangeWarningText", TextRole::conflict, EditorText::rangeWarning);
  makeShrinkable(text);
  row->addWidget(text, 1);
  return warning;
}

QWidget* FanCurveEditorBlock::makeHysteresis(QWidget* parent) {
  auto* const cell = new QWidget(parent);
  QVBoxLayout* const rows = makeColumn(cell, editorLabelSpacing);
  auto* const row = new QHBoxLayout;
  row->setSpacing(editorRowSpacing);
  row->addWidget(makeLabel(cell, TextRole::body, EditorText::hysteresis));
  slider_ = new FanCurveEditorSlider(EditorLimits::lowestHysteresis, EditorLimits::highestHysteresis,
                                     EditorLimits::hysteresisStep, QStringLiteral("degrees"), cell);
  slider_->setObjectName(QStringLiteral("hysteresis"));
  slider_->setAccessibleName(textOf(EditorText::hysteresis));
  slider_->setPageStep(2);
  slider_->setMinimumWidth(60);
  connect(slider_, &FanCurveEditorSlider::numberChanged, this, &FanCurveEditorBlock::hysteresisChanged);
  row->addWidget(slider_, 1);
  hysteresis_ = new FanCurveEditorField(EditorLimits::lowestHysteresis, EditorLimits::highestHysteresis,
                                        EditorLimits::hysteresisStep, cell);
  hysteresis_->setObjectName(QStringLiteral("hysteresisValue"));
  hysteresis_->setAccessibleName(QStringLiteral("Hysteresis in degrees"));
  hysteresis_->setLeastDecimals(1);
  hysteresis_->setButtonSymbols(QAbstractSpinBox::NoButtons);
  hysteresis_->setAlignment(Qt::AlignCenter);
  hysteresis_->setFixedWidth(hysteresisWidth);
  connect(hysteresis_, &FanCurveEditorField::numberChanged, this, &FanCurveEditorBlock::hysteresisChanged);
  row->addWidget(hysteresis_);
  rows->addLayout(row);
  rows->addWidget(makeCaption(cell, "hysteresisCaption", EditorText::hysteresisCaption));
  return cell;
}

QWidget* FanCurveEditorBlock::makeConstant() {
  auto* const constant = new QWidget(this);
  QVBoxLayout* const rows = makeColumn(constant, editorLabelSpacing + 4);
  auto* const row = new QHBoxLayout;
  row->setSpacing(editorRowSpacing);
  row->addWidget(makeLabel(constant, TextRole::body, EditorText::targetSpeed));
  rpm_ = new FanCurveEditorField(static_cast<double>(EditorLimits::lowestRPM),
                                 static_cast<double>(EditorLimits::highestRPM),
                                 static_cast<double>(EditorLimits::stepRPM), constant);
  rpm_->setObjectName(QStringLiteral("targetRPM"));
  rpm_->setAccessibleName(textOf(EditorText::targetRPM));
  rpm_->setFixedWidth(rpmWidth);
  connect(rpm_, &FanCurveEditorField::numberChanged, this, &FanCurveEditorBlock::rpmChanged);
  row->addWidget(rpm_);
  row->addStretch(1);
  rows->addLayout(row);
  rows->addWidget(makeCaption(constant, "constantCaption", EditorText::constantCaption));
  return constant;
}

void FanCurveEditorBlock::apply(const EditorBlock& block, bool isConstant, double hysteresis) {
  curve_->setVisible(!isConstant);
  constant_->setVisible(isConstant);
  low_->showNumber(block.low);
  high_->showNumber(block.high);
  rpm_->showNumber(static_cast<double>(block.rpm));
  preview_->setCurve(block.low, block.high);
  warning_->setVisible(block.hasEmptyRange);
  slider_->showNumber(hysteresis);
  hysteresis_->showNumber(hysteresis);
}

void FanCurveEditorBlock::setReadings(const std::vector<CurveReading>& readings) {
  preview_->setReadings(readings);
}

void FanCurveEditorBlock::setNarrow(bool narrow) {
  fieldsAndPreview_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  fields_->setDirection(narrow ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
}

std::vector<QWidget*> FanCurveEditorBlock::focusOrder() const {
  return {low_, high_, preview_, slider_, hysteresis_, rpm_};
}

void FanCurveEditorBlock::submit() {
  for (FanCurveEditorField* const field : {low_, high_, hysteresis_, rpm_}) field->interpretText();
}

}  // namespace halcyra
