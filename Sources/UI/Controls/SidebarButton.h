#pragma once

#include "UI/Controls/RowButton.h"

namespace halcyra {

/// A command in line with the rows of the sidebar, with an icon in the accent colour.
class SidebarButton : public RowButton {
  Q_OBJECT

 public:
  SidebarButton(const QString& text, QString iconName, QWidget* parent = nullptr);

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString iconName_;
};

}  // namespace halcyra
