// Handlers of the clock wizard: words to the solver's operations, statuses and figures to texts.
#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ip/HIPClkwiz.h"
#include "kdi/tcl/command.h"
#include "tcltasks/clkwiz/clkwiz.h"
#include "tcltasks/frame/guard.h"

namespace Ip_Clkwiz {

HIPClkwizImp* GetClkwizImp(std::string& part, std::string& instance) {
  return HIPClkwizTclMgr::GetInstance()->getClkwizImp(part, instance);
}

namespace kdi_ip_clk_wiz_v4_1 {
namespace {

using kdi::number::fixed;
using kdi::number::leading_double;
using kdi::number::leading_int;
using kdi::number::to_int;
using kdi::text::shortened;

// The whole of a word as a number; a plus sign may stand before it. What is none throws a std::exception whose text
// reaches the user.
template <class Number>
Number require(std::optional<Number> value) {
  if (!value) throw boost::bad_lexical_cast();
  return *value;
}

int whole_int(std::string_view word) { return require(kdi::number::whole_with_sign<int>(word)); }
double whole_double(std::string_view word) { return require(kdi::number::whole_with_sign<double>(word)); }

constexpr double kDefaultInputPeriod = 10.0;
constexpr double kDefaultPhyFrequency = 300.0;
constexpr double kDefaultMargin = 10.0;

// The words of a command, part and instance first. Strings are copies: the solver may write to them.
class Words {
 public:
  Words(int objc, Tcl_Obj* const objv[]) : count(objc), part(text(objv, 1)), instance(text(objv, 2)), objv_(objv) {}

  char const* operator[](int index) const { return Tcl_GetString(objv_[index]); }
  std::string text(int index) const { return text(objv_, index); }
  /// Only "true" is; 1 and yes are not.
  bool is_true(int index) const { return text(index) == "true"; }

  int count;
  std::string part;
  std::string instance;

 private:
  // Empty where there is no such word.
  std::string text(Tcl_Obj* const objv[], int index) const { return index < count ? Tcl_GetString(objv[index]) : ""; }

