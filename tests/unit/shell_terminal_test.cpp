// kdish as a person types it.
#include <gtest/gtest.h>

#include "kdi/common/KdiText.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

constexpr char const* kPrompt = "kdish> ";
constexpr char const* kContinuation = "     > ";
constexpr char const* kControlC = "\x03";
constexpr char const* kControlD = "\x04";
constexpr char const* kUp = "\033[A";

class Terminal : public testing::Test {
 protected:
  Variables variables() const {
    return {{"HOME", folder_.folder()}, {"TERM", "xterm"}, {"LC_ALL", "C.UTF-8"}, {"NO_COLOR", ""}};
  }
  // Types `keys` when the prompt is there.
  static void at_prompt(TerminalSession& session, std::string const& keys) {
    ASSERT_TRUE(session.shows(kPrompt));
    session.type(keys);
  }
  static void give_up(TerminalSession& session) {
    session.type(kControlC);
    ASSERT_TRUE(session.shows("^C\r\n"));
  }
  // The prompt may have been one that was drawn anew, with a command still to run: the end of input that is typed then
  // is the terminal's, which drops it. A person types it again.
  static void leave(TerminalSession& session) {
    constexpr int kTimes = 20;
    at_prompt(session, kControlD);
    for (int i = 0; i < kTimes && !session.ends_soon(); ++i) session.type(kControlD);
    EXPECT_EQ(session.finish(), 0);
  }

  Scratch folder_;
  std::vector<std::string> const words_ = {places::program("kdish")};
};

TEST_F(Terminal, ShowsResultsAndErrors) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "expr {6 * 7}\r");
  EXPECT_TRUE(session.shows("\r\n42\r\n"));
  at_prompt(session, "error {that is wrong}\r");
  EXPECT_TRUE(session.shows("\033[31mthat is wrong\033[0m\r\n"));
  at_prompt(session, "puts [set umlaut \xC3\xA4]; string length $umlaut\r");
  EXPECT_TRUE(session.shows("\r\n\xC3\xA4\r\n1\r\n"));
  leave(session);
}

TEST_F(Terminal, WritesPlainTextWhereNoColourIsWanted) {
  Variables plain = variables();
  plain["NO_COLOR"] = "1";
  TerminalSession session(words_, plain, folder_.folder());
  at_prompt(session, "error {that is wrong}\r");
  EXPECT_TRUE(session.shows("\r\nthat is wrong\r\n"));
  leave(session);
}

TEST_F(Terminal, ShowsMessagesInColour) {
  folder_.file("data/devices/broken.json", "{");
  Variables with_data = variables();
  with_data["KDI_DATA_DIR"] = folder_.path("data");
  TerminalSession session(words_, with_data, folder_.folder());
  at_prompt(session, "list_parts none*\r");
  EXPECT_TRUE(session.shows("\033[31mERROR: [kdish] "));
  EXPECT_TRUE(session.shows("\033[0m\r\n"));
  leave(session);
}

TEST_F(Terminal, ObeysNoControlCharactersOfData) {
  folder_.file("data/devices/\033[2Jbroken.json", "{");
  Variables with_data = variables();
  with_data["KDI_DATA_DIR"] = folder_.path("data");
  TerminalSession session(words_, with_data, folder_.folder());
  at_prompt(session, "format {%c]0;title%c} 27 7\r");
  EXPECT_TRUE(session.shows("\r\n\\u001b]0;title\\u0007\r\n"));
  at_prompt(session, "error [format {a%cb} 155]\r");
  EXPECT_TRUE(session.shows("\033[31ma\\u009bb\033[0m\r\n"));
  at_prompt(session, "list_parts none*\r");
  EXPECT_TRUE(session.shows("/\\u001b[2Jbroken.json:1: "));
  at_prompt(session, "puts [format {%c[1m} 27]\r");
  EXPECT_TRUE(session.shows("\r\n\033[1m\r\n")) << "a script's own output is its own affair";
  leave(session);
}

