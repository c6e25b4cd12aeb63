// Decoding a register image gives back every field that was compiled: from the writes alone, for plain and compressed
// packing, several codes at once.
#include "tcltasks/fec/image_decode.h"

#include <gtest/gtest.h>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/nr_code.h"
#include "tests/support/random_code.h"

namespace {

using fec::value_of;

template <class Variant>
struct Compiled {
  fec::ldpc_config_t<Variant> image;
  std::map<unsigned, fec::CodeHint> hints;
  fec::DecodedImage decoded;
};

template <class Variant>
Compiled<Variant> compile(std::vector<fec::CodeSpec> const& specs) {
  Compiled<Variant> result;
  unsigned slot = 0;
  for (fec::CodeSpec const& plain : specs) {
    fec::ldpc_code_spec_t<Variant> spec;
    static_cast<fec::CodeSpec&>(spec) = plain;
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
void expect_code(fec::ldpc_code_config_t<Variant> const& config, fec::DecodedCode const& code) {
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
    fec::DecodedLayer const& read = code.layers[layer];
    ASSERT_EQ(value_of(read.fields, "cpld"), config.cpld[layer]);
    ASSERT_EQ(value_of(read.fields, "stall"), config.stall[layer]);
    if (Variant::kImageHasSpecialQc) {
      ASSERT_EQ(value_of(read.fields, "extra_layer"), config.extra_layer[layer]);
    }
    if (compressed) {
      ASSERT_EQ(value_of(read.fields, "qc_count"), config.qc_count[layer]);
    }
    ASSERT_EQ(read.operations.size(), config.dc[layer]);
    for (fec::NamedValues const& operation : read.operations) {
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
void expect_round_trip(std::vector<fec::CodeSpec> const& specs) {
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
using Cores = testing::Types<sd_fec::Variant, ldpc::Variant>;
TYPED_TEST_SUITE(ImageDecode, Cores);

TYPED_TEST(ImageDecode, GivesBackEvery5gNrCode) {
  for (int graph : {1, 2})
    for (unsigned z : test_support::lifting_sizes())
      for (unsigned variation = 0; variation < 6; ++variation) {
        SCOPED_TRACE(testing::Message() << "base graph " << graph << " lifting size " << z << " variation "
                                        << variation);
        fec::CodeSpec spec = test_support::nr_code(graph, z);
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
    test_support::Random random(seed);
    std::vector<fec::CodeSpec> specs;
    for (unsigned count = 1 + random.below(5); count > 0; --count) {
      fec::CodeSpec& spec = specs.emplace_back(test_support::random_spec(random));
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

using Texts = std::vector<std::string>;

TEST(ImageDecode, NamesWhatDoesNotFit) {
  std::vector<ldpc::phy_trans_t> writes = {
      {0x30, 7, ""}, {0x30, 8, ""}, {0x9999, 5, ""}, {0x123456789C, 0, ""}, {0x3C, 0x100000001, ""}};
  const auto image = fec::decode_image(writes);
  EXPECT_EQ(image.faults, (Texts{"conflicting writes at 0x00000030: 0x00000007 and then 0x00000008",
                                 "more than 32 bits at 0x0000003C: 0x0000000100000001",
                                 "unknown address 0x00009999 with data 0x00000005",
                                 "unknown address 0x000000123456789C with data 0x00000000"}));
  EXPECT_EQ(value_of(image.core, "ECC_IER"), 8U);
  EXPECT_EQ(value_of(image.core, "BYPASS"), 1U);
}

// A plain code of two layers of one operation each, with scales.
std::vector<sd_fec::phy_trans_t> small_image() {
  return {{0x2000, (128 << 16) + 512, ""},
          {0x2004, 128, ""},
          {0x2008, 2 + (1 << 20), ""},
          {0x200C, 0, ""},
          {0x10000, 0xA5, ""},
          {0x18000, 0, ""},
          {0x18004, 3 << 8, ""},
          {0x20000, 9, ""},
          {0x20004, 10 + (7 << 8), ""}};
}

TEST(ImageDecode, ReadsASmallImage) {
  const auto image = fec::decode_image(small_image());
  EXPECT_EQ(image.faults, Texts{});
  fec::DecodedCode const& code = image.codes.at(0);
  EXPECT_EQ(code.scale, (std::vector<std::uint32_t>{5, 10}));
  ASSERT_EQ(code.layers.size(), 2U);
  EXPECT_EQ(value_of(code.layers[1].fields, "stall"), 3U);
  EXPECT_EQ(value_of(code.layers[1].operations.at(0), "shift"), 7U);
}

TEST(ImageDecode, AnImageHas128Slots) {
  const auto slots_of = [](std::uint64_t base) {
    std::vector<ldpc::phy_trans_t> writes;
    for (unsigned word = 0; word < 4; ++word) writes.push_back({base + 4 * word, word == 0 ? 1U << 16 : 0U, ""});
    const auto image = fec::decode_image(writes);
    EXPECT_EQ(image.faults.size(), image.codes.empty() ? 4U : 0U);
    std::vector<unsigned> slots;
    for (auto const& [slot, code] : image.codes) slots.push_back(slot);
    return slots;
  };
  EXPECT_EQ(slots_of(0x2000 - 16), std::vector<unsigned>{});
  EXPECT_EQ(slots_of(0x2000), std::vector<unsigned>{0});
  EXPECT_EQ(slots_of(0x2000 + 127 * 16), std::vector<unsigned>{127});
  EXPECT_EQ(slots_of(0x2000 + 128 * 16), std::vector<unsigned>{});
}

TEST(ImageDecode, APlainSizeWordHasKAboveBit16) {
  const auto is_compressed = [](std::uint32_t word) {
    std::vector<ldpc::phy_trans_t> writes{{0x2000, word, ""}, {0x2004, 128, ""}, {0x2008, 0, ""}, {0x200C, 0, ""}};
    return fec::decode_image(writes).codes.at(0).is_compressed();
  };
  EXPECT_FALSE(is_compressed(0));
  EXPECT_TRUE(is_compressed(1));
  EXPECT_TRUE(is_compressed(65535));
  EXPECT_FALSE(is_compressed(65536));
}

TEST(ImageDecode, AShiftIsLongFromAbove128) {
  // One operation of shift 511 with a 1 behind it: above P of 128 the shift has nine bits, else seven and two marks.
  const auto operation_at = [](unsigned p) {
    std::vector<ldpc::phy_trans_t> writes{{0x2000, 1 << 16, ""}, {0x2004, p, ""},  {0x2008, 1, ""},
                                          {0x200C, 0, ""},       {0x18000, 0, ""}, {0x20000, 511 << 8, ""}};
    const auto image = fec::decode_image(writes);
    EXPECT_EQ(image.faults, Texts{});
    return image.codes.at(0).layers.at(0).operations.at(0);
  };
  EXPECT_EQ(value_of(operation_at(128), "shift"), 127U);
  EXPECT_EQ(value_of(operation_at(128), "layer_end"), 1U);
  EXPECT_EQ(value_of(operation_at(128), "nop"), 1U);
  EXPECT_EQ(value_of(operation_at(129), "shift"), 511U);
  EXPECT_EQ(value_of(operation_at(129), "layer_end"), 0U);
}

TEST(ImageDecode, ATableEndsWhereItsWordsDo) {
  const auto faults_without = [](std::uint64_t addr, std::size_t layers, std::size_t operations) {
    auto writes = small_image();
    std::erase_if(writes, [addr](auto const& write) { return write.addr == addr; });
    const auto image = fec::decode_image(writes);
    fec::DecodedCode const& code = image.codes.at(0);
    EXPECT_EQ(code.layers.size(), layers);
    std::size_t found = 0;
    for (fec::DecodedLayer const& layer : code.layers) found += layer.operations.size();
    EXPECT_EQ(found, operations);
    return image.faults;
  };
  EXPECT_EQ(faults_without(0x18004, 1, 1),
            (Texts{"code 0, LA table: missing word at 0x00018004", "unknown address 0x00020004 with data 0x0000070A"}));
  EXPECT_EQ(faults_without(0x20000, 2, 0),
            (Texts{"code 0, QC table: missing word at 0x00020000", "unknown address 0x00020004 with data 0x0000070A"}));
  EXPECT_EQ(faults_without(0x20004, 2, 1), (Texts{"code 0, QC table: missing word at 0x00020004"}));
  EXPECT_EQ(faults_without(0x10000, 2, 2), (Texts{"code 0, SC table: missing word at 0x00010000"}));
  EXPECT_EQ(faults_without(0x200C, 0, 0).front(), "code 0, registers: missing word at 0x0000200C");
  EXPECT_EQ(faults_without(0x2000, 0, 0).front(), "code 0, registers: missing word at 0x00002000");
  EXPECT_EQ(faults_without(0x2000, 0, 0).size(), 9U);  // and each of the others is nobody's
}

TEST(ImageDecode, AWordBelongsToOneTable) {
  auto writes = small_image();
  for (unsigned i = 0; i < 4; ++i) writes.push_back({writes[i].addr + 16, writes[i].data, ""});
  const auto image = fec::decode_image(writes);
  EXPECT_EQ(image.faults, (Texts{"code 1, SC table: the word at 0x00010000 belongs to another table",
                                 "code 1, LA table: the word at 0x00018000 belongs to another table"}));
  EXPECT_EQ(image.codes.at(1).layers.size(), 0U);
}

TEST(ImageDecode, BitsOutsideAllFieldsAreFaults) {
  const auto faults_with = [](std::uint64_t addr, std::uint32_t bits) {
    auto writes = small_image();
    for (auto& write : writes)
      if (write.addr == addr) write.data |= bits;
    return fec::decode_image(writes).faults;
  };
  EXPECT_EQ(faults_with(0x10000, 0x8000300), (Texts{"code 0, SC table: bits outside all fields at 0x00010000: "
                                                    "0x08000300"}));
  EXPECT_EQ(faults_with(0x18004, 0x80010000), (Texts{"code 0, LA table: bits outside all fields at 0x00018004: "
                                                     "0x80010000"}));
  EXPECT_EQ(faults_with(0x20000, 0x80000), (Texts{"code 0, QC table: bits outside all fields at 0x00020000: "
                                                  "0x00080000"}));
}

TEST(ImageDecode, AnnouncedTablesTakeNoMemory) {
  // 128 codes of 511 layers with scales, and not a word behind them.
  std::vector<sd_fec::phy_trans_t> writes;
  for (unsigned slot = 0; slot < 128; ++slot)
    for (unsigned word = 0; word < 4; ++word)
      writes.push_back({0x2000 + 16 * slot + 4 * word, word == 0 ? (1U << 16) : word == 2 ? 0x1FFFFF : 8, ""});
  for (std::uint64_t data : {0x7FU, 0xFFU}) {
    const auto image = fec::decode_image(writes);
    EXPECT_EQ(image.codes.size(), 128U);
    EXPECT_LE(fec::entries_of(image).size(), 8 * writes.size());
    EXPECT_LE(image.faults.size(), 3U * 128U);
    for (auto const& [slot, code] : image.codes) EXPECT_LE(code.layers.size(), slot == 0 ? 2U : 0U);
    writes.push_back({0x18000 + 4 * (data >> 7), data, ""});
  }
}

TEST(ImageDecode, LongListsOfFaultsAreCut) {
  std::vector<sd_fec::phy_trans_t> writes;
  for (unsigned i = 0; i < 137; ++i) writes.push_back({0x9000 + i, 0, ""});
  auto image = fec::decode_image(writes);
  EXPECT_EQ(image.faults.size(), 137U);
  EXPECT_EQ(fec::listed_faults(image).size(), 101U);
  EXPECT_EQ(fec::listed_faults(image).back(), "and 37 more");
  image.faults.resize(100);
  EXPECT_EQ(fec::listed_faults(image), image.faults);
}

// An image as it may be found: of codes that compile, damaged, or made up.
std::vector<sd_fec::phy_trans_t> random_image(test_support::Random& random) {
  const auto any_word = [&random] {
    const std::uint64_t word = (std::uint64_t{random.below(65536)} << 16) + random.below(65536);
    return random.one_in(3) ? word & 0x0007FFFF : random.one_in(4) ? 0xFFFFFFFF : word;
  };
  const auto any_addr = [&random]() -> std::uint64_t {
    constexpr unsigned kBases[] = {0, 0x2000, 0x10000, 0x18000, 0x20000};
    return random.one_in(20) ? random.below(0x40000) : kBases[random.below(5)] + 4 * random.below(24);
  };
  std::vector<sd_fec::phy_trans_t> writes;
  if (random.one_in(2)) {
    std::vector<fec::CodeSpec> specs;
    for (unsigned count = 1 + random.below(3); count > 0; --count) specs.push_back(test_support::random_spec(random));
    writes = compile<sd_fec::Variant>(specs).image.trans;
  } else {
    // Registers that lead into the tables at their beginning, so that some of it can be followed.
    for (unsigned slot = random.below(4); slot > 0; --slot)
      for (unsigned word = 0; word < 4; ++word)
        writes.push_back({0x2000 + 16 * slot + 4 * word, word == 3 ? random.below(2) : any_word(), ""});
    for (unsigned base : {0x10000, 0x18000, 0x20000})
      for (unsigned i = random.below(40); i > 0; --i) writes.push_back({base + 4 * i - 4, any_word(), ""});
  }
  for (unsigned damage = random.below(8); damage > 0; --damage) {
    if (writes.empty() || random.one_in(3)) {
      writes.push_back({any_addr(), any_word(), ""});
      continue;
    }
    auto const at = writes.begin() + random.below(static_cast<unsigned>(writes.size()));
    switch (random.below(4)) {
      case 0:
        writes.erase(at);
        break;
      case 1:
        at->addr = any_addr();
        break;
      case 2:
        at->data = any_word();
        break;
      default:
        at->data ^= 1U << random.below(32);
    }
  }
  return writes;
}

TEST(ImageDecode, WhatIsReadIsBoundedByTheWordsThatWereWritten) {
  for (unsigned seed = 1; seed <= 1000; ++seed) {
    test_support::Random random(seed);
    const auto writes = random_image(random);
    const auto image = fec::decode_image(writes);
    std::size_t words = 0;
    for (auto const& [slot, code] : image.codes) {
      ASSERT_LT(slot, 128U);
      ASSERT_LE(code.scale.size(), 4 * writes.size());
      words += code.layers.size();
      for (fec::DecodedLayer const& layer : code.layers) words += layer.operations.size();
    }
    ASSERT_LE(words, writes.size());
    ASSERT_LE(fec::entries_of(image).size(), 7 * writes.size());
    ASSERT_LE(image.faults.size(), 4 * writes.size() + 8);
    ASSERT_EQ(fec::diff_images(image, image), Texts{});
    ASSERT_FALSE(writes.size() > 0 && fec::list_image(image).empty());
  }
}

TEST(ImageDecode, EveryBitThatIsWrittenShows) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    test_support::Random random(seed);
    auto writes = random_image(random);
    if (writes.empty()) continue;
    const auto image = fec::decode_image(writes);
    for (unsigned flips = 40; flips > 0; --flips) {
      auto& write = writes[random.below(static_cast<unsigned>(writes.size()))];
      const std::uint64_t bit = std::uint64_t{1} << random.below(33);
      write.data ^= bit;
      ASSERT_NE(fec::diff_images(image, fec::decode_image(writes)), Texts{})
          << "address " << write.addr << " bit " << bit;
      write.data ^= bit;
    }
  }
}

TEST(ImageDiff, NamesFaultsOfOneSide) {
  auto writes = small_image();
  const auto left = fec::decode_image(writes);
  writes.push_back({0x9000, 1, ""});
  const auto right = fec::decode_image(writes);
  EXPECT_EQ(fec::diff_images(left, right),
            Texts{"fault on the right only: unknown address 0x00009000 with data 0x00000001"});
  EXPECT_EQ(fec::diff_images(right, left),
            Texts{"fault on the left only: unknown address 0x00009000 with data 0x00000001"});
}

TEST(ImageDiff, NamesEachFieldThatDiffers) {
  fec::CodeSpec spec = test_support::nr_code(2, 128);
  const auto left = compile<ldpc::Variant>({spec});
  EXPECT_TRUE(fec::diff_images(left.decoded, left.decoded).empty());
  spec.sm_array[3].shift[0] ^= 1;
  spec.scale = {12};
  spec.max_schedule = 2;
  const auto right = compile<ldpc::Variant>({spec, spec});
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