  Tcl_Obj* const* objv_;
};

int Init_Clkwiz(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to set device");
  const std::string device = words.text(3);
  if (device.empty()) return tcl::fail(interp, "Init_Clkwiz: part is empty");
  solver->setPart(device);
  return TCL_OK;
}

int UnInit_Clkwiz(Tcl_Interp* /*interp*/, Words words) {
  HIPClkwizTclMgr::GetInstance()->deleteClkwizImp(words.part, words.instance);
  return TCL_OK;
}

int ChangeCompInstName(Tcl_Interp* /*interp*/, Words words) {
  std::string new_name = words.text(3);
  if (words.instance == new_name) return TCL_ERROR;  // sic: no message
  HIPClkwizTclMgr::GetInstance()->changeCompInstName(words.part, words.instance, new_name);
  return TCL_OK;
}

int GetPkToPkJitter(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to obtain Implementation object for GetPkToPkJitter");
  std::string bandwidth = words.text(6), error;
  double jitter = 0;
  if (!solver->getPkToPkJitter(leading_double(words[3]), leading_double(words[4]), leading_double(words[5]), bandwidth,
                               leading_double(words[7]), leading_double(words[8]), error, &jitter))
    return tcl::fail(interp, error);
  return tcl::succeed(interp, fixed(jitter, 3));
}

int GetPhaseError(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to obtain Implementation object for GetPhaseError");
  std::string bandwidth = words.text(5), error;
  double phase_error = 0;
  if (!solver->getPhaseError(leading_double(words[3]), leading_double(words[4]), bandwidth, error, &phase_error))
    return tcl::fail(interp, error);
  return tcl::succeed(interp, fixed(phase_error, 3));
}

// ---------------------------------------------------------------------------------------------------------- solving

// What a solve answers where its status has no text of its own.
struct Refusal {
  char const* one_clock;
  char const* several_clocks;
};
constexpr Refusal kMmcmRefusal = {"Could not obtain valid VCO, M and D values with the requested frequency.",
                                  "Could not obtain valid VCO, M and D values with these requested frequencies."};
constexpr Refusal kGivenInputsRefusal = {
    "Could not obtain valid VCO, M and D values with the given input freqs and the requested frequency.",
    "Could not obtain valid VCO, M and D values with the given input freqs and the requested frequencies."};

// sic: a script compares the result with "1"; a failed solve is no error of the command.
int set_status(Tcl_Interp* interp, int status, int count, Refusal const& refusal, bool is_closest = false) {
  switch (status) {
    case 1:
      return tcl::succeed(interp, "1");
    case 2:
      return tcl::succeed(interp, "Could not get data from speedsfile.");
    case 3:
      return tcl::succeed(interp,
                          "Could not obtain a valid VCO because the 2 input clock freqs are too far apart in range.");
    default:
      break;
  }
  if (is_closest) {
    if (status == 5) return tcl::succeed(interp, "ClkoutXiPhy cannot be enabled on the provided architecture");
    if (status == 6) return tcl::succeed(interp, "ClkoutXiPhy cannot be enabled for MMCM primitive");
    if (status == 8) return tcl::succeed(interp, "Please enter a valid input frequency");
  }
  return tcl::succeed(interp, count < 2 ? refusal.one_clock : refusal.several_clocks);
}

// The optional words at the end of a solve; how many there are says which they are.
struct Tail {
  double input_period;
  bool phy_output = false;
  double phy_frequency = kDefaultPhyFrequency;
};
Tail read_tail(Words const& words, int begin, double default_period) {
  const int given = words.count - begin;
  Tail tail{default_period};
  if (given == 1 || given == 3) tail.input_period = leading_double(words[begin]);
  if (given >= 2) {
    tail.phy_output = words.is_true(words.count - 2);
    tail.phy_frequency = leading_double(words[words.count - 1]);
  }
  return tail;
}

int MMCMCalculateActualOutFreqs(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr)  // sic: the name is cut
    return tcl::fail(interp, "Unable to obtain Implementation object for MMCMCalculateActualOutFreq");
  std::string frequencies = words.text(3);
  const int count = leading_int(words[6]);
  const double period = words.count == 11 ? leading_double(words[10]) : kDefaultInputPeriod;
  const int status =
      solver->getMinPowerOutFreqs(frequencies, leading_double(words[4]), leading_double(words[5]), count,
                                  words.is_true(7), words.is_true(8), 0, words.is_true(9), period, false, 0.0);
  return set_status(interp, status, count, kMmcmRefusal);
}

int PLLCalculateActualOutFreqs(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return TCL_ERROR;  // sic: no message
  std::string frequencies = words.text(3);
  const int count = leading_int(words[6]);
  const Tail tail = read_tail(words, 10, kDefaultInputPeriod);
  const int status = solver->getMinPowerOutFreqs(frequencies, leading_double(words[4]), leading_double(words[5]), count,
                                                 words.is_true(7), words.is_true(8), 1, words.is_true(9),
                                                 tail.input_period, tail.phy_output, tail.phy_frequency);
  return set_status(interp, status, count, kGivenInputsRefusal);
}

int GetClosestSolution(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to obtain Implementation object for GetClosestSolution");
  std::string frequencies = words.text(3), phases = words.text(4), duty_cycles = words.text(5);
  const double input = leading_double(words[6]);
  const int count = leading_int(words[8]);
  const Tail tail = read_tail(words, 13, input == 0 ? kDefaultInputPeriod : 1000 / input);
  const int status = solver->getClosestSolution(
      frequencies, phases, duty_cycles, input, leading_double(words[7]), count, words.is_true(9), words.is_true(10),
      words.is_true(11) ? 1 : 0, tail.input_period, words.is_true(12), tail.phy_output, tail.phy_frequency);
  return set_status(interp, status, count, kGivenInputsRefusal, true);
}

int MMCMCalculateActualPhase(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr)
    return tcl::fail(interp, "Unable to obtain Implementation object for MMCMCalculateActualPhase");
  double phase = leading_double(words[3]), divide = leading_double(words[4]);
  return tcl::succeed(interp, fixed(solver->mmcmCalculateActualPhase(phase, divide, words.is_true(5)), 3));
}

int MMCMCalculateActualDutyCycle(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr)
    return tcl::fail(interp, "Unable to obtain Implementation object for MMCMCalculateActualDutyCycle");
  double duty = leading_double(words[3]), divide = leading_double(words[4]);
  const double fraction = solver->mmcmCalculateActualDutyCycle(duty, divide, words.is_true(5));
  return tcl::succeed(interp, fixed(fraction * 100.0, 3));
}

