#include <QLabel>
#include <QVariantAnimation>
#include <cmath>

#include "gtest/gtest.h"

#include "UI/TemperatureGauge.h"
#include "UI/TemperatureGaugeCompact.h"
#include "UI/TemperatureGaugeLegend.h"
#include "UI/Theme.h"
#include "UI/ThermalMetricSummary.h"

namespace halcyra::test {

namespace {

QColor pixel(QWidget& widget, double fraction) {
  const QImage image = widget.grab().toImage();
  return image.pixelColor(static_cast<int>(image.width() * fraction), image.height() / 2);
}

}  // namespace

TEST(TemperatureGaugeBar, showsTheZonesAndFadesThemWithoutAValue) {
  TemperatureGaugeBar bar(22);
  bar.resize(500, bar.height());
  bar.setTemperature(67.5);
  const Theme& theme = Theme::current();
  EXPECT_EQ(bar.accessibleDescription(), "67.5 degrees Celsius");
  EXPECT_EQ(pixel(bar, 0.1), theme.cool);
  EXPECT_EQ(pixel(bar, 0.3), theme.normal);
  EXPECT_EQ(pixel(bar, 0.5), theme.text) << "the marker";
  EXPECT_EQ(pixel(bar, 0.55), theme.warm);
  EXPECT_EQ(pixel(bar, 0.9), theme.vhot);
  bar.setTemperature(std::nullopt);
  EXPECT_EQ(bar.accessibleDescription(), "unavailable");
  EXPECT_NE(pixel(bar, 0.1), theme.cool);
  EXPECT_NE(pixel(bar, 0.5), theme.text);
}

TEST(TemperatureGaugeBar, movesWithTheSpringAndStopsAtOnceWithoutAValue) {
  TemperatureGaugeBar bar(6);
  bar.resize(500, bar.height());
  bar.show();
  bar.setTemperature(40);
  EXPECT_EQ(bar.animatedTemperature(), 40) << "the first value has nowhere to come from";

  auto* const animation = bar.findChild<QVariantAnimation*>();
  bar.setTemperature(100);
  EXPECT_EQ(bar.temperature(), 100);
  EXPECT_EQ(bar.animatedTemperature(), 40);
  animation->setCurrentTime(animation->duration() / 4);
  // After 135 ms the spring of 0.36 s has gone 1 − (1 + 2.36) e^−2.36 of its way.
  EXPECT_NEAR(*bar.animatedTemperature(), 40 + 60 * 0.682, 0.5);
  double before = *bar.animatedTemperature();
  for (int time = animation->duration() / 4; time < animation->duration(); time += 20) {
    animation->setCurrentTime(time);
    EXPECT_GE(*bar.animatedTemperature(), before) << "no overshoot, no way back";
    EXPECT_LE(*bar.animatedTemperature(), 100);
    before = *bar.animatedTemperature();
  }
  animation->setCurrentTime(animation->duration());
  EXPECT_EQ(bar.animatedTemperature(), 100);

  bar.setTemperature(50);
  bar.setTemperature(std::nullopt);
  EXPECT_EQ(bar.animatedTemperature(), std::nullopt);
  EXPECT_EQ(animation->state(), QAbstractAnimation::Stopped);

  bar.setTemperature(50);
  bar.hide();
  bar.setTemperature(90);
  EXPECT_EQ(bar.animatedTemperature(), 90) << "nobody sees it";
}

TEST(TemperatureGaugeView, saysTheStatusAndWrapsItsLegend) {
  const std::vector<std::pair<std::optional<double>, const char*>> cases{
      {std::nullopt, "Temperature sensor unavailable"},
      {44.99, "Cool — idle or light work"},
      {45, "Normal — comfortable operating temperature"},
      {60, "Warm under load — cooling is working"},
      {75, "Hot — sustained load; automatic cooling should be responding"},
      {104.99, "Very hot — automatic cooling should be near maximum"},
      {105, "Critical — safety override forces maximum cooling"},
      {NAN, "Critical — safety override forces maximum cooling"},
  };
  TemperatureGaugeView view;
  for (const auto& [temperature, text] : cases) {
    view.setTemperature(temperature);
    EXPECT_EQ(view.findChild<QLabel*>("temperatureGaugeStatus")->text(), text);
  }
  auto* const legend = view.findChild<TemperatureGaugeLegend*>("temperatureGaugeLegend");
  EXPECT_EQ(legend->accessibleName(), "Cool 30–45°, Normal 45–60°, Warm 60–75°, Hot 75–90°, Very Hot 90–105°");
  EXPECT_EQ(legend->heightForWidth(2000), legend->sizeHint().height());
  EXPECT_GE(legend->heightForWidth(200), 3 * legend->sizeHint().height());
}

TEST(ThermalMetricSummary, showsWhatIsPresent) {
  ThermalMetricSummary summary;
  summary.setMetrics({1, 2, 3, 4, 5, std::nullopt});
  for (int each = 0; each < 6; ++each) {
    const QString name = QStringLiteral("thermalMetric%1").arg(each);
    EXPECT_EQ(summary.findChild<QWidget*>(name)->accessibleName(),
              each < 5 ? QStringLiteral("%1.0 °C").arg(each + 1) : QStringLiteral("Unavailable"));
  }
}

}  // namespace halcyra::test
