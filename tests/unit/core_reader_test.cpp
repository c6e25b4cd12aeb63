// Descriptions of cores: what they may say, how versions extend one another, and what is said of slips.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/cores/Explain.h"
#include "kdi/cores/Instance.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::cores;

std::string core_of(std::string const& parameters, std::string const& more = "") {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + parameters + "]" + more + "}";
}
std::string parameter(std::string const& name, std::string const& type, std::string const& default_text,
                      std::string const& more = "") {
  return "\n{\"name\": \"" + name + "\", \"type\": \"" + type +
         "\", \"widget\": \"EDIT\", \"description\": \"one\", \"default\": \"" + default_text + "\"" + more + "}";
}

std::string error_of(std::string const& text) {
  try {
    Core::parse(text, "made.json");
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return "none";
}

std::uint32_t number(Core const& core, std::string const& name) {
  const auto found = core.find(name);
  EXPECT_TRUE(found) << name;
  return found.value_or(0);
}

TEST(CoreReading, SlipsAreToldWithTheirPlace) {
  const std::string a = parameter("A", "truth", "0");
  const std::pair<std::string, char const*> errors[] = {
      {"{}", "made.json:1: top level: expected a field \"format\", found none"},
      {core_of(a, R"(, "extra": 1)"),
       "made.json:2: extra: expected one of format, core, version, extends, out_of_range, retired, renamed, "
       "includes, changed, parameters, definitions, device, interface, clocks, pads, composites, sub_cores, presets, "
       "boards, "
       "sub_presets, measurements, registers as the field's "
       "name"},
      {core_of(a, R"(, "extends": "0.9")"),
       "made.json:2: extends: expected a description that stands alone, found the text \"0.9\""},
      {core_of(a + "," + a),
       "made.json:3: parameters[1].name: expected a name that no other parameter has, found the text \"A\""},
      {core_of(parameter("2A", "truth", "0")),
       "made.json:2: parameters[0].name: expected a name of letters, digits and _, found the text \"2A\""},
      {core_of(parameter("A", "number", "0")),
       "made.json:2: parameters[0].type: expected one of truth, integer, decimal, text, found the text \"number\""},
      {core_of(parameter("A", "integer", "x")),
       "made.json:2: parameters[0].default: expected a value of type integer, found the text \"x\""},
      {core_of(parameter("A", "integer", "1.5")),
       "made.json:2: parameters[0].default: expected a value of type integer, found the text \"1.5\""},
      {core_of(parameter("A", "integer", "3", R"(, "values": ["1", "2"])")),
       "made.json:2: parameters[0].default: expected one of the permitted values, found the text \"3\""},
      {core_of(parameter("A", "integer", "1", R"(, "values": ["1", "1.0"])")),
       "made.json:2: parameters[0].values[1]: expected a value that is not in the list yet, found the text \"1.0\""},
      {core_of(parameter("A", "integer", "1", R"(, "values": [])")),
       "made.json:2: parameters[0].values: expected 1 to 10000 values, found a list"},
      {core_of(parameter("A", "integer", "1", R"(, "values": ["1"], "limits": ["1", "2"])")),
       "made.json:2: parameters[0].values: expected either values or limits, found a list"},
      {core_of(parameter("A", "integer", "3", R"(, "limits": ["1", "2"])")),
       "made.json:2: parameters[0].default: expected a value within the limits, found the text \"3\""},
      {core_of(parameter("A", "integer", "1", R"(, "limits": ["2", "1"])")),
       "made.json:2: parameters[0].limits: expected the least value first, found a list"},
      {core_of(parameter("A", "integer", "1", R"(, "limits": ["1"])")),
       "made.json:2: parameters[0].limits: expected the least and the greatest value, found a list"},
      {core_of(parameter("A", "text", "1", R"(, "limits": ["1", "2"])")),
       "made.json:2: parameters[0].limits: expected limits of a number, found a list"},
      {core_of(parameter("A", "truth", "0", R"(, "enabled": "B")")),
       "made.json:2: parameters[0].enabled: column 1: unknown name B"},
      {core_of(parameter("ABC", "truth", "0", R"(, "enabled": "abc")")),
       "made.json:2: parameters[0].enabled: column 1: unknown name abc; there is ABC"},
      {core_of(parameter("A", "truth", "0", R"(, "enabled": "1 + 1")")),
       "made.json:2: parameters[0].enabled: column 3: expected a value of type truth, found one of type integer"},
      {core_of(parameter("A", "integer", "0", R"(, "derived": "'x'")")),
       "made.json:2: parameters[0].derived: column 1: expected a value of type integer, found one of type text"},
      {core_of(parameter("A", "integer", "0", R"(, "range": "[1, 2")")),
       "made.json:2: parameters[0].range: column 6: expected ], found the end"},
      {core_of(parameter("A", "text", "a", R"(, "values": ["a", "b"])") + "," +
               parameter("B", "truth", "0", R"(, "enabled": "A == 'c'")")),
       "made.json:3: parameters[1].enabled: column 6: A is never 'c'; it is one of a, b"},
      {core_of(parameter("A", "integer", "0", R"(, "derived": "A + 1")")),
       "made.json:2: parameters[0].derived: depends on itself: A <- A"},
      {core_of(parameter("A", "integer", "0", R"(, "derived": "B")") + "," +
               parameter("B", "integer", "0", R"J(, "derived": "if enabled(A) then A else 0")J")),
       "made.json:2: parameters[0].derived: depends on itself: A <- B <- A"},
      {core_of(parameter("A", "truth", "0", R"J(, "enabled": "A or enabled(A)")J")),
       "made.json:2: parameters[0].enabled: depends on itself: enabled(A) <- enabled(A)"},
      {core_of(parameter("A", "integer", "0", R"(, "range": "[A, 9]")")),
       "made.json:2: parameters[0].range: depends on itself: range of A <- A <- range of A"},
      {core_of(parameter("A", "integer", "0", R"(, "range": "[1, 9]")")),
       "made.json:2: parameters[0].default: expected a value that the range permits with all defaults, found the text "
       "\"0\""},
      {core_of(parameter("A", "integer", "0", R"J(, "derived": "1 div user(A)")J")),
       "made.json:2: parameters[0].name: with all defaults, A: division by zero"},
      {core_of(parameter("A", "truth", "0",
                         R"(, "messages": [{"name": "m", "severity": "bad", "when": "A", "text": ""}])")),
       "made.json:2: parameters[0].messages[0].severity: expected one of info, warning, critical_warning, error, found "
       "the text \"bad\""},
      {core_of(parameter("A", "truth", "0",
                         R"(, "messages": [{"name": "range", "severity": "info", "when": "A", "text": ""}])")),
       "made.json:2: parameters[0].messages[0].name: expected a name that no other message here has, found the text "
       "\"range\""},
      {core_of(parameter("A", "truth", "0",
                         R"(, "messages": [{"name": "m", "severity": "info", "when": "A", "text": "{B}"}])")),
       "made.json:2: parameters[0].messages[0].text: column 2: unknown name B"},
      {core_of(parameter("A${n}", "truth", "0")),
       "made.json:2: parameters[0].name: expected only places that each tells, such as ${n}, found the text \"A${n}\""},
      {core_of(parameter("A${n}", "truth", "0", R"(, "each": {"n": "{3..1}"})")),
       "made.json:2: parameters[0].each.n: expected a range such as {4..7} of numbers that ascend, found the text "
       "\"{3..1}\""},
      {core_of(parameter("A${n}", "truth", "0", R"(, "each": {"n": "{0..200000}"})")),
       "made.json:2: parameters[0].each.n: expected a pattern of at most 100000 names, found the text \"{0..200000}\""},
      {core_of(parameter("A${m}${n}", "truth", "0", R"(, "each": {"m": "{0..999}", "n": "{0..999}"})")),
       "made.json:2: parameters[0].each.n: expected patterns for at most 100000 parameters, found the text "
       "\"{0..999}\""},
      {core_of(a, R"(, "retired": ["B"])"),
       "made.json:2: retired[0]: expected a parameter of what this description extends or includes, found the text "
       "\"B\""},
      {core_of(a, R"(, "definitions": {"A": "1"})"),
       "made.json:2: definitions.A: expected a name that no parameter has, found the text \"1\""},
      {core_of(a, R"(, "definitions": {"2D": "1"})"),
       "made.json:2: definitions.2D: expected a definition with a name of letters, digits and _, found the text \"1\""},
      {core_of(parameter("A", "truth", "0", R"(, "each": {"a b": "{1,2}"})")),
       "made.json:2: parameters[0].each.a b: expected a place with a name of letters and digits, found the text "
       "\"{1,2}\""},
      {core_of(a, R"(, "definitions": {"D": "E", "E": "1"})"), "made.json:2: definitions.D: column 1: unknown name E"},
      {core_of(a, R"(, "out_of_range": "${what}")"),
       "made.json:2: out_of_range: expected only places that each tells, such as ${n}, found the text \"${what}\""},
      {core_of(parameter("A", "truth", "0", R"(, "user_names": ["U"])") + "," +
               parameter("B", "truth", "0", R"(, "user_names": ["U"])")),
       "made.json:3: parameters[1].user_names: expected a name that users have for no other parameter, found a list"},
      {core_of(parameter("A", "truth", "0", R"(, "user_names": ["A"])")),
       "made.json:2: parameters[0].user_names: expected a name that is not the engine's for a parameter, found a list"},
  };
  for (auto const& [text, error] : errors) EXPECT_EQ(error_of(text), error) << text;
}

TEST(CoreReading, OneEntryStandsForMany) {
  const auto core = Core::parse(
      core_of(
          parameter(
              "P${b}${n}", "truth", "0",
              R"(, "each": {"b": "{X,Y}", "n": "{0..2}"}, "display_name": "Port ${n} of ${b}", "user_names": ["CONFIG.P_${b}_${n}"])") +
          "," + parameter("SUM", "integer", "0", R"J(, "derived": "count(p in [PX0, PX1, PX2, PY0, PY1, PY2]: p)")J")),
      "made.json");
  ASSERT_EQ(core->parameters().size(), 7U);
  EXPECT_EQ(core->parameters()[4].name, "PY1");
  EXPECT_EQ(core->parameters()[4].display_name(), "Port 1 of Y");
  EXPECT_EQ(core->find_user_name("CONFIG.P_Y_1"), 4U);
  Instance instance(core);
  EXPECT_EQ(instance.set({{0, "1"}, {4, "true"}}), (std::vector<std::uint32_t>{0, 4, 6}));
  EXPECT_EQ(instance.value(6), "2");
}

// Files of one core, each extending the one before.
class Versions : public ::testing::Test {
 protected:
  void version(std::string const& version, std::string const& rest) {
    std::filesystem::create_directories(scratch_.path("made"));
    scratch_.file("made/" + version + ".json",
                  R"({"format": 1, "core": "made", "version": ")" + version + "\", " + rest + "}");
  }
  void part(std::string const& name, std::string const& rest) {
    std::filesystem::create_directories(scratch_.path("parts"));
    scratch_.file("parts/" + name + ".json", "{\"format\": 1, " + rest + "}");
  }
  std::string error_of(std::string const& version) {
    try {
      Core::read(scratch_.folder(), "made", version);
    } catch (std::exception const& error) {
      std::string text = error.what();
      for (std::size_t at = text.find(scratch_.folder()); at != std::string::npos; at = text.find(scratch_.folder()))
        text.erase(at, scratch_.folder().size() + 1);
      return text;
    }
    return "none";
  }
  Scratch scratch_;
};

TEST_F(Versions, ExtendOneAnother) {
  version("1.0", "\"parameters\": [" + parameter("A", "integer", "1") + "," + parameter("B", "integer", "2") + "," +
                     parameter("C", "integer", "3", R"(, "derived": "OLD * 2")") +
                     "], \"definitions\": {\"OLD\": \"B + 1\"}");
  version("1.1",
          "\"extends\": \"1.0\", \"retired\": [\"A\"], \"renamed\": {\"B\": \"B_NEW\"}, \"changed\": [{\"name\": "
          "\"C\", \"default\": \"9\", "
          "\"derived\": \"OLD * 3\"}], \"parameters\": [" +
              parameter("D", "integer", "4") + "], \"definitions\": {\"OLD\": \"B_NEW + D\"}");
  const auto old = Core::read(scratch_.folder(), "made", "1.0"), core = Core::read(scratch_.folder(), "made", "1.1");
  EXPECT_EQ(old->parameters().size(), 3U);
  ASSERT_EQ(core->parameters().size(), 3U);
  EXPECT_FALSE(core->find("A"));
  EXPECT_FALSE(core->find("B"));
  EXPECT_EQ(core->find_user_name("B"), core->find("B_NEW"));
  Instance before(old), after(core);
  EXPECT_EQ(before.value(number(*old, "C")), "6");
  EXPECT_EQ(after.value(number(*core, "C")), "18");
  after.set({{number(*core, "B_NEW"), "5"}});
  EXPECT_EQ(after.value(number(*core, "C")), "27");
}

TEST_F(Versions, KeepRulesThatSayTheOldName) {
  version("1.0", "\"parameters\": [" + parameter("A", "integer", "1") + "," +
                     parameter("B", "integer", "2", R"J(, "derived": "A + (if given(A) then 10 else 0)")J") +
                     "], \"definitions\": {\"D\": \"A * 2\"}");
  version("1.1", R"("extends": "1.0", "renamed": {"A": "A_MHZ"})");
  version("1.2",
          R"("extends": "1.1", "renamed": {"A_MHZ": "A_FREQMHZ"}, "changed": [{"name": "A_FREQMHZ", "default": "3"}])");
  const auto core = Core::read(scratch_.folder(), "made", "1.2");
  Instance instance(core);
  EXPECT_EQ(instance.value(number(*core, "B")), "3");
  instance.set({{*core->find_user_name("A"), "4"}});
  EXPECT_EQ(instance.value(number(*core, "B")), "14");
  EXPECT_EQ(core->find_user_name("A_MHZ"), core->find("A_FREQMHZ"));
  EXPECT_NE(explain(instance, number(*core, "B")).json().find("given(A)"), std::string::npos);
  // The name is that of another parameter now.
  version("1.2", R"("extends": "1.1", "parameters": [)" + parameter("A", "integer", "5") + "]");
  EXPECT_NE(error_of("1.2").find("expected a name that is not the engine's for a parameter"), std::string::npos);
}

TEST_F(Versions, ExtendThoseOfOtherCores) {
  version("1.0", "\"parameters\": [" + parameter("A", "integer", "1") + "]");
  std::filesystem::create_directories(scratch_.path("other"));
  scratch_.file("other/3.1.json",
                R"({"format": 1, "core": "other", "version": "3.1", "extends": "made/1.0", "changed": [)"
                R"({"name": "A", "default": "7"}]})");
  const auto core = Core::read(scratch_.folder(), "other", "3.1");
  EXPECT_EQ(core->name() + " " + core->version(), "other 3.1");
  EXPECT_EQ(Instance(core).value(0), "7");
}

// A part stands for what several descriptions, or one several times, have alike.
TEST_F(Versions, IncludePartsWithTheirPlaces) {
  part(
      "ports",
      R"("places": {"BLOCK": null, "LAST": "1", "ON": "true"}, "definitions": {"${BLOCK}_SUM": "${BLOCK}0 + ${BLOCK}1"}, "parameters": [)" +
          parameter("${BLOCK}${n}", "integer", "2",
                    R"(, "each": {"n": "{0..${LAST}}"}, "enabled": "${ON}", "display_name": "${BLOCK} ${n}")") +
          "]");
  version("1.0",
          R"("includes": [{"file": "parts/ports.json", "where": {"BLOCK": "X"}},
             {"file": "parts/ports.json", "where": {"BLOCK": "Y", "LAST": "2", "ON": "X${n} == 2 or ${n} == 2"}}],
             "changed": [{"name": "Y1", "default": "5"}],
             "parameters": [)" +
              parameter("SUM", "integer", "0", R"(, "derived": "X_SUM + Y_SUM")") + "]");
  // Y2 reads X2, which X does not have.
  EXPECT_EQ(error_of("1.0"),
            "parts/ports.json:2: parameters[0].enabled: column 1: unknown name X2 (read for made/1.0.json)");
  version("1.0",
          R"("includes": [{"file": "parts/ports.json", "where": {"BLOCK": "X", "LAST": "2"}},
             {"file": "parts/ports.json", "where": {"BLOCK": "Y", "LAST": "2", "ON": "X${n} == 2"}}],
             "changed": [{"name": "Y1", "default": "5"}],
             "parameters": [)" +
              parameter("SUM", "integer", "0", R"(, "derived": "X_SUM + Y_SUM")") + "]");
  const auto core = Core::read(scratch_.folder(), "made", "1.0");
  ASSERT_EQ(core->parameters().size(), 7U);
  EXPECT_EQ(core->parameters()[4].name + core->parameters()[4].display_name(), "Y1Y 1");
  Instance instance(core);
  EXPECT_EQ(instance.value(6), "11");
  EXPECT_TRUE(instance.is_enabled(4));
  instance.set({{1, "3"}});
  EXPECT_FALSE(instance.is_enabled(4));
  EXPECT_TRUE(instance.is_enabled(5));
}

