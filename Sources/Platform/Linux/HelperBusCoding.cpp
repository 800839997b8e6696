#include "Platform/Linux/HelperBusCoding.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <systemd/sd-bus.h>
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
      return value.get_ref<const std::string&>();
    case PropertyList::value_t::object:
      return HelperBusCoding::encoded(value);
    default:
      std::vector<Dictionary> dictionaries;
      for (const PropertyList& each : value) dictionaries.push_back(HelperBusCoding::encoded(each));
      return dictionaries;
  }
}

/// Null for a value of no known type.
PropertyList decodedValue(const sdbus::Variant& value) {
  const std::string type = value.peekValueType();
  if (type == "b") return value.get<bool>();
  if (type == "x") return value.get<std::int64_t>();
  if (type == "d") return value.get<double>();
  if (type == "s") return value.get<std::string>();
  if (type == "a{sv}") return HelperBusCoding::decoded(value.get<Dictionary>());
  if (type != "aa{sv}") return nullptr;
  PropertyList result = PropertyList::array();
  for (const Dictionary& each : value.get<std::vector<Dictionary>>()) result.push_back(HelperBusCoding::decoded(each));
  return result;
}

std::optional<Code> helperCode(const Error& error) {
  return error.domain == HelperXPCError::domain ? HelperXPCError::codeFromRaw(error.code) : std::nullopt;
}

/// Empty when there can be none.
std::string errorName(const Error& error) {
  for (const auto& [code, text] : errorNames) {
    if (helperCode(error) == code) return fmt::format("{}{}{}", HelperXPCError::domain, namedInfix, text);
  }
  std::string name = fmt::format("{}{}{}", error.domain, numberedInfix, error.code);
  return sd_bus_interface_name_is_valid(name.c_str()) > 0 ? name : std::string();
}

/// What stands for an error without a description.
std::string_view standardText(const Error& error) {
  const auto code = helperCode(error);
  return code ? HelperXPCError::readableText(*code) : std::string_view();
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
    if (failure == std::errc() && rest == end) return {std::string_view(name).substr(0, infix), code};
  }
  return {name, 0};
}

}  // namespace

Dictionary HelperBusCoding::encoded(const PropertyList& dictionary) {
  Dictionary result;
  if (!dictionary.is_object()) return result;
  for (const auto& [key, value] : dictionary.items()) {
    if (!value.is_null()) result.emplace(key, encodedValue(value));
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
  const bool isDescribed = description != error.userInfo.end() && isPortableText(description->second);
  const std::string text(isDescribed ? description->second : standardText(error));
  const std::string name = errorName(error);
  return {name.empty() ? errorName(HelperXPCError::make(Code::internalFailure)) : name, text};
}

Error HelperBusCoding::decoded(const sdbus::Error& error) {
  Error result = parsedName(error.getName());
  const std::string& text = error.getMessage();
  if (!text.empty() && text != standardText(result)) result.userInfo.emplace(localizedDescriptionKey, text);
  return result;
}

}  // namespace halcyra
