#include <QAccessible>
#include <QCheckBox>
#include <QContextMenuEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <memory>

#include "gtest/gtest.h"

#include "UI/CurvePreview.h"
#include "UI/FanCurveEditor.h"
#include "UI/FanCurveEditorBlock.h"
#include "UI/FanCurveEditorField.h"
#include "UI/MainView.h"
#include "UI/PresetList.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

/// What a user does in the dashboard, with what the fans of the machine then do.
class MainViewTest : public testing::Test {
 protected:
  MainViewTest() { open(960, 720); }

  void open(int width, int height) {
    view = std::make_unique<MainView>(ui.context());
    view->resize(width, height);
    view->show();
    view->activateWindow();
    UIHarness::pumpEvents();
  }
  PresetList& list() { return child<PresetList>(*view, "presets"); }
  QString text(const char* name) { return child<QLabel>(*view, name).text(); }
  QPoint rowCenter(int row) { return list().visualRect(list().model()->index(row, 0)).center(); }
  QString rowName(int row) { return list().model()->index(row, 0).data().toString(); }
  QString rowHelp(int row) { return list().model()->index(row, 0).data(Qt::ToolTipRole).toString(); }
  void clickRow(int row) {
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, rowCenter(row));
    UIHarness::pumpEvents();
  }
  QLineEdit* renameField() { return view->findChild<QLineEdit*>("renameField"); }
  void startRenaming(int row) {
    list().setCurrentIndex(list().model()->index(row, 0));
    list().setFocus();
    QTest::keyClick(&list(), Qt::Key_F2);
    ASSERT_NE(renameField(), nullptr);
  }
  QStringList menuOf(int row) {
    QContextMenuEvent event(QContextMenuEvent::Mouse, rowCenter(row), list().viewport()->mapToGlobal(rowCenter(row)));
    QCoreApplication::sendEvent(list().viewport(), &event);
    UIHarness::pumpEvents();
    QStringList entries;
    if (auto* const menu = list().findChild<QMenu*>("presetMenu")) {
      for (const QAction* action : menu->actions()) {
        if (!action->isSeparator()) entries << action->text();
      }
      delete menu;
    }
    return entries;
  }
  void type(const char* field, const QString& number) {
    auto& box = child<FanCurveEditorField>(*view, field);
    box.setFocus();
    box.selectAll();
    QTest::keyClicks(&box, number);
    QTest::keyClick(&box, Qt::Key_Return);
    UIHarness::pumpEvents();
  }
  void settle() {
    UIHarness::pumpEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  UIHarness ui;
  std::unique_ptr<MainView> view;
};

TEST_F(MainViewTest, aNewPresetsEditorComesIntoViewAndItsEditsSurviveEverythingButSavingThem) {
  click(*view, "newCustomPreset");
  ASSERT_TRUE(ui.drives());
  ui.run(0.2);
  auto& name = child<QLineEdit>(*view, "presetName");
  EXPECT_TRUE(name.hasFocus());
  EXPECT_EQ(name.selectedText(), "Custom 3");
  EXPECT_FALSE(name.visibleRegion().isEmpty()) << "below the fold at the default size";
  QTest::keyClicks(&name, "Night");
  UIHarness::pumpEvents();
  EXPECT_EQ(ui.model().activePreset().name, "Custom 3") << "nothing reaches the model before it is saved";
  EXPECT_TRUE(rowHelp(5).contains("not saved"));

  clickRow(1);
  ASSERT_TRUE(ui.runUntil([&] { return view->editingPreset() == FanPreset::batterySaver(); }, 30));
  view.reset();
  open(960, 720);
  ASSERT_TRUE(ui.runUntil([&] { return !ui.model().isBusy(); }, 30));
  clickRow(5);
  ASSERT_TRUE(ui.runUntil([&] { return view->editingPreset().name == "Night"; }, 30)) << "the draft is there again";
  ASSERT_TRUE(ui.runUntil([&] { return !ui.model().isBusy(); }, 30));
  ui.run(0.2);
  child<QPushButton>(*view, "saveAndApply").click();
  ui.run(0.2);
  EXPECT_EQ(rowName(5), "Night");
  EXPECT_FALSE(rowHelp(5).contains("not saved"));
  EXPECT_EQ(ui.model().activePreset().name, "Night");
}

