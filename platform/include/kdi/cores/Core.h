// A core as data: its parameters, and the rules between them.
//
// data/cores/README.md tells the form of a description. What is read here is whole and consistent: names and types fit,
// every rule is compiled, no parameter depends on itself, every default is within its range. A fault is a
// kdi::JsonError that names file, line and field.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiNameHash.h"
#include "kdi/common/KdiPattern.h"
#include "kdi/cores/KeptText.h"
#include "kdi/cores/Rule.h"
#include "kdi/cores/SearchSection.h"

namespace kdi::cores {

enum class Severity : std::uint8_t { info, warning, critical_warning, error };

/// The tag that a message of this severity begins with, none for an error.
KDI_DOOR std::string_view tag_of(Severity severity);
/// The severity of a text, by the tag that it begins with.
KDI_DOOR Severity severity_told(std::string_view text);

enum class Widget : std::uint8_t { combo, edit, checkbox };

/// A message of a parameter: due while `when` holds.
struct Message {
  std::string name;  ///< short, for those that ask why; unique within the parameter
  Severity severity = Severity::error;
  Rule when;
  Rule text;
};

/// What most parameters have little of, or what many have alike, is kept by their core.
struct Parameter {
  KeptText name;
  Type type = Kind::text;  ///< truth, integer, decimal or text
  Widget widget = Widget::edit;
  bool skips = false;  ///< reads "SKIP" while it is disabled
  Value default_value;
  OptionalRule enabled;                 ///< truth; none: always
  OptionalRule range;                   ///< list of the parameter's type, in place of `values` or `limits`
  OptionalRule derived;                 ///< the value in effect, in place of the user's
  std::uint32_t first_message = 0;      ///< its number among all messages of the core
  std::uint32_t range_number = 0;       ///< of one with a range rule: among all of the core that have one
  std::optional<std::uint32_t> search;  ///< the one that gives its value

  KeptText group() const { return words_->group; }
  KeptText display_name() const { return words_->display_name; }
  KeptText description() const { return words_->description; }
  /// Other names that users give it, and those it had in older versions.
  std::vector<std::string> const& user_names() const { return more_->user_names; }
  /// Those permitted, as users write them; none for no such list.
  std::vector<std::string> const& values() const { return *more_->values; }
  /// Least and greatest, of the parameter's type.
  std::optional<std::pair<Value, Value>> const& limits() const { return more_->limits; }
  std::vector<Message> const& messages() const { return more_->messages; }
  /// Whether the range is the least and the greatest value.
  bool has_limits() const { return limits() || (range && widget == Widget::edit && type.is_number()); }

 private:
  friend class Core;
  friend class CoreReader;
  struct Words {
    KeptText group, display_name, description;
    friend bool operator==(Words const&, Words const&) = default;
  };
  struct More {
    std::vector<std::string> user_names;
    std::vector<std::string> const* values;
    std::optional<std::pair<Value, Value>> limits = {};
    std::vector<Message> messages = {};
  };
  explicit Parameter(More& more) : more_(&more) {}

