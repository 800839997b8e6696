#pragma once

#include <QColor>

#include "UI/TemperatureGaugeState.h"

namespace halcyra {

/// The present theme's colour for the bars, dots and swatches of a zone; never for text.
QColor zoneFill(ZoneColor color);

}  // namespace halcyra
