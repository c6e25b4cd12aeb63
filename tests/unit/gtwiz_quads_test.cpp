// Quads of transceivers: packing against trying every way, registers and back, images, encrypted content, and what is
// said of settings that cannot be.
#include <gelf.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <map>
#include <set>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/rule_engine/content_cipher.h"
#include "kdi/rule_engine/host/Packing.h"
#include "kdi/rule_engine/host/Quad.h"
#include "kdi/rule_engine/host/Registers.h"
#include "platform/rule_engine/elf_image.h"
#include "platform/rule_engine/reference_plan.h"
#include "tests/support/places.h"
#include "tests/support/plain_packing_lanes.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::gt;
using test_support::Random;

/// The text that something throws; empty if it doesn't.
template <class Try>
std::string fault_of(Try attempt) {
  try {
    attempt();
  } catch (std::string const& text) {
    return text;
  } catch (std::exception const& error) {
    return error.what();
  }
  return {};
}

int rounds(int few) { return std::getenv("IPTASKS_LONG") == nullptr ? few : 10'000; }

// ------------------------------------------------------------------------------------------------------------ packing

constexpr char const* kRates[] = {"10.3125", "25.78125", "12.5", "1.25", "5", "8", "16", "9.8304", "6.144", "2.97"};
constexpr char const* kReferences[] = {"156.25", "100", "122.88", "148.5"};

std::vector<PackedLane> random_lanes(Kind const& kind, std::size_t most, Random& random) {
  std::vector<PackedLane> lanes(1 + random.below(static_cast<unsigned>(most)));
  const unsigned rates = 1 + random.below(10), references = 1 + random.below(4);
  for (std::size_t i = 0; i < lanes.size(); ++i) {
    lanes[i].name = std::to_string(i);
    const unsigned indices = random.one_in(4) ? 2 : 1;
    for (unsigned index = 0; index < indices; ++index) {
      auto& needs = lanes[i].needs.emplace_back();
      for (unsigned direction = random.below(2); direction < 2; ++direction) {
        Request request;
        do {
          request.gbps = *read_fraction(kRates[random.below(rates)]);
          request.modulation = modulation_for(kind, request.gbps);
        } while (request.modulation == nullptr);
        request.reference_mhz = *read_fraction(kReferences[random.below(references)]);
        needs.push_back({request.reference_mhz, exact_settings(kind, request)});
      }
    }
  }
  return lanes;
}

// Each need has its setting on a PLL that nobody else tunes otherwise.
void expect_sound(Kind const& kind, std::vector<PackedLane> const& lanes, Packing const& packing) {
  using Tune = std::tuple<std::string, int, std::int64_t, std::int64_t>;
  std::map<std::tuple<std::size_t, int, int, int>, Tune> tunes;  // by rate, quad, PLL and channel
  std::set<std::pair<int, int>> seats;
  std::map<int, std::set<std::string>> references;
  for (std::size_t i = 0; i < lanes.size(); ++i) {
    Place const& place = packing.places[i];
    EXPECT_TRUE(seats.emplace(place.quad, place.channel).second);
    EXPECT_LT(place.quad, packing.quads);
    for (std::size_t rate = 0; rate < place.chosen.size(); ++rate) {
      auto const& needs = lanes[i].needs[std::min(rate, lanes[i].needs.size() - 1)];
      ASSERT_EQ(place.chosen[rate].size(), needs.size());
      for (std::size_t n = 0; n < needs.size(); ++n) {
        Setting const& setting = needs[n].settings.at(static_cast<std::size_t>(place.chosen[rate][n]));
        Pll const& pll = kind.plls[static_cast<std::size_t>(setting.pll)];
        EXPECT_NE(pll.channels >> place.channel & 1, 0U);
        references[place.quad].insert(exact_text(needs[n].reference_mhz));
        const Tune tune{exact_text(needs[n].reference_mhz), setting.reference_divide, setting.feedback,
                        setting.numerator};
        const auto [at, is_new] =
            tunes.try_emplace({rate, place.quad, setting.pll, pll.is_shared ? -1 : place.channel}, tune);
        EXPECT_TRUE(is_new || at->second == tune);
      }
    }
  }
  for (auto const& [quad, all] : references) EXPECT_LE(static_cast<int>(all.size()), kind.reference_inputs);
}

TEST(TransceiverPacking, HasAsFewQuadsAsTryingEveryWay) {
  Random random(21);
  std::map<int, int> counts;
  for (int round = 0; round < rounds(60); ++round) {
    const auto kind = find_kind(random.one_in(2) ? "GTYP" : random.one_in(2) ? "GTY" : "GTF");
    auto lanes = random_lanes(*kind, 6, random);
    if (random.one_in(3))
      for (PackedLane& lane : lanes)
        if (random.one_in(2)) lane.quad = 200 + static_cast<int>(random.below(2));
    const Packing packing = pack(*kind, lanes, 16);
    const int fewest = plain_lanes::fewest_quads(*kind, lanes);
    ++counts[fewest];
    EXPECT_EQ(packing.is_possible ? packing.quads : 0, fewest) << packing.reason;
    EXPECT_EQ(packing.reason.empty(), packing.is_possible);
    if (!packing.is_possible) continue;
    expect_sound(*kind, lanes, packing);
    for (std::size_t a = 0; a < lanes.size(); ++a)
      for (std::size_t b = 0; b < lanes.size(); ++b)
        if (lanes[a].quad >= 0 && lanes[b].quad >= 0) {
          EXPECT_EQ(lanes[a].quad < lanes[b].quad, packing.places[a].quad < packing.places[b].quad) << "in their order";
        }
  }
  EXPECT_GT(counts[0], 0);
  EXPECT_GT(counts[1], 0);
  EXPECT_GT(counts[2], 0);
}

TEST(TransceiverPacking, SixteenLanesOfFewKindsAreAsFewAsTryingEveryWay) {
  // Lanes of three kinds, of which a quad holds some together: quads by how many of each kind they have.
  using Counts = std::array<int, 3>;
  Random random(22);
  std::map<int, int> seen;
  for (int round = 0; round < std::min(rounds(8), 1000); ++round) {
    const auto kind = find_kind(random.one_in(2) ? "GTY" : "GTYP");
    std::vector<PackedLane> samples;
    while (samples.size() < 3)
      if (auto one = random_lanes(*kind, 1, random).front(); plain_lanes::fits(*kind, {&one})) samples.push_back(one);
    std::vector<PackedLane> lanes;
    Counts left{};
    while (lanes.size() < 16) {
      const unsigned which = random.below(3);
      ++left[which];
      lanes.push_back(samples[which]);
    }
    std::vector<Counts> groups;  // that fit into a quad
    for (int a = 0; a <= 4; ++a)
      for (int b = 0; a + b <= 4; ++b)
        for (int c = 0; a + b + c <= 4; ++c) {
          std::vector<PackedLane const*> members(static_cast<std::size_t>(a), &samples[0]);
          members.insert(members.end(), static_cast<std::size_t>(b), &samples[1]);
          members.insert(members.end(), static_cast<std::size_t>(c), &samples[2]);
          if (!members.empty() && plain_lanes::fits(*kind, members)) groups.push_back({a, b, c});
        }
    std::map<Counts, int> fewest{{{0, 0, 0}, 0}};
    for (int quads = 1; !fewest.contains(left); ++quads)
      for (auto const& [done, count] : std::map<Counts, int>(fewest))
        for (Counts const& group : groups) {
          const Counts next{done[0] + group[0], done[1] + group[1], done[2] + group[2]};
          if (next[0] <= left[0] && next[1] <= left[1] && next[2] <= left[2]) fewest.try_emplace(next, quads);
        }
    const Packing packing = pack(*kind, lanes, 16);
    ASSERT_TRUE(packing.is_possible) << packing.reason;
    EXPECT_EQ(packing.quads, fewest.at(left));
    ++seen[packing.quads];
    expect_sound(*kind, lanes, packing);
  }
  EXPECT_GT(seen.size(), 1U);
}

// ---------------------------------------------------------------------------------------------------- reference inputs

bool hears_all(std::vector<ListeningQuad> const& quads, std::vector<std::uint32_t> const& plan, int reach, int inputs) {
  for (std::size_t i = 0; i < quads.size(); ++i) {
    std::uint32_t heard = 0;
    for (std::size_t other = 0; other < quads.size(); ++other)
      if (std::abs(quads[i].number - quads[other].number) <= reach) heard |= plan[other];
    if ((quads[i].wants & ~heard) != 0 || std::popcount(plan[i]) > inputs) return false;
  }
  return true;
}

// The inputs of a plan, and the places of their quads in sum.
std::pair<int, int> cost_of(std::vector<std::uint32_t> const& plan) {
  std::pair<int, int> cost;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    cost.first += std::popcount(plan[i]);
    cost.second += std::popcount(plan[i]) * static_cast<int>(i);
  }
  return cost;
}

