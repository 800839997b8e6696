#include "Programs/Aerovane/DesktopApplication.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSessionManager>
#include <QStandardPaths>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <memory>
#include <signal.h>
#include <string>
#include <utility>

#include "fmt/format.h"

#include "App/AppDelegate.h"
#include "App/ConsoleSession.h"
#include "App/PresetDrafts.h"
#include "App/UpdateManager.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/POSIX/PromptOutput.h"
#include "Platform/POSIX/SignalWatcher.h"
#include "Platform/Qt/DesktopSettings.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/QtWorkspace.h"
#include "Platform/Qt/UpdateFeed.h"
#include "Programs/Aerovane/Screenshots.h"
#include "UI/Application.h"
#include "UI/Motion.h"
#include "UI/QuitNotice.h"
#include "UI/Style.h"
#include "XPC/FanControlXPC.h"

namespace halcyra {

namespace {

constexpr int firstAnswerMilliseconds = 1000;

/// One application per user and machine: its socket, where the user alone may create one.
QString instanceName(const RuntimeLayout& layout) {
  const QByteArray machine = QByteArray::fromStdString(layout.smcSocket.string());
  const QString hash =
      QString::fromLatin1(QCryptographicHash::hash(machine, QCryptographicHash::Sha1).toHex().left(12));
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  return QStringLiteral("%1/aerovane-%2").arg(folder, hash);
}

/// True when another application is running, whose dashboard now comes to the front.
bool wakeOtherInstance(const QString& name) {
  QLocalSocket socket;
  socket.connectToServer(name);
  return socket.waitForConnected(firstAnswerMilliseconds);
}

/// What the command line asks for beyond a window is not done by an application that runs already: the exit status.
int answerForOtherInstance(const CommandLine& line) {
  const bool asksForMore = line.preset || line.installHelper || line.approveHelper || line.supervisedTest ||
                           line.seconds || line.screenshots;
  if (!asksForMore) return 0;
  promptStandardError().write("aerovane: Aerovane runs already; only its dashboard was opened\n");
  return 1;
}

class FeedUpdater : public Updater {
 public:
  FeedUpdater(std::string address, std::string version) : address_(std::move(address)), version_(std::move(version)) {}
  void start() override { feed_ = std::make_unique<UpdateFeed>(address_, version_); }
  bool canCheckForUpdates() const override { return feed_ && feed_->canCheck(); }
  void checkForUpdates() override { feed_->check(); }

 private:
  std::string address_;
  std::string version_;
  std::unique_ptr<UpdateFeed> feed_;
};

std::string feedAddress() {
  const char* address = std::getenv("AEROVANE_UPDATE_FEED");
  return address != nullptr ? address : "";
}

/// The application while it runs. Its parts go in the reverse order.
class Desktop {
 public:
  Desktop(const CommandLine& line, const RuntimeLayout& layout)
      : line_(line), linux_(platformOptions(layout)), updater_(feedAddress(), AEROVANE_VERSION) {
    model_ = AppModel::make(linux_.platform());
    AppDelegateSurroundings surroundings;
    surroundings.terminate = [this] { QCoreApplication::exit(status_); };
    surroundings.standardOutput = [](const std::string& text) { promptStandardOutput().write(text); };
    surroundings.standardError = [](const std::string& text) { promptStandardError().write(text); };
    surroundings.startUpdates = [this] {
      updates_ = std::make_unique<UpdateManager>(updater_, [](const Warning& warning) {
        QtWorkspace::showWarning(warning.message, warning.informativeText, warning.button);
      });
    };
    surroundings.waitsForHandBack = [this] { quitNotice_.showWaiting(); };
    surroundings.handBackFailed = [this](const std::string& failure) {
      status_ = 1;
      promptStandardError().write(fmt::format("aerovane: {}\n", failure));
      if (isAttended_) {
        quitNotice_.showFailure(failure);
      } else {
        QCoreApplication::exit(status_);
      }
    };
    delegate_ = std::make_shared<AppDelegate>(linux_.platform(), model_, LaunchFlags{false, line.installHelper},
                                              std::move(surroundings));
  }

  ~Desktop() {
    scenes_.reset();
    delegate_.reset();
    model_.reset();
    // Work that waits may hold what uses the platform.
    mainQueue_.close();
  }
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  /// False when the command line cannot be carried out.
  bool start() {
    if (line_.preset && !rememberPreset()) return false;
    mainQueue_.async([this] {
      delegate_->applicationDidFinishLaunching();
      startScenes();
    });
    return true;
  }

  void quit() {
    if (delegate_->applicationShouldTerminate() == TerminateReply::terminateNow) QCoreApplication::exit(0);
  }

  /// The same where nobody is there to read a window: a signal, the end of the time asked for.
  void quitUnattended() {
    isAttended_ = false;
    quit();
  }

  void showDashboard() {
    if (scenes_) scenes_->openDashboard();
  }

  Queue& mainQueue() { return mainQueue_; }