TEST_F(Versions, RefusePartsWithTheirPlace) {
  const auto included = [&](std::string const& include) {
    version("1.0", "\n\"includes\": [" + include + "]");
    return error_of("1.0");
  };
  part("one", R"("places": {"A": null, "B": "1"}, "parameters": [)" + parameter("${A}", "integer", "${B}") + "]");
  EXPECT_EQ(included(R"({"file": "parts/one.json", "where": {"A": "X"}})"), "none");
  EXPECT_EQ(included(R"({"file": "parts/two.json"})"),
            "made/1.0.json:2: includes[0].file: expected a part that is there, found the text \"parts/two.json\"");
  for (char const* path : {"../one.json", "/one.json", "", "parts/../one.json"})
    EXPECT_EQ(included("{\"file\": \"" + std::string(path) + "\"}"),
              "made/1.0.json:2: includes[0].file: expected the path of a part from the folder of the cores on, such as "
              "parts/uart.json, found the text \"" +
                  std::string(path) + "\"");
  EXPECT_EQ(included(R"({"file": "parts/one.json", "where": {"B": "2"}})"),
            "made/1.0.json:2: includes[0]: expected what stands for the part's place A, found an object");
  EXPECT_EQ(included(R"({"file": "parts/one.json", "where": {"A": "X", "C": "2"}})"),
            "made/1.0.json:2: includes[0].where.C: expected a place that the part has, found the text \"2\"");
  EXPECT_EQ(included(R"({"file": "parts/one.json", "where": {"A": "X", "B": "two"}})"),
            "parts/one.json:2: parameters[0].default: expected a value of type integer, found the text \"${B}\" "
            "(read for made/1.0.json)");
  EXPECT_EQ(included(R"({"file": "parts/one.json", "where": {"A": "${A}"}})"),
            "parts/one.json:2: parameters[0].name: expected places that do not stand for themselves, found the text "
            "\"${A}\" (read for made/1.0.json)");
  EXPECT_EQ(
      included(R"({"file": "parts/one.json", "where": {"A": "X"}}, {"file": "parts/one.json", "where": {"A": "X"}})"),
      "parts/one.json:2: parameters[0].name: expected a name that no other parameter has, found the text "
      "\"${A}\" (read for made/1.0.json)");
  part("each", R"("places": {"n": "1"}, "parameters": [)" +
                   parameter("A${n}", "truth", "0", R"(, "each": {"n": "{0..1}"})") + "]");
  EXPECT_EQ(included(R"({"file": "parts/each.json"})"),
            "parts/each.json:2: parameters[0].each.n: expected a place that the part does not have, found the text "
            "\"{0..1}\" (read for made/1.0.json)");
  part("core", R"("core": "made")");
  EXPECT_EQ(included(R"({"file": "parts/core.json"})"),
            "parts/core.json:1: core: expected one of format, places, parameters, definitions, device, clocks, pads, "
            "composites, presets, boards, sub_presets, measurements, registers as the "
            "field's name (read for made/1.0.json)");
  try {
    Core::parse(R"({"format": 1, "core": "made", "version": "1.0", "includes": [{"file": "parts/one.json"}]})",
                "made.json");
    FAIL();
  } catch (kdi::JsonError const& error) {
    EXPECT_STREQ(error.what(),
                 "made.json:1: includes[0].file: expected a description that stands alone, found the text "
                 "\"parts/one.json\"");
  }
}

