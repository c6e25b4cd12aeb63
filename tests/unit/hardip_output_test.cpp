// The commands that write files, against cores and writers that record: which call, in which order, which arguments.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tcl.h>

#include <memory>

#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "tcltasks/hardip/attributes.h"
#include "tcltasks/hardip/boot_program.h"
#include "tcltasks/hardip/output_package.h"
#include "tcltasks/hardip/power_io_files.h"
#include "tcltasks/hardip/task_target.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/recording_core.h"
#include "tests/support/recording_output.h"
#include "tests/support/scratch.h"
#include "tests/support/script_answer.h"
#include "tests/support/tool_param.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using recording_core::answers;
using recording_core::rows;
using Texts = std::vector<std::string>;

constexpr char const* kBoot = "project.enableWDIFromHwdef";
constexpr char const* kPowerAndIo = "project.enableHwDefRegeneration";
constexpr char const* kNamed = "cips.genHumanReadableCDO";
constexpr char const* kMerged = "cips.mergePMCLPDCdo";
constexpr char const* kDies = "cips.ssitSupport";

class HardIpOutput : public testing::Test {
 protected:
  HardIpOutput() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    recording_core::reset();
    recording_output::answers = {};
    Kdi_iptasks_Init(interp_);
  }
  ~HardIpOutput() override {
    Tcl_DeleteInterp(interp_);
    recording_core::reset();
  }

  Answer run(std::string const& script) { return answer_of(interp_, script); }
  std::string context(std::string const& core, std::string const& more = {}) const {
    return " -context {ps_core_name " + core + " instance_name u1 part p1 " + more + "} ";
  }
  Answer target(std::string const& core, std::string const& more = {}, std::string const& data = "XDC_DATA") {
    return run("Ip_config_kdi_tcltasks_GenerateTarget" + context(core, more) + "-params {A 1} -path " +
               folder_.folder() + " -data " + data);
  }
  Answer sdk(std::string const& core, std::string const& more = {}) {
    return run("Ip_config_kdi_tcltasks_generateSDKSpecificFiles" + context(core, more) + "-params {A 1} -path " +
               folder_.folder());
  }
  Answer task(std::string const& context, std::string const& data = "D") {
    return run("Ip_config_hardip_tcltasks_GenerateTarget -context {" + context + "} -params {A 1} -path " +
               folder_.folder() + " -data " + data);
  }

  // The calls, the test's folder written as P.
  Texts calls() const {
    Texts all = recording_core::calls();
    for (std::string& call : all) call = short_form(call);
    return all;
  }
  // Those from one on, to the end or before another.
  Texts calls_from(std::size_t first, std::size_t last = static_cast<std::size_t>(-1)) const {
    const Texts all = calls();
    last = std::min(last, all.size());
    EXPECT_LE(first, last);
    return first < last ? Texts(all.begin() + static_cast<std::ptrdiff_t>(first),
                                all.begin() + static_cast<std::ptrdiff_t>(last))
                        : Texts();
  }
  std::string short_form(std::string text) const {
    for (std::size_t at; (at = text.find(folder_.folder())) != std::string::npos;)
      text.replace(at, folder_.folder().size(), "P");
    return text;
  }
  // What writeHDF was told: files, attributes of files, attributes.
  std::string definition() const {
    for (std::string const& call : calls())
      if (call.starts_with("writeHDF ")) return call.substr(9);
    return "none";
  }
  // The files of the definition, without the path of its folder, but for the handoffs.
  std::string files() const {
    std::string list = definition();
    if (list == "none") return list;
    list = list.substr(list.find('{') + 1, list.find('}') - list.find('{') - 1);
    for (std::size_t at; (at = list.find("P/")) != std::string::npos;) list.erase(at, 2);
    const std::size_t handoff = list.find(" /handoff");
    EXPECT_NE(handoff, std::string::npos) << list;
    return list.substr(0, handoff);
  }
  std::string file_attributes() const {
    const std::string all = definition();
    const std::size_t begin = all.find(" over {") + 6, end = all.rfind(" {");
    return all.substr(begin, end - begin);
  }
  Texts told() const { return capture_.lines(); }

  Scratch folder_;
  message_host::Capture capture_;
  Tcl_Interp* interp_;
};

// ------------------------------------------------------------------------------------------------- order of the calls

TEST_F(HardIpOutput, TargetsAreMadeInOrder) {
  answers.exported = {{"XDC_DATA", "constraints"}};
  message_host::set_channel("sysmon.generate.hip", 2);
  EXPECT_EQ(target("plain"), ok("constraints"));
  message_host::set_channel("sysmon.generate.hip", -1);
  EXPECT_EQ(calls(),
            (Texts{"keepsExistingOutput", "writeDesignData P {A=1}", "generateXdc {A=1}", "generateSysmonNpiData {A=1}",
                   "generateIOPadData {A=1}", "generatePowerData {A=1}", "getExportedData XDC_DATA"}));
  ASSERT_EQ(capture_.messages().size(), 2U);
  EXPECT_EQ(capture_.messages()[0].text, "\t generateExportData- 1 path: " + folder_.folder() + " aParams: 1 Enter\n");
  EXPECT_EQ(capture_.messages()[0].level, 2);
  EXPECT_EQ(capture_.messages()[1].text, "\t generateExportData- 1 errs_msg: 0 Exit\n");
  EXPECT_EQ(capture_.messages()[1].level, 1);
  for (auto const& message : capture_.messages()) {
    EXPECT_EQ(message.scope, "sysmon.generate.hip");
    EXPECT_EQ(message.category, "tcltasks");
    EXPECT_EQ(static_cast<unsigned>(message.mask), 0x1000003U);
  }
}

