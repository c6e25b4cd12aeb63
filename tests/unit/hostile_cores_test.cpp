// Descriptions made to take all time and memory: each is refused where it goes beyond what a description may be, in a
// process of its own that has no more of either than is promised (data/cores/README.md).
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <numeric>

#include "kdi/cores/Core.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch.h"

namespace {

using kdi::cores::Core;

constexpr unsigned kMostSeconds = 60;           // of processor time, for one
constexpr unsigned kMostWait = 400;             // on a machine that does much else
constexpr std::size_t kMostBytes = 2UL << 30U;  // of memory

std::string quoted(std::string const& text) { return "\"" + text + "\""; }
std::string repeated(std::string const& text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}
// `form` with its numbers from 0 on, behind commas.
std::string numbered(std::size_t count, std::function<std::string(std::string const&)> const& form) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += (i == 0 ? "" : ",") + form(std::to_string(i));
  return all;
}
std::string parameter(std::string const& name, std::string const& more = "", std::string const& type = "integer",
                      std::string const& preset = "1") {
  return R"({"name": )" + quoted(name) + R"(, "type": )" + quoted(type) +
         R"(, "widget": "EDIT", "description": "one", "default": )" + quoted(preset) +
         (more.empty() ? "" : ", " + more) + "}";
}
std::string core(std::string const& parameters, std::string const& more = "") {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + parameters + "]" +
         (more.empty() ? "" : ", " + more) + "}";
}
std::string each(std::string const& pattern) { return R"("each": {"n": )" + quoted(pattern) + "}"; }

struct Hostile {
  char const* name;
  std::function<std::string()> text;
  char const* refused;   ///< in the error
  bool is_long = false;  ///< takes seconds; not under the sanitizers
};
void PrintTo(Hostile const& hostile, std::ostream* out) { *out << hostile.name; }

