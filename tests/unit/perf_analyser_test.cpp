// The event form of the performance analyser against the cycle-by-cycle model, and its reports.
#include "tcltasks/fec/perf_analyser.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/cycle_model.h"
#include "tests/support/random_code.h"

namespace {

using fec::CodeConfig;
using fec::perf_analyser::code_t;
using fec::perf_analyser::Pipeline;
using fec::perf_analyser::StreamRates;
using test_support::CycleModel;
using test_support::Random;

using Texts = std::vector<std::string>;

void collect(void* list, int severity, char const* text) {
  static_cast<Texts*>(list)->push_back(std::to_string(severity) + text);
}

struct RunResult {
  std::vector<std::vector<std::uint32_t>> stalls;
  std::vector<unsigned long long> finished;
  std::vector<unsigned> ids;
  Texts reports;

  bool operator==(RunResult const&) const = default;
};

struct Queued {
  unsigned id;
  unsigned iterations;
  CodeConfig config;
};

RunResult run_events(std::vector<Queued> const& codes, unsigned delay, fec::CapacityRow const& capacities,
                     StreamRates rates = {}) {
  RunResult result;
  fec::XLogger logger(collect, &result.reports);
  Pipeline model({delay, capacities}, logger, rates);
  for (Queued const& one : codes) {
    code_t code;
    code.id = one.id;
    code.iterations = one.iterations;
    code.config = one.config;
    model.add(std::move(code));
  }
  while (model.finished().size() < codes.size()) model.step();
  for (code_t const& code : model.finished()) {
    result.stalls.push_back(code.config.stall);
    result.finished.push_back(code.finished_at);
    result.ids.push_back(code.id);
  }
  return result;
}

RunResult run_cycles(std::vector<Queued> const& codes, unsigned delay, fec::CapacityRow const& capacities,
                     StreamRates rates = {}) {
  RunResult result;
  fec::XLogger logger(collect, &result.reports);
  CycleModel model(delay, capacities, logger, rates);
  for (Queued const& one : codes) {
    CycleModel::Code code;
    code.id = one.id;
    code.iterations = one.iterations;
    code.config = one.config;
    model.add(std::move(code));
  }
  while (model.finished().size() < codes.size()) model.step();
  for (CycleModel::Code const* code : model.finished()) {
    result.stalls.push_back(code->config.stall);
    result.finished.push_back(code->finished_at);
    result.ids.push_back(code->id);
  }
  return result;
}

constexpr unsigned kDelays[] = {7, 11, 15};

TEST(PerfAnalyser, EqualsTheCycleModelOnRandomCodes) {
  unsigned reported = 0, changed = 0, stalled = 0;
  for (unsigned seed = 1; seed <= 12000; ++seed) {
    Random random(seed);
    const CodeConfig config = test_support::random_compiled_code(random);
    const std::vector<Queued> codes = {{0, config.encode != 0 ? 1U : 4U, config}};
    const unsigned delay = kDelays[random.below(3)];
    const RunResult expected = run_cycles(codes, delay, sd_fec::Variant::kCapacities);
    ASSERT_EQ(run_events(codes, delay, sd_fec::Variant::kCapacities), expected);
    reported += !expected.reports.empty();
    for (auto const& text : expected.reports) changed += text.find("Stall change") != std::string::npos;
    for (std::uint32_t stall : expected.stalls[0]) stalled += stall > 0;
  }
  // The comparison is worth something only if all of this happens.
  EXPECT_GT(reported, 500U);
  EXPECT_GT(changed, 10U);
  EXPECT_GT(stalled, 10000U);
}

TEST(PerfAnalyser, EqualsTheCycleModelOnSeveralCodesInTightMemories) {
  for (unsigned seed = 1; seed <= 1500; ++seed) {
    Random random(seed);
    std::vector<Queued> codes;
    const unsigned count = 2 + random.below(3);
    for (unsigned i = 0; i < count; ++i)
      codes.push_back({random.below(6), 1 + random.below(4), test_support::random_compiled_code(random)});
    fec::CapacityRow capacities = sd_fec::Variant::kCapacities;
    if (random.one_in(2)) capacities[random.below(8)] = random.below(12);
    const StreamRates rates{random.one_in(9) ? 0.0 : 1.0, random.one_in(9) ? 4.5 : 4.0};
    ASSERT_EQ(run_events(codes, 11, capacities, rates), run_cycles(codes, 11, capacities, rates));
  }
}

// ------------------------------------------------------------------------------------------------------ rules

CodeConfig layers_of(std::vector<std::vector<unsigned>> const& layers, unsigned p = 128) {
  CodeConfig config;
  config.p = p;
  config.mv = (p + 127) / 128;
  config.n = 16 * p;
  config.parity_len = 8 * p;
  config.nlayers = static_cast<std::uint32_t>(layers.size());
  for (auto const& layer : layers) {
    for (unsigned col : layer) config.qc.emplace_back().col = col;
    config.dc.push_back(static_cast<std::uint32_t>(layer.size()));
  }
  config.stall.assign(layers.size(), 0);
  config.extra_layer.assign(layers.size(), 0);
  return config;
}

RunResult run(CodeConfig const& config, unsigned delay = 11) {
  return run_events({{0, config.encode != 0 ? 1U : 4U, config}}, delay, sd_fec::Variant::kCapacities);
}

TEST(PerfAnalyser, LayersThatShareNothingInFlightDoNotWait) {
  std::vector<std::vector<unsigned>> layers;
  for (unsigned layer = 0; layer < 8; ++layer) {
    layers.emplace_back();
    for (unsigned i = 0; i < 8; ++i) layers.back().push_back(8 * layer + i);
  }
  EXPECT_EQ(run(layers_of(layers)).stalls[0], std::vector<std::uint32_t>(8, 0));
}

TEST(PerfAnalyser, ALayerThatReadsWhatIsInFlightWaitsUntilItIsWritten) {
  // Three operations end in cycle 2; the update starts D cycles later and writes column 0 in its first cycle.
  const auto config = layers_of({{0, 1, 2}, {0, 3, 4}});
  for (unsigned delay : kDelays) EXPECT_EQ(run(config, delay).stalls[0], (std::vector<std::uint32_t>{delay, delay}));
}

TEST(PerfAnalyser, EveryLayerAfterTheFirstWaitsForAColumnThatAllRead) {
  const auto stalls = run(layers_of({{5}, {5, 1}, {2, 5}, {5}})).stalls[0];
  for (std::size_t layer = 1; layer < stalls.size(); ++layer) EXPECT_GT(stalls[layer], 0U);
}

TEST(PerfAnalyser, AnEncoderCodeRunsOnceAndItsWrapDoesNotCount) {
  auto config = layers_of({{0, 5}, {1, 6}, {5, 7}});
  config.encode = 1;
  const auto result = run(config);
  EXPECT_EQ(result.stalls[0][0], 0U);
  EXPECT_EQ(result.stalls[0][1], 0U);
  EXPECT_GT(result.stalls[0][2], 0U);  // reads the parity of the first layer
}

TEST(PerfAnalyser, AnEncoderLayerWritesItsParityColumnAlone) {
  auto config = layers_of({{0, 1, 2, 8}, {0, 1, 2, 9}, {0, 1, 2, 10}});
  config.encode = 1;
  EXPECT_EQ(run(config).stalls[0], std::vector<std::uint32_t>(3, 0));
}

TEST(PerfAnalyser, AColumnReadTwiceInALayerDoesNotHoldTheLayerUp) {
  const auto result = run(layers_of({{0, 1, 0}, {2, 3, 4}, {5, 6, 7}}));
  EXPECT_EQ(result.stalls[0][1], 0U);
  ASSERT_FALSE(result.reports.empty());
  EXPECT_EQ(result.reports[0], "0 WARNING: 15: Index 0 already free! cw id: 0");
}

TEST(PerfAnalyser, ColumnsThatDoNotExistAreReported) {
  auto config = layers_of({{0, 1, 300}});
  config.encode = 1;
  EXPECT_EQ(run(config).reports, (Texts{"0 WARNING: 2 : Out of range CW index: 300"}));
}

TEST(PerfAnalyser, AStallThatStillChangesInTheLastIterationIsReportedAndStands) {
  unsigned seen = 0;
  for (unsigned seed = 1; seed <= 3000 && seen < 3; ++seed) {
    Random random(seed);
    const auto config = test_support::random_compiled_code(random);
    const auto result = run(config);
    for (auto const& text : result.reports) {
      if (text.find("Stall change") == std::string::npos) continue;
      ++seen;
      EXPECT_NE(text.find(" : Stall change on  final iteration 4, stall calculation maybe incorrect."),
                std::string::npos);
      EXPECT_EQ(text.substr(0, 11), "0 WARNING: ");
    }
  }
  EXPECT_GE(seen, 3U);
}

TEST(PerfAnalyser, ACodeTooLargeForTheMemoriesGoesInByItself) {
  auto config = layers_of({{0, 1}});
  config.n = 4 * 8192 + 1;
  const auto result = run(config);
  ASSERT_GE(result.reports.size(), 2U);
  EXPECT_EQ(result.reports[0], "0 WARNING: mem_cnt_c memory increment failed");
  EXPECT_EQ(result.reports[1],
            "0 WARNING: 0CRITICAL: : Memory increment constraint failed but no active codes. max_code constraint of 1 "
            "will be used with v_and_mins");
}

TEST(PerfAnalyser, ChecksItsRatesWhenACodeEnters) {
  const std::vector<Queued> codes = {{0, 1, layers_of({{0, 1}})}};
  EXPECT_EQ(
      run_events(codes, 11, sd_fec::Variant::kCapacities, {0, 4.5}).reports,
      (Texts{"0 WARNING: Invalid input rate specified: 0 : 4", "0 WARNING: Invalid output rate specified: 4.5 : 4"}));
  EXPECT_TRUE(run_events(codes, 11, sd_fec::Variant::kCapacities, {0.25, 4}).reports.empty());
}

TEST(PerfAnalyser, RunsCodesInTheOrderOfTheirIdentifiersAndReportsEqualOnes) {
  const auto config = layers_of({{0, 1}});
  const auto result = run_events({{7, 1, config}, {3, 1, config}, {3, 1, config}}, 11, sd_fec::Variant::kCapacities);
  EXPECT_EQ(result.ids, (std::vector<unsigned>{3, 7, 3}));
  EXPECT_EQ(result.reports, (Texts{"0 WARNING: Code neither greater than or less than any current codes!!"}));
}

TEST(PerfAnalyser, ReplacesNothingButTheStalls) {
  sd_fec::ldpc_code_config_t config;
  static_cast<CodeConfig&>(config) = layers_of({{0, 1, 2}, {0, 3}});
  CodeConfig expected = config;
  sd_fec::perf_analyser::calc_ldpc_stall(config, nullptr, nullptr);
  expected.stall = config.stall;
  EXPECT_EQ(static_cast<CodeConfig&>(config), expected);
  EXPECT_EQ(config.stall, (std::vector<std::uint32_t>{11, 11}));
}

TEST(PerfAnalyser, MakesRoomForAStallOfEachLayer) {
  CodeConfig config = layers_of({{0, 1, 2}, {0, 3}});
  config.stall.clear();
  EXPECT_EQ(run(config).stalls[0], (std::vector<std::uint32_t>{11, 11}));
}

TEST(PerfAnalyser, AveragesTheCyclesOfItsIterations) {
  fec::XLogger logger(nullptr, nullptr);
  sd_fec::perf_analyser::ldpc<0> model(logger);
  EXPECT_EQ(model.average_iteration_cycles(), 0);
  code_t code;
  code.iterations = 2;
  code.config = layers_of({{0, 1, 2}});
  model.add(std::move(code));
  model.step();
  EXPECT_EQ(model.average_iteration_cycles(), 3);  // nothing to wait for yet
  model.step();
  EXPECT_EQ(model.average_iteration_cycles(), 3 + 0.5 * (14 - 3));
  EXPECT_EQ(model.master_count(), 17U);
  model.step();  // nothing is left to run
  EXPECT_EQ(model.master_count(), 17U);
}

// A logger that keeps its signals.
class Trace : public fec::XLogger {
 public:
  Trace() : XLogger(nullptr, nullptr) {}
  bool traces() const override { return true; }
  void signal(char const* name, unsigned long long cycle, unsigned long long value) override {
    texts.push_back(name + (" " + std::to_string(cycle)) + " " + std::to_string(value));
  }
  Texts texts;
};

TEST(PerfAnalyser, TracesItsStages) {
  Trace trace;
  fec::perf_analyser::stall_counts(
      [] {
        auto config = layers_of({{0, 1, 2}, {2, 3}});
        config.encode = 1;
        return config;
      }(),
      {11, sd_fec::Variant::kCapacities}, trace);
  // The first layer ends in cycle 2, is updated from 13 to 15, and the second reads column 2 in 16.
  EXPECT_EQ(trace.texts,
            (Texts{"minsum_stall 0 0", "minsum_active 0 3", "soupd_active 13 3", "total_stall_cycles 2 0",
                   "minsum_stall 3 13", "minsum_active 16 2", "soupd_active 28 2", "total_stall_cycles 17 13"}));
}

TEST(XLogger, PrefixesItsTexts) {
  Texts texts;
  fec::XLogger logger(collect, &texts, "core");
  logger.error("a");
  logger.warning("b");
  logger.note("c");
  logger.note(12, " : d");
  logger.signal("minsum_active", 1, 1);
  EXPECT_FALSE(logger.traces());
  EXPECT_EQ(texts, (Texts{"1core ERROR: a", "0core WARNING: b", "0core NOTE: c", "0core NOTE: 12 : d"}));
}

TEST(Tick, CountsAndSaysWhenItOverflows) {
  unsigned long long count = 41;
  testing::internal::CaptureStdout();
  ldpc::perf_analyser::tick(count);
  EXPECT_EQ(count, 42U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  count = std::numeric_limits<unsigned long long>::max();
  testing::internal::CaptureStdout();
  sd_fec::perf_analyser::tick(count);
  EXPECT_EQ(count, 0U);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING: master_count tick overflowed\n");
}

}  // namespace
