// What a description has searched: values of parameters that no rule of one parameter gives, such as the settings of
// clocks. A search is one step of an instance, with what it reads and the parameters that it gives.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Rule.h"

namespace kdi::cores {

/// What a search says of one of its parameters.
struct Found {
  enum class From : std::uint8_t {
    user,     ///< the search leaves it to the user
    nothing,  ///< it has no value for it: the default stands
    search,
  };
  From from = From::user;
  Value value = {};
  friend bool operator==(Found const&, Found const&) = default;
};

/// A message of a search.
struct Finding {
  std::uint32_t parameter;
  bool is_error;
  std::string text;
  friend bool operator==(Finding const&, Finding const&) = default;
};

/// What a search found, kept by the instance.
struct KDI_DOOR Findings {
  virtual ~Findings() = default;
  std::vector<Found> values;  ///< by the parameters that it gives
  std::vector<Finding> messages;
};

/// What a search works on.
struct SearchInput {
  Machine& machine;
  Slots cells;                                                         ///< by slot
  std::function<bool(std::uint32_t parameter, Value const&)> permits;  ///< whether that is in its range
  std::function<Value(std::uint32_t parameter)> plain;                 ///< the value in effect without the search
  std::shared_ptr<Findings const> const& before;                       ///< of the run before, if there was one
};

class Core;

class KDI_DOOR SearchSection {
 public:
  virtual ~SearchSection() = default;
  /// As its section is called.
  virtual std::string_view name() const = 0;
  /// The name of a message of it.
  virtual std::string_view message() const = 0;
  /// Throws RuleFault.
  virtual std::shared_ptr<Findings const> run(SearchInput const& input) const = 0;
  /// Slots that what `found`, of a run without a fault, has for one of its parameters and says of it comes from: while
  /// none of them has another value, and no rule of the section a fault, neither is another. May be too many; all that
  /// is read, unless a section knows better.
  virtual std::vector<std::uint32_t> reads_of(Core const& core, Findings const& found, std::uint32_t parameter) const;

  std::vector<std::uint32_t> reads;   ///< slots
  std::vector<std::uint32_t> writes;  ///< parameters
  std::string place;                  ///< of the section in the description

 protected:
  Value evaluated(SearchInput const& input, Rule const& rule) const { return input.machine.run(rule, input.cells); }
};

}  // namespace kdi::cores
