// The words that describe a block memory, the data files, and the functions that give its figures.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <thread>

#include "kdi/bmg/blk_mem_gen.h"
#include "kdi/bmg/host/tiling.h"
#include "kdi/common/host/MessageHost.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

std::vector<std::string> split(std::string const& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

bmg::Tiling tile(std::string const& text, char const* version = "v8_4") {
  const std::vector<std::string> words = split(text);
  return bmg::tile_memory(version, {words.begin(), words.end()});
}

// "CODE TEXT" of a description that is refused.
std::string fault_of(std::string const& text, char const* version = "v8_4") {
  try {
    tile(text, version);
  } catch (bmg::Fault const& error) {
    return std::to_string(static_cast<int>(error.reason())) + " " + error.what();
  }
  return {};
}

TEST(BlockMemory, RefusesWordsWithACodeAndAText) {
  const std::string some = "type single_port_ram width_a 8 depth_a 64";
  const std::string two = "type simple_dual_port_ram width_a 8 depth_a 64";
  const std::pair<std::string, char const*> kFaults[] = {
      {"", "-2 no words describe the memory"},
      {some + " ecc", "-2 word \"ecc\": has no value"},
      {some + " width 8",
       "-3 no word is called \"width\"; there are type, width_a, depth_a, width_b, depth_b, algorithm, primitives, "
       "shape, ecc, byte_width, clock_mhz, part"},
      {some + " width_a 8", "-4 word \"width_a\": is given twice"},
      {"width_a 8 depth_a 64", "-5 word \"type\": is missing"},
      {"type single_port_ram depth_a 64", "-5 word \"width_a\": is missing"},
      {"type single_port_ram width_a 64", "-5 word \"depth_a\": is missing"},
      {two + " width_b 8", "-5 word \"depth_b\": is missing"},
      {two + " depth_b 64", "-5 word \"width_b\": is missing"},
      {some + " algorithm fixed_primitive", "-5 word \"shape\": is missing"},
      {"type ram width_a 8 depth_a 64",
       "-6 word \"type\": \"ram\" is none of single_port_ram, simple_dual_port_ram, true_dual_port_ram, "
       "single_port_rom, dual_port_rom"},
      {"type single_port_ram width_a 8.0 depth_a 64", "-6 word \"width_a\": \"8.0\" is no integer"},
      {"type single_port_ram width_a 8x depth_a 64", "-6 word \"width_a\": \"8x\" is no integer"},
      {some + " clock_mhz 99999999999x", "-6 word \"clock_mhz\": \"99999999999x\" is no integer"},
      {some + " algorithm fast", "-6 word \"algorithm\": \"fast\" is none of minimum_area, low_power, fixed_primitive"},
      {some + " ecc hamming", "-6 word \"ecc\": \"hamming\" is none of none, builtin, soft"},
      {some + " byte_width 7", "-6 word \"byte_width\": \"7\" is none of 0, 8, 9"},
      {some + " primitives 18,27",
       "-6 word \"primitives\": \"18,27\" is no list of sizes of primitives, such as 18 or 18,36"},
      {some + " primitives 18,",
       "-6 word \"primitives\": \"18,\" is no list of sizes of primitives, such as 18 or 18,36"},
      {some + " algorithm fixed_primitive shape 2048x8",
       "-6 word \"shape\": \"2048x8\" is no shape of a primitive, such as 2048x9"},
      {some + " algorithm fixed_primitive shape 2048",
       "-6 word \"shape\": \"2048\" is no shape of a primitive, such as 2048x9"},
      {"type single_port_ram width_a 0 depth_a 64", "-7 word \"width_a\": 0 is outside 1 to 4608"},
      {"type single_port_ram width_a 4609 depth_a 64", "-7 word \"width_a\": 4609 is outside 1 to 4608"},
      {"type single_port_ram width_a 99999999999 depth_a 64", "-7 word \"width_a\": 99999999999 is outside 1 to 4608"},
      {"type single_port_ram width_a 8 depth_a -99999999999",
       "-7 word \"depth_a\": -99999999999 is outside 1 to 1048576"},
      {"type single_port_ram width_a 8 depth_a -1", "-7 word \"depth_a\": -1 is outside 1 to 1048576"},
      {"type single_port_ram width_a 8 depth_a 1048577", "-7 word \"depth_a\": 1048577 is outside 1 to 1048576"},
      {some + " clock_mhz 0", "-7 word \"clock_mhz\": 0 is outside 1 to 1000"},
      {some + " width_b 8 depth_b 64", "-8 word \"width_b\": a memory of type single_port_ram has no second port"},
      {some + " shape 2048x9", "-8 word \"shape\": only the algorithm fixed_primitive takes a shape"},
      {some + " algorithm fixed_primitive shape 2048x9 primitives 18",
       "-8 word \"primitives\": the shape says which primitive is used"},
      {two + " width_b 16 depth_b 64", "-9 port a of 64 x 8 and port b of 64 x 16 do not have the same number of bits"},
      {"type true_dual_port_ram width_a 8 depth_a 96 width_b 24 depth_b 32",
       "-9 widths of 8 and 24 bits are not in a ratio of 1, 2, 4 and so on to 32"},
      {"type true_dual_port_ram width_a 12 depth_a 96 width_b 8 depth_b 144",
       "-9 widths of 12 and 8 bits are not in a ratio of 1, 2, 4 and so on to 32"},
      {"type true_dual_port_ram width_a 1 depth_a 64 width_b 64 depth_b 1",
       "-9 widths of 1 and 64 bits are not in a ratio of 1, 2, 4 and so on to 32"},
      {some + " byte_width 9", "-10 word \"byte_width\": a word of 8 bits is not whole bytes of 9"},
      {"type single_port_rom width_a 8 depth_a 64 byte_width 8", "-10 word \"byte_width\": a ROM is not written"},
      {some + " ecc builtin byte_width 8", "-10 word \"byte_width\": an ECC covers whole words"},
      {"type true_dual_port_ram width_a 8 depth_a 64 ecc soft",
       "-11 word \"ecc\": a memory of type true_dual_port_ram has none"},
      {"type single_port_rom width_a 8 depth_a 64 ecc builtin",
       "-11 word \"ecc\": a memory of type single_port_rom has none"},
      {two + " width_b 16 depth_b 32 ecc soft", "-11 word \"ecc\": both ports need the same width"},
      {"type single_port_ram width_a 65 depth_a 64 ecc soft",
       "-11 word \"ecc\": a soft ECC covers up to 64 bits, not 65"},
      {some + " ecc builtin primitives 9,18",
       "-12 no primitive that is allowed has a shape for these ports, their ratio of 1 to 1, byte writes and ECC"},
      {"type true_dual_port_ram width_a 4 depth_a 1024 width_b 128 depth_b 32 primitives 9",
       "-12 no primitive that is allowed has a shape for these ports, their ratio of 1 to 32, byte writes and ECC"},
      {"type true_dual_port_ram width_a 8 depth_a 64 algorithm fixed_primitive shape 512x72",
       "-12 no primitive that is allowed has a shape for these ports, their ratio of 1 to 1, byte writes and ECC"},
  };
  for (auto const& [words, text] : kFaults) EXPECT_EQ(fault_of(words), text) << words;
  EXPECT_EQ(fault_of(some + " ecc soft", "v8_3"), "-11 word \"ecc\": v8_3 has no soft ECC");
  EXPECT_EQ(fault_of(some, "v7_0"), "-1 versions.json does not list version \"v7_0\"");
}

TEST(BlockMemory, CountsThePrimitivesOfKnownMemories) {
  const std::string ram = "type single_port_ram ";
  EXPECT_EQ(tile(ram + "width_a 40 depth_a 3000 primitives 18").count(18), 7);
  EXPECT_EQ(tile(ram + "width_a 1 depth_a 1").count(9), 1);
  EXPECT_EQ(tile(ram + "width_a 72 depth_a 512 primitives 36").count(36), 1);
  // Two full ports have no shape of 72 bits.
  EXPECT_EQ(tile("type true_dual_port_ram width_a 72 depth_a 512 primitives 36").count(36), 2);
  EXPECT_EQ(tile("type dual_port_rom width_a 72 depth_a 512 primitives 36").count(36), 2);
  EXPECT_EQ(tile(ram + "width_a 72 depth_a 512 algorithm fixed_primitive shape 1024x18").count(18), 4);
  // A third memory of the largest size: as many of the larger primitives as make whole ones.
  const bmg::Tiling mixed = tile(ram + "width_a 36 depth_a 1280");
  EXPECT_EQ(mixed.count(36), 1);
  EXPECT_EQ(mixed.count(18), 0);
  EXPECT_EQ(mixed.count(9), 1);
}

TEST(BlockMemory, CountsCheckBitsAndLanes) {
  const std::string ram = "type simple_dual_port_ram depth_a 512 ";
  EXPECT_EQ(tile(ram + "width_a 64 ecc builtin").count(36), 1);
  EXPECT_EQ(tile(ram + "width_a 65 ecc builtin").count(36), 2);
  // Single error correction and double error detection, as textbooks list it.
  for (auto const& [data, stored] :
       {std::pair(1, 4), {4, 8}, {8, 13}, {11, 16}, {16, 22}, {26, 32}, {32, 39}, {57, 64}, {64, 72}})
    EXPECT_EQ(tile(ram + "ecc soft width_a " + std::to_string(data)).width, stored);
  // Bytes of 8 leave a ninth bit unused in each lane, so 72 bits of nine bytes need more than 72 bits of eight.
  EXPECT_EQ(tile(ram + "width_a 72 byte_width 9 primitives 36").count(36), 1);
  EXPECT_EQ(tile(ram + "width_a 72 byte_width 8 primitives 36").count(36), 2);
}

TEST(BlockMemory, TakesEitherPortAsTheNarrowOne) {
  const bmg::Tiling a = tile("type simple_dual_port_ram width_a 8 depth_a 4096 width_b 64 depth_b 512 primitives 36");
  const bmg::Tiling b = tile("type simple_dual_port_ram width_a 64 depth_a 512 width_b 8 depth_b 4096 primitives 36");
  EXPECT_EQ(a.width, 8);
  EXPECT_EQ(a.depth, 4096);
  EXPECT_EQ(a.count(36), 1);
  EXPECT_EQ(b.width, 8);
  EXPECT_EQ(b.count(36), 1);
  EXPECT_EQ(a.power_nw, b.power_nw);
  // A port of 8 bits does not reach the parity bits that one of 9 does.
  EXPECT_EQ(tile("type simple_dual_port_ram width_a 9 depth_a 4096 width_b 72 depth_b 512 primitives 36").count(36), 1);
}

TEST(BlockMemory, OfNoPrimitiveHasNoMultiplexer) { EXPECT_EQ(bmg::Tiling().mux_inputs(), 0); }

TEST(BlockMemory, GivesPowerByItsFormula) {
  // 2 primitives of 36 kilobits, one column, accessed in every cycle by one port of 72 bits.
  const bmg::Tiling fixed =
      tile("type single_port_ram width_a 72 depth_a 1024 algorithm fixed_primitive shape 512x72 clock_mhz 200", "v8_3");
  EXPECT_EQ(fixed.power_nw, 2 * 120 * 1000 + 2 * 200 * (6500 + 72 * 200));
  EXPECT_EQ(fixed.power_mw(), 9);  // 8.6
  EXPECT_EQ(fixed.mux_inputs(), 2);
  // Low power wakes one of them at a time, and two ports take twice the accesses.
  const bmg::Tiling gated =
      tile("type simple_dual_port_ram width_a 72 depth_a 1024 algorithm low_power primitives 36 clock_mhz 200", "v8_3");
  EXPECT_EQ(gated.power_nw, 2 * 120 * 1000 + 200 * 2 * (6500 + 72 * 200));
}

using Figure = int (*)(int, char**, int*);
struct FiguresOfVersion {
  char const* version;
  Figure nines, eighteens, thirty_sixes, mux, power;
};
constexpr FiguresOfVersion kVersions[] = {
    {"v8_3", Ip_blk_mem_gen_v8_3_placement_algo_num_prims_9, Ip_blk_mem_gen_v8_3_placement_algo_num_prims_18,
     Ip_blk_mem_gen_v8_3_placement_algo_num_prims_36, Ip_blk_mem_gen_v8_3_placement_algo_mux_size,
     Ip_blk_mem_gen_v8_3_placement_algo_power_report},
    {"v8_4", Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9, Ip_blk_mem_gen_v8_4_placement_algo_num_prims_18,
     Ip_blk_mem_gen_v8_4_placement_algo_num_prims_36, Ip_blk_mem_gen_v8_4_placement_algo_mux_size,
     Ip_blk_mem_gen_v8_4_placement_algo_power_report}};

TEST(BlockMemory, FunctionsGiveTheFiguresOfTheTiling) {
  test_support::Seeded<std::mt19937> random(7);
  const auto pick = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
  for (int i = 0; i < 200; ++i) {
    std::vector<std::string> words = {
        "depth_a", std::to_string(pick(1, 70000)), "type",      "true_dual_port_ram",
        "width_a", std::to_string(pick(1, 300)),   "algorithm", i % 2 == 0 ? "low_power" : "minimum_area"};
    const std::vector<std::string> before = words;
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    const int argc = static_cast<int>(argv.size());
    for (auto const& [version, nines, eighteens, thirty_sixes, mux, power] : kVersions) {
      const bmg::Tiling tiling = bmg::tile_memory(version, {words.begin(), words.end()});
      int status = 5;
      EXPECT_EQ(nines(argc, argv.data(), &status), tiling.count(9));
      EXPECT_EQ(status, 0);
      EXPECT_EQ(eighteens(argc, argv.data(), nullptr), tiling.count(18));
      EXPECT_EQ(thirty_sixes(argc, argv.data(), &status), tiling.count(36));
      EXPECT_EQ(mux(argc, argv.data(), &status), tiling.mux_inputs());
      EXPECT_EQ(power(argc, argv.data(), &status), tiling.power_mw());
      EXPECT_EQ(tiling.power_mw(), (tiling.power_nw + 999999) / 1000000);
    }
    EXPECT_EQ(words, before);
  }
}

TEST(BlockMemory, FunctionsReportAFault) {
  const message_host::Capture messages;
  char name[] = "type", value[] = "ram";
  char* words[] = {name, value};
  int status = 5;
  EXPECT_EQ(Ip_blk_mem_gen_v8_3_placement_algo_mux_size(2, words, &status), -6);
  EXPECT_EQ(status, -6);
  EXPECT_EQ(Ip_blk_mem_gen_v8_4_placement_algo_power_report(1, words, nullptr), -2);
  EXPECT_EQ(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9(0, words, nullptr), -2);
  EXPECT_EQ(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9(-1, words, nullptr), -2);
  EXPECT_EQ(Ip_blk_mem_gen_v8_4_placement_algo_num_prims_9(2, nullptr, nullptr), -2);
  const std::vector<std::string> lines = messages.lines();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[1], "ERROR: [bmg 2] word \"type\": has no value");
}