TEST_F(MainViewTest, aNewPresetIsEditedSavedAndApplied) {
  click(*view, "newCustomPreset");
  ASSERT_TRUE(ui.drives());
  ui.run(0.2);
  ASSERT_TRUE(child<FanCurveEditor>(*view, "fanCurveEditor").isVisible());
  auto& name = child<QLineEdit>(*view, "presetName");
  EXPECT_EQ(name.selectedText(), "Custom 3");
  EXPECT_EQ(view->focusWidget(), &name);
  EXPECT_FALSE(name.visibleRegion().isEmpty()) << "it has been scrolled to";

  type("rampStart", "15");
  EXPECT_EQ(child<FanCurveEditorField>(*view, "rampStart").text(), "20");
  type("fullSpeed", "20");
  EXPECT_TRUE(child<QWidget>(*view, "rangeWarning").isVisible());
  EXPECT_FALSE(child<QPushButton>(*view, "saveAndApply").isEnabled());
  auto& high = child<FanCurveEditorField>(*view, "fullSpeed");
  high.selectAll();
  QTest::keyClicks(&high, "70");
  EXPECT_TRUE(child<QPushButton>(*view, "saveAndApply").isEnabled()) << "what is typed counts at once";
  EXPECT_EQ(ui.model().activePreset().lowTemperature, 30) << "nothing reaches the model before it is saved";

  auto& preview = child<CurvePreview>(*view, "curvePreview");
  const auto at = [&](double temperature, int y) {
    constexpr int gutter = 58;
    return QPoint(gutter + qRound(curvePreviewX(temperature, preview.width() - gutter)), y);
  };
  QTest::mousePress(&preview, Qt::LeftButton, {}, at(70, 4));
  QTest::mouseMove(&preview, at(80, 30));
  QTest::mouseRelease(&preview, Qt::LeftButton, {}, at(80, 30));
  EXPECT_EQ(high.text(), "80") << "the point has been dragged";
  preview.setFocus();
  QTest::keyClick(&preview, Qt::Key_Down);
  QTest::keyClick(&preview, Qt::Key_Right);
  EXPECT_EQ(child<FanCurveEditorField>(*view, "rampStart").text(), "21");
  click(*view, "revertPreset");
  EXPECT_EQ(high.text(), "50");
  type("rampStart", "20");

  const QPoint segment = child<QWidget>(*view, "sourceConstant").mapTo(view.get(), QPoint());
  click(*view, "sourceConstant");
  UIHarness::pumpEvents();
  EXPECT_EQ(child<QWidget>(*view, "sourceConstant").mapTo(view.get(), QPoint()), segment)
      << "it stays under the pointer";
  EXPECT_EQ(child<FanCurveEditorField>(*view, "targetRPM").text(), "2000");
  EXPECT_EQ(view->editingPreset().constantRPM, 2000);
  EXPECT_TRUE(child<QPushButton>(*view, "saveAndApply").isEnabled());
  type("targetRPM", "2,500");
  EXPECT_EQ(view->editingPreset().constantRPM, 2500);
  type("targetRPM", "4.000");
  click(*view, "saveAndApply");
  ASSERT_TRUE(ui.runUntil([&] { return ui.target(0) == 4000 && ui.target(1) == 4000; }, 30));
  EXPECT_EQ(ui.model().activePreset().constantRPM, 4000);
  EXPECT_EQ(ui.model().activePreset().lowTemperature, 20);
  EXPECT_EQ(text("editorNote"), "Saved");
  EXPECT_FALSE(ui.model().lastError());
}

