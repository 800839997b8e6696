#pragma once

#include <QPixmap>
#include <QVariantAnimation>
#include <QWidget>
#include <functional>

namespace halcyra {

/// Shows how one content of a widget gives way to another: the old fades, the new one comes in with it and grows from
/// the top. Paints pictures of both; what is beneath is already the new content. Ends by itself.
class FadeTransition : public QWidget {
  Q_OBJECT

 public:
  /// Covers `stage` from `top` on down. `change` puts the new content in the place of the old, also where nothing is
  /// to be seen moving.
  static void run(QWidget& stage, int top, const std::function<void()>& change);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  FadeTransition(QWidget& stage, int top, QPixmap before);
  void start();

  QPixmap before_;
  QPixmap after_;
  QVariantAnimation progress_;
};

}  // namespace halcyra
