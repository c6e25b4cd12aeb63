// The clock commands against engines that record: which arguments arrive, in which order, and what becomes of answers.
#include <gtest/gtest.h>
#include <tcl.h>

#include <stdexcept>

#include "kdi/common/HEXAll.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/ip/HIPClkwiz.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/recording_clocks.h"
#include "tests/support/script_answer.h"

extern "C" int Kdi_iptasks_Init(Tcl_Interp* interp);

namespace {

using recording_clocks::answers;
using recording_clocks::calls;
using Texts = std::vector<std::string>;

class ClockCommands : public testing::Test {
 protected:
  ClockCommands()
      : interp_(Tcl_CreateInterp()), sink_(message_host::add_sink([this](auto const& m) {
          messages.push_back(m.scope.empty() ? message_host::line_of(m) : m.scope + "|" + m.text);
          masks.push_back(m.mask);
        })) {
    Kdi_iptasks_Init(interp_);
    recording_clocks::reset();
  }
  ~ClockCommands() override {
    message_host::remove_sink(sink_);
    Tcl_DeleteInterp(interp_);
  }

  Answer run(std::string const& script) {
    calls.clear();
    messages.clear();
    masks.clear();
    recording_clocks::schemas.clear();
    return answer_of(interp_, script);
  }
  // Calls the command's procedure as Tcl does, but with "before" as the interpreter's result.
  Answer run_over_result(std::string const& script) {
    messages.clear();
    masks.clear();
    Tcl_Obj* const list = Tcl_NewStringObj(script.c_str(), -1);
    Tcl_IncrRefCount(list);
    int count = 0;
    Tcl_Obj** words = nullptr;
    Tcl_CmdInfo info{};
    EXPECT_EQ(Tcl_ListObjGetElements(nullptr, list, &count, &words), TCL_OK);
    EXPECT_NE(Tcl_GetCommandInfo(interp_, Tcl_GetString(words[0]), &info), 0);
    EXPECT_EQ(info.objClientData, nullptr);
    EXPECT_EQ(info.deleteProc, nullptr);
    Tcl_SetObjResult(interp_, Tcl_NewStringObj("before", -1));
    const int code = info.objProc(info.objClientData, interp_, count, words);
    Tcl_DecrRefCount(list);
    return {code, Tcl_GetStringResult(interp_)};
  }
  // The solver's calls alone.
  Texts asked(std::string const& script) {
    run(script);
    Texts left;
    for (auto const& call : calls)
      if (!call.starts_with("getClkwizImp") && !call.starts_with("getClkwizSoln") && call != "GetInstance")
        left.push_back(call);
    return left;
  }

  Texts messages;
  std::vector<ComMsgMgr::MsgMask> masks;

