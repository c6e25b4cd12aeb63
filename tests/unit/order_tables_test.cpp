// The order tables keep what they promise: each row holds the columns of its base graph, and the rows that are given
// stand as given. For the encoder, the columns are those of the matrix that the compiler makes of the base graph.
#include "tcltasks/fec/order_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "tcltasks/fec/ldpc.h"
#include "tests/support/nr_code.h"
#include "tests/support/places.h"

namespace {

using Columns = std::vector<std::uint32_t>;
namespace tables = fec::order_tables;

// The columns of each layer of the compiled code, and the last one of each.
std::vector<Columns> layers_of(int graph, unsigned kb, bool encode) {
  ldpc::ldpc_code_spec_t spec;
  static_cast<fec::CodeSpec&>(spec) = test_support::nr_code(graph, 128, kb);
  spec.encode = encode;
  ldpc::ldpc_code_config_t config;
  ldpc::ldpc_code_stats_t stats;
  ldpc::gen_ldpc_code_config(spec, config, stats, nullptr, nullptr, 1, true);
  EXPECT_TRUE(encode ? stats.enc_ok : stats.dec_ok);
  std::vector<Columns> layers;
  std::size_t at = 0;
  for (std::uint32_t dc : config.dc) {
    Columns& layer = layers.emplace_back();
    for (std::uint32_t i = 0; i < dc; ++i) layer.push_back(config.qc[at++].col);
  }
  return layers;
}

struct UsedTable {
  unsigned reorder_type;
  int graph;
  unsigned kb;
  std::uint32_t decoder_filler;
};
constexpr UsedTable kUsed[] = {{2, 1, 22, 0}, {3, 2, 10, tables::kEmptySlot}, {4, 2, 9, 0}, {5, 2, 8, 0}, {6, 2, 6, 0}};

TEST(OrderTables, HoldTheColumnsOfEachLayerAndThenFillers) {
  for (UsedTable const& table : kUsed)
    for (bool encode : {false, true}) {
      const auto layers = layers_of(table.graph, table.kb, encode);
      for (unsigned layer = 0; layer < layers.size(); ++layer) {
        SCOPED_TRACE(testing::Message() << "reorder_type " << table.reorder_type << " encode " << encode << " layer "
                                        << layer);
        const auto row = tables::row(table.reorder_type, encode, layer);
        Columns const& expected = layers[layer];
        ASSERT_GE(row.size(), expected.size());
        EXPECT_TRUE(
            std::is_permutation(expected.begin(), expected.end(), row.begin(), row.begin() + std::ssize(expected)));
        for (std::size_t i = expected.size(); i < row.size(); ++i) EXPECT_EQ(row[i], encode ? 0 : table.decoder_filler);
        if (encode) {
          EXPECT_EQ(row[expected.size() - 1], expected.back());  // the parity column
        }
      }
      EXPECT_TRUE(tables::row(table.reorder_type, encode, static_cast<unsigned>(layers.size())).empty());
    }
}

TEST(OrderTables, AreEmptyForOtherTypes) {
  for (unsigned type : {0U, 1U, 7U, 4294967295U}) EXPECT_TRUE(tables::row(type, false, 0).empty());
}

template <std::size_t Rows, std::size_t Width>
Columns head(std::uint32_t const (&table)[Rows][Width], std::size_t row, std::size_t count) {
  return {table[row], table[row] + count};
}

TEST(OrderTables, BeginAsGiven) {
  EXPECT_EQ(head(tables::BG1_REORDERED, 0, 9), (Columns{12, 5, 2, 3, 0, 9, 6, 11, 16}));
  EXPECT_EQ(head(tables::BG1_REORDERED, 4, 4), (Columns{0, 1, 26, 0}));
  EXPECT_EQ(head(tables::BG1_REORDERED, 45, 5), (Columns{6, 1, 10, 67, 0}));
  EXPECT_EQ(head(tables::ENC_BG1REORDERED, 0, 20),
            (Columns{12, 5, 2, 3, 0, 9, 6, 11, 16, 1, 10, 15, 20, 21, 18, 19, 13, 24, 0, 0}));
  EXPECT_EQ(head(tables::ENC_BG1REORDERED, 4, 6), (Columns{24, 25, 26, 27, 22, 0}));
  EXPECT_EQ(head(tables::BG2KB10P128, 0, 12), (Columns{2, 9, 6, 3, 0, 1, 10, 11, 240, 240, 240, 240}));
  EXPECT_EQ(head(tables::BG2KB10P128, 41, 5), (Columns{1, 5, 11, 51, 240}));
  EXPECT_EQ(head(tables::ENC_BG2KB10REORDERED, 4, 6), (Columns{12, 13, 14, 15, 10, 0}));
  EXPECT_EQ(head(tables::BG2KB6REORDERED, 0, 7), (Columns{0, 1, 2, 3, 6, 7, 0}));
}

// A table of lanes: in each group every column stands in its lane, and the row holds the columns of the layer once.
template <std::size_t Rows, std::size_t Width>
void expect_lanes(std::uint32_t const (&table)[Rows][Width], unsigned lanes, int graph) {
  const auto layers = layers_of(graph, 0, false);
  for (std::size_t row = 0; row < Rows; ++row) {
    Columns columns;
    for (std::size_t i = 0; i < Width; ++i) {
      if (table[row][i] == tables::kEmptySlot) continue;
      EXPECT_EQ(table[row][i] % lanes, i % lanes);
      columns.push_back(table[row][i]);
    }
    EXPECT_TRUE(std::is_permutation(columns.begin(), columns.end(), layers[row].begin(), layers[row].end()));
  }
}

TEST(OrderTables, LayTheirColumnsOutInLanes) {
  expect_lanes(tables::NewOrderedBG1P32, 4, 1);
  expect_lanes(tables::BG2KB10P32, 4, 2);
  expect_lanes(tables::BG2KB10P64, 2, 2);
  expect_lanes(tables::hbmatrix, 4, 2);
}

TEST(OrderTables, SaveStallsOnEveryTableAsTheDocumentSays) {
  // The page on the orders quotes these sums; they come from the tool that made the tables.
  struct Sums {
    unsigned long before = 0, after = 0;
  };
  std::map<std::string, Sums> stalls;
  std::vector<std::string> order;
  std::ifstream file(places::data("ldpc/order/gain.csv"));
  std::string line;
  ASSERT_TRUE(std::getline(file, line));
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string name, field;
    std::getline(fields, name, ',');
    std::vector<unsigned long> values;
    while (std::getline(fields, field, ',')) values.push_back(std::stoul(field));
    if (!stalls.contains(name)) order.push_back(name);
    stalls[name].before += values[3] * values[5];
    stalls[name].after += values[3] * values[7];
  }
  ASSERT_EQ(order.size(), 10U);
  std::ifstream page(places::source("docs/order-of-base-graphs.md"));
  std::stringstream text;
  text << page.rdbuf();
  for (std::string const& name : order) {
    EXPECT_LT(stalls[name].after, stalls[name].before) << name;
    const std::string row =
        "| `" + name + "` | " + std::to_string(stalls[name].before) + " | " + std::to_string(stalls[name].after) + " |";
    EXPECT_NE(text.str().find(row), std::string::npos) << row;
  }
}

}  // namespace
