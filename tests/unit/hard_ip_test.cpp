// Cores behind the doors of the hard-IP engine: which instance a context gets, what it offers, and what it answers.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/cores/Store.h"
#include "kdi/device/parts.h"
#include "kdi/ippcw/HICHipInstInterface.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HardIPInstance.h"
#include "kdi/ippcw/cips_top.h"
#include "kdi/ippcw/host/CoreAccess.h"
#include "kdi/ippcw/host/HardIPFactories.h"
#include "tests/support/made_cores.h"
#include "tests/support/places.h"

namespace {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::HardIPOp;

constexpr char kXramPart[] = "brvn3716-die-2LHP-e-S-es1";
// The shipped processing system, on a part that has it.
constexpr char kPspmcPart[] = "brvn1102-a625-2LHP-e-S";

constexpr char kParameters[] = R"("parameters": [
  {"name": "ENABLE", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "0",
   "user_names": ["OLD_ENABLE"]},
  {"name": "RATE", "type": "integer", "widget": "EDIT", "description": "d", "default": "5", "limits": ["1", "9"],
   "enabled": "ENABLE", "skips": true,
   "messages": [{"name": "odd", "severity": "warning", "when": "RATE mod 2 == 1 and ENABLE", "text": "{RATE} is odd"},
                {"name": "large", "severity": "error", "when": "RATE > 6", "text": "{RATE} is large"}]},
  {"name": "MODE", "type": "text", "widget": "COMBO", "description": "d", "default": "one", "values": ["one", "two or more"]},
  {"name": "TWICE", "type": "integer", "widget": "EDIT", "description": "d", "default": "0", "derived": "RATE * 2"}
])";

// One core of each kind, all alike.
class HardIp : public testing::Test {
 protected:
  HardIp() {
    for (char const* const kind : {"fixed", "block", "plain", "pspmc", "cips", "psxl"})
      cores_.add(std::string("made_") + kind, "1.0", std::string(R"("interface": ")") + kind + "\", " + kParameters);
    cores_.add("made_block", "1.10", R"("extends": "1.0", "renamed": {"MODE": "STYLE"})");
  }
  ~HardIp() override {
    for (ParamMap const& made : made_) manager_.deleteInstance(made, errors_);
  }

  ParamMap context(std::string const& core, std::string const& version = "") const {
    return on(cores_.part(), core, version);
  }
  static ParamMap on(std::string const& part, std::string const& core, std::string const& version = "",
                     std::string const& name = "i") {
    return {{"ps_core_name", core}, {"ps_core_ver", version}, {"part", part}, {"instance_name", name}};
  }
  HardIPInterface* get(ParamMap const& asked) {
    made_.push_back(asked);
    HardIPInterface* const made = manager_.getOrCreateInstance(asked, errors_);
    EXPECT_NE(made, nullptr) << (errors_.empty() ? "no reason" : errors_.back());
    return made;
  }
  std::string refusal(ParamMap const& asked) {
    StrVec errors;
    EXPECT_EQ(manager_.getOrCreateInstance(asked, errors), nullptr);
    EXPECT_EQ(errors.size(), 1u);
    return errors.empty() ? "" : errors[0];
  }

  MadeCores cores_;
  message_host::Capture messages_;
  HardIPManager& manager_ = *HardIPManager::getInstance();
  StrVec errors_;
  std::vector<ParamMap> made_;
};

// With no message, whatever clocks the device has.
TEST_F(HardIp, LargerSystemsStandAtEverySpeedGrade) {
  for (char const* const part : {"brvn3716-die-2LHP-e-S-es1", "brvn3716-die-1LHP-e-S-es1"})
    for (auto const& [core, block] : {std::pair("psxl", "PSX"), {"pmcps", "PS"}, {"ps11", "PS"}}) {
      SCOPED_TRACE(std::string(part) + " " + core);
      HardIPInterface* const system = get(on(part, core, "1.0"));
      ASSERT_NE(system, nullptr) << errors_.at(0);
      RawResult ranges;
      ParamMap messages;
      const std::string uart = block + std::string("_UART0_PERIPHERAL_");
      system->getRanges({{uart + "ENABLE", "1"}, {uart + "IO", block + std::string("_MIO 0 .. 1")}}, ranges, messages,
                        10);
      EXPECT_EQ(messages, ParamMap{});
      EXPECT_EQ(ranges.at(block + std::string("_CRL_UART0_REF_CTRL_ACT_FREQMHZ"))[0], StrVec{"100"});
      manager_.deleteInstance(on(part, core, "1.0"), errors_);
    }
}

// A wizard answers for the cores in it, each of which has a text.
TEST_F(HardIp, LargerWizardsHoldTheirCores) {
  struct Case {
    char const *wizard, *text, *internal, *member;
  };
  for (Case const& one :
       {Case{"psxl_wizard", "PSX_PMCX_CONFIG", "PSX_PMCX_CONFIG_INTERNAL", "PSX_UART0_PERIPHERAL_ENABLE"},
        {"psx_wizard", "PSX_PMCX_CONFIG", "PSX_PMCX_CONFIG_INTERNAL", "PSX_UART0_PERIPHERAL_ENABLE"},
        {"psx_wizard", "CPM_CONFIG", "CPM_CONFIG_INTERNAL", "CPM_PCIE2_PL_INTERFACE_ENABLE"},
        {"ps_wizard", "PS_PMC_CONFIG", "PS_PMC_CONFIG_INTERNAL", "PS_UART0_PERIPHERAL_ENABLE"}}) {
    SCOPED_TRACE(std::string(one.wizard) + " " + one.text);
    const ParamMap where = on("brvn3716-die-2LHP-e-S-es1", one.wizard, "1.0");
    HardIPInterface* const wizard = get(where);
    ASSERT_NE(wizard, nullptr) << errors_.at(0);
    RawResult ranges;
    ParamMap messages;
    wizard->getRanges({{one.text, one.member + std::string(" 1")}}, ranges, messages, 10);
    EXPECT_EQ(wizard->getParamValue(one.member), "1");
    EXPECT_NE(wizard->getParamValue(one.internal).find(one.member + std::string(" 1")), std::string::npos);
    manager_.deleteInstance(where, errors_);
  }
}

