#pragma once

#include <QFocusEvent>
#include <QPainter>
#include <QRect>

namespace halcyra {

/// Corners of rows and buttons, pixels.
inline constexpr double focusRadius = 6;

/// Whether a painted widget that gets the focus shows it: when it has come by the keyboard. When only the window was
/// left for a while, as before.
bool showsFocus(const QFocusEvent& event, bool before);
/// The mark of the focus, within `rect`.
void drawFocusRing(QPainter& painter, const QRect& rect);

}  // namespace halcyra
