// What a setting costs: jitter and phase error in picoseconds, power in milliwatts. The figures rank settings and
// estimate budgets; coefficients come with the device data.
//
// With f_L = loop_ratio x f_PFD the loop bandwidth, w = 2 pi f_L, T = 1 / f_out, all in Hz and s:
//
//   VCO        s_vco = vco_kappa x sqrt(vco_reference / f_VCO x (1 - exp(-w T)) / w)                        rms
//              A free-running oscillator's timing error grows with the square root of time until the loop corrects it
//              (J. A. McNeill, "Jitter in ring oscillators", IEEE J. Solid-State Circuits 32(6), 1997).
//   PFD        s_pfd = pfd_noise x sqrt(loop_ratio)                                                         rms
//              Each comparison errs by pfd_noise; the loop averages over 1 / loop_ratio of them.
//   Input      j_in = input jitter / sqrt(1 + f_in / w)                                             peak to peak
//   Fraction   j_frac = fraction_phase / f_VCO for each fractional counter in the path              peak to peak
//   Spread     j_ss = 2 d f_mod T^2: the change from one period to the next while the frequency moves by d times
//              itself in half a modulation period                                                   peak to peak
//
//   jitter = jitter_floor + sqrt((peak_factor)^2 (s_vco^2 + s_pfd^2) + j_in^2) + j_frac + j_ss
//   phase error = phase_floor + pfd_offset / f_PFD + peak_factor / 2 x sqrt(s_vco^2 + s_pfd^2), T = 1 / f_PFD
//   power = static + per_vco f_VCO + per_pfd f_PFD + sum over outputs (per_counter f_VCO + per_output f_out)
//           + per_fraction f_VCO for each fractional counter
//
// Jitter falls with the VCO frequency and, input jitter apart, never falls when the output slows down; a wider loop
// passes more of the input's jitter and less of the VCO's. Phase error falls with the PFD and the VCO frequency. Power
// rises with every frequency and every output.
#pragma once

namespace kdi::clocking {

enum class Bandwidth { optimized, high, low };

/// Coefficients of jitter and phase error. All at least 0.
struct JitterModel {
  double vco_kappa = 0;                ///< sqrt(s), rms error of the free-running VCO after 1 s at vco_reference_hz
  double vco_reference_hz = 1e9;       ///< above 0
  double pfd_noise_ps = 0;             ///< rms
  double loop_ratio_optimized = 0.05;  ///< loop bandwidth over PFD frequency, above 0, at most 0.5
  double loop_ratio_high = 0.1;
  double loop_ratio_low = 0.01;
  double peak_factor = 14;    ///< peak to peak over rms; 14 for a bit error rate of 10^-12
  double fraction_phase = 0;  ///< VCO periods
  double jitter_floor_ps = 0;
  double phase_floor_ps = 0;
  double pfd_offset = 0;  ///< PFD periods
};

/// Coefficients of power in mW, and mW per MHz.
struct PowerModel {
  double static_mw = 0;
  double per_vco = 0;
  double per_pfd = 0;
  double per_counter = 0;
  double per_output = 0;
  double per_fraction = 0;
};

/// Where the loop runs. Frequencies in Hz, above 0.
struct LoopPoint {
  double input_hz = 0;
  double pfd_hz = 0;
  double vco_hz = 0;
  Bandwidth bandwidth = Bandwidth::optimized;
  int fractional_counters = 0;  ///< in the path: 0 to 2 for one output
  double input_jitter_ps = 0;   ///< peak to peak
  double spread = 0;            ///< down + up of the spread-spectrum mode, 0 without
  double modulation_hz = 0;     ///< 0 without
};

/// Peak-to-peak jitter of an output of `output_hz` in ps.
double jitter_ps(JitterModel const& model, LoopPoint const& point, double output_hz);

/// Error of phase between the input and an output in ps.
double phase_error_ps(JitterModel const& model, LoopPoint const& point);

/// Power in mW without outputs, and what an output of `output_hz` adds.
double loop_power_mw(PowerModel const& model, LoopPoint const& point);
double output_power_mw(PowerModel const& model, LoopPoint const& point, double output_hz);

/// Unit intervals (periods of `input_hz`) to ps.
double ui_to_ps(double unit_intervals, double input_hz);

}  // namespace kdi::clocking
