#pragma once

#include <QListView>
#include <functional>

#include "UI/PresetListState.h"

namespace halcyra {

class PresetListDelegate;
class PresetListModel;

/// The dashboard's preset library. A click chooses a preset, as do Return and Space; F2 or a double click renames in
/// place, Delete asks first. Arrow keys only move the focus: walking past a preset must not start it.
class PresetList : public QListView {
  Q_OBJECT

 public:
  struct Actions {
    std::function<void(const UUID&)> choose;
    std::function<void(const UUID&)> duplicate;
    std::function<void(const UUID&, const std::string& name)> rename;
    std::function<void(const UUID&)> remove;
  };

  explicit PresetList(Actions actions, QWidget* parent = nullptr);
  ~PresetList() override;

  /// Touches only what has changed; a name that is being edited stays as it is.
  void apply(const PresetListState& state);
  bool isRenaming() const { return state() == EditingState; }
  /// Ends renaming without saving.
  void cancelRenaming();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  void startRenaming(const QModelIndex& index);
  void selectActive();
  void choose(const QModelIndex& index);
  QModelIndex indexOf(const UUID& id) const;

  Actions actions_;
  PresetListModel* model_;
  PresetListDelegate* delegate_;
  UUID activeID_;
  bool showedFocus_ = false;
};

}  // namespace halcyra
