#pragma once

#include <QByteArray>
#include <QObject>
#include <QUrl>
#include <optional>
#include <string>

class QNetworkAccessManager;
class QNetworkReply;

namespace halcyra {

/// What a feed says about the newest version.
struct UpdateOffer {
  std::string version;
  /// The web page where it is described; empty when the feed names none that can be shown.
  std::string page;
};

/// Reads a feed of JSON: { "version": "1.2.3", "page": "https://…" }. Nothing for anything else.
std::optional<UpdateOffer> parseUpdateFeed(const QByteArray& content);

/// Whether `offered` is newer than `installed`: by the numbers between the dots; what is missing counts as 0. False
/// when either is not made of numbers.
bool isNewerVersion(const std::string& offered, const std::string& installed);

/// The small updater: reads a feed from a file or over HTTP(S) and shows the result. It never installs anything.
class UpdateFeed : public QObject {
  Q_OBJECT

 public:
  /// `address` is a URL or the path of a file; empty: no feed is configured. `version` is the installed one.
  UpdateFeed(const std::string& address, std::string version, QObject* parent = nullptr);

  bool canCheck() const { return feed_.isValid() && !feed_.isEmpty() && !isChecking_; }
  /// One check; its result, or why there is none, is shown.
  void check();

 private:
  void conclude(QNetworkReply& reply);
  void showResult(const QByteArray& content);
  void show(const QString& message, const QString& informativeText);

  QUrl feed_;
  std::string version_;
  QNetworkAccessManager* network_;
  bool isChecking_ = false;
};

}  // namespace halcyra
