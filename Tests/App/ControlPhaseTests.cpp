#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "App/Control/ControlPhase.h"

namespace halcyra::test {

namespace {

using Phase = ControlPhase;
using Event = ControlEvent;
using Effect = ControlEffect;

const std::map<Phase, std::string> phaseNames{{Phase::firmware, "firmware"},   {Phase::waiting, "waiting"},
                                              {Phase::preflight, "preflight"}, {Phase::enabling, "enabling"},
                                              {Phase::driving, "driving"},     {Phase::handingBack, "handing back"}};

const std::map<Event, std::string> eventNames{
    {Event::presetSelected, "preset selected"}, {Event::systemSelected, "Apple Default selected"},
    {Event::startIsDue, "start is due"},        {Event::testRequested, "test requested"},
    {Event::startDeferred, "start deferred"},   {Event::fansEnabled, "fans enabled"},
    {Event::sessionBegan, "session began"},     {Event::handBackRequested, "hand-back requested"},
    {Event::handBackIsDue, "hand-back is due"}, {Event::handedBack, "handed back"},
    {Event::sessionLost, "session lost"}};

const std::map<Effect, std::string> effectNames{{Effect::none, "–"},
                                                {Effect::beginSession, "begin a session"},
                                                {Effect::enableFans, "take the fans"},
                                                {Effect::handBack, "hand back"},
                                                {Effect::beginAndEndSession, "begin a session and end it"},
                                                {Effect::dropSession, "drop the session"}};

/// The rows of the table of transitions in docs/safety.md.
std::set<std::string> documentedRows() {
  std::ifstream file(AEROVANE_DOCS "/safety.md");
  std::set<std::string> rows;
  std::string line;
  bool isInside = false;
  while (std::getline(file, line)) {
    if (line.starts_with("| phase | event |")) {
      isInside = true;
      std::getline(file, line);
    } else if (isInside && line.starts_with("|")) {
      rows.insert(line);
    } else {
      isInside = false;
    }
  }
  return rows;
}

}  // namespace

TEST(ControlPhaseTests, TheDocumentHasTheTable) {
  std::set<std::string> rows;
  for (const ControlTransition& each : controlTransitions()) {
    rows.insert("| " + phaseNames.at(each.from) + " | " + eventNames.at(each.event) + " | " + phaseNames.at(each.to) +
                " | " + effectNames.at(each.effect) + " |");
  }
  EXPECT_EQ(rows, documentedRows());
}

TEST(ControlPhaseTests, EveryPhaseWithManualFansHasItsWaysOutAndNoOther) {
  std::set<std::pair<Phase, Event>> seen;
  for (const ControlTransition& each : controlTransitions()) {
    SCOPED_TRACE(phaseNames.at(each.from) + ", " + eventNames.at(each.event));
    EXPECT_TRUE(seen.emplace(each.from, each.event).second) << "two ways for one event";
    // Fans are taken only from a clean preflight or from a session that drives already.
    EXPECT_EQ(each.to == Phase::enabling, each.effect == Effect::enableFans);
    EXPECT_TRUE(each.to != Phase::enabling || each.from == Phase::preflight || each.from == Phase::driving);
    EXPECT_TRUE(each.to != Phase::driving || each.from == Phase::enabling);
    EXPECT_TRUE(each.from != Phase::handingBack || each.to == Phase::handingBack || each.to == Phase::firmware);
    // Nobody leaves manual fans behind without a command, or a session that is over for the helper.
    if (each.from == Phase::enabling || each.from == Phase::driving) {
      const bool keepsDriving = each.to == Phase::driving || each.to == Phase::enabling;
      EXPECT_TRUE(keepsDriving || each.effect == Effect::handBack || each.effect == Effect::dropSession);
    }
  }
  for (const Phase phase : {Phase::enabling, Phase::driving}) {
    for (const Event event : {Event::handBackRequested, Event::sessionLost}) {
      EXPECT_NE(controlTransition(phase, event), nullptr) << phaseNames.at(phase) << ", " << eventNames.at(event);
    }
  }
  EXPECT_EQ(controlTransition(Phase::handingBack, Event::startIsDue), nullptr);
  EXPECT_EQ(controlTransition(Phase::firmware, Event::startIsDue), nullptr);
}

}  // namespace halcyra::test
