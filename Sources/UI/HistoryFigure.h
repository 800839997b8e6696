#pragma once

#include <QWidget>
#include <optional>
#include <string>

namespace halcyra {

/// One of the session's figures beside a stroke in its colour: low, average or peak.
class HistoryFigure : public QWidget {
  Q_OBJECT

 public:
  enum class Kind { low, average, peak };

  HistoryFigure(Kind kind, const QString& title, QWidget* parent = nullptr);

  /// Shows a dash without a text.
  void setValue(const std::optional<std::string>& text);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Kind kind_;
  QString title_;
  QString value_;
};

}  // namespace halcyra