TEST(TransceiverReferences, ComeInAsSeldomAsOfAllPlans) {
  Random random(24);
  int saved = 0;
  for (int round = 0; round < rounds(60); ++round) {
    const int reach = static_cast<int>(random.below(4)), inputs = 1 + static_cast<int>(random.below(2));
    const unsigned references = 1 + random.below(3);
    std::vector<ListeningQuad> quads(1 + random.below(5));
    int number = 200;
    for (ListeningQuad& quad : quads) {
      quad = {number += 1 + static_cast<int>(random.below(2)), 1U + random.below((1U << references) - 1)};
      while (std::popcount(quad.wants) > inputs) quad.wants &= quad.wants - 1;
    }
    const auto plan = reference_plan(quads, reach, inputs);
    ASSERT_TRUE(hears_all(quads, plan, reach, inputs));
    std::vector<std::uint32_t> tried(quads.size());
    std::pair<int, int> best{99, 0};
    for (std::size_t at = 0; at < tried.size();) {  // counts through all plans
      if (hears_all(quads, tried, reach, inputs)) best = std::min(best, cost_of(tried));
      for (at = 0; at < tried.size() && ++tried[at] == 1U << references; ++at) tried[at] = 0;
    }
    EXPECT_EQ(cost_of(plan), best);
    int wanted = 0;
    for (ListeningQuad const& quad : quads) wanted += std::popcount(quad.wants);
    saved += wanted - best.first;
  }
  EXPECT_GT(saved, 10);
  EXPECT_EQ(reference_plan({}, 2, 2).size(), 0U);
  // Sixteen quads, each with two of many references: the search stays small.
  std::vector<ListeningQuad> many;
  for (int i = 0; i < 16; ++i) many.push_back({200 + i, 1U << (3 * i % 31) | 1U << (5 * i % 29)});
  EXPECT_TRUE(hears_all(many, reference_plan(many, 2, 2), 2, 2));
}

TEST(TransceiverPacking, WhyNotIsSaid) {
  const auto kind = find_kind("GTM");
  const auto lane = [&](char const* name, char const* gbps, char const* mhz) {
    Request request;
    request.gbps = *read_fraction(gbps);
    request.reference_mhz = *read_fraction(mhz);
    request.modulation = modulation_for(*kind, request.gbps);
    PackedLane made;
    made.name = name;
    made.needs = {{{request.reference_mhz, exact_settings(*kind, request)}}};
    return made;
  };
  const std::vector<PackedLane> three{lane("0", "25.78125", "156.25"), lane("1", "28.125", "156.25"),
                                      lane("2", "22.5", "156.25"), lane("3", "28.125", "156.25")};
  EXPECT_EQ(pack(*kind, three, 1).reason.substr(0, 5), "lanes");
  EXPECT_EQ(pack(*kind, {three[0], three[1], lane("2", "20", "156.25"), three[3]}, 1).reason,
            "lanes 0 2 3 do not fit into one quad of GTM");
  std::vector<PackedLane> five(5, three[0]);
  for (std::size_t i = 0; i < five.size(); ++i) five[i].name = std::to_string(i);
  EXPECT_EQ(pack(*kind, five, 1).reason, "lanes 0 1 2 3 4 need 2 quads of GTM, and there are 1");
  auto kept = std::vector<PackedLane>{three[0], three[1], lane("2", "20", "156.25")};
  for (PackedLane& one : kept) one.quad = 7;
  EXPECT_EQ(pack(*kind, kept, 4).reason, "lanes 0 1 2 do not fit into one quad of GTM");
  kept[2].quad = 3;
  const Packing two = pack(*kind, kept, 4);
  EXPECT_TRUE(two.is_possible);
  EXPECT_EQ(two.places[2].quad, 0) << "quads that are given come in their order";
  std::vector<PackedLane> joined(2, three[0]);
  joined[0].quad = 7;
  EXPECT_EQ(pack(*kind, joined, 4).quads, 1) << "others may join those that stay";
  PackedLane none = three[0];
  none.needs[0][0].settings.clear();
  EXPECT_EQ(pack(*kind, {none}, 4).reason, "lane 0 fits into no quad of GTM by itself");
  EXPECT_EQ(fault_of([&] { pack(*kind, std::vector<PackedLane>(17, three[0]), 99); }), "more than 16 lanes");
  EXPECT_EQ(fault_of([&] { pack(*kind, {PackedLane()}, 9); }), "a lane without rates");
  PackedLane odd = three[0];
  odd.needs.assign(17, odd.needs[0]);
  EXPECT_EQ(fault_of([&] { pack(*kind, {odd}, 9); }), "more than 16 rates of a lane");
  odd.needs = {{}};
  EXPECT_EQ(fault_of([&] { pack(*kind, {odd}, 9); }), "a lane has one or two directions");
  std::vector<PackedLane> many(16, three[0]);
  for (std::size_t i = 0; i < many.size(); ++i) {
    many[i].needs.assign(3, many[i].needs[0]);
    for (std::size_t rate = 0; rate < 3; ++rate)
      many[i].needs[rate][0].reference_mhz = *fraction(static_cast<Int128>(100 + 3 * i + rate), 1);
  }
  EXPECT_EQ(fault_of([&] { pack(*kind, many, 99); }), "more than 32 different reference clocks");
  EXPECT_TRUE(pack(*kind, {}, 0).is_possible);
}

