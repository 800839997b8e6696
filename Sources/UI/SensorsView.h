#pragma once

#include <QWidget>
#include <memory>
#include <string_view>

class QAction;
class QLabel;
class QLineEdit;
class QListView;
class QStackedWidget;

namespace halcyra {

class AppModel;
class SensorsListModel;

/// The searchable list of every temperature channel; the content of the sensors window, 340 × 420 at least. Follows
/// the model for as long as it is visible.
class SensorsView : public QWidget {
  Q_OBJECT

 public:
  explicit SensorsView(std::shared_ptr<AppModel> model, QWidget* parent = nullptr);

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

  std::shared_ptr<AppModel> model_;
  SensorsListModel* rows_ = nullptr;
  QLineEdit* search_ = nullptr;
  QAction* searchIcon_ = nullptr;
  QStackedWidget* pages_ = nullptr;
  QListView* list_ = nullptr;
  QWidget* noDataNote_ = nullptr;
  QWidget* noMatchNote_ = nullptr;
  QLabel* noMatchText_ = nullptr;
};

}  // namespace halcyra
