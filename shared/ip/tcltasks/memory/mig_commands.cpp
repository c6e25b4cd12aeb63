#include "kdi/coregen/mig_v7_0.h"
#include "kdi/coregen/mig_v7_1.h"
#include "tcltasks/memory/memory.h"
#include "tcltasks/memory/model_rows.h"

namespace memory {
namespace {

// What tells the two versions apart.
struct V70 : Model<mig::mig_v7_0::HIPMigIPMgr, mig::mig_v7_0::HIPMigInstance> {
  static constexpr FixedText kScope = "mig::mig_v7_0::";
  static constexpr FixedText kFlat = "mig_mig_v7_0_";
  static constexpr FixedText kPrefix = "Ip_Mig_";
  static constexpr char const* kTooFewOfClocking = "Ip_Mig_ClockingModelParams_v7_0: Not enough arguments";
  static constexpr bool kHasPeriodsOfParts = false;
};
struct V71 : Model<mig::mig_v7_1::HIPMigIPMgr, mig::mig_v7_1::HIPMigInstance> {
  static constexpr FixedText kScope = "mig::mig_v7_1::";
  static constexpr FixedText kFlat = "mig_mig_v7_1_";
  static constexpr FixedText kPrefix = "Ip_Mig_";
  static constexpr char const* kTooFewOfClocking = "Ip_Mig_ClockingModelParams_v7_1: Not enough arguments";
  static constexpr bool kHasPeriodsOfParts = true;
};

// Options of which one is a file.
struct PartsFile : Options<1> {
  static ParamMap read(Call call) {
    ParamMap options = Options<1>::read(call);
    if (const auto file = options.find("-file"); file != options.end())
      file->second = tcl::required_native_path(file->second);
    return options;
  }
};

template <class V>
constexpr tcl::Row periods_of_parts() {
  if constexpr (V::kHasPeriodsOfParts)
    return row<V, &V::Instance::getMinMaxPeriodOfMemoryPart, By<Options<2>>, Word<1>, Options<2>>(
        kInScope<V, "getMinMaxPeriodOfMemoryPart">, tcl::pairs_behind(1, kTooFew<V, "getMinMaxPeriodOfMemoryPart">));
  else
    return {tcl::kNoNames, nullptr, tcl::kAnyWords};
}

// The order is that of registration. Prefixes and spellings of names are mixed: scripts have them so.
template <class V, class I = typename V::Instance, class All = Common<V>>
constexpr tcl::Row kCommands[] = {
    row<V, &V::Manager::doCustomize, Word<1>, Options<2>>(
        kScoped<V, "Ip_mig_customize">, tcl::pairs_behind(1, "ip_mig_customize : Not enough arguments")),
    row<V, &I::InputClockPeriod, By<Word<1>>, Word<2>, Word<3>>(kScoped<V, "Ip_mig_InputClockList">),
    row<V, &V::Manager::checkCSVs, PartsFile>(kInScope<V, "CsvCheck">),
    All::kLoadPkg,
    All::kUpdateInstanceName,
    All::kUnLoadPkg,
    row<V, &I::getSignalDetails, By<Options<2>>, Word<1>, Out, Out, Out, Out>(kInScope<V, "getSignalDetails">),
    row<V, &I::getSignal, By<Options<2>>, Word<1>, Out>(kInScope<V, "getSignal">),
    row<V, &I::getPadDetails, By<Options<2>>, Word<1>, Out, Out, Out, Out>(kInScope<V, "getPadDetails">),
    row<V, &I::getSignalForPad, By<Options<2>>, Word<1>, Out>(kInScope<V, "getSignalForPad">),
    row<V, &I::getPadNameForSignal, By<Options<2>>, Word<1>, Out>(kInScope<V, "getPadNameForSignal">),
    row<V, &I::getSignalName, By<Options<5>>, Word<1>, Word<2>, Word<3>, Word<4>, Out>(kInScope<V, "getSignalName">),
    row<V, &I::setSelectedBytes, By<Word<1>>, Pins<2>, OptionsBehindPins<2>>(kInBoth<V, "setSelectedBytes">),
    All::kSetSelectedBytesUpgrade,
    All::kSetSelectedBytesNew,
    row<V, &I::getDefaultbyteSelections, By<Word<1>>, Options<2>>(kInScope<V, "getDefaultbyteSelections">),
    All::kSetSignal,
    All::kSetSignalWithPadName,
    All::kSetDataBitsPerStrobe,
    All::kLoadCustomPartsData,
    row<V, &I::getAssignedPinDetails, By<Options<1>>, Text<"-1">>(kInScope<V, "getAssignedPinDetails">),
    All::kGetModelParams,
    row<V, &I::getMinMaxPeriodOfMemoryType, By<Options<2>>, Word<1>, Options<2>>(
        kInScope<V, "getMinMaxPeriodOfMemoryType">, tcl::pairs_behind(1, kTooFew<V, "getMinMaxPeriodOfMemoryType">)),
    periods_of_parts<V>(),
    All::kBankSelModelParams,
    row<V, &I::getClockingModelParams, By<Word<1>>, Word<4>, Word<3>, Word<5>, CountedFirst<1>>(
        kInScope<V, "ClockingModelParams">, tcl::at_least(1, V::kTooFewOfClocking)),
    All::kGetLocModelParams,
    row<V, &I::getAssignedPinDetails, By<Options<2>>, Word<1>>(kInScope<V, "getAssignedPinDetailsForCtrl">),
    row<V, &I::getAsssignedPinCount, By<Options<1>>, Options<1>>(kInScope<V, "getAsssignedPinCount">),
    row<V, &I::getBanksAvailable, By<Word<1>>, Options<2>>(kInScope<V, "getBanksAvailable">),
    row<V, &I::getBanksUsed, By<Options<1>>, Options<1>>(kInScope<V, "getBanksUsed">),
    row<V, &I::getTotalPinCnt, By<Options<1>>, Options<1>>(kInScope<V, "getTotalPinCnt">),
    row<V, &I::getTotalPortCnt, By<Word<1>>, Options<2>>(kInScope<V, "getTotalPortCnt">),
    All::kGetXDCInfo,
    All::kGetXDCInfoUpgrade,
    row<V, &I::getClockRoot, By<Word<1>>, Word<2>, Word<3>>(kInScope<V, "getClockRoot">),
    All::kGetExampleXDCInfo,
    All::kGetOutputImpedencePorts,
    All::kGetIOStandardConstraints,
    row<V, &I::getPhyParamVector, By<Word<1>>, Options<2>>(kInScope<V, "getPhyParamVector">),
    All::kGetTopLevelPorts,
    row<V, &I::getParamVector, By<Word<1>>, Options<2>>(kInScope<V, "getParamVector">),
    All::kGetRIUMapVector,
    All::kGetDataBitsPerStrobe,
    All::kGetDeviceWidth,
    row<V, &I::getValidMemoryVoltages, By<Word<1>>, Word<2>, Word<3>, Word<4>, Word<5>>(
        kIsFlat<V, "getValidMemoryVoltages">),
    All::kGetIOBMapStr,
    All::kGetDDRMapStr,
    All::kCheckIOPlanningCompletion,
    All::kByteSelectionStatus,
    All::template kUpdateBankByteProperties<"Ip_mig_updateBankBytePropertiesAsPerPins">,
    row<V, &I::getSelectedByteMap, By<Options<1>>, Constant<0>>(kScoped<V, "Ip_mig_getSelectedByteMap">),
    All::kThrowError,
};

}  // namespace
}  // namespace memory

namespace mig_init::mig_v7_1_kdi_tcltasks {
void init(Tcl_Interp* interp) { tcl::register_all<memory::kCommands<memory::V71>>(interp); }
void uninit() {}  // instances are the engine's
}  // namespace mig_init::mig_v7_1_kdi_tcltasks

namespace mig_init::mig_v7_0_kdi_tcltasks {
void init(Tcl_Interp* interp) { tcl::register_all<memory::kCommands<memory::V70>>(interp); }
void uninit() {}
}  // namespace mig_init::mig_v7_0_kdi_tcltasks