TEST_F(HardIpOutput, PackagesFollowWhatTheyPack) {
  answers.values = {{"PMC_CDO_LOAD_STAGE", "1"}};
  EXPECT_EQ(target("xram", "hwh_file /handoff/given.hwh"), ok());
  EXPECT_EQ(calls_from(7),
            (Texts{"prepareCdo", "emitCdo 67108864", "generateHWH P/", "addHwDefFileAttributes",
                   "writeHDF P/hdl/u1.hwdef {P/u1_xram_data.cdo:7 /handoff/own.hwh:0 /handoff/given.hwh:0} over {} "
                   "{FPD_CDO_STAGE= FPD_PL_IF= LPD_CDO_STAGE= LPD_PL_IF= PL_CLK0= PL_CLK1= PL_CLK2= PL_CLK3= PL_RESET= "
                   "PMC_CDO_STAGE=1 PMC_PL_IF= PMC_SEM_NPI_GOLDEN_CHECKSUM_SW=}"}));
  EXPECT_TRUE(std::filesystem::is_directory(folder_.path("hdl")));
}

TEST_F(HardIpOutput, ACoreWithoutOptionalOperationsIsNotAskedForThem) {
  EXPECT_EQ(run("Ip_config_kdi_tcltasks_GenerateTarget -context {ps_core_name bare} -params {} -path x -data D"), ok());
  EXPECT_EQ(calls(), Texts{"writeDesignData x {}"});
  EXPECT_EQ(run("Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {ps_core_name bare} -params {} -path x"),
            ok("{XDC_DATA {}} {IOPAD_DATA {}} {POWER_DATA {}}"));
}

TEST_F(HardIpOutput, ErrorsOfTheCoreAreTheResultAndThePackageIsMadeAllTheSame) {
  answers.errors = {"an error"};
  const Answer answer = target("xram");
  EXPECT_EQ(answer.code, TCL_ERROR);
  EXPECT_TRUE(answer.result.starts_with("{{an error} {an error} {an error} {an error}} {Ip_config_")) << answer.result;
  EXPECT_EQ(files(), "u1_xram_data.cdo:7");
}

TEST_F(HardIpOutput, OutputThatIsThereStaysIfTheCoreKeepsIt) {
  answers.keeps_output = true;
  answers.exported = {{"D", "data"}};
  EXPECT_EQ(target("xram", {}, "D"), ok("data"));
  EXPECT_EQ(calls()[1].substr(0, 15), "writeDesignData") << "there is none";
  recording_core::forget_calls();
  folder_.file("any_pmc_data.cdo", "");
  EXPECT_EQ(target("xram", {}, "D"), ok("data"));
  EXPECT_EQ(calls_from(0, 4), (Texts{"keepsExistingOutput", "getExportedData D", "prepareCdo", "emitCdo 67108864"}));
  EXPECT_EQ(files(), "u1_xram_data.cdo:7") << "and is packed";
  answers.keeps_output = false;
  recording_core::forget_calls();
  EXPECT_EQ(target("xram", {}, "D"), ok("data"));
  EXPECT_EQ(calls()[1].substr(0, 15), "writeDesignData");
}

TEST_F(HardIpOutput, OutputThatCannotBeLookedAtIsNone) {
  answers.keeps_output = true;
  answers.on_call = [](std::string const& call) {
    if (call == "keepsExistingOutput") throw std::runtime_error("not to be seen");
  };
  EXPECT_EQ(target("plain"), ok());
  EXPECT_EQ(calls()[1], "writeDesignData P {A=1}");
  EXPECT_EQ(told(),
            Texts{"WARNING: [tcltasks 80-4] A step of the generation of the output files failed: not to be seen"});
}

TEST_F(HardIpOutput, WithoutACoreNothingIsDone) {
  for (char const* const command : {"GenerateTarget", "generateSDKSpecificFiles"}) {
    const Answer answer =
        run("Ip_config_kdi_tcltasks_" + std::string(command) + " -context {ps_core_name refused} -params {} -path x" +
            (std::string(command) == "GenerateTarget" ? " -data d" : ""));
    EXPECT_EQ(answer.code, TCL_ERROR);
    EXPECT_TRUE(answer.result.starts_with("{{no such thing}} {Ip_config_kdi_tcltasks_")) << answer.result;
  }
  EXPECT_EQ(calls(), Texts{});
}

// --------------------------------------------------------------------------------------------------------- the
// packages

TEST_F(HardIpOutput, SomeCoresHaveNoDefinition) {
  for (char const* const core : {"ai_engine", "plain"}) {
    EXPECT_EQ(target(core), ok());
    EXPECT_EQ(sdk(core).code, TCL_OK);
  }
  EXPECT_EQ(definition(), "none");
  EXPECT_FALSE(std::filesystem::exists(folder_.path("hdl")));
}

TEST_F(HardIpOutput, CoherentBlocksHaveThreeFilesInAFolderOfTheirOwn) {
  for (char const* const core : {"cpm", "cpm5n"}) {
    recording_core::forget_calls();
    EXPECT_EQ(target(core), ok());
    EXPECT_EQ(files(), "temp/u1/cpm_pre_data.cdo:7 temp/u1/cpm_post_data.cdo:7 temp/u1/cpm_win_data.cdo:7");
  }
}

TEST_F(HardIpOutput, TheControllerOfTheEarlierKindHasNamedFiles) {
  EXPECT_EQ(target("pspmcx"), ok());
  EXPECT_EQ(files(),
            "u1_pmc_data.cdo:7 u1_sysmon_data.json:23 u1_sysmon_satellite.csv:23 u1_lpd_data.cdo:7 "
            "u1_fpd_data.cdo:7");
  const With merged(kMerged), power(kPowerAndIo), boot(kBoot);
  recording_output::answers.has_software = false;
  folder_.file("u1_io_data.json", "{}");
  recording_core::forget_calls();
  EXPECT_EQ(target("pspmcx"), ok());
  EXPECT_EQ(files(),
            "u1_pmc_data.cdo:7 u1_sysmon_data.json:23 u1_sysmon_satellite.csv:23 u1_io_data.json:39 "
            "tavrel_plm/executable.elf:8");
  EXPECT_EQ(file_attributes(),
            "{P/tavrel_plm/executable.elf{fileIdTag=PLM_ELF file_type=BOOTLOADER ip_type=PLM_CDO "
            "tandemStage=1}}");
}

