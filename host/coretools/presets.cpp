// Presets and boards: settings under one name, of the core or of one within it.
#include <algorithm>
#include <stdexcept>

#include "host/coretools/opened_core.h"
#include "kdi/common/KdiText.h"

namespace coretools {
namespace {

using kdi::cores::Configuration;
using kdi::cores::Origin;
using kdi::cores::Preset;
using kdi::cores::Record;

std::vector<Preset> const& named(Configuration const& configuration, Origin from) {
  kdi::cores::Presets const& all = configuration.core().presets();
  return from == Origin::preset ? all.presets : all.boards;
}

struct Found {
  Configuration* configuration;
  Preset const* preset;
};

// The core's own first; a core within it is asked for names that it has not.
std::vector<Found> all_of(std::vector<Configuration*> const& configurations, Origin from) {
  std::vector<Found> all;
  for (Configuration* const one : configurations)
    for (Preset const& preset : named(*one, from)) {
      const auto is_same = [&](Found const& known) { return known.preset->name == preset.name; };
      if (std::none_of(all.begin(), all.end(), is_same)) all.push_back({one, &preset});
    }
  return all;
}

Found found(std::vector<Configuration*> const& configurations, Origin from, std::string const& name) {
  const std::vector<Found> all = all_of(configurations, from);
  StrVec names;
  for (Found const& one : all) {
    if (one.preset->name == name) return one;
    names.push_back(one.preset->name);
  }
  throw std::invalid_argument(std::string("no ") + (from == Origin::preset ? "preset " : "board ") +
                              kdi::text::shown(name) +
                              (names.empty() ? std::string() : "; there are " + kdi::text::joined(names, ", ")));
}

}  // namespace

StrVec OpenedCore::named_settings(Origin from) const {
  StrVec names;
  access([&](Access const& all) {
    for (Found const& one : all_of(all.configuration.all_of_it(), from)) names.push_back(one.preset->name);
  });
  return names;
}

Record OpenedCore::named_settings(Origin from, std::string const& name) const {
  Record record = Record::dictionary();
  access([&](Access const& all) {
    const Found one = found(all.configuration.all_of_it(), from, name);
    Record settings = Record::dictionary();
    for (kdi::cores::PresetValue const& value : one.preset->settings)
      settings.set(one.configuration->core().parameters()[value.parameter].name, value.text);
    record.set("description", one.preset->description).set("settings", std::move(settings));
  });
  return record;
}

StrVec OpenedCore::apply(Origin from, std::string const& name) {
  return engine_change([&](Access const& all) {
    const Found one = found(all.configuration.all_of_it(), from, name);
    std::vector<std::pair<Place, std::string>> values;
    for (kdi::cores::PresetValue const& value : one.preset->settings)
      values.emplace_back(Place{one.configuration, value.parameter}, value.text);
    StrVec moved = all.whole.set(values, from);
    all.history.record();
    return moved;
  });
}

}  // namespace coretools