TEST_F(Versions, NameFilesOfRegisters) {
  version("1.0", R"("registers": ["../r.json"])");
  EXPECT_EQ(error_of("1.0"),
            "made/1.0.json:1: registers[0]: expected the path of a file from the folder of the cores on, such as "
            "parts/registers/uart.json, found the text \"../r.json\"");
}

TEST_F(Versions, AreRefusedWithTheirPlace) {
  version("1.0", "\"extends\": \"0.9\"");
  EXPECT_EQ(error_of("1.0"),
            "made/1.0.json:1: extends: expected a version of made that is there, found the text \"0.9\"");
  version("0.9", "\"extends\": \"1.0\"");
  EXPECT_NE(error_of("1.0").find("extends: expected at most 32 versions that extend one another"), std::string::npos);
  version("0.9", "\"extends\": \"../made/1.0\"");
  EXPECT_EQ(error_of("1.0"),
            "made/0.9.json:1: extends: expected a version, or a core and its version such as xram/1.0, found the text "
            "\"../made/1.0\" (read for made/1.0.json)");
  scratch_.file("made/2.0.json", R"({"format": 1, "core": "made", "version": "2.1"})");
  EXPECT_EQ(error_of("2.0"), "made/2.0.json:1: version: expected the name of the file, 2.0, found the text \"2.1\"");
  scratch_.file("made/2.0.json", R"({"format": 1, "core": "other", "version": "2.0"})");
  EXPECT_EQ(error_of("2.0"), "made/2.0.json:1: core: expected the name of the folder, made, found the text \"other\"");
  EXPECT_NE(error_of("3.0"), "none");
}

