// The catalogue of up- and down-converter chains: five constant tables that refer to each other by index.
//
// gen_ducddc_catalogue designs the chains and writes the tables when the project is built; data/ducddc/README.md states
// the rules. Everything here is constant data without a single address in it, so loading the library costs no
// relocations for it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace ducddcgen_init {

/// One configuration. Offsets count elements of the table that they name.
struct Record {
  std::uint16_t name_head, name_tail;  ///< name_pieces: the name is the two pieces there, one behind the other
  std::int8_t stage_count;             ///< 2 to 8
  std::int8_t mixer_stage;             ///< stage before which the mixer stands, counted from the radio side; -1: none
  std::int8_t mixer_dsps;              ///< 0, 1, 2 or 4
  std::int8_t mix_growth;              ///< bits, 0 to 3
  std::int32_t mixer_freq;             ///< Hz; 1,000,000,000 where there is no mixer
  std::int32_t tap_stage_index;        ///< tap_stages: the stages of the chain, stage_count of them
  std::int32_t step_offset;            ///< per_stage_data: rate change of each stage, numerator
  std::int32_t step_div_offset;        ///< per_stage_data: the same, denominator
  std::int32_t paths_offset;           ///< per_stage_data: parallel paths
  std::int32_t growth_offset;          ///< per_stage_data: bits
  std::int32_t rsrc_index;             ///< rsrc_data: 12 entries, in the order of rsrc_names
  std::uint16_t clean_time;            ///< settling time in samples of the radio side
  std::uint16_t reserved;              ///< 0
  float evm;                           ///< -1: no figure is held
};

struct TapStage {
  std::uint8_t coe_taps;    ///< coefficients held
  std::uint8_t model_taps;  ///< taps of the filter model
  std::uint16_t reserved;   ///< 0
  std::int32_t coef_index;  ///< coef_data: the first coefficient
};

inline constexpr std::size_t kRecords = 22895;
inline constexpr std::size_t kResourceFigures = 12;
inline constexpr unsigned kNameHashBits = 15;
inline constexpr std::size_t kNameBuckets = std::size_t{1} << kNameHashBits;
inline constexpr std::size_t kMostInBucket = 8;  ///< names of one hash, at most
inline constexpr std::size_t kPieceRoom = 32;    ///< bytes to read from the start of any piece; none is longer

extern const Record database[kRecords];  ///< ascending byte order of the name
extern const TapStage tap_stages[];
extern const float coef_data[];
extern const std::uint8_t per_stage_data[];
extern const std::int32_t rsrc_data[kRecords * kResourceFigures];  ///< offsets into per_stage_data
extern const std::uint16_t name_starts[kNameBuckets + 1];  ///< name_rows: the names of each hash, up to the next start
extern const std::uint16_t name_rows[kRecords];            ///< database: rows in ascending order of the name's hash
extern const char name_pieces[];  ///< each piece is a byte with its length and that many characters

/// Labels of the resource figures: DSPs, block memories and latency in clock cycles of four build variants.
extern const char rsrc_names[kResourceFigures][48];

/// Revision text of the catalogue.
extern const char verstr[];

/// The piece of a name at that offset.
inline std::string_view piece_of_name(std::uint16_t offset) {
  return {name_pieces + offset + 1, static_cast<unsigned char>(name_pieces[offset])};
}

std::string name_of(Record const& record);

/// The hash of a name, 0 to kNameBuckets - 1; the same on every machine.
inline std::size_t name_hash(std::string_view name) {
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;  // 2^64 over the golden ratio: spreads what it multiplies
  // Eight bytes as one number, the first the lowest; fewer are filled up with zeros.
  const auto word_at = [](char const* bytes, std::size_t size) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, size);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
  };
  std::uint64_t hash = name.size();
  for (; name.size() > 8; name.remove_prefix(8)) {
    hash = (hash ^ word_at(name.data(), 8)) * kOdd;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>((hash ^ word_at(name.data(), name.size())) * kOdd >> (64 - kNameHashBits));
}

/// The record of that name, or null. At most kMostInBucket comparisons.
Record const* find_record(std::string_view name);

}  // namespace ducddcgen_init
