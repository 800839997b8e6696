#include "UI/SensorsView.h"

#include <QAction>
#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <utility>

#include "App/AppModel.h"
#include "UI/Controls/OverlayScrollBar.h"
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

}  // namespace

SensorsView::SensorsView(std::shared_ptr<AppModel> model, QWidget* parent) : QWidget(parent), model_(std::move(model)) {
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

  new ModelObserver(*model_, this, [this] {
    if (isVisible()) refresh();
  });
  refresh();
}

QWidget* SensorsView::makeSearchRow() {
  auto* row = new QWidget(this);
  auto* layout = new QVBoxLayout(row);
  layout->setContentsMargins(12, 10, 12, 10);
  search_ = new QLineEdit(row);
  search_->setObjectName("sensorSearch");
  search_->setAccessibleName(QStringLiteral("Search"));
  search_->setClearButtonEnabled(true);
  searchIcon_ = search_->addAction(QIcon(), QLineEdit::LeadingPosition);
  tintIcons();
  search_->installEventFilter(this);
  connect(search_, &QLineEdit::textChanged, this, &SensorsView::refresh);
  layout->addWidget(search_);
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
  const SensorsState state = makeSensorsState(model_->view(), search_->text().toStdString());
  rows_->setGroups(state.groups);
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
  return QWidget::eventFilter(watched, event);
}

void SensorsView::copyCurrentReading() const {
  const QModelIndex current = list_->currentIndex();
  if (!current.isValid() || current.data(SensorsListModel::isHeaderRole).toBool()) return;
  QGuiApplication::clipboard()->setText(current.data().toString() + '\t' +
                                        current.data(SensorsListModel::valueRole).toString());
}

}  // namespace halcyra