// A rule of the base that the newer version takes a name from: both files are told.
TEST_F(Versions, FaultsOfABaseSayForWhichVersion) {
  version("1.0", R"("parameters": [)" + parameter("A", "integer", "1") + "," +
                     parameter("B", "integer", "1", R"(, "derived": "A")") + "]");
  EXPECT_EQ(error_of("1.0"), "none");
  version("1.1", R"("extends": "1.0", "retired": ["A"])");
  EXPECT_EQ(error_of("1.1"),
            "made/1.0.json:3: parameters[1].derived: column 1: unknown name A (read for made/1.1.json)");
}

TEST_F(Versions, SubCoresAreDescriptionsThatAreThere) {
  const auto with = [&](std::string const& entry) {
    version("1.0", R"("sub_cores": [{"name": "s", )" + entry + "}]");
    return error_of("1.0");
  };
  version("0.9", R"("parameters": [)" + parameter("A", "integer", "1") + "]");
  const std::string place = "made/1.0.json:1: sub_cores[0].";
  EXPECT_EQ(with(R"("core": "made", "version": "0.9")"), "none");
  EXPECT_EQ(with(R"("core": "made", "version": "0.8")"),
            place + "version: expected a version of made that is there, found the text \"0.8\"");
  EXPECT_EQ(with(R"("core": "../made", "version": "0.9")"),
            place + "core: expected the name of a core, found the text \"../made\"");
  EXPECT_EQ(with(R"("core": "made", "version": "../made/0.9")"),
            place + "version: expected a version of made that is there, found the text \"../made/0.9\"");
  EXPECT_EQ(with(R"("first_of": [{"core": "made", "version": "0.9"}, {"core": "none", "version": "1.0"}])"),
            place + "first_of[1].version: expected a version of none that is there, found the text \"1.0\"");
}

