// Interfaces of I/O planning that record. They stand in the test's program, before those of the platform. There is an
// instance of every name but "none".
#include "kdi/place/kelvane_io_v1.h"
#include "tests/support/recording.h"

namespace kelvane_io::kelvane_io_v1 {

using namespace recording;
using I = HIPKelvaneIoInstance;

struct I::State {};
I::HIPKelvaneIoInstance(std::unique_ptr<State> state) : state_(std::move(state)) {}
I::~HIPKelvaneIoInstance() = default;

void HIPKelvaneIPMgr::loadMigPkgData(OptionMap const& options) { record("loadMigPkgData", options); }
void HIPKelvaneIPMgr::releasePkgData(OptionMap const& options) { record("releasePkgData", options); }
I* HIPKelvaneIPMgr::getIPInstance(std::string name) {
  static I only(std::make_unique<I::State>());
  note("find", name);
  return name == "none" ? nullptr : &only;
}
bool I::removeDir(std::string const& directory) { return record("removeDir", directory); }

OptionMap I::soft_DDR4_defaultIOPlanning(OptionMap const& a) { return record("soft_DDR4_defaultIOPlanning", a); }
OptionMap I::advwiz_defaultIOPlanning(OptionMap const& a) { return record("advwiz_defaultIOPlanning", a); }
OptionMap I::x5io_wizard_defaultIOPlanning(OptionMap const& a) { return record("x5io_wizard_defaultIOPlanning", a); }
OptionMap I::hard_DDR4_defaultIOPlanning(ParamMap const& a) { return record("hard_DDR4_defaultIOPlanning", a); }
OptionMap I::hard_DDR5_defaultIOPlanning(ParamMap const& a) { return record("hard_DDR5_defaultIOPlanning", a); }
OptionMap I::xphy_io_defaultIOPlanning(ParamMap const& a) { return record("xphy_io_defaultIOPlanning", a); }
OptionMap I::xphy_io_defaultIOPlanning_adcDac(ParamMap const& a) {
  return record("xphy_io_defaultIOPlanning_adcDac", a);
}
OptionMap I::x5phio_defaultIOPlanning(ParamMap const& a) { return record("x5phio_defaultIOPlanning", a); }
PinMap I::soft_DDR4_nibbleGrouping(OptionMap const& a) { return record("soft_DDR4_nibbleGrouping", a); }
PinMap I::advwiz_nibbleGrouping(OptionMap const& a) { return record("advwiz_nibbleGrouping", a); }
PinMap I::x5io_wizard_octadGrouping(OptionMap const& a) { return record("x5io_wizard_octadGrouping", a); }
PinMap I::hard_DDR4_nibbleGrouping(ParamMap const& a) { return record("hard_DDR4_nibbleGrouping", a); }
PinMap I::hard_DDR5_nibbleGrouping(ParamMap const& a) { return record("hard_DDR5_nibbleGrouping", a); }
OptionMap I::soft_DDR4_getStrobeToDataNibbles(ParamMap const& a) {
  return record("soft_DDR4_getStrobeToDataNibbles", a);
}
OptionMap I::advwiz_getDqsVsDataNibbles(OptionMap const& a) { return record("advwiz_getDqsVsDataNibbles", a); }
OptionMap I::x5io_wizard_getStrobeToDataOctads(ParamMap const& a) {
  return record("x5io_wizard_getStrobeToDataOctads", a);
}
OptionMap I::x5io_wizard_getStrobetoDataOctads(OptionMap const& a) {
  return record("x5io_wizard_getStrobetoDataOctads", a);
}
OptionMap I::hardmcDqsVsDataNibbles(ParamMap const& a) { return record("hardmcDqsVsDataNibbles", a); }
OptionMap I::hard_DDR4_getStrobeToDataNibbles(ParamMap const& a) {
  return record("hard_DDR4_getStrobeToDataNibbles", a);
}
OptionMap I::hard_DDR5_getStrobeToDataNibbles(ParamMap const& a) {
  return record("hard_DDR5_getStrobeToDataNibbles", a);
}
OptionMap I::xphy_io_getStrobeToDataNibbles(ParamMap const& a) { return record("xphy_io_getStrobeToDataNibbles", a); }
OptionMap I::x5phio_getStrobeToDataNibbles(ParamMap const& a) { return record("x5phio_getStrobeToDataNibbles", a); }
OptionMap I::soft_DDR4_generateXDCMap(ParamMap const& a) { return record("soft_DDR4_generateXDCMap", a); }
OptionMap I::xphy_io_generateXDCMap(ParamMap const& a) { return record("xphy_io_generateXDCMap", a); }
OptionMap I::xphy_io_generateXDCMap_adcDac(ParamMap const& a) { return record("xphy_io_generateXDCMap_adcDac", a); }
OptionMap I::advwiz_generateMapData(MultiMap const& a) { return record("advwiz_generateMapData", a); }
OptionMap I::x5io_wizard_generateMapData(MultiMap const& a) { return record("x5io_wizard_generateMapData", a); }
OptionMap I::hard_DDR4_generateMapParams(ParamMap const& a) { return record("hard_DDR4_generateMapParams", a); }
OptionMap I::hard_DDR5_generateMapParams(ParamMap const& a) { return record("hard_DDR5_generateMapParams", a); }
OptionMap I::hard_DDR4_getConfigurationInfo(ParamMap const& a) { return record("hard_DDR4_getConfigurationInfo", a); }
OptionMap I::hard_DDR5_getConfigurationInfo(ParamMap const& a) { return record("hard_DDR5_getConfigurationInfo", a); }
OptionMap I::hard_DDR5_getPinDataDict(ParamMap const& a) { return record("hard_DDR5_getPinDataDict", a); }
OptionMap I::x5io_wizard_getPinDataDict(MultiMap const& a) { return record("x5io_wizard_getPinDataDict", a); }
OptionMap I::x5phio_getPinDataDict(ParamMap const& a) { return record("x5phio_getPinDataDict", a); }
std::string I::x5io_wizard_IntfInfoDict(OptionMap const& a) { return record("x5io_wizard_IntfInfoDict", a); }
std::string I::IntfInfoDict(ParamMap const& a) { return record("IntfInfoDict", a); }
std::string I::x5phio_IntfInfoDict(ParamMap const& a) { return record("x5phio_IntfInfoDict", a); }
int I::advwiz_getNonShadowBanksCount(OptionMap const& a) { return record("advwiz_getNonShadowBanksCount", a); }
int I::x5io_wizard_getNonShadowBanksCount(OptionMap const& a) {
  return record("x5io_wizard_getNonShadowBanksCount", a);
}
OptionMap I::xphyio_getNumBanks(ParamMap const& a) { return record("xphyio_getNumBanks", a); }
OptionMap I::xphy_io_isSysClkInMasterBank(ParamMap const& a) { return record("xphy_io_isSysClkInMasterBank", a); }
std::string I::soft_DDR4_generateMemFile(ParamMap const& a) { return record("soft_DDR4_generateMemFile", a); }
std::string I::hard_DDR4_generateMemFile(ParamMap const& a) { return record("hard_DDR4_generateMemFile", a); }
std::string I::hard_DDR5_generateMemFile(ParamMap const& a) { return record("hard_DDR5_generateMemFile", a); }

}  // namespace kelvane_io::kelvane_io_v1
