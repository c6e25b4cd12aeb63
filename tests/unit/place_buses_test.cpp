// Converters, the wizards of buses and the physical layer, behind the commands: requests that differ in direction,
// ratio and standard, of which all that is said is one plan, and what does not fit names its setting.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "kdi/device/HARPartMgr.h"
#include "kdi/place/kelvane_io_v1.h"
#include "platform/place/bus_plan.h"
#include "platform/place/dictionary.h"
#include "platform/place/memory_plan.h"
#include "tests/support/place_instance.h"

namespace {

using namespace kdi::place;
using namespace place_instance;
using I = kelvane_io::kelvane_io_v1::HIPKelvaneIoInstance;
using Manager = kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr;

// The same as options.
OptionMap options(std::string const& settings, std::string const& ports = {}) {
  OptionMap all{{"-port_locs", ports}};
  for (auto const& [name, value] : read_dictionary(settings, "it")) all["-" + kdi::text::lowered(name)] = value;
  return all;
}

// And as a map of maps.
MultiMap maps(std::string const& settings, OptionMap const& ports = {}) {
  MultiMap map;
  for (auto const& [name, value] : read_dictionary(settings, "it"))
    if (name == "BUSES")
      write_buses(read_buses(name, value), map);
    else if (std::set<std::string>{"DATA_RATE", "RATIO", "SYSTEM_CLOCK"}.count(name) != 0)
      map["SETTINGS"][name] = value;
    else
      map[name][name] = value;
  if (!ports.empty()) map["PORT_LOCS"] = ports;
  return map;
}

struct Request {
  char const* name;
  char const* settings;
  std::size_t ports;  ///< with the system clock
};

// Sixteen lanes of a converter, what is sent to one, both, single-ended ones, and one that turns.
constexpr Request kRequests[] = {
    {"receives",
     "DATA_RATE 1600 RATIO 8:1 DIFF_IO_STD LVDS15 BUSES {adc {WIDTH 16 STROBE dco DIFFERENTIAL 1} "
     "dco {ROLE Strobe DIFFERENTIAL 1}}",
     36},
    {"sends",
     "DATA_RATE 1250 RATIO 4:1 DIFF_IO_STD DIFF_SSTL12 BUSES {dac {DIRECTION TX WIDTH 12 STROBE dci "
     "DIFFERENTIAL 1} dci {ROLE ClkFwd DIFFERENTIAL 1}}",
     28},
    {"both",
     "DATA_RATE 800 RATIO 2:1 SINGLE_IO_STD SSTL12 DIFF_IO_STD DIFF_SSTL12 APPLICATION_TYPE RX_TX BUSES "
     "{rx {WIDTH 14 STROBE rs} rs {ROLE Strobe DIFFERENTIAL 1} tx {DIRECTION TX WIDTH 14 STROBE tc} "
     "tc {ROLE ClkFwd DIFFERENTIAL 1}}",
     34},
    {"turns",
     "DATA_RATE 2400 RATIO 8:1 SINGLE_IO_STD POD12 DIFF_IO_STD DIFF_POD12 BIDIR_MODE 1 TRI_SELECT PER_BIT "
     "BUSES {dq {DIRECTION BIDIR WIDTH 8 STROBE dqs BIT_SLIP 1} dqs {ROLE Strobe DIRECTION BIDIR DIFFERENTIAL 1} "
     "cmd {DIRECTION TX WIDTH 5}}",
     17},
    {"by a clock",
     "DATA_RATE 400 RATIO 1:1 SINGLE_IO_STD LVCMOS12 MAX_BANKS 2 BUSES {flags {WIDTH 6 STROBE ref} "
     "ref {ROLE InputClock} reset {DIRECTION TX}}",
     8},
    {"biased",
     "DATA_RATE 1600 RATIO 8:1 DIFF_IO_STD DIFF_SSTL12 DIFF_DC_BIAS DC_BIAS_2 SYSTEM_CLOCK No_Buffer "
     "BUSES {i {WIDTH 4 STROBE s DIFFERENTIAL 1} q {WIDTH 4 STROBE s DIFFERENTIAL 1} s {ROLE Strobe "
     "DIFFERENTIAL 1}}",
     18},
    {"in several banks",
     "DATA_RATE 800 SINGLE_IO_STD SSTL12 DIFF_IO_STD DIFF_SSTL12 BUSES {a {DIRECTION TX WIDTH 70} "
     "b {DIRECTION TX WIDTH 60 DIFFERENTIAL 1} c {WIDTH 20 STROBE cs} cs {ROLE Strobe} d {WIDTH 20 STROBE ds} "
     "ds {ROLE Strobe}}",
     70 + 120 + 42 + 2},
};

// What each way of asking says of a plan: to be of the same pads.
class Agreement {
 public:
  Agreement(char const* part, OptionMap plan)
      : layout_(kdi::planning::layout_of(HARPartMgr::getGlobal()->getPart(part)->values())),
        plan_(std::move(plan)),
        places_(read_locations("plan", plan_)),
        pads_(pads_of(places_, layout_, "plan")) {}

