// Decoder codes with circulant weights above 1, from the specification to the last slot, against two truths that owe
// the compiler nothing:
//
// - tests/support/plain_compiler.h, which does each step as it is defined. All fields, figures and messages are the
//   same, for both cores and every packing.
// - The matrix itself. A check node of a layer sums what the script's row sums, whatever the bits are, once every copy
//   of a column holds the column's bits; and which columns are copies of which is read from the layers that combine
//   them, since that is all that the core has to go by.
#include "tcltasks/fec/weight_expansion.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/plain_compiler.h"
#include "tests/support/random_code.h"

namespace {

using fec::CodeSpec;
using fec::ldpc_code_element_t;
using test_support::Random;
using Texts = std::vector<std::string>;

void collect(void* list, int severity, char const* text) {
  static_cast<Texts*>(list)->push_back(std::to_string(severity) + text);
}

template <class Variant>
struct Compiled {
  fec::ldpc_code_config_t<Variant> config;
  fec::ldpc_code_stats_t<Variant> stats;
  Texts messages;
};

template <class Variant>
Compiled<Variant> compile(CodeSpec const& plain_spec, bool quiet = false) {
  fec::ldpc_code_spec_t<Variant> spec;
  static_cast<CodeSpec&>(spec) = plain_spec;
  Compiled<Variant> result;
  fec::gen_ldpc_code_config(spec, result.config, result.stats, collect, &result.messages, Variant::kMinSlots, quiet);
  return result;
}

template <class Variant>
class WeightedCodes : public testing::Test {};
using Cores = testing::Types<sd_fec::Variant, ldpc::Variant>;
TYPED_TEST_SUITE(WeightedCodes, Cores);

TYPED_TEST(WeightedCodes, EqualThePlainCompilers) {
  std::map<unsigned, unsigned> expanded_over;  // by number of banks: codes that compile
  unsigned compressed = 0, refused = 0;
  for (unsigned seed = 1; seed <= 2500; ++seed) {
    Random random(seed);
    const CodeSpec spec = test_support::random_weighted_spec(random);
    const bool quiet = random.one_in(8);
    const plain::Compiled expected = plain::compile(spec, plain::core_of<TypeParam>(), quiet);
    const auto result = compile<TypeParam>(spec, quiet);
    ASSERT_EQ(result.messages, expected.messages);
    if (!expected.is_whole) continue;
    ASSERT_EQ(plain::difference(result.config, expected.config), "");
    ASSERT_EQ(plain::difference(result.stats, expected.stats), "");
    if (expected.config.special_qc == 0) continue;
    if (!expected.stats.dec_ok) {
      ++refused;
    } else {
      ++expanded_over[spec.no_packing != 0 || spec.p > 64 ? 1 : spec.p > 32 ? 2 : 4];
      compressed += spec.compress_packing;
    }
  }
  // The comparison is worth something only if all of this happens.
  for (unsigned banks : {1U, 2U, 4U}) EXPECT_GT(expanded_over[banks], 100U) << banks << " banks";
  EXPECT_GT(compressed, 200U);
  EXPECT_GT(refused, 200U);
}

// -------------------------------------------------------------------------------------------- against the matrix

using Bits = std::vector<unsigned char>;

void add_shifted(Bits& sum, Bits const& bits, std::uint32_t shift) {
  for (std::size_t i = 0; i < sum.size(); ++i) sum[i] ^= bits[(i + shift) % bits.size()];
}

// The operations of each layer as each bank sees them, pads left out.
using Lanes = std::vector<std::vector<ldpc_code_element_t>>;
std::vector<Lanes> layers_of(fec::CodeConfig const& config, unsigned width) {
  std::vector<Lanes> layers;
  std::size_t at = 0;
  for (std::uint32_t dc : config.dc) {
    Lanes& lanes = layers.emplace_back(width);
    for (std::size_t i = 0; i < dc; ++i)
      if (config.qc[at + i].nop == 0) lanes[i % width].push_back(config.qc[at + i]);
    at += dc;
  }
  return layers;
}

// The groups of a bank's operations: each ends with the one that closes its sub-matrix.
Lanes groups_of(std::vector<ldpc_code_element_t> const& lane) {
  Lanes groups;
  bool is_open = false;
  for (auto const& op : lane) {
    if (!is_open) groups.emplace_back();
    groups.back().push_back(op);
    is_open = op.last == 0;
  }
  EXPECT_FALSE(is_open);
  return groups;
}

TYPED_TEST(WeightedCodes, CheckWhatTheMatrixChecks) {
  std::map<unsigned, unsigned> proven;  // by number of banks
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Random random(seed);
    CodeSpec spec = test_support::random_weighted_spec(random);
    spec.encode = spec.compress_packing = 0;
    const auto result = compile<TypeParam>(spec);
    fec::CodeConfig const& config = result.config;
    if (!result.stats.dec_ok || config.special_qc == 0) continue;
    const unsigned width = spec.no_packing != 0 || spec.p > 64 ? 1 : spec.p > 32 ? 2 : 4;
    const unsigned columns = spec.n / spec.p;
    const std::vector<Lanes> layers = layers_of(config, width);
    ++proven[width];

    // Copies, as the combining layers tell them: each a column of its own behind the real ones, in the bank of the one
    // that it is a copy of, and the same copy wherever it is met.
    std::map<std::uint32_t, std::pair<std::uint32_t, std::size_t>> copies;  // column to real column and copy
    std::set<std::pair<std::uint32_t, std::size_t>> known;
    for (std::size_t layer = 0; layer < layers.size(); ++layer) {
      if (config.extra_layer[layer] == 0) continue;
      for (auto const& lane : layers[layer])
        for (auto const& group : groups_of(lane)) {
          ASSERT_GT(group.size(), 1U);
          ASSERT_LT(group[0].col, columns);
          for (std::size_t copy = 0; copy < group.size(); ++copy) {
            ASSERT_EQ(group[copy].shift, group[0].shift);
            ASSERT_EQ(group[copy].first, 0U);
            ASSERT_EQ(group[copy].col % width, group[0].col % width);
            if (copy == 0) continue;
            ASSERT_GE(group[copy].col, columns);
            const std::pair real(group[0].col, copy);
            const auto [place, is_new] = copies.try_emplace(group[copy].col, real);
            ASSERT_EQ(place->second, real);
            ASSERT_EQ(is_new, known.insert(real).second);
          }
        }
    }
    // They follow the real columns without a gap in their bank.
    for (auto const& [column, real] : copies)
      ASSERT_TRUE(column < columns + width || copies.count(column - width) != 0) << column;

    std::map<std::uint32_t, Bits> bits;
    for (std::uint32_t col = 0; col < columns; ++col) {
      Bits& block = bits.try_emplace(col, spec.p).first->second;
      for (unsigned char& bit : block) bit = static_cast<unsigned char>(random.below(2));
    }
    for (auto const& [column, real] : copies) bits[column] = bits[real.first];
    std::map<std::uint32_t, Bits> expected;
    for (auto const& element : spec.sm_array)
      for (std::uint32_t shift : element.shift)
        add_shifted(expected.try_emplace(element.row, spec.p).first->second, bits[element.col], shift);

    std::uint32_t row = 0;
    for (std::size_t layer = 0; layer < layers.size(); ++layer) {
      if (config.extra_layer[layer] != 0) {
        // It holds the groups of the layer before, in the same order, and nothing else.
        for (unsigned lane = 0; lane < width; ++lane) {
          std::vector<std::uint32_t> told, combined;
          for (auto const& group : groups_of(layers[layer - 1][lane]))
            for (auto const& op : group)
              if (group.size() > 1) told.push_back(op.col);
          for (auto const& op : layers[layer][lane]) combined.push_back(op.col);
          ASSERT_EQ(combined, told) << "layer " << layer;
        }
        continue;
      }
      Bits sum(spec.p);
      std::set<std::uint32_t> read;
      for (auto const& lane : layers[layer])
        for (auto const& op : lane) {
          ASSERT_TRUE(read.insert(op.col).second) << "layer " << layer << " reads column " << op.col << " twice";
          ASSERT_TRUE(bits.count(op.col) != 0) << "column " << op.col << " is a copy of nothing";
          add_shifted(sum, bits[op.col], op.shift);
        }
      ASSERT_EQ(sum, expected[row]) << "row " << row;
      ++row;
    }
    ASSERT_EQ(row, expected.size());
  }
  for (unsigned banks : {1U, 2U, 4U}) EXPECT_GT(proven[banks], 100U) << banks << " banks";
}

