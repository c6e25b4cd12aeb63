// kdish without a person: scripts, single commands, JSON, journals.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/kdish/shell.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/golden.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

Outcome kdish(Words words, Surroundings const& around = {}) {
  words.insert(words.begin(), places::program("kdish"));
  return run_program(words, around);
}
Surroundings in(std::string const& folder) { return {{}, folder, "", ""}; }

// ------------------------------------------------------------------------------------------------ scripts

TEST(Script, GetsItsWordsAndTheCommands) {
  const Scratch folder;
  const std::string path =
      folder.file("a.tcl",
                  "puts [list $argv0 $argc $argv $tcl_interactive]\n"
                  "puts [file tail [info script]]\n"
                  "puts [ldpc::gen_core_params {}]\nputs [get_primitives -part zrv7030-c484-1-c -kind clock]");
  const Outcome outcome =
      kdish({path, "one", "two words", "--json", "\xC3\xA4"}, {{{"LC_ALL", "C.UTF-8"}}, "", "", ""});
  EXPECT_EQ(outcome.out, path + " 4 {one {two words} --json \xC3\xA4} 0\na.tcl\n{12 0 AXIS_WIDTH}\nMMCM PLL\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(Script, EndsWithAStatus) {
  const Scratch folder;
  const auto status = [&](std::string const& text) { return kdish({folder.file("s.tcl", text)}).status; };
  EXPECT_EQ(status("expr 1"), 0);
  EXPECT_EQ(status(""), 0);
  EXPECT_EQ(status("return 5"), 0);
  EXPECT_EQ(status("exit 7"), 7);
  EXPECT_EQ(status("puts {"), 1);
  EXPECT_EQ(status("error x"), 1);
  const Outcome failed = kdish({folder.file("s.tcl", "puts before\nproc f {} {\n  error broken\n}\nf")});
  EXPECT_EQ(failed.out, "before\n");
  EXPECT_EQ(failed.err.substr(0, 16), "broken\n    while");
  EXPECT_NE(failed.err.find("line 5"), std::string::npos) << failed.err;
  const Outcome missing = kdish({"/nonexistent.tcl"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err.substr(0, 42), "couldn't read file \"/nonexistent.tcl\": no ");
}

TEST(Script, MistakesInTheWordsAreOfAStatusOfTheirOwn) {
  const std::pair<Words, std::string> kMistakes[] = {
      {{"--nothing"}, "no option --nothing"},
      {{"-c"}, "no value for -c"},
      {{"--journal"}, "no value for --journal"},
      {{"--journal", ""}, "an empty name for --journal"},
      {{"--color", "blue"}, "--color takes auto, always or never, not \"blue\""},
      {{"--replay"}, "no value for --replay"},
      {{""}, "an empty name of a script"},
      {{"--replay", "a", "b"}, "a journal takes no words"},
  };
  const std::string usage = kdish({"--help"}).out;
  test_support::expect_golden("shell/usage.txt", usage);
  for (auto const& [words, fault] : kMistakes) {
    const Outcome outcome = kdish(words);
    EXPECT_EQ(outcome.status, 2) << words[0];
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "kdish: " + fault + "\n" + usage);
  }
  EXPECT_EQ(kdish({"--version"}).out.substr(0, 6), "kdish ");
}

TEST(Script, AnUnknownCommandIsAnsweredWithCloseOnes) {
  const Outcome outcome = kdish({"-c", "gen_turbo_parms {}"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("\ndid you mean sd_fec::gen_turbo_params?"), std::string::npos) << outcome.err;
}

TEST(Script, StandardInputIsRunCommandByCommandUntilOneFails) {
  const Outcome whole = kdish({}, {{}, "", "set x [list a \\\n  b]\nputs $x; puts [llength {\n 1 2 }]", ""});
  EXPECT_EQ(whole.out, "a b\n2\n");
  EXPECT_EQ(whole.status, 0);
  const Outcome failed = kdish({"-"}, {{}, "", "puts 1\nerror no\nputs 2\n", ""});
  EXPECT_EQ(failed.out, "1\n");
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(kdish({}, {{}, "", "puts {a\n", ""}).status, 1);
  EXPECT_EQ(kdish({}, {{}, "", "gets stdin line\nthe next line\nputs <$line>", ""}).out, "<the next line>\n");
}

TEST(Script, AnErrorFromStandardInputHasALine) {
  const auto fault = [](std::string const& input) {
    const std::string text = kdish({}, {{}, "", input, ""}).err;
    return text.substr(0, text.find('\n'));
  };
  EXPECT_EQ(fault("error no"), "standard input:1: no");
  EXPECT_EQ(fault("\n# a remark\nset x {a\nb}\n\nset y 1; error no\n"), "standard input:6: no");
  EXPECT_EQ(fault("set x 1\nif 1 {\n  set y 1\n\n  error no\n}\n"), "standard input:5: no") << "inside the command";
  EXPECT_EQ(fault("proc f {} {\n  error deep\n}\n\nf"), "standard input:5: deep");
  EXPECT_EQ(fault("set x 1\nputs {a\n"), "standard input:2: missing close-brace");
}

TEST(Script, TextsAreUtf8WhereverTheyComeFrom) {
  const Scratch folder;
  const std::string commands =
      "puts [string length \"\xC3\xA4\xE2\x82\xAC\"]; puts \xC3\xA4; puts [llength [glob -nocomplain \xC3\xBC]]";
  const std::string path = folder.file("s.tcl", commands);
  folder.file("\xC3\xBC", "");
  for (char const* const locale : {"C", "POSIX", "C.UTF-8", ""}) {
    const Surroundings around{{{"LC_ALL", locale}, {"LANG", ""}}, folder.folder(), commands, ""};
    EXPECT_EQ(kdish({path}, around).out, "2\n\xC3\xA4\n1\n") << locale;
    EXPECT_EQ(kdish({}, around).out, "2\n\xC3\xA4\n1\n") << locale;
    EXPECT_EQ(kdish({"-c", commands}, around).out, "2\n\xC3\xA4\n1\n") << locale;
    EXPECT_EQ(kdish({"-c", "puts [string length [lindex $argv 0]]", "\xC3\xA4"}, around).out, "1\n") << locale;
  }
}

TEST(Script, OneCommandPrintsItsResult) {
  EXPECT_EQ(kdish({"-c", "lindex $argv 1", "a", "b"}).out, "b\n");
  EXPECT_EQ(kdish({"-c", "set x 1; list a {b c}"}).out, "a {b c}\n");
  EXPECT_EQ(kdish({"-c", "set x {}"}).out, "");
  EXPECT_EQ(kdish({"-c", "exit 3"}).status, 3);
  EXPECT_EQ(kdish({"-c", "puts a; error b"}).status, 1);
}

TEST(Script, ThePackageMayAskTheShell) {
  const Outcome outcome = kdish({"-c",
                                 "set_param project.enableCIPS32 1; list [get_param project.enableCIPS32] "
                                 "[kdi::get_param project.enableCIPS32] [unset_param project.enableCIPS32]"});
  EXPECT_EQ(outcome.out, "true true false\n");
  EXPECT_EQ(kdish({"-c", "help"}).status, 0);
  constexpr std::pair<char const*, char const*> kFailures[] = {
      {"set_param nothing 1", "parameter \"nothing\" is not declared\n"},
      {"set_param project.enableCIPS32 perhaps",
       "parameter \"project.enableCIPS32\": expected true, yes, on, false, no, off or an integer, found \"perhaps\"\n"},
      {"set_param nothing", "wrong # args: should be \"set_param name value\"\n"},
      {"get_param nothing", "parameter \"nothing\" is not declared\n"},
      {"get_part nothing", "part \"nothing\" is not known; list_parts names them all\n"},
      {"catch {get_part zrv7030-c484-1-x} e; error $e",
       "part \"zrv7030-c484-1-x\" is not known; list_parts names them all\n"},
      {"history x", "expected integer but got \"x\"\n"},
      {"history -1", "a number of commands is not negative\n"},
      {"compare_journals /nonexistent /nonexistent", "/nonexistent: "},
      {"report_part {}", "part \"\" is not known; list_parts names them all\n"},
      {"explain core0", "wrong # args: should be \"explain core parameter ?message?\"\n"},
      {"get_primitives -part", "wrong # args: should be \"get_primitives -part value ?-kind value?\"\n"},
      {"get_primitives -part zrv7030-c484-1-c -kind", "no value for \"-kind\"\n"},
      {"get_primitives -kind clock", "no part given: use -part\n"},
      {"get_primitives -part zrv7030-c484-1-c -kind word", "bad kind \"word\": must be clock, "},
      {"get_primitives x y", "unknown option \"x\": use -part or -kind\n"},
      {"help nothing at all", "wrong # args: should be \"help ?topic?\"\n"},
      {"replay /nonexistent", "/nonexistent: "},
      {"to_json", "wrong # args: should be \"to_json command ?word ...?\"\n"},
      {"progress", "wrong # args: should be \"progress text ?done? ?all?\"\n"},
      {"progress a 1", "a number done needs the number of all as well\n"},
      {"progress a 2 1", "the number done is not from 0 to the number of all\n"},
      {"progress a x 1", "expected integer but got \"x\"\n"},
  };
  for (auto const& [command, fault] : kFailures) {
    const Outcome failed = kdish({"-c", command});
    EXPECT_EQ(failed.status, 1) << command;
    EXPECT_TRUE(failed.err.starts_with(fault)) << command << ": " << failed.err;
  }
}

TEST(Script, PartsAreFoundByTheirBegin) {
  EXPECT_EQ(kdish({"-c", "list_parts zrv7030-c484-2"}).out, "zrv7030-c484-2-c zrv7030-c484-2-i\n");
  EXPECT_EQ(kdish({"-c", "list_parts zrv7030-c484-2-c"}).out, "zrv7030-c484-2-c\n");
  EXPECT_EQ(kdish({"-c", "list_parts zrv7030-c484-2*i"}).out, "zrv7030-c484-2-i\n");
  const Outcome none = kdish({"-c", "list_parts zrv7031-c484"});
  EXPECT_EQ(none.out, "");
  EXPECT_EQ(none.err,
            "WARNING: [kdish] no part begins with \"zrv7031-c484\"; did you mean zrv7030-c484-1-c, zrv7030-c484-1-i, "
            "zrv7030-c484-2-c?\n");
  EXPECT_EQ(kdish({"-c", "list_parts zrv7031*"}).err, "") << "a pattern asks, and none is an answer";
}

TEST(Script, APartThatIsNotKnownIsAnsweredWithNearOnes) {
  for (char const* const command :
       {"report_part zrv7030-c484-1-x", "clocktools::setting part zrv7030-c484-1-x input 100 outputs 100"}) {
    const Outcome outcome = kdish({"-c", command});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("\ndid you mean zrv7030-c484-1-c, zrv7030-c484-1-i, "), std::string::npos)
        << outcome.err;
  }
  EXPECT_EQ(kdish({"-c", "get_part quite_different"}).err.find("did you mean"), std::string::npos);
}

TEST(Script, HistoryPrintsWhatWasTyped) {
  const Scratch folder;
  folder.file("h", "# kdish history 1\nset x 1\nlist {a\\nb}\nset \xC3\xA4 2\n");
  const Surroundings around{{{"KDISH_HISTORY", folder.path("h")}, {"LC_ALL", "C"}}, "", "", ""};
  EXPECT_EQ(kdish({"-c", "history"}, around).out, "1  set x 1\n2  list {a\n   b}\n3  set \xC3\xA4 2\n");
  EXPECT_EQ(kdish({"-c", "history 1"}, around).out, "3  set \xC3\xA4 2\n");
  EXPECT_EQ(kdish({"-c", "history 100"}, around).out, kdish({"-c", "history"}, around).out);
}

TEST(Script, ABrokenDeviceIsToldOfAndLeftOut) {
  const Scratch data;
  data.file("devices/broken.json", "{");
  const Outcome outcome = kdish({"-c", "list_parts zrv7030-c484-1-*"}, {{{"KDI_DATA_DIR", data.folder()}}, "", "", ""});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "zrv7030-c484-1-c zrv7030-c484-1-i\n");
  EXPECT_EQ(outcome.err.substr(0, 15), "ERROR: [kdish] ");
  EXPECT_NE(outcome.err.find("broken.json:1:"), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.err.find('\033'), std::string::npos) << "no colour away from a terminal";
  const Outcome coloured =
      kdish({"--color", "always", "-c", "list_parts none"}, {{{"KDI_DATA_DIR", data.folder()}}, "", "", ""});
  EXPECT_EQ(coloured.err.substr(0, 12), "\033[31mERROR: ");
}

