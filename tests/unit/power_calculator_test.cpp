// The power calculator: its formulas followed by hand, and what holds for every core.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <random>

#include "kdi/common/KdiFile.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/host/PartCatalogue.h"
#include "platform/ip/power/gt_power.h"
#include "platform/ip/power/memory_power.h"
#include "tests/support/decimal_comma.h"
#include "tests/support/places.h"
#include "tests/support/power_fixture.h"
#include "tests/support/random.h"

namespace {

using Breakdown = std::map<std::string, float>;

template <class Record>
float watts(HIPWPowerCalcIntf& calculator, Record const& record) {
  Breakdown breakdown;
  if constexpr (std::is_same_v<Record, GtPowerRecord>)
    return calculator.calcGtPower(record, breakdown);
  else
    return calculator.calcMemoryPower(record, breakdown);
}

float small_gt(SmallDevice const& small, GtPowerRecord const& record) {
  Breakdown breakdown;
  return kdi::power::gt_power(small.part, small.model, record, breakdown);
}
float small_mig(SmallDevice const& small, MigPowerRecord const& record) {
  Breakdown breakdown;
  return kdi::power::memory_power(small.part, small.model, record, breakdown);
}

void expect_breakdown(Breakdown const& breakdown, std::map<std::string, double> const& expected) {
  for (auto const& [part, share] : expected) {
    ASSERT_EQ(breakdown.count(part), 1U) << part;
    EXPECT_NEAR(breakdown.at(part), share, 1e-6 * std::max(1.0, share)) << part;
  }
  EXPECT_EQ(breakdown.size(), expected.size());
}

double sum(Breakdown const& breakdown) {
  return std::accumulate(breakdown.begin(), breakdown.end(), 0.0,
                         [](double so_far, auto const& part) { return so_far + static_cast<double>(part.second); });
}

// ------------------------------------------------------------------------------------------------- followed by hand
TEST(GtPower, FollowsItsFormulas) {
  const SmallDevice small;
  Breakdown breakdown{{"of an earlier call", 1.0F}};
  const float total = kdi::power::gt_power(small.part, small.model, usual_gt(), breakdown);
  expect_breakdown(breakdown, {{"static", 1.5 * 0.02},
                               {"transmit", 4 * 0.1},
                               {"launch", 4 * 0.001 * 10},
                               {"receive", 4 * 0.2},
                               {"equaliser", 4 * 0.03},
                               {"termination", 4 * 0.5 * 0.5 / 100},
                               {"pll", 0.1},
                               {"reference", 0.04 * 2 * 0.25},
                               {"pcs_transmit", 4 * (10 * (0.001 + 0.0006 + 0.97 * 0.002) + 0.0032 + 0.0128)},
                               {"pcs_receive", 4 * (10 * (0.001 + 0.0006 + 0.97 * 0.002) + 0.0032 + 0.0128)}});
  EXPECT_NEAR(total, sum(breakdown), 1e-6);
}

TEST(GtPower, CountsPllsByWhatTheyServe) {
  const SmallDevice small;
  const auto plls = [&](auto change) {
    GtPowerRecord record = usual_gt();
    change(record);
    Breakdown breakdown;
    kdi::power::gt_power(small.part, small.model, record, breakdown);
    return breakdown.at("pll");
  };
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.numChannels = 5; }), 0.2F) << "two quads";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = r.txPllType = "CPLL"; }), 4 * 0.05F) << "one for each channel";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = "CPLL"; }), 0.1F + 4 * 0.05F);
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.txLineRate = 5; }), 0.1F) << "two rates of one PLL";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.txLineRate = 0; }), 0.1F);
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.gtDirection = "RX"; }), 0.1F);
  EXPECT_FLOAT_EQ(plls([](auto& r) {
                    r.rxPllType = r.txPllType = "CPLL";
                    r.cpllVcoFrequency = 2500;
                  }),
                  4 * 0.05F * 0.75F)
      << "half its highest frequency, half of the half that depends on it";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = r.txPllType = "QPLL"; }), 0.1F) << "the first QPLL";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = r.txPllType = "cpll0"; }), 4 * 0.05F) << "the only CPLL";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = r.txPllType = ""; }), 4 * 0.05F) << "four CPLLs take more";
  EXPECT_FLOAT_EQ(plls([](auto& r) {
                    r.rxPllType = r.txPllType = "";
                    r.numChannels = 1;
                  }),
                  0.1F)
      << "one QPLL takes more";
  EXPECT_FLOAT_EQ(plls([](auto& r) { r.rxPllType = ""; }), 0.1F) << "the transmitter's";
  EXPECT_FLOAT_EQ(plls([](auto& r) {
                    r.rxPllType = "";
                    r.txLineRate = 0;
                  }),
                  0.1F)
      << "that of a transmitter that is off";
}

