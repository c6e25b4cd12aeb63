// A configured core with its sub-cores, each by a name: what the hosts write and check of all of them together.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cores/CommandReading.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/Registers.h"

namespace host {

/// A core that has registers; of a sub-core with its name within the whole.
struct NamedCore {
  std::string name;
  kdi::cores::Configuration* configuration;
  std::shared_ptr<kdi::cores::RegisterMap const> map;
};

/// Those of a core and its sub-cores that have registers, in their order. `all` begins with the core itself.
inline std::vector<NamedCore> named_cores(std::vector<kdi::cores::Configuration*> const& all) {
  std::vector<std::pair<std::string, kdi::cores::Configuration*>> names{{"", all.front()}};
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto [outer, parent] = names[i];
    for (kdi::cores::SubCore const& sub : parent->core().sub_cores())
      if (kdi::cores::Configuration* const there = parent->sub_core(sub.name))
        names.emplace_back(outer.empty() ? sub.name : outer + "_" + sub.name, there);
  }
  std::vector<NamedCore> cores;
  for (auto const& [name, one] : names) {
    auto map = kdi::cores::RegisterMap::of(one->instance().shared_core());
    if (!map->registers().empty()) cores.push_back({name, one, std::move(map)});
  }
  return cores;
}

/// What commands do to all of these cores: kdi::cores::check_commands.
inline kdi::cores::Record check(std::vector<kdi::cores::Configuration*> const& all,
                                kdi::cdo::Commands const& commands) {
  std::vector<std::unique_ptr<kdi::cores::RegisterImage>> images;
  std::vector<kdi::cores::CommandsOf> cores;
  for (NamedCore const& one : named_cores(all)) {
    images.push_back(std::make_unique<kdi::cores::RegisterImage>(*one.map, one.configuration->instance()));
    cores.push_back(
        {kdi::cores::CommandSubject(one.configuration->instance().shared_core()), images.back().get(), one.name});
  }
  return kdi::cores::check_commands(cores, commands);
}

}  // namespace host
