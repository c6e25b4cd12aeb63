#include "platform/place/settings.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiText.h"
#include "platform/place/dictionary.h"
#include "platform/place/words.h"

namespace kdi::place {
namespace {

using Form = SettingKind::Form;

constexpr char const* kBias = "NONE DC_BIAS_0 DC_BIAS_1 DC_BIAS_2 DC_BIAS_3";
constexpr SettingKind kKinds[] = {
    {"APPLICATION_TYPE", Form::choice, 0, 0, "RX TX RX_TX BIDIR"},
    {"BANKS", Form::numbers, 0, 1000000},
    {"BANKS_IN_TRIPLET", Form::whole, 1, 3},
    {"BIDIR_MODE", Form::truth, 0, 0, "", "false"},
    {"BUSES", Form::buses},
    {"CONTROLLER", Form::text},
    {"DATA_MASK", Form::truth, 0, 0, "", "true"},
    {"DATA_RATE", Form::decimal, 1, 100000},
    {"DATA_WIDTH", Form::whole, 1, kMostBusWidth},
    {"DIFF_DC_BIAS", Form::choice, 0, 0, kBias, "NONE"},
    {"DIFF_IO_STD", Form::text},
    {"ECC", Form::truth, 0, 0, "", "false"},
    {"ENABLE_ZERO_PPM_CDR", Form::truth, 0, 0, "", "false"},
    {"EXDES_INST", Form::text},
    {"EXDES_INST_NUM_HALF_BANKS", Form::whole, 0, 1024},
    {"INPUT_CLOCK_PERIOD", Form::decimal, 100, 1000000},
    {"INTERNAL_VREF", Form::truth, 0, 0, "", "true"},
    {"MAX_BANKS", Form::whole, 1, 1024},
    {"MEMORY_PART", Form::text},
    {"MEMORY_TYPE", Form::text},
    {"NUM_BANKS_IP", Form::whole, 0, 1024},
    {"RANKS", Form::whole, 1, 64, "", "1"},
    {"RATIO", Form::ratio},
    {"SINGLE_DC_BIAS", Form::choice, 0, 0, kBias, "NONE"},
    {"SINGLE_IO_STD", Form::text},
    {"SLOTS", Form::whole, 1, 2, "", "1"},
    {"SYSTEM_CLOCK", Form::choice, 0, 0, "Differential Single-Ended No_Buffer", "Differential"},
    {"TEMPLATE", Form::text},
    {"TIME_PERIOD", Form::decimal, 10, 100000},
    {"TRI_SELECT", Form::choice, 0, 0, "NONE PER_NIBBLE PER_BIT", "NONE"},
};

SettingKind const* find_kind(std::string_view name) {
  const auto at = std::lower_bound(std::begin(kKinds), std::end(kKinds), name,
                                   [](SettingKind const& kind, std::string_view key) { return kind.name < key; });
  return at == std::end(kKinds) || at->name != name ? nullptr : at;
}

std::vector<int> numbers_of(std::string const& place, std::string const& value, SettingKind const& kind) {
  std::vector<int> numbers;
  for (std::string const& word : read_list(value, place))
    for (const std::string_view one : text::split(word, ','))
      numbers.push_back(whole_of(place, std::string(one), static_cast<int>(kind.least), static_cast<int>(kind.most)));
  return numbers;
}

void check(std::string const& place, SettingKind const& kind, std::string const& value) {
  switch (kind.form) {
    case Form::whole:
      whole_of(place, value, static_cast<int>(kind.least), static_cast<int>(kind.most));
      return;
    case Form::decimal:
      decimal_of(place, value, kind.least, kind.most);
      return;
    case Form::truth:
      truth_of(place, value);
      return;
    case Form::choice: {
      const auto choices = text::words(kind.choices);
      if (std::find(choices.begin(), choices.end(), value) == choices.end())
        throw place + ": " + text::shown(value) + " is none of " + text::joined(choices, ", ");
      return;
    }
    case Form::text:
      word_of(place, value);
      return;
    case Form::numbers:
      numbers_of(place, value, kind);
      return;
    case Form::ratio:
      ratio_of(place, value);
      return;
    case Form::buses:
      return;  // read on their own
  }
}

std::vector<std::string> names() {
  std::vector<std::string> all;
  for (SettingKind const& kind : kKinds) all.emplace_back(kind.name);
  return all;
}

}  // namespace

std::span<SettingKind const> setting_kinds() { return kKinds; }

bool Settings::take(std::string const& place, std::string_view name, std::string const& value) {
  SettingKind const* const kind = find_kind(name);
  if (kind == nullptr) return false;
  const std::string at = place + ": " + kind->name;
  if (kind->form == Form::buses) {
    buses_ = read_buses(at, value);
    return true;
  }
  if (value.empty()) {  // as not told
    values_.erase(kind->name);
    return true;
  }
  check(at, *kind, value);
  values_.insert_or_assign(kind->name, value);
  return true;
}

SettingKind const& Settings::kind(std::string_view name, Form form) const {
  SettingKind const* const kind = find_kind(name);
  if (kind == nullptr || kind->form != form) throw std::logic_error("no setting of the form: " + std::string(name));
  return *kind;
}

std::string const& Settings::value(SettingKind const& kind) const {
  static const auto& unless_told = []() -> std::map<std::string, std::string, std::less<>> const& {
    auto& all = *new std::map<std::string, std::string, std::less<>>;  // never destroyed: asked while the process ends
    for (SettingKind const& one : kKinds) all.emplace(one.name, one.unless_told);
    return all;
  }();
  const auto told = values_.find(kind.name);
  return told == values_.end() ? unless_told.find(kind.name)->second : told->second;
}

int Settings::whole(std::string_view name) const {
  SettingKind const& found = kind(name, Form::whole);
  std::string const& text = value(found);
  return text.empty() ? 0 : whole_of(found.name, text, static_cast<int>(found.least), static_cast<int>(found.most));
}
double Settings::decimal(std::string_view name) const {
  SettingKind const& found = kind(name, Form::decimal);
  std::string const& text = value(found);
  return text.empty() ? 0 : decimal_of(found.name, text, found.least, found.most);
}
bool Settings::truth(std::string_view name) const {
  SettingKind const& found = kind(name, Form::truth);
  return truth_of(found.name, value(found));
}
std::string Settings::text(std::string_view name) const {
  SettingKind const* const found = find_kind(name);
  if (found == nullptr) throw std::logic_error("no setting: " + std::string(name));
  return value(*found);
}
std::vector<int> Settings::numbers(std::string_view name) const {
  SettingKind const& found = kind(name, Form::numbers);
  return numbers_of(found.name, value(found), found);
}
int Settings::ratio(std::string_view name) const {
  SettingKind const& found = kind(name, Form::ratio);
  std::string const& text = value(found);
  return text.empty() ? 0 : ratio_of(found.name, text);
}

void Settings::fill_from(Settings const& other) {
  values_.insert(other.values_.begin(), other.values_.end());
  if (buses_.empty()) buses_ = other.buses_;
}

std::string Settings::written() const {
  Pairs pairs(values_.begin(), values_.end());
  if (!buses_.empty()) pairs.emplace_back("BUSES", write_buses(buses_));
  return write_dictionary(pairs);
}

void warn_of_unknown(std::string const& place, std::string_view word, std::span<std::string const> names) {
  auto nearest = names.begin();
  const std::string_view beginning = word.substr(0, 64);  // names are shorter
  for (auto one = names.begin(); one != names.end(); ++one)
    if (text::edit_distance(beginning, *one) < text::edit_distance(beginning, *nearest)) nearest = one;
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "place", ComMsgMgr::MSG_WARNING,
                           "%s: nothing is called %s; the nearest is %s", place.c_str(), text::shown(word).c_str(),
                           nearest->c_str());
}

