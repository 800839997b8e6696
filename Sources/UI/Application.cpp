#include "UI/Application.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QScreen>
#include <QSettings>
#include <QVBoxLayout>
#include <utility>

#include "App/MenuBarTitle.h"
#include "UI/ControlStatusLine.h"
#include "UI/Icons.h"
#include "UI/MainView.h"
#include "UI/MenuBarPanel.h"
#include "UI/ModelObserver.h"
#include "UI/SensorsView.h"
#include "UI/SettingsView.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

QSettings windowSettings() {
  return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("aerovane"), QStringLiteral("windows"));
}

/// Pixels that a window manager adds around a window, its title above all.
constexpr QSize sceneFrame{4, 40};

/// A top-level window whose size is remembered.
class SceneWindow : public QWidget {
 public:
  SceneWindow(QString identifier, QSize minimum, QSize ideal) : identifier_(std::move(identifier)) {
    setObjectName(identifier_);
    const QSize remembered = windowSettings().value(identifier_ + QStringLiteral("/size")).toSize();
    // A size that was remembered on another screen, or at another scale, may be more than there is room for.
    const QSize room = QGuiApplication::primaryScreen()->availableGeometry().size() - sceneFrame;
    setMinimumSize(minimum.boundedTo(room));
    resize((remembered.isValid() ? remembered : ideal).boundedTo(room));
  }

 protected:
  void hideEvent(QHideEvent* event) override {
    if (!isMaximized() && !isFullScreen()) windowSettings().setValue(identifier_ + QStringLiteral("/size"), size());
    QWidget::hideEvent(event);
  }

 private:
  QString identifier_;
};

/// The bar of some desktops is dark whatever the windows are; that of the others follows them.
bool trayIsDark() {
  const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP").toUpper();
  return Theme::isDark() || desktop.contains("GNOME") || desktop.contains("UNITY");
}

/// One plain colour: a rim that would suit every bar looks dirty on each.
QIcon trayPicture(bool isDark) {
  QIcon picture;
  for (const int size : {16, 22, 24, 32, 44}) {
    picture.addPixmap(iconPixmap(QStringLiteral("fan"), QColor(isDark ? "#E8EBEA" : "#1A1E1F"), size));
  }
  return picture;
}

void bringToFront(QWidget& window) {
  window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.activateWindow();
}

}  // namespace

HalcyraApp::HalcyraApp(ViewContext context, QObject* parent) : QObject(parent), context_(std::move(context)) {
  if (!context_.notices) context_.notices = std::make_shared<Notices>();
  // Also while no window is open to see it.
  new ModelObserver(*context_.model, this, [this] { context_.notices->follow(context_.model->view()); });
  context_.openDashboard = [this] { openDashboard(); };
  context_.openSensors = [this] { openSensors(); };
  context_.openSettings = [this] { openSettings(); };
}

HalcyraApp::~HalcyraApp() {
  delete panel_;
  for (const auto& [identifier, window] : windows_) delete window;
}

void HalcyraApp::start() {
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(icon(QStringLiteral("fan"), Theme::current().accent, 64));
  // A visible icon says nothing: the icon counts as visible also where nobody shows it.
  if (QSystemTrayIcon::isSystemTrayAvailable()) {
    startTray();
  } else {
    openPanel();
    openDashboard();
  }
}

void HalcyraApp::startTray() {
  tray_ = std::make_unique<QSystemTrayIcon>();
  trayMenu_ = std::make_unique<QMenu>();
  trayTitle_ = trayMenu_->addAction(QString());
  trayTitle_->setEnabled(false);
  trayStatus_ = trayMenu_->addAction(QString());
  trayStatus_->setEnabled(false);
  trayMenu_->addSeparator();
  trayPresets_ = trayMenu_->addMenu(QString::fromUtf8(MenuBarText::presets));
  trayMenu_->addSeparator();
  const auto add = [&](const char* text, const std::function<void()>& action) {
    const QAction* entry = trayMenu_->addAction(QString::fromUtf8(text));
    connect(entry, &QAction::triggered, this, [action] {
      if (action) action();
    });
  };
  add("Open Panel", [this] { openPanel(); });
  add(MenuBarText::openDashboard, context_.openDashboard);
  add(MenuBarText::sensors, context_.openSensors);
  add("Settings && Helper…", context_.openSettings);
  add(MenuBarText::checkForUpdates, context_.checkForUpdates);
  trayMenu_->addSeparator();
  add(MenuBarText::quit, context_.quit);
  tray_->setContextMenu(trayMenu_.get());
  connect(tray_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Context) return;
    if (panel_ && panel_->isVisible()) {
      panel_->hide();
    } else {
      openPanel();
    }
  });
  new ModelObserver(*context_.model, this, [this] { updateTray(); });
  updateTray();
  tray_->show();
}

