#include "UI/ConflictNotice.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "fmt/format.h"

#include "UI/Icons.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

std::optional<ConflictState> makeConflictState(const ModelView& view) {
  if (!view.competingController || view.fanControlOwnership != FanControlOwnership::aerovane ||
      view.activePreset.kind == PresetKind::system) {
    return std::nullopt;
  }
  const std::string& name = *view.competingController;
  return ConflictState{name + " helper conflict",
                       fmt::format("Remove its background helper using {}'s uninstaller. Aerovane will stay on "
                                   "Apple Default and retry your saved preset automatically.",
                                   name)};
}

ConflictNotice::ConflictNotice(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("conflict"));
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(6);
  auto* const row = new QHBoxLayout;
  row->setSpacing(8);
  auto* const picture = new IconLabel(QStringLiteral("shield-warning-fill"), this);
  picture->setColor([] { return Theme::current().warn; });
  title_ = makeWrappedLabel(this, TextRole::conflict);
  title_->setObjectName(QStringLiteral("conflictTitle"));
  row->addWidget(picture, 0, Qt::AlignTop);
  row->addWidget(title_, 1);
  column->addLayout(row);
  explanation_ = makeWrappedLabel(this, TextRole::secondary);
  column->addWidget(explanation_);
  hide();
}

void ConflictNotice::apply(const std::optional<ConflictState>& state) {
  setVisible(state.has_value());
  if (!state) return;
  setLabelText(title_, state->title);
  setLabelText(explanation_, state->explanation);
}

}  // namespace halcyra
