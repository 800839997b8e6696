#pragma once

#include <QWidget>

#include "App/Control/ControlStatus.h"

namespace halcyra {

/// The picture that stands before a status, by the name of its resource.
const char* statusPicture(ControlStatus::Kind kind);
/// The user is to see to something before the selected preset can drive the fans.
bool needsAttention(ControlStatus::Kind kind);

/// What drives the fans now: a symbol and one line, the same in every window. It takes one line at any width; the tool
/// tip has what does not fit.
class ControlStatusLine : public QWidget {
  Q_OBJECT

 public:
  explicit ControlStatusLine(QWidget* parent = nullptr);

  void setStatus(const ControlStatus& status);
  const ControlStatus& status() const { return status_; }
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  ControlStatus status_;
};

}  // namespace halcyra
