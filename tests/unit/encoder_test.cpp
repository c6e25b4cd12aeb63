// The encoder's rule and the double-diagonal transform, proven by encoding: a random message is encoded by running the
// compiled operations as the core would, and the result is checked against the matrix that the script gave.
#include <gtest/gtest.h>

#include <random>

#include "tcltasks/fec/encoder_check.h"
#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/nr_code.h"
#include "tests/support/random.h"

namespace {

using Block = std::vector<unsigned char>;

// Line i of a circulant of shift s has its 1 in column (i + s) mod P.
void add_shifted(Block& sum, Block const& block, std::uint32_t shift) {
  const std::size_t p = block.size();
  for (std::size_t i = 0; i < p; ++i) sum[i] ^= block[(i + shift) % p];
}

// Runs the layers as the encoder does: each one sums its blocks and stores the sum in the block that ends it.
std::vector<Block> encode(fec::CodeConfig const& config, std::vector<Block> blocks) {
  std::size_t at = 0;
  for (std::uint32_t dc : config.dc) {
    Block sum(config.p, 0);
    fec::ldpc_code_element_t const* parity = nullptr;
    bool is_packed = false;
    for (std::size_t i = at; i < at + dc; ++i) is_packed = is_packed || config.qc[i].layer_end != 0;
    for (std::size_t i = at; i < at + dc; ++i) {
      auto const& op = config.qc[i];
      if (op.nop != 0) continue;
      if (is_packed ? op.layer_end != 0 : i + 1 == at + dc)
        parity = &op;
      else
        add_shifted(sum, blocks[op.col], op.shift);
    }
    EXPECT_NE(parity, nullptr);
    if (parity == nullptr) return blocks;
    for (std::size_t i = 0; i < config.p; ++i) blocks[parity->col][(i + parity->shift) % config.p] = sum[i];
    at += dc;
  }
  return blocks;
}

bool satisfies(fec::CodeSpec const& spec, std::vector<Block> const& blocks) {
  std::map<std::uint32_t, Block> sums;
  for (auto const& element : spec.sm_array)
    for (std::uint32_t shift : element.shift)
      add_shifted(sums.try_emplace(element.row, spec.p, 0).first->second, blocks[element.col], shift);
  for (auto const& [row, sum] : sums)
    for (unsigned char bit : sum)
      if (bit != 0) return false;
  return true;
}

std::vector<Block> random_message(fec::CodeSpec const& spec, std::size_t columns, unsigned seed) {
  test_support::Seeded<std::mt19937> random(seed);
  std::vector<Block> blocks(columns, Block(spec.p, 0));
  for (std::size_t col = 0; col < spec.k / spec.p; ++col)
    for (unsigned char& bit : blocks[col]) bit = random() & 1;
  return blocks;
}

template <class Variant>
void expect_encodes(fec::CodeSpec const& plain, unsigned seed) {
  fec::ldpc_code_spec_t<Variant> spec;
  static_cast<fec::CodeSpec&>(spec) = plain;
  spec.encode = 1;
  fec::ldpc_code_config_t<Variant> config;
  fec::ldpc_code_stats_t<Variant> stats;
  std::string texts;
  fec::gen_ldpc_code_config(
      spec, config, stats,
      [](void* all, int severity, char const* text) {
        if (severity != 0) *static_cast<std::string*>(all) += text;
      },
      &texts, Variant::kMinSlots, false);
  ASSERT_TRUE(stats.enc_ok) << texts;
  const auto blocks = encode(config, random_message(plain, plain.n / plain.p + 8, seed));
  EXPECT_TRUE(satisfies(plain, blocks));
}

TEST(EncoderTransform, EncodesEvery5gNrCode) {
  for (int graph : {1, 2})
    for (unsigned z : test_support::lifting_sizes()) {
      SCOPED_TRACE(testing::Message() << "base graph " << graph << " lifting size " << z);
      expect_encodes<sd_fec::Variant>(test_support::nr_code(graph, z), z);
      expect_encodes<ldpc::Variant>(test_support::nr_code(graph, z), z);
    }
}

TEST(EncoderTransform, EncodesUnderEveryPacking) {
  for (unsigned z : {2U, 30U, 52U, 64U, 72U, 208U}) {
    for (unsigned type : {0U, 1U, 3U}) {
      SCOPED_TRACE(testing::Message() << "lifting size " << z << " reorder_type " << type);
      fec::CodeSpec spec = test_support::nr_code(2, z);
      spec.compress_packing = 1;
      spec.reorder_type = type;
      expect_encodes<sd_fec::Variant>(spec, z);
      expect_encodes<ldpc::Variant>(spec, z);
    }
    fec::CodeSpec spec = test_support::nr_code(1, z);
    spec.compress_packing = 1;
    spec.reorder_type = 2;
    expect_encodes<sd_fec::Variant>(spec, z);
    spec = test_support::nr_code(1, z);
    spec.no_packing = 1;
    expect_encodes<ldpc::Variant>(spec, z);
  }
}

// -------------------------------------------------------------------------------------------------- the check

fec::BaseMatrix matrix_of(std::vector<std::vector<std::uint32_t>> const& rows) {
  fec::BaseMatrix h(rows.size());
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (std::uint32_t col : rows[r]) h[r].append(col, 0);
    h[r].sort();
  }
  return h;
}

