// Reads the files of the command table, whose form data/commands/README.md tells.
//
// Entries share what they have in common by reference: words, options, keys, errors, notes and shapes of results stand
// in the groups of a file, and are read anew wherever an entry names them. What comes out holds no references.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/kdish/command_table.h"
#include "kdi/common/KdiJson.h"

namespace kdish {

class CommandReader {
 public:
  /// Finds `<folder>/*.json` of all `folders`; where two folders have a file of the same name, the first one's counts.
  /// Throws kdi::FileError for a folder that cannot be listed.
  explicit CommandReader(std::vector<std::string> const& folders);

  /// In byte order; a family has the name of its file.
  std::vector<std::string> families() const;
  /// Throws kdi::JsonError or kdi::FileError. What the family's entries and pages point to is for the caller to set.
  std::unique_ptr<Family> read(std::string const& family);
  /// Refuses what is left over when all families are read: a group that no entry names, a key for no command.
  void require_all_used() const;

  // For the readers of entries.

  /// The group `name` of a kind (`words`, `shapes`, ...) in a family's file; none if there is no such.
  std::optional<kdi::JsonValue> group(std::string const& family, std::string const& kind, std::string const& name);
  /// Takes a command's name; false if an entry has it already.
  bool take(std::string const& command) { return taken_.insert(command).second; }
  /// `only` was looked at for an entry, and named some of its commands or none.
  void note_only(kdi::JsonValue only, bool names_some);

 private:
  struct Use {
    kdi::JsonValue value;
    bool is_used;
  };

  std::optional<kdi::JsonValue> root(std::string const& family);
  static void note(std::map<std::string, Use>& uses, kdi::JsonValue value, bool is_used);

  std::map<std::string, std::string> paths_;
  std::map<std::string, kdi::JsonFile> files_;
  std::map<std::string, Use> groups_, onlys_;  // by place
  std::set<std::string> taken_;
};

}  // namespace kdish
