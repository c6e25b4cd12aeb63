// The output of every kind of core as scripts get it: commands of the package over real cores. A definition has what it
// lists, files are what their readers read, and hardware carries them out.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "kdi/hdf/HHDFHwDefFileTypes.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "kdi/ippcw/host/Handoff.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"
#include "tests/support/script_answer.h"
#include "tests/support/tool_param.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

namespace fs = std::filesystem;
using kdi::hdf::HardwareDefinition;
using kdi::hdf::PackedFile;

constexpr char const *kFirst = "brvn1102-a625-2LHP-e-S", *kSecond = "brvn1404-a625-2LHP-e-S",
                     *kSmall = "brvn2104-b900-1LHP-e-S", *kLarge = "brvn3716-die-2LHP-e-S-es1",
                     *kRegions = "brvn5130-b1936-2LHP-e-S";

struct Kind {
  char const *core, *version, *part;
  std::vector<std::string> files = {};  ///< in the definition, in its order; none: there is no definition
  char const* region = "";              ///< what the context says of it; empty: nothing
};
std::ostream& operator<<(std::ostream& out, Kind const& kind) { return out << kind.core << " on " << kind.part; }

class RealOutputs : public testing::TestWithParam<Kind> {
 protected:
  RealOutputs() { Kdi_iptasks_Init(interp_.get()); }

  std::string context(Kind const& kind) const {
    const std::string region = *kind.region == '\0' ? "" : std::string(" SLR_ID ") + kind.region;
    return " -context {instance_name u1 ps_core_name " + std::string(kind.core) + " ps_core_ver {" + kind.version +
           "} part " + kind.part + region + "}";
  }
  Answer eval(std::string const& script) { return answer_of(interp_.get(), script); }

  HardwareDefinition definition() const {
    return kdi::hdf::read_hardware_definition(scratch_.path("out/hdl/u1.hwdef"));
  }
  // The file of that name below the output.
  std::string on_disk(std::string const& name) const {
    for (auto const& entry : fs::recursive_directory_iterator(scratch_.path("out")))
      if (entry.path().filename() == name) return kdi::read_file(entry.path().string());
    return "nowhere";
  }

  void looks_whole(std::vector<std::string> const& expected) const {
    std::vector<std::string> names;
    for (PackedFile const& file : definition().files) {
      SCOPED_TRACE(file.name);
      names.push_back(file.name);
      EXPECT_FALSE(file.is_missing);
      EXPECT_EQ(file.content, on_disk(file.name));
      reads_back(file);
    }
    EXPECT_EQ(names, expected);
  }
  // By its kind, the one that its name asks for.
  void reads_back(PackedFile const& file) const {
    if (file.name.ends_with(".hwh")) {
      EXPECT_EQ(file.kind, HHDFHwDefFileTypes::HWH_HANDOFF);
      EXPECT_EQ(hardip_eng::read_handoff_text(file.content, file.name).core, GetParam().core);
    } else if (file.name.ends_with(".cdo")) {
      EXPECT_EQ(file.kind, HHDFHwDefFileTypes::CDO);
      kdi::cdo::from_text(file.content, file.name);
    } else if (file.name.ends_with(".bin")) {
      EXPECT_EQ(file.kind, HHDFHwDefFileTypes::PMC_CDO_BIN);
      EXPECT_EQ(kdi::cdo::from_binary(file.content, file.name), kdi::cdo::from_text(on_disk("pmc_data.cdo"), "text"));
    } else if (file.name.ends_with(".json")) {
      EXPECT_EQ(file.kind, HHDFHwDefFileTypes::SYSMON_DATA);
      kdi::JsonFile(file.content, file.name);
    } else {
      EXPECT_EQ(file.kind, HHDFHwDefFileTypes::SYSMON_DATA);
      EXPECT_EQ(file.content.substr(0, file.content.find('\n')), "satellite,measurement,number,supply,volts");
    }
  }

