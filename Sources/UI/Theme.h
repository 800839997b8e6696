#pragma once

#include <QColor>
#include <QString>

namespace halcyra {

/// The colours of the interface, by role. Painted widgets read `current()` at every painting; the application's style
/// repaints everything when another theme is made current. Main thread only.
struct Theme {
  QColor window;
  QColor sidebar;
  QColor card;
  QColor panel;
  QColor field;
  QColor hair;
  QColor hairStrong;
  QColor control;
  QColor track;
  QColor text;
  QColor text2;
  QColor textDis;
  QColor err;
  QColor warn;
  QColor ok;
  QColor accent;
  QColor accentFill;
  QColor accentFillHover;
  QColor accentFillPress;
  QColor onAccent;
  QColor accentTint;
  QColor accentTintSoft;
  QColor btn;
  QColor btnLine;
  QColor btnHover;
  QColor btnPress;
  QColor rowHover;
  QColor knob;
  QColor okBg;
  QColor warnBg;
  QColor errFill;
  QColor data;
  QColor segOn;
  QColor segLine;
  QColor series0;
  QColor series1;
  QColor series2;
  QColor cool;
  QColor coolT;
  QColor normal;
  QColor normalT;
  QColor warm;
  QColor warmT;
  QColor hot;
  QColor hotT;
  QColor vhot;
  QColor vhotT;

  static const Theme& light();
  static const Theme& dark();
  static const Theme& current();
  static bool isDark();
  /// For the application's style, which also fills palette and stylesheet.
  static void makeCurrent(bool dark);

  /// `source` with each colour name between two @ replaced by that colour, in hexadecimal.
  QString resolve(QString source) const;
};

}  // namespace halcyra
