#include "UI/Controls/Disclosure.h"

#include <QVBoxLayout>

#include "UI/Icons.h"

namespace halcyra {

Disclosure::Disclosure(const QString& title, QWidget* content, QWidget* parent)
    : QWidget(parent), button_(new QToolButton(this)), content_(content) {
  button_->setObjectName(QStringLiteral("disclosureButton"));
  button_->setText(title);
  button_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  // No larger than the picture: a wider place would set the mark in from the text above.
  button_->setIconSize({16, 16});
  button_->setCheckable(true);
  button_->setFocusPolicy(Qt::StrongFocus);
  button_->setProperty("disclosure", true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(2);
  layout->addWidget(button_, 0, Qt::AlignLeft);
  layout->addWidget(content_);
  connect(button_, &QToolButton::toggled, this, &Disclosure::show);
  connect(button_, &QToolButton::toggled, this, &Disclosure::toggled);
  show(false);
}

void Disclosure::show(bool open) {
  setThemedIcon(button_, open ? "chevron-down" : "chevron-right");
  content_->setVisible(open);
}

}  // namespace halcyra
