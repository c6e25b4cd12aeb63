// What the doors of the clock engine have in common: numbers of scripts as the solver takes them, refusals in words,
// and settings as Tcl dictionaries.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kdi/device/Device.h"
#include "platform/ip/clocking/solver.h"

namespace kdi::clocking {

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

/// The number as the solver takes it. `what` is how a refusal names it.
Rational frequency(std::string const& what, double mhz);
Rational angle(std::string const& what, double value, double least, double most);
Rational phase(double degrees);
Rational duty(double percent);

/// The part; throws a Fault if it is not known.
device::Part const& part_of(std::string const& name);

/// Appends "key value"; a value that is not a single word is braced.
void put(std::string& dict, char const* key, std::string const& value);
std::string braced(std::string const& text);

/// A setting with what was asked for.
struct Solved {
  Primitive primitive;
  Request request;
  Solution solution;
};

/// The setting as a dictionary, whose form docs/notes/clocking.md states. `indices` are the numbers of the
/// outputs to the one who asked.
std::string solution_dict(Solved const& solved, std::vector<std::size_t> const& indices);

}  // namespace kdi::clocking
