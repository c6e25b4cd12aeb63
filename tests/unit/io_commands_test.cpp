// The commands of I/O planning against an engine that records: for every command which operation is asked of which
// instance with which words, what becomes of the answer, and what is said of a wrong call; and what no engine is asked.
#include <gtest/gtest.h>
#include <tcl.h>

#include <set>
#include <stdexcept>

#include "kdi/common/KdiFile.h"
#include "kdi/common/host/ParamHost.h"
#include "tests/support/recording.h"
#include "tests/support/scratch.h"
#include "tests/support/script_answer.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using recording::answers;
using recording::calls;
using Texts = std::vector<std::string>;

constexpr char kOptions[] = "max {a b} min 1";
constexpr char kPins[] = "{DQ[0]} x y Q-1 z {two words}";
constexpr char kText[] = "{a text}";

// A command that asks an instance: its names, words of which the first `needs` have to be there, what it asks, what it
// answers, and what it says of an instance that is not there.
struct Case {
  Texts names;
  char const* words;
  int needs;
  char const *asks, *result, *no_instance;
};
Case const kCases[] = {
    {{"xphy_io::Ip_soft_DDR4_defaultIOPlanning"},
     "i -A b",
     1,
     "soft_DDR4_defaultIOPlanning {-a='b'}",
     kOptions,
     "Internal Error: Kelvane MIG instance load error"},
    {{"xphy_io::Ip_soft_DDR4_nibbleGrouping"},
     "i -A b",
     1,
     "soft_DDR4_nibbleGrouping {-a='b'}",
     kPins,
     "Internal Error: Ip_soft_DDR4_nibbleGrouping_v1 : Tavrel soft DDR4 instance load error"},
    {{"xphy_io::Ip_soft_DDR4_generateXDCMap"},
     "i 2 3 4 5",
     4,
     "soft_DDR4_generateXDCMap {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_soft_DDR4_nibbleGrouping_v1 : Kelvane soft DDR4 instance load error"},
    {{"xphy_io::Ip_soft_DDR4_removeDirectory", "xphy_io::memory_io_v1::Ip_hard_DDR4_removeDirectory",
      "xphy_io::Ip_xphy_io_removeDirectory", "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_removeDirectory",
      "xphy_io::memory_io_v1::Ip_hard_DDR5_removeDirectory"},
     "i d",
     2,
     "removeDir 'd'",
     "true",
     "Internal Error: Ip_hard_DDR4_removeDirectory_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::Ip_soft_DDR4_getStrobeToDataNibbles"},
     "i 2 3 4 5",
     4,
     "soft_DDR4_getStrobeToDataNibbles {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_soft_DDR4_getStrobeToDataNibbles_v1 : Kelvane Soft DDR4 instance load error"},
    {{"xphy_io::Ip_soft_DDR4_generateMemFile"},
     "i 2 3 4",
     3,
     "soft_DDR4_generateMemFile {IP_NAME='2' MEM_DIR_PATH='4' SW_DIR_PATH='3'}",
     kText,
     "Internal Error: Ip_soft_DDR4_generateMemFile_v1 : Kelvane Soft DDR4 instance load error"},
    {{"xphy_io::advwiz_v1::Ip_advwiz_defaultIOPlanning", "kelvane_io::advwiz_v1::Ip_advwiz_defaultIOPlanning"},
     "i -A b",
     1,
     "advwiz_defaultIOPlanning {-a='b'}",
     kOptions,
     "Internal Error: Ip_advwiz_defaultIOPlanning_v1 : Kelvane Adwiz instance load error"},
    {{"xphy_io::advwiz_v1::Ip_advwiz_nibbleGrouping", "kelvane_io::advwiz_v1::Ip_advwiz_nibbleGrouping"},
     "i -A b",
     1,
     "advwiz_nibbleGrouping {-a='b'}",
     kPins,
     "Internal Error : Ip_advwiz_nibbleGrouping_v1 : Kelvane Adwiz instance load error"},
    {{"xphy_io::advwiz_v1::Ip_advwiz_generateMapData", "kelvane_io::advwiz_v1::Ip_advwiz_generateMapData"},
     "i KEY {a 1 b 2}",
     3,
     "advwiz_generateMapData {KEY={a='1' b='2'}}",
     kOptions,
     "Internal Error : Ip_advwiz_generateMapData_v1 : Kelvane Adwiz instance load error"},
    {{"xphy_io::advwiz_v1::Ip_advwiz_getDqsVsDataNibbles", "kelvane_io::advwiz_v1::Ip_advwiz_getDqsVsDataNibbles"},
     "i -A b",
     1,
     "advwiz_getDqsVsDataNibbles {-a='b'}",
     kOptions,
     "Internal Error: Ip_advwiz_getDqsVsDataNibbles_v1 : Kelvane Adwiz instance load error"},
    {{"xphy_io::advwiz_v1::Ip_advwiz_getNonShadowBanksCount"},
     "i",
     1,
     "advwiz_getNonShadowBanksCount {}",
     "-3",
     "Internal Error: Ip_advwiz_getNonShadowBanksCount : Kelvane Adwiz instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_defaultIOPlanning"},
     "i -A b",
     1,
     "x5io_wizard_defaultIOPlanning {-a='b'}",
     kOptions,
     "Internal Error: Ip_x5io_wizard_defaultIOPlanning_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_octadGrouping"},
     "i -A b",
     1,
     "x5io_wizard_octadGrouping {-a='b'}",
     kPins,
     "Internal Error : Ip_x5io_wizard_octadGrouping_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_generateMapData"},
     "i KEY {a 1 b 2}",
     3,
     "x5io_wizard_generateMapData {KEY={a='1' b='2'}}",
     kOptions,
     "Internal Error : Ip_x5io_wizard_generateMapData_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_IntfInfoDict"},
     "i -A b",
     1,
     "x5io_wizard_IntfInfoDict {-a='b'}",
     "{a textinterface {template_X5IOWIZ}}",
     "Internal Error: Ip_x5io_wizard_intfInfoDict_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getPinDataDict"},
     "i KEY {a 1 b 2}",
     1,
     "x5io_wizard_getPinDataDict {KEY={a='1' b='2'}}",
     kOptions,
     "Internal Error: Ip_x5io_wizard_getPinDataDict_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getStrobeToDataOctads"},
     "i OTHER {c 3 d 4} PIN_INFO {a 1 b 2}",
     1,
     "x5io_wizard_getStrobeToDataOctads {a='1' b='2'}",
     kOptions,
     "Internal Error: Ip_x5io_wizard_getStrobeToDataOctads_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getStrobetoDataOctads"},
     "i -A b",
     1,
     "x5io_wizard_getStrobetoDataOctads {-a='b'}",
     kOptions,
     "Internal Error: Ip_x5io_wizard_getDqsVsDataOctads_v1 : Kelvane x5io instance load error"},
    {{"xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getNonShadowBanksCount"},
     "i",
     1,
     "x5io_wizard_getNonShadowBanksCount {}",
     "-3",
     "Internal Error: Ip_x5io_wizard_getNonShadowBanksCount : Kelvane x5io instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_generateMemFile", "xphy_io::Ip_xphy_io_generateMemFile",
      "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_generateMemFile"},
     "i 2 3 4",
     3,
     "hard_DDR4_generateMemFile {IP_NAME='2' MEM_DIR_PATH='4' SW_DIR_PATH='3'}",
     kText,
     "Internal Error: Ip_generateMemFile_v1 : tavrel xphy instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_defaultIOPlanning",
      "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_defaultIOPlanning"},
     "i 2 3 4",
     3,
     "hard_DDR4_defaultIOPlanning {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR4_defaultIOPlanning_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_getDqsVsDataNibbles",
      "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_getDqsVsDataNibbles"},
     "i 2 3 4 5 6",
     5,
     "hardmcDqsVsDataNibbles {BUS_CONFIG_DATA='4' IP_NAME='2' PORT_LOCS='6' SW_DIR_PATH='3' TRANSLATED_PORTS='5'}",
     kOptions,
     "Internal Error: Ip_hard_DDR4_getDqsVsDataNibbles_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_nibbleGrouping", "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_nibbleGrouping"},
     "i 2 3 4",
     3,
     "hard_DDR4_nibbleGrouping {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kPins,
     "Internal Error: Ip_hard_DDR4_nibbleGrouping_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_generateMapParams",
      "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_generateMapParams"},
     "i 2 3 4 5",
     4,
     "hard_DDR4_generateMapParams {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR4_generateMapParams_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_getStrobeToDataNibbles",
      "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_getStrobeToDataNibbles"},
     "i 2 3 4 5",
     4,
     "hard_DDR4_getStrobeToDataNibbles {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR4_getStrobeToDataNibbles_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR4_getConfigurationInfo"},
     "i 2 3 4",
     3,
     "hard_DDR4_getConfigurationInfo {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR4_getConfigurationInfo_v1 : Tavrel Hard DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_defaultIOPlanning"},
     "i 2 3 4",
     3,
     "xphy_io_defaultIOPlanning {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_defaultIOPlanning_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_defaultIOPlanning_adcDac"},
     "i 2 3 4",
     3,
     "xphy_io_defaultIOPlanning_adcDac {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_defaultIOPlanning_adcDac_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_getStrobeToDataNibbles"},
     "i 2 3 4 5",
     4,
     "xphy_io_getStrobeToDataNibbles {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_getStrobeToDataNibbles_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_generateXDCMap"},
     "i 2 3 4 5",
     4,
     "xphy_io_generateXDCMap {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_generateXdcMap_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_generateXDCMap_adcDac"},
     "i 2 3 4 5 6",
     5,
     "xphy_io_generateXDCMap_adcDac {IP_NAME='2' NUM_BANKS='6' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_generateXdcMap_adcDac_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphy_io_isSysClkInMasterBank"},
     "i 2 3 4",
     3,
     "xphy_io_isSysClkInMasterBank {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphy_io_isSysClkInMasterBank_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_xphyio_getNumBanks"},
     "i 2 3 4 5",
     4,
     "xphyio_getNumBanks {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_xphyio_getNumBanks_v1 : Instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_generateMemFile"},
     "i 2 3 4 5",
     4,
     "hard_DDR5_generateMemFile {ELF_NAME='5' IP_NAME='2' MEM_DIR_PATH='4' SW_DIR_PATH='3'}",
     kText,
     "Internal Error: Ip_hard_DDR5_generateMemFile : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_defaultIOPlanning"},
     "i 2 3 4",
     3,
     "hard_DDR5_defaultIOPlanning {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR5_defaultIOPlanning : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_nibbleGrouping"},
     "i 2 3 4",
     3,
     "hard_DDR5_nibbleGrouping {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kPins,
     "Internal Error: Ip_hard_DDR5_nibbleGrouping : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_generateMapParams"},
     "i 2 3 4 5",
     4,
     "hard_DDR5_generateMapParams {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR5_generateMapParams : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_getStrobeToDataNibbles"},
     "i 2 3 4 5",
     4,
     "hard_DDR5_getStrobeToDataNibbles {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR5_getStrobeDataDict : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_getConfigurationInfo"},
     "i 2 3 4",
     3,
     "hard_DDR5_getConfigurationInfo {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR5_getConfigurationInfo : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_hard_DDR5_getPinDataDict"},
     "i 2 3 4",
     3,
     "hard_DDR5_getPinDataDict {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_hard_DDR5_getPinDataDict : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_IntfInfoDict"},
     "i 2 3 4",
     3,
     "IntfInfoDict {DDRMC5_CONTROLLERTYPE='4' IP_NAME='2' SW_DIR_PATH='3'}",
     kText,
     "Internal Error: Ip_IntfInfoDict : Tavrel Hard DDR5 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_x5phio_defaultIOPlanning"},
     "i 2 3 4",
     3,
     "x5phio_defaultIOPlanning {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Kelvane MIG instance load error"},
    {{"xphy_io::memory_io_v1::Ip_x5phio_getStrobeToDataNibbles"},
     "i 2 3 4 5",
     4,
     "x5phio_getStrobeToDataNibbles {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_x5phio_getStrobeToDataNibbles : NVB Soft DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_x5phio_getPinDataDict"},
     "i 2 3 4",
     3,
     "x5phio_getPinDataDict {IP_NAME='2' SW_DIR_PATH='3' XGUI_CONFIG='4'}",
     kOptions,
     "Internal Error: Ip_x5phio_getPinDataDict : NVB Soft DDR4 instance load error"},
    {{"xphy_io::memory_io_v1::Ip_x5phio_IntfInfoDict"},
     "i 2 3 4",
     3,
     "x5phio_IntfInfoDict {CONTROLLERTYPE='4' IP_NAME='2' SW_DIR_PATH='3'}",
     kText,
     "Internal Error: Ip_IntfInfoDict : Tavrel Hard DDR5 instance load error"},
};

