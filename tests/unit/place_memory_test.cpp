// Interfaces to memories, behind the commands: all that is said of a plan is the same plan, what does not fit names its
// setting, and memory files are read back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/place/kelvane_io_v1.h"
#include "platform/place/dictionary.h"
#include "platform/place/memory_file.h"
#include "platform/place/memory_plan.h"
#include "platform/place/parameters.h"
#include "tests/support/place_instance.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::place;
using namespace place_instance;
using kelvane_io::kelvane_io_v1::HIPKelvaneIoInstance;
using kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr;

// The operations of one use.
struct Use {
  char const* part;
  char const* settings;
  OptionMap (HIPKelvaneIoInstance::*plan)(ParamMap const&);
  OptionMap (HIPKelvaneIoInstance::*strobes)(ParamMap const&);
  PinMap (HIPKelvaneIoInstance::*grouping)(ParamMap const&);        // or null
  OptionMap (HIPKelvaneIoInstance::*parameters)(ParamMap const&);   // or null
  OptionMap (HIPKelvaneIoInstance::*constraints)(ParamMap const&);  // or null
  OptionMap (HIPKelvaneIoInstance::*pins)(ParamMap const&);         // or null
};
using I = HIPKelvaneIoInstance;
constexpr Use kHard4{kNibbles,
                     "",
                     &I::hard_DDR4_defaultIOPlanning,
                     &I::hard_DDR4_getStrobeToDataNibbles,
                     &I::hard_DDR4_nibbleGrouping,
                     &I::hard_DDR4_generateMapParams,
                     nullptr,
                     nullptr};
constexpr Use kPhy{kNibbles, "",      &I::xphy_io_defaultIOPlanning, &I::xphy_io_getStrobeToDataNibbles,
                   nullptr,  nullptr, &I::xphy_io_generateXDCMap,    nullptr};

// Everything that is said of the plan of some settings is the same plan.
void check_agreement(Use const& use, char const* part, std::string const& settings) {
  const Interface made(part);
  I& instance = *made.operator->();
  const kdi::planning::Layout layout = kdi::planning::layout_of(HARPartMgr::getGlobal()->getPart(part)->values());
  const OptionMap plan = (instance.*use.plan)(words(settings));
  const Locations locations = read_locations("plan", plan);
  const PortPads pads = pads_of(locations, layout, "plan");
  ASSERT_EQ(pads.size(), plan.size());
  // What a getter gives its setter takes, and it changes nothing.
  const ParamMap told = words(settings, dictionary(plan));
  const OptionMap strobes = (instance.*use.strobes)(told);
  ASSERT_EQ(strobes, (instance.*use.strobes)(words(settings)));
  std::set<std::string> with_ports;
  for (auto const& [port, pad] : pads) with_ports.insert(nibble_name(layout, pad));
  for (auto const& [strobe, nibbles] : read_strobe_map("strobes", strobes)) {
    ASSERT_TRUE(pads.contains(strobe)) << strobe;
    ASSERT_EQ(nibbles.front(), nibble_name(layout, pads.at(strobe)));
    for (std::string const& nibble : nibbles) ASSERT_TRUE(with_ports.contains(nibble)) << nibble;
  }
  if (use.grouping != nullptr) {
    ASSERT_EQ(read_grouping((instance.*use.grouping)(words(settings)), layout, "grouping"), pads);
  }
  if (use.parameters != nullptr) {
    const PlanWords decoded = read_parameters((instance.*use.parameters)(told), layout, "parameters");
    ASSERT_EQ(decoded.pads, pads);
    for (auto const& [port, standard] : decoded.standards) ASSERT_EQ(standard, locations.at(port).standard);
    std::map<std::string, std::set<std::string>> clocked, expected;
    for (auto const& [strobe, nibbles] : decoded.strobes) clocked[strobe].insert(nibbles.begin(), nibbles.end());
    for (auto const& [strobe, nibbles] : read_strobe_map("strobes", strobes))
      expected[strobe].insert(nibbles.begin(), nibbles.end());
    ASSERT_EQ(clocked, expected);
  }
  if (use.constraints != nullptr)
    for (auto const& [port, properties] : (instance.*use.constraints)(told)) {
      const Pairs all = read_dictionary(properties, port);
      const std::map<std::string, std::string> by_name(all.begin(), all.end());
      ASSERT_EQ(by_name.at("PACKAGE_PIN"), locations.at(port).ball);
      ASSERT_EQ(by_name.at("IOSTANDARD"), locations.at(port).standard);
    }
  if (use.pins != nullptr) {
    const auto info = read_pin_info("pins", (instance.*use.pins)(words(settings)));
    ASSERT_EQ(pads_of(info, layout, "pins"), pads);
  }
}