  struct End {
    void operator()(Tcl_Interp* interp) const { Tcl_DeleteInterp(interp); }
  };
  std::unique_ptr<Tcl_Interp, End> interp_{Tcl_CreateInterp()};
  Scratch scratch_;
  const std::string path_ = " -params {} -path " + scratch_.path("out");
};

// --- cores that are asked by their configuration commands

const std::vector<std::string> kController = {
    "pmc_data.cdo", "pmc_cdo.bin", "sysmon_data.json", "sysmon_satellite.csv", "lpd_data.cdo",
    "fpd_data.cdo", "u1.hwh"};
const std::vector<std::string> kBlock = {"cpm_pre_data.cdo", "cpm_post_data.cdo", "cpm_win_data.cdo", "u1.hwh"};

class ConfiguredOutputs : public RealOutputs {};

INSTANTIATE_TEST_SUITE_P(
    Of, ConfiguredOutputs,
    testing::Values(Kind{"xram", "1.0", kLarge, {"u1_xram_data.cdo", "u1.hwh"}},
                    Kind{"pspmcx",
                         "1.0",
                         kSecond,
                         {"u1_pmc_data.cdo", "u1_sysmon_data.json", "u1_sysmon_satellite.csv", "u1_lpd_data.cdo",
                          "u1_fpd_data.cdo", "u1.hwh"}},
                    Kind{"ps_pmc", "1.0", kFirst, kController}, Kind{"pspmc", "1.0", kSecond, kController},
                    Kind{"pspmc", "1.4", kFirst, kController}, Kind{"cpm", "1.0", kFirst, kBlock},
                    Kind{"cpm4", "1.0", kFirst, kBlock}, Kind{"cpm4_tavrel", "1.0", kFirst, kBlock},
                    Kind{"cpm5", "1.0", kSecond, kBlock}, Kind{"cpm5_tavrel", "1.0", kSecond, kBlock},
                    Kind{"cpm5n", "1.0", kLarge, kBlock}, Kind{"cpm5n", "1.0", kRegions, kBlock},
                    Kind{"ai_engine", "", kLarge}, Kind{"tap", "1.0", kFirst}, Kind{"tavrel_cips", "3.4", kFirst},
                    Kind{"psx_wizard", "1.0", kLarge}, Kind{"ps_wizard", "1.0", kSmall}));

TEST_P(ConfiguredOutputs, ArePackagedWhole) {
  for (std::string const& command :
       {"Ip_config_kdi_tcltasks_GenerateTarget" + context(GetParam()) + path_ + " -data NONE",
        "Ip_config_kdi_tcltasks_generateSDKSpecificFiles" + context(GetParam()) + path_}) {
    SCOPED_TRACE(command);
    fs::remove_all(scratch_.path("out"));
    const message_host::Capture heard;
    const Answer answer = eval(command);
    EXPECT_EQ(answer.code, TCL_OK) << answer;
    EXPECT_EQ(heard.lines(), std::vector<std::string>());
    EXPECT_EQ(fs::exists(scratch_.path("out/hdl/u1.hwdef")), !GetParam().files.empty());
    if (!GetParam().files.empty()) looks_whole(GetParam().files);
  }
}

// The links of a block with PCIe are loaded before the fabric, if the configuration says so.
using StagedOutputs = RealOutputs;
INSTANTIATE_TEST_SUITE_P(Of, StagedOutputs, testing::Values(Kind{"cpm4", "1.0", kFirst}, Kind{"cpm5n", "1.0", kLarge}));

