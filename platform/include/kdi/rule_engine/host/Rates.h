// Settings of a transceiver's PLLs for a line rate and a reference clock: all of them, and the best, in exact
// arithmetic.
//
//   Fvco = Fref (N + K / 2^B) / M      symbol rate = 2 Fvco / D      line rate = bits of a symbol * symbol rate
//
// A setting is a PLL with M, N, K and D within its ranges such that Fref, Fref / M, Fvco, the symbol rate for the
// modulation and for D, and the line rate that comes out, in the band of the one asked for, are within theirs.
//
// The best setting has the least error of the line rate; among these none of a fraction; among these the highest VCO
// (for jitter) or the lowest (for power); then the least M, the PLL that the data name first, the least D, the lowest
// feedback. docs/transceivers.md tells why.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/rule_engine/host/Kinds.h"

namespace kdi::gt {

__extension__ typedef __int128 Int128;

/// A positive fraction in lowest terms; both numbers below 10^20.
struct Fraction {
  Int128 num = 1;
  Int128 den = 1;

  friend bool operator==(Fraction const&, Fraction const&) = default;
};

/// The fraction num / den; nothing if a number is not positive or too large in lowest terms.
KDI_DOOR std::optional<Fraction> fraction(Int128 num, Int128 den);
/// A decimal (`10.3125`, `1e3`), or two with a slash between them (`1188/100.1`); nothing for any other text, for what
/// is not from 1e-3 to 1e6 and for more digits than a Fraction has.
KDI_DOOR std::optional<Fraction> read_fraction(std::string_view text);
/// The shortest decimal that reads back as the number.
KDI_DOOR std::optional<Fraction> shortest_fraction(double number);
/// The nearest double; of two, the even one.
KDI_DOOR double nearest_double(Fraction const& value);
/// The product of a fraction and a ratio; nothing if it has too many digits.
KDI_DOOR std::optional<Fraction> times(Fraction const& value, Int128 num, Int128 den = 1);
/// As a decimal of all its digits, or `num/den` where it is none.
KDI_DOOR std::string exact_text(Fraction const& value);
KDI_DOOR bool less(Fraction const& a, Fraction const& b);

enum class Aim { jitter, power };

struct Request {
  Fraction gbps;
  Fraction reference_mhz;
  Modulation const* modulation = nullptr;  ///< one of the kind's
  int pll = -1;                            ///< its index; -1: any
  bool takes_fraction = true;
  Aim aim = Aim::jitter;
};

struct Setting {
  int pll = 0;
  int reference_divide = 1;    ///< M
  std::int64_t feedback = 0;   ///< N
  std::int64_t numerator = 0;  ///< K
  int output_divide = 1;       ///< D

  friend bool operator==(Setting const&, Setting const&) = default;
};

struct Answer {
  std::optional<Setting> best;  ///< none if nothing is within its range
  bool is_exact = false;
  double ppm = 0;  ///< by which the line rate is off, to some 15 digits; 0 if exact
};

/// The best setting.
KDI_DOOR Answer solve(Kind const& kind, Request const& request);
/// Why there is none, or why it is not exact; empty if it is.
KDI_DOOR std::string reason_of(Kind const& kind, Request const& request, Answer const& answer);
/// All settings that give the rate exactly, in the order of the objective.
KDI_DOOR std::vector<Setting> exact_settings(Kind const& kind, Request const& request);

/// The line rate and the VCO of a setting, exactly.
KDI_DOOR std::optional<Fraction> gbps_of(Kind const& kind, Setting const& setting, Fraction const& reference_mhz,
                                         int bits);
KDI_DOOR std::optional<Fraction> vco_mhz_of(Kind const& kind, Setting const& setting, Fraction const& reference_mhz);

struct ActualReference {
  Fraction mhz;
  Setting setting;
};
/// The legal reference nearest to the wanted one that gives the rate exactly with the given numerator, or, without one,
/// with any; of two equally near ones the lower. Nothing if there is none.
KDI_DOOR std::optional<ActualReference> actual_reference(Kind const& kind, Fraction const& gbps, int bits,
                                                         Fraction const& wanted_mhz,
                                                         std::optional<std::int64_t> numerator);

/// The first modulation of the kind whose symbol rates and whose lines' rates have the rate; null if there is none.
KDI_DOOR Modulation const* modulation_for(Kind const& kind, Fraction const& gbps);
/// Whether the rate's symbols are in the range of the modulation.
KDI_DOOR bool has_symbols(Modulation const& modulation, Fraction const& gbps);
/// Whether the line rate is in one of the kind's bands.
KDI_DOOR bool has_rate(Kind const& kind, Fraction const& gbps);

struct ClockRequest {
  Fraction gbps;
  std::optional<Fraction> reference_mhz;  ///< none: a receiver
  Modulation const* modulation = nullptr;
  int pll = -1;
  int divide_halves = 0;   ///< of the programmable divider; 0: any
  int internal_width = 0;  ///< 0: any
  std::string source;      ///< empty: any
};
/// The output clocks in MHz, ascending and each once: over all exact settings, or of the best one if none is exact.
KDI_DOOR std::vector<Fraction> output_clocks(Kind const& kind, ClockRequest const& request);

}  // namespace kdi::gt
