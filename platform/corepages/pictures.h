// The pictures of the report, in SVG, with what is to be read beside them.
#pragma once

#include <optional>
#include <string>

#include "platform/corepages/subject.h"

namespace kdi::corepages {

/// Who sits on which pads, bank by bank; the unit has pads.
std::string pad_picture(Unit const& unit);
/// References, PLLs and clocks; the unit has clocks.
std::string clock_picture(Unit const& unit, cores::Decimal most_ppm);

struct PadCount {
  std::size_t all, used, conflicting;  ///< pads that the device has
};
PadCount count_pads(Unit const& unit);

struct ClockCount {
  std::size_t running, marked;  ///< marked: not made, above a limit, or far from what is requested
};
ClockCount count_clocks(Unit const& unit, cores::Decimal most_ppm);

/// How far a frequency is from what is requested, in parts per million to three places; nothing for what no number
/// holds.
std::optional<cores::Decimal> error_ppm(cores::Fraction const& actual, cores::Decimal requested);

}  // namespace kdi::corepages