TEST_F(MainViewTest, unlinkedFansAreEditedEachInItsBox) {
  click(*view, "newCustomPreset");
  ASSERT_TRUE(ui.drives());
  ui.run(0.2);
  auto& toggle = child<QCheckBox>(*view, "linkFans");
  QTest::keyClick(&toggle, Qt::Key_Space);
  settle();
  ASSERT_FALSE(view->editingPreset().linkedFans);
  EXPECT_EQ(view->findChild<QWidget*>("editorBlock"), nullptr);
  auto& right = child<QWidget>(*view, "editorBlock1");
  auto& field = child<FanCurveEditorField>(right, "rampStart");
  field.setFocus();
  QTest::keyClick(&field, Qt::Key_Up);
  EXPECT_EQ(view->editingPreset().fan1Settings.value().lowTemperature, 31);
  EXPECT_EQ(view->editingPreset().fan0Settings.value().lowTemperature, 30);
  auto& slider = child<QSlider>(right, "hysteresis");
  slider.setFocus();
  QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_EQ(view->editingPreset().hysteresis, 2.0);
  EXPECT_EQ(QAccessible::queryAccessibleInterface(&slider)->valueInterface()->currentValue(), 2.0);
  auto& other = child<FanCurveEditorField>(child<QWidget>(*view, "editorBlock0"), "hysteresisValue");
  EXPECT_EQ(other.text(), "2.0") << "the hysteresis is shared";
  QTest::mouseClick(&slider, Qt::LeftButton, {}, QPoint(slider.width() - 2, slider.height() / 2));
  EXPECT_EQ(other.text(), "10.0") << "a click on the groove goes there";

  // The fans go and come back while a number is half typed.
  field.setFocus();
  field.selectAll();
  QTest::keyClicks(&field, "7");
  auto& editor = child<FanCurveEditor>(*view, "fanCurveEditor");
  editor.setFanIndices({});
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(editor.findChildren<FanCurveEditorBlock*>().size(), 1);
  QTest::keyClicks(&child<FanCurveEditorField>(editor, "rampStart"), "7");
  editor.setFanIndices({0, 1});
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(editor.findChildren<FanCurveEditorBlock*>().size(), 2);
  EXPECT_EQ(view->editingPreset().fan1Settings.value().lowTemperature, 20) << "the 7 that was typed";
}

TEST_F(MainViewTest, presetsAreRenamedInPlace) {
  ui.model().duplicatePreset(FanPreset::cpuCoreDefault());
  UIHarness::pumpEvents();
  const auto rename = [&](const QString& newName, Qt::Key key) {
    startRenaming(5);
    renameField()->selectAll();
    QTest::keyClicks(renameField(), newName);
    QTest::keyClick(renameField(), key);
    settle();
    EXPECT_EQ(renameField(), nullptr);
    return rowName(5);
  };
  EXPECT_EQ(rename("  Quiet Desk ", Qt::Key_Return), "Quiet Desk");
  EXPECT_EQ(rename("Loud", Qt::Key_Escape), "Quiet Desk");
  EXPECT_EQ(rename("By Tab", Qt::Key_Tab), "By Tab");
  startRenaming(5);
  ui.run(4);
  ui.model().duplicatePreset(ui.model().customPresets().back());
  UIHarness::pumpEvents();
  ASSERT_NE(renameField(), nullptr) << "polls and changes of the library leave the field alone";
  QTest::keyClicks(renameField(), "By focus");
  child<QWidget>(*view, "newCustomPreset").setFocus();
  settle();
  EXPECT_EQ(rowName(5), "By focus");
  startRenaming(6);
  QTest::keyClicks(renameField(), "Half a na");
  view.reset();
  settle();
  EXPECT_EQ(ui.model().customPresets().back().name, "By Tab Copy") << "a view that ends saves nothing";
}

TEST_F(MainViewTest, deletingAsksFirstAndReturnsTheFans) {
  ui.model().duplicatePreset(FanPreset::cpuCoreDefault());
  UIHarness::pumpEvents();
  EXPECT_EQ(menuOf(3), QStringList());
  EXPECT_EQ(menuOf(1), QStringList({"Duplicate"}));
  EXPECT_EQ(menuOf(5), QStringList({"Duplicate", "Rename…", "Delete"}));
  clickRow(5);
  ASSERT_TRUE(ui.drives());
  EXPECT_EQ(child<QWidget>(*view, "controlStatus").accessibleName(), "Driving");
  list().setFocus();
  QTest::keyClick(&list(), Qt::Key_Home);
  EXPECT_TRUE(ui.allManual()) << "walking past a preset does not choose it";
  QTest::keyClick(&list(), Qt::Key_End);
  QTest::keyClick(&list(), Qt::Key_Delete);
  UIHarness::pumpEvents();
  auto& question = child<QWidget>(*view, "deleteConfirmation");
  QTest::keyClick(&question, Qt::Key_Return);
  settle();
  EXPECT_EQ(list().model()->rowCount(), 6) << "Cancel is the default";
  EXPECT_TRUE(ui.allManual());
  QTest::keyClick(&list(), Qt::Key_Delete);
  UIHarness::pumpEvents();
  click(*view, "confirmDelete");
  ASSERT_TRUE(ui.handsBack());
  ui.run(0.2);
  EXPECT_EQ(list().model()->rowCount(), 5);
  EXPECT_EQ(text("activePresetName"), "Apple Default");
  EXPECT_FALSE(child<FanCurveEditor>(*view, "fanCurveEditor").isVisible());
}

}  // namespace halcyra::test
