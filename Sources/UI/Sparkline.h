#pragma once

#include <QWidget>
#include <vector>

#include "UI/SparklineState.h"

namespace halcyra {

/// The trend of the control temperature, 72 × 18 pixels. Takes no mouse events: it is made for the inside of a button.
class MenuBarSparkline : public QWidget {
  Q_OBJECT

 public:
  explicit MenuBarSparkline(QWidget* parent = nullptr);

  /// The model's history, oldest first.
  void setSamples(const std::vector<HistorySample>& samples);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<SparklinePoint> points_;
};

}  // namespace halcyra