TEST_F(HardIpOutput, ControllersHaveTheirFilesAndTheOptionalOnesThatAreThere) {
  for (std::string const core : {"pspmc", "ps_pmc"}) {
    recording_core::forget_calls();
    EXPECT_EQ(target(core), ok());
    const std::string first = "pmc_data.cdo:7 pmc_cdo.bin:2 sysmon_data.json:23 sysmon_satellite.csv:23";
    EXPECT_EQ(files(), first + " lpd_data.cdo:7 fpd_data.cdo:7");
    EXPECT_EQ(file_attributes(), "{}");
    const With power(kPowerAndIo), merged(kMerged);
    const Scratch other;
    for (char const* const file : {"power_data.json", "ps_data.cdo", "subsystem.cdo", "cpm_data.cdo", "noc_clock.cdo"})
      folder_.file(file, "");
    recording_core::forget_calls();
    EXPECT_EQ(target(core), ok());
    EXPECT_EQ(files(), first + " power_data.json:38 ps_data.cdo:7" +
                           (core == "ps_pmc" ? " subsystem.cdo:7 cpm_data.cdo:7" : ""));
    EXPECT_EQ(file_attributes(), core == "ps_pmc"
                                     ? "{P/cpm_data.cdo{fileIdTag=CPM_CDO file_type=CDO ip_type=ps_pmc} "
                                       "P/subsystem.cdo{fileIdTag=SUBSYSTEM_CDO file_type=CDO ip_type=ps_pmc}}"
                                     : "{}");
    for (char const* const file : {"power_data.json", "ps_data.cdo", "subsystem.cdo", "cpm_data.cdo", "noc_clock.cdo"})
      std::filesystem::remove(folder_.path(file));
  }
}

TEST_F(HardIpOutput, NamesOfFilesMayHaveTheInstances) {
  const With named(kNamed);
  folder_.file("u1_ps_data.cdo", "");
  for (std::string const core : {"pspmc", "ps_pmc"}) {
    recording_core::forget_calls();
    EXPECT_EQ(target(core), ok());
    EXPECT_EQ(files(),
              "u1_pmc_data.cdo:7 u1_pmc_cdo.bin:2 u1_sysmon_data.json:23 u1_sysmon_satellite.csv:23 "
              "u1_lpd_data.cdo:7 u1_fpd_data.cdo:7 u1_ps_data.cdo:7");
  }
}

TEST_F(HardIpOutput, DevicesOfSeveralDiesSayWhichOneAFileIsFor) {
  answers.dies = 3;
  answers.has_dies = true;
  for (char const* const file : {"pmc_data_slr_1.cdo", "pmc_data_slr_2.cdo", "pmc_data_slr_3.cdo", "noc_clock.cdo"})
    folder_.file(file, "");
  const std::string first = "pmc_data.cdo:7 pmc_cdo.bin:2 sysmon_data.json:23 sysmon_satellite.csv:23";
  EXPECT_EQ(target("pspmc"), ok());
  EXPECT_EQ(files(), first + " lpd_data.cdo:7 fpd_data.cdo:7") << "without support for them";
  const With dies(kDies);
  recording_core::forget_calls();
  EXPECT_EQ(target("pspmc"), ok());
  EXPECT_EQ(files(),
            first + " pmc_data_slr_1.cdo:7 noc_clock.cdo:7 pmc_data_slr_2.cdo:7 lpd_data.cdo:7 fpd_data.cdo:7");
  EXPECT_EQ(file_attributes(),
            "{P/fpd_data.cdo{slrId=0} P/lpd_data.cdo{slrId=0} P/noc_clock.cdo{slrId=0,1,2} P/pmc_data.cdo{slrId=0} "
            "P/pmc_data_slr_1.cdo{slrId=1} P/pmc_data_slr_2.cdo{slrId=2}}");
  std::filesystem::remove(folder_.path("pmc_data_slr_1.cdo"));
  answers.has_dies = false;
  recording_core::forget_calls();
  EXPECT_EQ(target("pspmc"), ok());
  EXPECT_EQ(files(), first + " lpd_data.cdo:7 fpd_data.cdo:7");
  answers.has_dies = true;
  const With merged(kMerged);
  recording_core::forget_calls();
  EXPECT_EQ(target("pspmc"), ok());
  EXPECT_EQ(files(), first);
}

TEST_F(HardIpOutput, SmallCoresHaveOneFileAndNoInstance) {
  for (auto const& [core, file, tag] : {std::array{"hnicx_wizard", "hnicx_config.cdo", "HNICX_CONFIG_CDO"},
                                        std::array{"visp", "visp_config.cdo", "VISP_CONFIG_CDO"},
                                        std::array{"mmi", "mmi_config.cdo", "MMI_CONFIG_CDO"}}) {
    recording_core::forget_calls();
    EXPECT_EQ(sdk(core, "hwh_file /h.hwh"), ok());
    const std::string path = std::string("P/") + file;
    EXPECT_EQ(calls(), Texts{"writeHDF P/hdl/u1.hwdef {" + path + ":7 /h.hwh:0} over {" + path + "{fileIdTag=" + tag +
                             " file_type=CDO ip_type=" + core + " version=1}} {}"});
  }
  recording_output::answers.is_written = false;
  EXPECT_EQ(short_form(sdk("mmi").result).substr(0, 32), "{{cannot write P/hdl/u1.hwdef}} ");
  folder_.file("hdl2", "");
  EXPECT_EQ(
      short_form(run("Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {ps_core_name mmi instance_name u} "
                     "-params {} -path " +
                     folder_.path("hdl2"))
                     .result)
          .substr(0, 38),
      "{{cannot create directory P/hdl2/hdl}}");
}

TEST_F(HardIpOutput, WhatIsNoListOfParametersLeavesNoWordOfItInTheResult) {
  EXPECT_EQ(run("Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {ps_core_name mmi instance_name u1} "
                "-params \"\\{\" -path " +
                folder_.path("")),
            ok());
}

