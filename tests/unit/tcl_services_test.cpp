// Evaluating Tcl from C++: which interpreter, at which level, and who hears of it.
#include <gtest/gtest.h>
#include <tcl.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "kdi/common/HTCTclInterp.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/TclHost.h"
#include "kdi/common/tcltasks.h"

namespace {

using hdi::tcltasks::task_manager;
using hdi::tcltasks::tclcmdobj;
using Texts = std::vector<std::string>;

class TclServices : public testing::Test {
 protected:
  ~TclServices() override {
    tcl_host::set_journal({});
    tcl_host::set_default_interp(nullptr);
  }
  message_host::Capture messages_;
};

int quietly(Tcl_Interp* interp, std::string const& command) {
  return tclcmdobj(interp, command, task_manager::dont_record_command, true);
}

// In a process of its own, this test sees Tcl before anything has set it up.
TEST_F(TclServices, MakeAPrivateInterpreterOnce) {
  Tcl_Interp* const interp = HTCTclInterp::getDefaultInterp();
  ASSERT_NE(interp, nullptr);
  EXPECT_EQ(HTCTclInterp::getDefaultInterp(), interp);
  EXPECT_EQ(task_manager::eval_in_tcl("lsort {b a}", nullptr, false), TCL_OK);
  EXPECT_EQ(task_manager::tcl_get_result(), "a b");
  EXPECT_STREQ(Tcl_GetStringResult(interp), "a b");
}

TEST_F(TclServices, UseTheInterpreterThatTheHostNamedWhileItLives) {
  Tcl_Interp* const first = Tcl_CreateInterp();
  Tcl_Interp* const second = Tcl_CreateInterp();
  tcl_host::set_default_interp(first);
  EXPECT_EQ(HTCTclInterp::getDefaultInterp(), first);
  tcl_host::set_default_interp(second);
  Tcl_DeleteInterp(first);
  EXPECT_EQ(HTCTclInterp::getDefaultInterp(), second);
  EXPECT_EQ(quietly(nullptr, "set where second"), TCL_OK);
  EXPECT_STREQ(Tcl_GetVar(second, "where", TCL_GLOBAL_ONLY), "second");
  Tcl_DeleteInterp(second);
  Tcl_Interp* const own = HTCTclInterp::getDefaultInterp();
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(Tcl_InterpDeleted(own), 0);
}

TEST_F(TclServices, GiveStatusAndResult) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  EXPECT_EQ(quietly(interp, "set x {a b {c d}}"), TCL_OK);
  EXPECT_STREQ(Tcl_GetStringResult(interp), "a b {c d}");
  EXPECT_EQ(quietly(interp, "error wrong"), TCL_ERROR);
  EXPECT_STREQ(Tcl_GetStringResult(interp), "wrong");
  EXPECT_EQ(quietly(interp, ""), TCL_OK);
  EXPECT_EQ(quietly(interp, "set x {"), TCL_ERROR);
  EXPECT_EQ(task_manager::eval_in_tcl("string repeat ab 3", interp, false), TCL_OK);
  EXPECT_EQ(task_manager::tcl_get_result(), "ababab");
  EXPECT_EQ(task_manager::eval_in_tcl("nocommand", interp, false), TCL_ERROR);
  EXPECT_EQ(task_manager::tcl_get_result(), "invalid command name \"nocommand\"");
  EXPECT_TRUE(messages_.lines().empty());
  Tcl_DeleteInterp(interp);
}

TEST_F(TclServices, EvaluateAtTopLevel) {
  static Tcl_Interp* interp = Tcl_CreateInterp();
  Tcl_CreateObjCommand(
      interp, "from_cpp",
      [](ClientData, Tcl_Interp* i, int, Tcl_Obj* const[]) { return quietly(i, "set seen [info level]"); }, nullptr,
      nullptr);
  EXPECT_EQ(Tcl_Eval(interp, "proc p {} { set seen local; from_cpp; set seen }; p"), TCL_OK);
  EXPECT_STREQ(Tcl_GetStringResult(interp), "local");
  EXPECT_STREQ(Tcl_GetVar(interp, "seen", TCL_GLOBAL_ONLY), "0");
  Tcl_DeleteInterp(interp);
}

