#pragma once

class QWidget;

namespace halcyra {

/// Whether the user wants things to move: neither the style nor the desktop has turned animations off.
bool isMotionWanted(const QWidget& widget);

/// What the desktop says; true until it says something.
void setDesktopWantsMotion(bool wanted);

}  // namespace halcyra
