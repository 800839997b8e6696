#pragma once

class QWidget;

namespace halcyra {

/// Scrolls the pane that `widget` stands in until it is seen, its upper end first. Takes effect once what is to be laid
/// out is laid out. Without a pane nothing happens.
void scrollIntoView(QWidget& widget);

/// To be called before the content of the pane that `widget` stands in gets shorter: what is on the screen stays where
/// it is, over an empty rest if need be, until the user scrolls away from it or `widget` is hidden. For one widget of a
/// pane.
void keepScrollPosition(QWidget& widget);

}  // namespace halcyra
