#pragma once

class QApplication;

namespace halcyra {

/// Which of the two themes to show.
enum class Appearance { system, light, dark };

/// Fonts, palette and stylesheet of the application. `system` follows the desktop, also while the application runs.
/// Once, before the first window.
void applyStyle(QApplication& application, Appearance appearance);

/// Shows the light or the dark theme from now on.
void showTheme(QApplication& application, bool dark);

}  // namespace halcyra
