// How long plans of buses take: all pads of the largest package, one interface on each die, and how that grows with the
// pads.
#include <cstdio>
#include <cstdlib>

#include "bench/ratio.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/planning/Buses.h"

namespace {

namespace planning = kdi::planning;

constexpr double kBarSeconds = 1;  // of the processor, all pads
constexpr int kRuns = 9;

planning::BusRequest request(planning::Layout const& layout, planning::NibbleMap const& map, int slr, int banks) {
  planning::BusRequest asked;
  asked.layout = &layout;
  asked.nibbles = &map;
  for (planning::NibbleBank const& bank : map.banks) {
    planning::PlacedBank const& placed = layout.banks[static_cast<std::size_t>(bank.bank)];
    if (placed.slr == slr && static_cast<int>(asked.banks.size()) < banks) asked.banks.push_back(placed.number);
  }
  // Five nibbles and four, which is a bank.
  for (int bank = 0; bank < banks; ++bank)
    for (const int width : {30, 24}) {
      planning::Bus bus;
      bus.name = "b" + std::to_string(asked.buses.size());
      bus.direction = planning::BusDirection::transmit;
      bus.width = width;
      bus.standard = "SSTL12";
      bus.rate_mbps = 800;
      bus.ratio = 8;
      asked.buses.push_back(bus);
    }
  return asked;
}

double seconds(planning::Layout const& layout, planning::NibbleMap const& map, int dies, int banks, int& pads) {
  std::vector<double> all;
  for (int run = 0; run < kRuns; ++run)
    all.push_back(bench::processor_seconds_of([&] {
      pads = 0;
      for (int slr = 0; slr < dies; ++slr) {
        const planning::BusRequest asked = request(layout, map, slr, banks);
        const planning::BusResult result = planning::place_buses(asked, planning::bus_interface_of(asked));
        if (!result.plan) {
          std::printf("no plan: %s\n", planning::reason_of(asked, *result.refutation).c_str());
          std::exit(1);
        }
        pads += static_cast<int>(result.plan->pad_of_signal.size());
      }
    }));
  return bench::median(all);
}

}  // namespace

int main() {
  const planning::Layout layout =
      planning::layout_of(HARPartMgr::getGlobal()->getPart("brvn5130-c2601-2LHP-e-S")->values());
  const planning::NibbleMap map = planning::nibble_map(layout);
  int pads = 0;
  bool is_good = true;
  const double whole = seconds(layout, map, 3, 6, pads);
  std::printf("all %d pads: %.1f ms (bar %.0f ms)\n", pads, 1e3 * whole, 1e3 * kBarSeconds);
  is_good = is_good && whole <= kBarSeconds;
  double before = 0;
  for (const int banks : {1, 2, 4}) {
    const double now = seconds(layout, map, 3, banks, pads);
    std::printf("%d pads: %.2f ms", pads, 1e3 * now);
    if (before > 0) std::printf(", %.2f times those of half as many", now / before);
    std::printf("\n");
    before = now;
  }
  return is_good || bench::runs_once() ? 0 : 1;
}
