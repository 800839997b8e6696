#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include "gtest/gtest.h"

#include "UI/Fonts.h"
#include "UI/HistoryView.h"
#include "UI/MenuBarPanel.h"
#include "UI/MenuBarPresetRow.h"
#include "UI/MenuBarView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

namespace {

/// What a user does in the panel, with what the fans of the machine then do.
class MenuBarPath : public testing::Test {
 protected:
  void open(UIHarness::Options options = {}) {
    ui = std::make_unique<UIHarness>(options);
    ViewContext context = ui->context();
    context.openDashboard = [this] { ++dashboards; };
    panel = std::make_unique<MenuBarPanel>(context, MenuBarPanel::Kind::window);
    panel->openNear({});
    ui->run(1.0);
  }
  void TearDown() override {
    panel.reset();
    ui.reset();
  }
  MenuBarView& view() { return panel->view(); }
  PresetButton& button(const std::string& name) { return *presetButton(view(), name); }
  MenuBarPresetRow& presetRow(const std::string& name) {
    return *dynamic_cast<MenuBarPresetRow*>(button(name).parentWidget());
  }
  bool isShown(const char* name) {
    auto* widget = view().findChild<QWidget*>(name);
    return widget != nullptr && widget->isVisible();
  }
  QMenu* openMenu(const std::string& preset) {
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), QPoint(50, 50));
    QApplication::sendEvent(&presetRow(preset), &event);
    return view().findChild<QMenu*>("presetMenu");
  }

  std::unique_ptr<UIHarness> ui;
  std::unique_ptr<MenuBarPanel> panel;
  int dashboards = 0;
};

QStringList entriesOf(const QMenu& menu) {
  QStringList result;
  for (const QAction* action : menu.actions()) result << action->text();
  return result;
}

}  // namespace

TEST_F(MenuBarPath, choosingAPresetTurnsTheFansAndAppleDefaultGivesThemBack) {
  open();
  QTest::mouseClick(&button("Full Blast"), Qt::LeftButton, {}, QPoint(40, 14));
  ASSERT_TRUE(ui->drives());
  ui->run(15);
  EXPECT_EQ(child<QLabel>(view(), "fanMode0").text(), "Manual");
  EXPECT_EQ(child<FigureLabel>(view(), "fanSpeed0").text().toStdString(),
            std::to_string(ui->model().fans()[0].actualRPM) + " RPM");
  EXPECT_EQ(button("Full Blast").accessibleDescription(), "Active");

  button("Apple Default").setFocus(Qt::TabFocusReason);
  QTest::keyClick(&button("Apple Default"), Qt::Key_Return);
  ASSERT_TRUE(ui->handsBack());
  ui->run(3);
  EXPECT_EQ(child<QLabel>(view(), "fanMode0").text(), "Auto");
  EXPECT_EQ(button("Full Blast").accessibleDescription(), "");
}

TEST_F(MenuBarPath, firstUseOffersTheHelperThenTheTest) {
  open({.isSetUp = false, .prepare = {}});
  ASSERT_TRUE(isShown("setUpHelper"));
  EXPECT_TRUE(isShown("runSupervisedTest"));
  EXPECT_FALSE(child<QPushButton>(view(), "runSupervisedTest").isEnabled());
  EXPECT_FALSE(button("Full Blast").isEnabled());
  EXPECT_TRUE(button("Apple Default").isEnabled());
  auto& info = *presetRow("Full Blast").findChild<PresetInfoButton*>();
  EXPECT_TRUE(info.isEnabled()) << "the help of a disabled preset stays open";
  QTest::mouseClick(&info, Qt::LeftButton);
  auto* description = info.findChild<QLabel*>("presetDescription");
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->text(),
            "All fans at their hardware maximum. Use for short bursts of heavy load or quick cool-downs.");
  description->window()->close();

  click(view(), "openDashboard");
  EXPECT_EQ(dashboards, 1);
  click(view(), "setUpHelper");
  ASSERT_TRUE(ui->runUntil([&] { return ui->model().helperState() == HelperInstallState::enabled; }, 10));
  ui->run(0.2);
  EXPECT_FALSE(isShown("setUpHelper"));
  click(view(), "runSupervisedTest");
  ASSERT_TRUE(ui->runUntil([&] { return ui->model().supervisedTestPassed() && !ui->model().isBusy(); }, 60));
  ui->run(0.2);
  EXPECT_FALSE(isShown("runSupervisedTest"));
  EXPECT_TRUE(button("Full Blast").isEnabled());
  EXPECT_TRUE(ui->allAutomatic());
}

TEST_F(MenuBarPath, onlyTheUsersPresetsCanBeDeletedAndOnlyAfterAQuestion) {
  open();
  QMenu* menu = openMenu("Full Blast");
  ASSERT_NE(menu, nullptr);
  EXPECT_EQ(entriesOf(*menu), QStringList{"Duplicate"});
  delete menu;
  ui->model().createCustomPreset();
  FanPreset mine = ui->model().customPresets().back();
  mine.name = "Mine & yours";
  ui->model().savePreset(mine);
  UIHarness::pumpEvents();
  menu = openMenu("Mine & yours");
  ASSERT_NE(menu, nullptr);
  EXPECT_EQ(entriesOf(*menu), (QStringList{"Duplicate", "Delete"}));
  menu->actions().at(1)->trigger();
  auto* question = view().findChild<QMessageBox*>("deleteConfirmation");
  ASSERT_NE(question, nullptr);
  EXPECT_EQ(question->text().toStdString(), "Delete “Mine & yours”?");
  QTest::keyClick(question, Qt::Key_Escape);
  UIHarness::pumpEvents();
  EXPECT_NE(presetButton(view(), "Mine & yours"), nullptr);
  delete view().findChild<QMenu*>("presetMenu");

  openMenu("Mine & yours")->actions().at(1)->trigger();
  question = view().findChild<QMessageBox*>("deleteConfirmation");
  ASSERT_NE(question, nullptr);
  for (QAbstractButton* button : question->buttons()) {
    if (question->buttonRole(button) == QMessageBox::DestructiveRole) button->click();
  }
  ui->run(0.2);
  EXPECT_EQ(presetButton(view(), "Mine & yours"), nullptr);
}

TEST_F(MenuBarPath, theHistoryTakesThePlaceOfTheRestAndGivesItBack) {
  open();
  EXPECT_TRUE(isShown("normalContent"));
  QTest::keyClick(&child<QPushButton>(view(), "sparklineButton"), Qt::Key_Space);
  EXPECT_TRUE(view().isHistoryExpanded());
  EXPECT_FALSE(isShown("normalContent"));
  EXPECT_EQ(child<QToolButton>(view(), "expandHistory").toolTip(), "Collapse session chart");
  click(view(), "expandHistory");
  EXPECT_TRUE(isShown("normalContent"));
  EXPECT_EQ(child<QToolButton>(view(), "expandHistory").toolTip(), "Expand session chart");
}

}  // namespace halcyra::test