// Interpreters in several threads may ask while the data is read for the first time, or anew.
TEST(BlockMemory, AnswersSeveralThreads) {
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      for (int round = 0; round < (i == 0 ? 500 : 30000); ++round) {
        if (i == 0) bmg::load_data(places::data("bmg"));
        if (tile("type single_port_ram width_a 40 depth_a 3000 primitives 18").count(18) != 7) ++wrong;
      }
    });
  for (std::thread& one : threads) one.join();
  EXPECT_EQ(wrong, 0);
}

TEST(BlockMemory, SurvivesAnyWords) {
  test_support::Seeded<std::mt19937> random(11);
  const auto pick = [&](std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); };
  const std::vector<std::string> kWords = split(
      "type width_a depth_a width_b depth_b algorithm primitives shape ecc byte_width clock_mhz single_port_ram "
      "simple_dual_port_ram true_dual_port_ram dual_port_rom minimum_area low_power fixed_primitive none builtin soft "
      "0 1 8 9 16 64 72 512 4608 1048576 -1 2147483648 9,18,36 18,36 36 , x 512x72 4096x9 8192x1 9x 1e3 0x10");
  int tiled = 0;
  for (int i = 0; i < 20000; ++i) {
    std::vector<std::string> words;
    if (i % 2 == 0) {  // close to a description
      for (std::size_t name : {0, 1, 2})
        words.insert(words.end(), {kWords[name], kWords[11 + pick(kWords.size() - 11)]});
      if (i % 4 == 0)
        words = {"type", kWords[11 + pick(4)], "width_a", kWords[22 + pick(7)], "depth_a", kWords[22 + pick(7)]};
    }
    for (std::size_t more = pick(4); more > 0; --more)
      words.insert(words.end(), {kWords[3 + pick(8)], kWords[11 + pick(kWords.size() - 11)]});
    if (pick(10) == 0) words.push_back(kWords[pick(kWords.size())]);
    try {
      const bmg::Tiling tiling = bmg::tile_memory("v8_4", {words.begin(), words.end()});
      ++tiled;
      EXPECT_GT(tiling.power_nw, 0);
      EXPECT_GT(tiling.mux_inputs(), 0);
      EXPECT_GT(tiling.count(9) + tiling.count(18) + tiling.count(36), 0);
    } catch (bmg::Fault const& error) {
      EXPECT_LT(static_cast<int>(error.reason()), 0);
      EXPECT_NE(error.what(), std::string());
    }
  }
  EXPECT_GT(tiled, 500);
}

