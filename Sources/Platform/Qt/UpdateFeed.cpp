#include "Platform/Qt/UpdateFeed.h"

#include <QApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringList>
#include <QTextDocument>
#include <algorithm>
#include <utility>
#include <vector>

namespace halcyra {

namespace {

constexpr int timeoutMilliseconds = 15'000;
/// Bytes; a feed is a few lines.
constexpr qint64 longestFeed = 65'536;

/// Characters; both are shown.
constexpr std::size_t longestVersion = 64;
constexpr std::size_t longestPage = 200;

std::optional<std::vector<int>> numbersOf(const std::string& version) {
  // Digits alone: a number that Qt reads may have blanks around it and a sign.
  const bool isPlain = version.find_first_not_of("0123456789.") == std::string::npos;
  if (!isPlain || version.size() > longestVersion) return std::nullopt;
  std::vector<int> numbers;
  for (const QString& part : QString::fromStdString(version).split('.')) {
    bool isNumber = false;
    numbers.push_back(part.toInt(&isNumber));
    if (!isNumber) return std::nullopt;
  }
  return numbers;
}

/// The address when it is a web page's and fit to be shown, else nothing: the feed is not ours.
std::string webPage(const std::string& address) {
  const bool isWeb = address.starts_with("https://") || address.starts_with("http://");
  const bool isPlain =
      std::all_of(address.begin(), address.end(), [](char character) { return character > ' ' && character <= '~'; });
  return isWeb && isPlain && address.size() <= longestPage ? address : std::string();
}

}  // namespace

std::optional<UpdateOffer> parseUpdateFeed(const QByteArray& content) {
  const QJsonObject feed = QJsonDocument::fromJson(content).object();
  const std::string version = feed.value(QStringLiteral("version")).toString().toStdString();
  if (!numbersOf(version)) return std::nullopt;
  return UpdateOffer{version, webPage(feed.value(QStringLiteral("page")).toString().toStdString())};
}

bool isNewerVersion(const std::string& offered, const std::string& installed) {
  auto left = numbersOf(offered);
  auto right = numbersOf(installed);
  if (!left || !right) return false;
  const std::size_t length = std::max(left->size(), right->size());
  left->resize(length);
  right->resize(length);
  return *left > *right;
}

UpdateFeed::UpdateFeed(const std::string& address, std::string version, QObject* parent)
    : QObject(parent),
      feed_(address.empty()
                ? QUrl()
                : QUrl::fromUserInput(QString::fromStdString(address), QDir::currentPath(), QUrl::AssumeLocalFile)),
      version_(std::move(version)),
      network_(new QNetworkAccessManager(this)) {
  network_->setTransferTimeout(timeoutMilliseconds);
}

void UpdateFeed::check() {
  if (!canCheck()) return;
  isChecking_ = true;
  QNetworkReply* reply = network_->get(QNetworkRequest(feed_));
  connect(reply, &QNetworkReply::finished, this, [this, reply] { conclude(*reply); });
  // A reply without an end is not kept.
  connect(reply, &QNetworkReply::readyRead, this, [this, reply] {
    if (reply->bytesAvailable() > longestFeed) conclude(*reply);
  });
}

void UpdateFeed::conclude(QNetworkReply& reply) {
  // Once: aborting finishes it again.
  reply.disconnect(this);
  reply.deleteLater();
  isChecking_ = false;
  if (reply.error() != QNetworkReply::NoError) {
    show(QStringLiteral("The check for updates failed."), reply.errorString());
  } else {
    showResult(reply.read(longestFeed));
  }
  reply.abort();
}

void UpdateFeed::showResult(const QByteArray& content) {
  const auto offer = parseUpdateFeed(content);
  if (!offer) {
    show(QStringLiteral("The check for updates failed."), QStringLiteral("The list of updates can’t be read."));
  } else if (isNewerVersion(offer->version, version_)) {
    show(QStringLiteral("Aerovane %1 is available.").arg(QString::fromStdString(offer->version)),
         QStringLiteral("You have version %1. %2")
             .arg(QString::fromStdString(version_), QString::fromStdString(offer->page)));
  } else {
    show(QStringLiteral("Aerovane is up to date."),
         QStringLiteral("Version %1 is the newest.").arg(QString::fromStdString(version_)));
  }
}

void UpdateFeed::show(const QString& message, const QString& informativeText) {
  auto* box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Aerovane"), message, QMessageBox::Ok,
                              QApplication::activeWindow());
  box->setObjectName(QStringLiteral("updateResult"));
  box->setAttribute(Qt::WA_DeleteOnClose);
  // The feed is not ours: its text must not be taken for markup. The second text's format cannot be told.
  box->setTextFormat(Qt::PlainText);
  box->setInformativeText(Qt::mightBeRichText(informativeText)
                              ? QStringLiteral("<qt>%1</qt>").arg(informativeText.toHtmlEscaped())
                              : informativeText);
  box->open();
}

}  // namespace halcyra
