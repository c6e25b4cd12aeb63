// The command families and the two orders in which they come up and go down.
//
// A family is a namespace with init(Tcl_Interp*), which registers its commands and does nothing else, and uninit(). A
// new family takes one line in each order. Families are called straight, one after the other: a table of pointers would
// have to be relocated each time the library is loaded.
#pragma once

#include <tcl.h>

#include "tcltasks/bmg/bmg.h"
#include "tcltasks/clkwiz/clkwiz.h"
#include "tcltasks/clocking/clocking.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"
#include "tcltasks/dsp/fftalgorithm/fftalgorithm.h"
#include "tcltasks/dsp/v_scaler/v_scaler.h"
#include "tcltasks/dsp/vcualgorithm/vcualgorithm.h"
#include "tcltasks/fec/fec_init.h"
#include "tcltasks/gtwiz/gtwiz.h"
#include "tcltasks/hardip/hardip.h"
#include "tcltasks/io/io.h"
#include "tcltasks/memory/memory.h"
#include "tcltasks/power/power_est.h"
#include "tcltasks/zorvan/zorvan.h"

namespace frame {

template <auto... Inits>
struct starts {
  static void run(Tcl_Interp* interp) { (Inits(interp), ...); }
};

// Whatever one of them throws, the others go down as well. Tcl, and the process that ends, have nobody to tell.
template <auto... Uninits>
struct stops {
  static void run() noexcept { (stop<Uninits>(), ...); }

 private:
  template <auto Uninit>
  static void stop() {
    try {
      Uninit();
    } catch (...) {  // an engine that is not in use throws when it is asked to release what it has
    }
  }
};

using StartOrder = starts<                                 //
    fftalgorithm_init::init,                               //
    vcualgorithm_init::init,                               //
    ducddcgen_init::init,                                  //
    bmg_init::bmg_kdi_tcltasks::init,                      //
    power_est_init::power_est_kdi_tcltasks::init,          //
    Ip_Clkwiz::init,                                       //
    zorvan_init::zorvan_kdi_tcltasks::init,                //
    kelvane_config::kdi_tcltasks::init,                    //
    hardip_config::hardip_tcltasks::init,                  //
    mig_init::mig_v7_1_kdi_tcltasks::init,                 //
    mig_init::mig_v7_0_kdi_tcltasks::init,                 //
    memory_init::memory_v1_kdi_tcltasks::init,             //
    kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks::init,  //
    Ip_Clocking::init,                                     //
    v_scaler_init::v_scaler_kdi_tcltasks::init,            //
    sd_fec::init,                                          //
    ldpc::init,                                            //
    kelvane_io_init::kelvane_io_v1_kdi_tcltasks::init>;

// Not the reverse of the start order, and not simply the same: clocking comes up before the scaler and goes down after
// ldpc.
using StopOrder = stops<                                     //
    fftalgorithm_init::uninit,                               //
    vcualgorithm_init::uninit,                               //
    ducddcgen_init::uninit,                                  //
    bmg_init::bmg_kdi_tcltasks::uninit,                      //
    power_est_init::power_est_kdi_tcltasks::uninit,          //
    Ip_Clkwiz::uninit,                                       //
    zorvan_init::zorvan_kdi_tcltasks::uninit,                //
    kelvane_config::kdi_tcltasks::uninit,                    //
    hardip_config::hardip_tcltasks::uninit,                  //
    mig_init::mig_v7_1_kdi_tcltasks::uninit,                 //
    mig_init::mig_v7_0_kdi_tcltasks::uninit,                 //
    memory_init::memory_v1_kdi_tcltasks::uninit,             //
    kelvane_gtwiz_init::kelvane_gtwiz_kdi_tcltasks::uninit,  //
    v_scaler_init::v_scaler_kdi_tcltasks::uninit,            //
    sd_fec::uninit,                                          //
    ldpc::uninit,                                            //
    Ip_Clocking::uninit,                                     //
    kelvane_io_init::kelvane_io_v1_kdi_tcltasks::uninit>;

}  // namespace frame
