// Memory controllers that record. They stand in the test's program, before those of the platform: a manager's call is
// noted with its model, such as "v1 find 'm'". There is an instance of every name but "none".
#include "kdi/coregen/memory_v1.h"
#include "kdi/coregen/mig_v7_0.h"
#include "kdi/coregen/mig_v7_1.h"
#include "tests/support/recording.h"

namespace {

using namespace recording;

using Text = std::string const&;
using Options = OptionMap const&;
using Pins = PinMap const&;

std::string label(kdi::coregen::Model model) {
  constexpr char const* kLabels[] = {"7.0 ", "7.1 ", "v1 "};
  return kLabels[static_cast<std::size_t>(model)];
}

}  // namespace

namespace kdi::coregen {

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
  return record(label(model) + "doCustomize", instance, options);
}
MigEnabledRange Manager::checkCSVs(Options options) { return record("checkCSVs", options); }

void Controller::setSelectedBytes_upgrade(Pins a, Options b) { record("setSelectedBytes_upgrade", a, b); }
void Controller::setSelectedBytes_new(Options a) { record("setSelectedBytes_new", a); }
void Controller::setSignal(Text a, Text b, Text c, Text d, Text e) { record("setSignal", a, b, c, d, e); }
void Controller::setSignal(Text a, Text b) { record("setSignal", a, b); }
void Controller::setDataBitsPerStrobe(Text a) { record("setDataBitsPerStrobe", a); }
void Controller::updateBankBytePropertiesAsPerPins(int a, Text b) { record("updateBankBytePropertiesAsPerPins", a, b); }
void Controller::loadCustomParts(Text a, Text b) { record("loadCustomParts", a, b); }
OptionMap Controller::getmodelParams(Text a, Options b) { return record("getmodelParams", a, b); }
OptionMap Controller::getMinMaxPeriodOfMemoryType(Text a, Options b) {
  return record("getMinMaxPeriodOfMemoryType", a, b);
}
std::string Controller::getDataBitsPerStrobe(Text a, Text b) { return record("getDataBitsPerStrobe", a, b); }
std::string Controller::getDeviceWidth(Text a, Text b) { return record("getDeviceWidth", a, b); }
OptionMap Controller::getBankSelModelParams(Text a, Text b, Options c) {
  return record("getBankSelModelParams", a, b, c);
}
OptionMap Controller::getLocModelParams(Text a, Options b) { return record("getLocModelParams", a, b); }
int Controller::CheckIOPlanningCompletion(Text a, Options b) { return record("CheckIOPlanningCompletion", a, b); }
int Controller::byteSelectionStatus(Text a) { return record("byteSelectionStatus", a); }
StrList Controller::getXDCInfo(Text a, Text b, Text c, Text d, Options e) {
  return record("getXDCInfo", a, b, c, d, e);
}
StrList Controller::getExampleXDCInfo(Text a, Text b, Text c, Options d) {
  return record("getExampleXDCInfo", a, b, c, d);
}
StrList Controller::getIOStandardConstraints(Text a, Text b, Text c, Options d) {
  return record("getIOStandardConstraints", a, b, c, d);
}
StrList Controller::getOutputImpedencePorts(Text a, Text b, Options c) {
  return record("getOutputImpedencePorts", a, b, c);
}
StrList Controller::getTopLevelPorts(Text a) { return record("getTopLevelPorts", a); }
StrList Controller::getRIUMapVector(Options a) { return record("getRIUMapVector", a); }
StrList Controller::getIOBMapStr(Options a) { return record("getIOBMapStr", a); }
StrList Controller::getDDRMapStr(Options a) { return record("getDDRMapStr", a); }
OptionMap Controller::getMinMaxPeriodOfMemoryPart(Text a, Options b) {
  return record("getMinMaxPeriodOfMemoryPart", a, b);
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
PinMap MigController::getDefaultbyteSelections(Options a) { return record("getDefaultbyteSelections", a); }
PinMap MigController::getSelectedByteMap(int a) { return record("getSelectedByteMap", a); }
PinMap MigController::getAssignedPinDetails(Text a) { return record("getAssignedPinDetails", a); }
MigEnabledRange MigController::InputClockPeriod(Text a, Text b) { return record("InputClockPeriod", a, b); }
OptionMap MigController::getClockingModelParams(Text a, Text b, Text c) {
  return record("getClockingModelParams", a, b, c);
}
StrList MigController::getValidMemoryVoltages(Text a, Text b, Text c, Text d) {
  return record("getValidMemoryVoltages", a, b, c, d);
}
std::string MigController::getClockRoot(Text a, Text b) { return record("getClockRoot", a, b); }
int MigController::getAsssignedPinCount(Options a) { return record("getAsssignedPinCount", a); }
int MigController::getBanksAvailable(Options a) { return record("getBanksAvailable", a); }
int MigController::getBanksUsed(Options a) { return record("getBanksUsed", a); }
int MigController::getTotalPinCnt(Options a) { return record("getTotalPinCnt", a); }
int MigController::getTotalPortCnt(Options a) { return record("getTotalPortCnt", a); }
StrList MigController::getParamVector(Options a) { return record("getParamVector", a); }
StrList MigController::getPhyParamVector(Options a) { return record("getPhyParamVector", a); }

}  // namespace kdi::coregen

