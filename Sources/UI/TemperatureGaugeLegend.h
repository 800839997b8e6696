#pragma once

#include <QRect>
#include <QWidget>
#include <cstddef>
#include <vector>

namespace halcyra {

/// Every zone of the gauges with its swatch, name and range; wraps where it is narrow.
class TemperatureGaugeLegend : public QWidget {
  Q_OBJECT

 public:
  explicit TemperatureGaugeLegend(QWidget* parent = nullptr);

  int heightForWidth(int width) const override;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  /// The places of the zones' entries, in their order.
  std::vector<QRect> layOut(int width) const;
};

}  // namespace halcyra
