// The solver of transceiver rates against trying all settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/device/parts.h"
#include "kdi/rule_engine/host/Kinds.h"
#include "kdi/rule_engine/host/Rates.h"
#include "tests/support/places.h"
#include "tests/support/plain_rates.h"
#include "tests/support/random.h"

namespace {

using namespace kdi::gt;
using test_support::Random;

std::string text_of(Setting const& s) {
  return "PLL " + std::to_string(s.pll) + " M " + std::to_string(s.reference_divide) + " N " +
         std::to_string(s.feedback) + " K " + std::to_string(s.numerator) + " D " + std::to_string(s.output_divide);
}

/// The number of requests of a kind: few, or, with IPTASKS_LONG in the environment, many.
int requests() { return std::getenv("IPTASKS_LONG") == nullptr ? 40 : 10'000; }

Kind cut(Kind kind, int bits) {
  for (Pll& pll : kind.plls) pll.fraction_bits = std::min(pll.fraction_bits, bits);
  return kind;
}

// A request that the plain search can put in its units.
plain_rates::Request random_request(Kind const& kind, Random& random) {
  plain_rates::Request request;
  Modulation const& modulation = kind.modulations[random.below(static_cast<unsigned>(kind.modulations.size()))];
  request.bits = modulation.bits;
  request.symbols = modulation.symbols;
  request.aim = random.one_in(2) ? Aim::power : Aim::jitter;
  request.takes_fraction = !random.one_in(4);
  if (random.one_in(6)) request.pll = static_cast<int>(random.below(static_cast<unsigned>(kind.plls.size())));
  static constexpr std::int64_t kUsual[] = {1000000000, 1250000000, 1562500000, 1611328125, 1228800000, 1485000000,
                                            3125000000, 2500000000, 1066666660, 2000000000, 6000000000, 8200000000};
  request.reference =
      random.one_in(3) ? 600000000 + random.below(900000) * std::int64_t{8444} : kUsual[random.below(12)];
  Bounds const& band = kind.rates[random.below(static_cast<unsigned>(kind.rates.size()))];
  const std::int64_t wide = (band.most - band.least) * plain_rates::kUnit;
  const std::int64_t unit = random.one_in(2) ? 1'000'000'0 : random.one_in(2) ? 31'250'0 : 1;
  request.rate = band.least * plain_rates::kUnit +
                 static_cast<std::int64_t>(static_cast<double>(wide) * random.below(100001) / 1e5);
  request.rate -= request.rate % unit;
  if (!random.one_in(3)) {  // one that some setting gives, if it is a whole number of units
    Pll const& pll = kind.plls[random.below(static_cast<unsigned>(kind.plls.size()))];
    const auto m = static_cast<std::int64_t>(1 + random.below(static_cast<unsigned>(pll.reference_divide.most)));
    const int divide = pll.output_divides[random.below(static_cast<unsigned>(pll.output_divides.size()))];
    const auto n = static_cast<std::int64_t>(static_cast<double>(request.rate) * static_cast<double>(m) * divide /
                                             (2.0 * request.bits * static_cast<double>(request.reference)));
    const std::int64_t quarter = pll.fraction_bits == 0 ? 0 : random.below(4);
    const std::int64_t rate = 2 * request.bits * request.reference * (4 * n + quarter);
    if (rate > 0 && rate % (4 * m * divide) == 0) request.rate = rate / (4 * m * divide);
  }
  return request;
}

Request asked(Kind const& kind, plain_rates::Request const& plain) {
  Request request;
  request.gbps = *fraction(plain.rate, Int128{plain_rates::kUnit} * 1'000'000'000);
  request.reference_mhz = *fraction(plain.reference, plain_rates::kUnit * 1'000'000);
  for (Modulation const& modulation : kind.modulations)
    if (modulation.bits == plain.bits) request.modulation = &modulation;
  request.pll = plain.pll;
  request.takes_fraction = plain.takes_fraction;
  request.aim = plain.aim;
  return request;
}

void expect_same(Kind const& kind, plain_rates::Request const& plain, bool all_counts, int& without_exact, int& legal) {
  const plain_rates::Truth truth(kind, plain);
  const Request request = asked(kind, plain);
  const Answer answer = solve(kind, request);
  const auto best = truth.best(all_counts);
  const std::string what =
      kind.name + " " + exact_text(request.gbps) + " Gb/s from " + exact_text(request.reference_mhz) + " MHz";
  ASSERT_EQ(answer.best.has_value(), best.has_value()) << what << ": " << reason_of(kind, request, answer);
  if (!best) {
    EXPECT_FALSE(reason_of(kind, request, answer).empty());
    return;
  }
  ++legal;
  without_exact += best->error != 0 ? 1 : 0;
  EXPECT_EQ(text_of(*answer.best), text_of(best->setting))
      << what << (plain.aim == Aim::jitter ? ", jitter" : ", power");
  EXPECT_EQ(answer.is_exact, best->error == 0) << what;
  const auto gives = gbps_of(kind, *answer.best, request.reference_mhz, plain.bits);
  ASSERT_TRUE(gives);
  if (answer.is_exact) {
    EXPECT_EQ(*gives, request.gbps) << what;
    EXPECT_EQ(answer.ppm, 0);
  } else {
    const double ppm = (nearest_double(*gives) / nearest_double(request.gbps) - 1) * 1e6;
    EXPECT_NEAR(answer.ppm, ppm, 1e-6 + std::abs(ppm) * 1e-6) << what;
    EXPECT_NE(
        reason_of(kind, request, answer).find("no setting gives " + exact_text(request.gbps) + " Gb/s exactly from "),
        std::string::npos);
  }
  if (!all_counts) return;
  auto settings = exact_settings(kind, request);
  if (!settings.empty()) {
    EXPECT_EQ(text_of(settings.front()), text_of(best->setting)) << what << ": the best is the first";
  }
  auto expected = truth.exact();
  const auto order = [](Setting const& a, Setting const& b) {
    return std::tuple(a.pll, a.reference_divide, a.output_divide, a.feedback, a.numerator) <
           std::tuple(b.pll, b.reference_divide, b.output_divide, b.feedback, b.numerator);
  };
  std::sort(settings.begin(), settings.end(), order);
  std::sort(expected.begin(), expected.end(), order);
  EXPECT_EQ(settings, expected) << what;
}

class EachKind : public testing::TestWithParam<char const*> {};
INSTANTIATE_TEST_SUITE_P(Transceivers, EachKind, testing::Values("GTF", "GTY", "GTYP", "GTM", "GTME5"),
                         [](auto const& at) { return std::string(at.param); });

TEST_P(EachKind, AllSettingsOfAShortFractionAreTried) {
  Random random(11);
  int without_exact = 0, legal = 0;
  const auto grades = grade_names(GetParam());
  const int bits = std::getenv("IPTASKS_LONG") != nullptr ? 6 : 3;
  for (int i = 0; i < requests(); ++i) {
    const Kind kind = cut(*find_kind(GetParam(), grades[random.below(static_cast<unsigned>(grades.size()))]), bits);
    expect_same(kind, random_request(kind, random), true, without_exact, legal);
  }
  EXPECT_GT(legal, requests() / 3);
  EXPECT_GE(without_exact * 10, legal * 3) << "of " << legal << " requests";
  EXPECT_LT(without_exact, legal);
  RecordProperty("legal", legal);
  RecordProperty("without_exact", without_exact);
}

TEST_P(EachKind, BothNeighboursOfTheWholeFractionAreTried) {
  Random random(12);
  int without_exact = 0, legal = 0;
  for (int i = 0; i < 5 * requests(); ++i) {
    const auto kind = find_kind(GetParam());
    expect_same(*kind, random_request(*kind, random), false, without_exact, legal);
  }
  EXPECT_GT(legal, requests());
  EXPECT_GT(without_exact, 0);
}

// ------------------------------------------------------------------------------------------------- actual references

TEST_P(EachKind, TheActualReferenceIsTheNearestOfAll) {
  Random random(13);
  int found = 0;
  for (int i = 0; i < std::max(requests() / 4, 10); ++i) {
    const Kind kind = cut(*find_kind(GetParam()), 4);
    const plain_rates::Request plain = random_request(kind, random);
    const Fraction gbps = *fraction(plain.rate, Int128{plain_rates::kUnit} * 1'000'000'000);
    const Fraction wanted = *fraction(plain.reference, plain_rates::kUnit * 1'000'000);
    const std::optional<std::int64_t> numerator =
        random.one_in(3) ? std::nullopt : std::optional<std::int64_t>(random.one_in(2) ? 0 : random.below(16));
    const auto answer = actual_reference(kind, gbps, plain.bits, wanted, numerator);
    // All feedbacks of all pairs, each with the one reference that gives the rate.
    std::optional<Fraction> nearest;
    Int128 off_num = 0, off_den = 1;
    for (Pll const& pll : kind.plls)
      for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m)
        for (const int divide : pll.output_divides)
          for (std::int64_t k = pll.feedback.least << pll.fraction_bits; k <= pll.feedback.most << pll.fraction_bits;
               ++k) {
            const std::int64_t part = k & ((std::int64_t{1} << pll.fraction_bits) - 1);
            if (numerator && part != *numerator) continue;
            // Units of the rate; the reference is rate M D S / (2 bits k).
            const Int128 num = (static_cast<Int128>(plain.rate) * m * divide) << pll.fraction_bits;
            const Int128 den = static_cast<Int128>(2 * plain.bits) * k * plain_rates::kUnit;
            const auto in = [&](Int128 up, Int128 down, Bounds bounds) {
              return num * up >= den * down * bounds.least && num * up <= den * down * bounds.most;
            };
            if (!in(1, 1, kind.reference) || !in(1, m, pll.pfd) ||
                !in(k, static_cast<Int128>(m) << pll.fraction_bits, pll.vco) ||
                !in(2 * k, (static_cast<Int128>(m) << pll.fraction_bits) * divide, kind.divider(divide)->symbols))
              continue;
            const auto mhz = fraction(num, den * 1'000'000);
            ASSERT_TRUE(mhz);
            Int128 num_off = num * 10 - static_cast<Int128>(plain.reference) * den;  // over 10 den Hz
            if (num_off < 0) num_off = -num_off;
            const Int128 left = num_off * off_den, right = off_num * den;
            if (!nearest || left < right || (left == right && less(*mhz, *nearest))) {
              nearest = mhz;
              off_num = num_off;
              off_den = den;
            }
          }
    if (!has_rate(kind, gbps)) nearest.reset();
    ASSERT_EQ(answer.has_value(), nearest.has_value()) << exact_text(gbps);
    if (!answer) continue;
    ++found;
    EXPECT_EQ(exact_text(answer->mhz), exact_text(*nearest)) << exact_text(gbps) << " near " << exact_text(wanted);
    EXPECT_EQ(gbps_of(kind, answer->setting, answer->mhz, plain.bits), gbps) << "the rate comes out exactly";
    if (numerator) {
      EXPECT_EQ(answer->setting.numerator, *numerator);
    }
  }
  EXPECT_GT(found, 3);
}

// ----------------------------------------------------------------------------------------------------- output clocks

TEST_P(EachKind, OutputClocksAreThoseOfAllSettings) {
  Random random(14);
  int many = 0;
  for (int i = 0; i < std::max(requests() / 4, 10); ++i) {
    const auto kind = find_kind(GetParam());
    const plain_rates::Request plain = random_request(*kind, random);
    Request request = asked(*kind, plain);
    request.takes_fraction = true;
    request.aim = Aim::jitter;
    ClockRequest clocks;
    clocks.gbps = request.gbps;
    clocks.modulation = request.modulation;
    clocks.pll = request.pll;
    clocks.reference_mhz = request.reference_mhz;
    if (random.one_in(2))
      clocks.internal_width = kind->widths[random.below(static_cast<unsigned>(kind->widths.size()))].internal;
    if (random.one_in(2)) clocks.divide_halves = static_cast<int>(kind->programmable_halves.least + random.below(9));
    auto settings = exact_settings(*kind, request);
    if (settings.empty())
      if (const auto best = solve(*kind, request).best) settings.push_back(*best);
    std::set<std::pair<double, std::string>> expected;
    const auto add = [&](Fraction const& from, Int128 by_halves) {
      const auto mhz = times(from, 2, by_halves);
      ASSERT_TRUE(mhz);
      if (!less(Fraction{kind->output_clock_most, 1'000'000}, *mhz))
        expected.emplace(nearest_double(*mhz), exact_text(*mhz));
    };
    for (Setting const& setting : settings) {
      const Fraction rate = *times(*gbps_of(*kind, setting, request.reference_mhz, plain.bits), 1000);
      const Fraction vco = *vco_mhz_of(*kind, setting, request.reference_mhz);
      add(request.reference_mhz, 2);
      add(request.reference_mhz, 4);
      for (Widths const& widths : kind->widths)
        if (clocks.internal_width == 0 || widths.internal == clocks.internal_width) {
          add(rate, 2 * widths.internal);
          add(rate, 4 * widths.internal);
        }
      for (std::int64_t halves = kind->programmable_halves.least; halves <= kind->programmable_halves.most; ++halves)
        if (clocks.divide_halves == 0 || clocks.divide_halves == halves) add(vco, halves);
    }
    const auto found = output_clocks(*kind, clocks);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), less));
    std::set<std::pair<double, std::string>> answered;
    for (Fraction const& mhz : found) answered.emplace(nearest_double(mhz), exact_text(mhz));
    EXPECT_EQ(found.size(), answered.size()) << "each once";
    EXPECT_EQ(answered, expected);
    many += answered.size() > 10 ? 1 : 0;
  }
  EXPECT_GT(many, 2);
}