  PortPads const& pads() const { return pads_; }
  OptionMap const& plan() const { return plan_; }
  std::string ports() const { return dictionary(plan_); }

  std::string banks() const {
    std::set<int> numbers;
    for (auto const& [port, place] : places_) numbers.insert(place.bank);
    std::string all;
    for (const int number : numbers) all += (all.empty() ? "" : ",") + std::to_string(number);
    return all;
  }
  int count() const { return static_cast<int>(kdi::text::split(banks(), ',').size()); }

  void grouping(PinMap const& said) const { EXPECT_EQ(read_grouping(said, layout_, "grouping"), pads_); }

  // Each nibble has ports, that of the strobe among those of its data or not; by hops.
  void strobes(OptionMap const& said) {
    strobes_ = said;
    for (auto const& [strobe, nibbles] : read_strobe_map("strobes", said)) {
      ASSERT_TRUE(pads_.contains(strobe)) << strobe;
      for (std::string const& nibble : nibbles) {
        bool has_port = false;
        for (auto const& [port, pad] : pads_) has_port = has_port || nibble_name(layout_, pad) == nibble;
        EXPECT_TRUE(has_port) << nibble;
        EXPECT_EQ(nibble.substr(0, nibble.find('_')),
                  nibble_name(layout_, pads_.at(strobe)).substr(0, nibble.find('_')));
      }
    }
  }

  void parameters(OptionMap const& said) const {
    const PlanWords decoded = read_parameters(said, layout_, "parameters");
    EXPECT_EQ(decoded.pads, pads_);
    EXPECT_EQ(said.at("NUM_BANKS"), std::to_string(count()));
    EXPECT_EQ(said.at("BANKS"), banks());
    for (auto const& [port, standard] : decoded.standards) EXPECT_EQ(standard, places_.at(port).standard);
    std::map<std::string, std::set<std::string>> clocked, expected;
    for (auto const& [strobe, nibbles] : decoded.strobes) clocked[strobe].insert(nibbles.begin(), nibbles.end());
    for (auto const& [strobe, nibbles] : read_strobe_map("strobes", strobes_))
      expected[strobe].insert(nibbles.begin(), nibbles.end());
    EXPECT_EQ(clocked, expected);
    std::set<std::string> slipped, of_strobes;
    for (auto const& [nibble, bits] : decoded.bit_slips) slipped.insert(nibble);
    for (auto const& [strobe, nibbles] : expected) of_strobes.insert(nibbles.begin(), nibbles.end());
    EXPECT_EQ(slipped, of_strobes);
  }

  void constraints(OptionMap const& said) const {
    EXPECT_EQ(said.size(), plan_.size());
    for (auto const& [port, properties] : said) {
      const Pairs all = read_dictionary(properties, port);
      const std::map<std::string, std::string> by_name(all.begin(), all.end());
      EXPECT_EQ(by_name.at("PACKAGE_PIN"), places_.at(port).ball);
      EXPECT_EQ(by_name.at("IOSTANDARD"), places_.at(port).standard);
    }
  }

  void pins(OptionMap const& said) const { EXPECT_EQ(pads_of(read_pin_info("pins", said), layout_, "pins"), pads_); }

