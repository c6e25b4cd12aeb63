// State files, and what else of a real core of the larger processing systems goes to files.
#include <gtest/gtest.h>

#include "kdi/common/KdiFile.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/ippcw/HICCDOGen.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HICInstOutputUtils.h"
#include "kdi/ippcw/HICJsonReader.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using Texts = std::vector<std::string>;

class StateFile : public testing::Test {
 protected:
  std::shared_ptr<HICInst> inst() const {
    StrVec errors;
    return hardip_eng::HardIPManager::getInstance()
        ->getOrCreateInstance(
            {{"ps_core_name", "psxl"}, {"instance_name", "u1"}, {"part", "brvn3716-die-2LHP-e-S-es1"}}, errors)
        ->getHICInst();
  }
  // What the one message says behind its kind and category.
  std::string told() {
    const Texts lines = capture_.lines();
    capture_.clear();
    constexpr std::string_view kFront = "ERROR: [ippcw] ";
    return lines.size() == 1 && lines[0].starts_with(kFront) ? lines[0].substr(kFront.size())
                                                             : std::to_string(lines.size()) + " messages";
  }
  Scratch scratch_;
  message_host::Capture capture_;
};

TEST_F(StateFile, HasThePadsOfTheCore) {
  std::string path = scratch_.path("s.json");
  ParamMap values, mio;
  StrPairs on{{"PSX_UART0_PERIPHERAL_ENABLE", "1"}};
  StrVec modified, places;
  ParamMap messages;
  inst()->getParamRange("PSX_UART0_PERIPHERAL_IO", places);
  for (std::string const& place : places)
    if (on.size() == 1 && place.find(" .. ") != std::string::npos) on.emplace_back("PSX_UART0_PERIPHERAL_IO", place);
  ASSERT_EQ(on.size(), 2U);
  inst()->guiSetParam(on, modified, messages);
  HICInstOutputUtils::generatePSXLStateJson(path, values);
  HICInstOutputUtils::writeMioParams(path, inst(), "psxl");
  EXPECT_TRUE(HICJsonReader().parseMioParams(path, mio));
  int of_uart = 0;
  for (auto const& [pad, use] : mio) of_uart += use.find("UART") != std::string::npos ? 1 : 0;
  EXPECT_EQ(of_uart, 2) << on[1].second << " of " << mio.size();
}

TEST_F(StateFile, ReadsBackWhatWasWritten) {
  test_support::Random random(8);
  static const Texts kPieces = {"a", "\"", "\\", "\n", "\xC3\xA4", "{", " ", "\x01"};
  std::string path = scratch_.path("s.json");
  for (int run = 0; run < 100; ++run) {
    ParamMap values, back;
    for (unsigned i = random.below(6); i > 0; --i)
      values["P" + std::to_string(i) + kPieces[random.below(8)]] = kPieces[random.below(8)] + kPieces[random.below(8)];
    HICInstOutputUtils::generatePSXLStateJson(path, values);
    EXPECT_TRUE(HICJsonReader().parseStateJson(path, back));
    EXPECT_EQ(back, values);
  }
}

TEST_F(StateFile, IsRefusedWithItsPlaceAndLeavesWhatWasKnown) {
  ParamMap params{{"A", "1"}};
  const auto refused = [&](std::string const& text) {
    const std::string path = scratch_.file("s.json", text);
    EXPECT_FALSE(HICJsonReader().parseStateJson(path, params));
    EXPECT_FALSE(HICJsonReader().parseMioParams(path, params));
    EXPECT_EQ(params, (ParamMap{{"A", "1"}}));
    const Texts lines = capture_.lines();
    capture_.clear();
    EXPECT_EQ(lines.size(), 2U);
    return lines.at(0).substr(15 + path.size());
  };
  const std::string front = "{\"format\": 1,\n\"core\": \"c\", ";
  EXPECT_EQ(refused(front + "\"parameters\": {\"A\": 2}, \"mio\": {}}"),
            ":2: parameters.A: expected a text, found the number 2");
  EXPECT_EQ(refused(front + "\"parameters\": {}}"), ":1: top level: expected a field \"mio\", found none");
  EXPECT_EQ(refused("{\"format\": 2}").substr(0, 12), ":1: format: ");
  EXPECT_EQ(refused("{").substr(0, 3), ":1:");
  EXPECT_FALSE(HICJsonReader().parseStateJson(scratch_.path("none"), params));
  EXPECT_EQ(told(), scratch_.path("none") + ": cannot be opened: No such file or directory");
}

TEST_F(StateFile, SourcesAreMadeOfTheOutputsThatADirectoryNames) {
  std::string core = "psxl", directory = scratch_.path("spec/low"), out = scratch_.path("out");
  HICCDOGen generator(core);
  ParamMap values, none;
  generator.writeCDOinCFiles(values, directory, core, out, 0);
  EXPECT_FALSE(std::filesystem::exists(out)) << "there are no values";
  generator.readRegisters(values, none, none);
  generator.writeCDOinCFiles(values, directory, core, out, 0);
  EXPECT_EQ(told(), directory + "/registers.json: cannot be opened: No such file or directory");
  scratch_.file("spec/low/registers.json", R"({"format": 1, "outputs": ["other"]})");
  generator.writeCDOinCFiles(values, directory, core, out, 0);
  EXPECT_EQ(told().substr(directory.size()),
            "/registers.json:1: outputs[0]: expected an output of the core: fpd_data, "
            "lpd_data, noc_clock, pmc_data, pmc_data_slr_1, pmc_data_slr_2, pmc_data_slr_3, sysmon_npi, found the text "
            "\"other\"");
  EXPECT_FALSE(std::filesystem::exists(out));
  scratch_.file("spec/low/registers.json", R"({"format": 1, "outputs": ["lpd_data"]})");
  generator.writeCDOinCFiles(values, directory, core, out, 0);
  EXPECT_NE(scratch_.content("out/low.c").find("int psxl_low_configure("), std::string::npos);
  std::string other = "other";
  HICCDOGen nothing(other);
  EXPECT_EQ(told().substr(0, 26), "no core \"other\"; there are");
  nothing.readRegisters(values, none, none);
  nothing.writeMaskDefinitonsFile();
  nothing.writeCDOinCFiles(values, directory, other, out, 0);
  EXPECT_EQ(capture_.lines(), Texts{});
}

TEST_F(StateFile, MasksAreThoseOfTheFields) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(scratch_.folder());
  std::string core = "psxl";
  HICCDOGen(core).writeMaskDefinitonsFile();
  std::filesystem::current_path(before);
  const std::string text = scratch_.content("psxl_mask_definitions.h");
  EXPECT_TRUE(
      text.starts_with("/* Addresses of registers, and masks of their fields. */\n#ifndef PSXL_MASK_DEFINITIONS_H\n"
                       "#define PSXL_MASK_DEFINITIONS_H\n\n#define "))
      << text.substr(0, 200);
  EXPECT_NE(text.find("#define PPLL_CONTROL_BYPASS_MASK 0x00000002u\n"), std::string::npos);
}

}  // namespace
