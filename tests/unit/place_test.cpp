// Words of I/O planning: what their writers write their readers read back, and what is none is refused by its key.
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <optional>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/device/HARPartMgr.h"
#include "platform/place/dictionary.h"
#include "platform/place/locations.h"
#include "platform/place/parameters.h"
#include "platform/place/settings.h"
#include "tests/support/place_instance.h"
#include "tests/support/places.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::place;
using place_instance::thrown;

kdi::planning::Layout layout_of(char const* part) {
  return kdi::planning::layout_of(HARPartMgr::getGlobal()->getPart(part)->values());
}
kdi::planning::Layout const& nibbles() {
  static kdi::planning::Layout const layout = layout_of("brvn3716-b1764-2LHP-e-S");
  return layout;
}
kdi::planning::Layout const& octads() {
  static kdi::planning::Layout const layout = layout_of("brvn6112-c2209-2LHP-e-S");
  return layout;
}

std::vector<std::string> lines_of(message_host::Capture const& messages) {
  std::vector<std::string> lines;
  for (std::string const& line : messages.lines()) lines.push_back(line.substr(line.find(']') + 2));
  return lines;
}

// ------------------------------------------------------------------------------------------------------ lists

// What Tcl makes of a text; nothing if it takes it for no list.
std::optional<std::vector<std::string>> elements_of_tcl(std::string const& text) {
  int count = 0;
  char const** elements = nullptr;
  if (Tcl_SplitList(nullptr, text.c_str(), &count, &elements) != TCL_OK) return std::nullopt;
  std::vector<std::string> all(elements, elements + count);
  Tcl_Free(reinterpret_cast<char*>(elements));
  return all;
}

std::string random_text(test_support::Random& random, unsigned longest) {
  constexpr std::string_view kLetters = "ab{}{}[]\\\\\"\" \t\n$;#-,xu01789";
  std::string text;
  for (unsigned length = random.below(longest); length > 0; --length)
    text += random.one_in(20) ? std::string("\xC3\xA9")
                              : std::string(1, kLetters[random.below(static_cast<unsigned>(kLetters.size()))]);
  return text;
}

TEST(TclTexts, AreTakenApartAsTclDoes) {
  test_support::Random random(test_support::fresh_seed());
  for (int run = 0; run < 20000; ++run) {
    const std::string text = random_text(random, 14);
    const auto expected = elements_of_tcl(text);
    std::optional<std::vector<std::string>> found;
    try {
      found = read_list(text, "it");
    } catch (std::string const& fault) {
      EXPECT_TRUE(fault.starts_with("it: "));
      if (fault == "it: a character with the code 0") continue;  // Tcl has one, of two bytes
    }
    ASSERT_EQ(found, expected) << text;
  }
}

TEST(TclTexts, AreWrittenSoThatTclFindsTheElements) {
  test_support::Random random(test_support::fresh_seed());
  for (int run = 0; run < 20000; ++run) {
    std::vector<std::string> elements;
    for (unsigned count = random.below(4); count > 0; --count) elements.push_back(random_text(random, 8));
    const std::string text = write_list(elements);
    ASSERT_EQ(elements_of_tcl(text), elements) << text;
    ASSERT_EQ(read_list(text, "it"), elements) << text;
  }
}

TEST(TclTexts, ThatAreNoneSayWhy) {
  for (auto const& one : Pairs{
           {"a {b", "it: a brace is open at the end"},
           {"a \"b", "it: a quote is open at the end"},
           {"{a}b c", "it: an element is ended by a brace and goes on with \"b\""},
           {"\"a\"b c", "it: an element is ended by a quote and goes on with \"b\""},
           {"\\x00", "it: a character with the code 0"},
       })
    EXPECT_EQ(thrown([&] { read_list(one.first, "it"); }), one.second);
  EXPECT_EQ(thrown([] { read_dictionary("a 1 a 2", "it"); }), "it: \"a\" is there twice");
  EXPECT_EQ(thrown([] { read_dictionary("a 1 b", "it"); }), "it: \"b\" has no value");
}

