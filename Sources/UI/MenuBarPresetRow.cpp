#include "UI/MenuBarPresetRow.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QResizeEvent>
#include <QVBoxLayout>

#include "UI/Controls/ActionMenu.h"
#include "UI/Controls/FocusKeeper.h"
#include "UI/Controls/Popover.h"
#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

constexpr int presetRowHeight = 28;
constexpr int popoverWidth = 250;
constexpr int infoSize = 26;

QWidget* makePopoverContent(const FanPreset& preset) {
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(4);
  QLabel* const name = makeWrappedLabel(content, TextRole::headline, preset.name);
  QLabel* const description = makeWrappedLabel(content, TextRole::secondary, longDescription(preset));
  description->setObjectName(QStringLiteral("presetDescription"));
  for (QLabel* const label : {name, description}) {
    label->setFixedWidth(popoverWidth - 30);
    layout->addWidget(label);
  }
  return content;
}

}  // namespace

PresetInfoButton::PresetInfoButton(QWidget* parent) : QToolButton(parent) {
  setObjectName(QStringLiteral("presetInfo"));
  setToolTip(QString::fromUtf8(MenuBarText::presetHelp));
  setFocusPolicy(Qt::TabFocus);
  setThemedIcon(this, "help-circle");
  connect(this, &QToolButton::clicked, this, &PresetInfoButton::togglePopover);
}

void PresetInfoButton::setPreset(const FanPreset& preset) {
  preset_ = preset;
  // Ten buttons of one name would tell nobody what they explain.
  setAccessibleName(QStringLiteral("%1 — %2").arg(QString::fromUtf8(MenuBarText::presetHelp), textOf(preset.name)));
}

void PresetInfoButton::togglePopover() {
  if (popover_) {
    popover_->close();
    return;
  }
  popover_ = new Popover(makePopoverContent(preset_), this);
  popover_->openAt(*this);
}

void PresetButton::setName(const QString& name) {
  name_ = name;
  setAccessibleName(name);
  update();
}

void PresetButton::setActive(bool active) {
  if (isActive_ == active) return;
  isActive_ = active;
  setAccessibleDescription(active ? QStringLiteral("Active") : QString());
  update();
}

void PresetButton::paintEvent(QPaintEvent*) {
  const Theme& theme = Theme::current();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  if (isActive_) {
    painter.setBrush(isEnabled() ? theme.accentTint : theme.btn);
    painter.drawRoundedRect(rect(), 6, 6);
  } else if (isEnabled() && (underMouse() || isDown())) {
    painter.setBrush(theme.accentTintSoft);
    painter.drawRoundedRect(rect(), 6, 6);
  }
  drawFocus(painter);
  const QColor mark = !isEnabled() ? theme.textDis : isActive_ ? theme.accent : theme.control;
  const QString picture = isActive_ ? QStringLiteral("check-circle-fill") : QStringLiteral("circle");
  painter.drawPixmap(8, (height() - 16) / 2, iconPixmap(picture, mark, 16, devicePixelRatioF()));
  painter.setPen(isEnabled() ? theme.text : theme.textDis);
  painter.setFont(textFont(isActive_ ? TextStyle::headline : TextStyle::body));
  const QRect place = rect().adjusted(33, 0, -infoSize - 10, 0);
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter,
                   painter.fontMetrics().elidedText(name_, Qt::ElideRight, place.width()));
}

MenuBarPresetRow::MenuBarPresetRow(QWidget* parent)
    : QWidget(parent), button_(new PresetButton(this)), info_(new PresetInfoButton(this)) {
  setFixedHeight(presetRowHeight);
  button_->setObjectName(QStringLiteral("presetButton"));
  button_->installEventFilter(this);
  info_->installEventFilter(this);
  connect(button_, &QAbstractButton::clicked, this, [this] { emit activated(row_.preset); });
}

void MenuBarPresetRow::setRow(const MenuBarState::PresetRow& row) {
  if (row_ == row && !button_->name().isEmpty()) return;
  row_ = row;
  button_->setName(QString::fromStdString(row.preset.name));
  button_->setToolTip(toolTipOf(row.helpText));
  button_->setActive(row.isActive);
  setEnabledKeepingFocus(button_, row.isEnabled);
  info_->setPreset(row.preset);
}

bool MenuBarPresetRow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    // Arrows go from preset to preset; Qt would stop at each help button on the way.
    if (key == Qt::Key_Down || key == Qt::Key_Up) {
      emit focusMoved(key == Qt::Key_Down ? 1 : -1);
      return true;
    }
  }
  return QWidget::eventFilter(watched, event);
}

void MenuBarPresetRow::resizeEvent(QResizeEvent*) {
  button_->setGeometry(rect());
  info_->setGeometry(width() - infoSize - 4, (height() - infoSize) / 2, infoSize, infoSize);
  info_->raise();
}

void MenuBarPresetRow::contextMenuEvent(QContextMenuEvent* event) {
  auto* menu = new ActionMenu(this);
  menu->setObjectName(QStringLiteral("presetMenu"));
  const QAction* duplicate = menu->addAction(QString::fromUtf8(MenuBarText::duplicatePreset));
  connect(duplicate, &QAction::triggered, this, [this] { emit duplicateRequested(row_.preset); });
  if (row_.canDelete) {
    const QAction* remove = menu->addDestructive(QString::fromUtf8(MenuBarText::deletePreset));
    connect(remove, &QAction::triggered, this, [this] { emit deletionRequested(row_.preset); });
  }
  menu->popup(event->globalPos());
}

}  // namespace halcyra
