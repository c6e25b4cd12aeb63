// A family of engine commands as a table: two made-up models in two versions, over an engine that records what it is
// asked. Between them the rows use every source of an argument, every way to an instance and every form of a result.
#include "tcltasks/frame/engine_rows.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "kdi/common/host/MessageHost.h"
#include "tests/support/recording.h"

namespace {

// ------------------------------------------------------------------------------------------------------- the engine

using recording::record;
const auto& asked = recording::calls;

struct Permitted {
  bool enabled;
  std::vector<std::string> range;
};

struct V1 {
  static constexpr engine_rows::FixedText kScope = "grid::grid_v1::";
  static constexpr engine_rows::FixedText kFlat = "grid_v1_";
  static constexpr char const* kTooFew = "Ip_grid_limits_v1: Not enough arguments";
  static constexpr bool kTellsSpeed = false;
};
struct V2 {
  static constexpr engine_rows::FixedText kScope = "grid::grid_v2::";
  static constexpr engine_rows::FixedText kFlat = "grid_v2_";
  static constexpr char const* kTooFew = "Ip_grid_limits_v2: Not enough arguments";
  static constexpr bool kTellsSpeed = true;
};

// Operations are virtual here and there, take arguments in every way, and one name stands for two.
template <class Version>
class Instance {
 public:
  virtual ~Instance() = default;

  virtual StrList sites(std::string const& bank, std::string const& kind, ParamMap const& options) {
    record("sites", bank, kind, options);
    return {"a b", "c"};
  }
  virtual ParamMap limits(std::string const& name, ParamMap options) const {
    record("limits", name, options);
    return {{"min", "1"}, {"max", "a b"}};
  }
  ParamMap clocks(ParamMap const& settings) const {
    record("clocks", settings);
    return settings;
  }
  void details(std::string signal, std::string& bank, std::string& lane) {
    record("details", signal);
    bank = "bank 1";
    lane = "";
  }
  void set(std::string const& signal, std::string const& pad) { record("set", signal, pad); }
  void set(PinMap const& pins, ParamMap const& options) { record("set", pins, options); }
  PinMap map(int controller) {
    record("map", controller);
    return {{"DQ[0]", {"x", "y"}}, {"D[1]", {"z"}}};
  }
  int count(ParamMap const& attributes) {
    record("count", attributes);
    return -3;
  }
  bool is_placed(MultiMap const& ports, ParamMap const& pins) {
    record("is_placed", ports, pins);
    return true;
  }
  std::string text(std::string const& key) const {
    record("text", key);
    return "two words ";
  }
  double speed() {
    record("speed");
    return 2.5;
  }
};

struct Manager {
  static void load(ParamMap const& options) { record("load", options); }
  static Permitted customize(std::string name, ParamMap const& options) {
    record("customize", name, options);
    return {name == "on", name == "on" ? StrList{"a", "b"} : StrList{}};
  }
  static void fail(std::string const& kind) {
    if (kind == "text") throw std::string("a text of the engine");
    throw std::runtime_error("an exception of the engine");
  }
};

// The family: instances have names, and one is found by options as well.
template <class Version>
struct Grid {
  using Results = engine_rows::OneElementResults;
  using Instance = ::Instance<Version>;
  static constexpr char const* kNoInstance = "Internal Error: grid instance load error";
  static constexpr char const* kDebugChannel = "grid.debug";
  static constexpr ComMsgMgr::MsgMask kDebugMask = ComMsgMgr::MSG_DEBUG0;

