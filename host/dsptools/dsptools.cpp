// libkdi_dsptools.so: the catalogue of up- and down-converter chains, searched.
//
//   dsptools::chains ?name value ...?   -> list of dictionaries
//
// data/commands/dsptools.json lists the names and the keys of the answers.
#include <tcl.h>

#include <string_view>
#include <vector>

#include "host/dsptools/chain_search.h"
#include "kdi/tcl/command.h"

namespace {

Tcl_Obj* chain_dict(dsptools::Chain const& chain) {
  return tcl::new_dict({{"name", chain.name},
                        {"direction", chain.direction},
                        {"bandwidth", chain.bandwidth},
                        {"carriers", chain.carriers},
                        {"passband", chain.passband},
                        {"signal", chain.is_real ? "real" : "complex"},
                        {"rate", chain.rate},
                        {"clock", chain.clock},
                        {"multipliers", chain.multipliers},
                        {"block_memories", chain.block_memories},
                        {"latency", chain.latency},
                        {"settling_samples", chain.settling_samples},
                        {"settling", chain.settling}});
}

Tcl_Obj* chains(tcl::Words words) {
  std::vector<std::string_view> question;
  for (Tcl_Obj* const word : words) question.push_back(tcl::text_view(word));
  return tcl::new_list(dsptools::find_chains(question), chain_dict);
}

constexpr tcl::Row kCommands[] = {
    {"dsptools::chains", tcl::handler<chains>, tcl::at_least(0, tcl::usage("?name value ...?"))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_dsptools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
