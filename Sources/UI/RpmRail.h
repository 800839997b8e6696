#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>

namespace halcyra {

/// A fan's speed between its limits, with a tick at its target. Says nothing to assistive technology: the numbers
/// stand beside it.
class RpmRail : public QWidget {
  Q_OBJECT

 public:
  explicit RpmRail(QWidget* parent = nullptr);

  /// The fan whose colour the rail has.
  void setFan(int index);
  /// RPM.
  void setSpeeds(std::int64_t minimum, std::int64_t maximum, std::int64_t actual, std::optional<std::int64_t> target);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  /// In pixels from the left edge.
  double positionOf(std::int64_t rpm) const;

  int fan_ = 0;
  std::int64_t minimum_ = 0;
  std::int64_t maximum_ = 0;
  std::int64_t actual_ = 0;
  std::optional<std::int64_t> target_;
};

}  // namespace halcyra
