// Handlers of the Ip_Clocking_... commands.
#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ip/HIPClocking.h"
#include "kdi/tcl/command.h"
#include "tcltasks/clocking/clocking.h"
#include "tcltasks/clocking/options.h"
#include "tcltasks/frame/guard.h"

namespace Ip_Clocking {
namespace {

using kdi::number::leading_double;
using kdi::text::shortened;
using Bandwidth = HASTJitterCalculatorKelvane;

// The option's name -primtive is misspelt (sic: scripts give it so).
constexpr char const* kInputClkSchema =
    R"(-part <mandatory:string:""> -clkoutphy_freq <mandatory:double:10.00> -output_freq1 <mandatory:double:10.00>)"
    R"( -output_freq2 <mandatory:double:10.00> -output_freq3 <optional:double:10.00>)"
    R"( -output_freq4 <optional:double:10.00> -primtive <mandatory:string:0> -inclk1_period <optional:double:10.00>)"
    R"( -isSpeedFileEnabled <optional:string:false>)";
constexpr char const* kControllerSchema = " -nocmc_controller_type <optional:string:NONE>";  // of the list as well
constexpr char const* kOutputClkListSchema =
    R"(-part <mandatory:string:""> -input_freq <mandatory:double:10.00> -primtive <mandatory:string:0>)"
    R"( -clkoutphy_multiplication_factor <optional:long:1> -inclk1_period <optional:double:10.00>)"
    R"( -isSpeedFileEnabled <optional:string:false> -nocmc_controller_type <optional:string:NONE>)";
constexpr char const* kCalcSchema =
    R"(-part <mandatory:string:""> -output_freq <mandatory:string:""> -req_phase <mandatory:string:"">)"
    R"( -req_dc <mandatory:string:""> -prim_freq <mandatory:double:10.00> -secondary_freq <mandatory:double:10.00>)"
    R"( -primtive <mandatory:string:0> -min_jitter <optional:bool:false> -fine_ps <optional:bool:false>)"
    R"( -min_power <optional:bool:false> -low_bandwidth <optional:bool:false> -spread_spectrum <optional:string:"">)"
    R"( -inclk1_period <optional:double:10.00> -inclk2_period <optional:double:10.00>)";
constexpr char const* kClkInstSchema =
    R"(-part <mandatory:string:""> -output_freq <mandatory:list:""> -input_freq <mandatory:list:"">)"
    R"( -inclk1_period <optional:double:10.00>)";

std::string word(Tcl_Obj* const objv[], int index) { return Tcl_GetString(objv[index]); }

HIPClockingSoln* solver_of(std::string& name) { return HIPClockingMgr::GetInstance()->getClkwizSoln(name); }

std::string no_solver(std::string const& name) { return "There is no solver for \"" + name + "\"."; }

std::string first_of(StrVec const& errors) { return errors.empty() ? std::string() : errors.front(); }

ClockPrimitive primitive_of(std::string const& text) {
  if (text == "1") return CLKPRIM_PLL;
  if (text == "2") return CLKPRIM_PHYPLL;
  return CLKPRIM_MMCM;
}

// Case does not matter; a word that is none of the three is no fault here.
Bandwidth::BANDWIDTH bandwidth_of(std::string const& text) {
  using kdi::text::same_but_case;
  if (same_but_case(text, "LOW")) return Bandwidth::BW_LOW;
  if (same_but_case(text, "HIGH")) return Bandwidth::BW_HIGH;
  if (same_but_case(text, "OPTIMIZED")) return Bandwidth::BW_OPTIMIZED;
  return Bandwidth::BW_NONE;
}

// A debug message on a channel of its own.
template <class... Arguments>
void send(char const* channel, unsigned mask, char const* format, Arguments... arguments) {
  ComMsgMgr::sendScopedMsg::eval(1, __FILE__, __LINE__, frame::kMessageCategory, channel,
                                 static_cast<ComMsgMgr::MsgMask>(mask), format, arguments...);
}
void send(char const* channel, unsigned mask, char const* text) { send(channel, mask, "%s", text); }
constexpr char const* kCalcChannel = "HIPClocking";
constexpr char const* kClkInstChannel = "CLOCKING_IP";

}  // namespace

namespace clocking_utils {

int init_Clkwiz(ClientData, Tcl_Interp* /*interp*/, int /*objc*/, Tcl_Obj* const*) {
  HIPClockingMgr::GetInstance();
  return TCL_OK;
}

int unInit_Clkwiz(ClientData, Tcl_Interp* /*interp*/, int /*objc*/, Tcl_Obj* const objv[]) {
  std::string name = word(objv, 1);
  HIPClockingMgr::GetInstance()->deleteClockingSoln(name);
  return TCL_OK;
}

int mmcmCalculateActualPhase(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  HIPClock clock;
  if (!HIPClockingUtils::validateAndConvertDouble(word(objv, 2), clock.phase))
    return tcl::fail(interp, "Ip_Clocking_Calc_Phase: Requested Phase needs to be a valid double value\n");
  if (!HIPClockingUtils::validateAndConvertDouble(word(objv, 3), clock.divide))
    return tcl::fail(interp, "Ip_Clocking_Calc_Phase: ClockOut divide needs to be a valid double value\n");
  std::string name = word(objv, 1), text;
  StrVec errors;
  HIPClockingSoln* const solver = solver_of(name);
  if (solver == nullptr) errors.push_back(no_solver(name));
  if (solver == nullptr || !solver->calculateActualPhase(clock, errors))
    return tcl::fail(interp, "Ip_Clocking_Calc_Phase: Failed in calculating Phase. " + first_of(errors));
  if (!HIPClockingUtils::convertDoubleToString(clock.actualPhase, text))
    return tcl::fail(interp, "Ip_Clocking_Calc_Phase: Failed in conversion of Phase from double to string. ");
  return tcl::succeed(interp, text);
}

int mmcmCalculateActualDutyCycle(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  HIPClock clock;
  if (!HIPClockingUtils::validateAndConvertDouble(word(objv, 2), clock.dutyCycle))
    return tcl::fail(interp, "Ip_Clocking_Calc_DC: Requested duty cycle needs to be a valid double value\n");
  if (!HIPClockingUtils::validateAndConvertDouble(word(objv, 3), clock.divide))
    return tcl::fail(interp, "Ip_Clocking_Calc_DC: ClockOut divide needs to be a valid double value\n");
  std::string name = word(objv, 1), text;
  StrVec errors;
  HIPClockingSoln* const solver = solver_of(name);
  if (solver == nullptr) errors.push_back(no_solver(name));
  if (solver == nullptr ||
      !solver->calculateActualDutyCycle(clock, errors, kdi::number::to_int(clock.divide), CLKPRIM_MMCM))
    return tcl::fail(interp, "Ip_Clocking_Calc_DC: Failed in calculating duty cycle. " + first_of(errors));
  if (!HIPClockingUtils::convertDoubleToString(clock.actualDutyCycle, text))  // sic: Phase
    return tcl::fail(interp, "Ip_Clocking_Calc_DC: Failed in conversion of Phase from double to string. ");
  return tcl::succeed(interp, text);
}

int getSpeedFileProperty(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  std::string name = word(objv, 1), key = word(objv, 2), value;
  StrVec errors;
  if (HIPClockingSoln* const solver = solver_of(name))
    value = solver->getSpeedFileProperty(name, key, errors);
  else
    errors.push_back(no_solver(name));
  if (!errors.empty())
    return tcl::fail(interp, "Ip_Clocking_Get_Property: Failed in retrieving speed file value for " + shortened(key) +
                                 ". " + errors.front());
  return tcl::succeed(interp, value);
}

// ------------------------------------------------------------------------------------------ the two guarded commands

int GetPeakToPeakJitter(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  return frame::report_to_message_manager([&] {
    std::string name = word(objv, 1);
    HIPClockingSoln* const solver = solver_of(name);
    if (solver == nullptr) return tcl::fail(interp, "Unable to obtain Implementation object for GetPeakToPeakJitter");
    const auto number = [&](int index) { return leading_double(Tcl_GetString(objv[index])); };
    double jitter = 0;
    if (!solver->getPeakToPeakJitter(number(2), number(3), number(4), bandwidth_of(word(objv, 5)), word(objv, 6),
                                     number(7) != 0.0, number(8) != 0.0, kdi::number::to_int(number(9)), &jitter))
      return tcl::fail(interp, "fail to get getPeakToPeakJitter");
    return tcl::succeed(interp, kdi::number::fixed(jitter, 6));
  });
}

int GetPhaseError(ClientData, Tcl_Interp* interp, int /*objc*/, Tcl_Obj* const objv[]) {
  return frame::report_to_message_manager([&] {
    std::string name = word(objv, 1);
    HIPClockingSoln* const solver = solver_of(name);
    if (solver == nullptr) return tcl::fail(interp, "Unable to obtain Implementation object for GetPhaseError");
    double phase_error = 0;
    if (!solver->getPhaseError(&phase_error, kdi::number::to_int(leading_double(Tcl_GetString(objv[2])))))
      return tcl::fail(interp, "fail to get getPhaseError");
    return tcl::succeed(interp, kdi::number::fixed(phase_error, 6));
  });
}

// ----------------------------------------------------------------------------------------------- the option commands

namespace {

// A command with options reads them, one of which is `part`, and finds the solver of that part; `answer(solver)` sets
// the result.
template <class Answer>
int with_options(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], std::string const& command,
                 std::string const& schema, std::string& part, std::initializer_list<Option> options, Answer answer) {
  HIPClockingMgr::GetInstance();
  if (!read_options(schema, objc, objv, options)) return tcl::fail(interp, command + ": Error in parsing options\n");
  HIPClockingSoln* const solver = solver_of(part);
  if (solver == nullptr) return tcl::fail(interp, command + ": " + no_solver(part) + "\n");
  return answer(*solver);
}

// A word of a list that is to be a number.
std::string no_double(std::string const& command, char const* what, std::string const& text) {
  return command + ": Requested " + what + " '" + shortened(text) + "' needs to be a valid double value\n";
}

// More clocks than any primitive has, or any device: they are counted and not looked at.
constexpr std::size_t kMostClocks = 1000;
std::string too_many(std::string const& command, std::size_t count) {
  return command + ": " + std::to_string(count) + " clocks are asked for, more than " + std::to_string(kMostClocks) +
         "\n";
}

// What the two commands for input clocks are given.
struct InputQuestion {
  std::string part, primitive_word, speed_file, controller;
  double phy = 0, out1 = 0, out2 = 0, out3 = 0, out4 = 0, period = 0;
};

// `ask(solver, question, primitive, text)` asks the solver; its text is the result, and tells of a failure as well.
template <class Ask>
int find_inputs(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], std::string const& command,
                std::string const& schema, Ask ask) {
  InputQuestion question;
  return with_options(interp, objc, objv, command, schema, question.part,
                      {{"-part", &question.part},
                       {"-clkoutphy_freq", &question.phy},
                       {"-output_freq1", &question.out1},
                       {"-output_freq2", &question.out2},
                       {"-output_freq3", &question.out3},
                       {"-output_freq4", &question.out4},
                       {"-primtive", &question.primitive_word},
                       {"-inclk1_period", &question.period},
                       {"-isSpeedFileEnabled", &question.speed_file},
                       {"-nocmc_controller_type", &question.controller}},
                      [&](HIPClockingSoln& solver) {
                        ClockPrimitive primitive = primitive_of(question.primitive_word);
                        std::string text;
                        ask(solver, question, primitive, text);
                        return tcl::succeed(interp, text);
                      });
}

}  // namespace

int getInputClockFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  return find_inputs(interp, objc, objv, "Ip_Clocking_Get_InputClk", kInputClkSchema,
                     [](HIPClockingSoln& solver, InputQuestion const& q, ClockPrimitive& primitive, std::string& text) {
                       solver.getInputClockFrequencies(q.phy, q.out1, q.out2, q.out3, q.out4, primitive, text, q.period,
                                                       q.speed_file == "true");
                     });
}

int getInputClkFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  return find_inputs(interp, objc, objv, "Ip_Clocking_Get_InputClkList",
                     std::string(kInputClkSchema) + kControllerSchema,
                     [](HIPClockingSoln& solver, InputQuestion const& q, ClockPrimitive& primitive, std::string& text) {
                       solver.getInputClkFrequencies(q.phy, q.out1, q.out2, q.out3, q.out4, primitive, text, q.period,
                                                     q.speed_file == "true", q.controller);
                     });
}

int getOutputClkFrequencies(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  std::string part, primitive_word, speed_file, controller;
  double input = 0, period = 0;
  long multiplication = 0;
  return with_options(interp, objc, objv, "Ip_Clocking_Get_OutputClkList", kOutputClkListSchema, part,
                      {{"-part", &part},
                       {"-input_freq", &input},
                       {"-primtive", &primitive_word},
                       {"-clkoutphy_multiplication_factor", &multiplication},
                       {"-inclk1_period", &period},
                       {"-isSpeedFileEnabled", &speed_file},
                       {"-nocmc_controller_type", &controller}},
                      [&](HIPClockingSoln& solver) {
                        ClockPrimitive primitive = primitive_of(primitive_word);
                        std::string text;  // tells of a failure as well
                        solver.getOutputClockFrequencies(input, primitive, kdi::number::to_int(multiplication), text,
                                                         period, speed_file == "true", controller);
                        return tcl::succeed(interp, text);
                      });
}