bool agree(Use const& use, char const* part, std::string const& settings) {
  check_agreement(use, part, settings);
  return !testing::Test::HasFailure();
}

TEST(MemoryInterfaces, SayTheSameOfOnePlan) {
  for (char const* const settings : {"", "DATA_WIDTH 16", "ECC true CONTROLLER DDRMC_2",
                                     "MEMORY_PART DDR4-2400R-8Gb-x4 DATA_WIDTH 32 CONTROLLER DDRMC_3",
                                     "MEMORY_PART DDR4-2400R-8Gb-x8-rdimm-2r SLOTS 2 RANKS 2",
                                     "SYSTEM_CLOCK Single-Ended", "SYSTEM_CLOCK No_Buffer"})
    EXPECT_TRUE(agree(kHard4, kNibbles, settings)) << settings;
  for (char const* const settings : {"DATA_WIDTH 16", "MEMORY_TYPE QDRIV DATA_WIDTH 36", "MEMORY_TYPE RLDRAM3",
                                     "MEMORY_TYPE DDR4 DATA_WIDTH 72 BANKS {703 704 705}"})
    EXPECT_TRUE(agree(kPhy, kNibbles, settings)) << settings;
}

TEST(MemoryInterfaces, OfLogicTakeOptionsAndWordsAlike) {
  const Interface made(kNibbles, {{"-data_width", "8"}});
  const OptionMap plan = made->soft_DDR4_defaultIOPlanning({});
  EXPECT_EQ(plan, made->soft_DDR4_defaultIOPlanning({{"-data_width", "8"}, {"-port_locs", dictionary(plan)}}));
  EXPECT_EQ(plan.size(), made->soft_DDR4_generateXDCMap(words("", dictionary(plan))).size());
  EXPECT_NE(plan, made->soft_DDR4_defaultIOPlanning({{"-data_width", "16"}}));
  const kdi::planning::Layout layout = kdi::planning::layout_of(HARPartMgr::getGlobal()->getPart(kNibbles)->values());
  EXPECT_EQ(read_grouping(made->soft_DDR4_nibbleGrouping({}), layout, "it"),
            pads_of(read_locations("it", plan), layout, "it"));
  EXPECT_EQ(made->soft_DDR4_getStrobeToDataNibbles(words("")), (OptionMap{{"c0_ddr4_dqs_t[0]", "700_0 700_1"}}));
}

