// Texts of cores as files for the software tools.
#include <gtest/gtest.h>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/hdf/SWParamWriter.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::hdf;

TEST(ParamInfo, IsAnObjectOfFourFields) {
  const Scratch scratch;
  ASSERT_TRUE(SWParamWriter::writeParamInfo(scratch.path("p.json"), "u \"1\"", "pss_power", "{\"a\": 1}\n"));
  EXPECT_EQ(scratch.content("p.json"),
            "{\n  \"format\": 1,\n  \"kind\": \"pss_power\",\n  \"instance\": \"u \\\"1\\\"\",\n"
            "  \"data\": \"{\\\"a\\\": 1}\\n\"\n}\n");
}

TEST(ParamInfo, ReadsBackWhatWasWritten) {
  const Scratch scratch;
  const std::string path = scratch.path("p.json");
  test_support::Random random(3);
  static const std::vector<std::string> kPieces = {"a",  "{",    "}",    "\"",       "\\",
                                                   "\n", "\x01", "\x7F", "\xC3\xA4", "\xF0\x9F\x98\x80"};
  for (int run = 0; run < 200; ++run) {
    ParamInfo info;
    for (std::string* const text : {&info.instance, &info.kind, &info.data})
      for (unsigned i = random.below(12); i > 0; --i)
        *text += kPieces[random.below(static_cast<unsigned>(kPieces.size()))];
    ASSERT_TRUE(SWParamWriter::writeParamInfo(path, info.instance, info.kind, info.data));
    EXPECT_EQ(read_param_info(path), info);
  }
}

TEST(ParamInfo, RefusesFilesOfAnotherForm) {
  const auto refusal = [](std::string const& text) {
    try {
      read_param_info_text(text, "f");
    } catch (kdi::JsonError const& error) {
      return std::string(error.what());
    }
    return std::string("taken");
  };
  const std::string before = R"({"format": 1, "kind": "k", "instance": "i")";
  EXPECT_EQ(refusal(before + R"(, "data": "d"})"), "taken");
  EXPECT_EQ(refusal(before + "}"), "f:1: top level: expected a field \"data\", found none");
  EXPECT_EQ(refusal(before + ",\n\"data\": 7}"), "f:2: data: expected a text, found the number 7");
  EXPECT_EQ(refusal(before + ", \"data\": \"d\",\n\"more\": 7}").substr(0, 10), "f:2: more:");
  EXPECT_EQ(refusal(R"({"format": 2})").substr(0, 12), "f:1: format:");
  EXPECT_EQ(refusal("{").substr(0, 4), "f:1:");
}

TEST(ParamInfo, TellsWhatCannotBeWrittenAndLeavesWhatStood) {
  const Scratch scratch;
  message_host::Capture capture;
  const std::string path = scratch.file("p.json", "before");
  EXPECT_FALSE(SWParamWriter::writeParamInfo(path, "u1", "pss_io", "\xFF"));
  EXPECT_FALSE(SWParamWriter::writeParamInfo(scratch.path("no/p.json"), "u1", "pss_io", "x"));
  EXPECT_EQ(scratch.content("p.json"), "before");
  EXPECT_EQ(capture.lines(),
            (std::vector<std::string>{
                "ERROR: [hdf] " + path + ": cannot be written: a text that is no UTF-8",
                "ERROR: [hdf] " + scratch.path("no/p.json") + ": cannot be created: No such file or directory"}));
}

}  // namespace
