// The tiler against searches that try every tiling, and its tilings against the memory they are to hold.
#include "platform/bmg/tiler.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <numeric>
#include <random>
#include <string>

#include "kdi/bmg/host/tiling.h"
#include "kdi/common/KdiJson.h"
#include "tests/support/places.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"
#include "tests/support/tiling_truth.h"

namespace {

constexpr unsigned kSeed = 20261121;

// Kilobits first, then the number of primitives.
std::uint64_t area(int kilobits) { return (std::uint64_t{static_cast<unsigned>(kilobits)} << 32U) + 1U; }

std::uint64_t cost_of(std::vector<bmg::Choice> const& choices, std::vector<bmg::Grid> const& grids) {
  std::uint64_t cost = 0;
  for (bmg::Grid const& one : grids) {
    bmg::Choice const& choice = choices[one.choice];
    const int columns = (one.bits + choice.width - 1) / choice.width;
    const int stack = (one.rows + choice.depth - 1) / choice.depth;
    cost += static_cast<std::uint64_t>(columns) * (static_cast<std::uint64_t>(stack) * choice.for_tile +
                                                   static_cast<std::uint64_t>(one.rows) * choice.for_row);
  }
  return cost;
}

// Whether the rectangles (first bit, bits, first row, rows) hold every bit of every row once.
template <class Rectangles>
void expect_exact_cover(Rectangles const& parts, int width, int depth) {
  std::int64_t held = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    auto const& a = parts[i];
    ASSERT_TRUE(a.bits > 0 && a.rows > 0 && a.first_bit >= 0 && a.first_row >= 0);
    ASSERT_TRUE(a.first_bit + a.bits <= width && a.first_row + a.rows <= depth);
    held += std::int64_t{a.bits} * a.rows;
    for (std::size_t j = 0; j < i; ++j) {
      auto const& b = parts[j];
      const bool apart = a.first_bit + a.bits <= b.first_bit || b.first_bit + b.bits <= a.first_bit ||
                         a.first_row + a.rows <= b.first_row || b.first_row + b.rows <= a.first_row;
      ASSERT_TRUE(apart);
    }
  }
  ASSERT_EQ(held, std::int64_t{width} * depth);
}

TEST(Tiler, NeedsNoMoreThanTheBestOfAllArrangements) {
  test_support::Seeded<std::mt19937> random(kSeed);
  const auto pick = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
  constexpr int kWidths[] = {1, 2, 4, 9, 18, 36, 72, 144};
  for (int round = 0; round < 4000; ++round) {
    // One or two primitives: runs of a few shapes, the larger primitive with the same widths at twice the depth.
    const int shapes = pick(1, 4), first = pick(0, 3), larger = pick(0, 2);
    std::vector<bmg::Choice> choices;
    std::vector<truth::Shape> all;
    for (std::size_t primitive = 0; primitive < (larger != 0 ? 2 : 1); ++primitive)
      for (int i = 0; i < shapes + (primitive != 0 && larger == 2 ? 1 : 0); ++i) {
        const int depth = (primitive != 0 ? 2 << (shapes - 1) : 1 << (shapes - 1)) >> i;
        const int width = kWidths[first + i];
        choices.push_back({primitive, depth, width, area(primitive != 0 ? 18 : 9), 0});
        all.push_back({depth, width, choices.back().for_tile, 0});
      }
    const int widest = kWidths[first + shapes - 1];
    const int width = pick(1, std::min(2 * widest + 5, 20 * kWidths[first])), units = pick(1, 7);
    const auto grids = bmg::tile(choices, width, units);
    expect_exact_cover(grids, width, units);
    ASSERT_EQ(cost_of(choices, grids), truth::cheapest_cover(all, width, units))
        << "round " << round << ": " << units << " x " << width << ", " << shapes << " shapes from width "
        << kWidths[first] << ", larger primitive " << larger;
  }
}

// The primitives as their data sheets list them, apart from the data files: depth of the shape of width 1.
struct Sheet {
  int kilobits, depth_of_one;
  int widest_shared, widest_dual;
};
constexpr Sheet kSheets[] = {{9, 8192, 36, 18}, {18, 16384, 36, 18}, {36, 32768, 72, 36}};
constexpr int kSheetWidths[] = {1, 2, 4, 9, 18, 36, 72};

struct Use {
  char const* type;
  bool is_dual;
  unsigned sizes;  // bit n: kSheets[n]
  int ratio, byte_width;
};

struct SheetShape {
  std::size_t sheet;
  int depth, width, wide_width, used_width;
};

