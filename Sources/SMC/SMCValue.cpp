#include "SMC/SMCValue.h"

#include <cmath>

#include "fmt/format.h"

namespace halcyra {

namespace {

std::string floatDescription(float value) {
  std::string text = fmt::format("{}", value);
  if (!std::isfinite(value) || text.find('.') != std::string::npos) {
    return text;
  }
  const std::size_t exponent = text.find('e');
  return text.insert(exponent == std::string::npos ? text.size() : exponent, ".0");
}

}  // namespace

std::string SMCValue::description() const {
  if (const float* value = asFloat()) {
    return floatDescription(*value);
  }
  if (const std::uint8_t* value = asUInt8()) {
    return fmt::format("{}", *value);
  }
  if (const std::uint32_t* value = asUInt32()) {
    return fmt::format("{}", *value);
  }
  std::string text;
  for (const std::uint8_t byte : *asBytes()) {
    fmt::format_to(std::back_inserter(text), "{:02X}", byte);
  }
  return text;
}

}  // namespace halcyra
