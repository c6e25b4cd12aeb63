#include "tests/support/recording_clocks.h"

#include <dlfcn.h>

#include <cstdio>
#include <map>
#include <memory>
#include <utility>

#include "kdi/ip/HIPClkwiz.h"
#include "kdi/ip/HIPClocking.h"

namespace recording_clocks {

std::vector<std::string> calls;
std::vector<std::string> schemas;
Answers answers;

void reset() {
  calls.clear();
  schemas.clear();
  answers = {};
}

namespace {

std::string shown(std::string const& text) { return text.empty() ? "{}" : text; }
std::string shown(bool value) { return value ? "true" : "false"; }
std::string shown(int value) { return std::to_string(value); }
std::string shown(double value) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%g", value);
  return digits;
}
std::string shown(std::pair<double, double> const& pair) { return shown(pair.first) + "/" + shown(pair.second); }
template <class Value>
std::string shown(std::vector<Value> const& values) {
  std::string list;
  for (auto const& value : values) list += (list.empty() ? "" : " ") + shown(value);
  return "{" + list + "}";
}

template <class... Arguments>
void record(std::string call, Arguments const&... arguments) {
  ((call += " " + shown(arguments)), ...);
  calls.push_back(call);
  if (answers.exception) answers.exception();
}

}  // namespace
}  // namespace recording_clocks

using recording_clocks::answers;
using recording_clocks::record;

namespace Ip_Clkwiz {

struct HIPClkwizImp::State {};
HIPClkwizImp::HIPClkwizImp() = default;
HIPClkwizImp::~HIPClkwizImp() = default;

void HIPClkwizImp::setPart(std::string part) { record("setPart", part); }
void HIPClkwizImp::setLowBandwidth(bool on) { record("setLowBandwidth", on); }
void HIPClkwizImp::setDynReconfig(bool on) { record("setDynReconfig", on); }
void HIPClkwizImp::setSpreadSpectrum(bool on) { record("setSpreadSpectrum", on); }
void HIPClkwizImp::setFinePS(bool on) { record("setFinePS", on); }
void HIPClkwizImp::setSSMode(std::string& mode) { record("setSSMode", mode); }
void HIPClkwizImp::setSSModFreq(double& kHz) { record("setSSModFreq", kHz); }
void HIPClkwizImp::setClkInUIJitter(double& ui) { record("setClkInUIJitter", ui); }
bool HIPClkwizImp::getPkToPkJitter(double a, double b, double c, std::string& text, double d, double e,
                                   std::string& error, double* result) {
  record("getPkToPkJitter", a, b, c, text, d, e);
  error = answers.error;
  *result = answers.number;
  return answers.success;
}
bool HIPClkwizImp::getPhaseError(double a, double b, std::string& text, std::string& error, double* result) {
  record("getPhaseError", a, b, text);
  error = answers.error;
  *result = answers.number;
  return answers.success;
}
int HIPClkwizImp::getMinPowerOutFreqs(std::string& freqs, double a, double b, int count, bool c, bool d, int pll,
                                      bool e, double f, bool g, double h) {
  record("getMinPowerOutFreqs", freqs, a, b, count, c, d, pll, e, f, g, h);
  return answers.status;
}
int HIPClkwizImp::getClosestSolution(std::string& s1, std::string& s2, std::string& s3, double a, double b, int count,
                                     bool c, bool d, int pll, double e, bool f, bool g, double h) {
  record("getClosestSolution", s1, s2, s3, a, b, count, c, d, pll, e, f, g, h);
  return answers.status;
}
double HIPClkwizImp::mmcmCalculateActualPhase(double& a, double& b, bool c) {
  record("mmcmCalculateActualPhase", a, b, c);
  return answers.number;
}
double HIPClkwizImp::mmcmCalculateActualDutyCycle(double& a, double& b, bool c) {
  record("mmcmCalculateActualDutyCycle", a, b, c);
  return answers.number;
}
double HIPClkwizImp::getChosenM() { return record("getChosenM"), answers.number; }
int HIPClkwizImp::getChosenD() { return record("getChosenD"), answers.status; }
double HIPClkwizImp::getChosenVCO() { return record("getChosenVCO"), answers.number; }
double HIPClkwizImp::getChosenDiv0() { return record("getChosenDiv0"), answers.number; }
int HIPClkwizImp::getChosenDivN(int index) { return record("getChosenDivN", index), answers.status; }
double HIPClkwizImp::getChosenOutFreqN(int index) { return record("getChosenOutFreqN", index), answers.number; }
double HIPClkwizImp::getChosenPhaseN(int index) { return record("getChosenPhaseN", index), answers.number; }
double HIPClkwizImp::getChosenDutyCycleN(int index) { return record("getChosenDutyCycleN", index), answers.number; }
double HIPClkwizImp::getActualModFreq() { return record("getActualModFreq"), answers.number; }
std::string HIPClkwizImp::getChosenClkoutXiPhyMode() { return record("getChosenClkoutXiPhyMode"), answers.text; }
double HIPClkwizImp::getActualClkoutXiPhyFreq() { return record("getActualClkoutXiPhyFreq"), answers.number; }
bool HIPClkwizImp::getKeyValue(std::string key, double* value) {
  record("getKeyValue", key);
  *value = answers.number;
  return answers.success;
}
bool HIPClkwizImp::getMinPeriodSpdData(std::string const& buffer, std::string& text) {
  record("getMinPeriodSpdData", buffer);
  text = answers.text;
  return answers.success;
}
bool HIPClkwizImp::getMaxPeriodSpdData(std::string& text) {
  record("getMaxPeriodSpdData");
  text = answers.text;
  return answers.success;
}
bool HIPClkwizImp::getClkwizOutputFrequencies(double const& a, int const& b, int const& c, std::string& text,
                                              double d) {
  record("getClkwizOutputFrequencies", a, b, c, d);
  text = answers.text;
  return answers.success;
}
bool HIPClkwizImp::getClkwizInputFrequencies(std::string const& name, double const& a, std::vector<double> const& list,
                                             int const& b, std::string& text, double c) {
  record("getClkwizInputFrequencies", name, a, list, b, c);
  text = answers.text;
  return answers.success;
}

struct HIPClkwizTclMgr::Solvers : std::map<std::pair<std::string, std::string>, HIPClkwizImp> {};
HIPClkwizTclMgr::HIPClkwizTclMgr() : solvers_(std::make_unique<Solvers>()) {}
HIPClkwizTclMgr::~HIPClkwizTclMgr() = default;
HIPClkwizTclMgr* HIPClkwizTclMgr::GetInstance() {
  static HIPClkwizTclMgr manager;
  return &manager;
}
HIPClkwizImp* HIPClkwizTclMgr::getClkwizImp(std::string& part, std::string& instance) {
  record("getClkwizImp", part, instance);
  if (!answers.has_solver) return nullptr;
  return &(*solvers_)[{part, instance}];
}
void HIPClkwizTclMgr::deleteClkwizImp(std::string& part, std::string& instance) {
  record("deleteClkwizImp", part, instance);
}
void HIPClkwizTclMgr::changeCompInstName(std::string& part, std::string& oldName, std::string& newName) {
  record("changeCompInstName", part, oldName, newName);
}

}  // namespace Ip_Clkwiz

