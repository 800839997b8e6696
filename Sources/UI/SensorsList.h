#pragma once

#include <QAbstractListModel>
#include <QStyledItemDelegate>
#include <vector>

#include "UI/SensorsState.h"

namespace halcyra {

/// The groups and rows of the sensor list as one flat list; changed values touch their rows alone, so that the
/// selection and the scroll position stay.
class SensorsListModel : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role {
    /// The temperature's text; empty for the header of a group.
    valueRole = Qt::UserRole + 1,
    /// The `ZoneColor` as an integer, invalid when there is none.
    zoneRole,
    isHeaderRole,
    /// The channel's key.
    keyRole,
    /// What is known of the channel, and its extremes of the session; may be empty.
    labelRole,
    extremesRole,
  };

  using QAbstractListModel::QAbstractListModel;

  void setGroups(const std::vector<SensorsState::Group>& groups);
  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  struct Item {
    QString text;
    QString value;
    std::optional<ZoneColor> color;
    bool isHeader = false;
    QString key;
    QString label;
    QString extremes;

    bool operator==(const Item&) const = default;
    bool isSameRow(const Item& other) const {
      return key == other.key && text == other.text && isHeader == other.isHeader;
    }
  };

  static std::vector<Item> flatten(const std::vector<SensorsState::Group>& groups);
  /// Puts the rows into another order; selection and current row go with them. False where they are not the same rows.
  bool reorder(std::vector<Item>& items);
  QString accessibleText(const Item& item) const;

  std::vector<Item> items_;
};

class SensorsListDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  void paintHeader(QPainter& painter, const QRect& rect, const QModelIndex& index) const;
  void paintNames(QPainter& painter, const QRect& rect, const QModelIndex& index) const;
  void paintReading(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
};

}  // namespace halcyra