std::string content_of(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class BlockMemoryData : public testing::Test {
 protected:
  ~BlockMemoryData() override { bmg::load_data(places::data("bmg")); }

  // The text of the fault when the first `old` in a file becomes `changed`, without the folder's name.
  std::string fault_with(std::string const& file, std::string const& old, std::string const& changed) {
    const Scratch scratch;
    for (std::string const name : {"primitives.json", "versions.json"}) {
      std::string text = content_of(places::data("bmg/" + name));
      if (name == file) {
        const std::size_t at = text.find(old);
        EXPECT_NE(at, std::string::npos) << old;
        text.replace(at, old.size(), changed);
      }
      scratch.file(name, text);
    }
    try {
      bmg::load_data(scratch.folder());
    } catch (std::runtime_error const& error) {
      const std::string what = error.what();
      EXPECT_EQ(what.substr(0, scratch.folder().size()), scratch.folder());
      return what.substr(scratch.folder().size() + 1);
    }
    return {};
  }
};

TEST_F(BlockMemoryData, FaultsNameFileLineAndField) {
  const auto primitives = [&](char const* old, char const* changed) {
    return fault_with("primitives.json", old, changed);
  };
  const auto versions = [&](char const* old, char const* changed) { return fault_with("versions.json", old, changed); };
  EXPECT_EQ(
      primitives("\"depth\": 4096, \"width\": 2", "\"depth\": 4096, \"width\": \"2\""),
      "primitives.json:7: primitives[0].shapes[1].width: expected an integer from 1 to 9216, found the text \"2\"");
  EXPECT_EQ(
      primitives("\"depth\": 4096, \"width\": 2", "\"depth\": 4096, \"width\": 3"),
      "primitives.json:7: primitives[0].shapes[1].width: expected a width that uses 8/9 to 9/9 of 9216 bits at depth "
      "4096, found the number 3");
  EXPECT_EQ(primitives("\"depth\": 4096", "\"depth\": 4097"),
            "primitives.json:7: primitives[0].shapes[1].depth: expected a power of two, found the number 4097");
  EXPECT_EQ(primitives("        {\"depth\": 4096, \"width\": 2, \"ports\": [\"single\", \"simple\", \"dual\"]},\n", ""),
            "primitives.json:7: primitives[0].shapes[1].depth: expected half the depth of the shape before, found the "
            "number 2048");
  EXPECT_EQ(primitives("\"dual\"", "\"triple\""),
            "primitives.json:6: primitives[0].shapes[0].ports[2]: expected one of single, simple, dual, found the text "
            "\"triple\"");
  EXPECT_EQ(primitives("\"ecc_width\": 64", "\"ecc_width\": 72"),
            "primitives.json:34: primitives[2].shapes[6].ecc_width: expected an integer from 1 to 71, found the number "
            "72");
  EXPECT_EQ(primitives("\"kilobits\": 9", "\"kilobit\": 9").substr(0, 36), "primitives.json:4: primitives[0].kil");
  // A shape in the middle that two ports cannot use leaves a gap.
  EXPECT_EQ(
      primitives("\"width\": 2, \"ports\": [\"single\", \"simple\", \"dual\"]", "\"width\": 2, \"ports\": [\"single\"]")
          .substr(0, 122),
      "primitives.json:2: primitives: expected shapes that halve in depth and double in usable width for every "
      "use of the ports, ");
  EXPECT_EQ(versions("\"max_width\": 4608", "\"max_width\": 0"),
            "versions.json:5: versions[0].max_width: expected an integer from 1 to 8192, found the number 0");
  EXPECT_EQ(versions("\"bit_fj\": 150", "\"bit_fj\": 2600").substr(0, 63),
            "versions.json:11: versions[0].power[0].bit_fj: expected an inte");
  EXPECT_EQ(versions("\"access_fj\": 2500", "\"access_fj\": 149"),
            "versions.json:11: versions[0].power[0].bit_fj: expected no more than access_fj, found the number 150");
  EXPECT_EQ(versions("\"kilobits\": 18", "\"kilobits\": 9"),
            "versions.json:12: versions[0].power[1].kilobits: expected a size that is not listed before, found the "
            "number 9");
  EXPECT_EQ(versions("\"kilobits\": 18", "\"kilobits\": 27"),
            "versions.json:12: versions[0].power[1].kilobits: expected a size that primitives.json has, found the "
            "number 27");
  EXPECT_EQ(versions(",\n        {\"kilobits\": 36, \"static_uw\": 120, \"access_fj\": 6500, \"bit_fj\": 200}", ""),
            "versions.json:10: versions[0].power: expected an entry for every size of primitives.json, found a list");
  EXPECT_EQ(versions("v8_3", "v8_4"),
            "versions.json:17: versions[1].name: expected a name that is not listed before, found the text \"v8_4\"");
  EXPECT_EQ(versions("{", "[").substr(0, 14), "versions.json:");
  const Scratch empty;
  EXPECT_THROW(bmg::load_data(empty.folder()), std::runtime_error);
  // What was in use still is.
  EXPECT_EQ(tile("type single_port_ram width_a 40 depth_a 3000 primitives 18").count(18), 7);
}

// Data of one version and of primitives in shapes, as texts to be put together.
std::string shape_text(int depth, int width, std::string const& more = "") {
  return "{\"depth\": " + std::to_string(depth) + ", \"width\": " + std::to_string(width) +
         ", \"ports\": [\"single\", \"simple\", \"dual\"]" + more + "}";
}
std::string primitive_text(int kilobits, std::string const& shapes) {
  return "{\"kilobits\": " + std::to_string(kilobits) + ", \"shapes\": [" + shapes + "]}";
}
std::string power_text(int kilobits) {
  return "{\"kilobits\": " + std::to_string(kilobits) + ", \"static_uw\": 1, \"access_fj\": 2000, \"bit_fj\": 1}";
}

// What is wrong with the data; empty if nothing is.
std::string fault_of_data(std::string const& primitives, std::string const& power, std::string const& version = "") {
  const Scratch scratch;
  scratch.file("primitives.json", "{\"primitives\": [" + primitives + "]}");
  scratch.file("versions.json",
               "{\"versions\": [{\"name\": \"v8_4\", " +
                   (version.empty() ? "\"max_width\": 100, \"max_depth\": 4096, \"max_port_ratio\": 2, "
                                      "\"max_clock_mhz\": 50, \"soft_ecc_max_width\": 0"
                                    : version) +
                   ", \"power\": [" + power + "]}]}");
  try {
    bmg::load_data(scratch.folder());
  } catch (std::runtime_error const& error) {
    const std::string what = error.what();
    return what.substr(what.find("expected"));
  }
  return {};
}

TEST_F(BlockMemoryData, ANumberLiesWithinItsBoundsOrIsRefused) {
  struct Bounds {
    std::string name;
    int least, most;
  };
  const auto refused = [](Bounds const& one) {
    return "expected an integer from " + std::to_string(one.least) + " to " + std::to_string(one.most) + ", found the";
  };
  const auto expect_bounds = [&](Bounds const& one, auto fault_with_value) {
    SCOPED_TRACE(one.name);
    for (int value : {one.least, one.most}) EXPECT_EQ(fault_with_value(value), "") << value;
    for (int value : {one.least - 1, one.most + 1})
      EXPECT_EQ(fault_with_value(value).substr(0, refused(one).size()), refused(one)) << value;
  };
  const std::string primitive = primitive_text(20, shape_text(1024, 20));
  const std::vector<Bounds> kVersion = {{"max_width", 1, 8192},
                                        {"max_depth", 1, 1048576},
                                        {"max_port_ratio", 1, 8192},
                                        {"max_clock_mhz", 1, 1000},
                                        {"soft_ecc_max_width", 0, 8192}};
  for (Bounds const& bounds : kVersion)
    expect_bounds(bounds, [&](int value) {
      std::string version;
      for (Bounds const& one : kVersion)
        version +=
            (version.empty() ? "\"" : ", \"") + one.name + "\": " + std::to_string(one.name == bounds.name ? value : 1);
      return fault_of_data(primitive, power_text(20), version);
    });
  for (Bounds const& bounds : {Bounds{"static_uw", 0, 10000}, {"access_fj", 1, 20000}, {"bit_fj", 0, 2000}})
    expect_bounds(bounds, [&](int value) {
      std::string power = "{\"kilobits\": 20";
      for (Bounds const& one : {Bounds{"static_uw", 1, 0}, {"access_fj", 2000, 0}, {"bit_fj", 1, 0}})
        power += ", \"" + one.name + "\": " + std::to_string(one.name == bounds.name ? value : one.least);
      return fault_of_data(primitive, power + "}");
    });
  expect_bounds({"kilobits", 9, 1024}, [&](int value) {
    return fault_of_data(primitive_text(value, shape_text(1024, value)), power_text(value));
  });
  expect_bounds({"depth", 1, 1048576}, [&](int value) {
    return fault_of_data(primitive_text(1024, shape_text(value, value == 1 ? 1048576 : 1)), power_text(1024));
  });
  expect_bounds({"width", 1, 1048576}, [&](int value) {
    return fault_of_data(primitive_text(1024, shape_text(value == 1 ? 1048576 : 1, value)), power_text(1024));
  });
  expect_bounds({"ecc_width", 1, 19}, [&](int value) {
    return fault_of_data(primitive_text(20, shape_text(1024, 20, ", \"ecc_width\": " + std::to_string(value))),
                         power_text(20));
  });
}

TEST_F(BlockMemoryData, ShapesAndPrimitivesKeepTheirRules) {
  const auto fault_of_shapes = [](std::string const& shapes) {
    return fault_of_data(primitive_text(20, shapes), power_text(20));
  };
  // From 8 of 9 bits on, up to all 20480.
  const std::string too_few = "expected a width that uses 8/9 to 9/9 of 20480 bits at depth 1024, found the number ";
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 17)), too_few + "17");
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 18)), "");
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 21)), too_few + "21");
  // Twice the width, or one more.
  const std::string no_double = "expected twice the width of the shape before, or one more, found the number ";
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 20) + "," + shape_text(512, 39)), no_double + "39");
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 18) + "," + shape_text(512, 36)), "");
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 18) + "," + shape_text(512, 37)), "");
  EXPECT_EQ(fault_of_shapes(shape_text(1024, 18) + "," + shape_text(512, 38)), no_double + "38");
  EXPECT_EQ(fault_of_shapes(""), "expected at least one shape, found a list");
  const std::string small = primitive_text(20, shape_text(1024, 20));
  EXPECT_EQ(fault_of_data(small + "," + small, power_text(20)),
            "expected a size above the one before, found the number 20");

  std::string primitives, power;
  for (int count = 1; count <= 9; ++count) {
    primitives += (count == 1 ? "" : ",") + primitive_text(10 * count, shape_text(1024, 10 * count));
    power += (count == 1 ? "" : ",") + power_text(10 * count);
    EXPECT_EQ(fault_of_data(primitives, power), count <= 8 ? "" : "expected 1 to 8 primitives, found a list");
  }
  EXPECT_EQ(fault_of_data("", ""), "expected 1 to 8 primitives, found a list");
}

