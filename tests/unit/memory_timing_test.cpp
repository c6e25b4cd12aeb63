// Timing of memory: the shipped figures read a second time, the fields of controllers computed a second time, and files
// that are refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "kdi/common/KdiFile.h"
#include "kdi/cores/Instance.h"
#include "kdi/cores/Store.h"
#include "kdi/ddr/SpeedBins.h"
#include "platform/ddr/type_reader.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::ordered_json;
using test_support::Random;
__extension__ typedef __int128 Wide;

ordered_json shipped(std::string const& type) {
  ordered_json told = ordered_json::parse(kdi::read_file(places::data("ddr/" + type + ".json")));
  if (!told.contains("like")) return told;
  ordered_json whole = shipped(told["like"]);
  for (auto const& [name, value] : told.items()) whole[name] = value;
  return whole;
}

// Before any other asks, since data are read once.
TEST(FirstQuestion, ATypeLikeNoneIsRefused) {
  Surroundings around;
  const Scratch data;
  const std::string file =
      data.file("ddr/DDR9.json", R"({"format": 1, "type": "DDR9", "source": "JEDEC JESD79-9", "like": "DDR8"})");
  around.variables["KDI_DATA_DIR"] = data.folder();
  const Outcome outcome = run_apart(
      [] {
        try {
          kdi::ddr::type_names();
        } catch (kdi::JsonError const& error) {
          std::fputs(error.what(), stdout);
          return 0;
        }
        return 1;
      },
      around);
  EXPECT_EQ(outcome.out, file + ":1: like: expected a type that is told in full, found the text \"DDR8\"");
}

// A decimal text in millionths.
std::int64_t millionths(std::string const& text) {
  const std::size_t point = text.find('.');
  std::string digits = text.substr(0, point), fraction = point == std::string::npos ? "" : text.substr(point + 1);
  fraction.resize(6, '0');
  return std::stoll(digits + fraction);
}

// What the fields of a controller are, by fractions of whole numbers. The clock is in Hz, times are in femtoseconds.
class Truth {
 public:
  Truth(ordered_json type, std::string const& bin, std::int64_t hertz) : type_(std::move(type)), hertz_(hertz) {
    for (auto const& one : type_["speed_bins"])
      if (one["name"] == bin) bin_ = one;
  }

