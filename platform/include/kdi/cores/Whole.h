// Changes tried, configurations compared and carried, of a core with its sub-cores as one.
//
// Each is a record of the form that it has for a core alone (Explain.h, Changes.h, Compare.h, Carry.h); entries of a
// sub-core say of which as `sub_core`, a path such as `pmcps_0`.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Advice.h"
#include "kdi/cores/Configuration.h"
#include "kdi/cores/Record.h"

namespace kdi::cores {

/// explain() of a parameter, or a message of it, at its place within `whole`: texts of composites as they show, and
/// advice that holds for all cores together. What advice changes has the name by which `within`, the whole or a core
/// in it, finds it (Configuration::name_of).
KDI_DOOR Record explain_whole(Configuration& whole, Configuration& within, Configuration::Place place,
                              Effort effort = {});
KDI_DOOR Record explain_whole(Configuration& whole, Configuration& within, Configuration::Place place,
                              std::string_view message, Effort effort = {});
/// The same, with parts of the core at the place.
KDI_DOOR Record explain_whole(Configuration& whole, Configuration& within, Configuration::Place place, Effort effort,
                              RuleParts const& parts);
KDI_DOOR Record explain_whole(Configuration& whole, Configuration& within, Configuration::Place place,
                              std::string_view message, Effort effort, RuleParts const& parts);

/// What giving these values would do, texts of composites among them: a trial, found on a copy. Throws
/// std::invalid_argument for a name that no parameter has.
KDI_DOOR Record try_values(Configuration const& configuration,
                           std::vector<std::pair<std::string, std::string>> const& values);

/// Internal texts differ if they show something else, for the reason of each member that they show otherwise.
/// Sub-cores are matched by their names. Where one has sub-cores that the other has not, or other cores by their names,
/// the record has `sub_cores`: a list of `sub_core`, `first` and `second`, each a core with its version, or empty.
KDI_DOOR Record compare_whole(Configuration const& first, Configuration const& second);

/// Gives `to` what `from` and its sub-cores were given, with its origins, and takes back whatever else it had been
/// given. A parameter of a sub-core goes to the sub-core of that name, else to whichever place has its name. Texts of
/// composites follow from their members; what one names beside members is a note of fate `retired`. A note has
/// `sub_core` where it was, and `now_in` where it is, if that is another one.
struct CarriedWhole {
  Record record;
  std::vector<std::string> moved;
};
KDI_DOOR CarriedWhole carry_whole(Configuration const& from, Configuration& to);

}  // namespace kdi::cores
