#include "UI/SensorsList.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "UI/Fonts.h"
#include "UI/Theme.h"
#include "UI/ZoneGaugeColors.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int readingHeight = 25;
constexpr int headerHeight = 28;
constexpr int spaceAboveHeader = 11;
constexpr int sensorMargin = 16;
constexpr int dotDistance = 90;
constexpr double sensorDotDiameter = 7;
constexpr int dotClearance = 12;
/// Of the column with the extremes.
constexpr int extremesWidth = 58;
constexpr int keyGap = 8;

}  // namespace

std::vector<SensorsListModel::Item> SensorsListModel::flatten(const std::vector<SensorsState::Group>& groups) {
  std::vector<Item> items;
  for (const SensorsState::Group& group : groups) {
    items.push_back({QString::fromStdString(group.title), {}, std::nullopt, true, {}, {}, {}});
    for (const SensorsState::Row& row : group.rows) {
      items.push_back({QString::fromStdString(row.name), QString::fromStdString(row.value), row.color, false,
                       QString::fromStdString(row.key), QString::fromStdString(row.label),
                       QString::fromStdString(row.extremes)});
    }
  }
  return items;
}

void SensorsListModel::setGroups(const std::vector<SensorsState::Group>& groups) {
  std::vector<Item> items = flatten(groups);
  const bool sameRows = std::ranges::equal(items, items_, [](const Item& a, const Item& b) { return a.isSameRow(b); });
  if (!sameRows && reorder(items)) return;
  if (!sameRows) {
    beginResetModel();
    items_ = std::move(items);
    endResetModel();
    return;
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i] == items_[i]) continue;
    items_[i] = std::move(items[i]);
    const QModelIndex changed = index(static_cast<int>(i));
    emit dataChanged(changed, changed, {valueRole, zoneRole, extremesRole, Qt::AccessibleTextRole});
  }
}

bool SensorsListModel::reorder(std::vector<Item>& items) {
  if (items.size() != items_.size()) return false;
  std::vector<std::pair<QString, int>> places;
  for (std::size_t row = 0; row < items.size(); ++row) {
    places.emplace_back(items[row].key + items[row].text, static_cast<int>(row));
  }
  std::ranges::sort(places);
  QModelIndexList from;
  QModelIndexList to;
  for (std::size_t row = 0; row < items_.size(); ++row) {
    const QString id = items_[row].key + items_[row].text;
    const auto found = std::ranges::lower_bound(places, id, {}, &std::pair<QString, int>::first);
    if (found == places.end() || found->first != id) return false;
    from << index(static_cast<int>(row));
    to << index(found->second);
  }
  emit layoutAboutToBeChanged();
  items_ = std::move(items);
  changePersistentIndexList(from, to);
  emit layoutChanged();
  return true;
}

int SensorsListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(items_.size());
}

QVariant SensorsListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const Item& item = items_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
      return item.text;
    case Qt::AccessibleTextRole:
      return accessibleText(item);
    case valueRole:
      return item.value;
    case zoneRole:
      return item.color ? QVariant(static_cast<int>(*item.color)) : QVariant();
    case isHeaderRole:
      return item.isHeader;
    case keyRole:
      return item.key;
    case labelRole:
      return item.label;
    case extremesRole:
      return item.extremes;
    default:
      return {};
  }
}

QString SensorsListModel::accessibleText(const Item& item) const {
  if (item.isHeader) return item.text;
  QStringList parts{item.text, item.value};
  if (!item.label.isEmpty()) parts.prepend(item.label);
  if (!item.extremes.isEmpty()) parts << QStringLiteral("this session ") + item.extremes;
  return parts.join(QStringLiteral(", "));
}

Qt::ItemFlags SensorsListModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  const Qt::ItemFlags readable = Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
  return index.data(isHeaderRole).toBool() ? readable : readable | Qt::ItemIsSelectable;
}

QSize SensorsListDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
  if (!index.data(SensorsListModel::isHeaderRole).toBool()) return {0, readingHeight};
  return {0, index.row() == 0 ? headerHeight : headerHeight + spaceAboveHeader};
}

void SensorsListDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  painter->save();
  if (index.data(SensorsListModel::isHeaderRole).toBool()) {
    paintHeader(*painter, option.rect, index);
  } else {
    paintReading(*painter, option, index);
  }
  painter->restore();
}

void SensorsListDelegate::paintHeader(QPainter& painter, const QRect& rect, const QModelIndex& index) const {
  const Theme& theme = Theme::current();
  if (index.row() > 0) painter.fillRect(rect.left(), rect.top() + spaceAboveHeader, rect.width(), 1, theme.hair);
  QFont font = textFont(TextStyle::caption);
  font.setWeight(QFont::DemiBold);
  painter.setFont(font);
  painter.setPen(theme.text2);
  const QRect text(rect.left() + sensorMargin, rect.bottom() + 1 - headerHeight, rect.width() - 2 * sensorMargin,
                   headerHeight);
  painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, index.data().toString());
}

void SensorsListDelegate::paintNames(QPainter& painter, const QRect& rect, const QModelIndex& index) const {
  const Theme& theme = Theme::current();
  const QString label = index.data(SensorsListModel::labelRole).toString();
  const QString name = index.data().toString();
  const QString extremes = index.data(SensorsListModel::extremesRole).toString();
  QRect place = rect.adjusted(sensorMargin, 0, -dotDistance - dotClearance, 0);
  if (!extremes.isEmpty()) {
    painter.setFont(textFont(TextStyle::caption));
    painter.setPen(theme.text2);
    drawFigures(painter, place, Qt::AlignRight | Qt::AlignVCenter, extremes);
    place.setRight(place.right() - extremesWidth);
  }
  painter.setFont(textFont(TextStyle::body));
  painter.setPen(theme.text);
  const QFontMetrics body = painter.fontMetrics();
  if (label.isEmpty()) {
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, body.elidedText(name, Qt::ElideRight, place.width()));
    return;
  }
  const QFontMetrics caption(textFont(TextStyle::caption));
  const int keyWidth = caption.horizontalAdvance(name) + keyGap;
  const QString shown = body.elidedText(label, Qt::ElideRight, std::max(0, place.width() - keyWidth));
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, shown);
  place.setLeft(place.left() + body.horizontalAdvance(shown) + keyGap);
  painter.setFont(textFont(TextStyle::caption));
  painter.setPen(theme.text2);
  painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, name);
}

void SensorsListDelegate::paintReading(QPainter& painter, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const {
  const Theme& theme = Theme::current();
  const QRect& rect = option.rect;
  const bool isSelected = option.state.testFlag(QStyle::State_Selected);
  if (isSelected) {
    painter.fillRect(rect, theme.accentTint);
  } else if (option.state.testFlag(QStyle::State_MouseOver)) {
    painter.fillRect(rect, theme.btn);
  }
  if (isSelected && option.state.testFlag(QStyle::State_KeyboardFocusChange)) {
    painter.setPen(QPen(theme.accent, 2));
    painter.drawRect(QRectF(rect).adjusted(1, 1, -1, -1));
  }

  paintNames(painter, rect, index);
  const QVariant zone = index.data(SensorsListModel::zoneRole);
  if (zone.isValid()) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(zoneFill(static_cast<ZoneColor>(zone.toInt())));
    painter.drawEllipse(QPointF(rect.right() + 1 - dotDistance, rect.top() + rect.height() / 2.0),
                        sensorDotDiameter / 2, sensorDotDiameter / 2);
  }
  QFont valueFont = textFont(TextStyle::body);
  valueFont.setWeight(QFont::Medium);
  painter.setFont(valueFont);
  painter.setPen(theme.text);
  drawFigures(painter, rect.adjusted(0, 0, -sensorMargin, 0), Qt::AlignRight | Qt::AlignVCenter,
              index.data(SensorsListModel::valueRole).toString());
}

}  // namespace halcyra
