// What kinds of transceivers can do, as data/transceivers says it: PLLs, dividers, widths, output clocks, limits by
// speed grade. docs/transceivers.md has the model, data/transceivers/README.md the files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::device {
struct Part;
}

namespace kdi::gt {

/// From `least` to `most`, both included; of frequencies in Hz, of rates in bit/s or symbols/s.
struct Bounds {
  std::int64_t least = 0;
  std::int64_t most = 0;

  bool has(std::int64_t value) const { return value >= least && value <= most; }
  friend bool operator==(Bounds, Bounds) = default;
};

struct Modulation {
  std::string name;
  int bits = 1;  ///< of a symbol
  Bounds symbols;
};

/// Fvco = Fref (N + K / 2^fraction_bits) / M; symbol rate = 2 Fvco / D.
struct Pll {
  std::string name;
  bool is_shared = false;  ///< one for the channels that it reaches; otherwise each of these has its own
  Bounds feedback;         ///< of N + K / 2^fraction_bits
  Bounds reference_divide;
  std::vector<int> output_divides;  ///< ascending
  int fraction_bits = 0;
  unsigned channels = 0;  ///< those that it reaches, a bit each
  Bounds vco;
  Bounds pfd;  ///< of Fref / M
};

struct OutputDivider {
  int divide = 1;
  Bounds symbols;
};

struct Encoding {
  std::string name;
  int payload = 1, of = 1;  ///< user bits in so many line bits
};

struct Widths {
  int encoding = 0;  ///< index
  int internal = 0;
  std::vector<int> user;
};

/// A source of output clocks.
struct OutputClock {
  enum class From { rate, reference, vco, symbols };
  enum class By { none, internal_width, programmable };

  std::string name;
  bool is_tx = false, is_rx = false;
  From from = From::rate;
  By by = By::none;
  int and_by = 1;
};

/// A kind at one speed grade.
struct KDI_DOOR Kind {
  std::string name;
  std::string grade;
  std::string description;
  int channels = 4;  ///< of a quad
  int reference_inputs = 2;
  int reference_reach = 0;  ///< in quads, to each side
  int fabric_entries = 0;   ///< the most entries of a rate table without block memory
  std::vector<Modulation> modulations;
  std::vector<Pll> plls;
  std::vector<OutputDivider> dividers;
  std::vector<Encoding> encodings;
  std::vector<Widths> widths;
  std::vector<OutputClock> clocks;
  Bounds programmable_halves;  ///< of the programmable divider, in halves
  std::vector<Bounds> rates;   ///< ascending, with gaps
  Bounds reference;
  std::int64_t user_clock_most = 0;
  std::int64_t output_clock_most = 0;

  Modulation const* modulation(std::string_view name_of_it) const;
  Encoding const* encoding(std::string_view name_of_it) const;
  OutputDivider const* divider(int divide) const;
  int pll_index(std::string_view name_of_it) const;  ///< -1 if there is none
};

/// The names of all kinds, ascending.
KDI_DOOR std::vector<std::string> kind_names();
/// The speed grades of a kind, slowest first; none if there is no such kind.
KDI_DOOR std::vector<std::string> grade_names(std::string const& kind);
/// A kind at a grade (empty: the fastest); null if there is none. Faults of the data are kdi::JsonError and FileError.
KDI_DOOR std::shared_ptr<Kind const> find_kind(std::string const& kind, std::string const& grade = {});
/// A kind as a part has it: what the part's own device says of PLLs, rates and references counts. Null if the part has
/// none of that kind.
KDI_DOOR std::shared_ptr<Kind const> find_kind(std::string const& kind, device::Part const& part);
/// The kinds of a file of data/transceivers, one for each grade.
KDI_DOOR std::vector<Kind> read_kinds(std::string_view text, std::string const& name);

/// A protocol of a public standard.
struct Protocol {
  std::string name;
  std::string source;     ///< the standard
  std::string rate;       ///< Gb/s, a decimal or a fraction
  std::string reference;  ///< MHz, usual
  std::string modulation;
  std::string encoding;
  int ppm = 0;  ///< that each end may be off
};
KDI_DOOR std::vector<Protocol> protocols();
/// Frequencies of oscillators in stock, in MHz, ascending: decimals or fractions.
KDI_DOOR std::vector<std::string> stock_oscillators();

}  // namespace kdi::gt