  std::int64_t figure(std::string const& name) const {
    if (bin_["figures"].contains(name)) return millionths(bin_["figures"][name]);
    return millionths(type_["figures"][name]);
  }
  std::int64_t up(std::string const& ns) const {
    const Wide cycles = static_cast<Wide>(figure(ns)) * hertz_;  // of 1e-15
    const Wide whole = 1'000'000'000'000'000;
    return static_cast<std::int64_t>((cycles + whole - 1) / whole);
  }
  std::int64_t down(std::string const& ns) const {
    return static_cast<std::int64_t>(static_cast<Wide>(figure(ns)) * hertz_ / 1'000'000'000'000'000);
  }
  std::int64_t count(std::string const& name) const { return figure(name) / 1'000'000; }
  std::int64_t latency(std::string const& name) const {
    const std::int64_t most = type_["speed_bins"].back()["rate_mtps"].get<std::int64_t>() * 500'000;
    for (auto const& one : type_["latencies"])
      if (std::min(hertz_, most) <= millionths(one["up_to_mhz"]))
        return std::stoll(one["figures"][name].get<std::string>());
    return -1;
  }

 private:
  ordered_json type_, bin_;
  std::int64_t hertz_;
};

class Controller : public testing::TestWithParam<std::pair<char const*, char const*>> {};

TEST_P(Controller, HasTheTimesOfItsMemory) {
  auto const& [name, version] = GetParam();
  const auto core = kdi::cores::core_description(name, version);
  kdi::cores::Instance instance(core);
  const std::string prefix = std::string(name) == "ps7" ? "PS7_" : "PSU_";
  const auto number = [&](std::string const& behind) { return core->find(prefix + behind).value(); };
  const auto value = [&](std::string const& behind) { return instance.value(number(behind)); };
  Random random(test_support::fresh_seed());
  int compared = 0;
  for (std::string const& type : instance.range(number("DDR_TYPE"))) {
    const ordered_json told = shipped(type);
    for (auto const& bin : told["speed_bins"]) {
      auto const& densities = told["densities_mbit"];
      const std::int64_t density = densities[random.below(static_cast<unsigned>(densities.size()))];
      const std::int64_t most =
          std::min<std::int64_t>(bin["rate_mtps"].get<std::int64_t>() / 2, prefix == "PS7_" ? 533 : 1200);
      const std::int64_t asked = 100 + random.below(static_cast<unsigned>(most - 99));
      const std::string width = random.one_in(2) ? "8" : "16";
      instance.set({{number("DDR_TYPE"), type},
                    {number("DDR_SPEED_BIN"), bin["name"]},
                    {number("DDR_DEVICE_MBITS"), std::to_string(density)},
                    {number("DDR_DEVICE_WIDTH"), width},
                    {number("DDR_REF_CTRL_FREQMHZ"), std::to_string(asked)}});
      const Truth truth(told, bin["name"], millionths(value("DDR_REF_CTRL_ACT_FREQMHZ")));
      const std::string page = width == "16" ? "2KB" : "1KB", of = type + "-" + bin["name"].get<std::string>();
      const auto expect = [&](char const* field, std::int64_t expected) {
        EXPECT_EQ(value(field), std::to_string(expected)) << of << " " << field << " at " << asked << " MHz";
        ++compared;
      };
      expect("DDR_CL", std::max(truth.latency("RL_nCK"), truth.up("tAA_ns")));
      expect("DDR_CWL", truth.latency("WL_nCK"));
      expect("DDR_T_RCD", truth.up("tRCD_ns"));
      expect("DDR_T_RP", truth.up("tRP_ns"));
      expect("DDR_T_RAS_MIN", truth.up("tRAS_ns"));
      expect("DDR_T_RC", truth.up("tRC_ns"));
      expect("DDR_T_RRD", std::max(truth.count("tRRD_nCK"), truth.up("tRRD_" + page + "_ns")));
      expect("DDR_T_FAW", truth.up("tFAW_" + page + "_ns"));
      expect("DDR_T_WR", truth.up("tWR_ns"));
      expect("DDR_T_WTR", std::max(truth.count("tWTR_nCK"), truth.up("tWTR_ns")));
      expect("DDR_T_RTP", std::max(truth.count("tRTP_nCK"), truth.up("tRTP_ns")));
      expect("DDR_T_RFC", truth.up("tRFC_" + std::to_string(density) + "_ns"));
      expect("DDR_T_REFI", truth.down("tREFI_ns"));
    }
  }
  EXPECT_GT(compared, 500);
}
INSTANTIATE_TEST_SUITE_P(Systems, Controller, testing::Values(std::pair("ps7", "1.4"), std::pair("psu", "1.0")));

// What holds of memory of any kind: rows are open no longer than their cycle, and faster bins are listed later.
TEST(Standards, FiguresFitEachOther) {
  const std::vector<std::string> names = kdi::ddr::type_names();
  EXPECT_EQ(names, (std::vector<std::string>{"DDR2", "DDR3", "DDR3L", "DDR4", "DDR5", "LPDDR2", "LPDDR3", "LPDDR4",
                                             "LPDDR5"}));
  for (std::string const& name : names) {
    kdi::ddr::MemoryType const& type = *kdi::ddr::find_type(name);
    EXPECT_NE(type.source().find("JEDEC JESD"), std::string::npos) << name;
    for (kdi::ddr::SpeedBin const& bin : type.speed_bins()) {
      const auto figure = [&](char const* of) { return millionths(*type.figure(bin.name, of)); };
      // Rounded figures of the standards differ by 10 ps at most.
      EXPECT_NEAR(static_cast<double>(figure("tRAS_ns") + figure("tRP_ns")), static_cast<double>(figure("tRC_ns")),
                  10000)
          << name << " " << bin.name;
      EXPECT_LE(figure("tRCD_ns"), figure("tRAS_ns"));
      EXPECT_LE(figure("tRRD_1KB_ns"), figure("tRRD_2KB_ns"));
      EXPECT_LE(figure("tFAW_1KB_ns"), figure("tFAW_2KB_ns"));
      EXPECT_EQ(*type.figure(bin.name, "rate_mtps"), std::to_string(bin.rate_mtps));
    }
    std::int64_t before = 0;
    for (const std::int64_t density : type.densities_mbit()) {
      const std::int64_t refresh =
          millionths(*type.figure(type.speed_bins()[0].name, "tRFC_" + std::to_string(density) + "_ns"));
      EXPECT_GE(refresh, before);
      before = refresh;
    }
    EXPECT_EQ(type.figure("none", "tRCD_ns"), nullptr);
    EXPECT_EQ(type.figure(type.speed_bins()[0].name, "none"), nullptr);
    EXPECT_EQ(type.figure_at(1e6, "WL_nCK"), nullptr);
    EXPECT_EQ(type.figure_at(100, "none"), nullptr);
  }
  EXPECT_EQ(kdi::ddr::find_type("DDR"), nullptr);
}

TEST(Rules, TellOfMemoryThatThereIsNot) {
  const auto core = kdi::cores::core_description("ps7", "1.4");
  kdi::cores::Instance instance(core);
  instance.set({{core->find("PS7_DDR_SPEED_BIN").value(), "no such bin"}});
  EXPECT_EQ(instance.value(core->find("PS7_DDR_T_RCD").value()), "7") << "one that is not there counts for nothing";
}

TEST(Rules, FaultWhereThereIsNoFigure) {
  // A rule that faults with all defaults is refused.
  const auto said = [](std::string const& rule) {
    try {
      kdi::cores::Core::parse(
          R"~({"format": 1, "core": "made", "version": "1.0", "parameters": [{"name": "A", "type": "text", "widget": "EDIT",
              "description": "d", "default": "", "derived": ")~" +
              rule + R"~("}]})~",
          "made.json");
    } catch (kdi::JsonError const& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(said("text(ddr('DDR3', '1066F', 'tRCD_ns'))"), "none");
  EXPECT_NE(said("text(ddr('SDRAM', '1066F', 'tRCD_ns'))").find("no memory of the type \"SDRAM\""), std::string::npos);
  EXPECT_NE(said("text(ddr('DDR3', '9999X', 'tRCD_ns'))").find("no tRCD_ns of DDR3-9999X"), std::string::npos);
  EXPECT_NE(said("text(ddr_at('DDR3', 1, 'colour'))").find("no colour of DDR3"), std::string::npos);
  EXPECT_EQ(said("text(ddr_at('DDR3', 100000, 'WL_nCK'))"), "none");
  EXPECT_NE(said("join(ddr_bins('SDRAM'), ' ')").find("no memory of the type"), std::string::npos);
  EXPECT_NE(said("text(length(ddr_densities('SDRAM')))").find("no memory of the type"), std::string::npos);
}

