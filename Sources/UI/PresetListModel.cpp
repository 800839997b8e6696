#include "UI/PresetListModel.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "UI/Widgets.h"

namespace halcyra {

namespace {

std::string helpOf(const PresetListRow& row) {
  std::string help = row.help;
  if (row.hasDraft) help += " — edited, not saved";
  if (!row.obstacle.empty()) help += " — " + row.obstacle;
  return help;
}

}  // namespace

PresetListModel::PresetListModel(Rename rename, QObject* parent)
    : QAbstractListModel(parent), rename_(std::move(rename)) {}

void PresetListModel::setRows(const std::vector<PresetListRow>& rows) {
  const auto isSamePreset = [](const PresetListRow& left, const PresetListRow& right) { return left.id == right.id; };
  // Between the rows that both lists begin and end with lies all that has come or gone.
  const auto firsts = std::mismatch(rows_.begin(), rows_.end(), rows.begin(), rows.end(), isSamePreset);
  const auto lasts = std::mismatch(rows_.rbegin(), std::make_reverse_iterator(firsts.first), rows.rbegin(),
                                   std::make_reverse_iterator(firsts.second), isSamePreset);
  const auto first = static_cast<std::size_t>(firsts.first - rows_.begin());
  const auto removed = static_cast<std::size_t>(lasts.first.base() - firsts.first);
  replaceRows(first, removed, {firsts.second, lasts.second.base()});
  for (std::size_t each = 0; each < rows_.size(); ++each) {
    if (rows_[each] == rows[each]) continue;
    rows_[each] = rows[each];
    const QModelIndex changed = index(static_cast<int>(each));
    emit dataChanged(changed, changed);
  }
}

void PresetListModel::replaceRows(std::size_t first, std::size_t removed, std::vector<PresetListRow> added) {
  const auto at = rows_.begin() + static_cast<std::ptrdiff_t>(first);
  if (removed > 0) {
    beginRemoveRows({}, static_cast<int>(first), static_cast<int>(first + removed) - 1);
    rows_.erase(at, at + static_cast<std::ptrdiff_t>(removed));
    endRemoveRows();
  }
  if (!added.empty()) {
    beginInsertRows({}, static_cast<int>(first), static_cast<int>(first + added.size()) - 1);
    rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(first), added.begin(), added.end());
    endInsertRows();
  }
}

const PresetListRow* PresetListModel::row(const QModelIndex& index) const {
  const auto position = static_cast<std::size_t>(index.row());
  return index.isValid() && position < rows_.size() ? &rows_[position] : nullptr;
}

int PresetListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant PresetListModel::data(const QModelIndex& index, int role) const {
  const PresetListRow* const each = row(index);
  if (each == nullptr) return {};
  switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::AccessibleTextRole:
      return textOf(each->name);
    case Qt::ToolTipRole:
    case Qt::AccessibleDescriptionRole:
      return toolTipOf(helpOf(*each));
    default:
      return {};
  }
}

bool PresetListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  const PresetListRow* const each = row(index);
  if (each == nullptr || role != Qt::EditRole) return false;
  // The row follows the library at its next refresh.
  const UUID id = each->id;
  rename_(id, value.toString().toStdString());
  return true;
}

Qt::ItemFlags PresetListModel::flags(const QModelIndex& index) const {
  const PresetListRow* const each = row(index);
  if (each == nullptr) return Qt::NoItemFlags;
  const Qt::ItemFlags usual = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
  return each->canEdit ? usual | Qt::ItemIsEditable : usual;
}

}  // namespace halcyra
