// Registers of a quad of transceivers: attributes, the rules by which settings give their values, and the way back.
//
// data/transceivers/registers.json has the attributes of each kind of section (TX, RX, PLL, COMMON) in the order in
// which they fill registers of 16 bits, none across two. A rule takes one quantity of the section and makes the value
// of it:
//   (nothing)   the quantity plus `add`
//   codes       the code of the quantity
//   slice       `bits` bits of it from a bit on
//   per         how often that fits into it, at most what the bits hold
//   steps       how many of these are not above it
// The first three can be undone, and each quantity that settings need has attributes of these kinds; the others follow
// from it, and a decoder checks them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::gt {

using Quantities = std::map<std::string, std::int64_t, std::less<>>;

struct Attribute {
  enum class Rule { plain, codes, slice, per, steps };

  std::string name;
  int bits = 1;
  std::string from;  ///< quantity
  Rule rule = Rule::plain;
  std::int64_t add = 0;                                      ///< plain
  int from_bit = 0;                                          ///< slice
  std::int64_t per = 1;                                      ///< per
  std::vector<std::pair<std::int64_t, std::int64_t>> codes;  ///< quantity, code; ascending
  std::vector<std::int64_t> steps;                           ///< ascending
  int address = 0;                                           ///< of its register in the section
  int low_bit = 0;                                           ///< in its register

  std::int64_t most() const { return (std::int64_t{1} << bits) - 1; }
};

struct Section {
  std::string name;
  std::vector<Attribute> attributes;
  int registers = 0;
  /// For each quantity the settings that move it.
  std::map<std::string, std::vector<std::string>, std::less<>> moved_by;
};

/// The sections TX, RX, PLL and COMMON. Faults of the data are kdi::JsonError and FileError.
KDI_DOOR Section const& section_of_kind(std::string_view name);
KDI_DOOR std::vector<Section> read_sections(std::string_view text, std::string const& name);

/// The value of an attribute; throws std::out_of_range if its bits don't hold it, or if there is no code.
KDI_DOOR std::int64_t value_of(Attribute const& attribute, Quantities const& quantities);

using Registers = std::vector<std::uint16_t>;
KDI_DOOR Registers encoded(Section const& section, Quantities const& quantities);
/// The values of the attributes.
KDI_DOOR std::map<std::string, std::int64_t> attributes_in(Section const& section, Registers const& registers);
/// The quantities that attributes can be undone to.
KDI_DOOR Quantities decoded(Section const& section, Registers const& registers);
/// The names of attributes that are not what their rules make of the quantities; quantities that are not given are not
/// looked at.
KDI_DOOR std::vector<std::string> differing(Section const& section, Registers const& registers,
                                            Quantities const& quantities);

}  // namespace kdi::gt
