// Coefficients of dynamic and static power, in watts. The models are ours; each struct states its own.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::device {

/// One channel: between two points linear in the line rate; below the first and above the last in proportion to it.
/// Each PLL in use adds its watts once, however many channels share it.
struct KDI_DOOR TransceiverPower {
  struct Point {
    double line_rate_gbps = 0;
    double tx_w = 0;
    double rx_w = 0;
  };
  std::string type;                           ///< a Transceiver's
  std::vector<Point> points;                  ///< ascending in line rate, not falling in watts; at least one
  std::map<std::string, double> pll_w;        ///< by the PLL's name, all of the type's
  std::map<std::string, double> equaliser_w;  ///< by the receiver's equaliser mode, for each receiving channel
  double loss_w_per_db = 0;                   ///< for each transmitting channel and dB of insertion loss

  /// Watts of one direction of one channel, without PLL and equaliser.
  double transmit_w(double line_rate_gbps) const;
  double receive_w(double line_rate_gbps) const;
};

/// An interface to memory of one type at a rate R Gb/s for each data pin, active the fraction A of the time:
///   controller_w + controller_w_per_gbps R A data pins + lane_w byte lanes
///   + A R (write_w_per_gbps or read_w_per_gbps) data pins + address_w_per_gbps R / 2 address and control pins
///   + termination_w[name] data pins (1 - A / 2)
///   and ecc_ratio of the controller's share more with ECC.
struct MemoryPower {
  std::string type;  ///< a MemoryInterface's
  double io_v = 0;
  double controller_w = 0;
  double controller_w_per_gbps = 0;
  double lane_w = 0;
  double write_w_per_gbps = 0;
  double read_w_per_gbps = 0;
  double address_w_per_gbps = 0;
  double ecc_ratio = 0;
  std::map<std::string, double> termination_w;  ///< by the termination's name, for each terminated pin
};

/// base_w + w_per_vco_ghz Fvco + w_per_output_ghz (sum of Fout).
struct ClockPower {
  std::string primitive;  ///< a ClockPrimitive's
  double base_w = 0;
  double w_per_vco_ghz = 0;
  double w_per_output_ghz = 0;
};

struct KDI_DOOR Power {
  std::vector<TransceiverPower> transceivers;
  std::vector<MemoryPower> memories;
  std::vector<ClockPower> clocks;
  double fabric_w_per_ghz = 0;  ///< of a controller's fabric logic, for each interface and GHz of its clock

  TransceiverPower const* transceiver(std::string const& type) const;
  MemoryPower const* memory(std::string const& type) const;
  ClockPower const* clock(std::string const& primitive) const;
};

}  // namespace kdi::device
