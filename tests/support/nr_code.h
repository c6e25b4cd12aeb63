// The 5G NR LDPC codes (3GPP TS 38.212, section 5.3.2) as specifications, from the tables under data/ldpc.
#pragma once

#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tcltasks/fec/records.h"
#include "tests/support/places.h"

namespace test_support {

/// The lines of a table behind its heading, as numbers.
inline std::vector<std::vector<unsigned>> read_table(std::string const& name) {
  std::ifstream file(places::data("ldpc/" + name));
  std::string line;
  if (!std::getline(file, line)) throw std::runtime_error("cannot read " + name);
  std::vector<std::vector<unsigned>> rows;
  while (std::getline(file, line)) {
    std::vector<unsigned>& row = rows.emplace_back();
    std::istringstream fields(line);
    for (std::string field; std::getline(fields, field, ',');) row.push_back(static_cast<unsigned>(std::stoul(field)));
  }
  return rows;
}

/// All 51 lifting sizes.
inline std::vector<unsigned> lifting_sizes() {
  std::vector<unsigned> sizes;
  for (auto const& row : read_table("nr_lifting_sizes.csv")) sizes.push_back(row[1]);
  return sizes;
}

/// The code of base graph `graph` (1 or 2) and lifting size `z`, as a decoder code. With `kb` below 10, base graph 2
/// loses its information columns from kb on and the later columns are renumbered.
inline fec::CodeSpec nr_code(int graph, unsigned z, unsigned kb = 0) {
  constexpr std::array<unsigned, 3> kFullKb{0, 22, 10};
  constexpr std::array<unsigned, 3> kColumns{0, 68, 52};
  const auto g = static_cast<std::size_t>(graph);
  const unsigned removed = kb == 0 ? 0 : kFullKb[g] - kb;
  unsigned set = 8;
  for (auto const& row : read_table("nr_lifting_sizes.csv"))
    if (row[1] == z) set = row[0];
  if (set == 8) throw std::runtime_error(std::to_string(z) + " is no lifting size");

  fec::CodeSpec spec;
  spec.p = z;
  spec.n = (kColumns[g] - removed) * z;
  spec.k = (kFullKb[g] - removed) * z;
  for (auto const& row : read_table("nr_bg" + std::to_string(graph) + ".csv")) {
    if (row[1] >= kFullKb[g] - removed && row[1] < kFullKb[g]) continue;
    const unsigned col = row[1] < kFullKb[g] ? row[1] : row[1] - removed;
    spec.sm_array.push_back({row[0], col, {row[2 + set] % z}, 0});
  }
  return spec;
}

}  // namespace test_support
