// An interpreter of the calling thread with the package's commands, as each thread of a process has one.
#pragma once

#include <tcl.h>

#include <string>
#include <utility>

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

class PackageInterpreter {
 public:
  /// `prefix` stands in front of each command.
  explicit PackageInterpreter(std::string prefix = {}) : interp_(Tcl_CreateInterp()), prefix_(std::move(prefix)) {
    Kdi_iptasks_Init(interp_);
  }
  PackageInterpreter(PackageInterpreter const&) = delete;
  PackageInterpreter& operator=(PackageInterpreter const&) = delete;
  ~PackageInterpreter() { Tcl_DeleteInterp(interp_); }

  /// The result, also of an error.
  std::string operator()(std::string const& script) {
    Tcl_Eval(interp_, (prefix_ + script).c_str());
    return Tcl_GetStringResult(interp_);
  }

 private:
  Tcl_Interp* interp_;
  std::string prefix_;
};