TEST_P(StagedOutputs, SayWhichStageLoadsThem) {
  using Stages = std::map<std::string, std::string>;
  const auto stages = [&](std::string const& params) {
    const Answer answer =
        eval("Ip_config_kdi_tcltasks_GenerateTarget" + context(GetParam()) + " -params {CPM_PCIE0_MODES DMA" + params +
             "} -path " + scratch_.path("out") + " -data NONE");
    EXPECT_EQ(answer.code, TCL_OK) << answer;
    Stages all;
    for (PackedFile const& file : definition().files)
      for (auto const& [name, value] : file.attributes) all[file.name + " " + name] = value;
    return all;
  };
  EXPECT_EQ(stages(" CPM_TANDEM_MODE {Tandem PROM}"), (Stages{{"cpm_post_data.cdo tandemStage", "2"},
                                                              {"cpm_pre_data.cdo tandemStage", "1"},
                                                              {"cpm_win_data.cdo tandemStage", "2"}}));
  EXPECT_EQ(stages(" CPM_TANDEM_MODE None"), Stages());
}

// The program that its package names, built by a compiler of this machine.
TEST(RealTargets, OfAControllerHaveTheBootProgram) {
  for (char const* const needed : {"/usr/bin/clang", "/usr/bin/ld.lld"})
    if (!kdi::is_file(needed)) GTEST_SKIP() << "there is no " << needed;
  const With program("project.enableWDIFromHwdef"), regeneration("project.enableHwDefRegeneration");
  const Scratch scratch;
  Tcl_Interp* const interp = Tcl_CreateInterp();
  Kdi_iptasks_Init(interp);
  const std::string script =
      "Ip_config_kdi_tcltasks_GenerateTarget -context {ps_core_name ps_pmc instance_name u1 part " +
      std::string(kFirst) + "} -params {} -path " + scratch.folder() + " -data NONE";
  const message_host::Capture heard;
  EXPECT_EQ(answer_of(interp, script), ok());
  Tcl_DeleteInterp(interp);
  EXPECT_EQ(heard.lines(), std::vector<std::string>());
  const HardwareDefinition definition = kdi::hdf::read_hardware_definition(scratch.path("hdl/u1.hwdef"));
  const auto named = [&](std::string const& name) {
    const auto file = std::find_if(definition.files.begin(), definition.files.end(),
                                   [&](PackedFile const& one) { return one.name == name; });
    return file == definition.files.end() ? PackedFile() : *file;
  };
  const PackedFile elf = named("executable.elf");
  EXPECT_EQ(elf.kind, HHDFHwDefFileTypes::BOOT_ELF);
  EXPECT_EQ(elf.attributes.at("file_type"), "BOOTLOADER");
  EXPECT_EQ(elf.content, kdi::read_file(scratch.path("tavrel_plm/executable.elf")));
  EXPECT_EQ(elf.content.substr(0, 4),
            "\x7F"
            "ELF");
  EXPECT_EQ(kdi::hdf::read_param_info(scratch.path("power_data.json")).kind, "pss_power");
  for (char const* const data : {"power_data.json", "io_data.json"})
    EXPECT_EQ(named(data).content, kdi::read_file(scratch.path(data)));
}

