#pragma once

#include <QLabel>
#include <QString>
#include <functional>
#include <string_view>

namespace halcyra {

/// What a text is in a window; the stylesheet gives it its looks.
enum class TextRole {
  body,
  strong,
  secondary,
  caption2,
  captionStrong,
  captionBold,
  sectionHeader,
  headline,
  title,
  value,
  link,
  error,
  conflict,
  critical
};

QString textOf(std::string_view text);
/// For a tool tip that may hold a name that the user has given: never read as markup, and wrapped where it is long.
QString toolTipOf(std::string_view text);

/// Plain text; names of users are never read as markup.
QLabel* makeLabel(QWidget* parent, const char* objectName, TextRole role, std::string_view text = {});
QLabel* makeLabel(QWidget* parent, TextRole role, std::string_view text = {});
/// The same, which wraps.
QLabel* makeWrappedLabel(QWidget* parent, TextRole role, std::string_view text = {});
/// Setting a label's text lays out anew even where it is the same text; this does not.
void setLabelText(QLabel* label, std::string_view text);
/// Has the stylesheet look at the widget's properties again, which it does only when told to.
void restyle(QWidget* widget);
/// Shows a label that was made with the property "capsule" in the colours of what is in order, or of what is not.
void setCapsule(QLabel* label, bool isGood);
/// Wraps, and never asks for more width than there is.
void makeShrinkable(QLabel* label);
/// A hairline across.
QWidget* makeLine(QWidget* parent);

/// What is asked before something is done that cannot be undone.
struct Question {
  /// Of the dialog.
  QString objectName;
  QString title;
  /// What it means; may be empty.
  QString message;
  /// Of the button that agrees.
  QString button;
};

/// Asks in a dialog over the parent's window that leaves the rest of the program running. Cancel is the default and
/// what Escape chooses. `confirmed` is called when the user agrees, while `parent` lives.
void ask(QWidget* parent, const Question& question, std::function<void()> confirmed);
/// The same before something is deleted.
void askToDelete(QWidget* parent, const QString& title, const QString& message, const QString& button,
                 std::function<void()> confirmed);

}  // namespace halcyra