// ---------------------------------------------------------------------------------------------------------- registers

using Words = ParamMap;
GtSettings settings_of(std::map<std::string, std::vector<Words>> const& lanes, std::string const& aim = "jitter") {
  GtSettings settings;
  for (auto const& [lane, rates] : lanes)
    for (std::size_t rate = 0; rate < rates.size(); ++rate)
      settings[lane.substr(0, 2) + "_SETTINGS"][lane]["LR" + std::to_string(rate) + "_SETTINGS"] = rates[rate];
  settings["QUAD_COMMON_SETTINGS"]["AIM"][""][""] = aim;
  return settings;
}
Design quad_of(std::string const& kind, std::map<std::string, std::vector<Words>> const& lanes,
               std::string const& aim = "jitter") {
  return design_of({}, kind, {}, settings_of(lanes, aim), {}, true, false);
}

// The same, with its fault as an exception that GoogleTest shows.
template <class... Arguments>
Design sound_quad(Arguments const&... arguments) {
  try {
    return quad_of(arguments...);
  } catch (std::string const& fault) {
    throw std::runtime_error(fault);
  }
}

// A quad's lanes for a kind at two rates, and the settings that can be changed one by one.
struct Sample {
  char const* kind;
  Words first, second;
  std::vector<std::pair<char const*, char const*>> changes;
};
std::vector<Sample> samples() {
  const auto words = [](char const* rate, char const* encoding, char const* internal, char const* user) {
    return Words{
        {"RATE", rate}, {"REFCLK", "156.25"}, {"ENCODING", encoding}, {"INT_WIDTH", internal}, {"USER_WIDTH", user}};
  };
  return {
      {"GTF",
       words("5", "8B10B", "40", "32"),
       words("2.5", "RAW", "20", "20"),
       {{"RATE", "2.5"},
        {"REFCLK", "125"},
        {"USER_WIDTH", "64"},
        {"OUTCLK_SOURCE", "PMA_HALF"},
        {"PROGDIV", "5.5"},
        {"BUFFER", "0"},
        {"PPM", "250"},
        {"PLL", "CPLL"}}},
      {"GTY",
       words("10.3125", "64B66B", "32", "64"),
       words("25.78125", "RAW", "64", "64"),
       {{"RATE", "12.50030517578125"},
        {"REFCLK", "161.1328125"},
        {"USER_WIDTH", "32"},
        {"OUTCLK_SOURCE", "PROGDIV"},
        {"PROGDIV", "33"},
        {"BUFFER", "0"},
        {"PPM", "600"},
        {"PLL", "QPLL1"},
        {"ENCODING", "64B67B"}}},
      {"GTYP",
       words("10.3125", "64B66B", "32", "64"),
       words("12.5", "RAW", "32", "32"),
       {{"RATE", "15.62530517578125"},
        {"RATE", "15.70343017578125"},
        {"REFCLK", "312.5"},
        {"USER_WIDTH", "32"},
        {"OUTCLK_SOURCE", "REFCLK"},
        {"PROGDIV", "16.5"},
        {"BUFFER", "no"},
        {"PPM", "100"},
        {"PLL", "RPLL0"},
        {"ENCODING", "128B130B"}}},
      {"GTM",
       words("26.5625", "RAW", "80", "160"),
       words("53.125", "RAW", "160", "160"),
       {{"RATE", "28.1256103515625"},
        {"REFCLK", "312.5"},
        {"USER_WIDTH", "80"},
        {"INT_WIDTH", "160"},
        {"MODULATION", "PAM4"},
        {"OUTCLK_SOURCE", "PMA_HALF"},
        {"PROGDIV", "20.5"},
        {"BUFFER", "0"},
        {"PPM", "200"},
        {"PLL", "LCPLL1"}}},
      {"GTME5",
       words("53.125", "RAW", "160", "160"),
       words("106.25", "RAW", "320", "320"),
       {{"RATE", "50.0006103515625"},
        {"REFCLK", "312.5"},
        {"USER_WIDTH", "320"},
        {"MODULATION", "PAM4"},
        {"OUTCLK_SOURCE", "PMA_HALF"},
        {"PROGDIV", "64.5"},
        {"BUFFER", "0"},
        {"PPM", "50"},
        {"PLL", "LCPLL1"}}},
  };
}

std::map<std::string, std::int64_t> all_attributes(Design const& design, std::size_t rate) {
  std::map<std::string, std::int64_t> all;
  for (std::string const& name : section_names(design)) {
    const SectionImage image = section_image(design, name, rate);
    for (auto const& [attribute, value] : attributes_in(*image.section, image.registers))
      all[name + "." + attribute] = value;
  }
  return all;
}