TEST(MemoryInterfaces, StayWhereAUserHasThem) {
  const Interface made(kNibbles);
  // A single port by its pad takes the plan along.
  const OptionMap plan = made->xphy_io_defaultIOPlanning(
      {{"IP_NAME", "ip"}, {"XGUI_CONFIG", "DATA_WIDTH 8"}, {"PORT_LOCS", "{c0_ddr4_dq[0]} IO_B2_L1P_705"}});
  EXPECT_TRUE(plan.at("c0_ddr4_dq[0]").starts_with("705,B2,4,L1P,"));
  EXPECT_TRUE(plan.at("c0_ddr4_dq[7]").starts_with("705,B2,"));
  const auto fault = [&](char const* settings, char const* ports) {
    return thrown([&] { made->xphy_io_defaultIOPlanning(words(settings, ports)); });
  };
  EXPECT_EQ(fault("DATA_WIDTH 8", "none IO_B2_L1P_705"), "PORT_LOCS: there is no port \"none\"");
  EXPECT_EQ(fault("DATA_WIDTH 8", "none -,-,-,-,-,-"), "PORT_LOCS: there is no port \"none\"");
  EXPECT_EQ(fault("DATA_WIDTH 8", "{c0_ddr4_dq[0]} 705,B2,-,L1P,-,LVDS15"),
            "PORT_LOCS: c0_ddr4_dq[0]: the standard is \"POD12_DCI\" and not \"LVDS15\"");
  EXPECT_EQ(fault("DATA_WIDTH 8", "{c0_ddr4_dqs_t[0]} IO_B2_L1P_705").substr(0, 12), "strobe-site:");
  EXPECT_EQ(fault("DATA_WIDTH 64 BANKS 700", "").substr(0, 27), "the pins cannot be placed: ");
  EXPECT_EQ(thrown([&] { made->hard_DDR4_getStrobeToDataNibbles(words("", "{c0_ddr4_dq[0]} IO_B2_L1P_705")); }),
            "PORT_LOCS: c0_ddr4_dq[0]: a DDRMC has it on IO_B0_L1P_700");
}

TEST(MemoryInterfaces, OfSiliconTakeTheFirstSiteThatIsFree) {
  std::vector<std::string> sites;
  std::string fault;
  for (int i = 0; fault.empty() && i < 16; ++i) {
    const std::string name = "i" + std::to_string(i);
    HIPKelvaneIPMgr::loadMigPkgData({{"-instance_name", name}, {"-part", kNibbles}});
    I& instance = *HIPKelvaneIPMgr::getIPInstance(name);
    OptionMap plan;
    fault = thrown([&] { plan = instance.hard_DDR4_defaultIOPlanning(words("")); });
    if (!fault.empty()) break;
    sites.push_back(instance.hard_DDR4_getConfigurationInfo(words("")).at("CONTROLLER"));
    // The same is said of it from now on, and of one that is named.
    EXPECT_EQ(instance.hard_DDR4_defaultIOPlanning(words("", dictionary(plan))), plan);
    EXPECT_EQ(instance.hard_DDR4_defaultIOPlanning(words("CONTROLLER " + sites.back())), plan);
  }
  HIPKelvaneIPMgr::releasePkgData({});
  EXPECT_EQ(sites, (std::vector<std::string>{"DDRMC_0", "DDRMC_1", "DDRMC_2", "DDRMC_3"}));
  EXPECT_EQ(fault.substr(0, 9), "pad-free:");
  EXPECT_NE(fault.find("the pad is taken by another interface"), std::string::npos) << fault;
}

TEST(MemoryInterfaces, TellOfTheirBanks) {
  const Interface made(kNibbles);
  EXPECT_EQ(made->xphyio_getNumBanks(words("MEMORY_TYPE QDRIV DATA_WIDTH 36")),
            (OptionMap{{"NUM_BANKS", "3"}, {"BANKS", "700,701,702"}}));
  EXPECT_EQ(made->xphy_io_isSysClkInMasterBank(words("DATA_WIDTH 8")),
            (OptionMap{{"RESULT", "false"}, {"SYS_CLK_BANK", "700"}, {"MASTER_BANK", "701"}}));
  EXPECT_EQ(made->xphy_io_isSysClkInMasterBank(
                    words("DATA_WIDTH 8",
                          "c0_sys_clk_p IO_B0_L0P_701 {c0_ddr4_dq[0]} IO_B0_L1P_700 c0_ddr4_act_n IO_B2_L3P_700"))
                .at("RESULT"),
            "true");
  EXPECT_EQ(made->xphy_io_isSysClkInMasterBank(words("DATA_WIDTH 8 SYSTEM_CLOCK No_Buffer")).at("SYS_CLK_BANK"), "");
}

