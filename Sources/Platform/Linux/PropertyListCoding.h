#pragma once

#include <string_view>

#include "Platform/Error.h"
#include "Platform/MachService.h"
#include "Platform/PropertyList.h"

namespace sdbus {
class Message;
class Error;
}  // namespace sdbus

namespace halcyra {

/// A value that cannot travel, or a message that is not one of ours.
class PropertyListCodingError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.PropertyListCoding"; }
};

/// Property lists as D-Bus variants: boolean `b`, integer `x`, number `d`, string `s`, array `av`, dictionary `a{sv}`,
/// and null as an empty array of bytes (`ay`), which no other value is. Any integer type is read.
namespace PropertyListCoding {

/// Bounds on one message, in both directions.
inline constexpr int maximumDepth = 16;
inline constexpr int maximumValues = 10'000;
inline constexpr std::size_t maximumStringLength = 1 << 20;

/// Appends one variant. Throws `PropertyListCodingError` before anything is appended.
void append(sdbus::Message& message, const PropertyList& value);
/// Reads one variant. Throws `PropertyListCodingError`, or `sdbus::Error` when the message itself is broken.
PropertyList read(sdbus::Message& message);

/// An answer with an error, with or without a value beside it. The name is "<domain>.Code<code>" and the text the
/// description where that says everything; otherwise one JSON object in the text carries the whole answer.
sdbus::Error errorFromReply(const MachServiceReply& reply);
/// The inverse; an error that is not of that form keeps its name as the domain, with code 0.
MachServiceReply replyFromError(const sdbus::Error& error);

}  // namespace PropertyListCoding

}  // namespace halcyra
