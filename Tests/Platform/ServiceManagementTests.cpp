#include <sys/stat.h>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxServiceManagement.h"
#include "Platform/PlatformTestSupport.h"

namespace halcyra::test {
namespace {

constexpr const char* plist = "com.norwick.Halcyra.helper.plist";
constexpr std::uint32_t ordinaryUser = 1000;

class ServiceManagementTests : public testing::Test {
 protected:
  ServiceManagementTests() {
    writeContent(helper_, "#!/bin/sh\n");
    chmod(helper_.c_str(), 0755);
  }

  /// Whoever asks nobody is an administrator.
  LinuxServiceManagement management(std::uint32_t userID, std::function<void()> askAdministrator = {}) {
    LinuxServiceManagementOptions options;
    options.layout = layout_;
    options.helperProgram = helper_;
    options.userID = userID;
    options.applicationProgram = R"(/opt/my apps/100%"$aerovane)";
    options.autostartEntry = folder_ / "autostart/aerovane.desktop";
    options.askAdministrator = std::move(askAdministrator);
    return {options, log_};
  }

  bool activationExists() const { return std::filesystem::exists(activation_); }

  TemporaryFolder folder_;
  CapturedLog log_;
  RuntimeLayout layout_ = RuntimeLayout::inFolder(folder_ / "machine dir");
  std::filesystem::path helper_ = folder_ / "bin/aerovane-helper";
  std::filesystem::path activation_ = layout_.servicesFolder / "com.norwick.Halcyra.helper.service";
};

TEST_F(ServiceManagementTests, RootRegistersWithoutApproval) {
  auto root = management(0);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::notRegistered);
  EXPECT_FALSE(mayStart(layout_, log_));
  root.registerDaemon(plist);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::enabled);
  EXPECT_EQ(root.daemonStatus("other.plist"), ServiceManagement::notRegistered);
  EXPECT_TRUE(mayStart(layout_, log_));
  EXPECT_EQ(registeredUser(layout_, log_), 0U);
  EXPECT_EQ(contentOf(activation_), "[D-BUS Service]\nName=com.norwick.Halcyra.helper\nExec=\"" + helper_.string() +
                                        "\" --runtime-dir \"" + layout_.folder->string() + "\"\n");
  for (const auto& path : {layout_.registration, activation_}) {
    EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms(0022), std::filesystem::perms::none);
  }
  root.unregisterDaemon(plist);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::notRegistered);
  EXPECT_FALSE(activationExists());
  EXPECT_FALSE(mayStart(layout_, log_));
  EXPECT_NO_THROW(root.unregisterDaemon(plist)) << "unregistering twice is no error";
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(ServiceManagementTests, AnOrdinaryUserNeedsApprovalOnce) {
  auto user = management(ordinaryUser);
  user.openSystemSettingsLoginItems();
  EXPECT_TRUE(log_.contains("--approve-helper"));
  EXPECT_TRUE(log_.contains(layout_.folder->string())) << "the log says how to approve where there is nothing to open";
  EXPECT_THROW(user.approve(plist), LocalizedError) << "there is nothing to approve";
  user.registerDaemon(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::requiresApproval);
  EXPECT_FALSE(activationExists()) << "the bus could start a helper that nobody approved";
  EXPECT_FALSE(mayStart(layout_, log_));
  user.registerDaemon(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::requiresApproval);
  user.approve(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::enabled);
  EXPECT_TRUE(activationExists());
  EXPECT_TRUE(mayStart(layout_, log_));
  user.unregisterDaemon(plist);
  EXPECT_FALSE(mayStart(layout_, log_)) << "an approval alone starts nothing";
  user.registerDaemon(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::enabled) << "the approval holds for later registrations";
  auto another = management(ordinaryUser + 1);
  another.unregisterDaemon(plist);
  another.registerDaemon(plist);
  EXPECT_EQ(another.daemonStatus(plist), ServiceManagement::requiresApproval) << "it holds for that user alone";
  EXPECT_FALSE(activationExists());
}

