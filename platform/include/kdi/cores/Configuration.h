// A core with its sub-cores and its composite parameters: what users of a whole core see and set.
//
// A composite parameter is a text that holds others: `PS_UART0_ENABLE 1 PS_UART0_BAUD_RATE 9600`. Text and members are
// one state. A text that is given is what its members are given: those that it does not name are taken back. What is
// given to a member shows in the text. Texts are lists of keys and values as Tcl writes them, in the byte order of the
// keys; a list of pairs between braces is taken as well. A key that is no member's is kept and told. A text that is no
// list is refused with all that is given with it: nothing changes, and messages() says until the next change where the
// text is broken. Members of the core and of its sub-core that a text has under one key are given the same.
//
// An internal text shows all values in effect. Given, it leaves what has the value anyway as it is, given or not, and
// what searches find; what it does not name and would show is taken back, and so is what it says is the default. So a
// text that was read and is given back changes nothing.
//
// Of the values that are given at once internal texts count first, then composite texts, then single parameters: so a
// member that is named beside its text has the value that is given to it alone.
//
// For one thread at a time, as an Instance is.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Instance.h"

namespace kdi::cores {

class KDI_DOOR Configuration {
 public:
  /// The description of a sub-core; null if there is none.
  using Descriptions = std::function<std::shared_ptr<Core const>(std::string const& name, std::string const& version)>;

  /// Throws FactError, and std::runtime_error for a sub-core without a description or sub-cores nested without end.
  Configuration(std::shared_ptr<Core const> core, Facts const& facts, Descriptions const& descriptions);
  Configuration& operator=(Configuration const&) = delete;
  ~Configuration();

  /// The same with sub-cores of its own, to try something on.
  std::unique_ptr<Configuration> copy() const;

  Core const& core() const { return instance_.core(); }
  Instance& instance() { return instance_; }
  Instance const& instance() const { return instance_; }
  /// Null if there is none of that name.
  Configuration* sub_core(std::string_view name);
  Configuration const* sub_core(std::string_view name) const;
  /// Whether the parameter is a text that shows others.
  bool is_composite(std::uint32_t parameter) const { return !is_single(parameter); }

  /// A parameter of the core or of one of its sub-cores.
  struct Place {
    Configuration* configuration;
    std::uint32_t number;
  };
  /// By the engine's name or one that users have, either behind `CONFIG.`; the core's own before its sub-cores'. Behind
  /// the name of a sub-core and a point, what that one finds: `cpm_0.CPM_PCIE0_MODES`.
  std::optional<Place> find(std::string_view name);
  /// The name by which a parameter within is found: the engine's, behind those of sub-cores where that one alone is
  /// another's.
  std::string name_of(Place place);
  /// The parameter, and those of sub-cores that are given the same.
  std::vector<Place> same_as(Place place) const;
  /// This one, then those within it.
  std::vector<Configuration*> all_of_it();

  /// Gives values, Instance::set. Returns the names of all parameters that moved, those of sub-cores too, each once.
  std::vector<std::string> set(std::vector<std::pair<Place, std::string>> const& values, Origin from = Origin::user,
                               Strength strength = Strength::searches);
  /// Gives the settings of a preset or a board of the core, as from there. Nothing for an unknown name.
  std::optional<std::vector<std::string>> set_preset(std::string_view name, Strength strength = Strength::searches);
  std::optional<std::vector<std::string>> set_board(std::string_view name, Strength strength = Strength::searches);
  /// Takes back what was given, Instance::take_back; of composites nothing. Returns what set() returns.
  std::vector<std::string> take_back(std::vector<Place> const& places, Strength strength = Strength::searches);
  /// Takes everything back that was given to the core and its sub-cores.
  std::vector<std::string> take_all_back(Strength strength = Strength::searches);
  /// Whether nothing is given.
  bool is_default() const;

  /// Instance::value and backup, and the texts of composites.
  std::string value(std::uint32_t parameter) const;
  std::string backup(std::uint32_t parameter) const;
  /// What the text of a composite names beside its members.
  std::map<std::string, std::string> beside(std::uint32_t parameter) const;
  /// What an internal text shows, by key; nothing for any other parameter.
  std::map<std::string, std::string> shown_members(std::uint32_t parameter) const;

  struct Told {
    std::string parameter;
    Due due;
  };
  /// All messages that are due, those of sub-cores behind the core's own.
  std::vector<Told> messages();
  std::vector<Due> own_messages();

 private:
  struct Part;
  struct Held;
  std::optional<std::vector<std::string>> set_named(std::vector<Preset> const& all, std::string_view name, Origin from,
                                                    Strength strength);
  using Values = std::vector<std::pair<std::uint32_t, std::string>>;
  Configuration(Configuration const& other);

  using Members = std::map<std::pair<Configuration*, std::uint32_t>, std::string>;
  struct Given {
    Values values;
    std::vector<std::uint32_t> taken;  ///< back
  };

  void tell_ranges_as(std::shared_ptr<Core const> const& core);
  Part own_members(Composite const& composite, Facts const& facts);
  static Part all_members(Configuration& of);
  /// The composite that the parameter shows; null for a single parameter.
  Held* held_by(std::uint32_t parameter, bool internal) const;
  bool is_single(std::uint32_t parameter) const;
  bool refuses(std::vector<std::pair<Place, std::string>> const& values);
  void forget_refused();
  std::optional<std::string> fault(Held const& held, std::string const& text, int depth = 0) const;
  Held* held_within(Held const& held, Part const& part, std::string const& key) const;
  static std::optional<std::uint32_t> member_of(Part const& part, std::string const& key);
  std::map<std::string, std::string> unknown(Held const& held) const;
  void give_text(Held& held, std::string const& text, bool internal, Origin from, std::vector<std::string>& moved);
  enum class Fate { stays, taken, given };
  Fate fate_of(std::uint32_t number, std::string const* named) const;
  std::set<std::uint32_t> searched() const;
  void give_values(Held const& held, Members const& members, Origin from, std::vector<std::string>& moved);
  void give_unless_found(Given given, Origin from, std::vector<std::string>& moved);
  void give(Given const& given, Origin from, std::vector<std::string>& moved);
  void read_members(Held const& held, std::string const& text, Members& members,
                    std::map<std::string, std::string>& unknown, int depth = 0) const;
  void keep_unknown(Held const& held, std::map<std::string, std::string> const& unknown,
                    std::vector<std::string>& moved);
  std::string public_text(Held const& held) const;
  std::optional<std::string> shown_in_internal(std::uint32_t parameter) const;
  void show_texts(std::vector<std::string>& moved);
  void add(std::vector<std::uint32_t> const& numbers, std::vector<std::string>& moved) const;
  std::vector<std::string> compute(Strength strength);
  std::vector<std::string> computed(std::vector<std::string> moved, Strength strength);

  Instance instance_;
  std::vector<std::pair<std::string, std::unique_ptr<Configuration>>> sub_cores_;
  std::vector<std::unique_ptr<Held>> held_;
  std::map<std::uint32_t, std::string> refused_;  // by parameter, what is wrong with the text
};

}  // namespace kdi::cores