// What is there and cannot be read is told with the reason, and with who asks for it.
TEST_F(Versions, WhatCannotBeReadIsToldWithItsReason) {
  part("one", R"("parameters": [)" + parameter("A", "integer", "1") + "]");
  version("0.9", R"("includes": [{"file": "parts/one.json"}])");
  version("1.0", R"("extends": "0.9")");
  EXPECT_EQ(error_of("1.0"), "none");
  const std::string part_file = scratch_.path("parts/one.json"), base_file = scratch_.path("made/0.9.json");
  const std::string content = scratch_.content("parts/one.json");
  for (std::size_t size = 0; size < content.size(); ++size) {
    scratch_.file("parts/one.json", content.substr(0, size));
    const std::string error = error_of("1.0");
    EXPECT_TRUE(error.starts_with("parts/one.json:")) << size << ": " << error;
  }
  std::filesystem::remove(part_file);
  std::filesystem::create_directory(part_file);
  EXPECT_EQ(error_of("1.0"), "made/0.9.json:1: includes[0].file: parts/one.json: cannot be read: Is a directory");
  std::filesystem::remove(base_file);
  std::filesystem::create_directory(base_file);
  EXPECT_EQ(error_of("1.0"), "made/1.0.json:1: extends: made/0.9.json: cannot be read: Is a directory");
}