  static std::shared_ptr<Instance> find(std::string const& name) {
    record("find", name);
    return name == "none" ? nullptr : std::make_shared<Instance>();
  }
  static Instance* find(ParamMap const& options) {
    record("find", options);
    static Instance instance;
    return options.contains("-none") ? nullptr : &instance;
  }
};

// The other model has no instances; it answers barely.
struct Wizard {
  using Results = engine_rows::BareResults;
};
namespace wizard {
bool is_fractional(double rate, double reference, std::string const& kind) {
  record("is_fractional", rate, reference, kind);
  return rate > reference;
}
int entries(std::string const& instance) {
  record("entries", instance);
  return 7;
}
std::string content(std::string const& section) {
  record("content", section);
  return "a {b";
}
ParamMap attributes(std::string const& instance, bool all) {
  record("attributes", instance, all);
  return {{"A", "1"}, {"B", "two words"}};
}
int lanes(std::map<std::string, ParamMap> const& settings) {
  record("lanes", settings);
  return static_cast<int>(settings.size());
}
double reference(double rate) {
  record("reference", rate);
  return 0.1;
}
std::set<double> outputs(float rate) {
  record("outputs", static_cast<double>(rate));
  return {322.265625, 156.25, 0.1};
}
StrList log() {
  record("log");
  return {"first line", "second"};
}
}  // namespace wizard

// -------------------------------------------------------------------------------------------------------- the tables

using namespace engine_rows;
using tcl::exactly;
using tcl::pairs_behind;

// The odd one, with logic of its own.
std::string odd(tcl::Words words) { return "odd " + tcl::text_of(words[0]); }

template <class V, class I = Instance<V>>
constexpr tcl::Row kGridCommands[] = {
    row<Grid<V>, &Manager::load, Options<1>>(kBoth<V, "Ip_grid_load">),
    row<Grid<V>, &Manager::load, Options<1>, Traced<"Grid::Ip_grid_reload">>(kScoped<V, "Ip_grid_reload">),
    row<Grid<V>, &Manager::customize, Word<1>, Options<2>, Traced<"Grid::Ip_grid_customize">>(
        kScoped<V, "Ip_grid_customize">, pairs_behind(1, "ip_grid_customize : Not enough arguments")),
    row<Grid<V>, &Manager::fail, Word<1>>(kScoped<V, "Ip_grid_fail">),
    row<Grid<V>, &I::sites, By<Options<4>>, Word<1>, Text<"false">, Options<4>>(kScoped<V, "Ip_grid_sites">),
    row<Grid<V>, &I::sites, By<Options<5>>, Word<1>, Word<4>, Options<5>>(kFlat<V, "Ip_grid_sites_upgrade">),
    row<Grid<V>, &I::limits, By<FoldedOptions<2>>, Word<1>, FoldedOptions<2>>(kScoped<V, "Ip_grid_limits">,
                                                                              tcl::at_least(1, V::kTooFew)),
    row<Grid<V>, &I::clocks, By<Word<1>>, Keyed<3, "-inputclockperiod", "-controllertype">>(
        kScoped<V, "Ip_grid_clocks">),
    row<Grid<V>, &I::details, By<Options<2>>, Word<1>, Out, Out>(kScoped<V, "Ip_grid_details">),
    row<Grid<V>, overload<PinMap const&, ParamMap const&>(&I::set), By<Word<1>>, Pins<2>, OptionsBehindPins<2>>(
        kBoth<V, "Ip_grid_setPins">),
    row<Grid<V>, overload<std::string const&, std::string const&>(&I::set), By<Word<1>>, Word<3>, Word<2>>(
        kScoped<V, "Ip_grid_set">),
    row<Grid<V>, &I::map, By<Options<1>>, Constant<0>>(kScoped<V, "Ip_grid_map">),
    row<Grid<V>, &I::count, By<Word<1>>, ExactOptions<2>>(kScoped<V, "Ip_grid_count">),
    row<Grid<V>, &I::is_placed, By<Word<1>>, Maps<2>, InnerMap<2, "PIN_INFO">,
        NoInstance<"Internal Error : Ip_grid_planned_v1 : no instance">>(kScoped<V, "Ip_grid_isPlaced">),
    row<Grid<V>, &I::text, By<Word<1>>, Word<2>>(kScoped<V, "Ip_grid_text">),
    row<Grid<V>, &I::text, By<Word<1>>, Word<2>, As<followed_by<"interface {grid}">>>(kScoped<V, "Ip_grid_interface">),
    row<Grid<V>, &I::speed, By<Word<1>>, As<three_decimals>, Traced<"Grid::Ip_grid_speed">>(
        kScoped<V, "Ip_grid_speed">),
    row<Grid<V>, &I::speed, By<Word<1>>, As<three_decimals>>(V::kTellsSpeed ? kScoped<V, "Ip_grid_tell">
                                                                            : tcl::kNoNames),
    row<Grid<V>, &I::text, By<Word<1>>, Word<2>, Unused<3>>(kScoped<V, "Ip_grid_shown">),
    row<Grid<V>, overload<std::string const&, std::string const&>(&I::set), By<Word<1>>, Word<2>, Word<3>,
        CountedFirst<2>>(kScoped<V, "Ip_grid_counted">, tcl::at_least(2, "Ip_grid_counted: too few")),
    {kScoped<V, "Ip_grid_odd">, tcl::handler<odd>, exactly(1, tcl::kNotEnough)},
};

double number(std::string const& word) {
  const auto value = kdi::number::whole<double>(word);
  if (!value) throw std::string("no number: " + word);
  return *value;
}
bool truth(std::string const& word) { return word == "true"; }

// A source of the family's own: two words, each a dictionary, under the names that the model has for them.
struct Settings {
  static constexpr int kNeeds = 2;
  static std::map<std::string, ParamMap> read(Call call) {
    return {{"TX_SETTINGS", dictionary(call[1])}, {"RX_SETTINGS", dictionary(call[2])}};
  }
  static ParamMap dictionary(Tcl_Obj* word) {
    ParamMap map;
    for (tcl::DictWalk at(word); !at.at_end(); at.next()) map[tcl::text_of(at.key())] = tcl::text_of(at.value());
    return map;
  }
};

constexpr char const* kInvalid = "Ip_wizard : Invalid number of arguments.\n";

constexpr tcl::Row kWizardCommands[] = {
    row<Wizard, wizard::is_fractional, WordAs<1, number>, WordAs<2, number>, Word<3>>("wizard::isFractional",
                                                                                      exactly(3, kInvalid)),
    row<Wizard, wizard::entries, Word<1>>("wizard::entries", exactly(1, kInvalid)),
    row<Wizard, wizard::content, Word<1>>("wizard::content", exactly(1, kInvalid)),
    row<Wizard, wizard::attributes, Word<1>, WordAs<2, truth>>("wizard::attributes", exactly(2, kInvalid)),
    row<Wizard, wizard::lanes, Settings>("wizard::lanes"),
    row<Wizard, wizard::reference, WordAs<1, number>>("wizard::reference", exactly(1, kInvalid)),
    row<Wizard, wizard::reference, WordAs<1, number>, As<seventeen_digits>>("wizard::reference17",
                                                                            exactly(1, kInvalid)),
    row<Wizard, wizard::outputs, WordAs<1, number>>("wizard::outputs", exactly(1, kInvalid)),
    row<Wizard, wizard::log, Traced<"Wizard::log">>("wizard::log"),
};

// --------------------------------------------------------------------------------------------------------- the tests

class EngineRows : public testing::Test {
 protected:
  EngineRows() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    tcl::register_all<kGridCommands<V1>>(interp_);
    tcl::register_all<kGridCommands<V2>>(interp_);
    tcl::register_all<kWizardCommands>(interp_);
  }
  ~EngineRows() override { Tcl_DeleteInterp(interp_); }

