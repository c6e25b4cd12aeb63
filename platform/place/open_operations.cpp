// Operations that the engine does not have yet. Each remembers the directories that it is given, since removeDir may
// remove what is below them, and says what it is; one that comes leaves this file.
#include "platform/place/state.h"

namespace kelvane_io::kelvane_io_v1 {

using I = HIPKelvaneIoInstance;

namespace {

[[noreturn]] void not_there(char const* operation) {
  throw std::string(operation) + " is not part of this version of the engine";
}
template <class State>
[[noreturn]] void not_there(char const* operation, State& state, ParamMap const& params) {
  state.remember(params);
  not_there(operation);
}

}  // namespace

OptionMap I::advwiz_defaultIOPlanning(OptionMap const&) { not_there("advwiz_defaultIOPlanning"); }
OptionMap I::x5io_wizard_defaultIOPlanning(OptionMap const&) { not_there("x5io_wizard_defaultIOPlanning"); }
OptionMap I::xphy_io_defaultIOPlanning_adcDac(ParamMap const& params) {
  not_there("xphy_io_defaultIOPlanning_adcDac", *state_, params);
}
OptionMap I::x5phio_defaultIOPlanning(ParamMap const& params) {
  not_there("x5phio_defaultIOPlanning", *state_, params);
}
PinMap I::advwiz_nibbleGrouping(OptionMap const&) { not_there("advwiz_nibbleGrouping"); }
PinMap I::x5io_wizard_octadGrouping(OptionMap const&) { not_there("x5io_wizard_octadGrouping"); }
OptionMap I::advwiz_getDqsVsDataNibbles(OptionMap const&) { not_there("advwiz_getDqsVsDataNibbles"); }
OptionMap I::x5io_wizard_getStrobeToDataOctads(ParamMap const&) { not_there("x5io_wizard_getStrobeToDataOctads"); }
OptionMap I::x5io_wizard_getStrobetoDataOctads(OptionMap const&) { not_there("x5io_wizard_getStrobetoDataOctads"); }
OptionMap I::x5phio_getStrobeToDataNibbles(ParamMap const& params) {
  not_there("x5phio_getStrobeToDataNibbles", *state_, params);
}
OptionMap I::xphy_io_generateXDCMap_adcDac(ParamMap const& params) {
  not_there("xphy_io_generateXDCMap_adcDac", *state_, params);
}
OptionMap I::advwiz_generateMapData(MultiMap const&) { not_there("advwiz_generateMapData"); }
OptionMap I::x5io_wizard_generateMapData(MultiMap const&) { not_there("x5io_wizard_generateMapData"); }
OptionMap I::x5io_wizard_getPinDataDict(MultiMap const&) { not_there("x5io_wizard_getPinDataDict"); }
OptionMap I::x5phio_getPinDataDict(ParamMap const& params) { not_there("x5phio_getPinDataDict", *state_, params); }
std::string I::x5io_wizard_IntfInfoDict(OptionMap const&) { not_there("x5io_wizard_IntfInfoDict"); }
std::string I::x5phio_IntfInfoDict(ParamMap const& params) { not_there("x5phio_IntfInfoDict", *state_, params); }
int I::advwiz_getNonShadowBanksCount(OptionMap const&) { not_there("advwiz_getNonShadowBanksCount"); }
int I::x5io_wizard_getNonShadowBanksCount(OptionMap const&) { not_there("x5io_wizard_getNonShadowBanksCount"); }

}  // namespace kelvane_io::kelvane_io_v1
