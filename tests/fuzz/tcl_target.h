// What the fuzz targets share that go through the package's commands.
#pragma once

#include <tcl.h>

#include <cstddef>

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace fuzz {

constexpr std::size_t kLongestText = 65536;

/// An interpreter with the package's commands, the same one each time.
inline Tcl_Interp* interpreter() {
  static Tcl_Interp* const interp = [] {
    Tcl_FindExecutable(nullptr);
    Tcl_Interp* made = Tcl_CreateInterp();
    Kdi_iptasks_Init(made);
    return made;
  }();
  return interp;
}

}  // namespace fuzz
