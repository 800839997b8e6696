#include "App/Control/ControlPhase.h"

#include <algorithm>
#include <array>

namespace halcyra {

namespace {

using Phase = ControlPhase;
using Event = ControlEvent;
using Effect = ControlEffect;

constexpr std::array transitions{
    ControlTransition{Phase::firmware, Event::presetSelected, Phase::waiting, Effect::none},
    ControlTransition{Phase::firmware, Event::testRequested, Phase::preflight, Effect::beginSession},
    ControlTransition{Phase::firmware, Event::handBackIsDue, Phase::handingBack, Effect::beginAndEndSession},
    ControlTransition{Phase::firmware, Event::sessionLost, Phase::firmware, Effect::dropSession},

    ControlTransition{Phase::waiting, Event::systemSelected, Phase::firmware, Effect::none},
    ControlTransition{Phase::waiting, Event::startIsDue, Phase::preflight, Effect::beginSession},
    ControlTransition{Phase::waiting, Event::testRequested, Phase::preflight, Effect::beginSession},
    ControlTransition{Phase::waiting, Event::handBackIsDue, Phase::handingBack, Effect::beginAndEndSession},
    ControlTransition{Phase::waiting, Event::sessionLost, Phase::firmware, Effect::dropSession},

    ControlTransition{Phase::preflight, Event::sessionBegan, Phase::enabling, Effect::enableFans},
    ControlTransition{Phase::preflight, Event::startDeferred, Phase::firmware, Effect::none},
    ControlTransition{Phase::preflight, Event::handBackRequested, Phase::handingBack, Effect::handBack},
    ControlTransition{Phase::preflight, Event::sessionLost, Phase::firmware, Effect::dropSession},

    ControlTransition{Phase::enabling, Event::fansEnabled, Phase::driving, Effect::none},
    ControlTransition{Phase::enabling, Event::handBackRequested, Phase::handingBack, Effect::handBack},
    ControlTransition{Phase::enabling, Event::sessionLost, Phase::firmware, Effect::dropSession},

    ControlTransition{Phase::driving, Event::startIsDue, Phase::enabling, Effect::enableFans},
    ControlTransition{Phase::driving, Event::handBackRequested, Phase::handingBack, Effect::handBack},
    ControlTransition{Phase::driving, Event::sessionLost, Phase::firmware, Effect::dropSession},

    // Requested again, it overtakes the one that is out.
    ControlTransition{Phase::handingBack, Event::handBackRequested, Phase::handingBack, Effect::handBack},
    ControlTransition{Phase::handingBack, Event::handedBack, Phase::firmware, Effect::none},
    ControlTransition{Phase::handingBack, Event::sessionLost, Phase::firmware, Effect::dropSession},
};

}  // namespace

std::span<const ControlTransition> controlTransitions() {
  return transitions;
}

const ControlTransition* controlTransition(ControlPhase phase, ControlEvent event) {
  const auto found = std::find_if(transitions.begin(), transitions.end(), [&](const ControlTransition& each) {
    return each.from == phase && each.event == event;
  });
  return found == transitions.end() ? nullptr : &*found;
}

}  // namespace halcyra
