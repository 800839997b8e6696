#pragma once

#include <QWidget>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UI/HistoryViewState.h"

class QGridLayout;
class QLabel;

namespace halcyra {

class FigureLabel;
class HistoryChips;
class HistoryControls;
class HistoryFigure;
class LineChart;
class Picker;

/// The panel's full-history chart with its picker, figures and peak speeds. Passive: the owner refreshes it, keeps the
/// selection, and closes it on `collapseRequested`.
class ExpandedSensorHistoryView : public QWidget {
  Q_OBJECT

 public:
  explicit ExpandedSensorHistoryView(std::shared_ptr<HistorySelection> selection, QWidget* parent = nullptr);

  /// Shows the model's present history. Touches only what has changed.
  void refresh(const ModelView& view, const std::string& selectedSensorID);
  void refresh(const HistoryData& history, const std::string& selectedSensorID);

 signals:
  /// The selection has changed: the owner refreshes.
  void refreshWanted();
  /// The user has chosen another entry of the picker.
  void sensorSelected(const QString& id);
  void collapseRequested();

 private:
  struct FanLine {
    QLabel* name = nullptr;
    FigureLabel* speed = nullptr;
    FigureLabel* peak = nullptr;
  };

  QWidget* makeHeader();
  QWidget* makeEmptyState();
  QWidget* makeFigures();
  void apply(const ExpandedSensorHistoryState& state);
  void applyOptions(const ExpandedSensorHistoryState& state);
  void applyFans(const std::vector<ExpandedSensorHistoryState::FanRow>& fans);

  std::shared_ptr<HistorySelection> selection_;
  ExpandedSensorHistory history_;
  std::optional<ExpandedSensorHistoryState> shown_;
  QLabel* description_ = nullptr;
  Picker* picker_ = nullptr;
  HistoryControls* controls_ = nullptr;
  HistoryChips* chips_ = nullptr;
  LineChart* chart_ = nullptr;
  QWidget* emptyState_ = nullptr;
  std::array<HistoryFigure*, 3> figures_{};
  QWidget* fanRows_ = nullptr;
  QGridLayout* fanGrid_ = nullptr;
  std::vector<FanLine> fanLines_;
};

}  // namespace halcyra
