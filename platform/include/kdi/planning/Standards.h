// I/O standards: data/io, whose README tells the form.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::planning {

/// Rates in Mb/s by speed grade.
using RatesByGrade = std::map<std::string, int, std::less<>>;

struct KDI_DOOR IoStandard {
  std::string name;
  std::string vcco_v;  ///< as a decimal
  std::string vref_v;  ///< of an input; empty: none
  bool differential = false;
  bool controlled = false;              ///< needs the bank's impedance pads
  std::vector<std::string> directions;  ///< in, out, inout
  std::vector<std::string> output_impedance;
  std::vector<std::string> termination;
  std::vector<std::string> dc_bias;  ///< biases that constraints may set for an input that comes through capacitors
  std::map<std::string, int, std::less<>>
      rate_mbps;  ///< the highest, by kind of bank; a kind that is not there has no such standard
  std::map<std::string, RatesByGrade, std::less<>> grade_rates;  ///< of kinds where it depends on the speed grade

  /// The highest in a kind of bank at a speed grade (empty: the fastest); one that the data do not name counts as the
  /// slowest. Nothing for a kind that has no such standard.
  std::optional<int> rate(std::string_view bank_kind, std::string_view grade) const;
};

/// Null for a name that is none. Throws kdi::FileError and kdi::JsonError for data that cannot be read; what was read
/// once stays, in any thread.
KDI_DOOR IoStandard const* find_standard(std::string_view name);
KDI_DOOR std::vector<std::string> standard_names();

}  // namespace kdi::planning
