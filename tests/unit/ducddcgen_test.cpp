// The C++ and C faces of the chain catalogue, and the checksum of its tables.
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"
#include "tests/support/decimal_comma.h"

namespace {

using namespace ducddcgen_init;
namespace fs = std::filesystem;

constexpr char const* kKnown = "duc_chbw10_C4_pb40_if0_frf92_os3";

class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("ducddcgen_test." + std::to_string(getpid()))) {
    fs::create_directories(path_);
  }
  ~Folder() { fs::remove_all(path_); }
  fs::path const& path() const { return path_; }

 private:
  fs::path path_;
};

std::string content(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(DucDdcConfig, HoldsTheExpandedEntry) {
  const DUCDDCConfig config(kKnown);
  EXPECT_EQ(config.name, kKnown);
  EXPECT_EQ(config.mixer_dsps, 4);
  EXPECT_EQ(config.mixer_freq, 92160000);
  EXPECT_EQ(config.mixer_stage, 0);
  EXPECT_EQ(config.mix_growth, 2);
  EXPECT_EQ(config.clean_time, 552);
  EXPECT_EQ(config.evm, -1.0f);
  EXPECT_EQ(config.step_num, (std::vector<int>{2, 3, 1}));
  EXPECT_EQ(config.step_den, (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(config.paths, (std::vector<int>{4, 2, 2}));
  EXPECT_EQ(config.bit_growth, (std::vector<int>{0, 0, 1}));
  EXPECT_EQ(config.model_taps, (std::vector<int>{11, 33, 79}));
  ASSERT_EQ(config.coefs.size(), 3u);
  EXPECT_EQ(config.coefs[2].size(), 79u);
  EXPECT_EQ(DUCDDCConfig("ddc_chbw10_C1_pb10_if0_frf122_os1").mixer_stage, -1);
  EXPECT_THROW(DUCDDCConfig("ddc_chbw10"), DUCDDCException);
  try {
    DUCDDCConfig(std::string("a\0b", 3));
    FAIL();
  } catch (DUCDDCException const& exception) {
    EXPECT_STREQ(exception.what(), "Configuration 'a");  // what() ends with the name's zero
  }
}

// Every text of every configuration against one that is put together from the expanded entry by the C library.
TEST(DucDdcConfig, TextsFollowFromTheEntry) {
  for (std::size_t row = 0; row < kRecords; row += 7) {
    const DUCDDCConfig config(name_of(database[row]));
    const auto list = [&](auto value_of) {
      std::string text = "[";
      for (int s = 0; s < static_cast<int>(config.paths.size()); ++s)
        text += (s == config.mixer_stage ? "][" : s != 0 ? "," : "") + num(value_of(static_cast<std::size_t>(s)), "%d");
      return text + "]\n";
    };
    const auto of = [&](std::vector<int> const& values) { return list([&](std::size_t s) { return values[s]; }); };
    ASSERT_EQ(config.get_file(0),
              "CFG: " + config.name + "\nMIXER     : " + num(config.mixer_dsps, "%d") + " DSPs at " +
                  fnum(config.mixer_freq * 0.000001, "%.2f") + " MHz\nMIXGROWTH : " + num(config.mix_growth, "%d") +
                  "\nSTEPS     : " + of(config.step_num) +
                  "COETAPS   : " + list([&](std::size_t s) { return static_cast<int>(config.coefs[s].size()); }) +
                  "MODELTAPS : " + of(config.model_taps) + "PATHS     : " + of(config.paths) +
                  "BITGROWTH : " + of(config.bit_growth) + "CLEANTIME : " + num(config.clean_time, "%d") +
                  "\nEVM       : " + fnum(config.evm, "%3.1f") + "\n");
    std::string resources = "CFG: " + config.name + "\n";
    for (std::size_t k = 0; k < kResourceFigures; ++k)
      resources +=
          std::string(rsrc_names[k]) + " : " + list([&](std::size_t s) {
            return +per_stage_data[rsrc_data[static_cast<std::size_t>(config.rsrc_index) + k] + static_cast<int>(s)];
          });
    ASSERT_EQ(config.get_file(-1), resources);
    for (std::size_t s = 0; s < config.coefs.size(); ++s) {
      std::string text = "Radix = 10;\nCoefData =";
      for (std::size_t i = 0; i < config.coefs[s].size(); ++i)
        text += fnum(config.coefs[s][i], "%40.30f") + (i + 1 < config.coefs[s].size() ? ",\n" : ";\n");
      ASSERT_EQ(config.get_file(static_cast<int>(s) + 1), text);
    }
    ASSERT_EQ(config.get_file(static_cast<int>(config.coefs.size()) + 1), "");
    ASSERT_EQ(config.get_file(-2), "");
  }
}

TEST(DucDdcConfig, WritesToTheDirectoryAsItIsGiven) {
  const Folder folder;
  const fs::path old = fs::current_path();
  fs::current_path(folder.path());
  const DUCDDCConfig config(kKnown);
  fs::create_directory("out");
  config.write_files("");
  config.write_files("out/");
  config.write_files("out");
  EXPECT_EQ(ducddcgen(kKnown, nullptr), 0);
  fs::current_path(old);
  for (char const* place : {"", "out"})
    for (int selector = -1; selector <= 3; ++selector) {
      const std::string tail = selector == 0    ? ".cfg"
                               : selector == -1 ? ".rsrc"
                                                : "_s" + std::to_string(selector) + ".coe";
      EXPECT_EQ(content(folder.path() / place / (kKnown + tail)), config.get_file(selector));
    }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 6);
}

TEST(DucDdcgen, ReturnsTheKindOfFailure) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ducddcgen("nothing", "."), 1);
  EXPECT_EQ(ducddcgen(kKnown, "/no/such/place"), 2);
  EXPECT_EQ(ducddcgen(nullptr, "."), 3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Database error: Configuration 'nothing' not found in database!\n"
            "General error: Couldn't open file /no/such/place/duc_chbw10_C4_pb40_if0_frf92_os3.cfg for output!\n"
            "Unknown error in ducddcgen!\n");
}

TEST(DucDdcgen, NumbersHaveAPointUnderEveryLocale) {
  const std::string before = DUCDDCConfig(kKnown).get_file(0) + fnum(1.5, "%3.1f");
  const DecimalComma comma;
  EXPECT_EQ(DUCDDCConfig(kKnown).get_file(0) + fnum(1.5, "%3.1f"), before);
}

std::uint64_t add(std::uint64_t hash, void const* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i)
    hash = (hash ^ static_cast<unsigned char const*>(data)[i]) * 0x100000001b3;  // FNV-1a
  return hash;
}

// The catalogue comes out of every build with the same bytes. Who changes a rule on purpose changes this figure too.
TEST(DucDdcCatalogue, HasItsChecksum) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (Record const& record : database) {
    const std::string name = name_of(record);
    hash = add(hash, name.c_str(), name.size() + 1);
    const DUCDDCConfig config(name);
    for (int selector = -1; selector <= static_cast<int>(config.coefs.size()); ++selector) {
      if (selector > 0) {
        auto const& taps = config.coefs[static_cast<std::size_t>(selector) - 1];
        hash = add(hash, taps.data(), taps.size() * sizeof taps[0]);
      } else {
        const std::string text = config.get_file(selector);
        hash = add(hash, text.data(), text.size());
      }
    }
  }
  EXPECT_EQ(hash, 2743770694681160269u);
}

}  // namespace
