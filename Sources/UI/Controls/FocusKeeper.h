#pragma once

class QWidget;

namespace halcyra {

// Qt moves the focus of a widget that is disabled or hidden on to whatever comes next, where the next key press would
// do something that nobody meant. These leave it with the window, and give it back to the widget when it can be used
// again, unless the user has gone elsewhere meanwhile.

void setEnabledKeepingFocus(QWidget* widget, bool enabled);
void setVisibleKeepingFocus(QWidget* widget, bool visible);

}  // namespace halcyra
