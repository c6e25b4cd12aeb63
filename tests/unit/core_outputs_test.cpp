// What a configured core leaves behind, through the doors of the engine: commands, reports, constraints, and the files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Store.h"
#include "kdi/device/parts.h"
#include "kdi/ip/SystemPower.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "kdi/ippcw/HardIP.h"
#include "kdi/ippcw/host/CoreAccess.h"
#include "kdi/ippcw/host/MonitorData.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using hardip_eng::CdoBuffer;
using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::MonitorData;
using hardip_eng::MonitorMeasurement;
using hardip_eng::SatelliteRow;
using test_support::Random;

std::string text_of(kdi::JsonValue object, char const* name) { return std::string(object.member(name).text()); }

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

// What each peripheral draws is told of it alone.
TEST_F(Outputs, TellThePowerOfEachPeripheral) {
  const auto drawn_with = [&](ParamMap const& params) {
    std::map<std::string, double> drawn;
    std::string text;
    StrVec errors;
    core("pspmc")->generatePowerData(params, text, errors);
    StrVec ignored;
    HardIPManager::getInstance()->deleteInstance(context_, ignored);
    const kdi::JsonFile file(text, "power");
    for (const kdi::JsonValue item : file.root().member("items").items())
      if (item.member("kind").text() == "dynamic") drawn[text_of(item, "item")] = item.member("milliwatts").number();
    return drawn;
  };
  const auto without = drawn_with({});
  for (auto const& [parameter, item] : {std::pair{"PS_SPI0_PERIPHERAL_ENABLE", "SPI 0"},
                                        {"PS_CAN1_PERIPHERAL_ENABLE", "CAN 1"},
                                        {"PS_I2C0_PERIPHERAL_ENABLE", "I2C 0"},
                                        {"PMC_I2CPMC_PERIPHERAL_ENABLE", "PMC I2C"},
                                        {"PS_ENET1_PERIPHERAL_ENABLE", "Ethernet 1"},
                                        {"PS_USB0_PERIPHERAL_ENABLE", "USB 0"},
                                        {"PS_TTC3_PERIPHERAL_ENABLE", "Timer 3"},
                                        {"PS_LPDMA7_ENABLE", "DMA channel 7"},
                                        {"PMC_SD1_PERIPHERAL_ENABLE", "SD 1"},
                                        {"PMC_QSPI_PERIPHERAL_ENABLE", "Quad SPI"},
                                        {"PMC_OSPI_PERIPHERAL_ENABLE", "Octal SPI"}}) {
    const auto with = drawn_with({{parameter, "1"}});
    EXPECT_FALSE(without.contains(item)) << item;
    ASSERT_TRUE(with.contains(item)) << item;
    EXPECT_GT(with.at(item), 0) << item;
  }
}

// Controllers of several regions have the same addresses: each has a section, and comes up in its own memory.
TEST_F(Outputs, OfAWizardAreApartByRegion) {
  HardIPInterface* const wizard = core("ps_wizard", "1.0", "brvn5130-b1936-2LHP-e-S");
  CdoBuffer buffer(1024, 65536);
  wizard->prepareCdo();
  wizard->emitCdo(buffer);
  std::vector<std::pair<std::string, kdi::cdo::Commands>> regions;
  for (kdi::cdo::Command& command : kdi::cdo::from_binary(buffer.bytes(), "buffer")) {
    auto const* const section = std::get_if<kdi::cdo::Section>(&command);
    if (section != nullptr && section->name.starts_with("region "))
      regions.emplace_back(section->name, kdi::cdo::Commands());
    ASSERT_FALSE(regions.empty()) << "begins with one";
    regions.back().second.push_back(std::move(command));
  }
  std::vector<std::string> names;
  for (auto const& [name, commands] : regions) {
    names.push_back(name);
    kdi::cores::RegisterMemory memory(*kdi::cores::RegisterMap::of(kdi::cores::core_description("pmcps", "1.0")));
    EXPECT_GT(commands.size(), 1U) << name;
    EXPECT_NO_THROW(memory.run(commands)) << name;
  }
  EXPECT_EQ(names, (std::vector<std::string>{"region 0 i_pmcps_0", "region 1 i_pmcps_1", "region 2 i_pmcps_2"}));
}