// Of a device with several dies the package says which file is for which.
TEST(RealTargets, OfSeveralDiesSayWhichTheyAreFor) {
  const Scratch scratch;
  std::string device = kdi::read_file(places::data("devices/brvn1404.json"));
  for (auto const& [from, to] :
       {std::pair{R"("device": "brvn1404")", R"("device": "made1404")"},
        {R"({"name": "SLR0", "master": true})", R"({"name": "A", "master": true}, {"name": "B", "master": false})"}}) {
    ASSERT_NE(device.find(from), device.npos) << from;
    device.replace(device.find(from), std::string_view(from).size(), to);
  }
  scratch.file("devices/made1404.json", device);
  // a process of its own, since devices are read once
  Surroundings around;
  around.variables = {{"KDI_DATA_DIR", scratch.folder()},
                      {"KDI_PARAMS", scratch.file("params.json", R"({"cips.ssitSupport": true})")}};
  const Outcome outcome = run_program(
      {places::program("test_tclsh"),
       scratch.file("script.tcl", "load " + places::library("libkdi_iptasks.so") +
                                      "\nIp_config_kdi_tcltasks_GenerateTarget -context {ps_core_name pspmc "
                                      "instance_name u1 part made1404-a625-2LHP-e-S} -params {} -data NONE -path " +
                                      scratch.path("out") + "\n")},
      around);
  ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
  EXPECT_EQ(outcome.err, "");
  std::map<std::string, std::string> dies_of;
  for (PackedFile const& file : kdi::hdf::read_hardware_definition(scratch.path("out/hdl/u1.hwdef")).files) {
    EXPECT_FALSE(file.is_missing) << file.name;
    const auto said = file.attributes.find("slrId");
    dies_of[file.name] = said == file.attributes.end() ? "" : said->second;
  }
  EXPECT_EQ(dies_of, (std::map<std::string, std::string>{{"fpd_data.cdo", "0"},
                                                         {"lpd_data.cdo", "0"},
                                                         {"noc_clock.cdo", "0,1"},
                                                         {"pmc_cdo.bin", ""},
                                                         {"pmc_data.cdo", "0"},
                                                         {"pmc_data_slr_1.cdo", "1"},
                                                         {"sysmon_data.json", ""},
                                                         {"sysmon_satellite.csv", ""},
                                                         {"u1.hwh", ""}}));
}

// --- cores of the larger systems, which are asked by their task commands

const std::vector<std::string> kWhole = {
    "u1.hwh",          "u1_fpd_data.cdo",     "u1_lpd_data.cdo",        "u1_noc_clock.cdo",
    "u1_pmc_data.cdo", "u1_sysmon_data.json", "u1_sysmon_satellite.csv"};
std::vector<std::string> of_region(std::string const& region) {
  std::vector<std::string> files = kWhole;
  files.insert(files.begin() + 5, "u1_pmc_data_slr_" + region + ".cdo");
  return files;
}

class TaskOutputs : public RealOutputs {
 protected:
  Answer target(Kind const& kind) {
    return eval("Ip_config_hardip_tcltasks_GenerateTarget" + context(kind) + path_ + " -data NONE");
  }
};

INSTANTIATE_TEST_SUITE_P(
    Of, TaskOutputs,
    testing::Values(Kind{"psxl", "1.0", kLarge, kWhole}, Kind{"psxl", "1.0", kRegions, kWhole},
                    Kind{"pmcps", "1.0", kLarge, kWhole}, Kind{"pmcps", "1.0", kRegions, kWhole, "0"},
                    Kind{"pmcps", "1.0", kRegions, of_region("1"), "1"},
                    Kind{"pmcps", "1.0", kRegions, of_region("2"), "2"}, Kind{"ps11", "1.0", kLarge, kWhole},
                    Kind{"psx_wizard", "1.0", kLarge, kWhole}, Kind{"psxl_wizard", "1.0", kRegions, kWhole},
                    Kind{"ps_wizard", "1.0", kSmall, kWhole}, Kind{"ps_wizard", "1.0", kRegions, kWhole}));

TEST_P(TaskOutputs, ArePackagedWhole) {
  const With reports("psx.generateIOPadJson"), monitor("psx.enableSysmon");
  const message_host::Capture heard;
  EXPECT_EQ(target(GetParam()), ok());
  EXPECT_EQ(heard.lines(), std::vector<std::string>());
  looks_whole(GetParam().files);
  EXPECT_FALSE(fs::exists("u1_sysmon_data.json")) << "the monitor's data belong to the output";
  const std::string own = std::string_view(GetParam().region).empty() ? "0" : GetParam().region;
  for (PackedFile const& file : kdi::hdf::read_hardware_definition(scratch_.path("out/hdl/u1.hwdef")).files) {
    const bool is_for_dies = file.name.ends_with(".cdo"), is_for_all = file.name == "u1_noc_clock.cdo";
    const std::string all = GetParam().part == kRegions ? "0,1,2" : "0";
    EXPECT_EQ(file.attributes, (is_for_dies ? ParamMap{{"slrId", is_for_all ? all : own}} : ParamMap())) << file.name;
  }
  const bool is_master = std::string_view(GetParam().region).empty() || std::string_view(GetParam().region) == "0";
  for (char const* const file : {"u1_power_data.json", "u1_io_data.json", "power_report.json", "iopad_report.json"})
    EXPECT_EQ(fs::exists(scratch_.path("out/") + file), is_master) << file;
}