// The rest, with words that they take.
char const* const kOthers[] = {"xphy_io::get_primitives p",
                               "tavrel_io_v1_Ip_memory_loadPkg",
                               "xphy_io::Ip_xphy_io_loadPkg",
                               "kelvane_io::kelvane_io_v1::Ip_kelvane_io_loadPkg",
                               "tavrel_io_v1_Ip_memory_unLoadPkg",
                               "xphy_io::Ip_xphy_io_unLoadPkg",
                               "kelvane_io::kelvane_io_v1::Ip_kelvane_io_unLoadPkg",
                               "tavrel_io::tavrel_io_v1::Ip_memory_ThrowError t",
                               "xphy_io::advwiz_v1::Ip_advwiz_collectDCBiasData 1 2",
                               "xphy_io::memory_io_v1::Ip_generateMemFileProp 1 2 3 4",
                               "xphy_io::memory_io_v1::Ip_hard_DDR5_OctadDataDict i 2 3",
                               "xphy_io::memory_io_v1::Ip_generateDDR5MemFileProp 1 2 3 4"};

class IoCommands : public testing::Test {
 protected:
  IoCommands() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    Kdi_iptasks_Init(interp_);
    recording::reset();
  }
  ~IoCommands() override { Tcl_DeleteInterp(interp_); }

  Answer run(std::string const& script) {
    calls.clear();
    return answer_of(interp_, script);
  }

  Texts elements(std::string const& list) {
    int count = 0;
    char const** words = nullptr;
    EXPECT_EQ(Tcl_SplitList(interp_, list.c_str(), &count, &words), TCL_OK);
    Texts texts(words, words + count);
    Tcl_Free(reinterpret_cast<char*>(words));
    return texts;
  }

  // The call with the first `count` of the words.
  std::string first_words(std::string const& name, char const* words, int count) {
    const Texts all = elements(words);
    std::string script = name;
    for (int i = 0; i < count; ++i) script += " {" + all[static_cast<std::size_t>(i)] + "}";
    return script;
  }

  // What is said of missing words names a command without its namespace, unless its names differ in more.
  static std::string missing(std::string const& name) {
    static const std::set<std::string> whole = {"xphy_io::Ip_soft_DDR4_removeDirectory",
                                                "xphy_io::memory_io_v1::Ip_hard_DDR4_removeDirectory",
                                                "xphy_io::Ip_xphy_io_removeDirectory",
                                                "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_removeDirectory",
                                                "xphy_io::memory_io_v1::Ip_hard_DDR5_removeDirectory",
                                                "xphy_io::memory_io_v1::Ip_hard_DDR4_generateMemFile",
                                                "xphy_io::Ip_xphy_io_generateMemFile",
                                                "kelvane_io::kelvane_io_v1::Ip_hard_DDR4_generateMemFile"};
    return (whole.contains(name) ? name : name.substr(name.rfind("::") + 2)) + " : Not enough arguments";
  }

  Tcl_Interp* interp_;
};

