// A small device and a small power model with round figures, to be followed by hand.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "kdi/device/Device.h"
#include "kdi/ip/HIPWPowerCalcIntf.h"
#include "platform/ip/power/power_model.h"

/// What was reported while it lives.
class Reported {
 public:
  Reported()
      : sink_(message_host::add_sink([this](ComMsgMgrInstance const& message) { lines.push_back(message.text); })) {}
  Reported(Reported const&) = delete;
  Reported& operator=(Reported const&) = delete;
  ~Reported() { message_host::remove_sink(sink_); }

  std::vector<std::string> lines;

 private:
  int sink_;
};

struct SmallDevice {
  SmallDevice() {
    using namespace kdi::device;
    auto made = std::make_shared<Device>();
    SpeedGrade& speed = made->speed_grades.emplace_back();
    speed.name = "-1";
    speed.core_v = 1;
    Transceiver& gt = speed.transceivers.emplace_back();
    gt.type = "GTX1";
    gt.modulations = {"NRZ"};
    TransceiverPll& own = gt.plls.emplace_back();
    own.name = "CPLL";
    own.vco_ghz = {2, 5};
    own.output_divides = {1, 2};
    TransceiverPll& shared = gt.plls.emplace_back();
    shared.name = "QPLL0";
    shared.shared = true;
    shared.vco_ghz = {8, 16};
    shared.output_divides = {1, 2};
    ClockPrimitive& mmcm = speed.clock_primitives.emplace_back();
    mmcm.name = "MMCM";
    mmcm.vco_mhz = {600, 1600};
    ClockPrimitive& pll = speed.clock_primitives.emplace_back();
    pll.name = "PLL";
    pll.kind = ClockPrimitiveKind::pll;

    TransceiverPower& gt_power = made->power.transceivers.emplace_back();
    gt_power.type = "GTX1";
    gt_power.points = {{10, 0.1, 0.2}};
    gt_power.pll_w = {{"CPLL", 0.05}, {"QPLL0", 0.1}};
    gt_power.equaliser_w = {{"LPM", 0.01}, {"DFE", 0.03}};
    gt_power.loss_w_per_db = 0.001;
    MemoryPower& memory = made->power.memories.emplace_back();
    memory.type = "DDR4";
    memory.io_v = 1.2;
    memory.controller_w = 0.2;
    memory.controller_w_per_gbps = 0.002;
    memory.lane_w = 0.04;
    memory.write_w_per_gbps = 0.008;
    memory.read_w_per_gbps = 0.004;
    memory.address_w_per_gbps = 0.004;
    memory.ecc_ratio = 0.1;
    memory.termination_w = {{"NONE", 0}, {"RTT_40", 0.01}, {"RTT_60", 0.006}};
    made->power.clocks = {{"MMCM", 0.05, 0.03, 0.01}, {"PLL", 0.03, 0.02, 0.01}};
    made->power.fabric_w_per_ghz = 0.8;

    device = made;
    part.name = "small-1-c";
    part.device = device;
    part.speed = &device->speed_grades.front();

    model.generation = "small";
    model.conditions.junction_c = 25;
    model.conditions.leakage_doubling_c = 25;
    model.conditions.leakage_exponent = 2;
    model.conditions.dynamic_per_c = 0.001;
    model.conditions.leakage = {{"-1", 1.5}};
    kdi::power::Transceiver& around = model.transceivers.emplace_back();
    around.type = "GTX1";
    around.names = {"gtxe9"};
    around.static_w_per_quad = 0.02;
    around.pll_idle = 0.5;
    around.reference_w_per_ghz = 0.04;
    around.pcs_w_per_gbps = 0.001;
    around.user_w_per_gbps = 0.002;
    around.internal_w_per_bit = 0.0001;
    around.user_w_per_bit = 0.0002;
    around.termination_ohm = 100;
    around.auto_loss_db = 14;
    around.auto_short = "LPM";
    around.auto_long = "DFE";
    around.encodings.all = {{"RAW", {1, 0}}, {"8B10B", {0.8, 0.0005}}, {"64B66B", {0.97, 0.0006}}};
    kdi::power::MemoryCommon& memory_around = model.memory;
    memory_around.static_w = 0.02;
    memory_around.static_w_per_lane = 0.005;
    memory_around.datapath_w_per_ghz_bit = 0.0005;
    memory_around.debug_w = 0.01;
    memory_around.debug_w_per_ghz = 0.1;
    memory_around.axi_w_per_ghz_bit = 0.0004;
    memory_around.serialiser_w_per_ghz = 0.0003;
    memory_around.clock_tree_w_per_ghz = 0.2;
    memory_around.data_load = 0.1;
    memory_around.address_load = 0.05;
    memory_around.read_share = 0.5;
    memory_around.write_share = 0.25;
    memory_around.valid_share = 0.5;
    memory_around.lanes_per_phy_pll = 4;
    memory_around.controller_share.all = {{"Complete", 1}, {"Phy", 0.5}};
    memory_around.slots.all = {{"Single", 1}, {"Dual", 2}};
    memory_around.modules.all = {{"Components", {1, 1}}, {"RDIMM", {1.1, 0.5}}};
    memory_around.bank_kinds.all = {{"HP", 1}, {"HR", 1.2}};
    memory_around.io_performance.all = {{"High_Perf", 1}, {"Low_Power", 0.8}};
    model.memories = {{"DDR4", "DDR4", 0.007, 0.009, "RTT_60"}};
  }

  std::shared_ptr<kdi::device::Device> device;
  kdi::device::Part part;
  kdi::power::Model model;
};

/// A transceiver core with everything in use.
inline GtPowerRecord usual_gt() {
  GtPowerRecord record;
  record.numChannels = 4;
  record.rxLineRate = record.txLineRate = 10;
  record.rxDataDecoding = record.txDataEncoding = "64B66B";
  record.rxPllType = record.txPllType = "QPLL0";
  record.rxIntDataWidth = record.txIntDataWidth = 32;
  record.rxUserDataWidth = record.txUserDataWidth = 64;
  record.rxRefclkFrequency = record.txRefclkFrequency = 250;
  record.insLossNyq = 10;
  record.rxEqMode = "DFE";
  record.rxTerminationProgValue = 500;
  return record;
}

/// A 64-bit memory interface at 1600 Mb/s, as its derivation gives it.
inline MigPowerRecord usual_mig() {
  MigPowerRecord record;
  record.controllerFamily = "DDR4";
  record.slot = "Single";
  record.memoryClock = 800;
  record.timePeriod = 1250;
  record.uiClock = 200;
  record.nckPerClk = 4;
  record.phyClockMultiplier = 8;
  record.phyClockDivider = 2;
  record.dqWidth = 64;
  record.dqsWidth = 8;
  record.dmWidth = 8;
  record.addrWidth = 17;
  record.bankWidth = 2;
  record.bankGroupWidth = 1;
  record.ckWidth = 1;
  record.ckeWidth = 1;
  record.odtWidth = 1;
  record.csWidth = 1;
  record.useCsPort = true;
  record.useDmPort = true;
  record.numDevices = 4;
  record.ioVoltage = "1.2V";
  record.mmcmFrequency = 200;
  record.clkfboutMult = 6;
  record.clkoutDivide[0] = 6;
  record.clkoutDivide[6] = 12;
  record.fabricClock = 200.0F / 12;
  return record;
}
