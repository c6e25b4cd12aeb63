// What Tab offers, for texts up to the cursor.
#include "host/kdish/completion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

using kdish::Completion;
using kdish::KnownNames;

using Texts = std::vector<std::string>;

KnownNames::List among(Texts const& all) {
  return [all](std::string const& prefix) {
    Texts found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&](std::string const& name) { return name.starts_with(prefix); });
    return found;
  };
}

Completion completed(std::string const& text) {
  static const kdish::Table table({places::data("commands")});
  KnownNames names;
  names.commands = among({"get_param", "get_part", "help", "ldpc::gen_core_params", "puts", "user::"});
  names.variables = among({"code", "codes", "x"});
  names.parts = among({"zrv1-a", "zrv1-b", "zrv2-a"});
  names.parameters = among({"project.one", "project.two"});
  names.chains = among({"ddc_bw10_C1", "ddc_bw10_C2", "ddc_bw5_C1", "duc_bw10_C1"});
  names.cores = among({"core0", "core1"});
  names.core_identifiers = among({"brenlo:ip:ps7:1.4", "brenlo:ip:xram:1.0"});
  names.core_parameters = [](KnownNames::Core const& core, std::string const& prefix) {
    const bool is_known = core.handle == "core0" || core.handle == "$c" || core.name == "xram";
    return is_known ? among({"XRAM_MODE", "XRAM_SIZE", "XRAM_VERSION_" + core.version})(prefix) : Texts();
  };
  names.core_values = [](KnownNames::Core const&, std::string const& parameter) {
    return parameter == "XRAM_MODE" ? Texts{"one two", "three"} : Texts();
  };
  return complete(text, table, names);
}

Texts offered(std::string const& text) {
  Texts texts;
  for (kdish::Candidate const& candidate : completed(text).candidates) texts.push_back(candidate.text);
  return texts;
}

TEST(Completion, OffersCommandsWhereACommandBegins) {
  const Texts both = {"get_param", "get_part"};
  for (char const* text : {"get_", "set x 1; get_", "set x [get_", "if {$x} { get_", "if {$x} {\n  puts a\n  get_",
                           "proc f {} { return [get_", "puts \"[get_", "set x \"a ; b\"; get_", "set x {a \" b}; get_"})
    EXPECT_EQ(offered(text), both) << text;
  EXPECT_EQ(offered("ldpc"), Texts{"ldpc::gen_core_params"});
  EXPECT_EQ(completed("use").candidates.at(0).whole, false) << "a namespace goes on";
  EXPECT_EQ(completed("set x [get_par").begin, 7U);
}

TEST(Completion, OffersNothingInACommentOrBehindASubstitution) {
  for (char const* text : {"# get_", "set x 1 ;# get_", "get_part [help]ge", "help {a}", "puts {get"})
    EXPECT_EQ(offered(text).size(), std::string(text) == "puts {get" ? 2U : 0U) << text;
}

TEST(Completion, OffersPartsAndParametersWhereTheTableSaysSo) {
  EXPECT_EQ(offered("get_part zrv1"), (Texts{"zrv1-a", "zrv1-b"}));
  EXPECT_EQ(offered("get_part \"zrv2"), Texts{"\"zrv2-a"});
  EXPECT_EQ(offered("get_part zrv1-a zr"), Texts{}) << "it takes one word";
  EXPECT_EQ(offered("set_param pro"), (Texts{"project.one", "project.two"}));
  EXPECT_EQ(offered("set_param project.one t"), Texts{"true"});
  EXPECT_EQ(offered("help ldpc"), Texts{"ldpc::gen_core_params"});
  EXPECT_EQ(offered("help fe"), (Texts{"fec", "fectools"}));
}