// Each sub-core stands for itself as well: what it is given shows in the wizard's text, and the reverse.
TEST_F(HardIp, SubCoresOfAWizardHaveInstances) {
  const std::string part = "brvn5130-b1936-2LHP-e-S";
  const ParamMap where = on(part, "ps_wizard", "1.0", "w");
  HardIPInterface* const wizard = get(where);
  const auto found = [&](std::string const& name) {
    StrVec none;
    return manager_.findInstance(on(part, "pmcps", "", name), none);
  };
  EXPECT_EQ(found("w_pmcps_3"), nullptr);  // the part has three regions
  HardIPInterface* const second = found("w_pmcps_1");
  HardIPInterface* const cell = found("bd_w_pmcps_0_0");
  ASSERT_NE(second, nullptr);
  ASSERT_NE(cell, nullptr);
  EXPECT_NE(dynamic_cast<HICHipInstInterface*>(second), nullptr);
  EXPECT_EQ(dynamic_cast<HICHipInstInterface*>(cell), nullptr);
  EXPECT_EQ(cell->instanceFileStem(), "bd_w_pmcps_0_0");
  EXPECT_EQ(cell->getHICInst(), found("w_pmcps_0")->getHICInst());
  EXPECT_EQ(cell->getHICInst()->getSubCoreName(), "tmp_pmcps_0");
  EXPECT_EQ(second->getHICInst()->getSubCoreName(), "tmp_pmcps_1");
  RawResult rows;
  ParamMap messages;
  wizard->getRanges({{"PS_PMC_CONFIG_1", "SMON_OT 0"}}, rows, messages, 10);
  EXPECT_EQ(second->getParamValue("SMON_OT"), "0");
  EXPECT_EQ(cell->getParamValue("SMON_OT"), "1");
  StrPairs pairs{{"SMON_USER_TEMP", "0"}};
  StrVec modified;
  second->getHICInst()->guiSetParam(pairs, modified, messages);
  EXPECT_EQ(wizard->getParamValue("PS_PMC_CONFIG_1"), "SMON_OT 0 SMON_USER_TEMP 0");
  EXPECT_NE(std::find(modified.begin(), modified.end(), "PS_PMC_CONFIG_1"), modified.end());
  // Each numbers the supplies of its region.
  EXPECT_EQ(
      second->getHICInst()->getStartSupplyId(),
      cell->getHICInst()->getStartSupplyId() + std::stoi(second->getHICInst()->getSysmonData("SUPPLY_COUNT", "")));
  // Of a text for a region that the part does not have nothing is a member.
  EXPECT_EQ(rows.at("PS_PMC_CONFIG_2")[2], StrVec{"ENABLE"});
  EXPECT_EQ(rows.at("PS_PMC_CONFIG_3"), (RawResult::mapped_type{{"SKIP"}, {}, {"DISABLE"}, {"EDIT"}, {}, {}}));
  messages.clear();
  wizard->getRanges({{"PS_PMC_CONFIG_3", "SMON_OT 0"}}, rows, messages, 10);
  EXPECT_EQ(messages.at("PS_PMC_CONFIG_3"), "PS_PMC_CONFIG_3 has no member \"SMON_OT\"");
  // They end with the wizard, but for one that is another's by then.
  const std::shared_ptr<HICInst> kept = second->getHICInst();
  manager_.deleteInstance(on(part, "pmcps", "", "w_pmcps_0"), errors_);
  HardIPInterface* const other = get(on(part, "pmcps", "1.0", "w_pmcps_0"));
  manager_.deleteInstance(where, errors_);
  EXPECT_EQ(found("w_pmcps_1"), nullptr);
  EXPECT_EQ(found("bd_w_pmcps_0_0"), nullptr);
  EXPECT_EQ(found("w_pmcps_0"), other);
  EXPECT_EQ(kept->getParamValue("SMON_OT"), "0");
}