TEST_F(TclServices, SendAnErrorUnlessQuiet) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  EXPECT_EQ(tclcmdobj(interp, "error {100 %s}", task_manager::dont_record_command, false), TCL_ERROR);
  EXPECT_EQ(tclcmdobj(interp, "set x 1", task_manager::dont_record_command, false), TCL_OK);
  EXPECT_EQ(quietly(interp, "error silent"), TCL_ERROR);
  EXPECT_EQ(messages_.lines(), Texts{"ERROR: [tcltasks] 100 %s"});
  Tcl_DeleteInterp(interp);
}

TEST_F(TclServices, TellTheJournalBeforeTheyEvaluate) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  Texts journal;
  tcl_host::set_journal([&](std::string const& command) {
    journal.push_back(command + (Tcl_GetVar(interp, "x", 0) == nullptr ? "" : " late"));
  });
  tclcmdobj(interp, "set x 1", task_manager::record_command, true);
  tclcmdobj(interp, "unset x", task_manager::dont_record_command, true);
  task_manager::eval_in_tcl("error recorded", interp, true);
  task_manager::eval_in_tcl("error unrecorded", interp, false);
  EXPECT_EQ(journal, (Texts{"set x 1", "error recorded"}));
  tcl_host::set_journal([](auto const&) { throw std::runtime_error("full"); });
  EXPECT_EQ(tclcmdobj(interp, "set x 2", task_manager::record_command, true), TCL_OK);
  Tcl_DeleteInterp(interp);
}

TEST_F(TclServices, SurviveAScriptThatDeletesItsInterpreter) {
  Tcl_Interp* const own = HTCTclInterp::getDefaultInterp();
  Tcl_Interp* const parent = Tcl_CreateInterp();
  Tcl_Interp* const child = Tcl_CreateSlave(parent, "child", 0);
  tcl_host::set_default_interp(child);
  Tcl_CreateObjCommand(
      child, "suicide",
      [](ClientData, Tcl_Interp* i, int, Tcl_Obj* const[]) {
        Tcl_DeleteInterp(i);
        return TCL_OK;
      },
      nullptr, nullptr);
  EXPECT_EQ(task_manager::eval_in_tcl("suicide", nullptr, false), TCL_OK);
  EXPECT_EQ(HTCTclInterp::getDefaultInterp(), own);
  Tcl_DeleteInterp(parent);
}

TEST_F(TclServices, KeepTheResultOfEachThread) {
  task_manager::eval_in_tcl("set r main", nullptr, false);
  std::string other = "unset";
  std::thread([&] {
    EXPECT_EQ(task_manager::tcl_get_result(), "");
    Tcl_Interp* const interp = Tcl_CreateInterp();
    task_manager::eval_in_tcl("set r other", interp, false);
    other = task_manager::tcl_get_result();
    Tcl_DeleteInterp(interp);
    Tcl_FinalizeThread();
  }).join();
  EXPECT_EQ(other, "other");
  EXPECT_EQ(task_manager::tcl_get_result(), "main");
}

TEST_F(TclServices, PassBytesOfEveryKind) {
  EXPECT_EQ(task_manager::eval_in_tcl(std::string("string length \"a\0b\"", 19), nullptr, false), TCL_OK);
  EXPECT_EQ(task_manager::tcl_get_result(), "3");
  EXPECT_EQ(task_manager::eval_in_tcl("set x \xC3\xA4", nullptr, false), TCL_OK);
  EXPECT_EQ(task_manager::tcl_get_result(), "\xC3\xA4");
}

}  // namespace
