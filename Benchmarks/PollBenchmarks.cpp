// What a poll costs: its SMC calls, and its time against that of the bare calls.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <variant>
#include <vector>

#include "benchmark/benchmark.h"
#include "nlohmann/json.hpp"

#include "Client/TelemetryPoller.h"
#include "Helpers/SensorReader.h"
#include "MachineUnderTest.h"
#include "Platform/Linux/LinuxIOKit.h"
#include "Platform/Linux/LinuxPlatform.h"
#include "SMC/SMCParamStruct.h"

namespace halcyra::benchmarks {
namespace {

using SteadyClock = std::chrono::steady_clock;

double secondsSince(SteadyClock::time_point start) {
  return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

/// One record each way over a socket of its own, nothing else.
class BareConnection {
 public:
  explicit BareConnection(const std::filesystem::path& path) : socket_(socket(AF_UNIX, SOCK_SEQPACKET, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("the machine does not answer");
    }
  }
  ~BareConnection() { close(socket_); }
  BareConnection(const BareConnection&) = delete;
  BareConnection& operator=(const BareConnection&) = delete;

  SMCParamStruct exchange(const SMCParamStruct& input) const {
    SMCParamStruct output;
    if (send(socket_, &input, sizeof input, 0) != sizeof input || recv(socket_, &output, sizeof output, 0) < 0) {
      throw std::runtime_error("the machine is gone");
    }
    return output;
  }

 private:
  int socket_;
};

SMCParamStruct keyInfoRequest() {
  SMCParamStruct request;
  request.key = SMCKey::fromString("Tf04").rawValue;
  request.command = SMCParamStruct::readKeyInfo;
  return request;
}

/// The calls that a poll after the first makes: two for every value (its metadata and its bytes).
std::size_t impliedCalls(std::size_t fans, std::size_t listedSensors) {
  const std::size_t fanValues = fans * 5;  // actual, minimum, maximum, mode, target
  const std::size_t dieChannels = SensorReader::m3CPUCoreKeys.size() + SensorReader::m3GPUClusterKeys.size();
  const std::size_t hotspots = 2;
  const std::size_t chassis = SensorReader::m3LeftChassisKeys.size() + SensorReader::m3RightChassisKeys.size();
  return 2 * (fanValues + dieChannels + hotspots + chassis + listedSensors);
}

struct PolledMachine {
  MachineUnderTest machine;
  LinuxPlatform platform{[this] {
    LinuxPlatformOptions options;
    options.layout = RuntimeLayout::inFolder(machine.folder());
    options.defaultsFile = machine.folder() / "defaults.json";
    options.log = LogDestination::none;
    return options;
  }()};
  TelemetryPoller poller{platform.platform()};

  PolledMachine() { poller.open(); }

  TelemetrySnapshot poll() {
    std::promise<TelemetryResult> promise;
    poller.read([&](TelemetryResult result) { promise.set_value(std::move(result)); });
    TelemetryResult result = promise.get_future().get();
    if (const Error* error = std::get_if<Error>(&result)) throw std::runtime_error(error->localizedDescription());
    return std::get<TelemetrySnapshot>(std::move(result));
  }
};

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

/// A poll and as many bare exchanges in turn, so that both see the same machine in the same mood.
void pollAgainstBareRoundTrips(benchmark::State& state) {
  PolledMachine polled;
  const BareConnection bare(polled.platform.layout().smcSocket);
  const SMCParamStruct request = keyInfoRequest();
  const TelemetrySnapshot first = polled.poll();
  const std::size_t calls = impliedCalls(first.fans.size(), first.readings.size());
  std::vector<double> polls;
  std::vector<double> exchanges;
  for (auto _ : state) {
    auto start = SteadyClock::now();
    benchmark::DoNotOptimize(polled.poll());
    polls.push_back(secondsSince(start));
    state.SetIterationTime(polls.back());
    start = SteadyClock::now();
    for (std::size_t i = 0; i < calls; ++i) benchmark::DoNotOptimize(bare.exchange(request));
    exchanges.push_back(secondsSince(start));
  }
  state.counters["calls"] = static_cast<double>(calls);
  state.counters["bare_us_per_call"] = median(exchanges) / static_cast<double>(calls) * 1e6;
  state.counters["ratio"] = median(polls) / median(exchanges);
  state.counters["bar"] = 1.25;
}
BENCHMARK(pollAgainstBareRoundTrips)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(200);

/// The machine counts its calls itself: a poll's must be those that its values imply, and no more.
void callsPerPoll(benchmark::State& state) {
  PolledMachine polled;
  const auto calls = [&] {
    const auto answer = polled.machine.folder().parent_path() / "show";
    std::filesystem::remove(answer);
    const pid_t show =
        startProgram("virtual-mac", {"ctl", "--runtime-dir", polled.machine.folder().string(), "show"}, answer);
    waitForProgram(show);
    return nlohmann::json::parse(contents(answer)).at("calls").get<double>();
  };
  const TelemetrySnapshot first = polled.poll();
  const double before = calls();
  double polls = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(polled.poll());
    ++polls;
  }
  const double made = (calls() - before) / polls;
  const double implied = static_cast<double>(impliedCalls(first.fans.size(), first.readings.size()));
  state.counters["made"] = made;
  state.counters["implied"] = implied;
  if (made != implied) state.SkipWithError("a poll makes other calls than its values imply");
}
BENCHMARK(callsPerPoll)->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
}  // namespace halcyra::benchmarks