namespace {

// The clocks of three parallel lists; false with `error` at the first value that is no number. A list that is shorter
// than another has an empty word there, which is none.
bool read_clocks(std::string const& frequencies, std::string const& phases, std::string const& duty_cycles,
                 std::vector<HIPClock>& clocks, std::string& error) {
  const StrVec lists[] = {split_words(frequencies), split_words(phases), split_words(duty_cycles)};
  const std::size_t count = std::max({lists[0].size(), lists[1].size(), lists[2].size()});
  if (count > kMostClocks) {
    error = too_many("Ip_Clocking_Calc_M_D", count);
    return false;
  }
  for (std::size_t i = 0; i < count; ++i) {
    HIPClock clock;
    const auto read = [&](StrVec const& list, char const* what, double& value) {
      const std::string text = i < list.size() ? list[i] : std::string();
      if (HIPClockingUtils::validateAndConvertDouble(text, value)) return true;
      error = no_double("Ip_Clocking_Calc_M_D", what, text);
      return false;
    };
    if (!read(lists[0], "output frequency", clock.frequency) || !read(lists[1], "phase", clock.phase) ||
        !read(lists[2], "DC", clock.dutyCycle))
      return false;
    clocks.push_back(clock);
  }
  return true;
}

// What the command for a setting is given.
struct SettingQuestion {
  std::string part, frequencies, phases, duty_cycles, primitive_word, spread;
  double input = 0, second_input = 0, period1 = 0, period2 = 0;
  bool min_jitter = false, fine_ps = false, min_power = false, low_bandwidth = false;
};

int solve(Tcl_Interp* interp, HIPClockingSoln& solver, SettingQuestion& q) {
  std::vector<HIPClock> clocks;
  std::string error;
  if (!read_clocks(q.frequencies, q.phases, q.duty_cycles, clocks, error)) return tcl::fail(interp, error);
  bool is_spread = false;
  std::string spread_mode;
  double modulation = 0;
  if (!q.spread.empty() && !HIPClockingUtils::validateSSArgs(q.spread, is_spread, spread_mode, modulation, error))
    return tcl::fail(interp, error);
  ClockPrimitive primitive = primitive_of(q.primitive_word);
  send(kCalcChannel, 0x1000002, "Timeperiod that is passed as input is  %f \n",
       solver.getInClkPeriod(q.input, primitive, false));

  StrVec errors;
  std::string solution;
  if (!solver.calculateMandD(clocks, q.part, errors, q.input, q.second_input, primitive, q.min_jitter, q.fine_ps,
                             q.min_power, q.low_bandwidth, is_spread, spread_mode, modulation, q.period1, q.period2,
                             solution))
    return tcl::fail(interp, "Ip_Clocking_Calc_M_D: " +
                                 (errors.empty() ? "Failed in calculation of clocking solution." : errors.front()) +
                                 "\n");
  send(kCalcChannel, 0x1000000, "End of Calc Done\n");
  return tcl::succeed(interp, solution);
}

constexpr unsigned kClkInstMask = 0x1000005;

// Tells the channel each word as it is read. The error; empty if all are numbers.
std::string read_frequencies(StrVec const& words, char const* what, std::vector<double>& frequencies) {
  constexpr char const* kCommand = "Ip_Clocking_Get_ClkInst";
  if (words.size() > kMostClocks) return too_many(kCommand, words.size());
  for (std::string const& text : words) {
    send(kClkInstChannel, kClkInstMask, "%s \n", text.c_str());
    if (!HIPClockingUtils::validateAndConvertDouble(text, frequencies.emplace_back()))
      return no_double(kCommand, what, text);
  }
  return {};
}

}  // namespace