TEST_F(HardIpOutput, NothingIsPutBelowTheRootOfAllFiles) {
  for (char const* const core : {"pspmc", "mmi", "bare"})
    for (auto const& [command, more] : {std::pair{"Ip_config_kdi_tcltasks_GenerateTarget", " -data d"},
                                        {"Ip_config_kdi_tcltasks_generateSDKSpecificFiles", ""},
                                        {"Ip_config_hardip_tcltasks_GenerateTarget", " -data d"}}) {
      const std::string call =
          command + (" -context {ps_core_name " + std::string(core)) + " instance_name u1} -params {} -path {}";
      EXPECT_EQ(run(call + more), error("{{no directory is given: -path is empty}} {" + call + more + "}"));
    }
  EXPECT_EQ(calls(), Texts{});
}

TEST_F(HardIpOutput, AHandoffThatFailsIsNotPacked) {
  recording_output::answers.handoff = "";
  EXPECT_EQ(target("xram"), ok());
  EXPECT_NE(definition().find("{P/u1_xram_data.cdo:7} over"), std::string::npos) << definition();
}

TEST_F(HardIpOutput, WhatACoreSaysOfItsFilesIsAdded) {
  answers.file_attributes = {{folder_.path("u1_xram_data.cdo"), {{"tag", "x"}}}, {"elsewhere", {{"a", "b"}}}};
  EXPECT_EQ(target("xram"), ok());
  EXPECT_EQ(file_attributes(), "{P/u1_xram_data.cdo{tag=x} elsewhere{a=b}}");
}

TEST_F(HardIpOutput, WhatCannotBeWrittenIsAnError) {
  recording_output::answers.is_written = false;
  Answer answer = target("xram");
  EXPECT_EQ(answer.code, TCL_ERROR);
  EXPECT_TRUE(short_form(answer.result).starts_with("{{cannot write P/hdl/u1.hwdef}} {Ip_config")) << answer.result;
  folder_.file("file", "");
  recording_core::forget_calls();
  answer = run("Ip_config_kdi_tcltasks_GenerateTarget" + context("xram") + "-params {} -path " + folder_.path("file") +
               " -data d");
  EXPECT_TRUE(short_form(answer.result).starts_with("{{cannot create directory P/file/hdl}} {Ip_config"))
      << answer.result;
  EXPECT_EQ(definition(), "none");
}

TEST_F(HardIpOutput, AnExceptionOfPackagingEndsTheCommandAndLeavesTheResult) {
  for (char const* const where : {"prepareCdo", "emitCdo", "generateHWH", "writeHDF"}) {
    capture_.clear();
    answers.on_call = [where](std::string const& call) {
      if (call.starts_with(where)) throw std::runtime_error(std::string("thrown by ") + where);
    };
    const std::string line =
        "ERROR: [tcltasks 80-3] The output files could not be generated: thrown by " + std::string(where);
    EXPECT_EQ(target("xram"), (Answer{TCL_ERROR, ""}));
    EXPECT_EQ(sdk("xram"), (Answer{TCL_ERROR, ""}));
    EXPECT_EQ(told(), (Texts{line, line}));
  }
  EXPECT_EQ(sdk("visp"), (Answer{TCL_ERROR, ""}));
}

// ----------------------------------------------------------------------------------------------------- power and I/O
// data

TEST_F(HardIpOutput, PowerAndPadDataAreFilesOfTheirOwnWhereTheyAreAskedFor) {
  answers.exported = {{"POWER_DATA", "watts"}, {"IOPAD_DATA", "pads"}};
  const With power(kPowerAndIo);
  EXPECT_EQ(target("plain"), ok());
  EXPECT_EQ(calls_from(6), (Texts{"getExportedData POWER_DATA", "writeParamInfo P/power_data.json u1 pss_power 'watts'",
                                  "getExportedData IOPAD_DATA", "writeParamInfo P/io_data.json u1 pss_io 'pads'",
                                  "getExportedData XDC_DATA"}));
  const With named(kNamed);
  recording_core::forget_calls();
  EXPECT_EQ(target("plain"), ok());
  EXPECT_EQ(calls()[7], "writeParamInfo P/u1_power_data.json u1 pss_power 'watts'");
  EXPECT_EQ(calls()[9], "writeParamInfo P/u1_io_data.json u1 pss_io 'pads'");
}

TEST_F(HardIpOutput, FilesForSoftwareAreWorkedOutAnew) {
  const With power(kPowerAndIo);
  answers.text = "of *";
  EXPECT_EQ(sdk("plain"), ok("{XDC_DATA {of *generateXdc}} {SYSMON_DATA {of *generateSysmonNpiData}} {IOPAD_DATA {of "
                             "*generateIOPadData}} {POWER_DATA {of *generatePowerData}}"));
  EXPECT_EQ(calls(), (Texts{"generatePowerData {A=1}", "generateIOPadData {A=1}",
                            "writeParamInfo P/power_data.json u1 pss_power 'of *generatePowerData'",
                            "writeParamInfo P/io_data.json u1 pss_io 'of *generateIOPadData'",
                            "writeDesignData P {A=1}", "generateXdc {A=1}", "generateSysmonNpiData {A=1}",
                            "generateIOPadData {A=1}", "generatePowerData {A=1}"}));
  const With named(kNamed);
  recording_core::forget_calls();
  sdk("plain");
  EXPECT_EQ(calls()[2], "writeParamInfo P/u1_power_data.json u1 pss_power 'of *generatePowerData'");
  recording_output::answers.is_written = false;
  const Answer answer = sdk("plain");
  EXPECT_TRUE(
      short_form(answer.result).starts_with("{{cannot write P/u1_power_data.json} {cannot write P/u1_io_data.json}} {"))
      << answer.result;
  answers.errors = {"e"};
  recording_output::answers.is_written = true;
  EXPECT_TRUE(sdk("plain").result.starts_with("{e e e e e e} {Ip_config"))
      << "of the data files, and of the four texts";
}

TEST_F(HardIpOutput, FilesForSoftwareAreToldOfOnTheirChannel) {
  message_host::set_channel("sysmon.generate.hip", 1);
  EXPECT_EQ(sdk("xram").code, TCL_OK);
  message_host::set_channel("sysmon.generate.hip", -1);
  ASSERT_EQ(capture_.messages().size(), 2U);
  EXPECT_EQ(capture_.messages()[0].text, "\t generateExportData- Enter\n");
  EXPECT_EQ(capture_.messages()[0].level, 0);
  EXPECT_EQ(capture_.messages()[1].text, "\t generateExportData- errs_msg: 0 Exit\n");
  EXPECT_EQ(calls()[1], "prepareCdo") << "before the core tells of itself";
}

