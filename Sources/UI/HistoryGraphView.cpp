#include "UI/HistoryGraphView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <utility>

#include "UI/Charts/FanColors.h"
#include "UI/Charts/LineChart.h"
#include "UI/Charts/SeriesKey.h"
#include "UI/Controls/PaneScrolling.h"
#include "UI/HistoryControls.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int zoneChartHeight = 100;
constexpr int speedChartHeight = 130;

const QString emptyText = QStringLiteral("The chart will appear after another sample.");

QColor zoneColor() {
  return Theme::current().data;
}

QString temperatureLabel(double value) {
  return QStringLiteral("%1").arg(value, 0, 'f', 0);
}

/// "0", "500", "2k", "2.5k".
QString speedLabel(double value) {
  return value < 1000 ? QString::number(value) : QStringLiteral("%1k").arg(value / 1000);
}

QHBoxLayout* makeRow(QWidget* left, QWidget* right) {
  auto* row = new QHBoxLayout;
  row->addWidget(left);
  row->addStretch();
  row->addWidget(right);
  return row;
}

}  // namespace

HistoryGraphView::HistoryGraphView(std::shared_ptr<HistorySelection> selection, QWidget* parent)
    : QFrame(parent), selection_(std::move(selection)) {
  setObjectName("historyGraphView");
  setProperty("card", true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(18, 14, 18, 14);
  layout->setSpacing(4);
  layout->addWidget(makeHeader());
  chips_ = new HistoryChips(selection_, this);
  layout->addWidget(chips_);
  zoneChart_ = new LineChart({.height = zoneChartHeight,
                              .valueTitle = {},
                              .valueSteps = {10, 20},
                              .maximumIntervals = 4,
                              .valueLabel = temperatureLabel,
                              .readingText = [](double value) { return QStringLiteral("%1 °C").arg(value, 0, 'f', 1); },
                              .emptyText = emptyText},
                             this);
  zoneChart_->setObjectName("fanZoneChart");
  zoneChart_->setAccessibleName(QStringLiteral("Fan curve temperature history"));
  layout->addLayout(
      makeRow(makeLabel(this, TextRole::secondary, "Fan zone"), makeLabel(this, TextRole::secondary, "°C")));
  layout->addWidget(zoneChart_);
  layout->addSpacing(4);

  speedChart_ =
      new LineChart({.height = speedChartHeight,
                     .valueTitle = {},
                     .valueSteps = {500, 1000, 2000, 5000},
                     .maximumIntervals = 4,
                     .fromZero = true,
                     .valueLabel = speedLabel,
                     .readingText = [](double value) { return QStringLiteral("%1 RPM").arg(value, 0, 'f', 0); },
                     .emptyText = emptyText},
                    this);
  speedChart_->setObjectName("fanSpeedChart");
  speedChart_->setAccessibleName(QStringLiteral("Fan RPM history"));
  key_ = new SeriesKey(this);
  key_->setObjectName("fanSeriesKey");
  auto* row =
      makeRow(makeLabel(this, TextRole::secondary, "Fan RPM history"), makeLabel(this, TextRole::secondary, "RPM"));
  row->insertSpacing(1, 16);
  row->insertWidget(2, key_);
  layout->addLayout(row);
  layout->addWidget(speedChart_);
  // One moment in both.
  connect(zoneChart_, &LineChart::momentChanged, speedChart_, &LineChart::showMoment);
  connect(speedChart_, &LineChart::momentChanged, zoneChart_, &LineChart::showMoment);
}

QWidget* HistoryGraphView::makeHeader() {
  auto* const header = new QWidget(this);
  auto* const row = new QHBoxLayout(header);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  row->addWidget(makeLabel(header, TextRole::headline, "History"));
  controls_ = new HistoryControls(selection_, header);
  row->addWidget(controls_, 1);
  connect(selection_.get(), &HistorySelection::changed, this, &HistoryGraphView::refreshWanted);
  connect(selection_.get(), &HistorySelection::sightWanted, this, [this] { scrollIntoView(*this); });
  return header;
}

void HistoryGraphView::refresh(const HistoryData& history) {
  HistoryGraphState state = graph_.update(history, selection_->choice());
  controls_->setOptions(state.options);
  chips_->setOverlays(state.overlays);
  std::vector<LineChart::Line> temperatures;
  temperatures.push_back({std::move(state.zone), zoneColor, QStringLiteral("Fan zone")});
  for (HistoryOverlay& overlay : state.overlays) {
    const ColorOf color = overlayColor(temperatures.size() - 1);
    temperatures.push_back({std::move(overlay.points), color, textOf(overlay.name)});
  }
  zoneChart_->setLines(std::move(temperatures));
  std::vector<LineChart::Line> lines;
  std::vector<SeriesKey::Entry> keys;
  for (HistoryGraphState::FanSeries& fan : state.fans) {
    const QString label = QString::fromStdString(fan.label);
    keys.push_back({label, fanColor(fan.index)});
    lines.push_back({std::move(fan.points), fanColor(fan.index), label});
  }
  speedChart_->setLines(std::move(lines));
  key_->setEntries(std::move(keys));
}

}  // namespace halcyra