// With byte writes a lane of 9 bits holds one byte at most. Shapes without a whole lane hold part of a byte.
std::vector<SheetShape> shapes_of(Use const& use) {
  std::vector<SheetShape> shapes;
  for (std::size_t i = 0; i < 3; ++i) {
    if ((use.sizes >> i & 1U) == 0) continue;
    const int widest = use.is_dual ? kSheets[i].widest_dual : kSheets[i].widest_shared;
    for (std::size_t s = 0; s < std::size(kSheetWidths); ++s) {
      std::size_t wide = s;
      for (int r = use.ratio; r > 1; r /= 2) ++wide;
      if (wide >= std::size(kSheetWidths) || kSheetWidths[wide] > widest) continue;
      const auto bits = [&](int width) { return use.byte_width == 8 && width >= 9 ? width / 9 * 8 : width; };
      const int used = std::min(bits(kSheetWidths[s]), bits(kSheetWidths[wide]) / use.ratio);
      shapes.push_back({i, kSheets[i].depth_of_one >> s, kSheetWidths[s], kSheetWidths[wide], used});
    }
  }
  return shapes;
}

std::string sizes_word(unsigned sizes) {
  std::string word;
  for (std::size_t i = 0; i < 3; ++i)
    if ((sizes >> i & 1U) != 0) word += (word.empty() ? "" : ",") + std::to_string(kSheets[i].kilobits);
  return word;
}

bmg::Tiling tile(Use const& use, int width, int depth, char const* algorithm) {
  std::vector<std::string> words = {"type",       use.type,
                                    "width_a",    std::to_string(width * use.ratio),
                                    "depth_a",    std::to_string(depth / use.ratio),
                                    "algorithm",  algorithm,
                                    "primitives", sizes_word(use.sizes),
                                    "byte_width", std::to_string(use.byte_width)};
  if (use.ratio > 1) words.insert(words.end(), {"width_b", std::to_string(width), "depth_b", std::to_string(depth)});
  return bmg::tile_memory("v8_3", {words.begin(), words.end()});
}

// A tiling is whole, keeps to the shapes, and mixes no two bytes in a lane.
void expect_sound(bmg::Tiling const& tiling, Use const& use, int width, int depth) {
  ASSERT_EQ(tiling.width, width);
  ASSERT_EQ(tiling.depth, depth);
  expect_exact_cover(tiling.runs, width, depth);
  const std::vector<SheetShape> shapes = shapes_of(use);
  for (bmg::TileRun const& run : tiling.runs) {
    const bool is_known = std::any_of(shapes.begin(), shapes.end(), [&](SheetShape const& one) {
      return kSheets[one.sheet].kilobits == run.kilobits && one.depth == run.depth && one.width == run.width &&
             one.used_width == run.used_width;
    });
    ASSERT_TRUE(is_known) << run.depth << "x" << run.width;
    // A primitive holds the rows from a multiple of its depth on, as many as it has or the memory still has.
    ASSERT_EQ(run.first_row % run.depth, 0);
    ASSERT_TRUE(run.rows % run.depth == 0 || run.first_row + run.rows == depth);
    if (use.byte_width != 0) {
      ASSERT_EQ(run.first_bit % use.byte_width, 0);
      ASSERT_EQ(run.used_width % use.byte_width, 0);
    }
  }
}

std::vector<Use> all_uses() {
  std::vector<Use> uses;
  for (char const* type : {"single_port_ram", "simple_dual_port_ram", "true_dual_port_ram"})
    for (unsigned sizes = 1; sizes < 8; ++sizes)
      for (int byte_width : {0, 8, 9})
        for (int ratio : {1, 2, 4, 8}) {
          const std::string name = type;
          // From a ratio of 4 on some primitives have no shape with whole lanes at both ports.
          if (ratio > 1 && (name == "single_port_ram" || (byte_width != 0 && ratio > 2))) continue;
          uses.push_back({type, name == "true_dual_port_ram", sizes, ratio, byte_width});
        }
  return uses;
}

