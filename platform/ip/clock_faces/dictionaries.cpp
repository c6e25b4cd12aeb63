#include "platform/ip/clock_faces/dictionaries.h"

#include <numeric>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clock_faces/part_primitives.h"

namespace kdi::clocking {
namespace {

std::string error_text(OutputSolution const& made) {
  constexpr double kMillion = 1e6;
  return number::fixed(made.frequency_error.to_double() * kMillion, 3);
}

std::string output_dict(std::size_t index, OutputRequest const& asked, OutputSolution const& made, double jitter) {
  std::string dict;
  put(dict, "index", std::to_string(index));
  put(dict, "requested", mhz_text(asked.frequency_hz));
  put(dict, "frequency", mhz_text(made.frequency_hz));
  put(dict, "error_ppm", error_text(made));
  put(dict, "divide", made.divider.text());
  put(dict, "phase", made.phase_deg.text(3));
  put(dict, "duty_cycle", (made.duty * 100).text(3));
  put(dict, "jitter", number::fixed(jitter, 3));
  return dict;
}

std::string phy_dict(Solved const& solved) {
  OutputSolution const& made = *solved.solution.high_speed;
  std::string dict;
  put(dict, "mode", solved.solution.high_speed_mode);
  put(dict, "requested", mhz_text(*solved.request.high_speed_hz));
  put(dict, "frequency", mhz_text(made.frequency_hz));
  put(dict, "error_ppm", error_text(made));
  return dict;
}

// The outputs in the order of the counters that make them.
std::vector<std::size_t> by_counter(Solution const& solution) {
  std::vector<std::size_t> order(solution.outputs.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t i = 0; i < solution.counters.size(); ++i) order[static_cast<std::size_t>(solution.counters[i])] = i;
  return order;
}

}  // namespace

void put(std::string& dict, char const* key, std::string const& value) {
  text::append_word(dict, key);
  text::append_word(dict, value);
}
std::string braced(std::string const& text) { return "{" + text + "}"; }

std::string mhz_list(std::vector<Rational> const& frequencies_hz) {
  std::string list;
  for (Rational const& hz : frequencies_hz) text::append_word(list, mhz_text(hz));
  return list;
}

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
  put(dict, "phase_error", number::fixed(solution.phase_error_ps, 3));
  if (solved.primitive.power) put(dict, "power", number::fixed(solution.power_w, 4));
  if (solution.high_speed) put(dict, "phy", braced(phy_dict(solved)));
  std::string outputs;
  for (std::size_t i : by_counter(solution))
    text::append_word(
        outputs, braced(output_dict(indices[i], solved.request.outputs[i], solution.outputs[i], solution.jitter_ps)));
  put(dict, "outputs", braced(outputs));
  return dict;
}

std::string solution_dict(Solved const& solved) {
  std::vector<std::size_t> indices(solved.solution.outputs.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  return solution_dict(solved, indices);
}

}  // namespace kdi::clocking
