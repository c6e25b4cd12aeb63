// The tiling behind the placement figures, for hosts that show it, for tests, and for tools that check data.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace bmg {

/// What is wrong with a description; the placement functions return these numbers.
enum class Code : int {
  no_data = -1,          ///< the data files are missing or faulty, or do not have the version
  unpaired_word = -2,    ///< no words at all, or a name without a value
  unknown_word = -3,     ///< a name that is none of those listed
  repeated_word = -4,    ///< a name that is given twice
  missing_word = -5,     ///< a word that the others ask for is not given
  bad_value = -6,        ///< a value that is no integer, or none of those listed
  out_of_range = -7,     ///< an integer outside its bounds
  does_not_apply = -8,   ///< a word that the memory type or the algorithm has no use for
  ports_disagree = -9,   ///< the two ports do not describe one memory, or their widths are too far apart
  bad_byte_width = -10,  ///< byte writes that the widths, the type or the ECC rule out
  bad_ecc = -11,         ///< an ECC that the version, the type or the widths rule out
  no_primitive = -12,    ///< none of the primitives that are allowed has a shape for this memory
  out_of_memory = -13,
  too_many = -14  ///< more primitives than the part has
};

/// A description that is refused; the text names the word, its value and the bound.
class KDI_DOOR Fault : public std::runtime_error {
 public:
  Fault(Code reason, std::string const& text) : std::runtime_error(text), reason_(reason) {}
  Code reason() const { return reason_; }

 private:
  Code reason_;
};

/// A grid of primitives of one shape: as many columns as its bits need, each stacked as high as its rows need. Bits and
/// rows are those of the memory as its narrower port sees it, check bits of a soft ECC included.
struct TileRun {
  int kilobits;    ///< size of the primitive
  int depth;       ///< of its shape
  int width;       ///< of its shape, parity included
  int used_width;  ///< bits of a column that this memory can use, at most `width`
  int first_bit, bits;
  int first_row, rows;

  int columns() const { return (bits + used_width - 1) / used_width; }
  int stack() const { return (rows + depth - 1) / depth; }
  int count() const { return columns() * stack(); }
};

struct KDI_DOOR Tiling {
  int width;  ///< bits of a row
  int depth;  ///< rows
  std::vector<TileRun> runs;
  std::int64_t power_nw;

  int count(int kilobits) const;
  int mux_inputs() const;
  int power_mw() const;  ///< rounded up
};

/// Tiles the memory that `words` describe, by the data of `version` ("v8_3", "v8_4"). Throws fault.
KDI_DOOR Tiling tile_memory(std::string_view version, std::vector<std::string_view> const& words);

/// Reads primitives.json and versions.json of `directory` in place of those in use. Throws std::runtime_error naming
/// file, line and field of what is wrong; the data in use then stay.
KDI_DOOR void load_data(std::string const& directory);

}  // namespace bmg
