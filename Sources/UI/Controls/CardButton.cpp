#include "UI/Controls/CardButton.h"

#include <QLayout>

namespace halcyra {

CardButton::CardButton(QWidget* parent) : QPushButton(parent) {
  setProperty("kind", "card");
  setAutoDefault(false);
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Minimum);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

void CardButton::seal() {
  for (QWidget* part : findChildren<QWidget*>()) part->setAttribute(Qt::WA_TransparentForMouseEvents);
}

QSize CardButton::sizeHint() const {
  return layout() != nullptr ? layout()->totalSizeHint() : QPushButton::sizeHint();
}

QSize CardButton::minimumSizeHint() const {
  return layout() != nullptr ? layout()->totalMinimumSize() : QPushButton::minimumSizeHint();
}

int CardButton::heightForWidth(int width) const {
  return layout() != nullptr && layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width)
                                                              : sizeHint().height();
}

}  // namespace halcyra