TEST(Tiler, FindsTheLeastAreaOfAllCuts) {
  constexpr int kUnit = 256;
  struct Extent {
    int width, units;
  };
  test_support::Seeded<std::mt19937> random(kSeed);
  const auto pick = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
  int memories = 0;
  for (Use const& use : all_uses()) {
    std::vector<truth::Shape> shapes;
    for (SheetShape const& one : shapes_of(use))
      shapes.push_back({one.depth / kUnit, one.used_width, area(kSheets[one.sheet].kilobits), 0});
    const int step = std::max(1, use.byte_width);
    for (Extent const& most : {Extent{110, 150}, {60, 16}, {320, 20}}) {
      const truth::CutSearch search(shapes, most.width, most.units);
      for (int i = 0; i < 70; ++i, ++memories) {
        const int width = pick(1, most.width / step) * step;
        const int depth = pick(1, most.units * kUnit / use.ratio) * use.ratio;
        const bmg::Tiling tiling = tile(use, width, depth, "minimum_area");
        expect_sound(tiling, use, width, depth);
        std::uint64_t cost = 0;
        for (Sheet const& one : kSheets)
          cost += static_cast<std::uint64_t>(tiling.count(one.kilobits)) * area(one.kilobits);
        ASSERT_EQ(cost, search.cost(width, (depth + kUnit - 1) / kUnit))
            << use.type << " " << depth << " x " << width << ", primitives " << sizes_word(use.sizes) << ", ratio "
            << use.ratio << ", bytes of " << use.byte_width;
      }
    }
  }
  EXPECT_GE(memories, 20000);
}

struct Figures {
  std::uint64_t static_nw, access_fj, bit_fj;
};

std::vector<Figures> shipped_figures() {
  std::vector<Figures> read;
  const kdi::JsonFile file(places::data("bmg/versions.json"));
  for (kdi::JsonValue const version : file.root().member("versions").items()) {
    if (version.member("name").text() != "v8_3") continue;
    for (kdi::JsonValue const one : version.member("power").items())
      read.push_back({static_cast<std::uint64_t>(one.member("static_uw").integer()) * 1000U,
                      static_cast<std::uint64_t>(one.member("access_fj").integer()),
                      static_cast<std::uint64_t>(one.member("bit_fj").integer())});
  }
  return read;
}

TEST(Tiler, FindsTheLeastPowerOfAllBlocks) {
  constexpr int kMostWidth = 90, kMostUnits = 36, kUnit = 256, kClockMhz = 100;
  test_support::Seeded<std::mt19937> random(kSeed);
  const auto pick = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
  const std::vector<Figures> power = shipped_figures();
  ASSERT_EQ(power.size(), std::size(kSheets));
  for (Use const& use : all_uses()) {
    if (use.byte_width != 0) continue;
    const int depth = pick(1, kMostUnits * kUnit / use.ratio) * use.ratio;
    const int units = (depth + kUnit - 1) / kUnit;
    std::vector<truth::Shape> shapes;
    for (SheetShape const& one : shapes_of(use)) {
      Figures const& own = power[one.sheet];
      std::uint64_t access = own.access_fj + own.bit_fj * static_cast<unsigned>(one.width);
      if (std::string(use.type) != "single_port_ram")
        access += own.access_fj + own.bit_fj * static_cast<unsigned>(one.wide_width);
      shapes.push_back(
          {one.depth / kUnit, one.used_width, own.static_nw * static_cast<unsigned>(depth), access * kClockMhz});
    }
    const truth::BlockSearch search(shapes, kMostWidth, units, kUnit, depth - (units - 1) * kUnit);
    for (int i = 0; i < 60; ++i) {
      const int width = pick(1, kMostWidth);
      const bmg::Tiling tiling = tile(use, width, depth, "low_power");
      expect_sound(tiling, use, width, depth);
      const auto rows = static_cast<std::uint64_t>(depth);
      ASSERT_EQ(static_cast<std::uint64_t>(tiling.power_nw), (search.cost(width) + rows - 1) / rows)
          << use.type << " " << depth << " x " << width << ", primitives " << sizes_word(use.sizes) << ", ratio "
          << use.ratio;
      ASSERT_LE(tiling.power_nw, tile(use, width, depth, "minimum_area").power_nw);
    }
  }
}

// Every width up to the most, at some depths of which `units` says the most. How many memories there were.
int hold_inputs(int most_width, int units, int depths) {
  constexpr int kUnit = 256;
  test_support::Seeded<std::mt19937> random(kSeed);
  int memories = 0;
  for (Use const& use : all_uses()) {
    if (use.ratio > 2) continue;
    const int step = std::max(1, use.byte_width);
    std::vector<truth::Shape> shapes;  // that hold whole bytes
    for (SheetShape const& one : shapes_of(use))
      if (one.used_width % step == 0)
        shapes.push_back({one.depth / kUnit, one.used_width / step, area(kSheets[one.sheet].kilobits), 0});
    for (int i = 0; i < depths; ++i) {
      const int depth_units = std::uniform_int_distribution(1, units)(random), depth = depth_units * kUnit;
      const truth::BlockSearch search(shapes, most_width / step, depth_units, kUnit, kUnit);
      for (int width = step; width <= most_width; width += step, ++memories) {
        const bmg::Tiling tiling = tile(use, width, depth, "minimum_area");
        EXPECT_EQ(tiling.mux_inputs(), search.inputs(width / step))
            << use.type << " " << depth << " x " << width << ", primitives " << sizes_word(use.sizes) << ", ratio "
            << use.ratio << ", bytes of " << use.byte_width;
      }
    }
  }
  return memories;
}