TEST_F(HardIp, TheReferenceMemoryStandsBehindTheDoors) {
  HardIPInterface* const xram = get(on(kXramPart, "xram", "1.0"));
  ASSERT_NE(xram, nullptr) << errors_.at(0);
  EXPECT_TRUE(xram->isDefaultInstance());
  RawResult ranges;
  ParamMap messages;
  xram->getRanges({{"CONFIG.XRAM_CLOCK_MHZ", "900"}, {"XRAM_PORT0_ENABLE", "true"}}, ranges, messages, 10);
  EXPECT_EQ(messages,
            (ParamMap{{"XRAM_REF_CTRL_FREQMHZ", "PARAM XRAM_REF_CTRL_FREQMHZ::900 is out of range  { 50,800 }"}}));
  EXPECT_EQ(ranges.at("XRAM_REF_CTRL_FREQMHZ"),
            (RawResult::mapped_type{{"900"}, {"50.0", "800"}, {"ENABLE"}, {"EDIT"}, {}, {}}));
  EXPECT_EQ(ranges.at("XRAM_PORT0_ENABLE")[0], StrVec{"1"});
  EXPECT_EQ(ranges.at("XRAM_PORT0_DATA_WIDTH"),
            (RawResult::mapped_type{{"128"}, {"32", "64", "128"}, {"ENABLE"}, {"COMBO"}, {}, {}}));
  EXPECT_EQ(ranges.at("XRAM_PORT1_DATA_WIDTH"),
            (RawResult::mapped_type{{"SKIP"}, {"32", "64", "128"}, {"DISABLE"}, {"COMBO"}, {}, {}}));
  EXPECT_FALSE(xram->isDefaultInstance());
  RawResult output;
  xram->getOutputParams(output);
  EXPECT_EQ(output, ranges);
  ParamMap values{{"A_WORD_OF_ITS_OWN", "1"}, {"XRAM_REF_CTRL_FREQMHZ", "before"}}, by_rows = values;
  xram->getParamValues(values);
  xram->HardIPInterface::getParamValues(by_rows);
  EXPECT_EQ(values.size(), output.size() + 1);
  EXPECT_EQ(values, by_rows);
  EXPECT_EQ(values.at("XRAM_REF_CTRL_FREQMHZ"), "900");
  EXPECT_EQ(values.at("XRAM_PORT1_DATA_WIDTH"), "SKIP");
  std::string text = "as it was";
  xram->getDeviceInfo("no such word", text);
  EXPECT_EQ(text, "as it was");
  xram->getDeviceInfo("device", text);
  EXPECT_EQ(text, "brvn3716");
}

TEST_F(HardIp, TheDeviceIsAskedByDocumentedWords) {
  cores_.add("made_block", "3.0", R"~("extends": "1.0",
    "device": [{"each": {"p": "{A,B}"}, "word": "pll.${p}.vco_max_mhz", "type": "decimal", "without": "7.5"},
               {"word": "mio_pins", "type": "integer", "without": "0"}],
    "parameters": [{"name": "VCO", "type": "decimal", "widget": "EDIT", "description": "d", "default": "0",
                    "derived": "device('pll.A.vco_max_mhz') + device('mio_pins')"}])~");
  EXPECT_EQ(get(context("made_block", "3.0"))->getParamValue("VCO"), "61.5");  // of the pads alone the device knows
  HardIPInterface* const xram = get(on("brvn1102-a625-2LHP-e-S", "xram"));
  const auto told = [&](std::string const& word) {
    std::string text;
    xram->getDeviceInfo(word, text);
    return text;
  };
  EXPECT_EQ(told("system"), "pspmc");
  EXPECT_EQ(told("slr.master"), "0");
  EXPECT_EQ(told("pll.APLL.output_max_mhz"), "1800");
  EXPECT_EQ(told("pll.APLL.output_divides"), "2 4 8 16");
  EXPECT_EQ(told("clock.ACPU.max_mhz"), "1400");
  EXPECT_EQ(told("divider.clock.max"), "1023");
  EXPECT_EQ(told("supply.0.name"), "VCC_PMC");
  EXPECT_EQ(told("supply.0.volts"), "0.8");
  EXPECT_EQ(told("supply.8.name"), "VCCO_302");
  EXPECT_EQ(told("core.ps_pmc.versions"), "1.0");
  EXPECT_EQ(told("property.TEMPERATURE_MAX_C"), "100");
  // docs/device-info.md names each word, with its names and numbers as <...>.
  const std::string page = kdi::read_file(places::source("docs/device-info.md"));
  for (char const* const word : {"`part`", "`pll.<NAME>.output_divides`", "`clock.<NAME>.max_mhz`",
                                 "`supply.<n>.volts`", "`divider.<name>.max`"})
    EXPECT_NE(page.find(word), std::string::npos) << word;
}

// Of the words that a core asks for its part says all, as docs/device-info.md has it.
TEST_F(HardIp, WhatCoresAskOfTheirPartsIsAnswered) {
  std::set<std::string> missing;
  int answered = 0;
  for (char const* const name : {"zrv7030-c484-1-c", "zrv9010-f625-1-e", "brvn1102-a625-2LHP-e-S",
                                 "brvn1404-a625-1LHP-e-S", "brvn3716-die-1LHP-e-S-es1", "brvn5130-b1936-2LHP-e-S"}) {
    kdi::device::Part const* const part = kdi::device::find_part(name);
    ASSERT_NE(part, nullptr) << name;
    for (auto const& [core, versions] : part->device->processing_system->cores)
      for (std::string const& version : kdi::cores::core_versions(core)) {
        if (!versions.empty() && std::find(versions.begin(), versions.end(), version) == versions.end()) continue;
        HardIPInterface* const instance = get(on(name, core, version, version));
        for (kdi::cores::Fact const& fact : kdi::cores::core_description(core, version)->facts()) {
          std::string text = "nothing";
          instance->getDeviceInfo(fact.word, text);
          ++answered;
          if (text == "nothing") missing.insert(std::string(name) + ", " + core + ": " + fact.word);
        }
        manager_.deleteInstance(on(name, core, version, version), errors_);
      }
  }
  EXPECT_GT(answered, 1000);
  EXPECT_EQ(missing, std::set<std::string>());
}

TEST_F(HardIp, AClassForEachKindOfCore) {
  EXPECT_NE(dynamic_cast<pspmc_config::pspmc_top*>(get(context("made_pspmc"))), nullptr);
  EXPECT_EQ(dynamic_cast<cips_config::cips_top*>(get(context("made_pspmc"))), nullptr);
  EXPECT_NE(dynamic_cast<cips_config::cips_top*>(get(context("made_cips"))), nullptr);
  HardIPInterface* const psxl = get(context("made_psxl"));
  EXPECT_NE(dynamic_cast<HICHipInstInterface*>(psxl), nullptr);
  EXPECT_NE(psxl->getHICInst(), nullptr);
  EXPECT_EQ(dynamic_cast<pspmc_config::pspmc_top*>(get(context("made_plain"))), nullptr);
  EXPECT_EQ(get(context("made_plain"))->getHICInst(), nullptr);
  EXPECT_EQ(psxl->instanceFileStem(), "i");
  EXPECT_EQ(psxl->slrCount(), 2);
  EXPECT_TRUE(psxl->isMultiSlr());
}

