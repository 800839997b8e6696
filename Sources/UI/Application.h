#pragma once

#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UI/MenuBarState.h"
#include "UI/ViewContext.h"

class QAction;
class QMenu;

namespace halcyra {

class MenuBarPanel;
class MenuBarView;

/// The scenes of the application: the menu bar item with its panel, the dashboard, the sensors and the settings
/// window, one of each, made when first opened. Closing windows ends nothing. Main thread only.
class HalcyraApp : public QObject {
  Q_OBJECT

 public:
  /// `context` brings the model, the version, and the actions `quit` and `checkForUpdates`; those that open windows
  /// are this object's own.
  explicit HalcyraApp(ViewContext context, QObject* parent = nullptr);
  ~HalcyraApp() override;

  /// Shows the menu bar item; where the desktop has no tray, the dashboard and the panel as a window.
  void start();
  void openDashboard();
  void openSensors();
  void openSettings();
  void openPanel();
  /// Null before the panel has been opened.
  MenuBarView* panelView();
  /// Brings the window in front, or else the dashboard.
  void activate();

 private:
  QWidget& window(const QString& identifier, const std::function<QWidget*()>& make);
  QWidget* makeWindow(const QString& identifier, const QString& title, QWidget* content, QSize minimum, QSize ideal);
  void addCommands(QWidget* window);
  void startTray();
  void updateTray();
  void updateTrayPresets(const MenuBarState& state);

  ViewContext context_;
  std::map<QString, QPointer<QWidget>> windows_;
  QPointer<MenuBarPanel> panel_;
  std::unique_ptr<QSystemTrayIcon> tray_;
  std::unique_ptr<QMenu> trayMenu_;
  std::optional<bool> trayIsDark_;
  QAction* trayTitle_ = nullptr;
  QAction* trayStatus_ = nullptr;
  std::optional<ControlStatus> shownStatus_;
  QMenu* trayPresets_ = nullptr;
  std::vector<MenuBarState::PresetRow> shownPresets_;
};

}  // namespace halcyra
