// libkdi_clocktools.so: what a clock primitive can make of an input, in full.
//
//   clocktools::setting name value ?name value ...?     -> dictionary
//   clocktools::fewest name value ?name value ...?      -> dictionary
//   clocktools::trade_offs name value ?name value ...?  -> list of dictionaries
//
// data/commands/clocktools.json lists the names and the keys of the answers. A question that cannot be asked is an
// error; one that has no solution is not, for why is the answer.
#include <tcl.h>

#include <string>
#include <string_view>
#include <vector>

#include "kdi/ip/host/clock_study.h"
#include "kdi/tcl/command.h"

namespace {

template <std::string (*ask)(std::vector<std::string_view> const&)>
std::string study(tcl::Words words) {
  std::vector<std::string_view> question;
  for (Tcl_Obj* const word : words) question.push_back(tcl::text_view(word));
  return ask(question);
}

constexpr tcl::WordCount kQuestion = tcl::at_least(1, tcl::usage("name value ?name value ...?"));

constexpr tcl::Row kCommands[] = {
    {"clocktools::setting", tcl::handler<study<kdi::clocking::study_setting>>, kQuestion},
    {"clocktools::fewest", tcl::handler<study<kdi::clocking::study_fewest>>, kQuestion},
    {"clocktools::trade_offs", tcl::handler<study<kdi::clocking::study_trade_offs>>, kQuestion},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_clocktools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