// --------------------------------------------------------------------------------------------------------- fractions

TEST(TransceiverFractions, ANumberIsItsShortestDecimal) {
  EXPECT_EQ(exact_text(*shortest_fraction(0.1)), "0.1");
  EXPECT_EQ(exact_text(*shortest_fraction(10.3125)), "10.3125");
  EXPECT_EQ(exact_text(*shortest_fraction(156.25)), "156.25");
  EXPECT_EQ(exact_text(*shortest_fraction(1e5)), "100000");
  EXPECT_EQ(exact_text(*read_fraction("1188/100.1")), "1080/91");
  EXPECT_EQ(exact_text(*read_fraction("1.485/1.001")), "135/91");
}

TEST(TransceiverFractions, WhatIsNoneIsRefused) {
  for (char const* const text : {"", "a", "1/", "/1", "1/0", "0", "-1", "1.2.3", "1e", "1e99", "1e-99", "1/2/3", "inf",
                                 "0.0001", "2000000", "123456789012345678901234567890", " 1", "1 ", "1,5"})
    EXPECT_FALSE(read_fraction(text)) << text;
  for (const double number : {0.0, -1.0, 1e-4, 1e7, std::nan(""), HUGE_VAL}) EXPECT_FALSE(shortest_fraction(number));
}

