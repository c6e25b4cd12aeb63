// Clock primitives and clock buffers of a device file.
#include "platform/device/reading.h"

namespace kdi::device {
namespace {

constexpr std::size_t kMostOutputs = 32;
constexpr int kMostSteps = 1024;

ClockPrimitiveKind read_kind(JsonValue value) {
  constexpr ClockPrimitiveKind kKinds[] = {ClockPrimitiveKind::mmcm, ClockPrimitiveKind::pll,
                                           ClockPrimitiveKind::phy_pll};
  return kKinds[value.choice({"mmcm", "pll", "phy_pll"})];
}

std::vector<ClockOutput> read_outputs(JsonValue list) {
  std::vector<ClockOutput> outputs;
  for (const JsonValue value : list.items()) {
    value.allow_only(
        {"count", "divide", "phase_steps_per_vco_period", "phase_max_vco_periods", "duty_steps_per_vco_period"});
    ClockOutput output;
    output.divide = counter(value.member("divide"));
    output.phase_steps_per_vco_period = whole(value.member("phase_steps_per_vco_period"), 1, kMostSteps);
    output.phase_max_vco_periods = whole(value.member("phase_max_vco_periods"), 0, kMostSteps);
    output.duty_steps_per_vco_period = whole(value.member("duty_steps_per_vco_period"), 1, kMostSteps);
    const int count = whole(value.member("count"), 1, int{kMostOutputs});
    for (int i = 0; i < count; ++i) {
      output.index = static_cast<int>(outputs.size());
      outputs.push_back(output);
    }
  }
  if (outputs.empty() || outputs.size() > kMostOutputs)
    list.refuse("from 1 to " + std::to_string(kMostOutputs) + " outputs in all");
  return outputs;
}

double optional_quantity(JsonValue object, char const* name) {
  const auto value = object.find(name);
  return value ? quantity(*value) : 0;
}

std::vector<LoopModel> read_loops(JsonValue object) {
  using Calculator = HASTJitterCalculatorKelvane;
  constexpr std::pair<char const*, Calculator::BANDWIDTH> kBandwidths[] = {
      {"LOW", Calculator::BW_LOW}, {"HIGH", Calculator::BW_HIGH}, {"OPTIMIZED", Calculator::BW_OPTIMIZED}};
  object.allow_only({"LOW", "HIGH", "OPTIMIZED"});
  object.member("OPTIMIZED");
  std::vector<LoopModel> loops;
  for (auto const& [name, bandwidth] : kBandwidths) {
    const auto value = object.find(name);
    if (!value) continue;
    value->allow_only({"pfd_ratio", "input_gain", "vco_ps", "output_ps", "spread_ps", "fine_ps", "phase_error_ps",
                       "phase_error_pfd_ps"});
    LoopModel loop;
    loop.bandwidth = bandwidth;
    loop.pfd_ratio = value->member("pfd_ratio").number(0, 1);
    loop.input_gain = quantity(value->member("input_gain"));
    loop.vco_ps = quantity(value->member("vco_ps"));
    loop.output_ps = quantity(value->member("output_ps"));
    loop.spread_ps = optional_quantity(*value, "spread_ps");
    loop.fine_ps = optional_quantity(*value, "fine_ps");
    loop.phase_error_ps = quantity(value->member("phase_error_ps"));
    loop.phase_error_pfd_ps = quantity(value->member("phase_error_pfd_ps"));
    loops.push_back(loop);
  }
  return loops;
}

PhyOutput read_phy_output(JsonValue object) {
  object.allow_only({"modes"});
  PhyOutput output;
  UniqueNames names;
  for (const JsonValue value : object.member("modes").items()) {
    value.allow_only({"name", "vco_ratio"});
    const JsonValue name = value.member("name");
    output.modes.push_back({word(name), value.member("vco_ratio").number(0.001, 1000)});
    names.add(name, name.text());
  }
  if (output.modes.empty()) object.member("modes").refuse("at least one mode");
  return output;
}

SpreadSpectrum read_spread_spectrum(JsonValue object) {
  object.allow_only({"modes", "modulation_khz"});
  SpreadSpectrum spread;
  UniqueNames names;
  for (const JsonValue value : object.member("modes").items()) {
    value.allow_only({"name", "deviation_percent", "centred"});
    const JsonValue name = value.member("name");
    spread.modes.push_back(
        {word(name), value.member("deviation_percent").number(0, 100), value.member("centred").boolean()});
    names.add(name, name.text());
  }
  if (spread.modes.empty()) object.member("modes").refuse("at least one mode");
  spread.modulation_khz = range(object.member("modulation_khz"));
  return spread;
}

// What a primitive of the file says for all speed grades.
ClockPrimitive read_primitive(JsonValue value) {
  value.allow_only({"name", "kind", "multiply", "divide", "outputs", "fine_phase_steps_per_vco_period",
                    "dynamic_reconfiguration", "loops", "phy_output", "spread_spectrum", "limits"});
  ClockPrimitive primitive;
  primitive.name = word(value.member("name"));
  primitive.kind = read_kind(value.member("kind"));
  primitive.multiply = counter(value.member("multiply"));
  primitive.divide = counter(value.member("divide"));
  primitive.outputs = read_outputs(value.member("outputs"));
  if (const auto steps = value.find("fine_phase_steps_per_vco_period"))
    primitive.fine_phase_steps_per_vco_period = whole(*steps, 0, kMostSteps);
  if (const auto can = value.find("dynamic_reconfiguration")) primitive.dynamic_reconfiguration = can->boolean();
  primitive.loops = read_loops(value.member("loops"));
  if (const auto output = value.find("phy_output")) primitive.phy_output = read_phy_output(*output);
  if (const auto spread = value.find("spread_spectrum")) primitive.spread_spectrum = read_spread_spectrum(*spread);
  return primitive;
}

void add_keys(SpeedGrade& grade, std::string const& name, Range limits) {
  grade.keys[name + "_MIN"] = limits.min;
  grade.keys[name + "_MAX"] = limits.max;
}

void add_primitive(SpeedGrade& grade, ClockPrimitive primitive, JsonValue limits) {
  limits.allow_only({"input_mhz", "pfd_mhz", "vco_mhz", "output_mhz", "input_jitter_max_ui", "phy_mhz"});
  constexpr double kLeastMhz = 1e-6;  // a frequency is divided by
  primitive.input_mhz = range(limits.member("input_mhz"), kLeastMhz);
  primitive.pfd_mhz = range(limits.member("pfd_mhz"), kLeastMhz);
  primitive.vco_mhz = range(limits.member("vco_mhz"), kLeastMhz);
  primitive.output_mhz = range(limits.member("output_mhz"), kLeastMhz);
  primitive.input_jitter_max_ui = limits.member("input_jitter_max_ui").number(0, 1);
  if (primitive.phy_output)
    primitive.phy_output->output_mhz = range(limits.member("phy_mhz"), kLeastMhz);
  else if (const auto without = limits.find("phy_mhz"))
    without->refuse("limits of a special output only for a primitive with a phy_output");
  add_keys(grade, primitive.name + "_FIN", primitive.input_mhz);
  add_keys(grade, primitive.name + "_FPFD", primitive.pfd_mhz);
  add_keys(grade, primitive.name + "_FVCO", primitive.vco_mhz);
  add_keys(grade, primitive.name + "_FOUT", primitive.output_mhz);
  if (primitive.phy_output) add_keys(grade, primitive.name + "_FPHY", primitive.phy_output->output_mhz);
  grade.clock_primitives.push_back(std::move(primitive));
}

}  // namespace

void read_clock_primitives(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    ClockPrimitive primitive = read_primitive(value);
    names.add(value.member("name"), primitive.name);
    primitive.count = counts.of(primitive.name);
    for_each_grade(value.member("limits"), grades, [&](SpeedGrade& grade, JsonValue limits) {
      SpeedGrade checked_only;
      add_primitive(primitive.count > 0 ? grade : checked_only, primitive, limits);
    });
  }
}

void read_clock_buffers(JsonValue list, Counts& counts, std::vector<SpeedGrade>& grades) {
  UniqueNames names;
  for (const JsonValue value : list.items()) {
    value.allow_only({"name", "limits"});
    ClockBuffer buffer;
    buffer.name = word(value.member("name"));
    names.add(value.member("name"), buffer.name);
    buffer.count = counts.of(buffer.name);
    for_each_grade(value.member("limits"), grades, [&](SpeedGrade& grade, JsonValue limits) {
      limits.allow_only({"period_ns"});
      buffer.period_ns = range(limits.member("period_ns"), 1e-6);
      if (buffer.count == 0) return;
      add_keys(grade, buffer.name + "_PERIOD", buffer.period_ns);
      grade.clock_buffers.push_back(buffer);
    });
  }
}

}  // namespace kdi::device
