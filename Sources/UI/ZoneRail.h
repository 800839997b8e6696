#pragma once

#include <QWidget>
#include <optional>

namespace halcyra {

/// Where one temperature stands on the scale of the gauges: a rail with a dot in the zone's colour. Says nothing to
/// assistive technology, the number stands beside it.
class ZoneRail : public QWidget {
  Q_OBJECT

 public:
  explicit ZoneRail(QWidget* parent = nullptr);

  /// °C; without one there is no dot.
  void setTemperature(const std::optional<double>& temperature);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::optional<double> temperature_;
};

}  // namespace halcyra
