// Decoding a register image gives back every field that was compiled: from the writes alone, for plain and compressed
// packing, several codes at once.
#include "fec/image_decode.h"

#include <gtest/gtest.h>

#include "fec/ldpc.h"
#include "fec/sd_fec.h"
#include "nr_code.h"
#include "random_code.h"

namespace {

using fec::value_of;

template <class Variant>
struct compiled {
  fec::ldpc_config_t<Variant> image;
  std::map<unsigned, fec::code_hint> hints;
  fec::decoded_image decoded;
};

template <class Variant>
compiled<Variant> compile(std::vector<fec::code_spec> const& specs) {
  compiled<Variant> result;
  unsigned slot = 0;
  for (fec::code_spec const& plain : specs) {
    fec::ldpc_code_spec_t<Variant> spec;
    static_cast<fec::code_spec&>(spec) = plain;
    fec::ldpc_code_config_t<Variant> config;
    fec::ldpc_code_stats_t<Variant> stats;
    fec::gen_ldpc_code_config(spec, config, stats, nullptr, nullptr, Variant::kMinSlots, true);
    if (!stats.enc_ok && !stats.dec_ok) continue;
    result.image.add(slot, config);
    result.hints[slot++].encode = config.encode != 0;
  }
  result.image.gen_phy_trans(0);
  result.decoded = fec::decode_image(result.image.trans, result.hints);
  return result;
}

template <class Variant>
void expect_code(fec::ldpc_code_config_t<Variant> const& config, fec::decoded_code const& code) {
  const bool compressed = config.compress_packing == 1;
  EXPECT_EQ(code.is_compressed(), compressed);
  if (compressed) {
    EXPECT_EQ(value_of(code.fields, "compressed_nmqc"), config.nmqc);
  } else {
    EXPECT_EQ(value_of(code.fields, "n"), config.n);
    EXPECT_EQ(value_of(code.fields, "k"), config.n - config.parity_len);
  }
  EXPECT_EQ(value_of(code.fields, "p"), config.p);
  EXPECT_EQ(value_of(code.fields, "no_packing"), config.no_packing);
  EXPECT_EQ(value_of(code.fields, "nm"), config.nm);
  EXPECT_EQ(value_of(code.fields, "nlayers"), config.nlayers);
  EXPECT_EQ(value_of(code.fields, "nmqc"), config.nmqc);
  EXPECT_EQ(value_of(code.fields, "norm_type"), config.norm_type);
  EXPECT_EQ(value_of(code.fields, "no_final_parity"), config.no_final_parity);
  EXPECT_EQ(value_of(code.fields, "max_schedule"), config.max_schedule);
  if (Variant::kImageHasSpecialQc) {
    EXPECT_EQ(value_of(code.fields, "special_qc"), config.special_qc);
    EXPECT_EQ(value_of(code.fields, "lat_ctrl"), config.lat_ctrl);
  }
  EXPECT_EQ(code.scale, config.scale);
  const unsigned pf = config.no_packing != 0 ? 1 : fec::num_parallel_P(config.p);
  const bool closes = config.special_qc != 0 && config.encode == 0;
  std::size_t m = 0;
  ASSERT_EQ(code.layers.size(), config.nlayers);
  for (std::size_t layer = 0; layer < config.nlayers; ++layer) {
    fec::decoded_layer const& read = code.layers[layer];
    ASSERT_EQ(value_of(read.fields, "cpld"), config.cpld[layer]);
    ASSERT_EQ(value_of(read.fields, "stall"), config.stall[layer]);
    if (Variant::kImageHasSpecialQc) {
      ASSERT_EQ(value_of(read.fields, "extra_layer"), config.extra_layer[layer]);
    }
    if (compressed) {
      ASSERT_EQ(value_of(read.fields, "qc_count"), config.qc_count[layer]);
    }
    ASSERT_EQ(read.operations.size(), config.dc[layer]);
    for (fec::named_values const& operation : read.operations) {
      auto const& op = config.qc[m++];
      const bool pad = pf > 1 && op.nop != 0;
      ASSERT_EQ(value_of(operation, "col"), op.col);
      ASSERT_EQ(value_of(operation, "nop"), pad);
      if (!pad) {
        ASSERT_EQ(value_of(operation, "shift"), op.shift);
      }
      if (compressed || !closes) {
        ASSERT_EQ(value_of(operation, "layer_end"), op.layer_end);
      }
      if (!compressed && closes) {
        ASSERT_EQ(value_of(operation, "last"), op.last);
      }
      if (compressed) {
        ASSERT_EQ(value_of(operation, "pack2"), op.pack2);
        ASSERT_EQ(value_of(operation, "pack4"), op.pack4);
      }
      if (compressed && config.encode != 0) {
        ASSERT_EQ(value_of(operation, "information"), op.parity == 0);
      } else {
        ASSERT_EQ(value_of(operation, "first"), op.first);
      }
      if (!compressed) {
        ASSERT_EQ(value_of(operation, "parity"), op.parity);
      }
    }
  }
  EXPECT_EQ(m, config.qc.size());
}

template <class Variant>
void expect_round_trip(std::vector<fec::code_spec> const& specs) {
  const auto result = compile<Variant>(specs);
  EXPECT_TRUE(result.decoded.faults.empty()) << result.decoded.faults.at(0);
  ASSERT_EQ(result.decoded.codes.size(), result.image.configs.size());
  for (std::size_t i = 0; i < result.image.configs.size(); ++i) {
    SCOPED_TRACE(testing::Message() << "code " << i);
    expect_code<Variant>(result.image.configs[i], result.decoded.codes.at(static_cast<unsigned>(i)));
  }
}

template <class Variant>
class ImageDecode : public testing::Test {};
using Cores = testing::Types<sd_fec::variant, ldpc::variant>;
TYPED_TEST_SUITE(ImageDecode, Cores);

TYPED_TEST(ImageDecode, GivesBackEvery5gNrCode) {
  for (int graph : {1, 2})
    for (unsigned z : test_support::lifting_sizes())
      for (unsigned variation = 0; variation < 6; ++variation) {
        SCOPED_TRACE(testing::Message() << "base graph " << graph << " lifting size " << z << " variation "
                                        << variation);
        fec::code_spec spec = test_support::nr_code(graph, z);
        spec.encode = variation & 1;
        spec.compress_packing = variation >= 2;
        spec.reorder_type = variation >= 4 ? (graph == 1 ? 2 : 3) : 0;
        spec.max_schedule = 3;
        spec.no_final_parity = 1;
        spec.lat_ctrl = 1;
        expect_round_trip<TypeParam>({spec});
      }
}

TYPED_TEST(ImageDecode, GivesBackSeveralRandomCodesAtOnce) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    test_support::Random random(seed);
    std::vector<fec::code_spec> specs;
    for (unsigned count = 1 + random.below(5); count > 0; --count) {
      fec::code_spec& spec = specs.emplace_back(test_support::random_spec(random));
      spec.normalization = random.below(2);
      spec.scale = {random.below(16), random.below(16)};
      spec.enable_wgt1 = TypeParam::kReadsEnableWgt1 && random.one_in(4);
      if (spec.enable_wgt1 == 0 || spec.encode != 0) continue;
      for (auto& element : spec.sm_array)
        while (random.one_in(8)) element.shift.push_back(random.below(spec.p));
    }
    expect_round_trip<TypeParam>(specs);
  }
}

