#include "UI/ZoneGaugeColors.h"

#include "UI/Theme.h"

namespace halcyra {

QColor zoneFill(ZoneColor color) {
  const Theme& theme = Theme::current();
  switch (color) {
    case ZoneColor::blue:
      return theme.cool;
    case ZoneColor::green:
      return theme.normal;
    case ZoneColor::yellow:
      return theme.warm;
    case ZoneColor::orange:
      return theme.hot;
    case ZoneColor::red:
      break;
  }
  return theme.vhot;
}

}  // namespace halcyra
