// One table of rows; what the engine is not asked stands before it.
#include <algorithm>
#include <string>
#include <string_view>

#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/tcltasks.h"
#include "kdi/place/kelvane_io_v1.h"
#include "kdi/tcl/command.h"
#include "tcltasks/frame/engine_rows.h"
#include "tcltasks/io/io.h"

namespace kelvane_io {
namespace {

using namespace engine_rows;
using Manager = kelvane_io_v1::HIPKelvaneIPMgr;
using I = kelvane_io_v1::HIPKelvaneIoInstance;
using TclTasks = hdi::tcltasks::task_manager;

struct Planner {
  using Results = OneElementResults;
  static I* find(std::string const& name) { return Manager::getIPInstance(name); }
};

// -------------------------------------------------------------------------------------------------------------- words

constexpr bool names_file(std::string_view key) {
  return key == "SW_DIR_PATH" || key == "MEM_DIR_PATH" || key == "ELF_NAME";
}

// A word for each key, behind the instance. With one word fewer the instance's name is the first key's as well, which
// is the interface's name.
template <FixedText... keys>
struct Params {
  static constexpr int kNeeds = static_cast<int>(sizeof...(keys));
  static ParamMap read(Call call) {
    std::size_t word = call.size() == sizeof...(keys) + 1 ? 1 : 2;
    ParamMap map = word == 1 ? Keyed<1, keys...>::read(call) : Keyed<2, keys...>::read(call);
    const auto name_file = [&](char const* key) {
      if (names_file(key)) map[key] = tcl::required_native_path(call[word]);
      ++word;
    };
    (name_file(keys.text), ...);
    return map;
  }
};
using Interface = Params<"IP_NAME", "SW_DIR_PATH", "XGUI_CONFIG">;
using Located = Params<"IP_NAME", "SW_DIR_PATH", "XGUI_CONFIG", "PORT_LOCS">;
using MemoryFile = Params<"IP_NAME", "SW_DIR_PATH", "MEM_DIR_PATH">;

// Options of an operation that gets none.
struct NoOptions {
  static constexpr int kNeeds = 0;
  static OptionMap read(Call) { return {}; }
};

// ---------------------------------------------------------------------------------------------- without the engine

void throw_text(std::string const& text) { throw text; }

// Tcl's parser calls itself for each bracket and each index within another one, and some ten thousand of them end the
// process. A part has none.
bool may_be_parsed(std::string const& word) {
  constexpr std::ptrdiff_t kMost = 1000;
  return std::ranges::count_if(word, [](char sign) { return sign == '[' || sign == '('; }) <= kMost;
}

// What the tool answers; nothing if it fails. Nothing is an empty result, not a list of an empty text: a script that
// takes the first element gets the same.
StrList primitives_of(std::string const& part) {
  if (!may_be_parsed(part) || TclTasks::eval_in_tcl("get_primitives -part " + part, nullptr, false) != TCL_OK)
    return {};
  return {TclTasks::tcl_get_result()};
}

// Of the two standards, single-ended and differential, only the second one may need a bias.
StrList bias_of(std::string const&, std::string const& standard) {
  constexpr char const* kBiased[] = {"DIFF_LVSTL06_12", "DIFF_LVSTL_11", "DIFF_POD12", "DIFF_SSTL12", "LVDS15"};
  const bool is_biased = std::find(std::begin(kBiased), std::end(kBiased), standard) != std::end(kBiased);
  return {is_biased ? "DC_BIAS_0 DC_BIAS_1 DC_BIAS_2 DC_BIAS_3" : "NONE", "NONE"};
}

// Scripts call it and get nothing.
StrList octads_of(ParamMap const&) { return {}; }

// The file `<name>_<kind>.txt` beside `neighbour`, of one line; only where program images are asked for.
StrList write_property(std::string const& name, std::string const& neighbour, std::string const& kind,
                       std::string const& line) {
  if (!HPAParamMgr::getParamMgr().getValueIfExistAsBool("mc.generateELF", false)) return {};
  const std::string path =
      HUTFile(neighbour).getParent() + HUTFile::getDirSeparator() + tcl::to_system(name + "_" + kind + ".txt");
  try {
    kdi::write_file(path, line + "\n");
  } catch (kdi::FileError const& error) {
    throw std::string(error.what());
  }
  return {tcl::from_system(path)};
}

// The line, with one more word behind it if there is one.
struct Line {
  static constexpr int kNeeds = 4;
  static std::string read(Call call) {
    const std::string line = mutils::util::tcl2cpp(call[4]);
    return call.size() > 5 ? line + " " + mutils::util::tcl2cpp(call[5]) : line;
  }
};

// --------------------------------------------------------------------------------------------------------------- rows

// A row of what is asked of an instance, whose name is the first word. What is said of one that is not there is the
// command's own, and not always about it.
template <auto operation, FixedText no_instance, class... Part>
constexpr tcl::Row asked(tcl::Names names) {
  return row<Planner, operation, By<Word<1>>, NoInstance<no_instance>, Part...>(names);
}

// The names of a command in the namespaces where it is. What is said of missing words names it without them; where the
// names differ in more, it is the one that was called.
struct Xphy {
  static constexpr FixedText kScope = "xphy_io::";
};
struct Memory {
  static constexpr FixedText kScope = "xphy_io::memory_io_v1::";
};
struct Kelvane {
  static constexpr FixedText kScope = "kelvane_io::kelvane_io_v1::";
};
struct Wizard {
  static constexpr FixedText kScope = "xphy_io::advwiz_v1::";
};
struct KelvaneWizard {
  static constexpr FixedText kScope = "kelvane_io::advwiz_v1::";
};
struct X5 {
  static constexpr FixedText kScope = "xphy_io::x5iowiz_v1_0::";
};
struct Tavrel {
  static constexpr FixedText kScope = "tavrel_io::tavrel_io_v1::";
};

template <FixedText name>
inline constexpr tcl::Names kXphy = kScoped<Xphy, name>;
template <FixedText name>
inline constexpr tcl::Names kMemory = kScoped<Memory, name>;
template <FixedText name>
inline constexpr tcl::Names kWizard = kScoped<Wizard, name>;
template <FixedText name>
inline constexpr tcl::Names kX5 = kScoped<X5, name>;
template <FixedText name, class First, class Second>
constexpr tcl::Names both() {
  tcl::Names names(kScoped<First, name>.texts[0], kScoped<Second, name>.texts[0]);
  names.missing_words = kScoped<First, name>.missing_words;
  return names;
}
template <FixedText name>
inline constexpr tcl::Names kBothMemories = both<name, Memory, Kelvane>();
template <FixedText name>
inline constexpr tcl::Names kBothWizards = both<name, Wizard, KelvaneWizard>();

// The order is that of registration. Texts about instances stand as scripts know them.
constexpr tcl::Row kCommands[] = {
    row<Planner, primitives_of, Word<1>>(kXphy<"get_primitives">),
    row<Planner, &Manager::loadMigPkgData, Options<1>>({"tavrel_io_v1_Ip_memory_loadPkg", "xphy_io::Ip_xphy_io_loadPkg",
                                                        "kelvane_io::kelvane_io_v1::Ip_kelvane_io_loadPkg"}),
    row<Planner, &Manager::releasePkgData, WholeOptions<1>>({"tavrel_io_v1_Ip_memory_unLoadPkg",
                                                             "xphy_io::Ip_xphy_io_unLoadPkg",
                                                             "kelvane_io::kelvane_io_v1::Ip_kelvane_io_unLoadPkg"}),
    row<Planner, throw_text, Word<1>>(kScoped<Tavrel, "Ip_memory_ThrowError">),
    asked<&I::soft_DDR4_defaultIOPlanning, "Internal Error: Kelvane MIG instance load error", Options<2>>(
        kXphy<"Ip_soft_DDR4_defaultIOPlanning">),
    asked<&I::soft_DDR4_nibbleGrouping,
          "Internal Error: Ip_soft_DDR4_nibbleGrouping_v1 : Tavrel soft DDR4 instance load error", Options<2>>(
        kXphy<"Ip_soft_DDR4_nibbleGrouping">),
    asked<&I::soft_DDR4_generateXDCMap,
          "Internal Error: Ip_soft_DDR4_nibbleGrouping_v1 : Kelvane soft DDR4 instance load error", Located>(
        kXphy<"Ip_soft_DDR4_generateXDCMap">),
    asked<&I::removeDir, "Internal Error: Ip_hard_DDR4_removeDirectory_v1 : Tavrel Hard DDR4 instance load error",
          Path<2>>({"xphy_io::Ip_soft_DDR4_removeDirectory", "xphy_io::memory_io_v1::Ip_hard_DDR4_removeDirectory",
                    "xphy_io::Ip_xphy_io_removeDirectory", "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_removeDirectory",
                    "xphy_io::memory_io_v1::Ip_hard_DDR5_removeDirectory"}),
    asked<&I::soft_DDR4_getStrobeToDataNibbles,
          "Internal Error: Ip_soft_DDR4_getStrobeToDataNibbles_v1 : Kelvane Soft DDR4 instance load error", Located>(
        kXphy<"Ip_soft_DDR4_getStrobeToDataNibbles">),
    asked<&I::soft_DDR4_generateMemFile,
          "Internal Error: Ip_soft_DDR4_generateMemFile_v1 : Kelvane Soft DDR4 instance load error", MemoryFile,
          As<tcl::from_system>>(kXphy<"Ip_soft_DDR4_generateMemFile">),
    asked<&I::advwiz_defaultIOPlanning,
          "Internal Error: Ip_advwiz_defaultIOPlanning_v1 : Kelvane Adwiz instance load error", Options<2>>(
        kBothWizards<"Ip_advwiz_defaultIOPlanning">),
    asked<&I::advwiz_nibbleGrouping, "Internal Error : Ip_advwiz_nibbleGrouping_v1 : Kelvane Adwiz instance load error",
          Options<2>>(kBothWizards<"Ip_advwiz_nibbleGrouping">),
    asked<&I::advwiz_generateMapData,
          "Internal Error : Ip_advwiz_generateMapData_v1 : Kelvane Adwiz instance load error", Maps<2>, Unused<3>>(
        kBothWizards<"Ip_advwiz_generateMapData">),
    asked<&I::advwiz_getDqsVsDataNibbles,
          "Internal Error: Ip_advwiz_getDqsVsDataNibbles_v1 : Kelvane Adwiz instance load error", Options<2>>(
        kBothWizards<"Ip_advwiz_getDqsVsDataNibbles">),
    row<Planner, bias_of, Word<1>, Word<2>>(kWizard<"Ip_advwiz_collectDCBiasData">),
    asked<&I::advwiz_getNonShadowBanksCount,
          "Internal Error: Ip_advwiz_getNonShadowBanksCount : Kelvane Adwiz instance load error", NoOptions>(
        kWizard<"Ip_advwiz_getNonShadowBanksCount">),
    asked<&I::x5io_wizard_defaultIOPlanning,
          "Internal Error: Ip_x5io_wizard_defaultIOPlanning_v1 : Kelvane x5io instance load error", Options<2>>(
        kX5<"Ip_x5io_wizard_defaultIOPlanning">),
    asked<&I::x5io_wizard_octadGrouping,
          "Internal Error : Ip_x5io_wizard_octadGrouping_v1 : Kelvane x5io instance load error", Options<2>>(
        kX5<"Ip_x5io_wizard_octadGrouping">),
    asked<&I::x5io_wizard_generateMapData,
          "Internal Error : Ip_x5io_wizard_generateMapData_v1 : Kelvane x5io instance load error", Maps<2>, Unused<3>>(
        kX5<"Ip_x5io_wizard_generateMapData">),
    asked<&I::x5io_wizard_IntfInfoDict,
          "Internal Error: Ip_x5io_wizard_intfInfoDict_v1 : Kelvane x5io instance load error", Options<2>,
          As<followed_by<"interface {template_X5IOWIZ}">>>(kX5<"Ip_x5io_wizard_IntfInfoDict">),
    asked<&I::x5io_wizard_getPinDataDict,
          "Internal Error: Ip_x5io_wizard_getPinDataDict_v1 : Kelvane x5io instance load error", Maps<2>>(
        kX5<"Ip_x5io_wizard_getPinDataDict">),
    asked<&I::x5io_wizard_getStrobeToDataOctads,
          "Internal Error: Ip_x5io_wizard_getStrobeToDataOctads_v1 : Kelvane x5io instance load error",
          InnerMap<2, "PIN_INFO">>(kX5<"Ip_x5io_wizard_getStrobeToDataOctads">),
    asked<&I::x5io_wizard_getStrobetoDataOctads,
          "Internal Error: Ip_x5io_wizard_getDqsVsDataOctads_v1 : Kelvane x5io instance load error", Options<2>>(
        kX5<"Ip_x5io_wizard_getStrobetoDataOctads">),
    asked<&I::x5io_wizard_getNonShadowBanksCount,
          "Internal Error: Ip_x5io_wizard_getNonShadowBanksCount : Kelvane x5io instance load error", NoOptions>(
        kX5<"Ip_x5io_wizard_getNonShadowBanksCount">),
    asked<&I::hard_DDR4_generateMemFile, "Internal Error: Ip_generateMemFile_v1 : tavrel xphy instance load error",
          MemoryFile, As<tcl::from_system>>({"xphy_io::memory_io_v1::Ip_hard_DDR4_generateMemFile",
                                             "xphy_io::Ip_xphy_io_generateMemFile",
                                             "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_generateMemFile"}),
    row<Planner, write_property, Word<1>, Path<2>, Word<3>, Word<4>>(kMemory<"Ip_generateMemFileProp">),
    asked<&I::hard_DDR4_defaultIOPlanning,
          "Internal Error: Ip_hard_DDR4_defaultIOPlanning_v1 : Tavrel Hard DDR4 instance load error", Interface>(
        kBothMemories<"Ip_hard_DDR4_defaultIOPlanning">),
    asked<&I::hardmcDqsVsDataNibbles,
          "Internal Error: Ip_hard_DDR4_getDqsVsDataNibbles_v1 : Tavrel Hard DDR4 instance load error",
          Params<"IP_NAME", "SW_DIR_PATH", "BUS_CONFIG_DATA", "TRANSLATED_PORTS", "PORT_LOCS">>(
        kBothMemories<"Ip_hard_DDR4_getDqsVsDataNibbles">),
    asked<&I::hard_DDR4_nibbleGrouping,
          "Internal Error: Ip_hard_DDR4_nibbleGrouping_v1 : Tavrel Hard DDR4 instance load error", Interface>(
        kBothMemories<"Ip_hard_DDR4_nibbleGrouping">),
    asked<&I::hard_DDR4_generateMapParams,
          "Internal Error: Ip_hard_DDR4_generateMapParams_v1 : Tavrel Hard DDR4 instance load error", Located>(
        kBothMemories<"Ip_hard_DDR4_generateMapParams">),
    asked<&I::hard_DDR4_getStrobeToDataNibbles,
          "Internal Error: Ip_hard_DDR4_getStrobeToDataNibbles_v1 : Tavrel Hard DDR4 instance load error", Located>(
        kBothMemories<"Ip_hard_DDR4_getStrobeToDataNibbles">),
    asked<&I::hard_DDR4_getConfigurationInfo,
          "Internal Error: Ip_hard_DDR4_getConfigurationInfo_v1 : Tavrel Hard DDR4 instance load error", Interface>(
        kMemory<"Ip_hard_DDR4_getConfigurationInfo">),
    asked<&I::xphy_io_defaultIOPlanning, "Internal Error: Ip_xphy_io_defaultIOPlanning_v1 : Instance load error",
          Interface>(kMemory<"Ip_xphy_io_defaultIOPlanning">),
    asked<&I::xphy_io_defaultIOPlanning_adcDac,
          "Internal Error: Ip_xphy_io_defaultIOPlanning_adcDac_v1 : Instance load error", Interface>(
        kMemory<"Ip_xphy_io_defaultIOPlanning_adcDac">),
    asked<&I::xphy_io_getStrobeToDataNibbles,
          "Internal Error: Ip_xphy_io_getStrobeToDataNibbles_v1 : Instance load error", Located>(
        kMemory<"Ip_xphy_io_getStrobeToDataNibbles">),
    asked<&I::xphy_io_generateXDCMap, "Internal Error: Ip_xphy_io_generateXdcMap_v1 : Instance load error", Located>(
        kMemory<"Ip_xphy_io_generateXDCMap">),
    asked<&I::xphy_io_generateXDCMap_adcDac,
          "Internal Error: Ip_xphy_io_generateXdcMap_adcDac_v1 : Instance load error",
          Params<"IP_NAME", "SW_DIR_PATH", "XGUI_CONFIG", "PORT_LOCS", "NUM_BANKS">>(
        kMemory<"Ip_xphy_io_generateXDCMap_adcDac">),
    asked<&I::xphy_io_isSysClkInMasterBank, "Internal Error: Ip_xphy_io_isSysClkInMasterBank_v1 : Instance load error",
          Interface>(kMemory<"Ip_xphy_io_isSysClkInMasterBank">),
    asked<&I::xphyio_getNumBanks, "Internal Error: Ip_xphyio_getNumBanks_v1 : Instance load error", Located>(
        kMemory<"Ip_xphyio_getNumBanks">),
    asked<&I::hard_DDR5_generateMemFile,
          "Internal Error: Ip_hard_DDR5_generateMemFile : Tavrel Hard DDR5 instance load error",
          Params<"IP_NAME", "SW_DIR_PATH", "MEM_DIR_PATH", "ELF_NAME">, As<tcl::from_system>>(
        kMemory<"Ip_hard_DDR5_generateMemFile">),
    asked<&I::hard_DDR5_defaultIOPlanning,
          "Internal Error: Ip_hard_DDR5_defaultIOPlanning : Tavrel Hard DDR5 instance load error", Interface>(
        kMemory<"Ip_hard_DDR5_defaultIOPlanning">),
    asked<&I::hard_DDR5_nibbleGrouping,
          "Internal Error: Ip_hard_DDR5_nibbleGrouping : Tavrel Hard DDR5 instance load error", Interface>(
        kMemory<"Ip_hard_DDR5_nibbleGrouping">),
    asked<&I::hard_DDR5_generateMapParams,
          "Internal Error: Ip_hard_DDR5_generateMapParams : Tavrel Hard DDR5 instance load error", Located>(
        kMemory<"Ip_hard_DDR5_generateMapParams">),
    asked<&I::hard_DDR5_getStrobeToDataNibbles,
          "Internal Error: Ip_hard_DDR5_getStrobeDataDict : Tavrel Hard DDR5 instance load error", Located>(
        kMemory<"Ip_hard_DDR5_getStrobeToDataNibbles">),
    asked<&I::hard_DDR5_getConfigurationInfo,
          "Internal Error: Ip_hard_DDR5_getConfigurationInfo : Tavrel Hard DDR5 instance load error", Interface>(
        kMemory<"Ip_hard_DDR5_getConfigurationInfo">),
    asked<&I::hard_DDR5_getPinDataDict,
          "Internal Error: Ip_hard_DDR5_getPinDataDict : Tavrel Hard DDR5 instance load error", Interface>(
        kMemory<"Ip_hard_DDR5_getPinDataDict">),
    asked<&I::IntfInfoDict, "Internal Error: Ip_IntfInfoDict : Tavrel Hard DDR5 instance load error",
          Params<"IP_NAME", "SW_DIR_PATH", "DDRMC5_CONTROLLERTYPE">>(kMemory<"Ip_IntfInfoDict">),
    row<Planner, octads_of, Interface>(kMemory<"Ip_hard_DDR5_OctadDataDict">),
    row<Planner, write_property, Word<1>, Path<2>, Word<3>, Line>(kMemory<"Ip_generateDDR5MemFileProp">),
    asked<&I::x5phio_defaultIOPlanning, "Internal Error: Kelvane MIG instance load error", Interface>(
        kMemory<"Ip_x5phio_defaultIOPlanning">),
    asked<&I::x5phio_getStrobeToDataNibbles,
          "Internal Error: Ip_x5phio_getStrobeToDataNibbles : NVB Soft DDR4 instance load error", Located>(
        kMemory<"Ip_x5phio_getStrobeToDataNibbles">),
    asked<&I::x5phio_getPinDataDict, "Internal Error: Ip_x5phio_getPinDataDict : NVB Soft DDR4 instance load error",
          Interface>(kMemory<"Ip_x5phio_getPinDataDict">),
    asked<&I::x5phio_IntfInfoDict, "Internal Error: Ip_IntfInfoDict : Tavrel Hard DDR5 instance load error",
          Params<"IP_NAME", "SW_DIR_PATH", "CONTROLLERTYPE">>(kMemory<"Ip_x5phio_IntfInfoDict">),
};

}  // namespace
}  // namespace kelvane_io

namespace kelvane_io_init::kelvane_io_v1_kdi_tcltasks {
void init(Tcl_Interp* interp) { tcl::register_all<kelvane_io::kCommands>(interp); }
void uninit() {}  // instances are the engine's
}  // namespace kelvane_io_init::kelvane_io_v1_kdi_tcltasks
