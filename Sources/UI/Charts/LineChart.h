#pragma once

#include <QColor>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "UI/Charts/ChartAxis.h"
#include "UI/Charts/ChartReadout.h"
#include "UI/Downsampling.h"

class QPainter;

namespace halcyra {

/// A painted chart of values over time. Under the pointer, or where the arrow keys have moved it, a cross-hair names
/// the time and the values of all lines.
class LineChart : public QWidget {
  Q_OBJECT

 public:
  struct Line {
    std::vector<HistoryPoint> points;
    /// Asked at every painting, so that it follows the theme.
    QColor (*color)() = nullptr;
    /// Beside its value at the cross-hair.
    QString name = {};

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
    /// A value at the cross-hair, with its unit.
    std::function<QString(double)> readingText;
    /// The space under the first line is filled.
    bool filled = false;
    /// Shown while there is no line of at least two points.
    QString emptyText;
  };

  explicit LineChart(Options options, QWidget* parent = nullptr);

  /// Repaints only when something differs from what is shown.
  void setLines(std::vector<Line> lines);
  /// Draws a dashed rule at `value` with `text` beside it.
  void setPeak(const std::optional<double>& value, const QString& text);
  /// Puts the cross-hair to the point nearest to this moment, or away. Silent.
  void showMoment(const std::optional<Date>& moment);
  const std::optional<Date>& moment() const { return moment_; }
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 signals:
  /// The user has moved the cross-hair, or away from the chart.
  void momentChanged(const std::optional<halcyra::Date>& moment);

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  /// Where dates and values are drawn.
  struct Scale {
    QRectF plot;
    Date first;
    Date last;
    ChartTicks ticks;

    double x(Date date) const;
    double y(double value) const;
    Date date(double x) const;
  };
  /// A line's value at the cross-hair.
  struct Reading {
    const Line* line = nullptr;
    HistoryPoint point;
  };

  bool isEmpty() const;
  Scale makeScale() const;
  void drawGrid(QPainter& painter, const Scale& scale) const;
  void drawTimes(QPainter& painter, const Scale& scale) const;
  void drawPeak(QPainter& painter, const Scale& scale) const;
  void drawLine(QPainter& painter, const Scale& scale, const Line& line) const;
  void drawCrossHair(QPainter& painter, const Scale& scale) const;
  void drawReadout(QPainter& painter, const Scale& scale, const std::vector<Reading>& readings, double x) const;
  std::vector<Reading> readings() const;
  PointLists pointLists() const;
  void moveTo(const std::optional<Date>& moment);
  void describeMoment();

  Options options_;
  std::vector<Line> lines_;
  std::optional<double> peak_;
  QString peakText_;
  std::optional<Date> moment_;
  bool showsFocus_ = false;
};

}  // namespace halcyra