std::vector<std::string> findings;
void collect(void*, int severity, char const* text) { findings.push_back(std::to_string(severity) + " " + text); }

bool check(fec::BaseMatrix const& h, fec::ParityPoints const& cp = {}, bool quiet = false, bool skip = false) {
  findings.clear();
  return sd_fec::is_enc_compatible(2, 8, h, cp, collect, nullptr, quiet, skip);
}

TEST(EncoderCheck, PassesAMatrixWithoutRows) { EXPECT_TRUE(check({})); }

TEST(EncoderCheck, PassesRowsThatEachAddOneParityBlock) {
  EXPECT_TRUE(check(matrix_of({{0, 2}, {1, 2, 3}, {0, 1, 3, 4}})));
  EXPECT_TRUE(findings.empty());
}

TEST(EncoderCheck, NamesEveryFaultOfARow) {
  EXPECT_FALSE(check(matrix_of({{0, 1}, {0, 3, 4, 5}})));
  EXPECT_EQ(findings,
            (std::vector<std::string>{
                "0 WARNING: Encoder compatibility: Last column (1) in row 0 is not parity(>1)",
                "0 WARNING: Encoder compatibility: Column 3 in row 1 is parity(>1) and not the end of the row(5) but "
                "has not been calculated in a previously row. Only one parity location can be calcualted per row.",
                "0 WARNING: Encoder compatibility: Column 4 in row 1 is parity(>1) and not the end of the row(5) but "
                "has not been calculated in a previously row. Only one parity location can be calcualted per row."}));
}

TEST(EncoderCheck, IsSilentWhenAskedAndGivesTheSameVerdict) {
  const auto h = matrix_of({{0, 1}, {0, 3, 4, 5}});
  EXPECT_FALSE(check(h, {}, true, false));
  EXPECT_TRUE(findings.empty());
  EXPECT_FALSE(check(h, {}, false, true));
  EXPECT_TRUE(findings.empty());
  EXPECT_FALSE(sd_fec::is_enc_compatible(2, 8, h, {}, nullptr, nullptr, false, false));
}

TEST(EncoderCheck, TakesANamedPointAsTheRowsParity) {
  const auto h = matrix_of({{0, 2, 3}, {1, 2, 3, 4}});
  EXPECT_FALSE(check(h));
  EXPECT_TRUE(check(h, {{{0, 2}, 1}}));
}

TEST(EncoderCheck, FindsNoLastPositionInARowThatEndsEmpty) {
  auto h = matrix_of({{0, 2}});
  h[0].extend(6);
  EXPECT_FALSE(check(h));
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_NE(findings[0].find("not the end of the row(5)"), std::string::npos);
}

// ------------------------------------------------------------------------ detection against a plain transcription

// The search as it is told: row by row from the last, column by column from the row's last.
std::optional<std::pair<std::uint32_t, std::uint32_t>> slow_base(fec::BaseMatrix const& h) {
  for (std::size_t r = h.size() - 1; r >= 2 && r < h.size(); --r) {
    std::optional<std::uint32_t> first2;
    for (std::size_t c = h[r].width(); c-- > 0;) {
      std::size_t w = 0;
      for (std::size_t i = 0; i <= r; ++i) w += h[i].at(static_cast<std::uint32_t>(c)).size();
      if (w > 3 || (w < 2 && first2)) break;
      if (w == 3 && first2) {
        if (*first2 - c == r) return std::pair(static_cast<std::uint32_t>(r), static_cast<std::uint32_t>(c));
        break;
      }
      if (!first2 && w == 2) first2 = static_cast<std::uint32_t>(c);
    }
  }
  return std::nullopt;
}

