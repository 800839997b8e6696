#include "Platform/Apple/PreferencesUserDefaults.h"

#include <cmath>
#include <utility>

#include "fmt/format.h"

#include "Platform/Apple/CFValue.h"
#include "Platform/UnicodeText.h"

namespace halcyra {

namespace {

/// Exactly representable; the first double beyond the 64-bit integers.
constexpr double integerLimit = 9223372036854775808.0;

CFValue<CFPropertyListRef> storedValue(const std::string& applicationID, std::string_view key) {
  const auto name = makeCFString(key);
  const auto application = makeCFString(applicationID);
  if (!name || !application) return CFValue<CFPropertyListRef>();
  return CFValue<CFPropertyListRef>(CFPreferencesCopyAppValue(name.get(), application.get()));
}

template <typename Reference>
Reference valueOfType(const CFValue<CFPropertyListRef>& value, CFTypeID type) {
  const bool fits = value && CFGetTypeID(value.get()) == type;
  return fits ? static_cast<Reference>(value.get()) : nullptr;
}

/// One byte of a text may become up to four of UTF-8.
std::optional<std::string> textOf(CFStringRef text) {
  const CFIndex room = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  std::string result(static_cast<std::size_t>(room), '\0');
  CFIndex used = 0;
  const CFRange all = CFRangeMake(0, CFStringGetLength(text));
  CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(result.data()), room, &used);
  result.resize(static_cast<std::size_t>(used));
  return result;
}

}  // namespace

PreferencesUserDefaults::PreferencesUserDefaults(std::string applicationID, LogSink& log)
    : applicationID_(std::move(applicationID)), logger_(log, "com.norwick.Halcyra", "Settings") {}

std::optional<std::int64_t> PreferencesUserDefaults::integer(std::string_view key) const {
  const auto value = storedValue(applicationID_, key);
  const auto number = valueOfType<CFNumberRef>(value, CFNumberGetTypeID());
  if (number == nullptr) return std::nullopt;
  if (CFNumberIsFloatType(number)) {
    double wide = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &wide);
    const bool fits = wide >= -integerLimit && wide < integerLimit && std::trunc(wide) == wide;
    return fits ? std::optional(static_cast<std::int64_t>(wide)) : std::nullopt;
  }
  std::int64_t result = 0;
  const bool fits = CFNumberGetValue(number, kCFNumberSInt64Type, &result);
  return fits ? std::optional(result) : std::nullopt;
}

std::optional<double> PreferencesUserDefaults::number(std::string_view key) const {
  const auto value = storedValue(applicationID_, key);
  const auto number = valueOfType<CFNumberRef>(value, CFNumberGetTypeID());
  if (number == nullptr) return std::nullopt;
  double result = 0;
  CFNumberGetValue(number, kCFNumberDoubleType, &result);
  return result;
}

std::optional<bool> PreferencesUserDefaults::boolean(std::string_view key) const {
  const auto value = storedValue(applicationID_, key);
  const auto flag = valueOfType<CFBooleanRef>(value, CFBooleanGetTypeID());
  return flag != nullptr ? std::optional(CFBooleanGetValue(flag) != 0) : std::nullopt;
}

std::optional<std::string> PreferencesUserDefaults::string(std::string_view key) const {
  const auto value = storedValue(applicationID_, key);
  const auto text = valueOfType<CFStringRef>(value, CFStringGetTypeID());
  return text != nullptr ? textOf(text) : std::nullopt;
}

std::optional<std::string> PreferencesUserDefaults::data(std::string_view key) const {
  const auto value = storedValue(applicationID_, key);
  const auto bytes = valueOfType<CFDataRef>(value, CFDataGetTypeID());
  if (bytes == nullptr) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                     static_cast<std::size_t>(CFDataGetLength(bytes)));
}

void PreferencesUserDefaults::setInteger(std::string_view key, std::int64_t value) {
  set(key, CFValue<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value)).get());
}

void PreferencesUserDefaults::setNumber(std::string_view key, double value) {
  if (!std::isfinite(value)) {
    logger_.error(fmt::format("the setting “{}” cannot be stored: it is not a finite number", key));
    return;
  }
  set(key, CFValue<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &value)).get());
}

void PreferencesUserDefaults::setBoolean(std::string_view key, bool value) {
  set(key, value ? kCFBooleanTrue : kCFBooleanFalse);
}

void PreferencesUserDefaults::setString(std::string_view key, std::string_view value) {
  const auto text = isPortableText(value) ? makeCFString(value) : CFValue<CFStringRef>();
  if (!text) {
    logger_.error(fmt::format("the setting “{}” cannot be stored: it is not UTF-8 text", key));
    return;
  }
  set(key, text.get());
}

void PreferencesUserDefaults::setData(std::string_view key, std::string_view value) {
  set(key, CFValue<CFDataRef>(
               CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(value.data()), static_cast<CFIndex>(value.size())))
               .get());
}

void PreferencesUserDefaults::set(std::string_view key, const void* value) {
  const auto name = makeCFString(key);
  const auto application = makeCFString(applicationID_);
  CFPreferencesSetAppValue(name.get(), value, application.get());
  // The value itself lives on in this process, stored or not.
  const bool isStored = CFPreferencesAppSynchronize(application.get()) != 0;
  if (!isStored && isStored_.exchange(false)) {
    logger_.error("settings are kept in memory only for now: the system's preferences cannot be written");
  } else if (isStored) {
    isStored_ = true;
  }
}

}  // namespace halcyra