TEST(ImageDecode, ReadsTheRegistersOfTheCore) {
  std::vector<sd_fec::phy_trans_t> writes;
  sd_fec::core_config_t config;
  config.axis_enable = config.bypass = 1;
  sd_fec::gen_core_config(config, writes);
  sd_fec::turbo_config_t turbo;
  sd_fec::gen_turbo_config(turbo, writes);
  const auto image = fec::decode_image(writes);
  EXPECT_TRUE(image.faults.empty());
  EXPECT_EQ(value_of(image.core, "AXIS_ENABLE"), 0x3FU);
  EXPECT_EQ(value_of(image.core, "BYPASS"), 1U);
  EXPECT_EQ(value_of(image.core, "TURBO"), 12U << 8);
  EXPECT_EQ(fec::list_image(image), "core: AXIS_WIDTH 0 AXIS_ENABLE 63 FEC_CODE 0 BYPASS 1 TURBO 3072\n");
}

TEST(ImageDecode, NamesWhatDoesNotFit) {
  auto result = compile<ldpc::variant>({test_support::nr_code(2, 128)});
  auto writes = result.image.trans;
  writes.push_back({0x30, 7, ""});
  writes.push_back({0x30, 8, ""});
  writes.push_back({0x9999, 0, ""});
  std::erase_if(writes, [](auto const& write) { return write.addr == 0x18004; });
  const auto image = fec::decode_image(writes);
  // Without its second layer word, the operations behind no longer belong to a layer.
  EXPECT_GT(image.faults.size(), 3U);
  EXPECT_EQ(image.faults.front(), "conflicting writes at 0x00000030");
  EXPECT_NE(std::find(image.faults.begin(), image.faults.end(), "missing word at 0x00018004"), image.faults.end());
  EXPECT_EQ(image.faults.back(), "unknown address 0x00009999");
}

TEST(ImageDecode, SurvivesRandomWrites) {
  for (unsigned seed = 1; seed <= 150; ++seed) {
    test_support::Random random(seed);
    std::vector<sd_fec::phy_trans_t> writes;
    for (unsigned i = random.below(12); i > 0; --i)
      writes.push_back({random.one_in(2) ? 0x2000 + 4 * random.below(16) : random.below(0x40000),
                        (std::uint64_t{random.below(65536)} << 16) + random.below(65536), ""});
    const auto image = fec::decode_image(writes);
    for (auto const& [slot, code] : image.codes) EXPECT_LT(slot, 128U);
    EXPECT_EQ(fec::diff_images(image, image), std::vector<std::string>{});
  }
}

TEST(ImageDiff, NamesEachFieldThatDiffers) {
  fec::code_spec spec = test_support::nr_code(2, 128);
  const auto left = compile<ldpc::variant>({spec});
  EXPECT_TRUE(fec::diff_images(left.decoded, left.decoded).empty());
  spec.sm_array[3].shift[0] ^= 1;
  spec.scale = {12};
  spec.max_schedule = 2;
  const auto right = compile<ldpc::variant>({spec, spec});
  const auto lines = fec::diff_images(left.decoded, right.decoded);
  const auto shift = left.image.configs[0].qc[3].shift;
  ASSERT_GT(lines.size(), 2U);
  EXPECT_EQ(lines[0], "code 0 / max_schedule: 0 -> 2");
  EXPECT_EQ(lines[1],
            "code 0 / layer 0 / operation 3 / shift: " + std::to_string(shift) + " -> " + std::to_string(shift ^ 1));
  EXPECT_EQ(lines[2].substr(0, 7), "code 1 ");
  const auto back = fec::diff_images(right.decoded, left.decoded);
  EXPECT_EQ(back.size(), lines.size());
  EXPECT_NE(back.back().find(" -> -"), std::string::npos);
}

}  // namespace
