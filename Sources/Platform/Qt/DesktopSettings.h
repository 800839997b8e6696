#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>

namespace halcyra {

/// What the user has chosen for the whole desktop, as its portal tells, and the changes of it. Where there is no
/// session bus or no portal, nothing is ever told. Main thread only.
class DesktopSettings : public QObject {
  Q_OBJECT

 public:
  struct Observer {
    /// Nothing when the user has no preference.
    std::function<void(std::optional<bool> dark)> colorScheme;
    std::function<void(bool wanted)> animations;
  };

  /// Asks at once; the answers come through the event loop.
  DesktopSettings(const QDBusConnection& bus, Observer observer, QObject* parent = nullptr);

 private slots:
  void settingChanged(const QDBusMessage& message);

 private:
  void ask(const QString& group, const QString& key);
  void tell(const QString& group, const QString& key, const QVariant& value);

  QDBusConnection bus_;
  Observer observer_;
};

}  // namespace halcyra
