#include "platform/coregen/periods.h"

#include <algorithm>
#include <cmath>

#include "kdi/ddr/SpeedBins.h"
#include "platform/coregen/clocking.h"
#include "platform/coregen/loading.h"

namespace kdi::coregen {
namespace {

constexpr double kPsOfTwoTransfers = 2e6;  // over a rate in Mb/s: a clock has two transfers a period

// Rounded down, as data sheets do: 2666 Mb/s are 750 ps.
int period_of(double rate_mbps) { return static_cast<int>(std::floor(kPsOfTwoTransfers / rate_mbps)); }

int fastest_rate(planning::MemoryKind const& kind) {
  int rate = 0;
  for (planning::MemoryPart const& part : kind.reference_parts) rate = std::max(rate, part.rate_mbps);
  if (!kind.timing.empty())
    for (ddr::SpeedBin const& bin : ddr::find_type(kind.timing)->speed_bins())
      rate = std::max(rate, static_cast<int>(bin.rate_mtps));
  return rate;
}

struct Tightest {
  Periods periods;

  void not_below(int ps, char const* by) {
    if (ps > periods.min.ps) periods.min = {ps, by};
  }
  void not_above(int ps, char const* by) {
    if (periods.max.by.empty() || ps < periods.max.ps) periods.max = {ps, by};
  }
};

int count_of(Setup const& setup, std::string const& what) {
  if (what == "slot") return setup.slots;
  if (what == "rank") return setup.slots * setup.ranks;
  if (what == "stack") return setup.memory.stack;
  return setup.width;
}

}  // namespace

OptionMap Periods::told() const {
  return {{"min", std::to_string(min.ps)}, {"max", std::to_string(max.ps)}, {"min_by", min.by}, {"max_by", max.by}};
}

Periods periods_of(Setup const& setup, PeriodsOf of) {
  Tightest tightest;
  tightest.not_below(of.part ? setup.memory.period_min_ps() : period_of(fastest_rate(*setup.kind)), "part");
  tightest.not_above(setup.kind->period_max_ps, "part");
  tightest.not_below(period_of(setup.interface->rate_mbps.max), "controller");
  tightest.not_above(period_of(setup.interface->rate_mbps.min), "controller");
  const device::Range clocks = clock_periods_ps(setup);
  tightest.not_below(static_cast<int>(std::floor(clocks.min)), "device");
  tightest.not_above(static_cast<int>(std::floor(clocks.max)), "device");
  if (of.board)
    for (Loading const& limit : loadings())
      if (limit.type == setup.kind->type && setup.slots >= limit.slots && count_of(setup, limit.what) >= limit.from)
        tightest.not_below(period_of(limit.rate_mbps), limit.what.c_str());
  return tightest.periods;
}

}  // namespace kdi::coregen
