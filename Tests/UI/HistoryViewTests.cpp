#include <QAbstractItemView>
#include <QComboBox>
#include <QLabel>
#include <QPaintEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <memory>

#include "gtest/gtest.h"

#include "UI/Charts/LineChart.h"
#include "UI/HistoryGraphView.h"
#include "UI/HistoryView.h"

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
  HistoryData history() const { return {samples, sensors, readings, fans}; }
};

}  // namespace

TEST(ExpandedSensorHistoryView, isWorkedWithMouseAndKeyboard) {
  ChartSession session;
  const auto selection = std::make_shared<HistorySelection>();
  ExpandedSensorHistoryView view(selection);
  view.resize(318, 460);
  view.show();
  view.activateWindow();
  std::string sensor = ExpandedSensorHistory::fanControlSignalID;
  const auto refresh = [&] { view.refresh(session.history(), sensor); };
  QObject::connect(&view, &ExpandedSensorHistoryView::refreshWanted, refresh);
  QObject::connect(&view, &ExpandedSensorHistoryView::sensorSelected, [&](const QString& id) {
    sensor = id.toStdString();
    refresh();
  });
  auto* const chart = view.findChild<LineChart*>("sessionHistoryChart");
  session.add(50);
  refresh();
  EXPECT_FALSE(chart->isVisible());
  EXPECT_TRUE(view.findChild<QWidget*>("historyEmptyState")->isVisible());
  for (int i = 0; i < 445; ++i) session.add(50 + i % 20);
  refresh();
  EXPECT_TRUE(chart->isVisible());

  auto* const picker = view.findChild<QComboBox*>("sensorPicker");
  QTest::keyClick(picker, Qt::Key_Down);
  QTest::keyClick(picker, Qt::Key_Down);
  QTest::mouseClick(view.findChild<QPushButton*>("rangeFiveMinutes"), Qt::LeftButton);
  const auto* const description = view.findChild<QLabel*>("historyDescription");
  EXPECT_EQ(description->text(), "CPU Die Hotspot (TCMz) · 151 samples · 5m");

  auto* const add = view.findChild<QComboBox*>("addOverlay");
  for (const char* const id : {"CPU Die Hotspot (TCMz)", "Te05"}) {
    QTest::keyClick(add, Qt::Key_Down);
    ASSERT_TRUE(add->view()->isVisible());
    add->view()->setCurrentIndex(add->model()->index(add->findText(id), 0));
    QTest::keyClick(add->view(), Qt::Key_Return);
  }

  chart->setFocus(Qt::TabFocusReason);
  QTest::keyClick(chart, Qt::Key_End);
  QTest::keyClick(chart, Qt::Key_Left);
  const QString said = chart->accessibleDescription();
  EXPECT_TRUE(said.endsWith(", CPU Die Hotspot (TCMz) 63.0 °C, Te05 43.0 °C")) << said.toStdString();
  QTest::keyClick(chart, Qt::Key_Escape);
  EXPECT_EQ(chart->accessibleDescription(), "");
  QTest::mouseMove(chart, QPoint(chart->width() / 2, 60));
  EXPECT_TRUE(chart->moment().has_value());

  auto* const chip = view.findChild<QAbstractButton*>("overlayChip");
  EXPECT_EQ(chip->accessibleName(), "Remove Te05 from the chart");
  QTest::mouseClick(chip, Qt::LeftButton);
  EXPECT_EQ(selection->choice().overlays, std::vector<std::string>{"TCMz"});
  QSignalSpy collapsed(&view, &ExpandedSensorHistoryView::collapseRequested);
  QTest::mouseClick(view.findChild<QToolButton*>("collapseHistory"), Qt::LeftButton);
  EXPECT_EQ(collapsed.count(), 1);
}

TEST(HistoryGraphView, paintsOnlyWhatIsNewAndHasOneCrossHair) {
  ChartSession session;
  HistoryGraphView view(std::make_shared<HistorySelection>());
  view.resize(700, 330);
  view.show();
  auto* const zoneChart = view.findChild<LineChart*>("fanZoneChart");
  auto* const speedChart = view.findChild<LineChart*>("fanSpeedChart");
  for (int i = 0; i < 20; ++i) session.add(50 + i);
  view.refresh(session.history());
  PaintCounter paints(zoneChart);
  paints.take();
  view.refresh(session.history());
  EXPECT_EQ(paints.take(), 0) << "nothing has changed";
  session.add(40);
  view.refresh(session.history());
  EXPECT_EQ(paints.take(), 1);

  QTest::mouseMove(zoneChart, QPoint(zoneChart->width() / 2, 40));
  EXPECT_TRUE(zoneChart->moment().has_value());
  EXPECT_EQ(speedChart->moment(), zoneChart->moment());
}

}  // namespace halcyra::test
