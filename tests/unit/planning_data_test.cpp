// Data of memories and I/O standards: what is wrong is told with its field, and what is shipped is whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/ddr/SpeedBins.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/planning/ClockRoot.h"
#include "kdi/planning/Interface.h"
#include "kdi/planning/Layout.h"
#include "kdi/planning/Standards.h"
#include "platform/planning/data.h"
#include "tests/support/places.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::planning;

std::string text_of(std::string const& path) {
  std::ifstream in(places::data(path));
  return {std::istreambuf_iterator<char>(in), {}};
}

// The text with the first `from` behind `behind` as `to`.
std::string changed(std::string text, std::string const& from, std::string const& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string fault_of_memory(std::string const& text) {
  try {
    read_memory(kdi::JsonFile(text, "m.json"), "DDR4");
  } catch (kdi::JsonError const& error) {
    const std::string what = error.what();
    return what.substr(what.find(' ') + 1);
  }
  return {};
}

TEST(PlanningData, WhatIsWrongWithAMemoryIsTold) {
  const std::string good = text_of("memory/DDR4.json");
  EXPECT_EQ(fault_of_memory(good), "");
  struct Edit {
    char const *from, *to, *fault;
  };
  for (Edit const& edit : {
           Edit{"\"format\": 1", "\"format\": 2", "format: expected an integer from 1 to 1"},
           Edit{"\"type\": \"DDR4\"", "\"type\": \"DDR5\"", "type: expected the name of the file, \"DDR4\""},
           Edit{"\"timing\": \"DDR4\"", "\"timing\": \"DDR9\"",
                "timing: expected a type of memory whose timing is known"},
           Edit{"\"devices\": [4, 8, 16]", "\"devices\": []", "devices: expected a number at least"},
           Edit{"[\"HP\", \"XP\"]", "[]", "standards[0]: expected kinds of banks"},
           Edit{"\"1.2\"", "\"12\"", "standards[0].voltage_v: expected a voltage above 0 and up to 5 as a text"},
           Edit{"\"POD12_DCI\"", "\"POD99\"", "standards[0].data: expected the name of an I/O standard"},
           Edit{"\"LVCMOS12\"", "\"LVCMOS18\"", "standards[0].control: expected a standard of the voltage 1.2"},
           Edit{"[\"HP\", \"XP\"]", "[\"HR\"]",
                "standards[0].data: expected a standard that banks of the kind HR have"},
           Edit{"\"bits\": 8", "\"bits\": 0", "lanes[0].bits: expected an integer from 1 to 64"},
           Edit{"\"bits\": 8", "\"bits\": 65", "lanes[0].bits: expected an integer from 1 to 64"},
           Edit{"[[4, 4]", "[[4]", "lanes[0].strobe_bits[0]: expected a width of devices and a number of bits"},
           Edit{"[\"dqs_t\", \"dqs_c\"]", "[\"dqs_t\"]",
                "lanes[0].strobes: expected two names, of the positive and the negative signal"},
           Edit{"\"direction\": \"inout\"", "\"direction\": \"both\"", "lanes[0].direction: expected "},
           Edit{"\"port\": \"adr\"", "\"port\": 1", "address[1].port: expected a text"},
           Edit{"\"rows\": 15", "\"rows\": 0", "geometry[0].rows: expected an integer from 1 to 64"},
           Edit{"\"burst\": 8", "\"bursts\": 8", "bursts: expected "},
       })
    EXPECT_TRUE(fault_of_memory(changed(good, edit.from, edit.to)).starts_with(edit.fault))
        << fault_of_memory(changed(good, edit.from, edit.to));
  for (char const* const bits : {"\"bits\": 1", "\"bits\": 64"})
    EXPECT_EQ(fault_of_memory(changed(good, "\"bits\": 8", bits)), "") << bits;
  EXPECT_EQ(
      fault_of_memory(R"({"format": 1, "type": "DDR4", "source": "s", "prefix": "p", "period_max_ps": 1, "burst": 1,
    "devices": [8], "ranks_max": 1, "stack_heights": [1]})")
          .substr(0, 64),
      "top level: expected standards, lanes and address signals, found ");
}

