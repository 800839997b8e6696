#include <QApplication>

#include "gtest/gtest.h"

#include "UI/Style.h"

int main(int argc, char** argv) {
  // Before the arguments are read: listing the tests must not need a display either.
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  halcyra::applyStyle(application, halcyra::Appearance::light);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
