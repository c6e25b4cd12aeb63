// A look into an instance, for what explains it: the slots, the faults, and rules evaluated over them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kdi/cores/Changes.h"
#include "kdi/cores/Instance.h"

namespace kdi::cores {

/// What is said of a value that is out of range. A check box says what it takes although nothing limits it.
Due told_out_of_range(Instance const& instance, std::uint32_t parameter);

class Insight {
 public:
  explicit Insight(Instance const& instance) : instance_(instance), machine_(instance.machine_) {}

  Core const& core() const { return instance_.core(); }
  Instance const& instance() const { return instance_; }

  /// The value of a slot of a parameter or a definition, or a range that a rule gives.
  Value value(std::uint32_t slot) const {
    const bool is_range = slot >= core().slot_count();
    return Value::share(is_range ? instance_.range_cell(slot - core().slot_count()) : instance_.cells_[slot]);
  }
  /// The value of a rule; nothing if it has a fault.
  std::optional<Value> evaluated(Rule const& rule);
  /// What kept a step from being computed; empty if nothing did.
  std::string const& fault(std::uint32_t step) const { return instance_.fault(step); }
  bool holds(std::uint32_t parameter, std::uint32_t message) const {
    return instance_.due_[core().parameters()[parameter].first_message + message] != 0;
  }
  bool is_out_of_range(std::uint32_t parameter) const { return instance_.is_out_of_range(parameter); }
  bool permits(std::uint32_t parameter, Value const& value) const { return instance_.permits(parameter, value.cell()); }
  bool has_limits(std::uint32_t parameter) const { return core().parameters()[parameter].has_limits(); }
  std::vector<Value> permitted(std::uint32_t parameter) const { return instance_.permitted(parameter); }
  /// Whether what the parameter shows, or hides while it is disabled, is in its range.
  bool is_permitted(std::uint32_t parameter) const;
  /// Whether a search says of the parameter what is an error.
  bool has_finding(std::uint32_t parameter, std::uint32_t search, bool errors_alone) const;
  /// The messages of one parameter that are due.
  std::vector<Due> messages(std::uint32_t parameter);
  /// The steps that the latest change computed anew.
  std::vector<std::uint32_t> const& ran() const { return instance_.ran_; }

  static Change given_to(Instance const& instance, std::uint32_t parameter);
  /// Makes all changes, then computes what depends on them. Returns what Instance::set returns.
  static std::vector<std::uint32_t> make_changes(Instance& instance, std::vector<Change> const& changes,
                                                 Strength strength);

 private:
  Instance const& instance_;
  Machine machine_;
};

/// How many numbers there are for slots, those of ranges and of what searches say included.
std::uint32_t all_slots(Core const& core);

/// Whether a step computes something of the parameter.
bool is_of(Step const& step, std::uint32_t parameter);

/// The rule that a step evaluates; null for one that has none.
Rule const* rule_of(Core const& core, Step const& step);

/// A slot as rules name it: `NAME`, `user(NAME)`, `given(NAME)`, `enabled(NAME)`, a definition, `device('word')`.
std::string slot_name(Core const& core, std::uint32_t slot);

/// What is computed by a step: `value`, `enabled`, `range`, `message`, `definition`, `search`.
std::string_view step_name(Step const& step);

}  // namespace kdi::cores