 private:
  Tcl_Interp* interp_;
  int sink_;
};

// ===================================================================================================== clock wizard
class Clkwiz : public ClockCommands {};

TEST_F(Clkwiz, InitChoosesThePart) {
  EXPECT_EQ(run("Init_Clkwiz p i dev"), ok());
  EXPECT_EQ(calls, (Texts{"getClkwizImp p i", "setPart dev"}));
  // an empty device leaves a new solver behind all the same
  EXPECT_EQ(run("Init_Clkwiz p i {}"), error("Init_Clkwiz: part is empty"));
  EXPECT_EQ(calls, Texts{"getClkwizImp p i"});
}

TEST_F(Clkwiz, AResultThatNoCommandSetsStaysAsItWas) {
  EXPECT_EQ(run_over_result("Init_Clkwiz p i dev"), ok("before"));
  EXPECT_EQ(run_over_result("UnInit_Clkwiz p i"), ok("before"));
  EXPECT_EQ(run_over_result("ChangeCompInstName p a b"), ok("before"));
  EXPECT_EQ(run_over_result("SetClkwizProperty p i SSMode x"), ok("before"));
  EXPECT_EQ(run_over_result("Ip_Clocking_Init"), ok("before"));
  EXPECT_EQ(run_over_result("Ip_Clocking_Uninit n"), ok("before"));
  EXPECT_EQ(run_over_result("GetClkwizProperty p i NoSuchThing"), ok());
}

TEST_F(Clkwiz, UnInitDeletesWithoutAskingForTheSolver) {
  EXPECT_EQ(run("UnInit_Clkwiz p i"), ok());
  EXPECT_EQ(calls, Texts{"deleteClkwizImp p i"});
}

TEST_F(Clkwiz, RenamingToTheSameNameFailsWithoutAWord) {
  EXPECT_EQ(run("ChangeCompInstName a b b"), error());
  EXPECT_EQ(calls, Texts{});
  EXPECT_EQ(run("ChangeCompInstName a b c"), ok());
  EXPECT_EQ(calls, Texts{"changeCompInstName a b c"});
}

TEST_F(Clkwiz, JitterAndPhaseError) {
  answers.number = 98.76549;
  EXPECT_EQ(run("GetPkToPkJitter p i 100 1000.5 1e2 HIGH 7 -8"), ok("98.765"));
  EXPECT_EQ(calls.back(), "getPkToPkJitter 100 1000.5 100 HIGH 7 -8");
  EXPECT_EQ(run("GetPhaseError p i 100 1000 low"), ok("98.765"));
  EXPECT_EQ(calls.back(), "getPhaseError 100 1000 low");
  answers.success = false;
  answers.error = "no 100% sure %s";
  EXPECT_EQ(run("GetPkToPkJitter p i 1 2 3 x 4 5"), error("no 100% sure %s"));
  EXPECT_EQ(run("GetPhaseError p i 1 2 x"), error("no 100% sure %s"));
}

TEST_F(Clkwiz, NumbersThatAreNoneAre0) {
  EXPECT_EQ(asked("GetPkToPkJitter p i abc {} 1x y 0x10 { 5}"), Texts{"getPkToPkJitter 0 0 1 y 16 5"});
  EXPECT_EQ(asked("GetPhaseError p i inf 1e5z {}"), Texts{"getPhaseError inf 100000 {}"});
  EXPECT_EQ(asked("MMCMCalculateActualOutFreqs p i f 1,5 2 3.9 true false true"),
            Texts{"getMinPowerOutFreqs f 1 2 3 true false 0 true 10 false 0"});
  EXPECT_EQ(asked("MMCMCalculateActualOutFreqs p i f 1 2 99999999999999999999 TRUE 1 yes"),
            Texts{"getMinPowerOutFreqs f 1 2 2147483647 false false 0 false 10 false 0"});
}

TEST_F(Clkwiz, MmcmOutputsPassAPeriodAndNeverThePhyOutput) {
  EXPECT_EQ(asked("MMCMCalculateActualOutFreqs p i {100 200} 50 60 2 true true false"),
            Texts{"getMinPowerOutFreqs 100 200 50 60 2 true true 0 false 10 false 0"});
  EXPECT_EQ(asked("MMCMCalculateActualOutFreqs p i {100 200} 50 60 2 true true false 4.5"),
            Texts{"getMinPowerOutFreqs 100 200 50 60 2 true true 0 false 4.5 false 0"});
}

TEST_F(Clkwiz, TheTailOfPllOutputsGoesByItsLength) {
  const std::string command = "PLLCalculateActualOutFreqs p i f 50 60 2 true false true";
  EXPECT_EQ(asked(command), Texts{"getMinPowerOutFreqs f 50 60 2 true false 1 true 10 false 300"});
  EXPECT_EQ(asked(command + " 4"), Texts{"getMinPowerOutFreqs f 50 60 2 true false 1 true 4 false 300"});
  EXPECT_EQ(asked(command + " true 5"), Texts{"getMinPowerOutFreqs f 50 60 2 true false 1 true 10 true 5"});
  EXPECT_EQ(asked(command + " 4 true 5"), Texts{"getMinPowerOutFreqs f 50 60 2 true false 1 true 4 true 5"});
}

TEST_F(Clkwiz, TheTailOfTheClosestSolution) {
  const std::string command = "GetClosestSolution p i f ph dc 50 60 2 true false true false";
  EXPECT_EQ(asked(command), Texts{"getClosestSolution f ph dc 50 60 2 true false 1 20 false false 300"});
  EXPECT_EQ(asked(command + " 4"), Texts{"getClosestSolution f ph dc 50 60 2 true false 1 4 false false 300"});
  EXPECT_EQ(asked(command + " true 5"), Texts{"getClosestSolution f ph dc 50 60 2 true false 1 20 false true 5"});
  EXPECT_EQ(asked(command + " 4 true 5"), Texts{"getClosestSolution f ph dc 50 60 2 true false 1 4 false true 5"});
  EXPECT_EQ(asked("GetClosestSolution p i f ph dc 0 60 2 false true 1 true"),
            Texts{"getClosestSolution f ph dc 0 60 2 false true 0 10 true false 300"});
}

TEST_F(Clkwiz, StatusTexts) {
  struct Solve {
    char const* command;
    bool is_closest;
    std::string one;
    std::string several;
  };
  const std::string given_one =
      "Could not obtain valid VCO, M and D values with the given input freqs and the requested frequency.";
  const std::string given_several =
      "Could not obtain valid VCO, M and D values with the given input freqs and the requested frequencies.";
  const Solve solves[] = {{"MMCMCalculateActualOutFreqs p i f 1 2 %d true true true", false,
                           "Could not obtain valid VCO, M and D values with the requested frequency.",
                           "Could not obtain valid VCO, M and D values with these requested frequencies."},
                          {"PLLCalculateActualOutFreqs p i f 1 2 %d true true true", false, given_one, given_several},
                          {"GetClosestSolution p i f f f 1 2 %d true true true true", true, given_one, given_several}};
  for (Solve const& solve : solves)
    for (int status = -2; status < 12; ++status)
      for (int count : {-1, 0, 1, 2, 7}) {
        std::string script = solve.command;
        script.replace(script.find("%d"), 2, std::to_string(count));
        answers.status = status;
        std::string expected = count < 2 ? solve.one : solve.several;
        if (status == 1) expected = "1";
        if (status == 2) expected = "Could not get data from speedsfile.";
        if (status == 3)
          expected = "Could not obtain a valid VCO because the 2 input clock freqs are too far apart in range.";
        if (solve.is_closest && status == 5) expected = "ClkoutXiPhy cannot be enabled on the provided architecture";
        if (solve.is_closest && status == 6) expected = "ClkoutXiPhy cannot be enabled for MMCM primitive";
        if (solve.is_closest && status == 8) expected = "Please enter a valid input frequency";
        EXPECT_EQ(run(script), ok(expected)) << script << ", status " << status;
      }
}

TEST_F(Clkwiz, ActualPhaseAndDutyCycle) {
  answers.number = 0.33333333;
  EXPECT_EQ(run("MMCMCalculateActualPhase p i 45 7.5 true"), ok("0.333"));
  EXPECT_EQ(calls.back(), "mmcmCalculateActualPhase 45 7.5 true");
  EXPECT_EQ(run("MMCMCalculateActualDutyCycle p i 33 x True"), ok("33.333"));
  EXPECT_EQ(calls.back(), "mmcmCalculateActualDutyCycle 33 0 false");
}

TEST_F(Clkwiz, PropertiesThatAreSet) {
  const auto set = [this](std::string const& rest) { return asked("SetClkwizProperty p i " + rest); };
  EXPECT_EQ(set("LowBandwidth true"), Texts{"setLowBandwidth true"});
  EXPECT_EQ(set("DynReconfig 1"), Texts{"setDynReconfig false"});
  EXPECT_EQ(set("SpreadSpectrum true"), Texts{"setSpreadSpectrum true"});
  EXPECT_EQ(set("SSMode {a b}"), Texts{"setSSMode a b"});
  EXPECT_EQ(set("SSModFreq 1.5e2"), Texts{"setSSModFreq 150"});
  EXPECT_EQ(set("SSModFreq 1e-400"), Texts{"setSSModFreq 0"});
  EXPECT_EQ(set("SSModFreq -INFinity"), Texts{"setSSModFreq -inf"});
  EXPECT_EQ(set("UseFinePS true"), Texts{"setFinePS true"});
  EXPECT_EQ(set("CLKIN_UI_JITTER +.01"), Texts{"setClkInUIJitter 0.01"});
  std::string part = "p", instance = "i";
  auto& solver = *Ip_Clkwiz::HIPClkwizTclMgr::GetInstance()->getClkwizImp(part, instance);
  EXPECT_EQ(set("GlobalBuffer_InputClk true"), Texts{});
  EXPECT_TRUE(solver.globalBufferInputClk);
  EXPECT_EQ(set("GlobalBuffer_InputClk 1"), Texts{});
  EXPECT_FALSE(solver.globalBufferInputClk);
  EXPECT_EQ(run("SetClkwizProperty p i NoSuchThing 1"), ok());
  EXPECT_EQ(run("SetClkwizProperty p i lowbandwidth true"), ok());
  EXPECT_EQ(calls, Texts{"getClkwizImp p i"});
}

TEST_F(Clkwiz, NumbersThatHaveToBeOnesFailThroughTheGuard) {
  const std::string told =
      "ERROR: [tcltasks 80-2] An exception ended the command: bad lexical cast: source type value could not be "
      "interpreted as target";
  for (char const* script : {"SetClkwizProperty p i SSModFreq abc", "SetClkwizProperty p i SSModFreq {}",
                             "SetClkwizProperty p i SSModFreq { 1}", "SetClkwizProperty p i SSModFreq 1x",
                             "SetClkwizProperty p i SSModFreq 0x10", "SetClkwizProperty p i SSModFreq 1e400",
                             "SetClkwizProperty p i CLKIN_UI_JITTER --1", "SetClkwizProperty p i CLKIN_UI_JITTER +-1",
                             "GetClkwizOutputFrequencies p i x 1 2", "GetClkwizOutputFrequencies p i 1 1.0 2",
                             "GetClkwizOutputFrequencies p i 1 1 99999999999", "GetClkwizOutputFrequencies p i 1 1 2 x",
                             "GetClkwizInputFrequencies p i n x 1", "GetClkwizInputFrequencies p i n 1 {}",
                             "GetClkwizInputFrequencies p i n 1 1 1,,2", "GetClkwizInputFrequencies p i n 1 1 {1, 2}",
                             "GetClkwizInputFrequencies p i n 1 1 1 z"}) {
    EXPECT_EQ(run(script), error()) << script;
    EXPECT_EQ(messages, Texts{told}) << script;
    EXPECT_EQ(calls, Texts{"getClkwizImp p i"}) << script;
  }
}

TEST_F(Clkwiz, PropertiesThatAreRead) {
  const auto get = [this](std::string const& rest) { return run("GetClkwizProperty p i " + rest); };
  answers.number = 1234.56789;
  answers.status = 17;
  answers.text = "a text";
  EXPECT_EQ(get("ChosenM"), ok("1234.568"));
  EXPECT_EQ(get("ChosenMInt"), ok("1234"));
  EXPECT_EQ(get("ChosenD"), ok("17"));
  EXPECT_EQ(get("ChosenVCO"), ok("1234.568"));
  EXPECT_EQ(get("SSModActFreq"), ok("1234.568"));
  EXPECT_EQ(get("ChosenDiv0"), ok("1234.568"));
  EXPECT_EQ(get("ChosenDiv0Int"), ok("1234"));
  EXPECT_EQ(get("ChosenDivN 3x"), ok("17"));
  EXPECT_EQ(calls.back(), "getChosenDivN 3");
  EXPECT_EQ(get("ChosenOutFreqN -1"), ok("1234.568"));
  EXPECT_EQ(calls.back(), "getChosenOutFreqN -1");
  EXPECT_EQ(get("ChosenPhaseN abc"), ok("1234.568"));
  EXPECT_EQ(calls.back(), "getChosenPhaseN 0");
  EXPECT_EQ(get("ChosenDutyCycleN 2"), ok("1234.568"));
  EXPECT_EQ(get("SpdKeyValue KEY"), ok("1234.568"));
  EXPECT_EQ(calls.back(), "getKeyValue KEY");
  EXPECT_EQ(get("MinPeriod BUF"), ok("a text"));
  EXPECT_EQ(calls.back(), "getMinPeriodSpdData BUF");
  EXPECT_EQ(get("MaxPeriod"), ok("a text"));
  EXPECT_EQ(get("ChosenClkoutXiPhyMode"), ok("a text"));
  EXPECT_EQ(get("ChosenClkoutXiPhyFreq"), ok("1234.568"));
  // a word more than a property needs does no harm; MaxPeriod minds it
  EXPECT_EQ(get("ChosenM x"), ok("1234.568"));
  EXPECT_EQ(get("MaxPeriod x"), ok());
  for (char const* property : {"ChosenDivN", "ChosenOutFreqN", "ChosenPhaseN", "ChosenDutyCycleN", "SpdKeyValue",
                               "MinPeriod", "NoSuchThing", "{}", "{NoSuchThing x}"}) {
    EXPECT_EQ(get(property), ok()) << property;
    EXPECT_EQ(calls, Texts{"getClkwizImp p i"}) << property;
  }
  answers.success = false;
  EXPECT_EQ(get("SpdKeyValue KEY"), ok("Unable to get value from speedsfile for keyword KEY"));
  EXPECT_EQ(get("MinPeriod BUF"), ok("GetClkwizProperty: Unable to get Min Period for buffer : BUF"));
  EXPECT_EQ(get("MaxPeriod"), ok("GetClkwizProperty: Unable to get Max Period."));
}

TEST_F(Clkwiz, FiguresThatNoIntegerHoldsAreCut) {
  answers.number = 1e300;
  EXPECT_EQ(run("GetClkwizProperty p i ChosenMInt"), ok("2147483647"));
  answers.number = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(run("GetClkwizProperty p i ChosenDiv0Int"), ok("0"));
  EXPECT_EQ(run("GetClkwizProperty p i ChosenM"), ok("nan"));
  for (char const* property : {"ChosenVCO", "SSModActFreq", "ChosenOutFreqN 0", "ChosenPhaseN 0", "ChosenDutyCycleN 0",
                               "ChosenClkoutXiPhyFreq"})
    EXPECT_EQ(run(std::string("GetClkwizProperty p i ") + property), ok(" nan")) << property;  // four wide
  answers.number = -2.7;
  EXPECT_EQ(run("GetClkwizProperty p i ChosenMInt"), ok("-2"));
}

TEST_F(Clkwiz, AchievableFrequencies) {
  answers.text = "1 2 3";
  answers.success = false;  // not looked at
  EXPECT_EQ(run("GetClkwizOutputFrequencies p i 1.5 +2 -3"), ok("1 2 3"));
  EXPECT_EQ(calls.back(), "getClkwizOutputFrequencies 1.5 2 -3 10");
  EXPECT_EQ(asked("GetClkwizOutputFrequencies p i 1.5 2 3 {}"), Texts{"getClkwizOutputFrequencies 1.5 2 3 10"});
  EXPECT_EQ(asked("GetClkwizOutputFrequencies p i 1.5 2 3 4"), Texts{"getClkwizOutputFrequencies 1.5 2 3 4"});
  EXPECT_EQ(run("GetClkwizInputFrequencies p i MMCM 1.5 2"), ok("1 2 3"));
  EXPECT_EQ(calls.back(), "getClkwizInputFrequencies MMCM 1.5 {} 2 10");
  EXPECT_EQ(asked("GetClkwizInputFrequencies p i MMCM 1.5 2 {}"), Texts{"getClkwizInputFrequencies MMCM 1.5 {} 2 10"});
  EXPECT_EQ(asked("GetClkwizInputFrequencies p i MMCM 1.5 2 3,4.5 {}"),
            Texts{"getClkwizInputFrequencies MMCM 1.5 {3 4.5} 2 10"});
  EXPECT_EQ(asked("GetClkwizInputFrequencies p i MMCM 1.5 2 3 4"), Texts{"getClkwizInputFrequencies MMCM 1.5 {3} 2 4"});
}

TEST_F(Clkwiz, AMissingSolver) {
  answers.has_solver = false;
  EXPECT_EQ(run("Init_Clkwiz p i {}"), error("Unable to set device"));
  EXPECT_EQ(run("GetPkToPkJitter p i 1 2 3 4 5 6"),
            error("Unable to obtain Implementation object for GetPkToPkJitter"));
  EXPECT_EQ(run("GetPhaseError p i 1 2 3"), error("Unable to obtain Implementation object for GetPhaseError"));
  EXPECT_EQ(run("MMCMCalculateActualOutFreqs p i 1 2 3 4 5 6 7"),
            error("Unable to obtain Implementation object for MMCMCalculateActualOutFreq"));
  EXPECT_EQ(run("PLLCalculateActualOutFreqs p i 1 2 3 4 5 6 7"), error());
  EXPECT_EQ(run("GetClosestSolution p i 1 2 3 4 5 6 7 8 9 10"),
            error("Unable to obtain Implementation object for GetClosestSolution"));
  EXPECT_EQ(run("MMCMCalculateActualPhase p i 1 2 3"),
            error("Unable to obtain Implementation object for MMCMCalculateActualPhase"));
  EXPECT_EQ(run("MMCMCalculateActualDutyCycle p i 1 2 3"),
            error("Unable to obtain Implementation object for MMCMCalculateActualDutyCycle"));
  EXPECT_EQ(run("SetClkwizProperty p i SSModFreq abc"), error("Unable to set property SSModFreq"));
  EXPECT_EQ(run("GetClkwizProperty p i ChosenM"), error("Unable to get property GetChosenM"));
  EXPECT_EQ(run("GetClkwizOutputFrequencies p i x 1 2"), error("Unable to get instance: i of part: p for Getx"));
  EXPECT_EQ(run("GetClkwizInputFrequencies p i x 1 2"), error("Unable to get instance: i of part: p for Getx"));
}

// ------------------------------------------------------------------------------------------------------- the guard

// Every command that is guarded, with words that reach the engine.
constexpr char const* kGuarded[] = {"Init_Clkwiz p i d",
                                    "UnInit_Clkwiz p i",
                                    "ChangeCompInstName p a b",
                                    "GetPkToPkJitter p i 1 2 3 4 5 6",
                                    "GetPhaseError p i 1 2 3",
                                    "MMCMCalculateActualOutFreqs p i 1 2 3 4 5 6 7",
                                    "PLLCalculateActualOutFreqs p i 1 2 3 4 5 6 7",
                                    "GetClosestSolution p i 1 2 3 4 5 6 7 8 9 10",
                                    "MMCMCalculateActualPhase p i 1 2 3",
                                    "MMCMCalculateActualDutyCycle p i 1 2 3",
                                    "SetClkwizProperty p i SSMode 1",
                                    "GetClkwizProperty p i ChosenM",
                                    "GetClkwizOutputFrequencies p i 1 2 3",
                                    "GetClkwizInputFrequencies p i n 1 2",
                                    "Ip_Clocking_Get_PeakToPeakJitter n 1 2 3 LOW t 1 1 1",
                                    "Ip_Clocking_Get_PhaseError n 1"};

TEST_F(ClockCommands, TheGuardSendsTheMessageOfAnExceptionAndLeavesTheResultAlone) {
  for (char const* script : kGuarded) {
    answers.exception = [] { throw HEXAlgException("told 100%s"); };
    EXPECT_EQ(run_over_result(script), error("before")) << script;
    EXPECT_EQ(messages, Texts{"ERROR: [tcltasks] told 100%s"}) << script;
    answers.exception = [] { throw HEXError(nullptr); };
    EXPECT_EQ(run_over_result(script), error("before")) << script;
    EXPECT_EQ(messages, Texts{}) << script;
    answers.exception = [] { throw std::runtime_error("what %s"); };
    EXPECT_EQ(run_over_result(script), error("before")) << script;
    EXPECT_EQ(messages, Texts{"ERROR: [tcltasks 80-2] An exception ended the command: what %s"}) << script;
    EXPECT_EQ(masks, std::vector{ComMsgMgr::MSG_ERROR});
    answers.exception = [] { throw 5; };
    EXPECT_EQ(run_over_result(script), error("before")) << script;
    EXPECT_EQ(messages, Texts{"ERROR: [tcltasks 80-1] An exception of an unknown kind ended the command."}) << script;
  }
}

TEST_F(ClockCommands, TheOtherTenCommandsLetExceptionsThroughToTheirBoundary) {
  answers.exception = [] { throw std::runtime_error("what"); };
  for (char const* script :
       {"Ip_Clocking_Init", "Ip_Clocking_Uninit n", "Ip_Clocking_Calc_Phase n 1 2", "Ip_Clocking_Calc_DC n 1 2",
        "Ip_Clocking_Get_Property n k", "Ip_Clocking_Get_InputClk", "Ip_Clocking_Get_InputClkList",
        "Ip_Clocking_Get_OutputClkList", "Ip_Clocking_Calc_M_D", "Ip_Clocking_Get_ClkInst"}) {
    EXPECT_EQ(run(script), error("what")) << script;
    EXPECT_EQ(messages, Texts{}) << script;
  }
}

// ========================================================================================================= clocking
class Clocking : public ClockCommands {
 protected:
  Clocking() {
    message_host::set_channel("HIPClocking", 5);
    message_host::set_channel("CLOCKING_IP", 5);
  }
  ~Clocking() override {
    message_host::set_channel("HIPClocking", -1);
    message_host::set_channel("CLOCKING_IP", -1);
  }
};

TEST_F(Clocking, InitAndUninit) {
  EXPECT_EQ(run("Ip_Clocking_Init"), ok());
  EXPECT_EQ(calls, Texts{"GetInstance"});
  EXPECT_EQ(run("Ip_Clocking_Uninit unknown"), ok());
  EXPECT_EQ(calls, (Texts{"GetInstance", "deleteClockingSoln unknown"}));
}

TEST_F(Clocking, ActualPhase) {
  answers.text = "1.500";
  answers.number = 1.5;
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 45 7.5"), ok("1.500"));
  EXPECT_EQ(calls,
            (Texts{"GetInstance", "getClkwizSoln n", "calculateActualPhase 45 7.5", "convertDoubleToString 1.5"}));
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n x y"),
            error("Ip_Clocking_Calc_Phase: Requested Phase needs to be a valid double value\n"));
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 1 y"),
            error("Ip_Clocking_Calc_Phase: ClockOut divide needs to be a valid double value\n"));
  EXPECT_EQ(calls, Texts{});
  answers.converts = false;
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 1 2"),
            error("Ip_Clocking_Calc_Phase: Failed in conversion of Phase from double to string. "));
  answers.success = false;
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 1 2"), error("Ip_Clocking_Calc_Phase: Failed in calculating Phase. "));
  answers.errors = {"first", "second"};
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 1 2"), error("Ip_Clocking_Calc_Phase: Failed in calculating Phase. first"));
  answers.has_solver = false;
  EXPECT_EQ(run("Ip_Clocking_Calc_Phase n 1 2"),
            error("Ip_Clocking_Calc_Phase: Failed in calculating Phase. There is no solver for \"n\"."));
}

