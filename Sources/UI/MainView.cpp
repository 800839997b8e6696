#include "UI/MainView.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QScrollArea>
#include <QSplitter>
#include <QVBoxLayout>

#include "UI/ConflictNotice.h"
#include "UI/ControlStatusLine.h"
#include "UI/Controls/Disclosure.h"
#include "UI/Controls/OutdentedItem.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/Controls/SidebarButton.h"
#include "UI/FanCard.h"
#include "UI/FanCurveEditor.h"
#include "UI/FirstRunCard.h"
#include "UI/Fonts.h"
#include "UI/HistoryGraphView.h"
#include "UI/Icons.h"
#include "UI/ModelObserver.h"
#include "UI/NoticeBar.h"
#include "UI/PresetList.h"
#include "UI/TemperatureGauge.h"
#include "UI/Theme.h"
#include "UI/ThermalMetricSummary.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int detailWidth = 720;
constexpr int blockGap = 16;
constexpr int cardGap = 12;
constexpr int gaugeHeight = 6;
constexpr int sidebarInset = 12;

}  // namespace

MainView::MainView(const ViewContext& context, QWidget* parent)
    : QWidget(parent),
      model_(context.model),
      drafts_(context.drafts),
      selection_(context.historySelection),
      notices_(context.notices),
      approvalCommand_(context.approvalCommand) {
  if (!notices_) notices_ = std::make_shared<Notices>();

  setObjectName(QStringLiteral("page"));
  setAttribute(Qt::WA_StyledBackground);
  auto* const whole = new QHBoxLayout(this);
  whole->setContentsMargins(0, 0, 0, 0);
  splitter_ = new QSplitter(Qt::Horizontal, this);
  splitter_->setObjectName(QStringLiteral("mainSplitter"));
  splitter_->setHandleWidth(1);
  splitter_->setChildrenCollapsible(false);
  sidebar_ = makeSidebar();
  splitter_->addWidget(sidebar_);
  splitter_->addWidget(makeDetail());
  splitter_->setStretchFactor(1, 1);
  splitter_->setSizes({sidebarWidth_, detailWidth});
  whole->addWidget(splitter_);
  auto* const observer = new ModelObserver(*model_, this, [this] { refresh(); });
  if (drafts_) observer->follow(*drafts_);
  observer->follow(*notices_);
}

MainView::~MainView() {
  // The field would save its text when it loses the focus to nobody, through a view that is half gone.
  presets_->cancelRenaming();
}

const FanPreset& MainView::editingPreset() const {
  return editor_->preset();
}

QWidget* MainView::makeSidebar() {
  auto* const sidebar = new QWidget(this);
  sidebar->setObjectName(QStringLiteral("sidebar"));
  sidebar->setAttribute(Qt::WA_StyledBackground);
  sidebar->setMinimumWidth(narrowestSidebar);
  sidebar->setMaximumWidth(widestSidebar);
  auto* const column = new QVBoxLayout(sidebar);
  column->setContentsMargins(0, 16, 0, 0);
  column->setSpacing(8);
  QLabel* const section = makeLabel(sidebar, "presetsHeader", TextRole::sectionHeader, PresetListText::section);
  section->setContentsMargins(20, 0, 0, 0);
  column->addWidget(section);
  presets_ = new PresetList({[this](const UUID& id) { choosePreset(id); },
                             [this](const UUID& id) {
                               if (const auto preset = listedPreset(model_->customPresets(), id)) {
                                 model_->duplicatePreset(*preset);
                               }
                             },
                             [this](const UUID& id, const std::string& name) { renamePreset(id, name); },
                             [this](const UUID& id) { askForDeletion(id); }},
                            sidebar);
  auto* const inset = new QHBoxLayout;
  // The list leaves the inset at its right side free itself, for its scroll bar.
  inset->setContentsMargins(sidebarInset, 0, 0, 0);
  inset->addWidget(presets_);
  column->addLayout(inset, 1);
  column->addWidget(makeLine(sidebar));
  column->addSpacing(2 - column->spacing());
  column->addWidget(makeFooter(sidebar));
  return sidebar;
}

