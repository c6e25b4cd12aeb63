#include "kdi/ip/HIPClkwiz.h"

#include <mutex>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HEXAll.h"
#include "kdi/common/KdiInstances.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clock_faces/wizard.h"

namespace Ip_Clkwiz {

using namespace kdi::clocking;

// The wizard, for one thread at a time. Whoever has it calls nothing outside the engine: receivers of messages may come
// back here.
struct HIPClkwizImp::State {
  struct Access {
    std::unique_lock<std::mutex> lock;
    ClockWizard& wizard;
    ClockWizard* operator->() const { return &wizard; }
  };
  Access wizard() { return {std::unique_lock(mutex_), wizard_}; }

 private:
  std::mutex mutex_;
  ClockWizard wizard_;
};

HIPClkwizImp::HIPClkwizImp() : state_(std::make_unique<State>()) {}
HIPClkwizImp::~HIPClkwizImp() = default;

bool HIPClkwizImp::isBlank() const { return !globalBufferInputClk && state_->wizard()->is_blank(); }

void HIPClkwizImp::setPart(std::string part) {
  kdi::device::Part const* const found = kdi::device::find_part(part);
  state_->wizard()->set_part(std::move(part), found);
}
void HIPClkwizImp::setLowBandwidth(bool on) { state_->wizard()->options.low_bandwidth = on; }
void HIPClkwizImp::setDynReconfig(bool on) { state_->wizard()->options.dynamic_reconfiguration = on; }
void HIPClkwizImp::setSpreadSpectrum(bool on) { state_->wizard()->options.spread = on; }
void HIPClkwizImp::setFinePS(bool on) { state_->wizard()->options.fine_phase = on; }
void HIPClkwizImp::setSSMode(std::string& mode) { state_->wizard()->options.spread_mode = mode; }
void HIPClkwizImp::setSSModFreq(double& kHz) { state_->wizard()->options.modulation_khz = kHz; }
void HIPClkwizImp::setClkInUIJitter(double& ui) { state_->wizard()->options.input_jitter_ui = ui; }

// ---------------------------------------------------------------------------------------------------------- solving

namespace {

// What a solve leaves behind.
struct Outcome {
  Status status;
  std::string fault;
  Solution solution;  // if it is solved
};

// For whoever wants to know why: the status has no room for it.
int told(Outcome const& outcome) {
  if (outcome.status != Status::solved)
    ComMsgMgr::sendScopedMsg::eval(1, __FILE__, __LINE__, "tcltasks", "HIPClocking", ComMsgMgr::MSG_DEBUG1, "%s",
                                   outcome.fault.c_str());
  return static_cast<int>(outcome.status);
}

Outcome solve(ClockWizard& wizard, ClockWizard::Question const& question) {
  const Status status = wizard.solve(question);
  return {status, wizard.fault(), status == Status::solved ? *wizard.solution() : Solution()};
}

// The solved values in the place of those that were asked for.
template <class Value>
std::string rewritten(Solution const& solution, Value value) {
  std::string list;
  for (OutputSolution const& output : solution.outputs) kdi::text::append_word(list, value(output));
  return list;
}
std::string frequency_text(OutputSolution const& output) { return mhz_text(output.frequency_hz); }

}  // namespace

int HIPClkwizImp::getMinPowerOutFreqs(std::string& freqs, double fIn1, double fIn2, int count, bool minJitter,
                                      bool integerOnly, int usePll, bool minPower, double /*inPeriod*/, bool clkoutPhy,
                                      double clkoutPhyFreq) {
  const Preference preference = minJitter && !minPower ? Preference::low_jitter : Preference::low_power;
  const Outcome outcome = solve(state_->wizard().wizard, {freqs, "", "", fIn1, fIn2, count, integerOnly, usePll != 0,
                                                          preference, clkoutPhy, clkoutPhyFreq, globalBufferInputClk});
  if (outcome.status == Status::solved) freqs = rewritten(outcome.solution, frequency_text);
  return told(outcome);
}

int HIPClkwizImp::getClosestSolution(std::string& freqs, std::string& phases, std::string& dutyCycles, double fIn1,
                                     double fIn2, int count, bool minJitter, bool integerOnly, int usePll,
                                     double /*inPeriod*/, bool minPower, bool clkoutPhy, double clkoutPhyFreq) {
  const Preference preference = minPower && !minJitter ? Preference::low_power : Preference::low_jitter;
  const Outcome outcome =
      solve(state_->wizard().wizard, {freqs, phases, dutyCycles, fIn1, fIn2, count, integerOnly, usePll != 0,
                                      preference, clkoutPhy, clkoutPhyFreq, globalBufferInputClk});
  if (outcome.status == Status::solved) {
    Solution const& solution = outcome.solution;
    freqs = rewritten(solution, frequency_text);
    phases = rewritten(solution, [](OutputSolution const& output) { return output.phase_deg.text(); });
    dutyCycles = rewritten(solution, [](OutputSolution const& output) { return (output.duty * 100).text(); });
  }
  return told(outcome);
}

std::string HIPClkwizImp::getFault() const { return state_->wizard()->fault(); }

// ------------------------------------------------------------------------------------------------- jitter and phase

bool HIPClkwizImp::getPkToPkJitter(double fIn, double fVco, double fOut, std::string& bandwidth, double inputJitter,
                                   double ssModFreq, std::string& error, double* result) {
  error.clear();
  return answer(error,
                [&] { *result = state_->wizard()->jitter_ps(bandwidth, fIn, fVco, fOut, inputJitter, ssModFreq); });
}

bool HIPClkwizImp::getPhaseError(double fIn, double fVco, std::string& bandwidth, std::string& error, double* result) {
  error.clear();
  return answer(error, [&] { *result = state_->wizard()->phase_error_ps(bandwidth, fIn, fVco); });
}

namespace {

// An answer that has no other way of saying that there is none.
template <class Body>
double or_throw(Body body) {
  try {
    return body().to_double();
  } catch (Fault const& fault) {
    throw HEXAlgException(fault.text);
  }
}

}  // namespace

double HIPClkwizImp::mmcmCalculateActualPhase(double& phase, double& divide, bool fractional) {
  return or_throw([&] { return state_->wizard()->actual_phase(phase, divide, fractional); });
}

double HIPClkwizImp::mmcmCalculateActualDutyCycle(double& dutyCycle, double& divide, bool fractional) {
  return or_throw([&] { return state_->wizard()->actual_duty(dutyCycle, divide, fractional); });
}

// --------------------------------------------------------------------------------------------------- last solution

namespace {

// A figure of the last solution, or of one of its outputs; 0 where there is none.
template <class Figure>
auto of_solution(ClockWizard const& wizard, Figure figure) {
  Solution const* const solution = wizard.solution();
  return solution == nullptr ? decltype(figure(*solution))() : figure(*solution);
}
template <class Figure>
auto of_output(ClockWizard const& wizard, int index, Figure figure) {
  OutputSolution const* const output = wizard.output(index);
  return output == nullptr ? decltype(figure(*output))() : figure(*output);
}

}  // namespace

double HIPClkwizImp::getChosenM() {
  return of_solution(state_->wizard().wizard, [](Solution const& of) { return of.multiplier.to_double(); });
}
int HIPClkwizImp::getChosenD() {
  return of_solution(state_->wizard().wizard, [](Solution const& of) { return of.input_divider; });
}
double HIPClkwizImp::getChosenVCO() {
  return of_solution(state_->wizard().wizard, [](Solution const& of) { return mhz(of.vco_hz); });
}
double HIPClkwizImp::getChosenDiv0() {
  return of_output(state_->wizard().wizard, 0, [](OutputSolution const& of) { return of.divider.to_double(); });
}
int HIPClkwizImp::getChosenDivN(int index) {
  return of_output(state_->wizard().wizard, index,
                   [](OutputSolution const& of) { return static_cast<int>(of.divider.floor()); });
}
double HIPClkwizImp::getChosenOutFreqN(int index) {
  return of_output(state_->wizard().wizard, index, [](OutputSolution const& of) { return mhz(of.frequency_hz); });
}
double HIPClkwizImp::getChosenPhaseN(int index) {
  return of_output(state_->wizard().wizard, index, [](OutputSolution const& of) { return of.phase_deg.to_double(); });
}
double HIPClkwizImp::getChosenDutyCycleN(int index) {
  return of_output(state_->wizard().wizard, index, [](OutputSolution const& of) { return of.duty.to_double() * 100; });
}
double HIPClkwizImp::getActualModFreq() {
  return of_solution(state_->wizard().wizard,
                     [](Solution const& of) { return of.modulation_hz ? of.modulation_hz->to_double() / 1000 : 0; });
}
std::string HIPClkwizImp::getChosenClkoutXiPhyMode() {
  return of_solution(state_->wizard().wizard, [](Solution const& of) { return of.high_speed_mode; });
}
double HIPClkwizImp::getActualClkoutXiPhyFreq() {
  return of_solution(state_->wizard().wizard,
                     [](Solution const& of) { return of.high_speed ? mhz(of.high_speed->frequency_hz) : 0; });
}

// ------------------------------------------------------------------------------------------------------ speed data

bool HIPClkwizImp::getKeyValue(std::string key, double* value) {
  const auto found = state_->wizard()->speed_key(key);
  if (found) *value = *found;
  return found.has_value();
}

bool HIPClkwizImp::getMinPeriodSpdData(std::string const& buffer, std::string& text) {
  kdi::device::ClockBuffer const* const found = state_->wizard()->buffer(buffer);
  if (found != nullptr) text = kdi::number::fixed(found->period_ns.min, 3);
  return found != nullptr;
}

bool HIPClkwizImp::getMaxPeriodSpdData(std::string& text) {
  kdi::device::ClockBuffer const* const found = state_->wizard()->first_buffer();
  if (found != nullptr) text = kdi::number::fixed(found->period_ns.max, 3);
  return found != nullptr;
}

// ------------------------------------------------------------------------------------------------ achievable clocks

bool HIPClkwizImp::getClkwizOutputFrequencies(double const& frequency, int const& count, int const& count2,
                                              std::string& text, double margin) {
  return answer(text, [&] { text = state_->wizard()->output_frequencies(frequency, count, count2, margin); });
}

bool HIPClkwizImp::getClkwizInputFrequencies(std::string const& name, double const& frequency,
                                             std::vector<double> const& list, int const& count, std::string& text,
                                             double margin) {
  return answer(text, [&] {
    text = state_->wizard()->input_frequencies(name, frequency, list, count, margin, globalBufferInputClk);
  });
}

// ---------------------------------------------------------------------------------------------------------- manager

struct HIPClkwizTclMgr::Solvers : kdi::Instances<std::pair<std::string, std::string>, HIPClkwizImp> {
  Solvers() : Instances(kMost, [](HIPClkwizImp const& solver) { return solver.isBlank(); }) {}
};

HIPClkwizTclMgr::HIPClkwizTclMgr() : solvers_(std::make_unique<Solvers>()) {}
HIPClkwizTclMgr::~HIPClkwizTclMgr() = default;

HIPClkwizTclMgr* HIPClkwizTclMgr::GetInstance() {
  static auto* const manager = new HIPClkwizTclMgr;  // outlives whatever still runs while the process ends
  return manager;
}

HIPClkwizImp* HIPClkwizTclMgr::getClkwizImp(std::string& part, std::string& instance) {
  return solvers_->get({part, instance}, [] { return std::make_shared<HIPClkwizImp>(); });
}

void HIPClkwizTclMgr::deleteClkwizImp(std::string& part, std::string& instance) { solvers_->erase({part, instance}); }

void HIPClkwizTclMgr::changeCompInstName(std::string& part, std::string& oldName, std::string& newName) {
  solvers_->rename({part, oldName}, {part, newName});
}

}  // namespace Ip_Clkwiz
