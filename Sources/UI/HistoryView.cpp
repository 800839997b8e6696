#include "UI/HistoryView.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>
#include <utility>

#include "UI/Charts/LineChart.h"
#include "UI/Controls/OutdentedItem.h"
#include "UI/Controls/Picker.h"
#include "UI/Fonts.h"
#include "UI/HistoryControls.h"
#include "UI/HistoryFigure.h"
#include "UI/Icons.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int chartHeight = 150;
constexpr int emptyIconSize = 20;
constexpr int visibleOptions = 14;

QString fromStd(const std::string& text) {
  return QString::fromStdString(text);
}

QColor dataColor() {
  return Theme::current().data;
}

}  // namespace

ExpandedSensorHistoryView::ExpandedSensorHistoryView(std::shared_ptr<HistorySelection> selection, QWidget* parent)
    : QWidget(parent), selection_(std::move(selection)) {
  setObjectName("expandedSensorHistory");
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(12);
  layout->addWidget(makeHeader());

  picker_ = new Picker(this);
  picker_->setObjectName("sensorPicker");
  picker_->setAccessibleName(QStringLiteral("Sensor"));
  picker_->setMaxVisibleItems(visibleOptions);
  picker_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  connect(picker_, &QComboBox::activated, this,
          [this](int index) { emit sensorSelected(picker_->itemData(index).toString()); });
  layout->addWidget(picker_);
  controls_ = new HistoryControls(selection_, this);
  layout->addWidget(controls_);
  chips_ = new HistoryChips(selection_, this);
  layout->addWidget(chips_);
  connect(selection_.get(), &HistorySelection::changed, this, &ExpandedSensorHistoryView::refreshWanted);

  chart_ = new LineChart({.height = chartHeight,
                          .valueTitle = QStringLiteral("Temperature"),
                          .valueSteps = {10, 20},
                          .maximumIntervals = 5,
                          .valueLabel = [](double value) { return QStringLiteral("%1°").arg(value, 0, 'f', 0); },
                          .readingText = [](double value) { return QStringLiteral("%1 °C").arg(value, 0, 'f', 1); },
                          .filled = true,
                          .emptyText = {}},
                         this);
  chart_->setObjectName("sessionHistoryChart");
  chart_->hide();
  layout->addWidget(chart_);
  emptyState_ = makeEmptyState();
  layout->addWidget(emptyState_);
  layout->addWidget(makeFigures());

  layout->addWidget(makeLine(this));
  fanRows_ = new QWidget(this);
  fanGrid_ = new QGridLayout(fanRows_);
  fanGrid_->setContentsMargins(0, 0, 0, 0);
  fanGrid_->setHorizontalSpacing(0);
  fanGrid_->setVerticalSpacing(8);
  fanGrid_->setColumnStretch(0, 1);
  layout->addWidget(fanRows_);
  layout->addStretch();
}

QWidget* ExpandedSensorHistoryView::makeHeader() {
  auto* header = new QWidget(this);
  auto* layout = new QGridLayout(header);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setVerticalSpacing(2);
  layout->setHorizontalSpacing(0);
  layout->setColumnStretch(0, 1);
  layout->addWidget(makeLabel(header, TextRole::headline, "Session History"), 0, 0);
  auto* collapse = new QToolButton(header);
  collapse->setObjectName("collapseHistory");
  collapse->setAccessibleName(QStringLiteral("Collapse session chart"));
  collapse->setToolTip(QStringLiteral("Collapse session chart"));
  setThemedIcon(collapse, "x-circle-fill");
  connect(collapse, &QToolButton::clicked, this, &ExpandedSensorHistoryView::collapseRequested);
  description_ = makeLabel(header, "historyDescription", TextRole::caption2);
  description_->setWordWrap(true);
  layout->addWidget(description_, 1, 0, 1, 2);
  // Free of the rows, which would grow to the button's height; its picture ends where the texts end.
  layout->addItem(new OutdentedItem(collapse, 0, iconButtonInset), 0, 1, 2, 1, Qt::AlignTop | Qt::AlignRight);
  return header;
}

QWidget* ExpandedSensorHistoryView::makeEmptyState() {
  auto* panel = new QFrame(this);
  panel->setObjectName("historyEmptyState");
  panel->setProperty("inner", true);
  panel->setFixedHeight(chartHeight);
  auto* layout = new QVBoxLayout(panel);
  layout->setSpacing(4);
  layout->addStretch();
  layout->addWidget(new IconLabel(QStringLiteral("chart"), panel, emptyIconSize), 0, Qt::AlignHCenter);
  layout->addWidget(makeLabel(panel, TextRole::headline, "Collecting history"), 0, Qt::AlignHCenter);
  layout->addWidget(makeLabel(panel, TextRole::secondary, "The chart will appear after another sample."), 0,
                    Qt::AlignHCenter);
  layout->addStretch();
  return panel;
}