TEST_F(Terminal, TakesACommandOfSeveralLines) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "proc twice {x} {\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("  return [expr {2 * $x}]\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("}\r");
  at_prompt(session, "twice 21\r");
  EXPECT_TRUE(session.shows("\r\n42\r\n"));
  leave(session);
}

TEST_F(Terminal, CompletesByTab) {
  folder_.file("two words.tcl", "puts {it was sourced}");
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "sd_fec::gen_t\t{sca\t10}\r");
  EXPECT_TRUE(session.shows("config {algorithm 0 scale 10}"));
  at_prompt(session, "source two\t\r");
  EXPECT_TRUE(session.shows("it was sourced\r\n"));
  at_prompt(session, "get_param project.enableC\t\r");
  EXPECT_TRUE(session.shows("\r\nfalse\r\n"));
  at_prompt(session, "get_primitives -p\tzrv7030-c484-1-c -k\tcl\t\r");
  EXPECT_TRUE(session.shows("\r\nMMCM PLL\r\n"));
  at_prompt(session, "proc my_own_procedure {} { return found }\r");
  at_prompt(session, "my_own\t\r");
  EXPECT_TRUE(session.shows("\r\nfound\r\n"));
  leave(session);
}

TEST_F(Terminal, CompletesParametersOfACoreAndExplainsThem) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "set c [coretools::open brenlo:ip:xram:1.0 {part brvn1102-a625-2LHP-e-S}]\r");
  EXPECT_TRUE(session.shows("core0\r\n"));
  at_prompt(session, "coretools::get $c XRAM_ECC_SCRUB_PER\tenab\t\r");
  EXPECT_TRUE(session.shows("\r\nfalse\r\n"));
  at_prompt(session, "coretools::set $c XRAM_SI\t2; coretools::get $c XRAM_SI\tva\t\r");
  EXPECT_TRUE(session.shows("\r\n2\r\n"));
  at_prompt(session, "explain $c XRAM_ECC_SCRUB_PER\t\r");
  EXPECT_TRUE(session.shows(
      "  disabled, for this does not hold: enabled(XRAM_ECC_SCRUB_ENABLE) and XRAM_ECC_SCRUB_ENABLE\r\n"));
  EXPECT_TRUE(session.shows("  what would enable it:\r\n    set XRAM_ECC_SCRUB_ENABLE to 1\r\n"));
  at_prompt(session, "set e [coretools::open brenlo:ip:ps7\t{par\tzrv7030-c484-1-c} {PS7_UART0_PERIPHERAL_E\t1}]\r");
  EXPECT_TRUE(session.shows("core1\r\n"));
  at_prompt(session, "coretools::get $e PS7_UART0_PERIPHERAL_E\tva\t\r");
  EXPECT_TRUE(session.shows("\r\n1\r\n"));
  // A variable that a script watches is not read.
  at_prompt(session, "set d $c; trace add variable d read {apply {args {puts touched}}}; set done 1\r");
  at_prompt(session, "coretools::get $d XRAM_SI\t");
  give_up(session);
  EXPECT_EQ(session.passed().find("touched"), std::string::npos);
  leave(session);
}

TEST_F(Terminal, CompletesChainsAndValuesOfKeys) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "string length [ducddcgen duc_chbw10_C4_pb40_if0_frf92_\t\t");
  EXPECT_TRUE(session.shows("duc_chbw10_C4_pb40_if0_frf92_os3"));
  give_up(session);
  at_prompt(session, "clocktools::setting inp\t100 outputs 100 part zrv7030-c484-1-\t\t");
  EXPECT_TRUE(session.shows("zrv7030-c484-1-c  zrv7030-c484-1-i\r\n"));
  session.type("c\r");
  EXPECT_TRUE(session.shows("setting {"));
  leave(session);
}

