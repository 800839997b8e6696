#include <cstddef>
#include <string_view>
#include <vector>

#include "VirtualMac/SensorBank.h"

namespace halcyra {

namespace {

/// Sensors that differ in their key alone.
struct Group {
  /// Four-character keys, one blank between.
  std::string_view keys;
  std::string_view type;
  SensorKind kind;
  ThermalNode node;
  double share;
  double offset;
  double spread;
};

using enum SensorKind;
using enum ThermalNode;

constexpr Group groups[] = {
    {"Te05 Te0L Te0P Te0S", "flt ", die, efficiency, 1, 0, 0.8},
    {"Tf04 Tf09 Tf0A Tf0B Tf0D Tf0E", "flt ", die, cpuA, 1, 0, 1.2},
    {"Tf44 Tf49 Tf4A Tf4B Tf4D Tf4E", "flt ", die, cpuB, 1, 0, 1.2},
    {"Tf14 Tf18 Tf19 Tf1A", "flt ", die, gpuA, 1, 0, 1.0},
    {"Tf24 Tf28 Tf29 Tf2A", "flt ", die, gpuB, 1, 0, 1.0},
    {"TCMz", "flt ", processorHotspot, cpuA, 1, 2.5, 0},
    {"TRDX", "flt ", graphicsHotspot, gpuA, 1, 2.5, 0},
    {"TaLP TaLT TaLW TDeL Ts0P", "flt ", other, sinkLeft, 0.42, 2, 1.5},
    {"TaRF TaRT TaRW TDeR Ts1P", "flt ", other, sinkRight, 0.42, 2, 1.5},
    {"Tp01 Tp02 Tp05 Tp06 Tp09 Tp0A Tp0D Tp0E", "flt ", other, cpuA, 0.85, 0, 1.5},
    {"Tp1E Tp1F Tp1I Tp1J Tp1M Tp1N Tp1Q Tp1R", "flt ", other, cpuB, 0.85, 0, 1.5},
    {"Tf02 Tf06 Tf0C", "flt ", other, cpuA, 0.95, 0, 1.0},
    {"Tf42 Tf46 Tf4C", "flt ", other, cpuB, 0.95, 0, 1.0},
    {"Tf12 Tf16 Tf1B", "flt ", other, gpuA, 0.95, 0, 1.0},
    {"Tf22 Tf26 Tf2B", "flt ", other, gpuB, 0.95, 0, 1.0},
    {"Tg04 Tg05 Tg0C Tg0D", "flt ", other, gpuA, 0.9, 0, 1.0},
    {"Tg0K Tg0L Tg0S Tg0T", "flt ", other, gpuB, 0.9, 0, 1.0},
    {"Tm00 Tm04 Tm08", "flt ", other, sinkLeft, 0.8, 2, 1.5},
    {"Tm0C Tm10 Tm14", "flt ", other, sinkRight, 0.8, 2, 1.5},
    {"TRD0 TRD1", "flt ", other, sinkLeft, 0.9, 1, 1.0},
    {"TRD2 TRD3", "flt ", other, sinkRight, 0.9, 1, 1.0},
    {"TC0P TC0c", "sp78", other, cpuA, 0.75, 0, 0.5},
    {"TG0P", "sp78", other, gpuA, 0.75, 0, 0.5},
    {"TPD0 TPD1 TPD2 TPD3 TPD4", "flt ", other, sinkLeft, 0.95, 2, 2.0},
    {"TPD5 TPD6 TPD7 TPD8 TPDX", "flt ", other, sinkRight, 0.95, 2, 2.0},
    {"TPMP TPSD TPSP", "flt ", other, sinkLeft, 0.7, 2, 1.0},
    {"TVA0 TVD0 TVS0 TVS1", "flt ", other, sinkLeft, 0.6, 1, 1.0},
    {"TVMR TVm0 TVmS", "flt ", other, sinkRight, 0.6, 1, 1.0},
    {"TIOP TSCP TMVR", "flt ", other, chassis, 1.1, 4, 1.0},
    {"TH0a TH0b TH0x", "flt ", other, chassis, 1.2, 6, 2.0},
    {"TD00 TD01 TD02 TD03 TD04", "flt ", other, chassis, 0.8, 1, 1.0},
    {"TDBP TDTP TDTC", "flt ", other, chassis, 0.9, 1, 1.0},
    {"TW0P", "sp78", other, chassis, 1.1, 5, 1.0},
    {"TB0T TB1T TB2T", "sp78", other, chassis, 0.7, 1, 0.8},
    {"TS0P TS0C", "sp78", other, chassis, 0.9, 0, 0.8},
    {"TAOL", "flt ", other, chassis, 0.05, 0, 0.3},
};

std::vector<SensorTraits> expandGroups() {
  constexpr std::size_t keyAndBlank = 5;
  std::vector<SensorTraits> sensors;
  for (const Group& group : groups) {
    for (std::size_t start = 0; start < group.keys.size(); start += keyAndBlank) {
      sensors.push_back({SMCKey::fromString(group.keys.substr(start, 4)), group.type, group.kind, group.node,
                         group.share, group.offset, group.spread});
    }
  }
  return sensors;
}

}  // namespace

const std::vector<SensorTraits>& sensorTraits() {
  static const std::vector<SensorTraits> sensors = expandGroups();
  return sensors;
}

}  // namespace halcyra
