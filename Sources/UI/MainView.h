#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "Helpers/FanPreset.h"
#include "UI/MainViewState.h"
#include "UI/ViewContext.h"

class QBoxLayout;
class QFrame;
class QLabel;
class QScrollArea;
class QSplitter;
class QVBoxLayout;

namespace halcyra {

class ConflictNotice;
class ControlStatusLine;
class DisclosureButton;
class FanCard;
class FanCurveEditor;
class FigureLabel;
class FirstRunCard;
class HistoryGraphView;
class NoticeBar;
class PresetList;
class TemperatureGaugeView;
class ThermalMetricSummary;

/// The dashboard: the preset library beside the active preset, the fans and the editor. What it keeps for itself is
/// forgotten when its window is closed. While nobody sees it, it is not refreshed.
class MainView : public QWidget {
  Q_OBJECT

 public:
  explicit MainView(const ViewContext& context, QWidget* parent = nullptr);
  ~MainView() override;

  /// The editor's working copy.
  const FanPreset& editingPreset() const;

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  static constexpr int narrowestSidebar = 180;
  static constexpr int widestSidebar = 260;

  QWidget* makeSidebar();
  QWidget* makeDetail();
  QWidget* makeHeader(QWidget* parent);
  QWidget* makeHottest(QWidget* parent);
  QWidget* makeBanner(QWidget* parent);
  QWidget* makeNotices(QWidget* parent);
  QWidget* makeFooter(QWidget* parent);
  void addRawThermals(QVBoxLayout* column, QWidget* parent);
  FanCurveEditor* makeEditor(QWidget* parent);
  void makePreset();
  void saveEdited(const FanPreset& preset);
  void choosePreset(const UUID& id);
  void renamePreset(const UUID& id, const std::string& name);
  void askForDeletion(const UUID& id);
  void refreshNotices(const ModelView& view);
  void refresh();
  void apply(const MainViewState& state);
  void applyFans(const std::vector<FanCardState>& fans);
  void followActivePreset(const FanPreset& active);
  /// As when the view was first shown.
  void reset();
  void setNarrow(bool narrow);
  void setSidebarNarrow(bool narrow);

  std::shared_ptr<AppModel> model_;
  std::shared_ptr<PresetDrafts> drafts_;
  std::shared_ptr<HistorySelection> selection_;
  std::shared_ptr<Notices> notices_;
  std::string approvalCommand_;
  std::optional<UUID> followedID_;
  /// The preset that was made here and waits to be named.
  std::optional<UUID> madeID_;
  std::optional<bool> isNarrow_;
  std::optional<bool> isSidebarNarrow_;
  QSplitter* splitter_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  QWidget* sidebar_ = nullptr;
  /// Pixels, when there is room.
  int sidebarWidth_ = 216;
  PresetList* presets_ = nullptr;
  QVBoxLayout* column_ = nullptr;
  QBoxLayout* headerRow_ = nullptr;
  QLabel* title_ = nullptr;
  QLabel* subtitle_ = nullptr;
  QLabel* helper_ = nullptr;
  ControlStatusLine* status_ = nullptr;
  QWidget* noticeBox_ = nullptr;
  FirstRunCard* firstRun_ = nullptr;
  QFrame* conflictCard_ = nullptr;
  ConflictNotice* conflict_ = nullptr;
  NoticeBar* noticeBar_ = nullptr;
  QLabel* hottestCaption_ = nullptr;
  FigureLabel* hottest_ = nullptr;
  TemperatureGaugeView* gauge_ = nullptr;
  QWidget* banner_ = nullptr;
  QBoxLayout* cardRow_ = nullptr;
  std::vector<FanCard*> cards_;
  DisclosureButton* rawThermals_ = nullptr;
  ThermalMetricSummary* metrics_ = nullptr;
  HistoryGraphView* history_ = nullptr;
  FanCurveEditor* editor_ = nullptr;
};

}  // namespace halcyra
