// Packing against a plain transcription of its steps with double-ended queues, and its properties.
#include "tcltasks/fec/layer_packing.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/plain_packing.h"
#include "tests/support/random_code.h"

namespace {

using fec::CodeConfig;
using fec::ldpc_code_element_t;
using fec::PackingRules;
using test_support::Random;

// ------------------------------------------------------------------------------------------------------ inputs

CodeConfig random_layers(Random& random) {
  CodeConfig config;
  config.nlayers = 1 + random.below(6);
  config.encode = random.below(2);
  config.compress_packing = random.below(2);
  const unsigned columns = random.one_in(2) ? 12 : 68;
  const bool grouped = random.one_in(3);
  for (unsigned layer = 0; layer < config.nlayers; ++layer) {
    unsigned dc = 0;
    const unsigned positions = random.below(12);
    for (unsigned i = 0; i < positions; ++i) {
      const unsigned col = random.below(columns);
      const unsigned weight = grouped && random.one_in(3) ? 2 + random.below(3) : 1;
      for (unsigned w = 0; w < weight; ++w, ++dc) {
        ldpc_code_element_t op;
        op.col = col;
        op.shift = static_cast<std::uint32_t>(config.qc.size() + 1);  // tells the operations apart
        op.last = w + 1 == weight;
        config.qc.push_back(op);
      }
    }
    config.dc.push_back(dc);
  }
  return config;
}

PackingRules random_rules(Random& random) {
  PackingRules rules;
  rules.pf = 1U << random.below(3);
  rules.min_slots = random.one_in(2) ? 3 : 1;
  rules.align_closings = random.one_in(3);
  rules.reorder_type = random.below(8);
  return rules;
}

TEST(LayerPacking, EqualsThePlainTranscription) {
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    Random random(seed);
    CodeConfig config = random_layers(random);
    const PackingRules rules = random_rules(random);
    if (rules.pf == 1 && config.compress_packing == 0) continue;  // not packed at all
    const plain::Packed expected = plain::pack(config, rules);
    unsigned errors = 0;
    fec::Reporter report([](void* count, int severity, char const*) { *static_cast<unsigned*>(count) += severity; },
                         &errors, false, false);
    ASSERT_NEAR(fec::pack_layers(config, rules, report), expected.efficiency, 1e-12);
    ASSERT_EQ(config.qc, expected.qc);
    ASSERT_EQ(config.dc, expected.dc);
    ASSERT_EQ(config.qc_count, expected.qc_count);
    ASSERT_EQ(errors, expected.empty_layers.size());
  }
}

TEST(LayerPacking, KeepsEveryOperationOnceAndIssuesDifferentBanksTogether) {
  for (unsigned seed = 1; seed <= 5000; ++seed) {
    Random random(seed);
    CodeConfig config = random_layers(random);
    PackingRules rules = random_rules(random);
    rules.reorder_type = random.below(2);
    if (rules.pf == 1) config.compress_packing = 1;
    const std::size_t operations = config.qc.size();
    fec::Reporter report(nullptr, nullptr, false, false);
    fec::pack_layers(config, rules, report);

    std::vector<std::uint32_t> serials;
    for (auto const& op : config.qc)
      if (op.nop == 0) serials.push_back(op.shift);
    std::sort(serials.begin(), serials.end());
    ASSERT_EQ(serials.size(), operations);
    for (std::size_t i = 0; i < operations; ++i) ASSERT_EQ(serials[i], i + 1);

    if (rules.pf == 1) continue;
    ASSERT_EQ(config.qc.size() % rules.pf, 0U);
    for (std::size_t i = 0; i < config.qc.size(); ++i) {
      if (config.qc[i].nop != 0) continue;
      ASSERT_EQ(config.qc[i].col % rules.pf, i % rules.pf);
    }
  }
}

TEST(LayerPacking, NamesALayerWithoutOperations) {
  CodeConfig config;
  config.nlayers = 2;
  config.compress_packing = 1;  // else a pad takes its place
  config.dc = {1, 0};
  config.qc.resize(1);
  config.qc[0].last = 1;
  PackingRules rules;
  rules.pf = 2;
  std::string told;
  fec::Reporter report([](void* all, int, char const* text) { *static_cast<std::string*>(all) += text; }, &told, false,
                       false);
  fec::pack_layers(config, rules, report);
  EXPECT_EQ(told, "ERROR: DC count 0 for layer1");
}

CodeConfig one_layer(std::vector<unsigned> const& columns) {
  CodeConfig config;
  config.nlayers = 1;
  config.dc = {static_cast<std::uint32_t>(columns.size())};
  for (unsigned col : columns) {
    ldpc_code_element_t op;
    op.col = col;
    op.last = 1;
    config.qc.push_back(op);
  }
  return config;
}

double pack(CodeConfig& config, PackingRules const& rules) {
  fec::Reporter report(nullptr, nullptr, false, false);
  return fec::pack_layers(config, rules, report);
}

TEST(LayerPacking, IsFullyEfficientWhenEveryColumnHasItsOwnBank) {
  CodeConfig config = one_layer({0, 1, 2, 3, 4, 5, 6, 7});
  PackingRules rules;
  rules.pf = 4;
  EXPECT_EQ(pack(config, rules), 1.0);
  EXPECT_EQ(config.dc[0], 8U);
}

TEST(LayerPacking, PadsWhereOneBankHoldsEverything) {
  CodeConfig config = one_layer({0, 2, 4});
  PackingRules rules;
  rules.pf = 2;
  EXPECT_EQ(pack(config, rules), 0.5);
  EXPECT_EQ(config.dc[0], 6U);
  EXPECT_EQ(std::count_if(config.qc.begin(), config.qc.end(), [](auto const& op) { return op.nop != 0; }), 3);
}

TEST(LayerPacking, TriesNarrowerGroupsUntilTheLanesDiffer) {
  CodeConfig config = one_layer({0, 1, 5, 2});  // lanes 0, 1, 1, 2
  config.compress_packing = 1;
  PackingRules rules;
  pack(config, rules);
  std::vector<std::uint32_t> columns, codes;
  for (auto const& op : config.qc) {
    columns.push_back(op.col);
    codes.push_back(op.pack4);
  }
  // Four banks draw 1 first, then 0, 5, 2 together.
  EXPECT_EQ(columns, (std::vector<std::uint32_t>{1, 0, 5, 2}));
  EXPECT_EQ(codes, (std::vector<std::uint32_t>{2, 1, 2, 1}));
}

TEST(LayerPacking, ReportsACodeWithoutLayersAndALayerWithoutSlots) {
  std::vector<std::string> texts;
  const auto collect = [](void* list, int, char const* text) {
    static_cast<std::vector<std::string>*>(list)->push_back(text);
  };
  fec::Reporter report(collect, &texts, false, false);
  CodeConfig none;
  EXPECT_EQ(fec::pack_layers(none, {}, report), 0.0);
  CodeConfig config = one_layer({});
  config.compress_packing = 1;
  fec::pack_layers(config, {}, report);
  EXPECT_EQ(texts, (std::vector<std::string>{"ERROR: num. layers: 0", "ERROR: DC count 0 for layer0"}));
}

TEST(LayerPacking, DrawsAPassOfPadsForALayerWithoutOperations) {
  CodeConfig config = one_layer({});
  PackingRules rules;
  rules.pf = 4;
  pack(config, rules);
  EXPECT_EQ(config.dc[0], 4U);
  EXPECT_EQ(config.qc.size(), 4U);
}

}  // namespace
