#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "UI/Widgets.h"

namespace halcyra {

namespace {

/// Pixels.
constexpr int questionWidth = 380;
constexpr int questionMargin = 20;
/// Characters; a name may be as long as its author liked.
constexpr qsizetype longestQuestion = 160;
constexpr qsizetype longestWord = 24;

/// The text with places to break in words that a line would not hold.
QString breakable(const QString& text) {
  QString result;
  qsizetype run = 0;
  for (const QChar character : text) {
    run = character.isSpace() ? 0 : run + 1;
    // Not within one character beyond the first plane.
    if (run > longestWord && !character.isLowSurrogate()) result += QChar(0x200B);
    result += character;
  }
  return result;
}

/// Loses the middle of what is too long: the end holds the question mark.
QString shortened(const QString& text) {
  if (text.size() <= longestQuestion) return text;
  const qsizetype part = longestQuestion / 2;
  return text.left(part) + QStringLiteral("…") + text.right(part);
}

}  // namespace

void ask(QWidget* parent, const Question& question, std::function<void()> confirmed) {
  auto* const dialog = new QDialog(parent);
  dialog->setObjectName(question.objectName);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setWindowTitle(QStringLiteral("Aerovane"));
  dialog->setAccessibleName(question.title);
  dialog->setFixedWidth(questionWidth);
  auto* const column = new QVBoxLayout(dialog);
  column->setContentsMargins(questionMargin, questionMargin, questionMargin, questionMargin - 4);
  column->setSpacing(8);
  QLabel* const title = makeWrappedLabel(dialog, TextRole::headline);
  title->setObjectName(QStringLiteral("questionTitle"));
  title->setText(breakable(shortened(question.title)));
  column->addWidget(title);
  if (!question.message.isEmpty()) {
    QLabel* const message = makeWrappedLabel(dialog, TextRole::secondary);
    message->setObjectName(QStringLiteral("questionMessage"));
    message->setText(question.message);
    column->addWidget(message);
  }
  column->addSpacing(8);
  auto* const row = new QHBoxLayout;
  row->setSpacing(8);
  row->addStretch(1);
  auto* const cancel = new QPushButton(QStringLiteral("Cancel"), dialog);
  cancel->setObjectName(QStringLiteral("cancelDelete"));
  auto* const agree = new QPushButton(question.button, dialog);
  agree->setObjectName(QStringLiteral("confirmDelete"));
  agree->setProperty("kind", QStringLiteral("destructiveFilled"));
  agree->setAutoDefault(false);
  row->addWidget(cancel);
  row->addWidget(agree);
  column->addLayout(row);
  cancel->setDefault(true);
  cancel->setFocus();
  QObject::connect(cancel, &QPushButton::clicked, dialog, &QDialog::reject);
  QObject::connect(agree, &QPushButton::clicked, parent, [dialog, confirmed = std::move(confirmed)] {
    dialog->accept();
    confirmed();
  });
  dialog->open();
}

void askToDelete(QWidget* parent, const QString& title, const QString& message, const QString& button,
                 std::function<void()> confirmed) {
  ask(parent, {QStringLiteral("deleteConfirmation"), title, message, button}, std::move(confirmed));
}

}  // namespace halcyra
