#pragma once

#include <map>
#include <string>

#include "Platform/Error.h"
#include "Platform/PropertyList.h"
#include "sdbus-c++/sdbus-c++.h"

/// What the helper answers with, as it travels on a message bus.
namespace halcyra::HelperBusCoding {

using Dictionary = std::map<std::string, sdbus::Variant>;

/// Booleans as `b`, integers `x`, numbers `d`, strings `s`, dictionaries `a{sv}`, arrays of dictionaries `aa{sv}`,
/// other arrays `av`. Entries without a value, and what is no dictionary, are left out. Throws `sdbus::Error` for a
/// text that is not UTF-8.
Dictionary encoded(const PropertyList& dictionary);
/// The inverse; values of other types are left out.
PropertyList decoded(const Dictionary& dictionary);

/// "com.norwick.Halcyra.helper.Error.Busy" and so on for the helper's own codes, "<domain>.Code<code>" for others, with
/// the description, or what the client shows without one, as the text. An error that no such name can be made for
/// arrives as the helper's `internalFailure`.
sdbus::Error encoded(const Error& error);
/// The inverse; an error of any other form keeps its name as the domain, with code 0.
Error decoded(const sdbus::Error& error);

}  // namespace halcyra::HelperBusCoding
