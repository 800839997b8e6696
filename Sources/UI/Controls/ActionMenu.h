#pragma once

#include <QMenu>

namespace halcyra {

/// A context menu that shows what destroys something in the colour of errors. Ends when it closes.
class ActionMenu : public QMenu {
  Q_OBJECT

 public:
  explicit ActionMenu(QWidget* parent = nullptr);

  QAction* addDestructive(const QString& text);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace halcyra
