#pragma once

#include <QModelIndex>
#include <QWidget>
#include <string_view>

#include "UI/SensorsState.h"
#include "UI/ViewContext.h"

class QAction;
class QLabel;
class QLineEdit;
class QListView;
class QStackedWidget;

namespace halcyra {

class Picker;
class SensorsListModel;

/// The searchable list of every temperature channel; the content of the sensors window, 340 × 420 at least. Follows
/// the model for as long as it is visible. Return, or the menu of a row, lays a channel over the session's charts.
class SensorsView : public QWidget {
  Q_OBJECT

 public:
  explicit SensorsView(ViewContext context, QWidget* parent = nullptr);

  void refresh();

 protected:
  void showEvent(QShowEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QWidget* makeSearchRow();
  void makeList();
  void tintIcons();
  QWidget* makeNote(std::string_view title, QLabel** text);
  void copyCurrentReading() const;
  void copyAllReadings() const;
  void showCurrentInChart();
  void openMenu(const QPoint& place);
  /// The selected channel's row; invalid without one.
  QModelIndex currentReading() const;
  void selectReading(const QString& key);

  ViewContext context_;
  SensorExtremesFollower extremes_;
  SensorsListModel* rows_ = nullptr;
  QLineEdit* search_ = nullptr;
  QAction* searchIcon_ = nullptr;
  Picker* order_ = nullptr;
  QStackedWidget* pages_ = nullptr;
  QListView* list_ = nullptr;
  QWidget* noDataNote_ = nullptr;
  QWidget* noMatchNote_ = nullptr;
  QLabel* noMatchText_ = nullptr;
};

}  // namespace halcyra
