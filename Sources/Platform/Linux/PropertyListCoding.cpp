#include "Platform/Linux/PropertyListCoding.h"

#include <cctype>
#include <charconv>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include "fmt/format.h"

#include "Platform/UnicodeText.h"
#include "Platform/UntrustedText.h"
#include "sdbus-c++/Error.h"
#include "sdbus-c++/Message.h"

namespace halcyra {

namespace {

constexpr std::string_view plainErrorInfix = ".Code";
constexpr const char* fullErrorName = "halcyra.Error";
constexpr std::size_t longestErrorName = 255;

/// Counts what one message holds against the bounds.
struct Budget {
  int values = 0;

  void take(int depth) {
    if (depth > PropertyListCoding::maximumDepth || ++values > PropertyListCoding::maximumValues) {
      throw PropertyListCodingError("The message is too large.");
    }
  }
};

void checkText(std::string_view text) {
  if (text.size() > PropertyListCoding::maximumStringLength) {
    throw PropertyListCodingError("The message is too large.");
  }
  if (!isPortableText(text)) {
    throw PropertyListCodingError("A text in the message is not UTF-8.");
  }
}

void check(const PropertyList& value, Budget& budget, int depth) {
  budget.take(depth);
  switch (value.type()) {
    case PropertyList::value_t::null:
    case PropertyList::value_t::boolean:
    case PropertyList::value_t::number_integer:
    case PropertyList::value_t::number_float:
      return;
    case PropertyList::value_t::number_unsigned:
      if (value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        throw PropertyListCodingError("A number in the message does not fit 64 bits.");
      }
      return;
    case PropertyList::value_t::string:
      return checkText(value.get_ref<const std::string&>());
    case PropertyList::value_t::array:
      for (const PropertyList& item : value) {
        check(item, budget, depth + 1);
      }
      return;
    case PropertyList::value_t::object:
      for (const auto& [key, item] : value.items()) {
        checkText(key);
        check(item, budget, depth + 1);
      }
      return;
    default:
      throw PropertyListCodingError("The message holds a value of no known kind.");
  }
}

void appendChecked(sdbus::Message& message, const PropertyList& value);

template <typename Value>
void appendBasic(sdbus::Message& message, const char* signature, const Value& value) {
  message.openVariant(signature);
  message << value;
  message.closeVariant();
}

void appendArray(sdbus::Message& message, const PropertyList& value) {
  message.openVariant("av");
  message.openContainer("v");
  for (const PropertyList& item : value) {
    appendChecked(message, item);
  }
  message.closeContainer();
  message.closeVariant();
}

void appendDictionary(sdbus::Message& message, const PropertyList& value) {
  message.openVariant("a{sv}");
  message.openContainer("{sv}");
  for (const auto& [key, item] : value.items()) {
    message.openDictEntry("sv");
    message << key;
    appendChecked(message, item);
    message.closeDictEntry();
  }
  message.closeContainer();
  message.closeVariant();
}

void appendNull(sdbus::Message& message) {
  message.openVariant("ay");
  message.openContainer("y");
  message.closeContainer();
  message.closeVariant();
}

void appendChecked(sdbus::Message& message, const PropertyList& value) {
  switch (value.type()) {
    case PropertyList::value_t::boolean:
      return appendBasic(message, "b", value.get<bool>());
    case PropertyList::value_t::number_integer:
    case PropertyList::value_t::number_unsigned:
      return appendBasic(message, "x", value.get<std::int64_t>());
    case PropertyList::value_t::number_float:
      return appendBasic(message, "d", value.get<double>());
    case PropertyList::value_t::string:
      return appendBasic(message, "s", value.get_ref<const std::string&>());
    case PropertyList::value_t::array:
      return appendArray(message, value);
    case PropertyList::value_t::object:
      return appendDictionary(message, value);
    default:
      return appendNull(message);
  }
}

bool atEnd(sdbus::Message& message) {
  std::string type;
  std::string contents;
  message.peekType(type, contents);
  return type.empty() || type.front() == '\0';
}

template <typename Value>
Value readBasic(sdbus::Message& message) {
  Value value{};
  message >> value;
  return value;
}

PropertyList readValue(sdbus::Message& message, Budget& budget, int depth);

PropertyList readArray(sdbus::Message& message, Budget& budget, int depth) {
  PropertyList result = PropertyList::array();
  message.enterContainer("v");
  while (!atEnd(message)) {
    result.push_back(readValue(message, budget, depth + 1));
  }
  message.exitContainer();
  return result;
}

PropertyList readDictionary(sdbus::Message& message, Budget& budget, int depth) {
  PropertyList result = PropertyList::object();
  message.enterContainer("{sv}");
  while (!atEnd(message)) {
    message.enterDictEntry("sv");
    auto key = readBasic<std::string>(message);
    checkText(key);
    if (!result.emplace(std::move(key), readValue(message, budget, depth + 1)).second) {
      throw PropertyListCodingError("A dictionary in the message has a key twice.");
    }
    message.exitDictEntry();
  }
  message.exitContainer();
  return result;
}

PropertyList readNull(sdbus::Message& message) {
  message.enterContainer("y");
  if (!atEnd(message)) {
    throw PropertyListCodingError("The message holds a value of no known kind.");
  }
  message.exitContainer();
  return nullptr;
}

PropertyList readString(sdbus::Message& message) {
  auto text = readBasic<std::string>(message);
  checkText(text);
  return text;
}

PropertyList readUnsigned(sdbus::Message& message) {
  const auto value = readBasic<std::uint64_t>(message);
  if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    throw PropertyListCodingError("A number in the message does not fit 64 bits.");
  }
  return static_cast<std::int64_t>(value);
}

std::optional<std::int64_t> readInteger(sdbus::Message& message, const std::string& signature) {
  if (signature == "x") return readBasic<std::int64_t>(message);
  if (signature == "i") return readBasic<std::int32_t>(message);
  if (signature == "u") return readBasic<std::uint32_t>(message);
  if (signature == "n") return readBasic<std::int16_t>(message);
  if (signature == "q") return readBasic<std::uint16_t>(message);
  if (signature == "y") return readBasic<std::uint8_t>(message);
  return std::nullopt;
}

PropertyList readContents(sdbus::Message& message, const std::string& signature, Budget& budget, int depth) {
  if (signature == "b") return readBasic<bool>(message);
  if (signature == "d") return readBasic<double>(message);
  if (signature == "s") return readString(message);
  if (signature == "t") return readUnsigned(message);
  if (signature == "av") return readArray(message, budget, depth);
  if (signature == "a{sv}") return readDictionary(message, budget, depth);
  if (signature == "ay") return readNull(message);
  if (const auto integer = readInteger(message, signature)) return *integer;
  throw PropertyListCodingError("The message holds a value of no known kind.");
}

PropertyList readValue(sdbus::Message& message, Budget& budget, int depth) {
  budget.take(depth);
  std::string type;
  std::string signature;
  message.peekType(type, signature);
  if (type != "v") {
    throw PropertyListCodingError("The message holds a value of no known kind.");
  }
  message.enterVariant(signature);
  PropertyList result = readContents(message, signature, budget, depth);
  message.exitVariant();
  return result;
}

bool isNameCharacter(char character, bool first) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x80 && (std::isalpha(byte) != 0 || character == '_' || (!first && std::isdigit(byte) != 0));
}