// The text of a file after a change, or what is said of it.
std::string fault_of(std::function<void(ordered_json&)> const& change) {
  ordered_json told = shipped("DDR3");
  change(told);
  try {
    const kdi::JsonFile file(told.dump(), "DDR3.json");
    kdi::ddr::read_type(file, "DDR3", nullptr);
    return "none";
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
}

TEST(MemoryFiles, AreRefusedWithTheirField) {
  EXPECT_EQ(fault_of([](ordered_json&) {}), "none");
  struct {
    char const* told;
    std::function<void(ordered_json&)> change;
  } const cases[] = {
      {"DDR3.json:1: type: expected the name of the file, \"DDR3\", found the text \"DDR5\"",
       [](auto& j) { j["type"] = "DDR5"; }},
      {"DDR3.json:1: source: expected the standard that the figures are from, found the text \"\"",
       [](auto& j) { j["source"] = ""; }},
      {"DDR3.json:1: figures.tWR_ns: expected a number from 0 to 100000 as a text, found the text \"many\"",
       [](auto& j) { j["figures"]["tWR_ns"] = "many"; }},
      {"DDR3.json:1: figures.tWR_ns: expected a number from 0 to 100000 as a text, found the text \"-1\"",
       [](auto& j) { j["figures"]["tWR_ns"] = "-1"; }},
      {"DDR3.json:1: figures.tWR: expected a name that ends in _ns or _nCK, which says what the figure counts, found "
       "the "
       "text \"15\"",
       [](auto& j) { j["figures"]["tWR"] = "15"; }},
      {"DDR3.json:1: figures.tRTP_nCK: expected a whole number of periods, found the text \"4.5\"",
       [](auto& j) { j["figures"]["tRTP_nCK"] = "4.5"; }},
      {"DDR3.json:1: densities_mbit[1]: expected an ascending list, found the number 512",
       [](auto& j) { j["densities_mbit"][1] = 512; }},
      {"DDR3.json:1: densities_mbit: expected a density at least, found a list",
       [](auto& j) { j["densities_mbit"] = ordered_json::array(); }},
      {"DDR3.json:1: latencies[1].up_to_mhz: expected an ascending list, found the text \"400\"",
       [](auto& j) { j["latencies"][1]["up_to_mhz"] = "400"; }},
      {"DDR3.json:1: latencies[0].figures: expected the figure WL_nCK, found an object",
       [](auto& j) { j["latencies"][0]["figures"].erase("WL_nCK"); }},
      {"DDR3.json:1: speed_bins[1].name: expected a name that no other bin has, found the text \"800D\"",
       [](auto& j) { j["speed_bins"][1]["name"] = "800D"; }},
      {"DDR3.json:1: speed_bins[1].rate_mtps: expected an ascending list, found the number 700",
       [](auto& j) { j["speed_bins"][1]["rate_mtps"] = 700; }},
      {"DDR3.json:1: speed_bins: expected a speed bin at least, found a list",
       [](auto& j) { j["speed_bins"] = ordered_json::array(); }},
      {"DDR3.json:1: top level: expected the figure tRFC_512_ns of the bin 800D, found an object",
       [](auto& j) { j["figures"].erase("tRFC_512_ns"); }},
      {"DDR3.json:1: top level: expected latencies up to the clock of the bin 2133K, found an object",
       [](auto& j) { j["latencies"].erase(5); }},
  };
  for (auto const& one : cases) EXPECT_EQ(fault_of(one.change), one.told);
  EXPECT_NE(fault_of([](auto& j) { j.erase("speed_bins"); }), "none");
  EXPECT_NE(fault_of([](auto& j) { j["colour"] = 1; }), "none");
}

}  // namespace
