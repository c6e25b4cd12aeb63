#include "kdi/ip/host/clock_study.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <span>
#include <utility>

#include "kdi/common/KdiNamedWords.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clock_faces/dictionaries.h"
#include "platform/ip/clock_faces/least_instances.h"
#include "platform/ip/clock_faces/number_lists.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clock_faces/questions.h"
#include "platform/ip/clocking/queries.h"

namespace kdi::clocking {
namespace {

constexpr std::int64_t kMillion = 1000000;
constexpr std::int64_t kDegreesOfTurn = 360;

// The words of a question, each at most once, in the order in which a refusal lists them.
using Word = std::string_view;
constexpr Word kPart = "part", kPrimitive = "primitive", kInput = "input", kSecondInput = "second_input",
               kOutputs = "outputs", kPhases = "phases", kDutyCycles = "duty_cycles", kPhy = "phy", kOrder = "order",
               kPrefer = "prefer", kBandwidth = "bandwidth", kFinePhase = "fine_phase", kWhole = "whole",
               kSpread = "spread", kInputJitter = "jitter_ps", kInputJitterUi = "jitter_ui", kTolerance = "tolerance",
               kPhaseTolerance = "phase_tolerance", kDutyTolerance = "duty_tolerance", kAtMost = "at_most";
constexpr std::array kWords = {kPart,           kPrimitive,     kInput,       kSecondInput,  kOutputs,
                               kPhases,         kDutyCycles,    kPhy,         kOrder,        kPrefer,
                               kBandwidth,      kFinePhase,     kWhole,       kSpread,       kTolerance,
                               kPhaseTolerance, kDutyTolerance, kInputJitter, kInputJitterUi};
// Of a question for several primitives, each of which has one of the inputs and some of the outputs, in any order.
constexpr std::array kFewestWords = {kPart,       kPrimitive, kInput,          kOutputs,       kPhases,
                                     kDutyCycles, kPrefer,    kBandwidth,      kFinePhase,     kWhole,
                                     kSpread,     kTolerance, kPhaseTolerance, kDutyTolerance, kAtMost};

struct Refusals {
  [[noreturn]] static void refuse(WordFault, std::string const& text) { throw Fault{text}; }
};

class Words : public NamedWords<Refusals> {
 public:
  Words(std::span<std::string_view const> words, std::span<Word const> permitted) : NamedWords(words, permitted) {}

  [[noreturn]] static void refuse(Word word, std::string const& what) {
    NamedWords::refuse(WordFault::bad_value, word, what);
  }

