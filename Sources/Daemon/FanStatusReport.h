#pragma once

#include "Platform/PropertyList.h"
#include "SMC/FanCapability.h"
#include "SMC/SMCInterface.h"

namespace halcyra {

/// One fan as the reply dictionaries have it, read live. What cannot be read is left out: a fan that cannot tell its
/// mode has none in the report, which no client may take for a clean one. A mode that is neither 0 nor 1 is the
/// firmware's own business and is reported as automatic.
PropertyList fanDictionary(SMCInterface& smc, const FanCapability& fan);

/// The status dictionary: every fan as a dictionary, fans 0 and 1 in the flat form as well, and the fan test mode where
/// the machine has one. Throws `SMCError` when the SMC cannot be reached or the test mode cannot be read.
PropertyList statusDictionary(SMCInterface& smc, const HardwareCapabilities& capabilities);

}  // namespace halcyra