TEST(GtPower, WordsHaveDefaultsAndPrefixes) {
  const SmallDevice small;
  const auto with = [&](auto change) {
    GtPowerRecord record = usual_gt();
    change(record);
    return small_gt(small, record);
  };
  const float usual = small_gt(small, usual_gt());
  const Reported reported;
  EXPECT_EQ(with([](auto& r) { r.rxDataDecoding = r.txDataEncoding = "64b66b_async"; }), usual);
  EXPECT_EQ(with([](auto& r) { r.gtType = "gtx1"; }), usual);
  EXPECT_EQ(with([](auto& r) { r.gtType = "gtxe9"; }), usual);
  EXPECT_EQ(with([](auto& r) { r.gtDirection = ""; }), usual);
  EXPECT_EQ(with([](auto& r) { r.rxDataDecoding = ""; }), with([](auto& r) { r.rxDataDecoding = "RAW"; }));
  EXPECT_EQ(with([](auto& r) { r.rxEqMode = "AUTO"; }), with([](auto& r) { r.rxEqMode = "LPM"; }));
  EXPECT_EQ(with([](auto& r) { r.rxEqMode = ""; }), with([](auto& r) { r.rxEqMode = "lpm"; }));
  EXPECT_TRUE(reported.lines.empty());
}

TEST(GtPower, ReportsWhatItDoesNotKnow) {
  const SmallDevice small;
  const auto told = [&](auto change) {
    GtPowerRecord record = usual_gt();
    change(record);
    const Reported reported;
    small_gt(small, record);
    return reported.lines;
  };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(told([](auto& r) { r.rxDataDecoding = "6B8B"; }), Lines{"unknown encoding \"6B8B\" counts as RAW"});
  EXPECT_EQ(told([](auto& r) { r.gtDirection = "UP"; }), Lines{"unknown direction \"UP\" counts as BOTH"});
  EXPECT_EQ(told([](auto& r) { r.rxEqMode = "CTLE"; }), Lines{"unknown equaliser mode \"CTLE\" counts as AUTO"});
  EXPECT_EQ(told([](auto& r) { r.txPllType = "XPLL"; }), Lines{"unknown PLL \"XPLL\" counts as QPLL0"})
      << "the receiver's";
  EXPECT_EQ(told([](auto& r) { r.txPllType = r.rxPllType = "XPLL"; }),
            (Lines{"unknown PLL \"XPLL\" counts as CPLL", "unknown PLL \"XPLL\" counts as CPLL"}));
  EXPECT_EQ(told([](auto& r) { r.gtType = "gth"; }),
            Lines{"the part small-1-c has no transceivers gth: their power counts as 0"});
}

TEST(GtPower, IsZeroForATypeThatThePartDoesNotHave) {
  const SmallDevice small;
  const Reported reported;
  GtPowerRecord record = usual_gt();
  record.gtType = "gth";
  EXPECT_EQ(small_gt(small, record), 0);
}

TEST(MemoryPower, FollowsItsFormulas) {
  const SmallDevice small;
  MigPowerRecord record = usual_mig();
  record.mcsEcc = record.debugSignal = record.axiSelection = true;
  record.axiDataWidth = 512;
  record.rankWidth = 2;
  record.slot = "Dual";
  record.memoryType = "RDIMMs";
  record.ioVoltage = "1.32 V";
  record.dkWidth = 2;
  record.qkWidth = 3;
  record.qvldWidth = 2;
  Breakdown breakdown;
  const float total = kdi::power::memory_power(small.part, small.model, record, breakdown);
  const double v = 1.21, rate = 1.6, a = 0.75, user = 0.2;
  const double load = 1.1 * (1 + 0.1 * 3);
  const double address_load = 0.5 * (1 + 0.05 * 7);
  const double controller = 0.2 + 0.002 * rate * a * 64;
  const double address_pins = 17 + 2 + 1 + 1 + 1 + 1;
  expect_breakdown(breakdown, {{"static", 1.5 * (0.02 + 0.005 * 8)},
                               {"controller", controller},
                               {"ecc", 0.1 * controller},
                               {"fabric", user * (0.8 + 0.0005 * 2 * 4 * 64)},
                               {"debug", 0.01 + 0.1 * user},
                               {"axi", 0.0004 * user * 512},
                               {"phy", 0.04 * 8 + 0.0003 * 4 * 0.8 * (64 + address_pins)},
                               {"write", v * 0.25 * rate * 0.008 * (64 + 8) * load},
                               {"read", v * 0.5 * rate * 0.004 * 64},
                               {"strobe", v * a * rate * 0.007 * (8 + 2 + 3 + 1) * load},
                               {"address", v * a * 0.004 * 0.8 * address_pins * address_load},
                               {"clock_pins", v * 0.009 * rate * 1 * address_load},
                               {"termination", v * 0.006 * 64 * (1 - a / 2)},
                               {"mmcm", 0.05 + 0.03 * 1.2 + 0.01 * (0.2 + 0.1)},
                               {"phy_pll", 2 * (0.03 + 0.02 * 1.6 + 0.01 * 0.8)},
                               {"clock_tree", 0.2 * (user + 0.2 / 12)}});
  EXPECT_NEAR(total, sum(breakdown), 1e-6);
}

