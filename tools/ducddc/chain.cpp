#include "tools/ducddc/chain.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace ducddc {
namespace {

constexpr int kDistributedDepth = 64;  // words that distributed memory holds at no cost in block memory
constexpr int kLongestFilter = 249;
constexpr int kLargestFigure = 255;  // the tables hold figures as bytes

int divide_up(int value, int by) { return (value + by - 1) / by; }

}  // namespace

// The shortest filter of a family whose ripple is at most `ripple`. A longer filter is never worse, for it could have
// zeros at its ends; so the search goes from the estimate outwards. What was designed on the way is kept: another
// number of carriers asks for another length of the same family.
template <class Design>
int FilterBank::shortest(std::vector<Hertz> const& family, int step, double pass, double stop, double ripple,
                         Design design) {
  std::map<int, int>& known = known_[family];
  const auto index_of = [&](int length) {
    const auto [at, fresh] = known.try_emplace(length, static_cast<int>(filters_.size()));
    if (fresh) {
      const fir::Design found = design(length);
      filters_.push_back(
          {step, fir::quantise(found.taps, rules_.coefficient_bits), found.taps, found.ripple, pass, stop});
    }
    return at->second;
  };
  const auto is_enough = [&](int length) {
    return filters_[static_cast<std::size_t>(index_of(length))].ripple <= ripple;
  };
  const auto next = [&](int length, int direction) {
    do length += direction;
    while (length >= 3 && !fir::is_nyquist_length(step, length));
    return length;
  };
  int length = next(std::min(fir::estimated_length(stop - pass, ripple), kLongestFilter) + 2, -2);
  if (is_enough(length)) {
    for (int shorter = next(length, -2); shorter >= 3 && is_enough(shorter); shorter = next(length, -2))
      length = shorter;
    return index_of(length);
  }
  while (length <= kLongestFilter && !is_enough(length)) length = next(length, 2);
  return length <= kLongestFilter ? index_of(length) : -1;
}

int FilterBank::rate_change(int step, Hertz edge, Hertz rate, int carriers) {
  if (2 * step * edge >= rate) return -1;
  const Hertz divisor = std::gcd(edge, rate);
  const double relative = static_cast<double>(edge) / static_cast<double>(rate);
  return shortest({step, edge / divisor, rate / divisor}, step, relative, 1.0 / step - relative,
                  rules_.stage_ripple / std::sqrt(carriers),
                  [&](int length) { return fir::nyquist(step, length, relative); });
}

int FilterBank::channel_filter(Channel const& channel, int carriers) {
  const Hertz divisor = std::gcd(std::gcd(channel.pass, channel.width), channel.base_rate);
  const double rate = static_cast<double>(channel.base_rate);
  const double pass = static_cast<double>(channel.pass) / rate;
  const double stop = rules_.stop_edge_per_width * static_cast<double>(channel.width) / rate;
  return shortest({1, channel.pass / divisor, channel.width / divisor, channel.base_rate / divisor}, 1, pass, stop,
                  rules_.channel_ripple / std::sqrt(carriers), [&](int length) {
                    return fir::equiripple(length, {{0, pass, 1}, {stop, 0.5, 0}});
                  });
}

std::string Demand::name() const {
  return kind->name + "_chbw" + std::to_string(channel->chbw) + "_C" + std::to_string(carriers) + "_pb" +
         std::to_string(passband_mhz) + "_if" + (real_if ? "1" : "0") + "_frf" + std::to_string(rf->frf) + "_os" +
         std::to_string(os);
}

