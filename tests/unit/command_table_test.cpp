// The command table: its reader, that it is whole, and that what it says of commands is so.
#include "host/kdish/command_table.h"

#include <gtest/gtest.h>
#include <tcl.h>

#include <nlohmann/json.hpp>
#include <set>

#include "host/kdish/help.h"
#include "host/kdish/reference.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

using kdish::Command;
using kdish::Shape;
using kdish::Table;
using nlohmann::json;

std::string const kData = places::data("commands");

Table const& shipped() {
  static const Table table({kData});
  return table;
}

std::string file_of(std::string const& command) {
  return R"({"format": 1, "title": "T", "summary": "s", "library": "l", "commands": [)" + command + "]}";
}
constexpr char const* kWhole =
    R"("summary": "s", "result": "r", "shape": "text", "example": {"script": "a", "result": ""})";

std::string fault_of(std::string const& text) {
  const Scratch folder;
  folder.file("some.json", text);
  try {
    const Table table({folder.folder()});
  } catch (kdi::JsonError const& error) {
    return std::string(error.what()).substr(folder.folder().size() + 1);
  }
  return "none";
}

TEST(CommandTable, ReadsAFamilyFile) {
  const Scratch folder;
  folder.file("one.json", file_of(std::string(R"({"names": ["n::a", "m::a"], "words": [{"name": "w", "type": "part",
    "meaning": "m", "optional": true, "repeated": true}], "options": [{"name": "-o", "type": "text", "meaning": "m",
    "required": true}, {"name": "-f", "type": "flag", "meaning": "m"}], )") +
                                  kWhole + "}"));
  const Table table({folder.folder()});
  ASSERT_NE(table.command("::m::a"), nullptr);
  EXPECT_EQ(table.command("m::a"), table.command("n::a"));
  EXPECT_EQ(table.command("n::a")->usage(), "-o value ?w ...? ?-f?");
  EXPECT_EQ(table.command("n::a")->family, table.family("one"));
  EXPECT_EQ(table.command("a"), nullptr);
}

TEST(CommandTable, TheFirstFolderWithAFileCounts) {
  const Scratch near;
  const Scratch far;
  near.file("f.json", file_of(std::string(R"({"names": ["near"], )") + kWhole + "}"));
  far.file("f.json", file_of(std::string(R"({"names": ["far"], )") + kWhole + "}"));
  far.file("g.json", file_of(std::string(R"({"names": ["other"], )") + kWhole + "}"));
  const Table table({near.folder(), far.folder()});
  EXPECT_NE(table.command("near"), nullptr);
  EXPECT_EQ(table.command("far"), nullptr);
  EXPECT_NE(table.command("other"), nullptr);
  EXPECT_THROW(Table({near.path("nothing")}), kdi::FileError);
}

TEST(CommandTable, NamesLineAndFieldOfAFault) {
  EXPECT_EQ(fault_of(file_of(std::string(R"({"names": ["a"], )") + kWhole + "}")), "none");
  EXPECT_EQ(fault_of("{\n\"format\": 2}"), "some.json:2: format: expected an integer from 1 to 1, found the number 2");
  EXPECT_EQ(fault_of(file_of(std::string("\n{\"name\": [], ") + kWhole + "}")).substr(0, 33),
            "some.json:2: commands[0].name: ex");
  EXPECT_NE(fault_of(file_of(std::string(R"({"names": [], )") + kWhole + "}")), "none");
  EXPECT_NE(fault_of(file_of(std::string(R"({"names": ["::a"], )") + kWhole + "}")), "none");
  EXPECT_NE(fault_of(file_of(std::string(R"({"names": ["a", "a"], )") + kWhole + "}")), "none");
  const auto word = [](std::string const& fields) {
    return fault_of(
        file_of(R"({"names": ["a"], "words": [{"name": "w", "meaning": "m", )" + fields + "}], " + kWhole + "}"));
  };
  EXPECT_EQ(word(R"("type": "text")"), "none");
  EXPECT_NE(word(R"("type": "texts")"), "none");
  EXPECT_NE(word(R"("type": "flag")"), "none");
  EXPECT_NE(word(R"("type": "dict", "keys": [{"name": "k", "meaning": "m", "only": ["b"]}])"), "none");
  const auto shape = [](std::string const& text) {
    return fault_of(file_of(R"({"names": ["a"], "summary": "s", "result": "r", "shape": )" + text +
                            R"(, "example": {"script": "a", "result": ""}})"));
  };
  EXPECT_EQ(shape(R"({"dict": {"a?": "integer", "*": {"list": "text"}}})"), "none");
  EXPECT_NE(shape(R"("word")"), "none");
  EXPECT_NE(shape(R"({"dict": {}})"), "none");
  EXPECT_NE(shape(R"({"list": "text", "tuple": {"a": "text"}})"), "none");
  EXPECT_NE(shape("{}"), "none");
}