TEST(Script, ABrokenTableIsNamedWhereItIsNeeded) {
  const Scratch data;
  data.file("commands/broken.json", "\n{\"format\": 3}");
  const Surroundings around{{{"KDI_DATA_DIR", data.folder()}}, "", "", ""};
  const auto is_named = [](Outcome const& outcome) {
    EXPECT_EQ(outcome.status, 1);
    return outcome.err.find("broken.json:2: format: ") != std::string::npos;
  };
  EXPECT_TRUE(is_named(kdish({"-c", "help"}, around)));
  EXPECT_TRUE(is_named(kdish({"-c", "to_json list x"}, around)));
  const Outcome with_json = kdish({"--json", "-c", "puts before"}, around);
  EXPECT_TRUE(is_named(with_json));
  EXPECT_EQ(with_json.err.find("before"), std::string::npos) << "before anything runs";
  const Outcome unknown = kdish({"-c", "get_para"}, around);
  EXPECT_TRUE(is_named(unknown));
  EXPECT_NE(unknown.err.find("invalid command name \"get_para\""), std::string::npos) << unknown.err;
  EXPECT_EQ(kdish({"-c", "expr 1"}, around).out, "1\n") << "what does not need the table runs";
}

TEST(Script, OutputThatNobodyTakesIsAFailure) {
  for (Words const& words :
       {Words{"-c", "while 1 {puts x}"}, {"-c", "expr 1"}, {"--json", "-c", "expr 1"}, {"-c", "puts x"}}) {
    const Outcome outcome = kdish(words, {{}, "", "", "|"});
    EXPECT_EQ(outcome.status, 1) << words.back();
    EXPECT_NE(outcome.err.find("roken pipe"), std::string::npos) << outcome.err;
    const Outcome full = kdish(words, {{}, "", "", "/dev/full"});
    EXPECT_EQ(full.status, 1) << words.back();
    EXPECT_NE(full.err.find("o space left"), std::string::npos) << full.err;
  }
  EXPECT_EQ(kdish({"-c", "expr 1"}, {{}, "", "", "/dev/full"}).err,
            "the result cannot be written: No space left on device\n");
  EXPECT_EQ(kdish({"-c", "fconfigure stdout -buffering full; puts x"}, {{}, "", "", "/dev/full"}).err,
            "the output cannot be written: No space left on device\n");
}

