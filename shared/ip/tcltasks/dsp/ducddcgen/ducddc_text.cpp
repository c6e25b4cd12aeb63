#include "dsp/ducddcgen/ducddc_text.h"

#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

namespace ducddcgen_init {
namespace {

// More than either report takes, and than the line of one coefficient.
constexpr std::size_t kLongestReport = 2048;
constexpr std::size_t kLongestLine = 48;
constexpr float kNoEvm = -1;

// Text is written through a pointer that every step takes and returns: it stays in a register, where a member of a
// buffer class would be stored and loaded for each character. Numbers come out as printf's %d and %.<decimals>f write
// them in the C locale, many times faster.
char* put(char* out, std::string_view piece) {
  std::memcpy(out, piece.data(), piece.size());
  return out + piece.size();
}

char* put(char* out, int value) {
  if (value < 0 || value > 99) return std::to_chars(out, out + kLongestLine, value).ptr;
  if (value > 9) *out++ = static_cast<char>('0' + value / 10);
  *out++ = static_cast<char>('0' + value % 10);
  return out;
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
  constexpr int kHundredth = 10'000;
  if (hertz < 0 || hertz % kHundredth != 0) return put_fixed(out, hertz * 0.000001, 2);
  const int hundredths = hertz / kHundredth;
  out = put(out, hundredths / 100);
  *out++ = '.';
  *out++ = static_cast<char>('0' + hundredths / 10 % 10);
  *out++ = static_cast<char>('0' + hundredths % 10);
  return out;
}

char* put_name(char* out, Record const& record) {
  out = put(out, "CFG: ");
  out = put(out, piece_of_name(record.name_head));
  out = put(out, piece_of_name(record.name_tail));
  return put(out, "\n");
}

// The values of all stages, in two bracket groups where a mixer parts them. With the mixer before stage 0 the first
// group is empty. put_value(out, stage) writes one.
template <class PutValue>
char* put_stages(char* out, Record const& record, PutValue put_value) {
  *out++ = '[';
  for (int s = 0; s < record.stage_count; ++s) {
    if (s == record.mixer_stage)
      out = put(out, "][");
    else if (s != 0)
      *out++ = ',';
    out = put_value(out, s);
  }
  return put(out, "]\n");
}

char* put_bytes(char* out, Record const& record, std::int32_t offset) {
  return put_stages(out, record, [&](char* at, int s) { return put(at, +per_stage_data[offset + s]); });
}

std::string chain_report(Record const& record) {
  TapStage const* const stages = tap_stages + record.tap_stage_index;
  char text[kLongestReport];
  char* out = put_name(text, record);
  out = put(out, "MIXER     : ");
  out = put(out, +record.mixer_dsps);
  out = put(out, " DSPs at ");
  out = put_megahertz(out, record.mixer_freq);
  out = put(out, " MHz\nMIXGROWTH : ");
  out = put(out, +record.mix_growth);
  out = put(out, "\nSTEPS     : ");
  out = put_stages(out, record, [&](char* at, int s) {
    at = put(at, +per_stage_data[record.step_offset + s]);
    const int denominator = per_stage_data[record.step_div_offset + s];
    return denominator == 1 ? at : put(put(at, "/"), denominator);
  });
  out = put(out, "COETAPS   : ");
  out = put_stages(out, record, [&](char* at, int s) { return put(at, +stages[s].coe_taps); });
  out = put(out, "MODELTAPS : ");
  out = put_stages(out, record, [&](char* at, int s) { return put(at, +stages[s].model_taps); });
  out = put(out, "PATHS     : ");
  out = put_bytes(out, record, record.paths_offset);
  out = put(out, "BITGROWTH : ");
  out = put_bytes(out, record, record.growth_offset);
  out = put(out, "CLEANTIME : ");
  out = put(out, +record.clean_time);
  out = put(out, "\nEVM       : ");
  out = record.evm == kNoEvm ? put(out, "-1.0") : put_fixed(out, static_cast<double>(record.evm), 1, 3);
  out = put(out, "\n");
  return {text, out};
}

std::string resource_report(Record const& record) {
  char text[kLongestReport];
  char* out = put_name(text, record);
  for (std::size_t k = 0; k < kResourceFigures; ++k) {
    out = put(put(out, rsrc_names[k]), " : ");
    out = put_bytes(out, record, rsrc_data[static_cast<std::size_t>(record.rsrc_index) + k]);
  }
  return {text, out};
}

std::string coefficient_file(TapStage const& stage) {
  constexpr std::size_t kWidth = 40;
  constexpr int kDecimals = 30;
  const auto text = std::make_unique_for_overwrite<char[]>(kLongestReport + stage.coe_taps * kLongestLine);
  char* out = put(text.get(), "Radix = 10;\nCoefData =");
  for (int i = 0; i < stage.coe_taps; ++i) {
    out = put_fixed(out, static_cast<double>(coef_data[stage.coef_index + i]), kDecimals, kWidth);
    out = put(out, i + 1 < stage.coe_taps ? ",\n" : ";\n");
  }
  return {text.get(), out};
}

}  // namespace

std::string file_text(Record const& record, int selector) {
  if (selector == 0) return chain_report(record);
  if (selector == -1) return resource_report(record);
  if (selector < 1 || selector > record.stage_count) return {};
  return coefficient_file(tap_stages[record.tap_stage_index + selector - 1]);
}

}  // namespace ducddcgen_init
