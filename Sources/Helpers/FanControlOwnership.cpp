#include "Helpers/FanControlOwnership.h"

namespace halcyra {

std::string_view rawValue(FanControlOwnership ownership) {
  return ownership == FanControlOwnership::anotherApp ? "anotherApp" : "aerovane";
}

std::string_view id(FanControlOwnership ownership) {
  return rawValue(ownership);
}

std::string_view title(FanControlOwnership ownership) {
  return ownership == FanControlOwnership::anotherApp ? "Another app controls fans" : "Aerovane controls fans";
}

std::string_view detail(FanControlOwnership ownership) {
  return ownership == FanControlOwnership::anotherApp
             ? "Monitoring only. Aerovane reads temperatures and RPM but performs no fan writes."
             : "Aerovane may apply the selected preset when no competing controller is active.";
}

FanControlOwnership FanControlOwnershipStore::load() const {
  return defaults_->string(storageKey) == rawValue(FanControlOwnership::anotherApp) ? FanControlOwnership::anotherApp
                                                                                    : FanControlOwnership::aerovane;
}

void FanControlOwnershipStore::save(FanControlOwnership ownership) {
  defaults_->setString(storageKey, rawValue(ownership));
}

}  // namespace halcyra
