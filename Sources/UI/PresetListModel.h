#pragma once

#include <QAbstractListModel>
#include <functional>
#include <vector>

#include "UI/PresetListState.h"

namespace halcyra {

/// The rows of the preset library. A row keeps its identity while others come and go.
class PresetListModel : public QAbstractListModel {
  Q_OBJECT

 public:
  using Rename = std::function<void(const UUID&, const std::string& name)>;

  PresetListModel(Rename rename, QObject* parent);

  void setRows(const std::vector<PresetListRow>& rows);
  const PresetListRow* row(const QModelIndex& index) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  void replaceRows(std::size_t first, std::size_t removed, std::vector<PresetListRow> added);

  Rename rename_;
  std::vector<PresetListRow> rows_;
};

}  // namespace halcyra
