// Register images of a handful of standard codes against files under tests/golden/fec.
#include "tests/support/golden.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <sstream>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"
#include "tests/support/nr_code.h"

namespace {

struct GoldenCode {
  char const* name;
  int graph;
  unsigned z;
  void (*change)(fec::CodeSpec&);
};

constexpr GoldenCode kCodes[] = {
    {"bg1_z384_decode", 1, 384, [](fec::CodeSpec&) {}},
    {"bg1_z24_decode", 1, 24, [](fec::CodeSpec&) {}},
    {"bg2_z52_encode", 2, 52, [](fec::CodeSpec& spec) { spec.encode = 1; }},
    {"bg2_z16_decode_compressed", 2, 16,
     [](fec::CodeSpec& spec) {
       spec.compress_packing = 1;
       spec.reorder_type = 3;
     }},
    {"bg1_z96_encode_compressed", 1, 96,
     [](fec::CodeSpec& spec) {
       spec.encode = 1;
       spec.compress_packing = 1;
       spec.reorder_type = 2;
     }},
};

template <class Variant>
std::string image_text(fec::CodeSpec const& plain) {
  fec::ldpc_code_spec_t<Variant> spec;
  static_cast<fec::CodeSpec&>(spec) = plain;
  fec::ldpc_code_config_t<Variant> config;
  fec::ldpc_code_stats_t<Variant> stats;
  fec::gen_ldpc_code_config(spec, config, stats, nullptr, nullptr, Variant::kMinSlots, false);
  fec::ldpc_config_t<Variant> image;
  image.add(0, config);
  image.gen_phy_trans(0);

  std::ostringstream text;
  text << Variant::kName << " enc_ok " << stats.enc_ok << " dec_ok " << stats.dec_ok << " layers " << config.nlayers
       << " operations " << stats.nqc_raw << " slots " << stats.nqc << " stalls";
  for (std::uint32_t stall : config.stall) text << ' ' << stall;
  text << '\n';
  for (auto const& write : image.trans) {
    char line[64];
    std::snprintf(line, sizeof line, "%05" PRIx64 " %08" PRIx64, write.addr, write.data);
    text << line << (write.comment.empty() ? "" : " ") << write.comment << '\n';
  }
  return text.str();
}

class GoldenImage : public testing::TestWithParam<GoldenCode> {};

TEST_P(GoldenImage, IsUnchanged) {
  fec::CodeSpec spec = test_support::nr_code(GetParam().graph, GetParam().z);
  GetParam().change(spec);
  const std::string text = image_text<sd_fec::Variant>(spec) + image_text<ldpc::Variant>(spec);
  test_support::expect_golden(std::string("fec/") + GetParam().name + ".txt", text);
}

INSTANTIATE_TEST_SUITE_P(Codes, GoldenImage, testing::ValuesIn(kCodes),
                         [](auto const& one) { return std::string(one.param.name); });

}  // namespace
