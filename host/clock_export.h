// A clock setting as what a design takes: generics of the primitive's instance, and constraints on its clocks.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace clock_export {

/// A figure as the setting has it, and what number that is.
struct Figure {
  std::string text;
  double value = 0;
};

struct Output {
  int counter;                                          ///< of the primitive, that makes it
  Figure frequency, divide, phase, duty_cycle, jitter;  ///< MHz; degrees, percent, ps peak to peak
};

/// A setting as the clock commands give it.
struct Setting {
  std::string primitive, bandwidth;
  Figure input, m, d;        ///< input in MHz
  std::string second_input;  ///< empty: there is none
  std::string spread_mode;   ///< empty: no spread spectrum
  Figure spread_frequency;   ///< kHz
  std::vector<Output> outputs;
};

/// The names of generics, by what they are; `%d` in one of an output stands for the counter that makes it.
using Names = std::map<std::string, std::string, std::less<>>;
Names const& default_names();

enum class Language { verilog, vhdl };

/// A list of parameters (`#(...)`) or a generic map: period of the input in ns, counters, phases in degrees, duty
/// cycles as shares of 1.
std::string generics(Setting const& setting, Language language, Names const& names);

struct Places {
  std::string port = "clk_in";      ///< where the input comes in
  std::string instance = "clocks";  ///< of the primitive
  std::string pin = "OUT%d";        ///< its outputs; `%d` stands for the counter
};

/// Constraints (SDC): the input, and of each output the ratio to it, the duty cycle, the delay that its phase is, and
/// half the peak-to-peak jitter as uncertainty. Throws std::invalid_argument for counters that are no multiples of
/// 1/1000.
std::string constraints(Setting const& setting, Places const& places);

}  // namespace clock_export