TEST(MemoryPower, ReportsWhatItDoesNotKnow) {
  const SmallDevice small;
  const auto told = [&](auto change) {
    MigPowerRecord record = usual_mig();
    change(record);
    const Reported reported;
    small_mig(small, record);
    return reported.lines;
  };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(told([](auto&) {}), Lines{});
  EXPECT_EQ(told([](auto& r) { r.slot = r.memoryType = r.phyOnly = r.bankKind = r.ioPerformance = r.ioVoltage = ""; }),
            Lines{});
  EXPECT_EQ(told([](auto& r) { r.controllerFamily = "DDR3"; }),
            Lines{"the part small-1-c has no figures for the memory family \"DDR3\": only clocks, fabric and static "
                  "power are counted"});
  EXPECT_EQ(told([](auto& r) { r.slot = "Three"; }), Lines{"unknown slot \"Three\" counts as Single"});
  EXPECT_EQ(told([](auto& r) { r.memoryType = "SIMM"; }), Lines{"unknown memory type \"SIMM\" counts as Components"});
  EXPECT_EQ(told([](auto& r) { r.phyOnly = "half"; }), Lines{"unknown kind of controller \"half\" counts as Complete"});
  EXPECT_EQ(told([](auto& r) { r.bankKind = "QQ"; }), Lines{"unknown bank kind \"QQ\" counts as HP"});
  EXPECT_EQ(told([](auto& r) { r.ioPerformance = "Swift"; }),
            Lines{"unknown I/O performance \"Swift\" counts as High_Perf"});
  EXPECT_EQ(told([](auto& r) { r.inputTermination = "RTT_9"; }), Lines{"unknown termination \"RTT_9\" counts as NONE"});
  for (char const* text : {"none", "V1.2", "-1.2", "0V", "12", "nan", "inf"})
    EXPECT_EQ(told([&](auto& r) { r.ioVoltage = text; }),
              Lines{std::string("unknown I/O voltage \"") + text + "\" counts as the usual one"});
}

TEST(MemoryPower, OfAFamilyWithoutFiguresIsClocksFabricAndStatic) {
  const SmallDevice small;
  const Reported reported;
  MigPowerRecord record = usual_mig();
  record.controllerFamily = "";
  Breakdown breakdown;
  const float total = kdi::power::memory_power(small.part, small.model, record, breakdown);
  for (char const* part : {"controller", "write", "read", "strobe", "address", "clock_pins", "termination"})
    EXPECT_EQ(breakdown.at(part), 0) << part;
  for (char const* part : {"fabric", "mmcm", "phy_pll", "clock_tree", "static"})
    EXPECT_GT(breakdown.at(part), 0) << part;
  EXPECT_GT(total, 0);
}

// -------------------------------------------------------------------------------------------------------- conditions
TEST(Conditions, HeatLeakageAndVoltageCount) {
  SmallDevice small;
  const auto at = [&](std::string const& celsius, double core_v) {
    small.part.properties["TEMPERATURE_MAX_C"] = celsius;
    small.device->speed_grades.front().core_v = core_v;
    Breakdown breakdown;
    kdi::power::gt_power(small.part, small.model, usual_gt(), breakdown);
    return breakdown;
  };
  Breakdown cool = at("25", 1);
  Breakdown hot = at("75", 1);
  EXPECT_NEAR(hot["static"] / cool["static"], 4, 1e-5);
  EXPECT_NEAR(hot["transmit"] / cool["transmit"], 1.05, 1e-5);
  EXPECT_EQ(hot["termination"], cool["termination"]);
  Breakdown strong = at("25", 2);
  EXPECT_NEAR(strong["static"] / cool["static"], 4, 1e-5);
  EXPECT_NEAR(strong["pcs_receive"] / cool["pcs_receive"], 4, 1e-5);
  EXPECT_EQ(strong["receive"], cool["receive"]);
  small.model.conditions.leakage.clear();
  EXPECT_NEAR(cool["static"] / at("25", 1)["static"], 1.5, 1e-5) << "a grade that is not named";
  {
    const Reported reported;
    EXPECT_EQ(at("warm", 1), at("25", 1));
    EXPECT_EQ(reported.lines.front(), "the part's TEMPERATURE_MAX_C \"warm\" is no temperature");
  }
}

// ------------------------------------------------------------------------------------------- what holds for all parts
class ShippedPart : public testing::TestWithParam<std::string> {
 protected:
  ShippedPart() : part(HARPartsParse::getPart(GetParam())), calculator(HIPWPowerCalcIntf::getIPPowerCalcIntf(part)) {}