QWidget* MainView::makeFooter(QWidget* parent) {
  auto* const footer = new QWidget(parent);
  auto* const row = new QHBoxLayout(footer);
  // Its text needs the rest of the inset where the sidebar is narrow.
  row->setContentsMargins(sidebarInset, 6, sidebarInset / 2, 8);
  auto* const create = new SidebarButton(textOf(PresetListText::create), QStringLiteral("plus"), footer);
  create->setObjectName(QStringLiteral("newCustomPreset"));
  connect(create, &QAbstractButton::clicked, this, [this] { makePreset(); });
  row->addWidget(create);
  return footer;
}

QWidget* MainView::makeDetail() {
  auto* const detail = new QWidget(this);
  auto* const whole = new QVBoxLayout(detail);
  whole->setContentsMargins(0, 0, 0, 0);
  whole->setSpacing(0);
  auto* const scroll = new QScrollArea(detail);
  scroll_ = scroll;
  scroll->setObjectName(QStringLiteral("detail"));
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->viewport()->installEventFilter(this);
  auto* const page = new QWidget;
  page->setObjectName(QStringLiteral("page"));
  column_ = new QVBoxLayout(page);
  column_->setSpacing(blockGap);
  column_->addWidget(makeHeader(page));
  column_->addWidget(makeNotices(page));
  gauge_ = new TemperatureGaugeView(TemperatureGaugeView::Header::hidden, gaugeHeight, page);
  column_->addWidget(gauge_);
  banner_ = makeBanner(page);
  column_->addWidget(banner_);
  cardRow_ = new QHBoxLayout;
  cardRow_->setSpacing(cardGap);
  column_->addLayout(cardRow_);
  addRawThermals(column_, page);
  history_ = new HistoryGraphView(selection_, page);
  connect(history_, &HistoryGraphView::refreshWanted, this, &MainView::refresh);
  history_->setObjectName(QStringLiteral("historyGraph"));
  column_->addWidget(history_);
  editor_ = makeEditor(page);
  column_->addWidget(editor_);
  column_->addStretch(1);
  scroll->setWidget(page);
  new OverlayScrollBar(*scroll);
  whole->addWidget(scroll, 1);
  noticeBar_ = new NoticeBar([this] { notices_->dismissError(); }, detail);
  whole->addWidget(noticeBar_);
  return detail;
}

QWidget* MainView::makeNotices(QWidget* parent) {
  auto* const box = new QWidget(parent);
  auto* const column = new QVBoxLayout(box);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(blockGap);
  firstRun_ = new FirstRunCard(box);
  firstRun_->setProperty("card", true);
  connect(firstRun_, &FirstRunCard::setUpRequested, this, [this] { model_->installHelper(); });
  connect(firstRun_, &FirstRunCard::testRequested, this, [this] { model_->runSupervisedFan0Test(); });
  connect(firstRun_, &FirstRunCard::acknowledged, this, [this] { notices_->acknowledgeTest(); });
  column->addWidget(firstRun_);
  conflictCard_ = new QFrame(box);
  conflictCard_->setProperty("card", true);
  auto* const card = new QVBoxLayout(conflictCard_);
  card->setContentsMargins(16, 12, 16, 12);
  conflict_ = new ConflictNotice(conflictCard_);
  card->addWidget(conflict_);
  conflictCard_->hide();
  column->addWidget(conflictCard_);
  noticeBox_ = box;
  return box;
}

QWidget* MainView::makeHeader(QWidget* parent) {
  auto* const header = new QWidget(parent);
  headerRow_ = new QHBoxLayout(header);
  headerRow_->setContentsMargins(0, 0, 0, 0);
  headerRow_->setSpacing(cardGap);
  auto* const names = new QVBoxLayout;
  names->setSpacing(6);
  title_ = makeLabel(header, "activePresetName", TextRole::title);
  makeShrinkable(title_);
  names->addWidget(title_);
  auto* const status = new QHBoxLayout;
  status->setSpacing(10);
  subtitle_ = makeLabel(header, "activePresetSubtitle", TextRole::secondary);
  status->addWidget(subtitle_);
  helper_ = makeLabel(header, "helperState", TextRole::body);
  helper_->setProperty("capsule", QStringLiteral("warn"));
  status->addWidget(helper_);
  status->addStretch(1);
  names->addLayout(status);
  status_ = new ControlStatusLine(header);
  names->addWidget(status_);
  names->addStretch(1);
  headerRow_->addLayout(names, 1);
  headerRow_->addWidget(makeHottest(header), 0, Qt::AlignTop);
  return header;
}

