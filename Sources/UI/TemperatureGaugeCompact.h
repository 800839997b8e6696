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
  explicit CompactTemperatureGauge(QWidget* parent = nullptr);

  /// °C.
  void setTemperature(const std::optional<double>& temperature);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void drawMarks(QPainter& painter, const std::vector<GaugeMark>& marks, int top) const;

  std::vector<GaugeMark> boundaries_ = gaugeBoundaries();
  std::vector<GaugeMark> bandWords_ = gaugeBandWords();
  TemperatureGaugeBar* bar_;
};

}  // namespace halcyra