TEST(CoreInstances, KeepWhatIsOutOfRange) {
  const auto core = Core::parse(core_of(parameter("A", "integer", "5", R"(, "limits": ["1", "10"])") + "," +
                                        parameter("B", "integer", "0", R"(, "derived": "A")")),
                                "made.json");
  Instance instance(core);
  for (char const* text : {"11", "0", "1.5", "many", ""}) {
    instance.set({{0, text}});
    EXPECT_EQ(instance.value(0), text);
    EXPECT_EQ(instance.value(1), "5") << text;
    ASSERT_EQ(instance.messages().size(), 1U) << text;
    EXPECT_EQ(instance.messages()[0].text, "PARAM A::" + std::string(text) + " is out of range  { 1,10 }");
  }
  instance.take_back({0});
  EXPECT_TRUE(instance.messages().empty());
  EXPECT_EQ(instance.origin(0), Origin::default_value);
  EXPECT_EQ(instance.origin(1), Origin::rule);
}

TEST(CoreInstances, FollowTheReferenceMemory) {
  const auto core = Core::read(places::data("cores"), "xram", "1.0");
  Instance xram(core);
  const auto at = [&](char const* name) { return number(*core, name); };
  const auto has = [&](char const* message) {
    const std::vector<Due> due = xram.messages();
    return std::any_of(due.begin(), due.end(), [&](Due const& one) { return one.name == message; });
  };
  EXPECT_TRUE(xram.messages().empty());
  xram.set({{at("XRAM_SIZE_MB"), "2"}});
  EXPECT_TRUE(has("banks_idle"));
  xram.take_back({at("XRAM_SIZE_MB")});
  EXPECT_EQ(xram.value(at("XRAM_ECC_SCRUB_PERIOD_MS")), "SKIP");
  EXPECT_EQ(xram.range(at("XRAM_REF_CTRL_FREQMHZ")), (std::vector<std::string>{"50", "800"}));
  xram.set({{*core->find_user_name("XRAM_CLOCK_MHZ"), "900"}});
  EXPECT_TRUE(has("range"));
  xram.set({{at("XRAM_ECC_ENABLE"), "0"}});
  EXPECT_FALSE(has("range"));
  EXPECT_EQ(xram.value(at("XRAM_ECC_SCRUB_ENABLE")), "SKIP");
  xram.set({{at("XRAM_ECC_ENABLE"), "1"},
            {at("XRAM_REF_CTRL_FREQMHZ"), "512"},
            {at("XRAM_ECC_SCRUB_ENABLE"), "1"},
            {at("XRAM_ECC_SCRUB_PERIOD_MS"), "10"}});
  EXPECT_EQ(xram.value(at("XRAM_SCRUB_LOAD_PERCENT")), "2.56");
  EXPECT_FALSE(has("scrub_load"));
  xram.set({{at("XRAM_REF_CTRL_FREQMHZ"), "50"}});
  EXPECT_TRUE(has("scrub_load"));
  // With the period that the message advises the load is as it says.
  xram.set({{at("XRAM_ECC_SCRUB_PERIOD_MS"), "27"}});
  EXPECT_FALSE(has("scrub_load"));
  for (int port = 0; port < 4; ++port) {
    const std::string name = "XRAM_PORT" + std::to_string(port);
    xram.set({{at((name + "_ENABLE").c_str()), "1"}, {at((name + "_TRAFFIC_MBPS").c_str()), "800"}});
  }
  EXPECT_FALSE(has("banks_idle"));
  EXPECT_TRUE(has("most_of_port"));
  EXPECT_TRUE(has("beyond_memory"));
  EXPECT_EQ(xram.value(at("XRAM_TRAFFIC_MBPS")), "3200");
}

