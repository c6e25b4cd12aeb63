// What of a dictionary of codes is not read as it stands: keys that the compiler does not know, values that outgrow
// their field, sizes that do not divide. None of it keeps a code from compiling, and all of it changes what comes out.
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

#include "tcltasks/fec/records.h"

namespace fec {

/// What is found, one line each, up to a number of lines; the last one says how many more there are.
class Findings {
 public:
  explicit Findings(std::size_t most) : most_(most) {}
  void add(std::string text);
  std::vector<std::string> lines() &&;

 private:
  std::size_t most_;
  std::size_t found_ = 0;
  std::vector<std::string> lines_;
};

/// Adds what is odd about one code, which `spec` was read from. `id` stands before each line; kNoId does not.
template <class Variant>
void look_at_code(Tcl_Obj* dict, ldpc_spec_t<Variant> const& code, Findings& findings);

/// The same of all that gen_ldpc_params takes, and with it what it would refuse of the values of single keys, all of it
/// at once. At most `most` lines and one that counts the rest; none for a dictionary that is read as it stands.
template <class Variant>
std::vector<std::string> check_codes(Tcl_Obj* dict, std::size_t most);

/// Sends what look_at_code finds as warnings to the message manager. `dict` is what `codes` were read from.
template <class Variant>
void tell_odd_codes(Tcl_Obj* dict, std::vector<ldpc_spec_t<Variant>> const& codes);

}  // namespace fec