TEST_F(IoCommands, EachAsksItsOperationWithItsWordsAndGivesTheAnswerInItsForm) {
  for (Case const& command : kCases)
    for (std::string const& name : command.names) {
      EXPECT_EQ(run(name + " " + command.words), ok(command.result)) << name;
      EXPECT_EQ(calls, (Texts{"find 'i'", command.asks})) << name;
    }
}

TEST_F(IoCommands, TheseAreAllThatThereAre) {
  std::set<std::string> told;
  for (Case const& command : kCases) told.insert(command.names.begin(), command.names.end());
  EXPECT_EQ(std::size(kCases), 45U);  // of 53 handlers
  for (std::string const other : kOthers) told.insert(other.substr(0, other.find(' ')));
  EXPECT_EQ(told.size(), 72U);
  std::set<std::string> there;
  for (char const* pattern :
       {"xphy_io::*", "xphy_io::memory_io_v1::*", "xphy_io::advwiz_v1::*", "xphy_io::x5iowiz_v1_0::*",
        "kelvane_io::kelvane_io_v1::*", "kelvane_io::advwiz_v1::*", "tavrel_io::tavrel_io_v1::*", "tavrel_io_v1_*"})
    for (std::string const& name : elements(run("info commands " + std::string(pattern)).result))
      there.insert(name.starts_with("::") ? name.substr(2) : name);
  EXPECT_EQ(there, told);
}

