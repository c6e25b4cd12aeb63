// A configuration as one page of HTML, for people to look at and to send on: what differs from the defaults, messages
// with their advice, pads and clocks as pictures, and all parameters with the reasons for their state.
//
// The page stands alone: no other file, no network. The same configuration gives the same bytes, in any locale, on any
// thread and machine: what may take long is bounded by a number of steps, never by time, and the page says what was
// left out.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/Decimal.h"

namespace kdi::corepages {

/// What stands at the head of the page. All texts are shown as they are, whatever they hold.
struct Heading {
  std::string title;                                       ///< the core and its version if empty
  std::vector<std::pair<std::string, std::string>> facts;  ///< such as the part
};

struct Bounds {
  cores::Decimal most_ppm = 1000;        ///< a clock further from its request than this is marked
  std::uint32_t most_advised = 24;       ///< messages for which advice is sought, the gravest first
  std::uint64_t most_rules = 2'000'000;  ///< effort for each of them (kdi/cores/Advice.h)
};

/// The page, in UTF-8. The configuration is asked and stays as it is.
KDI_DOOR std::string report(cores::Configuration& configuration, Heading const& heading, Bounds const& bounds = {});

}  // namespace kdi::corepages