TEST_F(HardIpOutput, NoInstanceOrNameNoData) {
  using namespace kelvane_config::kdi_tcltasks;
  ParamMap unnamed{{"part", "p"}}, named{{"instance_name", ""}}, params;
  StrVec errors;
  for (auto* const write : {writePowerAndIODataFiles, writePowerAndIODataFilesPrefix, generatePowerAndIODataFiles}) {
    write(nullptr, named, params, "p", errors);
    hardip_eng::HardIPInterface* const core =
        hardip_eng::HardIPManager::getInstance()->getOrCreateInstance({{"ps_core_name", "bare"}}, errors);
    write(core, unnamed, params, "p", errors);
    EXPECT_EQ(calls(), Texts{});
    write(core, named, params, "p", errors);
    EXPECT_EQ(calls().size(), 2U) << "an empty name is one";
    recording_core::forget_calls();
  }
  hardip_config::hardip_tcltasks::writePowerAndIODataFiles(nullptr, named, "p");
  EXPECT_EQ(calls(), Texts{});
}

TEST_F(HardIpOutput, AnExceptionOfDataFilesOrBootProgramIsAWarning) {
  const With power(kPowerAndIo), boot(kBoot);
  answers.on_call = [](std::string const& call) {
    if (call.starts_with("writeParamInfo")) throw std::runtime_error("no data");
    if (call == "getHsmSwManager") throw std::runtime_error("no program");
  };
  EXPECT_EQ(target("ps_pmc"), ok());
  const std::string front = "WARNING: [tcltasks 80-4] A step of the generation of the output files failed: ";
  EXPECT_EQ(told(), (Texts{front + "no data", front + "no program"}));
  EXPECT_NE(definition(), "none");
  const Texts all = calls();
  EXPECT_EQ(std::count(all.begin(), all.end(), "~hsi_ps_interface"), 1);
}

// ---------------------------------------------------------------------------------------------------------- boot
// program

TEST_F(HardIpOutput, TheBootProgramIsBuiltForOneControllerAndTakenAwayForTheOther) {
  const With boot(kBoot);
  folder_.file("tavrel_plm/sub/old", "old");
  EXPECT_EQ(target("ps_pmc"), ok());
  EXPECT_FALSE(std::filesystem::exists(folder_.path("tavrel_plm")));
  EXPECT_EQ(calls_from(6, 11), (Texts{"hsi_ps_interface", "getHsmSwManager",
                                      "generateAppForPMC hsi p1 psv_pmc_0 u1 P tavrel_plm tavrel_cips build", "finish",
                                      "~hsi_ps_interface"}));
  EXPECT_NE(files().find(" tavrel_plm/executable.elf:8"), std::string::npos);
  for (auto const& [core, is_removed] : {std::pair{"pspmc", true}, {"plain", false}}) {
    folder_.file("tavrel_plm/executable.elf", "old");
    recording_core::forget_calls();
    EXPECT_EQ(target(core), ok());
    EXPECT_EQ(std::filesystem::exists(folder_.path("tavrel_plm")), !is_removed) << core;
    EXPECT_EQ(calls_from(6, 10), (Texts{"hsi_ps_interface", "getHsmSwManager", "finish", "~hsi_ps_interface"}));
  }
}

TEST_F(HardIpOutput, WithoutSoftwareNothingIsBuiltOrTakenAway) {
  const With boot(kBoot);
  recording_output::answers.has_software = false;
  folder_.file("tavrel_plm/executable.elf", "old");
  EXPECT_EQ(target("ps_pmc"), ok());
  EXPECT_EQ(folder_.content("tavrel_plm/executable.elf"), "old");
  EXPECT_EQ(calls_from(6, 9), (Texts{"hsi_ps_interface", "getHsmSwManager", "~hsi_ps_interface"}));
  EXPECT_EQ(told(), Texts{});
}

TEST_F(HardIpOutput, WhatCannotBeTakenAwayIsAWarning) {
  const With boot(kBoot);
  // The text is not in it. It is made while its files may still be read.
  const ForeignLocale turkish("tr_TR", "ISO-8859-9");
  const Unprivileged unprivileged;
  const Scratch own;
  own.file("tavrel_plm/locked/file", "x");
  ::chmod(own.path("tavrel_plm/locked").c_str(), 0555);
  EXPECT_EQ(
      run("Ip_config_kdi_tcltasks_GenerateTarget" + context("ps_pmc") + "-params {} -path " + own.folder() + " -data d")
          .code,
      TCL_OK);
  ::chmod(own.path("tavrel_plm/locked").c_str(), 0755);
  ASSERT_EQ(told().size(), 1U);
  EXPECT_EQ(told()[0], "WARNING: [tcltasks 80-4] A step of the generation of the output files failed: " +
                           own.path("tavrel_plm/locked/file") + " cannot be removed: Permission denied");
  EXPECT_EQ(own.content("tavrel_plm/locked/file"), "x");
}

TEST(RemovalOfADirectory, StaysWithinItAndFollowsNoLink) {
  const Scratch scratch;
  const std::string precious = scratch.file("precious/file", "p");
  scratch.file("in/gone/a/b/c", "x");
  std::filesystem::create_directory_symlink(scratch.path("precious"), scratch.path("in/gone/a/link"));
  std::filesystem::create_symlink(precious, scratch.path("in/gone/file_link"));
  std::filesystem::create_symlink("nowhere", scratch.path("in/gone/dangling"));
  scratch.file("in/gone_too", "y");
  hardip::remove_directory_in(scratch.path("in"), "gone");
  EXPECT_FALSE(std::filesystem::exists(scratch.path("in/gone")));
  EXPECT_EQ(scratch.content("in/gone_too"), "y");
  EXPECT_EQ(scratch.content("precious/file"), "p");
  // itself a link, a file, nothing, in nothing, in no path
  std::filesystem::create_directory_symlink(scratch.path("precious"), scratch.path("in/gone"));
  hardip::remove_directory_in(scratch.path("in"), "gone");
  EXPECT_TRUE(std::filesystem::is_symlink(scratch.path("in/gone")));
  hardip::remove_directory_in(scratch.path("in"), "gone_too");
  hardip::remove_directory_in(scratch.path("in"), "none");
  hardip::remove_directory_in(scratch.path("none"), "gone");
  hardip::remove_directory_in("", "precious");
  EXPECT_EQ(scratch.content("precious/file"), "p");
  EXPECT_EQ(scratch.content("in/gone_too"), "y");
}

