// Register images read back: from the writes alone to named fields, and two images compared field by field.
//
// What is in an image decides what can be had from it. Whether a code is compressed shows in its first register;
// whether it is for the encoder does not show at all, so a caller who knows says so (it names bit 17 of a compressed
// operation). Every bit that was written is in a field or in a fault, and every word in one table at most: where a word
// is missing, a table ends, whatever a register announces. A field that outgrew its width when it was written cannot be
// told from its neighbour; for every code within the compiler's limits, what is read is what was written.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tcltasks/fec/records.h"

namespace fec {

struct named_value {
  std::string_view name;  ///< static storage
  std::uint64_t value;

  bool operator==(named_value const&) const = default;
};
using named_values = std::vector<named_value>;

/// The value under `name`, 0 if there is none.
std::uint64_t value_of(named_values const& values, std::string_view name);

struct decoded_layer {
  named_values fields;                   ///< cpld, stall, and extra_layer, qc_count where the core has them
  std::vector<named_values> operations;  ///< col, shift, nop, first, ... of each slot, in order
};

struct decoded_code {
  named_values fields;  ///< of the four registers
  std::vector<std::uint32_t> scale;
  std::vector<decoded_layer> layers;

  bool is_compressed() const { return !fields.empty() && fields[0].name != "k"; }
};

/// What the caller knows of a code beyond its image.
struct code_hint {
  bool encode = false;
};

struct decoded_image {
  named_values core;                       ///< registers of the core itself, by name
  std::map<unsigned, decoded_code> codes;  ///< by slot
  std::vector<std::string> faults;  ///< what does not fit, a few for each word at most: unknown addresses, missing
                                    ///< words, bits outside all fields, writes that contradict each other
};

/// Decodes the writes of one core. Of several writes to one address the last counts; different data is a fault.
template <class Variant>
decoded_image decode_image(std::vector<phy_trans_t<Variant>> const& writes,
                           std::map<unsigned, code_hint> const& hints = {});

/// One field of an image under its path, such as "code 0 / layer 3 / stall".
struct image_entry {
  std::string path;
  std::uint64_t value;

  bool operator==(image_entry const&) const = default;
};

/// Every field of an image, in order.
std::vector<image_entry> entries_of(decoded_image const& image);

/// The fields in which two images differ, one line each: path, value on the left, value on the right, "-" where a side
/// does not have the field; then the faults that only one of them has. Empty for equal images.
std::vector<std::string> diff_images(decoded_image const& left, decoded_image const& right);

/// The faults that a reader wants to see: the first kMaxListedFaults, and how many more there are.
inline constexpr std::size_t kMaxListedFaults = 100;
std::vector<std::string> listed_faults(decoded_image const& image);

/// A readable listing.
std::string list_image(decoded_image const& image);

}  // namespace fec