  std::string ok(std::string const& script) { return result(script, TCL_OK); }
  std::string error(std::string const& script) { return result(script, TCL_ERROR); }

  /// A command of the first version's namespace.
  std::string v1(std::string const& script) { return ok("grid::grid_v1::" + script); }
  std::string v1_error(std::string const& script) { return error("grid::grid_v1::" + script); }

  using Asked = std::vector<std::string>;

 private:
  std::string result(std::string const& script, int expected) {
    recording::reset();
    EXPECT_EQ(Tcl_Eval(interp_, script.c_str()), expected) << script << ": " << Tcl_GetStringResult(interp_);
    return Tcl_GetStringResult(interp_);
  }

  Tcl_Interp* interp_;
};

TEST_F(EngineRows, ACommandWithoutAnInstanceAsksTheManager) {
  EXPECT_EQ(v1("Ip_grid_load -Part x -odd"), "");
  EXPECT_EQ(asked, (Asked{"load {-part='x'}"}));
  v1("Ip_grid_load");
  EXPECT_EQ(asked, (Asked{"load {}"}));
}

TEST_F(EngineRows, BothFormsOfANameReachOneOperation) {
  ok("grid_v1_Ip_grid_load -a 1");
  EXPECT_EQ(asked, (Asked{"load {-a='1'}"}));
  EXPECT_EQ(error("grid_v1_Ip_grid_sites a"), "invalid command name \"grid_v1_Ip_grid_sites\"");
  EXPECT_EQ(v1_error("Ip_grid_sites_upgrade a"), "invalid command name \"grid::grid_v1::Ip_grid_sites_upgrade\"");
}

