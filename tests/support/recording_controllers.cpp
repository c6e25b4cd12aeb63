#include "tests/support/recording_controllers.h"

#include "kdi/common/KdiNumber.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/coregen/mig_v7_0.h"
#include "kdi/coregen/mig_v7_1.h"

namespace recording_controllers {

std::vector<std::string> calls;
Answers answers;

void reset() {
  calls.clear();
  answers = {};
}

namespace {

using Text = std::string const&;
using Options = OptionMap const&;
using Pins = PinMap const&;

std::string shown(Text text) { return "'" + text + "'"; }
std::string shown(int number) { return std::to_string(number); }
std::string shown(StrList const& texts) {
  std::string list;
  for (Text text : texts) list += (list.empty() ? "" : " ") + shown(text);
  return "[" + list + "]";
}
template <class Value>
std::string shown(std::map<std::string, Value> const& map) {
  std::string list;
  for (auto const& [key, value] : map) list += (list.empty() ? "" : " ") + key + "=" + shown(value);
  return "{" + list + "}";
}

template <class... Arguments>
void note(std::string call, Arguments const&... arguments) {
  ((call += " " + shown(arguments)), ...);
  calls.push_back(call);
}
template <class... Arguments>
void record(std::string const& call, Arguments const&... arguments) {
  note(call, arguments...);
  if (answers.thrown) answers.thrown();
}

std::string label(kdi::coregen::Model model) {
  constexpr char const* kLabels[] = {"7.0 ", "7.1 ", "v1 "};
  return kLabels[static_cast<std::size_t>(model)];
}

}  // namespace
}  // namespace recording_controllers