TEST(TransceiverRegisters, EachKindHasTwoHundredAttributesAndReadsThemBack) {
  for (Sample const& sample : samples()) {
    std::map<std::string, std::vector<Words>> lanes;
    for (int lane = 0; lane < 4; ++lane)
      for (char const* const direction : {"TX", "RX"})
        lanes[direction + std::to_string(lane)] = {sample.first, sample.second};
    const Design design = quad_of(sample.kind, lanes);
    EXPECT_GE(all_attributes(design, 0).size(), 200U) << sample.kind;
    for (std::size_t rate = 0; rate < 2; ++rate) {
      const Decoded decoded = decode_entries(*design.kind, table_entries(design, {}, rate), references_of(design));
      EXPECT_TRUE(decoded.differing.empty())
          << sample.kind << " " << (decoded.differing.empty() ? "" : decoded.differing.front());
      ASSERT_EQ(decoded.lanes.size(), 8U);
      Words const& asked = rate == 0 ? sample.first : sample.second;
      for (DecodedLane const& lane : decoded.lanes) {
        EXPECT_EQ(lane.gbps, asked.at("RATE")) << sample.kind << lane.section;
        EXPECT_EQ(lane.encoding, asked.at("ENCODING"));
        EXPECT_EQ(std::to_string(lane.internal_width), asked.at("INT_WIDTH"));
        EXPECT_EQ(std::to_string(lane.user_width), asked.at("USER_WIDTH"));
        const int number = lane.section.back() - '0';
        LaneRate const& made = lane.section[0] == 'T' ? design.lanes[static_cast<std::size_t>(number)].tx[rate]
                                                      : design.lanes[static_cast<std::size_t>(number)].rx[rate];
        EXPECT_EQ(lane.output_divide, made.setting.output_divide);
        EXPECT_EQ(lane.modulation, made.modulation->name);
        EXPECT_EQ(lane.pll, design.kind->plls[static_cast<std::size_t>(made.setting.pll)].name);
        EXPECT_EQ(lane.vco_mhz, exact_text(*vco_mhz_of(*design.kind, made.setting, made.reference_mhz)));
      }
    }
  }
}

TEST(TransceiverRegisters, ASettingMovesOnlyWhatItsRulesListAndEachRuleIsMoved) {
  for (Sample const& sample : samples()) {
    std::map<std::string, std::vector<Words>> lanes;
    for (char const* const lane : {"TX0", "RX0"}) lanes[lane] = {sample.first};
    const auto before = all_attributes(sound_quad(sample.kind, lanes), 0);
    std::set<std::string> moved;  // attributes, without their section's number
    const auto compare = [&](std::string const& setting, std::map<std::string, std::int64_t> const& after) {
      for (auto const& [name, value] : after) {
        const auto old = before.find(name);
        if (old != before.end() && old->second == value) continue;
        const std::string attribute = name.substr(name.find('.') + 1);
        moved.insert(attribute);
        if (old == before.end() || setting.empty()) continue;
        const std::string section = attribute.substr(0, attribute.find('_'));
        for (Attribute const& one : section_of_kind(section).attributes)
          if (one.name == attribute) {
            auto const& by = section_of_kind(section).moved_by.at(one.from);
            EXPECT_NE(std::find(by.begin(), by.end(), setting), by.end())
                << sample.kind << ": " << setting << " moves " << name;
          }
      }
    };
    for (auto const& [setting, value] : sample.changes) {
      auto changed = lanes;
      for (auto& [lane, rates] : changed) {
        if (lane[0] == 'R' && std::string(value) == "REFCLK") continue;  // which no receiver gives out
        rates[0][setting] = value;
      }
      compare(setting, all_attributes(sound_quad(sample.kind, changed), 0));
    }
    compare("AIM", all_attributes(sound_quad(sample.kind, lanes, "power"), 0));
    // Rates, lanes and references beside those: what moves the rest.
    auto more = lanes;
    more["TX1"] = more["RX1"] = {sample.second};
    for (auto& [lane, rates] : more) rates.push_back(sample.second);
    more["TX1"][0]["REFCLK"] = more["RX1"][0]["REFCLK"] = "125";
    compare({}, all_attributes(sound_quad(sample.kind, more), 0));
    compare({}, all_attributes(sound_quad(sample.kind, more), 1));
    for (char const* const section : {"TX", "RX", "PLL", "COMMON"})
      for (Attribute const& attribute : section_of_kind(section).attributes) {
        // What a kind does not have stands still: modulations, fractions.
        const bool is_pam4 = attribute.from == "modulation_bits",
                   is_fraction = attribute.from == "numerator" || attribute.from == "fraction_used";
        const std::string kind = sample.kind;
        if ((is_pam4 && find_kind(kind)->modulations.size() == 1) || (is_fraction && kind == "GTF")) continue;
        EXPECT_TRUE(moved.contains(attribute.name)) << kind << " " << attribute.name;
      }
  }
}

TEST(TransceiverRegisters, AnAttributeThatDoesNotFitIsNamed) {
  const Design design = quad_of("GTYP", {{"TX0", {{{"RATE", "10.3125"}, {"REFCLK", "156.25"}}}}});
  auto entries = table_entries(design, {}, 0);
  int found = 0;
  std::set<std::string> told_of;
  for (std::size_t i = 0; i < entries.size(); ++i)
    for (int bit = 0; bit < 16; ++bit) {
      auto changed = entries;
      changed[i] ^= 1U << bit;
      try {
        const Decoded decoded = decode_entries(*design.kind, changed, references_of(design));
        for (std::string const& one : decoded.differing) told_of.insert(one.substr(0, one.find('.')));
        found += decoded.differing.empty() && decoded.lanes[0].gbps == "10.3125" ? 0 : 1;
      } catch (std::string const&) {
        ++found;
      }
    }
  EXPECT_GT(found, 300) << "of the bits that attributes have";
  for (char const* const section : {"TX0", "RPLL0", "RPLL1", "LCPLL0", "LCPLL1"})
    EXPECT_TRUE(told_of.contains(section)) << section;
  EXPECT_EQ(fault_of([&] { decode_entries(*design.kind, entries, {}); }),
            "Ip_gtwiz : the registers hold no reference of GTYP.\n");
  // A bit of a field of TX0 changed, by the field's name and what it says then.
  const auto changed = [&](char const* section, std::size_t first, char const* name, std::uint32_t value) {
    for (Attribute const& attribute : section_of_kind(section).attributes)
      if (attribute.name == name) {
        auto all = entries;
        std::uint32_t& entry = all[first + static_cast<std::size_t>(attribute.address)];
        entry =
            (entry & ~(static_cast<std::uint32_t>(attribute.most()) << attribute.low_bit)) | value << attribute.low_bit;
        return fault_of([&] { decode_entries(*design.kind, all, references_of(design)); });
      }
    return std::string("no such attribute");
  };
  EXPECT_EQ(changed("TX", 0, "TX_PLL_SELECT", 7), "Ip_gtwiz : the registers hold no pll of GTYP.\n");
  EXPECT_EQ(changed("TX", 0, "TX_PLL_SELECT", 1),
            "Ip_gtwiz : the registers of RPLL1 have it off, and a lane takes it.\n");
  EXPECT_EQ(changed("TX", 0, "TX_MODULATION", 3), "Ip_gtwiz : the registers hold no modulation of GTYP.\n");
  EXPECT_EQ(changed("TX", 0, "TX_INTERNAL_WIDTH", 15), "Ip_gtwiz : the registers hold no internal_width.\n");
  Kind narrow = *design.kind;
  for (Pll& pll : narrow.plls) {
    pll.is_shared = false;
    pll.channels = 2;
  }
  EXPECT_EQ(fault_of([&] { decode_entries(narrow, entries, references_of(design)); }),
            "Ip_gtwiz : the registers hold a PLL that channel 0 does not have.\n");
  std::vector<std::uint32_t> lane(entries.begin(), entries.begin() + 12);
  EXPECT_EQ(fault_of([&] { decode_entries(*design.kind, lane, references_of(design)); }),
            "Ip_gtwiz : the registers of LCPLL0 are missing.\n");
}

