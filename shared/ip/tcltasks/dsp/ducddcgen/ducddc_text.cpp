#include "tcltasks/dsp/ducddcgen/ducddc_text.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>

namespace ducddcgen_init {
namespace {

// More than either report takes, and than the line of one coefficient.
constexpr std::size_t kLongestReport = 2048;
constexpr std::size_t kLongestLine = 48;
static_assert(sizeof(TextBuffer) >=
              kLongestReport + std::numeric_limits<decltype(TapStage::coe_taps)>::max() * kLongestLine);
constexpr char kSeparators[2][2] = {{',', 0}, {']', '['}};
constexpr float kNoEvm = -1;

// Text is written through a pointer that every step takes and returns: it stays in a register, where a member of a
// buffer class would be stored and loaded for each character. Numbers come out as printf's %d and %.<decimals>f write
// them in the C locale, many times faster.
char* put(char* out, std::string_view piece) {
  std::memcpy(out, piece.data(), piece.size());
  return out + piece.size();
}

// Bytes as decimal text. All four characters are copied and `size` of them count, so that nothing is to be guessed for
// the processor about numbers that have one digit here and three there.
struct ByteText {
  char digits[3];
  std::uint8_t size;
};

constexpr auto kByteTexts = [] {
  std::array<ByteText, 256> texts{};
  for (unsigned value = 0; value < texts.size(); ++value) {
    ByteText& text = texts[value];
    for (unsigned unit : {100u, 10u, 1u})
      if (value >= unit || unit == 1) text.digits[text.size++] = static_cast<char>('0' + value / unit % 10);
  }
  return texts;
}();

char* put_byte(char* out, std::uint8_t value) {
  ByteText const& text = kByteTexts[value];
  std::memcpy(out, &text, sizeof text);
  return out + text.size;
}

char* put_two_digits(char* out, unsigned value) {
  *out++ = static_cast<char>('0' + value / 10);
  *out++ = static_cast<char>('0' + value % 10);
  return out;
}

char* put_number(char* out, unsigned value) {
  if (value < kByteTexts.size()) return put_byte(out, static_cast<std::uint8_t>(value));
  return put_two_digits(put_number(out, value / 100), value % 100);
}

char* put_fixed(char* out, double value, int decimals, std::size_t width = 0) {
  char digits[kLongestLine];
  char const* const end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr;
  const std::string_view number(digits, static_cast<std::size_t>(end - digits));
  for (std::size_t i = number.size(); i < width; ++i) *out++ = ' ';
  return put(out, number);
}

// Frequency in MHz with two decimals. Rates are whole multiples of 10 kHz, so that nothing is rounded; were one not,
// the double would be.
char* put_megahertz(char* out, int hertz) {
  constexpr unsigned kHundredth = 10'000;
  const unsigned rate = static_cast<unsigned>(hertz);
  if (hertz < 0 || rate % kHundredth != 0) return put_fixed(out, hertz * 0.000001, 2);
  out = put_number(out, rate / kHundredth / 100);
  *out++ = '.';
  return put_two_digits(out, rate / kHundredth % 100);
}

// All the room of a piece is copied: a size that the compiler knows costs no call.
char* put_piece(char* out, std::uint16_t offset) {
  const std::string_view piece = piece_of_name(offset);
  std::memcpy(out, piece.data(), kPieceRoom);
  return out + piece.size();
}

char* put_name(char* out, Record const& record) {
  out = put(out, "CFG: ");
  out = put_piece(out, record.name_head);
  out = put_piece(out, record.name_tail);
  return put(out, "\n");
}

// The values of all stages, in two bracket groups where a mixer parts them. With the mixer before stage 0 the first
// group is empty. put_value(out, stage) writes one.
template <class PutValue>
char* put_stages(char* out, Record const& record, PutValue put_value) {
  // Copies, which the characters that are written cannot alias.
  const auto count = record.stage_count, mixer_stage = record.mixer_stage;
  out = put_value(mixer_stage == 0 ? put(out, "[][") : put(out, "["), 0);
  for (int s = 1; s < count; ++s) {
    // Both characters are copied; the second counts at the mixer only.
    const bool split = s == mixer_stage;
    std::memcpy(out, kSeparators[split], 2);
    out = put_value(out + 1 + split, s);
  }
  return put(out, "]\n");
}

char* put_bytes(char* out, Record const& record, std::int32_t offset) {
  std::uint8_t const* const values = per_stage_data + offset;
  return put_stages(out, record, [=](char* at, int s) { return put_byte(at, values[s]); });
}

char* put_chain(char* out, Record const& record) {
  TapStage const* const stages = tap_stages + record.tap_stage_index;
  out = put_name(out, record);
  out = put(out, "MIXER     : ");
  out = put_byte(out, static_cast<std::uint8_t>(record.mixer_dsps));
  out = put(out, " DSPs at ");
  out = put_megahertz(out, record.mixer_freq);
  out = put(out, " MHz\nMIXGROWTH : ");
  out = put_byte(out, static_cast<std::uint8_t>(record.mix_growth));
  out = put(out, "\nSTEPS     : ");
  std::uint8_t const* const numerators = per_stage_data + record.step_offset;
  std::uint8_t const* const denominators = per_stage_data + record.step_div_offset;
  out = put_stages(out, record, [=](char* at, int s) {
    at = put_byte(at, numerators[s]);
    const std::uint8_t denominator = denominators[s];
    return denominator == 1 ? at : put_byte(put(at, "/"), denominator);
  });
  out = put(out, "COETAPS   : ");
  out = put_stages(out, record, [=](char* at, int s) { return put_byte(at, stages[s].coe_taps); });
  out = put(out, "MODELTAPS : ");
  out = put_stages(out, record, [=](char* at, int s) { return put_byte(at, stages[s].model_taps); });
  out = put(out, "PATHS     : ");
  out = put_bytes(out, record, record.paths_offset);
  out = put(out, "BITGROWTH : ");
  out = put_bytes(out, record, record.growth_offset);
  out = put(out, "CLEANTIME : ");
  out = put_number(out, record.clean_time);
  out = put(out, "\nEVM       : ");
  out = record.evm == kNoEvm ? put(out, "-1.0") : put_fixed(out, static_cast<double>(record.evm), 1, 3);
  return put(out, "\n");
}

char* put_resources(char* out, Record const& record) {
  out = put_name(out, record);
  for (std::size_t k = 0; k < kResourceFigures; ++k) {
    out = put(put(out, rsrc_names[k]), " : ");
    out = put_bytes(out, record, rsrc_data[static_cast<std::size_t>(record.rsrc_index) + k]);
  }
  return out;
}

char* put_coefficients(char* out, TapStage const& stage) {
  constexpr std::size_t kWidth = 40;
  constexpr int kDecimals = 30;
  out = put(out, "Radix = 10;\nCoefData =");
  for (int i = 0; i < stage.coe_taps; ++i) {
    out = put_fixed(out, static_cast<double>(coef_data[stage.coef_index + i]), kDecimals, kWidth);
    out = put(out, i + 1 < stage.coe_taps ? ",\n" : ";\n");
  }
  return out;
}

char* put_file(char* out, Record const& record, int selector) {
  if (selector == 0) return put_chain(out, record);
  if (selector == -1) return put_resources(out, record);
  if (selector < 1 || selector > record.stage_count) return out;
  return put_coefficients(out, tap_stages[record.tap_stage_index + selector - 1]);
}

}  // namespace

std::string_view file_text(Record const& record, int selector, TextBuffer& buffer) {
  return {buffer, put_file(buffer, record, selector)};
}

}  // namespace ducddcgen_init