namespace Ip_Clocking {

// HIPClockingUtils::parseArgs as the loader knows it.
constexpr char const* kParseArgs =
    "_ZN11Ip_Clocking16HIPClockingUtils9parseArgsERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERKSt6vectorIS6_"
    "SaIS6_EERSt3mapIS6_PvSt4lessIS6_ESaISt4pairIS7_SF_EEE";

struct HIPClockingSoln::State {};
HIPClockingSoln::HIPClockingSoln(std::string const&) {}
HIPClockingSoln::~HIPClockingSoln() = default;

bool HIPClockingSoln::calculateActualPhase(HIPClock& clock, StrVec& errors) {
  record("calculateActualPhase", clock.phase, clock.divide);
  clock.actualPhase = answers.number;
  errors = answers.errors;
  return answers.success;
}
bool HIPClockingSoln::calculateActualDutyCycle(HIPClock& clock, StrVec& errors, int divide, ClockPrimitive primitive) {
  record("calculateActualDutyCycle", clock.dutyCycle, clock.divide, divide, static_cast<int>(primitive));
  clock.actualDutyCycle = answers.number;
  errors = answers.errors;
  return answers.success;
}
std::string HIPClockingSoln::getSpeedFileProperty(std::string& name, std::string& key, StrVec& errors) {
  record("getSpeedFileProperty", name, key);
  errors = answers.errors;
  return answers.text;
}
bool HIPClockingSoln::getInputClockFrequencies(double const& a, double const& b, double const& c, double const& d,
                                               double const& e, ClockPrimitive& primitive, std::string& text,
                                               double period, bool speed) {
  record("getInputClockFrequencies", a, b, c, d, e, static_cast<int>(primitive), period, speed);
  text = answers.text;
  return answers.success;
}
bool HIPClockingSoln::getInputClkFrequencies(double const& a, double const& b, double const& c, double const& d,
                                             double const& e, ClockPrimitive& primitive, std::string& text,
                                             double period, bool speed, std::string const& controller) {
  record("getInputClkFrequencies", a, b, c, d, e, static_cast<int>(primitive), period, speed, controller);
  text = answers.text;
  return answers.success;
}
bool HIPClockingSoln::getOutputClockFrequencies(double const& a, ClockPrimitive& primitive, int const& factor,
                                                std::string& text, double period, bool speed,
                                                std::string const& controller) {
  record("getOutputClockFrequencies", a, static_cast<int>(primitive), factor, period, speed, controller);
  text = answers.text;
  return answers.success;
}
bool HIPClockingSoln::getPeakToPeakJitter(double a, double b, double c,
                                          HASTJitterCalculatorKelvane::BANDWIDTH bandwidth, std::string const& text,
                                          bool d, bool e, int output, double* value) {
  record("getPeakToPeakJitter", a, b, c, static_cast<int>(bandwidth), text, d, e, output);
  *value = answers.number;
  return answers.success;
}
bool HIPClockingSoln::getPhaseError(double* value, int output) {
  record("getPhaseError", output);
  *value = answers.number;
  return answers.success;
}
double HIPClockingSoln::getInClkPeriod(double const& frequency, ClockPrimitive primitive, bool secondary) {
  record("getInClkPeriod", frequency, static_cast<int>(primitive), secondary);
  return answers.number;
}
bool HIPClockingSoln::calculateMandD(std::vector<HIPClock>& clocks, std::string& part, StrVec& errors, double const& f1,
                                     double const& f2, ClockPrimitive& primitive, bool minJitter, bool finePs,
                                     bool minPower, bool lowBandwidth, bool spread, std::string const& mode,
                                     double modulation, double period1, double period2, std::string& solution) {
  std::vector<double> asked;
  for (HIPClock const& clock : clocks) asked.insert(asked.end(), {clock.frequency, clock.phase, clock.dutyCycle});
  record("calculateMandD", asked, part, f1, f2, static_cast<int>(primitive), minJitter, finePs, minPower, lowBandwidth,
         spread, mode, modulation, period1, period2);
  errors = answers.errors;
  solution = answers.text;
  return answers.success;
}
bool HIPClockingSoln::computeMinimalClkInst(std::vector<double> const& outputs,
                                            std::vector<std::pair<double, double>> const& inputs, double period,
                                            std::string& part, std::string& result) {
  record("computeMinimalClkInst", outputs, inputs, period, part);
  result = answers.text;
  return answers.success;
}

struct HIPClockingMgr::Solvers : std::map<std::string, HIPClockingSoln> {};
HIPClockingMgr::HIPClockingMgr() : solvers_(std::make_unique<Solvers>()) {}
HIPClockingMgr::~HIPClockingMgr() = default;
HIPClockingMgr* HIPClockingMgr::GetInstance() {
  static HIPClockingMgr manager;
  record("GetInstance");
  return &manager;
}
HIPClockingSoln* HIPClockingMgr::getClkwizSoln(std::string& name) {
  record("getClkwizSoln", name);
  if (!answers.has_solver) return nullptr;
  return &solvers_->try_emplace(name, name).first->second;
}
void HIPClockingMgr::deleteClockingSoln(std::string& name) { record("deleteClockingSoln", name); }
void HIPClockingMgr::terminateInstance() { record("terminateInstance"); }

bool HIPClockingUtils::parseArgs(std::string const& schema, StrVec const& words, std::map<std::string, void*>& values) {
  using parse_t = bool (*)(std::string const&, StrVec const&, std::map<std::string, void*>&);
  static const auto platforms_own = reinterpret_cast<parse_t>(dlsym(RTLD_NEXT, kParseArgs));
  recording_clocks::schemas.push_back(schema);
  return platforms_own(schema, words, values);
}
bool HIPClockingUtils::convertDoubleToString(double const& value, std::string& text) {
  record("convertDoubleToString", value);
  text = answers.text;
  return answers.converts;
}
bool HIPClockingUtils::validateSSArgs(std::string& text, bool& enabled, std::string& mode, double& modFreq,
                                      std::string& error) {
  record("validateSSArgs", text);
  enabled = true;
  mode = "MODE";
  modFreq = 7;
  error = answers.error;
  return answers.success || answers.error.empty();
}

}  // namespace Ip_Clocking