TEST(CommandTable, AnEntryTellsHowManyWordsItTakes) {
  const auto count_of = [](std::string const& fields) {
    const Scratch folder;
    folder.file("one.json", file_of(R"({"names": ["n::a"], )" + fields + kWhole + "}"));
    const Table table({folder.folder()});
    Command const& command = *table.command("n::a");
    const std::string most =
        command.word_count().most == kdish::WordCount::kAny ? "any" : std::to_string(command.word_count().most);
    return std::to_string(command.word_count().least) + " " + most + " " +
           command.wrong_count_text("n::a", {"1", "2", "three"});
  };
  EXPECT_EQ(count_of(""), R"(0 0 wrong # args: should be "n::a")");
  const std::string words = R"("words": [{"name": "w", "type": "text", "meaning": "m"},
    {"name": "v", "type": "text", "meaning": "m", "optional": true}], )";
  EXPECT_EQ(count_of(words), R"(1 2 wrong # args: should be "n::a w ?v?")");
  EXPECT_EQ(count_of(words + R"("surplus": "ignored", )"), "1 any n::a : Not enough arguments");
  EXPECT_EQ(count_of(words + R"("wrong_count": "{name}: {3} of {name}", )"), "1 2 n::a: three of n::a");
  EXPECT_EQ(count_of(R"("words": [{"name": "w", "type": "text", "meaning": "m", "repeated": true}], )"),
            R"(1 any wrong # args: should be "n::a w ...")");
  EXPECT_EQ(count_of(R"("options": [{"name": "-o", "type": "text", "meaning": "m", "required": true},
    {"name": "-f", "type": "flag", "meaning": "m"}], )"),
            R"(2 3 wrong # args: should be "n::a -o value ?-f?")");
}

// ------------------------------------------------------------------------------------------------ help

TEST(Help, TellsOfFamiliesCommandsAndPatterns) {
  EXPECT_NE(kdish::families_help(shipped()).find("\n  fec "), std::string::npos);
  EXPECT_NE(kdish::topic_help(shipped(), "fec").find("ldpc::gen_core_params"), std::string::npos);
  const std::string command = kdish::topic_help(shipped(), "::ldpc::gen_core_params");
  EXPECT_EQ(command.substr(0, 30), "ldpc::gen_core_params options\n");
  EXPECT_EQ(command.find("fec_code"), std::string::npos) << "a key of the other core";
  EXPECT_NE(kdish::topic_help(shipped(), "sd_fec::gen_core_params").find("fec_code"), std::string::npos);
  EXPECT_EQ(kdish::topic_help(shipped(), "*gen_turbo*"),
            "sd_fec::gen_turbo_params  The writes that set the Turbo decoder\n");
}

