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
#include "tcltasks/frame/tcl_command.h"

namespace {

void put(Tcl_Obj* dict, char const* key, Tcl_Obj* value) {
  const tcl::ObjRef name(tcl::new_string(key));
  Tcl_DictObjPut(nullptr, dict, name.get(), value);
}

Tcl_Obj* run_dict(bmg::tile_run const& run) {
  Tcl_Obj* dict = Tcl_NewDictObj();
  put(dict, "kilobits", Tcl_NewIntObj(run.kilobits));
  put(dict, "shape", tcl::new_string(std::to_string(run.depth) + "x" + std::to_string(run.width)));
  put(dict, "first_bit", Tcl_NewIntObj(run.first_bit));
  put(dict, "bits", Tcl_NewIntObj(run.bits));
  put(dict, "first_row", Tcl_NewIntObj(run.first_row));
  put(dict, "rows", Tcl_NewIntObj(run.rows));
  put(dict, "columns", Tcl_NewIntObj(run.columns()));
  put(dict, "stack", Tcl_NewIntObj(run.stack()));
  put(dict, "column_bits", Tcl_NewIntObj(run.used_width));
  return dict;
}

int tiling_cmd(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (objc < 2) {
    Tcl_WrongNumArgs(interp, 1, objv, "version name value ?name value ...?");
    return TCL_ERROR;
  }
  std::vector<std::string_view> words;
  for (int i = 2; i < objc; ++i) words.emplace_back(Tcl_GetString(objv[i]));
  try {
    const bmg::tiling tiling = bmg::tile_memory(Tcl_GetString(objv[1]), words);
    Tcl_Obj* dict = Tcl_NewDictObj();
    put(dict, "width", Tcl_NewIntObj(tiling.width));
    put(dict, "depth", Tcl_NewIntObj(tiling.depth));
    put(dict, "mux_size", Tcl_NewIntObj(tiling.mux_inputs()));
    put(dict, "power_nw", Tcl_NewWideIntObj(tiling.power_nw));
    Tcl_Obj* runs = Tcl_NewListObj(0, nullptr);
    for (bmg::tile_run const& run : tiling.runs) Tcl_ListObjAppendElement(nullptr, runs, run_dict(run));
    put(dict, "runs", runs);
    return tcl::succeed(interp, dict);
  } catch (bmg::fault const& error) {
    Tcl_SetErrorCode(interp, "BMG", std::to_string(static_cast<int>(error.reason())).c_str(), nullptr);
    return tcl::fail(interp, error.what());
  }
}

}  // namespace

/// Found by Tcl's `load`.
extern "C" int Kdi_bmgtools_Init(Tcl_Interp* interp) {
  tcl::register_command<tiling_cmd>(interp, "bmgtools::tiling");
  return TCL_OK;
}
