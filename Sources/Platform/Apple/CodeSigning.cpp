#include "Platform/Apple/CodeSigning.h"

#ifndef AEROVANE_SIGNING_TEAM
#error "The build defines AEROVANE_SIGNING_TEAM, as an empty text where nothing is signed"
#endif

namespace halcyra {

std::string_view signingTeam() {
  return AEROVANE_SIGNING_TEAM;
}

}  // namespace halcyra
