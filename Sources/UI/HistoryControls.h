#pragma once

#include <QAbstractButton>
#include <QWidget>
#include <array>
#include <memory>
#include <vector>

#include "UI/Charts/FanColors.h"
#include "UI/HistoryViewState.h"

class QPushButton;

namespace halcyra {

class Picker;
class SettingsFlowLayout;

/// The colour of the overlay at this position, 0…3.
ColorOf overlayColor(std::size_t position);

/// How far back a chart reaches, and what is laid over it. Changes the selection that all charts share.
class HistoryControls : public QWidget {
  Q_OBJECT

 public:
  explicit HistoryControls(std::shared_ptr<HistorySelection> selection, QWidget* parent = nullptr);

  /// What can be laid over.
  void setOptions(const std::vector<SensorOption>& options);

 private:
  QWidget* makeRanges();
  void refresh();

  std::shared_ptr<HistorySelection> selection_;
  std::vector<SensorOption> options_;
  std::array<QPushButton*, 3> ranges_{};
  Picker* add_ = nullptr;
};

/// The overlays of a chart, each a button that takes it away.
class HistoryChips : public QWidget {
  Q_OBJECT

 public:
  explicit HistoryChips(std::shared_ptr<HistorySelection> selection, QWidget* parent = nullptr);

  /// Hidden without any.
  void setOverlays(const std::vector<HistoryOverlay>& overlays);

 private:
  std::shared_ptr<HistorySelection> selection_;
  SettingsFlowLayout* flow_ = nullptr;
  std::vector<std::pair<std::string, QAbstractButton*>> chips_;
};

}  // namespace halcyra
