// Operations that the engine does not have yet. Each says so; one that comes leaves this file.
#include "kdi/coregen/Mig.h"
#include "kdi/coregen/memory_v1.h"

namespace kdi::coregen {
namespace {

[[noreturn]] void not_there(char const* operation) {
  throw std::string(operation) + " is not part of this version of the engine";
}

}  // namespace

void Controller::setSelectedBytes_upgrade(PinMap const&, OptionMap const&) { not_there("setSelectedBytes_upgrade"); }
void Controller::setSelectedBytes_new(OptionMap const&) { not_there("setSelectedBytes_new"); }
void Controller::setSignal(std::string const&, std::string const&, std::string const&, std::string const&,
                           std::string const&) {
  not_there("setSignal");
}
void Controller::setSignal(std::string const&, std::string const&) { not_there("setSignal"); }
void Controller::setDataBitsPerStrobe(std::string const&) { not_there("setDataBitsPerStrobe"); }
void Controller::updateBankBytePropertiesAsPerPins(int, std::string const&) {
  not_there("updateBankBytePropertiesAsPerPins");
}
void Controller::loadCustomParts(std::string const&, std::string const&) { not_there("loadCustomParts"); }
OptionMap Controller::getmodelParams(std::string const&, OptionMap const&) { not_there("getmodelParams"); }
OptionMap Controller::getMinMaxPeriodOfMemoryType(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfMemoryType");
}
std::string Controller::getDataBitsPerStrobe(std::string const&, std::string const&) {
  not_there("getDataBitsPerStrobe");
}
std::string Controller::getDeviceWidth(std::string const&, std::string const&) { not_there("getDeviceWidth"); }
OptionMap Controller::getBankSelModelParams(std::string const&, std::string const&, OptionMap const&) {
  not_there("getBankSelModelParams");
}
OptionMap Controller::getLocModelParams(std::string const&, OptionMap const&) { not_there("getLocModelParams"); }
int Controller::CheckIOPlanningCompletion(std::string const&, OptionMap const&) {
  not_there("CheckIOPlanningCompletion");
}
int Controller::byteSelectionStatus(std::string const&) { not_there("byteSelectionStatus"); }
StrList Controller::getXDCInfo(std::string const&, std::string const&, std::string const&, std::string const&,
                               OptionMap const&) {
  not_there("getXDCInfo");
}
StrList Controller::getExampleXDCInfo(std::string const&, std::string const&, std::string const&, OptionMap const&) {
  not_there("getExampleXDCInfo");
}
StrList Controller::getIOStandardConstraints(std::string const&, std::string const&, std::string const&,
                                             OptionMap const&) {
  not_there("getIOStandardConstraints");
}
StrList Controller::getOutputImpedencePorts(std::string const&, std::string const&, OptionMap const&) {
  not_there("getOutputImpedencePorts");
}
StrList Controller::getTopLevelPorts(std::string const&) { not_there("getTopLevelPorts"); }
StrList Controller::getRIUMapVector(OptionMap const&) { not_there("getRIUMapVector"); }
StrList Controller::getIOBMapStr(OptionMap const&) { not_there("getIOBMapStr"); }
StrList Controller::getDDRMapStr(OptionMap const&) { not_there("getDDRMapStr"); }
OptionMap Controller::getMinMaxPeriodOfMemoryPart(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfMemoryPart");
}
void MigController::getSignalDetails(std::string const&, std::string&, std::string&, std::string&, std::string&) {
  not_there("getSignalDetails");
}
void MigController::getPadDetails(std::string const&, std::string&, std::string&, std::string&, std::string&) {
  not_there("getPadDetails");
}
void MigController::getSignal(std::string const&, std::string&) { not_there("getSignal"); }
void MigController::getSignalForPad(std::string const&, std::string&) { not_there("getSignalForPad"); }
void MigController::getPadNameForSignal(std::string const&, std::string&) { not_there("getPadNameForSignal"); }
void MigController::getSignalName(std::string const&, std::string const&, std::string const&, std::string const&,
                                  std::string&) {
  not_there("getSignalName");
}
void MigController::setSelectedBytes(PinMap const&, OptionMap const&) { not_there("setSelectedBytes"); }
PinMap MigController::getDefaultbyteSelections(OptionMap const&) { not_there("getDefaultbyteSelections"); }
PinMap MigController::getSelectedByteMap(int) { not_there("getSelectedByteMap"); }
PinMap MigController::getAssignedPinDetails(std::string const&) { not_there("getAssignedPinDetails"); }
MigEnabledRange MigController::InputClockPeriod(std::string const&, std::string const&) {
  not_there("InputClockPeriod");
}
OptionMap MigController::getClockingModelParams(std::string const&, std::string const&, std::string const&) {
  not_there("getClockingModelParams");
}
StrList MigController::getValidMemoryVoltages(std::string const&, std::string const&, std::string const&,
                                              std::string const&) {
  not_there("getValidMemoryVoltages");
}
std::string MigController::getClockRoot(std::string const&, std::string const&) { not_there("getClockRoot"); }
int MigController::getAsssignedPinCount(OptionMap const&) { not_there("getAsssignedPinCount"); }
int MigController::getBanksAvailable(OptionMap const&) { not_there("getBanksAvailable"); }
int MigController::getBanksUsed(OptionMap const&) { not_there("getBanksUsed"); }
int MigController::getTotalPinCnt(OptionMap const&) { not_there("getTotalPinCnt"); }
int MigController::getTotalPortCnt(OptionMap const&) { not_there("getTotalPortCnt"); }
StrList MigController::getParamVector(OptionMap const&) { not_there("getParamVector"); }
StrList MigController::getPhyParamVector(OptionMap const&) { not_there("getPhyParamVector"); }

MigEnabledRange Manager::doCustomize(Model, std::string const&, OptionMap const&) { not_there("doCustomize"); }
MigEnabledRange Manager::checkCSVs(OptionMap const&) { not_there("checkCSVs"); }

}  // namespace kdi::coregen

