#pragma once

#include <QComboBox>

namespace halcyra {

/// One choice out of several, whose list looks like a menu: a tick before what is chosen, and lines between groups.
class Picker : public QComboBox {
  Q_OBJECT

 public:
  explicit Picker(QWidget* parent = nullptr);

  /// `itemValue` is what `itemData` gives back. With `startsGroup` a line parts it from the option above.
  void addOption(const QString& name, const QVariant& itemValue, bool startsGroup);

  void hidePopup() override;

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  bool hasJustClosed_ = false;
};

}  // namespace halcyra