TEST_F(HardIp, OperationsAreOfferedByKind) {
  const auto offers = [&](char const* core, HardIPOp op) { return get(context(core))->implements(op); };
  for (const HardIPOp op :
       {HardIPOp::getRanges, HardIPOp::getOutputParams, HardIPOp::isDefaultInstance, HardIPOp::getDeviceInfo}) {
    EXPECT_FALSE(offers("made_fixed", op));
    for (char const* const core : {"made_block", "made_plain", "made_pspmc", "made_cips", "made_psxl"})
      EXPECT_TRUE(offers(core, op)) << core;
  }
  EXPECT_FALSE(offers("made_block", HardIPOp::setSysmonDataFile));
  EXPECT_TRUE(offers("made_plain", HardIPOp::setSysmonDataFile));
  EXPECT_TRUE(offers("made_cips", HardIPOp::setSysmonDataFile));
}

// Of the operations that a core may lack, each is offered by a shipped core and missing in another.
TEST_F(HardIp, ShippedCoresDifferInWhatTheyOffer) {
  const auto offers = [&](char const* core, HardIPOp op) { return get(on(kPspmcPart, core))->implements(op); };
  for (const HardIPOp op :
       {HardIPOp::getRanges, HardIPOp::getOutputParams, HardIPOp::isDefaultInstance, HardIPOp::getDeviceInfo}) {
    EXPECT_TRUE(offers("xram", op));
    EXPECT_FALSE(offers("tap", op));
  }
  for (const HardIPOp op : {HardIPOp::setSysmonDataFile, HardIPOp::generateSysmonNpiData}) {
    EXPECT_TRUE(offers("pspmc", op));
    EXPECT_FALSE(offers("xram", op));
  }
  EXPECT_TRUE(offers("xram", HardIPOp::getExportedData));
  EXPECT_FALSE(offers("tap", HardIPOp::getExportedData));
  EXPECT_TRUE(offers("tap", HardIPOp::keepsExistingOutput));
  EXPECT_FALSE(offers("pspmc", HardIPOp::keepsExistingOutput));
  EXPECT_TRUE(get(on(kPspmcPart, "tap"))->keepsExistingOutput());
  EXPECT_TRUE(offers("cpm4", HardIPOp::addHwDefFileAttributes));
  EXPECT_FALSE(offers("pspmc", HardIPOp::addHwDefFileAttributes));
}

TEST_F(HardIp, TheFileOfTheSystemMonitorIsKept) {
  const ParamMap where = on(kPspmcPart, "pspmc", "1.4");
  HardIPInterface* const core = get(where);
  const auto file = [&] {
    std::string name;
    EXPECT_TRUE(hardip_eng::access_core(where, [&](auto const& access) { name = access.sysmon_data_file; }));
    return name;
  };
  EXPECT_EQ(file(), "");
  std::string name = "u1_sysmon_data.json";
  core->setSysmonDataFile(name);
  EXPECT_EQ(file(), "u1_sysmon_data.json");
}

TEST_F(HardIp, RefusalsSayWhatThereIs) {
  EXPECT_EQ(refusal({{"instance_name", "x"}}), "the context has no ps_core_name");
  const std::string cores = refusal(context("no/core"));
  EXPECT_TRUE(cores.starts_with("no core \"no/core\"; there are ")) << cores;
  EXPECT_NE(cores.find(" made_block, made_cips, "), std::string::npos) << cores;
  EXPECT_TRUE(refusal(context("..")).starts_with("no core \"..\"; there are "));
  EXPECT_TRUE(refusal(context("parts")).starts_with("no core \"parts\"; there are "));
  EXPECT_EQ(refusal(on("", "made_block")), "the context has no part");
  EXPECT_EQ(refusal(on("none-1", "made_block")), "part \"none-1\" is not known");
  EXPECT_EQ(refusal(context("xram", "1.0")),
            "the part " + cores_.part() +
                " does not have the core xram; it has made_block, made_cips, made_fixed, made_plain, "
                "made_pspmc, made_psxl");
  EXPECT_EQ(refusal(context("made_block", "../1.0")),
            "no version \"../1.0\" of made_block on the part " + cores_.part() + "; there are 1.0, 1.10");
  EXPECT_EQ(refusal(on("zrv7030-c484-1-c", "made_block")),
            "the part zrv7030-c484-1-c does not have the core made_block; it has ps7");
  EXPECT_EQ(refusal(on(cores_.part_with(""), "made_block")).find(" has no configurable core") != std::string::npos,
            true);
  const std::string older = cores_.part_with(R"("made_block": ["0.9"], "made_cips": [])");
  EXPECT_EQ(refusal(on(older, "made_block")),
            "the part " + older + " has no version of made_block that is described; it has made_block 0.9, made_cips");
  std::filesystem::create_symlink("nowhere", cores_.root().path("cores/made_block/3.0.json"));
  EXPECT_EQ(refusal(context("made_block", "3.0")), "the description of made_block 3.0 is gone");
  cores_.root().file("cores/made_block/2.0.json", "{]");
  EXPECT_NE(refusal(context("made_block", "2.0")).find("cores/made_block/2.0.json:1: "), std::string::npos);
}