  double number(Word word) const {
    if (const auto value = read_number(text(word))) return *value;
    refuse(word, kdi::text::shown(text(word)) + " is no number");
  }
  std::vector<double> numbers(Word word) const {
    if (const auto values = read_numbers(text(word))) return *values;
    refuse(word, kdi::text::shown(text(word)) + " is no list of numbers");
  }
  bool is_second(Word word, std::string_view first, std::string_view second) const {
    return choice(word, std::array{first, second}) == 1;
  }
  // A largest error; `whole` of the unit is 1.
  std::optional<Rational> tolerance(Word word, std::int64_t whole) const {
    constexpr std::int64_t kSteps = 1000;  // of the unit
    if (!has(word)) return std::nullopt;
    const double value = number(word);
    if (!(value >= 0 && value <= static_cast<double>(whole)))
      refuse(word, kdi::number::plain(value) + " is outside 0 to " + std::to_string(whole));
    return Rational::nearest(value, kSteps) / whole;
  }
};

// What is asked, and of which primitive.
struct Question {
  Request request;
  Primitive primitive;
};

device::ClockPrimitive const& primitive_of(device::Part const& part, Words const& words) {
  const std::string name(words.has(kPrimitive) ? words.text(kPrimitive) : "MMCM");
  if (device::ClockPrimitive const* const data = part.clock_primitive(name)) return *data;
  std::vector<std::string> names;
  for (device::ClockPrimitive const& one : part.speed->clock_primitives) names.push_back(one.name);
  Words::refuse(kPrimitive, part.name + " has no " + text::shown(name) + "; it has " + text::joined(names, ", "));
}

// One number for each output, or what stands in for a word that is not given.
std::vector<double> numbers_for(Words const& words, Word word, std::size_t count, double otherwise) {
  if (!words.has(word)) return std::vector<double>(count, otherwise);
  std::vector<double> values = words.numbers(word);
  if (values.size() != count)
    Words::refuse(word, std::to_string(values.size()) + " values for " + std::to_string(count) + " outputs");
  return values;
}

std::optional<SpreadRequest> spread_of(Words const& words) {
  if (!words.has(kSpread)) return std::nullopt;
  const std::vector<std::string> parts = split_words(words.text(kSpread));
  const auto khz = parts.size() == 2 ? read_number(parts[1]) : std::nullopt;
  if (!khz) Words::refuse(kSpread, text::shown(words.text(kSpread)) + " is no mode with a frequency in kHz");
  return spread(parts[0], *khz);
}

// All but the input clocks.
Request request_of(Words const& words) {
  Request request;
  const std::vector<double> outputs = words.numbers(kOutputs);
  const std::vector<double> phases = numbers_for(words, kPhases, outputs.size(), 0);
  const std::vector<double> duty_cycles = numbers_for(words, kDutyCycles, outputs.size(), 50);
  std::vector<Wish> wishes;
  for (std::size_t i = 0; i < outputs.size(); ++i) wishes.push_back({outputs[i], phases[i], duty_cycles[i]});
  add_outputs(request, wishes);
  if (words.has(kPhy)) request.high_speed_hz = frequency("phy", words.number(kPhy));
  request.order_free = words.is_second(kOrder, "fixed", "free");
  request.preference = words.is_second(kPrefer, "jitter", "power") ? Preference::low_power : Preference::low_jitter;
  request.bandwidth = words.is_second(kBandwidth, "OPTIMIZED", "LOW") ? Bandwidth::low : Bandwidth::optimized;
  request.fine_phase = words.is_second(kFinePhase, "false", "true");
  request.whole_counters = words.is_second(kWhole, "false", "true");
  request.spread = spread_of(words);
  request.tolerance = words.tolerance(kTolerance, kMillion);
  request.phase_tolerance = words.tolerance(kPhaseTolerance, kDegreesOfTurn);
  request.duty_tolerance = words.tolerance(kDutyTolerance, 100);
  return request;
}

// In ps, or in parts of the input's period.
double input_jitter_ps(Words const& words, Rational const& input_hz) {
  constexpr double kPsPerSecond = 1e12;
  if (words.has(kInputJitter) && words.has(kInputJitterUi))
    Words::refuse(kInputJitterUi, "the jitter of the input is given twice");
  const bool is_ui = words.has(kInputJitterUi);
  if (!is_ui && !words.has(kInputJitter)) return 0;
  const Word word = is_ui ? kInputJitterUi : kInputJitter;
  const double value = words.number(word), most = is_ui ? 1 : 1e6;
  if (!(value >= 0 && value <= most))
    Words::refuse(word, number::plain(value) + " is outside 0 to " + number::plain(most));
  return is_ui ? value * kPsPerSecond / input_hz.to_double() : value;
}

Question read(Words const& words) {
  device::Part const& part = part_of(std::string(words.text(kPart)));
  device::ClockPrimitive const& data = primitive_of(part, words);
  Request request;
  const Rational input = frequency("input", words.number(kInput));
  std::optional<Rational> second;
  if (words.has(kSecondInput)) second = frequency("second input", words.number(kSecondInput));
  request = request_of(words);
  request.input_hz = input;
  request.second_input_hz = second;
  request.input_jitter_ps = input_jitter_ps(words, input);
  Primitive primitive = solver_primitive(part, data, request.fine_phase);
  require(check(primitive));
  require(check(primitive, request));
  return {std::move(request), std::move(primitive)};
}

std::string setting_dict(Question const& question, Solution const& solution) {
  return solution_dict({question.primitive, question.request, solution});
}

std::string range_text(Range const& range, Unit const& unit) {
  constexpr std::int64_t kDigits = 1000000;
  const auto text = [scale = unit.scale().to_double()](Rational const& bound) {
    return Rational::nearest(bound.to_double() * scale, kDigits).text();
  };
  return text(range.min) + " " + text(range.max);
}

std::string binding_dict(Binding const& binding) {
  std::string dict;
  put(dict, "limit", braced(name(binding.limit)));
  if (Unit const* const unit = unit_of(binding.limit)) {
    put(dict, "unit", *unit->name == '\0' ? braced("") : unit->name);
    put(dict, "now", braced(range_text(binding.now, *unit)));
    put(dict, "needed", braced(range_text(binding.needed, *unit)));
  }
  return dict;
}

// Of a setting in another order than the one asked about: what that order is, and how far off its setting.
void put_order(std::string& dict, Request const& request, Solution const& reordered) {
  put(dict, "order", braced(mhz_list(in_order(request, reordered.counters))));
  put(dict, "order_ppm", number::fixed(reordered.worst_error.to_double() * static_cast<double>(kMillion), 3));
}

std::string diagnosis_dict(Question const& question, Diagnosis const& diagnosis) {
  std::string dict, limits;
  put(dict, "reason", braced(diagnosis.text));
  for (Binding const& binding : diagnosis.bindings) text::append_word(limits, braced(binding_dict(binding)));
  put(dict, "limits", braced(limits));
  if (diagnosis.nearest) {
    put(dict, "nearest", braced(setting_dict(question, *diagnosis.nearest)));
    put(dict, "nearest_ppm", number::fixed(diagnosis.nearest_ppm, 3));
  }
  if (diagnosis.reordered) put_order(dict, question.request, *diagnosis.reordered);
  put(dict, "exact_inputs", braced(mhz_list(diagnosis.exact_inputs_hz)));
  return dict;
}

// Of a setting that has an error, whether another order of the outputs has one of less.
std::string solved_dict(Question const& question, Solution const& solution) {
  std::string dict;
  put(dict, "setting", braced(setting_dict(question, solution)));
  if (question.request.order_free || solution.worst_error.is_zero()) return dict;
  Request free = question.request;
  free.order_free = true;
  const auto reordered = best_setting(question.primitive, free);
  if (reordered && reordered->worst_error < solution.worst_error) put_order(dict, question.request, *reordered);
  return dict;
}

// Refusals leave as the door says.
template <class Study>
std::string study(Study body) {
  std::string result, fault;
  if (!answer(fault, [&] { result = body(); })) throw StudyFault(fault);
  return result;
}

CoverRequest several_of(Words const& words) {
  CoverRequest request;
  for (double input : words.numbers(kInput)) request.inputs_hz.push_back(frequency("input", input));
  request.options = request_of(words);
  request.outputs = std::exchange(request.options.outputs, {});
  return request;
}

std::size_t at_most_of(Words const& words) {
  constexpr int kMost = 32;  // outputs, each on a primitive of its own
  if (words.has(kTolerance)) Words::refuse(kAtMost, "the least tolerance is looked for: give one of the two");
  const double number = words.number(kAtMost);
  if (number != std::floor(number) || number < 1 || number > kMost)
    Words::refuse(kAtMost, kdi::number::plain(number) + " is no number of 1 to " + std::to_string(kMost));
  return static_cast<std::size_t>(number);
}

}  // namespace

std::string study_setting(std::vector<std::string_view> const& words) {
  return study([&words] {
    const Question question = read(Words(words, kWords));
    const Result result = solve(question.primitive, question.request);
    if (result.solution) return solved_dict(question, *result.solution);
    if (!result.diagnosis) throw Fault{result.error};
    return diagnosis_dict(question, *result.diagnosis);
  });
}

std::string study_trade_offs(std::vector<std::string_view> const& words) {
  return study([&words] {
    const Question question = read(Words(words, kWords));
    std::string list;
    for (ParetoPoint const& point : pareto_front(question.primitive, question.request, kMostTradeOffs)) {
      std::string dict;
      put(dict, "error_ppm", number::fixed(point.worst_error.to_double() * static_cast<double>(kMillion), 3));
      put(dict, "setting", braced(setting_dict(question, point.solution)));
      text::append_word(list, braced(dict));
    }
    return list;
  });
}

std::string study_fewest(std::vector<std::string_view> const& words) {
  return study([&words] {
    const Words question(words, kFewestWords);
    device::Part const& part = part_of(std::string(question.text(kPart)));
    device::ClockPrimitive const& data = primitive_of(part, question);
    CoverRequest request = several_of(question);
    const Primitive primitive = solver_primitive(part, data, request.options.fine_phase);
    if (question.has(kAtMost)) return least_tolerance(primitive, std::move(request), at_most_of(question), data.count);
    // Without a tolerance the nearest would do, and the nearest to a frequency beyond the limits is no answer.
    if (!request.options.tolerance)
      for (OutputRequest const& output : request.outputs)
        require_within("output frequency", mhz(output.frequency_hz), data.output_mhz);
    return least_instances(primitive, std::move(request), data.count);
  });
}

}  // namespace kdi::clocking
