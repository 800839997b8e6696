#pragma once

#include <QFrame>
#include <vector>

#include "UI/HistoryGraphState.h"

namespace halcyra {

class LineChart;
class SeriesKey;

/// The dashboard's card with the pair of charts over the session: the warmest fan zone and the fan speeds. Passive: the
/// owner hands it the model's history at every refresh.
class HistoryGraphView : public QFrame {
  Q_OBJECT

 public:
  explicit HistoryGraphView(QWidget* parent = nullptr);

  /// Costs what has been added since the last call, and a repaint of what is visible.
  void setSamples(const std::vector<HistorySample>& samples);

 private:
  HistoryGraph graph_;
  LineChart* zoneChart_ = nullptr;
  LineChart* speedChart_ = nullptr;
  SeriesKey* key_ = nullptr;
};

}  // namespace halcyra