TEST(TransceiverRegisters, RulesAreReadAndFaultsHaveTheirPlace) {
  const auto read = [](std::string const& attribute) {
    return fault_of([&] {
      read_sections(
          "{\"format\": 1, \"quantities\": {\"PLL\": {\"feedback\": [\"RATE\"]}}, \"sections\": [{\"name\": \"PLL\", "
          "\"attributes\": [" +
              attribute + "]}]}",
          "r");
    });
  };
  EXPECT_EQ(read(R"({"name": "A", "bits": 3, "from": "feedback"})"), "");
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "other"})").find("expected a quantity of the section"),
            std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "feedback", "per": 2, "add": 1})").find("expected one rule"),
            std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "feedback", "slice": [0, 2]})")
                .find("expected the first bit and the attribute's bits"),
            std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 1, "from": "feedback", "steps": [1, 2]})")
                .find("expected fewer steps than bits hold"),
            std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "feedback", "steps": [2, 2]})").find("expected an ascending list"),
            std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "feedback", "codes": {"x": 1}})")
                .find("expected a quantity as the name of its code"),
            std::string::npos);
  EXPECT_NE(read("").find("expected an attribute at least"), std::string::npos);
  EXPECT_NE(read(R"({"name": "A", "bits": 3, "from": "feedback"}, {"name": "A", "bits": 3, "from": "feedback"})")
                .find("expected a new name"),
            std::string::npos);
  Attribute attribute;
  attribute.name = "A";
  attribute.bits = 2;
  attribute.from = "feedback";
  EXPECT_EQ(fault_of([&] { value_of(attribute, {{"feedback", 4}}); }), "A has no value for feedback 4");
  EXPECT_EQ(fault_of([&] { value_of(attribute, {}); }), "A: no quantity feedback");
  EXPECT_EQ(fault_of([] { section_of_kind("X"); }), "transceivers/registers.json: it has no section X");
}

// ---------------------------------------------------------------------------------------------------- faults of words

