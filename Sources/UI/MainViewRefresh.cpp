#include <QHBoxLayout>
#include <QResizeEvent>
#include <QScrollArea>
#include <QSplitter>

#include "UI/ConflictNotice.h"
#include "UI/ControlStatusLine.h"
#include "UI/Controls/Disclosure.h"
#include "UI/Controls/FocusKeeper.h"
#include "UI/FanCard.h"
#include "UI/FanCurveEditor.h"
#include "UI/FirstRunCard.h"
#include "UI/Fonts.h"
#include "UI/HistoryGraphView.h"
#include "UI/MainView.h"
#include "UI/NoticeBar.h"
#include "UI/PresetList.h"
#include "UI/TemperatureGauge.h"
#include "UI/ThermalMetricSummary.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Below this width of the window the sidebar is as narrow as it can be.
constexpr int widthForSidebar = 720;
/// Below this width of the pane everything in it stands in one column.
constexpr int widthForColumns = 600;
constexpr int pageMargin = 28;
constexpr int narrowSideMargin = 12;
constexpr int pageEndMargin = 20;

}  // namespace

void MainView::refresh() {
  if (!isVisible()) return;
  const ModelView view = model_->view();
  if (drafts_) drafts_->retain(view.customPresets);
  presets_->apply(makePresetListState(view, drafts_ ? drafts_->ids() : std::set<UUID>()));
  followActivePreset(view.activePreset);
  apply(makeMainViewState(view));
  refreshNotices(view);
  editor_->setReadings(makeCurveReadings(view));
  if (madeID_ == view.activePreset.id) {
    madeID_.reset();
    editor_->beginNaming();
  }
  gauge_->setSamplingInterval(view.pollingInterval);
  gauge_->setTemperature(view.displayTemperature);
  if (rawThermals_->isChecked()) metrics_->refresh(view);
  history_->refresh(HistoryData::of(view));
}

void MainView::refreshNotices(const ModelView& view) {
  notices_->follow(view);
  const FirstRunState firstRun = makeFirstRunState(view, *notices_, approvalCommand_);
  firstRun_->apply(firstRun);
  const auto conflict = makeConflictState(view);
  conflict_->apply(conflict);
  conflictCard_->setVisible(conflict.has_value());
  noticeBox_->setVisible(firstRun.isShown || conflict);
  noticeBar_->setError(notices_->error());
}

void MainView::followActivePreset(const FanPreset& active) {
  if (!followedID_) {
    editor_->setPreset(firstEditingPreset(active));
  } else if (*followedID_ != active.id && active.kind == PresetKind::custom) {
    editor_->setPreset(active);
  }
  followedID_ = active.id;
}

void MainView::apply(const MainViewState& state) {
  setLabelText(title_, state.title);
  title_->setToolTip(toolTipOf(state.title));
  subtitle_->setVisible(state.subtitle.has_value());
  setLabelText(subtitle_, state.subtitle.value_or(""));
  setLabelText(helper_, state.helper);
  setCapsule(helper_, state.helperIsApproved);
  status_->setStatus(state.status);
  hottest_->setText(textOf(state.hottest));
  banner_->setVisible(state.isCritical);
  applyFans(state.fans);
  editor_->setFanIndices(state.controllableFans);
  setVisibleKeepingFocus(editor_, state.showsEditor);
}

void MainView::applyFans(const std::vector<FanCardState>& fans) {
  while (cards_.size() > fans.size()) {
    delete cards_.back();
    cards_.pop_back();
  }
  while (cards_.size() < fans.size()) {
    auto* const card = new FanCard;
    cards_.push_back(card);
    cardRow_->addWidget(card, 1);
  }
  for (std::size_t each = 0; each < fans.size(); ++each) cards_[each]->apply(fans[each]);
}

void MainView::showEvent(QShowEvent* event) {
  refresh();
  QWidget::showEvent(event);
}

void MainView::hideEvent(QHideEvent* event) {
  // A minimized window is not a closed one.
  if (!event->spontaneous()) reset();
  QWidget::hideEvent(event);
}

void MainView::reset() {
  presets_->cancelRenaming();
  rawThermals_->setChecked(false);
  followedID_.reset();
  madeID_.reset();
}

void MainView::resizeEvent(QResizeEvent* event) {
  setSidebarNarrow(event->size().width() < widthForSidebar);
  QWidget::resizeEvent(event);
}

bool MainView::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize && watched == scroll_->viewport()) {
    setNarrow(scroll_->viewport()->width() < widthForColumns);
  }
  return QWidget::eventFilter(watched, event);
}

void MainView::setNarrow(bool narrow) {
  if (isNarrow_ == narrow) return;
  isNarrow_ = narrow;
  const int side = narrow ? narrowSideMargin : pageMargin;
  column_->setContentsMargins(side, pageEndMargin, side, pageEndMargin);
  headerRow_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  const Qt::Alignment alignment = (narrow ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter;
  hottestCaption_->setAlignment(alignment);
  hottest_->setAlignment(alignment);
  cardRow_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
  editor_->setNarrow(narrow);
}

void MainView::setSidebarNarrow(bool narrow) {
  if (isSidebarNarrow_ == narrow) return;
  isSidebarNarrow_ = narrow;
  if (narrow) sidebarWidth_ = splitter_->sizes().value(0, sidebarWidth_);
  sidebar_->setMaximumWidth(narrow ? narrowestSidebar : widestSidebar);
  const int sidebar = narrow ? narrowestSidebar : sidebarWidth_;
  splitter_->setSizes({sidebar, width() - sidebar});
}

}  // namespace halcyra