TEST_F(Clocking, ActualDutyCycle) {
  answers.text = "33.300";
  answers.number = 33.3;
  EXPECT_EQ(run("Ip_Clocking_Calc_DC n 30 7.5"), ok("33.300"));
  EXPECT_EQ(calls, (Texts{"GetInstance", "getClkwizSoln n", "calculateActualDutyCycle 30 7.5 7 0",
                          "convertDoubleToString 33.3"}));
  EXPECT_EQ(run("Ip_Clocking_Calc_DC n {} y"),
            error("Ip_Clocking_Calc_DC: Requested duty cycle needs to be a valid double value\n"));
  EXPECT_EQ(run("Ip_Clocking_Calc_DC n 1 nan"),
            error("Ip_Clocking_Calc_DC: ClockOut divide needs to be a valid double value\n"));
  answers.converts = false;  // sic: Phase
  EXPECT_EQ(run("Ip_Clocking_Calc_DC n 1 1e99"),
            error("Ip_Clocking_Calc_DC: Failed in conversion of Phase from double to string. "));
  EXPECT_EQ(calls[2], "calculateActualDutyCycle 1 1e+99 2147483647 0");
  answers.success = false;
  answers.errors = {"first"};
  EXPECT_EQ(run("Ip_Clocking_Calc_DC n 1 2"), error("Ip_Clocking_Calc_DC: Failed in calculating duty cycle. first"));
}

