#include "UI/PresetList.h"

#include <QContextMenuEvent>
#include <QFocusEvent>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMenu>
#include <utility>

#include "UI/Controls/ActionMenu.h"
#include "UI/Controls/FocusRing.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/PresetListDelegate.h"
#include "UI/PresetListModel.h"
#include "UI/Widgets.h"

namespace halcyra {

PresetList::PresetList(Actions actions, QWidget* parent)
    : QListView(parent),
      actions_(std::move(actions)),
      model_(new PresetListModel(actions_.rename, this)),
      delegate_(new PresetListDelegate(*model_, this)) {
  // The stylesheet knows the list by this name.
  setObjectName(QStringLiteral("presets"));
  setAccessibleName(textOf(PresetListText::section));
  setModel(model_);
  setItemDelegate(delegate_);
  // The selection shows the active preset; it follows the model alone.
  setSelectionMode(NoSelection);
  setEditTriggers(NoEditTriggers);
  setMouseTracking(true);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setFrameShape(NoFrame);
  setVerticalScrollMode(ScrollPerPixel);
  new OverlayScrollBar(*this);
  connect(this, &QListView::clicked, this, [this](const QModelIndex& index) {
    const PresetListRow* const row = model_->row(index);
    if (row != nullptr && row->id != activeID_) choose(index);
  });
}

PresetList::~PresetList() = default;

void PresetList::apply(const PresetListState& state) {
  model_->setRows(state.rows);
  const bool isChanged = state.activeID != activeID_;
  activeID_ = state.activeID;
  selectActive();
  if (!isRenaming() && (isChanged || !currentIndex().isValid())) {
    selectionModel()->setCurrentIndex(indexOf(activeID_), QItemSelectionModel::NoUpdate);
  }
}

void PresetList::selectActive() {
  const QModelIndex active = indexOf(activeID_);
  const QModelIndexList selected = selectionModel()->selectedIndexes();
  if (selected.size() == (active.isValid() ? 1 : 0) && (selected.isEmpty() || selected.first() == active)) return;
  selectionModel()->select(active, QItemSelectionModel::ClearAndSelect);
}

QModelIndex PresetList::indexOf(const UUID& id) const {
  for (int each = 0; each < model_->rowCount(); ++each) {
    const QModelIndex index = model_->index(each);
    if (model_->row(index)->id == id) return index;
  }
  return {};
}

void PresetList::choose(const QModelIndex& index) {
  if (const PresetListRow* const row = model_->row(index)) actions_.choose(UUID(row->id));
}

void PresetList::startRenaming(const QModelIndex& index) {
  const PresetListRow* const row = model_->row(index);
  if (row == nullptr || !row->canEdit || isRenaming()) return;
  scrollTo(index);
  edit(index);
}

void PresetList::cancelRenaming() {
  if (auto* const field = viewport()->findChild<QWidget*>(QStringLiteral("renameField"))) {
    closeEditor(field, QAbstractItemDelegate::RevertModelCache);
  }
}

void PresetList::keyPressEvent(QKeyEvent* event) {
  showedFocus_ = true;
  delegate_->setShowsFocus(true);
  const PresetListRow* const row = model_->row(currentIndex());
  switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
      choose(currentIndex());
      return;
    case Qt::Key_F2:
      startRenaming(currentIndex());
      return;
    case Qt::Key_Delete:
      if (row != nullptr && row->canEdit) actions_.remove(UUID(row->id));
      return;
    default:
      break;
  }
  QListView::keyPressEvent(event);
  viewport()->update();
}

void PresetList::mouseDoubleClickEvent(QMouseEvent* event) {
  QListView::mouseDoubleClickEvent(event);
  if (event->button() == Qt::LeftButton) startRenaming(indexAt(event->pos()));
}

void PresetList::contextMenuEvent(QContextMenuEvent* event) {
  const bool isFromKeyboard = event->reason() == QContextMenuEvent::Keyboard;
  const QModelIndex index = isFromKeyboard ? currentIndex() : indexAt(event->pos());
  const PresetListRow* const row = model_->row(index);
  if (row == nullptr || (!row->canDuplicate && !row->canEdit)) return;
  auto* const menu = new ActionMenu(this);
  menu->setObjectName(QStringLiteral("presetMenu"));
  const UUID id = row->id;
  if (row->canDuplicate) {
    connect(menu->addAction(textOf(PresetListText::duplicate)), &QAction::triggered, this,
            [this, id] { actions_.duplicate(id); });
  }
  if (row->canEdit) {
    menu->addSeparator();
    // Queued: the menu gives the focus back when it closes, which would end the renaming at once.
    connect(
        menu->addAction(textOf(PresetListText::rename)), &QAction::triggered, this,
        [this, id] { startRenaming(indexOf(id)); }, Qt::QueuedConnection);
    connect(menu->addDestructive(textOf(PresetListText::remove)), &QAction::triggered, this,
            [this, id] { actions_.remove(id); });
  }
  menu->popup(isFromKeyboard ? viewport()->mapToGlobal(visualRect(index).center()) : event->globalPos());
}

void PresetList::focusInEvent(QFocusEvent* event) {
  showedFocus_ = showsFocus(*event, showedFocus_);
  delegate_->setShowsFocus(showedFocus_);
  QListView::focusInEvent(event);
}

void PresetList::focusOutEvent(QFocusEvent* event) {
  delegate_->setShowsFocus(false);
  QListView::focusOutEvent(event);
}

}  // namespace halcyra
