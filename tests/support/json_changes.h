// Documents that differ from a good one in one place, for holding readers of data files against their schemas.
#pragma once

#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

namespace json_changes {

using json = nlohmann::json;

/// The document with one value changed at random, taken out, or with one more beside it.
inline json mutated(json const& document, std::mt19937& random) {
  const json flat = document.flatten();
  std::vector<std::string> places;
  for (auto const& entry : flat.items()) places.push_back(entry.key());
  json::json_pointer at(places[random() % places.size()]);
  for (unsigned up = random() % 4; up > 0 && !at.parent_pointer().empty(); --up) at = at.parent_pointer();
  json changed = document;
  const json values[] = {nullptr, true, -1, 1e13, 0.5, "word", "two words", json::array(), json::object(), 3, ""};
  switch (random() % 3) {
    case 0:
      if (changed.at(at.parent_pointer()).is_object()) {
        changed.at(at.parent_pointer()).erase(at.back());
        return changed;
      }
      [[fallthrough]];
    case 1:
      changed[at] = values[random() % std::size(values)];
      return changed;
    default:
      if (changed.at(at).is_object())
        changed[at]["more"] = values[random() % std::size(values)];
      else
        changed[at] = values[random() % std::size(values)];
      return changed;
  }
}

}  // namespace json_changes
