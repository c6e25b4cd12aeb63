#include "kdi/coregen/memory_v1.h"
#include "tcltasks/memory/memory.h"
#include "tcltasks/memory/model_rows.h"

namespace memory {
namespace {

struct V1 : Model<memory::memory_v1::HIPMigIPMgr, memory::memory_v1::HIPMigInstance> {
  static constexpr FixedText kScope = "memory::memory_v1::";
  static constexpr FixedText kFlat = "memory_v1_";
  static constexpr FixedText kPrefix = "Ip_memory_";
  static constexpr char const* kDebugChannel = "mig_ip.debug";
  static constexpr ComMsgMgr::MsgMask kDebugMask = ComMsgMgr::MSG_DEBUG1;
};

struct Advwiz {
  static constexpr FixedText kScope = "advwiz::advwiz_v1::";
};

// Parameters come as a controller has them, under its prefix, or as options.
template <FixedText name, auto operation, class... Part>
constexpr tcl::Row kFolded = row<V1, operation, By<FoldedOptions<2>>, Word<1>, FoldedOptions<2>, Part...>(
    kScoped<V1, name>, tcl::pairs_behind(1, kJoined<name, " : Not enough arguments">.text));

using I = V1::Instance;
using All = Common<V1>;
using Attributes = ParamMap const&;

// The order is that of registration.
constexpr tcl::Row kCommands[] = {
    row<V1, &V1::Manager::doCustomize, Word<1>, Options<2>, Traced<"Mig::Ip_memory_Customize_v1">>(
        kInScope<V1, "customize">, tcl::pairs_behind(1, kTooFew<V1, "customize">)),
    row<V1, &I::validateCustomParts, By<Word<1>>, Path<2>, Told<V1, "validate_custom_parts">>(
        kInScope<V1, "validate_custom_parts">,
        tcl::at_least(2, "Ip_memory_validate_custom_parts_v1 : Not enough arguments")),
    row<V1, &I::getInputClockPeriodValues, By<Word<1>>, Options<2>, Told<V1, "InputClockList">>(
        kInScope<V1, "InputClockList">),
    row<V1, &I::getVCORange, By<Options<2>>, Word<1>, Options<2>>(
        kInScope<V1, "VCORange">, tcl::at_least(1, "Ip_memory_VCORange_v1 : Not enough arguments")),
    row<V1, &I::getSpeedFileData, By<Word<1>>, Word<2>, Options<3>, As<three_decimals>>(
        kInScope<V1, "getSpeedFileData">, tcl::at_least(2, "Ip_memory_getSpeedFileData_v1 : Not enough arguments")),
    row<V1, &I::getKeywordValue, By<Word<1>>, Word<2>, Options<3>, As<three_decimals>>(
        kInScope<V1, "getBUFGCE">, tcl::at_least(2, "Ip_memory_getBUFGCE_v1 : Not enough arguments")),
    row<V1, &I::getBUFGCEMax, By<Word<1>>, Word<2>, Options<3>, As<three_decimals>>(
        kInScope<V1, "getBUFGCEVal">, tcl::at_least(2, "Ip_memory_getBUFGCEMax_v1 : Not enough arguments")),
    row<V1, &I::getBUFGCEMin, By<Word<1>>, Options<3>, As<three_decimals>>(
        kInScope<V1, "getMinBUFGCEVal">, tcl::at_least(2, "Ip_memory_getBUFGCEMin_v1 : Not enough arguments")),
    All::kLoadPkg,
    All::kUpdateInstanceName,
    All::kUnLoadPkg,
    All::kSetSelectedBytesUpgrade,
    All::kSetSelectedBytesNew,
    All::kSetSignal,
    All::kSetSignalWithPadName,
    All::kSetDataBitsPerStrobe,
    All::kLoadCustomPartsData,
    row<V1, overload<All::Text, Attributes>(&I::loadCustomParts), By<Word<1>>, Word<2>, ExactOptions<3>,
        Told<V1, "loadCustomPartsDataFromAttrib">>(kInScope<V1, "loadCustomPartsDataFromAttrib">),
    row<V1, &I::retrieveCustomParts, By<Word<1>>, Word<2>, Word<3>, Path<4>>(kInScope<V1, "retrieveCustomPartsData">),
    All::kGetModelParams,
    kFolded<"Ip_memory_getMinMaxPeriodOfMemoryType", &I::getMinMaxPeriodOfMemoryType>,
    kFolded<"Ip_memory_getMinMaxPeriodOfMemoryPart", &I::getMinMaxPeriodOfMemoryPart>,
    kFolded<"Ip_memory_getMinMaxPeriodOfSlot", &I::getMinMaxPeriodOfSlot>,
    kFolded<"Ip_memory_getMinMaxPeriodOfDataWidth", &I::getMinMaxPeriodOfDataWidth>,
    All::kBankSelModelParams,
    row<V1, &I::getClockingModelParams, By<Word<1>>, Keyed<3, "-inputclockperiod", "-controllertype", "-timeperiod">,
        CountedFirst<1>, Told<V1, "ClockingModelParams">>(
        kInScope<V1, "ClockingModelParams">,
        tcl::at_least(1, "Ip_memory_ClockingModelParams_v1: Not enough arguments")),
    All::kGetLocModelParams,
    All::kGetXDCInfo,
    All::kGetXDCInfoUpgrade,
    All::kGetExampleXDCInfo,
    All::kGetOutputImpedencePorts,
    row<V1, &I::getODTPorts, By<Options<3>>, Word<1>, Word<2>, Options<3>>(kInScope<V1, "getODTPorts">),
    All::kGetIOStandardConstraints,
    All::kGetTopLevelPorts,
    All::kGetRIUMapVector,
    All::kGetDataBitsPerStrobe,
    All::kGetDeviceWidth,
    row<V1, &I::getIOVoltage, By<Word<1>>, Options<2>>(kIsFlat<V1, "getValidMemoryVoltages">),
    All::kGetIOBMapStr,
    All::kGetDDRMapStr,
    All::kCheckIOPlanningCompletion,
    All::kByteSelectionStatus,
    All::kUpdateBankByteProperties<"Ip_memory_updateBankBytePropertiesAsPerPins">,
    All::kThrowError,
    kFolded<"Ip_getEnPP_4RMirParam", &I::getEnablePP4RMirParameter,
            NoInstance<"Internal Error: Ip_getEnPP_4RMirParam : Mig dummy param error">>,
    row<V1, &I::advwizDefaultPinAssignment, By<Word<1>>, Options<2>>(kScoped<Advwiz, "Ip_advwiz_defaultIOPlanning">),
    row<V1, &I::advwizNibbleGrouping, By<Word<1>>, Options<2>>(kScoped<Advwiz, "Ip_advwiz_nibbleGrouping">),
    row<V1, &I::advwizGenerateMapData, By<Word<1>>, Word<2>, Word<3>>(kScoped<Advwiz, "Ip_advwiz_generateMapData">),
    row<V1, &I::adwizGetStrobeVsDataNibbles, By<Word<1>>, Options<2>>(kScoped<Advwiz, "Ip_advwiz_getDqsVsDataNibbles">),
};

}  // namespace
}  // namespace memory

namespace memory_init::memory_v1_kdi_tcltasks {
void init(Tcl_Interp* interp) { tcl::register_all<memory::kCommands>(interp); }
void uninit() {}  // instances are the engine's
}  // namespace memory_init::memory_v1_kdi_tcltasks
