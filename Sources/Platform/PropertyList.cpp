#include "Platform/PropertyList.h"

#include <algorithm>
#include <limits>

namespace halcyra {

const PropertyList* entry(const PropertyList& dictionary, std::string_view key) {
  if (!dictionary.is_object()) {
    return nullptr;
  }
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : &*found;
}

std::optional<std::int64_t> integerEntry(const PropertyList& dictionary, std::string_view key) {
  const PropertyList* value = entry(dictionary, key);
  if (value == nullptr || !value->is_number_integer()) {
    return std::nullopt;
  }
  if (value->is_number_unsigned() &&
      value->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    return std::nullopt;
  }
  return value->get<std::int64_t>();
}

std::optional<bool> booleanEntry(const PropertyList& dictionary, std::string_view key) {
  const PropertyList* value = entry(dictionary, key);
  if (value == nullptr || !value->is_boolean()) {
    return std::nullopt;
  }
  return value->get<bool>();
}

const PropertyList* dictionaryArrayEntry(const PropertyList& dictionary, std::string_view key) {
  const PropertyList* value = entry(dictionary, key);
  const bool matches =
      value != nullptr && value->is_array() &&
      std::all_of(value->begin(), value->end(), [](const PropertyList& item) { return item.is_object(); });
  return matches ? value : nullptr;
}

}  // namespace halcyra
