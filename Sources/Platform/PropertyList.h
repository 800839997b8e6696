#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "nlohmann/json.hpp"

namespace halcyra {

/// What travels in messages between application and helper: numbers, booleans, strings, arrays and dictionaries.
/// Null stands for "no value" (a nil dictionary).
using PropertyList = nlohmann::json;

/// The entry under `key` when `dictionary` is a dictionary that has it, else nothing. The pointer is into `dictionary`.
const PropertyList* entry(const PropertyList& dictionary, std::string_view key);

/// The entry as an integer: only a number without a fraction that fits 64 bits; a boolean is no integer.
std::optional<std::int64_t> integerEntry(const PropertyList& dictionary, std::string_view key);

/// The entry as a boolean; a number is no boolean.
std::optional<bool> booleanEntry(const PropertyList& dictionary, std::string_view key);

/// The entry when it is an array all of whose entries are dictionaries (an empty array counts), else nothing.
const PropertyList* dictionaryArrayEntry(const PropertyList& dictionary, std::string_view key);

}  // namespace halcyra