  GtPowerRecord gt() const {
    GtPowerRecord record = usual_gt();
    kdi::device::Transceiver const& type = part->values().speed->transceivers.front();
    record.rxPllType = record.txPllType = type.plls.front().name;
    return record;
  }
  // A record of each family that the part has figures for.
  std::vector<MigPowerRecord> migs() const {
    std::vector<MigPowerRecord> all;
    for (kdi::power::MemoryFamily const& family : kdi::power::model_of(part->values().device->generation)->memories) {
      all.push_back(usual_mig());
      all.back().controllerFamily = family.family;
      all.back().ioVoltage = "";
    }
    return all;
  }

  HDARPart const* part;
  std::unique_ptr<HIPWPowerCalcIntf> calculator;
};

INSTANTIATE_TEST_SUITE_P(Some, ShippedPart,
                         testing::Values("zrv7030-c484-1-c", "zrv9010-f625-2-i", "brvn2104-b900-1LHP-e-S",
                                         "brvn3716-die-2LHP-e-S-es1", "brvn5130-c2601-2LHP-i-S"),
                         [](auto const& name) {
                           std::string id;
                           for (char letter : name.param) id += letter == '-' ? '_' : letter;
                           return id;
                         });

TEST_P(ShippedPart, HasACalculatorWhosePartsSumToTheTotal) {
  ASSERT_NE(part, nullptr);
  ASSERT_NE(calculator, nullptr);
  Breakdown breakdown;
  const float gt_total = calculator->calcGtPower(gt(), breakdown);
  EXPECT_GT(gt_total, 0.1F);
  EXPECT_NEAR(sum(breakdown), gt_total, 1e-5 * gt_total);
  for (MigPowerRecord const& record : migs()) {
    const float total = calculator->calcMemoryPower(record, breakdown);
    EXPECT_GT(total, 0.1F);
    EXPECT_NEAR(sum(breakdown), total, 1e-5 * total) << record.controllerFamily;
  }
}

// Power rises when one field rises, all else equal.
template <class Record>
void expect_rising(HIPWPowerCalcIntf& calculator, Record const& base, char const* what,
                   std::vector<double> const& values, std::function<void(Record&, double)> const& set) {
  float before = -1;
  for (const double value : values) {
    Record record = base;
    set(record, value);
    const float now = watts(calculator, record);
    EXPECT_GT(now, before) << what << " " << value;
    before = now;
  }
}

TEST_P(ShippedPart, TransceiversTakeMoreWithMoreOfEverything) {
  const GtPowerRecord base = gt();
  using Set = std::function<void(GtPowerRecord&, double)>;
  const auto rises = [&](char const* what, std::vector<double> const& values, Set const& set) {
    expect_rising<GtPowerRecord>(*calculator, base, what, values, set);
  };
  rises("channels", {0, 1, 2, 3, 4, 5, 8, 16}, [](auto& r, double v) { r.numChannels = static_cast<int>(v); });
  rises("rate", {0, 1.25, 5, 10, 10.3125, 16, 25, 40, 58},
        [](auto& r, double v) { r.rxLineRate = r.txLineRate = static_cast<float>(v); });
  rises("internal width", {0, 16, 20, 32, 64, 80},
        [](auto& r, double v) { r.rxIntDataWidth = r.txIntDataWidth = static_cast<int>(v); });
  rises("user width", {0, 16, 32, 64, 160}, [](auto& r, double v) { r.txUserDataWidth = static_cast<int>(v); });
  rises("reference", {0, 60, 100, 156.25, 820},
        [](auto& r, double v) { r.txRefclkFrequency = r.rxRefclkFrequency = static_cast<float>(v); });
  rises("loss", {0, 1, 14, 20, 30}, [](auto& r, double v) { r.insLossNyq = static_cast<int>(v); });
  rises("termination", {0, 100, 800}, [](auto& r, double v) { r.rxTerminationProgValue = static_cast<int>(v); });
}

TEST_P(ShippedPart, MemoriesTakeMoreWithMoreOfEverything) {
  for (MigPowerRecord const& base : migs()) {
    SCOPED_TRACE(base.controllerFamily);
    using Set = std::function<void(MigPowerRecord&, double)>;
    const auto rises = [&](char const* what, std::vector<double> const& values, Set const& set) {
      expect_rising<MigPowerRecord>(*calculator, base, what, values, set);
    };
    rises("clock", {0, 100, 400, 800, 1600}, [](auto& r, double v) { r.memoryClock = static_cast<float>(v); });
    rises("user clock", {0, 100, 200, 400}, [](auto& r, double v) { r.uiClock = static_cast<float>(v); });
    rises("data width", {0, 8, 16, 32, 64, 72}, [](auto& r, double v) { r.dqWidth = static_cast<int>(v); });
    rises("address width", {0, 13, 17}, [](auto& r, double v) { r.addrWidth = static_cast<int>(v); });
    rises("ranks", {1, 2, 4}, [](auto& r, double v) { r.rankWidth = static_cast<int>(v); });
    rises("devices", {1, 2, 8}, [](auto& r, double v) { r.numDevices = static_cast<int>(v); });
    rises("voltage", {1.0, 1.2, 1.35, 1.5, 1.8}, [](auto& r, double v) { r.ioVoltage = std::to_string(v); });
    rises("AXI width", {0, 64, 512}, [](auto& r, double v) {
      r.axiSelection = true;
      r.axiDataWidth = static_cast<int>(v);
    });
    rises("MMCM", {100, 200, 400}, [](auto& r, double v) { r.mmcmFrequency = static_cast<float>(v); });
  }
}

