// The update feed: JSON from the network.

#include <algorithm>

#include "FuzzTargets.h"
#include "Platform/Qt/UpdateFeed.h"
#include "Support/Expect.h"
#include "Support/Input.h"

namespace halcyra::fuzz {
namespace {

QByteArray feedOf(std::string_view text) {
  return {text.data(), static_cast<qsizetype>(text.size())};
}

void checkOrder(const std::string& first, const std::string& second) {
  expect(!(isNewerVersion(first, second) && isNewerVersion(second, first)), "of two versions one at most is newer");
  expect(!isNewerVersion(first, first), "no version is newer than itself");
}

}  // namespace

void fuzzUpdateFeed(Bytes input) {
  const std::string text = textOf(input);
  // As a version by itself, too: as such the installed one is compared.
  checkOrder(text, "0.1.0");
  const auto offer = parseUpdateFeed(feedOf(text));
  if (!offer) {
    return;
  }
  const auto isVersionCharacter = [](char character) {
    return (character >= '0' && character <= '9') || character == '.';
  };
  expect(!offer->version.empty() && std::all_of(offer->version.begin(), offer->version.end(), isVersionCharacter),
         "an offered version is made of numbers and dots");
  expect(offer->version.size() <= 64, "an offered version fits a message");
  expect(offer->page.empty() || offer->page.starts_with("https://") || offer->page.starts_with("http://"),
         "an offered page is a web page");
  expectReadable(offer->page.empty() ? "-" : offer->page);
  for (const char* installed : {"0.1.0", "1", "2147483647.0", "1.2.3"}) {
    checkOrder(offer->version, installed);
  }
  // Whatever is newer than an installed version must be newer than what that one is newer than.
  expect(!isNewerVersion(offer->version, "1.2") || isNewerVersion(offer->version, "1.1.9"), "the order is transitive");
}

}  // namespace halcyra::fuzz