// ------------------------------------------------------------------------------------------------------ settings

TEST(IoSettings, AreTheSameAsADictionaryAndAsOptions) {
  Settings told = settings_of_dictionary("XGUI_CONFIG",
                                         "MEMORY_TYPE DDR4 DATA_WIDTH 72 TIME_PERIOD 833.3 ECC 1 BANKS {700 701,702} "
                                         "RATIO 8:1 BUSES {rx {WIDTH 4}} RANKS {}");
  EXPECT_EQ(told.text("MEMORY_TYPE"), "DDR4");
  EXPECT_EQ(told.whole("DATA_WIDTH"), 72);
  EXPECT_EQ(told.whole("MAX_BANKS"), 0);
  EXPECT_EQ(told.decimal("TIME_PERIOD"), 833.3);
  EXPECT_EQ(told.decimal("DATA_RATE"), 0);
  EXPECT_TRUE(told.truth("ECC"));
  EXPECT_TRUE(told.truth("DATA_MASK"));
  EXPECT_EQ(told.numbers("BANKS"), (std::vector<int>{700, 701, 702}));
  EXPECT_EQ(told.ratio("RATIO"), 8);
  EXPECT_EQ(told.whole("RANKS"), 1);
  EXPECT_EQ(told.buses().at(0).width, 4);
  EXPECT_EQ(settings_of_dictionary("again", told.written()), told);
  OptionMap options{{"-other", "x"}};
  for (auto const& [name, value] : read_dictionary(told.written(), "again"))
    options["-" + kdi::text::lowered(name)] = value;
  constexpr char const* kOthers[] = {"-other"};
  EXPECT_EQ(settings_of_options(options, kOthers), told);
  Settings part = settings_of_dictionary("part", "DATA_WIDTH 16");
  part.fill_from(told);
  EXPECT_EQ(part.whole("DATA_WIDTH"), 16);
  EXPECT_EQ(part.text("MEMORY_TYPE"), "DDR4");
  EXPECT_EQ(part.buses(), told.buses());
}

TEST(IoSettings, ThatAreNoneAreToldWithTheNearest) {
  const message_host::Capture messages;
  EXPECT_EQ(settings_of_dictionary("XGUI_CONFIG", "DATA_WITH 8"), Settings());
  EXPECT_EQ(settings_of_options({{"-memory_prat", "x"}, {"ranks", "2"}}), Settings());
  EXPECT_EQ(read_buses("BUSES", "a {WITDH 2}").at(0).width, 1);
  EXPECT_EQ(lines_of(messages),
            (std::vector<std::string>{"XGUI_CONFIG: nothing is called \"DATA_WITH\"; the nearest is DATA_WIDTH",
                                      "options: nothing is called \"-memory_prat\"; the nearest is -memory_part",
                                      "options: nothing is called \"ranks\"; the nearest is -ranks",
                                      "BUSES: a: nothing is called \"WITDH\"; the nearest is WIDTH"}));
}

