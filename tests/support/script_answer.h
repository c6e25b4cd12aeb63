// What a script comes to: the code that Tcl has for it, and the result.
#pragma once

#include <tcl.h>

#include <ostream>
#include <string>

struct Answer {
  int code;
  std::string result;
  bool operator==(Answer const&) const = default;
};

// Needs no quotes where a text holds both kinds.
inline std::ostream& operator<<(std::ostream& out, Answer const& answer) {
  return out << answer.code << " \"" << answer.result << '"';
}

inline Answer ok(std::string const& result = {}) { return {TCL_OK, result}; }
inline Answer error(std::string const& result = {}) { return {TCL_ERROR, result}; }

inline Answer answer_of(Tcl_Interp* interp, std::string const& script) {
  const int code = Tcl_Eval(interp, script.c_str());
  return {code, Tcl_GetStringResult(interp)};
}
