#include "Platform/Error.h"

#include <exception>

#include "fmt/format.h"

namespace halcyra {

Error::Error(std::string_view errorDomain, std::int64_t errorCode, std::string_view description)
    : domain(errorDomain), code(errorCode) {
  userInfo.emplace(localizedDescriptionKey, description);
}

std::string Error::localizedDescription() const {
  if (const auto found = userInfo.find(localizedDescriptionKey); found != userInfo.end()) {
    return found->second;
  }
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain, code);
}

Error currentExceptionAsError() {
  try {
    throw;
  } catch (const LocalizedError& error) {
    return error.asError();
  } catch (const std::exception& error) {
    return Error("halcyra.exception", 0, error.what());
  }
}

}  // namespace halcyra
