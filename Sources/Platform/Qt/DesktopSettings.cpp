#include "Platform/Qt/DesktopSettings.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <utility>

namespace halcyra {

namespace {

const auto portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto interface = QStringLiteral("org.freedesktop.portal.Settings");
const auto appearance = QStringLiteral("org.freedesktop.appearance");
const auto colorSchemeKey = QStringLiteral("color-scheme");
const auto gnome = QStringLiteral("org.gnome.desktop.interface");
const auto animationsKey = QStringLiteral("enable-animations");

constexpr uint preferDark = 1;
constexpr uint preferLight = 2;

/// Portals wrap the value once or twice.
QVariant unwrapped(QVariant value) {
  while (value.userType() == qMetaTypeId<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

DesktopSettings::DesktopSettings(const QDBusConnection& bus, Observer observer, QObject* parent)
    : QObject(parent), bus_(bus), observer_(std::move(observer)) {
  if (!bus_.isConnected()) return;
  // The whole message: Qt 6.4 refuses a slot that takes the variant.
  const bool isFollowed = bus_.connect(portalService, portalPath, interface, QStringLiteral("SettingChanged"), this,
                                       SLOT(settingChanged(QDBusMessage)));
  if (!isFollowed) qWarning("changes of the desktop's settings are not followed");
  ask(appearance, colorSchemeKey);
  ask(gnome, animationsKey);
}

void DesktopSettings::ask(const QString& group, const QString& key) {
  QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, interface, QStringLiteral("Read"));
  call << group << key;
  auto* const watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, group, key] {
    watcher->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *watcher;
    // Refused where the desktop has no such setting.
    if (!reply.isError()) tell(group, key, QVariant::fromValue(reply.value()));
  });
}

void DesktopSettings::settingChanged(const QDBusMessage& message) {
  const QList<QVariant> arguments = message.arguments();
  tell(arguments.value(0).toString(), arguments.value(1).toString(), arguments.value(2));
}

void DesktopSettings::tell(const QString& group, const QString& key, const QVariant& value) {
  const QVariant plain = unwrapped(value);
  if (group == appearance && key == colorSchemeKey && plain.canConvert<uint>()) {
    const uint preference = plain.toUInt();
    if (preference == preferDark || preference == preferLight) {
      observer_.colorScheme(preference == preferDark);
    } else {
      observer_.colorScheme(std::nullopt);
    }
  }
  if (group == gnome && key == animationsKey && plain.userType() == QMetaType::Bool) {
    observer_.animations(plain.toBool());
  }
}

}  // namespace halcyra
