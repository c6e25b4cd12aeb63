// Memory controllers in silicon: at every site, in every package, for every interface that they have, their pads keep
// the rules of placement; and what is wrong with their data is told.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "kdi/device/HARPartMgr.h"
#include "kdi/device/host/PartCatalogue.h"
#include "kdi/planning/HardController.h"
#include "kdi/planning/Placement.h"
#include "platform/planning/data.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::planning;
using kdi::device::ControllerSite;

// One part for each package of each device.
std::vector<kdi::device::Part const*> packages() {
  std::vector<kdi::device::Part const*> parts;
  kdi::device::PartCatalogue& all = kdi::device::PartCatalogue::global();
  for (std::string const& device : all.devices()) {
    std::set<std::string> seen;
    for (std::string const& name : all.parts(device)) {
      kdi::device::Part const& part = all.part(name)->values();
      if (seen.insert(part.package->name).second) parts.push_back(&part);
    }
  }
  return parts;
}

// Parts of a type with each width of a device, each kind of module, each number of ranks and dies: those of one speed
// bin.
std::vector<MemoryPart> const& forms_of(MemoryKind const& kind) {
  static std::map<MemoryKind const*, std::vector<MemoryPart>> known;
  const auto [forms, is_new] = known.try_emplace(&kind);
  if (!is_new) return forms->second;
  const std::vector<std::string> names = kind.part_names();
  const std::string bin = names[0].substr(0, names[0].find('-', kind.type.size() + 1) + 1);
  for (std::string const& name : names)
    if (name.starts_with(bin)) forms->second.push_back(kind.part(name).value());
  return forms->second;
}

struct Count {
  int asked = 0, good = 0, sites = 0, no_pins = 0, no_pad = 0, no_interface = 0;
};

// With IPTASKS_LONG every one is asked for, else one of so many.
bool is_asked(Count& count) {
  constexpr int kStep = 61;
  return std::getenv("IPTASKS_LONG") != nullptr || count.asked++ % kStep == 0;
}

// Asks for an interface at a site, and holds what comes to the rules.
void check_interface(Layout const& layout, HardController const& hard, ControllerSite const& site,
                     InterfaceRequest const& wanted, bool ecc, std::string const& where, Count& count) {
  Interface interface;
  try {
    interface = interface_of(wanted);
  } catch (std::string const&) {
    ++count.no_interface;  // the memory has no such width
    return;
  }
  std::vector<int> pads;
  try {
    pads = hard.pads({&layout, &interface, wanted.kind, &site, ecc});
  } catch (std::string const& text) {
    ASSERT_NE(text.find(" has no pad for "), std::string::npos) << where << ": " << text;
    ASSERT_TRUE(ecc) << where << ": " << text;  // a checksum takes the place of further ranks, and of nothing else
    ++count.no_pad;
    return;
  }
  PlacementRequest request;
  request.layout = &layout;
  request.interface = &interface;
  request.standards = wanted.kind->standards;
  request.rate_mbps = 800;
  request.internal_reference = true;
  request.banks = site.banks;
  ASSERT_TRUE(is_whole(pads)) << where;
  ASSERT_EQ(std::set<int>(pads.begin(), pads.end()).size(), pads.size()) << where;
  for (Violation const& broken : violations(request, pads)) FAIL() << where << ": " << broken.text;
  ++count.good;
}

// All numbers of ranks and slots, all widths, with and without a checksum.
void check_site(kdi::device::Part const& part, kdi::device::MemoryController const& controller,
                ControllerSite const& site, Layout const& layout, Count& count) {
  HardController const* const hard = find_hard_controller(controller.name);
  ASSERT_NE(hard, nullptr) << controller.name;
  for (kdi::device::MemoryInterface const& limits : controller.interfaces) {
    MemoryKind const* const kind = find_memory(limits.type);
    if (kind == nullptr) continue;
    for (MemoryPart const& memory : forms_of(*kind))
      for (const int width : limits.data_widths)
        for (const bool ecc : {false, true})
          for (int slots = 1; slots <= (memory.module.empty() ? 1 : 2); ++slots)
            for (int ranks = 1; ranks * slots <= limits.ranks_max; ranks *= 2)
              if (is_asked(count))
                check_interface(layout, *hard, site,
                                {kind, memory, width + (ecc ? 8 : 0), ranks, slots, true, SystemClock::differential},
                                ecc,
                                part.name + " " + site.name + " " + memory.name + " " + std::to_string(width) + " " +
                                    std::to_string(ecc) + " " + std::to_string(ranks) + "x" + std::to_string(slots),
                                count);
  }
}