TEST(MemoryInterfaces, HaveAConfigurationThatFollows) {
  const Interface made(kNibbles);
  OptionMap all = made->hard_DDR4_getConfigurationInfo(
      words("MEMORY_PART DDR4-2400R-8Gb-x8 DATA_WIDTH 64 ECC 1 TIME_PERIOD 833 CONTROLLER DDRMC_1"));
  EXPECT_EQ(all, (OptionMap{{"CONTROLLER", "DDRMC_1"},
                            {"CONTROLLERTYPE", "DDRMC"},
                            {"SLR", "0"},
                            {"BANKS", "703,704,705"},
                            {"MEMORY_TYPE", "DDR4"},
                            {"MEMORY_PART", "DDR4-2400R-8Gb-x8"},
                            {"DEVICE_WIDTH", "8"},
                            {"NUM_DEVICES", "9"},
                            {"DATA_WIDTH", "64"},
                            {"ECC_WIDTH", "8"},
                            {"DQ_WIDTH", "72"},
                            {"DQS_WIDTH", "9"},
                            {"DM_WIDTH", "9"},
                            {"CK_WIDTH", "1"},
                            {"ADDRESS_WIDTH", "25"},
                            {"RANKS", "1"},
                            {"SLOTS", "1"},
                            {"TOTAL_RANKS", "1"},
                            {"TIME_PERIOD", "833"},
                            {"DATA_RATE", "2400"},
                            {"RATIO", "4:1"},
                            {"UI_CLOCK", "300120048"},
                            {"BURST_LENGTH", "8"}}));
  // A period alone has the first part that is fast enough.
  EXPECT_TRUE(
      made->hard_DDR4_getConfigurationInfo(words("TIME_PERIOD 1250")).at("MEMORY_PART").starts_with("DDR4-1600"));
}

TEST(MemoryInterfaces, WithASettingThatDoesNotFitNameIt) {
  const auto fault = [](char const* part, char const* settings) {
    const Interface made(part);
    return thrown([&] { made->hard_DDR4_getConfigurationInfo(words(settings)); });
  };
  EXPECT_EQ(fault(kNibbles, "MEMORY_TYPE DDR3"),
            "MEMORY_TYPE: \"DDR3\" is none of " + kdi::text::joined(types_of(MemoryUse::hard_ddr4), ", "));
  EXPECT_EQ(fault(kOctads, ""), "MEMORY_TYPE: brvn6112-c2209-2LHP-e-S has no controller in silicon for DDR4");
  EXPECT_EQ(fault("zrv9010-f900-2-e", ""), "CONTROLLER: the package has no site of a controller in silicon for DDR4");
  EXPECT_EQ(fault(kNibbles, "CONTROLLER DDRMC_9"),
            "CONTROLLER: \"DDRMC_9\" is none of DDRMC_0, DDRMC_1, DDRMC_2, DDRMC_3");
  EXPECT_EQ(fault("brvn5130-b1936-2LHP-e-S", "CONTROLLER DDRMC_4"),
            "CONTROLLER: \"DDRMC_4\" is none of DDRMC_0, DDRMC_1, DDRMC_2, DDRMC_3");
  EXPECT_EQ(fault(kNibbles, "MEMORY_PART X"), "MEMORY_PART: \"X\" is no part of DDR4");
  EXPECT_EQ(fault(kNibbles, "TIME_PERIOD 100"), "TIME_PERIOD: no part of DDR4 has 100 ps");
  EXPECT_EQ(fault(kNibbles, "TIME_PERIOD 700 MEMORY_PART DDR4-2400R-8Gb-x8"),
            "TIME_PERIOD: 700 ps are 2857 Mb/s, and DDR4-2400R-8Gb-x8 has 2400");
  EXPECT_EQ(fault("brvn3716-b1764-1LHP-e-S", "TIME_PERIOD 625 MEMORY_PART DDR4-3200AA-8Gb-x8"),
            "TIME_PERIOD: 625 ps are 3200 Mb/s, and DDRMC has 2933");
  EXPECT_EQ(fault(kNibbles, "TIME_PERIOD 1700"), "TIME_PERIOD: 1700 ps are too long for DDR4");
  EXPECT_EQ(fault(kNibbles, "DATA_WIDTH 24"), "DATA_WIDTH: 24 is none of 16, 32, 64");
  EXPECT_EQ(fault(kNibbles, "RANKS 8"), "RANKS: 8 in all slots, and DDRMC has up to 4");
  EXPECT_EQ(fault(kNibbles, "RATIO 2:1"), "RATIO: 2:1 is no ratio of a DDRMC");
  EXPECT_EQ(thrown([] {
              const Interface made(kNibbles);
              made->xphy_io_defaultIOPlanning(words("MEMORY_TYPE X"));
            }).substr(0, 27),
            "MEMORY_TYPE: \"X\" is none of");
  EXPECT_EQ(thrown([] {
              const Interface made(kNibbles, {{"-data_width", "x"}});
            }),
            "options: DATA_WIDTH: \"x\" is no whole number from 1 to 1024");
}

