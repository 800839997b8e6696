#include "UI/Style.h"

#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QPalette>
#include <QPointer>
#include <QStyle>
#include <QStyleFactory>
#include <QToolTip>
#include <QWidget>

#include "UI/Fonts.h"
#include "UI/Theme.h"

static void initializeResources() {
  Q_INIT_RESOURCE(aerovane);
}

namespace halcyra {

namespace {

QPalette paletteOf(const Theme& theme) {
  QPalette palette;
  palette.setColor(QPalette::Window, theme.window);
  palette.setColor(QPalette::Base, theme.field);
  palette.setColor(QPalette::AlternateBase, theme.card);
  palette.setColor(QPalette::Button, theme.btn);
  palette.setColor(QPalette::PlaceholderText, theme.text2);
  palette.setColor(QPalette::Highlight, theme.accentTint);
  palette.setColor(QPalette::HighlightedText, theme.text);
  palette.setColor(QPalette::Link, theme.accent);
  palette.setColor(QPalette::ToolTipBase, QColor("#222627"));
  palette.setColor(QPalette::ToolTipText, QColor("#E8EBEA"));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(role, theme.text);
    palette.setColor(QPalette::Disabled, role, theme.textDis);
  }
  return palette;
}

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() < 128;
}

QString stylesheet() {
  QFile file(QStringLiteral(":/aerovane/aerovane.qss"));
  if (!file.open(QIODevice::ReadOnly)) qFatal("the stylesheet is missing from the program");
  QString text = QString::fromUtf8(file.readAll());
  return text.replace(QStringLiteral("@res@"),
                      Theme::isDark() ? QStringLiteral(":/aerovane/dark") : QStringLiteral(":/aerovane/light"));
}

/// Follows the desktop's change between light and dark. Only a change of the platform's own theme counts; the palette
/// that this application sets for itself says nothing about the desktop.
class SystemAppearance : public QObject {
 public:
  SystemAppearance(QApplication& application, bool paletteIsDark)
      : QObject(&application), application_(application), paletteIsDark_(paletteIsDark) {
    application.installEventFilter(this);
    current = this;
  }
  ~SystemAppearance() override { current = nullptr; }
  SystemAppearance(const SystemAppearance&) = delete;
  SystemAppearance& operator=(const SystemAppearance&) = delete;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::ThemeChange && watched == &application_) {
      // Without a palette of its own, the application has that of the platform.
      const QPalette own = QApplication::palette();
      QApplication::setPalette(QPalette());
      paletteIsDark_ = isDark(QApplication::palette());
      QApplication::setPalette(own);
      show();
    }
    return QObject::eventFilter(watched, event);
  }

  void setPreference(std::optional<bool> dark) {
    preference_ = dark;
    show();
  }

  static inline SystemAppearance* current = nullptr;

 private:
  void show() {
    const bool dark = preference_.value_or(paletteIsDark_);
    if (dark != Theme::isDark()) showTheme(application_, dark);
  }

  QApplication& application_;
  bool paletteIsDark_;
  std::optional<bool> preference_;
};

}  // namespace

void showTheme(QApplication& application, bool dark) {
  Theme::makeCurrent(dark);
  QApplication::setPalette(paletteOf(Theme::current()));
  QToolTip::setPalette(paletteOf(Theme::current()));
  application.setStyleSheet(Theme::current().resolve(stylesheet()));
  for (QWidget* widget : QApplication::allWidgets()) widget->update();
}

void applyStyle(QApplication& application, Appearance appearance) {
  initializeResources();
  // Read before this application's own palette takes the place of the platform's.
  const bool systemIsDark = isDark(QApplication::palette());
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  QApplication::setFont(textFont(TextStyle::body));
  showTheme(application, appearance == Appearance::dark || (appearance == Appearance::system && systemIsDark));
  if (appearance == Appearance::system) new SystemAppearance(application, systemIsDark);
}

void setDesktopColorScheme(std::optional<bool> dark) {
  if (SystemAppearance::current != nullptr) SystemAppearance::current->setPreference(dark);
}

}  // namespace halcyra