  Words const* words_ = nullptr;
  More* more_;
};

/// What an instance computes, in an order in which each comes behind what it reads.
struct Step {
  enum class Kind : std::uint8_t { enabled, range, value, definition, message, search };
  std::uint32_t parameter;  ///< or definition, or search
  std::uint32_t message = 0;
  Kind kind;
  bool searches = false;  ///< costs time, and runs at the strength of searches alone
};

/// A named expression of a description, for rules to share.
struct Definition {
  std::string name;
  Rule rule;
};

/// What a description asks of the device, by a word of docs/device-info.md.
struct Fact {
  std::string word;
  Type type;      ///< truth, integer, decimal or text
  Value without;  ///< what stands for it where no device is known
};

/// A core within a core, configured as a part of it.
struct SubCore {
  struct Described {
    std::string core, version;
  };
  std::string name;  ///< within the core
  std::string core, version;
  int region = 0;                   ///< super logic region that it is of; a device with fewer does not have it
  std::vector<Described> first_of;  ///< it is the first of these that the device has, if there are any; without a
                                    ///< device `core` and `version`, which are the first here
};

/// A text parameter that holds others: text and members are one state.
struct Composite {
  struct Member {
    std::uint32_t parameter;
    std::string key;       ///< under which the text has it
    std::string key_word;  ///< on a device instead: its word that tells the key; where it has none, no member
  };
  std::uint32_t parameter;                ///< shows what is given
  std::optional<std::uint32_t> internal;  ///< shows all values in effect
  std::string sub_core;                   ///< all parameters of which are members; may be empty
  std::vector<Member> members;            ///< by key; the core's own
};

/// A value of a parameter, as a user would give it.
struct PresetValue {
  std::uint32_t parameter;
  std::string text;
};

/// Settings under one name: a preset, a board, or a choice of a sub-preset.
struct Preset {
  std::string name;
  std::string description;
  std::vector<PresetValue> settings;
};

/// A parameter whose values stand for settings.
struct SubPreset {
  std::string name;  ///< of the parameter
  std::uint32_t parameter;
  std::vector<Preset> choices;         ///< by the values, of which those without settings are none
  std::vector<std::uint32_t> members;  ///< all that choices set, ascending
};

/// A measurement of the system monitor.
struct Measurement {
  std::uint32_t enabled;                  ///< a truth
  std::vector<std::uint32_t> parameters;  ///< what else describes it
};

struct Measurements {
  std::vector<Measurement> all;
  std::vector<std::uint32_t> dictionaries;  ///< texts that have a value for each supply
};

struct Presets {
  std::vector<Preset> presets, boards;
  std::vector<SubPreset> sub_presets;
  Measurements measurements;
};

/// How a core is asked, which decides the class of its instances.
enum class Interface : std::uint8_t {
  fixed,    ///< nothing of it can be set or asked
  block,    ///< parameters alone
  plain,    ///< and what a processing system leaves behind
  pspmc,    ///< what the model of processing systems with their platform controller asks
  cips,     ///< the same for the wizards around them
  psxl,     ///< what the model of the larger processing systems asks
  earlier,  ///< what the commands of the earlier processing systems ask; parameters alone for everybody else
  staged,   ///< parameters, and which stage of an image loads what the core leaves behind
};

/// Lists of numbers, one behind the other in one piece of memory.
class NumberLists {
 public:
  std::size_t size() const { return ends_.size(); }
  std::span<std::uint32_t const> operator[](std::size_t list) const {
    const std::uint32_t begin = list == 0 ? 0 : ends_[list - 1];
    return {numbers_.data() + begin, ends_[list] - begin};
  }
  /// Adds a list of `numbers`, which are put in order, each once.
  void add(std::vector<std::uint32_t>& numbers);
  /// The same of numbers that are in order, each once.
  void add_ordered(std::span<std::uint32_t const> numbers);
  /// Makes room for so many lists.
  void reserve(std::size_t lists);
  /// For each number below `count` the lists that hold it, ascending.
  NumberLists holders(std::size_t count) const;
  /// Puts `others[n]` in the place of each number n, no two of which are equal.
  void renumber(std::span<std::uint32_t const> others);

 private:
  std::vector<std::uint32_t> numbers_, ends_;
};

/// The numbers of named things, by name. The names stay with what is numbered: `name_of(number)` is one, here and
/// below. Names that differ in their last digit alone, as those of a row do and are mostly asked for in a row, lie in a
/// row: the table of a large core is larger than the caches.
class NumberTable {
 public:
  template <class NameOf>
  std::optional<std::uint32_t> find(std::string_view name, NameOf name_of) const {
    const std::size_t place = place_of(name, name_of);
    return place == kNowhere ? std::nullopt : std::optional(places_[place].number);
  }
  /// For a name that is not there.
  void add(std::string_view name, std::uint32_t number) {
    if (2 * used_ >= places_.size()) grow();
    put({hash_of(name), number});
    ++used_;
  }
  template <class NameOf>
  void erase(std::string_view name, NameOf name_of) {
    const std::size_t place = place_of(name, name_of);
    if (place != kNowhere) places_[place].number = kErased;
  }

 private:
  static constexpr std::uint32_t kFree = ~0U, kErased = kFree - 1;
  static constexpr std::size_t kNowhere = ~std::size_t{0};
  struct Place {
    std::uint32_t hash = 0, number = kFree;
  };

  // From place to place of those that a name may be at; odd, so that it comes to all.
  static constexpr std::size_t kStep = 9;

  static std::uint32_t hash_of(std::string_view name);
  template <class NameOf>
  std::size_t place_of(std::string_view name, NameOf name_of) const {
    if (places_.empty()) return kNowhere;
    const std::uint32_t hash = hash_of(name);
    for (std::size_t at = hash & (places_.size() - 1); places_[at].number != kFree;
         at = (at + kStep) & (places_.size() - 1))
      if (places_[at].hash == hash && places_[at].number != kErased && name_of(places_[at].number) == name) return at;
    return kNowhere;
  }
  void grow() {
    constexpr std::size_t kFewest = 16;
    std::vector<Place> before(std::max(kFewest, 2 * places_.size()));
    before.swap(places_);
    for (Place const& place : before)
      if (place.number != kFree) put(place);
  }
  void put(Place const& added) {
    std::size_t at = added.hash & (places_.size() - 1);
    while (places_[at].number != kFree) at = (at + kStep) & (places_.size() - 1);
    places_[at] = added;
  }

  std::vector<Place> places_;  // as many as a power of two, or none
  std::size_t used_ = 0;       // by those that were erased as well
};

class ClockSection;
class PadSection;
struct Plan;

/// A file with registers of a core, and what stands for the places of what names it.
struct RegisterFile {
  std::string path;
  PlaceValues places;
};

class KDI_DOOR Core {
 public:
  /// Slots of a parameter, beside one another from kSlots times its number on.
  enum Slot : std::uint32_t { kValue, kUser, kGiven, kEnabled, kSlots };  // as Slots has them: the last two are truths
  static_assert(kSlots == Slots::kOfParameter);

