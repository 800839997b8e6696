#include "UI/Controls/Disclosure.h"

#include <QFocusEvent>
#include <QFontMetrics>
#include <QPainter>
#include <QVBoxLayout>

#include "UI/Controls/FocusRing.h"
#include "UI/Fonts.h"
#include "UI/Icons.h"
#include "UI/Theme.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int arrowSize = 16;
/// Of the picture's own empty margin.
constexpr int iconInset = 4;
constexpr int sectionHeight = 28;
constexpr int detailHeight = 26;
constexpr int sectionIndent = 20;
constexpr int detailIndent = 16;

}  // namespace

DisclosureButton::DisclosureButton(const QString& title, Kind kind, QWidget* parent)
    : QToolButton(parent), kind_(kind) {
  setText(title);
  setAccessibleName(title);
  setCheckable(true);
  setFocusPolicy(Qt::StrongFocus);
  setAttribute(Qt::WA_Hover);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  connect(this, &QToolButton::toggled, this, &DisclosureButton::showState);
  showState();
}

void DisclosureButton::showState() {
  setAccessibleDescription(isChecked() ? QStringLiteral("Expanded") : QStringLiteral("Collapsed"));
  update();
}

QFont DisclosureButton::titleFont() const {
  QFont font = textFont(kind_ == Kind::section ? TextStyle::body : TextStyle::caption);
  if (kind_ == Kind::section) font.setWeight(QFont::Medium);
  return font;
}

int DisclosureButton::textLeft() const {
  return outset + (kind_ == Kind::section ? sectionIndent : detailIndent);
}

QSize DisclosureButton::sizeHint() const {
  return {textLeft() + QFontMetrics(titleFont()).horizontalAdvance(text()) + outset + 2,
          kind_ == Kind::section ? sectionHeight : detailHeight};
}

void DisclosureButton::focusInEvent(QFocusEvent* event) {
  showsFocus_ = showsFocus(*event, showsFocus_);
  QToolButton::focusInEvent(event);
}

void DisclosureButton::paintEvent(QPaintEvent*) {
  const Theme& theme = Theme::current();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  if (underMouse() && isEnabled()) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(isDown() ? theme.btnPress : theme.btnHover);
    painter.drawRoundedRect(rect(), focusRadius, focusRadius);
  }
  if (hasFocus() && showsFocus_) drawFocusRing(painter, rect());
  painter.drawPixmap(outset - iconInset, (height() - arrowSize) / 2,
                     iconPixmap(isChecked() ? QStringLiteral("chevron-down") : QStringLiteral("chevron-right"),
                                theme.text2, arrowSize, devicePixelRatioF()));
  painter.setFont(titleFont());
  painter.setPen(kind_ == Kind::section ? theme.text : theme.text2);
  painter.drawText(rect().adjusted(textLeft(), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, text());
}

Disclosure::Disclosure(const QString& title, QWidget* content, QWidget* parent)
    : QWidget(parent), button_(new DisclosureButton(title, DisclosureButton::Kind::detail, this)), content_(content) {
  button_->setObjectName(QStringLiteral("disclosureButton"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(2);
  layout->addWidget(button_, 0, Qt::AlignLeft);
  layout->addWidget(content_);
  content_->setVisible(false);
  connect(button_, &QToolButton::toggled, content_, &QWidget::setVisible);
  connect(button_, &QToolButton::toggled, this, &Disclosure::toggled);
}

}  // namespace halcyra
