// Clock primitives and clock buffers of a device at one speed grade.
//
// Frequencies in MHz, periods in ns, jitter in ps, as scripts give them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/device/HASTJitterCalculatorKelvane.h"
#include "kdi/device/Range.h"

namespace kdi::device {

/// Values of a counter: from `min` to `max` in steps of 1 / `steps_per_unit` (1: whole numbers, 8: eighths; a power of
/// two up to 64).
struct CounterRange {
  int min = 1;
  int max = 1;
  int steps_per_unit = 1;
  int fraction_min = 1;  ///< below it, only whole values

  bool operator==(CounterRange const&) const = default;
};

/// One output of a clock primitive. Its phase and duty cycle are counted in parts of the VCO's period.
struct ClockOutput {
  int index = 0;  ///< from 0
  CounterRange divide;
  int phase_steps_per_vco_period = 1;  ///< 8: edges move by eighths of a VCO period
  int phase_max_vco_periods = 0;       ///< farthest that an edge moves
  int duty_steps_per_vco_period = 1;   ///< 2: the high time counts in halves of a VCO period
};

/// A special output beside the numbered ones that runs at the VCO's speed and feeds the I/O banks.
struct PhyOutput {
  struct Mode {
    std::string name;
    double vco_ratio = 1;  ///< output frequency over VCO frequency
  };
  std::vector<Mode> modes;
  Range output_mhz;
};

struct SpreadSpectrum {
  struct Mode {
    std::string name;
    double deviation_percent = 0;  ///< from the lowest to the highest frequency
    bool centred = false;          ///< about the frequency asked for; otherwise below it
  };
  std::vector<Mode> modes;
  Range modulation_khz;
};

/// Coefficients of jitter and phase error at one loop bandwidth.
///
/// Peak-to-peak output jitter in ps, of an input jitter Jin in ps and a VCO at Fvco MHz:
///   sqrt((input_gain Jin)^2 + vco_ps^2 1000 / Fvco + output_ps^2) + spread_ps (spread spectrum on) + fine_ps (fine
///   phase in use)
/// Static phase error in ps, at a phase detector frequency of Fpfd MHz:
///   phase_error_ps + phase_error_pfd_ps 100 / Fpfd
/// A model of our own: the loop passes a part of the input's jitter, the VCO adds what gathers over one loop time, and
/// the output path adds its share; independent contributions add as squares.
struct LoopModel {
  HASTJitterCalculatorKelvane::BANDWIDTH bandwidth = HASTJitterCalculatorKelvane::BW_OPTIMIZED;
  double pfd_ratio = 0;  ///< loop bandwidth over phase detector frequency
  double input_gain = 0;
  double vco_ps = 0;
  double output_ps = 0;
  double spread_ps = 0;
  double fine_ps = 0;
  double phase_error_ps = 0;
  double phase_error_pfd_ps = 0;
};

enum class ClockPrimitiveKind { mmcm, pll, phy_pll };

/// A block that makes clocks: Fpfd = Fin / D, Fvco = Fpfd M, Fout = Fvco / divide.
struct KDI_DOOR ClockPrimitive {
  std::string name;  ///< unique in the device
  ClockPrimitiveKind kind = ClockPrimitiveKind::mmcm;
  int count = 0;  ///< in the device
  Range input_mhz;
  Range pfd_mhz;
  Range vco_mhz;
  Range output_mhz;
  double input_jitter_max_ui = 0;  ///< of the input's period, peak to peak
  CounterRange multiply;           ///< M
  CounterRange divide;             ///< D
  std::vector<ClockOutput> outputs;
  int fine_phase_steps_per_vco_period = 0;  ///< of the shift while running; 0 without one
  bool dynamic_reconfiguration = false;
  std::vector<LoopModel> loops;  ///< at most one for each bandwidth, at least OPTIMIZED
  std::optional<PhyOutput> phy_output;
  std::optional<SpreadSpectrum> spread_spectrum;

  LoopModel const* loop(HASTJitterCalculatorKelvane::BANDWIDTH bandwidth) const;
};

struct ClockBuffer {
  std::string name;  ///< unique in the device; the first one is the one for the whole device
  int count = 0;
  Range period_ns;
};

}  // namespace kdi::device
