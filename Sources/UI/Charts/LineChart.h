#pragma once

#include <QColor>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "UI/Charts/ChartAxis.h"
#include "UI/Downsampling.h"

class QPainter;

namespace halcyra {

/// A painted chart of values over time.
class LineChart : public QWidget {
  Q_OBJECT

 public:
  struct Line {
    std::vector<HistoryPoint> points;
    /// Asked at every painting, so that it follows the theme.
    QColor (*color)() = nullptr;

    bool operator==(const Line&) const = default;
  };

  /// What stays the same over the chart's life.
  struct Options {
    /// Pixels, with the title of the value axis and the row of times.
    int height = 100;
    /// Above the value axis; empty for none.
    QString valueTitle;
    /// Steps that the value axis may take, in its own unit, ascending.
    std::vector<double> valueSteps;
    int maximumIntervals = 4;
    /// The value axis begins at zero, whatever the values.
    bool fromZero = false;
    std::function<QString(double)> valueLabel;
    /// The space under the lines is filled.
    bool filled = false;
    /// Shown while there is no line of at least two points.
    QString emptyText;
  };

  explicit LineChart(Options options, QWidget* parent = nullptr);

  /// Repaints only when something differs from what is shown.
  void setLines(std::vector<Line> lines);
  /// Draws a dashed rule at `value` with `text` beside it.
  void setPeak(const std::optional<double>& value, const QString& text);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  /// Where dates and values are drawn.
  struct Scale {
    QRectF plot;
    Date first;
    Date last;
    ChartTicks ticks;

    double x(Date date) const;
    double y(double value) const;
  };

  bool isEmpty() const;
  Scale makeScale() const;
  void drawGrid(QPainter& painter, const Scale& scale) const;
  void drawTimes(QPainter& painter, const Scale& scale) const;
  void drawPeak(QPainter& painter, const Scale& scale) const;
  void drawLine(QPainter& painter, const Scale& scale, const Line& line) const;

  Options options_;
  std::vector<Line> lines_;
  std::optional<double> peak_;
  QString peakText_;
};

}  // namespace halcyra
