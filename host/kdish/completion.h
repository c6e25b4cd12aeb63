// What may stand at the cursor.
//
// The text is looked at as Tcl would read it, and nothing of it is ever evaluated: neither a command in brackets, nor a
// variable, nor a script in braces.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/kdish/command_table.h"

namespace kdish {

/// The names that are there; each function gets the text that they have to begin with.
struct KnownNames {
  using List = std::function<std::vector<std::string>(std::string const& prefix)>;
  List commands;  ///< a name that ends in :: is a namespace
  List variables;
  List parts;
  List parameters;
  List chains;  ///< of the catalogue of filter chains

  /// A core that stands on the line: one that is open, as it is typed (`core0`, `$c`), or one that a context or an
  /// identifier names.
  struct Core {
    std::string handle;
    std::string name, version;  ///< where there is no handle; the newest version if empty
  };
  List cores;             ///< handles of those that are open
  List core_identifiers;  ///< of what can be opened
  std::function<std::vector<std::string>(Core const& core, std::string const& prefix)> core_parameters;
  std::function<std::vector<std::string>(Core const& core, std::string const& parameter)> core_values;
};

struct Candidate {
  std::string text;   ///< what stands in the line, escaped where Tcl would read it otherwise
  std::string shown;  ///< in a list of candidates
  bool whole = true;  ///< nothing more can follow in this word
};

struct Completion {
  std::size_t begin = 0;  ///< where in the text the word begins that a candidate takes the place of
  std::vector<Candidate> candidates;

  /// The longest text that all candidates begin with; empty if there are none.
  std::string common() const;
};

/// Completes `text`, which ends at the cursor.
Completion complete(std::string_view text, Table const& table, KnownNames const& names);

}  // namespace kdish
