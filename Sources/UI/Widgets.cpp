#include "UI/Widgets.h"

#include <QFrame>
#include <QStyle>
#include <utility>

namespace halcyra {

namespace {

/// Characters of a tool tip.
constexpr int longestLine = 60;

/// As the stylesheet calls it; null where it needs no rule.
const char* propertyOf(TextRole role) {
  switch (role) {
    case TextRole::body:
      return nullptr;
    case TextRole::strong:
      return "strong";
    case TextRole::secondary:
      return "secondary";
    case TextRole::caption2:
      return "caption2";
    case TextRole::captionStrong:
      return "captionStrong";
    case TextRole::captionBold:
      return "captionBold";
    case TextRole::sectionHeader:
      return "sectionHeader";
    case TextRole::headline:
      return "headline";
    case TextRole::title:
      return "title";
    case TextRole::value:
      return "value";
    case TextRole::link:
      return "link";
    case TextRole::error:
      return "error";
    case TextRole::conflict:
      return "conflict";
    case TextRole::critical:
      return "critical";
  }
  return nullptr;
}

}  // namespace

QString textOf(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString toolTipOf(std::string_view text) {
  QString plain = textOf(text);
  if (plain.size() <= longestLine && !Qt::mightBeRichText(plain)) return plain;
  // Only markup is wrapped.
  return QStringLiteral("<qt>%1</qt>").arg(plain.toHtmlEscaped());
}

QLabel* makeLabel(QWidget* parent, const char* objectName, TextRole role, std::string_view text) {
  auto* const label = new QLabel(parent);
  label->setTextFormat(Qt::PlainText);
  label->setObjectName(QString::fromLatin1(objectName));
  if (const char* const property = propertyOf(role)) label->setProperty("role", QString::fromLatin1(property));
  label->setText(textOf(text));
  return label;
}

QLabel* makeLabel(QWidget* parent, TextRole role, std::string_view text) {
  return makeLabel(parent, "", role, text);
}

QLabel* makeWrappedLabel(QWidget* parent, TextRole role, std::string_view text) {
  QLabel* const label = makeLabel(parent, role, text);
  label->setWordWrap(true);
  return label;
}

void setLabelText(QLabel* label, std::string_view text) {
  const QString wanted = textOf(text);
  if (label->text() != wanted) label->setText(wanted);
}

void restyle(QWidget* widget) {
  widget->style()->unpolish(widget);
  widget->style()->polish(widget);
}

void setCapsule(QLabel* label, bool isGood) {
  const QString kind = isGood ? QStringLiteral("ok") : QStringLiteral("warn");
  if (label->property("capsule").toString() == kind) return;
  label->setProperty("capsule", kind);
  restyle(label);
}

void makeShrinkable(QLabel* label) {
  label->setWordWrap(true);
  label->setMinimumWidth(1);
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  label->setSizePolicy(policy);
}

QWidget* makeLine(QWidget* parent) {
  auto* const line = new QFrame(parent);
  line->setProperty("line", true);
  line->setFixedHeight(1);
  return line;
}

}  // namespace halcyra