  /// Reads the version `version` of the core `name` from below `directory`: the file <name>/<version>.json and those
  /// that it extends. Throws kdi::FileError, kdi::JsonError.
  static std::shared_ptr<Core const> read(std::string const& directory, std::string const& name,
                                          std::string const& version);
  /// The same from a text that extends nothing; errors call it `file`.
  static std::shared_ptr<Core const> parse(std::string_view text, std::string const& file);

  /// What is said of a value that is out of range: the texts of parameter, value and range (joined with commas).
  std::string out_of_range(std::string_view parameter, std::string_view value, std::string_view range) const;

  std::string const& name() const { return name_; }
  std::string const& version() const { return version_; }
  Interface interface() const { return interface_; }
  std::vector<Parameter> const& parameters() const { return parameters_; }
  std::vector<Definition> const& definitions() const { return definitions_; }
  std::vector<Fact> const& facts() const { return facts_; }
  std::vector<std::shared_ptr<SearchSection const>> const& searches() const { return searches_; }

  /// The clocks and the pads that it describes; null if there are none.
  std::shared_ptr<ClockSection const> clocks() const { return clocks_; }
  std::shared_ptr<PadSection const> pads() const { return pads_; }

  /// The number of the parameter with this engine name, and of the one that users call so.
  std::optional<std::uint32_t> find(std::string_view engine_name) const;
  std::optional<std::uint32_t> find_user_name(std::string_view name) const;

  std::optional<std::uint32_t> find_fact(std::string_view word) const;

  /// Files that describe its registers, which are read when those are asked for (kdi/cores/Registers.h).
  std::vector<RegisterFile> const& register_files() const { return register_files_; }

  std::vector<Composite> const& composites() const { return composites_; }
  std::vector<SubCore> const& sub_cores() const { return sub_cores_; }
  Presets const& presets() const { return presets_; }
  /// Whether users have a say in a parameter's value; one that is computed from others alone they cannot set.
  bool is_settable(std::uint32_t parameter) const;

  std::uint32_t slot_count() const;
  /// By slot: what is there before anything is given or computed. A fact is what it is without a device.
  Cells const& beginning() const { return beginning_; }
  static std::uint32_t slot(std::uint32_t parameter, Slot which) { return parameter * kSlots + which; }
  std::uint32_t fact_slot(std::uint32_t fact) const;
  std::uint32_t definition_slot(std::uint32_t definition) const;

  std::vector<Step> const& steps() const { return steps_; }
  /// The steps that read a slot, ascending.
  std::span<std::uint32_t const> readers(std::uint32_t slot) const { return readers_[slot]; }
  /// The slots that a step reads, ascending, and the step that writes a slot: kNoStep for what comes from the user
  /// alone. A range has a slot's number as well, behind those of values.
  static constexpr std::uint32_t kNoStep = ~0U;
  std::span<std::uint32_t const> reads(std::uint32_t step) const { return reads_[step]; }
  std::uint32_t writer(std::uint32_t slot) const { return writers_[slot]; }
  std::uint32_t range_slot(std::uint32_t parameter) const { return slot_count() + parameter; }
  /// Likewise for what a search says of a parameter, behind those of ranges.
  std::uint32_t search_slot(std::uint32_t parameter) const { return range_slot(parameter) + parameter_count(); }

 private:
  friend class CoreReader;
  friend class Instance;
  Core() = default;
  Core(Core const&) = delete;
  Core& operator=(Core const&) = delete;

  std::uint32_t parameter_count() const { return static_cast<std::uint32_t>(parameters_.size()); }

  std::string name_, version_, out_of_range_;
  Interface interface_ = Interface::block;
  std::vector<Parameter> parameters_;
  std::deque<Parameter::Words> words_;
  std::deque<std::vector<std::string>> value_lists_;  // the first is empty
  std::deque<Parameter::More> more_;                  // the first is of those that have nothing of it
  std::vector<Definition> definitions_;
  std::vector<Fact> facts_;
  std::vector<Composite> composites_;
  std::vector<SubCore> sub_cores_;
  Presets presets_;
  std::vector<RegisterFile> register_files_;
  std::vector<std::shared_ptr<SearchSection const>> searches_;
  std::shared_ptr<ClockSection const> clocks_;
  std::shared_ptr<PadSection const> pads_;
  NumberTable numbers_, fact_numbers_;
  std::unordered_map<std::string, std::uint32_t, NameHash, std::equal_to<>> user_numbers_;
  Cells beginning_;
  std::vector<Step> steps_;
  std::shared_ptr<Plan const> plan_;
  NumberLists readers_, reads_;
  std::vector<std::uint32_t> writers_;
};

/// The value that a user's text stands for; nothing if it is none of that type. Truths are `1`, `0`, `true`, `false`.
KDI_DOOR std::optional<Value> read_value(Type type, std::string_view text);
/// The text that a value of a parameter shows: truths as `1` and `0`.
KDI_DOOR std::string value_text(Value const& value);

}  // namespace kdi::cores
