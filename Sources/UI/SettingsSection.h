#pragma once

#include <QString>
#include <QWidget>
#include <initializer_list>
#include <string_view>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace halcyra {

/// One section of the settings: a heading and a card of rows, divided by hairlines.
class SettingsSection : public QWidget {
  Q_OBJECT

 public:
  explicit SettingsSection(std::string_view heading, QWidget* parent = nullptr);

  /// A label with a control at the right end. Returns the row.
  QWidget* addRow(std::string_view label, QWidget* control);
  /// A label with a text at the right end, which can be selected. `*value` receives the label of the text.
  QWidget* addValue(std::string_view label, const char* objectName, QLabel** value);
  void addWidget(QWidget* widget);
  /// Secondary text under what was added last. `objectName` may be null.
  QLabel* addCaption(std::string_view text, const char* objectName = nullptr);
  /// Buttons side by side, in as many lines as they need.
  void addButtons(std::initializer_list<QPushButton*> buttons, Qt::Alignment alignment = Qt::AlignLeft);
  QWidget* addLine();

 private:
  QVBoxLayout* rows_;
};

}  // namespace halcyra
