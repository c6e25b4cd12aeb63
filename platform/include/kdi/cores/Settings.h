// A configuration as a file: what was given to a core, as a Tcl script or as JSON, and back.
//
// A script has a heading that names the core and one line for each text: a command of the writer's, the parameter, the
// text, and its origin unless that is `user`. Tcl reads the words as they were given, whatever they hold. As JSON it is
//
//   {"format": 1, "core": "xram", "version": "1.0",
//    "settings": [{"parameter": "XRAM_SIZE_MB", "value": "2"}, {"parameter": ..., "value": ..., "origin": "preset"}]}
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Changes.h"
#include "kdi/cores/Instance.h"

namespace kdi::cores {

/// What is wrong with a script of settings, and where, or with settings for a core: "<file>:<line>: ...".
class KDI_DOOR SettingsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Setting {
  std::string parameter;
  std::string text;
  Origin from = Origin::user;  ///< user, preset or board

  friend bool operator==(Setting const&, Setting const&) = default;
};

struct Settings {
  std::string core, version;
  std::vector<Setting> all;

  friend bool operator==(Settings const&, Settings const&) = default;
};

/// What was given to the instance, in the order of the description.
KDI_DOOR Settings settings_of(Instance const& instance);

/// The changes that make an instance, whatever was given to it before, one that was given these settings alone.
/// Parameters are found by their engine names and by those that users have for them. Throws SettingsError for a
/// parameter that the core does not have, or that is set twice.
KDI_DOOR std::vector<Change> changes_for(Instance const& instance, Settings const& settings);

/// `command` stands in front of each setting as it is, such as `coretools::set $core`. Throws SettingsError for a text
/// that is no UTF-8, which no script can hold, and for a core whose name is no word. Settings of no core have no
/// heading.
KDI_DOOR std::string settings_script(Settings const& settings, std::string_view command);
/// Reads what settings_script wrote, by the rules of Tcl for words: braces, quotes and backslashes, but no variables
/// and commands within. Lines that begin with `#` are passed over, but for the heading. Errors call the text `file`.
KDI_DOOR Settings read_settings_script(std::string_view text, std::string const& file, std::string_view command);

KDI_DOOR std::string settings_json(Settings const& settings);
/// Throws kdi::JsonError. Errors call the text `file`.
KDI_DOOR Settings read_settings_json(std::string_view text, std::string const& file);

}  // namespace kdi::cores