// A definition and the files beside it are asked for one after the other.
TEST_F(Outputs, AreFormattedOnceForADefinitionAndItsFiles) {
  const auto inst = core("psxl", "1.0", "brvn3716-die-2LHP-e-S-es1")->getHICInst();
  ASSERT_NE(inst, nullptr);
  std::string path = scratch_.folder(), state, definition = scratch_.path("i.hwdef");
  ParamMap values, attributes, none, kinds{{path + "/i_pmc_data.cdo", "7"}, {path + "/i_lpd_data.cdo", "7"}};
  AttrMap files;
  for (auto const& [file, kind] : kinds) files[file]["kind"] = kind;
  const auto make_files = [&] { HICInstOutputUtils::generateCDO(values, path, state, "psxl", files, none, inst); };
  const auto make_definition = [&] {
    HICInstOutputUtils::generateHDFForPSXL(definition, scratch_.path("i.hwh"), attributes, kinds, inst);
  };
  const auto is_written = [&](auto... steps) {
    (steps(), ...);
    return scratch_.content("i_lpd_data.cdo") != "mine";
  };
  const auto touch = [&] { scratch_.file("i_lpd_data.cdo", "mine"); };
  EXPECT_FALSE(is_written(make_definition, touch, make_files)) << "they are there already";
  EXPECT_TRUE(is_written(touch, make_files)) << "asked for by itself";
  EXPECT_TRUE(is_written(
      make_definition, touch,
      [&] {
        StrPairs pairs{{"PSX_UART0_PERIPHERAL_ENABLE", "1"}};
        StrVec modified;
        ParamMap messages;
        inst->guiSetParam(pairs, modified, messages);
      },
      make_files))
      << "changed meanwhile";
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

// The files of the monitor as their readers have them, beside what the configuration says.
void expect_monitor(hardip_eng::ConfiguredAccess const& access, MonitorData const& data,
                    std::vector<SatelliteRow> const& satellites) {
  kdi::cores::Configuration const& configuration = access.configuration;
  auto const& parameters = configuration.core().parameters();
  const auto map = kdi::cores::RegisterMap::of(configuration.instance().shared_core());
  const kdi::cores::RegisterImage image(*map, configuration.instance());
  std::size_t on = 0;
  for (kdi::cores::Measurement const& one : configuration.core().presets().measurements.all) {
    if (configuration.value(one.enabled) != "1") continue;
    ASSERT_LT(on, data.measurements.size());
    MonitorMeasurement const& told = data.measurements[on];
    EXPECT_EQ(told.enabled, parameters[one.enabled].name);
    ASSERT_EQ(told.parameters.size(), one.parameters.size());
    for (std::size_t i = 0; i < one.parameters.size(); ++i)
      EXPECT_EQ(told.parameters[i],
                std::pair(std::string(parameters[one.parameters[i]].name), configuration.value(one.parameters[i])));
    ASSERT_LT(on, satellites.size());
    EXPECT_EQ(satellites[on].measurement, told.enabled);
    EXPECT_EQ(satellites[on].supply, told.supply);
    EXPECT_EQ(satellites[on].number, configuration.value(one.parameters.at(0)));
    ++on;
  }
  EXPECT_EQ(data.measurements.size(), on);
  EXPECT_EQ(satellites.size(), on);
  EXPECT_EQ(data.dictionaries.size(), configuration.core().presets().measurements.dictionaries.size());
  EXPECT_FALSE(data.registers.empty());
  for (auto const& [name, word] : data.registers) EXPECT_EQ(word, image.word(map->find(name).value())) << name;
}

TEST_F(Outputs, OfTheMonitorAreReadBackAsTheyWereWritten) {
  Random random(5);
  std::size_t seen = 0;
  for (auto const& [name, version, part] :
       {std::array{"pspmc", "1.4", "brvn1102-a625-2LHP-e-S"}, {"psxl", "1.0", "brvn3716-die-2LHP-e-S-es1"}}) {
    core(name, version, part);
    for (int round = 0; round < 10; ++round) {
      HardIPInterface* const ps = core(name, version, part);
      std::string path = scratch_.folder();
      hardip_eng::access_core(context_, [&](hardip_eng::ConfiguredAccess const& access) {
        std::vector<std::pair<kdi::cores::Configuration::Place, std::string>> values;
        auto const& all = access.configuration.core().presets().measurements.all;
        for (int i = 0; i < 6; ++i) {
          kdi::cores::Measurement const& one = all[random.below(static_cast<unsigned>(all.size()))];
          values.push_back({{&access.configuration, one.enabled}, random.one_in(4) ? "0" : "1"});
        }
        access.whole.set(values);
      });
      ParamMap none;
      ps->writeDesignData(path, none);
      const std::string front = std::string(name) == "psxl" ? "/i_" : "/";
      const std::string json = kdi::read_file(path + front + "sysmon_data.json"),
                        table = kdi::read_file(path + front + "sysmon_satellite.csv");
      const std::vector<MonitorData> data = hardip_eng::read_monitor_data_text(json, "monitor");
      const std::vector<SatelliteRow> rows = hardip_eng::read_satellites_text(table, "table");
      ASSERT_EQ(data.size(), 1U);
      EXPECT_EQ(hardip_eng::monitor_data_text(data[0]), json);
      EXPECT_EQ(hardip_eng::satellites_text(rows), table);
      EXPECT_EQ(data[0].part, part);
      hardip_eng::access_core(
          context_, [&](hardip_eng::ConfiguredAccess const& access) { expect_monitor(access, data[0], rows); });
      seen += rows.size();
    }
    StrVec errors;
    HardIPManager::getInstance()->deleteInstance(context_, errors);
  }
  EXPECT_GT(seen, 40U);
}

// A changed byte is told with its line, or what is read is written back equal.
TEST(MonitorFiles, AreRefusedOrWrittenBackEqualAfterAnyChange) {
  const MonitorData data{"i",
                         "c",
                         "1.0",
                         "",
                         {{"ON", "VCC", {{"A", "1"}, {"B", "x y"}}}, {"ALSO", "", {}}},
                         {{"D", "{a 1}"}},
                         {{"SYSMON.CONTROL", 0x12ab}}};
  const std::vector<SatelliteRow> rows{{0, "ON", "7", "VCC", "0.7"}, {12, "ALSO", "", "", ""}};
  const std::string json = hardip_eng::monitor_data_text(data), table = hardip_eng::satellites_text(rows);
  EXPECT_EQ(hardip_eng::read_monitor_data_text(json, "m"), std::vector<MonitorData>{data});
  EXPECT_EQ(hardip_eng::read_monitor_data_text("[" + json + "," + json + "]\n", "m"),
            (std::vector<MonitorData>{data, data}));
  EXPECT_EQ(hardip_eng::read_satellites_text(table, "t"), rows);
  std::size_t refused = 0, taken = 0;
  for (const char change : {' ', '0', '"', ',', '\n', '\x80'}) {
    for (std::size_t at = 0; at < json.size(); ++at) try {
        std::string changed = json;
        changed[at] = change;
        const std::vector<MonitorData> read = hardip_eng::read_monitor_data_text(changed, "m");
        ASSERT_EQ(read.size(), 1U);
        EXPECT_EQ(hardip_eng::read_monitor_data_text(hardip_eng::monitor_data_text(read[0]), "m"), read);
        ++taken;
      } catch (kdi::JsonError const& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("m:")) << error.what();
        ++refused;
      }
    for (std::size_t at = 0; at < table.size(); ++at) try {
        std::string changed = table;
        changed[at] = change;
        const std::vector<SatelliteRow> read = hardip_eng::read_satellites_text(changed, "t");
        EXPECT_EQ(hardip_eng::read_satellites_text(hardip_eng::satellites_text(read), "t"), read);
        ++taken;
      } catch (kdi::FileError const& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("t:")) << error.what();
        ++refused;
      }
  }
  EXPECT_GT(refused, 1000U);
  EXPECT_GT(taken, 100U);
}