TEST(IoSettings, WithAValueThatIsNoneNameIt) {
  for (auto const& one : Pairs{
           {"DATA_WIDTH 0", "X: DATA_WIDTH: \"0\" is no whole number from 1 to 1024"},
           {"DATA_WIDTH 8.0", "X: DATA_WIDTH: \"8.0\" is no whole number from 1 to 1024"},
           {"TIME_PERIOD nan", "X: TIME_PERIOD: \"nan\" is no number from 10 to 100000"},
           {"ECC maybe", "X: ECC: \"maybe\" is neither true nor false"},
           {"SYSTEM_CLOCK Any", "X: SYSTEM_CLOCK: \"Any\" is none of Differential, Single-Ended, No_Buffer"},
           {"MEMORY_PART {a b}", "X: MEMORY_PART: \"a b\" is no word of letters, digits and _-+."},
           {"BANKS {700,x}", "X: BANKS: \"x\" is no whole number from 0 to 1000000"},
           {"RATIO 3:1", "X: RATIO: \"3:1\" is no ratio like 8:1, of a power of two up to 64"},
           {"RATIO 8", "X: RATIO: \"8\" is no ratio like 8:1, of a power of two up to 64"},
           {"BUSES {a {WIDTH x}}", "X: BUSES: a WIDTH: \"x\" is no whole number from 1 to 1024"},
       })
    EXPECT_EQ(thrown([&] { settings_of_dictionary("X", one.first); }), one.second);
  std::map<std::string, std::string> choices;
  for (SettingKind const& kind : setting_kinds()) choices[kind.name] = kind.choices;
  EXPECT_EQ(choices["APPLICATION_TYPE"], "RX TX RX_TX BIDIR");
  EXPECT_EQ(choices["TRI_SELECT"], "NONE PER_NIBBLE PER_BIT");
  EXPECT_EQ(choices["DIFF_DC_BIAS"], "NONE DC_BIAS_0 DC_BIAS_1 DC_BIAS_2 DC_BIAS_3");
  try {
    Settings().whole("ECC");
    ADD_FAILURE();
  } catch (std::logic_error const& error) {
    EXPECT_STREQ(error.what(), "no setting of the form: ECC");
  }
  EXPECT_THROW(Settings().text("NONE"), std::logic_error);
}

TEST(IoSettings, StandInTheirDocument) {
  const std::string document = kdi::read_file(places::source("docs/io-planning.md"));
  for (SettingKind const& kind : setting_kinds())
    EXPECT_NE(document.find("| `" + std::string(kind.name) + "` |"), std::string::npos) << kind.name;
  for (char const* const field : bus_fields())
    EXPECT_NE(document.find("| `" + std::string(field) + "` |"), std::string::npos) << field;
}

// ------------------------------------------------------------------------------------------------------ buses

Buses some_buses(test_support::Random& random) {
  Buses buses;
  const unsigned count = 1 + random.below(5);
  for (unsigned i = 0; i < count; ++i) {
    Bus bus;
    bus.name = "bus" + std::to_string(i);
    bus.role = i == 0 ? BusRole::strobe : static_cast<BusRole>(random.below(4));
    bus.direction = static_cast<BusDirection>(random.below(3));
    bus.width = 1 + static_cast<int>(random.below(20));
    bus.strobe = random.one_in(2) ? "bus0" : "";
    bus.differential = random.one_in(2);
    bus.ratio = random.one_in(2) ? 1 << random.below(6) : 0;
    bus.standard = random.one_in(2) ? "LVDS15" : "";
    bus.bias = random.one_in(2) ? "DC_BIAS_1" : "";
    bus.bit_slip = static_cast<int>(random.below(3));
    buses.push_back(bus);
  }
  return buses;
}

TEST(IoBuses, AreReadBackInBothForms) {
  test_support::Random random(test_support::fresh_seed());
  for (int run = 0; run < 300; ++run) {
    const Buses buses = some_buses(random);
    ASSERT_EQ(read_buses("it", write_buses(buses)), buses);
    MultiMap map;
    write_buses(buses, map);
    Buses read = read_buses(map);  // by role
    std::sort(read.begin(), read.end(), [](Bus const& a, Bus const& b) { return a.name < b.name; });
    ASSERT_EQ(read, buses);
  }
}

TEST(IoBuses, HavePortsByIndexAndPair) {
  std::vector<std::string> names;
  for (BusPort const& port :
       ports_of(read_buses("it", "clk {ROLE {Clk Fwd} DIFFERENTIAL yes} d {WIDTH 2} q {WIDTH 2 DIFFERENTIAL 1}")))
    names.push_back(port.name);
  EXPECT_EQ(names,
            (std::vector<std::string>{"clk_p", "clk_n", "d[0]", "d[1]", "q_p[0]", "q_n[0]", "q_p[1]", "q_n[1]"}));
  EXPECT_EQ(read_buses("it", "c {ROLE {Input Clock}}")[0].role, BusRole::input_clock);
}