// The part with another controller in the place of its first.
template <class Change>
std::string fault_with(Change change, char const* settings) {
  const kdi::device::Part& part = HARPartMgr::getGlobal()->getPart(kNibbles)->values();
  auto device = std::make_shared<kdi::device::Device>(*part.device);
  kdi::device::Part made = part;
  for (kdi::device::SpeedGrade& speed : device->speed_grades)
    if (speed.name == part.speed->name) {
      change(speed.memory_controllers[0]);
      made.speed = &speed;
    }
  made.device = device;
  return thrown([&] { memory_setup(made, MemoryUse::hard_ddr4, settings_of_dictionary("it", settings)); });
}

TEST(MemoryInterfaces, OfAnotherControllerAreRefused) {
  using kdi::device::MemoryController;
  EXPECT_EQ(fault_with([](MemoryController&) {}, "ECC 1"), "");
  EXPECT_EQ(fault_with([](MemoryController& one) { one.interfaces[0].ecc = false; }, "ECC 1"),
            "ECC: DDRMC has none for DDR4");
  EXPECT_EQ(fault_with([](MemoryController& one) { one.interfaces[0].modules = false; },
                       "MEMORY_PART DDR4-2400R-8Gb-x8-rdimm-1r"),
            "MEMORY_PART: DDRMC drives no modules");
  EXPECT_EQ(fault_with([](MemoryController& one) { one.name = "X"; }, ""), "CONTROLLER: the pads of a X are not known");
}

TEST(MemoryInterfaces, HaveTheirBusesStrobesInTheWordsOfTheOutside) {
  const Interface made(kNibbles);
  const auto ask = [&](std::string const& ports, std::string const& names) {
    return made->hardmcDqsVsDataNibbles(
        {{"BUS_CONFIG_DATA", "d {WIDTH 4 STROBE s} s {ROLE Strobe WIDTH 2 DIFFERENTIAL 1}"},
         {"TRANSLATED_PORTS", names},
         {"PORT_LOCS", ports}});
  };
  const std::string places =
      "{s_p[0]} IO_B0_L0P_700 {s_n[0]} IO_B0_L0N_700 {s_p[1]} IO_B2_L0P_700 {s_n[1]} IO_B2_L0N_700 "
      "{d[0]} IO_B1_L1P_700 {d[1]} IO_B0_L1P_700 {d[3]} IO_B2_L1N_700 ";
  EXPECT_EQ(ask(places + "{d[2]} IO_B2_L1P_700", ""), (OptionMap{{"s_p[0]", "700_0 700_2"}, {"s_p[1]", "700_4"}}));
  EXPECT_EQ(ask(places + "last IO_B2_L1P_700", "{d[2]} last").at("s_p[1]"), "700_4");
  EXPECT_EQ(thrown([&] { ask(places, ""); }), "PORT_LOCS: d[2] has no place");
  EXPECT_EQ(thrown([&] { ask(places + "{d[2]} IO_B2_L1P_701", ""); }),
            "strobe-reach: d[2] is in another bank than s_p[1]");
}