// Lists, help and tables are as wide as the terminal, and broken between words.
TEST_F(Terminal, WhatIsShownIsAsWideAsTheTerminal) {
  TerminalSession session(words_, variables(), folder_.folder(), 60);
  at_prompt(session, "list_parts zrv7030\r");
  EXPECT_TRUE(
      session.shows("\r\nzrv7030-c484-1-c zrv7030-c484-1-i zrv7030-c484-2-c\r\nzrv7030-c484-2-i zrv7030-f676-1-c"));
  at_prompt(session, "report_params *CIPS32\r");
  EXPECT_TRUE(
      session.shows("false  default  IP versions that are\r\n                                      bound to the"));
  at_prompt(session, "help list_parts\r");
  EXPECT_TRUE(session.shows("Words:\r\n"));
  EXPECT_TRUE(session.shows("Result: "));
  for (const std::string_view line : kdi::text::lines(session.passed())) EXPECT_LE(line.size(), 61U) << line;
  at_prompt(session, "set x [list_parts zrv7030]; llength $x\r");
  EXPECT_TRUE(session.shows("\r\n8\r\n"));
  TerminalSession narrow(words_, variables(), folder_.folder(), 30);
  at_prompt(narrow, "report_params *CIPS32\r");
  EXPECT_TRUE(narrow.shows("false  default\r\n    IP versions that are bound"));
  leave(narrow);
  leave(session);
}

TEST_F(Terminal, PastedTextIsText) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "\033[200~proc f {} {\r\treturn \xC3\xA4\r}\rf\r\033[201~");
  session.type("\r");
  EXPECT_TRUE(session.shows("\r\n\xC3\xA4\r\n")) << "a tab in it completes nothing, and each line is run";
  at_prompt(session, "\033[200~puts one\nerror two\n\nputs three\033[201~");
  session.type("\r");
  EXPECT_TRUE(session.shows("\r\none\r\n"));
  EXPECT_TRUE(session.shows("\r\nnot run: 2 lines behind this command\r\n"));
  at_prompt(session, "\033[200~list {a\033[201~ b\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("\033[200~c} d\033[201~\r");
  EXPECT_TRUE(session.shows("{a b\r\nc} d\r\n"));
  at_prompt(session, "history 2\r");
  EXPECT_TRUE(session.shows("b\r\n   c} d\r\n")) << "each command is one of the history";
  leave(session);
}

TEST_F(Terminal, ATabAtTheBeginOfALineIsABlank) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "proc f {} {\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("\t\treturn 42\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("}; f\r");
  EXPECT_TRUE(session.shows("\r\n42\r\n"));
  leave(session);
}

TEST_F(Terminal, AStartFileIsReadByASession) {
  folder_.file(".kdishrc", "proc mine {} {return {from \xC3\xA4}}\n");
  folder_.file("other", "proc mine {} {return other}; error {no further}\n");
  {
    TerminalSession session({places::program("kdish"), "--journal", "j"}, variables(), folder_.folder());
    at_prompt(session, "mine\r");
    EXPECT_TRUE(session.shows("\r\nfrom \xC3\xA4\r\n"));
    leave(session);
  }
  EXPECT_EQ(folder_.content("j"),
            "# kdish journal 1\nsource -encoding utf-8 " + folder_.path(".kdishrc") + "\n#= ok\nmine\n#= ok\n");
  Variables around = variables();
  around["KDISH_RC"] = folder_.path("other");
  {
    TerminalSession session(words_, around, folder_.folder());
    EXPECT_TRUE(session.shows("no further"));
    at_prompt(session, "mine\r");
    EXPECT_TRUE(session.shows("\r\nother\r\n")) << "the session goes on";
    leave(session);
  }
  around["KDISH_RC"] = "/nonexistent";
  {
    TerminalSession session(words_, around, folder_.folder());
    EXPECT_TRUE(session.shows("couldn't read file \"/nonexistent\""));
    leave(session);
  }
  const Outcome script = run_program({places::program("kdish"), "-c", "info commands mine"}, {variables(), "", "", ""});
  EXPECT_EQ(script.out, "") << "scripts are the same for everyone";
}