TEST_F(IoCommands, AnInstanceThatIsNotThereIsToldInTheCommandsOwnWordsAndNothingAsked) {
  for (Case const& command : kCases)
    for (std::string const& name : command.names) {
      std::string words = command.words;
      words.replace(0, 1, "none");
      EXPECT_EQ(run(name + " " + words), error(command.no_instance)) << name;
      EXPECT_EQ(calls, Texts{"find 'none'"}) << name;
      EXPECT_EQ(run(name + " none"), error(command.no_instance)) << "before missing words";
    }
}

TEST_F(IoCommands, MissingWordsAreTold) {
  for (Case const& command : kCases)
    for (std::string const& name : command.names)
      for (int count = 0; count < command.needs; ++count) {
        EXPECT_EQ(run(first_words(name, command.words, count)), error(missing(name))) << name << " with " << count;
        EXPECT_EQ(calls.size(), 1U) << "it looks for the instance";
      }
  for (char const* call :
       {"xphy_io::get_primitives", "tavrel_io::tavrel_io_v1::Ip_memory_ThrowError",
        "xphy_io::advwiz_v1::Ip_advwiz_collectDCBiasData 1", "xphy_io::memory_io_v1::Ip_generateMemFileProp 1 2 3",
        "xphy_io::memory_io_v1::Ip_hard_DDR5_OctadDataDict i 2",
        "xphy_io::memory_io_v1::Ip_generateDDR5MemFileProp 1 2 3"}) {
    const std::string name = std::string(call).substr(0, std::string(call).find(' '));
    EXPECT_EQ(run(call), error(missing(name)));
    EXPECT_EQ(calls, Texts{});
  }
}