TEST(PlanningData, WhatIsWrongWithStandardsIsTold) {
  std::map<std::string, IoStandard, std::less<>> all;
  const auto fault = [&](std::string const& standard) {
    try {
      read_standards(kdi::JsonFile(R"({"format": 1, "source": "s", "standards": [)" + standard + "]}", "s.json"), all);
    } catch (kdi::JsonError const& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(fault(R"({"name": "A", "vcco_v": "1.2", "rate_mbps": {"HP": 100}})"), "");
  EXPECT_EQ(fault(R"({"name": "A", "vcco_v": "1.5", "rate_mbps": {"HP": 100}})"), "");
  EXPECT_EQ(all.at("A").vcco_v, "1.2");  // the first counts
  EXPECT_NE(fault(R"({"name": "", "vcco_v": "1.2", "rate_mbps": {}})").find("name: expected a name, found"),
            std::string::npos);
  EXPECT_NE(fault(R"({"name": "B", "vcco_v": "x", "rate_mbps": {}})").find("vcco_v: expected a voltage"),
            std::string::npos);
  EXPECT_NE(fault(R"({"name": "B", "vcco_v": "1", "rate_mbps": {"HP": 0}})").find("rate_mbps.HP: expected"),
            std::string::npos);
  EXPECT_NE(fault(R"({"name": "B", "vcco_v": "1", "rate_mbps": {"HP": {"-1": 0}}})").find("rate_mbps.HP.-1: expected"),
            std::string::npos);
  EXPECT_NE(fault(R"({"name": "B", "vcco_v": "1", "rate_mbps": {"HP": {}}})")
                .find("rate_mbps.HP: expected a rate for a speed grade at least"),
            std::string::npos);
  EXPECT_NE(fault(R"({"name": "B", "vcco_v": "1", "dc_bias": ["DC_BIAS_0"], "rate_mbps": {}})")
                .find("dc_bias: expected none, but of a differential standard"),
            std::string::npos);
}

std::string refused(MemoryKind const& kind, InterfaceRequest request) {
  request.kind = &kind;
  try {
    interface_of(request);
  } catch (std::string const& text) {
    return text;
  }
  return {};
}

TEST(PlanningData, AConfigurationThatAMemoryDoesNotHaveIsRefused) {
  MemoryKind kind = *find_memory("DDR4");
  InterfaceRequest request;
  request.part = kind.part("DDR4-2400R-8Gb-x8").value();
  request.width = 64;
  EXPECT_EQ(refused(kind, request), "");
  request.ranks = 9;
  EXPECT_EQ(refused(kind, request), "9 ranks: DDR4 has 1 to 4");
  request.ranks = 1;
  request.slots = 3;
  EXPECT_EQ(refused(kind, request), "3 slots: 1 and 2 are possible");
  request.slots = 2;
  EXPECT_EQ(refused(kind, request), "2 slots: components have none");
  request.slots = 1;
  for (const int width : {0, 4, 12, 4096}) {
    request.width = width;
    EXPECT_EQ(refused(kind, request),
              "a width of " + std::to_string(width) + " bits: DDR4 of such parts has multiples of 8");
  }
  request.width = 64;
  request.part.width = 32;
  EXPECT_EQ(refused(kind, request), "no strobes of DDR4 devices 32 bits wide");
  request.part.width = 8;
  kind.address[0].count = "dozens";
  EXPECT_EQ(refused(kind, request), "the memory data of DDR4 count signals by \"dozens\", which nothing is called");
  kind.address[0].count = "1024*2";
  EXPECT_EQ(refused(kind, request), "the memory data of DDR4 count signals by \"1024*2\", which are not 0 to 1024");
}

TEST(PlanningData, SignalsFollowTheConfiguration) {
  const auto count = [](char const* type, char const* part, int width, char const* port, int slots = 1) {
    MemoryKind const& kind = *find_memory(type);
    InterfaceRequest request{&kind, kind.part(part).value(), width};
    request.ranks = request.part.ranks;
    request.slots = slots;
    int signals = 0;
    for (Signal const& signal : interface_of(request).signals)
      signals += signal.port == std::string("c0_") + port ? 1 : 0;
    return signals;
  };
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x8", 72, "ddr4_dqs_t"), 9);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x4", 72, "ddr4_dqs_t"), 18);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x4", 72, "ddr4_dm_dbi_n"), 0);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x16", 64, "ddr4_bg"), 1);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x8-rdimm-2r", 72, "ddr4_cs_n", 2), 4);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x8-rdimm-2r", 72, "ddr4_par"), 1);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-8Gb-x8-4h", 72, "ddr4_c"), 2);
  EXPECT_EQ(count("DDR4", "DDR4-2400R-16Gb-x4", 72, "ddr4_adr"), 18);
  EXPECT_EQ(count("QDRIIPLUS", "QDRIIPLUS-1000-x18", 36, "qdriip_cq_p"), 2);
  EXPECT_EQ(count("QDRIIPLUS", "QDRIIPLUS-1000-x36", 36, "qdriip_cq_p"), 1);
  EXPECT_EQ(count("RLDRAM3", "RLDRAM3-1866-x36", 72, "rld3_dm"), 4);
  EXPECT_EQ(count("RLDRAMII", "RLDRAMII-1066-x36", 72, "rld2_dk_p"), 4);
  EXPECT_EQ(count("RLDRAMII", "RLDRAMII-1066-x18", 72, "rld2_qvld"), 4);
  EXPECT_EQ(count("DDR2", "DDR2-800D-1Gb-x8", 64, "ddr2_odt"), 1);
  EXPECT_EQ(count("LPDDR2", "LPDDR2-667-4Gb-x16", 32, "lpddr2_dqs_p"), 4);
  EXPECT_EQ(count("LPDDR4", "LPDDR4-4266-8Gb-x32", 32, "lpddr4_ca"), 12);
  EXPECT_EQ(count("LPDDR5", "LPDDR5-8533-8Gb-x16", 32, "lpddr5_wck_t"), 4);
  EXPECT_EQ(count("DDR5", "DDR5-6400B-16Gb-x8", 64, "ddr5_ca"), 28);
  EXPECT_EQ(count("DDR5", "DDR5-6400B-16Gb-x8", 16, "ddr5_ca"), 14);
  EXPECT_EQ(count("DDR5", "DDR5-5600B-16Gb-x8-rdimm-2r", 64, "ddr5_cs_n"), 4);
}