TEST_F(Terminal, ListsWhatATabCannotDecide) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "ldpc::gen_\t");
  EXPECT_TRUE(session.shows("\r\nldpc::gen_core_params  ldpc::gen_ldpc_params\r\n"));
  EXPECT_TRUE(session.shows("ldpc::gen_")) << "the line stands again";
  session.type("core_params {}\r");
  EXPECT_TRUE(session.shows("{12 0 AXIS_WIDTH}"));
  at_prompt(session, "get_part zrv7030-c484-1\t\t");
  EXPECT_TRUE(session.shows("zrv7030-c484-1-c  zrv7030-c484-1-i\r\n"));
  give_up(session);
  leave(session);
}

TEST_F(Terminal, OfManyCandidatesTheFirstAreListed) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "for {set i 100} {$i < 330} {incr i} {proc valve$i {} {}}\r");
  at_prompt(session, "valve\t\t");
  EXPECT_TRUE(session.shows("valve100 "));
  EXPECT_TRUE(session.shows("\r\n... and 30 more\r\n"));
  give_up(session);
  leave(session);
}

TEST_F(Terminal, CompletionEvaluatesNothing) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "set count 0; trace add variable count read {apply {{args} {incr ::reads}}}; set reads 0\r");
  at_prompt(session, "proc info args {incr ::calls}; proc unknown args {incr ::calls}; set calls 0\r");
  at_prompt(session, "list [exit 3] [incr count] $coun\t\t");
  give_up(session);
  at_prompt(session, "no_such_thing [exit 4] \t\t");
  give_up(session);
  at_prompt(session, "if {[exit 5]} {get_par\t\t");
  EXPECT_TRUE(session.shows("get_param"));
  give_up(session);
  at_prompt(session, "list $reads $calls [set count]\r");
  EXPECT_TRUE(session.shows("\r\n0 0 0\r\n"));
  leave(session);
}

TEST_F(Terminal, CompletesInTheSecondLineOfACommand) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "ldpc::gen_core_params {\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type("din_w\t1}\r");
  EXPECT_TRUE(session.shows("{12 4 AXIS_WIDTH}"));
  leave(session);
}

TEST_F(Terminal, KeepsAHistoryFromOneSessionToTheNext) {
  {
    TerminalSession session(words_, variables(), folder_.folder());
    at_prompt(session, "expr 1000 + 1\r");
    at_prompt(session, "list {first\r");
    ASSERT_TRUE(session.shows(kContinuation));
    session.type("second} x\r");
    at_prompt(session, std::string(kUp) + kUp + "\r");
    EXPECT_TRUE(session.shows("\r\n1001\r\n"));
    leave(session);
  }
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, std::string(kUp) + kUp + "\r");
  EXPECT_TRUE(session.shows("{first\r\nsecond} x\r\n")) << "a command of two lines is one entry";
  at_prompt(session,
            "\x12"
            "1000\r\r");  // searched for, backwards
  EXPECT_TRUE(session.shows("\r\n1001\r\n"));
  leave(session);
}

TEST_F(Terminal, AHistoryThatCannotBeKeptIsToldOfOnce) {
  Variables homeless = variables();
  homeless["KDISH_HISTORY"] = "/nonexistent/history";
  TerminalSession session(words_, homeless, folder_.folder());
  at_prompt(session, "expr 1\r");
  EXPECT_TRUE(session.shows("/nonexistent/history: the history cannot be written: No such file or directory\r\n1\r\n"));
  at_prompt(session, "expr 2\r");
  EXPECT_TRUE(session.shows("expr 2\r\n2\r\n"));
  leave(session);
}