TEST(Completion, OffersParametersAndValuesOfTheCoreOnTheLine) {
  EXPECT_EQ(offered("coretools::set c"), (Texts{"core0", "core1"}));
  EXPECT_EQ(offered("coretools::set $c XRAM_M"), Texts{"XRAM_MODE"});
  EXPECT_EQ(offered("coretools::set core0 XRAM_S"), Texts{"XRAM_SIZE"});
  EXPECT_EQ(offered("coretools::set core9 XRAM_S"), Texts{}) << "no such core";
  EXPECT_EQ(offered("coretools::set $c XRAM_MODE "), (Texts{"one\\ two", "three"}));
  EXPECT_EQ(offered("coretools::set $c XRAM_MODE \"on"), Texts{"\"one two"});
  EXPECT_EQ(offered("coretools::set $c XRAM_MODE three XRAM_SI"), Texts{"XRAM_SIZE"});
  EXPECT_EQ(offered("coretools::set $c XRAM_SIZE 2 XRAM_MODE t"), Texts{"three"});
  EXPECT_EQ(offered("set moved [coretools::get $c XRAM_S"), Texts{"XRAM_SIZE"});
  EXPECT_EQ(offered("coretools::get $c XRAM_SIZE ty"), Texts{"type"});
  EXPECT_EQ(offered("explain $c XRAM_S"), Texts{"XRAM_SIZE"});
}

TEST(Completion, OffersParametersAndValuesOfTheCoreThatAContextNames) {
  const std::string begin =
      "Ip_config_kdi_tcltasks_ip_init -context {part x ps_core_name xram ps_core_ver 1.0} -params {";
  EXPECT_EQ(offered(begin), (Texts{"XRAM_MODE", "XRAM_SIZE", "XRAM_VERSION_1.0"}));
  EXPECT_EQ(offered(begin + "XRAM_MODE "), (Texts{"one\\ two", "three"}));
  EXPECT_EQ(offered(begin + "XRAM_MODE three XRAM_SI"), Texts{"XRAM_SIZE"});
  EXPECT_EQ(offered("Ip_config_kdi_tcltasks_ip_init -context {part x} -params {X"), Texts{});
  EXPECT_EQ(offered("Ip_config_kdi_tcltasks_ip_init -params {X"), Texts{});
}

TEST(Completion, OffersWhatCanBeOpenedAndItsParameters) {
  EXPECT_EQ(offered("coretools::open b"), (Texts{"brenlo:ip:ps7:1.4", "brenlo:ip:xram:1.0"}));
  EXPECT_EQ(offered("set c [coretools::open brenlo:ip:x"), Texts{"brenlo:ip:xram:1.0"});
  EXPECT_EQ(offered("coretools::open brenlo:ip:xram:1.0 {pa"), Texts{"part"});
  EXPECT_EQ(offered("coretools::open brenlo:ip:xram:1.0 {part zrv2"), Texts{"zrv2-a"});
  const std::string begin = "coretools::open brenlo:ip:xram:1.0 {part zrv2-a} {";
  EXPECT_EQ(offered(begin), (Texts{"XRAM_MODE", "XRAM_SIZE", "XRAM_VERSION_1.0"}));
  EXPECT_EQ(offered(begin + "XRAM_MODE "), (Texts{"one\\ two", "three"}));
  EXPECT_EQ(offered("coretools::open xram {part zrv2-a} {"), Texts{}) << "no identifier";
  EXPECT_EQ(offered("coretools::create core0 {XRAM_S"), Texts{"XRAM_SIZE"});
}

TEST(Completion, OffersFamiliesAndPagesForHelp) {
  const kdish::Table table({places::data("commands"), places::source("tests/support/commands")});
  KnownNames names;
  names.commands = among({});
  Texts texts;
  for (kdish::Candidate const& candidate : complete("help planner/l", table, names).candidates)
    texts.push_back(candidate.text);
  EXPECT_EQ(texts, (Texts{"planner/lanes", "planner/limits"}));
  EXPECT_EQ(complete("help pl", table, names).candidates.size(), 6U) << "the family and its pages";
}

