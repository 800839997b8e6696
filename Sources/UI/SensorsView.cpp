#include "UI/SensorsView.h"

#include <QAction>
#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <utility>

#include "App/AppModel.h"
#include "UI/Controls/OverlayScrollBar.h"
#include "UI/Controls/Picker.h"
#include "UI/Icons.h"
#include "UI/ModelObserver.h"
#include "UI/SensorsList.h"
#include "UI/SensorsState.h"
#include "UI/Theme.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr QSize minimumContent{340, 420};
constexpr int iconSize = 16;
constexpr int noteIconSize = 28;

/// Key, name and value, as a spreadsheet takes them.
QString readingLine(const QModelIndex& row) {
  QStringList parts{row.data().toString(), row.data(SensorsListModel::valueRole).toString()};
  const QString label = row.data(SensorsListModel::labelRole).toString();
  if (!label.isEmpty()) parts.insert(1, label);
  return parts.join(QLatin1Char('\t'));
}

}  // namespace

SensorsView::SensorsView(ViewContext context, QWidget* parent) : QWidget(parent), context_(std::move(context)) {
  setObjectName("page");
  setAccessibleName(QStringLiteral("Temperature Sensors"));
  setMinimumSize(minimumContent);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(makeSearchRow());
  layout->addWidget(makeLine(this));

  makeList();
  noDataNote_ = makeNote("No Sensor Data", nullptr);
  noDataNote_->setObjectName("noSensorData");
  noMatchNote_ = makeNote("No Results", &noMatchText_);
  noMatchNote_->setObjectName("noSensorMatches");
  pages_ = new QStackedWidget(this);
  for (QWidget* page : {static_cast<QWidget*>(list_), noDataNote_, noMatchNote_}) pages_->addWidget(page);
  layout->addWidget(pages_, 1);

  new ModelObserver(*context_.model, this, [this] {
    if (isVisible()) refresh();
  });
  refresh();
}

QWidget* SensorsView::makeSearchRow() {
  auto* row = new QWidget(this);
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(12, 10, 12, 10);
  layout->setSpacing(8);
  search_ = new QLineEdit(row);
  search_->setObjectName("sensorSearch");
  search_->setAccessibleName(QStringLiteral("Search"));
  search_->setClearButtonEnabled(true);
  searchIcon_ = search_->addAction(QIcon(), QLineEdit::LeadingPosition);
  tintIcons();
  search_->installEventFilter(this);
  connect(search_, &QLineEdit::textChanged, this, &SensorsView::refresh);
  layout->addWidget(search_, 1);
  order_ = new Picker(row);
  order_->setObjectName("sensorOrder");
  order_->setAccessibleName(QStringLiteral("Order"));
  order_->addOption(QStringLiteral("By key"), static_cast<int>(SensorsOrder::key), false);
  order_->addOption(QStringLiteral("Hottest first"), static_cast<int>(SensorsOrder::hottestFirst), false);
  order_->addOption(QStringLiteral("By name"), static_cast<int>(SensorsOrder::name), false);
  connect(order_, &QComboBox::currentIndexChanged, this, &SensorsView::refresh);
  layout->addWidget(order_);
  auto* find = new QShortcut(QKeySequence::Find, this);
  connect(find, &QShortcut::activated, search_, [this] {
    search_->setFocus(Qt::ShortcutFocusReason);
    search_->selectAll();
  });
  return row;
}

void SensorsView::makeList() {
  rows_ = new SensorsListModel(this);
  list_ = new QListView(this);
  list_->setObjectName("sensorList");
  list_->setAccessibleName(QStringLiteral("Temperature sensors"));
  list_->setFrameShape(QFrame::NoFrame);
  list_->setMouseTracking(true);
  list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  list_->setItemDelegate(new SensorsListDelegate(list_));
  list_->setModel(rows_);
  list_->installEventFilter(this);
  list_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(list_, &QListView::customContextMenuRequested, this, &SensorsView::openMenu);
  connect(list_, &QListView::doubleClicked, this, &SensorsView::showCurrentInChart);
  new OverlayScrollBar(*list_);
}

QWidget* SensorsView::makeNote(std::string_view title, QLabel** text) {
  auto* note = new QWidget(this);
  auto* layout = new QVBoxLayout(note);
  layout->setSpacing(6);
  QLabel* const explanation = makeWrappedLabel(note, TextRole::secondary);
  explanation->setAlignment(Qt::AlignCenter);
  layout->addStretch();
  layout->addWidget(
      new IconLabel(text == nullptr ? QStringLiteral("thermometer") : QStringLiteral("search"), note, noteIconSize), 0,
      Qt::AlignHCenter);
  layout->addWidget(makeLabel(note, TextRole::headline, title), 0, Qt::AlignHCenter);
  layout->addWidget(explanation);
  layout->addStretch();
  if (text == nullptr) {
    explanation->setText(QStringLiteral("Temperature channels appear after the first successful poll."));
  } else {
    *text = explanation;
  }
  return note;
}