// ------------------------------------------------------------------------------------------------------ memory files

TEST(MemoryFiles, HaveThePlanAndAreReadBack) {
  const Scratch scratch;
  const Interface made(kNibbles);
  const ParamMap places{{"IP_NAME", "ip"}, {"SW_DIR_PATH", scratch.folder()}, {"MEM_DIR_PATH", scratch.folder()}};
  EXPECT_EQ(thrown([&] { made->hard_DDR4_generateMemFile(places); }), "no plan of the interface has been made yet");
  const OptionMap plan = made->hard_DDR4_defaultIOPlanning(words("DATA_WIDTH 16 BUSES {{a} {}\n}"));
  const std::string path = made->hard_DDR4_generateMemFile(places);
  EXPECT_EQ(path, scratch.path("ip.mem"));
  const MemoryFile file = read_memory_file(kdi::read_file(path), path);
  EXPECT_EQ(file.interface, "ip");
  EXPECT_EQ(file.ports, Pairs(plan.begin(), plan.end()));
  EXPECT_EQ(file.settings, (Pairs{{"DATA_WIDTH", "16"}, {"BUSES", "a {ROLE Data DIRECTION RX}"}}));
  EXPECT_FALSE(file.image);
  const auto fault = [&](char const* key, std::string const& value) {
    ParamMap changed = places;
    changed[key] = value;
    return thrown([&] { made->soft_DDR4_generateMemFile(changed); });
  };
  EXPECT_EQ(fault("IP_NAME", "../x"), "IP_NAME: \"../x\" is no word of letters, digits and _-+.");
  EXPECT_EQ(fault("IP_NAME", "other"), "IP_NAME: the last plan is of \"ip\"");
  EXPECT_EQ(fault("MEM_DIR_PATH", ""), "MEM_DIR_PATH: there is none");
  EXPECT_NE(fault("MEM_DIR_PATH", scratch.path("nothing")).find("nothing/ip.mem: "), std::string::npos);
  EXPECT_EQ(scratch.names(), std::vector<std::string>{"ip.mem"});
}

TEST(MemoryFiles, OfAnImageHaveWhatIsLoaded) {
  const Scratch scratch;
  const Interface made(kNibbles);
  made->xphy_io_defaultIOPlanning(words("DATA_WIDTH 8"));
  kdi::write_file(scratch.path("boot.elf"), kdi::read_file(places::program("loadable.elf")));
  const ParamMap asked{{"IP_NAME", "ip"}, {"SW_DIR_PATH", scratch.folder()}, {"MEM_DIR_PATH", scratch.folder() + "/"}};
  const auto with = [&](std::string const& name) {
    ParamMap all = asked;
    all["ELF_NAME"] = name;
    return all;
  };
  const std::string path = made->hard_DDR5_generateMemFile(with("boot.elf"));
  const MemoryFile file = read_memory_file(kdi::read_file(path), path);
  ASSERT_TRUE(file.image);
  EXPECT_EQ(*file.image, program_image(places::program("loadable.elf")));
  EXPECT_EQ(made->hard_DDR5_generateMemFile(with(scratch.path("boot.elf"))), path);
  EXPECT_EQ(thrown([&] { made->hard_DDR5_generateMemFile(asked); }), "ELF_NAME: there is none");
  const std::string before = kdi::read_file(path);
  EXPECT_EQ(thrown([&] { made->hard_DDR5_generateMemFile(with("ip.mem")); }), path + " is no ELF image");
  EXPECT_NE(thrown([&] { made->hard_DDR5_generateMemFile(with("none.elf")); }).find("none.elf: "), std::string::npos);
  EXPECT_EQ(kdi::read_file(path), before);
}

