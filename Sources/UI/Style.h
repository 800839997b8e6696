#pragma once

#include <optional>

class QApplication;

namespace halcyra {

/// Which of the two themes to show.
enum class Appearance { system, light, dark };

/// Fonts, palette and stylesheet of the application. `system` follows the desktop, also while the application runs.
/// Once, before the first window.
void applyStyle(QApplication& application, Appearance appearance);

/// What the user prefers on the whole desktop, which counts more than the colours of its palette; nothing without a
/// preference. Only where the application follows the desktop.
void setDesktopColorScheme(std::optional<bool> dark);

/// Shows the light or the dark theme from now on.
void showTheme(QApplication& application, bool dark);

}  // namespace halcyra
