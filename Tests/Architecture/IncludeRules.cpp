#include "Architecture/IncludeRules.h"

#include <algorithm>
#include <array>
#include <map>
#include <regex>
#include <sstream>

namespace halcyra::test {

namespace {

using Prefixes = std::vector<std::string_view>;

/// By room: the paths that its files may include by quotes, as prefixes. A room is a folder under Sources/; a folder
/// that realises the platform is a room of its own.
const std::map<std::string_view, Prefixes>& allowedPrefixes() {
  static const std::map<std::string_view, Prefixes> table{
      {"Platform", {"Platform/"}},
      {"Platform/POSIX", {"Platform/"}},
      {"Platform/Linux", {"Platform/", "Platform/Linux/", "XPC/", "sdbus-c++/"}},
      {"Platform/Apple", {"Platform/", "Platform/Apple/", "XPC/"}},
      {"Platform/Qt", {"Platform/", "Platform/Qt/"}},
      {"SMC", {"Platform/", "SMC/"}},
      {"Helpers", {"Platform/", "SMC/", "Helpers/"}},
      {"XPC", {"Platform/", "XPC/"}},
      {"Client", {"Platform/", "SMC/", "Helpers/", "XPC/", "Client/"}},
      {"App", {"Platform/", "SMC/", "Helpers/", "XPC/", "Client/", "App/"}},
      {"UI", {"Platform/", "SMC/", "Helpers/", "XPC/", "Client/", "App/", "UI/"}},
      {"Daemon", {"Platform/", "SMC/", "Helpers/", "XPC/", "Daemon/"}},
      {"VirtualMac",
       {"Platform/", "VirtualMac/", "SMC/SMCKey.h", "SMC/SMCValue.h", "SMC/SMCParamStruct.h", "SMC/SMCInterface.h",
        "SMC/SMCError.h", "SMC/FanInfo.h"}},
      {"Programs", {""}},
  };
  return table;
}

/// What Linux and macOS have in common belongs to both.
constexpr std::string_view shared = "Platform/POSIX";
constexpr std::array<std::string_view, 4> realisations{shared, "Platform/Linux", "Platform/Apple", "Platform/Qt"};
constexpr std::array<std::string_view, 2> librariesForAll{"fmt/", "nlohmann/"};

bool isWithin(std::string_view path, std::string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

std::string_view roomOf(std::string_view file) {
  for (const std::string_view folder : realisations) {
    if (isWithin(file, folder)) return folder;
  }
  return file.substr(0, file.find('/'));
}

bool isQtHeader(std::string_view target) {
  return target.size() > 1 && target[0] == 'Q' && target[1] >= 'A' && target[1] <= 'z' && target[1] != '_';
}

std::string quotedObjection(std::string_view room, std::string_view target) {
  if (target.find("..") != std::string_view::npos) {
    return "includes are written from Sources/";
  }
  const bool mayShare = room == "Platform/Linux" || room == "Platform/Apple";
  const auto belongsToOther = [&](std::string_view folder) {
    return isWithin(target, folder) && room != folder && !(folder == shared && mayShare);
  };
  if (room != "Programs" && std::any_of(realisations.begin(), realisations.end(), belongsToOther)) {
    return "only Programs knows which platform is in use";
  }
  const auto allowed = allowedPrefixes().find(room);
  if (allowed == allowedPrefixes().end()) {
    return "the folder " + std::string(room) + " has no rules";
  }
  const auto matches = [&](std::string_view prefix) { return target.starts_with(prefix); };
  if (std::any_of(allowed->second.begin(), allowed->second.end(), matches) ||
      std::any_of(librariesForAll.begin(), librariesForAll.end(), matches)) {
    return "";
  }
  return std::string(room) + " may not use it";
}

}  // namespace

std::string IncludeRules::objection(std::string_view file, std::string_view target, bool isQuoted) {
  const std::string_view room = roomOf(file);
  const bool isOfSystem = target.starts_with("sys/") || target == "unistd.h";
  if (room == "App" && (isOfSystem || isQtHeader(target))) {
    return "App is free of the operating system and of Qt";
  }
  return isQuoted ? quotedObjection(room, target) : std::string();
}

std::vector<std::string> IncludeRules::objections(std::string_view file, std::string_view content) {
  static const std::regex directive(R"(^\s*#\s*include\b\s*(.*)$)");
  static const std::regex form(R"rx(^(?:"([^"]+)"|<([^>]+)>).*$)rx");
  std::vector<std::string> result;
  std::istringstream lines{std::string(content)};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::smatch found;
    if (!std::regex_match(line, found, directive)) continue;
    const std::string what = found[1];
    std::smatch target;
    const std::string reason =
        std::regex_match(what, target, form)
            ? objection(file, target[1].matched ? target[1].str() : target[2].str(), target[1].matched)
            : "an include names its file";
    if (!reason.empty()) {
      result.push_back(std::string(file) + ":" + std::to_string(number) + ": " + what + ": " + reason);
    }
  }
  return result;
}

}  // namespace halcyra::test