  void clock(OptionMap const& said, bool has_clock) const {
    EXPECT_EQ(said.at("RESULT"), has_clock ? "true" : "false");
    EXPECT_EQ(said.at("SYS_CLK_BANK"), has_clock ? said.at("MASTER_BANK") : "");
  }

 private:
  kdi::planning::Layout layout_;
  OptionMap plan_;
  Locations places_;
  PortPads pads_;
  OptionMap strobes_;
};

bool has_clock(Request const& request) { return std::string(request.settings).find("No_Buffer") == std::string::npos; }

TEST(Converters, SayTheSameOfOnePlan) {
  const Interface made(kNibbles);
  for (Request const& request : kRequests) {
    SCOPED_TRACE(request.name);
    const ParamMap asked = words(request.settings);
    Agreement agreement(kNibbles, made->xphy_io_defaultIOPlanning_adcDac(asked));
    EXPECT_EQ(agreement.pads().size(), request.ports);
    ParamMap told = words(request.settings, agreement.ports());
    EXPECT_EQ(made->xphy_io_defaultIOPlanning_adcDac(told), agreement.plan());
    EXPECT_EQ(made->xphy_io_defaultIOPlanning(asked), agreement.plan());
    agreement.strobes(made->xphy_io_getStrobeToDataNibbles(asked));
    EXPECT_EQ(made->xphy_io_getStrobeToDataNibbles(told), made->xphy_io_getStrobeToDataNibbles(asked));
    told["NUM_BANKS"] = std::to_string(agreement.count());
    const OptionMap constraints = made->xphy_io_generateXDCMap_adcDac(told);
    agreement.constraints(constraints);
    EXPECT_EQ(made->xphy_io_generateXDCMap(asked), constraints);
    EXPECT_EQ(made->xphyio_getNumBanks(told),
              (OptionMap{{"NUM_BANKS", std::to_string(agreement.count())}, {"BANKS", agreement.banks()}}));
    agreement.clock(made->xphy_io_isSysClkInMasterBank(told), has_clock(request));
    EXPECT_EQ(made->advwiz_getNonShadowBanksCount({}), agreement.count());
    told["NUM_BANKS"] = std::to_string(agreement.count() + 1);
    EXPECT_EQ(thrown([&] { made->xphy_io_generateXDCMap_adcDac(told); }),
              "NUM_BANKS: the plan takes " + std::to_string(agreement.count()) + " banks and not " + told["NUM_BANKS"]);
  }
}

TEST(AdvancedWizard, SaysTheSameOfOnePlan) {
  const Interface made(kNibbles);
  EXPECT_EQ(thrown([&] { made->advwiz_getNonShadowBanksCount({}); }), "no plan of the interface has been made yet");
  for (Request const& request : kRequests) {
    SCOPED_TRACE(request.name);
    Agreement agreement(kNibbles, made->advwiz_defaultIOPlanning(options(request.settings)));
    EXPECT_EQ(agreement.pads().size(), request.ports);
    const OptionMap told = options(request.settings, agreement.ports());
    EXPECT_EQ(made->advwiz_defaultIOPlanning(told), agreement.plan());
    agreement.grouping(made->advwiz_nibbleGrouping(told));
    agreement.strobes(made->advwiz_getDqsVsDataNibbles(told));
    agreement.parameters(made->advwiz_generateMapData(maps(request.settings)));
    EXPECT_EQ(made->advwiz_generateMapData(maps(request.settings, agreement.plan())),
              made->advwiz_generateMapData(maps(request.settings)));
    EXPECT_EQ(made->advwiz_getNonShadowBanksCount({}), agreement.count());
    for (auto const& [nibble, ports] : made->advwiz_nibbleGrouping(told)) EXPECT_EQ(ports.size(), 6u);
  }
}

TEST(WizardOfOctads, SaysTheSameOfOnePlan) {
  const Interface made(kOctads);
  for (Request const& request : kRequests) {
    std::string settings = request.settings;
    // These banks go up to 1.35 V.
    for (std::size_t at; (at = settings.find("LVDS15")) != std::string::npos;) settings.replace(at, 6, "DIFF_SSTL12");
    SCOPED_TRACE(request.name);
    Agreement agreement(kOctads, made->x5io_wizard_defaultIOPlanning(options(settings)));
    EXPECT_EQ(agreement.pads().size(), request.ports);
    const OptionMap told = options(settings, agreement.ports());
    agreement.grouping(made->x5io_wizard_octadGrouping(told));
    for (auto const& [octad, ports] : made->x5io_wizard_octadGrouping(told)) EXPECT_EQ(ports.size(), 8u);
    const OptionMap strobes = made->x5io_wizard_getStrobetoDataOctads(told);
    agreement.strobes(strobes);
    agreement.parameters(made->x5io_wizard_generateMapData(maps(settings)));
    const OptionMap pins = made->x5io_wizard_getPinDataDict(maps(settings, agreement.plan()));
    agreement.pins(pins);
    EXPECT_EQ(made->x5io_wizard_getStrobeToDataOctads(pins), strobes);
    EXPECT_EQ(made->x5io_wizard_getNonShadowBanksCount({}), agreement.count());
    // The physical layer by itself.
    EXPECT_EQ(made->x5phio_defaultIOPlanning(words(settings)), agreement.plan());
    EXPECT_EQ(made->x5phio_getStrobeToDataNibbles(words(settings, agreement.ports())), strobes);
    EXPECT_EQ(made->x5phio_getPinDataDict(words(settings)), pins);
    const Pairs whole = read_dictionary(made->x5io_wizard_IntfInfoDict(options(settings)) + "interface {x}", "it");
    ASSERT_EQ(whole.size(), 2u);
    EXPECT_EQ(whole[0].first, "buses");
    std::size_t ports = 0;
    for (CoreInterface const& one : read_interfaces("it", write_dictionary({{"interface", whole[0].second}})))
      for (InterfacePort const& port : one.ports) ports += static_cast<std::size_t>(port.width);
    const bool has_own = settings.find("InputClock") == std::string::npos && has_clock(request);
    EXPECT_EQ(ports + (has_own ? 2 : 0), request.ports);
  }
  EXPECT_EQ(made->x5io_wizard_IntfInfoDict({}), "");
}

TEST(PhysicalLayerOfOctads, TellsItsInterfaces) {
  const Interface made(kOctads, {{"-buses", "rx {WIDTH 4 STROBE s} s {ROLE Strobe DIFFERENTIAL 1}"}});
  EXPECT_EQ(
      made->x5phio_IntfInfoDict({}),
      "interface {rx {rx {dir in width 4 role Data}} s {s_p {dir in width 1 role Strobe} s_n {dir in width 1 role "
      "Strobe}}}");
  EXPECT_TRUE(made->x5phio_IntfInfoDict({{"CONTROLLERTYPE", "DDR4"}}).starts_with("interface {ddr4 {"));
  EXPECT_TRUE(thrown([&] { made->x5phio_IntfInfoDict({{"CONTROLLERTYPE", "X"}}); }).starts_with("MEMORY_TYPE: "));
}

TEST(BusPlans, WithASettingThatDoesNotFitNameIt) {
  const auto fault = [](char const* settings, char const* ports = "", char const* part = kNibbles) {
    const Interface made(part);
    return thrown([&] { made->advwiz_defaultIOPlanning(options(settings, ports)); });
  };
  constexpr char kGood[] = "DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {WIDTH 4}}";
  EXPECT_EQ(fault(kGood), "");
  EXPECT_EQ(fault(""), "BUSES: there are none");
  EXPECT_EQ(fault("SINGLE_IO_STD SSTL12 BUSES {d {WIDTH 4}}"), "DATA_RATE: it is not told");
  EXPECT_EQ(fault("DATA_RATE 800 BUSES {d {WIDTH 4}}"), "BUSES: d IO_STANDARD: none is told");
  EXPECT_EQ(fault("DATA_RATE 800 BUSES {d {IO_STANDARD DIFF_SSTL12}}"),
            "BUSES: d DIFFERENTIAL: DIFF_SSTL12 is for pairs");
  EXPECT_EQ(fault("DATA_RATE 800 BUSES {d {IO_STANDARD SSTL12 DIFFERENTIAL 1}}"),
            "BUSES: d DIFFERENTIAL: SSTL12 is for single signals");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {STROBE s} s {ROLE Strobe WIDTH 2}}"),
            "BUSES: s WIDTH: a strobe or clock is one signal");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {} s {ROLE Strobe}}"),
            "BUSES: s is the STROBE of no bus");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {DIRECTION TX STROBE s} s {ROLE Strobe}}"),
            "BUSES: d STROBE: what goes TX has a bus of the role ClkFwd");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {STROBE s} s {ROLE ClkFwd}}"),
            "BUSES: d STROBE: what goes RX has a bus of the role Strobe");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {} a {ROLE InputClock} b {ROLE InputClock}}"),
            "BUSES: a and b are both an InputClock");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 APPLICATION_TYPE TX BUSES {d {}}"),
            "APPLICATION_TYPE: d goes RX and not TX");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {STROBE s} e {STROBE s RATIO 4:1} s {ROLE Strobe}}"),
            "BUSES: d and e have one strobe and differ in RATIO");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BIDIR_MODE 1 BUSES {d {}}"), "BIDIR_MODE: no bus goes BIDIR");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BIDIR_MODE 0 BUSES {d {DIRECTION BIDIR}}"),
            "BIDIR_MODE: d goes BIDIR");
  EXPECT_EQ(fault("DATA_RATE 1600 RATIO 1:1 SINGLE_IO_STD SSTL12 BUSES {d {}}"),
            "RATIO: d has words of 1600 MHz, and clocks of the part go up to 1070");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {sys_clk {}} SYSTEM_CLOCK Single-Ended"),
            "BUSES: two ports are called \"sys_clk\"");
  EXPECT_EQ(fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 BANKS 302 BUSES {d {}}"), "BANKS: 302 is no bank of nibbles");
  EXPECT_EQ(fault("DATA_RATE 400 SINGLE_IO_STD LVCMOS15 BUSES {d {}}"), "");
  EXPECT_EQ(fault("DATA_RATE 400 SINGLE_IO_STD LVCMOS33 BUSES {d {}}"),
            "SYSTEM_CLOCK: no standard for it has the supply of LVCMOS33");
  EXPECT_EQ(fault(kGood, "", kOctads), "the part has no banks of nibbles");
  EXPECT_EQ(fault(kGood, "x IO_B0_L1P_701"), "-port_locs: there is no port \"x\"");
  EXPECT_EQ(fault(kGood, "{d[0]} -,-,-,-,-,POD12"), "");
  EXPECT_EQ(fault(kGood, "{d[0]} 701,B0,-,L1P,-,POD12"),
            "-port_locs: d[0]: the standard is \"SSTL12\" and not \"POD12\"");
  EXPECT_EQ(
      fault("DATA_RATE 800 SINGLE_IO_STD SSTL12 SYSTEM_CLOCK No_Buffer BUSES {d {WIDTH 54 STROBE s} s {ROLE Strobe}}")
          .substr(0, 45),
      "the ports cannot be placed: no bank has room ");
  const Interface made(kOctads);
  EXPECT_EQ(thrown([&] {
              made->x5io_wizard_defaultIOPlanning(options("DATA_RATE 800 SINGLE_IO_STD SSTL12 BANKS 302 BUSES {d {}}"));
            }),
            "BANKS: 302 is no bank of octads");
}

