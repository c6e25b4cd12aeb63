// The command table that is shipped: that it is whole, and that what it says of commands is so.
#include "host/kdish/command_table.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tcl.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>

#include "host/kdish/help.h"
#include "host/kdish/reference.h"
#include "host/kdish/shell.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "kdi/planning/Memory.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/sanitized.h"
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

// ------------------------------------------------------------------------------------------------ help

TEST(Help, TellsOfFamiliesCommandsAndPatterns) {
  EXPECT_NE(kdish::families_help(shipped()).find("\n  fec "), std::string::npos);
  EXPECT_NE(kdish::topic_help(shipped(), "fec").find("\nsd_fec::NAME, ldpc::NAME\n  gen_core_params "),
            std::string::npos);
  EXPECT_NE(kdish::topic_help(shipped(), "fec").find("\nMore: docs/notes/fec.md\n"), std::string::npos);
  const std::string command = kdish::topic_help(shipped(), "::ldpc::gen_core_params");
  EXPECT_EQ(command.substr(0, 30), "ldpc::gen_core_params options\n");
  EXPECT_EQ(command.find("fec_code"), std::string::npos) << "a key of the other core";
  EXPECT_NE(kdish::topic_help(shipped(), "sd_fec::gen_core_params").find("fec_code"), std::string::npos);
  EXPECT_EQ(kdish::topic_help(shipped(), "*gen_turbo*"),
            "sd_fec::gen_turbo_params  The writes that set the Turbo decoder\n");
}

TEST(Help, FindsWhatAWordIsIn) {
  const std::string found = kdish::topic_help(shipped(), "Turbo");
  EXPECT_NE(found.find("\nsd_fec::gen_turbo_params  The writes"), std::string::npos) << found;
  EXPECT_EQ(found.substr(0, 4), "fec ") << "families come first";
  EXPECT_NE(kdish::topic_help(shipped(), "oscillators").find("gttools::choose"), std::string::npos);
}

TEST(Help, TheBeginOfAnOnlyNameLeads) {
  const std::string command = kdish::topic_help(shipped(), "gen_turb");
  EXPECT_EQ(command.substr(0, 25), "sd_fec::gen_turbo_params ");
  EXPECT_EQ(kdish::topic_help(shipped(), "pow"), kdish::topic_help(shipped(), "power")) << "a family";
  EXPECT_EQ(kdish::topic_help(shipped(), "ldpc::gen_").find("Words:"), std::string::npos) << "one of two";
}

// A word is not broken, nor is what stands between quotes in a script.
bool is_unbreakable(std::string_view line) {
  std::vector<std::string_view> words = kdi::text::words(line);
  if (!words.empty() && words.front() == "%") words.erase(words.begin());
  if (!words.empty() && words.back() == "\\") words.pop_back();
  return words.size() <= 1 ||
         (words.front().find('"') != std::string_view::npos && words.back().find('"') != std::string_view::npos);
}

// The lines of an example from `%` on, put together as Tcl does.
std::string script_of_help(std::string const& help, std::size_t at) {
  std::string script = help.substr(at, help.find('\n', at) - at);
  while (script.ends_with(" \\")) {
    at = help.find('\n', at) + 1;
    std::string_view next = std::string_view(help).substr(at, help.find('\n', at) - at);
    next.remove_prefix(next.find_first_not_of(' '));
    script.replace(script.size() - 2, 2, " ").append(next);
  }
  return script;
}

TEST(Help, IsAsWideAsItIsAskedToBe) {
  for (const std::size_t width : {60U, 80U, 132U})
    for (auto const& family : shipped().families())
      for (kdish::Page const& page : family->pages)
        for (Command const& command : page.commands) {
          std::string const& name = command.names.front();
          const std::string help = kdish::topic_help(shipped(), name, width);
          for (const std::string_view line : kdi::text::lines(help))
            EXPECT_TRUE(line.size() <= width || is_unbreakable(line)) << name << ", " << width << ": " << line;
          const kdish::Example example = command.example_of(name);
          const std::size_t at = help.rfind("\n  % ") + 5;
          EXPECT_EQ(script_of_help(help, at), example.script) << width << ": " << help;
        }
  EXPECT_NE(kdish::topic_help(shipped(), "power", 40), kdish::topic_help(shipped(), "power", 80));
}

