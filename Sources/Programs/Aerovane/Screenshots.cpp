#include "Programs/Aerovane/Screenshots.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPixmap>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <memory>
#include <utility>
#include <vector>

#include "UI/Application.h"
#include "UI/CurvePreview.h"
#include "UI/MenuBarPanel.h"

namespace halcyra {

namespace {

/// Long enough for a chart with a story.
constexpr int settleMilliseconds = 150'000;
/// For what moves to come to rest.
constexpr int stepMilliseconds = 700;
constexpr QSize dashboardSize{980, 788};
constexpr QSize smallestSize{520, 430};

/// Takes one picture after the other.
class Photographer : public QObject {
 public:
  Photographer(HalcyraApp& scenes, const QString& folder, std::function<void()> finished)
      : QObject(&scenes), scenes_(scenes), folder_(folder), finished_(std::move(finished)) {
    QDir().mkpath(folder);
  }

  void start() {
    scenes_.openSensors();
    scenes_.openSettings();
    scenes_.openPanel();
    scenes_.openDashboard();
    planDashboard();
    planPanel();
    for (const char* name : {"sensors", "settings"}) {
      plan([name] { show(name, {}); });
      plan([this, name] { save(name, name); });
    }
    QTimer::singleShot(settleMilliseconds, this, &Photographer::next);
  }

 private:
  void plan(std::function<void()> step) { steps_.push_back(std::move(step)); }

  void planDashboard() {
    plan([] { show("dashboard", dashboardSize); });
    plan([this] { save("dashboard", "dashboard"); });
    plan([] { point(QEvent::MouseMove, "fanZoneChart", 0.4, 0.4); });
    plan([this] {
      save("dashboard", "dashboard-crosshair");
      point(QEvent::MouseMove, "fanZoneChart", 0, 0);
      scroll(true);
    });
    plan([this] { save("dashboard", "dashboard-editor"); });
    plan([] { editName(); });
    plan([this] { save("dashboard", "dashboard-draft"); });
    plan([] {
      const auto* const curve = part<CurvePreview>("curvePreview");
      if (curve == nullptr || !curve->isVisible()) return;
      const QPointF full = curve->pointOf(EditorBound::high);
      point(QEvent::MouseButtonPress, "curvePreview", full.x() / curve->width(), full.y() / curve->height());
      point(QEvent::MouseMove, "curvePreview", 0.7, 0.2);
    });
    plan([this] {
      save("dashboard", "dashboard-curve");
      point(QEvent::MouseButtonRelease, "curvePreview", 0.7, 0.2);
      press("revertPreset");
    });
    plan([] {
      scroll(false);
      press("rawThermals");
    });
    plan([this] {
      save("dashboard", "dashboard-details");
      press("rawThermals");
    });
    plan([] { show("dashboard", smallestSize); });
    plan([this] { save("dashboard", "dashboard-small"); });
  }

  void planPanel() {
    plan([this] { scenes_.openPanel(); });
    plan([this] {
      save("menuBarWindow", "panel");
      if (MenuBarView* const view = scenes_.panelView()) view->setHistoryExpanded(true);
    });
    plan([this] { save("menuBarWindow", "panel-history"); });
  }

  void next() {
    if (done_ == steps_.size()) {
      finished_();
      return;
    }
    steps_[done_++]();
    QTimer::singleShot(stepMilliseconds, this, &Photographer::next);
  }

  static QWidget* window(const char* name) {
    for (QWidget* const each : QApplication::topLevelWidgets()) {
      if (each->objectName() == QLatin1String(name) && each->isVisible()) return each;
    }
    return nullptr;
  }

  static void show(const char* name, QSize size) {
    QWidget* const shown = window(name);
    if (shown == nullptr) return;
    if (size.isValid()) shown->resize(size);
    shown->activateWindow();
  }

  static void scroll(bool toEnd) {
    const QWidget* const shown = window("dashboard");
    auto* const detail = shown != nullptr ? shown->findChild<QScrollArea*>(QStringLiteral("detail")) : nullptr;
    if (detail != nullptr) detail->verticalScrollBar()->setValue(toEnd ? detail->verticalScrollBar()->maximum() : 0);
  }

  /// Leaves the edited preset with a change that is not saved. Only where the editor is shown.
  static void editName() {
    const QWidget* const shown = window("dashboard");
    auto* const name = shown != nullptr ? shown->findChild<QLineEdit*>(QStringLiteral("presetName")) : nullptr;
    if (name == nullptr || !name->isVisible()) return;
    name->setFocus();
    name->end(false);
    QKeyEvent typed(QEvent::KeyPress, Qt::Key_2, Qt::NoModifier, QStringLiteral(" 2"));
    QCoreApplication::sendEvent(name, &typed);
  }

  template <typename Widget>
  static Widget* part(const char* name) {
    const QWidget* const shown = window("dashboard");
    return shown != nullptr ? shown->findChild<Widget*>(QLatin1String(name)) : nullptr;
  }

  static void press(const char* name) {
    if (auto* const button = part<QAbstractButton>(name)) button->click();
  }

  /// The left button or the pointer, at parts of the widget's width and height.
  static void point(QEvent::Type type, const char* name, double x, double y) {
    auto* const target = part<QWidget>(name);
    if (target == nullptr || !target->isVisible()) return;
    const QPointF place(target->width() * x, target->height() * y);
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, place, target->mapToGlobal(place), button,
                      type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
  }

  void save(const char* name, const char* file) const {
    QWidget* const shown = window(name);
    const QString path = QDir(folder_).filePath(QString::fromLatin1(file) + QStringLiteral(".png"));
    if (shown == nullptr || !shown->grab().save(path)) qWarning("no picture: %s", qPrintable(path));
  }

  HalcyraApp& scenes_;
  QString folder_;
  std::function<void()> finished_;
  std::vector<std::function<void()>> steps_;
  std::size_t done_ = 0;
};

}  // namespace

void takeScreenshots(HalcyraApp& scenes, const std::string& folder, std::function<void()> finished) {
  (new Photographer(scenes, QString::fromStdString(folder), std::move(finished)))->start();
}

}  // namespace halcyra
