#include "Programs/Aerovane/Screenshots.h"

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QTimer>
#include <utility>

#include "UI/Application.h"
#include "UI/MenuBarPanel.h"

namespace halcyra {

namespace {

/// Long enough for a chart with a story.
constexpr int settleMilliseconds = 60'000;

void saveWindows(const QDir& folder, const QString& suffix) {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->objectName().isEmpty()) continue;
    window->grab().save(folder.filePath(window->objectName() + suffix + QStringLiteral(".png")));
  }
}

}  // namespace

void takeScreenshots(HalcyraApp& scenes, const std::string& folder, std::function<void()> finished) {
  const QDir target(QString::fromStdString(folder));
  target.mkpath(QStringLiteral("."));
  scenes.openDashboard();
  scenes.openSensors();
  scenes.openSettings();
  scenes.openPanel();
  QTimer::singleShot(settleMilliseconds, &scenes, [&scenes, target, finished = std::move(finished)] {
    scenes.openPanel();
    saveWindows(target, {});
    if (MenuBarView* view = scenes.panelView()) {
      view->setHistoryExpanded(true);
      QTimer::singleShot(300, &scenes, [view, target, finished] {
        view->window()->grab().save(target.filePath(QStringLiteral("menuBarWindow-expanded.png")));
        finished();
      });
      return;
    }
    finished();
  });
}

}  // namespace halcyra
