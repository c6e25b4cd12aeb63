// Parameters of a script as records of the power calculator, and the functions with plain names.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "tcltasks/power/gt_estimate.h"
#include "tcltasks/power/key_words.h"
#include "tcltasks/power/mig_estimate.h"
#include "tcltasks/power/part.h"
#include "tcltasks/power/power_est.h"
#include "tcltasks/power/record_rows.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/random.h"

namespace {

using namespace power_est_init::power_est_kdi_tcltasks;

const std::string kPart = "brvn3716-die-2LHP-e-S-es1";

// ------------------------------------------------------------------------------------------------------- key words
constexpr std::array<std::string_view, 5> kSome = {"AB_C", "B_C", "AB", "XY", "_CD"};

std::size_t slow_first_in(std::string_view key) {
  for (std::size_t i = 0; i < kSome.size(); ++i)
    if (key.find(kSome[i]) != std::string_view::npos) return i;
  return kSome.size();
}

TEST(KeyWords, AKeyBelongsToTheFirstWordThatItContains) {
  constexpr KeyWords<5> words(kSome);
  EXPECT_EQ(words.first_in("xB_C_AB"), 1U);
  EXPECT_EQ(words.first_in("XYAB"), 2U);
  EXPECT_EQ(words.first_in("A"), 5U);
  EXPECT_EQ(words.first_in(""), 5U);
  test_support::Seeded<std::mt19937_64> random(test_support::fresh_seed());
  for (int i = 0; i < 20000; ++i) {
    std::string key;
    for (std::size_t length = random() % 12; length > 0; --length) key += "ABCD_XYa"[random() % 8];
    ASSERT_EQ(words.first_in(key), slow_first_in(key)) << key;
  }
}

// -------------------------------------------------------------------------------------------------------- numbers
TEST(PowerValues, AreWhatTheCLibraryMakesOfThem) {
  EXPECT_EQ(value_of<int>(" 12x"), 12);
  EXPECT_EQ(value_of<int>("x"), 0);
  EXPECT_EQ(value_of<int>(""), 0);
  EXPECT_EQ(value_of<int>("-7"), -7);
  EXPECT_EQ(value_of<int>("0x10"), 0);
  EXPECT_EQ(value_of<int>("4.9"), 4);
  EXPECT_FLOAT_EQ(value_of<float>("10.3125 Gb/s"), 10.3125F);
  EXPECT_FLOAT_EQ(value_of<float>("0x10"), 16);
  EXPECT_EQ(value_of<float>("fast"), 0);
  EXPECT_TRUE(std::isinf(value_of<float>("1e300")));
  EXPECT_EQ(watts_text(1.25F), "1.250000(W)");
  EXPECT_EQ(watts_text(0), "0.000000(W)");
  EXPECT_EQ(watts_text(123456.78F), "123456.781250(W)");
  EXPECT_EQ(watts_text(1e-9F), "0.000000(W)");
  EXPECT_EQ(watts_text(std::numeric_limits<float>::max()), "340282346638528859811704183484516925440.000000(W)");
}

TEST(PowerValues, AreTheSameUnderADecimalComma) {
  const DecimalComma comma;
  EXPECT_FLOAT_EQ(value_of<float>("1.5"), 1.5F);
  EXPECT_FLOAT_EQ(value_of<float>("1,5"), 1);
  EXPECT_EQ(value_of<int>("1.000"), 1);
  EXPECT_EQ(watts_text(1234.5F), "1234.500000(W)");
}

// ---------------------------------------------------------------------------------------------------- transceivers
TEST(GtRecord, HasItsDefaults) {
  const GtPowerRecord record = read_gt_record({});
  EXPECT_EQ(record.gtDirection, "BOTH");
  EXPECT_EQ(record.numChannels, 0);
  EXPECT_EQ(record.gtType, "");
  EXPECT_EQ(record.rxLineRate, 0);
  EXPECT_FALSE(record.reservedFlag);
  EXPECT_EQ(record.reservedWord, 0U);
}

TEST(GtRecord, TakesEachKey) {
  const GtPowerRecord record = read_gt_record({{"Power_GT_TYPE", "GTYp"},
                                               {"c0_GT_DIRECTION", "TX"},
                                               {"c0_RX_LINE_RATE", "10.3125"},
                                               {"c0_RX_DATA_DECODING", "8B10B"},
                                               {"c0_RX_INT_DATA_WIDTH", "20"},
                                               {"c0_RX_USER_DATA_WIDTH", "40"},
                                               {"c0_RX_PLL_TYPE", "CPLL"},
                                               {"c0_RX_REFCLK_FREQUENCY", "156.25"},
                                               {"c0_RX_EQ_MODE", "DFE"},
                                               {"c0_RX_TERMINATION_PROG_VALUE", "800"},
                                               {"c0_TX_LINE_RATE", "5.5"},
                                               {"c0_TX_DATA_ENCODING", "RAW"},
                                               {"c0_TX_INT_DATA_WIDTH", "32"},
                                               {"c0_TX_USER_DATA_WIDTH", "64"},
                                               {"c0_TX_PLL_TYPE", "QPLL0"},
                                               {"c0_TX_REFCLK_FREQUENCY", "100"},
                                               {"c0_INS_LOSS_NYQ", "14"},
                                               {"c0_CPLL_VCO_FREQUENCY", "2578.125"},
                                               {"c0_NUM_CHANNELS", "4"}});
  EXPECT_EQ(record.gtType, "gtyp");
  EXPECT_EQ(record.gtDirection, "TX");
  EXPECT_FLOAT_EQ(record.rxLineRate, 10.3125F);
  EXPECT_EQ(record.rxDataDecoding, "8B10B");
  EXPECT_EQ(record.rxIntDataWidth, 20);
  EXPECT_EQ(record.rxUserDataWidth, 40);
  EXPECT_EQ(record.rxPllType, "CPLL");
  EXPECT_FLOAT_EQ(record.rxRefclkFrequency, 156.25F);
  EXPECT_EQ(record.rxEqMode, "DFE");
  EXPECT_EQ(record.rxTerminationProgValue, 800);
  EXPECT_FLOAT_EQ(record.txLineRate, 5.5F);
  EXPECT_EQ(record.txDataEncoding, "RAW");
  EXPECT_EQ(record.txIntDataWidth, 32);
  EXPECT_EQ(record.txUserDataWidth, 64);
  EXPECT_EQ(record.txPllType, "QPLL0");
  EXPECT_FLOAT_EQ(record.txRefclkFrequency, 100);
  EXPECT_EQ(record.insLossNyq, 14);
  EXPECT_FLOAT_EQ(record.cpllVcoFrequency, 2578.125F);
  EXPECT_EQ(record.numChannels, 4);
}

TEST(GtRecord, ALaterKeyWithTheSameWordWins) {
  EXPECT_FLOAT_EQ(read_gt_record({{"RX_LINE_RATE", "5"}, {"RX_LINE_RATE_MAX", "8"}}).rxLineRate, 8);
  EXPECT_FLOAT_EQ(read_gt_record({{"c1_RX_LINE_RATE", "5"}, {"c0_RX_LINE_RATE", "8"}}).rxLineRate, 5);
}

TEST(GtRecord, AKeyWithTwoWordsIsTheFirstOnesInTheList) {
  const GtPowerRecord record = read_gt_record({{"RX_LINE_RATE_GT_DIRECTION", "7"}});
  EXPECT_EQ(record.gtDirection, "7");
  EXPECT_EQ(record.rxLineRate, 0);
}

TEST(GtRecord, WordsAreCaseSensitiveAndTheTypeIsAnExactKey) {
  const GtPowerRecord record = read_gt_record({{"rx_line_rate", "7"}, {"c0_Power_GT_TYPE", "GTY"}});
  EXPECT_EQ(record.rxLineRate, 0);
  EXPECT_EQ(record.gtType, "");
}

// ---------------------------------------------------------------------------------------------------- memories
MigPowerRecord mig(ParamMap const& params) { return read_mig_record(params); }

TEST(MigRecord, HasItsDefaults) {
  const MigPowerRecord record = mig({});
  EXPECT_EQ(record.rankWidth, 1);
  EXPECT_EQ(record.numDevices, 1);
  EXPECT_EQ(record.memoryType, "Components");
  EXPECT_EQ(record.phyOnly, "Complete_Memory_Controller");
  EXPECT_EQ(record.controllerFamily, "");
  EXPECT_EQ(record.phyClockRatio, 0);
  EXPECT_EQ(record.nckPerClk, 4);
  EXPECT_EQ(record.phyClockMultiplier, 16);
  EXPECT_EQ(record.phyClockDivider, 4);
  EXPECT_EQ(record.uiClock, 0);
  EXPECT_EQ(record.fabricClock, 0);
  EXPECT_EQ(record.outputTermination, "NONE");
  EXPECT_EQ(record.inputTermination, "NONE");
  EXPECT_EQ(record.bankKind, "HP");
  EXPECT_EQ(record.ioPerformance, "High_Perf");
  EXPECT_EQ(record.readActivity, 1);
  EXPECT_EQ(record.writeActivity, 1);
}

TEST(MigRecord, TakesEachCount) {
  const std::pair<char const*, int MigPowerRecord::*> kCounts[] = {
      {"RANK_WIDTH", &MigPowerRecord::rankWidth},        {"NUM_DEVICES", &MigPowerRecord::numDevices},
      {"AXI_DATA_WIDTH", &MigPowerRecord::axiDataWidth}, {"MMCM_IDX_BANK", &MigPowerRecord::mmcmIdxBank},
      {"Power_ADDR_WIDTH", &MigPowerRecord::addrWidth},  {"C0_DM_WIDTH", &MigPowerRecord::dmWidth},
      {"C0_CK_WIDTH", &MigPowerRecord::ckWidth},         {"C0_DK_WIDTH", &MigPowerRecord::dkWidth},
      {"C0_QK_WIDTH", &MigPowerRecord::qkWidth},         {"C0_QVLD_WIDTH", &MigPowerRecord::qvldWidth},
      {"C0_CKE_WIDTH", &MigPowerRecord::ckeWidth},       {"C0_BANK_WIDTH", &MigPowerRecord::bankWidth},
      {"C0_CS_WIDTH", &MigPowerRecord::csWidth},         {"C0_DQS_WIDTH", &MigPowerRecord::dqsWidth},
      {"C0_DDR4_DQ_WIDTH", &MigPowerRecord::dqWidth},    {"C0_ODT_WIDTH", &MigPowerRecord::odtWidth},
      {"C0_LR_WIDTH", &MigPowerRecord::lrWidth},         {"C0_BANK_GROUP_WIDTH", &MigPowerRecord::bankGroupWidth},
      {"nCK_PER_CLK", &MigPowerRecord::nckPerClk}};
  const MigPowerRecord untouched = mig({});
  for (auto const& [key, field] : kCounts) {
    const MigPowerRecord record = mig({{key, "3"}});
    EXPECT_EQ(record.*field, 3) << key;
    for (auto const& [other, its_field] : kCounts) {
      if (its_field != field) {
        EXPECT_EQ(record.*its_field, untouched.*its_field) << key << " sets " << other;
      }
    }
  }
}

TEST(MigRecord, TakesEachTextAndFlag) {
  const MigPowerRecord record = mig({{"MCS_ECC", "true"},
                                     {"Debug_Signal", "Enable"},
                                     {"Slot", "Dual"},
                                     {"MEMORY_TYPE", "RDIMMs"},
                                     {"MemoryPart", "m"},
                                     {"Phy_Only", "p"},
                                     {"Axi_Selection", "true"},
                                     {"USE_CS_PORT", "1"},
                                     {"USE_DM_PORT", "-1"},
                                     {"IO_VOLTAGE", "1.2V"},
                                     {"CLKOUTPHY_MODE", "VCO"}});
  EXPECT_TRUE(record.mcsEcc);
  EXPECT_TRUE(record.debugSignal);
  EXPECT_EQ(record.slot, "Dual");
  EXPECT_EQ(record.memoryType, "RDIMMs");
  EXPECT_EQ(record.memoryPart, "m");
  EXPECT_EQ(record.phyOnly, "p");
  EXPECT_TRUE(record.axiSelection);
  EXPECT_TRUE(record.useCsPort);
  EXPECT_TRUE(record.useDmPort);
  EXPECT_EQ(record.ioVoltage, "1.2V");
  EXPECT_EQ(record.clkoutphyMode, "VCO");
  const MigPowerRecord off = mig({{"MCS_ECC", "True"},
                                  {"Debug_Signal", "enable"},
                                  {"Axi_Selection", "1"},
                                  {"USE_CS_PORT", "true"},
                                  {"USE_DM_PORT", "0"}});
  EXPECT_FALSE(off.mcsEcc);
  EXPECT_FALSE(off.debugSignal);
  EXPECT_FALSE(off.axiSelection);
  EXPECT_FALSE(off.useCsPort);
  EXPECT_FALSE(off.useDmPort);
}

TEST(MigRecord, TakesTheClocks) {
  const MigPowerRecord record =
      mig({{"CLKOUT0_DIVIDE", "2.5"}, {"CLKOUT5_DIVIDE", "8"}, {"MMCM_CLK", "4000"}, {"CLKFBOUT_MULT", "5.125"}});
  EXPECT_FLOAT_EQ(record.clkoutDivide[0], 2.5F);
  EXPECT_FLOAT_EQ(record.clkoutDivide[5], 8);
  EXPECT_FLOAT_EQ(record.mmcmFrequency, 250);
  EXPECT_FLOAT_EQ(record.clkfboutMult, 5.125F);
  EXPECT_EQ(mig({{"MMCM_CLK", "0"}}).mmcmFrequency, 0);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(mig({{"CLKOUT" + std::to_string(i) + "_DIVIDE", "3"}}).clkoutDivide[i], 3) << i;
}

TEST(MigRecord, TheControllersTypeGivesTheFamily) {
  const auto family = [](char const* type) { return mig({{"Power_ControllerType", type}}).controllerFamily; };
  EXPECT_EQ(family("C0_DDR3_SDRAM"), "DDR3");
  EXPECT_EQ(family("DDR4_SDRAM"), "DDR4");
  EXPECT_EQ(family("QDRIIPLUS"), "QDRIIP");
  EXPECT_EQ(family("QDRIIPLUS_SRAM"), "QDRIIP");
  EXPECT_EQ(family("QDRIV_SRAM"), "QDRIV");
  EXPECT_EQ(family("RLDRAM3"), "RLD3");
  EXPECT_EQ(family("LPDDR4 and DDR3"), "DDR3");
  EXPECT_EQ(family("ddr4"), "");
  EXPECT_EQ(family(""), "");
  EXPECT_EQ(mig({{"C0_Power_ControllerType", "DDR4"}}).controllerFamily, "");
}

TEST(MigRecord, TheClockRatioFollowsTheFamily) {
  const auto with = [](char const* type, char const* mode) {
    return mig({{"Power_ControllerType", type}, {"CLKOUTPHY_MODE", mode}});
  };
  const MigPowerRecord qdr = with("QDRIIPLUS", "VCO");
  EXPECT_EQ(qdr.nckPerClk, 2);
  EXPECT_EQ(qdr.phyClockMultiplier, 4);
  EXPECT_EQ(qdr.phyClockDivider, 2);
  for (char const* other : {"QDRIV", "DDR3", "DDR4", "RLDRAM3", ""}) {
    const MigPowerRecord record = with(other, "VCO");
    EXPECT_EQ(record.nckPerClk, 4);
    EXPECT_EQ(record.phyClockMultiplier, 8);
    EXPECT_EQ(record.phyClockDivider, 2);
  }
  EXPECT_EQ(mig({{"nCK_PER_CLK", "0"}, {"Power_ControllerType", "QDRIIPLUS"}}).nckPerClk, 2);
  EXPECT_EQ(mig({{"nCK_PER_CLK", "4"}, {"Power_ControllerType", "QDRIIPLUS"}}).nckPerClk, 4);
}

TEST(MigRecord, TheModeGivesThePhysClocks) {
  const auto clocks = [](char const* mode, char const* ratio) {
    const MigPowerRecord record = mig({{"CLKOUTPHY_MODE", mode}, {"nCK_PER_CLK", ratio}});
    return std::pair(record.phyClockMultiplier, record.phyClockDivider);
  };
  EXPECT_EQ(clocks("VCO_2X", "4"), std::pair(4.0F, 1.0F));
  EXPECT_EQ(clocks("VCO_2X", "2"), std::pair(2.0F, 1.0F));
  EXPECT_EQ(clocks("VCO", "4"), std::pair(8.0F, 2.0F));
  EXPECT_EQ(clocks("VCO", "3"), std::pair(4.0F, 2.0F));
  EXPECT_EQ(clocks("VCO_HALF", "4"), std::pair(16.0F, 4.0F));
  EXPECT_EQ(clocks("vco", "-1"), std::pair(8.0F, 4.0F));
  EXPECT_EQ(clocks("", "4"), std::pair(16.0F, 4.0F));
}

TEST(MigRecord, ThePeriodGivesTheClocks) {
  const MigPowerRecord record = mig({{"C0_TimePeriod", "1250"}});
  EXPECT_FLOAT_EQ(record.timePeriod, 1250);
  EXPECT_FLOAT_EQ(record.memoryClock, 800);
  EXPECT_FLOAT_EQ(record.uiClock, 200);
  const MigPowerRecord given = mig({{"C0_TimePeriod", "1250"}, {"UI_CLOCK", "300000000"}});
  EXPECT_FLOAT_EQ(given.memoryClock, 800);
  EXPECT_FLOAT_EQ(given.uiClock, 300);
  const MigPowerRecord none = mig({{"C0_TimePeriod", "0"}});
  EXPECT_EQ(none.memoryClock, 0);
  EXPECT_EQ(none.uiClock, 0);
  EXPECT_FLOAT_EQ(mig({{"C0_TimePeriod", "0"}, {"UI_CLOCK", "1e8"}}).uiClock, 100);
  EXPECT_FLOAT_EQ(mig({{"C0_TimePeriod", "1250"}, {"nCK_PER_CLK", "-2"}}).uiClock, -400);
  EXPECT_EQ(mig({{"TimePeriod", "1250"}}).memoryClock, 0) << "the word begins with an underscore";
}

TEST(MigRecord, TheSeventhDividerGivesTheFabricClock) {
  EXPECT_FLOAT_EQ(mig({{"UI_CLOCK", "300000000"}, {"CLKOUT6_DIVIDE", "2"}}).fabricClock, 150);
  EXPECT_EQ(mig({{"UI_CLOCK", "300000000"}, {"CLKOUT6_DIVIDE", "0"}}).fabricClock, 0);
  EXPECT_EQ(mig({{"UI_CLOCK", "300000000"}, {"CLKOUT6_DIVIDE", "-2"}}).fabricClock, 0);
  EXPECT_EQ(mig({{"UI_CLOCK", "300000000"}, {"CLKOUT5_DIVIDE", "2"}}).fabricClock, 0);
}

TEST(MigRecord, ThePhysRatioHasTwoWords) {
  EXPECT_EQ(mig({{"PhyClockRatio", "4:1"}}).phyClockRatio, 4);
  EXPECT_EQ(mig({{"PhyClockRatio", "2:1"}}).phyClockRatio, 2);
  EXPECT_EQ(mig({{"PhyClockRatio", "8:1"}}).phyClockRatio, 0);
  EXPECT_EQ(mig({{"a_PhyClockRatio", "2:1"}, {"b_PhyClockRatio", "other"}}).phyClockRatio, 2);
}

TEST(MigRecord, AnEarlierWordTakesTheKey) {
  const MigPowerRecord record = mig({{"C0_DDR4_DQ_WIDTH", "64"}, {"Slot_DQ_WIDTH", "9"}, {"C0_CKE_WIDTH", "2"}});
  EXPECT_EQ(record.dqWidth, 64);
  EXPECT_EQ(record.slot, "9");
  EXPECT_EQ(record.ckeWidth, 2);
  EXPECT_EQ(record.ckWidth, 0);
  EXPECT_EQ(mig({{"Power_BANK_GROUP_WIDTH", "2"}}).bankWidth, 0);
}

// ------------------------------------------------------------------------------------------------ plain functions
TEST(PlainFunctions, ChooseByTheKind) {
  const ParamMap params = {{"Power_PART", kPart}, {"NUM_CHANNELS", "2"}, {"RX_LINE_RATE", "10"}};
  const std::string gt = Ip_get_gt_power_estimation(params);
  const std::string mig_text = Ip_get_mig_power_estimation(params);
  EXPECT_NE(gt, mig_text);
  EXPECT_TRUE(gt.ends_with("(W)")) << gt;
  for (char const* kind : {"GT", "gt", "Gt"}) EXPECT_EQ(Ip_power_est_get_power_estimation(params, kind), gt);
  for (char const* kind : {"MIG", "mig", "mIg"}) EXPECT_EQ(Ip_power_est_get_power_estimation(params, kind), mig_text);
  for (char const* kind : {"", "GTY", "MI", "G\xC3\xBC"})
    EXPECT_EQ(Ip_power_est_get_power_estimation(params, kind), "");
}

TEST(PlainFunctions, LetNoExceptionOut) {
  EXPECT_EQ(Ip_get_gt_power_estimation({}), "");
  EXPECT_EQ(Ip_get_mig_power_estimation({}), "");
  EXPECT_EQ(Ip_power_est_get_power_estimation({}, "GT"), "");
  EXPECT_THROW(gt_estimate({}), std::logic_error);
  EXPECT_THROW(mig_estimate({}), std::logic_error);
  EXPECT_EQ(Ip_get_gt_power_estimation({{"Power_PART", "nothing"}}), "Invalid Part!");
  EXPECT_EQ(Ip_get_mig_power_estimation({{"Power_PART", ""}}), "Invalid Part!");
}

}  // namespace
