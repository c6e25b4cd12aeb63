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

struct Compiled {
  ldpc::ldpc_code_config_t config;
  ldpc::ldpc_code_stats_t stats;
  Texts texts;
};

Compiled compile(fec::CodeSpec const& plain, bool quiet = false, unsigned min_slots = 1) {
  ldpc::ldpc_code_spec_t spec;
  static_cast<fec::CodeSpec&>(spec) = plain;
  Compiled result;
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
  for (unsigned seed = 1; seed <= 4000; ++seed) {
    test_support::Random random(seed);
    fec::ldpc_code_spec_t<TypeParam> spec;
    static_cast<fec::CodeSpec&>(spec) =
        random.one_in(4) ? test_support::random_spec(random) : test_support::random_odd_spec(random);
    const bool quiet = random.one_in(8);
    const plain::Compiled expected = plain::compile(spec, plain::core_of<TypeParam>(), quiet);
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
  EXPECT_GT(decoders, 1000U);
  EXPECT_GT(encoders, 300U);
  EXPECT_GT(rewritten, 30U);
  EXPECT_GE(kinds_of_reports.size(), 25U);
}

// ------------------------------------------------------------------------------------------- the edge of each limit

std::vector<unsigned> columns(unsigned count) {
  std::vector<unsigned> all(count);
  std::iota(all.begin(), all.end(), 0U);
  return all;
}

// `layers` rows over all of `width` columns, and one over the first `rest` of them.
fec::CodeSpec full(unsigned p, unsigned layers, unsigned width, unsigned rest = 0) {
  std::vector<std::vector<unsigned>> rows(layers, columns(width));
  if (rest > 0) rows.push_back(columns(rest));
  return code(width * p, width / 2 * p, p, rows);
}

fec::CodeSpec of_size(unsigned n, unsigned k, unsigned p) { return code(n, k, p, {{0}}); }

fec::CodeSpec with(fec::CodeSpec spec, std::uint32_t fec::CodeSpec::*option) {
  spec.*option = 1;
  return spec;
}

// A column of `weight` circulants among 250.
fec::CodeSpec heavy(unsigned weight) {
  std::vector<std::vector<unsigned>> rows(25);
  for (unsigned col = 0; col < 250; ++col) rows[col / 10].push_back(col);
  fec::CodeSpec spec = code(250 * 128, 125 * 128, 128, rows);
  spec.sm_array[0].shift.assign(weight, 5);
  return with(spec, &fec::CodeSpec::enable_wgt1);
}

// An encoder code whose second row reads the parity of the first, of `width` blocks, at once.
fec::CodeSpec back_to_back(unsigned p, unsigned width) {
  fec::CodeSpec spec = code((width + 1) * p, (width - 1) * p, p, {columns(width), {width - 1, width}});
  return with(spec, &fec::CodeSpec::encode);
}

TEST(CodeConfig, EachLimitLetsItsLastValueThroughAndNoOther) {
  const std::string nmqc = "NMQC (number of packed QC operations)", mv = " * MV (cycles per QC operation) value, ";
  const auto disabled = [&](unsigned q, unsigned limit) {
    return "0WARNING: " + nmqc + mv + std::to_string(q) + ", exceeds limit, " + std::to_string(limit) +
           ", supported by the output parity check and will be disabled.";
  };
  const auto cpld = [](unsigned length) {
    return "1ERROR: Layer 0: CPLD (cycles per layer) * PF (Packing Factor) value, " + std::to_string(length) +
           ", exceeds supported limit, 127. Set \"no_packing: true\" in the code definition to work around this error "
           "if DC (check node degree) <= 128.";
  };
  const auto length_of = [](unsigned n, unsigned longest, unsigned k) {
    return "1ERROR: Unsupported codeword length: 4 <= N(" + std::to_string(n) + ") <= 32768 and N(" +
           std::to_string(n) + ") <= 256*P(" + std::to_string(longest) + ") and N(" + std::to_string(n) + ") > K(" +
           std::to_string(k) + ")";
  };
  const auto wgt1 = &fec::CodeSpec::enable_wgt1, encode = &fec::CodeSpec::encode;
  const auto many_layers = [](unsigned layers) {
    return code(3 * 128, 128, 128, std::vector<std::vector<unsigned>>(layers, {0, 1, 2}));
  };
  struct Limit {
    fec::CodeSpec fits, exceeds;
    std::string text;
  };
  const Limit kLimits[] = {
      {of_size(128, 64, 128), of_size(127, 64, 128),
       "1ERROR: Maximum sub-matrix column index, 0, defines a LDPC parity check matrix width, 128, which exceeds the "
       "specified N, 127"},
      {full(128, 32, 32), full(128, 32, 32, 4), "1ERROR: " + nmqc + mv + "1028, exceeds supported limit, 1024."},
      {full(256, 16, 32), full(256, 16, 32, 4), "1ERROR: " + nmqc + mv + "1032, exceeds supported limit, 1024."},
      {full(64, 32, 32), full(64, 32, 32, 8), disabled(516, 512)},
      {full(32, 32, 32), full(32, 32, 32, 16), disabled(260, 256)},
      {with(full(128, 28, 73), encode), with(full(128, 28, 73, 4), encode),
       "1ERROR: NMQC (number of packed QC operations) value, 2048, exceeds supported limit, 2044."},
      {full(129, 1, 128), full(129, 1, 129),
       "1ERROR: Layer 0: DC (check node degree)" + mv + "258, exceeds supported limit, 256."},
      {full(128, 1, 128), full(128, 1, 129), cpld(128)},
      {full(64, 1, 128), full(64, 1, 130), cpld(128)},
      {full(32, 1, 128), full(32, 1, 132), cpld(128)},
      {with(full(128, 1, 64), wgt1), with(full(128, 1, 65), wgt1),
       "1ERROR: Maximum \"work per layer\", max(DC)*MV/PF = 65, exceeds supported limit, 64. Note this is a reduced "
       "limit due to the code definition specifying W>1"},
      {with(full(256, 1, 32), wgt1), with(full(256, 1, 33), wgt1),
       "1ERROR: Maximum \"work per layer\", max(DC)*MV/PF = 66, exceeds supported limit, 64. Note this is a reduced "
       "limit due to the code definition specifying W>1"},
      {many_layers(256), many_layers(257),
       "1ERROR: Number of layers * MV (cycles per QC operation) value, 257, exceeds supported limit, 256."},
      {of_size(512, 256, 2), of_size(256, 128, 1), "1ERROR: P size, 1, is out of range: 2 <= P <= 512 "},
      {of_size(1024, 512, 512), of_size(1026, 513, 513), "1ERROR: P size, 513, is out of range: 2 <= P <= 512 "},
      {of_size(4, 2, 2), of_size(3, 1, 3), length_of(3, 768, 1)},
      {of_size(32768, 128, 128), of_size(32769, 128, 129), length_of(32769, 33024, 128)},
      {of_size(1024, 512, 4), of_size(1025, 512, 4), length_of(1025, 1024, 512)},
      {of_size(1024, 1024, 128), of_size(1024, 1025, 128), length_of(1024, 32768, 1025)},
      {of_size(1024, 1022, 128), of_size(1024, 1023, 128), "1ERROR: Unsupported parity length: 2 <= N-K(1) <= 32766"},
      {of_size(32768, 2, 128), of_size(32768, 1, 128), "1ERROR: Unsupported parity length: 2 <= N-K(32767) <= 32766"},
      {heavy(8), heavy(9), "1ERROR: Required columns, 257, exceeds supported limit, 256."},
      {back_to_back(384, 83), back_to_back(256, 125),
       "1ERROR: Layer 1: Required stall value, 256, exceeds supported limit, 255."},
  };
  for (Limit const& limit : kLimits) {
    SCOPED_TRACE(limit.text);
    EXPECT_EQ(compile(limit.fits).texts, plain::compile(limit.fits, plain::core_of<ldpc::Variant>()).messages);
    const std::string kind = limit.text.substr(0, limit.text.find_first_of("0123456789", 1));
    for (std::string const& text : compile(limit.fits).texts) EXPECT_NE(text.substr(0, kind.size()), kind) << text;
    const Texts texts = compile(limit.exceeds).texts;
    EXPECT_EQ(texts, plain::compile(limit.exceeds, plain::core_of<ldpc::Variant>()).messages);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), limit.text), 1);
  }
  EXPECT_EQ(compile(back_to_back(384, 83)).config.stall[1], 255U);
}