TEST(Help, NamesWhatMayHaveBeenMeant) {
  const auto fault = [](std::string const& topic) {
    try {
      kdish::topic_help(shipped(), topic);
    } catch (std::runtime_error const& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(fault("gen_turbo_param"),
            "no command and no family \"gen_turbo_param\"; did you mean sd_fec::gen_turbo_params?");
  EXPECT_EQ(fault("xyz"), "no command and no family \"xyz\"; help lists the families");
  EXPECT_NE(fault(""), "none");
  EXPECT_NE(fault("::"), "none");
}

TEST(Help, NoLineIsWiderThanAScreenButForNamesAndExamples) {
  for (auto const& family : shipped().families()) {
    std::istringstream lines(kdish::family_help(*family));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100U) << line;
  }
}

// ------------------------------------------------------------------------------------------------ the table is whole

class Interpreter {
 public:
  Interpreter() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) { EXPECT_EQ(Tcl_Init(interp_), TCL_OK); }
  Interpreter(Interpreter const&) = delete;
  Interpreter& operator=(Interpreter const&) = delete;
  ~Interpreter() { Tcl_DeleteInterp(interp_); }

  void load(std::string const& library) {
    const std::string script = "load {" + places::library(library) + "}";
    EXPECT_EQ(Tcl_Eval(interp_, script.c_str()), TCL_OK) << Tcl_GetStringResult(interp_);
  }
  std::set<std::string> commands() {
    constexpr char const* kAll =
        "namespace eval probe { proc all ns { concat [info commands ${ns}::*] {*}[lmap child [namespace children "
        "::$ns] "
        "{ all $child }] } }; probe::all {}";
    EXPECT_EQ(Tcl_Eval(interp_, kAll), TCL_OK);
    int count = 0;
    Tcl_Obj** names = nullptr;
    EXPECT_EQ(Tcl_ListObjGetElements(interp_, Tcl_GetObjResult(interp_), &count, &names), TCL_OK);
    std::set<std::string> all;
    for (int i = 0; i < count; ++i) all.insert(Tcl_GetString(names[i]) + 2);  // without ::
    return all;
  }

 private:
  Tcl_Interp* interp_;
};

std::set<std::string> table_commands(std::string const& library) {
  std::set<std::string> names;
  for (auto const& [name, command] : shipped().commands())
    if (command->family->library == library) names.insert(name);
  return names;
}

constexpr char const* kLibraries[] = {"libkdi_iptasks.so", "libkdi_common.so", "libkdi_fectools.so",
                                      "libkdi_bmgtools.so", "libkdi_clocktools.so"};

class Registered : public testing::TestWithParam<char const*> {};

TEST_P(Registered, EveryCommandHasAnEntryAndNoOther) {
  Interpreter plain;
  const std::set<std::string> before = plain.commands();
  plain.load(GetParam());
  std::set<std::string> added;
  for (std::string const& name : plain.commands())
    if (!before.contains(name)) added.insert(name);
  EXPECT_EQ(added, table_commands(GetParam()));
}
INSTANTIATE_TEST_SUITE_P(Libraries, Registered, testing::ValuesIn(kLibraries));

TEST(CommandTable, NoFamilyIsOfAnUnknownLibrary) {
  std::set<std::string> known(std::begin(kLibraries), std::end(kLibraries));
  known.insert("kdish");
  for (auto const& family : shipped().families()) EXPECT_TRUE(known.contains(family->library)) << family->name;
}

TEST(CommandTable, EveryCommandOfTheShellHasAnEntryAndNoOther) {
  // the shell's own are those that are neither plain Tcl's nor of a library; `load` shows those of the libraries
  const std::string script = R"(
    proc all {in ns} { concat [interp eval $in [list info commands ${ns}::*]] {*}[lmap child [interp eval $in [list namespace children ::$ns]] { all $in $child }] }
    interp create plain
    foreach library {libkdi_iptasks.so libkdi_common.so libkdi_fectools.so libkdi_bmgtools.so libkdi_clocktools.so} { plain eval [list load )" +
                             places::library("$library") +
                             R"(] }
    set known [all plain {}]
    foreach name [all {} {}] { if {$name ni $known && $name ni {::all ::plain} && ![string match ::oo::Obj* $name]} { puts [string range $name 2 end] } }
  )";
  const Scratch folder;
  const Outcome outcome = run_program({places::program("kdish"), folder.file("list.tcl", script)});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  std::istringstream lines(outcome.out);
  std::set<std::string> names;
  for (std::string line; std::getline(lines, line);) names.insert(line);
  EXPECT_EQ(names, table_commands("kdish"));
}

