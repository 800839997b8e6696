#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "UI/SettingsState.h"
#include "UI/ViewContext.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSlider;
class QTimer;

namespace halcyra {

class SettingsSection;

/// The content of the settings window, at least 450 × 520, ideally 470 × 640. Every setting is the model's: the view
/// shows it and calls the model's commands. Main thread only.
class SettingsView : public QWidget {
  Q_OBJECT

 public:
  /// Uses the model, the version and the update check of `context`.
  explicit SettingsView(const ViewContext& context, QWidget* parent = nullptr);

  /// Shows the model's present state; touches only what changed.
  void refresh();

  QSize sizeHint() const override { return {470, 640}; }
  QSize minimumSizeHint() const override { return {450, 520}; }

 protected:
  /// Nothing that could be changed has the focus before the user gives it.
  void showEvent(QShowEvent* event) override;
  /// The wheel scrolls the window and changes nothing in it; arrow keys open the picker instead of choosing in it.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  SettingsSection* makeHelperSection();
  SettingsSection* makeMonitoringSection();
  SettingsSection* makeAlertSection();
  SettingsSection* makePresetsSection();
  SettingsSection* makeSafetySection();
  SettingsSection* makeAboutSection();
  QSlider* makeSlider(const char* objectName, std::string_view accessibleName, int first, int last, int page);
  void connectSliders();
  void connectHelper();
  void apply(const SettingsState& state);
  void applyHelper(const SettingsState& state);
  void applySliders(const SettingsState& state);
  void uninstallHelper();
  void askToUninstall();
  void sendTestNotification();
  void followTestNotification();

  std::shared_ptr<AppModel> model_;
  BundleVersion bundle_;
  std::function<void()> checkForUpdates_;

  QComboBox* owner_ = nullptr;
  QLabel* ownerDetail_ = nullptr;
  QWidget* writerRow_ = nullptr;
  QWidget* writerLine_ = nullptr;
  QLabel* writer_ = nullptr;
  QLabel* status_ = nullptr;
  QLabel* supervisedTest_ = nullptr;
  QPushButton* install_ = nullptr;
  QPushButton* uninstall_ = nullptr;
  QPushButton* openLoginItems_ = nullptr;
  QCheckBox* startAtLogin_ = nullptr;
  QSlider* interval_ = nullptr;
  QPushButton* applyInterval_ = nullptr;
  QCheckBox* overheatAlerts_ = nullptr;
  QSlider* threshold_ = nullptr;
  QLabel* thresholdText_ = nullptr;
  QLabel* version_ = nullptr;
  QLabel* testAnswer_ = nullptr;
  TestNotification testNotification_ = TestNotification::notSent;
  std::optional<std::string> errorBeforeTest_;
  QTimer* testTimer_ = nullptr;
};

}  // namespace halcyra