TEST_F(HardIp, TheNewestVersionWithoutAWord) {
  HardIPInterface* const newest = get(context("made_block"));
  EXPECT_EQ(newest->getParamValue("STYLE"), "one");
  EXPECT_EQ(newest->getParamValue("MODE"), "one");  // its name before
  EXPECT_EQ(get(on(cores_.part(), "made_block", "1.0", "j"))->getParamValue("STYLE"), "");
}

TEST_F(HardIp, WhatAFactoryThrowsIsWhyThereIsNone) {
  const auto with = [&](hardip_eng::HardIPFactory factory) {
    hardip_eng::set_hard_ip_factory("thrown", std::move(factory));
    const std::string text = refusal(context("thrown"));
    hardip_eng::set_hard_ip_factory("thrown", nullptr);
    return text;
  };
  EXPECT_EQ(with([](ParamMap const&, StrVec&) -> std::shared_ptr<HardIPInterface> { throw std::runtime_error("why"); }),
            "why");
  EXPECT_EQ(with([](ParamMap const&, StrVec&) -> std::shared_ptr<HardIPInterface> { throw 7; }),
            "the core \"thrown\" could not be made");
  EXPECT_EQ(with([](ParamMap const&, StrVec&) { return nullptr; }), "the core \"thrown\" could not be made");
  // One that asks for what it is about to make.
  StrVec own_errors;
  EXPECT_EQ(with([&](ParamMap const& asked, StrVec&) -> std::shared_ptr<HardIPInterface> {
              EXPECT_EQ(manager_.findInstance(asked, own_errors), nullptr);
              EXPECT_EQ(manager_.getOrCreateInstance(asked, own_errors), nullptr);
              return nullptr;
            }),
            "the core \"thrown\" could not be made");
  EXPECT_EQ(own_errors, StrVec{"the instance \"i\" is asked for while it is made"});
  StrVec errors;
  EXPECT_EQ(manager_.findInstance(context("thrown"), errors), nullptr);
  EXPECT_TRUE(errors.empty());
}

TEST_F(HardIp, NoNameIsTakenForAnotherOne) {
  struct Bare : hardip_eng::HardIPInstance<Bare> {};
  hardip_eng::set_hard_ip_factory("bare", [](ParamMap const&, StrVec&) { return std::make_shared<Bare>(); });
  get(on("p", "bare", "", "x|other|q"));
  EXPECT_EQ(manager_.findInstance(on("q|bare|p", "other", "", "x"), errors_), nullptr);
  hardip_eng::set_hard_ip_factory("bare", nullptr);
}

TEST_F(HardIp, NamesThatAScriptMakesUpDoNotFillTheMemory) {
  struct Bare : hardip_eng::HardIPInstance<Bare> {};
  hardip_eng::set_hard_ip_factory("bare", [](ParamMap const&, StrVec&) { return std::make_shared<Bare>(); });
  const auto named = [](std::string const& name) {
    return ParamMap{{"ps_core_name", "bare"}, {"instance_name", name}};
  };
  StrVec errors;
  std::size_t made = 0;
  while (made < 5000 && manager_.getOrCreateInstance(named("n" + std::to_string(made)), errors) != nullptr) ++made;
  EXPECT_EQ(manager_.instanceMap().size(), 4096U);
  EXPECT_EQ(errors, StrVec{"instance \"n" + std::to_string(made) + "\" is one too many: there are 4096"});
  EXPECT_NE(manager_.getOrCreateInstance(named("n7"), errors), nullptr) << "one that is there";
  manager_.deleteInstance(named("n7"), errors);
  EXPECT_NE(manager_.getOrCreateInstance(named("more"), errors), nullptr);
  manager_.deleteInstance(named("more"), errors);
  for (std::size_t i = 0; i < made; ++i) manager_.deleteInstance(named("n" + std::to_string(i)), errors);
  hardip_eng::set_hard_ip_factory("bare", nullptr);
  EXPECT_EQ(errors.size(), 1U);
}