TEST(IoBuses, ThatAreNoneNameTheKey) {
  std::string many;
  for (int i = 0; i < 257; ++i) many += "b" + std::to_string(i) + " {} ";
  for (auto const& one : Pairs{
           {"a-b {}", "it: \"a-b\" is no name of a bus: letters, digits and _"},
           {"a {ROLE Clock}", "it: a ROLE: \"Clock\" is none of Data, Strobe, ClkFwd, InputClock"},
           {"a {DIRECTION in}", "it: a DIRECTION: \"in\" is none of RX, TX, BIDIR"},
           {"a {STROBE b}", "it: a STROBE: there is no bus \"b\""},
           {"a {STROBE b} b {}", "it: a STROBE: the bus b has the role Data"},
           {"a {DIFFERENTIAL 1} a_p {}", "it: two buses have the port \"a_p\""},
           {many, "it: more than 256 buses"},
       })
    EXPECT_EQ(thrown([&] { read_buses("it", one.first); }), one.second);
  EXPECT_EQ(thrown([] {
              read_buses({{"Data", {{"a", "RX,1,-,-,-,-,-,-,-,-"}}}});
            }),
            "Data: a: there are 9 fields, not 10");
  EXPECT_EQ(thrown([] {
              read_buses({{"Data", {{"a", "RX"}}}, {"Strobe", {{"a", "RX"}}}});
            }),
            "Strobe: a: there is another bus of that name");
}

// ------------------------------------------------------------------------------------------------------ locations

PortPads some_pads(test_support::Random& random, kdi::planning::Layout const& layout) {
  PortPads pads;
  std::set<int> taken;
  const unsigned count = 1 + random.below(40);
  for (unsigned i = 0; i < count; ++i) {
    const int pad = static_cast<int>(random.below(static_cast<unsigned>(layout.pads.size())));
    if (!layout.pads[static_cast<std::size_t>(pad)].ball.empty() && taken.insert(pad).second)
      pads["p[" + std::to_string(i) + "]"] = pad;
  }
  return pads;
}

std::string written(OptionMap const& map) { return write_dictionary(Pairs(map.begin(), map.end())); }

TEST(IoLocations, ArePlansThatAreReadBack) {
  test_support::Random random(test_support::fresh_seed());
  for (kdi::planning::Layout const* layout : {&nibbles(), &octads()})
    for (int run = 0; run < 30; ++run) {
      const PortPads pads = some_pads(random, *layout);
      const OptionMap plan = write_locations(pads, *layout, [](std::string const&) { return "POD12"; });
      const Locations locations = read_locations("PORT_LOCS", written(plan));
      ASSERT_EQ(pads_of(locations, *layout, "PORT_LOCS"), pads);
      ASSERT_EQ(locations.begin()->second.standard, "POD12");
      ASSERT_EQ(written(locations.begin()->second), plan.begin()->second);
      ASSERT_EQ(read_grouping(write_grouping(pads, *layout), *layout, "it"), pads);
      OptionMap words, balls, braced;
      for (auto const& [port, pad] : pads) {
        words[port] = layout->pads[static_cast<std::size_t>(pad)].name;
        balls[port] = layout->pads[static_cast<std::size_t>(pad)].ball;
        braced["{" + port + "}"] = balls[port];
      }
      ASSERT_EQ(pads_of(read_locations("it", words), *layout, "it"), pads);
      ASSERT_EQ(pads_of(read_locations("it", balls), *layout, "it"), pads);
      ASSERT_EQ(pads_of(read_locations("it", braced), *layout, "it"), pads);
    }
}

