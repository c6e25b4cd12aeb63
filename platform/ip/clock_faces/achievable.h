// Which inputs make clocks exactly, and which outputs an input makes. Refusals are Faults.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/ip/clock_faces/questions.h"

namespace kdi::clocking {

/// Whose limits count: those of the part's speed grade, or the widest of all grades of its device.
enum class Grades { own, widest };

/// The primitive as the questions below take it.
Primitive primitive_for_lists(device::Part const& part, device::ClockPrimitiveKind kind, Grades grades);

/// Clocks to be made exactly; one of 0 MHz is not asked for.
struct ExactClocks {
  double phy_mhz = 0;
  std::vector<double> outputs_mhz;
  double near_period_ns = 0;    ///< inputs are wanted near this one
  std::string controller_type;  ///< a memory type whose data rates the output for I/O banks keeps; NONE or empty: any
};

/// Up to `count` inputs from which the clocks come exactly, nearest to the wanted one first.
std::vector<Rational> find_inputs(device::Part const& part, Primitive const& primitive, ExactClocks const& clocks,
                                  std::size_t count);

/// The frequencies that an output can have from the input, ascending, with whole M and the smallest D that has any:
/// those with which the output for I/O banks runs at `multiplication` times the output; on a primitive without one
/// those that are a whole number of kHz, and `multiplication` is 1.
std::vector<Rational> find_outputs(device::Part const& part, Primitive const& primitive, double input_mhz,
                                   int multiplication, std::string const& controller_type);

}  // namespace kdi::clocking