TEST(RemovalOfADirectory, EndsInATreeThatIsTooDeep) {
  const Scratch scratch;
  std::string deep = "gone";
  for (int i = 0; i < 120; ++i) deep += "/d";
  scratch.file(deep + "/file", "x");
  try {
    hardip::remove_directory_in(scratch.folder(), "gone");
    ADD_FAILURE() << "taken away";
  } catch (std::runtime_error const& error) {
    EXPECT_TRUE(std::string(error.what()).ends_with(" cannot be removed: Too many levels of symbolic links"))
        << error.what();
  }
}

// -----------------------------------------------------------------------------------------------------------
// attributes

class Attributes : public HardIpOutput {
 protected:
  std::string of(ParamMap const& values) {
    answers.values = values;
    StrVec errors;
    ParamMap attributes;
    AttrMap of_files;
    kelvane_config::kdi_tcltasks::fillHwDefAttributes(
        hardip_eng::HardIPManager::getInstance()->getOrCreateInstance({{"ps_core_name", "plain"}}, errors), attributes,
        of_files);
    // those that are always there and empty are left out
    StrVec shown;
    for (auto const& [name, value] : attributes)
      if (!value.empty()) shown.push_back(name + "=" + value);
    EXPECT_GE(attributes.size(), 12U);
    return kdi::text::joined(shown, " ");
  }
  static std::string psxl(ParamMap const& values) {
    ParamMap attributes;
    hardip_config::hardip_tcltasks::fillPsxlHwDefAttributes(values, attributes);
    StrVec shown;
    for (auto const& [name, value] : attributes) shown.push_back(name + "=" + value);
    return kdi::text::joined(shown, " ");
  }
};

TEST_F(Attributes, ComeFromParameters) {
  EXPECT_EQ(
      of({{"SEM_NPI_GOLDEN_CHECKSUM_SW", "a"},
          {"PMC_CDO_LOAD_STAGE", "b"},
          {"FPD_CDO_LOAD_STAGE", "c"},
          {"LPD_CDO_LOAD_STAGE", "d"},
          {"PS_LPD_PL_INTERFACE_ENABLE", "e"},
          {"PS_FPD_PL_INTERFACE_ENABLE", "f"},
          {"PMC_PMC_PL_INTERFACE_ENABLE", "g"},
          {"PS_NUM_FABRIC_RESETS", "h"},
          {"PS_USE_PMCPL_CLK0", "i"},
          {"PS_USE_PMCPL_CLK1", "j"},
          {"PS_USE_PMCPL_CLK2", "k"},
          {"PS_USE_PMCPL_CLK3", "l"}}),
      "FPD_CDO_STAGE=c FPD_PL_IF=f LPD_CDO_STAGE=d LPD_PL_IF=e PL_CLK0=i PL_CLK1=j PL_CLK2=k PL_CLK3=l PL_RESET=h "
      "PMC_CDO_STAGE=b PMC_PL_IF=g PMC_SEM_NPI_GOLDEN_CHECKSUM_SW=a");
}

TEST_F(Attributes, OfScansAreThereForExactlyOne) {
  EXPECT_EQ(of({{"SEM_CONFIG_MEM_SCAN", "1"}, {"SEM_CONFIG_NPI_SCAN", "1"}}),
            "PMC_SEM_NPI_SCAN_ENABLE=1 SEM_MEM_SCAN=1");
  for (char const* const value : {"0", "", " 1", "1 ", "true", "01"})
    EXPECT_EQ(of({{"SEM_CONFIG_MEM_SCAN", value}, {"SEM_CONFIG_NPI_SCAN", value}}), "");
}

TEST_F(Attributes, OfTheWidthAreTheFirstWord) {
  EXPECT_EQ(of({{"PMC_SMAP_PERIPHERAL_IO", "32 Bit"}}), "SMAP_WIDTH=32");
  EXPECT_EQ(of({{"PMC_SMAP_PERIPHERAL_IO", "  8\tx"}}), "SMAP_WIDTH=8");
  for (char const* const value : {"", "SKIP", "  "}) EXPECT_EQ(of({{"PMC_SMAP_PERIPHERAL_IO", value}}), "");
  EXPECT_EQ(of({{"PMC_SMAP_PERIPHERAL_IO", "skip"}}), "SMAP_WIDTH=skip");
}

TEST_F(Attributes, OfInterfacesAreLeftOutWhereTheyAreDecoupled) {
  const ParamMap used{{"CPM_PCIE0_PL_INTERFACE_ENABLE", "1"},
                      {"CPM_PCIE1_PL_INTERFACE_ENABLE", "1"},
                      {"CPM_REQ_AGENTS_0_ENABLE", "1"},
                      {"CPM_REQ_AGENTS_1_ENABLE", "1"}};
  const std::string all = "CHI0_PL_IF=1 CHI1_PL_IF=1 PCIEA0_PL_IF=1 PCIEA1_PL_IF=1";
  EXPECT_EQ(of(used), all);
  EXPECT_EQ(psxl(used), all);
  for (char const* const value : {"1", "2", "-1"}) {
    const With decoupled("cips.cpmdecouple", value);
    EXPECT_EQ(of(used), "");
    EXPECT_EQ(psxl(used), "");
  }
  EXPECT_EQ(of({{"CPM_PCIE0_PL_INTERFACE_ENABLE", "0"}, {"CPM_PCIE1_PL_INTERFACE_ENABLE", "2"}}), "");
  EXPECT_EQ(psxl({{"CPM_PCIE0_PL_INTERFACE_ENABLE", "0"}}), "");
}