// What is closed is a stream that fails, and no place for the next file that is opened.
TEST(Script, ClosedStreamsAreFailures) {
  const Scratch folder;
  const auto run = [&](std::string const& words) {
    return run_program({"/bin/sh", "-c", "exec \"$0\" " + words, places::program("kdish")}, in(folder.folder()));
  };
  EXPECT_EQ(run("-c 'puts hi' >&-").status, 1);
  EXPECT_EQ(run("-c 'expr 1' >&-").status, 1);
  EXPECT_EQ(run("--json -c 'expr 1' >&-").status, 1);
  EXPECT_EQ(run("--journal j -c 'expr 1; error loud' 2>&-").status, 1);
  EXPECT_EQ(folder.content("j"), "# kdish journal 1\nexpr 1; error loud\n#= error\n");
  EXPECT_EQ(run("-c 'close [open f w]; set h [open f w]; catch {puts loud}; close $h; file size f' <&- 2>&-").out,
            "loud\n0\n");
}

// A program around the shell may have closed them in turn.
TEST(Script, AShellForJsonNeedsBothStreams) {
  const Outcome outcome = run_apart([] {
    ::close(STDERR_FILENO);
    try {
      kdish::ShellOptions options;
      options.json = true;
      new kdish::Shell(options);  // which goes no further
    } catch (std::exception const& error) {
      std::puts(error.what());
    }
    return 0;
  });
  EXPECT_EQ(outcome.out, "standard output cannot be used: Bad file descriptor\n");
}