// Of two records that differ in one quantity alone, wherever the others are, the one with more of it takes no less.
template <class Record>
using Quantity = std::pair<char const*, std::function<void(Record&, double)>>;

template <class Record, class Field>
Quantity<Record> quantity(char const* name, Field Record::*field) {
  return {name, [field](Record& record, double value) { record.*field = static_cast<Field>(value); }};
}

template <class Record>
void expect_never_falling(HIPWPowerCalcIntf& calculator, Record const& base,
                          std::vector<Quantity<Record>> const& quantities, std::mt19937_64& random) {
  // small numbers meet each other, large ones come from all over
  const auto any = [&](double least) {
    return random() % 2 == 0 ? static_cast<double>(random() % 12)
                             : least + static_cast<double>(random() % 100000) / 100;
  };
  for (int i = 0; i < 3000; ++i) {
    Record less = base;
    for (auto const& [name, set] : quantities)
      if (random() % 2 == 0) set(less, any(0));
    Record more = less;
    auto const& [name, set] = quantities[random() % quantities.size()];
    const double low = any(0);
    set(less, low);
    set(more, low + any(0.01));
    const float watts_of_less = watts(calculator, less);
    ASSERT_GE(watts(calculator, more), watts_of_less * (1 - 1e-6F)) << name << " above " << low;
  }
}

TEST_P(ShippedPart, TransceiversNeverTakeLessWithMoreOfAnything) {
  test_support::Seeded<std::mt19937_64> random(test_support::fresh_seed());
  using R = GtPowerRecord;
  const std::vector<Quantity<R>> quantities = {
      quantity("numChannels", &R::numChannels),
      quantity("rxLineRate", &R::rxLineRate),
      quantity("txLineRate", &R::txLineRate),
      quantity("rxIntDataWidth", &R::rxIntDataWidth),
      quantity("txIntDataWidth", &R::txIntDataWidth),
      quantity("rxUserDataWidth", &R::rxUserDataWidth),
      quantity("txUserDataWidth", &R::txUserDataWidth),
      quantity("rxRefclkFrequency", &R::rxRefclkFrequency),
      quantity("txRefclkFrequency", &R::txRefclkFrequency),
      quantity("insLossNyq", &R::insLossNyq),
      quantity("termination", &R::rxTerminationProgValue),
      {"cpllVcoFrequency", [](R& r, double v) { r.cpllVcoFrequency = static_cast<float>(1 + 10 * v); }}};
  auto const& plls = part->values().speed->transceivers.front().plls;
  for (std::string const& transmit : {std::string(), plls.front().name, plls.back().name})
    for (std::string const& receive : {std::string(), plls.front().name, plls.back().name})
      for (char const* const mode : {"", "LPM", "DFE"}) {
        R base = gt();
        base.txPllType = transmit;
        base.rxPllType = receive;
        base.rxEqMode = mode;
        SCOPED_TRACE("PLLs " + transmit + " and " + receive + ", equaliser " + mode);
        base.cpllVcoFrequency = 2500;
        expect_never_falling(*calculator, base, quantities, random);
      }
}

TEST_P(ShippedPart, MemoriesNeverTakeLessWithMoreOfAnything) {
  test_support::Seeded<std::mt19937_64> random(test_support::fresh_seed());
  using R = MigPowerRecord;
  const std::vector<Quantity<R>> quantities = {
      quantity("memoryClock", &R::memoryClock),
      quantity("uiClock", &R::uiClock),
      quantity("fabricClock", &R::fabricClock),
      quantity("nckPerClk", &R::nckPerClk),
      quantity("rankWidth", &R::rankWidth),
      quantity("numDevices", &R::numDevices),
      quantity("axiDataWidth", &R::axiDataWidth),
      quantity("addrWidth", &R::addrWidth),
      quantity("dmWidth", &R::dmWidth),
      quantity("ckWidth", &R::ckWidth),
      quantity("dkWidth", &R::dkWidth),
      quantity("qkWidth", &R::qkWidth),
      quantity("qvldWidth", &R::qvldWidth),
      quantity("ckeWidth", &R::ckeWidth),
      quantity("bankWidth", &R::bankWidth),
      quantity("csWidth", &R::csWidth),
      quantity("dqsWidth", &R::dqsWidth),
      quantity("dqWidth", &R::dqWidth),
      quantity("odtWidth", &R::odtWidth),
      quantity("lrWidth", &R::lrWidth),
      quantity("bankGroupWidth", &R::bankGroupWidth),
      quantity("phyClockMultiplier", &R::phyClockMultiplier),
      {"mmcmFrequency", [](R& r, double v) { r.mmcmFrequency = static_cast<float>(1 + v); }},
      {"clkfboutMult", [](R& r, double v) { r.clkfboutMult = static_cast<float>(1 + v); }},
      {"ioVoltage", [](R& r, double v) { r.ioVoltage = std::to_string(0.1 + v / 300); }}};
  for (R base : migs()) {
    SCOPED_TRACE(base.controllerFamily);
    base.axiSelection = base.debugSignal = base.mcsEcc = true;
    base.ioVoltage = "1.2V";
    expect_never_falling(*calculator, base, quantities, random);
  }
}

