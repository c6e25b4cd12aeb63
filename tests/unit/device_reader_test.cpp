// Device files that are wrong: each fault is told with its file, line and field, and the schema agrees with the reader.
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <random>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/json_changes.h"
#include "tests/support/json_schema.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::device;
using nlohmann::json;

const std::string kDevices = places::data("devices");

json file_of(std::string const& name) { return json::parse(kdi::read_file(kDevices + "/" + name)); }

// A device with its family's members, as one file.
json merged(std::string const& device) {
  json own = file_of(device + ".json");
  json family = file_of("families/" + own.at("base").get<std::string>() + ".json");
  own.erase("base");
  family.update(own);
  return family;
}

json const& whole() {
  static const json device = merged("brvn2104");
  return device;
}

// What the reader says of a text; empty if it is content.
std::string fault_of(std::string const& text) {
  try {
    read_device_text(text, "f.json", {});
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return {};
}

// The same without "<file>:<line>: ".
std::string fault_without_line(json const& device) {
  const std::string fault = fault_of(device.dump(1));
  const std::size_t colon = fault.find(": ");
  return colon == std::string::npos ? fault : fault.substr(colon + 2);
}

TEST(DeviceReader, TakesAFileThatNeedsNoFamily) {
  const std::vector<Part> parts = read_device_text(whole().dump(), "f.json", {});
  EXPECT_EQ(parts.size(), 16u);
  EXPECT_EQ(parts.front().device->name, "brvn2104");
}

TEST(DeviceReader, NamesFileLineAndField) {
  EXPECT_EQ(fault_of("{\n\"format\": 2}"), "f.json:2: format: expected an integer from 1 to 1, found the number 2");
  EXPECT_EQ(fault_of("{\"format\": 1,\n\n \"devise\": 1}").substr(0, 17), "f.json:3: devise:");
  EXPECT_EQ(fault_of("[]"), "f.json:1: top level: expected an object, found a list");
  EXPECT_EQ(fault_of("{\"format\": 1}"), "f.json:1: top level: expected a field \"device\", found none");
}

TEST(DeviceReader, NamesTheFamilyFileWhereTheFaultIsThere) {
  const Scratch scratch;
  json family = file_of("families/zorvan1.json");
  family["clock_primitives"][0]["limits"]["-1"]["vco_mhz"] = {1440, 640};
  scratch.file("families/zorvan1.json", family.dump(1));
  const std::string device = scratch.file("zrv7030.json", file_of("zrv7030.json").dump(1));
  try {
    read_device_file(device, {});
    FAIL() << "read";
  } catch (kdi::JsonError const& error) {
    const std::string text = error.what();
    EXPECT_EQ(text.rfind(scratch.path("families/zorvan1.json") + ":", 0), 0u) << text;
    EXPECT_NE(text.find("clock_primitives[0].limits.-1.vco_mhz: expected the lowest value before the highest"),
              std::string::npos)
        << text;
  }
}

TEST(DeviceReader, WantsTheFileNamedLikeItsDevice) {
  const Scratch scratch;
  const std::string path = scratch.file("other.json", whole().dump(1));
  try {
    read_device_file(path, {});
    FAIL() << "read";
  } catch (kdi::JsonError const& error) {
    EXPECT_NE(std::string(error.what()).find("device: expected the file's own name, found "), std::string::npos);
  }
  EXPECT_THROW(read_device_file(scratch.path("none.json"), {}), kdi::FileError);
}

struct Edit {
  char const* at;     ///< pointer to the member
  json value;         ///< null: the member is taken away
  char const* fault;  ///< how the fault's text begins
};

json edited(Edit const& edit) {
  json device = whole();
  const json::json_pointer at(edit.at);
  if (!edit.value.is_null())
    device[at] = edit.value;
  else if (device.at(at.parent_pointer()).is_array())
    device.at(at.parent_pointer()).erase(std::stoul(at.back()));
  else
    device.at(at.parent_pointer()).erase(at.back());
  return device;
}

TEST(DeviceReader, RefusesWhatDoesNotFitTogether) {
  const Edit edits[] = {
      {"/base", "nowhere",
       "base: expected the name of a family that has a file families/nowhere.json in a device directory, found "},
      {"/device", "a b", "device: expected a word of letters, digits and _-+., at most 64 long"},
      {"/slrs/0/master", false, "slrs: expected SLRs of which exactly one is the master"},
      {"/slrs/1", {{"name", "SLR0"}, {"master", false}}, "slrs[1].name: expected a name that does not occur twice"},
      {"/counts/MMCN", 3, "counts.MMCN: expected the name of a clock primitive, a clock buffer or a block memory"},
      {"/counts/MMCM", 0, "counts.MMCM: expected an integer from 1 to 10000000"},
      {"/speed_grades/1/name", "-1LHP", "speed_grades[1].name: expected a name that does not occur twice"},
      {"/speed_grades/0/keys",
       {{"MMCM_FVCO_MIN", 1}},
       "speed_grades[0].keys.MMCM_FVCO_MIN: expected a key that no limit has"},
      {"/clock_primitives/0/limits/-3", json::object(),
       "clock_primitives[0].limits.-3: expected the name of a speed grade"},
      {"/clock_primitives/0/limits/-1LHP", nullptr, "clock_primitives[0].limits: expected a field \"-1LHP\""},
      {"/clock_primitives/0/limits/-1LHP/phy_mhz",
       {1, 2},
       "clock_primitives[0].limits.-1LHP.phy_mhz: expected limits of a special output only for a primitive with a "
       "phy_output, found "},
      {"/clock_primitives/2/limits/-1LHP/phy_mhz", nullptr, "clock_primitives[2].limits.-1LHP: expected a field"},
      {"/clock_primitives/0/limits/-1LHP/vco_mhz/0", 0, "clock_primitives[0].limits.-1LHP.vco_mhz[0]: expected a num"},
      {"/clock_primitives/0/multiply/max", 3, "clock_primitives[0].multiply.max: expected an integer from 4"},
      {"/clock_primitives/0/multiply/steps_per_unit", 10,
       "clock_primitives[0].multiply.steps_per_unit: expected 1, 2, 4, 8, 16, 32 or 64"},
      {"/clock_primitives/0/multiply/steps_per_unit", 128,
       "clock_primitives[0].multiply.steps_per_unit: expected an integer from 1 to 64"},
      {"/clock_primitives/0/kind", "dll", "clock_primitives[0].kind: expected "},
      {"/clock_primitives/1/name", "MMCM", "clock_primitives[1].name: expected a name that does not occur twice"},
      {"/clock_primitives/0/loops/OPTIMIZED", nullptr, "clock_primitives[0].loops: expected a field \"OPTIMIZED\""},
      {"/clock_primitives/0/outputs/1",
       {{"count", 32},
        {"divide", {{"min", 1}, {"max", 2}}},
        {"phase_steps_per_vco_period", 8},
        {"phase_max_vco_periods", 1},
        {"duty_steps_per_vco_period", 2}},
       "clock_primitives[0].outputs: expected from 1 to 32 outputs in all"},
      {"/block_memories/0/single_port/0",
       {9216, 2},
       "block_memories[0].single_port[0]: expected a shape of at most 9216 bits, found "},
      {"/block_memories/0/single_port/1",
       {1024, 9},
       "block_memories[0].single_port[1]: expected a shape that does not occur twice, found "},
      {"/transceivers/0/limits/-1LHP/line_rate_gbps/1",
       {20, 30},
       "transceivers[0].limits.-1LHP.line_rate_gbps[1]: expected line rates above those before"},
      {"/transceivers/0/limits/-1LHP/vco_ghz/XPLL",
       {1, 2},
       "transceivers[0].limits.-1LHP.vco_ghz.XPLL: expected the name of one of the transceiver's PLLs"},
      {"/transceivers/1/type", "GTYP", "transceivers[1].type: expected a type that does not occur twice"},
      {"/quads/0/type", "GTX", "quads[0].type: expected the type of a transceiver"},
      {"/quads/0/numbers/0", "{700..702}",
       "quads[0].numbers: expected numbers that no bank and no other quad has (700 is taken)"},
      {"/quads/0/slr", 1, "quads[0].slr: expected an integer from 0 to 0"},
      {"/banks/0/layout", "none", "banks[0].layout: expected the name of a bank layout"},
      {"/banks/0/numbers/0", "700", "banks: expected banks of different numbers (700 occurs twice)"},
      {"/banks/0/numbers/0", "3x2", "banks[0].numbers: expected patterns of numbers from 0 to 99999, found "},
      {"/banks/0/numbers/0", "{1..2", "banks[0].numbers[0]: expected braces in pairs that do not nest"},
      {"/bank_layouts/0/pad_name", "IO_{site}", "bank_layouts[0].pad_name: expected a name that does not occur twice"},
      {"/bank_layouts/0/pad_name", "IO_{pad}",
       "bank_layouts[0].pad_name: expected only places of the names {bank}, {l"},
      {"/bank_layouts/0/lanes/0/strobe/0", "L9P",
       "bank_layouts[0].lanes[0].strobe: expected sites of the lane (L9P is none)"},
      {"/bank_layouts/0/impedance/0", "B9.L0P",
       "bank_layouts[0].impedance: expected lanes and sites of the layout, as T0.S (B9.L0P is none)"},
      {"/bank_layouts/0/strobe_reach", "far", "bank_layouts[0].strobe_reach: expected "},
      {"/bank_layouts/0/strobe_ways/ways/0", json::array({1}),
       "bank_layouts[0].strobe_ways.ways[0]: expected the numbers of two nibbles"},
      {"/bank_layouts/0/strobe_ways/ways/0", json::array({1, 1}),
       "bank_layouts[0].strobe_ways.ways[0]: expected two nibbles"},
      {"/bank_layouts/0/strobe_ways/ways/0/1", 9,
       "bank_layouts[0].strobe_ways.ways[0][1]: expected an integer from 0 to 8"},
      {"/bank_layouts/0/lanes/0/names/0", "Q-{0..3}",
       "bank_layouts[0].lanes[0].names: expected names without \"Q-\", which groups of signals have (Q-0)"},
      {"/banks/1/row", 10001, "banks[1].row: expected an integer from 0 to 10000"},
      {"/banks/1/column", nullptr, "banks[1].row: expected a column and a row, or neither"},
      {"/banks/1/column", 0, "banks[1].row: expected a place in the column for each bank"},
      {"/banks/1/triplets/first", -1, "banks[1].triplets.first: expected an integer from 0 to 99999"},
      {"/banks/1/triplets/master", 3, "banks[1].triplets.master: expected an integer from 0 to 2"},
      {"/banks/0/triplets",
       {{"first", 5}, {"master", 0}},
       "banks[0].triplets: expected banks in threes that have a column and a row"},
      {"/banks/0",
       {{"numbers", {"{600..602}"}},
        {"layout", "hd22"},
        {"slr", 0},
        {"column", 5},
        {"row", 0},
        {"triplets", {{"first", 1}, {"master", 0}}}},
       "banks[1].triplets.first: expected triplets that no other banks make (1 is there)"},
      {"/clock_regions/row_ps", "far", "clock_regions.row_ps: expected a number"},
      {"/packages/0/delay_ps/pins",
       {{"A1:A2", 5}},
       "packages[0].delay_ps.pins.A1:A2: expected the name of a ball of the grid"},
      {"/packages/0/delay_ps/pins",
       {{"BA1", 5}},
       "packages[0].delay_ps.pins.BA1: expected the name of a ball of the grid"},
      {"/packages/0/grid", nullptr, "packages[0].delay_ps: expected a package with a grid"},
      {"/packages/0/delay_ps/per_ball", -1, "packages[0].delay_ps.per_ball: expected a number from 0 to 10000"},
      {"/bank_layouts/0/lanes/1/names/0", "B3", "bank_layouts[0].lanes[1].names: expected a name that does not occur"},
      {"/packages/0/bonded/0/pins/0", "A8:J24",
       "packages[0].bonded[0].pins: expected as many balls as there are pads, "
       "162 (here 153)"},
      {"/packages/0/bonded/0/pins/0", "A9:J26", "packages[0].bonded[0].pins[0]: expected balls of the package's grid"},
      {"/packages/0/bonded/1/pins/0", "J8:P20", "packages[0].bonded[1]: expected pins of one pad each (J8 has two)"},
      {"/packages/0/bonded/0/banks/0", "{699..701}",
       "packages[0].bonded[0].banks: expected numbers that the die has (it has no 699)"},
      {"/packages/0/bonded/1/banks/0", "{700..702}",
       "packages[0].bonded[1].banks: expected numbers that the package does not have yet (it has 700)"},
      {"/packages/0/bonded/0/without_lanes", json::array({"Z"}),
       "packages[0].bonded[0].without_lanes: expected lanes of all the banks (700 has no Z)"},
      {"/packages/0/bonded/3/without_lanes", json::array({"Z"}), "packages[0].bonded[3].without_lanes: expected "},
      {"/packages/0/bonded/0/banks", nullptr, "packages[0].bonded[0]: expected a field \"banks\""},
      {"/packages/1/name", "a625", "packages[1].name: expected a name that does not occur twice"},
      {"/packages", json::array(), "packages: expected at least one package"},
      {"/processing_system/mio_pins", 77,
       "processing_system.mio_pins: expected the number of pads in banks of kind MIO"},
      {"/processing_system/cores",
       {{"a b", json::array()}},
       "processing_system.cores.a b: expected the name of a core, found "},
      {"/controller_sites/0/banks/0", "{700..706}",
       "controller_sites[0].banks: expected banks of the site's SLR (706 is none)"},
      {"/controller_sites/1/banks/0", "702",
       "controller_sites[1].banks: expected banks of one site alone (702 has another)"},
      {"/processing_system/cores", json::array({"pmcps"}), "processing_system.cores: expected an object, found a list"},
      {"/processing_system/cores/pmcps", json::array({"1.0", "1.0"}), "processing_system.cores.pmcps"},
      {"/processing_systems/1/kind", "pspmc", "processing_systems[1].kind: expected a name that does not occur twice"},
      {"/processing_systems/1/plls/1/name", "PPLL",
       "processing_systems[1].plls[1].name: expected a name that does not occur twice"},
      {"/processing_systems/0/plls/0/limits/-2LHP", nullptr,
       "processing_systems[0].plls[0].limits: expected a field \"-2LHP\""},
      {"/processing_systems/0/plls/0/limits/-2LHP/vco_mhz", json::array({10000, 20000}),
       "processing_systems[0].plls[0].limits.-2LHP.vco_mhz: expected a range that reference and feedback reach"},
      {"/processing_systems/0/plls/0/output_divides", json::array({4, 2}),
       "processing_systems[0].plls[0].output_divides[1]: expected a number above the one before it"},
      {"/processing_systems/0/dividers/1/name", "clock",
       "processing_systems[0].dividers[1].name: expected a name that does not occur twice"},
      {"/processing_systems/0/clocks_max_mhz/-2LHP/UART", nullptr,
       "processing_systems[0].clocks_max_mhz.-2LHP: expected all clocks of the first speed grade"},
      {"/processing_systems/0/clocks_max_mhz/-2LHP/MORE", 1,
       "processing_systems[0].clocks_max_mhz.-2LHP.MORE: expected a clock that the first speed grade has"},
      {"/processing_systems/0/monitor/bank_supply", "VCCO",
       "processing_systems[0].monitor.bank_supply: expected a name that does not occur twice"},
      {"/processing_systems/0/monitor/supplies/1/names/0", "VCC_PMC",
       "processing_systems[0].monitor.supplies[1].names: expected a name that does not occur twice"},
      {"/processing_systems/0/clocks_max_mhz/-1LHP/U S", 1,
       "processing_systems[0].clocks_max_mhz.-1LHP.U S: expected a clock whose name is a word"},
      {"/processing_systems/0/monitor/bank_supply", "V {bank}",
       "processing_systems[0].monitor.bank_supply: expected a pattern of words"},
      {"/processing_systems/0/monitor/supplies/1/names/0", "V C",
       "processing_systems[0].monitor.supplies[1].names[0]: expected a pattern of words"},
      {"/processing_systems/0/monitor/supplies/1/names/0", "V{0..1000}",
       "processing_systems[0].monitor.supplies: expected at most 1000 supplies"},
      {"/processing_systems/0/plls", json::array_t(33, json::object()),
       "processing_systems[0].plls: expected at most 32 PLLs"},
      {"/controller_sites/0/controller", "SOFTMC",
       "controller_sites[0].controller: expected a controller that is hard"},
      {"/controller_sites/1/name", "DDRMC_0", "controller_sites[1].name: expected a name that does not occur twice"},
      {"/power/clocks/0/primitive", "MM", "power.clocks[0].primitive: expected the name of a clock primitive"},
      {"/power/memories/0/type", "DDR1", "power.memories[0].type: expected the type of a controller's memory"},
      {"/power/memories/1/type", "DDR4", "power.memories[1].type: expected a name that does not occur twice"},
      {"/power/transceivers/0/pll_w/RPLL0", nullptr, "power.transceivers[0].pll_w: expected a field \"RPLL0\""},
      {"/power/transceivers/0/pll_w/QPLL", 1,
       "power.transceivers[0].pll_w.QPLL: expected the name of one of the trans"},
      {"/power/transceivers/0/points/2/tx_w", 0.05,
       "power.transceivers[0].points[2].tx_w: expected no less than at the line rate before it"},
      {"/power/transceivers/0/points/1/rx_w", 0.01,
       "power.transceivers[0].points[1].rx_w: expected no less than at the line rate before it"},
      {"/power/transceivers/0/points/1/line_rate_gbps", 1,
       "power.transceivers[0].points[1].line_rate_gbps: expected a line rate above the one before it"},
      {"/part_name", "x{device}", "part_name: expected a pattern that begins with {device}"},
      {"/part_name", "{device}-{package}", "part_name: expected a name that does not occur twice"},
      {"/part_name", "{device} {package}{speed}{temperature}{stage}", "part_name: expected a pattern of words"},
      {"/part_name", "{device}{grade}", "part_name: expected only places of the names {device}, {package}, {screen}, "},
      {"/name_fields/0/field", "speed", "name_fields[0].field: expected a name that does not occur twice"},
      {"/name_fields/0/values", json::array(),
       "name_fields[0].values: expected from one value to 2000 combinations of them, found "},
      {"/speed_grades", json::array(), "speed_grades: expected at least one speed grade, found "},
      {"/clock_primitives/0/spread_spectrum/modes", json::array(),
       "clock_primitives[0].spread_spectrum.modes: expected at least one mode, found "},
      {"/clock_primitives/2/phy_output/modes", json::array(),
       "clock_primitives[2].phy_output.modes: expected at least one mode, found "},
      {"/clock_primitives/0/limits/-1LHP/vco_mhz/1", nullptr,
       "clock_primitives[0].limits.-1LHP.vco_mhz: expected the lowest and the highest value, found "},
      {"/block_memories/0/single_port/0/1", nullptr,
       "block_memories[0].single_port[0]: expected a depth in words and a width in bits, found "},
      {"/memory_controllers/0/interfaces", json::array(),
       "memory_controllers[0].interfaces: expected at least one interface, found "},
      {"/memory_controllers/0/interfaces/0/data_widths", json::array(),
       "memory_controllers[0].interfaces[0].data_widths: expected at least one number, found "},
      {"/memory_controllers/0/interfaces/0/data_widths/1", 16,
       "memory_controllers[0].interfaces[0].data_widths[1]: expected a number above the one before it, found "},
      {"/transceivers/0/limits/-1LHP/line_rate_gbps", json::array(),
       "transceivers[0].limits.-1LHP.line_rate_gbps: expected at least one range, found "},
      {"/bank_layouts/0/lanes", json::array(), "bank_layouts[0].lanes: expected at least one lane, found "},
      {"/bank_layouts/0/lanes/0/nibbles", json::array(),
       "bank_layouts[0].lanes[0].nibbles: expected at least one nibble, found "},
      {"/banks/0/numbers", json::array(), "banks[0].numbers: expected at least one pattern, found "},
      {"/packages/0/bonded/0/pins/0", "A8:J",
       "packages[0].bonded[0].pins[0]: expected balls such as B7 or A1:D4, found "},
      {"/packages/0/bonded/0/pins/0", "J25:A8",
       "packages[0].bonded[0].pins[0]: expected a rectangle from its first ball to its last, such as A1:D4, found "},
      {"/power/transceivers/0/points", json::array(),
       "power.transceivers[0].points: expected at least one point, found "},
      {"/properties", {{"a b", "x"}}, "properties.a b: expected a property whose name is a word"},
  };
  for (Edit const& edit : edits) {
    const std::string fault = fault_without_line(edited(edit));
    EXPECT_EQ(fault.substr(0, std::string(edit.fault).size()), edit.fault) << edit.at;
  }
}

TEST(DeviceReader, RefusesMoreThanMemoryShouldHold) {
  EXPECT_NE(fault_without_line(edited({"/banks/0/numbers/0", "{10000..29999}", ""}))
                .find("a device of at most 100000 pads and pins in all its packages"),
            std::string::npos);
  EXPECT_NE(fault_without_line(edited({"/banks/0/numbers/0", "{0..99999999}", ""})).find("at most 20000 names"),
            std::string::npos);
  json many = whole();
  many["name_fields"][1]["values"] = json::array();
  for (int i = 0; i < 600; ++i) many["name_fields"][1]["values"].push_back({{"value", "S" + std::to_string(i)}});
  EXPECT_NE(fault_without_line(many).find("combinations"), std::string::npos);
  json& values = many["name_fields"][1]["values"];
  while (values.size() > 400) values.erase(values.size() - 1);
  EXPECT_EQ(fault_without_line(many).substr(0, 54), "part_name: expected a device of at most 2000 parts, fo");
  json described = whole();
  for (int i = 0; i <= 200; ++i) described["properties"]["P" + std::to_string(i)] = "x";
  EXPECT_EQ(fault_without_line(described).substr(0, 47), "properties: expected at most 200 properties, fo");
  const std::string deep(100000, '[');
  EXPECT_NE(fault_of("{\"format\": " + deep), "");
}

// A person writes a file with the schema at hand: what it forbids, the reader refuses as well, with a place.
TEST(DeviceSchema, ForbidsNothingThatTheReaderTakes) {
  const JsonSchema schema(file_of("schema.json"));
  test_support::Seeded<std::mt19937> random(test_support::fresh_seed());
  int forbidden = 0, allowed = 0;
  for (char const* const name : {"brvn2104", "zrv7030"}) {
    const json device = merged(name);
    for (int i = 0; i < 300; ++i) {
      const json changed = json_changes::mutated(device, random);
      const std::string fault = fault_of(changed.dump(1));
      const bool accepted = schema.accepts(changed);
      (accepted ? allowed : forbidden) += 1;
      EXPECT_TRUE(accepted || !fault.empty()) << json::diff(device, changed).dump();
      if (fault.empty()) continue;
      EXPECT_EQ(fault.rfind("f.json:", 0), 0u) << fault;
      EXPECT_GT(std::stoi(fault.substr(7)), 0) << fault;
    }
  }
  EXPECT_GT(forbidden, 200);  // so that the comparison means something
  EXPECT_GT(allowed, 0);
}

TEST(DeviceSchema, TakesAllShippedFiles) {
  const JsonSchema schema(file_of("schema.json"));
  int files = 0;
  for (std::string const& folder : {std::string(), std::string("families/")})
    for (auto const& entry : std::filesystem::directory_iterator(kDevices + "/" + folder)) {
      const std::string name = entry.path().filename();
      if (entry.path().extension() != ".json" || name == "schema.json") continue;
      EXPECT_TRUE(schema.accepts(file_of(folder + name))) << name;
      ++files;
    }
  EXPECT_GE(files, 8);
}

}  // namespace
