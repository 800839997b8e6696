#include <QAccessible>
#include <QCheckBox>
#include <QContextMenuEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QTest>
#include <QToolButton>
#include <memory>

#include "gtest/gtest.h"

#include "UI/CurvePreview.h"
#include "UI/FanCurveEditor.h"
#include "UI/FanCurveEditorBlock.h"
#include "UI/FanCurveEditorField.h"
#include "UI/Fonts.h"
#include "UI/MainView.h"
#include "UI/PresetList.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

class MainViewTest : public testing::Test {
 protected:
  MainViewTest() : view(ui.context()) {
    view.resize(980, 900);
    view.show();
    view.activateWindow();
    UIHarness::pumpEvents();
  }

  PresetList& list() { return child<PresetList>(view, "presets"); }
  QString text(const char* name) { return child<QLabel>(view, name).text(); }
  QPoint rowCenter(int row) { return list().visualRect(list().model()->index(row, 0)).center(); }
  QString rowName(int row) { return list().model()->index(row, 0).data().toString(); }
  QString selectedName() {
    const QModelIndexList selected = list().selectionModel()->selectedIndexes();
    return selected.size() == 1 ? selected.first().data().toString() : QString();
  }
  void clickRow(int row) {
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, rowCenter(row));
    UIHarness::pumpEvents();
  }
  void doubleClickRow(int row) {
    QTest::mouseDClick(list().viewport(), Qt::LeftButton, {}, rowCenter(row));
    UIHarness::pumpEvents();
  }
  QLineEdit* renameField() { return view.findChild<QLineEdit*>("renameField"); }
  QStringList menuOf(int row) {
    QContextMenuEvent event(QContextMenuEvent::Mouse, rowCenter(row), list().viewport()->mapToGlobal(rowCenter(row)));
    QCoreApplication::sendEvent(list().viewport(), &event);
    UIHarness::pumpEvents();
    QStringList entries;
    if (auto* const menu = list().findChild<QMenu*>("presetMenu")) {
      for (QAction* const action : menu->actions()) {
        if (!action->isSeparator()) entries << action->text();
      }
    }
    return entries;
  }
  void chooseInMenu(const QString& entry) {
    auto& menu = child<QMenu>(list(), "presetMenu");
    for (QAction* const action : menu.actions()) {
      if (action->text() == entry) action->trigger();
    }
    menu.close();
    settle();
  }
  void type(const char* field, const QString& number) {
    auto& box = child<FanCurveEditorField>(view, field);
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
  void addPreset() {
    ui.model().duplicatePreset(FanPreset::cpuCoreDefault());
    UIHarness::pumpEvents();
  }

  UIHarness ui;
  MainView view;
};

TEST_F(MainViewTest, choosingAPresetTurnsTheFans) {
  EXPECT_EQ(text("activePresetName"), "Apple Default");
  EXPECT_EQ(text("activePresetSubtitle"), "Stock macOS control");
  EXPECT_EQ(text("helperState"), "Approved");
  ASSERT_EQ(rowName(4), "Full Blast");

  clickRow(4);
  ASSERT_TRUE(ui.runUntil([&] { return ui.actual(0) > 5000 && ui.actual(1) > 5000; }, 60));
  EXPECT_TRUE(ui.allManual());
  ui.run(3);
  EXPECT_EQ(selectedName(), "Full Blast");
  EXPECT_EQ(text("activePresetName"), "Full Blast");
  auto& card = child<QWidget>(view, "fanCard0");
  EXPECT_EQ(child<QLabel>(card, "fanMode").text(), "Manual");
  EXPECT_GT(child<FigureLabel>(card, "fanSpeed").text().section(' ', 0, 0).toInt(), 5000);
  EXPECT_TRUE(child<FigureLabel>(card, "curveInput").text().startsWith("Curve input "));

  list().setFocus();
  QTest::keyClick(&list(), Qt::Key_Home);
  EXPECT_EQ(ui.model().activePreset().name, "Full Blast") << "walking past a preset does not start it";
  QTest::keyClick(&list(), Qt::Key_Return);
  ASSERT_TRUE(ui.handsBack());
  ui.run(0.1);
  EXPECT_EQ(selectedName(), "Apple Default");
}