namespace {

// Products for one sample of the lower rate. Taps that are 0 take none. The channel filter adds the samples of a pair
// of equal taps first, and so does a half-band filter, whose middle tap is a shift; the branches of a third- or
// fifth-band filter mirror one another, and none is symmetric by itself.
int products_of(Filter const& filter) {
  const int length = static_cast<int>(filter.taps.size());
  if (filter.step == 1) return (length + 1) / 2;
  if (filter.step == 2) return (length + 1) / 4;
  return length - 2 * (length / 2 / filter.step);
}

// The largest sum of magnitudes that a filter makes of full-scale samples, in bits above one.
bool grows(Filter const& filter) {
  double sum = 0;
  for (double tap : filter.taps) sum += std::fabs(tap);
  return sum >= 1.75;
}

struct Signal {
  int carriers;    // that a stage carries
  int components;  // in-phase and quadrature: 2, a real signal: 1
};

// False if the stage breaks a bound.
bool fold(Rules const& rules, Signal signal, int cycles_per_high_sample, Filter const& filter, int index,
          Stage& stage) {
  const int paths_per_component = divide_up(signal.carriers, cycles_per_high_sample);
  stage.filter = index;
  stage.step = filter.step;
  stage.paths = signal.components * paths_per_component;
  stage.carriers = divide_up(signal.carriers, paths_per_component);
  stage.products = products_of(filter);
  const int cycles = cycles_per_high_sample * filter.step / stage.carriers;
  stage.turns = std::min(stage.products, cycles);
  stage.dsps = divide_up(stage.products, cycles);
  stage.grows = grows(filter);
  if (stage.paths > rules.most_paths) return false;
  const Resources largest = resources_of(stage, static_cast<int>(filter.taps.size()), true, true);
  return std::max({largest.dsps, largest.brams, largest.latency}) <= kLargestFigure;
}

struct Mixer {
  int paths, dsps;
};

// A path of the mixer turns its carriers one after the other; a complex turn takes four products, that of a real signal
// two. A path has 1, 2 or 4 multipliers.
Mixer mixer_of(int carriers, int cycles, bool real) {
  const int paths = divide_up(carriers, cycles);
  const int products = (real ? 2 : 4) * divide_up(carriers, paths);
  const int dsps = divide_up(products, cycles);
  return {paths, dsps == 3 ? 4 : dsps};
}

int growth_of_mixer(Demand const& demand, bool real) {
  if (demand.kind->name == "ddc")
    return real ? 0 : 1;  // a turned complex sample is up to sqrt(2) as large in a component
  int bits = 0;
  while ((1 << bits) < demand.carriers) ++bits;
  return std::min(bits, 3);  // more than eight independent carriers do not peak together
}

// Tries one order of steps with one place of the mixer.
bool try_chain(Rules const& rules, FilterBank& bank, Demand const& demand, std::vector<int> const& steps,
               int mixer_stage, Chain& chain) {
  chain = {};
  chain.mixer_stage = mixer_stage;
  const double stop = rules.stop_edge_per_width * static_cast<double>(demand.channel->width);
  const Hertz carrier_edge = demand.kind->cleans_to_stop_edge ? std::llround(stop) : demand.channel->pass;
  const Hertz composite_edge = demand.passband_mhz * Hertz{500'000};
  int decimation = 1;
  int settling = 1;
  for (std::size_t s = 0; s <= steps.size(); ++s) {
    const int step = s < steps.size() ? steps[s] : 1;
    const bool composite = static_cast<int>(s) < mixer_stage;
    const Hertz rate = demand.rf->rate / decimation;
    const int cycles = demand.os * decimation;
    if (static_cast<int>(s) == mixer_stage) {
      const bool real = demand.real_if && s == 0;
      const Mixer mixer = mixer_of(demand.carriers, cycles, real);
      chain.mixer_rate = rate;
      chain.mixer_dsps = mixer.dsps;
      chain.mixer_growth = growth_of_mixer(demand, real);
      chain.cost += mixer.paths * mixer.dsps;
    }
    const int index = step == 1
                          ? bank.channel_filter(*demand.channel, demand.carriers)
                          : bank.rate_change(step, composite ? composite_edge : carrier_edge, rate, demand.carriers);
    if (index < 0) return false;
    const Signal signal{composite ? 1 : demand.carriers, composite && s == 0 && demand.real_if ? 1 : 2};
    Stage stage{};
    if (!fold(rules, signal, cycles, bank[index], index, stage)) return false;
    chain.cost += stage.paths * stage.dsps;
    settling += static_cast<int>(bank[index].taps.size()) * decimation;
    chain.stages.push_back(stage);
    decimation *= step;
  }
  chain.settling_samples = settling;
  return settling <= rules.most_settling_samples;
}

std::vector<int> factors_of(Hertz ratio) {
  std::vector<int> factors;
  for (int factor : {2, 3, 5})
    for (; ratio % factor == 0; ratio /= factor) factors.push_back(factor);
  return ratio == 1 ? factors : std::vector<int>{};
}

// The mixer's rate must leave the composite signal room between its images.
bool mixer_fits(Rules const& rules, Demand const& demand, Hertz rate) {
  return demand.passband_mhz * 1e6 <= rules.complex_passband_per_rate * static_cast<double>(rate);
}

}  // namespace

bool design_chain(Rules const& rules, FilterBank& bank, Demand const& demand, Chain& chain) {
  if (demand.rf->rate % demand.channel->base_rate != 0) return false;
  std::vector<int> steps = factors_of(demand.rf->rate / demand.channel->base_rate);
  if (steps.empty()) return false;
  bool found = false;
  Chain trial;
  do {  // from the ascending order on, so the first of equals has the smaller steps at the radio side
    Hertz rate = demand.rf->rate;
    const int last = demand.carriers == 1 ? -1 : static_cast<int>(steps.size());
    for (int mixer = demand.carriers == 1 ? -1 : 0; mixer <= last; ++mixer) {
      if (mixer > 0) rate /= steps[static_cast<std::size_t>(mixer) - 1];
      if (mixer >= 0 && !mixer_fits(rules, demand, rate)) break;
      // The halves of a real signal's spectrum are told apart by a half-band filter.
      if (demand.real_if && mixer > 0 && steps.front() != 2) break;
      if (!try_chain(rules, bank, demand, steps, mixer, trial)) continue;
      if (!found || std::tie(trial.cost, trial.settling_samples) < std::tie(chain.cost, chain.settling_samples))
        chain = trial;
      found = true;
    }
  } while (std::next_permutation(steps.begin(), steps.end()));
  return found;
}

Resources resources_of(Stage const& stage, int taps, bool optimise_speed, bool more_block_memory) {
  const bool sums_several = stage.dsps > 1;
  Resources result{};
  result.dsps = stage.paths * (stage.dsps + (optimise_speed && sums_several ? 1 : 0));

  // Memories: depth in words, and how many of them. A rate change runs transposed: one memory of samples for each path,
  // a coefficient memory for eight multipliers (mirrored branches share theirs) of all paths, and one for each pair of
  // paths that evens out the rates. The channel filter runs direct: a memory of samples at each multiplier, a
  // coefficient memory for two of them.
  const auto memories = [&](int depth, int count) {
    return more_block_memory || depth > kDistributedDepth ? count : 0;
  };
  const int samples = stage.carriers * taps;
  if (stage.step > 1)
    result.brams = memories(samples, stage.paths) + memories(stage.turns, divide_up(stage.dsps, 8)) +
                   memories(stage.carriers * stage.step, divide_up(stage.paths, 2));
  else
    result.brams = memories(samples, stage.paths * stage.dsps) + memories(stage.turns, divide_up(stage.dsps, 2));

  // A sample meets its products in `turns` cycles, passes the chain of multipliers and leaves through input, product,
  // sum, rounding and output registers.
  constexpr int kRegisters = 5;
  result.latency = kRegisters + stage.turns + stage.dsps + (optimise_speed ? 3 + (sums_several ? 1 : 0) : 0);
  return result;
}

}  // namespace ducddc