TEST(HardControllers, HaveAPadForEachSignalAtEachSiteInEachPackage) {
  Count count;
  std::set<std::string> seen;  // a device's die has one map, whatever the package, as long as its banks have pins
  for (kdi::device::Part const* const part : packages())
    for (kdi::device::MemoryController const& controller : part->speed->memory_controllers) {
      if (!controller.hard || controller.sites[0].banks.empty()) continue;  // or inside a processing system
      const Layout layout = layout_of(*part);
      for (ControllerSite const& site : controller.sites) {
        ++count.sites;
        if (std::any_of(site.banks.begin(), site.banks.end(),
                        [&](int bank) { return part->package->bank(bank) == nullptr; })) {
          ++count.no_pins;
          continue;
        }
        // In all packages the first site with all that there is, the others, but in a long run, with what is widest.
        if (std::getenv("IPTASKS_LONG") != nullptr || seen.insert(part->device->name + controller.name).second)
          check_site(*part, controller, site, layout, count);
        else
          for (kdi::device::MemoryInterface const& limits : controller.interfaces)
            if (MemoryKind const* const kind = find_memory(limits.type))
              check_interface(
                  layout, *find_hard_controller(controller.name), site,
                  {kind, forms_of(*kind).back(), limits.data_widths.back(), 1, 1, true, SystemClock::differential},
                  false, part->name + " " + site.name, count);
      }
    }
  RecordProperty("interfaces", count.good);
  RecordProperty("without_a_pad", count.no_pad);
  EXPECT_GT(count.good, 60);
  EXPECT_GT(count.no_pins, 0);
  EXPECT_GT(count.no_pad, 0);
  EXPECT_GT(count.sites, 20);
}

TEST(HardControllers, HaveTheTypesOfTheirDevices) {
  for (kdi::device::Part const* const part : packages())
    for (kdi::device::MemoryController const& controller : part->speed->memory_controllers)
      if (controller.hard && !controller.sites[0].banks.empty())
        for (kdi::device::MemoryInterface const& limits : controller.interfaces) {
          const std::vector<std::string> types = find_hard_controller(controller.name)->types();
          EXPECT_NE(std::find(types.begin(), types.end(), limits.type), types.end()) << controller.name << limits.type;
        }
  EXPECT_EQ(find_hard_controller("none"), nullptr);
}

// ------------------------------------------------------------------------------------------------------------ refused

struct Site {
  Layout layout = layout_of(HARPartMgr::getGlobal()->getPart("brvn3716-b1764-2LHP-e-S")->values());
  ControllerSite site{"made", 0, {700, 701, 702}};
  MemoryKind const* kind = find_memory("DDR4");
  int width = 16;
  bool ecc = false;
  int ranks = 1;

  std::string fault(char const* part = "DDR4-2400R-8Gb-x8") const {
    const Interface interface =
        interface_of({kind, kind->part(part).value(), width, ranks, 1, true, SystemClock::differential});
    try {
      find_hard_controller("DDRMC")->pads({&layout, &interface, kind, &site, ecc});
    } catch (std::string const& text) {
      return text;
    }
    return {};
  }
  PlacedPad& pad(char const* name) { return layout.pads[static_cast<std::size_t>(layout.pad_of_name(name))]; }
};

TEST(HardControllers, RefuseASiteThatIsNone) {
  const std::string begin = "site made is none of a DDRMC in this package: ";
  EXPECT_EQ(Site().fault(), "");
  const auto fault = [](auto change) {
    Site site;
    change(site);
    return site.fault();
  };
  EXPECT_EQ(fault([](Site& one) { one.site.banks = {700, 701}; }), begin + "it has 2 banks and not 3");
  EXPECT_EQ(fault([](Site& one) { one.site.banks[1] = 9; }), begin + "there is no bank 9");
  EXPECT_EQ(fault([](Site& one) { one.site.banks[1] = 703; }), begin + "bank 703 is not next to the one before");
  EXPECT_EQ(fault([](Site& one) { one.site.slr = 1; }), begin + "bank 700 is on another die");
  EXPECT_EQ(
      fault([](Site& one) { one.layout.lanes[static_cast<std::size_t>(one.pad("IO_B0_L0P_700").lane)].name = "X"; }),
      begin + "there is no lane 0.B0");
  EXPECT_EQ(
      fault([](Site& one) { one.layout.lanes[static_cast<std::size_t>(one.pad("IO_B0_L0P_700").lane)].pads = 1; }),
      begin + "lane 0.B0 has fewer pads");
  EXPECT_EQ(fault([](Site& one) { one.pad("IO_B0_L0P_700").ball = ""; }),
            begin + "the package leaves IO_B0_L0P_700 out");
  EXPECT_EQ(fault([](Site& one) { one.pad("IO_B0_L0P_700").strobe = false; }),
            begin + "IO_B0_L0P_700 is no strobe site");
  EXPECT_EQ(fault([](Site& one) { one.pad("IO_B4_L0P_702").clock = false; }), begin + "IO_B4_L0P_702 is no clock site");
  EXPECT_EQ(fault([](Site& one) { one.pad("IO_B0_L0P_700").partner = -1; }),
            begin + "IO_B0_L0P_700 has not its place in a pair");
}