TEST_F(IoCommands, WithOneWordFewerTheInstanceIsTheInterfaceAsWell) {
  EXPECT_EQ(run("xphy_io::Ip_soft_DDR4_generateXDCMap i 2 3 4"), ok(kOptions));
  EXPECT_EQ(calls, (Texts{"find 'i'",
                          "soft_DDR4_generateXDCMap {IP_NAME='i' PORT_LOCS='4' SW_DIR_PATH='2' XGUI_CONFIG='3'}"}));
  EXPECT_EQ(run("xphy_io::Ip_soft_DDR4_generateXDCMap i 2 3 4 5 6"), ok(kOptions));
  EXPECT_EQ(calls.back(), "soft_DDR4_generateXDCMap {IP_NAME='2' PORT_LOCS='5' SW_DIR_PATH='3' XGUI_CONFIG='4'}")
      << "surplus words are ignored";
}

TEST_F(IoCommands, OneInterfaceEachForAllNamesOfLoading) {
  for (char const* prefix :
       {"tavrel_io_v1_Ip_memory_", "xphy_io::Ip_xphy_io_", "kelvane_io::kelvane_io_v1::Ip_kelvane_io_"}) {
    EXPECT_EQ(run(std::string(prefix) + "loadPkg -A b"), ok());
    EXPECT_EQ(calls, Texts{"loadMigPkgData {-a='b'}"});
    EXPECT_EQ(run(std::string(prefix) + "unLoadPkg"), ok());
    EXPECT_EQ(calls, Texts{"releasePkgData {}"});
  }
}

TEST_F(IoCommands, StrobesOfOctadsAreTwoCommands) {
  EXPECT_EQ(run("xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getStrobeToDataOctads i -A b"), ok(kOptions));
  EXPECT_EQ(calls.back(), "x5io_wizard_getStrobeToDataOctads {}") << "without its map, an empty one";
  EXPECT_EQ(run("xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_getStrobetoDataOctads i -A b"), ok(kOptions));
  EXPECT_EQ(calls.back(), "x5io_wizard_getStrobetoDataOctads {-a='b'}");
}

TEST_F(IoCommands, MapsFoldTwoNamesAndKeepBraces) {
  EXPECT_EQ(
      run("xphy_io::advwiz_v1::Ip_advwiz_generateMapData i TEMPLATE {a b {Input Clock}} BUS {x {Clk Fwd} y \\{z}"),
      ok(kOptions));
  EXPECT_EQ(calls.back(), "advwiz_generateMapData {BUS={x='ClkFwd' y='\\{z'} TEMPLATE={TEMPLATE='a b InputClock'}}")
      << "of a word in braces";
}

TEST_F(IoCommands, TheWizardsDictionaryEndsWithItsTemplate) {
  answers.text.clear();
  EXPECT_EQ(run("dict get [lindex [xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_IntfInfoDict i] 0] interface"),
            ok("template_X5IOWIZ"));
  answers.text = "one {port {in 1 data}} ";
  EXPECT_EQ(run("dict get [lindex [xphy_io::x5iowiz_v1_0::Ip_x5io_wizard_IntfInfoDict i] 0] one"),
            ok("port {in 1 data}"));
}

