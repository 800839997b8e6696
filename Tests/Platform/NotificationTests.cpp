// Notifications as they reach a notification service, over a bus of the test's own.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxDesktop.h"
#include "Platform/PlatformTestSupport.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra::test {
namespace {

constexpr const char* notificationService = "org.freedesktop.Notifications";

/// A notification service that keeps what it is asked to show.
class NotificationService {
 public:
  struct Shown {
    std::string application;
    std::string title;
    std::string body;
    bool hasSound = false;
  };
  enum class Manner { shows, brokenAuthorization, refusesToShow };

  NotificationService(const std::string& address, Manner manner) : manner_(manner), bus_(busOpener(address)) {
    Inbox<bool> ready;
    bus_.post([&] {
      sdbus::IConnection& connection = bus_.connection();
      bus_.onLoss(owner_, [this] { object_.reset(); });
      object_ = sdbus::createObject(connection, "/org/freedesktop/Notifications");
      object_->registerMethod(notificationService, "GetServerInformation", "", "ssss",
                              [this](sdbus::MethodCall call) { answerInformation(call); });
      object_->registerMethod(notificationService, "Notify", "susssasa{sv}i", "u",
                              [this](sdbus::MethodCall call) { show(call); });
      object_->finishRegistration();
      connection.requestName(notificationService);
      ready.put(true);
    });
    ready.next();
  }

  Inbox<Shown> shown;

 private:
  void answerInformation(const sdbus::MethodCall& call) const {
    if (manner_ == Manner::brokenAuthorization) {
      throw sdbus::Error("org.example.Broken", "The service is out of order.");
    }
    auto reply = call.createReply();
    reply << std::string("test") << std::string("test") << std::string("1") << std::string("1.2");
    reply.send();
  }

  void show(sdbus::MethodCall& call) {
    if (manner_ == Manner::refusesToShow) {
      throw sdbus::Error("org.example.Full", "There are too many notifications.");
    }
    Shown notification;
    std::uint32_t replaces = 0;
    std::string icon;
    std::vector<std::string> actions;
    std::map<std::string, sdbus::Variant> hints;
    std::int32_t timeout = 0;
    call >> notification.application >> replaces >> icon >> notification.title >> notification.body >> actions >>
        hints >> timeout;
    notification.hasSound = hints.contains("sound-name");
    auto reply = call.createReply();
    reply << std::uint32_t{1};
    reply.send();
    shown.put(notification);
  }

  const Manner manner_;
  std::shared_ptr<int> owner_ = std::make_shared<int>(0);
  std::unique_ptr<sdbus::IObject> object_;
  BusThread bus_;
};

class NotificationTests : public testing::Test {
 protected:
  using Manner = NotificationService::Manner;

  /// "granted" or "denied", or the error's text.
  static std::string authorizationOf(DBusUserNotifications& notifications) {
    Inbox<std::string> answers;
    notifications.requestAuthorization([&](bool granted, const std::optional<Error>& error) {
      answers.put(error ? error->localizedDescription() : granted ? "granted" : "denied");
    });
    return answers.next();
  }
  /// The error's text, or nothing.
  static std::string deliveryOf(DBusUserNotifications& notifications) {
    Inbox<std::string> answers;
    notifications.add({"id", "High CPU Temperature", "91.3 °C"}, [&](const std::optional<Error>& error) {
      answers.put(error ? error->localizedDescription() : "");
    });
    return answers.next();
  }

  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  BusThread sessionBus_{busOpener(bus_.address())};
  DBusUserNotifications notifications_{sessionBus_};
};

TEST_F(NotificationTests, ANotificationArrives) {
  NotificationService desktop(bus_.address(), Manner::shows);
  EXPECT_EQ(authorizationOf(notifications_), "granted");
  EXPECT_EQ(desktop.shown.size(), 0U);
  EXPECT_EQ(deliveryOf(notifications_), "");
  const auto shown = desktop.shown.next();
  EXPECT_EQ(shown.application, "Aerovane");
  EXPECT_EQ(shown.title, "High CPU Temperature");
  EXPECT_EQ(shown.body, "91.3 °C");
  EXPECT_TRUE(shown.hasSound);
  EXPECT_EQ(desktop.shown.size(), 0U);
}

TEST_F(NotificationTests, AServiceThatFailsIsAnErrorAndNoneIsARefusal) {
  {
    NotificationService broken(bus_.address(), Manner::brokenAuthorization);
    EXPECT_EQ(authorizationOf(notifications_), "The service is out of order.");
  }
  {
    NotificationService full(bus_.address(), Manner::refusesToShow);
    EXPECT_EQ(authorizationOf(notifications_), "granted");
    EXPECT_EQ(deliveryOf(notifications_), "There are too many notifications.");
  }
  EXPECT_EQ(authorizationOf(notifications_), "denied") << "a bus without such a service";
  EXPECT_NE(deliveryOf(notifications_), "");
  BusThread nowhere(busOpener("unix:path=" + (folder_ / "none").string()));
  DBusUserNotifications without(nowhere);
  EXPECT_EQ(authorizationOf(without), "denied");
  EXPECT_NE(deliveryOf(without), "");
}

}  // namespace
}  // namespace halcyra::test
