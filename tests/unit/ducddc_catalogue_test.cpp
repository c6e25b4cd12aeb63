// Every chain of the catalogue, measured: the tables as they are compiled in, against responses computed here directly.
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <numbers>
#include <set>
#include <string>
#include <vector>

#include "tcltasks/dsp/ducddcgen/ducddcgen.h"
#include "tests/support/places.h"
#include "tools/ducddc/rules.h"

namespace {

using namespace ducddcgen_init;

ducddc::Rules const& rules() {
  static const ducddc::Rules read = ducddc::read_rules(places::data("ducddc/rules.json"));
  return read;
}

double decibels(double ratio) { return 20 * std::log10(ratio); }

// What a name says, by the rules' tables.
struct Named {
  bool down;
  ducddc::Channel channel;
  ducddc::RfRate rf;
  int carriers, passband_mhz, real_if, os;
};

template <class Row, class Key>
Row row_of(std::vector<Row> const& rows, Key Row::*key, Key value) {
  for (Row const& row : rows)
    if (row.*key == value) return row;
  ADD_FAILURE() << "no row for " << value;
  return rows.front();
}

Named parse(std::string const& name) {
  char kind[4] = {};
  int chbw = 0, frf = 0;
  Named named{};
  EXPECT_EQ(std::sscanf(name.c_str(), "%3s_chbw%d_C%d_pb%d_if%d_frf%d_os%d", kind, &chbw, &named.carriers,
                        &named.passband_mhz, &named.real_if, &frf, &named.os),
            7)
      << name;
  named.down = std::string(kind) == "ddc";
  named.channel = row_of(rules().channels, &ducddc::Channel::chbw, chbw);
  named.rf = row_of(rules().rf, &ducddc::RfRate::frf, frf);
  return named;
}

std::vector<double> taps_of(TapStage const& stage) {
  return {coef_data + stage.coef_index, coef_data + stage.coef_index + stage.coe_taps};
}

// Amplitude of a symmetric filter, summed from the ends.
double amplitude(std::vector<double> const& taps, double frequency) {
  const std::size_t centre = taps.size() / 2;
  double sum = 0;
  for (std::size_t k = centre; k >= 1; --k)
    sum += 2 * taps[centre + k] * std::cos(2 * std::numbers::pi * static_cast<double>(k) * frequency);
  return sum + taps[centre];
}

// The responses of one filter on a grid fine enough for its length, kept by filter.
class Response {
 public:
  explicit Response(TapStage const& stage) : values_(kPoints + 1) {
    const std::vector<double> taps = taps_of(stage);
    for (std::size_t i = 0; i <= kPoints; ++i) values_[i] = amplitude(taps, 0.5 * static_cast<double>(i) / kPoints);
  }
  // At any frequency in cycles per sample; the response is even and has period 1.
  double operator()(double frequency) const {
    double folded = std::fabs(frequency - std::floor(frequency + 0.5));
    const double at = folded * 2 * kPoints;
    const auto index = std::min<std::size_t>(static_cast<std::size_t>(at), kPoints - 1);
    // The grid is a hundred times finer than the narrowest ripple, so a line between its points is enough.
    const double share = at - static_cast<double>(index);
    return values_[index] * (1 - share) + values_[index + 1] * share;
  }

