#include "UI/ThermalMetricSummary.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "App/ModelView.h"
#include "UI/Controls/ZoneDot.h"
#include "UI/Fonts.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int summaryHeight = 44;
constexpr int valueColumnWidth = 84;

}  // namespace

ThermalMetricSummary::ThermalMetricSummary(QWidget* parent) : QFrame(parent) {
  setObjectName("thermalMetricSummary");
  setProperty("card", true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(18, 12, 18, 8);
  layout->setSpacing(0);
  auto* title = makeWrappedLabel(this, TextRole::captionStrong, "Live sensor comparison");
  title->setContentsMargins(0, 0, 0, 4);
  layout->addWidget(title);
  for (const ThermalMetricRow& row : makeThermalMetricRows({})) {
    if (!values_.empty()) layout->addWidget(makeLine(this));
    layout->addWidget(makeRow(row));
  }
}

QWidget* ThermalMetricSummary::makeRow(const ThermalMetricRow& row) {
  auto* widget = new QWidget(this);
  widget->setMinimumHeight(summaryHeight);
  auto* layout = new QHBoxLayout(widget);
  layout->setContentsMargins(0, 4, 0, 4);
  layout->setSpacing(12);
  auto* texts = new QVBoxLayout;
  texts->setSpacing(1);
  texts->addStretch();
  texts->addWidget(makeWrappedLabel(widget, TextRole::body, row.title));
  texts->addWidget(makeWrappedLabel(widget, TextRole::caption2, row.explanation));
  texts->addStretch();
  layout->addLayout(texts, 1);
  dots_.push_back(new ZoneDot(widget));
  layout->addWidget(dots_.back());
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
  for (std::size_t i = 0; i < rows.size(); ++i) {
    values_[i]->setText(QString::fromStdString(rows[i].value));
    dots_[i]->setZone(rows[i].zone);
  }
}

void ThermalMetricSummary::refresh(const ModelView& view) {
  setMetrics({.cpuAverage = view.cpuCoreAverage,
              .performanceMaximum = view.performanceCoreMaximum,
              .efficiencyMaximum = view.efficiencyCoreMaximum,
              .gpuMaximum = view.gpuCoreMaximum,
              .cpuHotspot = view.cpuDieHotspotTemperature,
              .gpuHotspot = view.gpuDieHotspotTemperature});
}

}  // namespace halcyra