TEST_F(MainViewTest, aNewPresetIsEditedSavedAndApplied) {
  click(view, "newCustomPreset");
  ASSERT_TRUE(ui.drives());
  ui.run(0.2);
  ASSERT_TRUE(child<FanCurveEditor>(view, "fanCurveEditor").isVisible());
  auto& name = child<QLineEdit>(view, "presetName");
  EXPECT_EQ(name.selectedText(), "Custom 3");
  EXPECT_EQ(view.focusWidget(), &name);
  EXPECT_FALSE(name.visibleRegion().isEmpty()) << "it has been scrolled to";

  type("rampStart", "15");
  EXPECT_EQ(child<FanCurveEditorField>(view, "rampStart").text(), "20");
  type("fullSpeed", "20");
  EXPECT_TRUE(child<QWidget>(view, "rangeWarning").isVisible());
  EXPECT_FALSE(child<QPushButton>(view, "saveAndApply").isEnabled());
  auto& high = child<FanCurveEditorField>(view, "fullSpeed");
  high.selectAll();
  QTest::keyClicks(&high, "70");
  EXPECT_TRUE(child<QPushButton>(view, "saveAndApply").isEnabled()) << "what is typed counts at once";
  EXPECT_EQ(ui.model().activePreset().lowTemperature, 30) << "nothing reaches the model before it is saved";

  auto& preview = child<CurvePreview>(view, "curvePreview");
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
  EXPECT_EQ(child<FanCurveEditorField>(view, "rampStart").text(), "21");
  click(view, "revertPreset");
  EXPECT_EQ(high.text(), "50");
  type("rampStart", "20");

  const QPoint segment = child<QWidget>(view, "sourceConstant").mapTo(&view, QPoint());
  click(view, "sourceConstant");
  UIHarness::pumpEvents();
  EXPECT_EQ(child<QWidget>(view, "sourceConstant").mapTo(&view, QPoint()), segment) << "it stays under the pointer";
  EXPECT_EQ(child<FanCurveEditorField>(view, "targetRPM").text(), "2000");
  EXPECT_EQ(view.editingPreset().constantRPM, 2000);
  EXPECT_TRUE(child<QPushButton>(view, "saveAndApply").isEnabled());
  type("targetRPM", "2,500");
  EXPECT_EQ(view.editingPreset().constantRPM, 2500);
  type("targetRPM", "4.000");
  click(view, "saveAndApply");
  ASSERT_TRUE(ui.runUntil([&] { return ui.target(0) == 4000 && ui.target(1) == 4000; }, 30));
  EXPECT_EQ(ui.model().activePreset().constantRPM, 4000);
  EXPECT_EQ(ui.model().activePreset().lowTemperature, 20);
  EXPECT_EQ(text("editorNote"), "Saved");
  EXPECT_FALSE(ui.model().lastError());
}

TEST_F(MainViewTest, unlinkedFansAreEditedEachInItsBox) {
  click(view, "newCustomPreset");
  ASSERT_TRUE(ui.drives());
  ui.run(0.2);
  auto& toggle = child<QCheckBox>(view, "linkFans");
  QTest::keyClick(&toggle, Qt::Key_Space);
  settle();
  ASSERT_FALSE(view.editingPreset().linkedFans);
  EXPECT_EQ(view.findChild<QWidget*>("editorBlock"), nullptr);
  auto& right = child<QWidget>(view, "editorBlock1");
  auto& field = child<FanCurveEditorField>(right, "rampStart");
  field.setFocus();
  QTest::keyClick(&field, Qt::Key_Up);
  EXPECT_EQ(view.editingPreset().fan1Settings.value().lowTemperature, 31);
  EXPECT_EQ(view.editingPreset().fan0Settings.value().lowTemperature, 30);
  auto& slider = child<QSlider>(right, "hysteresis");
  slider.setFocus();
  QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_EQ(view.editingPreset().hysteresis, 2.0);
  EXPECT_EQ(QAccessible::queryAccessibleInterface(&slider)->valueInterface()->currentValue(), 2.0);
  auto& other = child<FanCurveEditorField>(child<QWidget>(view, "editorBlock0"), "hysteresisValue");
  EXPECT_EQ(other.text(), "2.0") << "the hysteresis is shared";
  QTest::mouseClick(&slider, Qt::LeftButton, {}, QPoint(slider.width() - 2, slider.height() / 2));
  EXPECT_EQ(other.text(), "10.0") << "a click on the groove goes there";

  // The fans go and come back while a number is half typed.
  field.setFocus();
  field.selectAll();
  QTest::keyClicks(&field, "7");
  auto& editor = child<FanCurveEditor>(view, "fanCurveEditor");
  editor.setFanIndices({});
  settle();
  EXPECT_EQ(editor.findChildren<FanCurveEditorBlock*>().size(), 1);
  QTest::keyClicks(&child<FanCurveEditorField>(editor, "rampStart"), "7");
  editor.setFanIndices({0, 1});
  settle();
  EXPECT_EQ(editor.findChildren<FanCurveEditorBlock*>().size(), 2);
  EXPECT_EQ(view.editingPreset().fan1Settings.value().lowTemperature, 20) << "the 7 that was typed";
}

