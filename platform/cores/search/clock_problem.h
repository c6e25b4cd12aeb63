// A clock request as the search sees it: integers in one unit, the settings of each PLL that its limits permit, clocks
// that ask for the same taken together, and the exact error of each of them on each setting.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "kdi/cores/Clocks.h"

namespace kdi::cores {

/// The products of one divider of each stage.
class Dividers {
 public:
  static constexpr int kMost = 1 << 20;

  explicit Dividers(std::vector<std::vector<int>> stages);

  /// The least one that is at least `value`, the greatest that is at most `value`; 0 if there is none.
  int at_least(Int128 value) const;
  int at_most(Int128 value) const;
  std::vector<std::vector<int>> const& stages() const { return stages_; }
  int most() const { return most_; }
  bool has(Int128 value) const {
    return value > 0 && value <= most_ && (bits_[static_cast<std::size_t>(value) / 64] >> value % 64 & 1) != 0;
  }
  /// `product` as a divider for each stage, the first as small as can be, then the second, and so on.
  std::vector<int> written_out(int product) const;

 private:
  std::vector<std::vector<int>> stages_;
  std::vector<std::uint64_t> bits_;
  int most_ = 0;
};

/// num / den units; both above 0, num at most 10^15 and den at most 2^20.
struct Frequency {
  std::int64_t num = 0;
  std::int64_t den = 1;
};

/// What a PLL may be set to.
struct PllChoice {
  std::size_t reference;
  int feedback, output_divider, crossing;
  std::int64_t vco;  ///< units
  Frequency output;
  std::optional<Frequency> crossed;
};

/// Clocks that ask for the same.
struct Demand {
  std::vector<std::size_t> clocks;  ///< by name
  std::int64_t requested;           ///< units
  std::optional<std::int64_t> limit;
  bool may_exceed;
  Dividers const* dividers;
  struct Source {
    enum class Kind : std::uint8_t { output, crossing, reference } kind;
    std::size_t number;  ///< of the PLL or the reference
  };
  std::vector<Source> sources;

  /// No frequency may be above this; nothing: any may.
  std::optional<std::int64_t> ceiling() const;
};

/// An error with a bound: `key` is 0 for none at all, else the whole number above error * 2^kKeyBits.
struct Error {
  static constexpr int kKeyBits = 34;
  std::int64_t key;
  Int128 num, den;
};

constexpr std::int64_t kNone = std::int64_t{1} << 60;  ///< the key of an error where there is no setting

/// Whether the one is less; exact.
bool is_less(Error const& a, Error const& b);

/// What a demand makes of a frequency.
struct Division {
  int divider;
  Error error;
};

struct ClockProblem {
  /// Throws ClockError.
  explicit ClockProblem(ClockRequest const& request);

  std::optional<Division> divided(Demand const& demand, Frequency frequency) const;
  /// The key of its error alone; kNone without one.
  std::int64_t key(Demand const& demand, Frequency frequency) const;
  /// Whether it has none at all, which is told faster.
  bool is_exact(Demand const& demand, Frequency frequency) const;
  /// The frequency of a source while its PLL is set so; nothing if it is not there.
  std::optional<Frequency> at(Demand::Source source, PllChoice const* choice) const;
  /// The best division with any of the demand's sources on this PLL, or on references; the first of equal ones.
  struct Best {
    std::size_t source;
    Division division;
  };
  std::optional<Best> on_pll(Demand const& demand, std::size_t pll, PllChoice const& choice) const;
  std::optional<Best> on_references(Demand const& demand) const;

  /// Whether the two PLLs may change places: they have the same settings, and every demand takes the one as the other.
  bool are_alike(std::size_t a, std::size_t b) const;
  /// By PLL: the first one, by name, that is like it; itself if it is the first.
  std::vector<std::size_t> first_alike() const;

  Fraction megahertz(Int128 num, Int128 den) const;

  ClockRequest const& request;
  std::vector<std::int64_t> references;         ///< units
  std::vector<std::vector<PllChoice>> choices;  ///< by PLL; by power, then as rows are ordered
  std::vector<Demand> demands;                  ///< by the name of the first clock
  std::vector<std::size_t> by_name;             ///< PLLs

 private:
  void find_unit();
  void read_plls();
  std::vector<PllChoice> settings_of(Pll const& pll) const;
  void read_clocks();
  std::int64_t units(Decimal mhz) const;
  Demand demand(Clock const& clock);
  Dividers const& dividers_of(Clock const& clock);

  std::int64_t unit_ = 1;  // 10^-9 MHz
  std::deque<Dividers> dividers_;
};

}  // namespace kdi::cores
