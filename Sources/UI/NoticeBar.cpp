#include "UI/NoticeBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <utility>

#include "UI/Controls/FocusKeeper.h"
#include "UI/Icons.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr std::string_view dismissText = "Dismiss this message";

}  // namespace

NoticeBar::NoticeBar(std::function<void()> dismiss, QWidget* parent) : QFrame(parent) {
  // The stylesheet knows the bar by this name.
  setObjectName(QStringLiteral("noticeBar"));
  auto* const row = new QHBoxLayout(this);
  row->setContentsMargins(16, 6, 10, 6);
  row->setSpacing(6);
  error_ = makeLabel(this, "error", TextRole::error);
  makeShrinkable(error_);
  error_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  row->addWidget(error_, 1);
  dismiss_ = new QToolButton(this);
  dismiss_->setObjectName(QStringLiteral("dismissError"));
  dismiss_->setFocusPolicy(Qt::TabFocus);
  dismiss_->setToolTip(textOf(dismissText));
  dismiss_->setAccessibleName(textOf(dismissText));
  setThemedIcon(dismiss_, "x-circle-fill");
  connect(dismiss_, &QToolButton::clicked, this, [dismissed = std::move(dismiss)] { dismissed(); });
  row->addWidget(dismiss_, 0, Qt::AlignTop);
  hide();
}

void NoticeBar::setError(const std::optional<std::string>& error) {
  setLabelText(error_, error.value_or(""));
  setVisibleKeepingFocus(this, error.has_value());
}

}  // namespace halcyra