// ------------------------------------------------------------------------------------------------------- properties

template <void (HIPClkwizImp::*set)(bool)>
void set_flag(HIPClkwizImp& solver, Words const& words) {
  (solver.*set)(words.is_true(4));
}
template <void (HIPClkwizImp::*set)(double&)>
void set_number(HIPClkwizImp& solver, Words const& words) {
  double value = whole_double(words[4]);
  (solver.*set)(value);
}
void set_mode(HIPClkwizImp& solver, Words const& words) {
  std::string mode = words.text(4);
  solver.setSSMode(mode);
}
void set_input_buffer(HIPClkwizImp& solver, Words const& words) { solver.globalBufferInputClk = words.is_true(4); }

struct Setter {
  char const* property;
  void (*set)(HIPClkwizImp&, Words const&);
};
constexpr Setter kSetters[] = {
    {"LowBandwidth", set_flag<&HIPClkwizImp::setLowBandwidth>},
    {"DynReconfig", set_flag<&HIPClkwizImp::setDynReconfig>},
    {"SpreadSpectrum", set_flag<&HIPClkwizImp::setSpreadSpectrum>},
    {"GlobalBuffer_InputClk", set_input_buffer},
    {"SSMode", set_mode},
    {"SSModFreq", set_number<&HIPClkwizImp::setSSModFreq>},
    {"UseFinePS", set_flag<&HIPClkwizImp::setFinePS>},
    {"CLKIN_UI_JITTER", set_number<&HIPClkwizImp::setClkInUIJitter>},
};

int SetClkwizProperty(Tcl_Interp* interp, Words words) {
  const std::string property = words.text(3);
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to set property " + shortened(property));
  for (Setter const& setter : kSetters)
    if (property == setter.property) setter.set(*solver, words);
  return TCL_OK;  // sic: a property that does not exist as well
}

template <auto get>
std::string decimals(HIPClkwizImp& solver, std::string const&) {
  return fixed((solver.*get)(), 3);
}
// At least four characters: what is no number has a blank before it.
std::string four_wide(double value) {
  const std::string text = fixed(value, 3);
  return text.size() < 4 ? std::string(4 - text.size(), ' ') + text : text;
}
template <auto get>
std::string wide_decimals(HIPClkwizImp& solver, std::string const&) {
  return four_wide((solver.*get)());
}
template <auto get>
std::string integer(HIPClkwizImp& solver, std::string const&) {
  return std::to_string(to_int((solver.*get)()));
}
template <int (HIPClkwizImp::*get)(int)>
std::string integer_of_output(HIPClkwizImp& solver, std::string const& index) {
  return std::to_string((solver.*get)(leading_int(index.c_str())));
}
template <double (HIPClkwizImp::*get)(int)>
std::string decimals_of_output(HIPClkwizImp& solver, std::string const& index) {
  return four_wide((solver.*get)(leading_int(index.c_str())));
}
// sic: the three that may fail give the message as the result of a command that succeeds
std::string speed_key(HIPClkwizImp& solver, std::string const& key) {
  double value = 0;
  return solver.getKeyValue(key, &value) ? fixed(value, 3)
                                         : "Unable to get value from speedsfile for keyword " + shortened(key);
}
std::string min_period(HIPClkwizImp& solver, std::string const& buffer) {
  std::string text;
  return solver.getMinPeriodSpdData(buffer, text)
             ? text
             : "GetClkwizProperty: Unable to get Min Period for buffer : " + shortened(buffer);
}
std::string max_period(HIPClkwizImp& solver, std::string const&) {
  std::string text;
  return solver.getMaxPeriodSpdData(text) ? text : "GetClkwizProperty: Unable to get Max Period.";
}
std::string phy_mode(HIPClkwizImp& solver, std::string const&) { return solver.getChosenClkoutXiPhyMode(); }

