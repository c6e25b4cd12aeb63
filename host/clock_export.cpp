#include "host/clock_export.h"

#include <cmath>
#include <cstdint>
#include <numeric>
#include <stdexcept>

#include "kdi/common/KdiNumber.h"

namespace clock_export {
namespace {

using kdi::number::plain;

// A text with the counter's number in place of `%d`.
std::string numbered(std::string name, int counter) {
  if (const std::size_t at = name.find("%d"); at != std::string::npos) name.replace(at, 2, std::to_string(counter));
  return name;
}

// A number that both languages take for one with a fraction.
std::string real(std::string text) { return text.find_first_of(".e") == std::string::npos ? text + ".0" : text; }

double nanoseconds(double megahertz) { return 1e3 / megahertz; }

// A counter in thousandths.
std::int64_t thousandths(Figure const& counter) {
  const double scaled = counter.value * 1000;
  if (!(scaled >= 1) || scaled > 1e8 || std::fabs(scaled - std::round(scaled)) > 1e-6)
    throw std::invalid_argument("a counter of " + counter.text + " has no ratio");
  return std::llround(scaled);
}

}  // namespace

Names const& default_names() {
  static const Names names{
      {"input_period", "INPUT_PERIOD"}, {"m", "MULTIPLY"},          {"d", "DIVIDE"},
      {"bandwidth", "BANDWIDTH"},       {"ss_mode", "SPREAD_MODE"}, {"mod_freq", "SPREAD_FREQUENCY"},
      {"divide", "OUT%d_DIVIDE"},       {"phase", "OUT%d_PHASE"},   {"duty_cycle", "OUT%d_DUTY_CYCLE"}};
  return names;
}

std::string generics(Setting const& setting, Language language, Names const& names) {
  const bool is_verilog = language == Language::verilog;
  std::vector<std::string> lines;
  const auto add = [&](std::string const& name, std::string const& value) {
    lines.push_back(is_verilog ? "." + name + "(" + value + ")" : name + " => " + value);
  };
  const auto named = [&](char const* what) { return names.find(what)->second; };
  add(named("input_period"), real(plain(nanoseconds(setting.input.value))));
  add(named("m"), real(setting.m.text));
  add(named("d"), setting.d.text);
  add(named("bandwidth"), "\"" + setting.bandwidth + "\"");
  if (!setting.spread_mode.empty()) {
    add(named("ss_mode"), "\"" + setting.spread_mode + "\"");
    add(named("mod_freq"), real(setting.spread_frequency.text));
  }
  for (Output const& output : setting.outputs) {
    add(numbered(named("divide"), output.counter), real(output.divide.text));
    add(numbered(named("phase"), output.counter), real(output.phase.text));
    add(numbered(named("duty_cycle"), output.counter), real(plain(output.duty_cycle.value / 100)));
  }
  std::string text = is_verilog ? "#(\n" : "generic map (\n";
  for (std::size_t i = 0; i < lines.size(); ++i) text += "  " + lines[i] + (i + 1 < lines.size() ? ",\n" : "\n");
  return text + ")\n";
}

std::string constraints(Setting const& setting, Places const& places) {
  std::string text =
      "# " + setting.primitive + ", " + setting.input.text + " MHz x " + setting.m.text + " / " + setting.d.text + "\n";
  if (!setting.second_input.empty())
    text += "# constraints with the second input, " + setting.second_input + " MHz, are others\n";
  text += "create_clock -name " + places.port + " -period " + plain(nanoseconds(setting.input.value)) +
          " [get_ports {" + places.port + "}]\n";
  for (Output const& output : setting.outputs) {
    // input x m / (d x divide), all in thousandths
    std::int64_t multiply = thousandths(setting.m) * 1000;
    std::int64_t divide = thousandths(setting.d) * thousandths(output.divide);
    const std::int64_t common = std::gcd(multiply, divide);
    multiply /= common;
    divide /= common;
    const std::string pin = numbered(places.pin, output.counter);
    const std::string name = places.instance + "_" + pin;
    text += "create_generated_clock -name " + name + " -source [get_ports {" + places.port + "}] -multiply_by " +
            std::to_string(multiply) + " -divide_by " + std::to_string(divide) + " -duty_cycle " +
            output.duty_cycle.text + " [get_pins {" + places.instance + "/" + pin + "}]\n";
    if (output.phase.value != 0)
      text += "set_clock_latency -source " + plain(nanoseconds(output.frequency.value) * output.phase.value / 360) +
              " [get_clocks {" + name + "}]\n";
    text += "set_clock_uncertainty " + plain(output.jitter.value / 2000) + " [get_clocks {" + name + "}]\n";
  }
  return text;
}

}  // namespace clock_export