TEST_P(ShippedPart, ZeroChannelsTakeStaticPowerAlone) {
  GtPowerRecord record = gt();
  record.numChannels = 0;
  Breakdown breakdown;
  const float total = calculator->calcGtPower(record, breakdown);
  EXPECT_GT(total, 0);
  EXPECT_EQ(breakdown.at("static"), total);
  record.numChannels = -3;
  EXPECT_EQ(watts(*calculator, record), total);
  record.numChannels = 4;
  record.rxLineRate = record.txLineRate = 0;
  calculator->calcGtPower(record, breakdown);
  for (auto const& [name, share] : breakdown) EXPECT_EQ(share > 0, name == "static") << name;
}

TEST_P(ShippedPart, AnUnusedDirectionTakesNothing) {
  GtPowerRecord record = gt();
  Breakdown breakdown;
  record.gtDirection = "tx";
  calculator->calcGtPower(record, breakdown);
  for (char const* name : {"receive", "equaliser", "termination", "pcs_receive"})
    EXPECT_EQ(breakdown.at(name), 0) << name;
  EXPECT_GT(breakdown.at("transmit"), 0);
  record.gtDirection = "RX";
  calculator->calcGtPower(record, breakdown);
  for (char const* name : {"transmit", "launch", "pcs_transmit"}) EXPECT_EQ(breakdown.at(name), 0) << name;
  EXPECT_GT(breakdown.at("receive"), 0);
}

TEST_P(ShippedPart, EachFieldOfATransceiverCounts) {
  std::map<std::string, std::function<void(GtPowerRecord&)>> changes = {
      {"rxTerminationProgValue", [](auto& r) { r.rxTerminationProgValue = 900; }},
      {"numChannels", [](auto& r) { r.numChannels = 5; }},
      {"gtDirection", [](auto& r) { r.gtDirection = "TX"; }},
      {"rxLineRate", [](auto& r) { r.rxLineRate = 12; }},
      {"txLineRate", [](auto& r) { r.txLineRate = 12; }},
      {"rxDataDecoding", [](auto& r) { r.rxDataDecoding = "RAW"; }},
      {"txDataEncoding", [](auto& r) { r.txDataEncoding = "RAW"; }},
      {"rxIntDataWidth", [](auto& r) { r.rxIntDataWidth = 40; }},
      {"txIntDataWidth", [](auto& r) { r.txIntDataWidth = 40; }},
      {"rxUserDataWidth", [](auto& r) { r.rxUserDataWidth = 40; }},
      {"txUserDataWidth", [](auto& r) { r.txUserDataWidth = 40; }},
      {"rxRefclkFrequency", [](auto& r) { r.rxRefclkFrequency = 100; }},
      {"txRefclkFrequency", [](auto& r) { r.txRefclkFrequency = 100; }},
      {"insLossNyq", [](auto& r) { r.insLossNyq = 20; }},
      {"rxEqMode", [](auto& r) { r.rxEqMode = "LPM"; }}};
  auto const& plls = part->values().speed->transceivers.front().plls;
  changes["rxPllType"] = [&](auto& r) { r.rxPllType = plls.back().name; };
  changes["txPllType"] = [&](auto& r) { r.txPllType = plls.back().name; };
  GtPowerRecord reserved = gt();
  reserved.reservedFlag = true;
  reserved.reservedWord = 5;
  EXPECT_EQ(watts(*calculator, reserved), watts(*calculator, gt()));
  if (!plls.front().shared) changes["cpllVcoFrequency"] = [](auto& r) { r.cpllVcoFrequency = 2500; };
  if (part->values().speed->transceivers.size() > 1) changes["gtType"] = [](auto& r) { r.gtType = "gtm"; };
  const float base = watts(*calculator, gt());
  for (auto const& [field, change] : changes) {
    GtPowerRecord record = gt();
    change(record);
    EXPECT_NE(watts(*calculator, record), base) << field;
  }
}

