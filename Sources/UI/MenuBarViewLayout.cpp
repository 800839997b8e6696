#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

#include "UI/ConflictNotice.h"
#include "UI/Controls/CardButton.h"
#include "UI/Controls/Disclosure.h"
#include "UI/Controls/OutdentedItem.h"
#include "UI/FirstRunCard.h"
#include "UI/Fonts.h"
#include "UI/HistoryView.h"
#include "UI/Icons.h"
#include "UI/MenuBarView.h"
#include "UI/Sparkline.h"
#include "UI/TemperatureGaugeCompact.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"
#include "UI/ZoneRail.h"

namespace halcyra {

namespace {

constexpr int panelMargin = 16;
/// Pixels; of details under their title.
constexpr int rawIndent = 16;

QPushButton* makeButton(const char* objectName, const char* text, QWidget* parent) {
  auto* button = new QPushButton(QString::fromUtf8(text).replace('&', QStringLiteral("&&")), parent);
  button->setObjectName(QString::fromLatin1(objectName));
  button->setAccessibleName(QString::fromUtf8(text));
  button->setProperty("compact", true);
  button->setAutoDefault(false);
  return button;
}

QVBoxLayout* makeColumn(QWidget* box, int top, int bottom, int spacing) {
  auto* layout = new QVBoxLayout(box);
  layout->setContentsMargins(panelMargin, top, panelMargin, bottom);
  layout->setSpacing(spacing);
  return layout;
}

/// A box under a hairline of its own.
QVBoxLayout* makeSection(QWidget* box) {
  auto* outer = new QVBoxLayout(box);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  outer->addWidget(makeLine(box));
  auto* inner = new QVBoxLayout;
  inner->setContentsMargins(panelMargin, 12, panelMargin, 12);
  inner->setSpacing(6);
  outer->addLayout(inner);
  return inner;
}

}  // namespace

QWidget* MenuBarView::makeHeader() {
  auto* header = new QWidget(this);
  header->setObjectName(QStringLiteral("zoneBlock"));
  auto* layout = makeColumn(header, 14, 8, 4);
  auto* titles = new QGridLayout;
  titles->setVerticalSpacing(1);
  titles->setHorizontalSpacing(0);
  titles->addWidget(makeWrappedLabel(header, TextRole::headline, MenuBarText::title), 0, 0);
  titles->addWidget(makeWrappedLabel(header, TextRole::secondary, MenuBarText::subtitle), 1, 0);
  expand_ = new QToolButton(header);
  expand_->setObjectName(QStringLiteral("expandHistory"));
  expand_->setFocusPolicy(Qt::TabFocus);
  // The button's picture ends where the texts below end.
  titles->addItem(new OutdentedItem(expand_, 0, iconButtonInset), 0, 1, 2, 1, Qt::AlignTop | Qt::AlignRight);
  titles->setColumnStretch(0, 1);
  layout->addLayout(titles);
  zoneRows_ = new QVBoxLayout;
  zoneRows_->setContentsMargins(0, 6, 0, 3);
  zoneRows_->setSpacing(8);
  layout->addLayout(zoneRows_);
  rawDetails_ = new QWidget(header);
  rawDetails_->setObjectName(QStringLiteral("rawDetails"));
  rawGrid_ = new QGridLayout(rawDetails_);
  rawGrid_->setContentsMargins(rawIndent + DisclosureButton::outset, 0, 0, 4);
  rawGrid_->setVerticalSpacing(4);
  auto* disclosure = new Disclosure(QString::fromUtf8(MenuBarText::rawDetails), rawDetails_, header);
  disclosure->setObjectName(QStringLiteral("rawThermals"));
  connect(disclosure, &Disclosure::toggled, this, [this] { updateHeight(); });
  layout->addItem(new OutdentedItem(disclosure, DisclosureButton::outset, 0));
  return header;
}

MenuBarView::ZoneLine MenuBarView::makeZoneLine(int position) {
  ZoneLine line;
  line.row = new QWidget(header_);
  line.row->setObjectName(QStringLiteral("zone%1").arg(position));
  auto* layout = new QHBoxLayout(line.row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(12);
  line.name = makeLabel(line.row, TextRole::body);
  line.name->setMinimumWidth(76);
  line.rail = new ZoneRail(line.row);
  line.value = new FigureLabel(TextStyle::rowValue, line.row);
  line.value->setObjectName(QStringLiteral("zoneValue%1").arg(position));
  line.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  line.value->setMinimumWidth(64);
  layout->addWidget(line.name);
  layout->addWidget(line.rail, 1);
  layout->addWidget(line.value);
  zoneRows_->addWidget(line.row);
  return line;
}

MenuBarView::FanLine MenuBarView::makeFanLine(int position) {
  FanLine line;
  line.row = new QWidget(normal_);
  line.row->setObjectName(QStringLiteral("fan%1").arg(position));
  auto* grid = new QGridLayout(line.row);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setVerticalSpacing(2);
  line.name = makeWrappedLabel(line.row, TextRole::strong);
  line.speed = new FigureLabel(TextStyle::headline, line.row);
  line.speed->setObjectName(QStringLiteral("fanSpeed%1").arg(position));
  line.speed->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  line.mode = makeLabel(line.row, TextRole::secondary);
  line.mode->setObjectName(QStringLiteral("fanMode%1").arg(position));
  line.mode->setMinimumWidth(54);
  line.mode->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  line.curveInput = new FigureLabel(TextStyle::caption2, line.row);
  line.curveInput->setObjectName(QStringLiteral("fanInput%1").arg(position));
  line.curveInput->setProperty("role", "secondary");
  grid->addWidget(line.name, 0, 0);
  grid->addWidget(line.speed, 0, 1);
  grid->addWidget(line.mode, 0, 2);
  grid->addWidget(line.curveInput, 1, 0, 1, 3);
  grid->setColumnStretch(0, 1);
  fanRows_->addWidget(line.row);
  return line;
}

QWidget* MenuBarView::makeSparklineCard() {
  auto* card = new CardButton(normal_);
  sparklineCard_ = card;
  sparklineCard_->setObjectName(QStringLiteral("sparklineButton"));
  sparklineCard_->setToolTip(QString::fromUtf8(MenuBarText::viewHistoryHelp));
  sparklineCard_->setAccessibleName(QString::fromUtf8(MenuBarText::viewHistory));
  auto* layout = new QVBoxLayout(sparklineCard_);
  layout->setContentsMargins(12, 10, 12, 10);
  layout->setSpacing(8);
  auto* top = new QHBoxLayout;
  top->setSpacing(12);
  sparkline_ = new MenuBarSparkline(sparklineCard_);
  top->addWidget(sparkline_, 0, Qt::AlignVCenter);
  top->addWidget(makeWrappedLabel(sparklineCard_, TextRole::caption2, MenuBarText::sparklineNote), 1);
  layout->addLayout(top);
  auto* middle = new QHBoxLayout;
  middle->addWidget(makeWrappedLabel(sparklineCard_, TextRole::body, MenuBarText::hottest), 1);
  hottest_ = new FigureLabel(TextStyle::headline, sparklineCard_);
  hottest_->setObjectName(QStringLiteral("hottest"));
  middle->addWidget(hottest_);
  layout->addLayout(middle);
  gauge_ = new CompactTemperatureGauge(sparklineCard_);
  layout->addWidget(gauge_);
  auto* bottom = new QHBoxLayout;
  bottom->setSpacing(8);
  auto* expandIcon = new IconLabel(QStringLiteral("expand"), sparklineCard_);
  expandIcon->setColor([] { return Theme::current().accent; });
  bottom->addWidget(expandIcon);
  bottom->addWidget(makeWrappedLabel(sparklineCard_, TextRole::link, MenuBarText::viewHistory), 1);
  layout->addLayout(bottom);
  card->seal();
  return sparklineCard_;
}

void MenuBarView::makePresets(QVBoxLayout* layout) {
  auto* header = makeLabel(normal_, TextRole::secondary, MenuBarText::presets);
  presetNote_ = makeLabel(normal_, "presetNote", TextRole::caption2);
  presetNote_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  presetNote_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  auto* heading = new QHBoxLayout;
  heading->setContentsMargins(panelMargin, 8, panelMargin, 4);
  heading->setSpacing(8);
  heading->addWidget(header);
  heading->addWidget(presetNote_, 1);
  layout->addWidget(makeLine(normal_));
  layout->addLayout(heading);
  presetRows_ = new QVBoxLayout;
  presetRows_->setContentsMargins(8, 0, 8, 0);
  presetRows_->setSpacing(1);
  layout->addLayout(presetRows_);
  presetLine_ = new QWidget(normal_);
  auto* parting = new QVBoxLayout(presetLine_);
  parting->setContentsMargins(8, 5, 8, 5);
  QWidget* line = makeLine(presetLine_);
  line->setProperty("line", QStringLiteral("strong"));
  parting->addWidget(line);
  presetLine_->hide();
  auto* card = new QHBoxLayout;
  card->setContentsMargins(12, 10, 12, 12);
  card->addWidget(makeSparklineCard());
  layout->addLayout(card);
}

QWidget* MenuBarView::makeNormalContent() {
  normal_ = new QWidget(this);
  normal_->setObjectName(QStringLiteral("normalContent"));
  auto* layout = new QVBoxLayout(normal_);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(makeFirstRun());
  fanRows_ = new QVBoxLayout;
  fanRows_->setContentsMargins(panelMargin, 12, panelMargin, 12);
  fanRows_->setSpacing(10);
  layout->addLayout(fanRows_);
  monitoringNote_ = makeWrappedLabel(normal_, TextRole::secondary);
  monitoringNote_->setObjectName(QStringLiteral("monitoringNote"));
  monitoringNote_->setContentsMargins(panelMargin, 0, panelMargin, 12);
  layout->addWidget(monitoringNote_);
  layout->addWidget(makeAnotherApp());
  makePresets(layout);
  layout->addWidget(makeConflict());
  return normal_;
}

QWidget* MenuBarView::makeFirstRun() {
  firstRunBox_ = new QWidget(normal_);
  auto* column = new QVBoxLayout(firstRunBox_);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  firstRun_ = new FirstRunCard(firstRunBox_);
  column->addWidget(firstRun_);
  column->addWidget(makeLine(firstRunBox_));
  return firstRunBox_;
}

QWidget* MenuBarView::makeAnotherApp() {
  anotherApp_ = new QWidget(normal_);
  anotherApp_->setObjectName(QStringLiteral("anotherApp"));
  auto* note = makeColumn(anotherApp_, 0, 12, 4);
  note->addWidget(makeWrappedLabel(anotherApp_, TextRole::captionStrong, MenuBarText::anotherApp));
  note->addWidget(makeWrappedLabel(anotherApp_, TextRole::caption2, MenuBarText::anotherAppNote));
  return anotherApp_;
}

QWidget* MenuBarView::makeConflict() {
  conflictBox_ = new QWidget(normal_);
  conflict_ = new ConflictNotice(conflictBox_);
  makeSection(conflictBox_)->addWidget(conflict_);
  return conflictBox_;
}

QWidget* MenuBarView::makeButtons() {
  auto* box = new QWidget(this);
  auto* outer = new QVBoxLayout(box);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  outer->addWidget(makeLine(box));
  auto* rows = new QVBoxLayout;
  rows->setContentsMargins(panelMargin, 10, panelMargin, 14);
  rows->setSpacing(6);
  const auto addRow = [&](const std::vector<std::tuple<const char*, const char*, std::function<void()>>>& row) {
    auto* line = new QHBoxLayout;
    line->setSpacing(6);
    for (const auto& [name, text, action] : row) {
      auto* button = makeButton(name, text, box);
      connect(button, &QPushButton::clicked, this, [this, action = action] { leaveFor(action); });
      line->addWidget(button, 1);
    }
    rows->addLayout(line);
  };
  addRow({{"openDashboard", MenuBarText::openDashboard, context_.openDashboard},
          {"openSensors", MenuBarText::sensors, context_.openSensors},
          {"quit", MenuBarText::quit, context_.quit}});
  addRow({{"openSettings", MenuBarText::settings, context_.openSettings},
          {"checkForUpdates", MenuBarText::checkForUpdates, context_.checkForUpdates}});
  outer->addLayout(rows);
  return box;
}

}  // namespace halcyra
