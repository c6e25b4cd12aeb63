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
};

/// All families, and the commands of each, in the order of registration.
inline std::vector<Family> families() {
  constexpr std::string_view kToCome = " (to come)";
  const std::string path = places::source("tests/contract/commands.txt");
  std::ifstream file(path);
  std::vector<Family> families;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line.starts_with("  ")) {
      families.at(families.size() - 1).commands.push_back(line.substr(2));
      continue;
    }
    const bool is_built = !line.ends_with(kToCome);
    families.push_back({is_built ? line : line.substr(0, line.size() - kToCome.size()), is_built, {}});
  }
  if (families.empty()) throw std::runtime_error(path + ": cannot be read");
  return families;
}

/// The commands that are registered.
inline std::vector<std::string> commands() {
  std::vector<std::string> all;
  for (Family const& family : families())
    if (family.is_built) all.insert(all.end(), family.commands.begin(), family.commands.end());
  return all;
}

}  // namespace contract