TEST_F(HardIp, TheModelOfProcessingSystemsIsAnswered) {
  auto* const top = dynamic_cast<pspmc_config::pspmc_top*>(get(context("made_cips")));
  ASSERT_NE(top, nullptr);
  ParamMap translated;
  top->translateParamNames({{"CONFIG.OLD_ENABLE", "1"}, {"RATE", "2"}, {"CONFIG.NEW", "3"}}, translated);
  EXPECT_EQ(translated, (ParamMap{{"ENABLE", "1"}, {"RATE", "2"}, {"CONFIG.NEW", "3"}}));
  EXPECT_EQ(top->getParamValueOf("RATE"), "SKIP");
  EXPECT_EQ(top->getBackUpParamValueOf("RATE"), "5");
  EXPECT_FALSE(top->isParamEnabledOf("RATE"));
  StrVec modified;
  ParamMap messages;
  top->guiSetParamOf({{"ENABLE", "true"}, {"RATE", "8"}, {"MODE", "{two or more}"}, {"NONE", "1"}}, modified, messages);
  EXPECT_EQ(modified, (StrVec{"ENABLE", "RATE", "MODE", "TWICE"}));
  EXPECT_EQ(messages, (ParamMap{{"RATE", "8 is large"}, {"NONE", "made_cips 1.0 has no parameter \"NONE\""}}));
  EXPECT_EQ(top->getParamValueOf("MODE"), "two or more");
  EXPECT_TRUE(top->isParamEnabledOf("RATE"));
  EXPECT_EQ(top->getParamTypeOf("ENABLE"), "checkBox");
  EXPECT_EQ(top->getParamTypeOf("RATE"), "textEdit");
  EXPECT_EQ(top->getParamTypeOf("MODE"), "combo");
  StrVec range;
  top->getParamRangeOf("RATE", range);
  EXPECT_EQ(range, (StrVec{"1", "9"}));
  messages.clear();
  top->guiSetParamOf({{"RATE", "7"}}, modified, messages);
  EXPECT_EQ(messages, (ParamMap{{"RATE", "7 is large"}}));  // the error, not the warning
  top->guiSetParamOf({{"RATE", "3"}}, modified, messages);
  EXPECT_EQ(messages, (ParamMap{{"RATE", "Warning:3 is odd"}}));
  EXPECT_EQ(modified, (StrVec{"ENABLE", "RATE", "MODE", "TWICE"}));  // each once
  // A disabled parameter keeps what the user gave, and what it shows is no value.
  top->guiSetParamOf({{"ENABLE", "0"}}, modified, messages);
  top->guiSetParamOf({{"RATE", "skip"}}, modified, messages);
  EXPECT_EQ(top->getParamValueOf("RATE"), "SKIP");
  EXPECT_EQ(top->getBackUpParamValueOf("RATE"), "3");
  RawResult records{{"RATE", {{"x"}, {}, {}}}, {"UNKNOWN", {{"y"}}}};
  top->getUserModifiedOf(records);
  EXPECT_EQ(records, (RawResult{{"RATE", {{"3"}, {}, {}}}, {"UNKNOWN", {{"y"}}}}));
  // The parameters of the user replace what was given before.
  top->storeUserParams({{"ENABLE", "1"}});
  RawResult all;
  messages.clear();
  top->getRanges({}, all, messages, 5);
  EXPECT_EQ(all.at("RATE")[0], StrVec{"5"});
  EXPECT_EQ(messages, (ParamMap{{"RATE", "Warning:5 is odd"}}));
  std::list<std::string> names;
  top->getUserParamList(names);
  EXPECT_EQ(names, (std::list<std::string>{"ENABLE", "RATE", "MODE"}));
}

TEST_F(HardIp, StrengthsTellHowMuchFollows) {
  HardIPInterface* const block = get(context("made_block", "1.0"));
  RawResult result;
  ParamMap messages;
  block->getRanges({{"ENABLE", "1"}, {"RATE", "12"}}, result, messages, 4);
  EXPECT_EQ(result.at("TWICE")[0], StrVec{"10"});
  EXPECT_EQ(result.at("RATE")[2], StrVec{"DISABLE"});
  block->getRanges({}, result, messages, 5);
  EXPECT_EQ(result.at("RATE")[2], StrVec{"ENABLE"});
  EXPECT_EQ(messages, (ParamMap{{"RATE", "PARAM RATE::12 is out of range  { 1,9 }"}}));
}

TEST_F(HardIp, TheLargerSystemsHaveAnInstanceOfTheirOwn) {
  HardIPInterface* const face = get(context("made_psxl"));
  const std::shared_ptr<HICInst> inst = face->getHICInst();
  dynamic_cast<HICHipInstInterface&>(*face).setSubCoreName("tmp_pmcps_0");
  EXPECT_EQ(inst->getSubCoreName(), "tmp_pmcps_0");
  StrPairs pairs{{"ENABLE", "1"}};
  StrVec modified;
  ParamMap messages;
  inst->guiSetParam(pairs, modified, messages);
  EXPECT_EQ(modified, (StrVec{"ENABLE", "RATE"}));
  EXPECT_EQ(face->getParamValue("RATE"), "5");  // one core behind both
  manager_.deleteInstance(context("made_psxl"), errors_);
  EXPECT_EQ(inst->getParamValue("RATE"), "5");  // and it outlives the manager's
  EXPECT_TRUE(inst->isPSBankAvailable());
  EXPECT_EQ(inst->getSlrCount(), 2);
}

TEST_F(HardIp, TheSystemMonitorIsAsked) {
  auto* const top = dynamic_cast<pspmc_config::pspmc_top*>(get(on(kPspmcPart, "pspmc", "1.4")));
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top->getStartSupplyId(), 0);
  EXPECT_EQ(top->getSysmonDataForInst("SUPPLY_NAME", "3"), "VCCINT");
  EXPECT_EQ(top->getSysmonDataForInst("SUPPLY_VOLTS", "3"), "0.7");
  EXPECT_EQ(top->getSysmonDataForInst("SUPPLY_NUM", "VCCINT"), "3");
  EXPECT_EQ(top->getSysmonDataForInst("SUPPLY_NUM", "NONE"), "");
  EXPECT_EQ(top->getSysmonDataForInst("SUPPLY_COUNT", ""), "18");
  EXPECT_TRUE(top->getSysmonDataForInst("SUPPLIES", "").starts_with("VCC_PMC VCC_PSFP VCC_PSLP VCCINT "));
  EXPECT_EQ(top->getSysmonDataForInst("SATELLITES", ""), "3");
  EXPECT_EQ(top->getSysmonDataForInst("OTHER", ""), "");
  EXPECT_EQ(top->getSysmonDataForInst("MEASUREMENTS", ""), "");
  StrVec modified;
  ParamMap messages;
  top->guiSetParamOf({{"SMON_MEAS2_ENABLE", "1"}, {"SMON_MEAS5_ENABLE", "true"}}, modified, messages);
  EXPECT_EQ(top->getSysmonDataForInst("MEASUREMENTS", ""), "2 5");
  EXPECT_EQ(top->getBootModeOfSDPeripheral("PMC_SD0_PERIPHERAL"), "SD0 (2.0)");
  top->guiSetParamOf({{"PMC_SD1_PERIPHERAL_ENABLE", "1"}, {"PMC_SD1_SLOT_TYPE", "eMMC"}}, modified, messages);
  EXPECT_EQ(top->getBootModeOfSDPeripheral("SD1"), "eMMC1");
  EXPECT_EQ(top->getBootModeOfSDPeripheral("UART0"), "");
  EXPECT_EQ(HICInst("psxl_0").getStartSupplyId(), -1) << "without a part there is no monitor";
}

