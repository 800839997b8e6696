// Traces: comma-separated values that somebody recorded elsewhere.

#include <array>
#include <cmath>

#include "FuzzTargets.h"
#include "Support/Expect.h"
#include "Support/Input.h"
#include "VirtualMac/KeyTable.h"
#include "VirtualMac/TraceWorkload.h"

namespace halcyra::fuzz {
namespace {

bool isLevel(double value) {
  return value >= 0 && value <= 1;
}

void checkAt(TraceWorkload& trace, double time) {
  const WorkloadLevels levels = trace.load(time);
  for (const double level : {levels.cpuA, levels.cpuB, levels.efficiency, levels.gpuA, levels.gpuB}) {
    expect(isLevel(level), "a load lies in 0...1 at any time");
  }
  for (const KeyEntry& entry : KeyTable::shared().entries()) {
    const auto celsius = trace.replayedTemperature(entry.key, time);
    expect(!celsius || entry.source == KeySource::temperature, "only temperatures are replayed");
    expect(!celsius || trace.replaysTemperatures(), "a trace says whether it replays temperatures");
    expect(!celsius || (*celsius >= -40 && *celsius <= 125), "a replayed temperature is one that the trace may hold");
  }
}

}  // namespace

void fuzzTraces(Bytes input) {
  std::unique_ptr<TraceWorkload> trace;
  try {
    trace = TraceWorkload::parse(textOf(input));
  } catch (const WorkloadError& error) {
    expectReadable(error.errorDescription());
    return;
  }
  const double duration = trace->duration();
  expect(std::isfinite(duration) && duration >= 0, "a trace has a length");
  for (const double share : {0.0, 0.25, 0.5, 1.0, 2.0}) {
    checkAt(*trace, duration * share);
  }
  const WorkloadLevels last = trace->load(duration);
  expect(trace->load(duration * 2 + 1) == last, "the last line holds after the end");
  // Backwards, as when the machine is given the same trace again.
  checkAt(*trace, 0);
  checkAt(*trace, std::nextafter(duration, 0));
}

}  // namespace halcyra::fuzz