 private:
  static constexpr std::size_t kPoints = 1 << 13;
  std::vector<double> values_;
};

Response const& response_of(TapStage const& stage) {
  static std::map<int, Response> known;
  return known.try_emplace(stage.coef_index, stage).first->second;
}

struct Side {
  std::vector<TapStage> stages;
  std::vector<double> rates;  // higher rate of each, Hz
  double operator()(double hertz) const {
    double product = 1;
    for (std::size_t s = 0; s < stages.size(); ++s) product *= response_of(stages[s])(hertz / rates[s]);
    return product;
  }
};

// Largest |side| for frequencies from low to high Hz.
double largest(Side const& side, double low, double high, int points = 200) {
  double most = 0;
  for (int i = 0; i <= points; ++i) most = std::max(most, std::fabs(side(low + (high - low) * i / points)));
  return most;
}

double ripple(Side const& side, double edge) {
  double most = 0;
  for (int i = 0; i <= 400; ++i) most = std::max(most, std::fabs(side(edge * i / 400) - 1));
  return most;
}

TEST(DucDdcCatalogue, IsSortedAndComplete) {
  std::size_t down = 0;
  for (std::size_t i = 0; i < kRecords; ++i) {
    const std::string name = name_of(database[i]);
    if (i > 0) {
      ASSERT_LT(name_of(database[i - 1]), name);
    }
    down += name.starts_with("ddc_");
  }
  EXPECT_EQ(down, 14701u);
  EXPECT_EQ(name_of(database[0]), "ddc_chbw10_C10_pb100_if0_frf122_os2");
  EXPECT_EQ(name_of(database[kRecords - 1]), "duc_chbw5_C8_pb80_if0_frf245_os2");
}

TEST(DucDdcCatalogue, EveryNameIsFoundAndNoOther) {
  for (Record const& record : database) {
    const std::string name = name_of(record);
    ASSERT_EQ(find_record(name), &record);
    ASSERT_EQ(find_record(name + "x"), nullptr);
    ASSERT_EQ(find_record(name.substr(0, name.size() - 1) + "_"), nullptr);
  }
  for (char const* none : {"", "a", "ddc_chbw10", "ddc_chbw10_C10_pb100_if0_frf122_os1", "zzz"})
    EXPECT_EQ(find_record(none), nullptr) << none;
  EXPECT_EQ(find_record(std::string("ddc_chbw10_C10_pb100_if0_frf122_os2\0x", 37)), nullptr);
  EXPECT_EQ(find_record(std::string(5000, 'd')), nullptr);
}

// What bounds a lookup: every row once, under its name's hash, and few under one hash.
TEST(DucDdcCatalogue, TheIndexListsEveryRowOnce) {
  std::vector<int> listed(kRecords);
  EXPECT_EQ(name_starts[0], 0);
  EXPECT_EQ(name_starts[kNameBuckets], kRecords);
  for (std::size_t hash = 0; hash < kNameBuckets; ++hash) {
    ASSERT_LE(name_starts[hash], name_starts[hash + 1]);
    ASSERT_LE(name_starts[hash + 1] - name_starts[hash], static_cast<int>(kMostInBucket));
    for (std::size_t i = name_starts[hash]; i < name_starts[hash + 1]; ++i) {
      ASSERT_EQ(name_hash(name_of(database[name_rows[i]])), hash);
      ++listed[name_rows[i]];
    }
  }
  EXPECT_EQ(std::count(listed.begin(), listed.end(), 1), static_cast<std::ptrdiff_t>(kRecords));
}

TEST(DucDdcCatalogue, EveryValueOfANameOccurs) {
  std::set<int> chbw, carriers, passbands, real_if, frf, os;
  for (Record const& record : database) {
    const Named named = parse(name_of(record));
    chbw.insert(named.channel.chbw);
    carriers.insert(named.carriers);
    passbands.insert(named.passband_mhz);
    real_if.insert(named.real_if);
    frf.insert(named.rf.frf);
    os.insert(named.os);
  }
  EXPECT_EQ(chbw, (std::set<int>{1, 2, 3, 4, 5, 6, 8, 10, 15, 20}));
  EXPECT_EQ(carriers, (std::set<int>{1, 2, 3, 4, 5, 6, 8, 9, 10, 12, 15, 16, 18, 24, 30}));
  EXPECT_EQ(passbands, (std::set<int>{5, 10, 15, 20, 30, 40, 50, 60, 80, 100}));
  EXPECT_EQ(real_if, (std::set<int>{0, 1}));
  EXPECT_EQ(frf, (std::set<int>{30, 46, 61, 76, 92, 122, 153, 184, 245}));
  EXPECT_EQ(os.size(), 16u);
  EXPECT_EQ(*os.begin(), 1);
  EXPECT_EQ(*os.rbegin(), 16);
}

TEST(DucDdcCatalogue, FieldsKeepTheirRanges) {
  for (Record const& record : database) {
    const std::string name = name_of(record);
    SCOPED_TRACE(name);
    ASSERT_TRUE(record.stage_count >= 2 && record.stage_count <= 8);
    ASSERT_TRUE(record.mixer_stage >= -1 && record.mixer_stage <= 5);
    ASSERT_TRUE(record.mixer_dsps == 0 || record.mixer_dsps == 1 || record.mixer_dsps == 2 || record.mixer_dsps == 4);
    ASSERT_TRUE(record.mix_growth >= 0 && record.mix_growth <= 3);
    ASSERT_TRUE(record.mixer_freq >= 6400000 && record.mixer_freq <= 1000000000);
    ASSERT_TRUE(record.clean_time >= 42 && record.clean_time <= 11392);
    ASSERT_EQ(record.evm, -1.0f);
    ASSERT_EQ(record.reserved, 0);
    const bool single = name.find("_C1_") != std::string::npos;
    ASSERT_EQ(record.mixer_stage == -1, single);
    ASSERT_EQ(record.mixer_dsps == 0, single);
    ASSERT_EQ(record.mixer_freq == 1000000000, single);
    for (int s = 0; s < record.stage_count; ++s) {
      const int step = per_stage_data[record.step_offset + s];
      ASSERT_TRUE(step == 1 || step == 2 || step == 3 || step == 5);
      ASSERT_EQ(per_stage_data[record.step_div_offset + s], 1);
      ASSERT_TRUE(per_stage_data[record.paths_offset + s] >= 1 && per_stage_data[record.paths_offset + s] <= 36);
      ASSERT_LE(per_stage_data[record.growth_offset + s], 1);
    }
  }
}

// Rates, folding, mixer and settling follow from the name and the stages.
TEST(DucDdcCatalogue, RatesPathsAndSettlingAgree) {
  for (Record const& record : database) {
    const Named named = parse(name_of(record));
    SCOPED_TRACE(name_of(record));
    long rate = named.rf.rate;
    int decimation = 1, settling = 1;
    for (int s = 0; s < record.stage_count; ++s) {
      TapStage const& stage = tap_stages[record.tap_stage_index + s];
      const bool composite = s < record.mixer_stage;
      if (s == record.mixer_stage) {
        ASSERT_EQ(record.mixer_freq, rate);
        ASSERT_LE(named.passband_mhz * 1e6, rate * (5.0 / 6 + 1e-4));
      }
      // A path serves a sample of one component of one carrier in each clock cycle of a sample.
      const int carriers = composite ? 1 : named.carriers;
      const int components = composite && s == 0 && named.real_if ? 1 : 2;
      const int cycles = named.os * decimation;
      const int paths = per_stage_data[record.paths_offset + s];
      ASSERT_EQ(paths % components, 0);
      ASSERT_GE(paths / components * cycles, carriers);
      ASSERT_LT((paths / components - 1) * cycles, carriers) << "a path too many";
      settling += stage.coe_taps * decimation;
      const int step = per_stage_data[record.step_offset + s];
      ASSERT_EQ(step == 1, s == record.stage_count - 1);
      ASSERT_EQ(rate % step, 0);
      rate /= step;
      decimation *= step;
    }
    ASSERT_EQ(rate, named.channel.base_rate);
    ASSERT_LE(named.os * named.rf.rate, 492'000'000);
    ASSERT_EQ(record.clean_time, settling);
    if (named.real_if && record.mixer_stage > 0) {
      ASSERT_EQ(per_stage_data[record.step_offset], 2);
    }
  }
}

TEST(DucDdcCatalogue, FiltersAreExactlySymmetricWithExactZeros) {
  std::set<std::pair<int, int>> seen;
  for (Record const& record : database)
    for (int s = 0; s < record.stage_count; ++s) {
      TapStage const& stage = tap_stages[record.tap_stage_index + s];
      const int step = per_stage_data[record.step_offset + s];
      if (!seen.insert({stage.coef_index, step}).second) continue;
      const std::vector<double> taps = taps_of(stage);
      const std::size_t centre = taps.size() / 2;
      ASSERT_EQ(taps.size() % 2, 1u);
      ASSERT_EQ(stage.model_taps, stage.coe_taps);
      for (std::size_t k = 1; k <= centre; ++k) {
        ASSERT_EQ(taps[centre - k], taps[centre + k]);
        if (step > 1 && k % static_cast<std::size_t>(step) == 0) {
          ASSERT_EQ(taps[centre + k], 0.0);
        }
        ASSERT_LT(std::fabs(taps[centre + k]), taps[centre]);
      }
      ASSERT_NE(taps.front(), 0.0);
      if (step > 1) {
        ASSERT_NEAR(taps[centre], 1.0 / step, std::ldexp(1.0, -18));
      }
      // 18-bit fractions of one exponent.
      const double unit = std::ldexp(1.0, -17 + static_cast<int>(std::ceil(std::log2(taps[centre]))));
      for (double tap : taps) {
        ASSERT_EQ(tap / unit, std::round(tap / unit));
        ASSERT_LE(std::fabs(tap / unit), 131072);
      }
    }
}

struct Worst {
  double value = 0;
  std::string name;
  void take(double candidate, std::string const& of) {
    if (candidate > value) value = candidate, name = of;
  }
};

// Each distinct chain: what one carrier meets between the radio side and base band.
TEST(DucDdcCatalogue, EveryChainKeepsItsTargets) {
  std::map<std::vector<int>, std::string> seen;
  Worst channel_ripple, composite_ripple, images, adjacent, composite_images, gain, overshoot;
  for (Record const& record : database) {
    const std::string name = name_of(record);
    const Named named = parse(name);
    std::vector<int> key{record.tap_stage_index, record.stage_count, record.mixer_stage, named.down,
                         named.channel.chbw,     named.passband_mhz, named.rf.frf,       named.carriers};
    for (int s = 0; s < record.stage_count; ++s) key.push_back(per_stage_data[record.step_offset + s]);
    if (!seen.try_emplace(key, name).second) continue;

    Side composite, channel;
    double rate = static_cast<double>(named.rf.rate);
    double mixer_rate = rate;
    for (int s = 0; s < record.stage_count; ++s) {
      Side& side = s < record.mixer_stage ? composite : channel;
      if (s == record.mixer_stage) mixer_rate = rate;
      side.stages.push_back(tap_stages[record.tap_stage_index + s]);
      side.rates.push_back(rate);
      rate /= per_stage_data[record.step_offset + s];
    }
    const double pass = static_cast<double>(named.channel.pass);
    const double stop = rules().stop_edge_per_width * static_cast<double>(named.channel.width);
    const double band = named.passband_mhz * 0.5e6;
    const double together = std::sqrt(named.carriers);  // all figures below one carrier for all images together

    channel_ripple.take(ripple(channel, pass), name);
    if (!composite.stages.empty()) composite_ripple.take(ripple(composite, band), name);
    gain.take(std::fabs(channel(0) * composite(0) - 1), name);
    // The neighbour: from the stop edge to where the base-band rate folds.
    adjacent.take(together * largest(channel, stop, rate / 2), name);
    // Images of the band that is kept clean, at every multiple of the base-band rate.
    const double clean = named.down ? stop : pass;
    for (double image = rate; image <= mixer_rate / 2 + 1; image += rate)
      images.take(together * largest(channel, image - clean, std::min(image + clean, mixer_rate / 2), 60), name);
    for (double image = mixer_rate; image <= static_cast<double>(named.rf.rate) / 2 + 1; image += mixer_rate)
      composite_images.take(
          together * largest(composite, image - band, std::min(image + band, static_cast<double>(named.rf.rate) / 2)),
          name);
    for (std::size_t s = 0; s < channel.stages.size(); ++s)
      overshoot.take(largest(Side{{channel.stages[s]}, {1}}, 0, 0.5, 500), name);
  }
  const auto print = [](char const* what, Worst const& worst) {
    std::printf("%-44s %8.2f dB  %s\n", what, decibels(worst.value), worst.name.c_str());
  };
  std::printf("%zu distinct chains\n", seen.size());
  print("pass-band error, one carrier", channel_ripple);
  print("pass-band error, composite stages", composite_ripple);
  print("gain error at the carrier", gain);
  print("adjacent channel, all carriers together", adjacent);
  print("images at base band, all carriers together", images);
  print("images of the composite, all carriers", composite_images);
  print("largest gain anywhere", overshoot);
  // The targets that data/ducddc/README.md states, after quantising.
  EXPECT_LT(decibels(channel_ripple.value), -56);
  EXPECT_LT(decibels(composite_ripple.value), -63);
  EXPECT_LT(decibels(gain.value), -60);
  EXPECT_LT(decibels(adjacent.value), -67);
  EXPECT_LT(decibels(images.value), -67);
  EXPECT_LT(decibels(composite_images.value), -67);
  EXPECT_LT(overshoot.value, 1.002);
}

}  // namespace
