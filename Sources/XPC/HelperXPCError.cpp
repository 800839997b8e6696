#include "XPC/HelperXPCError.h"

#include <array>
#include <string>

namespace halcyra::HelperXPCError {

namespace {

constexpr std::array allCodes{Code::unauthorizedClient,  Code::busy,
                              Code::invalidSession,      Code::invalidFan,
                              Code::unsupportedHardware, Code::abnormalPreflight,
                              Code::controlUnavailable,  Code::internalFailure};

bool isHelperDomain(std::string_view errorDomain) {
  return errorDomain == domain || errorDomain.ends_with("HelperError");
}

/// Whether the helper's own description may say more than the fixed text.
bool admitsOwnDescription(Code code) {
  switch (code) {
    case Code::unauthorizedClient:
    case Code::busy:
    case Code::invalidSession:
    case Code::invalidFan:
      return false;
    case Code::unsupportedHardware:
    case Code::abnormalPreflight:
    case Code::controlUnavailable:
    case Code::internalFailure:
      return true;
  }
  return false;
}

}  // namespace

std::optional<Code> codeFromRaw(std::int64_t raw) {
  for (const Code code : allCodes) {
    if (raw == static_cast<std::int64_t>(code)) return code;
  }
  return std::nullopt;
}

std::string_view readableText(Code code) {
  switch (code) {
    case Code::unauthorizedClient:
      return "Aerovane could not verify the privileged helper connection.";
    case Code::busy:
      return "Another fan-control session is active. Quit any other fan utility and try again.";
    case Code::invalidSession:
      return "The fan-control session expired. Aerovane returned the fans to Automatic; try the preset again.";
    case Code::invalidFan:
      return "The selected fan is no longer available.";
    case Code::unsupportedHardware:
      return "The helper found a fan that can be monitored but not safely controlled.";
    case Code::abnormalPreflight:
      return "Aerovane stopped because the preflight fan readings were abnormal.";
    case Code::controlUnavailable:
      return "macOS rejected manual fan control. Aerovane returned all fans to Apple Default. Close other fan-control "
             "utilities and select the preset again.";
    case Code::internalFailure:
      break;
  }
  return "The privileged helper could not complete the fan-control request.";
}

Error make(Code code) {
  return Error(domain, static_cast<std::int64_t>(code));
}

Error make(Code code, std::string_view description) {
  return Error(domain, static_cast<std::int64_t>(code), description);
}

Error readable(const Error& error) {
  const std::optional<Code> code = codeFromRaw(error.code);
  if (!isHelperDomain(error.domain) || !code) {
    return error;
  }
  const auto description = error.userInfo.find(localizedDescriptionKey);
  const bool isDescribed = description != error.userInfo.end();
  if (isDescribed && admitsOwnDescription(*code) &&
      description->second.find("HelperError error") == std::string::npos) {
    return error;
  }
  Error result = make(*code, readableText(*code));
  if (isDescribed) {
    result.userInfo.emplace(debugDescriptionKey, description->second);
  }
  return result;
}

bool isInvalidSession(const Error& error) {
  return isHelperDomain(error.domain) && error.code == static_cast<std::int64_t>(Code::invalidSession);
}

}  // namespace halcyra::HelperXPCError
