// One chain of the catalogue: its stages from the radio side to base band, where the mixer stands, what it costs.
//
// Model, the same for up- and down-conversion (one is the other transposed):
// - A stage changes the rate by its step M between the higher rate (radio side) and the lower one. The last stage, at
// the
//   base-band rate, is the channel filter with step 1.
// - On the base-band side of the mixer a stage carries C carriers, on the radio side one composite signal; without a
//   mixer (one carrier) the whole chain carries one.
// - In-phase and quadrature part each have paths of their own. A path takes as many carriers in turn as there are clock
//   cycles in a sample of the higher rate. Next to a real intermediate frequency the composite's first stage has one
//   real path.
// - Of a path: products for a sample of the lower rate are counted with symmetry used and zeros skipped; they are
// spread
//   over the clock cycles that its carriers leave to each, which gives the multipliers (DSPs).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/ducddc/fir_design.h"
#include "tools/ducddc/rules.h"

namespace ducddc {

// A filter as the tables hold it.
struct Filter {
  int step = 1;
  std::vector<double> taps;      // quantised
  std::vector<double> designed;  // before that
  double ripple = 0;             // as designed
  double pass = 0, stop = 0;  // edges, cycles per sample; a rate change has its images around the multiples of 1/step
};

// Every distinct filter, designed once when it is first asked for.
class FilterBank {
 public:
  explicit FilterBank(Rules const& rules) : rules_(rules) {}

  // Rate change by `step` that keeps the band 0 to `edge` clean of the images of `carriers` carriers, `rate` being the
  // higher rate. -1: no filter of 249 taps does it.
  int rate_change(int step, Hertz edge, Hertz rate, int carriers);
  // The channel filter at the base-band rate, for `carriers` neighbours. -1 as above.
  int channel_filter(Channel const& channel, int carriers);

  Filter const& operator[](int index) const { return filters_[static_cast<std::size_t>(index)]; }
  std::size_t size() const { return filters_.size(); }

 private:
  template <class Design>
  int shortest(std::vector<Hertz> const& family, int step, double pass, double stop, double ripple, Design design);

  Rules const& rules_;
  std::map<std::vector<Hertz>, std::map<int, int>> known_;  // family, length: index
  std::vector<Filter> filters_;
};

struct Demand {
  Kind const* kind;
  Channel const* channel;
  RfRate const* rf;
  int carriers;
  int passband_mhz;
  bool real_if;
  int os;

  std::string name() const;
};

struct Stage {
  int filter;  // in the bank
  int step;
  int paths;
  int carriers;  // carriers on one path
  int products;  // for a sample of the lower rate
  int turns;     // cycles of a multiplier that they take
  int dsps;      // of one path
  bool grows;    // by one bit
};

// What a build variant of a stage takes. Latency in clock cycles.
struct Resources {
  int dsps, brams, latency;
};

struct Chain {
  std::vector<Stage> stages;
  int mixer_stage = -1;
  int mixer_dsps = 0;
  int mixer_growth = 0;
  Hertz mixer_rate = 1'000'000'000;
  int settling_samples = 0;
  int cost = 0;  // DSPs of all paths and of the mixer
};

// The cheapest chain for a demand; ties go to the shorter settling time, then to the smaller steps at the radio side,
// then to the mixer nearer to it. False if no chain keeps the rules.
bool design_chain(Rules const& rules, FilterBank& bank, Demand const& demand, Chain& chain);

// optimise_speed: registers between the multipliers, and an adder of their own for sums of several.
// more_block_memory: memories go to block memory whatever their depth, else only those deeper than 64 words.
Resources resources_of(Stage const& stage, int taps, bool optimise_speed, bool more_block_memory);

}  // namespace ducddc