// --- what a rule asks of the device

std::string with_device(std::string const& facts, std::string const& rule) {
  return core_of(parameter("A", "integer", "5", R"(, "range": ")" + rule + "\""), ", \"device\": [" + facts + "]");
}

TEST(CoreFacts, ARangeFollowsTheDevice) {
  const auto core = Core::parse(
      with_device(R"({"each": {"n": "{0..1}"}, "word": "clock.P${n}.max_mhz", "type": "integer", "without": "9"})",
                  "[1, device('clock.P1.max_mhz')]"),
      "made.json");
  EXPECT_EQ(core->facts().size(), 2u);
  Instance without(core), with(core, {{"clock.P1.max_mhz", "3"}, {"other", "x"}});
  EXPECT_EQ(without.range(0), (std::vector<std::string>{"1", "9"}));
  EXPECT_EQ(with.range(0), (std::vector<std::string>{"1", "3"}));
  EXPECT_EQ(without.value(0), "5");
  EXPECT_EQ(with.value(0), "3");  // the default, brought into what this device permits
  EXPECT_TRUE(with.messages().empty());
}

TEST(CoreFacts, AreTenThousandAtMost) {
  const auto with = [](std::string const& last) {
    return error_of(
        with_device(R"({"each": {"n": "{0..)" + last + R"(}"}, "word": "w${n}", "type": "integer", "without": "9"})",
                    "[1, device('w0')]"));
  };
  EXPECT_EQ(with("9999"), "none");
  EXPECT_EQ(with("10000"), "made.json:2: device[0]: expected at most 10000 words, found an object");
}

TEST(CoreFacts, SlipsAreTold) {
  EXPECT_EQ(error_of(with_device(R"({"word": "a", "type": "integer", "without": "x"})", "[1, 9]")),
            "made.json:2: device[0].without: expected a value of type integer, found the text \"x\"");
  EXPECT_EQ(error_of(with_device("", "[1, device('a')]")),
            "made.json:2: parameters[0].range: column 5: device('word') is for a word that is declared");
  EXPECT_EQ(error_of(with_device(R"({"word": "a", "type": "text", "without": "x"})", "[1, device('a')]")),
            "made.json:2: parameters[0].range: column 5: expected a value of type integer, found one of type text");
  const auto core =
      Core::parse(with_device(R"({"word": "a", "type": "integer", "without": "9"})", "[1, device('a')]"), "made.json");
  try {
    Instance(core, {{"a", "many"}});
    ADD_FAILURE() << "a text is no number";
  } catch (FactError const& error) {
    EXPECT_STREQ(error.what(), "the device's \"a\" is \"many\", no value of type integer");
  }
}

// --- how much follows, and where values come from

TEST(CoreStrength, ValuesAloneAreTakenAndChecked) {
  const auto core = Core::parse(
      core_of(parameter("MOST", "integer", "9") + "," + parameter("A", "integer", "5", R"(, "range": "[1, MOST]")") +
              "," + parameter("TWICE", "integer", "0", R"(, "derived": "A * 2")")),
      "made.json");
  Instance instance(core);
  EXPECT_EQ(instance.set({{0, "3"}, {1, "12"}}, Origin::user, Strength::values), (std::vector<std::uint32_t>{0, 1}));
  EXPECT_EQ(instance.value(1), "12");
  EXPECT_EQ(instance.range(1), (std::vector<std::string>{"1", "9"}));  // as it was
  ASSERT_EQ(instance.messages().size(), 1u);
  EXPECT_EQ(instance.messages()[0].text, "PARAM A::12 is out of range  { 1,9 }");
  EXPECT_EQ(instance.value(2), "10");
  EXPECT_EQ(instance.compute(Strength::ranges), (std::vector<std::uint32_t>{0, 1, 2}));
  EXPECT_EQ(instance.messages()[0].text, "PARAM A::12 is out of range  { 1,3 }");
  EXPECT_EQ(instance.value(2), "6");
  EXPECT_TRUE(instance.compute().empty());
}