// Regions have numbers of their own: those of region 2 begin behind those of two others.
TEST_F(HardIp, SuppliesAndSatellitesGoByRegion) {
  for (char const* const core : {"pmcps", "ps11"}) {
    SCOPED_TRACE(core);
    const std::shared_ptr<HICInst> inst = get(on("brvn5130-b1936-2LHP-e-S", core))->getHICInst();
    ASSERT_EQ(inst->getSlrCount(), 3);
    const std::string name = inst->getSysmonData("SUPPLY_NAME", "2");
    const int count = std::stoi(inst->getSysmonData("SUPPLY_COUNT", ""));
    const int first = inst->getStartSupplyId();
    EXPECT_NE(name, "");
    EXPECT_EQ(inst->getSysmonData("SATELLITES", ""), "4");
    EXPECT_EQ(inst->getSysmonData("SATELLITES", "2"), "8 9 10 11");
    EXPECT_EQ(inst->getSysmonData("SATELLITES", "3"), "");
    StrPairs region{{"PS_SLR_ID", "2"}};
    StrVec modified;
    ParamMap messages;
    inst->guiSetParam(region, modified, messages);
    EXPECT_EQ(inst->getStartSupplyId(), first + 2 * count);
    EXPECT_EQ(inst->getSysmonData("SUPPLY_NAME", std::to_string(2 * count + 2)), name);
    EXPECT_EQ(inst->getSysmonData("SUPPLY_NAME", "2"), "");
    EXPECT_EQ(inst->getSysmonData("SUPPLY_NUM", name), std::to_string(2 * count + 2));
    std::string told;
    get(on("brvn5130-b1936-2LHP-e-S", core))->getDeviceInfo("slr.2.first_supply", told);
    EXPECT_EQ(told, std::to_string(first + 2 * count));
  }
}

TEST_F(HardIp, ShippedCoresAreAskedAsTheirModelsAsk) {
  for (char const* const version : {"3.1", "3.2", "3.3", "3.4"}) {
    HardIPInterface* const cips = get(on(kPspmcPart, "tavrel_cips", version, version));
    EXPECT_NE(dynamic_cast<cips_config::cips_top*>(cips), nullptr) << version;
  }
  for (auto const& [core, version] : {std::pair("tavrel_cips", "1.0"), {"tavrel_cips", "2.1"}, {"ps_pmc", "1.0"}}) {
    HardIPInterface* const plain = get(on(kPspmcPart, core, version, version));
    EXPECT_EQ(dynamic_cast<pspmc_config::pspmc_top*>(plain), nullptr) << core;
    EXPECT_TRUE(plain->implements(HardIPOp::setSysmonDataFile)) << core;
    RawResult result;
    ParamMap messages;
    plain->getRanges({}, result, messages, 10);
    EXPECT_EQ(messages, ParamMap()) << core;  // with all defaults there is nothing to say
    EXPECT_GT(result.size(), 100u) << core;
  }
  EXPECT_FALSE(get(on(kPspmcPart, "xram", "1.0"))->implements(HardIPOp::setSysmonDataFile));
}

TEST_F(HardIp, ShippedBlocksFollowTheirParts) {
  using Asked = std::pair<char const*, char const*>;
  for (auto const& [device, cores] : {Asked("brvn1102-a625", "cpm cpm4 cpm4_tavrel xram ai_engine"),
                                      Asked("brvn1404-a625", "cpm5 cpm5_tavrel ai_engine"),
                                      Asked("brvn3716-die", "cpm5n xram ai_engine mmi visp hnicx_wizard"),
                                      Asked("brvn5130-b1936", "cpm5n ai_engine hnicx_wizard")})
    for (char const* const grade : {"-1LHP-e-S", "-2LHP-e-S"})
      for (std::string_view core : kdi::text::words(cores, " ")) {
        HardIPInterface* const block = get(on(std::string(device) + grade, std::string(core)));
        RawResult result;
        ParamMap messages;
        block->getRanges({}, result, messages, 10);
        EXPECT_EQ(messages, ParamMap()) << device << grade << " " << core;
      }
  const auto range = [&](char const* part, char const* core, char const* parameter) {
    RawResult result;
    get(on(part, core))->getOutputParams(result);
    return result.at(parameter).at(1);
  };
  EXPECT_EQ(range("brvn1102-a625-1LHP-e-S", "ai_engine", "AIE_COLUMNS"), (StrVec{"1", "38"}));
  EXPECT_EQ(range("brvn1404-a625-1LHP-e-S", "ai_engine", "AIE_COLUMNS"), (StrVec{"1", "24"}));
  EXPECT_EQ(range("brvn1404-a625-1LHP-e-S", "ai_engine", "AIE_CORE_REF_CTRL_FREQMHZ"), (StrVec{"1.0", "1000"}));
  EXPECT_EQ(range("brvn1404-a625-2LHP-e-S", "ai_engine", "AIE_CORE_REF_CTRL_FREQMHZ"), (StrVec{"1.0", "1250"}));
  // Two quads of the package have pins.
  HardIPInterface* const cpm5 = get(on("brvn1404-a625-2LHP-e-S", "cpm5"));
  RawResult result;
  ParamMap messages;
  cpm5->getRanges({{"CPM_PCIE0_MODES", "DMA"}, {"CPM_PCIE0_LANES", "X16"}, {"CPM_USE_PCIE_AXI_NOC0", "1"}}, result,
                  messages, 10);
  EXPECT_EQ(messages,
            (ParamMap{{"CPM_PCIE_LANES", "The PCIe controllers have 16 lanes; the quads of the block have 8"}}));
}