TEST(MonitorFiles, AreToldWhenTheyAreNone) {
  const auto told = [](auto const& read) -> std::string {
    try {
      read();
    } catch (std::exception const& error) {
      return error.what();
    }
    return "none";
  };
  const auto table = [&](std::string const& text) {
    return told([&] { hardip_eng::read_satellites_text(text, "t"); });
  };
  const std::string heading = "satellite,measurement,number,supply,volts";
  EXPECT_EQ(table(""), "t:1: expected the heading " + heading);
  EXPECT_EQ(table("other\n"), "t:1: expected the heading " + heading);
  EXPECT_EQ(table(heading), "t:1: the line does not end");
  EXPECT_EQ(table(heading + "\n1,ON,2,V\n"), "t:2: 4 words where 5 are expected");
  EXPECT_EQ(table(heading + "\nx,ON,2,V,1\n"), "t:2: \"x\" is no number of a sensor");
  EXPECT_EQ(table(heading + "\n1,,2,V,1\n"), "t:2: no measurement");
  EXPECT_EQ(table(heading + "\n1,ON,2,V,1V\n"), "t:2: \"1V\" is no voltage");
  const std::string good =
      hardip_eng::monitor_data_text({"i", "c", "1.0", "", {{"ON", "VCC", {}}}, {{"D", "x"}}, {{"R", 1}, {"S", 2}}});
  const auto json = [&](std::string const& from, std::string const& to) {
    std::string text = good;
    text.replace(text.find(from), from.size(), to);
    return told([&] { hardip_eng::read_monitor_data_text(text, "m"); });
  };
  EXPECT_EQ(json("\"VCC\"", "\"\""), "m:8: measurements[0].supply: expected the name of a supply, found the text \"\"");
  EXPECT_EQ(json("{\"D\": \"x\"}", "{}"), "m:11: dictionaries[0]: expected one parameter, found an object");
  EXPECT_EQ(json("\"S\"", "\"R\""),
            "m:15: registers[1].register: expected a register that does not come twice, found the text \"R\"");
  EXPECT_EQ(json("0x00000002", "0x2"),
            "m:15: registers[1].value: expected 0x and eight hexadecimal digits, found the text \"0x2\"");
}

