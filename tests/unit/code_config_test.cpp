// The compiler called from C++: against the plain one of tests/support/plain_compiler.h, which does each step as it is
// defined, and gating of messages, statistics, early returns, and what no script can reach.
#include "tcltasks/fec/code_config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/nr_code.h"
#include "tests/support/plain_compiler.h"
#include "tests/support/random_code.h"

namespace {

using Texts = std::vector<std::string>;

void collect(void* list, int severity, char const* text) {
  static_cast<Texts*>(list)->push_back(std::to_string(severity) + text);
}

struct compiled {
  ldpc::ldpc_code_config_t config;
  ldpc::ldpc_code_stats_t stats;
  Texts texts;
};

compiled compile(fec::CodeSpec const& plain, bool quiet = false, unsigned min_slots = 1) {
  ldpc::ldpc_code_spec_t spec;
  static_cast<fec::CodeSpec&>(spec) = plain;
  compiled result;
  ldpc::gen_ldpc_code_config(spec, result.config, result.stats, collect, &result.texts, min_slots, quiet);
  return result;
}

fec::CodeSpec code(unsigned n, unsigned k, unsigned p, std::vector<std::vector<unsigned>> const& rows) {
  fec::CodeSpec spec;
  spec.n = n;
  spec.k = k;
  spec.p = p;
  for (unsigned r = 0; r < rows.size(); ++r)
    for (unsigned c : rows[r]) spec.sm_array.push_back({r, c, {0}, 0});
  return spec;
}

template <class Variant>
class Compiler : public testing::Test {};
using Cores = testing::Types<sd_fec::Variant, ldpc::Variant>;
TYPED_TEST_SUITE(Compiler, Cores);

TYPED_TEST(Compiler, EqualsThePlainCompiler) {
  unsigned decoders = 0, encoders = 0, rewritten = 0;
  std::set<std::string> kinds_of_reports;  // the texts in front of their numbers
  for (unsigned seed = 1; seed <= 12000; ++seed) {
    test_support::Random random(seed);
    fec::ldpc_code_spec_t<TypeParam> spec;
    static_cast<fec::CodeSpec&>(spec) =
        random.one_in(4) ? test_support::random_spec(random) : test_support::random_odd_spec(random);
    const bool quiet = random.one_in(8);
    const plain::compiled expected = plain::compile(spec, plain::core_of<TypeParam>(), quiet);
    fec::ldpc_code_config_t<TypeParam> config;
    fec::ldpc_code_stats_t<TypeParam> stats;
    Texts texts;
    fec::gen_ldpc_code_config(spec, config, stats, collect, &texts, TypeParam::kMinSlots, quiet);
    ASSERT_EQ(texts, expected.messages);
    for (std::string const& text : texts) kinds_of_reports.insert(text.substr(0, text.find_first_of("0123456789", 1)));
    if (!expected.is_whole) continue;
    ASSERT_EQ(plain::difference(config, expected.config), "");
    ASSERT_EQ(plain::difference(stats, expected.stats), "");
    decoders += stats.dec_ok;
    encoders += spec.encode != 0 && stats.enc_ok;
    const auto says_so = [](std::string const& text) { return text.find("applying transform") != std::string::npos; };
    rewritten += stats.enc_ok && std::any_of(texts.begin(), texts.end(), says_so);
  }
  // The comparison is worth something only if all of this happens.
  EXPECT_GT(decoders, 3000U);
  EXPECT_GT(encoders, 1000U);
  EXPECT_GT(rewritten, 100U);
  EXPECT_GE(kinds_of_reports.size(), 25U);
}

TEST(CodeConfig, QuietSilencesWarningsButNotErrors) {
  const auto spec = code(1024, 1024, 128, {{0, 1, 2, 3, 4, 5, 6, 7}});
  EXPECT_GT(compile(spec).texts.size(), 1U);
  EXPECT_EQ(compile(spec, true).texts, (Texts{"1ERROR: Unsupported parity length: 2 <= N-K(0) <= 32766"}));
}

TEST(CodeConfig, TheOutputParityCheckWarningGoesOutEvenWhenQuiet) {
  std::vector<unsigned> row;
  for (unsigned c = 0; c < 32; ++c) row.push_back(c);
  const auto texts = compile(code(1024, 256, 32, {33, row}), true).texts;
  ASSERT_EQ(texts.size(), 1U);
  EXPECT_EQ(texts[0].substr(0, 15), "0WARNING: NMQC ");
}

TEST(CodeConfig, WorksWithoutACallback) {
  ldpc::ldpc_code_spec_t spec;
  static_cast<fec::CodeSpec&>(spec) = code(1024, 1024, 128, {{0, 1}});
  ldpc::ldpc_code_config_t config;
  ldpc::ldpc_code_stats_t stats;
  ldpc::gen_ldpc_code_config(spec, config, stats, nullptr, nullptr, 1, false);
  EXPECT_FALSE(stats.enc_ok);
  EXPECT_FALSE(stats.dec_ok);
}

TEST(CodeConfig, ForgetsWhatTheRecordsHeldBefore) {
  compiled result = compile(test_support::nr_code(2, 16));
  ldpc::ldpc_code_spec_t spec;
  static_cast<fec::CodeSpec&>(spec) = code(1024, 512, 128, {{0, 1, 2, 3, 4, 5, 6, 7}});
  ldpc::gen_ldpc_code_config(spec, result.config, result.stats, nullptr, nullptr, 1, false);
  EXPECT_EQ(result.config.nlayers, 1U);
  EXPECT_EQ(result.config.qc.size(), 8U);
  EXPECT_EQ(result.stats.nqc_raw, 8U);
}

TEST(CodeConfig, CountsDegreesOperationsAndStalls) {
  const auto result = compile(code(1024, 512, 128, {{0, 1, 2, 3, 4}, {0, 5, 6, 7}}));
  EXPECT_EQ(result.stats.nlayers, 2U);
  EXPECT_EQ(result.stats.nqc_raw, 9U);
  EXPECT_EQ(result.stats.nqc, 9U);
  EXPECT_EQ(result.stats.dc_min, 4U);
  EXPECT_EQ(result.stats.dc_max, 5U);
  EXPECT_DOUBLE_EQ(result.stats.dc_avg, 4.5);
  EXPECT_EQ(result.stats.dv_min, 1U);
  EXPECT_EQ(result.stats.dv_max, 2U);
  EXPECT_DOUBLE_EQ(result.stats.dv_avg, 9.0 / 8);
  EXPECT_DOUBLE_EQ(result.stats.wgt, 1.0);
  EXPECT_DOUBLE_EQ(result.stats.packing_efficiency, 1.0);
  EXPECT_DOUBLE_EQ(result.stats.p_use, 1.0);
  // Column 0 is free 16 cycles after the last read of its layer and is read first by both.
  EXPECT_EQ(result.config.stall, (std::vector<std::uint32_t>{15, 15}));
  EXPECT_EQ(result.stats.stall_min, 15U);
  EXPECT_EQ(result.stats.stall_max, 15U);
  EXPECT_EQ(result.stats.stall_ratio_max, 5U);  // ceil(15 / 4) + 1
  EXPECT_EQ(result.stats.stall_ratio_avg, 5U);  // ceil(15 / 4.5) + 1
}

TEST(CodeConfig, LeavesStatisticsOfNothingAtTheirStart) {
  const auto result = compile(code(256, 128, 128, {}));
  EXPECT_EQ(result.stats.dc_min, fec::CodeStats::kNone);
  EXPECT_EQ(result.stats.stall_min, fec::CodeStats::kNone);
  EXPECT_EQ(result.stats.stall_ratio_max, 0U);
  EXPECT_EQ(result.stats.stall_ratio_avg, 0U);
  EXPECT_EQ(result.stats.wgt, 0.0);
}

TEST(CodeConfig, TakesAnAbsentColumnAsDegreeZeroWithoutLayingColumnsOut) {
  const auto result = compile(code(4294967295, 0, 1, {{0, 1, 2, 4294967294}}));
  EXPECT_EQ(result.stats.dv_min, 0U);
  EXPECT_NE(std::find(result.texts.begin(), result.texts.end(),
                      "1ERROR: Column 3: DV == 0, variable node degree must be >= 1."),
            result.texts.end());
}

TEST(CodeConfig, RefusesTooManyRowsBeforeLayingThemOut) {
  const auto result = compile(code(1024, 512, 256, {}));
  fec::CodeSpec spec = code(1024, 512, 256, {});
  spec.sm_array.push_back({65536, 0, {0}, 0});
  EXPECT_EQ(compile(spec).texts, (Texts{"1ERROR: Number of layers * MV (cycles per QC operation) value, 131074, "
                                        "exceeds supported limit, 256."}));
}

TEST(CodeConfig, ACodeThatSharesNoColumnBetweenConsecutiveLayersInFlightDoesNotStall) {
  // Eight layers of eight columns each: a column comes back after 64 cycles.
  std::vector<std::vector<unsigned>> rows(8);
  for (unsigned r = 0; r < 8; ++r)
    for (unsigned c = 0; c < 8; ++c) rows[r].push_back(8 * r + c);
  const auto result = compile(code(64 * 128, 32 * 128, 128, rows));
  EXPECT_EQ(result.config.stall, std::vector<std::uint32_t>(8, 0));
}

TEST(CodeConfig, EveryLayerThatReadsTheColumnOfTheOneBeforeWaits) {
  const auto result = compile(code(5 * 128, 2 * 128, 128, {{0, 1, 2}, {0, 3}, {0, 4}}));
  for (std::size_t layer = 1; layer < 3; ++layer) EXPECT_GT(result.config.stall[layer], 0U);
}

TEST(CodeConfig, AStallThatOutgrowsItsFieldIsAnError) {
  // 120 columns at MV 4: the second layer reads the first layer's last column first.
  std::vector<unsigned> wide, back;
  for (unsigned c = 0; c < 64; ++c) wide.push_back(c);
  fec::CodeSpec spec = code(64 * 512, 32 * 512, 512, {wide});
  spec.sm_array.push_back({1, 63, {0}, 0});
  const auto result = compile(spec);
  ASSERT_FALSE(result.texts.empty());
  EXPECT_EQ(result.texts.back(), "1ERROR: Layer 1: Required stall value, 270, exceeds supported limit, 255.");
  EXPECT_FALSE(result.stats.dec_ok);
}

TEST(Names, AreReachableInBothNamespaces) {
  EXPECT_EQ(sd_fec::num_parallel_P(32), 4U);
  EXPECT_EQ(ldpc::num_parallel_P(33), 2U);
  EXPECT_EQ(ldpc::num_parallel_P(64), 2U);
  EXPECT_EQ(sd_fec::num_parallel_P(65), 1U);
  EXPECT_EQ(sd_fec::int_to_32hex(0xBEEF), "0000BEEF");
  EXPECT_EQ(ldpc::int_to_32hex(0xFFFFFFFF), "FFFFFFFF");
  EXPECT_EQ(sd_fec::BG1_REORDERED[45][3], 67U);
  EXPECT_EQ(ldpc::BG2KB10P128[41][3], 51U);
  static_assert(!std::is_same_v<sd_fec::ldpc_code_config_t, ldpc::ldpc_code_config_t>);
  static_assert(!std::is_same_v<sd_fec::phy_trans_t, ldpc::phy_trans_t>);
}

TEST(Names, ModelsOfBothCoresRunACode) {
  const auto finish = [](auto& model, fec::CodeConfig const& config) {
    fec::perf_analyser::code_t one;
    one.iterations = 4;
    one.config = config;
    model.add(one);
    while (model.finished().empty()) model.step();
    return model.finished().front().config.stall;
  };
  fec::CodeConfig config = compile(test_support::nr_code(2, 128)).config;
  fec::XLogger logger(nullptr, nullptr);
  sd_fec::perf_analyser::ldpc<0> wide(logger);
  ldpc::perf_analyser::ldpc<0, 15, false> decoder(logger);
  ldpc::perf_analyser::ldpc<0, 7, true> encoder(logger);
  EXPECT_EQ(finish(decoder, config), config.stall);
  const auto sum = [](auto const& stalls) { return std::accumulate(stalls.begin(), stalls.end(), 0U); };
  EXPECT_LT(sum(finish(wide, config)), sum(config.stall));
  EXPECT_LT(sum(finish(encoder, config)), sum(finish(wide, config)));
}

}  // namespace
