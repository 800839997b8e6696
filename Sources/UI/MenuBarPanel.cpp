#include "UI/MenuBarPanel.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "UI/Compositor.h"
#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels that the panel leaves free of the screen's height.
constexpr int screenMargin = 24;

Qt::WindowFlags flagsOf(MenuBarPanel::Kind kind) {
  return kind == MenuBarPanel::Kind::popup ? Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint
                                           : Qt::WindowFlags(Qt::Window);
}

}  // namespace

MenuBarPanel::MenuBarPanel(ViewContext context, Kind kind, QWidget* parent)
    : QWidget(parent, flagsOf(kind)), kind_(kind), frame_(new QFrame(this)) {
  setObjectName(QStringLiteral("menuBarWindow"));
  setFocusPolicy(Qt::StrongFocus);
  setWindowTitle(QStringLiteral("Aerovane"));
  frame_->setObjectName(QStringLiteral("menuBarPanel"));
  if (kind_ == Kind::popup) setAttribute(Qt::WA_TranslucentBackground);
  setSquare(true);
  view_ = new MenuBarView(std::move(context), frame_);
  auto* inner = new QVBoxLayout(frame_);
  inner->setContentsMargins(0, 0, 0, 0);
  inner->addWidget(view_);
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->addWidget(frame_);
  connect(view_, &MenuBarView::heightChanged, this, &MenuBarPanel::fit);
  connect(view_, &MenuBarView::leaving, this, [this] {
    if (kind_ == Kind::popup) hide();
  });
  fit();
}

void MenuBarPanel::setSquare(bool square) {
  if (frame_->property("square").toBool() == square) return;
  frame_->setProperty("square", square);
  restyle(frame_);
}

void MenuBarPanel::fit() {
  const int room = screen()->availableGeometry().height() - screenMargin;
  const int whole = view_->wholeHeight() + 2;
  setFixedSize(MenuBarView::panelWidth + 2, std::min(whole, room));
}

void MenuBarPanel::openNear(const QRect& icon) {
  const QScreen* place = icon.isValid() ? QGuiApplication::screenAt(icon.center()) : nullptr;
  const QRect room = (place != nullptr ? place : QGuiApplication::primaryScreen())->availableGeometry();
  setSquare(kind_ == Kind::window || !showsTransparency());
  view_->refresh();
  fit();
  const QPoint anchor = icon.isValid() ? icon.center() : QPoint(room.right(), room.top());
  const bool isBelow = anchor.y() < room.center().y();
  const int x =
      std::clamp(anchor.x() - width() / 2, room.left() + 8, std::max(room.left() + 8, room.right() - width() - 8));
  const int y =
      isBelow ? std::max(room.top() + 4, icon.bottom() + 4) : std::min(room.bottom(), icon.top()) - height() - 4;
  move(x, std::clamp(y, room.top(), std::max(room.top(), room.bottom() - height())));
  show();
  raise();
  activateWindow();
  // Nothing is marked before the keyboard is used.
  setFocus();
}

void MenuBarPanel::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    hide();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace halcyra
