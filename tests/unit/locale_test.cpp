// Commands under locales of other countries: the same words are understood, and the same figures come out.
#include <gtest/gtest.h>
#include <tcl.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/host/MessageHost.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/examples.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/scratch.h"

namespace {

// Commas for points; an i whose capital is no I.
enum class Place { germany, turkey };

class Abroad : public testing::TestWithParam<Place> {
 protected:
  Abroad() {
    std::filesystem::current_path(folder_.folder());
    Tcl_FindExecutable(nullptr);  // sets a locale of its own
    interpreter_ = std::make_unique<Interpreter>();
  }
  ~Abroad() override { std::filesystem::current_path("/"); }

  void go() {
    switch (GetParam()) {
      case Place::germany:
        germany_ = std::make_unique<DecimalComma>();
        break;
      case Place::turkey:
        turkey_ = std::make_unique<ForeignLocale>("tr_TR", "ISO-8859-9");
        break;
    }
  }

  std::string answer(std::string const& script) {
    EXPECT_EQ(interpreter_->evaluate(script), TCL_OK) << script << ": " << interpreter_->result();
    return interpreter_->result();
  }

  // Codes and results of all examples, and of what fails.
  std::vector<std::string> all_answers() {
    std::vector<std::string> answers;
    const auto keep = [&](std::string const& what, int code) {
      answers.push_back(what + ": " + std::to_string(code) + " " + interpreter_->result());
    };
    for (DescribedCommand const& command : described_commands()) {
      const int code = run_example(*interpreter_, command);
      if (command.example.is_pattern)
        expect_example_result(*interpreter_, command, code);  // it is not the same each time
      else
        keep(command.example.script, code);
      for (kdish::CommandError const& error : command.failures)
        if (!error.script.empty()) keep(error.script, interpreter_->evaluate(error.script));
    }
    return answers;
  }

  // Words that the contract takes in any case, with an i in them.
  void expect_any_case() {
    answer("Init_Clkwiz key inst zrv9010-f625-1-e");
    for (auto const& [before, after] :
         {std::pair{"GetPkToPkJitter key inst 100 1000 100 ", " 0.01 0"},
          {"GetPhaseError key inst 100 1000 ", ""},
          {"Ip_Clocking_Get_PeakToPeakJitter brvn3716-die-2LHP-e-S-es1 125 4000 100 ", " MMCM 0 0 0"}})
      for (auto const& [lower, upper] : {std::pair{"high", "HIGH"}, {"optimized", "OPTIMIZED"}})
        EXPECT_EQ(answer(before + std::string(lower) + after), answer(before + std::string(upper) + after));
    EXPECT_NE(answer("GetPkToPkJitter key inst 100 1000 100 high 0.01 0"),
              answer("GetPkToPkJitter key inst 100 1000 100 low 0.01 0"));
  }

  Scratch folder_;
  std::unique_ptr<Interpreter> interpreter_;
  std::unique_ptr<DecimalComma> germany_;
  std::unique_ptr<ForeignLocale> turkey_;
};

TEST_P(Abroad, CommandsAnswerAsAtHome) {
  const message_host::Capture quiet;
  all_answers();  // what the commands keep is the same before the next two
  const std::vector<std::string> at_home = all_answers();
  ASSERT_GE(at_home.size(), 80U);
  go();
  const std::vector<std::string> abroad = all_answers();
  ASSERT_EQ(abroad.size(), at_home.size());
  for (std::size_t i = 0; i < abroad.size(); ++i) EXPECT_EQ(abroad[i], at_home[i]);
  expect_any_case();
}

std::string name_of(testing::TestParamInfo<Place> const& info) {
  constexpr char const* kNames[] = {"Germany", "Turkey"};
  return kNames[static_cast<int>(info.param)];
}
INSTANTIATE_TEST_SUITE_P(Locales, Abroad, testing::Values(Place::germany, Place::turkey), name_of);

}  // namespace
