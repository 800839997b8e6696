#include "UI/Charts/FanColors.h"

#include <algorithm>
#include <array>

#include "UI/Theme.h"

namespace halcyra {

ColorOf fanColor(int index) {
  static constexpr std::array<ColorOf, 3> colors{[] { return Theme::current().series0; },
                                                 [] { return Theme::current().series1; },
                                                 [] { return Theme::current().series2; }};
  return colors[static_cast<std::size_t>(std::clamp(index, 0, 2))];
}

}  // namespace halcyra