TEST(TransceiverSettings, WhatCannotBeIsNamed) {
  const Words good{{"RATE", "10.3125"}, {"REFCLK", "156.25"}};
  const auto with = [&](char const* key, char const* value, char const* kind = "GTYP") {
    Words words = good;
    words[key] = value;
    return fault_of([&] { quad_of(kind, {{"TX0", {words}}}); });
  };
  const std::string at = "Ip_gtwiz : TX0 at rate 0: ";
  EXPECT_EQ(with("PPM", "10"), "");
  EXPECT_EQ(with("RATE", "x"), at + "RATE \"x\" is no number from 0.001 to 1000000.\n");
  EXPECT_EQ(with("RATE", ""), at + "RATE is missing.\n");
  EXPECT_EQ(with("MODULATION", "PAM4"), at + "MODULATION \"PAM4\" is none of NRZ.\n");
  EXPECT_EQ(with("MODULATION", "PAM4", "GTM"), at + "GTM has no symbol rate for 10.3125 Gb/s with PAM4.\n");
  EXPECT_EQ(with("PLL", "X"), at + "PLL \"X\" is none of RPLL0, RPLL1, LCPLL0, LCPLL1.\n");
  EXPECT_EQ(with("FRACN", "x"), at + "FRACN \"x\" is no truth value.\n");
  EXPECT_EQ(with("OUTCLK_SOURCE", "X"),
            at + "OUTCLK_SOURCE \"X\" is none of PMA, PMA_HALF, REFCLK, REFCLK_HALF, PROGDIV.\n");
  EXPECT_EQ(with("PROGDIV", "4.25"), at + "PROGDIV \"4.25\" is no half or whole number from 4 to 132.\n");
  EXPECT_EQ(with("ENCODING", "X"), at + "ENCODING \"X\" is none of RAW, 8B10B, 64B66B, 64B67B, 128B130B.\n");
  EXPECT_EQ(with("INT_WIDTH", "24"), at + "INT_WIDTH \"24\" is no internal width for RAW: 16, 20, 32, 40, 64, 80.\n");
  EXPECT_EQ(with("USER_WIDTH", "24"),
            at + "USER_WIDTH \"24\" is no user width for RAW: 16, 20, 32, 40, 64, 80, 128, 160.\n");
  EXPECT_EQ(with("USER_WIDTH", "16"), at + "no widths for RAW at 10.3125 Gb/s: the user clock would exceed 510 MHz.\n");
  EXPECT_EQ(with("PPM", "-1"), at + "PPM \"-1\" is no integer from 0 to 10000.\n");
  EXPECT_EQ(with("PROTOCOL", "X"), at + "PROTOCOL \"X\" is no protocol.\n");
  EXPECT_EQ(with("REFCLK", "50"), "Ip_gtwiz : TX0 at rate 0: the reference clock 50 MHz is outside 60 to 820 MHz.\n");
  const auto lanes = [](std::map<std::string, std::vector<Words>> const& all) {
    return fault_of([&] { quad_of("GTYP", all); });
  };
  EXPECT_EQ(lanes({{"TX4", {good}}}), "Ip_gtwiz : lane \"TX4\" is none of the 4 that there are.\n");
  EXPECT_EQ(lanes({{"TX0", std::vector<Words>(17, good)}}), "Ip_gtwiz : TX0 has more than 16 rates.\n");
  GtSettings settings = settings_of({{"TX0", {good}}});
  const auto made = [&](std::string const& options = {}, std::string const& part = {}, std::string const& quad = {},
                        bool keep = false) {
    return fault_of([&] { design_of(part, "GTYP", quad, settings, options, false, keep); });
  };
  settings["TX_SETTINGS"]["TX0"]["LR2_SETTINGS"] = good;
  EXPECT_EQ(made(), "Ip_gtwiz : TX0 has LR2_SETTINGS and no LR1_SETTINGS.\n");
  settings["TX_SETTINGS"]["TX0"].clear();
  EXPECT_EQ(made(), "Ip_gtwiz : TX0 has no LR0_SETTINGS.\n");
  settings = settings_of({{"TX0", {good}}}, "speed");
  EXPECT_EQ(made(), "Ip_gtwiz : AIM \"speed\" is none of jitter, power.\n");
  settings["QUAD_COMMON_SETTINGS"]["AIM"] = {{"a", {{"b", "c"}}}};
  EXPECT_EQ(made(), "Ip_gtwiz : AIM is none of jitter, power.\n");
  settings = settings_of({{"TX0", {good}}});
  EXPECT_EQ(made("LANES 5"), "Ip_gtwiz : LANES \"5\" is no integer from 1 to 4.\n");
  EXPECT_EQ(made({}, "nopart"), "Ip_gtwiz : part \"nopart\" is not known.\n");
  EXPECT_EQ(made({}, "zrv7030-c484-1-c"), "Ip_gtwiz : the part \"zrv7030-c484-1-c\" has no GTYP.\n");
  EXPECT_EQ(made({}, "brvn3716-die-2LHP-e-S-es1", "103"),
            "Ip_gtwiz : quad \"103\" is no GTYP of the part \"brvn3716-die-2LHP-e-S-es1\".\n");
  settings["quadUsage"]["quadUsage"] = {{"TX_QUAD_CH", {{"TX0", "201"}}}, {"RX_QUAD_CH", {{"RX0", "202"}}}};
  EXPECT_EQ(made({}, {}, {}, true), "Ip_gtwiz : lane 0 is in the quads 201 and 202.\n");
  settings["quadUsage"]["quadUsage"] = {{"TX_QUAD_CH", {{"TX0", "103"}}}};
  EXPECT_EQ(made({}, "brvn3716-die-2LHP-e-S-es1", {}, true),
            "Ip_gtwiz : quad 103 is no GTYP of the part \"brvn3716-die-2LHP-e-S-es1\".\n");
  settings["quadUsage"]["quadUsage"] = {{"TX_QUAD_CH", {{"TX0", "x"}}}};
  EXPECT_EQ(made({}, {}, {}, true), "Ip_gtwiz : TX_QUAD_CH gives \"TX0\" the quad \"x\".\n");
  const Design design = quad_of("GTYP", {{"TX0", {good}}});
  EXPECT_EQ(fault_of([&] { section_image(design, "TX1", 0); }),
            "Ip_gtwiz : the section \"TX1\" is none of TX0, RPLL0, RPLL1, LCPLL0, LCPLL1, COMMON.\n");
  EXPECT_EQ(fault_of([&] { section_image(design, "TX0", 1); }),
            "Ip_gtwiz : there is no rate 1; there is rate 0 alone.\n");
}

TEST(TransceiverSettings, WhatIsNotKnownIsWarnedOf) {
  GtSettings settings = settings_of({{"TX0", {{{"RATE", "10.3125"}, {"REFCLK", "156.25"}, {"USR_WIDTH", "64"}}}}});
  settings["TX_SETTINGS"]["TX0"]["KIND"][""] = "x";
  settings["TX_SETTINGS"]["QX0"]["KIND"][""] = "x";
  settings["QUAD_COMMON_SETTINGS"]["AIMS"][""][""] = "x";
  const Design design = design_of({}, "GTYP", {}, settings, "AIN power", true, false);
  EXPECT_EQ(design.warnings,
            (std::vector<std::string>{
                "options: \"AIN\" is not known and changes nothing; the nearest name is AIM",
                "QUAD_COMMON_SETTINGS: \"AIMS\" is not known and changes nothing; the nearest name is AIM",
                "\"QX0\" is not known and changes nothing; the nearest name is TX0",
                "TX0 at rate 0: \"USR_WIDTH\" is not known and changes nothing; the nearest name is USER_WIDTH",
                "TX0: \"KIND\" is not known and changes nothing; the nearest name is LR0_SETTINGS"}));
  EXPECT_EQ(design.lanes.size(), 1U);
}

TEST(TransceiverSettings, ARateThatIsOffByLessThanItMayBeIsTaken) {
  const Words off{{"RATE", "10.3126"}, {"REFCLK", "156.25"}, {"FRACN", "0"}};
  EXPECT_EQ(fault_of([&] {
              quad_of("GTYP", {{"TX0", {off}}});
            }).substr(0, 110),
            "Ip_gtwiz : TX0 at rate 0: no setting gives 10.3126 Gb/s exactly from 156.25 MHz; the nearest is off by "
            "-9.6968");
  Words allowed = off;
  allowed["PPM"] = "10";
  const Design design = quad_of("GTYP", {{"TX0", {allowed}}});
  EXPECT_EQ(exact_text(design.lanes[0].tx[0].real_gbps), "10.3125");
}

// -------------------------------------------------------------------------------------------------------- kinds' data