TEST(Tiler, TakesTheFewestInputsOfEqualCosts) {
  EXPECT_GE(hold_inputs(test_support::kSanitized ? 40 : 80, 36, test_support::kSanitized ? 1 : 4), 1000);
  if (std::getenv("IPTASKS_LONG") != nullptr) {
    EXPECT_GE(hold_inputs(80, 150, 3), 8000);
    EXPECT_GE(hold_inputs(240, 36, 3), 25000);  // wider than what repeats itself
  }
  const auto inputs = [](int width, int depth, unsigned sizes) {
    return tile({"single_port_ram", false, sizes, 1, 0}, width, depth, "minimum_area").mux_inputs();
  };
  EXPECT_EQ(inputs(32, 4096, 2), 1);
  EXPECT_EQ(inputs(12, 4352, 3), 2);   // deep shapes, and one behind them
  EXPECT_EQ(inputs(10, 2816, 1), 2);   // two bits in one shape of all rows, the others in two stacks
  EXPECT_EQ(inputs(25, 6656, 1), 6);   // bits that are parted, each part with another stack
  EXPECT_EQ(inputs(9, 32768, 1), 32);  // of any size
}

TEST(Tiler, RepeatsWhatIsWide) {
  // What a wide memory has more than twice the widths' least common multiple is tiled as that multiple alone.
  for (char const* algorithm : {"minimum_area", "low_power"})
    for (unsigned sizes = 1; sizes < 8; ++sizes) {
      const Use use{"simple_dual_port_ram", false, sizes, 1, 0};
      const int period = (sizes & 4U) != 0 ? 72 : 36;
      for (int depth : {300, 11000, 100000}) {
        const auto count = [&](int width) {
          std::array<int, 3> counts{};
          const bmg::Tiling tiling = tile(use, width, depth, algorithm);
          expect_sound(tiling, use, width, depth);
          for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = tiling.count(kSheets[i].kilobits);
          return counts;
        };
        for (int width : {period + 1, period + 23, 2 * period}) {
          const auto one = count(width), alone = count(period), wide = count(width + 50 * period);
          for (std::size_t i = 0; i < one.size(); ++i)
            EXPECT_EQ(wide[i], one[i] + 50 * alone[i]) << width << " x " << depth << ", " << sizes_word(sizes);
        }
      }
    }
}

TEST(Tiler, TakesDeepMemoriesAsRepeatedBlocks) {
  // Whole blocks of the deepest shape cost the same each, so the area is linear in them.
  const Use eighteen{"single_port_ram", false, 2, 1, 0};
  for (int width : {1, 7, 40, 4608}) {
    const int one = tile(eighteen, width, 16384, "minimum_area").count(18);
    const int rest = tile(eighteen, width, 1000, "minimum_area").count(18);
    for (int blocks : {2, 5, 63}) {
      EXPECT_EQ(tile(eighteen, width, blocks * 16384, "minimum_area").count(18), blocks * one);
      EXPECT_EQ(tile(eighteen, width, blocks * 16384 + 1000, "minimum_area").count(18), blocks * one + rest);
    }
  }
}

TEST(Tiler, StacksNoMorePrimitivesThanItHasTo) {
  const auto mux = [](int width, int depth) {
    return tile({"single_port_ram", false, 4, 1, 0}, width, depth, "minimum_area").mux_inputs();
  };
  EXPECT_EQ(mux(72, 4096), 1);  // 8 of 4096x9, not of 512x72
  EXPECT_EQ(mux(1, 32768), 1);
  EXPECT_EQ(mux(9, 32768), 8);
  EXPECT_EQ(mux(72, 512), 1);
  EXPECT_EQ(mux(72, 40960), 10);  // the stack of 4096x9, though blocks of 32768 rows are tiled apart
}

TEST(Tiler, MixesShapesWhereThatIsLess) {
  const Use eighteen{"single_port_ram", false, 2, 1, 0};
  const bmg::Tiling tiling = tile(eighteen, 40, 3000, "minimum_area");
  EXPECT_EQ(tiling.count(18), 7);
  std::map<int, int> by_width;
  for (bmg::TileRun const& run : tiling.runs) by_width[run.width] += run.count();
  EXPECT_EQ(by_width, (std::map<int, int>{{4, 1}, {9, 4}, {18, 2}}));
  EXPECT_EQ(tiling.mux_inputs(), 2);
}

}  // namespace