enum class Argument {
  ignored,  ///< a word too many does no harm
  needed,   ///< without it the result is empty
  none      ///< with one the result is empty
};
struct Getter {
  char const* property;
  Argument argument;
  std::string (*get)(HIPClkwizImp&, std::string const&);
};
constexpr Getter kGetters[] = {
    {"ChosenM", Argument::ignored, decimals<&HIPClkwizImp::getChosenM>},
    {"ChosenMInt", Argument::ignored, integer<&HIPClkwizImp::getChosenM>},
    {"ChosenD", Argument::ignored, integer<&HIPClkwizImp::getChosenD>},
    {"ChosenVCO", Argument::ignored, wide_decimals<&HIPClkwizImp::getChosenVCO>},
    {"SSModActFreq", Argument::ignored, wide_decimals<&HIPClkwizImp::getActualModFreq>},
    {"ChosenDiv0", Argument::ignored, decimals<&HIPClkwizImp::getChosenDiv0>},
    {"ChosenDiv0Int", Argument::ignored, integer<&HIPClkwizImp::getChosenDiv0>},
    {"ChosenDivN", Argument::needed, integer_of_output<&HIPClkwizImp::getChosenDivN>},
    {"ChosenOutFreqN", Argument::needed, decimals_of_output<&HIPClkwizImp::getChosenOutFreqN>},
    {"ChosenPhaseN", Argument::needed, decimals_of_output<&HIPClkwizImp::getChosenPhaseN>},
    {"ChosenDutyCycleN", Argument::needed, decimals_of_output<&HIPClkwizImp::getChosenDutyCycleN>},
    {"SpdKeyValue", Argument::needed, speed_key},
    {"MinPeriod", Argument::needed, min_period},
    {"MaxPeriod", Argument::none, max_period},
    {"ChosenClkoutXiPhyMode", Argument::ignored, phy_mode},
    {"ChosenClkoutXiPhyFreq", Argument::ignored, wide_decimals<&HIPClkwizImp::getActualClkoutXiPhyFreq>},
};

int GetClkwizProperty(Tcl_Interp* interp, Words words) {
  const std::string property = words.text(3);
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return tcl::fail(interp, "Unable to get property Get" + shortened(property));
  const Argument unfit = words.count == 5 ? Argument::none : Argument::needed;
  std::string result;
  for (Getter const& getter : kGetters)
    if (property == getter.property && getter.argument != unfit) result = getter.get(*solver, words.text(4));
  return tcl::succeed(interp, result);
}

// ------------------------------------------------------------------------------------------------ achievable clocks

int fail_without_instance(Tcl_Interp* interp, Words const& words) {
  return tcl::fail(interp, "Unable to get instance: " + shortened(words.instance) +
                               " of part: " + shortened(words.part) + " for Get" + shortened(words.text(3)));
}

double read_margin(std::string const& word) { return word.empty() ? kDefaultMargin : whole_double(word); }

