#pragma once

#include <QFrame>
#include <vector>

#include "UI/TemperatureGaugeState.h"

namespace halcyra {

struct ModelView;
class FigureLabel;
class ZoneDot;

/// The table of die aggregates, "Live sensor comparison".
class ThermalMetricSummary : public QFrame {
  Q_OBJECT

 public:
  explicit ThermalMetricSummary(QWidget* parent = nullptr);

  void setMetrics(const ThermalMetrics& metrics);
  /// Shows the model's present aggregates.
  void refresh(const ModelView& view);

 private:
  QWidget* makeRow(const ThermalMetricRow& row);

  std::vector<FigureLabel*> values_;
  std::vector<ZoneDot*> dots_;
};

}  // namespace halcyra
