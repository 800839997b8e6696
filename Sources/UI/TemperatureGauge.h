#pragma once

#include <QPixmap>
#include <QString>
#include <QVariantAnimation>
#include <QWidget>
#include <optional>
#include <tuple>

#include "UI/Charts/FanColors.h"
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
  /// What the gauge stands on, of one colour: then a step of the marker repaints nothing below the gauge.
  void setSurface(ColorOf color);
  /// Seconds between two values.
  void setSamplingInterval(double seconds) { samplingInterval_ = seconds; }
  double samplingInterval() const { return samplingInterval_; }
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
  /// One step of the animation.
  void followSpring(double temperature);
  void drawZones(QPainter& painter);
  QPixmap makeZones() const;

  int barHeight_;
  ColorOf surface_ = nullptr;
  /// The zones without the marker, and what they were painted for.
  QPixmap zones_;
  std::optional<std::tuple<QSize, double, bool, bool>> zonesAre_;
  int shownTime_ = 0;
  double samplingInterval_ = 2;
  std::optional<double> temperature_;
  std::optional<double> animatedTemperature_;
  QVariantAnimation animation_{this};
};

/// The hottest live sensor: bar, legend and status sentence, with a header of its own where the surroundings have
/// none.
class TemperatureGaugeView : public QWidget {
  Q_OBJECT

 public:
  enum class Header { shown, hidden };

  explicit TemperatureGaugeView(Header header = Header::shown, int barHeight = 22, QWidget* parent = nullptr);

  void setTemperature(const std::optional<double>& temperature);
  void setActivePresetName(const QString& name);
  /// Seconds.
  void setSamplingInterval(double seconds);
  static QString status(const std::optional<double>& temperature);

 private:
  QWidget* makeHeader();

  QLabel* presetName_ = nullptr;
  TemperatureGaugeBar* bar_ = nullptr;
  QLabel* status_ = nullptr;
};

}  // namespace halcyra
