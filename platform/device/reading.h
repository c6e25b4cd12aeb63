// What the readers of all sections of a device file share.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiJsonLists.h"
#include "kdi/device/Device.h"
#include "platform/device/pattern.h"

namespace kdi::device {

constexpr int kMostNumber = 99999;            ///< of a bank or quad
constexpr int kMostCount = 10'000'000;        ///< of anything that a device has many of
constexpr std::size_t kMostNames = 20'000;    ///< that one pattern may stand for
constexpr std::size_t kMostPads = 100'000;    ///< of a device, over all its packages
constexpr std::size_t kMostProperties = 200;  ///< of one list
constexpr std::size_t kMostParts = 2'000;     ///< of a device
constexpr double kMostValue = 1e12;           ///< of any quantity

/// How many of each clock primitive, clock buffer and block memory the device has. What it does not count is not there,
/// though its family may describe it.
class Counts {
 public:
  explicit Counts(JsonValue counts);

  /// The count of `name`, 0 if there is none; marks it as known.
  int of(std::string const& name);
  /// Refuses a count that was never asked for: it names nothing.
  void require_known() const;

 private:
  struct Entry {
    JsonValue value;
    int count = 0;
    bool known = false;
  };
  std::map<std::string, Entry> entries_;
};

/// Names that may not occur twice.
class UniqueNames {
 public:
  /// Refuses `name` at `value` if it came before.
  void add(JsonValue value, std::string_view name);
  bool has(std::string const& name) const { return names_.count(name) != 0; }

 private:
  std::unordered_set<std::string> names_;
};

/// A text of letters, digits and `_ - + .`, not empty, at most 64 long.
std::string word(JsonValue value);
bool is_word(std::string_view text);
/// A list of words without repetition.
std::vector<std::string> words(JsonValue list);
double quantity(JsonValue value, double least = 0);
/// [lowest, highest], both from `least`.
Range range(JsonValue list, double least = 0);
CounterRange counter(JsonValue object);
/// None if there is no object.
Properties properties(std::optional<JsonValue> object);
/// An object of numbers from 0 by name.
std::map<std::string, double> quantities(JsonValue object);

/// Runs `use`, which works on a pattern that stands at `value`; says where it is wrong.
template <class Use>
auto with_pattern(JsonValue value, Use use) {
  try {
    return use();
  } catch (PatternError const& error) {
    value.refuse(error.what());
  }
}

/// The names of a list of patterns, all different.
std::vector<std::string> expand_names(JsonValue list);
/// The same for numbers of banks or quads.
std::vector<int> expand_numbers(JsonValue list);

/// Calls `read(grade, limits)` for each speed grade with what the object `limits` holds for it. It holds one object for
/// each speed grade and nothing else.
template <class Read>
void for_each_grade(JsonValue limits, std::vector<SpeedGrade>& grades, Read read) {
  for (const JsonValue entry : limits.members()) {
    bool known = false;
    for (SpeedGrade const& grade : grades) known = known || grade.name == entry.name();
    if (!known) entry.refuse("the name of a speed grade");
  }
  for (SpeedGrade& grade : grades) read(grade, limits.member(grade.name));
}

// One section each, into every speed grade.
void read_clock_primitives(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades);
void read_clock_buffers(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades);
void read_block_memories(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades);
/// `sites` may be missing. Banks and SLRs of `device` are read before.
void read_memory_controllers(JsonValue list, std::optional<JsonValue> sites, Device& device);

/// How many pads and pins a device may still have, so that a short file cannot ask for more than memory holds.
class PadBudget {
 public:
  /// Refuses at `value` when they run out.
  void take(JsonValue value, std::size_t pads);

 private:
  std::size_t used_ = 0;
};

/// I/O banks of the die with their pads.
void read_banks(JsonValue layouts, JsonValue list, Device& device, UniqueNames& pad_names, PadBudget& budget);
/// Where clocks run; the banks of `device` are read before. None if there is no object.
void read_clock_regions(std::optional<JsonValue> object, Device& device);
/// Transceiver types, and the quads of the die with their pads. `quads` may be missing.
void read_transceivers(JsonValue list, std::optional<JsonValue> quads, Device& device, UniqueNames& pad_names,
                       PadBudget& budget);
/// Packages, with the pins of banks and quads.
void read_packages(JsonValue list, Device& device, PadBudget& budget);
/// Joins pads whose names differ in a last letter of P and N as differential pairs.
void pair_pads(std::vector<Pad>& pads);

/// Everything that a coefficient refers to is in `known` first.
struct PowerNames {
  std::map<std::string, std::set<std::string>> plls;  ///< by transceiver type
  std::set<std::string> memory_types;
  std::set<std::string> primitives;
};
Power read_power(JsonValue object, PowerNames const& known);

/// The kinds of processing systems that a family describes; the device gets what its own has. Banks and speed grades of
/// `device`, and its processing system, are read before.
void read_processing_systems(JsonValue list, Device& device);

int read_slr(JsonValue value, Device const& device);

}  // namespace kdi::device
