#include "UI/SettingsSection.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "UI/SettingsFlowLayout.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int sectionRowHeight = 28;
constexpr int sectionSpacing = 8;
constexpr int horizontalPadding = 16;
constexpr int verticalPadding = 14;
constexpr int buttonGap = 6;
constexpr int labelToControl = 16;

}  // namespace

SettingsSection::SettingsSection(std::string_view heading, QWidget* parent) : QWidget(parent) {
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(sectionSpacing);
  layout->addWidget(makeLabel(this, TextRole::headline, heading));
  auto* const card = new QFrame(this);
  card->setProperty("card", true);
  card->setProperty("settings", true);
  card->setAccessibleName(textOf(heading));
  layout->addWidget(card);
  rows_ = new QVBoxLayout(card);
  rows_->setContentsMargins(horizontalPadding, verticalPadding, horizontalPadding, verticalPadding);
  rows_->setSpacing(sectionSpacing);
}

QWidget* SettingsSection::addRow(std::string_view label, QWidget* control) {
  auto* const row = new QWidget;
  row->setMinimumHeight(sectionRowHeight);
  auto* const layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(labelToControl);
  layout->addWidget(makeLabel(row, TextRole::body, label));
  if (control->sizePolicy().hasHeightForWidth()) {
    layout->addWidget(control, 1);
  } else {
    layout->addStretch(1);
    layout->addWidget(control);
  }
  rows_->addWidget(row);
  return row;
}

QWidget* SettingsSection::addValue(std::string_view label, const char* objectName, QLabel** value) {
  QLabel* const text = makeWrappedLabel(nullptr, TextRole::value);
  text->setObjectName(objectName);
  text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse);
  *value = text;
  return addRow(label, text);
}

void SettingsSection::addWidget(QWidget* widget) {
  rows_->addWidget(widget);
}

QLabel* SettingsSection::addCaption(std::string_view text, const char* objectName) {
  QLabel* const caption = makeWrappedLabel(nullptr, TextRole::secondary, text);
  if (objectName != nullptr) {
    caption->setObjectName(objectName);
  }
  rows_->addWidget(caption);
  return caption;
}

void SettingsSection::addButtons(std::initializer_list<QPushButton*> buttons, Qt::Alignment alignment) {
  if (buttons.size() == 1) {
    rows_->addWidget(*buttons.begin(), 0, alignment);
    return;
  }
  auto* const row = new QWidget;
  auto* const layout = new SettingsFlowLayout(row, buttonGap);
  for (QPushButton* const button : buttons) {
    layout->addWidget(button);
  }
  QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
  policy.setHeightForWidth(true);
  row->setSizePolicy(policy);
  rows_->addWidget(row);
}

QWidget* SettingsSection::addLine() {
  QWidget* const line = makeLine(this);
  rows_->addWidget(line);
  return line;
}

}  // namespace halcyra
