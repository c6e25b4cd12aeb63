// The block memory commands over an engine that records what reaches it: this program's functions stand before the
// library's.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tcl.h>

#include <string>
#include <vector>

#include "kdi/bmg/blk_mem_gen.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

struct Call {
  std::string function;
  std::vector<std::string> words;
  std::vector<void const*> addresses;
  bool has_status;
};
std::vector<Call> calls;
int answer = 0;

int record(char const* function, int argc, char** argv, int const* status) {
  calls.push_back({function, std::vector<std::string>(argv, argv + argc), std::vector<void const*>(argv, argv + argc),
                   status != nullptr});
  return answer;
}

}  // namespace

#define RECORDED(name) \
  int name(int argc, char** argv, int* status) { return record(#name, argc, argv, status); }
#define RECORDED_VERSION(version)                                  \
  RECORDED(Ip_blk_mem_gen_##version##_placement_algo_num_prims_9)  \
  RECORDED(Ip_blk_mem_gen_##version##_placement_algo_num_prims_18) \
  RECORDED(Ip_blk_mem_gen_##version##_placement_algo_num_prims_36) \
  RECORDED(Ip_blk_mem_gen_##version##_placement_algo_mux_size)     \
  RECORDED(Ip_blk_mem_gen_##version##_placement_algo_power_report)
RECORDED_VERSION(v8_3)
RECORDED_VERSION(v8_4)

namespace {

class BmgCommands : public testing::Test {
 protected:
  BmgCommands() {
    Tcl_FindExecutable(nullptr);
    interp_ = Tcl_CreateInterp();
    EXPECT_EQ(Kdi_iptasks_Init(interp_), TCL_OK);
    calls.clear();
    answer = 0;
  }
  ~BmgCommands() override { Tcl_DeleteInterp(interp_); }

  std::vector<std::string> names() {
    std::vector<std::string> names;
    for (char const* version : {"v8_3", "v8_4"})
      for (char const* figure : {"num_prims_9", "num_prims_18", "num_prims_36", "mux_size", "power_report"})
        names.push_back(std::string("Ip_blk_mem_gen_") + version + "_placement_algo_" + figure);
    return names;
  }
  int evaluate(std::string const& script) { return Tcl_Eval(interp_, script.c_str()); }
  std::string result() { return Tcl_GetStringResult(interp_); }

  Tcl_Interp* interp_;
};

TEST_F(BmgCommands, PassTheirWordsToTheFunctionOfTheirName) {
  answer = 42;
  for (std::string const& name : names()) {
    calls.clear();
    EXPECT_EQ(evaluate(name + " a {b c} {} 17 \u00e9"), TCL_OK);
    EXPECT_EQ(result(), "42");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].function, name);
    EXPECT_EQ(calls[0].words, (std::vector<std::string>{"a", "b c", "", "17", "\u00e9"}));
    EXPECT_TRUE(calls[0].has_status);
  }
}

TEST_F(BmgCommands, GiveTheFunctionsIntegerAsText) {
  for (int value : {0, -1, -2147483647 - 1, 2147483647})
    for (std::string const& name : names()) {
      answer = value;
      EXPECT_EQ(evaluate(name + " x"), TCL_OK);
      EXPECT_EQ(result(), std::to_string(value));
    }
}

TEST_F(BmgCommands, NeedAWord) {
  for (std::string const& name : names()) {
    EXPECT_EQ(evaluate(name), TCL_ERROR);
    EXPECT_EQ(result(), "Error: Incorrect number of arguments");
  }
  EXPECT_TRUE(calls.empty());
}

TEST_F(BmgCommands, PassWordsOfAnyLengthWhole) {
  const std::string longest(100000, 'x');
  for (std::string const& name : names()) {
    calls.clear();
    EXPECT_EQ(evaluate(name + " " + longest + " y"), TCL_OK);
    EXPECT_EQ(calls.at(0).words, (std::vector<std::string>{longest, "y"}));
  }
}

TEST_F(BmgCommands, CopyTheirWordsButForTheMultiplexer) {
  Tcl_Obj* const word = Tcl_NewStringObj("word", -1);
  Tcl_IncrRefCount(word);
  for (std::string const& name : names()) {
    calls.clear();
    Tcl_Obj* const words[] = {Tcl_NewStringObj(name.c_str(), -1), word};
    Tcl_IncrRefCount(words[0]);
    EXPECT_EQ(Tcl_EvalObjv(interp_, 2, words, 0), TCL_OK);
    Tcl_DecrRefCount(words[0]);
    const bool is_borrowed = calls.at(0).addresses.at(0) == Tcl_GetString(word);
    EXPECT_EQ(is_borrowed, name.find("mux_size") != std::string::npos) << name;
  }
  Tcl_DecrRefCount(word);
}

TEST_F(BmgCommands, HandlersAreExportedUnderTheirFunctionsNames) {
  for (std::string const& name : names()) {
    using Handler = int (*)(ClientData, Tcl_Interp*, int, Tcl_Obj* const[]);
    const auto handler = reinterpret_cast<Handler>(dlsym(RTLD_DEFAULT, (name + "_tcl").c_str()));
    ASSERT_NE(handler, nullptr) << name;
    EXPECT_EQ(handler(nullptr, interp_, 1, nullptr), TCL_ERROR);
    EXPECT_EQ(result(), "Error: Incorrect number of arguments");
  }
}

}  // namespace
