// What a user says of an interface: words with values of a kind, the same in XGUI_CONFIG (`DATA_WIDTH`), as options
// (`-data_width`), and as single values of the map of maps. docs/io-planning.md lists them.
//
//   const Settings settings = settings_of_dictionary("XGUI_CONFIG", params.at("XGUI_CONFIG"));
//   settings.whole("DATA_WIDTH")
//
// A value that is none of its word throws a std::string that begins with the place and the word. A word that is none is
// told as a warning, with the nearest that is, and changes nothing.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "platform/place/buses.h"

namespace kdi::place {

struct SettingKind {
  enum class Form { whole, decimal, choice, truth, text, numbers, ratio, buses };

  char const* name;
  Form form;
  double least = 0, most = 0;    ///< of whole and decimal numbers
  char const* choices = "";      ///< with blanks between them
  char const* unless_told = "";  ///< empty: nothing
};

/// All of them, by name.
std::span<SettingKind const> setting_kinds();

class Settings {
 public:
  bool has(std::string_view name) const { return values_.contains(name); }

  // What was told, or what the word is unless told. Asking for a word that there is none of, or in a form that it does
  // not have, is a mistake of the caller's and throws std::logic_error.
  int whole(std::string_view name) const;
  double decimal(std::string_view name) const;
  bool truth(std::string_view name) const;
  /// Of a choice, a text or, as it was written, anything.
  std::string text(std::string_view name) const;
  std::vector<int> numbers(std::string_view name) const;
  /// Bits of a pin in one period of the clock inside: 8 of `8:1`; 0 if it is not told.
  int ratio(std::string_view name) const;
  Buses const& buses() const { return buses_; }

  /// Checks and keeps a value, in place of one that it has. `place` is for messages. False if there is no such word.
  bool take(std::string const& place, std::string_view name, std::string const& value);
  /// What is not told is as `other` has it.
  void fill_from(Settings const& other);
  /// What was told, as a dictionary.
  std::string written() const;

  bool operator==(Settings const& other) const { return values_ == other.values_ && buses_ == other.buses_; }

 private:
  SettingKind const& kind(std::string_view name, SettingKind::Form form) const;
  std::string const& value(SettingKind const& kind) const;

  std::map<std::string, std::string, std::less<>> values_;
  Buses buses_;
};

/// Of a Tcl dictionary, which `key` names.
Settings settings_of_dictionary(std::string const& key, std::string const& text);
/// Of options: names in lower case with a dash. Those that begin with `-` and are in `others` are known and not kept.
Settings settings_of_options(OptionMap const& options, std::span<char const* const> others = {});
/// Whether all options are settings or among `others`, with a warning of each that is not. Values are not looked at.
bool has_known_options(OptionMap const& options, std::span<char const* const> others);

/// Warns of a word that is none; `names` are those that there are.
void warn_of_unknown(std::string const& place, std::string_view word, std::span<std::string const> names);

}  // namespace kdi::place
