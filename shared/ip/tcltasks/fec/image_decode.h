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

struct NamedValue {
  std::string_view name;  ///< static storage
  std::uint64_t value;

  bool operator==(NamedValue const&) const = default;
};
using NamedValues = std::vector<NamedValue>;

/// The value under `name`, 0 if there is none.
std::uint64_t value_of(NamedValues const& values, std::string_view name);

struct DecodedLayer {
  NamedValues fields;                   ///< cpld, stall, and extra_layer, qc_count where the core has them
  std::vector<NamedValues> operations;  ///< col, shift, nop, first, ... of each slot, in order
};

struct DecodedCode {
  NamedValues fields;  ///< of the four registers
  std::vector<std::uint32_t> scale;
  std::vector<DecodedLayer> layers;

  bool is_compressed() const { return !fields.empty() && fields[0].name != "k"; }
};

/// What the caller knows of a code beyond its image.
struct CodeHint {
  bool encode = false;
};

struct DecodedImage {
  NamedValues core;                       ///< registers of the core itself, by name
  std::map<unsigned, DecodedCode> codes;  ///< by slot
  std::vector<std::string> faults;  ///< what does not fit, a few for each word at most: unknown addresses, missing
                                    ///< words, bits outside all fields, writes that contradict each other
};

/// Decodes the writes of one core. Of several writes to one address the last counts; different data is a fault.
template <class Variant>
DecodedImage decode_image(std::vector<phy_trans_t<Variant>> const& writes,
                          std::map<unsigned, CodeHint> const& hints = {});

/// One field of an image under its path, such as "code 0 / layer 3 / stall".
struct ImageEntry {
  std::string path;
  std::uint64_t value;

  bool operator==(ImageEntry const&) const = default;
};

/// Every field of an image, in order.
std::vector<ImageEntry> entries_of(DecodedImage const& image);

/// The fields in which two images differ, one line each: path, value on the left, value on the right, "-" where a side
/// does not have the field; then the faults that only one of them has. Empty for equal images.
std::vector<std::string> diff_images(DecodedImage const& left, DecodedImage const& right);

/// The faults that a reader wants to see: the first kMaxListedFaults, and how many more there are.
inline constexpr std::size_t kMaxListedFaults = 100;
std::vector<std::string> listed_faults(DecodedImage const& image);

/// A readable listing.
std::string list_image(DecodedImage const& image);

}  // namespace fec
