// What a configured core leaves behind, through the doors of the engine: commands, reports, constraints, and the files.
#include <gtest/gtest.h>

#include <filesystem>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/scratch.h"

namespace {

using hardip_eng::CdoBuffer;
using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;

class Outputs : public testing::Test {
 protected:
  HardIPInterface* core(std::string const& name, std::string const& version = "1.0",
                        std::string const& part = "brvn1102-a625-2LHP-e-S") {
    StrVec errors;
    context_ = {{"ps_core_name", name}, {"ps_core_ver", version}, {"part", part}, {"instance_name", "i"}};
    HardIPInterface* const made = HardIPManager::getInstance()->getOrCreateInstance(context_, errors);
    EXPECT_TRUE(errors.empty()) << errors.front();
    return made;
  }
  ~Outputs() override {
    StrVec errors;
    HardIPManager::getInstance()->deleteInstance(context_, errors);
  }
  static const ParamMap& uart() {
    static const ParamMap values{{"PS_UART0_PERIPHERAL_ENABLE", "1"}, {"PS_UART0_PERIPHERAL_IO", "PMC_MIO 16 .. 17"}};
    return values;
  }

  ParamMap context_;
  Scratch scratch_;
};

TEST_F(Outputs, OfAProcessingSystemAreFilesThatAreReadBack) {
  HardIPInterface* const ps = core("pspmc");
  std::string path = scratch_.folder();
  ParamMap params = uart();
  ps->writeDesignData(path, params);
  const auto commands = kdi::cdo::from_text(kdi::read_file(path + "/pmc_data.cdo"), "pmc_data.cdo");
  EXPECT_EQ(kdi::cdo::from_binary(kdi::read_file(path + "/pmc_cdo.bin"), "pmc_cdo.bin"), commands);
  EXPECT_FALSE(commands.empty());
  const auto map = kdi::cores::RegisterMap::of(kdi::cores::core_description("pspmc", "1.0"));
  kdi::cores::RegisterMemory memory(*map);
  for (char const* const file : {"pmc_data.cdo", "lpd_data.cdo", "fpd_data.cdo"})
    memory.run(kdi::cdo::from_text(kdi::read_file(path + "/" + file), file));
  EXPECT_EQ(memory.field("UART0.CONTROL", "ENABLE"), 1U) << "parameters count that are given with the question";
  EXPECT_EQ(memory.field("PMC_IOP.PAD_16", "FUNCTION"), map->pad_functions().at("UART 0"));
  EXPECT_EQ(kdi::list_directory(path),
            (std::vector<std::string>{"fpd_data.cdo", "lpd_data.cdo", "noc_clock.cdo", "pmc_cdo.bin", "pmc_data.cdo",
                                      "sysmon_data.json", "sysmon_satellite.csv"}));
  EXPECT_EQ(kdi::JsonFile(path + "/sysmon_data.json").root().member("instance").text(), "i");
}

TEST_F(Outputs, AreTextsThatTellWhoSitsWhere) {
  HardIPInterface* const ps = core("pspmc");
  std::string text;
  StrVec errors;
  ps->generateIOPadData(uart(), text, errors);
  EXPECT_TRUE(errors.empty());
  const kdi::JsonFile pads(text, "pads");
  std::string row;
  for (const kdi::JsonValue pad : pads.root().member("pads").items())
    if (pad.member("pad").text() == "PMC_MIO 16") row = pad.member("function").text();
  EXPECT_EQ(row, "UART 0");
  std::string exported;
  ps->getExportedData("IOPAD_DATA", exported);
  EXPECT_EQ(exported, text);
  exported = "as it was";
  ps->getExportedData("NONE", exported);
  EXPECT_EQ(exported, "as it was");
}

TEST_F(Outputs, AreOneBinaryForTheBootProgram) {
  HardIPInterface* const ps = core("pspmc");
  RawResult result;
  ParamMap messages;
  ps->getRanges(uart(), result, messages, 10);
  CdoBuffer buffer(1024, 65536);
  ps->prepareCdo();
  ps->emitCdo(buffer);
  const auto map = kdi::cores::RegisterMap::of(kdi::cores::core_description("pspmc", "1.0"));
  kdi::cores::RegisterMemory memory(*map);
  memory.run(kdi::cdo::from_binary(buffer.bytes(), "buffer"));
  EXPECT_EQ(memory.field("UART0.CONTROL", "ENABLE"), 1U);
  message_host::Capture heard;
  CdoBuffer small(16, 1);
  ps->emitCdo(small);
  EXPECT_TRUE(small.bytes().empty());
  ASSERT_EQ(heard.lines().size(), 1U);
  EXPECT_EQ(heard.lines()[0], "ERROR: [ippcw] i: the configuration data have " + std::to_string(buffer.bytes().size()) +
                                  " bytes, and there is room for 16");
}

TEST_F(Outputs, ThatTheHardwareCannotHoldAreToldAndLeaveWhatStood) {
  HardIPInterface* const ps = core("pspmc");
  std::string path = scratch_.folder(), text;
  scratch_.file("pmc_data.cdo", "what stood");
  ParamMap params = uart();
  params.insert({{"PS_UART1_PERIPHERAL_ENABLE", "1"}, {"PS_UART1_PERIPHERAL_IO", "PMC_MIO 16 .. 17"}});
  message_host::Capture heard;
  ps->writeDesignData(path, params);
  ASSERT_EQ(heard.lines().size(), 1U);
  EXPECT_EQ(heard.lines()[0], "ERROR: [ippcw] i: two functions use PMC_MIO 16");
  EXPECT_EQ(scratch_.content("pmc_data.cdo"), "what stood");
  EXPECT_EQ(kdi::list_directory(path).size(), 1U);
}

TEST_F(Outputs, OfALargerSystemAreWrittenByItsUtilities) {
  HardIPInterface* const ps = core("pmcps", "1.0", "brvn3716-die-2LHP-e-S-es1");
  ASSERT_NE(ps, nullptr);
  const std::shared_ptr<HICInst> inst = ps->getHICInst();
  StrPairs pairs{{"PS_UART0_PERIPHERAL_ENABLE", "1"}, {"PS_UART0_PERIPHERAL_IO", "PMC_MIO 16 .. 17"}};
  StrVec modified, errors;
  ParamMap messages, values{{"A", "1"}}, none;
  inst->guiSetParam(pairs, modified, messages);
  std::string path = scratch_.folder(), state = scratch_.path("i_state.json");
  HICInstOutputUtils::generatePSXLStateJson(state, values);
  HICInstOutputUtils::writeMioParams(state, inst, "pmcps");
  const kdi::JsonFile read(state);
  EXPECT_EQ(read.root().member("core").text(), "pmcps");
  EXPECT_EQ(read.root().member("parameters").member("A").text(), "1");
  EXPECT_EQ(read.root().member("mio").member("PMC_MIO 16").text(), "UART 0");
  HICInstOutputUtils::generateIOPadReport(none, path, errors, inst);
  HICInstOutputUtils::generatePowerJsonReport(none, path, errors, inst);
  EXPECT_FALSE(kdi::JsonFile(path + "/power_report.json").root().member("items").items().empty());
  HICInstOutputUtils::generateCDO(values, path, state, "pmcps", {}, none, inst);
  EXPECT_FALSE(kdi::cdo::from_text(kdi::read_file(path + "/i_pmc_data.cdo"), "file").empty());
  StrPairs registers;
  inst->getSysmonRegData(registers);
  EXPECT_FALSE(registers.empty());
  EXPECT_TRUE(errors.empty());
  std::string nowhere = scratch_.path("none");
  message_host::Capture heard;
  HICInstOutputUtils::generateIOPadReport(none, nowhere, errors, inst);
  EXPECT_EQ(errors.size(), 1U);
  EXPECT_EQ(heard.lines().size(), 1U);
}

TEST_F(Outputs, BeginWithAStateFileThatHasNoPads) {
  std::string state = scratch_.path("i_state.json");
  ParamMap values{{"A", "1"}, {"B", "a \"word\""}}, none;
  HICInstOutputUtils::generatePSXLStateJson(state, values);
  EXPECT_EQ(scratch_.content("i_state.json"),
            "{\n  \"format\": 1,\n  \"core\": \"\",\n  \"parameters\": {\n    \"A\": \"1\",\n"
            "    \"B\": \"a \\\"word\\\"\"\n  },\n  \"mio\": {}\n}\n");
  HICInstOutputUtils::writeMioParams(state, nullptr, "pmcps");
  EXPECT_EQ(kdi::JsonFile(state).root().member("core").text(), "") << "nobody's pads are not added";
  HICInstOutputUtils::generatePSXLStateJson(state, none);
  EXPECT_EQ(scratch_.content("i_state.json"),
            "{\n  \"format\": 1,\n  \"core\": \"\",\n  \"parameters\": {},\n  \"mio\": {}\n}\n");
}

TEST_F(Outputs, OfABlockGoIntoItsOwnFolder) {
  HardIPInterface* const cpm = core("cpm");
  std::string path = scratch_.folder();
  ParamMap params{{"CPM_PCIE0_MODES", "PCIE"}};
  cpm->writeDesignData(path, params);
  EXPECT_FALSE(kdi::cdo::from_text(kdi::read_file(path + "/temp/i/cpm_pre_data.cdo"), "file").empty());
  for (char const* const file : {"cpm_post_data.cdo", "cpm_win_data.cdo"})
    EXPECT_TRUE(kdi::is_file(path + "/temp/i/" + file)) << file;
}

TEST_F(Outputs, OfASmallBlockAreOneFile) {
  HardIPInterface* const xram = core("xram");
  std::string path = scratch_.folder();
  ParamMap params;
  xram->writeDesignData(path, params);
  EXPECT_EQ(kdi::list_directory(path), std::vector<std::string>{"i_xram_data.cdo"});
}

}  // namespace