TEST_F(Clocking, Property) {
  answers.text = "800";
  EXPECT_EQ(run("Ip_Clocking_Get_Property n KEY"), ok("800"));
  EXPECT_EQ(calls.back(), "getSpeedFileProperty n KEY");
  answers.errors = {"first", "second"};
  EXPECT_EQ(run("Ip_Clocking_Get_Property n KEY"),
            error("Ip_Clocking_Get_Property: Failed in retrieving speed file value for KEY. first"));
}

TEST_F(Clocking, PeakToPeakJitter) {
  answers.number = 1.25;
  const auto jitter = [this](std::string const& bandwidth) {
    return asked("Ip_Clocking_Get_PeakToPeakJitter n 1 2x z " + bandwidth + " {a text} 0.5 0 -3.9").at(0);
  };
  EXPECT_EQ(run("Ip_Clocking_Get_PeakToPeakJitter n 1 2 3 LOW t 0 1 2"), ok("1.250000"));
  EXPECT_EQ(jitter("LOW"), "getPeakToPeakJitter 1 2 0 1 a text true false -3");
  EXPECT_EQ(jitter("low"), jitter("LOW"));
  EXPECT_EQ(jitter("hIgh"), "getPeakToPeakJitter 1 2 0 2 a text true false -3");
  EXPECT_EQ(jitter("Optimized"), "getPeakToPeakJitter 1 2 0 3 a text true false -3");
  EXPECT_EQ(jitter("LOWER"), "getPeakToPeakJitter 1 2 0 0 a text true false -3");
  EXPECT_EQ(jitter("{}"), "getPeakToPeakJitter 1 2 0 0 a text true false -3");
  answers.success = false;
  EXPECT_EQ(run("Ip_Clocking_Get_PeakToPeakJitter n 1 2 3 LOW t 0 1 2"), error("fail to get getPeakToPeakJitter"));
  answers.has_solver = false;
  EXPECT_EQ(run("Ip_Clocking_Get_PeakToPeakJitter n 1 2 3 LOW t 0 1 2"),
            error("Unable to obtain Implementation object for GetPeakToPeakJitter"));
}

