#include "Platform/Apple/XPCCoding.h"

#include "Platform/UnicodeText.h"

namespace halcyra {

namespace {

constexpr const char* selectorKey = "selector";
constexpr const char* argumentsKey = "arguments";
constexpr const char* dictionaryKey = "dictionary";
constexpr const char* errorKey = "error";
constexpr const char* errorDomainKey = "domain";
constexpr const char* errorCodeKey = "code";
constexpr const char* errorUserInfoKey = "userInfo";

XPCValue encodeValue(const PropertyList& value);

XPCValue encodeArray(const PropertyList& value) {
  XPCValue array(xpc_array_create(nullptr, 0));
  for (const PropertyList& each : value) xpc_array_append_value(array.get(), encodeValue(each).get());
  return array;
}

XPCValue encodeDictionary(const PropertyList& value) {
  XPCValue dictionary(xpc_dictionary_create(nullptr, nullptr, 0));
  for (const auto& [key, each] : value.items()) {
    xpc_dictionary_set_value(dictionary.get(), key.c_str(), encodeValue(each).get());
  }
  return dictionary;
}

XPCValue encodeValue(const PropertyList& value) {
  switch (value.type()) {
    case PropertyList::value_t::boolean:
      return XPCValue(xpc_bool_create(value.get<bool>()));
    case PropertyList::value_t::number_integer:
      return XPCValue(xpc_int64_create(value.get<std::int64_t>()));
    case PropertyList::value_t::number_unsigned:
      return XPCValue(xpc_uint64_create(value.get<std::uint64_t>()));
    case PropertyList::value_t::number_float:
      return XPCValue(xpc_double_create(value.get<double>()));
    case PropertyList::value_t::string:
      return XPCValue(xpc_string_create(value.get_ref<const std::string&>().c_str()));
    case PropertyList::value_t::array:
      return encodeArray(value);
    case PropertyList::value_t::object:
      return encodeDictionary(value);
    default:
      return XPCValue(xpc_null_create());
  }
}

std::optional<PropertyList> decodeValue(xpc_object_t object, int depth);

std::optional<PropertyList> decodeArray(xpc_object_t object, int depth) {
  PropertyList result = PropertyList::array();
  for (std::size_t index = 0; index < xpc_array_get_count(object); ++index) {
    auto value = decodeValue(xpc_array_get_value(object, index), depth + 1);
    if (!value) return std::nullopt;
    result.push_back(std::move(*value));
  }
  return result;
}

std::optional<PropertyList> decodeDictionary(xpc_object_t object, int depth) {
  PropertyList result = PropertyList::object();
  PropertyList* const filled = &result;
  const bool isWhole = xpc_dictionary_apply(object, ^bool(const char* key, xpc_object_t each) {
    auto value = decodeValue(each, depth + 1);
    if (!value || !isPortableText(key)) return false;
    (*filled)[key] = std::move(*value);
    return true;
  });
  return isWhole ? std::optional(std::move(result)) : std::nullopt;
}

std::optional<PropertyList> decodeString(xpc_object_t object) {
  std::string text(xpc_string_get_string_ptr(object), xpc_string_get_length(object));
  return isPortableText(text) ? std::optional<PropertyList>(std::move(text)) : std::nullopt;
}

std::optional<PropertyList> decodeValue(xpc_object_t object, int depth) {
  if (object == nullptr || depth > XPCCoding::deepestValue) return std::nullopt;
  const xpc_type_t type = xpc_get_type(object);
  if (type == XPC_TYPE_BOOL) return PropertyList(xpc_bool_get_value(object));
  if (type == XPC_TYPE_INT64) return PropertyList(xpc_int64_get_value(object));
  if (type == XPC_TYPE_UINT64) return PropertyList(xpc_uint64_get_value(object));
  if (type == XPC_TYPE_DOUBLE) return PropertyList(xpc_double_get_value(object));
  if (type == XPC_TYPE_STRING) return decodeString(object);
  if (type == XPC_TYPE_ARRAY) return decodeArray(object, depth);
  if (type == XPC_TYPE_DICTIONARY) return decodeDictionary(object, depth);
  if (type == XPC_TYPE_NULL) return PropertyList();
  return std::nullopt;
}

std::optional<PropertyList> decodeEntry(xpc_object_t dictionary, const char* key) {
  return decodeValue(xpc_dictionary_get_value(dictionary, key), 0);
}

std::optional<Error> decodeError(const PropertyList& value) {
  const PropertyList* const domain = entry(value, errorDomainKey);
  const auto code = integerEntry(value, errorCodeKey);
  const PropertyList* const userInfo = entry(value, errorUserInfoKey);
  if (domain == nullptr || !domain->is_string() || !code || userInfo == nullptr || !userInfo->is_object()) {
    return std::nullopt;
  }
  Error error(domain->get_ref<const std::string&>(), *code);
  for (const auto& [key, text] : userInfo->items()) {
    if (text.is_string()) error.userInfo.emplace(key, text.get<std::string>());
  }
  return error;
}

PropertyList errorValue(const Error& error) {
  return {{errorDomainKey, error.domain}, {errorCodeKey, error.code}, {errorUserInfoKey, PropertyList(error.userInfo)}};
}

}  // namespace

XPCValue XPCCoding::encode(const HelperMessage& message) {
  XPCValue result(xpc_dictionary_create(nullptr, nullptr, 0));
  xpc_dictionary_set_value(result.get(), selectorKey, XPCValue(xpc_string_create(message.selector.c_str())).get());
  xpc_dictionary_set_value(result.get(), argumentsKey, encodeValue(PropertyList(message.arguments)).get());
  return result;
}

std::optional<HelperMessage> XPCCoding::decodeMessage(xpc_object_t object) {
  const auto selector = decodeEntry(object, selectorKey);
  const auto arguments = decodeEntry(object, argumentsKey);
  if (!selector || !selector->is_string() || !arguments || !arguments->is_array()) return std::nullopt;
  return HelperMessage{selector->get<std::string>(), arguments->get<std::vector<PropertyList>>()};
}

void XPCCoding::encode(const HelperReply& answer, xpc_object_t reply) {
  if (answer.error) {
    xpc_dictionary_set_value(reply, errorKey, encodeValue(errorValue(*answer.error)).get());
  } else if (answer.dictionary.is_object()) {
    xpc_dictionary_set_value(reply, dictionaryKey, encodeValue(answer.dictionary).get());
  }
}

HelperReply XPCCoding::decodeReply(xpc_object_t reply) {
  const HelperReply malformed{nullptr, Error("halcyra.XPC", 0, "The helper's answer is malformed.")};
  if (xpc_dictionary_get_value(reply, errorKey) != nullptr) {
    const auto value = decodeEntry(reply, errorKey);
    auto error = value ? decodeError(*value) : std::nullopt;
    return error ? HelperReply{nullptr, std::move(error)} : malformed;
  }
  if (xpc_dictionary_get_value(reply, dictionaryKey) == nullptr) return {PropertyList::object(), std::nullopt};
  auto dictionary = decodeEntry(reply, dictionaryKey);
  return dictionary && dictionary->is_object() ? HelperReply{std::move(*dictionary), std::nullopt} : malformed;
}

}  // namespace halcyra