// The limits of an interface, which has as many banks as it takes.
TEST(BusPlans, TellWhereAnInterfaceEnds) {
  const auto fault = [](std::string const& buses) {
    const Interface made(kNibbles);
    return thrown([&] {
      made->advwiz_defaultIOPlanning(options(
          "DATA_RATE 800 SYSTEM_CLOCK No_Buffer SINGLE_IO_STD SSTL12 DIFF_IO_STD DIFF_SSTL12 BUSES {" + buses + "}"));
    });
  };
  EXPECT_EQ(fault("d {WIDTH 55 STROBE s} s {ROLE Strobe}"),
            "BUSES: d WIDTH: what has one strobe or clock is in one bank, which has room for 54 at most and not for "
            "55: let there be more buses, each with its own");
  EXPECT_EQ(fault("d {WIDTH 28 DIRECTION TX DIFFERENTIAL 1 STROBE s} s {ROLE ClkFwd}").substr(0, 17),
            "BUSES: d WIDTH: w");
  std::string strobes;
  for (int i = 0; i < 12; ++i) {
    const std::string n = std::to_string(i);
    strobes += " d" + n + " {WIDTH 8 STROBE s" + n + "} s" + n + " {ROLE Strobe}";
  }
  EXPECT_EQ(fault(strobes), "");
  EXPECT_EQ(fault(strobes + " more {DIRECTION TX}"),
            "BUSES: an interface has at most 12 strobes, clocks that are sent and buses without, each bank of a wide "
            "one counting, and not 13: another interface can have the others, beside it");
  EXPECT_EQ(fault("t {DIRECTION TX WIDTH 649}").substr(0, 31), "BUSES: an interface has at most");
  // The names of parts are no bus's of the user.
  EXPECT_EQ(fault("t {DIRECTION TX WIDTH 60} t_0 {DIRECTION TX WIDTH 2} t_1_ {DIRECTION TX WIDTH 2}"), "");
}

