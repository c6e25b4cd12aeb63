// Pads that several functions want: who takes what from whom, and how all can be seated.
//
// A function of a peripheral sits on one of its groups of pads, or on a group without pads (it leaves for the fabric).
// Functions with one peripheral are moved and given up together. All answers are exact: what is named free is free,
// what is called impossible is so, and what is called the fewest is; of equally good plans the first is told:
// peripheral by peripheral by name, staying before moving and moving before being given up, and its functions by name,
// each staying before the groups in their order. So the order in which functions are given has no bearing on the
// answer. A search that has not ended within its steps says so in its plan, and how far its answer is from proven.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::cores {

/// What is wrong with a request as such.
class KDI_DOOR PadError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// Decisions that a search tries at most, if not told otherwise.
inline constexpr int kMostPadSteps = 100'000;

/// A search that came to its limit before it had any answer.
class KDI_DOOR PadEffortError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PadGroup {
  std::string text;                 ///< as its parameter shows it
  std::vector<std::uint32_t> pads;  ///< numbers below 256
  bool closed = false;              ///< nobody can sit there
  friend bool operator==(PadGroup const&, PadGroup const&) = default;
};

/// A function that is in use.
struct PadFunction {
  std::string name;
  std::string peripheral;
  std::vector<PadGroup> groups;
  std::size_t present = 0;  ///< where it sits
  friend bool operator==(PadFunction const&, PadFunction const&) = default;
};

/// Two functions that want the same pads.
struct PadConflict {
  std::size_t first, second;
  std::vector<std::uint32_t> pads;  ///< ascending
  friend bool operator==(PadConflict const&, PadConflict const&) = default;
};

struct PadPlan {
  std::vector<std::optional<std::size_t>> groups;  ///< by function; nothing: given up
  std::vector<std::string> moved, given_up;        ///< peripherals, by name
  /// 0: it is proven to be the first of the best. Else the steps within which that was not proven: it has no conflicts
  /// and is the best that was found, but there may be a better one, or as good a one before it.
  int unproven_within = 0;
  std::size_t least_given_up = 0;  ///< no plan of this kind gives up fewer
  friend bool operator==(PadPlan const&, PadPlan const&) = default;
};

/// All conflicts of functions where they sit, by the first and the second.
KDI_DOOR std::vector<PadConflict> conflicts(std::vector<PadFunction> const& functions);

/// A plan without conflicts in which nobody is given up and the fewest are moved; nothing if there is none. Throws
/// PadError, and PadEffortError if neither was found.
KDI_DOOR std::optional<PadPlan> free_assignment(std::vector<PadFunction> const& functions, int steps = kMostPadSteps);

/// What to do where there is no free assignment (and where there is: the same plan by the second).
enum class PadRepair : std::uint8_t {
  fewest_moved,     ///< of the plans that move the fewest peripherals, one that gives up the fewest
  fewest_given_up,  ///< the other way round
};
KDI_DOOR PadPlan nearest_repair(std::vector<PadFunction> const& functions, PadRepair repair, int steps = kMostPadSteps);

/// What is not proven of a plan, in words; empty if all is.
KDI_DOOR std::string text_of(PadPlan const& plan);

}  // namespace kdi::cores
