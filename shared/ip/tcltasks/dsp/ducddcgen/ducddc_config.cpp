
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"
#include "tcltasks/dsp/ducddcgen/ducddc_text.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

namespace ducddcgen_init {

Record const& require_record(std::string_view name) {
  if (Record const* const record = find_record(name)) return *record;
  throw DUCDDCException("Configuration '" + std::string(name) + "' not found in database!");
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string num(int value, char const* format) { return kdi::number::printed(format, value); }

std::string fnum(double value, char const* format) {
  const kdi::number::PointNumbers same_under_every_locale;
  return kdi::number::printed(format, value);
}
#pragma GCC diagnostic pop

DUCDDCConfig::DUCDDCConfig(std::string config) : name(std::move(config)), record_(&require_record(name)) {
  Record const* const record = record_;
  mixer_dsps = record->mixer_dsps;
  mixer_freq = record->mixer_freq;
  mixer_stage = record->mixer_stage;
  mix_growth = record->mix_growth;
  clean_time = record->clean_time;
  evm = record->evm;
  rsrc_index = record->rsrc_index;
  const int stages = record->stage_count;
  const auto read = [&](std::vector<int>& values, std::int32_t offset) {
    values.assign(per_stage_data + offset, per_stage_data + offset + stages);
  };
  read(step_num, record->step_offset);
  read(step_den, record->step_div_offset);
  read(paths, record->paths_offset);
  read(bit_growth, record->growth_offset);
  coefs.reserve(static_cast<std::size_t>(stages));
  model_taps.reserve(static_cast<std::size_t>(stages));
  for (int s = 0; s < stages; ++s) {
    TapStage const& stage = tap_stages[record->tap_stage_index + s];
    float const* const first = coef_data + stage.coef_index;
    coefs.emplace_back(first, first + stage.coe_taps);
    model_taps.push_back(stage.model_taps);
  }
}

namespace {

void write_file(std::string const& path, std::string const& text) {
  try {
    kdi::write_file(path, text);
  } catch (kdi::OpenError const&) {
    throw std::runtime_error("Couldn't open file " + path + " for output!");
  } catch (kdi::FileError const&) {
    throw std::runtime_error("Couldn't write file " + path + " for output!");
  }
}

}  // namespace

std::string DUCDDCConfig::get_file(int selector) const {
  TextBuffer buffer;
  return std::string(file_text(*record_, selector, buffer));
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
