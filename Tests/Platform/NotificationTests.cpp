// Notifications as they reach a notification service, over a bus of the test's own.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "App/AppModel.h"
#include "Platform/Linux/LinuxDesktop.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/PlatformTestSupport.h"
#include "Support/InProcessMachServices.h"
#include "Support/ManualClock.h"
#include "Support/ScriptedIOKit.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualScheduler.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

struct AppModelAccess {
  static void checkOverheat(AppModel& model, double temperature) { model.checkOverheat(temperature); }
};

namespace test {
namespace {

constexpr const char* notificationService = "org.freedesktop.Notifications";
constexpr const char* offText = "Notifications are off for Aerovane; enable them in System Settings → Notifications.";

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

/// The application's model on a real queue, with real notifications and everything else scripted.
class NotificationTests : public testing::Test {
 protected:
  NotificationTests() {
    main_.sync([this] { model_ = AppModel::make(platform_, {.refreshHelperRegistration = true}); });
  }
  ~NotificationTests() override {
    main_.sync([this] { model_.reset(); });
  }

  void onMain(const std::function<void(AppModel&)>& work) {
    main_.sync([&] { work(*model_); });
  }
  std::string error() {
    std::string text;
    onMain([&](AppModel& model) { text = model.lastError().value_or(""); });
    return text;
  }
  /// Waits until everything that was asked of the bus has been answered, and the answers are handled.
  void settle() {
    Inbox<bool> answered;
    notifications_.requestAuthorization([&](bool granted, const std::optional<Error>&) { answered.put(granted); });
    answered.next();
    main_.sync([] {});
  }

  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  VirtualScheduler scheduler_;
  ScriptedIOKit iokit_;
  InProcessMachServices services_{scheduler_};
  std::shared_ptr<VirtualProcess> process_ = scheduler_.makeProcess("unused");
  TestPlatform doubles_{process_, iokit_, services_.client(process_, {0, 1})};
  ManualClock clock_;
  ThreadQueue main_{"main", QualityOfService::standard};
  LinuxDispatch dispatch_{main_};
  CapturedLog log_;
  BusThread sessionBus_{busOpener(bus_.address())};
  DBusUserNotifications notifications_{sessionBus_};
  Platform platform_{clock_,
                     dispatch_,
                     log_,
                     iokit_,
                     doubles_.platform.machServices,
                     doubles_.serviceManagement,
                     doubles_.userDefaults,
                     doubles_.system,
                     doubles_.activities,
                     doubles_.power,
                     notifications_,
                     doubles_.workspace,
                     doubles_.files};
  std::shared_ptr<AppModel> model_;
};

TEST_F(NotificationTests, SteadyHeatIsNotifiedOncePerFiveMinutes) {
  NotificationService desktop(bus_.address(), NotificationService::Manner::shows);
  onMain([](AppModel& model) { model.setOverheatAlertsEnabled(true); });
  settle();
  std::vector<double> times;
  // Eleven minutes of polls at 91.26 °C.
  for (int poll = 0; poll < 330; ++poll) {
    onMain([](AppModel& model) { AppModelAccess::checkOverheat(model, 91.26); });
    if (poll % 150 == 0) {
      const auto shown = desktop.shown.next();
      times.push_back(clock_.elapsed().count());
      EXPECT_EQ(shown.application, "Aerovane");
      EXPECT_EQ(shown.title, "High CPU Temperature");
      EXPECT_EQ(shown.body, "CPU/GPU thermal signal reached 91.3 °C (threshold 85 °C).");
      EXPECT_TRUE(shown.hasSound);
    }
    main_.sync([this] { clock_.sleep(Seconds{2.0}); });
  }
  settle();
  EXPECT_EQ(times, (std::vector<double>{0, 300, 600}));
  EXPECT_EQ(desktop.shown.size(), 0U) << "there were more notifications than one per five minutes";
  EXPECT_EQ(error(), "");
}

TEST_F(NotificationTests, TheTestNotificationArrives) {
  NotificationService desktop(bus_.address(), NotificationService::Manner::shows);
  onMain([](AppModel& model) { model.sendTestNotification(); });
  const auto shown = desktop.shown.next();
  EXPECT_EQ(shown.title, "Aerovane");
  EXPECT_EQ(shown.body, "Test notification — overheat alerts use this channel.");
  EXPECT_TRUE(log_.awaitText("notification queued: Aerovane"));
  EXPECT_EQ(error(), "");
}

TEST_F(NotificationTests, WithoutAServiceTheUserIsToldWhere) {
  onMain([](AppModel& model) { model.sendTestNotification(); });
  EXPECT_TRUE(log_.awaitText("notification authorization denied"));
  settle();
  EXPECT_EQ(error(), offText);
  EXPECT_FALSE(log_.contains("notification queued"));
}

TEST_F(NotificationTests, SwitchingAlertsOnAsksAtOnce) {
  onMain([](AppModel& model) { model.setOverheatAlertsEnabled(true); });
  settle();
  EXPECT_EQ(error(), offText);
  onMain([](AppModel& model) { EXPECT_TRUE(model.overheatAlertsEnabled()); });
}

TEST_F(NotificationTests, AServiceThatFailsToAnswerIsAnError) {
  NotificationService desktop(bus_.address(), NotificationService::Manner::brokenAuthorization);
  onMain([](AppModel& model) { model.sendTestNotification(); });
  EXPECT_TRUE(log_.awaitText("notification authorization error: The service is out of order."));
  settle();
  EXPECT_EQ(error(), "Notification error: The service is out of order.");
  EXPECT_EQ(desktop.shown.size(), 0U);
}

TEST_F(NotificationTests, AFailedDeliveryIsOnlyLogged) {
  NotificationService desktop(bus_.address(), NotificationService::Manner::refusesToShow);
  onMain([](AppModel& model) { model.sendTestNotification(); });
  EXPECT_TRUE(log_.awaitText("notification delivery failed: There are too many notifications."));
  settle();
  EXPECT_EQ(error(), "");
}

TEST_F(NotificationTests, ABusThatIsNotThereIsNoService) {
  BusThread nowhere(busOpener("unix:path=" + (folder_ / "none").string()));
  DBusUserNotifications notifications(nowhere);
  Inbox<std::pair<bool, bool>> answers;
  notifications.requestAuthorization([&](bool granted, const std::optional<Error>& error) {
    answers.put({granted, error.has_value()});
  });
  EXPECT_EQ(answers.next(), std::pair(false, false));
}

}  // namespace
}  // namespace test
}  // namespace halcyra