namespace kdi::coregen {

using namespace recording_controllers;

struct Controller::State {};
Controller::Controller(std::unique_ptr<State> state) : state_(std::move(state)) {}
Controller::~Controller() = default;

namespace {

// One of each class.
Controller* lent(Model model) {
  static mig::mig_v7_0::HIPMigInstance elder(std::make_unique<Controller::State>());
  static mig::mig_v7_1::HIPMigInstance second(std::make_unique<Controller::State>());
  static memory::memory_v1::HIPMigInstance newer(std::make_unique<Controller::State>());
  if (model == Model::mig_v7_0) return &elder;
  if (model == Model::mig_v7_1) return &second;
  return &newer;
}

}  // namespace

void Manager::loadMigPkgData(Model model, Options options) { record(label(model) + "loadMigPkgData", options); }
void Manager::releasePkgData(Model model, Options options) { record(label(model) + "releasePkgData", options); }
void Manager::updateInstanceName(Model model, Options options) { record(label(model) + "updateInstanceName", options); }
Controller* Manager::getIPInstance(Model model, Text name) {
  note(label(model) + "find", name);
  return name == "none" ? nullptr : lent(model);
}
Controller* Manager::getIPInstance(Model model, Options options) {
  note(label(model) + "find", options);
  const auto name = options.find("-instance_name");
  return name != options.end() && name->second == "none" ? nullptr : lent(model);
}
MigEnabledRange Manager::doCustomize(Model model, Text instance, Options options) {
  record(label(model) + "doCustomize", instance, options);
  return answers.range;
}
MigEnabledRange Manager::checkCSVs(Options options) {
  record("checkCSVs", options);
  return answers.range;
}

void Controller::setSelectedBytes_upgrade(Pins a, Options b) { record("setSelectedBytes_upgrade", a, b); }
void Controller::setSelectedBytes_new(Options a) { record("setSelectedBytes_new", a); }
void Controller::setSignal(Text a, Text b, Text c, Text d, Text e) { record("setSignal", a, b, c, d, e); }
void Controller::setSignal(Text a, Text b) { record("setSignal", a, b); }
void Controller::setDataBitsPerStrobe(Text a) { record("setDataBitsPerStrobe", a); }
void Controller::updateBankBytePropertiesAsPerPins(int a, Text b) { record("updateBankBytePropertiesAsPerPins", a, b); }
void Controller::loadCustomParts(Text a, Text b) { record("loadCustomParts", a, b); }
OptionMap Controller::getmodelParams(Text a, Options b) {
  record("getmodelParams", a, b);
  return answers.options;
}
OptionMap Controller::getMinMaxPeriodOfMemoryType(Text a, Options b) {
  record("getMinMaxPeriodOfMemoryType", a, b);
  return answers.options;
}
std::string Controller::getDataBitsPerStrobe(Text a, Text b) {
  record("getDataBitsPerStrobe", a, b);
  return answers.text;
}
std::string Controller::getDeviceWidth(Text a, Text b) {
  record("getDeviceWidth", a, b);
  return answers.text;
}
OptionMap Controller::getBankSelModelParams(Text a, Text b, Options c) {
  record("getBankSelModelParams", a, b, c);
  return answers.options;
}
OptionMap Controller::getLocModelParams(Text a, Options b) {
  record("getLocModelParams", a, b);
  return answers.options;
}
int Controller::CheckIOPlanningCompletion(Text a, Options b) {
  record("CheckIOPlanningCompletion", a, b);
  return answers.integer;
}
int Controller::byteSelectionStatus(Text a) {
  record("byteSelectionStatus", a);
  return answers.integer;
}
StrList Controller::getXDCInfo(Text a, Text b, Text c, Text d, Options e) {
  record("getXDCInfo", a, b, c, d, e);
  return answers.list;
}
StrList Controller::getExampleXDCInfo(Text a, Text b, Text c, Options d) {
  record("getExampleXDCInfo", a, b, c, d);
  return answers.list;
}
StrList Controller::getIOStandardConstraints(Text a, Text b, Text c, Options d) {
  record("getIOStandardConstraints", a, b, c, d);
  return answers.list;
}
StrList Controller::getOutputImpedencePorts(Text a, Text b, Options c) {
  record("getOutputImpedencePorts", a, b, c);
  return answers.list;
}
StrList Controller::getTopLevelPorts(Text a) {
  record("getTopLevelPorts", a);
  return answers.list;
}
StrList Controller::getRIUMapVector(Options a) {
  record("getRIUMapVector", a);
  return answers.list;
}
StrList Controller::getIOBMapStr(Options a) {
  record("getIOBMapStr", a);
  return answers.list;
}
StrList Controller::getDDRMapStr(Options a) {
  record("getDDRMapStr", a);
  return answers.list;
}
OptionMap Controller::getMinMaxPeriodOfMemoryPart(Text a, Options b) {
  record("getMinMaxPeriodOfMemoryPart", a, b);
  return answers.options;
}

void MigController::getSignalDetails(Text a, std::string& b, std::string& c, std::string& d, std::string& e) {
  record("getSignalDetails", a);
  b = "out 1";
  c = "out 2";
  d = "out 3";
  e = "out 4";
}
void MigController::getPadDetails(Text a, std::string& b, std::string& c, std::string& d, std::string& e) {
  record("getPadDetails", a);
  b = "out 1";
  c = "out 2";
  d = "out 3";
  e = "out 4";
}
void MigController::getSignal(Text a, std::string& b) {
  record("getSignal", a);
  b = "out 1";
}
void MigController::getSignalForPad(Text a, std::string& b) {
  record("getSignalForPad", a);
  b = "out 1";
}
void MigController::getPadNameForSignal(Text a, std::string& b) {
  record("getPadNameForSignal", a);
  b = "out 1";
}
void MigController::getSignalName(Text a, Text b, Text c, Text d, std::string& e) {
  record("getSignalName", a, b, c, d);
  e = "out 1";
}
void MigController::setSelectedBytes(Pins a, Options b) { record("setSelectedBytes", a, b); }
PinMap MigController::getDefaultbyteSelections(Options a) {
  record("getDefaultbyteSelections", a);
  return answers.pins;
}
PinMap MigController::getSelectedByteMap(int a) {
  record("getSelectedByteMap", a);
  return answers.pins;
}
PinMap MigController::getAssignedPinDetails(Text a) {
  record("getAssignedPinDetails", a);
  return answers.pins;
}
MigEnabledRange MigController::InputClockPeriod(Text a, Text b) {
  record("InputClockPeriod", a, b);
  return answers.range;
}
OptionMap MigController::getClockingModelParams(Text a, Text b, Text c) {
  record("getClockingModelParams", a, b, c);
  return answers.options;
}
StrList MigController::getValidMemoryVoltages(Text a, Text b, Text c, Text d) {
  record("getValidMemoryVoltages", a, b, c, d);
  return answers.list;
}
std::string MigController::getClockRoot(Text a, Text b) {
  record("getClockRoot", a, b);
  return answers.text;
}
int MigController::getAsssignedPinCount(Options a) {
  record("getAsssignedPinCount", a);
  return answers.integer;
}
int MigController::getBanksAvailable(Options a) {
  record("getBanksAvailable", a);
  return answers.integer;
}
int MigController::getBanksUsed(Options a) {
  record("getBanksUsed", a);
  return answers.integer;
}
int MigController::getTotalPinCnt(Options a) {
  record("getTotalPinCnt", a);
  return answers.integer;
}
int MigController::getTotalPortCnt(Options a) {
  record("getTotalPortCnt", a);
  return answers.integer;
}
StrList MigController::getParamVector(Options a) {
  record("getParamVector", a);
  return answers.list;
}
StrList MigController::getPhyParamVector(Options a) {
  record("getPhyParamVector", a);
  return answers.list;
}

}  // namespace kdi::coregen

