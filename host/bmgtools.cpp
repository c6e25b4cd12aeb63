// libkdi_bmgtools.so: the tiling behind the block memory commands.
//
//   bmgtools::tiling VERSION name value ?name value ...?  -> dictionary
//
// VERSION is v8_3 or v8_4; the names and values are the words of the commands. Keys of the dictionary: width and depth
// of the memory as its narrower port sees it, mux_size, power_nw, and runs, a list of dictionaries, one for each grid
// of primitives of one shape: kilobits, shape, first_bit, bits, first_row, rows, columns, stack, column_bits. A
// description that is refused is an error; its error code is BMG and the number that the commands return.
#include <tcl.h>

#include <string>
#include <vector>

#include "kdi/bmg/host/tiling.h"
#include "kdi/tcl/command.h"

namespace {

Tcl_Obj* run_dict(bmg::TileRun const& run) {
  return tcl::new_dict({{"kilobits", run.kilobits},
                        {"shape", std::to_string(run.depth) + "x" + std::to_string(run.width)},
                        {"first_bit", run.first_bit},
                        {"bits", run.bits},
                        {"first_row", run.first_row},
                        {"rows", run.rows},
                        {"columns", run.columns()},
                        {"stack", run.stack()},
                        {"column_bits", run.used_width}});
}

int tiling(Tcl_Interp* interp, tcl::Words words) {
  std::vector<std::string_view> memory;
  for (Tcl_Obj* const word : words.subspan(1)) memory.push_back(tcl::text_view(word));
  try {
    const bmg::Tiling tiling = bmg::tile_memory(tcl::text_of(words[0]), memory);
    return tcl::succeed(interp, tcl::new_dict({{"width", tiling.width},
                                               {"depth", tiling.depth},
                                               {"mux_size", tiling.mux_inputs()},
                                               {"power_nw", tiling.power_nw},
                                               {"runs", tcl::new_list(tiling.runs, run_dict)}}));
  } catch (bmg::Fault const& error) {
    Tcl_SetErrorCode(interp, "BMG", std::to_string(static_cast<int>(error.reason())).c_str(), nullptr);
    return tcl::fail(interp, error.what());
  }
}

constexpr tcl::Row kCommands[] = {
    {"bmgtools::tiling", tcl::handler<tiling>, tcl::at_least(1, tcl::usage("version name value ?name value ...?"))},
};

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_bmgtools_Init(Tcl_Interp* interp) {
  tcl::register_all<kCommands>(interp);
  return TCL_OK;
}
