#include "tests/support/recording_interfaces.h"

#include "kdi/place/kelvane_io_v1.h"

namespace recording_interfaces {

std::vector<std::string> calls;
Answers answers;

void reset() {
  calls.clear();
  answers = {};
}

namespace {

std::string shown(std::string const& text) { return "'" + text + "'"; }
template <class Value>
std::string shown(std::map<std::string, Value> const& map) {
  std::string list;
  for (auto const& [key, value] : map) list += (list.empty() ? "" : " ") + key + "=" + shown(value);
  return "{" + list + "}";
}

template <class Argument>
void record(std::string const& operation, Argument const& argument) {
  calls.push_back(operation + " " + shown(argument));
  if (answers.thrown) answers.thrown();
}

}  // namespace
}  // namespace recording_interfaces

namespace kelvane_io::kelvane_io_v1 {

using namespace recording_interfaces;
using I = HIPKelvaneIoInstance;

struct I::State {};
I::HIPKelvaneIoInstance(std::unique_ptr<State> state) : state_(std::move(state)) {}
I::~HIPKelvaneIoInstance() = default;

void HIPKelvaneIPMgr::loadMigPkgData(OptionMap const& options) { record("loadMigPkgData", options); }
void HIPKelvaneIPMgr::releasePkgData(OptionMap const& options) { record("releasePkgData", options); }
I* HIPKelvaneIPMgr::getIPInstance(std::string name) {
  static I only(std::make_unique<I::State>());
  calls.push_back("find " + shown(name));
  return name == "none" ? nullptr : &only;
}
bool I::removeDir(std::string const& directory) {
  record("removeDir", directory);
  return answers.truth;
}

OptionMap I::soft_DDR4_defaultIOPlanning(OptionMap const& a) {
  record("soft_DDR4_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::advwiz_defaultIOPlanning(OptionMap const& a) {
  record("advwiz_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::x5io_wizard_defaultIOPlanning(OptionMap const& a) {
  record("x5io_wizard_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::hard_DDR4_defaultIOPlanning(ParamMap const& a) {
  record("hard_DDR4_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::hard_DDR5_defaultIOPlanning(ParamMap const& a) {
  record("hard_DDR5_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::xphy_io_defaultIOPlanning(ParamMap const& a) {
  record("xphy_io_defaultIOPlanning", a);
  return answers.options;
}
OptionMap I::xphy_io_defaultIOPlanning_adcDac(ParamMap const& a) {
  record("xphy_io_defaultIOPlanning_adcDac", a);
  return answers.options;
}
OptionMap I::x5phio_defaultIOPlanning(ParamMap const& a) {
  record("x5phio_defaultIOPlanning", a);
  return answers.options;
}
PinMap I::soft_DDR4_nibbleGrouping(OptionMap const& a) {
  record("soft_DDR4_nibbleGrouping", a);
  return answers.pins;
}
PinMap I::advwiz_nibbleGrouping(OptionMap const& a) {
  record("advwiz_nibbleGrouping", a);
  return answers.pins;
}
PinMap I::x5io_wizard_octadGrouping(OptionMap const& a) {
  record("x5io_wizard_octadGrouping", a);
  return answers.pins;
}
PinMap I::hard_DDR4_nibbleGrouping(ParamMap const& a) {
  record("hard_DDR4_nibbleGrouping", a);
  return answers.pins;
}
PinMap I::hard_DDR5_nibbleGrouping(ParamMap const& a) {
  record("hard_DDR5_nibbleGrouping", a);
  return answers.pins;
}
OptionMap I::soft_DDR4_getStrobeToDataNibbles(ParamMap const& a) {
  record("soft_DDR4_getStrobeToDataNibbles", a);
  return answers.options;
}
OptionMap I::advwiz_getDqsVsDataNibbles(OptionMap const& a) {
  record("advwiz_getDqsVsDataNibbles", a);
  return answers.options;
}
OptionMap I::x5io_wizard_getStrobeToDataOctads(ParamMap const& a) {
  record("x5io_wizard_getStrobeToDataOctads", a);
  return answers.options;
}
OptionMap I::x5io_wizard_getStrobetoDataOctads(OptionMap const& a) {
  record("x5io_wizard_getStrobetoDataOctads", a);
  return answers.options;
}
OptionMap I::hardmcDqsVsDataNibbles(ParamMap const& a) {
  record("hardmcDqsVsDataNibbles", a);
  return answers.options;
}
OptionMap I::hard_DDR4_getStrobeToDataNibbles(ParamMap const& a) {
  record("hard_DDR4_getStrobeToDataNibbles", a);
  return answers.options;
}
OptionMap I::hard_DDR5_getStrobeToDataNibbles(ParamMap const& a) {
  record("hard_DDR5_getStrobeToDataNibbles", a);
  return answers.options;
}
OptionMap I::xphy_io_getStrobeToDataNibbles(ParamMap const& a) {
  record("xphy_io_getStrobeToDataNibbles", a);
  return answers.options;
}
OptionMap I::x5phio_getStrobeToDataNibbles(ParamMap const& a) {
  record("x5phio_getStrobeToDataNibbles", a);
  return answers.options;
}
OptionMap I::soft_DDR4_generateXDCMap(ParamMap const& a) {
  record("soft_DDR4_generateXDCMap", a);
  return answers.options;
}
OptionMap I::xphy_io_generateXDCMap(ParamMap const& a) {
  record("xphy_io_generateXDCMap", a);
  return answers.options;
}
OptionMap I::xphy_io_generateXDCMap_adcDac(ParamMap const& a) {
  record("xphy_io_generateXDCMap_adcDac", a);
  return answers.options;
}
OptionMap I::advwiz_generateMapData(MultiMap const& a) {
  record("advwiz_generateMapData", a);
  return answers.options;
}
OptionMap I::x5io_wizard_generateMapData(MultiMap const& a) {
  record("x5io_wizard_generateMapData", a);
  return answers.options;
}
OptionMap I::hard_DDR4_generateMapParams(ParamMap const& a) {
  record("hard_DDR4_generateMapParams", a);
  return answers.options;
}
OptionMap I::hard_DDR5_generateMapParams(ParamMap const& a) {
  record("hard_DDR5_generateMapParams", a);
  return answers.options;
}
OptionMap I::hard_DDR4_getConfigurationInfo(ParamMap const& a) {
  record("hard_DDR4_getConfigurationInfo", a);
  return answers.options;
}
OptionMap I::hard_DDR5_getConfigurationInfo(ParamMap const& a) {
  record("hard_DDR5_getConfigurationInfo", a);
  return answers.options;
}
OptionMap I::hard_DDR5_getPinDataDict(ParamMap const& a) {
  record("hard_DDR5_getPinDataDict", a);
  return answers.options;
}
OptionMap I::x5io_wizard_getPinDataDict(MultiMap const& a) {
  record("x5io_wizard_getPinDataDict", a);
  return answers.options;
}
OptionMap I::x5phio_getPinDataDict(ParamMap const& a) {
  record("x5phio_getPinDataDict", a);
  return answers.options;
}
std::string I::x5io_wizard_IntfInfoDict(OptionMap const& a) {
  record("x5io_wizard_IntfInfoDict", a);
  return answers.text;
}
std::string I::IntfInfoDict(ParamMap const& a) {
  record("IntfInfoDict", a);
  return answers.text;
}
std::string I::x5phio_IntfInfoDict(ParamMap const& a) {
  record("x5phio_IntfInfoDict", a);
  return answers.text;
}
int I::advwiz_getNonShadowBanksCount(OptionMap const& a) {
  record("advwiz_getNonShadowBanksCount", a);
  return answers.integer;
}
int I::x5io_wizard_getNonShadowBanksCount(OptionMap const& a) {
  record("x5io_wizard_getNonShadowBanksCount", a);
  return answers.integer;
}
OptionMap I::xphyio_getNumBanks(ParamMap const& a) {
  record("xphyio_getNumBanks", a);
  return answers.options;
}
OptionMap I::xphy_io_isSysClkInMasterBank(ParamMap const& a) {
  record("xphy_io_isSysClkInMasterBank", a);
  return answers.options;
}
std::string I::soft_DDR4_generateMemFile(ParamMap const& a) {
  record("soft_DDR4_generateMemFile", a);
  return answers.text;
}
std::string I::hard_DDR4_generateMemFile(ParamMap const& a) {
  record("hard_DDR4_generateMemFile", a);
  return answers.text;
}
std::string I::hard_DDR5_generateMemFile(ParamMap const& a) {
  record("hard_DDR5_generateMemFile", a);
  return answers.text;
}

}  // namespace kelvane_io::kelvane_io_v1