/// Whether "<domain>.Code<n>" is a name that a bus lets through.
bool isErrorDomain(const std::string& domain) {
  constexpr std::size_t roomForCode = 25;
  bool first = true;
  for (const char character : domain) {
    if (character == '.') {
      if (first) return false;
      first = true;
    } else if (!isNameCharacter(character, first)) {
      return false;
    } else {
      first = false;
    }
  }
  return !first && domain.size() + roomForCode <= longestErrorName;
}

bool fitsPlainForm(const MachServiceReply& reply) {
  const Error& error = *reply.error;
  const auto description = error.userInfo.find(localizedDescriptionKey);
  const bool onlyDescription = error.userInfo.size() == 1 && description != error.userInfo.end() &&
                               !description->second.empty() && isPortableText(description->second);
  return reply.value.is_null() && (error.userInfo.empty() || onlyDescription) && error.code >= 0 &&
         isErrorDomain(error.domain);
}

std::optional<MachServiceReply> parseFullForm(const std::string& text) {
  try {
    const auto record = parseUntrustedJSON(text);
    const auto code = integerEntry(record, "code");
    if (!code) return std::nullopt;
    Error error(record.at("domain").get<std::string>(), *code);
    for (const auto& [key, value] : record.at("userInfo").items()) {
      error.userInfo.emplace(key, value.get<std::string>());
    }
    return MachServiceReply{record.at("value"), std::move(error)};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  } catch (const JSONTooLarge&) {
    return std::nullopt;
  }
}

std::optional<Error> parsePlainForm(const std::string& name, const std::string& message) {
  const auto infix = name.rfind(plainErrorInfix);
  if (infix == std::string::npos) {
    return std::nullopt;
  }
  const char* digits = name.data() + infix + plainErrorInfix.size();
  const char* end = name.data() + name.size();
  std::int64_t code = 0;
  const auto [rest, failure] = std::from_chars(digits, end, code);
  if (failure != std::errc() || rest != end || code < 0) {
    return std::nullopt;
  }
  const std::string_view domain(name.data(), infix);
  return message.empty() ? Error(domain, code) : Error(domain, code, message);
}

}  // namespace

void PropertyListCoding::append(sdbus::Message& message, const PropertyList& value) {
  Budget budget;
  check(value, budget, 0);
  appendChecked(message, value);
}

PropertyList PropertyListCoding::read(sdbus::Message& message) {
  Budget budget;
  return readValue(message, budget, 0);
}

sdbus::Error PropertyListCoding::errorFromReply(const MachServiceReply& reply) {
  const Error& error = *reply.error;
  if (fitsPlainForm(reply)) {
    const auto description = error.userInfo.find(localizedDescriptionKey);
    return {fmt::format("{}{}{}", error.domain, plainErrorInfix, error.code),
            description == error.userInfo.end() ? std::string() : description->second};
  }
  const nlohmann::json record = {
      {"domain", error.domain}, {"code", error.code}, {"userInfo", error.userInfo}, {"value", reply.value}};
  return {fullErrorName, record.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)};
}

MachServiceReply PropertyListCoding::replyFromError(const sdbus::Error& error) {
  if (error.getName() == fullErrorName) {
    if (auto reply = parseFullForm(error.getMessage())) {
      return std::move(*reply);
    }
  }
  if (auto plain = parsePlainForm(error.getName(), error.getMessage())) {
    return {nullptr, std::move(plain)};
  }
  return {nullptr, Error(error.getName(), 0, error.getMessage())};
}

}  // namespace halcyra