int GetClkwizOutputFrequencies(Tcl_Interp* interp, Words words) {
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return fail_without_instance(interp, words);
  const double frequency = whole_double(words[3]);
  const int count = whole_int(words[4]), count2 = whole_int(words[5]);
  const double margin = read_margin(words.text(6));
  std::string text;
  solver->getClkwizOutputFrequencies(frequency, count, count2, text, margin);  // the text tells of a failure as well
  return tcl::succeed(interp, text);
}

std::vector<double> read_list(std::string const& word) {
  std::vector<double> values;
  if (word.empty()) return values;
  for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
    end = word.find(',', begin);
    values.push_back(whole_double(word.substr(begin, end - begin)));
  }
  return values;
}

int GetClkwizInputFrequencies(Tcl_Interp* interp, Words words) {
  const std::string name = words.text(3);
  HIPClkwizImp* const solver = GetClkwizImp(words.part, words.instance);
  if (solver == nullptr) return fail_without_instance(interp, words);
  const double frequency = whole_double(words[4]);
  const int count = whole_int(words[5]);
  const std::vector<double> list = read_list(words.text(6));
  const double margin = read_margin(words.text(7));
  std::string text;
  solver->getClkwizInputFrequencies(name, frequency, list, count, text, margin);  // likewise
  return tcl::succeed(interp, text);
}

template <int (*handler)(Tcl_Interp*, Words)>
int guarded(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  return frame::report_to_message_manager([&] { return handler(interp, Words(objc, objv)); });
}

}  // namespace
}  // namespace kdi_ip_clk_wiz_v4_1

namespace {

using namespace kdi_ip_clk_wiz_v4_1;
using tcl::between;
using tcl::exactly;

constexpr tcl::Complaint kInvalid = "{name}: Invalid number of arguments.";

constexpr tcl::Row kCommands[] = {
    {"Init_Clkwiz", guarded<Init_Clkwiz>, exactly(3, kInvalid)},
    {"UnInit_Clkwiz", guarded<UnInit_Clkwiz>, exactly(2, kInvalid)},
    {"ChangeCompInstName", guarded<ChangeCompInstName>,
     exactly(3, "ChangeComponentName: Invalid number of arguments.")},  // sic: not the command's name
    {"GetPkToPkJitter", guarded<GetPkToPkJitter>, exactly(8, kInvalid)},
    {"GetPhaseError", guarded<GetPhaseError>, exactly(5, kInvalid)},
    {"MMCMCalculateActualOutFreqs", guarded<MMCMCalculateActualOutFreqs>, between(9, 10, kInvalid)},
    {"PLLCalculateActualOutFreqs", guarded<PLLCalculateActualOutFreqs>,  // sic: the text of a missing solver, name cut
     between(9, 12, "Unable to obtain Implementation object for PLLCalculateActualOutFreq")},
    {"GetClosestSolution", guarded<GetClosestSolution>, between(12, 15, kInvalid)},
    {"MMCMCalculateActualPhase", guarded<MMCMCalculateActualPhase>, exactly(5, kInvalid)},
    {"MMCMCalculateActualDutyCycle", guarded<MMCMCalculateActualDutyCycle>, exactly(5, kInvalid)},
    {"SetClkwizProperty", guarded<SetClkwizProperty>, exactly(4, kInvalid)},
    {"GetClkwizProperty", guarded<GetClkwizProperty>,
     between(3, 4, "GetClkwizProperty: Invalid number of arguments. Get{3}")},
    {"GetClkwizOutputFrequencies", guarded<GetClkwizOutputFrequencies>,  // sic: here and below, not the command's name
     between(5, 6, "GetOutputClockFreqList: Invalid number of arguments. Get{3}")},
    {"GetClkwizInputFrequencies", guarded<GetClkwizInputFrequencies>,
     between(5, 7, "GetInputClockFreqList: Invalid number of arguments. Get{3}")},
};

}  // namespace

void init(Tcl_Interp* interp) { tcl::register_all<kCommands>(interp); }

void uninit() {}

}  // namespace Ip_Clkwiz
