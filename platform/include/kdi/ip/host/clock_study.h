// What a clock primitive can make of an input, in full: for hosts that show people more than the commands may say.
//
// A question is a list of names and values, a Tcl list each. Frequencies are in MHz.
//
//   part            name of a part; must be given
//   primitive       MMCM (unless given), PLL, or another of the part's clock primitives
//   input           input clock; must be given
//   second_input    another input that the same setting is to serve
//   outputs         frequencies, one for each output; must be given
//   phases          degrees, as many as outputs; 0 unless given
//   duty_cycles     percent, as many as outputs; 50 unless given
//   phy             frequency of the output for I/O banks
//   order           fixed (unless given): the first output is made by the first counter and so on; free: by any of the
//                   first counters, as many as outputs
//   prefer          jitter (unless given) or power: which of equally near settings
//   bandwidth       OPTIMIZED (unless given) or LOW
//   fine_phase      true or false (unless given)
//   whole           true: no fractional counters; false unless given
//   jitter_ps    of the input, peak to peak, in ps; 0 unless given
//   jitter_ui the same in parts of the input's period, in its place
//   spread          a spread-spectrum mode of the primitive and a modulation frequency in kHz
//   tolerance, phase_tolerance, duty_tolerance
//                   largest errors of an output in ppm, degrees and percent; any unless given
//
// The answers are Tcl dictionaries and lists, whose form data/commands/clocktools.json states. What a question asks of
// the solver, and what the best setting is, says docs/clock-synthesis.md.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace kdi::clocking {

/// A question that cannot be asked: the text names the word, its value and what it may be.
struct KDI_DOOR StudyFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The best setting, or why there is none: the limits that bind and what they would have to be, the nearest setting,
/// inputs that would make it exact. Throws StudyFault.
KDI_DOOR std::string study_setting(std::vector<std::string_view> const& words);

/// The most settings that study_trade_offs gives.
inline constexpr std::size_t kMostTradeOffs = 1000;

/// The settings that no other one beats in error, jitter and power together, in ascending order of the error. Of more
/// than kMostTradeOffs, so many evenly chosen along that order, the first and the last among them: a tolerance in the
/// question looks closer. Without any the limits forbid all. Throws StudyFault.
KDI_DOOR std::string study_trade_offs(std::vector<std::string_view> const& words);

/// The fewest primitives that make all outputs within the tolerance, or, if the question has none, with no output
/// farther off than it has to be on a primitive of its own. `input` is a list of inputs, each primitive running from
/// one of them; there is no `second_input`, `phy` or `order`. With `at_most`, a number, in place of the tolerance: the
/// least tolerance within which so many primitives do. Throws StudyFault, also where an output cannot be made at all.
KDI_DOOR std::string study_fewest(std::vector<std::string_view> const& words);

}  // namespace kdi::clocking
