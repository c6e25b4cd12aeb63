// Operations that the engine does not have yet. Each says so; one that comes leaves this file.
#include "kdi/coregen/Mig.h"
#include "kdi/coregen/memory_v1.h"

namespace kdi::coregen {
namespace {

[[noreturn]] void not_there(char const* operation) {
  throw std::string(operation) + " is not part of this version of the engine";
}

}  // namespace

void Controller::setDataBitsPerStrobe(std::string const&) { not_there("setDataBitsPerStrobe"); }
void Controller::loadCustomParts(std::string const&, std::string const&) { not_there("loadCustomParts"); }
OptionMap Controller::getmodelParams(std::string const&, OptionMap const&) { not_there("getmodelParams"); }
OptionMap Controller::getMinMaxPeriodOfMemoryType(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfMemoryType");
}
std::string Controller::getDataBitsPerStrobe(std::string const&, std::string const&) {
  not_there("getDataBitsPerStrobe");
}
std::string Controller::getDeviceWidth(std::string const&, std::string const&) { not_there("getDeviceWidth"); }
OptionMap Controller::getMinMaxPeriodOfMemoryPart(std::string const&, OptionMap const&) {
  not_there("getMinMaxPeriodOfMemoryPart");
}
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
OptionMap HIPMigInstance::advwizDefaultPinAssignment(OptionMap const&) { not_there("advwizDefaultPinAssignment"); }
PinMap HIPMigInstance::advwizNibbleGrouping(OptionMap const&) { not_there("advwizNibbleGrouping"); }
OptionMap HIPMigInstance::advwizGenerateMapData(std::string const&, std::string const&) {
  not_there("advwizGenerateMapData");
}
PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(OptionMap const&) { not_there("adwizGetStrobeVsDataNibbles"); }

}  // namespace memory::memory_v1