TEST_F(BlockMemoryData, AnotherGeometryNeedsNoCode) {
  const Scratch scratch;
  scratch.file("primitives.json", R"({"primitives": [{"kilobits": 20, "shapes": [
      {"depth": 1024, "width": 20, "ports": ["single", "simple", "dual"]},
      {"depth": 512, "width": 40, "ports": ["simple"]}]}]})");
  scratch.file("versions.json", R"({"versions": [{"name": "v8_4", "max_width": 100, "max_depth": 4096,
      "max_port_ratio": 2, "max_clock_mhz": 50, "soft_ecc_max_width": 0,
      "power": [{"kilobits": 20, "static_uw": 1, "access_fj": 10, "bit_fj": 1}]}]})");
  bmg::load_data(scratch.folder());
  EXPECT_EQ(tile("type single_port_ram width_a 40 depth_a 512").count(20), 2);
  EXPECT_EQ(tile("type simple_dual_port_ram width_a 40 depth_a 512").count(20), 1);
  EXPECT_EQ(fault_of("type single_port_ram width_a 101 depth_a 512"), "-7 word \"width_a\": 101 is outside 1 to 100");
  EXPECT_EQ(fault_of("type single_port_ram width_a 8 depth_a 8 primitives 18"),
            "-6 word \"primitives\": \"18\" is no list of sizes of primitives, such as 18 or 18,36");
}

}  // namespace