// Where controllers outrun the standard: its fastest bin.
int fastest_of(std::string const& type) {
  const std::map<std::string, int> reference{{"QDRIIPLUS", 1266}, {"QDRIV", 2133}, {"RLDRAM3", 2133}};
  const auto known = reference.find(type);
  return known == reference.end() ? 1 << 20 : known->second;
}

// A memory that a device names is known, and so is a part of it at every rate that a controller reaches.
TEST(PlanningData, KnowsTheMemoriesThatDevicesName) {
  std::set<std::string> named;
  for (std::string const& device : kdi::list_directory(places::data("devices"), ".json")) {
    if (device == "schema.json") continue;
    for (kdi::device::Part const& part :
         kdi::device::read_device_file(places::data("devices/" + device), {places::data("devices")}))
      for (kdi::device::MemoryController const& controller : part.speed->memory_controllers)
        for (kdi::device::MemoryInterface const& memory : controller.interfaces) {
          named.insert(memory.type);
          MemoryKind const* const kind = find_memory(memory.type);
          ASSERT_NE(kind, nullptr) << device << ": " << controller.name << " drives " << memory.type;
          int fastest = 0;
          for (MemoryPart const& one : kind->reference_parts) fastest = std::max(fastest, one.rate_mbps);
          if (!kind->timing.empty())
            for (kdi::ddr::SpeedBin const& bin : kdi::ddr::find_type(kind->timing)->speed_bins())
              fastest = std::max(fastest, static_cast<int>(bin.rate_mtps));
          EXPECT_GE(fastest, std::min<double>(memory.rate_mbps.max, fastest_of(memory.type)))
              << device << ": no " << memory.type << " is as fast as " << controller.name;
          for (std::string const& bank_kind : memory.bank_kinds)
            EXPECT_TRUE(std::any_of(kind->standards.begin(), kind->standards.end(),
                                    [&](StandardSet const& set) {
                                      return std::count(set.bank_kinds.begin(), set.bank_kinds.end(), bank_kind) != 0;
                                    }))
                << memory.type << " has no standards in banks of the kind " << bank_kind;
        }
  }
  EXPECT_EQ(named.size(), memory_types().size()) << "each type is driven by something";
}

TEST(PlanningData, RatesDependOnTheSpeedGrade) {
  IoStandard const& pod = *find_standard("POD12_DCI");
  EXPECT_EQ(pod.rate("HP", "-1"), 2400);
  EXPECT_EQ(pod.rate("HP", "-2"), 2667);
  EXPECT_EQ(pod.rate("HP", ""), 2667);
  EXPECT_EQ(pod.rate("HP", "-9"), 2400) << "a grade that is not named counts as the slowest";
  EXPECT_EQ(pod.rate("HR", "-1"), std::nullopt);
  EXPECT_EQ(find_standard("HSUL_12")->rate("HP", "-1"), 1600) << "the same for all";
}

// Inputs behind capacitors are differential, and no others have a bias.
TEST(PlanningData, BiasesAreOfDifferentialStandards) {
  std::set<std::string> biased;
  for (std::string const& name : standard_names())
    if (!find_standard(name)->dc_bias.empty()) biased.insert(name);
  EXPECT_EQ(biased, (std::set<std::string>{"DIFF_LVSTL06_12", "DIFF_LVSTL_11", "DIFF_POD12", "DIFF_SSTL12", "LVDS15"}));
}

