// A power estimate against a command that reads the same list and estimates nothing.
#include <tcl.h>

#include <cstdlib>
#include <map>
#include <string>

#include "bench/ratio.h"
#include "tcltasks/power/power_est.h"

namespace {

constexpr int kPairs = 21;
constexpr int kCalls = 5000;

constexpr char kTransceivers[] =
    "Power_PART brvn3716-die-2LHP-e-S-es1 Power_GT_TYPE GTYP NUM_CHANNELS 4 GT_DIRECTION BOTH RX_LINE_RATE 25.78125 "
    "TX_LINE_RATE 25.78125 RX_PLL_TYPE LCPLL TX_PLL_TYPE LCPLL RX_DATA_DECODING 64B66B_ASYNC TX_DATA_ENCODING "
    "64B66B_ASYNC RX_INT_DATA_WIDTH 80 TX_INT_DATA_WIDTH 80 RX_USER_DATA_WIDTH 80 TX_USER_DATA_WIDTH 80 "
    "RX_REFCLK_FREQUENCY 156.25 TX_REFCLK_FREQUENCY 156.25 INS_LOSS_NYQ 20 RX_EQ_MODE AUTO RX_TERMINATION_PROG_VALUE "
    "800";
constexpr char kMemory[] =
    "Power_PART brvn3716-die-2LHP-e-S-es1 Power_ControllerType DDR4_SDRAM C0.MCS_ECC true C0.Debug_Signal Disable "
    "C0.RANK_WIDTH 1 C0.Slot Single C0.NUM_DEVICES 4 C0.MEMORY_TYPE Components C0.MemoryPart any C0.Phy_Only "
    "Complete_Memory_Controller C0.AXI_DATA_WIDTH 512 C0.Axi_Selection true C0.CLKOUT0_DIVIDE 4 C0.CLKOUT6_DIVIDE 8 "
    "C0.MMCM_CLK 6664 C0.CLKFBOUT_MULT 8 C0.USE_CS_PORT 1 C0.USE_DM_PORT 1 C0.DDR4_TimePeriod 833 Power_ADDR_WIDTH 17 "
    "C0_DM_WIDTH 8 C0_CK_WIDTH 1 C0_CKE_WIDTH 1 C0_BANK_WIDTH 2 C0_CS_WIDTH 1 C0_DQS_WIDTH 8 C0_DDR4_DQ_WIDTH 64 "
    "C0_ODT_WIDTH 1 C0_BANK_GROUP_WIDTH 1 IO_VOLTAGE 1.2V PhyClockRatio 4:1 nCK_PER_CLK 4 CLKOUTPHY_MODE VCO";

// What Ip_power_est_get_power_estimation does before it estimates.
int bare_cmd(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const objv[]) {
  int count = 0;
  Tcl_Obj** elements = nullptr;
  Tcl_ListObjGetElements(nullptr, objv[1], &count, &elements);
  ParamMap params;
  for (int i = 0; i + 1 < count; i += 2) params[Tcl_GetString(elements[i])] = Tcl_GetString(elements[i + 1]);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(params.empty() ? "" : "1.250000(W)", -1));
  return TCL_OK;
}

double seconds(Tcl_Interp* interp, char const* command, Tcl_Obj* list, char const* kind) {
  Tcl_Obj* words[] = {Tcl_NewStringObj(command, -1), list, Tcl_NewStringObj(kind, -1)};
  Tcl_IncrRefCount(words[0]);
  Tcl_IncrRefCount(words[2]);
  const double taken = bench::processor_seconds_of([&] {
    for (int i = 0; i < kCalls; ++i)
      if (Tcl_EvalObjv(interp, 3, words, 0) != TCL_OK) std::abort();
  });
  Tcl_DecrRefCount(words[0]);
  Tcl_DecrRefCount(words[2]);
  return taken;
}

bool row(Tcl_Interp* interp, char const* name, char const* params, char const* kind) {
  Tcl_Obj* list = Tcl_NewStringObj(params, -1);
  Tcl_IncrRefCount(list);
  const bool kept =
      bench::print_row(name,
                       bench::interleaved(
                           kPairs, [&] { return seconds(interp, "Ip_power_est_get_power_estimation", list, kind); },
                           [&] { return seconds(interp, "bare", list, kind); }),
                       3.0);
  Tcl_DecrRefCount(list);
  return kept;
}

}  // namespace

int main() {
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* interp = Tcl_CreateInterp();
  power_est_init::power_est_kdi_tcltasks::init(interp);
  Tcl_CreateObjCommand(interp, "bare", bare_cmd, nullptr, nullptr);
  bench::print_heading("5000 power estimates");
  bool kept = row(interp, "a transceiver core / reading the same list", kTransceivers, "GT");
  kept &= row(interp, "a memory interface core / reading the same list", kMemory, "MIG");
  Tcl_DeleteInterp(interp);
  return kept ? 0 : 1;
}
