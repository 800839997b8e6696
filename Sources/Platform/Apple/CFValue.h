#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <string>
#include <string_view>
#include <utility>

namespace halcyra {

/// A Core Foundation object that belongs to this; may be null.
template <typename Reference>
class CFValue {
 public:
  /// Takes over what a function with Create or Copy in its name gave.
  explicit CFValue(Reference value = nullptr) : value_(value) {}
  ~CFValue() {
    if (value_ != nullptr) CFRelease(value_);
  }
  CFValue(CFValue&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  CFValue(const CFValue&) = delete;
  CFValue& operator=(const CFValue&) = delete;
  CFValue& operator=(CFValue&&) = delete;

  Reference get() const { return value_; }
  explicit operator bool() const { return value_ != nullptr; }

 private:
  Reference value_;
};

/// Null when the text is not UTF-8.
inline CFValue<CFStringRef> makeCFString(std::string_view text) {
  return CFValue<CFStringRef>(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

}  // namespace halcyra
