#pragma once

#include <QFrame>
#include <memory>

#include "UI/HistoryGraphState.h"

namespace halcyra {

class HistoryChips;
class HistoryControls;
class LineChart;
class SeriesKey;

/// The dashboard's card with the pair of charts over the session: the warmest fan zone and the fan speeds. Passive: the
/// owner hands it the model's history at every refresh.
class HistoryGraphView : public QFrame {
  Q_OBJECT

 public:
  explicit HistoryGraphView(std::shared_ptr<HistorySelection> selection, QWidget* parent = nullptr);

  /// Costs what has been added since the last call, and a repaint of what is visible.
  void refresh(const HistoryData& history);

 signals:
  /// The selection has changed: the owner refreshes.
  void refreshWanted();

 private:
  QWidget* makeHeader();

  std::shared_ptr<HistorySelection> selection_;
  HistoryGraph graph_;
  HistoryControls* controls_ = nullptr;
  HistoryChips* chips_ = nullptr;
  LineChart* zoneChart_ = nullptr;
  LineChart* speedChart_ = nullptr;
  SeriesKey* key_ = nullptr;
};

}  // namespace halcyra