TEST_F(Attributes, OfLargerSystemsAreCopiedIfTheyAreThere) {
  EXPECT_EQ(psxl({}), "");
  EXPECT_EQ(psxl({{"SEM_CONFIG_MEM_SCAN", "0"}}), "SEM_MEM_SCAN=0");
  EXPECT_EQ(
      psxl({{"SEM_CONFIG_MEM_SCAN", "0"}, {"SEM_MEM_SCAN", "2"}, {"SEM_NPI_SCAN", "1"}, {"SEM_CONFIG_NPI_SCAN", "7"}}),
      "PMC_SEM_NPI_SCAN_ENABLE=1 SEM_MEM_SCAN=2");
  EXPECT_EQ(psxl({{"PMC_CDO_LOAD_STAGE", "1"},
                  {"FPD_CDO_LOAD_STAGE", ""},
                  {"LPD_CDO_LOAD_STAGE", "3"},
                  {"SEM_NPI_GOLDEN_CHECKSUM_SW", "4"}}),
            "FPD_CDO_STAGE= LPD_CDO_STAGE=3 PMC_CDO_STAGE=1 PMC_SEM_NPI_GOLDEN_CHECKSUM_SW=4");
  EXPECT_EQ(psxl({{"PMC_CDO_LOAD_STAGE", "1"}, {"PMCX_CDO_LOAD_STAGE", "2"}}), "PMC_CDO_STAGE=2");
  EXPECT_EQ(psxl({{"PS_NUM_FABRIC_RESETS", "1"},
                  {"PS_USE_PMCPL_CLK0", "a"},
                  {"PS_USE_PMCPL_CLK1", "b"},
                  {"PS_USE_PMCPL_CLK2", "c"},
                  {"PS_USE_PMCPL_CLK3", "d"}}),
            "PL_CLK0=a PL_CLK1=b PL_CLK2=c PL_CLK3=d PL_RESET=1");
  EXPECT_EQ(psxl({{"PS_NUM_FABRIC_RESETS", "1"},
                  {"PSX_NUM_FABRIC_RESETS", "2"},
                  {"PS_USE_PMCPL_CLK0", "a"},
                  {"PSX_USE_PMCPL_CLK0", "A"},
                  {"PSX_USE_PMCPL_CLK1", "B"},
                  {"PSX_USE_PMCPL_CLK2", "C"},
                  {"PSX_USE_PMCPL_CLK3", "D"}}),
            "PL_CLK0=A PL_CLK1=B PL_CLK2=C PL_CLK3=D PL_RESET=2");
  EXPECT_EQ(psxl({{"PSX_LPD_PL_INTERFACE_ENABLE", "1"},
                  {"PSX_FPD_PL_INTERFACE_ENABLE", "0"},
                  {"PMC_PMC_PL_INTERFACE_ENABLE", "1"},
                  {"PMCX_PMCX_PL_INTERFACE_ENABLE", "2"}}),
            "FPD_PL_IF=0 LPD_PL_IF=1 PMCX_PL_IF=2 PMC_PL_IF=1");
}

TEST_F(Attributes, OfTheWidthOfLargerSystemsAreTheWordThatCarriesIt) {
  for (auto const& [value, width] : {std::pair{"{ENABLE 1} {IO 32_Bit}", "SMAP_WIDTH=32"},
                                     {"16_Bit IO", "SMAP_WIDTH=16"},
                                     {"a b IO", "SMAP_WIDTH=b"},
                                     {"IO", ""},
                                     {"", ""},
                                     {"SKIP", ""},
                                     {"_Bit", ""}})
    for (char const* const parameter : {"PMC_SMAP_PERIPHERAL", "PMCX_SMAP_PERIPHERAL"})
      EXPECT_EQ(psxl({{parameter, value}}), width) << value;
  EXPECT_EQ(psxl({{"PMC_SMAP_PERIPHERAL", "8_Bit"}, {"PMCX_SMAP_PERIPHERAL", "16_Bit"}}), "SMAP_WIDTH=8");
}

// ------------------------------------------------------------------------------------------------------------- the
// task

TEST_F(HardIpOutput, TheTaskMakesItsFilesInOrder) {
  answers.outputs = {{"B", rows("2", {}, "", "")}, {"C", {}}};
  answers.exported = {{"D", "told"}};
  EXPECT_EQ(task("ps_core_name psxl instance_name u1 part brvn3716-die-2LHP-e-S-es1"), ok("told"));
  const std::string context = "{instance_name=u1 part=brvn3716-die-2LHP-e-S-es1 ps_core_name=psxl}";
  EXPECT_EQ(
      calls(),
      (Texts{"getOutputParams", "generatePSXLStateJson P/u1_state.json {A=1 B=2 C=}",
             "writeMioParams P/u1_state.json inst psxl",
             "generateHDFForPSXL P/hdl/u1.hwdef P/u1.hwh {} {P/u1_fpd_data.cdo=7 P/u1_lpd_data.cdo=7 "
             "P/u1_noc_clock.cdo=7 P/u1_pmc_data.cdo=7 P/u1_sysmon_data.json=23 P/u1_sysmon_satellite.csv=23} inst",
             "generateCDO {A=1 B=2 C=} P P/u1_state.json psxl {P/u1_fpd_data.cdo{kind=7 slrId=0} "
             "P/u1_lpd_data.cdo{kind=7 slrId=0} P/u1_noc_clock.cdo{kind=7 slrId=0} P/u1_pmc_data.cdo{kind=7 slrId=0} "
             "P/u1_sysmon_data.json{kind=23} P/u1_sysmon_satellite.csv{kind=23}} " +
                 context + " inst",
             "u1.GetExportedData D"}));
  EXPECT_TRUE(std::filesystem::is_directory(folder_.path("hdl")));
}

TEST_F(HardIpOutput, TheTaskHasANameWhereTheContextHasNone) {
  EXPECT_EQ(task("ps_core_name psxl"), ok());
  EXPECT_EQ(calls()[1], "generatePSXLStateJson P/psxl_0_state.json {A=1}");
  EXPECT_EQ(task("ps_core_name bare"), ok()) << "nor a core of its own";
  EXPECT_EQ(calls().back(), "psxl_0.GetExportedData D");
}