TEST_F(EngineRows, AnInstanceIsFoundByItsNameOrByTheOptions) {
  v1("Ip_grid_text one key");
  EXPECT_EQ(asked, (Asked{"find 'one'", "text 'key'"}));
  v1("Ip_grid_map -Instance one");
  EXPECT_EQ(asked, (Asked{"find {-instance='one'}", "map 0"}));
  v1("Ip_grid_limits w C0.DDR4_TimePeriod 1250");
  EXPECT_EQ(asked, (Asked{"find {-timeperiod='1250'}", "limits 'w' {-timeperiod='1250'}"})) << "by the folded ones";
}

TEST_F(EngineRows, WithoutAnInstanceTheFamilysTextOrTheCommandsOwnIsTheError) {
  EXPECT_EQ(v1_error("Ip_grid_text none key"), "Internal Error: grid instance load error");
  EXPECT_EQ(v1_error("Ip_grid_map -none 1"), "Internal Error: grid instance load error");
  EXPECT_EQ(v1_error("Ip_grid_isPlaced none"), "Internal Error : Ip_grid_planned_v1 : no instance");
  EXPECT_EQ(asked, (Asked{"find 'none'"}));
}

TEST_F(EngineRows, ArgumentsComeFromWordsTextsAndValuesInTheOrderOfTheRow) {
  v1("Ip_grid_sites b w2 w3 -K v");
  EXPECT_EQ(asked.back(), "sites 'b' 'false' {-k='v'}");
  ok("grid_v1_Ip_grid_sites_upgrade b w2 w3 true -K v");
  EXPECT_EQ(asked.back(), "sites 'b' 'true' {-k='v'}");
  v1("Ip_grid_set i signal pad");
  EXPECT_EQ(asked.back(), "set 'pad' 'signal'");
}

TEST_F(EngineRows, OptionsAreReadInEveryWay) {
  v1("Ip_grid_count i -Key v -key w");
  EXPECT_EQ(asked.back(), "count {-Key='v' -key='w'}");
  v1("Ip_grid_clocks i unused 4000 PHY");
  EXPECT_EQ(asked.back(), "clocks {-controllertype='PHY' -inputclockperiod='4000'}");
  v1("Ip_grid_setPins i {DQ[0]} a b {DQ[1]} c d -Opt v");
  EXPECT_EQ(asked.back(), "set {DQ[0]=['a' 'b'] DQ[1]=['c' 'd']} {-opt='v'}");
  v1("Ip_grid_setPins i {DQ[0]} a b");
  EXPECT_EQ(asked.back(), "set {DQ[0]=['a' 'b']} {}") << "a table that the words end";
  v1("Ip_grid_setPins i {DQ[0]} a b -Opt");
  EXPECT_EQ(asked.back(), "set {DQ[0]=['a' 'b']} {}") << "an option without a value";
  v1("Ip_grid_setPins i -Opt v");
  EXPECT_EQ(asked.back(), "set {} {-opt='v'}");
  v1("Ip_grid_setPins i");
  EXPECT_EQ(asked.back(), "set {} {}");
  v1("Ip_grid_isPlaced i PIN_INFO {a 1 b {Clk Fwd}} TEMPLATE {x y}");
  EXPECT_EQ(asked.back(), "is_placed {PIN_INFO={a='1' b='ClkFwd'} TEMPLATE={TEMPLATE='x y'}} {a='1' b='ClkFwd'}");
  v1("Ip_grid_isPlaced i");
  EXPECT_EQ(asked.back(), "is_placed {} {}");
}

TEST_F(EngineRows, AWordIsConvertedAndMayBeRefused) {
  ok("wizard::attributes i true");
  EXPECT_EQ(asked, (Asked{"attributes 'i' yes"}));
  EXPECT_EQ(error("wizard::reference 10x"), "no number: 10x");
  EXPECT_TRUE(asked.empty());
}

TEST_F(EngineRows, AFamilyMayHaveASourceOfItsOwn) {
  EXPECT_EQ(ok("wizard::lanes {RATE 10.3125 PLL LCPLL} {}"), "2");
  EXPECT_EQ(asked, (Asked{"lanes {RX_SETTINGS={} TX_SETTINGS={PLL='LCPLL' RATE='10.3125'}}"}));
  EXPECT_EQ(error("wizard::lanes {}"), "wizard::lanes : Not enough arguments");
}

TEST_F(EngineRows, ResultsOfOneElement) {
  EXPECT_EQ(v1("Ip_grid_text i k"), "{two words }");
  EXPECT_EQ(v1("Ip_grid_interface i k"), "{two words interface {grid}}");
  EXPECT_EQ(v1("Ip_grid_count i"), "-3");
  EXPECT_EQ(v1("Ip_grid_isPlaced i"), "true");
  EXPECT_EQ(v1("Ip_grid_speed i"), "2.500");
}

