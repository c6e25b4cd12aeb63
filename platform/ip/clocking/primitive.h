// What a clock synthesis primitive can do: the ranges and steps of its counters, the limits of its frequencies and the
// models of its jitter and power. Device data fill it; the engine knows no device.
//
// The models are the records of the device data (LoopModel, ClockPower) and not records of the engine's own: they are
// coefficients by a formula that device/Clocking.h and device/Power.h state, and a second record would be a second
// place for each of them. That the engine sees no part, and of the devices nothing else, is what `check.includes`
// holds.
//
//   input --/D--> PFD --xM--> VCO --/O_0--> output 0
//                              |----/O_i--> output i
//                              +----x mode-> high-speed output
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/device/Clocking.h"
#include "kdi/device/Power.h"
#include "platform/ip/clocking/rational.h"

namespace kdi::clocking {

/// Counters of one primitive, the high-speed output included, and so the largest request.
inline constexpr int kMaxOutputs = 8;
/// Every counter value is a multiple of 1 / kUnit, and is kept as the integer of these units.
inline constexpr int kUnit = 64;
inline constexpr int kMaxMultiplier = 1024;
inline constexpr int kMaxInputDivider = 256;
inline constexpr int kMaxOutputDivider = 2048;
/// Frequencies are at most this, in Hz, with a denominator of at most kMaxFrequencyDen.
inline constexpr std::int64_t kMaxFrequencyHz = std::int64_t{1} << 40;
inline constexpr std::int64_t kMaxFrequencyNum = std::int64_t{1} << 44;
inline constexpr std::int64_t kMaxFrequencyDen = std::int64_t{1} << 20;

enum class Bandwidth { optimized, high, low };

/// A closed range. Frequencies are in Hz.
struct Range {
  Rational min = 0;
  Rational max = kMaxFrequencyHz;
  bool contains(Rational const& value) const { return min <= value && value <= max; }
  bool operator==(Range const&) const = default;
};

/// The values of a counter: min, min + step, ... up to max, and with `fraction` above 1 also the multiples of
/// 1 / fraction from `fraction_min` to max.
struct CounterSpec {
  int min = 1;
  int max = 1;
  int step = 1;
  int fraction = 1;      ///< a divisor of kUnit: 1, 2, 4 ... 64
  int fraction_min = 1;  ///< the least value from which fractional values exist
  bool operator==(CounterSpec const&) const = default;
};

/// One output counter, with what may be asked of it.
struct OutputSpec {
  CounterSpec divider;
  Range frequency_hz;
};

/// A buffer that a clock passes: the shortest and the longest period that it carries.
struct BufferSpec {
  std::string name;
  double min_period_ns = 0;
  double max_period_ns = 0;  ///< 0: no longest period
};

/// A way of driving the high-speed output: VCO frequency times `factor`.
struct HighSpeedMode {
  std::string name;
  Rational factor = 1;  ///< 1/8 to 8, its inverse a multiple of 1 / kUnit
};

/// A spread-spectrum mode. The VCO moves between (1 - down) and (1 + up) times its frequency, linearly in time.
struct SpreadMode {
  std::string name;
  Rational down = 0;  ///< 0 to 1/4, in steps of 10^-4
  Rational up = 0;    ///< likewise
  Range modulation_hz;
  int divider_step = 1;  ///< 1 to 1024; the modulation frequency is PFD / (k x divider_step), k = 1, 2, ... 2^16
};

/// A clock synthesis primitive. Angles are in degrees of the output's own period, times as stated.
struct Primitive {
  std::string name;
  Range input_hz;
  Range pfd_hz;
  Range pfd_low_bandwidth_hz;  ///< in place of pfd_hz when a low loop bandwidth is asked for
  Range vco_hz;
  CounterSpec multiplier;
  CounterSpec input_divider;
  std::vector<OutputSpec> outputs;  ///< counters, in the order in which requests name their outputs

  int phase_steps = 8;       ///< static phase: steps per VCO period
  int fine_phase_steps = 0;  ///< with fine phase shift: steps per VCO period; 0: the primitive has none
  int max_phase_step = 0;    ///< the largest step count of an output; 0: one whole period of any divider
  int duty_steps = 2;        ///< high time: steps per VCO period, for whole dividers. Fractional ones stay at 1/2
  int max_high_steps = 0;    ///< the largest high and the largest low time in steps; 0: no limit. Twice as many reach
                             ///< the period of the largest divider at least

  bool fraction_with_fine_phase = false;  ///< whether fractional counters work along with fine phase shift
  bool fraction_with_spread = false;      ///< or with spread spectrum

  std::vector<HighSpeedMode> high_speed_modes;  ///< empty: no high-speed output
  Range high_speed_hz;
  std::vector<SpreadMode> spread_modes;
  std::vector<BufferSpec> buffers;

  std::vector<device::LoopModel> loops;     ///< jitter and phase error, at most one for each bandwidth
  std::optional<device::ClockPower> power;  ///< figures that there is no model for are 0

  BufferSpec const* buffer(std::string const& buffer_name) const;     ///< null if there is none of the name
  SpreadMode const* spread_mode(std::string const& mode_name) const;  ///< likewise
  device::LoopModel const* loop(Bandwidth bandwidth) const;           ///< likewise
};

/// Why the description cannot be used, naming the field, its value and the bound; nullopt if it can. Every function of
/// the engine expects a primitive that passes, and those that report errors report this one first.
std::optional<std::string> check(Primitive const& primitive);

/// The values of the counter in units of 1 / kUnit, ascending; whole values only if `whole_only`.
std::vector<int> counter_values(CounterSpec const& spec, bool whole_only);

/// The frequencies that the buffer carries.
Range buffer_frequencies(BufferSpec const& buffer);

/// "600 to 1600 MHz"
std::string text_mhz(Range const& range);

}  // namespace kdi::clocking