 private:
  LinuxPlatformOptions platformOptions(const RuntimeLayout& layout) {
    LinuxPlatformOptions options;
    options.layout = layout;
    options.mainQueue = &mainQueue_;
    options.workspace = &workspace_;
    return options;
  }

  bool rememberPreset() {
    preset_ = findPreset(FanPreset::menuOrder(model_->customPresets()), *line_.preset);
    if (!preset_) {
      promptStandardError().write(fmt::format("aerovane: --preset: there is no preset named “{}”\n", *line_.preset));
    }
    return preset_.has_value();
  }

  void startScenes() {
    ViewContext context;
    context.model = model_;
    context.drafts = std::make_shared<PresetDrafts>(linux_.platform().userDefaults, mainQueue_);
    context.quit = [this] { quit(); };
    context.checkForUpdates = [this] { updates_->checkForUpdates(); };
    context.clock = &linux_.platform().clock;
    context.version = AEROVANE_VERSION;
    context.approvalCommand = linux_.serviceManagement().approvalCommand();
    scenes_ = std::make_unique<HalcyraApp>(std::move(context));
    workspace_.setActivation([this] { scenes_->activate(); });
    scenes_->start();
    if (line_.approveHelper) approveHelper();
    steps_ = std::make_unique<QTimer>();
    QObject::connect(steps_.get(), &QTimer::timeout, steps_.get(), [this] { takeNextStep(); });
    steps_->start(200);
    if (line_.screenshots) {
      takeScreenshots(*scenes_, *line_.screenshots, [this] { quit(); });
    }
    if (line_.seconds) {
      end_ = mainQueue_.startTimer(Seconds{*line_.seconds}, Seconds{0}, Seconds{0}, [this] { quitUnattended(); });
    }
  }

  /// Whoever gets no approval is told, and has windows to ask for it.
  void approveHelper() {
    try {
      linux_.serviceManagement().approve(std::string(FanControlXPC::daemonPlistName));
    } catch (const LocalizedError& error) {
      promptStandardError().write(fmt::format("aerovane: The helper could not be approved: {}\n", error.what()));
    }
  }

  /// What the command line asks for beyond the start, each as soon as the model is ready for it.
  void takeNextStep() {
    const bool isReady = !model_->isBusy() && !model_->fans().empty() && model_->lastTemperatureSampleDate();
    if (!isReady) return;
    if (line_.supervisedTest && !model_->supervisedTestPassed()) {
      if (testWasStarted_) {
        steps_->stop();
      } else if (model_->helperState() == HelperInstallState::enabled) {
        testWasStarted_ = true;
        model_->runSupervisedFan0Test();
      }
      return;
    }
    activatePreset();
    steps_->stop();
  }

  /// As the library holds it now: since the start it may have been edited, or deleted.
  void activatePreset() {
    if (!preset_) return;
    for (const FanPreset& each : FanPreset::menuOrder(model_->customPresets())) {
      if (each.id == preset_->id) return model_->activate(each, false);
    }
  }

  CommandLine line_;
  QtMainQueue mainQueue_;
  QtWorkspace workspace_;
  LinuxPlatform linux_;
  FeedUpdater updater_;
  std::unique_ptr<UpdateManager> updates_;
  std::shared_ptr<AppModel> model_;
  std::shared_ptr<AppDelegate> delegate_;
  std::unique_ptr<HalcyraApp> scenes_;
  std::optional<FanPreset> preset_;
  std::unique_ptr<QTimer> steps_;
  std::unique_ptr<Timer> end_;
  bool testWasStarted_ = false;
  bool isAttended_ = true;
  int status_ = 0;
  QuitNotice quitNotice_{[] { QCoreApplication::exit(1); }};
};

}  // namespace

bool hasDisplay() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

int runDesktop(const CommandLine& line, const RuntimeLayout& layout, int& argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("aerovane"));
  QApplication::setQuitOnLastWindowClosed(false);
  const QString name = instanceName(layout);
  QLocalServer server;
  server.setSocketOptions(QLocalServer::UserAccessOption);
  if (wakeOtherInstance(name)) return answerForOtherInstance(line);
  // What an instance that was killed has left.
  QLocalServer::removeServer(name);
  server.listen(name);
  const Appearance appearance = line.appearance == "light"  ? Appearance::light
                                : line.appearance == "dark" ? Appearance::dark
                                                            : Appearance::system;
  applyStyle(application, appearance);
  const DesktopSettings desktopSettings(QDBusConnection::sessionBus(), {setDesktopColorScheme, setDesktopWantsMotion});
  Desktop desktop(line, layout);
  QObject::connect(&server, &QLocalServer::newConnection, &application, [&] {
    while (QLocalSocket* socket = server.nextPendingConnection()) socket->deleteLater();
    desktop.showDashboard();
  });
  QObject::connect(&application, &QGuiApplication::commitDataRequest, &application,
                   [&](QSessionManager&) { desktop.quitUnattended(); });
  const SignalWatcher watcher(desktop.mainQueue(), {SIGINT, SIGTERM, SIGHUP}, [&](int) { desktop.quitUnattended(); });
  return desktop.start() ? QApplication::exec() : 2;
}

}  // namespace halcyra