TEST_F(IoCommands, TextsOfTheEngineAreErrors) {
  answers.thrown = [] { throw std::string("text of {the engine"); };
  for (Case const& command : kCases)
    for (std::string const& name : command.names)
      EXPECT_EQ(run(name + " " + command.words), error("text of {the engine")) << name;
  answers.thrown = [] { throw std::runtime_error("another exception"); };
  EXPECT_EQ(run("xphy_io::Ip_xphy_io_removeDirectory i d"), error("another exception"));
}

// ------------------------------------------------------------------------------------------------- without the engine

TEST_F(IoCommands, AScriptCanFailWithATextOfItsOwn) {
  EXPECT_EQ(run("tavrel_io::tavrel_io_v1::Ip_memory_ThrowError {a text  of %s words} more"),
            error("a text  of %s words"));
  EXPECT_EQ(calls, Texts{});
}

TEST_F(IoCommands, BiasOfTheSecondStandardAlone) {
  const std::string name = "xphy_io::advwiz_v1::Ip_advwiz_collectDCBiasData ";
  for (char const* standard : {"DIFF_LVSTL06_12", "DIFF_LVSTL_11", "DIFF_POD12", "DIFF_SSTL12", "LVDS15"}) {
    EXPECT_EQ(run(name + "x " + standard), ok("{DC_BIAS_0 DC_BIAS_1 DC_BIAS_2 DC_BIAS_3} NONE"));
    EXPECT_EQ(run(name + standard + " x"), ok("NONE NONE"));
    EXPECT_EQ(run(name + "x " + standard + "0"), ok("NONE NONE"));
  }
  EXPECT_EQ(run(name + "LVDS15 {}"), ok("NONE NONE"));
}

TEST_F(IoCommands, OctadsOfAnInterfaceAreNothingWhateverThereIs) {
  for (char const* words : {"none 2 3 4", "i 2 3", "i {} {} {}"})
    EXPECT_EQ(run(std::string("xphy_io::memory_io_v1::Ip_hard_DDR5_OctadDataDict ") + words), ok());
  EXPECT_EQ(calls, Texts{});
}

TEST_F(IoCommands, PrimitivesAreWhatTheToolAnswers) {
  Tcl_Eval(interp_, "proc get_primitives {option part} { return \"$option $part\" }");
  EXPECT_EQ(run("xphy_io::get_primitives p"), ok());  // of another interpreter than the tool's
}

class PropertyFiles : public IoCommands {
 protected:
  PropertyFiles() { param_host::set("mc.generateELF", "true"); }
  ~PropertyFiles() override { param_host::unset("mc.generateELF"); }

  Scratch folder_;
};

TEST_F(PropertyFiles, AreWrittenBesideANeighbour) {
  const std::string path = folder_.path("a_c.txt");
  EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateMemFileProp a " + folder_.path("b") + " c {the line}"), ok(path));
  EXPECT_EQ(folder_.content("a_c.txt"), "the line\n");
  EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateMemFileProp a " + folder_.path("b") + " c line more"), ok(path));
  EXPECT_EQ(folder_.content("a_c.txt"), "line\n") << "surplus words are ignored";
  EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateDDR5MemFileProp a " + folder_.path("b") + " c line more 6"),
            ok(path));
  EXPECT_EQ(folder_.content("a_c.txt"), "line more\n");
  EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateDDR5MemFileProp a " + folder_.path("b") + " c line"), ok(path));
  EXPECT_EQ(folder_.content("a_c.txt"), "line\n");
}

TEST_F(PropertyFiles, ThatCannotBeWrittenAreErrors) {
  const Answer outcome = run("xphy_io::memory_io_v1::Ip_generateMemFileProp a " + folder_.path("none/b") + " c line");
  EXPECT_EQ(outcome.code, TCL_ERROR);
  EXPECT_EQ(outcome.result.find(folder_.path("none/a_c.txt") + ": "), 0U) << outcome.result;
}

TEST_F(PropertyFiles, AreNotWrittenUnlessImagesAreAskedFor) {
  for (char const* value : {"false", ""}) {
    if (*value != '\0')
      param_host::set("mc.generateELF", value);
    else
      param_host::unset("mc.generateELF");
    EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateMemFileProp a " + folder_.path("b") + " c line"), ok());
    EXPECT_EQ(run("xphy_io::memory_io_v1::Ip_generateDDR5MemFileProp a " + folder_.path("b") + " c line"), ok());
  }
  EXPECT_EQ(folder_.names(), Texts{});
}

}  // namespace