TEST(TransceiverData, AFaultOfAKindHasItsPlace) {
  const std::string good = kdi::read_file(places::data("transceivers") + "/GTM.json");
  EXPECT_EQ(read_kinds(good, "k").size(), 2U);
  const auto with = [&](std::string const& from, std::string const& to) {
    std::string text = good;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    return fault_of([&] { read_kinds(text, "k"); });
  };
  const auto expect = [&](std::string const& from, std::string const& to, std::string const& end) {
    EXPECT_NE(with(from, to).find(end), std::string::npos) << with(from, to);
  };
  expect("[9.5, 29.0]", "[9.5]", "modulations[0].symbol_gbd: expected the lowest and the highest value, found a list");
  expect("\"kind\": \"GTM\"", "\"kind\": \"\"", "kind: expected a name of at most 64 bytes");
  expect("[9.5, 29.0]", "[29, 9.5]", "expected the lowest value before the highest");
  expect("[9.5, 29.0]", "[9.50000000001, 29.0]", "expected a number of whole Hz");
  expect("[16, 160]", "[160, 16]", "expected the lowest value before the highest");
  expect("[1, 2, 4]", "[1, 4, 2]", "expected a number above the one before it");
  expect("[1, 2, 4]", "[]", "expected at least one number");
  expect("[1, 2, 4]", "[1, 2, 8]", "expected the divider 8 of LCPLL0");
  expect("\"channels\": [0, 1, 2, 3]", "\"channels\": []", "expected a channel at least");
  expect("\"name\": \"LCPLL1\"", "\"name\": \"LCPLL0\"", "expected a new name");
  expect("{\"encoding\": \"RAW\"", "{\"encoding\": \"X\"", "expected the name of an encoding");
  expect("\"directions\": [\"TX\"], \"from\": \"reference\"", "\"directions\": [\"RX\"], \"from\": \"reference\"",
         "expected what a receiver has: rate or symbols");
  expect("{\"LCPLL0\": [9.5, 14.5],", "{\"LCPLL9\": [9.5, 14.5], \"LCPLL0\": [9.5, 14.5],",
         "expected the name of one of the PLLs");
  expect("[[9.5, 14.5], [19.0, 29.0]", "[[9.5, 19.0], [19.0, 29.0]", "expected line rates above those before");
  expect("[[9.5, 14.5], [19.0, 29.0], [38.0, 53.125]]", "[]", "expected at least one range");
  const std::size_t begin = good.find("\"encodings\": ["), end = good.find("]\n", begin);
  std::string none = good;
  EXPECT_NE(fault_of([&] {
              read_kinds(none.replace(begin, end - begin, "\"encodings\": ["), "k");
            }).find("expected 1 to 64 entries"),
            std::string::npos);
}

// -------------------------------------------------------------------------------------------------------------- images

TEST(TransceiverImages, OnlyTheSectionChanges) {
  const Scratch scratch;
  const std::string program = kdi::library_directory() + "/libkdi_rule_engine.so";
  const std::string image = scratch.path("image.elf"), output = scratch.path("output.elf");
  const std::string before = kdi::read_file(program);
  kdi::write_file(image, before);
  update_elf(image, ".comment", "new", output);
  const std::string after = kdi::read_file(output);
  ASSERT_EQ(after.size(), before.size());
  std::size_t first = before.size(), last = 0;
  for (std::size_t i = 0; i < before.size(); ++i)
    if (before[i] != after[i]) {
      first = std::min(first, i);
      last = i;
    }
  EXPECT_EQ(after.substr(first, 3), "new");
  EXPECT_LT(last - first, 200U) << "within the section";
  EXPECT_EQ(after.substr(first + 3, last - first - 2), std::string(last - first - 2, '\0'));
  EXPECT_EQ(std::system(("readelf -a -W " + output + " > /dev/null 2> " + scratch.path("says") + " && test ! -s " +
                         scratch.path("says"))
                            .c_str()),
            0);
  update_elf(image, ".comment", "new", image);
  EXPECT_EQ(kdi::read_file(image), after) << "in place";
}

// The place of a section's header in an image of 64 bits.
std::size_t header_of(std::string image, std::string const& name) {
  elf_version(EV_CURRENT);
  Elf* const elf = elf_memory(image.data(), image.size());
  GElf_Ehdr header;
  gelf_getehdr(elf, &header);
  std::size_t names = 0;
  elf_getshdrstrndx(elf, &names);
  std::size_t found = 0;
  for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
    GElf_Shdr about;
    gelf_getshdr(section, &about);
    if (name == elf_strptr(elf, names, about.sh_name))
      found = header.e_shoff + elf_ndxscn(section) * header.e_shentsize;
  }
  elf_end(elf);
  return found;
}

TEST(TransceiverImages, WhatCannotBeIsNamedAndNothingIsWritten) {
  const Scratch scratch;
  const std::string image = scratch.path("image.elf"), output = scratch.path("output.elf");
  const std::string good = kdi::read_file(kdi::library_directory() + "/libkdi_rule_engine.so");
  const auto fault = [&](std::string const& bytes, std::string const& section, std::string_view content = "x") {
    kdi::write_file(image, bytes);
    const std::string text = fault_of([&] { update_elf(image, section, content, output); });
    EXPECT_FALSE(kdi::is_file(output)) << text;
    return text;
  };
  EXPECT_EQ(fault("text", "s"), "Ip_gtwiz : " + image + " is no ELF image.\n");
  EXPECT_EQ(fault("", "s"), "Ip_gtwiz : " + image + " is no ELF image.\n");
  EXPECT_EQ(fault(good.substr(0, 64), "s"), "Ip_gtwiz : " + image + " has no sections.\n");
  EXPECT_EQ(fault(good, ".none"), "Ip_gtwiz : " + image + " has no section \".none\".\n");
  EXPECT_EQ(fault(good, ".bss"), "Ip_gtwiz : section \".bss\" of " + image + " holds no contents.\n");
  const std::string long_content(1000, 'x');
  EXPECT_NE(fault(good, ".comment", long_content).find(" bytes, and the content has 1000.\n"), std::string::npos);
  EXPECT_EQ(fault(good, ".comment", long_content).find("Ip_gtwiz : section \".comment\" of " + image + " has "), 0U);
  const auto put = [](std::string& bytes, std::size_t at, std::uint64_t value) {
    bytes.replace(at, 8, reinterpret_cast<char const*>(&value), 8);
  };
  const std::size_t header = header_of(good, ".comment");
  ASSERT_NE(header, 0U);
  std::string bad = good;
  put(bad, header + 32, good.size());
  EXPECT_EQ(fault(bad, ".comment"), "Ip_gtwiz : section \".comment\" of " + image + " ends behind the file.\n");
  bad = good;
  put(bad, header + 24, 0);
  EXPECT_EQ(fault(bad, ".comment"), "Ip_gtwiz : section \".comment\" of " + image + " shares bytes with the header.\n");
  put(bad, header + 24, 64);
  EXPECT_EQ(fault(bad, ".comment"),
            "Ip_gtwiz : section \".comment\" of " + image + " shares bytes with the program headers.\n");
  put(bad, header + 24, header);
  EXPECT_EQ(fault(bad, ".comment"),
            "Ip_gtwiz : section \".comment\" of " + image + " shares bytes with the section headers.\n");
  bad = good;
  bad.replace(header_of(good, ".data"), 4, good.substr(header, 4));
  EXPECT_EQ(fault(bad, ".comment"), "Ip_gtwiz : " + image + " has two sections \".comment\".\n");
  Random random(31);
  for (int i = 0; i < 80; ++i) {  // no damage does more than be told
    std::string damaged =
        good.substr(0, random.one_in(2) ? good.size() : random.below(static_cast<unsigned>(good.size())));
    for (int j = 0; j < 4 && !damaged.empty(); ++j)
      damaged[random.one_in(2) ? random.below(64) % damaged.size()
                               : (header - 640 + random.below(1200)) % damaged.size()] =
          static_cast<char>(random.below(256));
    kdi::write_file(image, damaged);
    fault_of([&] { update_elf(image, ".comment", "x", output); });
  }
}

