#include "UI/Motion.h"

#include <QStyle>
#include <QWidget>

namespace halcyra {

namespace {

bool desktopWantsMotion = true;

}  // namespace

bool isMotionWanted(const QWidget& widget) {
  return desktopWantsMotion && widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &widget) > 0;
}

void setDesktopWantsMotion(bool wanted) {
  desktopWantsMotion = wanted;
}

}  // namespace halcyra