TEST_F(Clocking, PhaseError) {
  answers.number = 0.1;
  EXPECT_EQ(run("Ip_Clocking_Get_PhaseError n 2.9"), ok("0.100000"));
  EXPECT_EQ(calls.back(), "getPhaseError 2");
  answers.success = false;
  EXPECT_EQ(run("Ip_Clocking_Get_PhaseError n 2"), error("fail to get getPhaseError"));
  answers.has_solver = false;
  EXPECT_EQ(run("Ip_Clocking_Get_PhaseError n 2"), error("Unable to obtain Implementation object for GetPhaseError"));
}

TEST_F(Clocking, Schemas) {
  const std::string input =
      "-part <mandatory:string:\"\"> -clkoutphy_freq <mandatory:double:10.00> -output_freq1 <mandatory:double:10.00> "
      "-output_freq2 <mandatory:double:10.00> -output_freq3 <optional:double:10.00> -output_freq4 "
      "<optional:double:10.00> -primtive <mandatory:string:0> -inclk1_period <optional:double:10.00> "
      "-isSpeedFileEnabled <optional:string:false>";
  const std::pair<char const*, std::string> commands[] = {
      {"Ip_Clocking_Get_InputClk", input},
      {"Ip_Clocking_Get_InputClkList", input + " -nocmc_controller_type <optional:string:NONE>"},
      {"Ip_Clocking_Get_OutputClkList",
       "-part <mandatory:string:\"\"> -input_freq <mandatory:double:10.00> -primtive <mandatory:string:0> "
       "-clkoutphy_multiplication_factor <optional:long:1> -inclk1_period <optional:double:10.00> -isSpeedFileEnabled "
       "<optional:string:false> -nocmc_controller_type <optional:string:NONE>"},
      {"Ip_Clocking_Calc_M_D",
       "-part <mandatory:string:\"\"> -output_freq <mandatory:string:\"\"> -req_phase <mandatory:string:\"\"> -req_dc "
       "<mandatory:string:\"\"> -prim_freq <mandatory:double:10.00> -secondary_freq <mandatory:double:10.00> -primtive "
       "<mandatory:string:0> -min_jitter <optional:bool:false> -fine_ps <optional:bool:false> -min_power "
       "<optional:bool:false> -low_bandwidth <optional:bool:false> -spread_spectrum <optional:string:\"\"> "
       "-inclk1_period <optional:double:10.00> -inclk2_period <optional:double:10.00>"},
      {"Ip_Clocking_Get_ClkInst",
       "-part <mandatory:string:\"\"> -output_freq <mandatory:list:\"\"> -input_freq <mandatory:list:\"\"> "
       "-inclk1_period <optional:double:10.00>"}};
  for (auto const& [command, schema] : commands) {
    EXPECT_EQ(run(std::string(command) + " -part"), error(std::string(command) + ": Error in parsing options\n"));
    EXPECT_EQ(recording_clocks::schemas, Texts{schema});
    EXPECT_EQ(calls, Texts{"GetInstance"}) << command;
  }
}