QWidget* ExpandedSensorHistoryView::makeFigures() {
  auto* row = new QWidget(this);
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(12);
  using Kind = HistoryFigure::Kind;
  figures_ = {new HistoryFigure(Kind::low, QStringLiteral("Low"), row),
              new HistoryFigure(Kind::average, QStringLiteral("Average"), row),
              new HistoryFigure(Kind::peak, QStringLiteral("Peak"), row)};
  for (HistoryFigure* figure : figures_) layout->addWidget(figure, 1);
  return row;
}

void ExpandedSensorHistoryView::refresh(const ModelView& view, const std::string& selectedSensorID) {
  refresh(HistoryData::of(view), selectedSensorID);
}

void ExpandedSensorHistoryView::refresh(const HistoryData& history, const std::string& selectedSensorID) {
  ExpandedSensorHistoryState state = history_.update(history, selectedSensorID, selection_->choice());
  if (shown_ == state) return;
  apply(state);
  shown_ = std::move(state);
}

void ExpandedSensorHistoryView::apply(const ExpandedSensorHistoryState& state) {
  description_->setText(fromStd(state.description));
  applyOptions(state);
  chart_->setVisible(state.hasChart);
  emptyState_->setVisible(!state.hasChart);
  chart_->setAccessibleName(fromStd(state.chartAccessibleName));
  std::vector<LineChart::Line> lines{{state.points, dataColor, fromStd(state.name)}};
  for (std::size_t each = 0; each < state.overlays.size(); ++each) {
    const HistoryOverlay& overlay = state.overlays[each];
    lines.push_back({overlay.points, overlayColor(each), fromStd(overlay.name)});
  }
  chart_->setLines(std::move(lines));
  controls_->setOptions(state.options);
  chips_->setOverlays(state.overlays);
  chart_->setPeak(state.peak, fromStd(state.peakText));
  for (std::size_t i = 0; i < figures_.size(); ++i) figures_[i]->setValue(state.figures[i]);
  applyFans(state.fans);
}

void ExpandedSensorHistoryView::applyOptions(const ExpandedSensorHistoryState& state) {
  const QSignalBlocker blocker(picker_);
  if (!shown_ || state.options != shown_->options) {
    picker_->clear();
    for (const SensorOption& option : state.options) {
      picker_->addOption(fromStd(option.name), fromStd(option.id), option.startsGroup);
    }
  }
  const int selected = state.selectedOption ? static_cast<int>(*state.selectedOption) : -1;
  if (picker_->currentIndex() != selected) picker_->setCurrentIndex(selected);
}

void ExpandedSensorHistoryView::applyFans(const std::vector<ExpandedSensorHistoryState::FanRow>& fans) {
  while (fanLines_.size() < fans.size()) {
    const int row = static_cast<int>(fanLines_.size());
    FanLine line{makeLabel(fanRows_, TextRole::body), new FigureLabel(TextStyle::headline, fanRows_),
                 new FigureLabel(TextStyle::caption, fanRows_)};
    line.peak->setProperty("role", "secondary");
    line.speed->setObjectName(QStringLiteral("historyFanSpeed%1").arg(row));
    line.peak->setObjectName(QStringLiteral("historyFanPeak%1").arg(row));
    fanGrid_->addWidget(line.name, row, 0);
    fanGrid_->addWidget(line.speed, row, 1);
    fanGrid_->addWidget(line.peak, row, 2);
    fanLines_.push_back(line);
  }
  for (std::size_t i = 0; i < fanLines_.size(); ++i) {
    const bool isShown = i < fans.size();
    for (QWidget* part : {static_cast<QWidget*>(fanLines_[i].name), static_cast<QWidget*>(fanLines_[i].speed),
                          static_cast<QWidget*>(fanLines_[i].peak)}) {
      part->setVisible(isShown);
    }
    if (!isShown) continue;
    fanLines_[i].name->setText(fromStd(fans[i].name));
    fanLines_[i].speed->setText(fromStd(fans[i].speed));
    fanLines_[i].peak->setText(fromStd(fans[i].peak));
  }
}

}  // namespace halcyra