TEST(Completion, OffersOptionsAndTheirValues) {
  EXPECT_EQ(offered("get_primitives "), (Texts{"-kind", "-part"}));
  EXPECT_EQ(offered("get_primitives -p"), Texts{"-part"});
  EXPECT_EQ(offered("get_primitives -part zrv2"), Texts{"zrv2-a"});
  EXPECT_EQ(offered("get_primitives -part zrv2-a -kind c"), (Texts{"clock", "controller"}));
  EXPECT_EQ(offered("get_primitives -part zrv2-a "), Texts{"-kind"}) << "each but once";
  EXPECT_EQ(offered("fectools::schedule_report ldpc {} -code a -cl"), Texts{"-clock"});
  EXPECT_EQ(offered("get_primitives -part -"), Texts{}) << "a value is asked for";
}

TEST(Completion, OffersTheKeysOfADictionaryAndNothingForItsValues) {
  EXPECT_EQ(offered("sd_fec::gen_core_params {din"), (Texts{"din", "din_words"}));
  EXPECT_EQ(offered("::ldpc::gen_core_params {din"), Texts{"din_words"}) << "a key of the other core";
  EXPECT_EQ(offered("ldpc::gen_core_params {din_words 1 ax"), (Texts{"axi_wr_protect", "axis_enable"}));
  EXPECT_EQ(offered("ldpc::gen_core_params {\n  din_words 1\n  by"), Texts{"bypass"});
  EXPECT_EQ(offered("ldpc::gen_core_params {din_words "), Texts{});
  EXPECT_EQ(offered("ldpc::gen_ldpc_params {n 24 sm_array {{ge"), Texts{}) << "data inside data";
}

TEST(Completion, OffersTheNamesOfPairsWhereANameIsDue) {
  const std::string command = "Ip_blk_mem_gen_v8_4_placement_algo_mux_size ";
  EXPECT_EQ(offered(command + "w"), (Texts{"width_a", "width_b"}));
  EXPECT_EQ(offered(command + "width_a 8 dep"), (Texts{"depth_a", "depth_b"}));
  EXPECT_EQ(offered(command + "width_a "), Texts{}) << "a value";
  EXPECT_EQ(offered(command + "width_a {"), Texts{}) << "data";
  EXPECT_EQ(offered("bmgtools::tiling v8_4 width_a 8 dep"), (Texts{"depth_a", "depth_b"}));
  EXPECT_EQ(offered("bmgtools::tiling "), (Texts{"v8_3", "v8_4"}));
  EXPECT_EQ(offered("clocktools::setting inp"), Texts{"input"});
  EXPECT_EQ(offered("clocktools::setting input 100 par"), Texts{"part"});
}

TEST(Completion, OffersValuesOfKeys) {
  EXPECT_EQ(offered("clocktools::setting part zrv1"), (Texts{"zrv1-a", "zrv1-b"}));
  EXPECT_EQ(offered("clocktools::setting input 100 primitive M"), Texts{"MMCM"});
  EXPECT_EQ(offered("clocktools::setting whole "), (Texts{"false", "true"}));
  EXPECT_EQ(offered("clocktools::setting input "), Texts{}) << "a number";
  EXPECT_EQ(offered("bmgtools::tiling v8_4 type true_d"), Texts{"true_dual_port_ram"});
  EXPECT_EQ(offered("Ip_power_est_get_power_estimation {Power_PART zrv2"), Texts{"zrv2-a"});
  EXPECT_EQ(offered("Ip_power_est_get_power_estimation {NUM_CHANNELS 4 GT_DIR"), Texts{"GT_DIRECTION"});
  EXPECT_EQ(offered("Ip_config_kdi_tcltasks_ip_init -context {part zrv2"), Texts{"zrv2-a"}) << "in an option's list";
}