namespace memory::memory_v1 {

using namespace recording_controllers;

bool HIPMigInstance::validateCustomParts(Text a) {
  record("validateCustomParts", a);
  return answers.truth;
}
void HIPMigInstance::loadCustomParts(Text a, Options b) { record("loadCustomParts", a, b); }
OptionMap HIPMigInstance::retrieveCustomParts(Text a, Text b, Text c) {
  record("retrieveCustomParts", a, b, c);
  return answers.options;
}
OptionMap HIPMigInstance::getMinMaxPeriodOfSlot(Text a, Options b) {
  record("getMinMaxPeriodOfSlot", a, b);
  return answers.options;
}
OptionMap HIPMigInstance::getMinMaxPeriodOfDataWidth(Text a, Options b) {
  record("getMinMaxPeriodOfDataWidth", a, b);
  return answers.options;
}
std::string HIPMigInstance::getEnablePP4RMirParameter(Text a, Options b) {
  record("getEnablePP4RMirParameter", a, b);
  return answers.text;
}
StrList HIPMigInstance::getIOVoltage(Options a) {
  record("getIOVoltage", a);
  return answers.list;
}
MigEnabledRange HIPMigInstance::getInputClockPeriodValues(Options a) {
  record("getInputClockPeriodValues", a);
  return answers.range;
}
OptionMap HIPMigInstance::getClockingModelParams(Options a) {
  record("getClockingModelParams", a);
  return answers.options;
}
OptionMap HIPMigInstance::getVCORange(Text a, Options b) {
  record("getVCORange", a, b);
  return answers.options;
}
double HIPMigInstance::getSpeedFileData(Text a, Options b) {
  record("getSpeedFileData", a, b);
  return answers.number;
}
double HIPMigInstance::getKeywordValue(Text a, Options b) {
  record("getKeywordValue", a, b);
  return answers.number;
}
double HIPMigInstance::getBUFGCEMax(Text a, Options b) {
  record("getBUFGCEMax", a, b);
  return answers.number;
}
double HIPMigInstance::getBUFGCEMin(Options a) {
  record("getBUFGCEMin", a);
  return answers.number;
}
StrList HIPMigInstance::getODTPorts(Text a, Text b, Options c) {
  record("getODTPorts", a, b, c);
  return answers.list;
}
OptionMap HIPMigInstance::advwizDefaultPinAssignment(Options a) {
  record("advwizDefaultPinAssignment", a);
  return answers.options;
}
PinMap HIPMigInstance::advwizNibbleGrouping(Options a) {
  record("advwizNibbleGrouping", a);
  return answers.pins;
}
OptionMap HIPMigInstance::advwizGenerateMapData(Text a, Text b) {
  record("advwizGenerateMapData", a, b);
  return answers.options;
}
PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(Options a) {
  record("adwizGetStrobeVsDataNibbles", a);
  return answers.pins;
}

}  // namespace memory::memory_v1