// What the tools' own converter has: bytes by address.
std::map<std::uint64_t, unsigned> bytes_of_listing(std::string const& text) {
  std::map<std::uint64_t, unsigned> bytes;
  std::uint64_t at = 0;
  for (std::string_view line : kdi::text::lines(text))
    for (const std::string_view word : kdi::text::words(line))
      if (word.starts_with('@'))
        at = std::stoull(std::string(word.substr(1)), nullptr, 16);
      else
        bytes[at++] = static_cast<unsigned>(std::stoul(std::string(word), nullptr, 16));
  return bytes;
}

TEST(MemoryFiles, HaveTheBytesThatTheToolsConverterHas) {
  const auto expected = bytes_of_listing(kdi::read_file(places::program("loadable.vmem")));
  std::string image;  // as our file has it
  const MemoryFile file{"ip", {}, {}, program_image(places::program("loadable.elf"))};
  const std::string whole = written(file);
  for (std::string_view line : kdi::text::lines(whole))
    if (!line.starts_with("//")) image.append(line) += '\n';
  auto found = bytes_of_listing(image);
  EXPECT_GT(expected.size(), 50u);
  for (auto const& [address, byte] : expected) {
    ASSERT_TRUE(found.contains(address)) << address;
    EXPECT_EQ(found[address], byte) << address;
    found.erase(address);
  }
  for (auto const& [address, byte] : found) EXPECT_EQ(byte, 0u) << address;  // between sections
  std::uint64_t in_memory = 0, in_file = 0;
  for (Segment const& one : file.image->segments) in_memory += one.size, in_file += one.bytes.size();
  EXPECT_GE(in_memory, in_file + 200);  // the table of zeros
}

// An image of 32 or 64 bits with segments of (address, offset, bytes in the file, bytes in memory).
struct Made {
  bool wide = true, big = false;
  std::vector<std::array<std::uint64_t, 4>> segments;

  std::string bytes() const {
    std::string all(
        "\x7F"
        "ELF",
        4);
    all += wide ? '\2' : '\1';
    all += big ? '\2' : '\1';
    all += '\1';
    all.resize(16);
    const std::size_t word = wide ? 8 : 4, headers = wide ? 64 : 52;
    number(all, 2, 2), number(all, big ? 20 : 3, 2), number(all, 1, 4), number(all, 0x1000, word);  // entry
    number(all, headers, word), number(all, 0, word), number(all, 0, 4), number(all, headers, 2);
    number(all, wide ? 56 : 32, 2), number(all, segments.size(), 2);
    for (int i = 0; i < 3; ++i) number(all, 0, 2);
    for (auto const& [address, offset, in_file, in_memory] : segments) {
      number(all, 1, 4);
      if (wide) number(all, 5, 4);
      number(all, offset, word), number(all, address, word), number(all, address, word);
      number(all, in_file, word), number(all, in_memory, word);
      if (!wide) number(all, 5, 4);
      number(all, 1, word);
    }
    return all + "CONTENT!";
  }

 private:
  void number(std::string& all, std::uint64_t value, std::size_t size) const {
    for (std::size_t i = 0; i < size; ++i) all += static_cast<char>(value >> 8 * (big ? size - 1 - i : i));
  }
};

