#pragma once

#include <QWidget>
#include <optional>

#include "UI/TemperatureGaugeState.h"

namespace halcyra {

/// The colour of a temperature's zone, beside its number; says nothing by itself. Nothing is painted without a zone.
class ZoneDot : public QWidget {
  Q_OBJECT

 public:
  explicit ZoneDot(QWidget* parent);

  void setZone(std::optional<ZoneColor> zone);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::optional<ZoneColor> zone_;
};

}  // namespace halcyra
