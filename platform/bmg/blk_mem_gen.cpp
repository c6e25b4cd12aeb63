#include "kdi/bmg/blk_mem_gen.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <vector>

#include "kdi/bmg/host/tiling.h"
#include "kdi/common/ComMsgMgr.h"

namespace {

constexpr char const* kCategory = "bmg";

using Figure = int (*)(bmg::Tiling const&);

template <int kilobits>
int number_of(bmg::Tiling const& tiling) {
  return tiling.count(kilobits);
}
int mux_inputs(bmg::Tiling const& tiling) { return tiling.mux_inputs(); }
int power_mw(bmg::Tiling const& tiling) { return tiling.power_mw(); }

int figure_or_code(char const* version, int argc, char** argv, Figure figure) {
  try {
    const int count = argv == nullptr ? 0 : std::max(argc, 0);
    return figure(bmg::tile_memory(version, std::vector<std::string_view>(argv, argv + count)));
  } catch (bmg::Fault const& error) {
    const int number = static_cast<int>(error.reason());
    // Messages count from 1 upwards: the code without its sign.
    ComMsgMgr::sendMsgById(kCategory, -number, ComMsgMgr::MSG_ERROR, error.what());
    return number;
  }
}

int figure_of(char const* version, int argc, char** argv, int* status, Figure figure) {
  int result = static_cast<int>(bmg::Code::out_of_memory);
  try {
    result = figure_or_code(version, argc, argv, figure);
  } catch (std::bad_alloc const&) {
    // Then there is no memory for a message either.
  }
  if (status != nullptr) *status = std::min(result, 0);
  return result;
}

}  // namespace

#define PLACEMENT_FUNCTION(version, name, figure)                                            \
  int Ip_blk_mem_gen_##version##_placement_algo_##name(int argc, char** argv, int* status) { \
    return figure_of(#version, argc, argv, status, figure);                                  \
  }
#define PLACEMENT_FUNCTIONS(version)                       \
  PLACEMENT_FUNCTION(version, num_prims_9, number_of<9>)   \
  PLACEMENT_FUNCTION(version, num_prims_18, number_of<18>) \
  PLACEMENT_FUNCTION(version, num_prims_36, number_of<36>) \
  PLACEMENT_FUNCTION(version, mux_size, mux_inputs)        \
  PLACEMENT_FUNCTION(version, power_report, power_mw)

PLACEMENT_FUNCTIONS(v8_3)
PLACEMENT_FUNCTIONS(v8_4)
