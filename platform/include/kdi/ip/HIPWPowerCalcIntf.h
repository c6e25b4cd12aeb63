// Power of transceiver and memory interface cores, in watts.
//
// A calculator is made for a part. It takes a core's parameters as a record and returns the core's total power; what
// the total is made of is told in the breakdown, whose entries sum to it. All that is known of silicon is data: what
// blocks of the device cost (device/Power.h, from data/devices), and what lies around them and how conditions change it
// (data/power, by the device's generation). The models are this project's own.
//
// Conditions
//
//   Tj   junction temperature in C: the highest of the part's temperature grade (TEMPERATURE_MAX_C), since supplies
//        are laid out for it; without that property, the reference temperature Tref of the data
//   Vc   core voltage of the part's speed grade; Vc0 is the reference voltage of the data
//   L    static power:            leakage(speed) 2^((Tj - Tref) / leakage_doubling_c) (Vc / Vc0)^leakage_exponent
//   D    dynamic power:           1 + dynamic_per_c (Tj - Tref)
//   C    dynamic, of core logic:  D (Vc / Vc0)^2
//
// Every count and quantity of a record that is negative or no number counts as 0, and as a million above a million, so
// that every result is finite and not negative. Words are compared without regard to case; one that the data does not
// have is reported as a warning of the category "power" and counts as the default, which an empty word is too.
//
// Of two records that differ in one count, width, rate, frequency or voltage alone, the one with more of it never takes
// less, so long as 0 does not stand for what the record leaves open: cpllVcoFrequency, phyClockRatio, the MMCM's input,
// multiplier and dividers. Dividers, the PHY's mode and the clock ratio slow clocks down, and activities of reads and
// writes switch terminations off; they are no more of anything.
//
// Transceivers
//
// n channels of a type; R line rate in Gb/s, by direction; q = n over the channels of a quad, rounded up. A direction
// that is not in use, or whose rate is 0, takes no dynamic power. Breakdown:
//
//   static        L static_w_per_quad max(q, 1)
//   transmit      D n tx_w(R), linear between the data's points
//   launch        D n loss_w_per_db loss; the insertion loss in dB at the Nyquist frequency
//   receive       D n rx_w(R)
//   equaliser     D n equaliser_w(mode); of the mode AUTO, the data's choice by the loss; empty counts as AUTO
//   termination   n V^2 / termination_ohm; V is the programmed receiver termination, mV in the record
//   pll           D k pll_w(PLL) (idle + (1 - idle) Fvco / Fvco max)
//                 k: one for each quad if the PLL is shared, else one for each channel; transmitter and receiver with
//                 the same PLL share it, at any two rates. Fvco: the record's, MHz, for a PLL of one channel; else,
//                 and at most, the PLL's highest. An empty PLL type is the other direction's and, if that is empty
//                 too, the PLL that would take the most.
//   reference     D q reference_w_per_ghz F; F is the sum of the directions' reference clocks, each of which has
//                 buffers of its own
//   pcs_transmit  C n (R (pcs_w_per_gbps + w_per_gbps(encoding) + efficiency(encoding) user_w_per_gbps)
//   pcs_receive        + internal_w_per_bit internal width + user_w_per_bit user width)
//                 The buffers between the clocks have a fixed depth in words, so the width has a share of its own.
//
// The type is the record's, by the device's name for it or one of the data's; an empty one is the first that the device
// has. For a type that the part does not have, the result is 0 and a warning tells so. Directions are TX, RX and BOTH,
// the default. The reserved fields have no influence, and cpllVcoFrequency none on a shared PLL.
//
// Memory interfaces
//
// F memory clock in GHz, R = 2 F Gb/s on a data pin, U user clock in GHz, N clock ratio; v = (I/O voltage / nominal)^2;
// b factors of bank kind and I/O performance; ar and aw the share of time that reads and writes take (data, times the
// record's readActivity and writeActivity), a = ar + aw, at most 1; lanes: one for each strobe pair, and at least one
// for 8 data pins; share: 1, or less for a kind of core without its controller. Breakdown:
//
//   static        L (static_w + static_w_per_lane lanes)
//   controller    C share (controller_w + controller_w_per_gbps R a data pins)
//   ecc           ecc_ratio of the controller, with ECC
//   fabric        C share U (fabric_w_per_ghz + datapath_w_per_ghz_bit 2 N data pins)
//   debug         C (debug_w + debug_w_per_ghz U), with debug signals
//   axi           C axi_w_per_ghz_bit U AXI data width, with an AXI port
//   phy           C (lane_w lanes + serialiser_w_per_ghz ratio F (data and address pins)), 0 without a memory clock;
//                 ratio is phyClockRatio, or N if that is 0
//   write         D v b aw R write_w_per_gbps (data pins + mask pins in use) load
//   read          D v b ar R read_w_per_gbps data pins
//   strobe        D v b a R strobe_w_per_gbps (strobe, K, QK and, by valid_share, QVLD pins) load
//   address       D v b a F address_w_per_gbps address pins address_load; these are the pins of address, bank, bank
//                 group, CKE, ODT, load reduction and, in use, CS
//   clock_pins    D v b R clock_w_per_gbps CK pins address_load
//   termination   D v b (termination_w(input) + termination_w(output)) data pins (1 - a / 2); where the record names no
//                 input termination and there are ODT pins, it is the data's usual one
//   mmcm          D (base_w + w_per_vco_ghz Fvco + w_per_output_ghz (sum of Fout)), 0 without a clock;
//                 Fvco = input clock times CLKFBOUT_MULT, or the primitive's lowest where one of them is 0;
//                 Fout = Fvco / divider for each divider above 0, or U where there is none
//   phy_pll       D k (base_w + w_per_vco_ghz Fvco + w_per_output_ghz Fvco / phyClockDivider), 0 without a user clock;
//                 Fvco = U phyClockMultiplier; k = lanes / lanes_per_phy_pll, rounded up
//   clock_tree    C clock_tree_w_per_ghz (U + fabricClock)
//
//   load          1 + data_load (ranks of all slots - 1), times the kind of module's factor
//   address_load  1 + address_load (devices of all slots - 1), likewise
//
// Without influence are timePeriod (memoryClock stands for it), memoryPart (rate, widths and ranks have fields of their
// own), mmcmIdxBank (where the MMCM is), clkoutphyMode (multiplier and divider stand for it) and the reserved fields.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kdi/common/KdiDoor.h"