int getClosestSolution(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  SettingQuestion q;
  return with_options(interp, objc, objv, "Ip_Clocking_Calc_M_D", kCalcSchema, q.part,
                      {{"-part", &q.part},
                       {"-output_freq", &q.frequencies},
                       {"-req_phase", &q.phases},
                       {"-req_dc", &q.duty_cycles},
                       {"-prim_freq", &q.input},
                       {"-secondary_freq", &q.second_input},
                       {"-primtive", &q.primitive_word},
                       {"-min_jitter", &q.min_jitter},
                       {"-fine_ps", &q.fine_ps},
                       {"-min_power", &q.min_power},
                       {"-low_bandwidth", &q.low_bandwidth},
                       {"-spread_spectrum", &q.spread},
                       {"-inclk1_period", &q.period1},
                       {"-inclk2_period", &q.period2}},
                      [&](HIPClockingSoln& solver) { return solve(interp, solver, q); });
}

int getClkInstances(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  std::string part;
  StrVec output_words, input_words;
  double period = 0;
  const auto answer = [&](HIPClockingSoln& solver) {
    std::vector<double> outputs, frequencies;
    std::string error = read_frequencies(output_words, "output frequency", outputs);
    if (!error.empty()) return tcl::fail(interp, error);
    send(kClkInstChannel, kClkInstMask, "outputs done \n");
    error = read_frequencies(input_words, "input frequency", frequencies);
    if (!error.empty()) return tcl::fail(interp, error);
    send(kClkInstChannel, kClkInstMask, "inputs done \n");
    std::vector<std::pair<double, double>> inputs;
    for (const double frequency : frequencies) inputs.emplace_back(frequency, 0);
    std::string result;  // tells of a failure as well
    solver.computeMinimalClkInst(outputs, inputs, period, part, result);
    send(kClkInstChannel, kClkInstMask, "result is %s \n", result.c_str());
    return tcl::succeed(interp, result);
  };
  return with_options(
      interp, objc, objv, "Ip_Clocking_Get_ClkInst", kClkInstSchema, part,
      {{"-part", &part}, {"-output_freq", &output_words}, {"-input_freq", &input_words}, {"-inclk1_period", &period}},
      answer);
}

}  // namespace clocking_utils