TEST_F(Terminal, SessionsShareAHistory) {
  TerminalSession one(words_, variables(), folder_.folder());
  at_prompt(one, "expr 1001\r");
  TerminalSession two(words_, variables(), folder_.folder());
  at_prompt(two, "expr 1002\r");
  ASSERT_TRUE(two.shows("\r\n1002\r\n"));
  at_prompt(one, "expr 1003\r");
  ASSERT_TRUE(one.shows("\r\n1003\r\n"));
  leave(two);
  leave(one);
  EXPECT_EQ(folder_.content(".kdish_history"), "# kdish history 1\nexpr 1001\nexpr 1002\nexpr 1003\n");
}

TEST_F(Terminal, AFileThatIsNoHistoryIsLeftAlone) {
  folder_.file("letter", "Dear reader\n");
  Variables wrong = variables();
  wrong["KDISH_HISTORY"] = folder_.path("letter");
  TerminalSession session(words_, wrong, folder_.folder());
  EXPECT_TRUE(session.shows("letter: holds something else than a history, and is left alone\r\n"));
  at_prompt(session, "expr 1\r");
  EXPECT_TRUE(session.shows("expr 1\r\n1\r\n"));
  leave(session);
  EXPECT_EQ(folder_.content("letter"), "Dear reader\n");
}

TEST_F(Terminal, APromptStandsOnALineOfItsOwn) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "puts -nonewline {half a line}\r");
  EXPECT_TRUE(session.shows("\r\nhalf a line\r\nkdish> "));
  session.type("puts -nonewline stderr {half a line}\r");
  EXPECT_TRUE(session.shows("\r\nhalf a line\r\nkdish> "));
  session.type("puts whole\r");
  EXPECT_TRUE(session.shows("\r\nwhole\r\nkdish> "));
  session.type("close stdout\r");
  at_prompt(session, "expr 1\r");
  EXPECT_TRUE(session.shows("the result cannot be written: Bad file descriptor"));
  leave(session);
}

TEST_F(Terminal, PromptsDoNotMixWithResultsInAFile) {
  TerminalSession session({"/bin/sh", "-c", "exec \"$0\" > out", places::program("kdish")}, variables(),
                          folder_.folder());
  at_prompt(session, "list_parts zrv7030-c484-1-\t\t");
  EXPECT_TRUE(session.shows("zrv7030-c484-1-c  zrv7030-c484-1-i\r\n"));
  EXPECT_TRUE(session.shows("kdish> list_parts zrv7030-c484-1-"));  // the prompt again, before the command runs
  session.type("c\r");
  leave(session);
  EXPECT_EQ(folder_.content("out"), "zrv7030-c484-1-c\n\n");
}

TEST_F(Terminal, NamesOfFilesSendNothingToTheTerminal) {
  folder_.file("odd\033[31m\nname.tcl", "puts {it was sourced}");
  folder_.file("odd.tcl", "");
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "source odd\t");
  EXPECT_TRUE(session.shows("\r\nodd.tcl                  odd\\u001b[31m\\nname.tcl\r\n"));
  session.type("\\u001b\t\r");
  EXPECT_TRUE(session.shows("\r\nit was sourced\r\n"));
  leave(session);
}

TEST_F(Terminal, ControlCGivesALineUp) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, std::string("set gone 1") + kControlC);
  at_prompt(session, "info exists gone\r");
  EXPECT_TRUE(session.shows("\r\n0\r\n"));
  at_prompt(session, "proc f {} {\r");
  ASSERT_TRUE(session.shows(kContinuation));
  give_up(session);
  at_prompt(session, "info commands f\r");
  at_prompt(session, "expr 3\r");
  EXPECT_TRUE(session.shows("\r\n3\r\n"));
  leave(session);
}

