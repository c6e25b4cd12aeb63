// The commands of the FEC subsystem and the pieces from which they build their results.
#pragma once

#include <tcl.h>

#include <string>
#include <vector>

#include "tcltasks/fec/core_config.h"
#include "tcltasks/fec/records.h"

namespace fec {

/// Messages of one run of the compiler: severity 1 in `errors`, all else in `warnings`.
struct ConfigGenMsgs {
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
};

/// A MessageCallback whose context is a ConfigGenMsgs.
void config_gen_msg_handler(void* msgs, int severity, char const* text);

/// The messages joined by one newline, with none after the last.
std::string concat_msgs(std::vector<std::string> const& msgs);

/// Puts `value` into the unshared dictionary `dict`.
void uint_to_dict(Tcl_Interp* interp, Tcl_Obj* dict, std::string const& key, unsigned value);

/// Appends one element {address data comment} to the unshared list `list` for each write, the numbers in decimal by
/// their low 32 bits. Returns 0.
template <class Variant>
unsigned gen_trans_list(Tcl_Interp* interp, std::vector<phy_trans_t<Variant>> const& writes, Tcl_Obj* list);

/// Puts the sizes, options and tables of a compiled code into the unshared dictionary `dict`. Returns 0.
template <class Variant>
unsigned ldpc_code_config_to_dict(Tcl_Interp* interp, Tcl_Obj* dict, ldpc_code_config_t<Variant> const& config,
                                  ldpc_code_stats_t<Variant> const& stats, std::vector<phy_trans_t<Variant>> const& sc,
                                  std::vector<phy_trans_t<Variant>> const& la,
                                  std::vector<phy_trans_t<Variant>> const& qc);

// The handlers. Each takes one dictionary; the words are counted before.

/// {core options} -> list of writes
template <class Variant>
int gen_core_params(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

/// {codes} -> dictionary with "config", "transactions" and "messages"
template <class Variant>
int gen_ldpc_params(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

/// {Turbo parameters} -> dictionary with "config" and "transactions"
template <class Variant>
int gen_turbo_params(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

}  // namespace fec