namespace {

// The commands with options have their words looked after by the parser of the options.
constexpr tcl::Row kCommands[] = {
    {"Ip_Clocking_Init", clocking_utils::init_Clkwiz,
     tcl::exactly(0, "Ip_Clocking_Init : Invalid number of arguments.\n")},
    {"Ip_Clocking_Uninit", clocking_utils::unInit_Clkwiz,
     tcl::exactly(1, "Ip_Clocking_Uninit : Invalid number of arguments.\n")},
    {"Ip_Clocking_Calc_M_D", clocking_utils::getClosestSolution, tcl::kAnyWords},
    {"Ip_Clocking_Get_PeakToPeakJitter", clocking_utils::GetPeakToPeakJitter,
     tcl::exactly(9, "GetPeakToPeakJitter: Invalid number of arguments.")},
    {"Ip_Clocking_Get_PhaseError", clocking_utils::GetPhaseError,
     tcl::exactly(2, "GetPhaseError: Invalid number of arguments.")},
    {"Ip_Clocking_Calc_Phase", clocking_utils::mmcmCalculateActualPhase,
     tcl::exactly(3, "Ip_Clocking_Calc_Phase: Invalid number of arguments\n")},
    {"Ip_Clocking_Calc_DC", clocking_utils::mmcmCalculateActualDutyCycle,
     tcl::exactly(3, "Ip_Clocking_Calc_DC: Invalid number of arguments\n")},
    {"Ip_Clocking_Get_Property", clocking_utils::getSpeedFileProperty,
     tcl::exactly(2, "Ip_Clocking_Get_Property: Invalid number of arguments\n")},
    {"Ip_Clocking_Get_InputClk", clocking_utils::getInputClockFrequencies, tcl::kAnyWords},
    {"Ip_Clocking_Get_InputClkList", clocking_utils::getInputClkFrequencies, tcl::kAnyWords},
    {"Ip_Clocking_Get_OutputClkList", clocking_utils::getOutputClkFrequencies, tcl::kAnyWords},
    {"Ip_Clocking_Get_ClkInst", clocking_utils::getClkInstances, tcl::kAnyWords},
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() { HIPClockingMgr::terminateInstance(); }

}  // namespace Ip_Clocking