const Hostile kHostile[] = {
    {"patterns_of_patterns",
     [] {
       return core(parameter("A${a}_${b}_${c}", R"("each": {"a": "{0..999}", "b": "{0..999}", "c": "{0..999}"})"));
     },
     "made.json:1: parameters[0].each.b: expected patterns for at most 100000 parameters"},
    {"a_million_parameters",
     [] { return core(numbered(1'000'000, [](std::string const& n) { return parameter("P" + n); })); },
     "made.json: has more than 33554432 bytes"},
    {"more_parameters_than_any_core_has",
     [] { return core(parameter("P${n}", each("{0..99999}")) + "," + parameter("LAST")); },
     "made.json:1: parameters[1]: expected at most 100000 parameters", true},
    {"lists_within_lists", [] { return R"({"format": )" + repeated("[", 1'000'000); }, "made.json:1: "},
    {"objects_within_objects", [] { return repeated(R"({"a":)", 200'000); }, "made.json:1: "},
    {"a_rule_of_a_megabyte", [] { return core(parameter("A", R"("derived": "1)" + repeated("+1", 500'000) + "\"")); },
     "made.json:1: parameters[0].derived: column 65537: longer than 65536 bytes"},
    {"a_rule_within_brackets",
     [] {
       return core(parameter("A", R"("derived": ")" + repeated("(", 30'000) + "1" + repeated(")", 30'000) + "\""));
     },
     "made.json:1: parameters[0].derived: column 201: nested too deeply"},
    {"a_long_rule_in_all_rows",
     [] {
       return core(parameter(
           "A${n}", each("{0..99999}") + R"(, "derived": "sum(i in [${n})" + repeated(",1", 30'000) + R"x(]: i)")x"));
     },
     "made.json:1: parameters[0].derived: expected rules that take at most 512 MiB in all, patterns written out", true},
    {"rows_without_end",
     [] {
       return core(parameter("A", R"x("derived": "sum(i in {0..499}: sum(j in {0..499}: sum(k in {0..499}: 1)))")x"));
     },
     "made.json:1: parameters[0].derived: column 39: too many rows"},
    {"long_texts_in_all_rows",
     [] {
       return core(parameter("A${n}", each("{0..99999}")) + "," +
                   parameter("B${n}", each("{0..999}") + R"(, "display_name": ")" + repeated("x", 100'000) + "\""));
     },
     "made.json:1: parameters[1]: expected at most 100000 parameters", true},
    {"long_descriptions_in_all_rows",
     [] {
       return core(parameter("B${n}", each("{0..9999}") + R"(, "display_name": ")" + repeated("x", 100'000) + "\""));
     },
     "made.json:1: parameters[0].display_name: expected texts of at most 64 MiB in all, patterns written out"},
    {"many_values_in_all_rows",
     [] {
       return core(parameter("A${n}",
                             each("{0..9999}") + R"(, "values": [)" +
                                 numbered(10'000, [](std::string const& n) { return quoted(n); }) + "]",
                             "integer", "1"));
     },
     "expected texts of at most 64 MiB in all, patterns written out", true},
    {"long_names", [] { return core(parameter(repeated("A", 100'000))); },
     "made.json:1: parameters[0].name: expected a name of at most 250 bytes"},
    {"long_messages_in_all_rows",
     [] {
       return core(
           parameter("A${n}", each("{0..99999}") +
                                  R"(, "messages": [{"name": "m", "severity": "info", "when": "true", "text": ")" +
                                  repeated("x", 60'000) + "\"}]"));
     },
     "made.json:1: parameters[0].messages[0].text: expected texts of at most 64 MiB in all, patterns written out"},
    {"definitions_without_end",
     [] {
       return core(parameter("A"), R"("definitions": {)" + numbered(200'000, [](std::string const& n) {
                                     return quoted("D" + n) + R"(: "1")";
                                   }) + "}");
     },
     "expected at most 100000 definitions", true},
    {"rules_that_compute_for_ever",
     [] {
       return core(parameter(
           "A${n}",
           each("{0..9999}") + R"x(, "derived": "sum(i in numbers(1, 1000): sum(j in numbers(1, 1000): i * j))")x"));
     },
     "made.json:1: parameters[0].derived: with all defaults, the rules up to here take too many steps or too much "
     "memory",
     true},
    {"ranges_without_end",
     [] { return core(parameter("A${n}", each("{0..9999}") + R"x(, "range": "numbers(1, 100000)")x")); },
     "made.json:1: parameters[0].range: with all defaults, the rules up to here take too many steps or too much "
     "memory"},
    {"texts_without_end",
     [] {
       return core(parameter(
           "A${n}",
           each("{0..9999}") + R"x(, "derived": "join(list(i in numbers(1, 100000): 'aaaaaaaaaa'), '') + text(${n})")x",
           "text", ""));
     },
     "made.json:1: parameters[0].derived: with all defaults, the rules up to here take too many steps or too much "
     "memory",
     true},
    {"constants_that_grow",
     [] { return core(parameter("A", R"("derived": "0)" + repeated("+length(numbers(1,99999))", 900) + "\"")); },
     "made.json:1: parameters[0].name: with all defaults, A: an evaluation takes too "},
    {"presets_without_end",
     [] {
       return core(parameter("A"), R"("presets": [)" + numbered(20'000, [](std::string const& n) {
                                     return R"({"name": "p)" + n + R"(", "description": "d", "settings": {"A": "1"}})";
                                   }) + "]");
     },
     "made.json:1: presets[1000]: expected at most 1000 of them"},
    {"composites_without_end",
     [] {
       return core(parameter("T${n}", each("{0..999}"), "text", "") + "," + parameter("P${n}", each("{0..9999}")),
                   R"("composites": [)" + numbered(1000, [](std::string const& n) {
                     return R"({"name": "T)" + n + R"(", "starts_with": ["P"]})";
                   }) + "]");
     },
     "made.json:1: composites[100]: expected at most 100 composites"},
    {"members_without_end",
     [] {
       return core(parameter("T", "", "text", "") + "," + parameter("P"),
                   R"("composites": [{"name": "T", "members": [{"parameter": "P", "key": "${n}", )" +
                       each("{0..10000}") + "}]}]");
     },
     "made.json:1: composites[0].members[0]: expected at most 10000 members"},
    {"beginnings_without_end",
     [] {
       return core(parameter("T", "", "text", "") + "," + parameter("P"),
                   R"("composites": [{"name": "T", "starts_with": [)" + numbered(1000, quoted) + "]}]");
     },
     "made.json:1: composites[0].starts_with: expected at most 100 beginnings"},
    {"sub_cores_without_end",
     [] {
       return core(parameter("P"), R"("sub_cores": [)" + numbered(1000, [](std::string const& n) {
                                     return R"({"name": "s)" + n + R"(", "core": "made", "version": "1.0"})";
                                   }) + "]");
     },
     "made.json:1: sub_cores[100]: expected at most 100 sub-cores"},
    {"measurements_without_end",
     [] {
       return core(
           parameter("M", "", "truth", "0"),
           R"("measurements": {"enabled": "M", "parameters": [], "dictionaries": [], )" + each("{0..10000}") + "}");
     },
     "made.json:1: measurements: expected at most 10000 measurements"},
    {"seats_without_end",
     [] {
       return core(parameter("F${n}", each("{0..9999}"), "text", "B 0"),
                   R"("pads": {"banks": [{"name": "B", "pads": [0, 255]}], "functions": [{"name": "f${n}", )" +
                       each("{0..9999}") + R"(, "parameter": "F${n}", "groups": ["B 0 .. 255", "B 0"]}]})");
     },
     "made.json:1: pads: with all defaults, pads: at most 1000 functions"},
};

class HostileCores : public testing::TestWithParam<Hostile> {};

INSTANTIATE_TEST_SUITE_P(Of, HostileCores, testing::ValuesIn(kHostile), [](auto const& one) { return one.param.name; });

std::string error_of(std::function<void()> const& read) {
  try {
    read();
  } catch (std::exception const& error) {
    return error.what();
  }
  return "none";
}

TEST_P(HostileCores, AreRefusedInTimeAndMemory) {
  if (test_support::kSanitized && GetParam().is_long) GTEST_SKIP() << "takes too long under the sanitizers";
  const std::string text = GetParam().text();
  const Scratch scratch;
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(kMostWait);
    const rlimit time{kMostSeconds, kMostSeconds};
    if (::setrlimit(RLIMIT_CPU, &time) != 0) ::_exit(2);
    if (!test_support::kSanitized) {  // which map more than any memory
      const rlimit most{kMostBytes, kMostBytes};
      if (::setrlimit(RLIMIT_AS, &most) != 0) ::_exit(2);
    }
    scratch.file("error", error_of([&] { Core::parse(text, "made.json"); }));
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "ended by signal " << WTERMSIG(status);
  EXPECT_NE(scratch.content("error").find(GetParam().refused), std::string::npos)
      << scratch.content("error").substr(0, 1000);
}

// What is hostile by the number of its files, or by how these lead to one another.
class HostileFiles : public testing::Test {
 protected:
  std::string error(std::string const& version = "1.0") const {
    return error_of([&] { Core::read(scratch_.folder(), "made", version); });
  }
  void version(std::string const& version, std::string const& rest) const {
    scratch_.file("made/" + version + ".json",
                  R"({"format": 1, "core": "made", "version": ")" + version + "\", " + rest + "}");
  }
  Scratch scratch_;
};

TEST_F(HostileFiles, PlacesThatGrowAreRefused) {
  scratch_.file("parts/one.json", R"({"format": 1, "places": {"A": null, "B": null, "C": null}, "parameters": [)" +
                                      parameter("X", R"("display_name": "${A}")") + "]}");
  version("1.0", R"("includes": [{"file": "parts/one.json", "where": {"A": ")" + repeated("${B}", 1000) +
                     R"(", "B": ")" + repeated("${C}", 1000) + R"(", "C": ")" + repeated("c", 1000) + "\"}}]");
  EXPECT_NE(error().find("parts/one.json:1: parameters[0].display_name: expected a text of at most 1 MiB with its "
                         "places filled"),
            std::string::npos)
      << error().substr(0, 1000);
}

TEST_F(HostileFiles, OnePartMayNotBeIncludedWithoutEnd) {
  scratch_.file("parts/one.json", R"({"format": 1, "places": {"A": null}, "parameters": [)" +
                                      parameter("X${A}", R"("display_name": ")" + repeated("x", 100'000) + "\"") +
                                      "]}");
  version("1.0", R"("includes": [)" + numbered(1000, [](std::string const& n) {
                   return R"({"file": "parts/one.json", "where": {"A": ")" + n + "\"}}";
                 }) + "]");
  EXPECT_NE(error().find("expected texts of at most 64 MiB in all"), std::string::npos) << error().substr(0, 1000);
}

TEST_F(HostileFiles, FilesAreCountedTogether) {
  const std::string blanks(12 << 20, ' ');
  scratch_.file("parts/one.json", R"({"format": 1)" + blanks + "}");
  version("0.9", R"("includes": [{"file": "parts/one.json"}])" + blanks);
  version("1.0", R"("extends": "0.9")" + blanks);
  EXPECT_NE(error().find("made/0.9.json:1: includes[0].file: "), std::string::npos) << error();
  EXPECT_NE(error().find("parts/one.json: has more than "), std::string::npos) << error();
}

TEST_F(HostileFiles, CirclesAreRefused) {
  version("1.0", R"("extends": "2.0")");
  version("2.0", R"("extends": "1.0")");
  EXPECT_NE(error().find("extends: expected at most 32 versions that extend one another"), std::string::npos);
  // A part cannot include one.
  scratch_.file("parts/one.json", R"({"format": 1, "includes": [{"file": "parts/one.json"}]})");
  version("3.0", R"("includes": [{"file": "parts/one.json"}])");
  EXPECT_NE(error("3.0").find("parts/one.json:1: includes: expected one of format, places, "), std::string::npos);
}

}  // namespace
