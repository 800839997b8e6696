#include <QComboBox>
#include <QLabel>
#include <QPaintEvent>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <memory>

#include "gtest/gtest.h"

#include "UI/Charts/LineChart.h"
#include "UI/HistoryGraphView.h"
#include "UI/HistoryView.h"
#include "UI/Sparkline.h"
#include "UI/Theme.h"

namespace halcyra::test {

namespace {

/// Counts how often a widget is painted.
class PaintCounter : public QObject {
 public:
  explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
  int take() {
    QApplication::processEvents();
    return std::exchange(count_, 0);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint) ++count_;
    return QObject::eventFilter(watched, event);
  }

 private:
  int count_ = 0;
};

struct ChartSession {
  std::vector<HistorySample> samples;
  ModelView::SensorHistory sensors;
  std::vector<SensorReading> readings{{"TCMz", "TCMz", 60}, {"Te05", "Te05", 40}};
  std::vector<FanInfo> fans{{0, 2040, 1350, 5950}, {1, 1980, 1350, 6200}};

  void add(double control) {
    const double seconds = 1'700'000'000.0 + 2.0 * static_cast<double>(samples.size());
    samples.push_back({.date = Date(Seconds(seconds)),
                       .cpuTemp = control,
                       .cpuCoreAverage = control - 5,
                       .gpuCoreAverage = std::nullopt,
                       .controlTemp = control,
                       .rpms = std::vector<std::int64_t>{2000 + 10 * static_cast<int>(control), 1500}});
    sensors["TCMz"].push_back(static_cast<float>(control + 10));
    sensors["Te05"].push_back(static_cast<float>(control - 10));
  }
  SessionHistory history() const { return {samples, sensors, readings, fans}; }
};

/// Pixels of `widget` that are closer to `color` than to anything grey.
int pixelsOf(QWidget& widget, const QColor& color) {
  const QImage image = widget.grab().toImage();
  int count = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor pixel = image.pixelColor(x, y);
      const int distance = std::abs(pixel.red() - color.red()) + std::abs(pixel.green() - color.green()) +
                           std::abs(pixel.blue() - color.blue());
      if (distance < 60) ++count;
    }
  }
  return count;
}

constexpr const char* zoneSignal = ExpandedSensorHistory::fanControlSignalID;

}  // namespace

TEST(ExpandedSensorHistoryView, turnsFromCollectingToAChart) {
  ChartSession session;
  ExpandedSensorHistoryView view;
  view.resize(318, 420);
  view.show();
  auto* const chart = view.findChild<LineChart*>("sessionHistoryChart");
  auto* const note = view.findChild<QWidget*>("historyEmptyState");
  auto* const description = view.findChild<QLabel*>("historyDescription");
  session.add(50);
  view.refresh(session.history(), zoneSignal);
  EXPECT_FALSE(chart->isVisible());
  EXPECT_TRUE(note->isVisible());

  for (int i = 0; i < 45; ++i) session.add(50 + i % 20);
  view.refresh(session.history(), zoneSignal);
  EXPECT_TRUE(chart->isVisible());
  EXPECT_FALSE(note->isVisible());
  EXPECT_EQ(description->text(), "Warmest Fan Zone (curve input) · 46 samples · 1m 30s");
  EXPECT_EQ(view.findChild<QWidget*>("historyFigurePeak")->accessibleDescription(), "69.0");
  EXPECT_GT(pixelsOf(*chart, Theme::current().data), 100);
}

TEST(ExpandedSensorHistoryView, thePickerAsksForAnotherSensorAndTheButtonForTheEnd) {
  ChartSession session;
  for (int i = 0; i < 10; ++i) session.add(50 + i);
  ExpandedSensorHistoryView view;
  view.show();
  view.refresh(session.history(), zoneSignal);
  auto* const picker = view.findChild<QComboBox*>("sensorPicker");
  QSignalSpy selected(&view, &ExpandedSensorHistoryView::sensorSelected);
  EXPECT_EQ(picker->currentText(), "Warmest Fan Zone (curve input)");
  picker->setFocus();
  QTest::keyClick(picker, Qt::Key_Down);
  QTest::keyClick(picker, Qt::Key_Down);
  ASSERT_EQ(selected.count(), 2);
  EXPECT_EQ(selected.last().first().toString(), "TCMz");

  view.refresh(session.history(), "TCMz");
  EXPECT_EQ(picker->currentText(), "CPU Die Hotspot (TCMz)");
  session.readings.push_back({"TA00", "TA00", 30});
  view.refresh(session.history(), "TCMz");
  EXPECT_EQ(picker->count(), 5);
  EXPECT_EQ(picker->currentText(), "CPU Die Hotspot (TCMz)");
  EXPECT_EQ(selected.count(), 2) << "only the user selects";

  QSignalSpy collapsed(&view, &ExpandedSensorHistoryView::collapseRequested);
  QTest::mouseClick(view.findChild<QToolButton*>("collapseHistory"), Qt::LeftButton);
  EXPECT_EQ(collapsed.count(), 1);
}

TEST(HistoryGraphView, paintsOnlyWhatIsNew) {
  ChartSession session;
  HistoryGraphView view;
  view.resize(700, 330);
  view.show();
  auto* const zoneChart = view.findChild<LineChart*>("fanZoneChart");
  auto* const speedChart = view.findChild<LineChart*>("fanSpeedChart");
  for (int i = 0; i < 20; ++i) session.add(50 + i);
  view.setSamples(session.samples);
  const Theme& theme = Theme::current();
  EXPECT_GT(pixelsOf(*zoneChart, theme.data), 100);
  EXPECT_GT(pixelsOf(*speedChart, theme.series0), 100);
  EXPECT_GT(pixelsOf(*speedChart, theme.series1), 100);
  EXPECT_EQ(view.findChild<QWidget*>("fanSeriesKey")->accessibleName(), "Fan: Left, Right");

  PaintCounter paints(zoneChart);
  paints.take();
  view.setSamples(session.samples);
  EXPECT_EQ(paints.take(), 0) << "nothing has changed";
  session.add(40);
  view.setSamples(session.samples);
  EXPECT_EQ(paints.take(), 1);
}

TEST(MenuBarSparkline, isPaintedOnceThereIsATrend) {
  ChartSession session;
  MenuBarSparkline sparkline;
  EXPECT_EQ(pixelsOf(sparkline, Theme::current().data), 0);
  for (int i = 0; i < 20; ++i) session.add(50 + i);
  sparkline.setSamples(session.samples);
  EXPECT_GT(pixelsOf(sparkline, Theme::current().data), 20);
}

}  // namespace halcyra::test