TEST(IoLocations, AreToldByAsMuchAsTellsOfOnePad) {
  const auto pad = [](std::string const& place) {
    return pads_of(read_locations("it", "a " + place), nibbles(), "it").at("a");
  };
  kdi::planning::PlacedPad const& found = nibbles().pads[static_cast<std::size_t>(pad("701,B1,-,L3N,-,POD12"))];
  EXPECT_EQ(found.name, "IO_B1_L3N_701");
  EXPECT_EQ(nibble_name(nibbles(), pad("701,B1,-,L3N,-,-")), "701_3");
  EXPECT_EQ(nibble_name(nibbles(), pad("701,B4,-,L0P,-,-")), "701_8");
  EXPECT_EQ(pad("701,-,3,L3N,-,-"), pad("IO_B1_L3N_701"));
  EXPECT_TRUE(pads_of(read_locations("it", "a -,-,-,-,-,POD12"), nibbles(), "it").empty());
  const std::string ball = found.ball;
  for (auto const& one : Pairs{
           {"a 701,B1", "it: a: \"701,B1\" has not the form bank,lane,nibble,site,ball,standard"},
           {"a {x y}", "it: a: \"x y\" is no word of letters, digits and _-+."},
           {"a x,B1,-,L3N,-,-", "it: a: \"x\" is no whole number from 0 to 2147483647"},
           {"a 701,B1,-,-,-,-", "it: a: \"701,B1,-,-,-,-\" tells of more than one pad"},
           {"a 701,B9,-,-,-,-", "it: a: there is no pad at \"701,B9,-,-,-,-\""},
           {"a NOWHERE", "it: a: there is no pad at \"NOWHERE\""},
           {"a 701,B2,-,-," + ball + ",-", "it: a: there is no pad at \"701,B2,-,-," + ball + ",-\""},
           {"a " + ball + " b IO_B1_L3N_701", "it: a and b are both on IO_B1_L3N_701"},
           {"{} x", "it: a port has no name"},
           {"a x {{a}} x", "it: a is there twice"},
       })
    EXPECT_EQ(thrown([&] { pads_of(read_locations("it", one.first), nibbles(), "it"); }), one.second);
  EXPECT_EQ(thrown([] { read_grouping({{"9_9", {}}}, nibbles(), "it"); }), "it: there is no nibble \"9_9\"");
  EXPECT_EQ(thrown([] { read_grouping({{"701_3", {"a"}}}, nibbles(), "it"); }), "it: 701_3 has 6 sites and not 1");
  EXPECT_EQ(thrown([] {
              read_grouping({{"701_3", {"a", "a", "-", "-", "-", "-"}}}, nibbles(), "it");
            }),
            "it: \"a\" is there twice");
  EXPECT_EQ(write_grouping({{"a", 0}}, octads()).begin()->second.size(), 22u);
}

TEST(IoLocations, AreToldWithRolesAndReadBack) {
  test_support::Random random(test_support::fresh_seed());
  const PortPads pads = some_pads(random, octads());
  std::map<std::string, PinInfo> info;
  ParamMap map;
  for (auto const& [port, pad] : pads) {
    kdi::planning::PlacedPad const& at = octads().pads[static_cast<std::size_t>(pad)];
    info[port] = {"Data", "in", at.ball, at.name, at.site, ""};
    map["{" + port + "}"] = written(info[port]);  // as it stands in a list
  }
  EXPECT_EQ(read_pin_info("PIN_INFO", map), info);
  EXPECT_EQ(pads_of(info, octads(), "PIN_INFO"), pads);
  EXPECT_TRUE(pads_of({{"a", {"Data", "in", "", "", "", ""}}}, octads(), "it").empty());
  EXPECT_EQ(thrown([] {
              pads_of({{"a", {"Data", "in", "ZZ9", "IO_B1_L3N_701", "", ""}}}, octads(), "it");
            }),
            "it: a: \"Data,in,ZZ9,IO_B1_L3N_701,-,-\" tells of more than one pad");
  EXPECT_EQ(thrown([] {
              read_pin_info("it", {{"a", "Data"}});
            }),
            "it: a: \"Data\" has not the form role,direction,ball,pad,site,standard");
  EXPECT_EQ(thrown([] {
              read_pin_info("it", {{"a", "x,in,-,-,-,-"}});
            }),
            "it: a: \"x\" is none of Data, Strobe, ClkFwd, InputClock, Address, Control");
}

