#include "dsp/ducddcgen/ducddc_text.h"

#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

namespace ducddcgen_init {
namespace {

// More than either report takes, and than the lines of one coefficient.
constexpr std::size_t kLongestReport = 2048;
constexpr std::size_t kLongestLine = 48;
constexpr float kNoEvm = -1;

// Text that grows within a length known beforehand. Numbers are written as printf's %d and %.<decimals>f would write
// them in the C locale, and many times faster.
class Text {
 public:
  explicit Text(std::size_t most) {
    if (most > sizeof near_) far_ = std::make_unique_for_overwrite<char[]>(most);
    begin_ = end_ = far_ ? far_.get() : near_;
    limit_ = begin_ + most;
  }
  Text(Text const&) = delete;
  Text& operator=(Text const&) = delete;

  Text& operator<<(std::string_view piece) {
    std::memcpy(end_, piece.data(), piece.size());
    end_ += piece.size();
    return *this;
  }
  Text& operator<<(char letter) {
    *end_++ = letter;
    return *this;
  }
  Text& operator<<(int value) {
    if (value < 0 || value > 99) {
      end_ = std::to_chars(end_, limit_, value).ptr;
      return *this;
    }
    if (value > 9) *end_++ = static_cast<char>('0' + value / 10);
    *end_++ = static_cast<char>('0' + value % 10);
    return *this;
  }
  Text& fixed(double value, int decimals, std::size_t width = 0) {
    char digits[kLongestLine];
    char const* const end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr;
    const std::string_view number(digits, static_cast<std::size_t>(end - digits));
    for (std::size_t i = number.size(); i < width; ++i) *this << ' ';
    return *this << number;
  }
  // A number of hundredths, as fixed(value, 2) writes a double that is nearest to it.
  Text& hundredths(int value) {
    *this << value / 100 << '.';
    return *this << static_cast<char>('0' + value / 10 % 10) << static_cast<char>('0' + value % 10);
  }

  std::string str() const { return {begin_, end_}; }

 private:
  char near_[kLongestReport];
  std::unique_ptr<char[]> far_;
  char* begin_;
  char* end_;
  char* limit_;
};

// Frequency in MHz. Rates are whole multiples of 10 kHz, so that nothing is rounded; were one not, the double would be.
void write_megahertz(Text& text, int hertz) {
  constexpr int kHundredth = 10'000;
  if (hertz >= 0 && hertz % kHundredth == 0)
    text.hundredths(hertz / kHundredth);
  else
    text.fixed(hertz * 0.000001, 2);
}

// The values of all stages, in two bracket groups where a mixer parts them. With the mixer before stage 0 the first
// group is empty.
template <class WriteValue>
void write_stages(Text& text, Record const& record, WriteValue write_value) {
  text << '[';
  for (int s = 0; s < record.stage_count; ++s) {
    if (s == record.mixer_stage)
      text << "][";
    else if (s != 0)
      text << ',';
    write_value(s);
  }
  text << "]\n";
}

void write_bytes(Text& text, Record const& record, std::int32_t offset) {
  write_stages(text, record, [&](int s) { text << static_cast<int>(per_stage_data[offset + s]); });
}

std::string chain_report(Record const& record) {
  TapStage const* const stages = tap_stages + record.tap_stage_index;
  Text text(kLongestReport);
  text << "CFG: " << piece_of_name(record.name_head) << piece_of_name(record.name_tail) << '\n';
  text << "MIXER     : " << static_cast<int>(record.mixer_dsps) << " DSPs at ";
  write_megahertz(text, record.mixer_freq);
  text << " MHz\n";
  text << "MIXGROWTH : " << static_cast<int>(record.mix_growth) << '\n';
  text << "STEPS     : ";
  write_stages(text, record, [&](int s) {
    text << static_cast<int>(per_stage_data[record.step_offset + s]);
    const int denominator = per_stage_data[record.step_div_offset + s];
    if (denominator != 1) text << '/' << denominator;
  });
  text << "COETAPS   : ";
  write_stages(text, record, [&](int s) { text << static_cast<int>(stages[s].coe_taps); });
  text << "MODELTAPS : ";
  write_stages(text, record, [&](int s) { text << static_cast<int>(stages[s].model_taps); });
  text << "PATHS     : ";
  write_bytes(text, record, record.paths_offset);
  text << "BITGROWTH : ";
  write_bytes(text, record, record.growth_offset);
  text << "CLEANTIME : " << static_cast<int>(record.clean_time) << '\n';
  text << "EVM       : ";
  if (record.evm == kNoEvm)
    text << "-1.0\n";
  else
    text.fixed(static_cast<double>(record.evm), 1, 3) << '\n';
  return text.str();
}

std::string resource_report(Record const& record) {
  Text text(kLongestReport);
  text << "CFG: " << piece_of_name(record.name_head) << piece_of_name(record.name_tail) << '\n';
  for (std::size_t k = 0; k < kResourceFigures; ++k) {
    text << rsrc_names[k] << " : ";
    write_bytes(text, record, rsrc_data[static_cast<std::size_t>(record.rsrc_index) + k]);
  }
  return text.str();
}

std::string coefficient_file(TapStage const& stage) {
  constexpr std::size_t kWidth = 40;
  constexpr int kDecimals = 30;
  Text text(kLongestReport + stage.coe_taps * kLongestLine);
  text << "Radix = 10;\nCoefData =";
  for (int i = 0; i < stage.coe_taps; ++i)
    text.fixed(static_cast<double>(coef_data[stage.coef_index + i]), kDecimals, kWidth)
        << (i + 1 < stage.coe_taps ? ",\n" : ";\n");
  return text.str();
}

}  // namespace

std::string file_text(Record const& record, int selector) {
  if (selector == 0) return chain_report(record);
  if (selector == -1) return resource_report(record);
  if (selector < 1 || selector > record.stage_count) return {};
  return coefficient_file(tap_stages[record.tap_stage_index + selector - 1]);
}

}  // namespace ducddcgen_init