TEST_F(ServiceManagementTests, AMissingHelperIsNotFoundAndRegisteringRepairsWhatIsMissing) {
  chmod(helper_.c_str(), 0644);
  auto root = management(0);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::notFound);
  EXPECT_THROW(root.registerDaemon(plist), ServiceManagementError);
  EXPECT_FALSE(std::filesystem::exists(layout_.registration));
  chmod(helper_.c_str(), 0755);
  root.registerDaemon(plist);
  std::filesystem::remove(activation_);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::notRegistered);
  root.registerDaemon(plist);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::enabled);
  writeContent(activation_, "untouched");
  root.registerDaemon(plist);
  EXPECT_EQ(contentOf(activation_), "untouched") << "registering an enabled daemon does nothing";
  std::filesystem::remove(helper_);
  EXPECT_EQ(root.daemonStatus(plist), ServiceManagement::notFound);
}

TEST_F(ServiceManagementTests, RecordsThatCannotBeBelievedLetNothingStart) {
  const std::string good =
      R"({"version": 1, "uid": 0, "program": ")" + helper_.string() + R"(", "plist": ")" + plist + "\"}";
  const std::pair<std::string, mode_t> cases[] = {
      {"{\"version\": 1", 0644},
      {"[]", 0644},
      {R"({"version": 2, "uid": 0, "program": "/x", "plist": "y"})", 0644},
      {R"({"version": 1, "program": "/x", "plist": "y"})", 0644},
      {R"({"version": 1, "uid": -1, "program": "/x", "plist": "y"})", 0644},
      {R"({"version": 1, "uid": 4294967296, "program": "/x", "plist": "y"})", 0644},
      {R"({"version": 1, "uid": "0", "program": "/x", "plist": "y"})", 0644},
      {good, 0666},
      {good, 0664},
  };
  for (const auto& [content, mode] : cases) {
    SCOPED_TRACE(content + " " + std::to_string(mode));
    CapturedLog log;
    writeContent(layout_.registration, content);
    chmod(layout_.registration.c_str(), mode);
    EXPECT_FALSE(mayStart(layout_, log));
    EXPECT_EQ(log.messages(LogLevel::error).size(), 1U);
    EXPECT_EQ(management(0).daemonStatus(plist), ServiceManagement::notRegistered);
  }
  writeContent(layout_.registration, good);
  chmod(layout_.registration.c_str(), 0644);
  EXPECT_TRUE(mayStart(layout_, log_)) << "the cases prove nothing when the good record does not pass";
  chmod(layout_.registration.c_str(), 0666);
  management(0).registerDaemon(plist);
  EXPECT_TRUE(mayStart(layout_, log_)) << "registering again did not replace the record with its mode";
}

TEST_F(ServiceManagementTests, ApprovalsThatCannotBeBelievedApproveNobody) {
  auto user = management(ordinaryUser);
  user.registerDaemon(plist);
  for (const char* content : {"{", R"({"version": 1})", R"({"version": 1, "uids": 1000})",
                              R"({"version": 1, "uids": ["1000", 1000.5, true, -1]})"}) {
    SCOPED_TRACE(content);
    writeContent(layout_.approval, content);
    EXPECT_FALSE(mayStart(layout_, log_));
  }
  writeContent(layout_.approval, R"({"version": 1, "uids": [1000]})");
  chmod(layout_.approval.c_str(), 0666);
  EXPECT_FALSE(mayStart(layout_, log_));
  user.approve(plist);
  EXPECT_TRUE(mayStart(layout_, log_));
}

TEST_F(ServiceManagementTests, TheLoginItemIsAnAutostartEntry) {
  auto user = management(ordinaryUser);
  EXPECT_EQ(user.mainAppStatus(), ServiceManagement::notRegistered);
  user.registerMainApp();
  EXPECT_EQ(user.mainAppStatus(), ServiceManagement::enabled);
  // Quoted as an argument, then escaped as a string of the file; percent signs are doubled.
  EXPECT_EQ(contentOf(folder_ / "autostart/aerovane.desktop"),
            "[Desktop Entry]\nType=Application\nName=Aerovane\nIcon=aerovane\n"
            R"(Exec="/opt/my apps/100%%\\"\\$aerovane")"
            "\n"
            R"(TryExec=/opt/my apps/100%"$aerovane)"
            "\nX-GNOME-Autostart-enabled=true\n");
  user.unregisterMainApp();
  EXPECT_EQ(user.mainAppStatus(), ServiceManagement::notRegistered);
}

