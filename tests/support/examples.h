// The commands of all families, by what data/commands tells of them: each has an example with its result, and calls
// that fail with their texts. A family that joins is so in every test that runs them.
#pragma once

#include <gtest/gtest.h>
#include <tcl.h>

#include <string>
#include <vector>

#include "host/kdish/command_table.h"
#include "tests/support/places.h"
#include "tests/support/sanitized.h"

/// An interpreter of this thread with all of the project's libraries.
class Interpreter {
 public:
  Interpreter() : interp_(Tcl_CreateInterp()) {
    for (char const* const library :
         {"libkdi_common.so", "libkdi_iptasks.so", "libkdi_fectools.so", "libkdi_bmgtools.so", "libkdi_clocktools.so",
          "libkdi_coretools.so", "libkdi_gttools.so", "libkdi_dsptools.so", "libkdi_iotools.so", "libkdi_memtools.so"})
      EXPECT_EQ(evaluate("load {" + places::library(library) + "}"), TCL_OK) << result();
  }
  Interpreter(Interpreter const&) = delete;
  Interpreter& operator=(Interpreter const&) = delete;
  ~Interpreter() { Tcl_DeleteInterp(interp_); }

  int evaluate(std::string const& script) { return Tcl_EvalEx(interp_, script.c_str(), -1, TCL_EVAL_GLOBAL); }
  std::string result() const { return Tcl_GetStringResult(interp_); }

 private:
  Tcl_Interp* interp_;
};

/// A command as its entry tells of it.
struct DescribedCommand {
  std::string name;
  std::string family;
  kdish::Example example;
  std::vector<kdish::CommandError> failures;
};

/// All that data/commands describes, by name, but those of the shell, which a plain interpreter does not have. Under
/// sanitizers, where a call takes its time, the first name of each entry.
inline std::vector<DescribedCommand> described_commands() {
  const kdish::Table table({places::data("commands")});
  std::vector<DescribedCommand> all;
  for (auto const& [name, command] : table.commands()) {
    kdish::Family const& family = *command->page->family;
    if (test_support::kSanitized && name != command->names[0]) continue;
    if (family.library != "kdish")
      all.push_back({name, family.name, command->example_of(name), command->failures_of(name)});
  }
  return all;
}

/// Runs the command's example; its code is that of the command itself. It writes files into the current folder.
inline int run_example(Interpreter& interpreter, DescribedCommand const& command) {
  interpreter.evaluate(command.example.setup);
  return interpreter.evaluate(command.example.script);
}

inline void expect_example_result(Interpreter const& interpreter, DescribedCommand const& command, int code) {
  ASSERT_EQ(code, TCL_OK) << command.name << ": " << interpreter.result();
  if (command.example.is_pattern)
    EXPECT_NE(Tcl_StringMatch(interpreter.result().c_str(), command.example.result.c_str()), 0)
        << command.name << ": " << interpreter.result();
  else
    EXPECT_EQ(interpreter.result(), command.example.result) << command.name;
}

inline void expect_failure(Interpreter const& interpreter, kdish::CommandError const& error, int code) {
  EXPECT_EQ(code, TCL_ERROR) << error.script;
  EXPECT_TRUE(interpreter.result().starts_with(error.text)) << error.script << ": " << interpreter.result();
}
