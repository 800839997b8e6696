#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QTest>

#include "gtest/gtest.h"

#include "UI/SensorsList.h"
#include "UI/SensorsView.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(SensorsView, keepsTheSelectionWhileValuesAndOrderChange) {
  UIHarness harness;
  ViewContext context = harness.context();
  int opened = 0;
  context.openDashboard = [&] { ++opened; };
  SensorsView view(context);
  view.show();
  auto& list = child<QListView>(view, "sensorList");
  QTest::keyClicks(&child<QLineEdit>(view, "sensorSearch"), "tcm");
  QTest::keyClick(&child<QLineEdit>(view, "sensorSearch"), Qt::Key_Down);
  EXPECT_EQ(view.focusWidget(), &list);
  QTest::keyClicks(&child<QLineEdit>(view, "sensorSearch"), "!");
  EXPECT_TRUE(child<QWidget>(view, "noSensorMatches").isVisible());
  QTest::keyClick(&child<QLineEdit>(view, "sensorSearch"), Qt::Key_Escape);
  EXPECT_TRUE(list.isVisible());
  list.setCurrentIndex(list.model()->match(list.model()->index(0, 0), Qt::DisplayRole, "TCMz").front());
  QTest::keyClick(&child<QComboBox>(view, "sensorOrder"), Qt::Key_Down);
  const QPersistentModelIndex kept(list.currentIndex());
  EXPECT_EQ(kept.data().toString(), "TCMz") << "in another order, too";
  const QString before = kept.data(SensorsListModel::valueRole).toString();
  harness.run(30);
  ASSERT_TRUE(kept.isValid()) << "the rows were made anew";
  EXPECT_EQ(list.currentIndex(), QModelIndex(kept));
  const QString value = kept.data(SensorsListModel::valueRole).toString();
  EXPECT_NE(value, before);
  QTest::keyClick(&list, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), "TCMz\tCPU die hotspot\t" + value);
  EXPECT_TRUE(kept.data(Qt::AccessibleTextRole).toString().startsWith("CPU die hotspot, TCMz, " + value + ", this"));
  QTest::keyClick(&list, Qt::Key_Return);
  EXPECT_EQ(opened, 1);
  EXPECT_EQ(context.historySelection->choice().overlays, std::vector<std::string>{"TCMz"});
}

}  // namespace halcyra::test
