#include "Platform/Linux/HelperBusCoding.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "fmt/format.h"

#include "Platform/UnicodeText.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

using HelperBusCoding::Dictionary;
using HelperXPCError::Code;

constexpr std::string_view namedInfix = ".Error.";
constexpr std::string_view numberedInfix = ".Code";

constexpr std::array<std::pair<Code, std::string_view>, 8> errorNames{{
    {Code::unauthorizedClient, "UnauthorizedClient"},
    {Code::busy, "Busy"},
    {Code::invalidSession, "InvalidSession"},
    {Code::invalidFan, "InvalidFan"},
    {Code::unsupportedHardware, "UnsupportedHardware"},
    {Code::abnormalPreflight, "AbnormalPreflight"},
    {Code::controlUnavailable, "ControlUnavailable"},
    {Code::internalFailure, "InternalFailure"},
}};

bool isDictionary(const PropertyList& value) {
  return value.is_object();
}

std::string portable(const std::string& text) {
  if (!isPortableText(text)) {
    throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "A text is not UTF-8.");
  }
  return text;
}

sdbus::Variant encodedArray(const PropertyList& array);

sdbus::Variant encodedValue(const PropertyList& value) {
  switch (value.type()) {
    case PropertyList::value_t::boolean:
      return value.get<bool>();
    case PropertyList::value_t::number_integer:
    case PropertyList::value_t::number_unsigned:
      return value.get<std::int64_t>();
    case PropertyList::value_t::number_float:
      return value.get<double>();
    case PropertyList::value_t::string:
      return portable(value.get_ref<const std::string&>());
    case PropertyList::value_t::object:
      return HelperBusCoding::encoded(value);
    default:
      return encodedArray(value);
  }
}

sdbus::Variant encodedArray(const PropertyList& array) {
  if (std::all_of(array.begin(), array.end(), isDictionary)) {
    std::vector<Dictionary> dictionaries;
    for (const PropertyList& each : array) dictionaries.push_back(HelperBusCoding::encoded(each));
    return dictionaries;
  }
  std::vector<sdbus::Variant> values;
  for (const PropertyList& each : array) {
    if (!each.is_null()) values.push_back(encodedValue(each));
  }
  return values;
}

template <typename Dictionaries>
PropertyList decodedDictionaries(const Dictionaries& dictionaries) {
  PropertyList result = PropertyList::array();
  for (const Dictionary& each : dictionaries) result.push_back(HelperBusCoding::decoded(each));
  return result;
}

/// Null for a value of no known type.
PropertyList decodedValue(const sdbus::Variant& value) {
  const std::string type = value.peekValueType();
  if (type == "b") return value.get<bool>();
  if (type == "x") return value.get<std::int64_t>();
  if (type == "i") return value.get<std::int32_t>();
  if (type == "u") return value.get<std::uint32_t>();
  if (type == "n") return value.get<std::int16_t>();
  if (type == "q") return value.get<std::uint16_t>();
  if (type == "y") return value.get<std::uint8_t>();
  if (type == "t") return value.get<std::uint64_t>();
  if (type == "d") return value.get<double>();
  if (type == "s") return value.get<std::string>();
  if (type == "a{sv}") return HelperBusCoding::decoded(value.get<Dictionary>());
  if (type == "aa{sv}") return decodedDictionaries(value.get<std::vector<Dictionary>>());
  if (type != "av") return nullptr;
  PropertyList result = PropertyList::array();
  for (const sdbus::Variant& each : value.get<std::vector<sdbus::Variant>>()) result.push_back(decodedValue(each));
  return result;
}

/// Whether "<domain>.Code<n>" is a name that a bus lets through: letters, digits and underlines in parts that do not
/// begin with a digit.
bool isErrorDomain(std::string_view domain) {
  constexpr std::size_t longestDomain = 200;
  bool isFirst = true;
  for (const char character : domain) {
    const bool isLetter = (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
    const bool isDigit = character >= '0' && character <= '9';
    const bool isAllowed = isLetter || character == '_' || (!isFirst && (isDigit || character == '.'));
    if (!isAllowed) return false;
    isFirst = character == '.';
  }
  return !isFirst && domain.size() <= longestDomain;
}

/// Empty when there can be none.
std::string errorName(const Error& error) {
  const auto named = std::find_if(errorNames.begin(), errorNames.end(), [&](const auto& each) {
    return error.domain == HelperXPCError::domain && error.code == static_cast<std::int64_t>(each.first);
  });
  if (named != errorNames.end()) return fmt::format("{}{}{}", HelperXPCError::domain, namedInfix, named->second);
  if (error.code < 0 || !isErrorDomain(error.domain)) return {};
  return fmt::format("{}{}{}", error.domain, numberedInfix, error.code);
}

/// Domain and code of a name; the whole name and 0 when it is none of ours.
Error parsedName(const std::string& name) {
  for (const auto& [code, text] : errorNames) {
    if (name == fmt::format("{}{}{}", HelperXPCError::domain, namedInfix, text)) return HelperXPCError::make(code);
  }
  if (const auto infix = name.rfind(numberedInfix); infix != std::string::npos) {
    const char* const digits = name.data() + infix + numberedInfix.size();
    const char* const end = name.data() + name.size();
    std::int64_t code = 0;
    const auto [rest, failure] = std::from_chars(digits, end, code);
    if (failure == std::errc() && rest == end && code >= 0) return {std::string_view(name).substr(0, infix), code};
  }
  return {name, 0};
}

}  // namespace

Dictionary HelperBusCoding::encoded(const PropertyList& dictionary) {
  Dictionary result;
  if (!dictionary.is_object()) return result;
  for (const auto& [key, value] : dictionary.items()) {
    if (!value.is_null()) result.emplace(portable(key), encodedValue(value));
  }
  return result;
}

PropertyList HelperBusCoding::decoded(const Dictionary& dictionary) {
  PropertyList result = PropertyList::object();
  for (const auto& [key, variant] : dictionary) {
    if (PropertyList value = decodedValue(variant); !value.is_null()) result.emplace(key, std::move(value));
  }
  return result;
}

sdbus::Error HelperBusCoding::encoded(const Error& error) {
  const auto description = error.userInfo.find(localizedDescriptionKey);
  std::string text = description == error.userInfo.end() ? std::string() : description->second;
  if (!isPortableText(text)) text.clear();
  if (const std::string name = errorName(error); !name.empty()) return {name, text};
  return {errorName(HelperXPCError::make(Code::internalFailure)), text};
}

Error HelperBusCoding::decoded(const sdbus::Error& error) {
  Error result = parsedName(error.getName());
  if (!error.getMessage().empty()) result.userInfo.emplace(localizedDescriptionKey, error.getMessage());
  return result;
}

}  // namespace halcyra
