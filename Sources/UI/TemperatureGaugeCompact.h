#pragma once

#include <QWidget>
#include <optional>
#include <vector>

#include "UI/TemperatureGaugeState.h"

class QPainter;

namespace halcyra {

class TemperatureGaugeBar;

/// The panel's gauge: a thin bar between the names of its bands and the temperatures of their boundaries.
class CompactTemperatureGauge : public QWidget {
  Q_OBJECT

 public:
  CompactTemperatureGauge(std::vector<GaugeMark> boundaries, std::vector<GaugeMark> bandWords,
                          QWidget* parent = nullptr);
  /// With the boundaries and names of the gauges' zones.
  explicit CompactTemperatureGauge(QWidget* parent = nullptr);

  /// °C.
  void setTemperature(const std::optional<double>& temperature);
  /// Seconds.
  void setSamplingInterval(double seconds);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void drawMarks(QPainter& painter, const std::vector<GaugeMark>& marks, int top) const;

  std::vector<GaugeMark> boundaries_;
  std::vector<GaugeMark> bandWords_;
  TemperatureGaugeBar* bar_;
};

}  // namespace halcyra
