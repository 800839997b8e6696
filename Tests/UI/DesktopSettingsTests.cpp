#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/Qt/DesktopSettings.h"

namespace halcyra::test {

namespace {

const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// A session bus of its own, in a folder of its own.
class PrivateBus {
 public:
  PrivateBus() {
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                   QStringLiteral("--address=unix:dir=") + folder_.path()});
    if (!daemon_.waitForReadyRead()) throw std::runtime_error("dbus-daemon did not start");
    address_ = QString::fromUtf8(daemon_.readLine().trimmed());
  }
  ~PrivateBus() {
    daemon_.kill();
    daemon_.waitForFinished();
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  QDBusConnection connect(const QString& name) const { return QDBusConnection::connectToBus(address_, name); }

 private:
  QTemporaryDir folder_;
  QProcess daemon_;
  QString address_;
};

/// Only a failure takes as long.
constexpr int limitMilliseconds = 60'000;

class Portal : public QDBusVirtualObject {
 public:
  explicit Portal(QDBusConnection bus) : bus_(std::move(bus)) {
    bus_.registerVirtualObject(portalPath, this);
    if (!bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
      throw std::runtime_error("the bus refuses the portal's name");
    }
  }

  QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.member() != QLatin1String("Read")) return false;
    ++reads;
    const bool isScheme = message.arguments().value(1).toString() == QLatin1String("color-scheme");
    const QVariant value = isScheme ? QVariant(1U) : QVariant(false);
    // As portals do: a variant in a variant.
    const QDBusVariant wrapped(QVariant::fromValue(QDBusVariant(value)));
    return connection.send(message.createReply(QVariant::fromValue(wrapped)));
  }

  void change(const char* group, const char* key, const QVariant& value) {
    QDBusMessage signal = QDBusMessage::createSignal(portalPath, QStringLiteral("org.freedesktop.portal.Settings"),
                                                     QStringLiteral("SettingChanged"));
    signal << QString::fromLatin1(group) << QString::fromLatin1(key) << QVariant::fromValue(QDBusVariant(value));
    bus_.send(signal);
  }

  int reads = 0;

 private:
  QDBusConnection bus_;
};

}  // namespace

TEST(DesktopSettings, tellsWhatThePortalSaysAndItsChanges) {
  const PrivateBus bus;
  Portal portal(bus.connect(QStringLiteral("portal")));
  std::vector<std::optional<bool>> schemes;
  std::vector<bool> animations;
  const DesktopSettings settings(
      bus.connect(QStringLiteral("application")),
      {[&](std::optional<bool> dark) { schemes.push_back(dark); }, [&](bool wanted) { animations.push_back(wanted); }});
  const auto waitFor = [](const auto& done) { return QTest::qWaitFor(done, limitMilliseconds); };
  ASSERT_TRUE(waitFor([&] { return !schemes.empty() && !animations.empty(); }));
  EXPECT_EQ(schemes, (std::vector<std::optional<bool>>{true}));
  EXPECT_EQ(animations, std::vector<bool>{false});

  const char* const appearance = "org.freedesktop.appearance";
  portal.change(appearance, "color-scheme", 2U);
  portal.change(appearance, "color-scheme", 0U);
  portal.change(appearance, "accent-color", 1U);
  portal.change("org.gnome.desktop.interface", "color-scheme", QStringLiteral("prefer-dark"));
  portal.change("org.gnome.desktop.interface", "enable-animations", QStringLiteral("no"));
  portal.change("org.gnome.desktop.interface", "enable-animations", true);
  EXPECT_TRUE(waitFor([&] { return animations.size() == 2; }));
  EXPECT_EQ(schemes, (std::vector<std::optional<bool>>{true, false, std::nullopt}));
  EXPECT_EQ(animations, (std::vector<bool>{false, true}));
  EXPECT_EQ(portal.reads, 2);
  for (const char* name : {"portal", "application"}) QDBusConnection::disconnectFromBus(QLatin1String(name));
}

TEST(DesktopSettings, withoutABusNothingIsTold) {
  int told = 0;
  const DesktopSettings settings(QDBusConnection(QStringLiteral("nowhere")),
                                 {[&](std::optional<bool>) { ++told; }, [&](bool) { ++told; }});
  QCoreApplication::processEvents();
  EXPECT_EQ(told, 0);
}

}  // namespace halcyra::test
