#include "UI/HistoryGraphView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <utility>

#include "UI/Charts/LineChart.h"
#include "UI/Charts/SeriesKey.h"
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

/// The third colour is that of all further fans.
using ColorOf = QColor (*)();
ColorOf fanColor(int index) {
  static constexpr std::array<ColorOf, 3> colors{[] { return Theme::current().series0; },
                                                 [] { return Theme::current().series1; },
                                                 [] { return Theme::current().series2; }};
  return colors[static_cast<std::size_t>(std::min(index, 2))];
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

HistoryGraphView::HistoryGraphView(QWidget* parent) : QFrame(parent) {
  setObjectName("historyGraphView");
  setProperty("card", true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(18, 14, 18, 14);
  layout->setSpacing(4);
  layout->addWidget(makeLabel(this, TextRole::headline, "History"));
  layout->addSpacing(4);

  zoneChart_ = new LineChart({.height = zoneChartHeight,
                              .valueTitle = {},
                              .valueSteps = {10, 20, 50},
                              .maximumIntervals = 3,
                              .valueLabel = temperatureLabel,
                              .emptyText = emptyText},
                             this);
  zoneChart_->setObjectName("fanZoneChart");
  zoneChart_->setAccessibleName(QStringLiteral("Fan curve temperature history"));
  layout->addLayout(
      makeRow(makeLabel(this, TextRole::secondary, "Fan zone"), makeLabel(this, TextRole::secondary, "°C")));
  layout->addWidget(zoneChart_);
  layout->addSpacing(4);

  speedChart_ = new LineChart({.height = speedChartHeight,
                               .valueTitle = {},
                               .valueSteps = {500, 1000, 2000, 5000},
                               .maximumIntervals = 4,
                               .fromZero = true,
                               .valueLabel = speedLabel,
                               .emptyText = emptyText},
                              this);
  speedChart_->setObjectName("fanSpeedChart");
  speedChart_->setAccessibleName(QStringLiteral("Fan RPM history"));
  key_ = new SeriesKey(this);
  key_->setObjectName("fanSeriesKey");
  auto* row = makeRow(makeLabel(this, TextRole::secondary, "Fan RPM history"), key_);
  row->addSpacing(12);
  row->addWidget(makeLabel(this, TextRole::secondary, "RPM"));
  layout->addLayout(row);
  layout->addWidget(speedChart_);
}

void HistoryGraphView::setSamples(const std::vector<HistorySample>& samples) {
  HistoryGraphState state = graph_.update(samples);
  zoneChart_->setLines({{std::move(state.zone), zoneColor}});
  std::vector<LineChart::Line> lines;
  std::vector<SeriesKey::Entry> keys;
  for (HistoryGraphState::FanSeries& fan : state.fans) {
    keys.push_back({QString::fromStdString(fan.label), fanColor(fan.index)});
    lines.push_back({std::move(fan.points), fanColor(fan.index)});
  }
  speedChart_->setLines(std::move(lines));
  key_->setEntries(std::move(keys));
}

}  // namespace halcyra