TEST(Script, StandardInputThatCannotBeReadIsAFailure) {
  const Outcome outcome = run_program({"/bin/sh", "-c", "exec \"$0\" < /", places::program("kdish")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "standard input cannot be read: Is a directory\n");
}

TEST(Script, NumbersAreTheSameUnderEveryLocale) {
  const DecimalComma comma;
  const Surroundings german{{{"LC_ALL", "de_DE.UTF-8"}, {"LOCPATH", places::locales()}}, "", "", ""};
  for (char const* command :
       {"expr {1.5 * 3}", "get_part zrv7030-c484-1-c", "fir_compiler_fftalgorithm::get_frequency_response {1.5 2.25}",
        "report_part zrv7030-c484-1-c"}) {
    ::setenv("LC_ALL", "C", 1);
    const Outcome plain = kdish({"--json", "-c", command});
    const Outcome other = kdish({"--json", "-c", command}, german);
    ::unsetenv("LC_ALL");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out, other.out);
    EXPECT_FALSE(json::parse(other.out, nullptr, false).is_discarded());
  }
  EXPECT_EQ(kdish({"-c", "expr 1.5"}, german).out, "1.5\n");
}

// ------------------------------------------------------------------------------------------------ JSON

TEST(Json, IsAloneOnStandardOutput) {
  const Scratch folder;
  folder.file("t.csv", "a\n1");
  const Outcome outcome = kdish({"--json", "-c", "puts noise; VCUAPI::read_csv t.csv extra"}, in(folder.folder()));
  EXPECT_EQ(outcome.out, "[\"a@1\"]\n");
  EXPECT_NE(outcome.err.find("noise"), std::string::npos);
  EXPECT_NE(outcome.err.find("Able to open file"), std::string::npos) << "what the library itself prints";
}

