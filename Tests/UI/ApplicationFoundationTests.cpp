#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryFile>
#include <QTextDocumentFragment>

#include "gtest/gtest.h"

#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/UpdateFeed.h"
#include "UI/Theme.h"
#include "UI/UIHarness.h"

namespace halcyra::test {

TEST(UpdateFeed, readsAndComparesVersions) {
  struct Case {
    const char* offered;
    const char* installed;
    bool isNewer;
  };
  const Case cases[] = {{"0.10", "0.9.9", true}, {"1.0.0", "1", false}, {"0.0.9", "0.1.0", false},
                        {"2.x", "1.0", false},   {"", "1.0", false},    {"-2", "1", false}};
  for (const Case& each : cases) {
    EXPECT_EQ(isNewerVersion(each.offered, each.installed), each.isNewer) << each.offered << " " << each.installed;
  }
  const auto offer = parseUpdateFeed(R"({"version": "1.2.3", "page": "https://example.org"})");
  ASSERT_TRUE(offer);
  EXPECT_EQ(offer->version, "1.2.3");
  EXPECT_EQ(offer->page, "https://example.org");
  for (const char* bad : {"", "[]", "{}", R"({"version": 3})", R"({"version": "new"})", R"({"version": " 2"})",
                          R"({"version": "+2.-0"})", "not json"}) {
    EXPECT_FALSE(parseUpdateFeed(bad)) << bad;
  }
  for (const char* page : {"Call this number\\nat once", "file:///etc/passwd", "https://example.org/a b"}) {
    const auto shown = parseUpdateFeed(QByteArray(R"({"version": "2", "page": ")") + page + R"("})");
    ASSERT_TRUE(shown) << page;
    EXPECT_EQ(shown->page, "") << "what is no web page is not shown: " << page;
  }
  EXPECT_FALSE(UpdateFeed("", "1.0").canCheck());
  EXPECT_TRUE(UpdateFeed("/tmp/feed.json", "1.0").canCheck());
}

TEST(UpdateFeed, showsThePageAsItIs) {
  for (const QString page : {"https://example.org/?from=1&to=2", "https://example.org/<b>new</b>&lt;"}) {
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    file.write(R"({"version": "2", "page": ")" + page.toUtf8() + R"("})");
    file.close();
    UpdateFeed feed(file.fileName().toStdString(), "1.0");
    feed.check();
    while (!feed.canCheck()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    auto* const box = qobject_cast<QMessageBox*>(shownWindow("updateResult"));
    ASSERT_NE(box, nullptr);
    const QString text = box->informativeText();
    // As a label reads a text whose format it is not told.
    const QString shown = Qt::mightBeRichText(text) ? QTextDocumentFragment::fromHtml(text).toPlainText() : text;
    EXPECT_EQ(shown.toStdString(), "You have version 1.0. " + page.toStdString());
    delete box;
  }
}

TEST(UpdateFeed, doesNotKeepAFeedWithoutAnEnd) {
  // More than all buffers between the two could hold.
  constexpr qint64 most = 64 * 1024 * 1024;
  const QByteArray chunk(65'536, ' ');
  QTcpServer server;
  ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
  qint64 sent = 0;
  QObject::connect(&server, &QTcpServer::newConnection, [&] {
    QTcpSocket* const socket = server.nextPendingConnection();
    const auto sendMore = [&sent, &chunk, socket] {
      if (socket->bytesToWrite() > 0) return;
      if (sent >= most) return socket->disconnectFromHost();
      sent += chunk.size();
      socket->write(chunk);
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, sendMore);
    socket->write("HTTP/1.0 200 OK\r\n\r\n");
  });

  UpdateFeed feed("http://127.0.0.1:" + std::to_string(server.serverPort()) + "/feed.json", "1.0");
  feed.check();
  while (!feed.canCheck()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_LT(sent, most) << "read to the end";
  auto* const box = qobject_cast<QMessageBox*>(shownWindow("updateResult"));
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(box->informativeText(), QStringLiteral("The list of updates can’t be read."));
  delete box;
  EXPECT_EQ(shownWindow("updateResult"), nullptr) << "said once";
}

TEST(QtMainQueue, runsInOrderAndDropsWhatIsLeft) {
  QtMainQueue queue;
  std::vector<int> order;
  queue.async([&] { order.push_back(1); });
  queue.async([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());
  QCoreApplication::processEvents();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  auto held = std::make_shared<int>(0);
  queue.async([held, &order] { order.push_back(3); });
  auto timer = queue.startTimer(Seconds{0}, Seconds{0}, Seconds{0}, [&] { order.push_back(4); });
  queue.close();
  EXPECT_EQ(held.use_count(), 1) << "dropped work lets go of what it holds";
  queue.async([&] { order.push_back(5); });
  QCoreApplication::processEvents();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(QtMainQueue, aTimerMayEndItselfWhileItFires) {
  QtMainQueue queue;
  int fired = 0;
  std::unique_ptr<Timer> timer;
  timer = queue.startTimer(Seconds{0}, Seconds{0.001}, Seconds{0}, [&] {
    ++fired;
    timer.reset();
  });
  while (fired == 0) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  // One that would come later proves that the first is gone.
  bool isLater = false;
  const auto later = queue.startTimer(Seconds{0.01}, Seconds{0}, Seconds{0}, [&] { isLater = true; });
  while (!isLater) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(fired, 1);
}

TEST(Theme, everyNameOfTheStylesheetIsAColour) {
  EXPECT_EQ(Theme::dark().resolve("@window@"), "#1a1d1e");
  QFile file(":/aerovane/aerovane.qss");
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QString sheet = Theme::light().resolve(QString::fromUtf8(file.readAll()).replace("@res@", ""));
  EXPECT_FALSE(sheet.contains(QRegularExpression("@\\w+@")))
      << QRegularExpression("@\\w+@").match(sheet).captured().toStdString();
}

}  // namespace halcyra::test