TEST(ProgramImages, AreOfAnyKindOrRefused) {
  const Scratch scratch;
  const auto image = [&](Made const& made) { return program_image(scratch.file("e", made.bytes())); };
  const auto fault = [&](Made const& made) { return thrown([&] { image(made); }).substr(scratch.path("e").size()); };
  for (const bool wide : {false, true})
    for (const bool big : {false, true}) {
      const std::uint64_t at = wide ? 64 + 2 * 56 : 52 + 2 * 32;
      const ProgramImage found = image({wide, big, {{0x2000, at, 7, 9}, {0x1000, at + 4, 4, 4}}});
      EXPECT_EQ(found, (ProgramImage{0x1000, {{0x1000, "ENT!", 4}, {0x2000, "CONTENT", 9}}}));
    }
  EXPECT_EQ(fault({}), " has nothing to be loaded");
  EXPECT_EQ(fault({true, false, {{0, 0, 0, 0}}}), " has nothing to be loaded");
  EXPECT_EQ(fault({true, false, {{0, 1000, 1, 1}}}), " has a segment that ends behind the file");
  EXPECT_EQ(fault({true, false, {{0, 0, 5, 4}}}), " has a segment that does not fit into its memory");
  EXPECT_EQ(fault({true, false, {{~0ull, 0, 5, 5}}}), " has a segment that does not fit into its memory");
  EXPECT_EQ(fault({true, false, {{0, 0, 5, 5}, {4, 0, 5, 5}}}), " has segments that overlap");
  std::string cut = Made{true, false, {{0, 0, 5, 5}}}.bytes();
  cut.resize(70);
  EXPECT_EQ(thrown([&] { program_image(scratch.file("e", cut)); }).substr(scratch.path("e").size()),
            " has damaged program headers");
}

TEST(MemoryFiles, ThatAreNoneAreRefusedByLine) {
  MemoryFile file{"a name", {{"A", "x y"}}, {{"d[0]", "700,B0,0,L0P,A8,POD12"}}, ProgramImage{16, {}}};
  file.image->segments = {
      {0x10, std::string("\0\x7F\xFFtwenty bytes of text", 23), 23}, {0x100, "", 40}, {0x200, "a", 2}};
  const std::string good = written(file);
  EXPECT_EQ(read_memory_file(good, "m"), file);
  for (std::size_t i = 0; i < good.size(); ++i) {  // any byte, and any end
    std::string other = good;
    other[i] = static_cast<char>(other[i] ^ 1);
    EXPECT_NE(thrown([&] { read_memory_file(other, "m"); }), "") << i;
    EXPECT_NE(thrown([&] { read_memory_file(good.substr(0, i), "m"); }), "") << i;
  }
  EXPECT_EQ(thrown([] { read_memory_file("", "m"); }),
            "m:1: the file is not whole: its last line has not the checksum of the others");
  // The right checksum on wrong lines.
  const auto fault = [&](std::string const& from, std::string const& to) {
    std::string text = good.substr(0, good.rfind("// end"));
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    for (std::uint32_t sum = 0xFFFFFFFFu, done = 0; done == 0; done = 1) {
      for (const char c : text) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? sum >> 1 ^ 0xEDB88320u : sum >> 1;
      }
      char end[32];
      std::snprintf(end, sizeof end, "// end %08X\n", ~sum);
      text += end;
    }
    return thrown([&] { read_memory_file(text, "m"); });
  };
  EXPECT_EQ(fault("// memory file 1", "// memory file 2"), "m:1: the first line is \"// memory file 1\"");
  EXPECT_EQ(fault("// interface", "// interfaces"), "m:2: this is no line of a memory file");
  EXPECT_EQ(fault("// interface {a name}\n", ""), "m:12: there is no interface");
  EXPECT_EQ(fault("@00000010", "@00000011"), "m:9: there is no segment at this address, or its bytes were there");
  EXPECT_EQ(fault("@00000010\n", ""), "m:9: these bytes are of no segment");
  EXPECT_EQ(fault("00 7F", "0 7F"), "m:10: bytes have two digits");
  EXPECT_EQ(fault("00 7F", "0g 7F"), "m:10: \"0g\" is no hexadecimal number");
  EXPECT_EQ(fault("00 7F", "7F"), "m:13: segment 0 has not as many bytes as it says");
}

}  // namespace