TEST_P(ShippedPart, EachFieldOfAMemoryCountsOrIsToldNotTo) {
  const std::map<std::string, std::function<void(MigPowerRecord&)>> changes = {
      {"debugSignal", [](auto& r) { r.debugSignal = true; }},
      {"rankWidth", [](auto& r) { r.rankWidth = 2; }},
      {"slot", [](auto& r) { r.slot = "Dual"; }},
      {"numDevices", [](auto& r) { r.numDevices = 8; }},
      {"memoryType", [](auto& r) { r.memoryType = "RDIMMs"; }},
      {"phyOnly", [](auto& r) { r.phyOnly = "Phy_Only_Single"; }},
      {"axi", [](auto& r) { r.axiSelection = true, r.axiDataWidth = 64; }},
      {"clkoutDivide", [](auto& r) { r.clkoutDivide[3] = 4; }},
      {"mmcmFrequency", [](auto& r) { r.mmcmFrequency = 300; }},
      {"clkfboutMult", [](auto& r) { r.clkfboutMult = 5; }},
      {"useCsPort", [](auto& r) { r.useCsPort = false; }},
      {"useDmPort", [](auto& r) { r.useDmPort = false; }},
      {"memoryClock", [](auto& r) { r.memoryClock = 900; }},
      {"addrWidth", [](auto& r) { r.addrWidth = 18; }},
      {"dmWidth", [](auto& r) { r.dmWidth = 9; }},
      {"ckWidth", [](auto& r) { r.ckWidth = 2; }},
      {"dkWidth", [](auto& r) { r.dkWidth = 2; }},
      {"qkWidth", [](auto& r) { r.qkWidth = 2; }},
      {"qvldWidth", [](auto& r) { r.qvldWidth = 2; }},
      {"ckeWidth", [](auto& r) { r.ckeWidth = 2; }},
      {"bankWidth", [](auto& r) { r.bankWidth = 3; }},
      {"csWidth", [](auto& r) { r.csWidth = 2; }},
      {"dqsWidth", [](auto& r) { r.dqsWidth = 9; }},
      {"dqWidth", [](auto& r) { r.dqWidth = 72; }},
      {"odtWidth", [](auto& r) { r.odtWidth = 0; }},
      {"lrWidth", [](auto& r) { r.lrWidth = 1; }},
      {"bankGroupWidth", [](auto& r) { r.bankGroupWidth = 2; }},
      {"ioVoltage", [](auto& r) { r.ioVoltage = "1.05V"; }},
      {"phyClockRatio", [](auto& r) { r.phyClockRatio = 2; }},
      {"nckPerClk", [](auto& r) { r.nckPerClk = 2; }},
      {"uiClock", [](auto& r) { r.uiClock = 250; }},
      {"phyClockMultiplier", [](auto& r) { r.phyClockMultiplier = 16; }},
      {"phyClockDivider", [](auto& r) { r.phyClockDivider = 4; }},
      {"fabricClock", [](auto& r) { r.fabricClock = 100; }},
      {"outputTermination", [](auto& r) { r.outputTermination = "usual"; }},
      {"inputTermination", [](auto& r) { r.inputTermination = "nothing"; }},
      {"ioPerformance", [](auto& r) { r.ioPerformance = "Low_Power"; }},
      {"readActivity", [](auto& r) { r.readActivity = 0.5F; }},
      {"writeActivity", [](auto& r) { r.writeActivity = 0.5F; }}};
  const std::map<std::string, std::function<void(MigPowerRecord&)>> without_influence = {
      {"timePeriod", [](auto& r) { r.timePeriod = 1; }},
      {"memoryPart", [](auto& r) { r.memoryPart = "other"; }},
      {"mmcmIdxBank", [](auto& r) { r.mmcmIdxBank = 2; }},
      {"clkoutphyMode", [](auto& r) { r.clkoutphyMode = "VCO"; }},
      {"reservedText1", [](auto& r) { r.reservedText1 = "x"; }},
      {"reservedText2", [](auto& r) { r.reservedText2 = "x"; }}};
  const Reported warnings_about_words_that_are_none_here;
  kdi::power::Model const& model = *kdi::power::model_of(part->values().device->generation);
  for (MigPowerRecord base_record : migs()) {
    SCOPED_TRACE(base_record.controllerFamily);
    for (kdi::power::MemoryFamily const& family : model.memories)
      if (family.family == base_record.controllerFamily) base_record.outputTermination = "NONE";
    const float base = watts(*calculator, base_record);
    for (auto const& [field, change] : changes) {
      MigPowerRecord record = base_record;
      change(record);
      if (field == "outputTermination")
        for (kdi::power::MemoryFamily const& family : model.memories)
          if (family.family == record.controllerFamily) record.outputTermination = family.usual_termination;
      EXPECT_NE(watts(*calculator, record), base) << field;
    }
    for (auto const& [field, change] : without_influence) {
      MigPowerRecord record = base_record;
      change(record);
      EXPECT_EQ(watts(*calculator, record), base) << field;
    }
    MigPowerRecord ecc = base_record;
    ecc.mcsEcc = true;
    MigPowerRecord other_bank = base_record;
    other_bank.bankKind = model.memory.bank_kinds.all.back().name;
    EXPECT_NE(watts(*calculator, other_bank), base);
    const bool has_ecc = base_record.controllerFamily.starts_with("DDR");
    EXPECT_EQ(watts(*calculator, ecc) > base, has_ecc);
  }
}

