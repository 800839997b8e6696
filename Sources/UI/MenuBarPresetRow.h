#pragma once

#include <QPointer>
#include <QToolButton>
#include <QWidget>

#include "UI/Controls/RowButton.h"
#include "UI/MenuBarState.h"

namespace halcyra {

class Popover;

/// Opens and closes the explanation of one preset. Enabled also where the preset is not.
class PresetInfoButton : public QToolButton {
  Q_OBJECT

 public:
  explicit PresetInfoButton(QWidget* parent = nullptr);
  void setPreset(const FanPreset& preset);

 private:
  void togglePopover();

  FanPreset preset_;
  QPointer<Popover> popover_;
};

/// The button of one preset: a mark, the name, a fill while it is active or under the pointer.
class PresetButton : public RowButton {
  Q_OBJECT

 public:
  using RowButton::RowButton;
  /// Not the button's text, in which "&" would make a shortcut.
  void setName(const QString& name);
  const QString& name() const { return name_; }
  void setActive(bool active);
  QSize sizeHint() const override { return {200, 28}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString name_;
  bool isActive_ = false;
};

/// One preset of the panel: its button, with the help button on it, and its context menu.
class MenuBarPresetRow : public QWidget {
  Q_OBJECT

 public:
  explicit MenuBarPresetRow(QWidget* parent = nullptr);
  void setRow(const MenuBarState::PresetRow& row);
  /// What the Tab key stops at, in order.
  std::vector<QWidget*> stops() const { return {button_, info_}; }

 signals:
  /// To the row so many further down.
  void focusMoved(int by);
  void activated(const FanPreset& preset);
  void duplicateRequested(const FanPreset& preset);
  void deletionRequested(const FanPreset& preset);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  MenuBarState::PresetRow row_;
  PresetButton* button_;
  PresetInfoButton* info_;
};

}  // namespace halcyra