TEST(TransceiverFractions, TheNearestDoubleIsWhatReadingTheDigitsGives) {
  Random random(3);
  for (int i = 0; i < 500; ++i) {
    const Int128 num = static_cast<Int128>(random.below(~0U)) * random.below(~0U) + 1,
                 den = static_cast<Int128>(random.below(~0U)) * random.below(1U << 24) + 1;
    const auto value = fraction(num, den);
    ASSERT_TRUE(value);
    const double nearest = nearest_double(*value);
    EXPECT_EQ(nearest, static_cast<double>(static_cast<long double>(num) / static_cast<long double>(den))) << i;
  }
  EXPECT_EQ(nearest_double(*read_fraction("156.25")), 156.25);
  EXPECT_EQ(nearest_double({1, 3}), 1.0 / 3);
}

TEST(TransceiverFractions, LongDigitsAreAsExactAsShortOnes) {
  const auto kind = find_kind("GTYP");
  Request request;
  request.modulation = &kind->modulations.front();
  request.gbps = *read_fraction("10.312500000000001");
  request.reference_mhz = *read_fraction("156.25");
  const Answer near = solve(*kind, request);
  ASSERT_TRUE(near.best);
  EXPECT_FALSE(near.is_exact) << "a hair beside what an integer gives";
  EXPECT_EQ(near.best->numerator, 0);
  request.reference_mhz = *read_fraction("156.25000000000001515");
  EXPECT_FALSE(solve(*kind, request).is_exact);
  request.gbps = *shortest_fraction(10.312499999999998);
  request.reference_mhz = *shortest_fraction(156.24999999999997);
  EXPECT_TRUE(solve(*kind, request).best) << "numbers beyond 128 bits";
}