// --------------------------------------------------------------------------------------------------- encrypted content

using kelvane_gtwiz::decrypted_content;
using kelvane_gtwiz::opened;
using kelvane_gtwiz::sealed;

const std::string kKey = "0123456789abcdef0123456789abcdef";
const std::string kNonce = "abcdefghijklmnopqrstuvwx";

TEST(TransceiverContent, KnownAnswers) {
  // Computed apart, from the descriptions of the cipher (RFC 8439; draft-irtf-cfrg-xchacha-03).
  const std::string made = sealed("attributes of a transceiver", kKey, kNonce);
  EXPECT_EQ(made, sealed("attributes of a transceiver", kKey, kNonce));
  EXPECT_EQ(made, "S0dYMWFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eL/L0UUMLfIDifvFsNXrLY3Lh6uZG3pY9N1MYDWjGcs2jtCfzovoN91RRC0=");
  EXPECT_EQ(opened(made, kKey), "attributes of a transceiver");
  EXPECT_EQ(opened(sealed("", kKey, kNonce), kKey), "");
  const std::string binary("a\0b\xFF", 4);
  EXPECT_EQ(opened(sealed(binary, kKey, kNonce), kKey), binary);
}

TEST(TransceiverContent, AnotherKeyOrAChangeIsAnErrorAndNeverText) {
  const std::string made = sealed("text", kKey, kNonce);
  const std::string changed_text = "Ip_gtwiz : the content was not made with this key, or it was changed.\n";
  EXPECT_EQ(fault_of([&] { opened(made, "1" + kKey.substr(1)); }), changed_text);
  for (std::size_t i = 0; i < made.size(); ++i) {
    std::string changed = made;
    changed[i] = changed[i] == 'A' ? 'B' : 'A';
    EXPECT_NE(fault_of([&] { opened(changed, kKey); }), "") << i;
    EXPECT_NE(fault_of([&] { opened(made.substr(0, i), kKey); }), "") << i;
  }
  EXPECT_EQ(fault_of([&] { opened("!!!", kKey); }), "Ip_gtwiz : the content is no base64.\n");
  EXPECT_EQ(fault_of([&] { opened("QUJDRA==", kKey); }), "Ip_gtwiz : the content is of no known version.\n");
  EXPECT_EQ(fault_of([&] { opened("S0dYMQ==", kKey); }), "Ip_gtwiz : the content is cut off.\n");
  EXPECT_EQ(fault_of([&] { opened(made, "short"); }), "Ip_gtwiz : a key has 32 bytes and a nonce 24.\n");
  EXPECT_EQ(fault_of([&] { sealed("x", kKey, "short"); }), "Ip_gtwiz : a key has 32 bytes and a nonce 24.\n");
  constexpr std::size_t kTooLong = (std::size_t{1} << 28) + 1;
  void* const untouched = ::mmap(nullptr, kTooLong, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(untouched, MAP_FAILED);
  EXPECT_EQ(fault_of([&] {
              sealed({static_cast<char const*>(untouched), kTooLong}, kKey, kNonce);
            }),
            "Ip_gtwiz : the content is longer than 268435456 bytes.\n");
  ::munmap(untouched, kTooLong);
}

TEST(TransceiverContent, KeyFilesAreTheirOwnersAlone) {
  const Scratch scratch;
  const std::string path = scratch.path("key");
  const std::string made = sealed("text", kKey, kNonce);
  const auto with = [&](std::string const& bytes, unsigned mode) {
    ::unlink(path.c_str());
    kdi::write_file(path, bytes);
    ::chmod(path.c_str(), mode);
    std::string text;
    const std::string fault = fault_of([&] { text = decrypted_content(made, path); });
    return fault.empty() ? text : fault;
  };
  EXPECT_EQ(with(kKey, 0600), "text");
  EXPECT_EQ(with(kKey, 0400), "text");
  std::string digits;
  for (const char c : kKey) digits += kdi::number::hexadecimal(static_cast<unsigned char>(c), 2);
  EXPECT_EQ(with(digits + "\n", 0600), "text");
  for (const unsigned mode : {0640U, 0604U, 0620U, 0601U})
    EXPECT_EQ(with(kKey, mode), "Ip_gtwiz : the key file may be read or written by others than its owner.\n");
  for (std::string const& none :
       {std::string(), std::string("short"), kKey + "x", digits.substr(1), digits + "0", std::string(64, 'g')})
    EXPECT_EQ(with(none, 0600), "Ip_gtwiz : the key file holds no key: 32 bytes, or 64 hexadecimal digits.\n");
  EXPECT_EQ(fault_of([&] { decrypted_content(made, scratch.path("none")); }),
            "Ip_gtwiz : the key file cannot be opened: No such file or directory.\n");
  EXPECT_EQ(fault_of([&] { decrypted_content(made, scratch.path("")); }), "Ip_gtwiz : the key file is no file.\n");
  if (::geteuid() == 0) {
    with(kKey, 0600);
    ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
    EXPECT_EQ(fault_of([&] { decrypted_content(made, path); }), "Ip_gtwiz : the key file belongs to another user.\n");
  }
  EXPECT_EQ(fault_of([&] { decrypted_content(made, {}); }), "Ip_gtwiz : no encryption key is configured.\n");
}

}  // namespace