namespace memory::memory_v1 {
namespace {

[[noreturn]] void not_there(char const* operation) {
  throw std::string(operation) + " is not part of this version of the engine";
}

}  // namespace

bool HIPMigInstance::validateCustomParts(std::string const&) { not_there("validateCustomParts"); }
void HIPMigInstance::loadCustomParts(std::string const&, ParamMap const&) { not_there("loadCustomParts"); }
OptionMap HIPMigInstance::retrieveCustomParts(std::string const&, std::string const&, std::string const&) {
  not_there("retrieveCustomParts");
}
OptionMap HIPMigInstance::getMinMaxPeriodOfSlot(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfSlot");
}
OptionMap HIPMigInstance::getMinMaxPeriodOfDataWidth(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfDataWidth");
}
std::string HIPMigInstance::getEnablePP4RMirParameter(std::string const&, OptionMap const&) {
  not_there("getEnablePP4RMirParameter");
}
StrList HIPMigInstance::getIOVoltage(OptionMap const&) { not_there("getIOVoltage"); }
MigEnabledRange HIPMigInstance::getInputClockPeriodValues(OptionMap const&) { not_there("getInputClockPeriodValues"); }
OptionMap HIPMigInstance::getClockingModelParams(OptionMap const&) { not_there("getClockingModelParams"); }
OptionMap HIPMigInstance::getVCORange(std::string const&, OptionMap const&) { not_there("getVCORange"); }
double HIPMigInstance::getSpeedFileData(std::string const&, OptionMap const&) { not_there("getSpeedFileData"); }
double HIPMigInstance::getKeywordValue(std::string const&, OptionMap const&) { not_there("getKeywordValue"); }
double HIPMigInstance::getBUFGCEMax(std::string const&, OptionMap const&) { not_there("getBUFGCEMax"); }
double HIPMigInstance::getBUFGCEMin(OptionMap const&) { not_there("getBUFGCEMin"); }
StrList HIPMigInstance::getODTPorts(std::string const&, std::string const&, OptionMap const&) {
  not_there("getODTPorts");
}
OptionMap HIPMigInstance::advwizDefaultPinAssignment(OptionMap const&) { not_there("advwizDefaultPinAssignment"); }
PinMap HIPMigInstance::advwizNibbleGrouping(OptionMap const&) { not_there("advwizNibbleGrouping"); }
OptionMap HIPMigInstance::advwizGenerateMapData(std::string const&, std::string const&) {
  not_there("advwizGenerateMapData");
}
PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(OptionMap const&) { not_there("adwizGetStrobeVsDataNibbles"); }

}  // namespace memory::memory_v1