TEST(PlanningData, BanksStandInTriplets) {
  const Layout layout = layout_of(HARPartMgr::getGlobal()->getPart("brvn5130-c2601-2LHP-e-S")->values());
  std::map<int, std::vector<PlacedBank const*>> triplets;
  for (PlacedBank const& bank : layout.banks)
    if (bank.triplet >= 0) triplets[bank.triplet].push_back(&bank);
  EXPECT_EQ(triplets.size(), 6u);
  for (auto const& [number, banks] : triplets) {
    ASSERT_EQ(banks.size(), 3u);
    EXPECT_EQ(std::count_if(banks.begin(), banks.end(), [](auto const* bank) { return bank->master; }), 1);
    EXPECT_EQ(banks[2]->row - banks[0]->row, 2);
    EXPECT_EQ(banks[0]->slr, banks[2]->slr);
  }
  EXPECT_TRUE(layout.banks[static_cast<std::size_t>(layout.bank_of_number(701))].master);
  EXPECT_EQ(layout.banks[static_cast<std::size_t>(layout.bank_of_number(302))].triplet, -1);
}

// The root of a clock against all regions, one by one.
TEST(PlanningData, ClocksHaveTheirRootsWhereWaysAreMostAlike) {
  kdi::device::Part part = HARPartMgr::getGlobal()->getPart("brvn5130-c2601-2LHP-e-S")->values();
  const Layout layout = layout_of(part);
  const auto bank = [&](int number) { return layout.bank_of_number(number); };
  EXPECT_EQ(clock_root(part, layout, {bank(701)}).name(), "X1Y1");
  EXPECT_EQ(clock_root(part, layout, {bank(700), bank(701), bank(702)}).name(), "X1Y1");
  EXPECT_EQ(root_delay_ps(part, layout, {1, 1}, bank(702)), 60);
  EXPECT_EQ(root_delay_ps(part, layout, {0, 5}, bank(710)), 85 + 60 + 140);
  test_support::Random random(test_support::fresh_seed());
  for (int round = 0; round < 50; ++round) {
    std::vector<int> banks;
    for (int i = 0; i < 4; ++i)
      banks.push_back(static_cast<int>(random.below(static_cast<unsigned>(layout.banks.size()))));
    const ClockRegion root = clock_root(part, layout, banks);
    const auto skew = [&](ClockRegion from) {
      double least = 1e9, most = 0;
      for (const int one : banks) {
        least = std::min(least, root_delay_ps(part, layout, from, one));
        most = std::max(most, root_delay_ps(part, layout, from, one));
      }
      return most - least;
    };
    for (int column = 0; column < 2; ++column)
      for (int row = 0; row < 18; ++row) EXPECT_GE(skew({column, row}), skew(root));
  }
  auto plain = std::make_shared<kdi::device::Device>(*part.device);  // whose data say nothing of regions
  plain->clock_regions.reset();
  part.device = plain;
  EXPECT_EQ(clock_root(part, layout, {bank(700), bank(704)}).name(), "X1Y2");
}

TEST(PlanningData, LayoutsHaveBounds) {
  const auto refusal = [](std::size_t lanes, std::size_t pads) {
    auto device = std::make_shared<kdi::device::Device>();
    kdi::device::IoBank bank;
    bank.number = 66;
    bank.column = bank.row = 0;
    for (std::size_t i = 0; i < lanes; ++i) {
      kdi::device::ByteLane lane;
      lane.name = "T" + std::to_string(i);
      lane.pads.resize(pads);
      bank.lanes.push_back(lane);
    }
    device->banks = {bank};
    kdi::device::Part part;
    part.device = device;
    kdi::device::Package package;
    part.package = &package;
    try {
      layout_of(part);
    } catch (std::string const& text) {
      return text;
    }
    return std::string();
  };
  EXPECT_EQ(refusal(12, 64), "");
  EXPECT_EQ(refusal(1, 65), "the lane T0 of bank 66 has more than 64 pads");
  EXPECT_EQ(refusal(13, 8), "bank 66 has more than 12 lanes");
}

// Words of a layout are found by all their names, and positions tell gaps.
TEST(PlanningData, LayoutsAreInOrder) {
  const Layout layout = layout_of(HARPartMgr::getGlobal()->getPart("brvn5130-b1936-2LHP-e-S")->values());
  for (std::size_t i = 0; i < layout.pads.size(); i += 7) {
    EXPECT_EQ(layout.pad_of_name(layout.pads[i].name), static_cast<int>(i));
    if (!layout.pads[i].ball.empty()) {
      EXPECT_EQ(layout.pad_of_ball(layout.pads[i].ball), static_cast<int>(i));
    }
  }
  EXPECT_EQ(layout.pad_of_ball(""), -1);
  EXPECT_GE(layout.bank_of_number(720), 0);  // of the die, without pins in this package
  EXPECT_EQ(layout.bank_of_number(500), -1);
  const int first = layout.lane_of(layout.bank_of_number(700), "B4"),
            next = layout.lane_of(layout.bank_of_number(701), "B0");
  EXPECT_EQ(layout.lanes[static_cast<std::size_t>(first)].position + 1,
            layout.lanes[static_cast<std::size_t>(next)].position);
}

}  // namespace