// Power as POWER_DATA tells it: sums by kind, and of each supply.
struct PowerTold {
  explicit PowerTold(std::string const& text) : file(text, "POWER_DATA") {
    std::map<std::string, double> supplies;
    for (const kdi::JsonValue item : file.root().member("items").items()) {
      const double milliwatts = item.member("milliwatts").number(0, 1e6);
      kinds[text_of(item, "kind")] += milliwatts;
      supplies[text_of(item, "supply")] += milliwatts;
      total += milliwatts;
    }
    EXPECT_NEAR(file.root().member("total").number(0, 1e6), total, 1e-6);
    for (const kdi::JsonValue supply : file.root().member("supplies").items())
      EXPECT_NEAR(supply.member("milliwatts").number(0, 1e6), supplies.at(text_of(supply, "supply")), 1e-6);
    EXPECT_EQ(file.root().member("supplies").items().size(), supplies.size());
  }
  kdi::JsonFile file;
  std::map<std::string, double> kinds;
  double total = 0;
};

// Recomputed from the data of the power calculator, which is where its figures come from.
TEST_F(Outputs, ArePowerAtTheConditionsOfThePart) {
  const kdi::JsonFile data(places::data("power/tavrel.json"));
  const kdi::JsonValue conditions = data.root().member("conditions"), system = data.root().member("systems").items()[0];
  const auto told = [&](std::string const& part, ParamMap const& params) {
    std::string text;
    StrVec errors;
    core("pspmc", "1.4", part)->generatePowerData(params, text, errors);
    HardIPManager::getInstance()->deleteInstance(context_, errors);
    return PowerTold(text);
  };
  PowerTold cool = told("brvn1102-a625-1LHP-e-S", {}), fast = told("brvn1102-a625-2LHP-e-S", {}),
            hot = told("brvn1102-a625-2LHP-i-S", {}), other = told("brvn1404-a625-2LHP-e-S", {});
  const double doubling = conditions.member("leakage_doubling_c").number(1, 1000),
               reference = conditions.member("junction_c").number(0, 100),
               per_c = conditions.member("dynamic_per_c").number(0, 1),
               grade = conditions.member("leakage_by_speed").member("-2LHP").number(0, 10);
  double leaks = 0;
  for (const kdi::JsonValue supply : system.member("static_w").members()) leaks += 1000 * supply.number(0, 10);
  EXPECT_NEAR(cool.kinds["leakage"], leaks * std::exp2((100 - reference) / doubling), 0.01);
  EXPECT_NEAR(fast.kinds["leakage"], grade * cool.kinds["leakage"], 0.01);
  EXPECT_NEAR(hot.kinds["leakage"], fast.kinds["leakage"] * std::exp2(10 / doubling), 0.01);
  EXPECT_NEAR(other.kinds["leakage"],
              fast.kinds["leakage"] * system.member("leakage_by_device").member("brvn1404").number(0, 10), 0.01);
  EXPECT_NEAR(hot.kinds["dynamic"] / fast.kinds["dynamic"],
              (1 + per_c * (110 - reference)) / (1 + per_c * (100 - reference)), 1e-4);
  EXPECT_EQ(hot.file.root().member("junction_c").number(0, 200), 110);

  ParamMap flash{{"PMC_QSPI_PERIPHERAL_ENABLE", "1"}};
  PowerTold low = told("brvn1102-a625-2LHP-e-S", flash);
  flash["PMC_BANK_0_IO_STANDARD"] = "LVCMOS3.3";
  PowerTold high = told("brvn1102-a625-2LHP-e-S", flash);
  const auto pad = [&](char const* standard) {
    const kdi::JsonValue levels = system.member("standards").member(standard);
    const double volts = levels.member("volts").number(0, 10);
    return levels.member("static_mw").number(0, 10) +
           volts * volts * system.member("load_pf").number(0, 100) *
               system.member("toggle_mhz").member("Quad SPI").number(0, 1000) / 1000;
  };
  EXPECT_GT(low.kinds["pads"], 1);
  EXPECT_NEAR(high.kinds["pads"] / low.kinds["pads"], pad("LVCMOS3.3") / pad("LVCMOS1.8"), 0.01);
  EXPECT_EQ(cool.kinds.count("pads"), 0U) << "no pad is used";
  PowerTold idle = told("brvn1102-a625-2LHP-e-S", {{"PS_A72_LOAD", "10"}});
  EXPECT_LT(idle.kinds["dynamic"], fast.kinds["dynamic"]);
}