TEST_F(EngineRows, ResultsOfSeveral) {
  EXPECT_EQ(v1("Ip_grid_sites b 2 3"), "{a b} c");
  EXPECT_EQ(v1("Ip_grid_details s"), "{bank 1} {}") << "what the operation filled in";
  EXPECT_EQ(v1("Ip_grid_limits w"), "max {a b} min 1");
  EXPECT_EQ(v1("Ip_grid_map"), "{DQ[0]} x y {D[1]} z") << "flat, without lengths";
  EXPECT_EQ(v1("Ip_grid_customize on"), "-enabled true -range a,b");
  EXPECT_EQ(v1("Ip_grid_customize off -a b"), "-enabled false -range {}") << "an answer, no error";
  EXPECT_EQ(v1("Ip_grid_set i s p"), "");
}

TEST_F(EngineRows, BareResults) {
  EXPECT_EQ(ok("wizard::isFractional 10.5 1e1 GTYP"), "true");
  EXPECT_EQ(ok("wizard::isFractional 1 2 GTYP"), "false");
  EXPECT_EQ(ok("wizard::entries i"), "7");
  EXPECT_EQ(ok("wizard::content s"), "a {b") << "a text, no list";
  EXPECT_EQ(ok("wizard::attributes i false"), "A 1 B {two words}");
  EXPECT_EQ(ok("wizard::reference 1"), "0.1");
  EXPECT_EQ(ok("wizard::reference17 1"), "0.10000000000000001");
  EXPECT_EQ(ok("wizard::outputs 1"), "0.1 156.25 322.265625");
  EXPECT_EQ(ok("wizard::log any words"), "{first line} second");
}

TEST_F(EngineRows, ATextThatAnOperationThrowsIsTheErrorAndSoIsAnException) {
  EXPECT_EQ(v1_error("Ip_grid_fail text"), "a text of the engine");
  EXPECT_EQ(v1_error("Ip_grid_fail exception"), "an exception of the engine");
}

TEST_F(EngineRows, WordsAreCountedByTheRowsTextOrByWhatIsRead) {
  EXPECT_EQ(v1_error("Ip_grid_customize"), "ip_grid_customize : Not enough arguments");
  EXPECT_EQ(v1_error("Ip_grid_customize i -option"), "ip_grid_customize : Not enough arguments");
  EXPECT_EQ(v1_error("Ip_grid_limits"), "Ip_grid_limits_v1: Not enough arguments");
  EXPECT_EQ(error("grid::grid_v2::Ip_grid_limits"), "Ip_grid_limits_v2: Not enough arguments");
  EXPECT_EQ(error("wizard::entries i j"), "Ip_wizard : Invalid number of arguments.\n");
  EXPECT_TRUE(asked.empty());
  EXPECT_EQ(v1_error("Ip_grid_sites"), "Ip_grid_sites : Not enough arguments")
      << "by the part of the name that is shared";
  EXPECT_EQ(error("grid_v1_Ip_grid_sites_upgrade 1 2 3"), "Ip_grid_sites_upgrade : Not enough arguments");
  EXPECT_EQ(v1_error("Ip_grid_clocks i 2 3"), "Ip_grid_clocks : Not enough arguments");
  EXPECT_EQ(v1_error("Ip_grid_setPins"), "Ip_grid_setPins : Not enough arguments");
  EXPECT_EQ(v1_error("Ip_grid_shown i 2"), "Ip_grid_shown : Not enough arguments") << "a word that nothing reads";
}

TEST_F(EngineRows, AnInstanceThatIsNotThereIsSaidBeforeMissingWords) {
  EXPECT_EQ(v1_error("Ip_grid_set none"), "Internal Error: grid instance load error");
  EXPECT_EQ(asked, Asked{"find 'none'"});
  EXPECT_EQ(v1_error("Ip_grid_set"), "Ip_grid_set : Not enough arguments");
  EXPECT_EQ(asked, Asked{"find ''"}) << "a missing word is empty";
  EXPECT_EQ(v1_error("Ip_grid_counted none"), "Ip_grid_counted: too few");
  EXPECT_TRUE(asked.empty()) << "the row counts these first";
  EXPECT_EQ(v1_error("Ip_grid_counted none 2"), "Internal Error: grid instance load error");
  EXPECT_EQ(v1_error("Ip_grid_counted i 2"), "Ip_grid_counted: too few");
  EXPECT_EQ(asked, Asked{"find 'i'"});
}