Settings settings_of_dictionary(std::string const& key, std::string const& text) {
  Settings settings;
  for (auto const& [name, value] : read_dictionary(text, key))
    if (!settings.take(key, name, value)) warn_of_unknown(key, name, names());
  return settings;
}

namespace {

constexpr char const* kOptions = "options";

bool is_among(std::span<char const* const> others, std::string const& option) {
  return std::find(others.begin(), others.end(), option) != others.end();
}

std::string setting_of(std::string const& option) {
  return option.starts_with('-') ? text::uppered(std::string_view(option).substr(1)) : option;
}

void warn_of_unknown_option(std::string const& option, std::span<char const* const> others) {
  std::vector<std::string> known = names();
  for (std::string& one : known) one = "-" + text::lowered(one);
  known.insert(known.end(), others.begin(), others.end());
  warn_of_unknown(kOptions, option, known);
}

}  // namespace

Settings settings_of_options(OptionMap const& options, std::span<char const* const> others) {
  Settings settings;
  for (auto const& [option, value] : options)
    if (!is_among(others, option) && !settings.take(kOptions, setting_of(option), value))
      warn_of_unknown_option(option, others);
  return settings;
}

bool has_known_options(OptionMap const& options, std::span<char const* const> others) {
  const std::vector<std::string> settings = names();
  bool are_known = true;
  for (auto const& [option, value] : options) {
    if (is_among(others, option) || std::find(settings.begin(), settings.end(), setting_of(option)) != settings.end())
      continue;
    warn_of_unknown_option(option, others);
    are_known = false;
  }
  return are_known;
}

}  // namespace kdi::place