TEST(CommandReference, IsWhatTheTableSays) {
  const Outcome outcome =
      run_program({places::program("command_docs"), kData, places::source("docs/commands"), "--check"});
  EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

TEST(CommandReference, AStalePageAStrayPageAndAMissingOneAreNamed) {
  const Scratch docs;
  ASSERT_EQ(run_program({places::program("command_docs"), kData, docs.folder()}).status, 0);
  ASSERT_EQ(run_program({places::program("command_docs"), kData, docs.folder(), "--check"}).status, 0);
  docs.file("fec.md", "something else");
  docs.file("nothing.md", "a page");
  std::filesystem::remove(docs.path("dsp.md"));
  const Outcome outcome = run_program({places::program("command_docs"), kData, docs.folder(), "--check"});
  EXPECT_EQ(outcome.status, 1);
  for (char const* name : {"fec.md", "dsp.md", "nothing.md"}) EXPECT_NE(outcome.out.find(name), std::string::npos);
  EXPECT_EQ(docs.content("fec.md"), "something else") << "a check writes nothing";
}

// ------------------------------------------------------------------------------------------------ examples and JSON

std::string tcl_list(std::vector<std::string> const& elements) {
  std::vector<char const*> words;
  for (std::string const& element : elements) words.push_back(element.c_str());
  char* const merged = Tcl_Merge(static_cast<int>(words.size()), words.data());
  const std::string list = merged;
  Tcl_Free(merged);
  return list;
}

TEST(CommandTable, AWrongNumberOfWordsFailsAsStated) {
  const Scratch folder;
  std::string script = "set out [open result w]\n";
  std::string expected;
  for (auto const& [name, command] : shipped().commands()) {
    const auto fails_for = [&](std::size_t count) {
      std::vector<std::string> given;
      for (std::size_t i = 1; i <= count; ++i) given.push_back("w" + std::to_string(i));
      std::vector<std::string> call = given;
      call.insert(call.begin(), name);
      script += "puts $out [list {" + tcl_list(call) + "} [catch {" + tcl_list(call) + "} text] $text]\n";
      expected += tcl_list({tcl_list(call), "1", command->wrong_count_text(name, given)}) + "\n";
    };
    const kdish::WordCount count = command->word_count();
    if (count.least > 0) fails_for(count.least - 1);
    if (count.most != kdish::WordCount::kAny) fails_for(count.most + 1);
  }
  const Outcome outcome =
      run_program({places::program("kdish"), folder.file("calls.tcl", script)}, {{}, folder.folder(), "", ""});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.content("result"), expected);
}

TEST(CommandTable, SurplusWordsAreIgnoredWhereItSaysSo) {
  std::size_t seen = 0;
  for (auto const& family : shipped().families())
    for (Command const& command : family->commands) {
      if (!command.ignores_surplus) continue;
      ++seen;
      const Scratch folder;
      ASSERT_TRUE(command.example.script.starts_with(command.names[0])) << "an example to which words can be added";
      const Outcome outcome =
          run_program({places::program("kdish"),
                       folder.file("example.tcl", command.example.setup + "\nputs -nonewline [open result w] [" +
                                                      command.example.script + " surplus words]")},
                      {{}, folder.folder(), "", ""});
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      EXPECT_EQ(folder.content("result"), command.example.result) << command.names[0];
    }
  EXPECT_GE(seen, 2U);
}