TEST(BusPlans, HaveTheTerminationThatTheUserChooses) {
  const Interface made(kNibbles);
  const auto of = [&](char const* field, char const* direction, char const* port) {
    const std::string settings =
        std::string("DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {WIDTH 2 DIRECTION ") + direction + " " + field + "}}";
    const Pairs all = read_dictionary(made->xphy_io_generateXDCMap_adcDac(words(settings)).at(port), port);
    const auto odt = std::find_if(all.begin(), all.end(), [](auto const& one) { return one.first == "ODT"; });
    return odt == all.end() ? std::string() : odt->second;
  };
  EXPECT_EQ(of("", "RX", "d[0]"), "RTT_40");
  EXPECT_EQ(of("TERMINATION RTT_60", "RX", "d[1]"), "RTT_60");
  EXPECT_EQ(of("TERMINATION RTT_60", "BIDIR", "d[1]"), "RTT_60");
  EXPECT_EQ(of("TERMINATION NONE", "RX", "d[0]"), "");
  EXPECT_EQ(of("TERMINATION RTT_60", "TX", "d[0]"), "");
  EXPECT_EQ(thrown([&] { of("TERMINATION RTT_50", "RX", "d[0]"); }),
            "BUSES: d TERMINATION: \"RTT_50\" is none of SSTL12: RTT_40, RTT_48, RTT_60, NONE");
}

