#pragma once

#include <QFrame>

#include "UI/MenuBarView.h"

namespace halcyra {

/// The window of the menu bar panel: a popup beside the tray icon, or an ordinary small window where the desktop has no
/// tray. Never higher than the screen.
class MenuBarPanel : public QWidget {
  Q_OBJECT

 public:
  enum class Kind { popup, window };

  MenuBarPanel(ViewContext context, Kind kind, QWidget* parent = nullptr);

  MenuBarView& view() { return *view_; }
  /// Opens at the tray icon's place on the screen, or in a corner where that is not known.
  void openNear(const QRect& icon);

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void fit();
  /// Without rounded corners.
  void setSquare(bool square);

  Kind kind_;
  QFrame* frame_;
  MenuBarView* view_;
};

}  // namespace halcyra