TEST(CoreOrigin, ValuesTellWhereTheyComeFrom) {
  const auto core =
      Core::parse(core_of(parameter("A", "integer", "5") + "," + parameter("B", "integer", "0", R"(, "derived": "A")")),
                  "made.json");
  Instance instance(core);
  EXPECT_EQ(word_of(instance.origin(0)), "default");
  EXPECT_EQ(word_of(instance.origin(1)), "rule");
  EXPECT_EQ(instance.set({{0, "7"}}, Origin::preset), (std::vector<std::uint32_t>{0, 1}));
  EXPECT_EQ(word_of(instance.origin(0)), "preset");
  EXPECT_EQ(instance.set({{0, "7"}}), (std::vector<std::uint32_t>{0}));  // the same value, but now the user's
  EXPECT_EQ(word_of(instance.origin(0)), "user");
  EXPECT_TRUE(instance.set({{0, "7"}}).empty());
  instance.take_back({0});
  EXPECT_EQ(instance.origin(0), Origin::default_value);
}

TEST(CoreValues, TrueAndFalseAreOneAndZero) {
  const auto core = Core::parse(core_of(parameter("T", "truth", "0") + "," + parameter("F", "text", "") + "," +
                                        parameter("W", "text", "false", R"(, "values": ["true", "false"])")),
                                "made.json");
  Instance instance(core);
  instance.set({{0, "true"}, {1, "false"}, {2, "true"}});
  EXPECT_EQ(instance.value(0), "1");
  EXPECT_EQ(instance.given(0), "1");
  EXPECT_EQ(instance.value(1), "0");
  EXPECT_EQ(instance.value(2), "true");  // its own word
}

// ------------------------------------------------------------------------------------------------- shipped files

// The shipped cores, with one file that is another; all others are the shipped ones.
class ShippedFiles : public testing::Test {
 protected:
  static inline const std::filesystem::path kCores = places::data("cores");

  ShippedFiles() {
    for (auto const& entry : std::filesystem::recursive_directory_iterator(kCores)) {
      const std::string file = std::filesystem::relative(entry.path(), kCores);
      if (entry.is_directory()) {
        std::filesystem::create_directories(scratch_.path(file));
      } else if (entry.path().extension() == ".json" && file.find("registers/") == std::string::npos &&
                 !file.ends_with("silent.json")) {
        std::filesystem::create_symlink(entry.path(), scratch_.path(file));
        files_.push_back(file);
      }
    }
    std::sort(files_.begin(), files_.end());
  }

  static std::string content(std::string const& file) {
    std::ifstream in(kCores / file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  // A core whose reading comes to the file: its own, or the one that includes it in the smallest description.
  std::string reader_of(std::string const& file) const {
    if (!file.starts_with("parts/")) return file;
    std::string best;
    std::uintmax_t least = ~std::uintmax_t{0};
    for (std::string const& other : files_)
      if (!other.starts_with("parts/") && content(other).find('"' + file + '"') != std::string::npos &&
          std::filesystem::file_size(kCores / other) < least) {
        least = std::filesystem::file_size(kCores / other);
        best = other;
      }
    return best;
  }

  std::string error_with(std::string const& file, std::string const& content) const {
    const std::filesystem::path reader = reader_of(file);
    if (reader.empty()) return "no core includes it";
    std::filesystem::remove(scratch_.path(file));
    scratch_.file(file, content);
    std::string error = "none";
    try {
      Core::read(scratch_.folder(), reader.parent_path(), reader.stem());
    } catch (kdi::JsonError const& refused) {
      error = refused.what();
    }
    std::filesystem::remove(scratch_.path(file));
    std::filesystem::create_symlink(kCores / file, scratch_.path(file));
    return error;
  }

  Scratch scratch_;
  std::vector<std::string> files_;
};

// Cut within the object that it is, a file is told by name and line, and no core comes of it. IPTASKS_LONG=1 cuts more.
TEST_F(ShippedFiles, CutAnywhereAreRefused) {
  const int cuts = std::getenv("IPTASKS_LONG") != nullptr ? 100 : 1;
  const std::size_t step = test_support::kSanitized ? 12 : 3;
  test_support::Seeded<std::mt19937> random(7);
  std::size_t refused = 0;
  for (std::size_t f = 0; f<files_.size(); f += cuts> 1 ? 1 : step) {
    const std::string whole = content(files_[f]);
    for (int cut = 0; cut < cuts; ++cut) {
      const std::size_t size = random() % whole.rfind('}');
      SCOPED_TRACE(files_[f] + " cut to " + std::to_string(size) + " bytes");
      const std::string error = error_with(files_[f], whole.substr(0, size));
      const std::string place = scratch_.path(files_[f]) + ":";
      ASSERT_TRUE(error.find(place) != std::string::npos) << error;
      const auto lines = 1 + std::count(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size), '\n');
      const int line = std::atoi(error.c_str() + error.find(place) + place.size());
      EXPECT_TRUE(line >= 1 && line <= lines) << error;
      ++refused;
    }
  }
  EXPECT_GT(refused, files_.size() / 13);
}

}  // namespace
