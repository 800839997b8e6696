#include <QApplication>
#include <QMessageBox>
#include <QTcpServer>
#include <QTcpSocket>

#include "gtest/gtest.h"

#include "Platform/Qt/UpdateFeed.h"

namespace halcyra::test {

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
  int shown = 0;
  for (QWidget* const each : QApplication::topLevelWidgets()) {
    if (each->objectName() != QLatin1String("updateResult")) continue;
    ++shown;
    EXPECT_EQ(qobject_cast<QMessageBox*>(each)->informativeText(),
              QStringLiteral("The list of updates can’t be read."));
    delete each;
  }
  EXPECT_EQ(shown, 1);
}

}  // namespace halcyra::test