QWidget* MainView::makeHottest(QWidget* parent) {
  auto* const block = new QWidget(parent);
  auto* const column = new QVBoxLayout(block);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  hottestCaption_ = makeLabel(block, "hottestCaption", TextRole::secondary, MainViewText::hottest);
  column->addWidget(hottestCaption_);
  hottest_ = new FigureLabel(TextStyle::hero, block);
  hottest_->setObjectName(QStringLiteral("hottestTemperature"));
  column->addWidget(hottest_);
  return block;
}

QWidget* MainView::makeBanner(QWidget* parent) {
  auto* const banner = new QFrame(parent);
  // The stylesheet knows the banner by this name.
  banner->setObjectName(QStringLiteral("banner"));
  banner->setMinimumHeight(40);
  banner->hide();
  auto* const row = new QHBoxLayout(banner);
  row->setContentsMargins(14, 8, 14, 8);
  row->setSpacing(10);
  auto* const sign = new IconLabel(QStringLiteral("warning-fill"), banner);
  sign->setColor([] { return Theme::current().onAccent; });
  row->addWidget(sign);
  QLabel* const text = makeLabel(banner, "bannerText", TextRole::body, MainViewText::critical);
  makeShrinkable(text);
  row->addWidget(text, 1);
  return banner;
}

void MainView::addRawThermals(QVBoxLayout* column, QWidget* parent) {
  rawThermals_ = new DisclosureButton(textOf(MainViewText::rawThermals), DisclosureButton::Kind::section, parent);
  rawThermals_->setObjectName(QStringLiteral("rawThermals"));
  auto* const item = new OutdentedItem(rawThermals_, DisclosureButton::outset, 0);
  item->setAlignment(Qt::AlignLeft);
  column->addItem(item);
  metrics_ = new ThermalMetricSummary(parent);
  metrics_->setObjectName(QStringLiteral("rawThermalSummary"));
  metrics_->hide();
  column->addWidget(metrics_);
  connect(rawThermals_, &QToolButton::toggled, this, [this](bool isOpen) {
    metrics_->setVisible(isOpen);
    refresh();
  });
}

FanCurveEditor* MainView::makeEditor(QWidget* parent) {
  auto* const editor = new FanCurveEditor([this](const FanPreset& preset) { saveEdited(preset); },
                                          [this](const FanPreset& preset) { model_->deletePreset(preset); }, parent);
  editor->setDrafts(drafts_.get());
  return editor;
}

void MainView::saveEdited(const FanPreset& preset) {
  model_->savePreset(preset);
  if (listedPreset(model_->customPresets(), preset.id) == preset) {
    if (drafts_) drafts_->discard(preset.id);
    editor_->setPreset(preset);
  }
  model_->activate(preset, false);
}

void MainView::makePreset() {
  model_->createCustomPreset();
  madeID_.reset();
  if (!model_->customPresets().empty()) madeID_ = model_->customPresets().back().id;
}

void MainView::choosePreset(const UUID& id) {
  madeID_.reset();
  if (const auto preset = listedPreset(model_->customPresets(), id)) model_->activate(*preset, false);
}

void MainView::renamePreset(const UUID& id, const std::string& name) {
  const auto before = listedPreset(model_->customPresets(), id);
  const auto renamed = renamedPreset(model_->customPresets(), id, name);
  if (!before || !renamed) return;
  model_->savePreset(*renamed);
  if (!renamed->isValidCustomConfiguration()) return;
  // Else "Save and Apply" would silently undo the renaming.
  if (drafts_) drafts_->followRename(*before, *renamed);
  if (editor_->preset().id == id) editor_->setName(renamed->name);
}

void MainView::askForDeletion(const UUID& id) {
  const auto preset = listedPreset(model_->customPresets(), id);
  if (!preset) return;
  askToDelete(this, textOf(deletionTitle(preset->name)), textOf(PresetListText::removeMessage),
              textOf(PresetListText::remove), [this, preset = *preset] { model_->deletePreset(preset); });
}

}  // namespace halcyra