constexpr char kMonitored[] = R"~("interface": "psxl", "measurements": {"each": {"m": "{0..1}"},
  "enabled": "M${m}_ENABLE", "parameters": ["M${m}_SUPPLY"], "dictionaries": ["DICT"]},
 "parameters": [
  {"each": {"m": "{0..1}"}, "name": "M${m}_ENABLE", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "0"},
  {"each": {"m": "{0..1}"}, "name": "M${m}_SUPPLY", "type": "integer", "widget": "EDIT", "description": "d", "default": "${m}"},
  {"name": "DICT", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "CLOCK", "type": "integer", "widget": "EDIT", "description": "d", "default": "100"}])~";

TEST_F(HardIp, MeasurementsGoFromOneSubCoreToOthers) {
  cores_.add("monitored", "1.0", kMonitored);
  cores_.add("monitored_wizard", "1.0", R"("interface": "psxl",
    "sub_cores": [{"name": "pmcps_0", "core": "monitored", "version": "1.0"},
                  {"name": "pmcps_4", "core": "monitored", "version": "1.0"}],
    "composites": [{"name": "CONFIG_0", "sub_core": "pmcps_0"}, {"name": "CONFIG_4", "sub_core": "pmcps_4"}],
    "parameters": [{"each": {"n": "{0,4}"}, "name": "CONFIG_${n}", "type": "text", "widget": "EDIT",
                    "description": "d", "default": ""}])");
  const std::shared_ptr<HICInst> inst = get(context("monitored"))->getHICInst();
  StrPairs pairs{{"M1_ENABLE", "1"}, {"DICT", "VCC<space>AUX 0<comma>5"}, {"CLOCK", "50"}};
  StrVec modified;
  ParamMap messages;
  inst->guiSetParam(pairs, modified, messages);
  StrPairs enabled{{"first", "kept"}};
  inst->getSysmonEnabledMeasurements(enabled);
  EXPECT_EQ(enabled, (StrPairs{{"first", "kept"}, {"M1_ENABLE", "1"}, {"M1_SUPPLY", "1"}}));
  ParamMap dictionaries;
  inst->getSysmonEnabledDictMeasurements(dictionaries, "tmp_pmcps");
  EXPECT_EQ(dictionaries, (ParamMap{{"DICT", "VCC AUX 0,5"}}));
  // The master hands over what is not each die's own.
  ParamMap slave{{"CLOCK", "1"}, {"M1_ENABLE", "0"}, {"DICT", "d"}, {"OTHER", "o"}}, master;
  inst->updateSLRParamsFromMasterSubcore(slave, master);
  EXPECT_EQ(slave, (ParamMap{{"CLOCK", "50"}, {"M1_ENABLE", "0"}, {"DICT", "d"}, {"OTHER", "o"}}));
  EXPECT_EQ(master, (ParamMap{{"CLOCK", "50"}}));

  HardIPInterface* const wizard = get(context("monitored_wizard"));
  RawResult result;
  wizard->getRanges({{"CONFIG_4", "DICT {VCC 1} CLOCK 7"}, {"CONFIG_0", "DICT {VCC 2}"}}, result, messages, 10);
  EXPECT_EQ(result.at("CONFIG_4")[0], StrVec{"CLOCK 7 DICT {VCC 1}"});
  EXPECT_EQ(wizard->getParamValue("CLOCK"), "100");  // of the first that has it
  for (auto const& [name, value] : {std::pair("tmp_pmcps_4", "VCC 1"), {"pmcps_0", "VCC 2"}, {"tmp_pmcps", "VCC 2"}}) {
    dictionaries.clear();
    wizard->getHICInst()->getSysmonEnabledDictMeasurements(dictionaries, name);
    EXPECT_EQ(dictionaries, (ParamMap{{"DICT", value}})) << name;
  }
  RawResult records{{"CLOCK", {{""}}}};
  wizard->getHICInst()->getGuiUserModifiedParams(records);
  EXPECT_EQ(records.at("CONFIG_4")[0], StrVec{"CLOCK 7 DICT {VCC 1}"});
  // Sub-cores that lack a description are a reason to have no wizard.
  cores_.add("monitored_wizard", "2.0",
             R"("extends": "1.0", "sub_cores": [{"name": "x", "core": "gone", "version": "1"}])");
  const std::string refused = refusal(on(cores_.part(), "monitored_wizard", "2.0", "k"));
  EXPECT_TRUE(
      refused.ends_with("monitored_wizard/2.0.json:2: sub_cores[0].version: expected a version of gone that is "
                        "there, found the text \"1\""))
      << refused;
}

TEST_F(HardIp, AnInstanceOutsideTheManagerHasTheCoreOfItsName) {
  HICInst named("made_psxl_0");
  EXPECT_EQ(named.getParamValue("MODE"), "one");
  EXPECT_EQ(HICInst("made_psxl_mine_12").getParamValue("MODE"), "one");  // the core that the name begins with
  EXPECT_FALSE(named.isPSBankAvailable());                               // it knows no part
  HICInst other("none_0");
  EXPECT_EQ(other.getParamValue("MODE"), "");
  EXPECT_EQ(other.getSlrCount(), 1);
  EXPECT_FALSE(other.isParamEnabled("MODE"));
  ASSERT_EQ(messages_.lines().size(), 1u);
  EXPECT_NE(messages_.lines()[0].find("no core \"none\"; there are "), std::string::npos);
}

}  // namespace