TEST_P(ShippedPart, IsFiniteAndNotNegativeForAnyRecord) {
  const Reported reported;
  test_support::Seeded<std::mt19937_64> random(test_support::fresh_seed());
  const float kFloats[] = {0,
                           -1,
                           1,
                           1e-38F,
                           1e-45F,
                           1e38F,
                           -1e38F,
                           300,
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN()};
  const int kInts[] = {0, 1, -1, 2, 64, INT_MAX, INT_MIN};
  const auto any_float = [&] { return kFloats[random() % std::size(kFloats)]; };
  const auto any_int = [&] { return kInts[random() % std::size(kInts)]; };
  for (int i = 0; i < 2000; ++i) {
    GtPowerRecord gt_record = gt();
    for (int* field : {&gt_record.numChannels, &gt_record.rxTerminationProgValue, &gt_record.rxIntDataWidth,
                       &gt_record.txUserDataWidth, &gt_record.insLossNyq})
      *field = any_int();
    for (float* field : {&gt_record.rxLineRate, &gt_record.txLineRate, &gt_record.rxRefclkFrequency,
                         &gt_record.txRefclkFrequency, &gt_record.cpllVcoFrequency})
      *field = any_float();
    const float gt_watts = watts(*calculator, gt_record);
    ASSERT_TRUE(std::isfinite(gt_watts) && gt_watts >= 0) << gt_watts;
    MigPowerRecord record = migs().front();
    for (int* field : {&record.rankWidth, &record.numDevices, &record.axiDataWidth, &record.addrWidth, &record.dmWidth,
                       &record.ckWidth, &record.dqsWidth, &record.dqWidth, &record.phyClockRatio, &record.nckPerClk})
      *field = any_int();
    for (float* field : {&record.clkoutDivide[0], &record.clkoutDivide[6], &record.mmcmFrequency, &record.clkfboutMult,
                         &record.memoryClock, &record.uiClock, &record.phyClockMultiplier, &record.phyClockDivider,
                         &record.fabricClock, &record.readActivity, &record.writeActivity})
      *field = any_float();
    const float mig_watts = watts(*calculator, record);
    ASSERT_TRUE(std::isfinite(mig_watts) && mig_watts >= 0) << mig_watts;
  }
}

TEST(Calculator, IsTheSameUnderADecimalComma) {
  const auto both = [] {
    // the data are read anew, under whatever locale there is
    const kdi::power::Model model = kdi::power::read_model(kdi::read_file(places::data("power/tavrel.json")), "tavrel");
    kdi::device::Part const& part = HARPartsParse::getPart("brvn5130-c2601-2LHP-i-S")->values();
    MigPowerRecord record = usual_mig();
    record.ioVoltage = "1.35V";
    Breakdown breakdown;
    return std::pair(kdi::power::gt_power(part, model, usual_gt(), breakdown),
                     kdi::power::memory_power(part, model, record, breakdown));
  };
  const Reported reported;  // of a PLL that the part does not have
  const auto before = both();
  const DecimalComma comma;
  EXPECT_EQ(both(), before);
}

TEST(Calculator, IsNullWithoutAPartOrAModel) {
  EXPECT_EQ(HIPWPowerCalcIntf::getIPPowerCalcIntf(nullptr), nullptr);
  const SmallDevice small;
  auto values = std::make_shared<kdi::device::Part>(small.part);
  const HDARPart part(values);
  EXPECT_EQ(HIPWPowerCalcIntf::getIPPowerCalcIntf(&part), nullptr);
}

TEST(Calculator, ALeakierGradeAndAHotterOneTakeMore) {
  const auto static_w = [](char const* name) {
    const std::unique_ptr<HIPWPowerCalcIntf> calculator(
        HIPWPowerCalcIntf::getIPPowerCalcIntf(HARPartsParse::getPart(name)));
    Breakdown breakdown;
    calculator->calcGtPower(usual_gt(), breakdown);
    return breakdown.at("static");
  };
  EXPECT_GT(static_w("zrv7030-c484-2-c"), static_w("zrv7030-c484-1-c"));
  EXPECT_GT(static_w("zrv7030-c484-1-i"), static_w("zrv7030-c484-1-c"));
}

}  // namespace