TEST_F(Clocking, InputClocks) {
  answers.text = "125";
  answers.success = false;  // not looked at: the text tells
  EXPECT_EQ(run("Ip_Clocking_Get_InputClk -part P -clkoutphy_freq 1 -output_freq1 2 -output_freq2 3 -primtive 0"),
            ok("125"));
  EXPECT_EQ(calls, (Texts{"GetInstance", "GetInstance", "getClkwizSoln P",
                          "getInputClockFrequencies 1 2 3 10 10 0 10 false"}));
  EXPECT_EQ(asked("Ip_Clocking_Get_InputClk -isSpeedFileEnabled true -inclk1_period 9 -primtive 2 -output_freq4 5 "
                  "-output_freq3 4 -output_freq2 3 -output_freq1 2 -clkoutphy_freq 1 -part P"),
            Texts{"getInputClockFrequencies 1 2 3 4 5 2 9 true"});
  EXPECT_EQ(run("Ip_Clocking_Get_InputClk -part P -clkoutphy_freq 1 -output_freq1 2 -output_freq2 3 -primtive 0 "
                "-nocmc_controller_type DDR4"),
            error("Ip_Clocking_Get_InputClk: Error in parsing options\n"));
  EXPECT_EQ(asked("Ip_Clocking_Get_InputClkList -part P -clkoutphy_freq 1 -output_freq1 2 -output_freq2 3 -primtive 1"),
            Texts{"getInputClkFrequencies 1 2 3 10 10 1 10 false NONE"});
  EXPECT_EQ(asked("Ip_Clocking_Get_InputClkList -part P -clkoutphy_freq 1 -output_freq1 2 -output_freq2 3 -primtive 3 "
                  "-nocmc_controller_type DDR4 -isSpeedFileEnabled TRUE"),
            Texts{"getInputClkFrequencies 1 2 3 10 10 0 10 false DDR4"});
  EXPECT_EQ(messages, Texts{});  // primitive 3 is 0 without a word
  answers.has_solver = false;
  EXPECT_EQ(run("Ip_Clocking_Get_InputClk -part P -clkoutphy_freq 1 -output_freq1 2 -output_freq2 3 -primtive 0"),
            error("Ip_Clocking_Get_InputClk: There is no solver for \"P\".\n"));
}