TEST_F(Terminal, ControlCInterruptsACommand) {
  TerminalSession session(words_, variables(), folder_.folder());
  for (char const* command :
       {"puts begun; while 1 {}", "puts begun; while 1 {catch {while 1 {incr x}}}", "puts begun; after 1000000",
        "puts begun; vwait for_ever", "proc f {} {puts begun; while 1 {}}; f"}) {
    at_prompt(session, std::string(command) + "\r");
    ASSERT_TRUE(session.shows("\r\nbegun\r\n")) << command;
    session.type(kControlC);
    EXPECT_TRUE(session.shows("interrupted")) << command;
  }
  at_prompt(session, "expr 3\r");
  EXPECT_TRUE(session.shows("\r\n3\r\n"));
  leave(session);
}

// What holds Tcl up is waited for: here a program that does not hear of Ctrl-C, until there is a file.
TEST_F(Terminal, ControlCTellsThatACommandHoldsOn) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "exec sh -c {trap \"\" INT; echo begun; until test -e go; do sleep 0.02; done} >@stdout\r");
  ASSERT_TRUE(session.shows("\r\nbegun\r\n"));
  give_up(session);
  session.type(kControlC);
  EXPECT_TRUE(session.shows("\r\nthe command cannot be interrupted yet; Ctrl-C once more ends kdish\r\n"));
  folder_.file("go", "");
  EXPECT_TRUE(session.shows("interrupted"));
  leave(session);
}

TEST_F(Terminal, APersonsOwnSettingsCountAndNameItsKeys) {
  folder_.file(".editrc", "kdish:bind -l\n");
  TerminalSession session(words_, variables(), folder_.folder());
  EXPECT_TRUE(session.shows("kdish-complete\r\n\tCompletes the word\r\n"));
  EXPECT_TRUE(session.shows("kdish-interrupt\r\n\tGives the line up\r\n"));
  EXPECT_TRUE(session.shows("kdish-paste\r\n\tTakes pasted text as it is\r\n"));
  leave(session);
}

TEST_F(Terminal, ControlDLeavesACommandFirst) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "set x {\r");
  ASSERT_TRUE(session.shows(kContinuation));
  session.type(kControlD);
  at_prompt(session, "info exists x\r");
  EXPECT_TRUE(session.shows("\r\n0\r\n"));
  leave(session);
}

TEST_F(Terminal, ExitHasItsStatus) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "exit 7\r");
  EXPECT_EQ(session.finish(), 7);
}

TEST_F(Terminal, LongWorkIsSeen) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "after 1500; progress {half done} 1 2; after 1000; puts x; set y done\r");
  EXPECT_TRUE(session.shows("\r\033[K[1 s] after 1500; progress"));
  EXPECT_TRUE(session.shows("\r\033[K[2 s] half done (1 of 2)"));
  EXPECT_TRUE(session.shows("\r\033[Kx\r\n")) << "output takes the line's place";
  EXPECT_TRUE(session.shows("done\r\n"));
  at_prompt(session, "after 200\r");
  at_prompt(session, "expr 1\r");
  EXPECT_EQ(session.passed().find("[0 s]"), std::string::npos) << "short work is not";
  leave(session);
}

TEST_F(Terminal, JournalsAndReplays) {
  {
    TerminalSession session({places::program("kdish"), "--journal", "j"}, variables(), folder_.folder());
    at_prompt(session, "set answer \\\r");
    ASSERT_TRUE(session.shows(kContinuation));
    session.type("42\r");
    at_prompt(session, "error no\r");
    leave(session);
  }
  EXPECT_EQ(folder_.content("j"), "# kdish journal 1\nset answer \\\n42\n#= ok\nerror no\n#= error\n");
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "replay j\r");
  EXPECT_TRUE(session.shows("\r\n2\r\n"));
  at_prompt(session, "set answer\r");
  EXPECT_TRUE(session.shows("\r\n42\r\n"));
  leave(session);
}

TEST_F(Terminal, HelpIsAtHand) {
  TerminalSession session(words_, variables(), folder_.folder());
  at_prompt(session, "help\r");
  EXPECT_TRUE(session.shows("Families of commands:"));
  at_prompt(session, "help get_pri\t\r");
  EXPECT_TRUE(session.shows("Example:"));
  leave(session);
}

}  // namespace