// What a definition had before is not what it has afterwards.
TEST_P(TaskOutputs, ReplaceWhatStoodThere) {
  for (std::string const& name : GetParam().files) scratch_.file("out/" + name, "of another time");
  EXPECT_EQ(target(GetParam()), ok());
  looks_whole(GetParam().files);
}

using Hardware = RealOutputs;
INSTANTIATE_TEST_SUITE_P(Of, Hardware,
                         testing::Values(Kind{"psxl", "1.0", kRegions}, Kind{"pmcps", "1.0", kRegions},
                                         Kind{"ps11", "1.0", kLarge}));

TEST_P(Hardware, OfEveryRegionComesUp) {
  ASSERT_EQ(eval("Ip_config_hardip_tcltasks_GenerateTarget" + context(GetParam()) + path_ + " -data NONE"), ok());
  const auto map = kdi::cores::RegisterMap::of(kdi::cores::core_description(GetParam().core, GetParam().version));
  kdi::cores::RegisterMemory memory(*map);
  const int regions = GetParam().part == kRegions ? 3 : 1;
  std::vector<std::string> files = {"pmc_data", "lpd_data", "fpd_data", "noc_clock"};
  for (int n = 1; n < regions; ++n) files.push_back("pmc_data_slr_" + std::to_string(n));
  for (std::string const& file : files) {
    const std::string path = scratch_.path("out/u1_" + file + ".cdo");
    memory.run(kdi::cdo::from_text(kdi::read_file(path), path));
  }
  for (int n = 0; n < 4; ++n) {
    const std::string region = std::to_string(n);
    const std::uint32_t is_there = n < regions ? 1 : 0;
    EXPECT_EQ(memory.field("NOC_CLOCK.REGION_" + region, "ACTIVE"), is_there) << region;
    if (n == 0) continue;
    EXPECT_EQ(memory.field("REGION_" + region + ".STATUS", "LOCKED"), is_there) << region;
    EXPECT_EQ(memory.field("REGION_" + region + ".CONTROL", "BYPASS"), 1 - is_there) << region;
    EXPECT_EQ(memory.field("REGION_" + region + ".IDENTITY", "ID"), n < regions ? static_cast<unsigned>(n) : 0U);
    EXPECT_EQ(memory.field("REGION_" + region + ".IDENTITY", "REFERENCE"), n < regions ? 50'000U : 0U);
  }
}

// Without a name of its own, an instance has that of the family's first; files, handoff and listing agree on it.
TEST(RealTasks, OfAnInstanceWithoutANameHaveOne) {
  const Scratch scratch;
  Tcl_Interp* const interp = Tcl_CreateInterp();
  Kdi_iptasks_Init(interp);
  const std::string script = "Ip_config_hardip_tcltasks_GenerateTarget -context {ps_core_name psxl part " +
                             std::string(kLarge) + "} -params {} -path " + scratch.folder() + " -data NONE";
  EXPECT_EQ(answer_of(interp, script), ok());
  Tcl_DeleteInterp(interp);
  for (PackedFile const& file : kdi::hdf::read_hardware_definition(scratch.path("hdl/psxl_0.hwdef")).files) {
    EXPECT_FALSE(file.is_missing) << file.name;
    EXPECT_TRUE(file.name.starts_with("psxl_0")) << file.name;
  }
  EXPECT_EQ(hardip_eng::read_handoff(scratch.path("psxl_0.hwh")).instance, "psxl_0");
}

}  // namespace