// The truth about shapes, told a second time: from the JSON that came out.
std::string misfit(json const& value, Shape const& shape, std::string const& place) {
  switch (shape.kind) {
    case Shape::Kind::text:
      return value.is_string() ? "" : place + " is no text";
    case Shape::Kind::integer:
      return value.is_number_integer() ? "" : place + " is no integer";
    case Shape::Kind::number:
      return value.is_number() ? "" : place + " is no number";
    case Shape::Kind::boolean:
      return value.is_boolean() ? "" : place + " is no boolean";
    case Shape::Kind::list:
      if (!value.is_array()) return place + " is no list";
      for (json const& element : value)
        if (std::string fault = misfit(element, shape.parts[0].shape, place + "[]"); !fault.empty()) return fault;
      return "";
    case Shape::Kind::either: {
      std::string fault;
      for (Shape::Part const& part : shape.parts)
        if (fault = misfit(value, part.shape, place); fault.empty()) return "";
      return fault;
    }
    case Shape::Kind::tuple:
    case Shape::Kind::dict:
      break;
  }
  if (!value.is_object()) return place + " is no object";
  std::set<std::string> known;
  Shape const* any = nullptr;
  for (Shape::Part const& part : shape.parts) {
    known.insert(part.name);
    if (part.name == "*") {
      any = &part.shape;
    } else if (!value.contains(part.name)) {
      if (!part.optional) return place + " lacks " + part.name;
    } else if (std::string fault = misfit(value[part.name], part.shape, place + "." + part.name); !fault.empty()) {
      return fault;
    }
  }
  for (auto const& [key, member] : value.items()) {
    if (known.contains(key)) continue;
    if (any == nullptr) return place + " has " + key;
    if (std::string fault = misfit(member, *any, place + "." + key); !fault.empty()) return fault;
  }
  return "";
}

class Examples : public testing::TestWithParam<std::string> {};

TEST_P(Examples, GiveTheResultThatIsShown) {
  Command const& command = *shipped().command(GetParam());
  const Scratch folder;
  const std::string script = command.example.setup + "\n" + command.example.script;
  const Outcome outcome =
      run_program({places::program("kdish"),
                   folder.file("example.tcl", command.example.setup + "\nputs -nonewline [open result w] [" +
                                                  command.example.script + "]")},
                  {{}, folder.folder(), "", ""});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const std::string result = folder.content("result");
  if (command.example.is_pattern)
    EXPECT_NE(Tcl_StringMatch(result.c_str(), command.example.result.c_str()), 0) << result;
  else
    EXPECT_EQ(result, command.example.result);
}

TEST_P(Examples, FailWithTheTextsThatAreShown) {
  Command const& command = *shipped().command(GetParam());
  const Scratch folder;
  for (kdish::CommandError const& error : command.errors) {
    if (error.script.empty()) continue;
    const Outcome outcome = run_program(
        {places::program("kdish"), "-c",
         "if {![catch {" + error.script + "} text]} {error {no failure}}; puts -nonewline [open result w] $text"},
        {{}, folder.folder(), "", ""});
    EXPECT_EQ(outcome.status, 0) << error.script << outcome.err;
    const std::string result = folder.content("result");
    if (error.then.empty())
      EXPECT_EQ(result, error.text) << error.script;
    else
      EXPECT_EQ(result.substr(0, error.text.size()), error.text) << error.script;
  }
}

TEST_P(Examples, GiveJsonOfTheDeclaredShape) {
  Command const& command = *shipped().command(GetParam());
  const Scratch folder;
  const Outcome outcome =
      run_program({places::program("kdish"), "--json", "-c", command.example.setup + "\n" + command.example.script},
                  {{}, folder.folder(), "", ""});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  ASSERT_TRUE(outcome.out.ends_with("\n"));
  EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << "one line";
  const json value = json::parse(outcome.out, nullptr, false);
  ASSERT_FALSE(value.is_discarded()) << outcome.out;
  const bool is_own_result = command.example.script.starts_with(GetParam()) ||
                             std::any_of(command.names.begin(), command.names.end(), [&](std::string const& name) {
                               return command.example.script.starts_with(name);
                             });
  EXPECT_EQ(is_own_result ? misfit(value, command.shape, "result") : misfit(value, Shape{}, "result"), "");
}

std::vector<std::string> entries() {
  std::vector<std::string> names;
  for (auto const& family : shipped().families())
    for (Command const& command : family->commands) names.push_back(command.names[0]);
  return names;
}
std::string test_name(testing::TestParamInfo<std::string> const& info) {
  std::string name = info.param;
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  return name;
}
INSTANTIATE_TEST_SUITE_P(Commands, Examples, testing::ValuesIn(entries()), test_name);

}  // namespace
