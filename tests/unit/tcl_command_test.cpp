// How a command meets Tcl: rows, the count of words, exceptions, results.
#include <gtest/gtest.h>

#include <stdexcept>

#include "kdi/tcl/command.h"

namespace {

struct Context {
  std::string text = "of the host";
};

int calls = 0;

int plain(ClientData, Tcl_Interp* interp, int objc, Tcl_Obj* const[]) {
  ++calls;
  return tcl::succeed(interp, objc - 1);
}
int throwing(ClientData, Tcl_Interp*, int, Tcl_Obj* const objv[]) {
  const std::string kind = Tcl_GetString(objv[1]);
  if (kind == "exception") throw std::runtime_error("an exception");
  if (kind == "text") throw std::string("a text");
  if (kind == "characters") throw "characters";
  throw 17;
}
void nothing(tcl::Words) { ++calls; }
std::string joined(tcl::Words words) {
  std::string all;
  for (Tcl_Obj* const word : words) all += tcl::text_of(word);
  return all;
}
Tcl_Obj* object(tcl::Words words) { return tcl::new_list(words); }
int integer(tcl::Words words) { return static_cast<int>(words.size()); }
int code(Tcl_Interp* interp, tcl::Words words) { return tcl::fail(interp, words[0]); }
std::string from_host(Context& context, tcl::Words) { return context.text; }

using tcl::handler;

constexpr tcl::Row kCommands[] = {
    {"exactly", plain, tcl::exactly(1, "{name} takes one")},
    {{"between", "n::between"}, plain, tcl::between(1, 3, "{name}: not {2}{4}, {0}")},
    {"gaps", plain, tcl::exactly(2, "{0}|{1}|{9}|{x}|{10}|{:}|{/}|{")},
    {"ends", plain, tcl::exactly(2, "{1")},
    {"at_least", plain, tcl::at_least(2, tcl::kNotEnough)},
    {"pairs", plain, tcl::pairs_behind(1, tcl::usage("name ?key value ...?"))},
    {"any", plain, tcl::kAnyWords},
    {"throwing", throwing, tcl::exactly(1, "")},
    {"nothing", handler<nothing>, tcl::kAnyWords},
    {"joined", handler<joined>, tcl::kAnyWords},
    {"object", handler<object>, tcl::kAnyWords},
    {"integer", handler<integer>, tcl::kAnyWords},
    {"code", handler<code>, tcl::exactly(1, "")},
    {"from_host", handler<from_host>, tcl::kAnyWords},
};

class TclCommand : public testing::Test {
 protected:
  TclCommand() : interp_((Tcl_FindExecutable(nullptr), Tcl_CreateInterp())) {
    tcl::register_all<kCommands>(interp_, &context_);
    calls = 0;
  }
  ~TclCommand() override { Tcl_DeleteInterp(interp_); }

  std::string ok(std::string const& script) { return result(script, TCL_OK); }
  std::string error(std::string const& script) { return result(script, TCL_ERROR); }

  Context context_;
  Tcl_Interp* interp_;

 private:
  std::string result(std::string const& script, int expected) {
    EXPECT_EQ(Tcl_Eval(interp_, script.c_str()), expected) << script;
    return Tcl_GetStringResult(interp_);
  }
};

TEST_F(TclCommand, AHandlerRunsWithAsManyWordsAsItsRowAllows) {
  for (char const* script : {"exactly a", "between a", "between a b", "between a b c", "at_least a b",
                             "at_least a b c d e f g h i j k l", "pairs a", "pairs a b c", "any", "any a b"})
    ok(script);
  EXPECT_EQ(calls, 10);
}

TEST_F(TclCommand, AHandlerDoesNotRunWithOthers) {
  for (char const* script : {"exactly", "exactly a b", "between", "between a b c d", "at_least", "at_least a", "pairs",
                             "pairs a b", "pairs a b c d"})
    error(script);
  EXPECT_EQ(calls, 0);
}

TEST_F(TclCommand, AWrongCountIsToldByTheNameAndTheWordsOfTheCall) {
  EXPECT_EQ(error("exactly"), "exactly takes one");
  EXPECT_EQ(error("between a {b 2} c d"), "between: not b 2d, between");
  EXPECT_EQ(error("n::between"), "n::between: not , n::between") << "each name tells of itself";
  EXPECT_EQ(error("::n::between"), "n::between: not , ::n::between") << "the registered name";
  EXPECT_EQ(error("between a [string repeat x 200] c d"), "between: not " + std::string(200, 'x') + "d, between");
  EXPECT_EQ(error("between a [string repeat x 201] c d"), "between: not " + std::string(197, 'x') + "...d, between");
  EXPECT_EQ(error("between a [string repeat x 196][string repeat \u00e9 3] c d"),
            "between: not " + std::string(196, 'x') + "...d, between");
  EXPECT_EQ(error("gaps"), "gaps|||{x}|{10}|{:}|{/}|{") << "what is no number of a word stays";
  EXPECT_EQ(error("gaps a"), "gaps|a||{x}|{10}|{:}|{/}|{");
  EXPECT_EQ(error("gaps 1 2 3 4 5 6 7 8 9"), "gaps|1|9|{x}|{10}|{:}|{/}|{");
  EXPECT_EQ(error("gaps 1 2 3 4 5 6 7 8"), "gaps|1||{x}|{10}|{:}|{/}|{");
  EXPECT_EQ(error("ends a"), "{1");
  EXPECT_EQ(error("at_least a"), "at_least : Not enough arguments");
  EXPECT_EQ(error("pairs"), "wrong # args: should be \"pairs name ?key value ...?\"");
}

TEST_F(TclCommand, AnExceptionIsAnErrorOfTheCommand) {
  EXPECT_EQ(error("throwing exception"), "an exception");
  EXPECT_EQ(error("throwing text"), "a text");
  EXPECT_EQ(error("throwing characters"), "characters");
  EXPECT_EQ(error("throwing number"), "unknown exception");
}

TEST_F(TclCommand, AFunctionGetsWhatItAsksForAndReturnsTheResult) {
  EXPECT_EQ(ok("nothing a"), "");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(ok("joined a {b c}"), "ab c");
  EXPECT_EQ(ok("object a {b c}"), "a {b c}");
  EXPECT_EQ(ok("integer a b"), "2") << "a result, not Tcl's code";
  EXPECT_EQ(error("code reason"), "reason") << "Tcl's code of a function that sets the result";
  EXPECT_EQ(ok("from_host"), "of the host");
}

TEST_F(TclCommand, EveryNameOfARowIsACommandWithTheGivenData) {
  Tcl_CmdInfo info{};
  for (char const* name : {"exactly", "between", "n::between"}) {
    ASSERT_NE(Tcl_GetCommandInfo(interp_, name, &info), 0);
    EXPECT_EQ(info.objClientData, &context_);
    EXPECT_EQ(info.deleteProc, nullptr);
  }
}

}  // namespace
