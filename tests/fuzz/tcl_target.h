// What the fuzz targets share that go through the package's commands.
#pragma once

#include <tcl.h>

#include <cstddef>
#include <string>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "tests/fuzz/require.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace fuzz {

constexpr std::size_t kLongestText = 65536;

/// An interpreter with the package's commands, the same one each time. What they tell beside their results is not
/// shown.
inline Tcl_Interp* interpreter() {
  static Tcl_Interp* const interp = [] {
    message_host::add_sink([](ComMsgMgrInstance const&) {});
    Tcl_FindExecutable(nullptr);
    Tcl_Interp* made = Tcl_CreateInterp();
    Kdi_iptasks_Init(made);
    return made;
  }();
  return interp;
}

/// Calls a command with these words: true if it ended well, with its result in the interpreter; false if in an error.
inline bool call(Tcl_Interp* interp, std::vector<std::string> const& words) {
  std::vector<Tcl_Obj*> objects;
  for (std::string const& word : words) {
    objects.push_back(Tcl_NewStringObj(word.data(), static_cast<int>(word.size())));
    Tcl_IncrRefCount(objects.back());
  }
  const int code = Tcl_EvalObjv(interp, static_cast<int>(objects.size()), objects.data(), 0);
  for (Tcl_Obj* object : objects) Tcl_DecrRefCount(object);
  require(code == TCL_OK || code == TCL_ERROR, "an outcome that is neither", words.front());
  return code == TCL_OK;
}

}  // namespace fuzz
