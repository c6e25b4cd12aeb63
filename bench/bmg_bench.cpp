// Block memory placement: what a call takes, and the tiler against a search of all tilings.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/bmg/blk_mem_gen.h"
#include "tests/support/tiling_truth.h"

namespace {

constexpr int kMemories = 100;
constexpr int kPairs = 9;
constexpr double kMostMicroseconds = 60;

struct Memory {
  int width, depth;
  std::vector<std::string> words;
  std::vector<char*> argv;
};

// Memories of up to `most_width` bits and `most_depth` rows, in 18 kilobit primitives or in all sizes.
std::vector<Memory> random_memories(int most_width, int most_depth, char const* sizes, char const* algorithm) {
  std::mt19937 random(1);
  std::vector<Memory> memories(kMemories);
  for (Memory& one : memories) {
    one.width = std::uniform_int_distribution(1, most_width)(random);
    one.depth = std::uniform_int_distribution(1, most_depth)(random);
    one.words = {"type",       "simple_dual_port_ram",
                 "width_a",    std::to_string(one.width),
                 "depth_a",    std::to_string(one.depth),
                 "primitives", sizes,
                 "algorithm",  algorithm};
    for (std::string& word : one.words) one.argv.push_back(word.data());
  }
  return memories;
}

using Figure = int (*)(int, char**, int*);

double call_seconds(std::vector<Memory>& memories, Figure figure) {
  return bench::processor_seconds_of([&] {
    for (Memory& one : memories)
      if (figure(static_cast<int>(one.argv.size()), one.argv.data(), nullptr) < 0) std::abort();
  });
}

bool print_call(char const* name, std::vector<Memory> memories, Figure figure) {
  std::vector<double> rounds;
  for (int i = 0; i < 50; ++i) rounds.push_back(call_seconds(memories, figure));
  const double microseconds = bench::median(rounds) / kMemories * 1e6;
  const bool kept = microseconds <= kMostMicroseconds;
  std::printf("%-58s %10.3f us %35s <= %-5.2f %s\n", name, microseconds, "", kMostMicroseconds, kept ? "ok" : "MISSED");
  return kept;
}

std::vector<truth::Shape> shapes_of_18_kilobits() {
  std::vector<truth::Shape> shapes;
  int units = 32;
  for (int width : {1, 2, 4, 9, 18, 36}) {
    shapes.push_back({units, width, 1, 0});
    units /= 2;
  }
  return shapes;
}

}  // namespace

int main() {
  constexpr int kUnitRows = 512;
  constexpr auto kEighteens = Ip_blk_mem_gen_v8_4_placement_algo_num_prims_18;
  constexpr auto kMux = Ip_blk_mem_gen_v8_4_placement_algo_mux_size;
  bench::print_heading("Block memory placement");
  bool kept = print_call("a call: 18 kilobits, to 4608 bits x 1048576 rows",
                         random_memories(4608, 1048576, "18", "minimum_area"), kEighteens);
  kept &= print_call("a call: all sizes, to 4608 x 1048576", random_memories(4608, 1048576, "9,18,36", "minimum_area"),
                     kMux);
  kept &= print_call("a call: all sizes, to 4608 x 1048576, low power",
                     random_memories(4608, 1048576, "9,18,36", "low_power"), kMux);
  kept &= print_call("a call: all sizes, to 150 x 65536", random_memories(150, 65536, "9,18,36", "minimum_area"), kMux);

  std::vector<Memory> memories = random_memories(100, 32 * kUnitRows, "18", "minimum_area");
  const std::vector<truth::Shape> shapes = shapes_of_18_kilobits();
  const auto search = [&] {
    return bench::processor_seconds_of([&] {
      for (Memory& one : memories) {
        const int units = (one.depth + kUnitRows - 1) / kUnitRows;
        const truth::CutSearch found(shapes, one.width, units);
        const int number = kEighteens(static_cast<int>(one.argv.size()), one.argv.data(), nullptr);
        if (found.cost(one.width, units) != static_cast<truth::Cost>(number)) kept = false;
      }
    });
  };
  kept &= bench::print_row("100 memories to 100 x 16384 / a search of all their tilings",
                           bench::interleaved(
                               kPairs, [&] { return call_seconds(memories, kEighteens); }, search),
                           0.5);
  return kept ? 0 : 1;
}
