// A controller as its options describe it: the parameters that there are, what each can be beside the others, and the
// whole that they make.
//
// Parameters depend on those before them. What is not told has a value all the same: the one that its parameter
// prefers.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/device/Device.h"
#include "kdi/planning/Interface.h"
#include "kdi/planning/Memory.h"
#include "platform/coregen/custom_parts.h"

namespace kdi::coregen {

/// Where a controller is to be, and the memory parts that it knows beside those of the data.
struct Surroundings {
  device::Part const& part;
  CustomParts const& custom_parts;
};

struct Setup {
  device::Part const* part = nullptr;
  CustomParts const* custom_parts = nullptr;
  planning::MemoryKind const* kind = nullptr;
  device::MemoryController const* controller = nullptr;
  device::MemoryInterface const* interface = nullptr;
  planning::MemoryPart memory;
  int slots = 1;
  int ranks = 1;  ///< in each slot
  int width = 0;  ///< data bits, those of a checksum included
  bool ecc = false;
  bool data_mask = false;
  int ratio = 4;               ///< periods of the memory's clock in one of the user's
  double period_ps = 0;        ///< of the memory's clock
  double input_period_ps = 0;  ///< 0: not told
  planning::SystemClock system_clock = planning::SystemClock::differential;
  std::string voltage;  ///< "1.2V"
  bool internal_reference = false;
  int bits_per_strobe = 8;
  int read_latency = 0;  ///< in clocks; 0 of a type without timing
  int write_latency = 0;

  planning::InterfaceRequest interface_request() const {
    return {kind, memory, width, ranks, slots, data_mask, system_clock};
  }
};

/// What a parameter can be: a list, or all numbers of a range.
struct Permitted {
  std::vector<std::string> values;
  bool is_range = false;
  double min = 0, max = 0;

  /// Whether there is a choice.
  bool is_open() const { return is_range || values.size() > 1; }
};

/// Keys of options that operations have words for.
inline constexpr char const* kType = "-controllertype";
inline constexpr char const* kMemoryPart = "-memorypart";

struct Parameter {
  char const* key;  ///< of its option
  Permitted (*permitted)(Setup const& before);
  /// Takes a value, or says why not.
  std::string (*take)(Setup& setup, std::string const& value);
  std::string (*preferred)(Setup const& before);  ///< null: the first that is permitted
};

/// In the order in which they depend on each other. `-part` and `-instance_name` are none of them.
std::span<Parameter const> parameters();
/// Null for a key that is none; the one whose name is most like it.
Parameter const* find_parameter(std::string const& key);
Parameter const& nearest_parameter(std::string const& key);

struct Resolved {
  Setup setup;
  std::vector<std::string> findings;  ///< in words, without commas; a value with one counts as not told
};

/// The whole. Throws a std::string where no memory can be: the part has no controller for one that is known.
Resolved resolve(Surroundings const& surroundings, OptionMap const& options);
/// The same as far as the parameters before `parameter`.
Setup resolve_before(Surroundings const& surroundings, OptionMap const& options, Parameter const& parameter);

/// `options` with `asked` in their place. Throws the first finding.
Setup required_setup(Surroundings const& surroundings, OptionMap options, OptionMap const& asked);

/// `options` with `key` as `value`, which is the only one whose finding is thrown; an empty one is as not told.
Setup setup_with(Surroundings const& surroundings, OptionMap options, char const* key, std::string const& value);

/// Warns of options that are neither parameters nor among `others`, with the nearest that is, and takes them out.
void keep_known(OptionMap& options, std::span<char const* const> others);

/// A figure of the part's own, of its speed bin, or of the type's; null if there is none, and of a type without timing.
std::string const* figure_of(Setup const& setup, std::string const& name);

/// The memory part of a name, the user's own or one of the type's. Throws a std::string for a name that is none.
planning::MemoryPart find_memory_part(planning::MemoryKind const& kind, CustomParts const& custom,
                                      std::string const& name);
/// Throws a std::string for a type that is none.
planning::MemoryKind const& find_kind(std::string const& type);

}  // namespace kdi::coregen