class HDARPart;

/// A transceiver core. Line rates in Gb/s, frequencies in MHz, widths in bits, the termination in mV, the loss in dB.
struct GtPowerRecord {
  int rxTerminationProgValue = 0;
  int numChannels = 0;
  std::string gtType;  ///< lower case
  std::string gtDirection = "BOTH";
  float rxLineRate = 0;
  float txLineRate = 0;
  std::string rxDataDecoding;
  std::string txDataEncoding;
  std::string rxPllType;
  std::string txPllType;
  int rxIntDataWidth = 0;
  int txIntDataWidth = 0;
  int rxUserDataWidth = 0;
  int txUserDataWidth = 0;
  float rxRefclkFrequency = 0;
  float txRefclkFrequency = 0;
  float cpllVcoFrequency = 0;
  int insLossNyq = 0;
  std::string rxEqMode;
  bool reservedFlag = false;
  std::uint64_t reservedWord = 0;
};

/// A memory interface core. Periods in ps, frequencies in MHz, widths in pins (AXI: bits).
struct MigPowerRecord {
  bool mcsEcc = false;
  bool debugSignal = false;
  int rankWidth = 1;
  std::string slot;
  int numDevices = 1;
  std::string memoryType = "Components";
  std::string memoryPart;
  std::string phyOnly = "Complete_Memory_Controller";
  int axiDataWidth = 0;
  bool axiSelection = false;
  int mmcmIdxBank = 0;
  float clkoutDivide[7] = {};
  float mmcmFrequency = 0;
  float clkfboutMult = 0;
  bool useCsPort = false;
  bool useDmPort = false;
  float timePeriod = 0;
  float memoryClock = 0;
  int addrWidth = 0;
  int dmWidth = 0;
  int ckWidth = 0;
  int dkWidth = 0;
  int qkWidth = 0;
  int qvldWidth = 0;
  int ckeWidth = 0;
  int bankWidth = 0;
  int csWidth = 0;
  int dqsWidth = 0;
  int dqWidth = 0;
  int odtWidth = 0;
  int lrWidth = 0;
  int bankGroupWidth = 0;
  std::string ioVoltage;  ///< a number of volts, whatever follows it
  int phyClockRatio = 0;
  int nckPerClk = 0;  ///< memory clock over user clock
  std::string clkoutphyMode;
  float uiClock = 0;
  std::string controllerFamily;  ///< DDR3, DDR4, QDRIIP, QDRIV, RLD3
  float phyClockMultiplier = 0;
  float phyClockDivider = 0;
  float fabricClock = 0;
  std::string outputTermination = "NONE";
  std::string inputTermination = "NONE";
  std::string bankKind = "HP";
  std::string ioPerformance = "High_Perf";
  float readActivity = 1.0F;
  float writeActivity = 1.0F;
  std::string reservedText1;
  std::string reservedText2;
};

class KDI_DOOR HIPWPowerCalcIntf {
 public:
  /// A calculator for the part, which lives as long as the process; the caller deletes it. Null for a null part and for
  /// a generation without a power model; a model that is broken is reported with its line and field and is none.
  static HIPWPowerCalcIntf* getIPPowerCalcIntf(HDARPart const* part);

  // The order of the virtual functions is binding.
  virtual ~HIPWPowerCalcIntf() = default;
  /// Total power in W, finite and not negative. The entries of `breakdown` are replaced by the contributors' shares in
  /// W; every contributor has one.
  virtual float calcMemoryPower(MigPowerRecord const& record, std::map<std::string, float>& breakdown) = 0;
  virtual float calcGtPower(GtPowerRecord const& record, std::map<std::string, float>& breakdown) = 0;
};