TEST_F(Clocking, OutputClocks) {
  answers.text = "1 2";
  EXPECT_EQ(run("Ip_Clocking_Get_OutputClkList -part P -input_freq 5 -primtive 2"), ok("1 2"));
  EXPECT_EQ(calls.back(), "getOutputClockFrequencies 5 2 1 10 false NONE");
  EXPECT_EQ(asked("Ip_Clocking_Get_OutputClkList -part P -input_freq 5 -primtive 1 -clkoutphy_multiplication_factor 8 "
                  "-inclk1_period 4 -isSpeedFileEnabled true -nocmc_controller_type X"),
            Texts{"getOutputClockFrequencies 5 1 8 4 true X"});
}

TEST_F(Clocking, SolvingPassesTheClocksAndOptions) {
  answers.text = "a solution";
  answers.number = 8;
  const std::string command =
      "Ip_Clocking_Calc_M_D -part P -output_freq {100,200 300} -req_phase {0 90 1} "
      "-req_dc {50,50,25} -prim_freq 125 -secondary_freq 0 -primtive 1";
  EXPECT_EQ(run(command), ok("a solution"));
  EXPECT_EQ(calls,
            (Texts{"GetInstance", "GetInstance", "getClkwizSoln P", "getInClkPeriod 125 1 false",
                   "calculateMandD {100 0 50 200 90 50 300 1 25} P 125 0 1 false false false false false {} 0 10 10"}));
  EXPECT_EQ(messages, (Texts{"HIPClocking|Timeperiod that is passed as input is  8.000000 \n",
                             "HIPClocking|End of Calc Done\n"}));
  EXPECT_EQ(masks, (std::vector{ComMsgMgr::MSG_DEBUG2, ComMsgMgr::MSG_DEBUG0}));
  EXPECT_EQ(asked(command + " -min_jitter true -min_power yes -inclk1_period 8 -inclk2_period 9").back(),
            "calculateMandD {100 0 50 200 90 50 300 1 25} P 125 0 1 true false true false false {} 0 8 9");
  EXPECT_EQ(asked(command + " -fine_ps 1 -low_bandwidth on -spread_spectrum {A 1}"),
            (Texts{"validateSSArgs A 1", "getInClkPeriod 125 1 false",
                   "calculateMandD {100 0 50 200 90 50 300 1 25} P 125 0 1 false true false true true MODE 7 10 10"}));
}

