#include "platform/ip/clock_faces/questions.h"

#include "platform/ip/clock_faces/number_lists.h"
#include "platform/ip/clock_faces/part_primitives.h"

namespace kdi::clocking {
namespace {

std::string output_dict(std::size_t index, OutputRequest const& asked, OutputSolution const& made, double jitter) {
  constexpr double kMillion = 1e6;
  std::string dict;
  put(dict, "index", std::to_string(index));
  put(dict, "requested", mhz_text(asked.frequency_hz));
  put(dict, "frequency", mhz_text(made.frequency_hz));
  put(dict, "error_ppm", fixed_text(made.frequency_error.to_double() * kMillion, 3));
  put(dict, "divide", made.divider.text());
  put(dict, "phase", made.phase_deg.text(3));
  put(dict, "duty_cycle", (made.duty * 100).text(3));
  put(dict, "jitter", fixed_text(jitter, 3));
  return dict;
}

}  // namespace

void require(std::optional<std::string> const& fault) {
  if (fault) throw Fault{*fault};
}

Rational frequency(std::string const& what, double mhz) {
  if (const auto hz = to_hz(mhz)) return *hz;
  throw Fault{what + " " + number_text(mhz) + " MHz is no frequency above 0"};
}

Rational angle(std::string const& what, double value, double least, double most) {
  if (value >= least && value <= most) return Rational::nearest(value, 1000000);
  throw Fault{what + " " + number_text(value) + " is outside " + number_text(least) + " to " + number_text(most)};
}

Rational phase(double degrees) { return angle("phase", degrees, -360000, 360000); }
Rational duty(double percent) { return angle("duty cycle", percent, 1e-4, 100 - 1e-4) / 100; }

device::Part const& part_of(std::string const& name) {
  if (device::Part const* const part = find_part(name)) return *part;
  throw Fault{"part \"" + name + "\" is not known"};
}

void put(std::string& dict, char const* key, std::string const& value) {
  append_word(dict, key);
  append_word(dict, value);
}
std::string braced(std::string const& text) { return "{" + text + "}"; }

std::string solution_dict(Solved const& solved, std::vector<std::size_t> const& indices) {
  Solution const& solution = solved.solution;
  std::string dict;
  put(dict, "primitive", solved.primitive.name);
  put(dict, "input", mhz_text(solved.request.input_hz));
  if (solved.request.second_input_hz) put(dict, "second_input", mhz_text(*solved.request.second_input_hz));
  put(dict, "m", solution.multiplier.text());
  put(dict, "d", std::to_string(solution.input_divider));
  put(dict, "pfd", mhz_text(solution.pfd_hz));
  put(dict, "vco", mhz_text(solution.vco_hz));
  put(dict, "bandwidth", solved.request.bandwidth == Bandwidth::low ? "LOW" : "OPTIMIZED");
  if (solved.request.spread) {
    put(dict, "ss_mode", solved.request.spread->mode);
    put(dict, "mod_freq", (*solution.modulation_hz / 1000).text());
  }
  put(dict, "phase_error", fixed_text(solution.phase_error_ps, 3));
  if (solved.primitive.power) put(dict, "power", fixed_text(solution.power_w, 4));
  std::string outputs;
  for (std::size_t i = 0; i < solution.outputs.size(); ++i)
    append_word(outputs,
                braced(output_dict(indices[i], solved.request.outputs[i], solution.outputs[i], solution.jitter_ps)));
  put(dict, "outputs", braced(outputs));
  return dict;
}

}  // namespace kdi::clocking