// What a standard of pads is that the data do not have is told, and counts as the first.
TEST(SystemPower, TellsOfAStandardThatIsNone) {
  kdi::device::Part const& part = *kdi::device::find_part("brvn1102-a625-2LHP-e-S");
  const std::vector<kdi::power::SystemPad> pads{{"PMC_MIO", 3, "UART 0"}, {"NONE", 3, "UART 0"}};
  const auto power = [&](std::string const& standard) {
    return kdi::power::system_power(part, {}, pads, [&](std::string const& end) {
      EXPECT_EQ(end, "_BANK_0_IO_STANDARD");
      return standard;
    });
  };
  message_host::Capture heard;
  const auto odd = power("LVCMOS9");
  EXPECT_EQ(heard.lines(),
            std::vector<std::string>{"WARNING: [power] unknown pad standard \"LVCMOS9\" counts as LVCMOS1.8"});
  ASSERT_EQ(odd->pads.size(), 1U);
  EXPECT_EQ(odd->pads[0].item, "Pads PMC_MIO 0 .. 25");
  EXPECT_EQ(odd->pads[0].supply, "VCCO_500");
  EXPECT_EQ(odd->pads[0].milliwatts, power("LVCMOS1.8")->pads[0].milliwatts);
}

// What resistors draw: Kirchhoff's law at the line, solved as it stands, is the other way to it.
double drawn_by_line(kdi::JsonValue standard) {
  const double volts = standard.member("volts").number(0, 10);
  const std::string_view end = standard.member("end").text();
  if (end == "open") return 0;
  const double driver = 1 / standard.member("driver_ohm").number(1, 1e6),
               whole = 1 / standard.member("termination_ohm").number(1, 1e6);
  const double up = end == "supply"   ? whole
                    : end == "centre" ? whole / 2
                                      : 0,
               down = end == "ground" ? whole : whole - up;
  double watts = 0;
  for (const bool is_high : {false, true}) {
    const double to_supply = up + (is_high ? driver : 0), to_ground = down + (is_high ? 0 : driver);
    const double line = volts * to_supply / (to_supply + to_ground);
    watts += (volts - line) * to_supply * volts / 2;
  }
  return 1000 * watts;
}

