#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "App/ModelView.h"

class QLabel;

namespace halcyra {

/// What is said while a fan utility of another vendor keeps the selected preset from driving the fans.
struct ConflictState {
  std::string title;
  std::string explanation;

  bool operator==(const ConflictState&) const = default;
};

/// None without a conflict.
std::optional<ConflictState> makeConflictState(const ModelView& view);

/// The same notice in panel and dashboard; hidden without a conflict.
class ConflictNotice : public QWidget {
  Q_OBJECT

 public:
  explicit ConflictNotice(QWidget* parent = nullptr);

  void apply(const std::optional<ConflictState>& state);

 private:
  QLabel* title_ = nullptr;
  QLabel* explanation_ = nullptr;
};

}  // namespace halcyra
