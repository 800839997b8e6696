#pragma once

#include <QToolButton>
#include <QWidget>

namespace halcyra {

/// The title row of something that can be folded away. Its mark stands in line with texts whose left edge is
/// `DisclosureButton::outset` pixels right of its own.
class DisclosureButton : public QToolButton {
  Q_OBJECT

 public:
  /// A section of the dashboard, or a detail in small print.
  enum class Kind { section, detail };
  /// Pixels; room for the mark of the focus.
  static constexpr int outset = 6;

  DisclosureButton(const QString& title, Kind kind, QWidget* parent = nullptr);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;

 private:
  QFont titleFont() const;
  int textLeft() const;
  void showState();

  Kind kind_;
  bool showsFocus_ = false;
};

/// A title that opens and closes the content under it.
class Disclosure : public QWidget {
  Q_OBJECT

 public:
  Disclosure(const QString& title, QWidget* content, QWidget* parent = nullptr);

 signals:
  void toggled(bool open);

 private:
  DisclosureButton* button_;
  QWidget* content_;
};

}  // namespace halcyra