TEST(SystemPower, HasTheTerminationsOfAMemoryByItsStandard) {
  for (std::pair<char const*, char const*> const& one :
       {std::pair{"power/zorvan1.json", "zrv7030-c484-1-c"}, {"power/zorvan2.json", "zrv9010-f900-2-i"}}) {
    const kdi::JsonFile data(places::data(one.first));
    const kdi::JsonValue memory = data.root().member("systems").items()[0].member("memory");
    for (const kdi::JsonValue standard : memory.member("standards").members()) {
      ParamMap values{{"_DDR_ENABLE", "1"},
                      {"_DDR_TYPE", std::string(standard.name())},
                      {"_DDR_BUS_WIDTH", "32"},
                      {"_DDR_ECC", "0"}};
      const auto drawn = [&] {
        const auto power = kdi::power::system_power(*kdi::device::find_part(one.second), {}, {},
                                                    [&](std::string const& end) { return values.at(end); });
        double milliwatts = 0;
        for (kdi::power::SystemItem const& item : power->terminations) {
          EXPECT_EQ(item.item,
                    "Terminations of " + std::string(standard.name()) + " (" + text_of(standard, "standard") + ")");
          EXPECT_EQ(item.supply, memory.member("supply").text());
          milliwatts += item.milliwatts;
        }
        return milliwatts;
      };
      const double share = memory.member("active_share").number(0, 1), each = share * drawn_by_line(standard);
      EXPECT_NEAR(drawn(), 40 * each, 1e-6) << "32 lines and four strobes of two";
      values["_DDR_ECC"] = "1";
      EXPECT_NEAR(drawn(), 50 * each, 1e-6);
      values["_DDR_ENABLE"] = "0";
      EXPECT_EQ(drawn(), 0);
    }
  }
}

TEST(SystemPower, HasTheTerminationsOfPadsByTheirStandard) {
  kdi::device::Part const& part = *kdi::device::find_part("zrv7030-c484-1-c");
  const kdi::JsonFile data(places::data("power/zorvan1.json"));
  const kdi::JsonValue system = data.root().member("systems").items()[0];
  const double share = system.member("low_share").number(0, 1),
               bus = 1 / system.member("line_ohm").member("I2C").number(1, 1e6);
  for (const kdi::JsonValue standard : system.member("standards").members()) {
    const double volts = standard.member("volts").number(0, 10), pull = 1 / standard.member("pull_ohm").number(1, 1e6);
    ParamMap values{{"_BANK0_IO_STANDARD", std::string(standard.name())},
                    {"_BANK1_IO_STANDARD", "LVCMOS1.8"},
                    {"_MIO_3_PULLUP", "1"},
                    {"_MIO_4_PULLUP", "0"},
                    {"_MIO_5_PULLUP", "0"},
                    {"_DDR_ENABLE", "0"}};
    const auto power =
        kdi::power::system_power(part, {}, {{"MIO", 3, "I2C 0"}, {"MIO", 4, "I2C 0"}, {"MIO", 5, "UART 0"}},
                                 [&](std::string const& end) { return values.at(end); });
    const double square = 1000 * volts * volts * share;
    ASSERT_EQ(power->levels.size(), 3U);
    EXPECT_NEAR(power->levels[0].termination_milliwatts, square * (pull + bus), 1e-9);
    EXPECT_NEAR(power->levels[1].termination_milliwatts, square * bus, 1e-9);
    EXPECT_EQ(power->levels[2].termination_milliwatts, 0);
    EXPECT_EQ(power->levels[2].standard, standard.name());
    ASSERT_EQ(power->terminations.size(), 1U);
    EXPECT_EQ(power->terminations[0].item, "Terminations MIO 0 .. 15 (" + std::string(standard.name()) + ")");
    EXPECT_EQ(power->terminations[0].supply, "VCCO_500");
    EXPECT_NEAR(power->terminations[0].milliwatts, square * (pull + 2 * bus), 1e-9);
  }
}

