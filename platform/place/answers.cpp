#include "platform/place/answers.h"

#include <algorithm>

namespace kdi::place {

std::string const& value_of(ParamMap const& params, char const* key) {
  static const std::string kNone;
  const auto value = params.find(key);
  return value == params.end() ? kNone : value->second;
}

Asked asked(State const& state, ParamMap const& params) {
  Asked all{value_of(params, "IP_NAME"), settings_of_dictionary("XGUI_CONFIG", value_of(params, "XGUI_CONFIG")),
            read_locations("PORT_LOCS", value_of(params, "PORT_LOCS"))};
  all.settings.fill_from(state.settings);
  return all;
}

Asked asked_by_options(State const& state, OptionMap const& options) {
  constexpr char const* kOthers[] = {"-ip_name", "-port_locs"};
  Asked all{value_of(options, "-ip_name"), settings_of_options(options, kOthers),
            read_locations("-port_locs", value_of(options, "-port_locs")), "-port_locs"};
  all.settings.fill_from(state.settings);
  return all;
}

Asked asked_by_maps(State const& state, MultiMap const& map) {
  Asked all;
  std::vector<std::string> known{"Data", "Strobe", "ClkFwd", "InputClock", "PORT_LOCS", "PIN_INFO", "SETTINGS"};
  const std::size_t maps = known.size();
  for (SettingKind const& one : setting_kinds()) known.emplace_back(one.name);
  for (auto const& [key, inner] : map) {
    const auto at = std::find(known.begin(), known.end(), key);
    if (at == known.end()) {
      warn_of_unknown("map", key, known);
    } else if (at >= known.begin() + static_cast<std::ptrdiff_t>(maps)) {
      const auto value = inner.find(key);
      if (value == inner.end()) throw key + ": it stands in the map SETTINGS";
      all.settings.take("map", key, value->second);
    } else if (key == "SETTINGS") {
      for (auto const& [name, value] : inner)
        if (!all.settings.take(key, name, value)) warn_of_unknown(key, name, known);
    }
  }
  if (const Buses buses = read_buses(map); !buses.empty()) all.settings.take("map", "BUSES", write_buses(buses));
  if (const auto places = map.find("PORT_LOCS"); places != map.end())
    all.locations = read_locations("PORT_LOCS", places->second);
  all.settings.fill_from(state.settings);
  return all;
}

Asked standing(State const& state, std::string const& kind, Asked what) {
  std::optional<LastPlan> const& last = state.last_plan;
  if (last && last->kind == kind && last->settings == what.settings && last->told == what.locations)
    what.locations = read_locations(what.key, last->ports);
  return what;
}

OptionMap strobe_map(std::map<std::string, std::vector<std::string>> const& strobes) {
  OptionMap map;
  for (auto const& [strobe, nibbles] : strobes) map[strobe] = text::joined(nibbles, " ");
  return map;
}

std::string numbers(std::vector<int> const& values) {
  std::vector<std::string> words;
  words.reserve(values.size());
  for (const int value : values) words.push_back(std::to_string(value));
  return text::joined(words, ",");
}

}  // namespace kdi::place