TEST_F(Clocking, SolvingStopsAtTheFirstBadElement) {
  const auto solve = [this](char const* frequencies, char const* phases, char const* duties) {
    return run(std::string("Ip_Clocking_Calc_M_D -part P -prim_freq 100 -secondary_freq 0 -primtive 0 -output_freq {") +
               frequencies + "} -req_phase {" + phases + "} -req_dc {" + duties + "}");
  };
  const std::string begin = "Ip_Clocking_Calc_M_D: Requested ";
  const std::string end = "' needs to be a valid double value\n";
  EXPECT_EQ(solve("1 x", "y", "z"), error(begin + "phase 'y" + end));  // position by position
  EXPECT_EQ(solve("x", "y", "z"), error(begin + "output frequency 'x" + end));
  EXPECT_EQ(solve("1 2", "3 4", "5 6,z"), error(begin + "output frequency '" + end));
  EXPECT_EQ(solve("1 2", "3 4", "5 z"), error(begin + "DC 'z" + end));
  EXPECT_EQ(solve("1 2", "3", "4 5"), error(begin + "phase '" + end));
  EXPECT_EQ(messages, Texts{});
  EXPECT_EQ(calls, (Texts{"GetInstance", "GetInstance", "getClkwizSoln P"}));
}

TEST_F(Clocking, SolvingThatFails) {
  const std::string command =
      "Ip_Clocking_Calc_M_D -part P -output_freq 1 -req_phase 2 -req_dc 3 -prim_freq 100 "
      "-secondary_freq 0 -primtive 0";
  answers.success = false;
  EXPECT_EQ(run(command), error("Ip_Clocking_Calc_M_D: Failed in calculation of clocking solution.\n"));
  EXPECT_EQ(messages.size(), 1U);  // no end of calculation
  answers.errors = {"first", "second"};
  EXPECT_EQ(run(command), error("Ip_Clocking_Calc_M_D: first\n"));
  answers.error = "spread is odd";
  EXPECT_EQ(run(command + " -spread_spectrum x"), error("spread is odd"));
  EXPECT_EQ(calls.back(), "validateSSArgs x");
  EXPECT_EQ(messages, Texts{});
}

TEST_F(Clocking, ClkInstTellsWhatItDoes) {
  answers.text = "a result";
  EXPECT_EQ(run("Ip_Clocking_Get_ClkInst -part P -output_freq {1,2 3} -input_freq 4.5"), ok("a result"));
  EXPECT_EQ(calls.back(), "computeMinimalClkInst {1 2 3} {4.5/0} 10 P");
  EXPECT_EQ(messages, (Texts{"CLOCKING_IP|1 \n", "CLOCKING_IP|2 \n", "CLOCKING_IP|3 \n", "CLOCKING_IP|outputs done \n",
                             "CLOCKING_IP|4.5 \n", "CLOCKING_IP|inputs done \n", "CLOCKING_IP|result is a result \n"}));
  EXPECT_EQ(masks, std::vector(7, ComMsgMgr::MSG_DEBUG5));
  EXPECT_EQ(run("Ip_Clocking_Get_ClkInst -part P -output_freq {1 x%s} -input_freq z"),
            error("Ip_Clocking_Get_ClkInst: Requested output frequency 'x%s' needs to be a valid double value\n"));
  EXPECT_EQ(messages, (Texts{"CLOCKING_IP|1 \n", "CLOCKING_IP|x%s \n"}));
  EXPECT_EQ(run("Ip_Clocking_Get_ClkInst -part P -output_freq 1 -input_freq z"),
            error("Ip_Clocking_Get_ClkInst: Requested input frequency 'z' needs to be a valid double value\n"));
}

TEST_F(ClockCommands, NumbersAreTheSameUnderEveryLocale) {
  const DecimalComma comma;
  answers.number = 1234.5;
  EXPECT_EQ(run("GetClkwizProperty p i ChosenVCO"), ok("1234.500"));
  EXPECT_EQ(run("MMCMCalculateActualPhase p i 1.5 2,5 true"), ok("1234.500"));
  EXPECT_EQ(run("SetClkwizProperty p i SSModFreq 1,5"), error());
  EXPECT_EQ(run("SetClkwizProperty p i SSModFreq 1.5"), ok());
  EXPECT_EQ(run("Ip_Clocking_Get_PhaseError n 1"), ok("1234.500000"));
  message_host::set_channel("HIPClocking", 5);
  run("Ip_Clocking_Calc_M_D -part P -output_freq 1 -req_phase 0 -req_dc 50 -prim_freq 1 -secondary_freq 0 -primtive 0");
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages[0], "HIPClocking|Timeperiod that is passed as input is  1234.500000 \n");
  message_host::set_channel("HIPClocking", -1);
}

// In a process of its own: after it Tcl is gone.
void finalize_after(char const* script) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  Kdi_iptasks_Init(interp);
  Tcl_Eval(interp, script);
  Tcl_DeleteInterp(interp);
  recording_clocks::reset();
  Tcl_Finalize();
  std::_Exit(calls == Texts{"terminateInstance"} ? 0 : 1);
}
TEST(ClockExit, ReleasesTheManagerWhetherOrNotAnythingRan) {
  EXPECT_EXIT(finalize_after(""), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(finalize_after("Ip_Clocking_Init"), testing::ExitedWithCode(0), "");
}

}  // namespace