TEST(IoLocations, TranslatePortsOneToOne) {
  EXPECT_EQ(read_translation("it", "a[0] x b y"), (std::map<std::string, std::string>{{"a[0]", "x"}, {"b", "y"}}));
  EXPECT_EQ(thrown([] { read_translation("it", "a x b x"); }), "it: a and b are both called \"x\"");
  EXPECT_EQ(thrown([] { read_translation("it", "a {}"); }), "it: a has no name outside");
}

TEST(IoLocations, HaveStrobesWithNibblesOfTheirOwn) {
  EXPECT_EQ(read_strobe_map("it", {{"a", "700_0 700_1"}}).at("a"), (std::vector<std::string>{"700_0", "700_1"}));
  EXPECT_EQ(thrown([] {
              read_strobe_map("it", {{"a", "700_0"}, {"b", "700_0"}});
            }),
            "it: b and a both clock \"700_0\"");
}

// ------------------------------------------------------------------------------------------------------ parameters

TEST(IoParameters, DecodeToThePlan) {
  test_support::Random random(test_support::fresh_seed());
  for (int run = 0; run < 30; ++run) {
    PlanWords plan;
    plan.pads = some_pads(random, nibbles());
    for (auto const& [port, pad] : plan.pads)
      if (random.one_in(2)) plan.standards[port] = "POD12";
    for (auto const& [nibble, ports] : write_grouping(plan.pads, nibbles()))
      if (random.one_in(2)) plan.strobes[plan.pads.begin()->first].push_back(nibble);
    ASSERT_EQ(read_parameters(write_parameters(plan, nibbles()), nibbles(), "it"), plan);
  }
}

TEST(IoParameters, ThatDoNotAgreeNameThemselves) {
  PlanWords plan;
  plan.pads = pads_of(read_locations("it", "a IO_B1_L3N_701"), nibbles(), "it");
  plan.strobes["a"] = {"701_3"};
  const OptionMap good = write_parameters(plan, nibbles());
  for (auto const& one : Pairs{
           {"NUM_BANKS 2", "it: NUM_BANKS is not \"1\", which the ports take"},
           {"BANKS 700", "it: BANKS is not \"701\", which the ports take"},
           {"NIBLE 2", "it: nothing is called \"NIBLE\""},
           {"STANDARD_701_3 x", "it: STANDARD_701_3 has not as many fields as NIBBLE_701_3"},
           {"STROBE_701_3 b", "it: the strobe \"b\" is on no pad"},
           {"STROBE_701_4 a", "it: the strobe a clocks \"701_4\" where nothing is"},
       })
    EXPECT_EQ(thrown([&] {
                OptionMap parameters = good;
                for (auto const& [name, value] : read_dictionary(one.first, "it")) parameters[name] = value;
                read_parameters(parameters, nibbles(), "it");
              }),
              one.second);
}

TEST(IoInterfaces, AreReadBack) {
  const std::vector<CoreInterface> interfaces{{"ddr5", {{"dq", "inout", 32, "Data"}, {"ck_t", "out", 1, "Clock"}}},
                                              {"empty", {}}};
  EXPECT_EQ(write_interfaces(interfaces),
            "interface {ddr5 {dq {dir inout width 32 role Data} ck_t {dir out width 1 role Clock}} empty {}}");
  EXPECT_EQ(read_interfaces("it", write_interfaces(interfaces)), interfaces);
  for (auto const& one : Pairs{
           {"a {}", "it: there is not one key, \"interface\""},
           {"interface {a {b {dir in width 1}}}", "it: a b: dir, width and role are needed"},
           {"interface {a {b {dir up}}}", "it: a b dir: \"up\" is none of in, out, inout"},
           {"interface {a {b {wide 1}}}", "it: a b: nothing is called \"wide\""},
       })
    EXPECT_EQ(thrown([&] { read_interfaces("it", one.first); }), one.second);
}

}  // namespace
