// The clock search: which PLL runs at what, and which clock takes what from it.
//
// A reference feeds PLLs; a PLL multiplies it by its feedback divider to the frequency of its oscillator (the VCO) and
// divides that by its output divider. Clocks take a PLL or a reference and divide it again, in one stage or several. A
// PLL's output may also reach some clocks through a divider that they share, its crossing.
//
//   vco = reference * feedback, output = vco / output divider, crossing = output / crossing divider,
//   actual = source / divider / divider ...
//
// The search is exact: all numbers are fractions, and its answer is the best of all settings, in this order:
//   1. the least worst relative error, |actual - requested| / requested
//   2. the least sum of those errors
//   3. the fewest PLLs in use
//   4. the least power, that is sum of the VCO frequencies of the PLLs in use
//   5. the first row of settings: PLL by PLL by name, in use before not; then the reference (by the PLL's list), the
//      feedback, output and crossing dividers, the smaller one first
//   6. clock by clock: the source first in the clock's list, the lower frequency, the smaller divider first
// So the order in which PLLs and clocks are given has no bearing on the answer.
//
// A clock that has no setting within its limits is left out and told. It is no other clock's fault: where every PLL
// runs at its lowest, all clocks are met that can be met at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Decimal.h"

namespace kdi::cores {

/// What is wrong with a request as such: a number out of its bounds, a name that is not there or there twice.
class KDI_DOOR ClockError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

struct ClockReference {
  std::string name;
  Decimal mhz;  ///< 0 to 10^6, at most 9 places; 0: not there
  friend bool operator==(ClockReference const&, ClockReference const&) = default;
};

/// A divider that several clocks share: they see the PLL's output divided by it, under a name of its own.
struct Crossing {
  std::string name;
  std::vector<int> dividers;    ///< ascending
  std::optional<Decimal> most;  ///< MHz behind the divider
  friend bool operator==(Crossing const&, Crossing const&) = default;
};

struct Pll {
  std::string name;
  std::vector<std::string> references;  ///< those that it may take, the preferred first
  std::vector<int> feedback;            ///< ascending, 1 to 65535
  std::vector<int> output_dividers;     ///< ascending, 1 to 1024
  Decimal vco_least, vco_most;          ///< MHz
  std::optional<Decimal> most;          ///< MHz of the output
  std::optional<Crossing> crossing;
  friend bool operator==(Pll const&, Pll const&) = default;
};

struct Clock {
  std::string name;
  Decimal requested;                     ///< MHz, above 0 to 10^6, at most 9 places
  std::vector<std::string> sources;      ///< PLLs, crossings and references, the preferred first
  std::vector<std::vector<int>> stages;  ///< dividers, ascending; 1 to 2^20 in all
  std::optional<Decimal> most;           ///< MHz; no setting is above it
  bool may_exceed = true;                ///< whether the actual frequency may be above the requested
  friend bool operator==(Clock const&, Clock const&) = default;
};

struct ClockRequest {
  std::vector<ClockReference> references;
  std::vector<Pll> plls;      ///< at most 8
  std::vector<Clock> clocks;  ///< at most 256
  friend bool operator==(ClockRequest const&, ClockRequest const&) = default;
};

/// An exact frequency in MHz, or an error: reduced, not negative, the denominator positive and below 2^90.
struct KDI_DOOR Fraction {
  Int128 num = 0;
  Int128 den = 1;

  /// num / den reduced; num at least 0, den above 0.
  static Fraction of(Int128 num, Int128 den);
  /// The nearest decimal number of at most `places` (0 to 9), halves away from zero.
  Decimal rounded(int places) const;
  friend bool operator==(Fraction const&, Fraction const&) = default;
  friend KDI_DOOR std::strong_ordering operator<=>(Fraction const& a, Fraction const& b);
};

struct PllSetting {
  bool used = false;          ///< what follows is 0 if not
  std::size_t reference = 0;  ///< in the PLL's list
  int feedback = 0;
  int output_divider = 0;
  int crossing = 0;  ///< 0 where the PLL has none, or no clock takes it
  Fraction vco, output;
  friend bool operator==(PllSetting const&, PllSetting const&) = default;
};

struct ClockSetting {
  bool met = false;           ///< what follows is 0 if not
  std::size_t source = 0;     ///< in the clock's list
  std::vector<int> dividers;  ///< by stage
  Fraction actual, error;
  friend bool operator==(ClockSetting const&, ClockSetting const&) = default;
};

/// Why a clock has no setting.
enum class ClockObstacle : std::uint8_t {
  no_source,  ///< none of its sources is there, or can run within its limits
  limit,      ///< all that its sources give is above its limit
  request,    ///< likewise above its request, which it may not exceed; or above it more than 524288 times
};

struct UnmetClock {
  std::size_t clock;
  ClockObstacle obstacle;
  std::optional<Fraction> lowest;  ///< that its sources give (`limit`, `request`)
  /// The nearest request that can be met (`request`), whatever the others ask for. Without one the clock can only be
  /// given up, or its limit or its sources changed.
  std::optional<Fraction> nearest;
  friend bool operator==(UnmetClock const&, UnmetClock const&) = default;
};

struct ClockAnswer {
  std::vector<PllSetting> plls;      ///< as requested
  std::vector<ClockSetting> clocks;  ///< likewise
  std::vector<UnmetClock> unmet;     ///< by the order of the clocks
  friend bool operator==(ClockAnswer const&, ClockAnswer const&) = default;
};

/// The best answer. Throws ClockError.
KDI_DOOR ClockAnswer search_clocks(ClockRequest const& request);

/// The reason in words, with frequencies in MHz.
KDI_DOOR std::string text_of(UnmetClock const& unmet, ClockRequest const& request);

}  // namespace kdi::cores
