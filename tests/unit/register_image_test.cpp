// Layout of the register image.
#include "tcltasks/fec/register_image.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tcltasks/fec/ldpc.h"
#include "tcltasks/fec/sd_fec.h"

namespace {

template <class Config>
Config small_config(unsigned layers) {
  Config config;
  config.n = 1024;
  config.parity_len = 512;
  config.p = 128;
  config.nlayers = layers;
  config.norm_type = 1;
  config.dc.assign(layers, 1);
  config.cpld.assign(layers, 0);
  config.stall.assign(layers, 9);
  config.extra_layer.assign(layers, 1);
  config.scale.assign(layers, 12);
  config.qc.resize(layers);
  config.qc_count.assign(layers, 3);
  return config;
}

template <class Writes>
std::uint64_t data_at(Writes const& writes, std::uint64_t addr) {
  for (auto const& write : writes)
    if (write.addr == addr) return write.data;
  ADD_FAILURE() << "no write at " << addr;
  return 0;
}

TEST(RegisterImage, StartsTheLayersOfEachCodeOnA16ByteBoundary) {
  ldpc::ldpc_config_t image;
  auto five = small_config<ldpc::ldpc_code_config_t>(5);
  image.add(0, five);
  image.add(1, five);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.la[1].front().addr, 0x18000U + 32);
  EXPECT_EQ(image.sc[0].size(), 2U);
  EXPECT_EQ(image.sc[0][1].data, 12U);
  EXPECT_EQ(image.sc[1].front().addr, 0x10000U + 8);
  EXPECT_EQ(data_at(image.trans, 0x2010 + 12), 2U + 2 * 256 + 2 * 65536);
}

TEST(RegisterImage, SkipsEmptySlotsAndKeepsTheirNumbers) {
  ldpc::ldpc_config_t image;
  auto one = small_config<ldpc::ldpc_code_config_t>(1);
  EXPECT_EQ(image.add(2, one), 0U);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.trans.front().addr, 0x2020U);
  EXPECT_EQ(data_at(image.trans, 0x2020 + 12), 0U);
  EXPECT_TRUE(image.la[0].empty());
}

TEST(RegisterImage, RefusesSlotsBehindTheLast) {
  ldpc::ldpc_config_t image;
  auto one = small_config<ldpc::ldpc_code_config_t>(1);
  EXPECT_EQ(image.add(127, one), 0U);
  EXPECT_EQ(image.add(128, one), 1U);
  EXPECT_EQ(image.configs.size(), 128U);
}

TEST(RegisterImage, OverwritesASlotAndForgetsAllWhenCleared) {
  ldpc::ldpc_config_t image;
  auto one = small_config<ldpc::ldpc_code_config_t>(1);
  auto two = small_config<ldpc::ldpc_code_config_t>(2);
  image.add(0, one);
  image.add(0, two);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.la[0].size(), 2U);
  image.clear();
  image.gen_phy_trans(0);
  EXPECT_TRUE(image.trans.empty());
  EXPECT_TRUE(image.valid.empty());
}

TEST(RegisterImage, IsTheSameWhenGeneratedAgain) {
  sd_fec::ldpc_config_t image;
  auto five = small_config<sd_fec::ldpc_code_config_t>(5);
  image.add(0, five);
  image.gen_phy_trans(0);
  const auto first = image.trans;
  image.gen_phy_trans(7);
  ASSERT_EQ(image.trans.size(), first.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_EQ(image.trans[i].addr, first[i].addr);
    EXPECT_EQ(image.trans[i].data, first[i].data);
    EXPECT_EQ(image.trans[i].comment, first[i].comment);
  }
}

TEST(RegisterImage, MarksAPadInAPlainTableBehindTheShift) {
  sd_fec::ldpc_config_t image;
  auto config = small_config<sd_fec::ldpc_code_config_t>(1);
  config.p = 64;
  config.qc[0].nop = 1;
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.qc[0][0].data, 65536U);
  config.no_packing = 1;
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.qc[0][0].data, 0U);
}

TEST(RegisterImage, MarksClosingOperationsOfAnExpandedDecoderCode) {
  sd_fec::ldpc_config_t image;
  auto config = small_config<sd_fec::ldpc_code_config_t>(1);
  config.special_qc = 1;
  config.qc[0].last = 1;
  config.qc[0].shift = 3;
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.qc[0][0].data, (128U + 3) << 8);
  config.encode = 1;
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.qc[0][0].data, 3U << 8);
}

TEST(RegisterImage, HasTheFieldsOfItsCore) {
  sd_fec::ldpc_config_t wide;
  ldpc::ldpc_config_t narrow;
  auto a = small_config<sd_fec::ldpc_code_config_t>(1);
  auto b = small_config<ldpc::ldpc_code_config_t>(1);
  a.special_qc = b.special_qc = 1;
  a.lat_ctrl = b.lat_ctrl = 1;
  wide.add(0, a);
  narrow.add(0, b);
  wide.gen_phy_trans(0);
  narrow.gen_phy_trans(0);
  EXPECT_EQ(data_at(wide.trans, 0x2008) - data_at(narrow.trans, 0x2008), (1U << 21) + (1U << 25));
  EXPECT_EQ(wide.la[0][0].data - narrow.la[0][0].data, 1U << 7);
}

TEST(RegisterImage, CompressedWordsHoldTheirOwnFields) {
  ldpc::ldpc_config_t image;
  auto config = small_config<ldpc::ldpc_code_config_t>(1);
  config.compress_packing = 1;
  config.nmqc = 4;
  config.qc[0] = {5, 7, 1, 1, 1, 0, 1, 3, 1};
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(data_at(image.trans, 0x2000), 4U);
  EXPECT_EQ(image.la[0][0].data, (9U << 8) + (3U << 16));
  EXPECT_EQ(image.qc[0][0].data, 5U + (7U << 7) + (1U << 16) + (1U << 17) + (1U << 18) + (3U << 19));
  config.encode = 1;  // bit 17 is then 1 for what is no parity
  image.add(0, config);
  image.gen_phy_trans(0);
  EXPECT_EQ(image.qc[0][0].data, 5U + (7U << 7) + (1U << 16) + (1U << 18) + (3U << 19));
}

TEST(RegisterImage, IsDumpedAsOneLineForEachWrite) {
  const std::string path = testing::TempDir() + "/image_dump.txt";
  ldpc::ldpc_config_t image;
  auto one = small_config<ldpc::ldpc_code_config_t>(1);
  image.add(0, one);
  image.dump_phy_trans(path.c_str(), 0, false);
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_EQ(text.str().substr(0, text.str().find('\n')), "0200002000400 // K, N");
  EXPECT_NE(text.str().find("18000"), std::string::npos);
  std::filesystem::remove(path);
}

TEST(RegisterImage, ADumpThatCannotBeOpenedIsNoFault) {
  ldpc::ldpc_config_t image;
  image.dump_phy_trans("/nonexistent/folder/file", 0, false);
  EXPECT_TRUE(image.trans.empty());
}

}  // namespace
