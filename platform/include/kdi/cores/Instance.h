// A configured core: what its parameters are for the values that a user gave.
//
// The state is a function of the user's present values alone, never of the way to them: set in any order, changed and
// taken back, the same values give the same state. Setting a value computes anew only what depends on it.
//
// How much is computed when values are given is told by a strength, and the state is a function of the values and the
// strength of the latest change, from that on at which rules follow. What was left undone is done as soon as a later
// change, or compute(), has the strength for it: the state is then the same as if all had been done at once. A change
// that does not run the searches takes back what they found before: they say what they say of the defaults.
//
// One instance is for one thread at a time; instances of one core may be used side by side.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Core.h"

namespace kdi::cores {

/// A message that is due.
struct Due {
  static constexpr std::uint32_t kNoParameter = ~0U;

  std::uint32_t parameter;  ///< kNoParameter: of a definition that has a fault
  std::string
      name;  ///< of the message; `range` and `rule` for the engine's own, of a value out of range and of a fault
  Severity severity;
  std::string text;

  friend bool operator==(Due const&, Due const&) = default;
};

/// Where a value comes from.
enum class Origin : std::uint8_t { default_value, user, preset, board, rule, search };

/// `default`, `user`, `preset`, `board`, `rule`, `search`.
KDI_DOOR std::string_view word_of(Origin origin);

/// How much follows when values are given.
enum class Strength : std::uint8_t {
  values,    ///< they are taken, and checked against the ranges that there are
  ranges,    ///< rules follow; searches say what they say where nothing is given
  searches,  ///< everything
};

/// What a core is told of the device, by word; texts as users write values.
using Facts = std::map<std::string, std::string, std::less<>>;

/// A fact that is none of the declared type.
class KDI_DOOR FactError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PlannedStep;

class KDI_DOOR Instance {
 public:
  /// Throws FactError. A fact that the description does not declare is passed over; one that is missing is what it is
  /// without a device.
  explicit Instance(std::shared_ptr<Core const> core, Facts const& facts = {});

  Core const& core() const { return *core_; }
  std::shared_ptr<Core const> const& shared_core() const { return core_; }

  /// The core in whose words a value out of range is told: its own, unless it was given another one.
  Core const& words() const { return words_ == nullptr ? *core_ : *words_; }
  void set_words(std::shared_ptr<Core const> core) { words_ = std::move(core); }

  /// Gives parameters values, as users write them; `true` and `false` are 1 and 0. A text that is no value of the
  /// parameter's type, or out of its range, is kept and told by messages(); in effect is then what would be without it.
  /// `from` is where the values come from: user, preset or board. Returns the numbers of all parameters of which
  /// anything changed that can be asked below, ascending.
  std::vector<std::uint32_t> set(std::vector<std::pair<std::uint32_t, std::string>> const& values,
                                 Origin from = Origin::user, Strength strength = Strength::searches);
  /// Takes the values given to these parameters back.
  std::vector<std::uint32_t> take_back(std::vector<std::uint32_t> const& parameters,
                                       Strength strength = Strength::searches);
  /// Does what was left undone for want of strength. Returns what set() returns.
  std::vector<std::uint32_t> compute(Strength strength = Strength::searches);

  /// What users see: the value in effect, `SKIP` for a disabled parameter that skips; a text out of range as it was
  /// given.
  std::string value(std::uint32_t parameter) const;
  /// The value behind `SKIP`: what shows once the parameter is enabled again.
  std::string backup(std::uint32_t parameter) const;
  bool is_enabled(std::uint32_t parameter) const;
  /// Permitted values, or the least and the greatest; empty where anything goes.
  std::vector<std::string> range(std::uint32_t parameter) const;
  Origin origin(std::uint32_t parameter) const;
  /// The text that was given, if there is one.
  std::optional<std::string> const& given(std::uint32_t parameter) const;

  /// What a search says: what it found at its latest run, or, at a strength that does not run it, of the defaults.
  std::shared_ptr<Findings const> const& findings(std::uint32_t search) const { return findings_[search]; }

  /// The present value of a definition.
  Value definition(std::uint32_t number) const { return Value::share(cells_[core_->definition_slot(number)]); }

  /// All messages that are due: those of definitions and searches that have a fault, then by parameter the engine's
  /// own, those of searches, and those of the description.
  std::vector<Due> messages();

 private:
  friend class Insight;
  friend class CoreReader;
  /// What looks on while all is computed for the first time, step by step.
  using After = std::function<void(Instance const& so_far, std::uint32_t step)>;
  Instance(std::shared_ptr<Core const> core, Facts const& facts, After const& after);
  void mark(std::uint32_t slot);
  bool put(std::uint32_t slot, Cell value);
  bool put(PlannedStep const& step, Cell value);
  Cell range_cell(std::uint32_t parameter) const { return ranges_[core_->parameters()[parameter].range_number]; }
  void give(std::uint32_t parameter, std::optional<std::string> text, Origin from);
  std::vector<std::uint32_t> moved();
  void run(std::uint32_t step);
  bool perform(PlannedStep const& step, std::uint32_t number);
  template <class Use>
  bool evaluated(PlannedStep const& step, std::uint32_t number, Use use);
  bool judge(PlannedStep const& step, std::uint32_t number);
  bool is_plain_permitted(PlannedStep const& step) const;
  Value plain_value(std::uint32_t parameter) const;
  Value value_without_rule(PlannedStep const& step) const;
  std::string const& fault(std::uint32_t step) const;
  void put_fault(std::uint32_t step, std::string fault);
  Found const& found(std::uint32_t parameter) const;
  bool run_search(std::uint32_t search, std::uint32_t step);
  bool take_findings(std::uint32_t search, std::shared_ptr<Findings const> next);
  void put_searches_back();
  bool is_left_to_user(std::uint32_t parameter) const;
  void add_findings(std::uint32_t parameter, std::vector<Due>& due) const;
  std::string text_of(Rule const& rule, Parameter const& parameter);

  std::vector<Value> permitted(std::uint32_t parameter) const;
  bool is_out_of_range(std::uint32_t parameter) const;
  bool permits(std::uint32_t parameter, Cell value) const;
  Value in_range(std::uint32_t parameter, Value const& value) const;

  std::shared_ptr<Core const> core_, words_;
  Machine machine_;
  Cells cells_;                                            ///< by slot
  Cells ranges_;                                           ///< those with a rule, by their numbers
  std::vector<char> due_;                                  ///< by message, of all of the core
  std::vector<Found> found_;                               ///< by parameter; empty in a core without searches
  std::vector<std::shared_ptr<Findings const>> findings_;  ///< by search, those in effect
  std::vector<std::shared_ptr<Findings const>> latest_;    ///< by search, of its latest run
  struct Given {
    std::optional<std::string> text;
    Origin from;
  };
  std::map<std::uint32_t, Given> given_;         ///< by parameter; what is not given is not there
  std::map<std::uint32_t, std::string> faults_;  ///< by step, likewise
  struct First {
    std::uint32_t step;
    std::shared_ptr<Findings const> findings;
    std::string fault;
  };
  std::vector<First> first_;            ///< what searches say of the defaults
  std::vector<std::uint32_t> waiting_;  ///< steps to be run, a heap with the first in front
  std::vector<char> is_waiting_;
  bool is_complete_ = false;            ///< every step has run
  bool is_fault_moved_ = false;         ///< by the step that runs
  std::vector<std::uint32_t> ran_;      ///< steps of the latest change
  std::vector<std::uint32_t> touched_;  ///< parameters
};

}  // namespace kdi::cores