TEST(DoubleDiagonal, IsFoundWhereThePlainSearchFindsIt) {
  unsigned found = 0;
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    test_support::Seeded<std::mt19937> random(seed);
    const unsigned rows = 1 + random() % 7;
    const unsigned columns = 2 + random() % 8;
    fec::BaseMatrix h(rows);
    const unsigned base = random() % columns;
    for (unsigned r = 0; r < rows; ++r)
      for (unsigned c = 0; c < columns; ++c) {
        const bool on_diagonal = c > base && (c == base + r || c == base + r + 1);
        if (on_diagonal ? random() % 16 != 0 : random() % (c > base ? 12 : 2) == 0) h[r].append(c, random() % 3);
      }
    const auto expected = h.size() > 2 ? slow_base(h) : std::nullopt;

    findings.clear();
    fec::ParityPoints cp;
    fec::EncoderMatrix matrix{h, cp, 1, columns, columns - 1};
    fec::apply_double_diagonal(matrix, fec::Reporter(collect, nullptr, false, false));
    const std::string first = findings.at(0);
    if (expected) {
      ++found;
      EXPECT_EQ(first, "0 INFO: Encoder double diagonal characteristic potentially detected, base row: " +
                           std::to_string(expected->first) + " base col: " + std::to_string(expected->second) +
                           ", checking ...");
    } else {
      EXPECT_EQ(first, "0 WARNING: Encoder double diagonal characteristic not detected");
    }
  }
  EXPECT_GT(found, 500U);
}

TEST(DoubleDiagonal, MovesNamedParityPointsWithTheirRows) {
  auto h = matrix_of({{0, 1, 2}, {0, 2, 3}, {0, 1, 3}, {0, 1, 4}});
  h[1].append(1, 1);
  h[1].sort();
  fec::ParityPoints cp{{{3, 4}, 7}, {{0, 2}, 5}};
  fec::EncoderMatrix matrix{h, cp, 1, 5, 4};
  findings.clear();
  ASSERT_TRUE(fec::apply_double_diagonal(matrix, fec::Reporter(collect, nullptr, false, false))) << findings.back();
  EXPECT_EQ(h.size(), 7U);
  EXPECT_TRUE(cp.contains({6, 4}));   // row 3 moved down by three
  EXPECT_FALSE(cp.contains({0, 2}));  // stood in the parity section that was cut off
}

TEST(DoubleDiagonal, ReportsEachFaultOfTheDiagonal) {
  const auto findings_of = [](auto change) {
    // base column 1 with shifts 1, 0, 1; identities in 2 and 3
    fec::BaseMatrix h(3);
    h[0].append(0, 0);
    h[0].append(1, 1);
    h[0].append(2, 0);
    h[1].append(0, 0);
    h[1].append(1, 0);
    h[1].append(2, 0);
    h[1].append(3, 0);
    h[2].append(0, 0);
    h[2].append(1, 1);
    h[2].append(3, 0);
    change(h);
    for (auto& row : h) row.sort();
    fec::ParityPoints cp;
    fec::EncoderMatrix matrix{h, cp, 1, 8, 3};
    findings.clear();
    fec::apply_double_diagonal(matrix, fec::Reporter(collect, nullptr, false, false));
    return findings;
  };
  EXPECT_EQ(findings_of([](auto&) {}).size(), 2U);
  const auto rebuilt = [](fec::BaseMatrix& h, std::size_t row, std::vector<fec::Circulant> const& ops) {
    h[row] = {};
    for (auto const& op : ops) h[row].append(op.col, op.shift);
  };
  EXPECT_EQ(findings_of([&](auto& h) {
              rebuilt(h, 1, {{0, 0}, {1, 0}, {2, 4}, {3, 0}});
            }).at(1),
            "0 WARNING: Non-identity sub-matrix detected, row: 1 col: 2");
  EXPECT_EQ(findings_of([&](auto& h) {
              rebuilt(h, 1, {{0, 0}, {1, 0}, {3, 0}, {3, 0}});
              rebuilt(h, 2, {{0, 0}, {1, 1}, {2, 0}});
              h[2].extend(4);  // the search starts in the last column of row 2
            }).at(1),
            "0 WARNING: Sub-matrix expected for double diagonal characteristic, row: 1 col: 2");
  EXPECT_EQ(findings_of([&](auto& h) {
              rebuilt(h, 0, {{0, 0}, {1, 1}, {3, 0}});
              rebuilt(h, 1, {{0, 0}, {1, 0}, {2, 0}, {2, 0}});
            }).at(1),
            "0 WARNING: Sub-matrix expected for double diagonal characteristic, row: 0 col: 2");
  EXPECT_EQ(findings_of([&](auto& h) {
              rebuilt(h, 0, {{0, 0}, {1, 1}, {2, 0}, {2, 0}});
              rebuilt(h, 1, {{0, 0}, {1, 0}, {3, 0}});
            }).at(1),
            "0 WARNING: Sub-matrix contains multiple circulants, row: 0 col: 2");
  EXPECT_EQ(findings_of([&](auto& h) {
              rebuilt(h, 0, {{0, 0}, {1, 1}, {2, 0}, {3, 0}});
              rebuilt(h, 1, {{0, 0}, {1, 0}, {2, 0}});
            }).at(1),
            "0 WARNING: Sub-matrix set outwith double diagonal characteristic, row: 0 col: 3");
}

}  // namespace
