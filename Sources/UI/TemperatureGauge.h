#pragma once

#include <QVariantAnimation>
#include <QWidget>
#include <optional>

#include "UI/TemperatureGaugeState.h"

class QLabel;
class QPainter;

namespace halcyra {

/// The five zones side by side with a marker at the temperature. Accessible name "Hottest sensor temperature gauge",
/// description the value.
class TemperatureGaugeBar : public QWidget {
  Q_OBJECT

 public:
  /// `height` of the bar in pixels; the widget is taller by the marker's overhang of 4 pixels at each end.
  explicit TemperatureGaugeBar(int height, QWidget* parent = nullptr);

  /// °C. A new value is approached with the gauges' spring, at once when motion is reduced or nobody sees it; none is
  /// shown at once.
  void setTemperature(const std::optional<double>& temperature);
  const std::optional<double>& temperature() const { return temperature_; }
  /// What the marker shows at the moment.
  const std::optional<double>& animatedTemperature() const { return animatedTemperature_; }
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void moveMarker(const std::optional<double>& temperature);
  /// In pixels from the left edge.
  double markerPosition(double temperature) const;
  void drawZones(QPainter& painter) const;

  int barHeight_;
  std::optional<double> temperature_;
  std::optional<double> animatedTemperature_;
  QVariantAnimation animation_{this};
};

/// The hottest live sensor: bar, legend and status sentence.
class TemperatureGaugeView : public QWidget {
  Q_OBJECT

 public:
  /// `barHeight` in pixels.
  explicit TemperatureGaugeView(int barHeight, QWidget* parent = nullptr);

  /// °C.
  void setTemperature(const std::optional<double>& temperature);

 private:
  TemperatureGaugeBar* bar_;
  QLabel* status_;
};

}  // namespace halcyra