TEST(EngineRowCounts, ARowThatSaysTooFewIsBroughtToWhatIsRead) {
  using detail::at_least_what_is_read;
  EXPECT_EQ(at_least_what_is_read(tcl::kAnyWords, 0).least, 0);
  EXPECT_EQ(at_least_what_is_read(tcl::kAnyWords, 2).least, 2);
  EXPECT_EQ(at_least_what_is_read(tcl::at_least(1, "t"), 5).least, 5);
  EXPECT_EQ(at_least_what_is_read(pairs_behind(1, "t"), 2).least, 3) << "pairs stay pairs";
  EXPECT_EQ(at_least_what_is_read(pairs_behind(1, "t"), 3).least, 3);
  EXPECT_EQ(at_least_what_is_read(pairs_behind(1, "t"), 4).least, 5);
  EXPECT_EQ(at_least_what_is_read(exactly(3, "t"), 1).most, 3);
  EXPECT_EQ(at_least_what_is_read(exactly(3, "t"), 1).least, 3);
  EXPECT_EQ(at_least_what_is_read(exactly(2, "t"), 2).least, 2);
  EXPECT_EQ(at_least_what_is_read(tcl::between(1, 3, "t"), 3).least, 3) << "as many as it allows";
  EXPECT_THROW(at_least_what_is_read(tcl::between(1, 3, "t"), 4), char const*);
  EXPECT_THROW(at_least_what_is_read(exactly(1, "t"), 2), char const*);
}

TEST_F(EngineRows, VersionsHaveCommandsOfTheirOwnFromOneTable) {
  ok("grid::grid_v2::Ip_grid_load -a 1; grid_v2_Ip_grid_load -a 2");
  EXPECT_EQ(asked, (Asked{"load {-a='1'}", "load {-a='2'}"}));
  EXPECT_EQ(ok("grid::grid_v2::Ip_grid_tell i"), "2.500");
  EXPECT_EQ(v1_error("Ip_grid_tell i"), "invalid command name \"grid::grid_v1::Ip_grid_tell\"")
      << "not in this version";
}

TEST_F(EngineRows, AnOddHandlerStandsInTheSameTable) { EXPECT_EQ(v1("Ip_grid_odd one"), "odd one"); }

TEST_F(EngineRows, TracedCommandsTellTheDebugChannelOfACallAndItsOutcome) {
  message_host::set_channel("grid.debug", 0);
  const message_host::Capture capture;
  v1("Ip_grid_customize on -K v -L w");
  v1_error("Ip_grid_speed none");
  std::string told;
  for (auto const& message : capture.messages()) {
    EXPECT_EQ(message.scope, "grid.debug");
    EXPECT_EQ(message.category, "tcltasks");
    told += message.text;
  }
  EXPECT_EQ(told,
            "\t Grid::Ip_grid_customize- objc: 6 first: on Enter\n"
            "\t\t arguments: -k [v] -l [w] \n"
            "\t Grid::Ip_grid_customize- result: 0 -enabled true -range a,b Exit\n"
            "\t Grid::Ip_grid_speed- objc: 2 first: none Enter\n"
            "\t Grid::Ip_grid_speed- result: 1 Internal Error: grid instance load error Exit\n");
  message_host::set_channel("grid.debug", -1);
}

TEST_F(EngineRows, OptionsAreReadForAChannelThatIsOnAlone) {
  const message_host::Capture capture;
  v1("Ip_grid_customize on -K v");
  ok("wizard::log");
  EXPECT_TRUE(capture.messages().empty()) << "off; and a family without a channel";
}

TEST_F(EngineRows, ATracedCommandNeedsNoWords) {
  message_host::set_channel("grid.debug", 0);
  const message_host::Capture capture;
  v1("Ip_grid_reload");
  ASSERT_EQ(capture.messages().size(), 3U);
  EXPECT_EQ(capture.messages()[0].text, "\t Grid::Ip_grid_reload- objc: 1 first:  Enter\n");
  EXPECT_EQ(capture.messages()[1].text, "\t\t arguments: \n");
  EXPECT_EQ(capture.messages()[2].text, "\t Grid::Ip_grid_reload- result: 0  Exit\n");
  message_host::set_channel("grid.debug", -1);
}

}  // namespace
