#pragma once

#include <QObject>
#include <cstddef>
#include <string>
#include <vector>

namespace halcyra {

/// How far back the charts reach.
enum class HistoryRange { fiveMinutes, hour, all };

/// What the charts of the session show beside their own lines.
struct HistoryChoice {
  HistoryRange range = HistoryRange::all;
  /// Identifiers of sensors that are laid over, in the order in which they were chosen.
  std::vector<std::string> overlays = {};

  bool operator==(const HistoryChoice&) const = default;
};

/// The choice that all charts of the application share. Main thread only.
class HistorySelection : public QObject {
  Q_OBJECT

 public:
  static constexpr std::size_t maximumOverlayCount = 4;

  const HistoryChoice& choice() const { return choice_; }
  bool isFull() const { return choice_.overlays.size() >= maximumOverlayCount; }
  void setRange(HistoryRange range);
  /// The first one gives way where there are as many as there can be.
  void add(const std::string& sensorID);
  void remove(const std::string& sensorID);
  /// Adds a sensor, and has a chart come into sight.
  void show(const std::string& sensorID);

 signals:
  void changed();
  void sightWanted();

 private:
  HistoryChoice choice_;
};

}  // namespace halcyra
