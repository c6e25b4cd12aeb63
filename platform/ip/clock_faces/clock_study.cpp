#include "kdi/ip/host/clock_study.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>

#include "kdi/common/KdiNamedWords.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/ip/clock_faces/dictionaries.h"
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
               kOutputs = "outputs", kPhases = "phases", kDutyCycles = "duty_cycles", kPhy = "phy", kPrefer = "prefer",
               kBandwidth = "bandwidth", kFinePhase = "fine_phase", kWhole = "whole", kSpread = "spread",
               kTolerance = "tolerance", kPhaseTolerance = "phase_tolerance", kDutyTolerance = "duty_tolerance";
constexpr std::array kWords = {kPart,       kPrimitive, kInput,          kSecondInput,  kOutputs,   kPhases,
                               kDutyCycles, kPhy,       kPrefer,         kBandwidth,    kFinePhase, kWhole,
                               kSpread,     kTolerance, kPhaseTolerance, kDutyTolerance};

struct Refusals {
  [[noreturn]] static void refuse(WordFault, std::string const& text) { throw Fault{text}; }
};

class Words : public NamedWords<Refusals> {
 public:
  explicit Words(std::span<std::string_view const> words) : NamedWords(words, kWords) {}

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

Request request_of(Words const& words) {
  Request request;
  request.input_hz = frequency("input", words.number(kInput));
  if (words.has(kSecondInput)) request.second_input_hz = frequency("second input", words.number(kSecondInput));
  const std::vector<double> outputs = words.numbers(kOutputs);
  const std::vector<double> phases = numbers_for(words, kPhases, outputs.size(), 0);
  const std::vector<double> duty_cycles = numbers_for(words, kDutyCycles, outputs.size(), 50);
  std::vector<Wish> wishes;
  for (std::size_t i = 0; i < outputs.size(); ++i) wishes.push_back({outputs[i], phases[i], duty_cycles[i]});
  add_outputs(request, wishes);
  if (words.has(kPhy)) request.high_speed_hz = frequency("phy", words.number(kPhy));
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

Question read(Words const& words) {
  device::Part const& part = part_of(std::string(words.text(kPart)));
  device::ClockPrimitive const& data = primitive_of(part, words);
  Request request = request_of(words);
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

std::string diagnosis_dict(Question const& question, Diagnosis const& diagnosis) {
  std::string dict, limits;
  put(dict, "reason", braced(diagnosis.text));
  for (Binding const& binding : diagnosis.bindings) text::append_word(limits, braced(binding_dict(binding)));
  put(dict, "limits", braced(limits));
  if (diagnosis.nearest) {
    put(dict, "nearest", braced(setting_dict(question, *diagnosis.nearest)));
    put(dict, "nearest_ppm", number::fixed(diagnosis.nearest_ppm, 3));
  }
  put(dict, "exact_inputs", braced(mhz_list(diagnosis.exact_inputs_hz)));
  return dict;
}

// Refusals leave as the door says.
template <class Study>
std::string study(std::vector<std::string_view> const& words, Study body) {
  std::string result, fault;
  if (!answer(fault, [&] { result = body(read(Words(words))); })) throw StudyFault(fault);
  return result;
}

}  // namespace

std::string study_setting(std::vector<std::string_view> const& words) {
  return study(words, [](Question const& question) {
    const Result result = solve(question.primitive, question.request);
    if (result.solution) return "setting " + braced(setting_dict(question, *result.solution));
    if (!result.diagnosis) throw Fault{result.error};
    return diagnosis_dict(question, *result.diagnosis);
  });
}

std::string study_trade_offs(std::vector<std::string_view> const& words) {
  return study(words, [](Question const& question) {
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

}  // namespace kdi::clocking
