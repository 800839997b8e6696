#pragma once

#include <QAbstractButton>

namespace halcyra {

/// A command in line with the rows of the sidebar, with an icon in the accent colour.
class SidebarButton : public QAbstractButton {
  Q_OBJECT

 public:
  SidebarButton(const QString& text, QString iconName, QWidget* parent = nullptr);

  QSize sizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QString iconName_;
  bool showsFocus_ = false;
};

}  // namespace halcyra