TEST(BusPlans, MapsHaveTheirSettingsInAMap) {
  const Interface made(kNibbles);
  EXPECT_EQ(thrown([&] {
              made->advwiz_generateMapData({{"DATA_RATE", {}}});
            }),
            "DATA_RATE: it stands in the map SETTINGS");
  MultiMap map = maps(kRequests[0].settings);
  const OptionMap plan = made->advwiz_generateMapData(map);
  map["NOTHING"];
  map["SETTINGS"]["NOTHING"] = "1";
  EXPECT_EQ(made->advwiz_generateMapData(map), plan);
}

TEST(BusPlans, PinsThatAreToldAreThoseOfTheInterface) {
  const Interface made(kOctads);
  EXPECT_EQ(thrown([&] { made->x5io_wizard_getStrobeToDataOctads({}); }), "no plan of the interface has been made yet");
  constexpr char kSettings[] = "DATA_RATE 800 SINGLE_IO_STD SSTL12 BUSES {d {WIDTH 4 STROBE s} s {ROLE Strobe}}";
  ParamMap pins = made->x5phio_getPinDataDict(words(kSettings));
  EXPECT_EQ(made->x5io_wizard_getStrobeToDataOctads(pins).size(), 1u);
  std::string& pin = pins.at("s");
  pin.replace(0, 6, "Data");
  EXPECT_EQ(thrown([&] { made->x5io_wizard_getStrobeToDataOctads(pins); }).substr(0, 25), "PIN_INFO: s: it is Strobe");
}

}  // namespace