TEST(CodeConfig, TheLastVirtualColumnIsOneBehindTheAnalysersLast) {
  const auto result = compile(heavy(8));
  EXPECT_TRUE(result.stats.dec_ok);
  std::uint32_t highest = 0;
  for (auto const& op : result.config.qc) highest = std::max(highest, op.col);
  EXPECT_EQ(highest, 256U);
  EXPECT_NE(result.texts.back().find(" : Out of range CW index: 256"), std::string::npos);
  const auto fits = compile(heavy(7));
  EXPECT_TRUE(fits.stats.dec_ok);
  for (std::string const& text : fits.texts) EXPECT_EQ(text.find("Out of range"), std::string::npos);
}

TEST(CodeConfig, TheFirstLayerTakesThreeCyclesAndNoMoreThanItNeeds) {
  // Layers that share nothing: 24 cycles until a column comes back, whatever the length of a layer.
  for (unsigned length : {1U, 2U, 3U, 4U}) {
    std::vector<std::vector<unsigned>> rows(24 / length);
    for (unsigned col = 0; col < 24; ++col) rows[col / length].push_back(col);
    const auto stall = compile(code(24 * 128, 12 * 128, 128, rows)).config.stall;
    EXPECT_EQ(stall[0], length < 3 ? 3 - length : 0U);
    EXPECT_EQ(std::count(stall.begin() + 1, stall.end(), 0U), static_cast<std::ptrdiff_t>(stall.size() - 1));
  }
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
  Compiled result = compile(test_support::nr_code(2, 16));
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
