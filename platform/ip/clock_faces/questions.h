// The one way from a script's question to the solver: numbers of scripts as the solver takes them, parts and primitives
// by name, and refusals in words. What a contract makes of an answer or a refusal is its own.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

// -------------------------------------------------------------------------------------------------------- refusals

/// What is wrong with a question, in words for the one who asks. Does not leave the engine.
struct Fault {
  std::string text;
};

/// Runs `body`; false with the reason in `text` if the question has no answer.
template <class Body>
bool answer(std::string& text, Body body) {
  try {
    body();
    return true;
  } catch (Fault const& fault) {
    text = fault.text;
  } catch (std::overflow_error const&) {
    text = kTooFine;
  }
  return false;
}

/// Throws the fault, if there is one.
void require(std::optional<std::string> const& fault);

/// Throws a Fault if a frequency is outside the limits of the device: "VCO frequency 5 MHz is outside 800 to 1600 MHz".
void require_within(char const* what, double mhz, device::Range const& limits);

// --------------------------------------------------------------------------------------------------------- numbers

/// The number as the solver takes it. `what` is how a Fault names it.
Rational frequency(std::string const& what, double mhz);
Rational angle(std::string const& what, double value, double least, double most);
Rational phase(double degrees);
Rational duty(double percent);
SpreadRequest spread(std::string const& mode, double khz);

/// The value of the first output's counter that is nearest to `divide`; a Fault outside the counter's range.
Rational divider_of(Primitive const& primitive, double divide, bool whole_only);

double mhz(Rational const& hz);

/// A second input as contracts give it: 0 is none.
std::optional<double> if_any(double mhz);

// ------------------------------------------------------------------------------------------------ parts and primitives

/// The part; a Fault if it is not known.
device::Part const& part_of(std::string const& name);
/// The same of a part that was looked for by this name.
device::Part const& known(device::Part const* found, std::string const& name);

/// The part's first primitive of the kind; a Fault if it has none.
device::ClockPrimitive const& primitive_of(device::Part const& part, device::ClockPrimitiveKind kind);

// --------------------------------------------------------------------------------------------------------- questions

/// An output clock that is asked for, in the units of scripts.
struct Wish {
  double frequency_mhz = 0;
  double phase_deg = 0;
  double duty_percent = 50;
};

/// Adds clocks to a request. A Fault if a number makes no sense.
void add_inputs(Request& request, double input_mhz, std::optional<double> second_input_mhz);
void add_outputs(Request& request, std::vector<Wish> const& wishes, Rational (*duty_of)(double percent) = duty);

/// The first that is outside the primitive's limits: "output frequency 5 MHz is outside ..."; empty if none is.
std::string beyond_limits(std::vector<Wish> const& wishes, device::ClockPrimitive const& primitive);

/// A setting with what was asked for.
struct Solved {
  Primitive primitive;
  Request request;
  Solution solution;
};

/// The best setting; a Fault with the reasons if there is none, or if the clocks are `beyond` the limits: the nearest
/// there is to a frequency beyond the limits is no answer.
Solved ask(Primitive primitive, Request request, std::string const& beyond);

}  // namespace kdi::clocking