TYPED_TEST(WeightedCodes, CloseTheirGroupsInAllBanksAtOnce) {
  unsigned closed = 0;
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Random random(seed);
    CodeSpec spec = test_support::random_weighted_spec(random);
    spec.encode = spec.compress_packing = spec.no_packing = 0;
    if (spec.p > 64) continue;
    const auto result = compile<TypeParam>(spec);
    if (!result.stats.dec_ok || result.config.special_qc == 0) continue;
    const unsigned width = spec.p > 32 ? 2 : 4;
    std::size_t at = 0;
    for (std::uint32_t dc : result.config.dc) {
      ASSERT_EQ(dc % width, 0U);
      ASSERT_GE(dc / width, TypeParam::kMinSlots);
      std::vector<bool> is_open(width);
      for (std::uint32_t i = 0; i < dc; i += width, at += width) {
        bool closes = false;
        for (unsigned lane = 0; lane < width; ++lane) {
          auto const& op = result.config.qc[at + lane];
          closes = closes || (is_open[lane] && op.nop == 0 && op.last != 0);
          if (op.nop == 0) is_open[lane] = op.last == 0;
        }
        if (!closes) continue;
        ++closed;
        for (unsigned lane = 0; lane < width; ++lane) ASSERT_EQ(result.config.qc[at + lane].last, 1U);
      }
    }
  }
  EXPECT_GT(closed, 1000U);
}

}  // namespace
