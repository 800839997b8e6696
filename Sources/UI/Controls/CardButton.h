#pragma once

#include <QPushButton>

namespace halcyra {

/// A button as large as the layout on it. What stands on it takes no clicks of its own: see `seal`.
class CardButton : public QPushButton {
  Q_OBJECT

 public:
  explicit CardButton(QWidget* parent = nullptr);

  /// After everything has been put on the card.
  void seal();

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;
};

}  // namespace halcyra
