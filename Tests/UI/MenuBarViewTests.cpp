#include <QClipboard>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTest>

#include "gtest/gtest.h"

#include "UI/ControlStatusLine.h"
#include "UI/Fonts.h"
#include "UI/MenuBarPanel.h"
#include "UI/MenuBarPresetRow.h"
#include "UI/MenuBarView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

/// What a user does in the panel, with what the fans of the machine then do.
class MenuBarPath : public testing::Test {
 protected:
  void open(UIHarness::Options options = {}, MenuBarPanel::Kind kind = MenuBarPanel::Kind::window) {
    ui = std::make_unique<UIHarness>(options);
    ViewContext context = ui->context();
    context.approvalCommand = "sudo aerovane-helper --register 1000";
    panel = std::make_unique<MenuBarPanel>(context, kind);
    panel->openNear({});
    ui->run(1.0);
  }
  void TearDown() override {
    panel.reset();
    ui.reset();
  }
  MenuBarView& view() { return panel->view(); }
  PresetButton& button(const std::string& name) { return *presetButton(view(), name); }
  bool isShown(const char* name) { return child<QWidget>(view(), name).isVisible(); }
  std::string status() { return child<ControlStatusLine>(view(), "controlStatus").accessibleName().toStdString(); }
  QStringList menuOf(const std::string& preset) {
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), QPoint(50, 50));
    QApplication::sendEvent(button(preset).parentWidget(), &event);
    QStringList entries;
    for (const QAction* action : child<QMenu>(view(), "presetMenu").actions()) entries << action->text();
    return entries;
  }

  std::unique_ptr<UIHarness> ui;
  std::unique_ptr<MenuBarPanel> panel;
};

}  // namespace

TEST_F(MenuBarPath, choosingAPresetByKeyboardTurnsTheFansAndKeepsTheFocus) {
  open();
  EXPECT_EQ(status(), "Apple's firmware drives the fans");
  button("Apple Default").setFocus(Qt::TabFocusReason);
  for (int press = 0; press < 4; ++press) QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
  ASSERT_TRUE(button("Full Blast").hasFocus()) << "arrows pass the help buttons";
  QTest::keyClick(&button("Full Blast"), Qt::Key_Return);
  ui->run(0.1);
  EXPECT_FALSE(button("Smart Auto").isEnabled()) << "while the fans are taken";
  EXPECT_TRUE(button("Apple Default").isEnabled()) << "at any time";
  ASSERT_TRUE(ui->drives());
  ui->run(15);
  EXPECT_TRUE(button("Full Blast").hasFocus());
  EXPECT_EQ(status(), "Driving");
  EXPECT_EQ(child<QLabel>(view(), "fanMode0").text(), "Manual");
  EXPECT_EQ(child<FigureLabel>(view(), "fanSpeed0").text().toStdString(),
            std::to_string(ui->model().fans()[0].actualRPM) + " RPM");

  QTest::mouseClick(&button("Apple Default"), Qt::LeftButton, {}, QPoint(40, 14));
  ASSERT_TRUE(ui->handsBack());
  ui->run(3);
  EXPECT_EQ(child<QLabel>(view(), "fanMode0").text(), "Auto");
  EXPECT_EQ(button("Apple Default").accessibleDescription(), "Active");
}

TEST_F(MenuBarPath, firstUseInstallsApprovesAndTests) {
  open(
      {.isSetUp = false, .prepare = [](TestPlatform& platform) { platform.serviceManagement.setNeedsApproval(true); }});
  EXPECT_FALSE(child<QPushButton>(view(), "runSupervisedTest").isEnabled());
  EXPECT_EQ(child<QLabel>(view(), "presetNote").text(), "Install and approve the helper first.");
  click(view(), "setUpHelper");
  ui->run(0.2);
  EXPECT_EQ(ui->desktop().serviceManagement.counts().settingsOpened, 1);
  click(view(), "copyCommand");
  EXPECT_EQ(QApplication::clipboard()->text(), "sudo aerovane-helper --register 1000");
  ui->desktop().serviceManagement.approve();
  ASSERT_TRUE(ui->runUntil([&] { return !isShown("setUpHelper"); }, 10));

  ui->setCompetitor(true);
  ui->run(3);
  click(view(), "runSupervisedTest");
  ui->run(0.2);
  ASSERT_TRUE(isShown("noticeBar")) << "beside another utility the test is refused, and says so";
  click(view(), "dismissError");
  EXPECT_FALSE(isShown("noticeBar"));
  ui->setCompetitor(false);
  ui->run(3);
  click(view(), "runSupervisedTest");
  EXPECT_TRUE(isShown("testProgress"));
  ASSERT_TRUE(ui->runUntil([&] { return ui->model().supervisedTestPassed() && !ui->model().isBusy(); }, 60));
  ui->run(0.2);
  EXPECT_TRUE(ui->allAutomatic());
  EXPECT_FALSE(isShown("runSupervisedTest"));
  EXPECT_TRUE(button("Full Blast").isEnabled());
  click(view(), "firstRunDone");
  EXPECT_FALSE(isShown("firstRun"));
}

TEST_F(MenuBarPath, aPopupMakesWayForTheQuestionBeforeAPresetIsDeleted) {
  open({}, MenuBarPanel::Kind::popup);
  ui->model().duplicatePreset(FanPreset::batterySaver());
  FanPreset mine = ui->model().customPresets().back();
  mine.name = "Mine & yours";
  ui->model().savePreset(mine);
  ui->run(0.2);
  EXPECT_EQ(menuOf("Full Blast"), QStringList{"Duplicate"});
  delete view().findChild<QMenu*>("presetMenu");
  EXPECT_EQ(menuOf("Mine & yours"), (QStringList{"Duplicate", "Delete"}));
  child<QMenu>(view(), "presetMenu").actions().at(1)->trigger();
  UIHarness::pumpEvents();
  EXPECT_FALSE(panel->isVisible());
  auto& question = child<QWidget>(view(), "deleteConfirmation");
  EXPECT_TRUE(question.isVisible());
  EXPECT_EQ(child<QLabel>(question, "questionTitle").text().toStdString(), "Delete “Mine & yours”?");
  click(question, "confirmDelete");
  ui->run(0.2);
  EXPECT_EQ(ui->model().customPresets().size(), 2U);
}

}  // namespace halcyra::test