// The two texts tell the same: what the pads of a supply have by the one is what the other sums up.
TEST_F(Outputs, TellOfPadsWhatTheirPowerSumsUp) {
  ParamMap params{{"PS_I2C0_PERIPHERAL_ENABLE", "1"},  {"PS_I2C0_PERIPHERAL_IO", "PMC_MIO 46 .. 47"},
                  {"PMC_QSPI_PERIPHERAL_ENABLE", "1"}, {"PS_UART0_PERIPHERAL_IO", "PMC_MIO 42 .. 43"},
                  {"PS_UART0_PERIPHERAL_ENABLE", "1"}, {"PMC_BANK_0_IO_STANDARD", "LVCMOS3.3"}};
  std::string power_text, pads_text;
  StrVec errors;
  HardIPInterface* const ps = core("pspmc", "1.4", "brvn1102-a625-2LHP-e-S");
  ps->generatePowerData(params, power_text, errors);
  ps->generateIOPadData(params, pads_text, errors);
  EXPECT_EQ(errors, StrVec());
  std::map<std::string, double> sums;
  const kdi::JsonFile pads(pads_text, "IOPAD_DATA");
  for (const kdi::JsonValue pad : pads.root().member("pads").items()) {
    EXPECT_EQ(pad.member("standard").text(), pad.member("supply").text() == "VCCO_500" ? "LVCMOS3.3" : "LVCMOS1.8");
    sums["pads " + text_of(pad, "supply")] += pad.member("milliwatts").number(0, 1e6);
    sums["terminations " + text_of(pad, "supply")] += pad.member("termination_milliwatts").number(0, 1e6);
  }
  EXPECT_GE(sums.size(), 4U);
  const PowerTold told(power_text);
  for (const kdi::JsonValue item : told.file.root().member("items").items()) {
    const std::string kind = text_of(item, "kind");
    if (kind != "pads" && kind != "terminations") continue;
    EXPECT_NEAR(item.member("milliwatts").number(0, 1e6), sums[kind + " " + text_of(item, "supply")], 0.02);
    sums.erase(kind + " " + text_of(item, "supply"));
  }
  for (auto const& [what, milliwatts] : sums) EXPECT_EQ(milliwatts, 0) << what;
}

// A configuration outside of any part has what its description says, and nothing of silicon.
TEST_F(Outputs, ArePowerWithoutConditionsWhereThereIsNoPart) {
  std::string text;
  HICInst("psxl_0").GetExportedData("POWER_DATA", text);
  PowerTold told(text);
  EXPECT_EQ(told.kinds.size(), 1U);
  EXPECT_GT(told.kinds["dynamic"], 0);
  EXPECT_FALSE(told.file.root().find("junction_c"));
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

// Its own files, and those of the block that its device has.
TEST_F(Outputs, OfAWizardThatIsAProcessingSystemHaveThoseOfItsBlockToo) {
  for (auto const& [part, block] :
       {std::pair("brvn1102-a625-2LHP-e-S", "cpm4"), std::pair("brvn1404-a625-2LHP-e-S", "cpm5")}) {
    HardIPInterface* const wizard = core("tavrel_cips", "3.4", part);
    std::string path = scratch_.folder() + "/" + block;
    ParamMap params{{"CPM_CONFIG", "CPM_PCIE0_MODES DMA CPM_PCIE0_LANES X4"}};
    wizard->writeDesignData(path, params);
    const auto commands = kdi::cdo::from_text(kdi::read_file(path + "/temp/i_cpm_0/cpm_pre_data.cdo"), "file");
    kdi::cores::RegisterMemory memory(*kdi::cores::RegisterMap::of(kdi::cores::core_description(block, "1.0")));
    EXPECT_NO_THROW(memory.run(commands));
    EXPECT_EQ(memory.field("CPM_BLOCK.LANES", "LANES"), 4U);
    EXPECT_TRUE(kdi::is_file(path + "/lpd_data.cdo"));
    StrVec errors;
    HardIPManager::getInstance()->deleteInstance(context_, errors);
  }
}

TEST_F(Outputs, OfASmallBlockAreOneFile) {
  HardIPInterface* const xram = core("xram");
  std::string path = scratch_.folder();
  ParamMap params;
  xram->writeDesignData(path, params);
  EXPECT_EQ(kdi::list_directory(path), std::vector<std::string>{"i_xram_data.cdo"});
}

}  // namespace
