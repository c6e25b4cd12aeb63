// The package's commands as its contract has them: tests/contract/commands.txt.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/places.h"

namespace contract {

struct Family {
  std::string name;  ///< its namespace
  bool is_built;     ///< what is not is to come, and has no command registered
  std::vector<std::string> commands;
  std::vector<std::string> registered;  ///< those of a family that is built that are not to come
};

/// All families, and the commands of each, in the order of registration.
inline std::vector<Family> families() {
  constexpr std::string_view kToCome = " (to come)";
  const std::string path = places::source("tests/contract/commands.txt");
  std::ifstream file(path);
  std::vector<Family> families;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    const bool is_built = !line.ends_with(kToCome);
    if (!is_built) line.resize(line.size() - kToCome.size());
    if (!line.starts_with("  ")) {
      families.push_back({line, is_built, {}, {}});
      continue;
    }
    Family& family = families.at(families.size() - 1);
    family.commands.push_back(line.substr(2));
    if (family.is_built && is_built) family.registered.push_back(line.substr(2));
  }
  if (families.empty()) throw std::runtime_error(path + ": cannot be read");
  return families;
}

/// The commands that are registered.
inline std::vector<std::string> commands() {
  std::vector<std::string> all;
  for (Family const& family : families()) all.insert(all.end(), family.registered.begin(), family.registered.end());
  return all;
}

}  // namespace contract
