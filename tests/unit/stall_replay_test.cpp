// The stall counts are right: an open-loop replay of the finished code reads no column before it has been written back,
// and fails as soon as any count is lowered.
#include <gtest/gtest.h>

#include <cstdio>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/nr_code.h"
#include "tests/support/random_code.h"
#include "tests/support/replay.h"
#include "tests/support/sanitized.h"

namespace {

constexpr unsigned kIterations = 10;
constexpr unsigned kEvery = test_support::kSanitized ? 7 : 1;  // of the 51 lifting sizes

struct Tally {
  unsigned proven = 0;
  unsigned reported = 0;  // the analyser itself says that its count may be wrong; nothing is claimed then
  unsigned refused = 0;   // did not compile
};

// Proves one code, on the finished code and, where the three-cycle rule has raised the first stall, on the analyser's.
template <class Variant>
void expect_proven(fec::CodeSpec const& plain, Tally& count) {
  fec::ldpc_code_spec_t<Variant> spec;
  static_cast<fec::CodeSpec&>(spec) = plain;
  fec::ldpc_code_config_t<Variant> config;
  fec::ldpc_code_stats_t<Variant> stats;
  std::string reports;
  const auto keep_doubts = [](void* all, int, char const* text) {
    const std::string report = text;
    if (report.find("Stall change") != std::string::npos || report.find("Out of range") != std::string::npos)
      *static_cast<std::string*>(all) += report;
  };
  fec::gen_ldpc_code_config(spec, config, stats, keep_doubts, &reports, Variant::kMinSlots, false);
  if (!stats.enc_ok && !stats.dec_ok) {
    ++count.refused;
    return;
  }
  if (!reports.empty()) {
    ++count.reported;
    return;
  }
  ++count.proven;
  const unsigned delay = plain.encode != 0 ? Variant::kEncoderDelay : Variant::kDecoderDelay;
  const unsigned iterations = plain.encode != 0 ? 1 : kIterations;
  EXPECT_FALSE(test_support::replay(config, config.stall, delay, iterations));
  auto analysed = config;
  fec::perf_analyser::calc_ldpc_stall(analysed, nullptr, nullptr);
  EXPECT_EQ(test_support::fault_of(analysed, analysed.stall, delay, iterations), "");
}

template <class Variant>
void expect_all_standard_codes_proven(void (*change)(fec::CodeSpec&, int graph)) {
  Tally count;
  unsigned taken = 0;
  unsigned seen = 0;
  for (int graph : {1, 2})
    for (unsigned z : test_support::lifting_sizes()) {
      if (seen++ % kEvery != 0) continue;
      ++taken;
      fec::CodeSpec spec = test_support::nr_code(graph, z);
      change(spec, graph);
      SCOPED_TRACE(testing::Message() << Variant::kName << " base graph " << graph << " lifting size " << z);
      expect_proven<Variant>(spec, count);
    }
  EXPECT_EQ(seen, 102U);
  EXPECT_EQ(count.proven, taken);
}

template <class Variant>
class StandardCodes : public testing::Test {};
using Cores = testing::Types<sd_fec::Variant, ldpc::Variant>;
TYPED_TEST_SUITE(StandardCodes, Cores);

TYPED_TEST(StandardCodes, PackedForTheDecoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec&, int) {});
}

TYPED_TEST(StandardCodes, UnpackedForTheDecoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int) { spec.no_packing = 1; });
}

TYPED_TEST(StandardCodes, CompressedInBanksForTheDecoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int) { spec.compress_packing = 1; });
}

TYPED_TEST(StandardCodes, InTheOrderOfTheBaseGraphForTheDecoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int graph) {
    spec.compress_packing = 1;
    spec.reorder_type = graph == 1 ? 2 : 3;
  });
}

TYPED_TEST(StandardCodes, PackedForTheEncoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int) { spec.encode = 1; });
}

TYPED_TEST(StandardCodes, UnpackedForTheEncoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int) {
    spec.encode = 1;
    spec.no_packing = 1;
  });
}

TYPED_TEST(StandardCodes, InTheOrderOfTheBaseGraphForTheEncoder) {
  expect_all_standard_codes_proven<TypeParam>([](fec::CodeSpec& spec, int graph) {
    spec.encode = 1;
    spec.compress_packing = 1;
    spec.reorder_type = graph == 1 ? 2 : 3;
  });
}

TYPED_TEST(StandardCodes, OfFewerInformationColumns) {
  Tally count;
  for (unsigned kb : {9U, 8U, 6U})
    for (unsigned z : {5U, 32U, 64U, 72U})
      for (unsigned encode : {0U, 1U}) {
        SCOPED_TRACE(testing::Message() << TypeParam::kName << " Kb " << kb << " lifting size " << z);
        fec::CodeSpec spec = test_support::nr_code(2, z, kb);
        spec.encode = encode;
        spec.compress_packing = 1;
        spec.reorder_type = kb == 9 ? 4 : kb == 8 ? 5 : 6;
        expect_proven<TypeParam>(spec, count);
      }
  EXPECT_EQ(count.proven, 24U);
}

TYPED_TEST(StandardCodes, AndRandomOnes) {
  Tally count;
  for (unsigned seed = 1; seed <= 1000; ++seed) {
    SCOPED_TRACE(TypeParam::kName);
    test_support::Random random(seed);
    expect_proven<TypeParam>(test_support::random_spec(random), count);
  }
  std::printf("%s: %u proven, %u reported by the analyser, %u refused\n", TypeParam::kName, count.proven,
              count.reported, count.refused);
  EXPECT_GT(count.proven, 700U);
}

TEST(WeightedCodes, AreProvenToo) {
  Tally count;
  for (unsigned seed = 1; seed <= 400; ++seed) {
    test_support::Random random(seed);
    fec::CodeSpec spec = test_support::random_spec(random);
    spec.enable_wgt1 = 1;
    spec.encode = 0;
    for (auto& element : spec.sm_array)
      while (random.one_in(6)) element.shift.push_back(random.below(spec.p));
    expect_proven<sd_fec::Variant>(spec, count);
  }
  std::printf("weights above 1: %u proven, %u reported by the analyser, %u refused\n", count.proven, count.reported,
              count.refused);
  EXPECT_GT(count.proven, 100U);
}

}  // namespace