TEST(Json, FollowsTheLastCommandOfAScript) {
  EXPECT_EQ(kdish({"--json", "-c", "::sd_fec::gen_turbo_params {}; expr 7"}).out, "\"7\"\n");
  EXPECT_EQ(kdish({"--json", "-c", "set x 1 ;\n ::sd_fec::gen_core_params {} ; # done"}).out,
            "[{\"address\":20,\"data\":0,\"comment\":\"FEC_CODE\"},{\"address\":12,\"data\":0,\"comment\":\"AXIS_"
            "WIDTH\"}]\n");
  const Scratch folder;
  EXPECT_EQ(kdish({"--json", folder.file("j.tcl", "puts log\nlist_parts zrv7030-c484-1-c")}).out,
            "[\"zrv7030-c484-1-c\"]\n");
  EXPECT_EQ(kdish({"--json"}, {{}, "", "expr 1\nlist_parts zrv7030-c484-1-c", ""}).out,
            "\"1\"\n[\"zrv7030-c484-1-c\"]\n");
}

TEST(Json, AScriptMayComeFromAPipe) {
  const Scratch folder;
  folder.file("j.tcl", "puts log\nlist_parts zrv7030-c484-1-c");
  const Outcome outcome = run_program(
      {"/bin/sh", "-c", "mkfifo pipe; cat j.tcl > pipe & exec timeout 20 \"$0\" --json pipe", places::program("kdish")},
      in(folder.folder()));
  EXPECT_EQ(outcome.out, "[\"zrv7030-c484-1-c\"]\n") << outcome.err;
  EXPECT_EQ(outcome.status, 0);
}

TEST(Json, ChildrenCannotWriteAmongTheResults) {
  const Outcome outcome = kdish(
      {"--json", "-c",
       "exec sh -c {for i in 1 3 4 5 6 7 8 9; do sh -c \"echo noise >&$i\"; done; true} >@stdout 2>@stderr; expr 1"});
  EXPECT_EQ(outcome.out, "\"1\"\n") << outcome.err;
}

