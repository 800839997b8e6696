#pragma once

#include <QColor>

namespace halcyra {

/// A colour of the theme, asked at every painting, so that it follows the theme.
using ColorOf = QColor (*)();

/// The colour of the fan `index` wherever fans are told apart: in charts, on curves and on the fans' cards. The third
/// one is that of all further fans.
ColorOf fanColor(int index);

}  // namespace halcyra