TEST(TransceiverRates, WhyThereIsNoneIsSaid) {
  const auto kind = find_kind("GTM", "-1LHP");
  Request request;
  request.modulation = kind->modulation("PAM4");
  const auto reason = [&](char const* gbps, char const* mhz) {
    request.gbps = *read_fraction(gbps);
    request.reference_mhz = *read_fraction(mhz);
    return reason_of(*kind, request, solve(*kind, request));
  };
  EXPECT_EQ(reason("56", "156.25"), "GTM -1LHP has no band with 56 Gb/s");
  EXPECT_EQ(reason("10", "156.25"), "PAM4 of GTM has no symbol rate for 10 Gb/s");
  EXPECT_EQ(reason("53.125", "50"), "the reference clock 50 MHz is outside 60 to 820 MHz");
  EXPECT_EQ(reason("53.125", "156.25"), "");
  EXPECT_EQ(reason("53.0000001", "156.25").substr(0, 80),
            "no setting gives 53.0000001 Gb/s exactly from 156.25 MHz; the nearest is off by ");
  auto narrow = *kind;
  for (Pll& pll : narrow.plls) pll.feedback = {500, 501};
  EXPECT_EQ(reason_of(narrow, request, solve(narrow, request)),
            "no PLL of GTM -1LHP reaches 53.0000001 Gb/s from 156.25 MHz");
}

