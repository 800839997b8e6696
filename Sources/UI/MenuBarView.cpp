#include "UI/MenuBarView.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "UI/ConflictNotice.h"
#include "UI/ControlStatusLine.h"
#include "UI/Controls/FadeTransition.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/FirstRunCard.h"
#include "UI/Fonts.h"
#include "UI/HistoryView.h"
#include "UI/Icons.h"
#include "UI/MenuBarPresetRow.h"
#include "UI/ModelObserver.h"
#include "UI/NoticeBar.h"
#include "UI/PresetListState.h"
#include "UI/Sparkline.h"
#include "UI/TemperatureGaugeCompact.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"
#include "UI/ZoneRail.h"

namespace halcyra {

namespace {

constexpr int metricColumns = 2;

QWidget* makeCritical(QWidget* parent) {
  auto* box = new QWidget(parent);
  box->setObjectName(QStringLiteral("criticalOverride"));
  auto* layout = new QHBoxLayout(box);
  layout->setContentsMargins(16, 0, 16, 10);
  layout->setSpacing(8);
  auto* picture = new IconLabel(QStringLiteral("warning-fill"), box);
  picture->setColor([] { return Theme::current().err; });
  layout->addWidget(picture);
  layout->addWidget(makeLabel(box, TextRole::critical, MenuBarText::criticalOverride), 1);
  return box;
}

}  // namespace

MenuBarView::MenuBarView(ViewContext context, QWidget* parent) : QWidget(parent), context_(std::move(context)) {
  if (!context_.notices) context_.notices = std::make_shared<Notices>();
  setObjectName(QStringLiteral("menuBarView"));
  setFixedWidth(panelWidth);
  content_ = new QWidget;
  content_->setObjectName(QStringLiteral("panelContent"));
  auto* column = new QVBoxLayout(content_);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  header_ = makeHeader();
  column->addWidget(header_);
  critical_ = makeCritical(content_);
  column->addWidget(critical_);
  status_ = new ControlStatusLine(content_);
  auto* status = new QHBoxLayout;
  status->setContentsMargins(16, 0, 16, 8);
  status->addWidget(status_);
  column->addLayout(status);
  column->addWidget(makeLine(content_));
  history_ = new ExpandedSensorHistoryView(context_.historySelection, content_);
  historyBox_ = new QWidget(content_);
  auto* historyLayout = new QVBoxLayout(historyBox_);
  historyLayout->setContentsMargins(16, 12, 16, 12);
  historyLayout->addWidget(history_);
  column->addWidget(historyBox_);
  column->addWidget(makeNormalContent());
  column->addStretch(1);
  scroll_ = new QScrollArea(this);
  scroll_->setWidgetResizable(true);
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll_->setFocusPolicy(Qt::NoFocus);
  scroll_->setWidget(content_);
  new OverlayScrollBar(*scroll_);
  scroll_->viewport()->setAutoFillBackground(false);
  content_->setAutoFillBackground(false);
  noticeBar_ = new NoticeBar([this] { context_.notices->dismissError(); }, this);
  buttons_ = makeButtons();
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  outer->addWidget(scroll_, 1);
  outer->addWidget(noticeBar_);
  outer->addWidget(buttons_);
  connectCommands();
  setHistoryExpanded(false);
  // A panel that nobody sees costs nothing: it is brought up to date when it opens.
  auto* observer = new ModelObserver(*context_.model, this, [this] {
    if (isVisible()) refresh();
  });
  observer->follow(*context_.notices);
  refresh();
}

void MenuBarView::connectCommands() {
  connect(expand_, &QToolButton::clicked, this, [this] { setHistoryExpanded(!isHistoryExpanded_); });
  connect(sparklineCard_, &QPushButton::clicked, this, [this] { setHistoryExpanded(true); });
  connect(history_, &ExpandedSensorHistoryView::collapseRequested, this, [this] { setHistoryExpanded(false); });
  connect(history_, &ExpandedSensorHistoryView::refreshWanted, this, &MenuBarView::refresh);
  connect(history_, &ExpandedSensorHistoryView::sensorSelected, this, [this](const QString& id) {
    selectedSensorID_ = id.toStdString();
    refresh();
  });
  connect(firstRun_, &FirstRunCard::setUpRequested, this, [this] { context_.model->installHelper(); });
  connect(firstRun_, &FirstRunCard::testRequested, this, [this] { context_.model->runSupervisedFan0Test(); });
  connect(firstRun_, &FirstRunCard::acknowledged, this, [this] { context_.notices->acknowledgeTest(); });
}

void MenuBarView::setHistoryExpanded(bool expanded) {
  isHistoryExpanded_ = expanded;
  setThemedIcon(expand_, expanded ? "collapse" : "expand");
  const QString help = textOf(expanded ? MenuBarText::collapseChart : MenuBarText::expandChart);
  expand_->setToolTip(help);
  expand_->setAccessibleName(help);
  FadeTransition::run(*content_, expanded ? normal_->y() : historyBox_->y(), [this] { switchContent(); });
}

void MenuBarView::switchContent() {
  historyBox_->setVisible(isHistoryExpanded_);
  normal_->setVisible(!isHistoryExpanded_);
  if (isHistoryExpanded_) history_->refresh(context_.model->view(), selectedSensorID_);
  scroll_->verticalScrollBar()->setValue(0);
  updateHeight();
}

void MenuBarView::showEvent(QShowEvent* event) {
  refresh();
  QWidget::showEvent(event);
}

void MenuBarView::refresh() {
  const ModelView view = context_.model->view();
  const MenuBarState state = makeMenuBarState(view);
  if (shown_ != state) {
    apply(state);
    shown_ = state;
  }
  refreshNotices(view);
  if (isHistoryExpanded_) {
    history_->refresh(view, selectedSensorID_);
  } else {
    sparkline_->setSamples(*view.history);
  }
  updateHeight();
}

void MenuBarView::apply(const MenuBarState& state) {
  header_->setToolTip(toolTipOf(state.rawThermalTooltip));
  applyZones(state);
  applyRawDetails(state);
  critical_->setVisible(state.criticalOverride);
  applyFans(state);
  applyPresets(state);
  hottest_->setText(QString::fromStdString(state.hottestText));
  gauge_->setTemperature(state.hottest);
  gauge_->setSamplingInterval(state.samplingInterval);
  status_->setStatus(state.status);
  monitoringNote_->setVisible(state.monitoringNote.has_value());
  setLabelText(monitoringNote_, state.monitoringNote.value_or(""));
  anotherApp_->setVisible(state.anotherAppOwnsFans);
}

void MenuBarView::refreshNotices(const ModelView& view) {
  context_.notices->follow(view);
  const FirstRunState firstRun = makeFirstRunState(view, *context_.notices, context_.approvalCommand);
  firstRun_->apply(firstRun);
  firstRunBox_->setVisible(firstRun.isShown);
  const auto conflict = makeConflictState(view);
  conflict_->apply(conflict);
  conflictBox_->setVisible(conflict.has_value());
  noticeBar_->setError(context_.notices->error());
}

void MenuBarView::applyRawDetails(const MenuBarState& state) {
  const std::size_t count = state.rawHotspots.size() + state.rawMetrics.size();
  if (rawLines_.size() != count) {
    for (FigureLabel* line : rawLines_) delete line;
    rawLines_.clear();
    for (std::size_t each = 0; each < count; ++each) {
      auto* line = new FigureLabel(TextStyle::caption, rawDetails_);
      line->setProperty("role", "secondary");
      const auto row = static_cast<int>(each);
      const int metric = row - static_cast<int>(state.rawHotspots.size());
      if (metric < 0) {
        rawGrid_->addWidget(line, row, 0, 1, metricColumns);
      } else {
        const int first = static_cast<int>(state.rawHotspots.size());
        rawGrid_->addWidget(line, first + metric / metricColumns, metric % metricColumns);
      }
      rawLines_.push_back(line);
    }
  }
  std::size_t next = 0;
  for (const std::vector<std::string>* part : {&state.rawHotspots, &state.rawMetrics}) {
    for (const std::string& text : *part) rawLines_[next++]->setText(QString::fromStdString(text));
  }
}

void MenuBarView::applyZones(const MenuBarState& state) {
  while (zones_.size() < state.zones.size()) zones_.push_back(makeZoneLine(static_cast<int>(zones_.size())));
  for (std::size_t index = 0; index < zones_.size(); ++index) {
    const bool isUsed = index < state.zones.size();
    zones_[index].row->setVisible(isUsed);
    if (!isUsed) continue;
    setLabelText(zones_[index].name, state.zones[index].name);
    zones_[index].rail->setTemperature(state.zones[index].temperature);
    zones_[index].value->setText(QString::fromStdString(state.zones[index].value));
  }
}

void MenuBarView::applyFans(const MenuBarState& state) {
  while (fans_.size() < state.fans.size()) fans_.push_back(makeFanLine(static_cast<int>(fans_.size())));
  for (std::size_t index = 0; index < fans_.size(); ++index) {
    const bool isUsed = index < state.fans.size();
    fans_[index].row->setVisible(isUsed);
    if (!isUsed) continue;
    const MenuBarState::FanRow& fan = state.fans[index];
    setLabelText(fans_[index].name, fan.name);
    fans_[index].speed->setText(QString::fromStdString(fan.speed));
    setLabelText(fans_[index].mode, fan.mode);
    fans_[index].curveInput->setText(QString::fromStdString(fan.curveInput));
  }
}

void MenuBarView::applyPresets(const MenuBarState& state) {
  const bool isNew = presets_.size() < state.presets.size();
  while (presets_.size() < state.presets.size()) {
    auto* row = new MenuBarPresetRow(normal_);
    row->setObjectName(QStringLiteral("preset%1").arg(presets_.size()));
    connect(row, &MenuBarPresetRow::activated, this,
            [this](const FanPreset& preset) { context_.model->activate(preset, false); });
    connect(row, &MenuBarPresetRow::duplicateRequested, this,
            [this](const FanPreset& preset) { context_.model->duplicatePreset(preset); });
    connect(row, &MenuBarPresetRow::deletionRequested, this, &MenuBarView::askToDelete);
    connect(row, &MenuBarPresetRow::focusMoved, this,
            [this, position = presets_.size()](int by) { moveFocus(position, by); });
    presets_.push_back(row);
    presetRows_->addWidget(row);
  }
  presetRows_->removeWidget(presetLine_);
  bool hasLine = false;
  for (std::size_t index = 0; index < presets_.size(); ++index) {
    const bool isUsed = index < state.presets.size();
    presets_[index]->setVisible(isUsed);
    if (!isUsed) continue;
    presets_[index]->setRow(state.presets[index]);
    if (state.presets[index].startsGroup) {
      presetRows_->insertWidget(static_cast<int>(index), presetLine_);
      hasLine = true;
    }
  }
  presetLine_->setVisible(hasLine);
  setLabelText(presetNote_, state.presetNote);
  presetNote_->setToolTip(toolTipOf(state.presetNote));
  if (isNew) orderFocus();
}

void MenuBarView::moveFocus(std::size_t from, int by) {
  for (auto next = static_cast<std::ptrdiff_t>(from) + by;
       next >= 0 && next < static_cast<std::ptrdiff_t>(presets_.size()); next += by) {
    QWidget* button = presets_[static_cast<std::size_t>(next)]->stops().front();
    if (!button->isEnabled() || !button->isVisible()) continue;
    button->setFocus(Qt::TabFocusReason);
    scroll_->ensureWidgetVisible(button, 0, 8);
    return;
  }
}

void MenuBarView::orderFocus() {
  // In reading order. Rows are made as presets come, after everything else.
  QWidget* last = content_->findChild<QWidget*>(QStringLiteral("runSupervisedTest"));
  const auto add = [&](QWidget* next) {
    setTabOrder(last, next);
    last = next;
  };
  for (MenuBarPresetRow* row : presets_) {
    for (QWidget* stop : row->stops()) add(stop);
  }
  add(sparklineCard_);
  add(noticeBar_->findChild<QWidget*>(QStringLiteral("dismissError")));
  for (QPushButton* button : buttons_->findChildren<QPushButton*>()) add(button);
}

void MenuBarView::askToDelete(const FanPreset& preset) {
  // A popup holds all input to itself, so that nobody could answer.
  emit leaving();
  halcyra::askToDelete(this, textOf(deletionTitle(preset.name)), {}, textOf(MenuBarText::deletePreset),
                       [this, preset] { context_.model->deletePreset(preset); });
}

void MenuBarView::leaveFor(const std::function<void()>& action) {
  emit leaving();
  if (action) action();
}

int MenuBarView::wholeHeight() const {
  QLayout& layout = *content_->layout();
  layout.activate();
  const int content =
      layout.hasHeightForWidth() ? layout.totalHeightForWidth(panelWidth) : layout.totalSizeHint().height();
  return std::max(content, layout.totalMinimumSize().height()) + buttons_->sizeHint().height();
}

void MenuBarView::updateHeight() {
  const int height = wholeHeight();
  if (height == lastHeight_) return;
  lastHeight_ = height;
  emit heightChanged();
}

}  // namespace halcyra
