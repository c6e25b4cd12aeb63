// Fuzzes requests for buses on banks of a real package, of nibbles or of octads: what is no request is refused in
// words; a plan keeps all rules and stays when it is asked for by its pads; else there is a proof, in words too.
#include <cstdint>
#include <string>
#include <vector>

#include "kdi/device/parts.h"
#include "kdi/planning/Buses.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::planning;

// Bytes as choices, so that letters spell a request: `a` is the first choice, and blanks and ends of lines are none.
// Where the bytes end all choices are the first.
class Choices {
 public:
  Choices(std::uint8_t const* data, std::size_t size) : data_(data), end_(data + size) {}
  int below(int count) {
    while (data_ != end_ && (*data_ == ' ' || *data_ == '\n')) ++data_;
    return data_ == end_ ? 0 : static_cast<std::uint8_t>(*data_++ - 'a') % count;
  }
  int below_many(int count) { return (below(256) * 256 + below(256)) % count; }
  bool one_in(int count) { return below(count) == count - 1; }

 private:
  std::uint8_t const* data_;
  std::uint8_t const* end_;
};

struct Package {
  explicit Package(char const* part) : layout(layout_of(*kdi::device::find_part(part))), map(nibble_map(layout)) {}
  Layout layout;
  NibbleMap map;
};

constexpr char const* kStandards[] = {"SSTL12",   "DIFF_SSTL12", "POD12",   "DIFF_POD12", "LVDS15",
                                      "LVCMOS12", "SSTL12_DCI",  "SSTL135", "",           "none"};
constexpr int kStandardCount = 10;

Bus bus_of(Choices& choose, int index) {
  constexpr int kRates[] = {800, 1600, 1200, 400, 3200, 0, 100000};
  constexpr int kRatios[] = {8, 4, 2, 1, 3, 0};
  Bus bus;
  bus.name = choose.one_in(32) ? "b0" : "b" + std::to_string(index);
  bus.direction = static_cast<BusDirection>(choose.below(3));
  bus.width = choose.below(40);
  if (choose.one_in(32)) bus.width *= 16;
  bus.standard = kStandards[choose.below(kStandardCount)];
  bus.clock = static_cast<BusClock>(choose.below(3));
  bus.clock_standard = kStandards[choose.below(kStandardCount)];
  bus.rate_mbps = kRates[choose.below(7)];
  bus.ratio = kRatios[choose.below(6)];
  if (choose.one_in(8)) bus.bias = "DC_BIAS_" + std::to_string(choose.below(5));
  if (choose.one_in(8)) bus.termination = choose.one_in(2) ? "RTT_40" : "RTT";
  return bus;
}

std::string text_of(BusRequest const& request) {
  std::string text;
  for (Bus const& bus : request.buses) text += bus.name + " " + std::to_string(bus.width) + " " + bus.standard + "; ";
  return text;
}

void check(BusRequest request, BusInterface const& wanted) {
  const BusResult result = place_buses(request, wanted);
  fuzz::require(result.plan.has_value() != result.refutation.has_value(), "a plan and a proof, or neither",
                text_of(request));
  if (!result.plan) {
    fuzz::require(!reason_of(request, *result.refutation).empty(), "no reason", text_of(request));
    return;
  }
  std::vector<int> const& pads = result.plan->pad_of_signal;
  fuzz::require(bus_violations(request, wanted, pads).empty(), "a rule is broken", text_of(request));
  fuzz::require(bus_objective_of(request, wanted, pads) == result.plan->objective, "another objective",
                text_of(request));
  request.pad_of_signal = pads;
  const BusResult again = place_buses(request, wanted);
  fuzz::require(again.plan && again.plan->pad_of_signal == pads, "the plan does not stay", text_of(request));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static const Package& nibbles = *new Package("brvn3716-b1764-2LHP-e-S");
  static const Package& octads = *new Package("brvn6112-c2209-2LHP-e-S");
  constexpr std::size_t kMostBytes = 4096;
  if (size > kMostBytes) return 0;
  Choices choose(data, size);
  Package const& package = choose.one_in(3) ? octads : nibbles;
  BusRequest request;
  request.layout = &package.layout;
  request.nibbles = &package.map;
  const int buses = choose.below(8);
  for (int i = 0; i < buses; ++i) request.buses.push_back(bus_of(choose, i));
  request.system_clock = static_cast<SystemClock>(choose.below(3));
  request.system_clock_standard = kStandards[choose.below(kStandardCount)];
  request.most_banks = choose.below(4);
  request.most_banks_of_triplet = 1 + choose.below(3);
  request.internal_reference = choose.one_in(2);
  const int all = static_cast<int>(package.layout.pads.size());
  for (int taken = choose.below(40); taken > 0; --taken)
    request.taken.push_back({choose.below_many(all), "another", kStandards[choose.below(9)], choose.one_in(4),
                             choose.one_in(4), choose.one_in(2)});
  try {
    const BusInterface wanted = bus_interface_of(request);
    check(request, wanted);
    request.pad_of_signal.assign(wanted.signals.size(), -1);
    for (int wishes = 1 + choose.below(3); wishes > 0; --wishes)
      request.pad_of_signal[static_cast<std::size_t>(choose.below_many(static_cast<int>(wanted.signals.size())))] =
          choose.below_many(all);
    check(request, wanted);
  } catch (std::string const& fault) {
    fuzz::require(!fault.empty(), "a fault without a word", text_of(request));
  }
  return 0;
}