void SensorsView::refresh() {
  const ModelView view = context_.model->view();
  const SensorsState state = makeSensorsState({.readings = *view.sensorReadings,
                                               .searchText = search_->text().toStdString(),
                                               .order = static_cast<SensorsOrder>(order_->currentData().toInt()),
                                               .extremes = extremes_.update(view)});
  const QString selected = currentReading().data(SensorsListModel::keyRole).toString();
  rows_->setGroups(state.groups);
  if (!selected.isEmpty() && !list_->currentIndex().isValid()) selectReading(selected);
  if (!state.hasReadings) {
    pages_->setCurrentWidget(noDataNote_);
  } else if (state.groups.empty()) {
    noMatchText_->setText(QStringLiteral("No channel contains “%1”.").arg(search_->text()));
    pages_->setCurrentWidget(noMatchNote_);
  } else {
    pages_->setCurrentWidget(list_);
  }
}

void SensorsView::tintIcons() {
  searchIcon_->setIcon(icon(QStringLiteral("search"), Theme::current().text2, iconSize));
}

void SensorsView::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) tintIcons();
  QWidget::changeEvent(event);
}

void SensorsView::showEvent(QShowEvent* event) {
  refresh();
  search_->setFocus();
  QWidget::showEvent(event);
}

bool SensorsView::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
  auto* key = static_cast<QKeyEvent*>(event);
  if (watched == search_ && key->key() == Qt::Key_Escape && !search_->text().isEmpty()) {
    search_->clear();
    return true;
  }
  if (watched == search_ && key->key() == Qt::Key_Down && pages_->currentWidget() == list_) {
    list_->setFocus(Qt::TabFocusReason);
    return true;
  }
  if (watched == list_ && key->matches(QKeySequence::Copy)) {
    copyCurrentReading();
    return true;
  }
  if (watched == list_ && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)) {
    showCurrentInChart();
    return true;
  }
  return QWidget::eventFilter(watched, event);
}

QModelIndex SensorsView::currentReading() const {
  const QModelIndex current = list_->currentIndex();
  return current.data(SensorsListModel::isHeaderRole).toBool() ? QModelIndex() : current;
}

void SensorsView::selectReading(const QString& key) {
  const QModelIndexList found =
      rows_->match(rows_->index(0), SensorsListModel::keyRole, key, 1, Qt::MatchExactly | Qt::MatchCaseSensitive);
  if (!found.isEmpty()) list_->setCurrentIndex(found.front());
}

void SensorsView::copyCurrentReading() const {
  const QModelIndex current = currentReading();
  if (current.isValid()) QGuiApplication::clipboard()->setText(readingLine(current));
}

void SensorsView::copyAllReadings() const {
  QStringList lines;
  for (int row = 0; row < rows_->rowCount(); ++row) {
    const QModelIndex index = rows_->index(row);
    if (!index.data(SensorsListModel::isHeaderRole).toBool()) lines << readingLine(index);
  }
  QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}

void SensorsView::showCurrentInChart() {
  const QModelIndex current = currentReading();
  if (!current.isValid()) return;
  // The window with the chart first: it is to scroll there.
  const std::string key = current.data(SensorsListModel::keyRole).toString().toStdString();
  if (context_.openDashboard) context_.openDashboard();
  context_.historySelection->show(key);
}

void SensorsView::openMenu(const QPoint& place) {
  const QModelIndex at = list_->indexAt(place);
  if (at.isValid() && !at.data(SensorsListModel::isHeaderRole).toBool()) list_->setCurrentIndex(at);
  if (!currentReading().isValid()) return;
  auto* const menu = new QMenu(list_);
  menu->setObjectName("sensorMenu");
  menu->setAttribute(Qt::WA_DeleteOnClose);
  connect(menu->addAction(QStringLiteral("Show in Chart")), &QAction::triggered, this,
          &SensorsView::showCurrentInChart);
  menu->addSeparator();
  connect(menu->addAction(QStringLiteral("Copy")), &QAction::triggered, this, &SensorsView::copyCurrentReading);
  connect(menu->addAction(QStringLiteral("Copy All")), &QAction::triggered, this, &SensorsView::copyAllReadings);
  menu->popup(list_->viewport()->mapToGlobal(place));
}

}  // namespace halcyra
