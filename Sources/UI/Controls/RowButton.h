#pragma once

#include <QAbstractButton>

namespace halcyra {

/// Base of the painted buttons that fill a row: Return presses it as Space does, and the focus is shown when it has
/// come by the keyboard.
class RowButton : public QAbstractButton {
  Q_OBJECT

 public:
  explicit RowButton(QWidget* parent = nullptr);

 protected:
  bool event(QEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  /// The mark of the focus, where it is shown.
  void drawFocus(QPainter& painter) const;

 private:
  bool showsFocus_ = false;
};

}  // namespace halcyra
