#pragma once

#include <QFrame>
#include <array>

#include "UI/FirstRunState.h"

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

namespace halcyra {

class IconLabel;

/// The steps from a new installation to presets that drive the fans, in panel and dashboard alike. Hidden once nothing
/// is left to do.
class FirstRunCard : public QFrame {
  Q_OBJECT

 public:
  explicit FirstRunCard(QWidget* parent = nullptr);

  void apply(const FirstRunState& state);

 signals:
  void setUpRequested();
  void testRequested();
  /// The user has seen that everything is set up.
  void acknowledged();

 private:
  struct StepLine {
    QWidget* row = nullptr;
    IconLabel* mark = nullptr;
    QLabel* title = nullptr;
    QLabel* value = nullptr;
  };

  StepLine makeStep(int position);
  QWidget* makeSetUp();
  QWidget* makeCommand();
  QWidget* makeTest();
  void applyStep(StepLine& line, const FirstRunState::Step& step);

  FirstRunState shown_;
  QLabel* title_ = nullptr;
  std::array<StepLine, 3> steps_;
  QWidget* setUpBox_ = nullptr;
  QPushButton* setUp_ = nullptr;
  QWidget* commandBox_ = nullptr;
  QPlainTextEdit* command_ = nullptr;
  QPushButton* copy_ = nullptr;
  QWidget* testBox_ = nullptr;
  QPushButton* test_ = nullptr;
  QProgressBar* progress_ = nullptr;
  QLabel* testNote_ = nullptr;
  QLabel* complete_ = nullptr;
  QPushButton* done_ = nullptr;
};

}  // namespace halcyra