/// The places of a real machine, in a folder.
class SystemServiceTests : public ServiceManagementTests {
 protected:
  SystemServiceTests() {
    layout_.folder.reset();
    layout_.busPolicy = folder_ / "etc/helper.conf";
    layout_.packagedServicesFolder = folder_ / "usr/share/system-services";
  }

  LinuxServiceManagement ofOrdinaryUser(std::uint32_t userID) {
    return management(userID, [this] {
      ++questions_;
      if (!canAsk_) throw ServiceManagementError("nobody can be asked");
    });
  }

  std::string policy() const { return contentOf(*layout_.busPolicy); }

  std::string service_ = "com.norwick.Halcyra.helper.service";
  int questions_ = 0;
  bool canAsk_ = true;
};

TEST_F(SystemServiceTests, OnlyTheRegisteredUserMayCall) {
  auto administrator = management(ordinaryUser);
  administrator.registerDaemon(plist);
  EXPECT_FALSE(std::filesystem::exists(*layout_.busPolicy)) << "nobody has approved";
  administrator.approve(plist);
  EXPECT_NE(policy().find("<deny send_destination=\"com.norwick.Halcyra.helper\"/>"), std::string::npos);
  const std::size_t user = policy().find("<policy user=\"1000\">");
  ASSERT_NE(user, std::string::npos);
  EXPECT_NE(policy().find("send_member=\"SetFanTargetRPM\"", user), std::string::npos);
  EXPECT_EQ(policy().find("<allow send_destination=\"com.norwick.Halcyra.helper\"/>"), std::string::npos)
      << "every message has to be named";
  EXPECT_EQ(policy().find("own=", user), std::string::npos);
  administrator.unregisterDaemon(plist);
  EXPECT_FALSE(std::filesystem::exists(*layout_.busPolicy));

  management(0).registerDaemon(plist);
  EXPECT_EQ(policy().find("1000"), std::string::npos);
  EXPECT_NE(policy().find("<policy user=\"root\">\n    <allow own="), std::string::npos);
}

TEST_F(SystemServiceTests, AnOrdinaryUserWritesNothingAndAsks) {
  auto user = ofOrdinaryUser(ordinaryUser);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::notRegistered);
  user.registerDaemon(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::requiresApproval);
  EXPECT_FALSE(std::filesystem::exists(layout_.registration));
  EXPECT_EQ(questions_, 0) << "asking is a step of its own";
  user.openSystemSettingsLoginItems();
  EXPECT_EQ(questions_, 1);
  EXPECT_FALSE(log_.contains("nobody can be asked"));
  canAsk_ = false;
  EXPECT_NO_THROW(user.openSystemSettingsLoginItems());
  EXPECT_TRUE(log_.contains("nobody can be asked"));

  auto administrator = management(ordinaryUser);
  administrator.registerDaemon(plist);
  administrator.approve(plist);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::enabled);
  auto another = ofOrdinaryUser(ordinaryUser + 1);
  EXPECT_EQ(another.daemonStatus(plist), ServiceManagement::notRegistered) << "it is registered for someone else";
  EXPECT_THROW(user.unregisterDaemon(plist), ServiceManagementError);
  EXPECT_EQ(user.daemonStatus(plist), ServiceManagement::enabled);
}

TEST_F(SystemServiceTests, AnActivationFileOfAPackageIsLeftAlone) {
  const auto packaged = *layout_.packagedServicesFolder / service_;
  const auto below = layout_.servicesFolder / service_;
  for (const auto& file : {packaged, below}) {
    SCOPED_TRACE(file);
    const std::string content = "[D-BUS Service]\nName=x\nSystemdService=aerovane-helper.service\n";
    writeContent(file, content);
    auto administrator = management(ordinaryUser);
    administrator.registerDaemon(plist);
    EXPECT_EQ(administrator.daemonStatus(plist), ServiceManagement::requiresApproval);
    administrator.approve(plist);
    EXPECT_EQ(administrator.daemonStatus(plist), ServiceManagement::enabled);
    EXPECT_EQ(contentOf(file), content);
    EXPECT_TRUE(file == below || !activationExists()) << "two activation files for one name";
    administrator.unregisterDaemon(plist);
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(administrator.daemonStatus(plist), ServiceManagement::notRegistered);
    std::filesystem::remove(file);
    std::filesystem::remove(layout_.approval);
  }
}

}  // namespace
}  // namespace halcyra::test
