#pragma once

#include <QFrame>

namespace halcyra {

/// A note that opens beside a widget and closes at a click elsewhere or Escape. Deletes itself when it closes.
class Popover : public QFrame {
  Q_OBJECT

 public:
  /// `content` becomes the popover's.
  Popover(QWidget* content, QWidget* parent);

  /// Opens under `anchor`, or above it where the screen has no room below.
  void openAt(const QWidget& anchor);
};

}  // namespace halcyra
