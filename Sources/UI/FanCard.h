#pragma once

#include <QFrame>

#include "UI/MainViewState.h"

class QLabel;

namespace halcyra {

class FigureLabel;
class RpmRail;
class ZoneDot;

/// One fan: its speed between its limits, its mode and what drives it.
class FanCard : public QFrame {
  Q_OBJECT

 public:
  explicit FanCard(QWidget* parent = nullptr);

  /// Touches only what has changed.
  void apply(const FanCardState& state);

 private:
  QWidget* makeInput();

  QLabel* label_ = nullptr;
  FigureLabel* speed_ = nullptr;
  RpmRail* rail_ = nullptr;
  FigureLabel* target_ = nullptr;
  QLabel* mode_ = nullptr;
  QWidget* input_ = nullptr;
  ZoneDot* dot_ = nullptr;
  FigureLabel* curveInput_ = nullptr;
  QLabel* driver_ = nullptr;
};

}  // namespace halcyra
