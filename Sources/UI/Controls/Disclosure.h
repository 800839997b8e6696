#pragma once

#include <QToolButton>
#include <QWidget>

namespace halcyra {

/// A title that opens and closes the content under it.
class Disclosure : public QWidget {
  Q_OBJECT

 public:
  Disclosure(const QString& title, QWidget* content, QWidget* parent = nullptr);

  bool isOpen() const { return button_->isChecked(); }
  void setOpen(bool open) { button_->setChecked(open); }

 signals:
  void toggled(bool open);

 private:
  void show(bool open);

  QToolButton* button_;
  QWidget* content_;
};

}  // namespace halcyra
