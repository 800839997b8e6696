#pragma once

#include <QWidget>
#include <optional>
#include <string>
#include <vector>

#include "UI/MenuBarState.h"
#include "UI/ViewContext.h"

class QGridLayout;
class QLabel;
class QPushButton;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace halcyra {

class CompactTemperatureGauge;
class ConflictNotice;
class ControlStatusLine;
class ExpandedSensorHistoryView;
class FigureLabel;
class FirstRunCard;
class IconLabel;
class MenuBarPresetRow;
class MenuBarSparkline;
class NoticeBar;
class ZoneRail;

/// The content of the menu bar panel, 350 pixels wide. Follows the model while it is visible.
class MenuBarView : public QWidget {
  Q_OBJECT

 public:
  static constexpr int panelWidth = 350;

  explicit MenuBarView(ViewContext context, QWidget* parent = nullptr);

  void refresh();
  /// The height at which nothing has to scroll; an error takes its room from what scrolls.
  int wholeHeight() const;
  bool isHistoryExpanded() const { return isHistoryExpanded_; }
  void setHistoryExpanded(bool expanded);

 signals:
  /// The panel wants to be as high as `wholeHeight`.
  void heightChanged();
  /// One of the buttons that lead elsewhere was used.
  void leaving();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  struct ZoneLine {
    QWidget* row = nullptr;
    QLabel* name = nullptr;
    ZoneRail* rail = nullptr;
    FigureLabel* value = nullptr;
  };
  struct FanLine {
    QWidget* row = nullptr;
    QLabel* name = nullptr;
    FigureLabel* speed = nullptr;
    QLabel* mode = nullptr;
    FigureLabel* curveInput = nullptr;
  };

  // MenuBarViewLayout.cpp
  QWidget* makeHeader();
  QWidget* makeNormalContent();
  QWidget* makeSparklineCard();
  QWidget* makeFirstRun();
  QWidget* makeAnotherApp();
  QWidget* makeConflict();
  QWidget* makeButtons();
  ZoneLine makeZoneLine(int position);
  FanLine makeFanLine(int position);
  void makePresets(QVBoxLayout* layout);

  // MenuBarView.cpp
  void connectCommands();
  void switchContent();
  void apply(const MenuBarState& state);
  void applyRawDetails(const MenuBarState& state);
  void applyZones(const MenuBarState& state);
  void applyFans(const MenuBarState& state);
  void applyPresets(const MenuBarState& state);
  void refreshNotices(const ModelView& view);
  void moveFocus(std::size_t from, int by);
  void orderFocus();
  void askToDelete(const FanPreset& preset);
  void leaveFor(const std::function<void()>& action);
  void updateHeight();

  ViewContext context_;
  std::optional<MenuBarState> shown_;
  bool isHistoryExpanded_ = false;
  std::string selectedSensorID_ = "__fan_control_signal";
  int lastHeight_ = 0;

  QScrollArea* scroll_ = nullptr;
  QWidget* content_ = nullptr;
  QWidget* buttons_ = nullptr;
  QWidget* header_ = nullptr;
  QToolButton* expand_ = nullptr;
  QVBoxLayout* zoneRows_ = nullptr;
  std::vector<ZoneLine> zones_;
  QWidget* rawDetails_ = nullptr;
  QGridLayout* rawGrid_ = nullptr;
  std::vector<FigureLabel*> rawLines_;
  QWidget* critical_ = nullptr;
  ExpandedSensorHistoryView* history_ = nullptr;
  QWidget* historyBox_ = nullptr;
  QWidget* normal_ = nullptr;
  QVBoxLayout* fanRows_ = nullptr;
  std::vector<FanLine> fans_;
  QLabel* monitoringNote_ = nullptr;
  QWidget* anotherApp_ = nullptr;
  QVBoxLayout* presetRows_ = nullptr;
  std::vector<MenuBarPresetRow*> presets_;
  QWidget* presetLine_ = nullptr;
  QPushButton* sparklineCard_ = nullptr;
  MenuBarSparkline* sparkline_ = nullptr;
  FigureLabel* hottest_ = nullptr;
  CompactTemperatureGauge* gauge_ = nullptr;
  QLabel* presetNote_ = nullptr;
  ControlStatusLine* status_ = nullptr;
  FirstRunCard* firstRun_ = nullptr;
  QWidget* firstRunBox_ = nullptr;
  ConflictNotice* conflict_ = nullptr;
  QWidget* conflictBox_ = nullptr;
  NoticeBar* noticeBar_ = nullptr;
};

}  // namespace halcyra