TEST(Help, TellsTheKeysOfWordsAndOptions) {
  EXPECT_NE(kdish::topic_help(shipped(), "power").find("Ip_power_est"), std::string::npos);
  EXPECT_NE(kdish::topic_help(shipped(), "Ip_power_est_get_power_estimation").find("\n  TX_LINE_RATE  "),
            std::string::npos);
  EXPECT_NE(kdish::topic_help(shipped(), "Ip_config_kdi_tcltasks_ip_init").find("Keys of -context:\n"),
            std::string::npos);
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
  EXPECT_EQ(fault("gen_turbo_parms"),
            "no command and no family \"gen_turbo_parms\"; did you mean sd_fec::gen_turbo_params?");
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
    if (command->page->family->library == library) names.insert(name);
  return names;
}

constexpr char const* kLibraries[] = {
    "libkdi_iptasks.so",   "libkdi_common.so",  "libkdi_fectools.so", "libkdi_bmgtools.so", "libkdi_clocktools.so",
    "libkdi_coretools.so", "libkdi_gttools.so", "libkdi_dsptools.so", "libkdi_iotools.so",  "libkdi_memtools.so"};

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
    foreach library {libkdi_iptasks.so libkdi_common.so libkdi_fectools.so libkdi_bmgtools.so libkdi_clocktools.so libkdi_coretools.so libkdi_gttools.so libkdi_dsptools.so libkdi_iotools.so libkdi_memtools.so} { plain eval [list load )" +
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

// ------------------------------------------------------------------------------------------------ the reference

TEST(CommandReference, TellsOfEveryCommand) {
  const auto pages = kdish::reference_pages(shipped());
  for (auto const& [name, command] : shipped().commands()) {
    const std::string usage = command->usage();
    std::string file = command->page->name + ".md";
    std::replace(file.begin(), file.end(), '/', '-');
    ASSERT_TRUE(pages.contains(file)) << file;
    EXPECT_NE(pages.at(file).find("\n    " + name + (usage.empty() ? "" : " ") + usage + "\n"), std::string::npos)
        << name;
    EXPECT_NE(pages.at("README.md").find("`" + command->base + "`](" + file + "#"), std::string::npos) << name;
  }
}

// The addresses of a page's headings, as viewers of Markdown make them.
std::set<std::string> anchors_of(std::string const& page) {
  std::set<std::string> anchors;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("#")) continue;
    std::string anchor;
    for (const char c : line.substr(line.find(' ') + 1)) {
      if (c == ' ') anchor += '-';
      if (kdi::text::is_letter_or_digit(c) || c == '_' || c == '-') anchor += kdi::text::to_lower(c);
    }
    EXPECT_TRUE(anchors.insert(anchor).second || line.starts_with("###")) << "two sections of one address: " << line;
  }
  return anchors;
}