TEST(Json, ThereIsNoneForAFailure) {
  const Outcome outcome = kdish({"--json", "-c", "sd_fec::gen_core_params"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err.substr(0, 27), "Invalid number of arguments");
}

TEST(Json, AResultOfAnotherShapeIsRefused) {
  const Outcome outcome = kdish({"--json", "-c", "proc list_parts {} { return \"\\{\" }; list_parts"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err.find("not as declared"), std::string::npos) << outcome.err;
}

TEST(Json, ManyCodesKeepTheirOrder) {
  const std::string code =
      "{n 24 k 12 p 4 sm_array {{row 0 col 0 shift 0} {row 0 col 3 shift 1} {row 1 col 1 shift 0} {row 1 col 4 "
      "shift 3} {row 2 col 2 shift 2} {row 2 col 5 shift 0}}}";
  const Outcome outcome = kdish({"--json", "-c", "ldpc::gen_ldpc_params {zeta " + code + " alpha " + code + "}"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto value = nlohmann::ordered_json::parse(outcome.out);
  EXPECT_EQ(value["config"].begin().key(), "zeta");
  EXPECT_EQ(value["config"]["alpha"]["n"], 24);
  EXPECT_TRUE(value["config"]["alpha"]["enc_OK"].is_boolean());
}

TEST(Script, GetsBytesAsTheyAreWhereThereIsNoTerminal) {
  EXPECT_EQ(kdish({"-c", "format %c 27"}).out, "\033\n");
  EXPECT_EQ(kdish({"-c", "error [format %c 27]"}).err.substr(0, 7), "\\u001b\n") << "told to people all the same";
}

// ------------------------------------------------------------------------------------------------ journals

constexpr char const* kHeader = "# kdish journal 1\n";

TEST(Journal, HoldsTheCommandsAndHowTheyEnded) {
  const Scratch folder;
  const Outcome outcome = kdish(
      {"--journal", "j"}, {{}, folder.folder(), "set x {a\nb}\n# a remark\n\nputs $x\nerror no\nputs later\n", ""});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(folder.content("j"),
            std::string(kHeader) + "set x {a\nb}\n#= ok\n;# a remark\n#= ok\nputs $x\n#= ok\nerror no\n#= error\n");
}

TEST(Journal, IsReplayedAndGoesOn) {
  const Scratch folder;
  kdish({"--journal", "j", "-c", "set x [list_parts zrv7030-c484-1-*]; llength $x"}, in(folder.folder()));
  kdish({"--journal", "j", "-c", "# what follows\nputs [ldpc::gen_core_params {}]"}, in(folder.folder()));
  kdish({"--journal", "j", "-c", "no_such_command"}, in(folder.folder()));
  kdish({"--journal", "j", "-c", "puts {"}, in(folder.folder()));
  const Outcome outcome = kdish({"--replay", "j"}, in(folder.folder()));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("\n2\n"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("\n{12 0 AXIS_WIDTH}\n"), std::string::npos) << outcome.out;
}

TEST(Journal, AReplayStopsWhereTheOutcomeDiffers) {
  const Scratch folder;
  folder.file("j", std::string(kHeader) + "set x 1\n#= ok\nexpr {\n  $y\n}\n#= ok\nputs later\n#= ok\n");
  const Outcome outcome = kdish({"--replay", "j"}, in(folder.folder()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("j:4: the command succeeded when it was journalled, and fails now: can't read \"y\""),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(outcome.out.find("later"), std::string::npos);
  folder.file("j", std::string(kHeader) + "expr 1\n#= error\n");
  const Outcome better = kdish({"--replay", "j"}, in(folder.folder()));
  EXPECT_EQ(better.status, 1);
  EXPECT_EQ(better.err, "j:2: the command failed when it was journalled, and succeeds now\n");
}

TEST(Journal, AReplayShowsAnErrorThatIsExpected) {
  const Scratch folder;
  folder.file("j", std::string(kHeader) + "error {that is so}\n#= error\nset x 1\n#= ok\n");
  const Outcome outcome = kdish({"--replay", "j"}, in(folder.folder()));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "% error {that is so}\nerror: that is so\n% set x 1\n1\n");
}

TEST(Journal, IsComparedWithAnother) {
  const Scratch folder;
  const auto compared = [&](std::string const& first, std::string const& second) {
    folder.file("a", std::string(kHeader) + first);
    folder.file("b", std::string(kHeader) + second);
    const Outcome outcome = kdish({"-c", "compare_journals a b"}, in(folder.folder()));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  };
  const std::string whole = "set x 1\n#= ok\nlist {\n a}\n#= ok\nset z 3\n#= error\n";
  EXPECT_EQ(compared(whole, whole), "");
  EXPECT_EQ(compared("", ""), "");
  EXPECT_EQ(compared(whole, ""), "a:2: only here: set x 1\na:4: only here: list {\n a}\na:7: only here: set z 3\n");
  EXPECT_EQ(compared("set y 1\n#= ok\n", "set x 1\n#= ok\nset y 1\n"),
            "b:2: only here: set x 1\na:2: ended well, in b:4 in a way that is not told: set y 1\n");
  EXPECT_EQ(compared(whole, "set x 1\n#= ok\nset y 2\n#= ok\nset z 3\n#= ok\n"),
            "a:4: only here: list {\n a}\nb:4: only here: set y 2\n"
            "a:7: ended with an error, in b:6 well: set z 3\n");
  EXPECT_EQ(compared("set x 1\n#= ok\nputs {", "set x 1\n#= ok\nputs {"), "");
  EXPECT_EQ(compared("puts {}\n#= ok\n", "puts {}"),
            "a:2: ended well, in b:2 in the middle of the command, where the journal breaks off: puts {}\n");
}

// Each of the fewest differences is told, whatever stands around them.
TEST(Journal, OfLongJournalsTheFewestDifferencesAreTold) {
  const Scratch folder;
  std::string first(kHeader), second(kHeader), other(kHeader);
  for (int i = 0; i < 3000; ++i) {
    const std::string entry = "set x" + std::to_string(i % 7) + " " + std::to_string(i % 11) + "\n#= ok\n";
    first += entry;
    if (i % 1000 != 500) second += entry;
    other += "set y " + std::to_string(i) + "\n#= ok\n";
  }
  folder.file("a", first);
  folder.file("b", second);
  folder.file("c", other);
  const std::string found = kdish({"-c", "compare_journals a b"}, in(folder.folder())).out;
  EXPECT_EQ(std::count(found.begin(), found.end(), '\n'), 3) << found;
  EXPECT_EQ(found.find("b:"), std::string::npos);
  EXPECT_EQ(kdish({"-c", "compare_journals a c"}, in(folder.folder())).out,
            "more than 1000 commands stand in one of the journals alone\n");
}

TEST(Journal, ItsLastCommandMayLackAnEnd) {
  const Scratch folder;
  kdish({"--journal", "j", "-c", "puts bye; exit 4"}, in(folder.folder()));
  EXPECT_EQ(folder.content("j"), std::string(kHeader) + "puts bye; exit 4\n");
  EXPECT_EQ(kdish({"--replay", "j"}, in(folder.folder())).status, 4);
}

// A command that breaks off may be another command: none of it is run, and nothing is written behind it.
TEST(Journal, ThatBreaksOffInACommandIsRunUpToThere) {
  const Scratch folder;
  for (char const* const cut : {"file mkdir made_of", "puts {a", "puts {a\n", "set x 2\n#", "file mkdir made;\\"}) {
    const std::string text = std::string(kHeader) + "puts before\n#= ok\n" + cut;
    folder.file("j", text);
    const Outcome outcome = kdish({"--replay", "j"}, in(folder.folder()));
    EXPECT_EQ(outcome.status, 1) << cut;
    EXPECT_NE(outcome.out.find("\nbefore\n"), std::string::npos);
    EXPECT_EQ(outcome.err, "j:4: the journal breaks off in the middle of this command, which is not run\n");
    const Outcome more = kdish({"--journal", "j", "-c", "puts ran"}, in(folder.folder()));
    EXPECT_EQ(more.status, 1);
    EXPECT_EQ(more.out, "");
    EXPECT_EQ(more.err, "kdish: j:4: the journal breaks off in the middle of this command, and is left alone\n");
    EXPECT_EQ(folder.content("j"), text);
  }
  for (char const* const whole : {"", "\n", "\n#= ok", "\n#= o", "\n#=", "\n#= ok\n#> half of a rem"}) {
    folder.file("j", std::string(kHeader) + "set x 1" + whole + (*whole == '\0' ? "\n" : ""));
    EXPECT_EQ(kdish({"--journal", "j", "-c", "set y 2"}, in(folder.folder())).status, 0) << whole;
    const Outcome outcome = kdish({"-c", "replay j"}, in(folder.folder()));
    EXPECT_EQ(outcome.out, "% set x 1\n1\n% set y 2\n2\n2\n") << whole;
  }
}

TEST(Journal, GoesOnBehindACommandThatEndedTheProcess) {
  const Scratch folder;
  kdish({"--journal", "j", "-c", "exit 4"}, in(folder.folder()));
  kdish({"--journal", "j", "-c", "error no"}, in(folder.folder()));
  EXPECT_EQ(folder.content("j"), std::string(kHeader) + "exit 4\n#= unknown\nerror no\n#= error\n");
  EXPECT_EQ(kdish({"-c", "proc exit args {}; replay j"}, in(folder.folder())).status, 0);
}

TEST(Journal, TellsCommandsFromItsOwnRemarks) {
  const Scratch folder;
  for (char const* const command : {"set x 1\n#= error\nset x 2", "set x 2\n#> a \\\nexit 3\nset x 2"}) {
    kdish({"--journal", "j", "-c", command}, in(folder.folder()));
    const Outcome outcome = kdish({"-c", "replay j; set x"}, in(folder.folder()));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with("\n2\n")) << outcome.out;
  }
}

TEST(Journal, IsReadByNobodyElse) {
  const Scratch folder;
  kdish({"--journal", "j", "-c", "set x 1"}, in(folder.folder()));
  EXPECT_EQ(std::filesystem::status(folder.path("j")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(Journal, IsWrittenByOneProcess) {
  const Scratch folder;
  const Outcome outcome =
      kdish({"--journal", "j", "-c", "journal j; exec [info nameofexecutable] --journal j -c {puts ran}"},
            in(folder.folder()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n')),
            "kdish: j: this journal is being written by another process");
}

TEST(Journal, AReplayThatCannotBeShownIsAFailure) {
  const Scratch folder;
  folder.file("j", std::string(kHeader) + "set x 1\n#= ok\n");
  EXPECT_EQ(kdish({"--replay", "j"}, {{}, folder.folder(), "", "/dev/full"}).status, 1);
}

TEST(Journal, TellsHowToRunAScriptAgain) {
  const Scratch folder;
  folder.file("s.tcl", "puts <[lindex $argv 0]>");
  EXPECT_EQ(kdish({"--journal", "j", "s.tcl", "a b"}, in(folder.folder())).status, 0);
  const Outcome outcome = kdish({"--replay", "j"}, in(folder.folder()));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("<a b>\n"), std::string::npos) << outcome.out;
}

TEST(Journal, ThatCannotBeWrittenKeepsTheCommandsFromRunning) {
  const Scratch folder;
  folder.file("letter", "Dear reader");
  for (std::string const path : {"/nonexistent/j", ".", "letter", "/dev/full"}) {
    const Outcome outcome = kdish({"--journal", path, "-c", "puts ran"}, in(folder.folder()));
    EXPECT_EQ(outcome.status, 1) << path;
    EXPECT_EQ(outcome.out, "") << path;
    EXPECT_NE(outcome.err.find(path + ": "), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(kdish({"--journal", "letter", "-c", "puts ran"}, in(folder.folder())).err,
            "kdish: letter: holds something else than a journal, and is left alone\n");
  EXPECT_EQ(folder.content("letter"), "Dear reader");
  EXPECT_EQ(kdish({"-c", "journal /dev/full"}).status, 1);
}

TEST(Journal, ThatNoLongerCanBeWrittenIsToldOfOnceAndTheCommandsRun) {
  const Scratch folder;
  // the file may take 64 blocks of 512 bytes at most
  const Outcome outcome = run_program(
      {"/bin/sh", "-c", "ulimit -f 1; exec \"$0\" --journal j", places::program("kdish")},
      {{}, folder.folder(), "set x " + std::string(2000, 'a') + "\nputs [string length $x]\nputs more\n", ""});
  EXPECT_EQ(outcome.out, "2000\nmore\n");
  EXPECT_EQ(outcome.status, 1) << outcome.err;
  EXPECT_EQ(outcome.err, "j: the journal ends here: it cannot be written: File too large\n");
  EXPECT_EQ(outcome.err.find("ends here"), outcome.err.rfind("ends here"));
}

TEST(Journal, OtherFilesAreNoJournals) {
  const Scratch folder;
  folder.file("letter", "Dear reader");
  for (char const* name : {"letter", "nothing", "."})
    EXPECT_EQ(kdish({"--replay", name}, in(folder.folder())).status, 1) << name;
  EXPECT_EQ(kdish({"--replay", "letter"}, in(folder.folder())).err, "letter: is no journal\n");
  folder.file("j", kHeader);
  EXPECT_EQ(kdish({"-c", "replay j"}, in(folder.folder())).out, "0\n");
  EXPECT_EQ(kdish({"--journal", "j", "-c", "replay j"}, in(folder.folder())).status, 1) << "it is being written";
  folder.file("k", std::string(kHeader) + "replay k\n");
  EXPECT_EQ(kdish({"--replay", "k"}, in(folder.folder())).status, 0)
      << "the inner one fails, with no ending to hold it to";
}

TEST(Journal, AScriptMayBeginAndEndIt) {
  const Scratch folder;
  const Outcome outcome =
      kdish({}, {{}, folder.folder(), "set a 1\njournal j\nset b 2\nputs [journal]\njournal {}\nset c 3\n", ""});
  EXPECT_EQ(outcome.out, "j\n");
  EXPECT_EQ(folder.content("j"), std::string(kHeader) + "set b 2\n#= ok\nputs [journal]\n#= ok\njournal {}\n");
  EXPECT_EQ(kdish({"--replay", "j"}, in(folder.folder())).status, 0);
}

}  // namespace