// ------------------------------------------------------------------------------------------------------------- data

TEST(TransceiverData, KindsAndDevicesSayTheSame) {
  for (auto const& [part, kind] :
       {std::pair("zrv7030-c484-1-c", "GTF"), std::pair("zrv9010-f625-1-e", "GTY"),
        std::pair("brvn3716-die-2LHP-e-S-es1", "GTYP"), std::pair("brvn3716-die-2LHP-e-S-es1", "GTM"),
        std::pair("brvn6112-c2209-2LHP-e-S", "GTME5")}) {
    kdi::device::Part const* const named = kdi::device::find_part(part);
    ASSERT_NE(named, nullptr) << part;
    const auto of_part = find_kind(kind, *named);
    const auto of_kind = find_kind(kind, named->speed->name);
    ASSERT_TRUE(of_part && of_kind) << part;
    EXPECT_EQ(of_part->rates, of_kind->rates);
    EXPECT_EQ(of_part->reference, of_kind->reference);
    ASSERT_EQ(of_part->plls.size(), of_kind->plls.size());
    for (std::size_t i = 0; i < of_part->plls.size(); ++i) {
      Pll const &a = of_part->plls[i], &b = of_kind->plls[i];
      EXPECT_EQ(a.vco, b.vco) << kind << a.name;
      EXPECT_EQ(a.feedback, b.feedback);
      EXPECT_EQ(a.reference_divide, b.reference_divide);
      EXPECT_EQ(a.output_divides, b.output_divides);
      EXPECT_EQ(a.fraction_bits, b.fraction_bits);
      EXPECT_EQ(a.is_shared, b.is_shared);
    }
    kdi::device::Transceiver const* const own = named->transceiver(kind);
    for (Encoding const& encoding : of_kind->encodings)
      EXPECT_NE(std::find(own->encodings.begin(), own->encodings.end(), encoding.name), own->encodings.end())
          << encoding.name;
    for (Widths const& widths : of_kind->widths) {
      EXPECT_NE(std::find(own->internal_widths.begin(), own->internal_widths.end(), widths.internal),
                own->internal_widths.end());
      for (const int user : widths.user)
        EXPECT_NE(std::find(own->user_widths.begin(), own->user_widths.end(), user), own->user_widths.end()) << user;
    }
    for (Modulation const& modulation : of_kind->modulations)
      EXPECT_NE(std::find(own->modulations.begin(), own->modulations.end(), modulation.name), own->modulations.end());
    EXPECT_EQ(own->channels_per_quad, of_kind->channels);
  }
}

TEST(TransceiverData, EachProtocolHasAKindThatCanDoItFromItsReference) {
  int without = 0;
  for (Protocol const& protocol : protocols()) {
    const auto gbps = read_fraction(protocol.rate), mhz = read_fraction(protocol.reference);
    ASSERT_TRUE(gbps && mhz) << protocol.name;
    bool is_done = false;
    for (std::string const& name : kind_names()) {
      const auto kind = find_kind(name);
      Request request;
      request.gbps = *gbps;
      request.reference_mhz = *mhz;
      request.modulation = kind->modulation(protocol.modulation);
      is_done = is_done || (request.modulation != nullptr && kind->encoding(protocol.encoding) != nullptr &&
                            solve(*kind, request).is_exact);
    }
    without += is_done ? 0 : 1;
    EXPECT_TRUE(is_done || protocol.name == "SD-SDI")
        << protocol.name << " (SD-SDI is below all lines, and oversampled)";
  }
  EXPECT_EQ(without, 1);
  EXPECT_GE(protocols().size(), 40U);
}

}  // namespace