TEST(Completion, OffersChainsPieceByPiece) {
  EXPECT_EQ(offered("ducddcgen d"), (Texts{"ddc_", "duc_"}));
  EXPECT_FALSE(completed("ducddcgen dd").candidates.at(0).whole) << "the name goes on";
  EXPECT_EQ(offered("ducddcgen ddc_"), (Texts{"ddc_bw10_", "ddc_bw5_"}));
  EXPECT_EQ(offered("ducddcgen ddc_bw10_"), (Texts{"ddc_bw10_C1", "ddc_bw10_C2"}));
  EXPECT_TRUE(completed("ducddcgen ddc_bw5_").candidates.at(0).whole);
  EXPECT_EQ(offered("ducddcgen x"), Texts{});
}

TEST(Completion, OffersVariablesBehindADollar) {
  EXPECT_EQ(offered("puts $co"), (Texts{"$code", "$codes"}));
  EXPECT_EQ(offered("get_part a$x"), Texts{"$x"});
  EXPECT_EQ(offered("puts \\$co"), Texts{});
}

TEST(Completion, OffersFilesWithWhatTclReadsEscaped) {
  const Scratch folder;
  folder.file("plain.tcl", "");
  folder.file("two words.tcl", "");
  folder.file("[odd]$.tcl", "");
  folder.file("deep/er.txt", "");
  folder.file(".hidden", "");
  const std::string at = folder.folder() + "/";
  EXPECT_EQ(offered("source " + at + "pl"), Texts{at + "plain.tcl"});
  EXPECT_EQ(offered("source " + at + "tw"), Texts{at + "two\\ words.tcl"});
  EXPECT_EQ(offered("source " + at + "two\\ w"), Texts{at + "two\\ words.tcl"});
  EXPECT_EQ(offered("source \"" + at + "two w"), Texts{"\"" + at + "two words.tcl"});
  EXPECT_EQ(offered("source " + at + "\\["), Texts{at + "\\[odd\\]\\$.tcl"});
  EXPECT_EQ(offered("replay " + at + "de"), Texts{at + "deep/"});
  EXPECT_FALSE(completed("replay " + at + "de").candidates.at(0).whole);
  EXPECT_EQ(offered("source " + at).size(), 4U) << "all but the hidden one";
  EXPECT_EQ(offered("source " + at + ".h"), Texts{at + ".hidden"});
  EXPECT_EQ(offered("source /nonexistent/folder/"), Texts{});
  folder.file("new\nline", "");
  EXPECT_EQ(offered("source " + at + "ne"), Texts{at + "new\\nline"}) << "a backslash before a line end is a blank";
  EXPECT_EQ(offered("source " + at + "new\\nl"), Texts{at + "new\\nline"});
  EXPECT_EQ(completed("source " + at + "ne").candidates.at(0).shown, "new\\nline");
  const Environment home("HOME", folder.folder());
  EXPECT_EQ(offered("source ~/pl"), Texts{"~/plain.tcl"});
}

TEST(Completion, InsertsWhatAllCandidatesShareAndNoHalfOfACharacter) {
  EXPECT_EQ(completed("get_").common(), "get_par");
  EXPECT_EQ(completed("nothing").common(), "");
  Completion umlauts;
  umlauts.candidates = {{"x\xC3\xA4", "", true}, {"x\xC3\xB6", "", true}};
  EXPECT_EQ(umlauts.common(), "x");
  Completion escapes;
  escapes.candidates = {{"x\\ a", "", true}, {"x\\$a", "", true}};
  EXPECT_EQ(escapes.common(), "x");
}

TEST(Completion, TakesAnyText) {
  // every start of a text with all that Tcl knows, and each with any one character left out
  const std::string text = "a {b [c \"d $e(f) \\{ ] } ${g} \\\n # h\n; i\"j [k]} \"l {m\" # [n; \\";
  for (std::size_t end = 0; end <= text.size(); ++end) {
    for (std::size_t gap = 0; gap < end; ++gap) {
      std::string shorter = text.substr(0, end);
      shorter.erase(gap, 1);
      EXPECT_LE(completed(shorter).begin, shorter.size());
    }
  }
  for (int c = 0; c < 256; ++c) EXPECT_LE(completed(std::string(3, static_cast<char>(c))).begin, 3U);
}

}  // namespace