TEST(HardControllers, RefuseAnInterfaceThatTheyDoNotHave) {
  Site site;
  site.width = 72;
  EXPECT_EQ(site.fault(), "a DDRMC has no lane for DQ[64-71]");
  site.ecc = true;
  EXPECT_EQ(site.fault(), "");
  site.ranks = 4;
  EXPECT_EQ(site.fault(), "a DDRMC with a checksum has no pad for c0_ddr4_cs_n[2]");
  site.ecc = false;
  site.width = 64;
  EXPECT_EQ(site.fault(), "");
  site.kind = find_memory("DDR3");
  site.ranks = 1;
  EXPECT_EQ(site.fault("DDR3-1600K-4Gb-x8"), "a DDRMC has no pads for DDR3");
}

TEST(HardControllers, DataThatAreWrongAreToldWithTheirField) {
  std::ifstream in(places::data("hard_controllers/DDRMC.json"));
  const std::string good{std::istreambuf_iterator<char>(in), {}};
  const auto fault = [&](std::string const& from, std::string const& to) {
    std::string text = good;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    try {
      read_hard_controller(kdi::JsonFile(text, "m.json"), "DDRMC");
    } catch (kdi::JsonError const& error) {
      const std::string what = error.what();
      return what.substr(what.find(' ') + 1, what.find(", found") - what.find(' ') - 1);
    }
    return std::string();
  };
  EXPECT_EQ(fault("\"format\": 1", "\"format\":  1"), "");
  struct Edit {
    char const *from, *to, *fault;
  };
  for (Edit const& edit : {
           Edit{"\"DDRMC\"", "\"X\"", "controller: expected the name of the file, \"DDRMC\""},
           Edit{"[\"0.B0\", ", "[\"3.B0\", ", "bytes[0]: expected a lane like 0.B1, with a bank from 0 to 2"},
           Edit{"[\"0.B0\", ", "[\"0.B1\", ", "bytes[1]: expected a lane that has no other byte"},
           Edit{"\"bytes\": [\"0.B0\", \"0.B1\", \"0.B2\", \"0.B3\", \"2.B0\", \"2.B1\", \"2.B2\", \"2.B3\"]",
                "\"bytes\": []", "bytes: expected a lane at least"},
           Edit{"\"m\", \"-\"]", "\"7\", \"-\"]", "byte[0].words[10]: expected a word that is not there before"},
           Edit{"\"m\", \"-\"]", "\"-\", \"-\"]", "byte[0].words: expected the words 0 1 2 3 4 5 6 7 m n0 p0 and -"},
           Edit{"\"strobes\": 2, \"words\": [\"p0\", \"n0\", \"0\", \"1\", \"2\", \"3\", \"p1\", \"n1\", \"4\", \"5\", "
                "\"6\", \"7\"]",
                "\"strobes\": 1, \"words\": [\"p0\", \"n0\", \"0\", \"1\", \"2\", \"3\", \"4\", \"5\", \"6\", \"7\", "
                "\"m\", \"-\"]",
                "byte[1].strobes: expected a number that is not there before"},
           Edit{"\"LPDDR4\"", "\"DDR4\"", "types[1].type: expected a type that is not there before"},
           Edit{"\"1.B0\"", "\"1.B3\"", "types[0].address.1.B3: expected a lane without a byte"},
           Edit{"\"adr[1]\"", "\"adr[0]\"", "types[0].address.1.B1[1]: expected a word that is not there before"},
       })
    EXPECT_EQ(fault(edit.from, edit.to), edit.fault);
}

}  // namespace