TEST_F(MainViewTest, renamingInPlace) {
  addPreset();
  ASSERT_EQ(rowName(5), "30–50 °C Cooling Copy");
  const auto name = [&] { return ui.model().customPresets().back().name; };
  const auto rename = [&](const QString& newName, Qt::Key key) {
    list().setCurrentIndex(list().model()->index(5, 0));
    list().setFocus();
    QTest::keyClick(&list(), Qt::Key_F2);
    ASSERT_NE(renameField(), nullptr);
    renameField()->selectAll();
    QTest::keyClicks(renameField(), newName);
    QTest::keyClick(renameField(), key);
    settle();
    EXPECT_EQ(renameField(), nullptr);
  };
  rename("  Quiet Desk ", Qt::Key_Return);
  EXPECT_EQ(name(), "Quiet Desk");
  EXPECT_EQ(rowName(5), "Quiet Desk");
  rename("Loud", Qt::Key_Escape);
  EXPECT_EQ(name(), "Quiet Desk");
  ui.model().duplicatePreset(ui.model().customPresets().back());
  UIHarness::pumpEvents();
  rename("By Tab", Qt::Key_Tab);
  EXPECT_EQ(rowName(5), "By Tab");

  doubleClickRow(5);
  ASSERT_NE(renameField(), nullptr);
  ui.run(4);
  ui.model().duplicatePreset(ui.model().customPresets().back());
  UIHarness::pumpEvents();
  ASSERT_NE(renameField(), nullptr) << "polls and changes of the library leave the field alone";
  QTest::keyClicks(renameField(), "By focus");
  child<QWidget>(view, "newCustomPreset").setFocus();
  settle();
  EXPECT_EQ(renameField(), nullptr);
  EXPECT_EQ(rowName(5), "By focus");

  doubleClickRow(1);
  EXPECT_EQ(renameField(), nullptr) << "built-in presets keep their names";
}

TEST_F(MainViewTest, aViewThatEndsWhileANameIsTypedSavesNothing) {
  addPreset();
  auto other = std::make_unique<MainView>(ui.context());
  other->resize(980, 900);
  other->show();
  other->activateWindow();
  UIHarness::pumpEvents();
  auto& presets = child<PresetList>(*other, "presets");
  presets.setCurrentIndex(presets.model()->index(5, 0));
  presets.setFocus();
  QTest::keyClick(&presets, Qt::Key_F2);
  QTest::keyClicks(&child<QLineEdit>(*other, "renameField"), "Half a na");
  other.reset();
  settle();
  EXPECT_EQ(ui.model().customPresets().back().name, "30–50 °C Cooling Copy");
}

TEST_F(MainViewTest, theMenuOffersWhatAPresetAllows) {
  addPreset();
  EXPECT_EQ(menuOf(3), QStringList());
  EXPECT_EQ(menuOf(1), QStringList({"Duplicate"}));
  chooseInMenu("Duplicate");
  EXPECT_EQ(rowName(6), "Battery Saver Copy");
  EXPECT_EQ(menuOf(5), QStringList({"Duplicate", "Rename…", "Delete"}));
  chooseInMenu("Rename…");
  EXPECT_NE(renameField(), nullptr);
}

TEST_F(MainViewTest, deletingAsksFirstAndReturnsTheFans) {
  addPreset();
  clickRow(5);
  ASSERT_TRUE(ui.drives());
  list().setFocus();
  QTest::keyClick(&list(), Qt::Key_Delete);
  UIHarness::pumpEvents();
  click(view, "cancelDelete");
  settle();
  EXPECT_EQ(list().model()->rowCount(), 6);
  EXPECT_TRUE(ui.allManual());

  click(view, "deletePreset");
  click(view, "confirmDelete");
  ASSERT_TRUE(ui.handsBack());
  ui.run(0.2);
  EXPECT_EQ(list().model()->rowCount(), 5);
  EXPECT_EQ(text("activePresetName"), "Apple Default");
  EXPECT_FALSE(child<FanCurveEditor>(view, "fanCurveEditor").isVisible());
}

TEST_F(MainViewTest, theWorkingCopyFollowsCustomPresetsOnly) {
  EXPECT_EQ(view.editingPreset(), FanPreset::cpuCoreDefault());
  clickRow(1);
  ASSERT_TRUE(ui.drives());
  EXPECT_EQ(view.editingPreset(), FanPreset::batterySaver());
  EXPECT_FALSE(child<QPushButton>(view, "deletePreset").isVisible());
  clickRow(3);
  ui.run(5);
  EXPECT_EQ(text("activePresetName"), "Smart Auto");
  EXPECT_EQ(view.editingPreset(), FanPreset::batterySaver());
  EXPECT_FALSE(child<FanCurveEditor>(view, "fanCurveEditor").isVisible());
  view.hide();
  view.show();
  EXPECT_EQ(view.editingPreset(), FanPreset::cpuCoreDefault()) << "a closed window forgets";
}

}  // namespace halcyra::test
