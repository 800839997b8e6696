#pragma once

#include <QColor>
#include <QString>
#include <QWidget>
#include <vector>

namespace halcyra {

/// Names the lines of a chart, each beside a stroke of its colour.
class SeriesKey : public QWidget {
  Q_OBJECT

 public:
  struct Entry {
    QString label;
    /// Asked at every painting, so that it follows the theme.
    QColor (*color)() = nullptr;

    bool operator==(const Entry&) const = default;
  };

  explicit SeriesKey(QWidget* parent = nullptr);

  void setEntries(std::vector<Entry> entries);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<Entry> entries_;
};

}  // namespace halcyra