void HalcyraApp::updateTray() {
  if (const bool isDark = trayIsDark(); isDark != trayIsDark_) {
    trayIsDark_ = isDark;
    tray_->setIcon(trayPicture(isDark));
  }
  const ModelView view = context_.model->view();
  const QString title = QString::fromStdString(menuBarTitle(view));
  const QString status = QString::fromStdString(view.controlStatus.line());
  if (shownStatus_ != view.controlStatus) {
    shownStatus_ = view.controlStatus;
    // A menu's entry reads "&" as a mark for the keyboard.
    trayStatus_->setText(QString(status).replace('&', QStringLiteral("&&")));
    trayStatus_->setIcon(themedIcon(statusPicture(view.controlStatus.kind)));
  }
  if (trayTitle_->text() != title) trayTitle_->setText(title);
  const QString toolTip = title + QLatin1Char('\n') + status;
  if (tray_->toolTip() != toolTip) tray_->setToolTip(toolTip);
  updateTrayPresets(makeMenuBarState(view));
}

void HalcyraApp::updateTrayPresets(const MenuBarState& state) {
  if (state.presets == shownPresets_) return;
  shownPresets_ = state.presets;
  trayPresets_->clear();
  for (const MenuBarState::PresetRow& row : state.presets) {
    if (row.startsGroup) trayPresets_->addSeparator();
    QAction* entry =
        trayPresets_->addAction(QString::fromStdString(row.preset.name).replace('&', QStringLiteral("&&")));
    entry->setCheckable(true);
    entry->setChecked(row.isActive);
    entry->setEnabled(row.isEnabled);
    connect(entry, &QAction::triggered, this, [this, entry, preset = row.preset, isActive = row.isActive] {
      // The model says what is active, not the click.
      entry->setChecked(isActive);
      context_.model->activate(preset, false);
    });
  }
}

QWidget& HalcyraApp::window(const QString& identifier, const std::function<QWidget*()>& make) {
  QPointer<QWidget>& window = windows_[identifier];
  if (!window) window = make();
  return *window;
}

QWidget* HalcyraApp::makeWindow(const QString& identifier, const QString& title, QWidget* content, QSize minimum,
                                QSize ideal) {
  auto* window = new SceneWindow(identifier, minimum, ideal);
  window->setWindowTitle(title);
  auto* layout = new QVBoxLayout(window);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(content);
  addCommands(window);
  return window;
}

void HalcyraApp::addCommands(QWidget* window) {
  const auto add = [&](const QKeySequence& keys, const std::function<void()>& action) {
    auto* command = new QAction(window);
    command->setShortcut(keys);
    connect(command, &QAction::triggered, this, [action] {
      if (action) action();
    });
    window->addAction(command);
  };
  add(QKeySequence(Qt::CTRL | Qt::Key_Q), context_.quit);
  add(QKeySequence(Qt::CTRL | Qt::Key_Comma), context_.openSettings);
  // The only way back to it where there is no tray.
  add(QKeySequence(Qt::CTRL | Qt::Key_P), [this] { openPanel(); });
  add(QKeySequence::Close, [window] { window->close(); });
}

void HalcyraApp::openDashboard() {
  bringToFront(window(QStringLiteral("dashboard"), [this] {
    return makeWindow(QStringLiteral("dashboard"), QStringLiteral("Aerovane"), new MainView(context_), {520, 430},
                      {960, 720});
  }));
}

void HalcyraApp::openSensors() {
  bringToFront(window(QStringLiteral("sensors"), [this] {
    return makeWindow(QStringLiteral("sensors"), QStringLiteral("Temperature Sensors"), new SensorsView(context_),
                      {340, 420}, {420, 620});
  }));
}

void HalcyraApp::openSettings() {
  bringToFront(window(QStringLiteral("settings"), [this] {
    return makeWindow(QStringLiteral("settings"), QStringLiteral("Settings"), new SettingsView(context_), {450, 520},
                      {470, 640});
  }));
}

void HalcyraApp::openPanel() {
  if (!panel_) {
    panel_ = new MenuBarPanel(context_, tray_ ? MenuBarPanel::Kind::popup : MenuBarPanel::Kind::window);
  }
  panel_->openNear(tray_ ? tray_->geometry() : QRect());
}

MenuBarView* HalcyraApp::panelView() {
  return panel_ ? &panel_->view() : nullptr;
}

void HalcyraApp::activate() {
  if (QWidget* const active = QApplication::activeWindow()) {
    bringToFront(*active);
    return;
  }
  for (const auto& [identifier, window] : windows_) {
    if (window && window->isVisible()) {
      bringToFront(*window);
      return;
    }
  }
  openDashboard();
}

}  // namespace halcyra
