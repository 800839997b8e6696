#include "UI/FanCard.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "UI/Controls/ZoneDot.h"
#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/RpmRail.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int sidePadding = 18;
constexpr int endPadding = 14;
constexpr int cardSpacing = 8;

}  // namespace

FanCard::FanCard(QWidget* parent) : QFrame(parent) {
  setProperty("card", true);
  auto* const rows = new QVBoxLayout(this);
  rows->setContentsMargins(sidePadding, endPadding, sidePadding, endPadding);
  rows->setSpacing(cardSpacing);
  auto* const heading = new QHBoxLayout;
  heading->setSpacing(cardSpacing);
  heading->addWidget(new IconLabel(QStringLiteral("fan-fill"), this));
  label_ = makeLabel(this, "fanLabel", TextRole::headline);
  heading->addWidget(label_, 1);
  rows->addLayout(heading);
  speed_ = new FigureLabel(TextStyle::title, this);
  speed_->setObjectName(QStringLiteral("fanSpeed"));
  rows->addWidget(speed_);
  rail_ = new RpmRail(this);
  rows->addWidget(rail_);
  auto* const limits = new QHBoxLayout;
  target_ = new FigureLabel(TextStyle::caption, this);
  target_->setObjectName(QStringLiteral("fanTarget"));
  target_->setProperty("role", QStringLiteral("secondary"));
  limits->addWidget(target_, 1);
  mode_ = makeLabel(this, "fanMode", TextRole::captionBold);
  limits->addWidget(mode_);
  rows->addLayout(limits);
  input_ = makeInput();
  rows->addWidget(input_);
  rows->addStretch(1);
}

QWidget* FanCard::makeInput() {
  auto* const input = new QWidget(this);
  auto* const rows = new QVBoxLayout(input);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->setSpacing(cardSpacing);
  rows->addWidget(makeLine(input));
  auto* const grid = new QGridLayout;
  grid->setHorizontalSpacing(cardSpacing);
  grid->setVerticalSpacing(2);
  dot_ = new ZoneDot(input);
  grid->addWidget(dot_, 0, 0);
  curveInput_ = new FigureLabel(TextStyle::caption, input);
  curveInput_->setObjectName(QStringLiteral("curveInput"));
  grid->addWidget(curveInput_, 0, 1);
  driver_ = makeLabel(input, "curveDriver", TextRole::caption2);
  makeShrinkable(driver_);
  grid->addWidget(driver_, 1, 1);
  grid->setColumnStretch(1, 1);
  rows->addLayout(grid);
  return input;
}

void FanCard::apply(const FanCardState& state) {
  setObjectName(QStringLiteral("fanCard%1").arg(state.index));
  const QString label = textOf(state.label);
  if (label_->text() != label) {
    label_->setText(label);
    setAccessibleName(label);
  }
  speed_->setText(textOf(state.speed));
  rail_->setFan(state.index);
  rail_->setSpeeds(state.minRPM, state.maxRPM, state.actualRPM, state.targetRPM);
  target_->setText(textOf(state.target));
  setLabelText(mode_, state.mode);
  input_->setVisible(state.curveInput.has_value());
  dot_->setZone(state.zone);
  curveInput_->setText(textOf(state.curveInput.value_or("")));
  driver_->setVisible(state.driver.has_value());
  setLabelText(driver_, state.driver.value_or(""));
}

}  // namespace halcyra