namespace memory::memory_v1 {

bool HIPMigInstance::validateCustomParts(Text a) { return record("validateCustomParts", a); }
void HIPMigInstance::loadCustomParts(Text a, Options b) { record("loadCustomParts", a, b); }
OptionMap HIPMigInstance::retrieveCustomParts(Text a, Text b, Text c) { return record("retrieveCustomParts", a, b, c); }
OptionMap HIPMigInstance::getMinMaxPeriodOfSlot(Text a, Options b) { return record("getMinMaxPeriodOfSlot", a, b); }
OptionMap HIPMigInstance::getMinMaxPeriodOfDataWidth(Text a, Options b) {
  return record("getMinMaxPeriodOfDataWidth", a, b);
}
std::string HIPMigInstance::getEnablePP4RMirParameter(Text a, Options b) {
  return record("getEnablePP4RMirParameter", a, b);
}
StrList HIPMigInstance::getIOVoltage(Options a) { return record("getIOVoltage", a); }
MigEnabledRange HIPMigInstance::getInputClockPeriodValues(Options a) { return record("getInputClockPeriodValues", a); }
OptionMap HIPMigInstance::getClockingModelParams(Options a) { return record("getClockingModelParams", a); }
OptionMap HIPMigInstance::getVCORange(Text a, Options b) { return record("getVCORange", a, b); }
double HIPMigInstance::getSpeedFileData(Text a, Options b) { return record("getSpeedFileData", a, b); }
double HIPMigInstance::getKeywordValue(Text a, Options b) { return record("getKeywordValue", a, b); }
double HIPMigInstance::getBUFGCEMax(Text a, Options b) { return record("getBUFGCEMax", a, b); }
double HIPMigInstance::getBUFGCEMin(Options a) { return record("getBUFGCEMin", a); }
StrList HIPMigInstance::getODTPorts(Text a, Text b, Options c) { return record("getODTPorts", a, b, c); }
OptionMap HIPMigInstance::advwizDefaultPinAssignment(Options a) { return record("advwizDefaultPinAssignment", a); }
PinMap HIPMigInstance::advwizNibbleGrouping(Options a) { return record("advwizNibbleGrouping", a); }
OptionMap HIPMigInstance::advwizGenerateMapData(Text a, Text b) { return record("advwizGenerateMapData", a, b); }
PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(Options a) { return record("adwizGetStrobeVsDataNibbles", a); }

}  // namespace memory::memory_v1