// Texts outside of code that are links, without what is elsewhere in the world.
std::vector<std::string> links_of(std::string const& page) {
  std::vector<std::string> links;
  std::istringstream lines(page);
  bool is_fenced = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```")) is_fenced = !is_fenced;
    if (is_fenced || line.starts_with("    ")) continue;
    for (std::size_t at = line.find("]("); at != std::string::npos; at = line.find("](", at + 2)) {
      const std::string link = line.substr(at + 2, line.find(')', at) - at - 2);
      if (link.find("://") == std::string::npos) links.push_back(link);
    }
  }
  return links;
}

constexpr char const* kMade = "docs/commands/";

// The pages that people read: those of the project, and docs/commands as it is installed with them.
std::map<std::string, std::string> all_pages() {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> pages;
  for (auto const& [name, text] : kdish::reference_pages(shipped())) pages[kMade + name] = text;
  const fs::path root = places::source("");
  for (char const* const below : {"docs", "data", "examples"})
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(root / below))
      if (entry.path().extension() == ".md")
        pages[fs::relative(entry.path(), root).string()] = kdi::read_file(entry.path().string());
  pages["README.md"] = kdi::read_file((root / "README.md").string());
  return pages;
}

TEST(Documents, AreMadeByAProgramThatNeedsAFolderToReadAndOneToWrite) {
  const std::string program = places::program("command_docs");
  const Outcome misused = run_program({program});
  EXPECT_EQ(misused.status, 2);
  EXPECT_EQ(misused.err, "usage: command_docs table_folder reference_folder\n");
  const Scratch folder;
  const Outcome failed = run_program({program, folder.path("none"), folder.folder()});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.err, "command_docs: " + folder.path("none") + ": is no directory\n");
  const Outcome made = run_program({program, places::source("tests/support/small_table"), folder.folder()});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(folder.names(),
            (std::vector<std::string>{"README.md", "valve-looking.md", "valve-setting.md", "valve.md"}));
}

TEST(Documents, LinksLeadSomewhere) {
  namespace fs = std::filesystem;
  const std::map<std::string, std::string> pages = all_pages();
  std::size_t seen = 0;
  for (auto const& [name, text] : pages)
    for (std::string const& link : links_of(text)) {
      ++seen;
      const std::size_t hash = std::min(link.find('#'), link.size());
      const std::string target =
          hash == 0 ? name : (fs::path(name).parent_path() / link.substr(0, hash)).lexically_normal().string();
      const auto page = pages.find(target);
      // docs/commands is made when the project is built: what leads there from elsewhere would lead nowhere before
      const bool is_made_later = target.starts_with(kMade) && !name.starts_with(kMade);
      EXPECT_TRUE(!is_made_later && (page != pages.end() || fs::exists(places::source(target))))
          << name << " leads to " << link;
      const bool has_place = hash < link.size() && page != pages.end();
      EXPECT_TRUE(!has_place || anchors_of(page->second).contains(link.substr(hash + 1)))
          << name << " leads to " << link;
    }
  EXPECT_GE(seen, 200U);
}

TEST(Documents, TellWhereEachFamilyIsDescribed) {
  const std::string page = kdi::read_file(places::source("docs/commands.md"));
  std::set<std::string> told;
  for (auto const& family : shipped().families()) {
    EXPECT_NE(page.find("](../data/commands/" + family->name + ".json)"), std::string::npos) << family->name;
    if (family->more.empty()) continue;
    told.insert(family->more);
    EXPECT_NE(page.find("](" + family->more.substr(std::string("docs/").size()) + ")"), std::string::npos)
        << family->name;
  }
  for (std::string const& name : kdi::list_directory(places::source("docs/notes")))
    EXPECT_TRUE(told.contains("docs/notes/" + name)) << name << " is of no family";
}

TEST(CommandReference, IsWrittenWholeAndStrayPagesGo) {
  const Scratch docs;
  docs.file("fec.md", "something else");
  docs.file("nothing.md", "a page of a family that is gone");
  docs.file("other.txt", "no page");
  const Outcome outcome = run_program({places::program("command_docs"), kData, docs.folder()});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  std::vector<std::string> names = {"other.txt"};
  for (auto const& [name, text] : kdish::reference_pages(shipped())) {
    names.push_back(name);
    EXPECT_EQ(docs.content(name), text) << name;
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(docs.names(), names);
  EXPECT_EQ(run_program({places::program("command_docs"), docs.path("nowhere"), docs.folder()}).status, 1);
}

// ------------------------------------------------------------------------------------------------ examples and JSON

TEST(CommandTable, EveryNameHasAnExampleOfItsOwn) {
  for (auto const& [name, command] : shipped().commands()) {
    const bool is_named = command->example_of(name).script.find(name) != std::string::npos;
    EXPECT_TRUE(is_named || command->names.size() == 1) << name;
  }
}

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
    const auto fails_for = [&script, &expected, &name = name, &command = command](std::size_t count) {
      std::vector<std::string> given;
      for (std::size_t i = 1; i <= count; ++i) given.push_back("w" + std::to_string(i));
      std::vector<std::string> call = given;
      call.insert(call.begin(), name);
      script += "puts $out [list {" + tcl_list(call) + "} [catch {" + tcl_list(call) + "} text] $text]\n";
      std::string text = command->wrong_count_text(name, given);
      for (kdish::CommandError const& error : command->errors)
        if (error.is_before_count && count < command->word_count().least) text = error.text;
      expected += tcl_list({tcl_list(call), "1", text}) + "\n";
    };
    const kdish::WordCount count = command->word_count();
    if (count.least > 0) fails_for(count.least - 1);
    if (count.in_twos) fails_for(count.least + 1);
    if (count.most != kdish::WordCount::kAny) fails_for(count.most + 1);
  }
  const Outcome outcome =
      run_program({places::program("kdish"), folder.file("calls.tcl", script)}, {{}, folder.folder(), "", ""});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.content("result"), expected);
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

// A shell of its own for every script, each in a process that begins where this one is: nothing that a script leaves
// behind helps the next, and no program has to be started, which costs more than most scripts do.
int shell_status(kdish::ShellOptions const& options) {
  Tcl_FindExecutable(places::program("kdish").c_str());
  try {
    static auto* const shell = new kdish::Shell(options);  // never deleted
    const int status = shell->run();
    Tcl_Exit(status);
    return status;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

Outcome shell(std::string const& command, std::string const& folder, bool with_json = false) {
  kdish::ShellOptions options;
  options.json = with_json;
  options.command = command;
  return run_apart([&] { return shell_status(options); }, {{}, folder, "", ""});
}

// One that writes the result of `script` to a file, as it is.
std::string kept_result(std::string const& setup, std::string const& script) {
  return setup + "\nputs -nonewline [set out [open result w]] [" + script + "]; close $out";
}

void expect_shown(std::string const& result, kdish::Example const& example) {
  if (example.is_pattern)
    EXPECT_NE(Tcl_StringMatch(result.c_str(), example.result.c_str()), 0) << result;
  else
    EXPECT_EQ(result, example.result);
}

// A script that writes a file `result`, and what looks at that.
struct Attempt {
  std::string script;
  std::function<void(std::string const& result)> check;
};

class Examples : public testing::TestWithParam<std::string> {
 protected:
  static void SetUpTestSuite() {
    for (char const* const library : kLibraries)  // once and not in every process
      ASSERT_NE(::dlopen(places::library(library).c_str(), RTLD_NOW | RTLD_LOCAL), nullptr) << ::dlerror();
    shipped();
    kdi::device::find_part("zrv9010-f625-1-e");  // what many examples read
    kdi::planning::memory_types();
  }

  template <class Try>
  static void for_each_name(Try attempt) {
    for (auto const& [name, command] : shipped().commands()) {
      if (command->page->family->name != GetParam()) continue;
      if (test_support::kSanitized && name != command->names[0]) continue;  // the optimised build tries all
      const testing::ScopedTrace trace(__FILE__, __LINE__, name);
      attempt(name, *command);
    }
  }

  // What for_each_name finds to run: the results of all scripts go to `check`.
  static void expect_all(std::vector<Attempt> const& attempts) {
    // The shell's own commands and the services work on what the process has, which others of them change.
    const bool is_apart = GetParam() == "kdish" || GetParam() == "services";
    if (test_support::kSanitized && !is_apart) return expect_in_one_process(attempts);
    for (Attempt const& attempt : attempts) {
      const testing::ScopedTrace trace(__FILE__, __LINE__, attempt.script);
      const Scratch folder;
      const Outcome outcome = shell(attempt.script, folder.folder());
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      attempt.check(folder.content("result"));
    }
  }

 private:
  // Under sanitizers a process costs more than most scripts, since all memory is looked through for leaks at its end.
  // So the scripts run one behind another, each in a folder of its own and without the variables of the one before.
  // That none needs what another left is seen by the optimised build.
  static void expect_in_one_process(std::vector<Attempt> const& attempts) {
    if (attempts.empty()) return;
    const Scratch folder;
    std::string script = "set ::attempt_known {}\nset ::attempt_known [info globals]\n";
    for (std::size_t i = 0; i < attempts.size(); ++i) {
      const std::string place = folder.path(std::to_string(i));
      std::filesystem::create_directory(place);
      script +=
          tcl_list({"cd", place}) + "\nif {[catch " + tcl_list({attempts[i].script}) +
          " attempt_text]} { set attempt_out [open error w]; puts $attempt_out $attempt_text; close $attempt_out }\n"
          "foreach attempt_name [info globals] { if {$attempt_name ni $::attempt_known} { unset ::$attempt_name } }\n";
    }
    const Outcome outcome = shell(script, folder.folder());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (std::size_t i = 0; i < attempts.size(); ++i) {
      const testing::ScopedTrace trace(__FILE__, __LINE__, attempts[i].script);
      const std::string place = std::to_string(i) + "/";
      EXPECT_FALSE(std::filesystem::exists(folder.path(place + "error"))) << folder.content(place + "error");
      attempts[i].check(folder.content(place + "result"));
    }
  }
};

TEST_P(Examples, GiveTheResultThatIsShown) {
  std::vector<Attempt> attempts;
  for_each_name([&](std::string const& name, Command const& command) {
    const kdish::Example example = command.example_of(name);
    attempts.push_back({kept_result(example.setup, example.script),
                        [example](std::string const& result) { expect_shown(result, example); }});
  });
  expect_all(attempts);
}

TEST_P(Examples, FailWithTheTextsThatAreShown) {
  std::vector<Attempt> attempts;
  for_each_name([&](std::string const& name, Command const& command) {
    for (kdish::CommandError const& error : command.failures_of(name)) {
      if (error.script.empty()) continue;
      attempts.push_back(
          {"if {![catch {" + error.script + "} text]} {error {no failure}}\n" + kept_result("", "set text"),
           [error](std::string const& result) {
             EXPECT_EQ(error.then.empty() ? result : result.substr(0, error.text.size()), error.text);
           }});
    }
  });
  expect_all(attempts);
}

TEST_P(Examples, GiveJsonOfTheDeclaredShape) {
  for_each_name([](std::string const& name, Command const& command) {
    if (name != command.names[0]) return;  // the shape is one for all
    static int count = 0;
    if (test_support::kSanitized && count++ % 8 != 0)
      return;  // each example has just run; the optimised build tries all
    const kdish::Example example = command.example_of(name);
    const Scratch folder;
    const Outcome outcome = shell(example.setup + "\n" + example.script, folder.folder(), true);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    ASSERT_TRUE(outcome.out.ends_with("\n"));
    EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << "one line";
    const json value = json::parse(outcome.out, nullptr, false);
    ASSERT_FALSE(value.is_discarded()) << outcome.out;
    const bool is_own_result = example.script.starts_with(name);
    EXPECT_EQ(misfit(value, is_own_result ? command.shape : Shape{}, "result"), "");
  });
}

TEST_P(Examples, ShowThatSurplusWordsAreIgnored) {
  std::vector<Attempt> attempts;
  for_each_name([&](std::string const& name, Command const& command) {
    if (!command.ignores_surplus) return;
    const kdish::Example example = command.example_of(name);
    ASSERT_TRUE(example.script.starts_with(name)) << "an example to which words can be added";
    attempts.push_back({kept_result(example.setup, example.script + " surplus words"),
                        [example](std::string const& result) { expect_shown(result, example); }});
  });
  expect_all(attempts);
}

std::vector<std::string> families() {
  std::vector<std::string> names;
  for (auto const& family : shipped().families()) names.push_back(family->name);
  return names;
}
INSTANTIATE_TEST_SUITE_P(Families, Examples, testing::ValuesIn(families()),
                         [](testing::TestParamInfo<std::string> const& family) { return family.param; });

}  // namespace
