#include <string>
#include <vector>

#include "kdi/bmg/blk_mem_gen.h"
#include "kdi/tcl/command.h"
#include "tcltasks/bmg/bmg.h"

namespace {

using Placement = int (*)(int, char**, int*);

// What a function may do with the words it gets.
enum class Words { copied, borrowed };

constexpr tcl::WordCount kSomeWords = tcl::at_least(1, "Error: Incorrect number of arguments");

int call(Placement function, Words passed, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  if (!kSomeWords.allows(objc - 1)) return tcl::fail(interp, kSomeWords.complaint);  // has callers outside Tcl

  std::vector<std::string> copies;
  copies.reserve(static_cast<std::size_t>(objc) - 1);  // the pointers below stay valid
  std::vector<char*> pointers;
  for (int i = 1; i < objc; ++i)
    pointers.push_back(passed == Words::copied ? copies.emplace_back(Tcl_GetString(objv[i])).data()
                                               : Tcl_GetString(objv[i]));
  int status = 0;  // sic: the value says it all, a negative one is a failure and still a result
  const int value = function(objc - 1, pointers.data(), &status);
  return tcl::succeed(interp, std::to_string(value));
}

}  // namespace

// Order is the registration order.
#define PLACEMENT_COMMANDS(row)                                                                     \
  row(Ip_blk_mem_gen_v8_3_placement_algo_num_prims_9, Words::copied)                                \
      row(Ip_blk_mem_gen_v8_3_placement_algo_num_prims_18, Words::copied)                           \
          row(Ip_blk_mem_gen_v8_3_placement_algo_num_prims_36, Words::copied)                       \
              row(Ip_blk_mem_gen_v8_3_placement_algo_mux_size, Words::borrowed)                     \
                  row(Ip_blk_mem_gen_v8_3_placement_algo_power_report, Words::copied)               \
                      row(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9, Words::copied)            \
                          row(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_18, Words::copied)       \
                              row(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_36, Words::copied)   \
                                  row(Ip_blk_mem_gen_v8_4_placement_algo_mux_size, Words::borrowed) \
                                      row(Ip_blk_mem_gen_v8_4_placement_algo_power_report, Words::copied)

#define DEFINE_HANDLER(function, passed)                                                           \
  extern "C" int function##_tcl(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) { \
    return call(function, passed, interp, objc, objv);                                             \
  }
PLACEMENT_COMMANDS(DEFINE_HANDLER)

namespace bmg_init::bmg_kdi_tcltasks {

#define ROW(function, passed) {#function, function##_tcl, kSomeWords},
constexpr tcl::Row kCommands[] = {PLACEMENT_COMMANDS(ROW)};

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace bmg_init::bmg_kdi_tcltasks
