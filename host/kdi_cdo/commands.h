// What kdi_cdo does: one row for each command, from which the program is run and its help is made.
#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace kdi_cdo {

/// Words that the program does not take.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What an invocation has behind the name of its command.
struct Words {
  std::vector<std::string> files;
  std::map<std::string, std::string> options;  ///< by name; those without a value have an empty one

  bool has(std::string const& option) const { return options.contains(option); }
  std::string option(std::string const& name) const { return has(name) ? options.at(name) : std::string(); }
};

struct Option {
  char const* name;   ///< `--core`
  char const* value;  ///< what stands behind it; null for none
  char const* meaning;
};

/// Exit statuses of the program.
enum Status : int { kDone = 0, kNo = 1, kMisused = 2, kTrouble = 3 };

struct CommandRow {
  char const* name;
  char const* words;  ///< what stands behind it
  std::size_t least, most;
  std::vector<Option> options;
  char const* summary;
  char const* description;
  char const* example;
  Status (*run)(Words const& words);
};

std::vector<CommandRow> const& commands();

}  // namespace kdi_cdo
