#include "UI/ThermalMetricSummary.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "App/AppModel.h"
#include "UI/Fonts.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int rowHeight = 44;
constexpr int valueColumnWidth = 84;

QFrame* makeSeparator(QWidget* parent) {
  auto* line = new QFrame(parent);
  line->setProperty("line", true);
  return line;
}

QLabel* makeLabel(const std::string& text, const char* role, QWidget* parent) {
  auto* label = new QLabel(QString::fromStdString(text), parent);
  if (role != nullptr) label->setProperty("role", role);
  label->setWordWrap(true);
  return label;
}

}  // namespace

ThermalMetricSummary::ThermalMetricSummary(QWidget* parent) : QWidget(parent) {
  setObjectName("thermalMetricSummary");
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  auto* title = makeLabel("Live sensor comparison", "headline", this);
  title->setContentsMargins(0, 0, 0, 8);
  layout->addWidget(title);
  for (const ThermalMetricRow& row : makeThermalMetricRows({})) {
    layout->addWidget(makeSeparator(this));
    layout->addWidget(makeRow(row));
  }
}

QWidget* ThermalMetricSummary::makeRow(const ThermalMetricRow& row) {
  auto* widget = new QWidget(this);
  widget->setMinimumHeight(rowHeight);
  auto* layout = new QHBoxLayout(widget);
  layout->setContentsMargins(0, 4, 0, 4);
  layout->setSpacing(12);
  auto* texts = new QVBoxLayout;
  texts->setSpacing(1);
  texts->addStretch();
  texts->addWidget(makeLabel(row.title, nullptr, widget));
  texts->addWidget(makeLabel(row.explanation, "caption2", widget));
  texts->addStretch();
  layout->addLayout(texts, 1);
  auto* value = new FigureLabel(TextStyle::rowValue, widget);
  value->setObjectName(QStringLiteral("thermalMetric%1").arg(values_.size()));
  value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  value->setMinimumWidth(valueColumnWidth);
  value->setText(QString::fromStdString(row.value));
  layout->addWidget(value);
  values_.push_back(value);
  return widget;
}

void ThermalMetricSummary::setMetrics(const ThermalMetrics& metrics) {
  const std::vector<ThermalMetricRow> rows = makeThermalMetricRows(metrics);
  for (std::size_t i = 0; i < rows.size(); ++i) values_[i]->setText(QString::fromStdString(rows[i].value));
}

void ThermalMetricSummary::refresh(const AppModel& model) {
  setMetrics({.cpuAverage = model.cpuCoreAverage(),
              .performanceMaximum = model.performanceCoreMaximum(),
              .efficiencyMaximum = model.efficiencyCoreMaximum(),
              .gpuMaximum = model.gpuCoreMaximum(),
              .cpuHotspot = model.cpuDieHotspotTemperature(),
              .gpuHotspot = model.gpuDieHotspotTemperature()});
}

}  // namespace halcyra
