#include <charconv>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "dsp/ducddcgen/ducddc_catalogue.h"
#include "dsp/ducddcgen/ducddcgen.h"

namespace ducddcgen_init {
namespace {

constexpr int kCoefficientWidth = 40;
constexpr int kCoefficientDecimals = 30;

template <class Value>
std::string formatted(Value value, char const* format) {
  std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, value)), '\0');
  std::snprintf(text.data(), text.size() + 1, format, value);
  return text;
}

}  // namespace

std::string num(int value, char const* format) { return formatted(value, format); }

std::string fnum(double value, char const* format) {
  std::string text = formatted(value, format);
  const std::string point = std::localeconv()->decimal_point;
  if (const std::size_t at = text.find(point); point != "." && at != std::string::npos)
    text.replace(at, point.size(), ".");
  return text;
}

DUCDDCConfig::DUCDDCConfig(std::string config) : name(std::move(config)) {
  Record const* const record = find_record(name);
  if (record == nullptr) throw DUCDDCException("Configuration '" + name + "' not found in database!");
  mixer_dsps = record->mixer_dsps;
  mixer_freq = record->mixer_freq;
  mixer_stage = record->mixer_stage;
  mix_growth = record->mix_growth;
  clean_time = record->clean_time;
  evm = record->evm;
  rsrc_index = record->rsrc_index;
  for (int s = 0; s < record->stage_count; ++s) {
    step_num.push_back(per_stage_data[record->step_offset + s]);
    step_den.push_back(per_stage_data[record->step_div_offset + s]);
    paths.push_back(per_stage_data[record->paths_offset + s]);
    bit_growth.push_back(per_stage_data[record->growth_offset + s]);
    TapStage const& stage = tap_stages[record->tap_stage_index + s];
    float const* const first = coef_data + stage.coef_index;
    coefs.emplace_back(first, first + stage.coe_taps);
    model_taps.push_back(stage.model_taps);
  }
}

namespace {

// The values of all stages, in two bracket groups where a mixer parts them. With the mixer before stage 0 the first
// group is empty.
template <class ValueOf>
std::string stage_list(DUCDDCConfig const& config, ValueOf value_of) {
  std::string text = "[";
  for (int s = 0; s < static_cast<int>(config.step_num.size()); ++s) {
    if (s == config.mixer_stage)
      text += "][";
    else if (s != 0)
      text += ',';
    text += value_of(static_cast<std::size_t>(s));
  }
  return text += ']';
}

std::string stage_list(DUCDDCConfig const& config, std::vector<int> const& values) {
  return stage_list(config, [&](std::size_t s) { return num(values[s], "%d"); });
}

std::string chain_report(DUCDDCConfig const& config) {
  const auto step = [&](std::size_t s) {
    std::string text = num(config.step_num[s], "%d");
    if (config.step_den[s] != 1) text += "/" + num(config.step_den[s], "%d");
    return text;
  };
  const auto held = [&](std::size_t s) { return num(static_cast<int>(config.coefs[s].size()), "%d"); };
  std::stringstream text;
  text << "CFG: " << config.name << '\n'
       << "MIXER     : " << num(config.mixer_dsps, "%d") << " DSPs at " << fnum(config.mixer_freq * 0.000001, "%.2f")
       << " MHz\n"
       << "MIXGROWTH : " << num(config.mix_growth, "%d") << '\n'
       << "STEPS     : " << stage_list(config, step) << '\n'
       << "COETAPS   : " << stage_list(config, held) << '\n'
       << "MODELTAPS : " << stage_list(config, config.model_taps) << '\n'
       << "PATHS     : " << stage_list(config, config.paths) << '\n'
       << "BITGROWTH : " << stage_list(config, config.bit_growth) << '\n'
       << "CLEANTIME : " << num(config.clean_time, "%d") << '\n'
       << "EVM       : " << fnum(config.evm, "%3.1f") << '\n';
  return text.str();
}

std::string resource_report(DUCDDCConfig const& config) {
  std::stringstream text;
  text << "CFG: " << config.name << '\n';
  for (std::size_t k = 0; k < kResourceFigures; ++k) {
    std::uint8_t const* const figures = per_stage_data + rsrc_data[static_cast<std::size_t>(config.rsrc_index) + k];
    text << rsrc_names[k] << " : " << stage_list(config, [&](std::size_t s) { return num(figures[s], "%d"); }) << '\n';
  }
  return text.str();
}

// As many bytes as printf's "%40.30f", without its detour over the locale.
std::string coefficient_file(std::vector<double> const& coefficients) {
  std::string text = "Radix = 10;\nCoefData =";
  text.reserve(text.size() + coefficients.size() * (kCoefficientWidth + 2));
  char digits[512];
  for (std::size_t i = 0; i < coefficients.size(); ++i) {
    const auto end = std::to_chars(digits, digits + sizeof digits, coefficients[i], std::chars_format::fixed,
                                   kCoefficientDecimals);
    const auto length = static_cast<std::size_t>(end.ptr - digits);
    if (length < kCoefficientWidth) text.append(kCoefficientWidth - length, ' ');
    text.append(digits, length);
    text += i + 1 < coefficients.size() ? ",\n" : ";\n";
  }
  return text;
}

void write_file(std::string const& path, std::string const& text) {
  std::ofstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("Couldn't open file " + path + " for output!");
  file << text;
  file.close();
  if (file) return;
  std::error_code ignored;
  if (std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  throw std::runtime_error("Couldn't write file " + path + " for output!");
}

}  // namespace

std::string DUCDDCConfig::get_file(int selector) const {
  if (selector == 0) return chain_report(*this);
  if (selector == -1) return resource_report(*this);
  if (selector < 1 || static_cast<std::size_t>(selector) > coefs.size()) return {};
  return coefficient_file(coefs[static_cast<std::size_t>(selector) - 1]);
}

void DUCDDCConfig::write_files(std::string directory) const {
  if (!directory.empty() && directory.back() != '/') directory += '/';
  const std::string base = directory + name;
  write_file(base + ".cfg", get_file(0));
  write_file(base + ".rsrc", get_file(-1));
  for (int i = 1; i <= static_cast<int>(coefs.size()); ++i)
    write_file(base + "_s" + num(i, "%d") + ".coe", get_file(i));
}

}  // namespace ducddcgen_init
