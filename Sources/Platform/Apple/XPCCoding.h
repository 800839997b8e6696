#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>
#include <xpc/xpc.h>

#include "Platform/Error.h"
#include "Platform/PropertyList.h"

/// The helper's messages as XPC objects: a dictionary with the selector and an array of arguments, answered by a
/// dictionary with the helper's dictionary, an error, or neither.
namespace halcyra {

/// An XPC object that belongs to this; may be null.
class XPCValue {
 public:
  XPCValue() = default;
  /// Takes over what a function with create or copy in its name gave.
  explicit XPCValue(xpc_object_t object) : object_(object) {}
  static XPCValue retaining(xpc_object_t object) { return XPCValue(xpc_retain(object)); }
  ~XPCValue() {
    if (object_ != nullptr) xpc_release(object_);
  }
  XPCValue(XPCValue&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  XPCValue& operator=(XPCValue&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  XPCValue(const XPCValue&) = delete;
  XPCValue& operator=(const XPCValue&) = delete;

  xpc_object_t get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  xpc_object_t object_ = nullptr;
};

struct HelperMessage {
  std::string selector;
  std::vector<PropertyList> arguments;
};

struct HelperReply {
  PropertyList dictionary;
  std::optional<Error> error;
};

namespace XPCCoding {

/// Deeper values are not taken from another process.
inline constexpr int deepestValue = 16;

XPCValue encode(const HelperMessage& message);
/// Nothing when it is no such message.
std::optional<HelperMessage> decodeMessage(xpc_object_t object);

/// Fills `reply`, a dictionary that XPC has made for the answer.
void encode(const HelperReply& answer, xpc_object_t reply);
/// A malformed answer reads as an error.
HelperReply decodeReply(xpc_object_t reply);

}  // namespace XPCCoding

}  // namespace halcyra