TEST_F(HardIpOutput, TheTaskReportsWhereItIsToldToAndTheDieIsTheMaster) {
  const With reports("psx.generateIOPadJson"), monitor("psx.enableSysmon");
  answers.exported = {{"POWER_DATA", "watts"}, {"IOPAD_DATA", "pads"}};
  const auto names = [&] {
    Texts all;
    for (std::string const& call : calls()) all.push_back(call.substr(0, call.find(' ')));
    return all;
  };
  for (char const* const die : {"", "SLR_ID 0", "SLR_ID {}"}) {
    recording_core::forget_calls();
    EXPECT_EQ(task(std::string("ps_core_name psxl instance_name u1 ") + die), ok());
    EXPECT_EQ(names(), (Texts{"getOutputParams", "generatePSXLStateJson", "writeMioParams", "generateIOPadReport",
                              "generatePowerJsonReport", "u1.GetExportedData", "writeParamInfo", "u1.GetExportedData",
                              "writeParamInfo", "generateHDFForPSXL", "generateCDO", "u1.generateSysmonDataJson",
                              "u1.GetExportedData"}));
    EXPECT_EQ(calls()[3], "generateIOPadReport {A=1} P inst");
    EXPECT_EQ(calls()[4], "generatePowerJsonReport {A=1} P inst");
    EXPECT_EQ(calls()[6], "writeParamInfo P/u1_power_data.json u1 pss_power 'watts'");
    EXPECT_EQ(calls()[8], "writeParamInfo P/u1_io_data.json u1 pss_io 'pads'");
  }
  recording_core::forget_calls();
  EXPECT_EQ(task("ps_core_name psxl instance_name u1 SLR_ID 2"), ok());
  EXPECT_EQ(names(), (Texts{"getOutputParams", "generatePSXLStateJson", "writeMioParams", "generateHDFForPSXL",
                            "generateCDO", "u1.GetExportedData"}));
  EXPECT_NE(calls()[3].find(" P/u1_pmc_data_slr_2.cdo=7 "), std::string::npos);
  EXPECT_NE(calls()[4].find("P/u1_pmc_data_slr_2.cdo{kind=7 slrId=2}"), std::string::npos);
  recording_core::forget_calls();
  answers.errors = {"no pads"};
  EXPECT_TRUE(task("ps_core_name psxl instance_name u1").result.starts_with("{{no pads}} {Ip_config_hardip"));
}

TEST_F(HardIpOutput, ASlaveTakesOverWhatItsMasterHas) {
  answers.masters_values = {{"A", "masters"}};
  StrVec errors;
  auto* const manager = hardip_eng::HardIPManager::getInstance();
  for (char const* const name : {"bd_0_pmcps_0_0", "bd_1_pmcps_0_0", "xbd_pmcps_0_0"})
    manager->getOrCreateInstance({{"ps_core_name", "pmcps"}, {"instance_name", name}}, errors);
  EXPECT_EQ(task("ps_core_name pmcps instance_name slave"), ok());
  EXPECT_EQ(calls()[0], "bd_0_pmcps_0_0.updateSLRParamsFromMasterSubcore {A=1}") << "the first one";
  EXPECT_EQ(calls()[2], "generatePSXLStateJson P/slave_state.json {A=masters}");
  recording_core::forget_calls();
  EXPECT_EQ(task("ps_core_name pmcps instance_name pmcps_0_0"), ok());
  EXPECT_EQ(calls()[0], "getOutputParams") << "is the master itself";
  recording_core::forget_calls();
  EXPECT_EQ(task("ps_core_name psxl instance_name slave"), ok());
  EXPECT_EQ(calls()[0], "getOutputParams");
}

TEST_F(HardIpOutput, TheTaskGoesOnWithoutACoreAndSaysSo) {
  const Answer answer = task("ps_core_name refused instance_name u7");
  EXPECT_TRUE(answer.result.starts_with("{{no such thing}} {Ip_config_hardip_tcltasks_GenerateTarget "))
      << answer.result;
  EXPECT_EQ(calls()[0], "generatePSXLStateJson P/u7_state.json {A=1}");
  EXPECT_EQ(calls().back(), "u7.GetExportedData D");
}

TEST_F(HardIpOutput, TheTaskDoesNothingWithoutAFolder) {
  folder_.file("file", "");
  const Answer answer = run("Ip_config_hardip_tcltasks_GenerateTarget -context {ps_core_name psxl} -params {} -path " +
                            folder_.path("file") + " -data d");
  EXPECT_TRUE(short_form(answer.result).starts_with("{{cannot create directory P/file/hdl}} {")) << answer.result;
  EXPECT_EQ(calls(), Texts{});
}

// --------------------------------------------------------------------------------------------------- words and
// converter

TEST_F(HardIpOutput, TheConverterIsToldBothPaths) {
  EXPECT_EQ(run("Ip_config_kdi_tcltasks_convert_component_xml_to_json -output o.json -input {i 1.xml}"), ok());
  EXPECT_EQ(calls(), Texts{"HICComponentXMltoJsonConverter i 1.xml o.json"});
}

TEST_F(HardIpOutput, WrongWordsAreToldInTheWordsOfEachCommand) {
  const std::string usage = "wrong arguments:  -context { ctxpar val ... }, -params { param param ... }";
  for (auto const& [command, complaint] :
       {std::pair{std::string("Ip_config_kdi_tcltasks_GenerateTarget -context {} -params {} -path x"), usage},
        {"Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {} -params {}", usage},
        {"Ip_config_kdi_tcltasks_generateSDKSpecificFiles -context {} -params {} -path x -data y", usage},
        {"Ip_config_hardip_tcltasks_GenerateTarget -context {} -params {} -path x", usage},
        {"Ip_config_kdi_tcltasks_convert_component_xml_to_json -input x",
         "wrong arguments: -context { ctxpar val ... }"}})
    EXPECT_EQ(run(command), (Answer{TCL_ERROR, "{" + complaint + "} {" + command + "}"}));
  EXPECT_EQ(calls(), Texts{});
}

}  // namespace
