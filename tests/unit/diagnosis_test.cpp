// Why an interface cannot be placed, and what would do: what is said to be in the way is, no less would do, and what is
// offered instead is a placement.
#include "kdi/planning/Diagnosis.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <set>

#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "platform/planning/diagnosis.h"
#include "platform/planning/relaxed.h"
#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;
using planning::Diagnosis;
using test_support::Random;

int rounds(int few, int many) { return std::getenv("IPTASKS_LONG") != nullptr ? many : few; }

// The first of the smallest sets, of all sets of up to `most` elements, each planned for the whole device.
std::optional<std::vector<std::size_t>> first_of_all(planning::PlacementRequest const& request,
                                                     std::vector<planning::Element> const& elements, std::size_t most) {
  std::vector<std::size_t> chosen;
  planning::ElementSet without;
  const auto complete = [&](auto self, std::size_t first, std::size_t left) -> bool {
    if (left == 0) return planning::can_place(planning::Relaxed(request, elements, without).request());
    for (std::size_t i = first; i < elements.size(); ++i) {
      chosen.push_back(i);
      without.set(i);
      if (self(self, i + 1, left - 1)) return true;
      chosen.pop_back();
      without.reset(i);
    }
    return false;
  };
  for (std::size_t size = 1; size <= most; ++size)
    if (complete(complete, 0, size)) return chosen;
  return std::nullopt;
}

// Without each set of fewer than `size` elements there is no placement.
bool no_smaller_does(planning::PlacementRequest const& request, std::vector<planning::Element> const& elements,
                     std::size_t first, std::size_t size, planning::ElementSet without) {
  if (size == 0) return true;
  if (planning::can_place(planning::Relaxed(request, elements, without).request())) return false;
  for (std::size_t i = first; i < elements.size(); ++i) {
    planning::ElementSet more = without;
    if (!no_smaller_does(request, elements, i + 1, size - 1, more.set(i))) return false;
  }
  return true;
}

std::set<std::string> broken(Question const& question, std::vector<int> const& pads) {
  Checker checker(question.board, question.facts);
  checker.read_constraints(question.lines_of(pads));
  return checker.broken();
}

TEST(Diagnosis, NamesTheSmallestSetInTheWay) {
  Random random(test_support::fresh_seed());
  int impossible = 0, solved = 0, smallest = 0, largest = 0;
  for (int round = 0; round < rounds(20, 3000); ++round) {
    const auto question = large_question(random);
    SCOPED_TRACE("round " + std::to_string(round));
    const Diagnosis diagnosis = planning::diagnose(question->request);
    ASSERT_EQ(diagnosis.is_possible, planning::place(question->request).plan.has_value());
    if (diagnosis.is_possible) continue;
    ++impossible;
    if (diagnosis.obstacles.empty()) continue;
    ++solved;
    const std::size_t size = diagnosis.obstacles.size();
    largest = std::max(largest, static_cast<int>(size));
    smallest += diagnosis.is_smallest ? 1 : 0;
    if (diagnosis.is_smallest && (size <= 2 || random.one_in(20))) {
      EXPECT_TRUE(no_smaller_does(question->request, planning::elements_of(question->request), 0,
                                  std::min<std::size_t>(size, 3), {}));
    }
    // The placement without them breaks what they say, and nothing else: as the checker reads it that shares no code.
    std::set<std::string> named;
    for (planning::Obstacle const& one : diagnosis.obstacles) named.insert(one.rule);
    if (named.contains("one-column")) named.insert({"banks-near", "one-slr", "system-clock-near"});
    if (named.contains("pad-free"))  // pads of others mean all this for a bank
      named.insert({"impedance-pad", "reference-pad", "bank-voltage", "bank-reference", "lane-owner"});
    std::vector<int> const& pads = diagnosis.without.pad_of_signal;
    ASSERT_EQ(pads.size(), question->wanted.signals.size());
    for (planning::Violation const& one : planning::violations(question->request, pads))
      EXPECT_TRUE(named.contains(one.rule)) << one.text;
    // No such pin, or no such standard, on a board.
    if (named.contains("pad-bonded") || named.contains("bank-kind") || !planning::is_whole(pads)) continue;
    for (std::string const& rule : broken(*question, pads)) EXPECT_TRUE(named.contains(rule)) << rule;
  }
  EXPECT_GT(impossible, 0);
  EXPECT_GE(smallest * 10, solved * 9);
  RecordProperty("impossible", impossible);
  RecordProperty("solved", solved);
  RecordProperty("smallest", smallest);
  RecordProperty("largest", largest);
}

// The same set as all sets tried one after the other give, of the whole device.
TEST(Diagnosis, AgreesWithAllSetsTried) {
  Random random(test_support::fresh_seed());
  const bool is_long = std::getenv("IPTASKS_LONG") != nullptr;
  const std::size_t most = is_long ? 3 : 2;
  int compared = 0;
  for (int round = 0; round < rounds(40, 1500); ++round) {
    const auto question = random.one_in(3) ? large_question(random) : small_question(random);
    SCOPED_TRACE("round " + std::to_string(round));
    if (planning::can_place(question->request)) continue;
    const std::vector<planning::Element> elements = planning::elements_of(question->request);
    const Diagnosis diagnosis = planning::diagnose(question->request);
    const auto first = first_of_all(question->request, elements, most);
    if (!first) {
      EXPECT_TRUE(diagnosis.obstacles.empty() || diagnosis.obstacles.size() > most);
      continue;
    }
    ++compared;
    EXPECT_TRUE(diagnosis.is_smallest);
    std::vector<std::string> expected, named;
    for (const std::size_t i : *first) expected.push_back(elements[i].obstacle.text);
    for (planning::Obstacle const& one : diagnosis.obstacles) named.push_back(one.text);
    EXPECT_EQ(named, expected);
  }
  EXPECT_GT(compared, 0);
  RecordProperty("compared", compared);
}

// With any one of the set put back there is no placement, with no matter which of the others kept.
TEST(Diagnosis, NoneOfTheSetIsSuperfluous) {
  Random random(test_support::fresh_seed());
  int looked_at = 0, cut_short = 0;
  for (int round = 0; round < rounds(25, 3000); ++round) {
    const auto question = large_question(random);
    const int effort = random.one_in(3) ? planning::kMostPlans : static_cast<int>(random.below(30));
    const Diagnosis diagnosis = planning::diagnose(question->request, effort);
    const std::size_t size = diagnosis.obstacles.size();
    if (size < 1 || size > 8) continue;
    SCOPED_TRACE("round " + std::to_string(round) + ", effort " + std::to_string(effort));
    ++looked_at;
    cut_short += diagnosis.is_smallest ? 0 : 1;
    EXPECT_EQ(diagnosis.without.pad_of_signal.size(), question->wanted.signals.size());
    if (diagnosis.is_smallest) {
      EXPECT_EQ(size, planning::diagnose(question->request).obstacles.size());
    }
    const std::vector<planning::Element> elements = planning::elements_of(question->request);
    std::vector<std::size_t> set;
    for (planning::Obstacle const& one : diagnosis.obstacles)
      for (std::size_t i = 0; i < elements.size(); ++i)
        if (elements[i].obstacle.text == one.text) set.push_back(i);
    ASSERT_EQ(set.size(), size);
    for (unsigned kept = 0; kept + 1 < 1u << size; ++kept) {
      planning::ElementSet without;
      for (std::size_t i = 0; i < size; ++i) without[set[i]] = (kept >> i & 1u) != 0;
      EXPECT_FALSE(planning::can_place(planning::Relaxed(question->request, elements, without).request())) << kept;
    }
  }
  EXPECT_GT(looked_at, 0);
  EXPECT_GT(cut_short, 0);
  RecordProperty("looked_at", looked_at);
  RecordProperty("cut_short", cut_short);
}

// A step that changes one bank is judged by the banks around it, which comes to the same.
TEST(Diagnosis, FreedBanksAreTheFirstThatHelp) {
  Random random(test_support::fresh_seed());
  int offered = 0;
  for (int round = 0; round < rounds(60, 3000) || (offered == 0 && round < 3000); ++round) {
    const auto question = large_question(random);
    if (planning::can_place(question->request)) continue;
    SCOPED_TRACE("round " + std::to_string(round));
    planning::Wanted wanted;
    wanted.layout = &question->layout;
    wanted.interface = question->asked;
    wanted.standards = question->request.standards;
    wanted.rate_mbps = question->request.rate_mbps;
    wanted.grade = question->request.grade;
    wanted.internal_reference = question->request.internal_reference;
    wanted.taken = question->request.taken;
    std::string expected;  // all are of one owner
    for (std::size_t bank = 0; bank < question->layout.banks.size() && expected.empty(); ++bank) {
      planning::PlacementRequest request = question->request;
      std::erase_if(request.taken, [&](planning::TakenPad const& one) {
        return question->layout.bank_of_pad(one.pad) == static_cast<int>(bank);
      });
      if (request.taken.size() != question->request.taken.size() && planning::can_place(request))
        expected = "without the pads of another in bank " + std::to_string(question->layout.banks[bank].number);
    }
    std::string named;
    for (planning::NearPlan const& plan : planning::nearest_plans(wanted))
      if (plan.change == "others" && plan.text.find("bank") != std::string::npos) named = plan.text;
    EXPECT_EQ(named, expected);
    offered += expected.empty() ? 0 : 1;
  }
  EXPECT_GT(offered, 0);
  RecordProperty("offered", offered);
}

TEST(Diagnosis, OffersPlacementsThatKeepAllRules) {
  Random random(test_support::fresh_seed());
  int offered = 0, empty = 0;
  for (int round = 0; round < rounds(40, 2000); ++round) {
    const auto question = large_question(random);
    SCOPED_TRACE("round " + std::to_string(round));
    if (planning::can_place(question->request)) continue;
    planning::Wanted wanted;
    wanted.layout = &question->layout;
    wanted.interface = question->asked;
    wanted.standards = question->request.standards;
    wanted.rate_mbps = question->request.rate_mbps;
    wanted.internal_reference = question->request.internal_reference;
    wanted.taken = question->request.taken;
    const std::vector<planning::NearPlan> plans = planning::nearest_plans(wanted);
    (plans.empty() ? empty : offered) += 1;
    for (planning::NearPlan const& plan : plans) {
      const planning::Asked asked(plan.wanted);
      EXPECT_TRUE(planning::is_whole(plan.plan.pad_of_signal)) << plan.text;
      EXPECT_TRUE(planning::violations(asked.request(), plan.plan.pad_of_signal).empty()) << plan.text;
      EXPECT_FALSE(plan.text.empty());
    }
  }
  EXPECT_GT(offered, 0);
  RecordProperty("offered", offered);
  RecordProperty("empty", empty);
}

// ------------------------------------------------------------------------------------------------------- shipped data

struct Case {
  planning::Layout layout;
  planning::Wanted wanted;

  Case(char const* device, char const* type, char const* part, int width)
      : layout(planning::layout_of(HARPartMgr::getGlobal()->getPart(device)->values())) {
    wanted.layout = &layout;
    wanted.interface.kind = planning::find_memory(type);
    wanted.interface.part = wanted.interface.kind->part(part).value();
    wanted.interface.width = width;
    wanted.interface.ranks = wanted.interface.part.ranks;
    wanted.standards = wanted.interface.kind->standards;
    wanted.rate_mbps = wanted.interface.part.rate_mbps;
  }
  Case(Case const&) = delete;
  Case& operator=(Case const&) = delete;

  std::vector<std::string> obstacles() const {
    const planning::Asked asked(wanted);
    std::vector<std::string> texts;
    for (planning::Obstacle const& one : planning::diagnose(asked.request()).obstacles)
      texts.push_back(one.rule + ": " + one.text);
    return texts;
  }
  std::vector<std::string> near() const {
    std::vector<std::string> texts;
    for (planning::NearPlan const& one : planning::nearest_plans(wanted)) texts.push_back(one.change + ": " + one.text);
    return texts;
  }
};

using Texts = std::vector<std::string>;

TEST(Diagnosis, SelectedBanks) {
  Case one("zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x8", 72);
  one.wanted.banks = {64, 65};
  EXPECT_EQ(one.obstacles(), Texts{"bank-selection: only selected banks may be used"});
  EXPECT_EQ(one.near(), (Texts{"bank: bank 66 as well", "narrower: 40 bits instead of 72"}));
}

TEST(Diagnosis, NibblesWithoutStrobeSites) {
  Case one("zrv7030-f676-2-c", "DDR3", "DDR3-1600K-4Gb-x4", 8);
  EXPECT_EQ(one.obstacles(), Texts{"strobe-site: strobes are on strobe sites"});
  EXPECT_EQ(one.near(), Texts{"device: devices of 8 bits, DDR3-1600K-4Gb-x8"});
}

TEST(Diagnosis, TooFast) {
  Case one("zrv9010-f900-2-e", "DDR4", "DDR4-3200AA-8Gb-x8", 8);
  EXPECT_EQ(one.obstacles(), Texts{"bank-kind: banks are of one kind, whose standards reach 3200 Mb/s"});
  EXPECT_EQ(one.near(), Texts{"slower: 2667 Mb/s instead of 3200"});
}

// A group asked for in a bank whose voltage another has set.
TEST(Diagnosis, WishesAndOthers) {
  Case one("zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x8", 8);
  const int bank = one.layout.bank_of_number(64), lane = one.layout.lane_of(bank, "T1");
  one.wanted.lane_of_group["DQ[0-7]"] = lane;
  one.wanted.taken.push_back({one.layout.lanes[static_cast<std::size_t>(lane)].first, "led", "LVCMOS18", false, false});
  EXPECT_EQ(one.obstacles(), Texts{"as-asked: DQ[0-7] is asked for where it is"});
  EXPECT_EQ(one.near(), (Texts{"order: DQ[0-7] elsewhere than in lane T1 of bank 64",
                               "others: without the pads of led in bank 64"}));
}

// ------------------------------------------------------------------------------------- each obstacle, and each change

struct Bound {
  Texts obstacles;
  char const* near;  ///< one of those that are offered; null: it is not looked at
  char const* type;
  char const* part;
  int width;
  void (*bind)(Case&);
};

template <auto property>
void all_pads(Case& one, bool value) {
  for (planning::PlacedPad& pad : one.layout.pads) pad.*property = value;
}
template <class Set>
void all_banks(Case& one, Set set) {
  int index = 0;
  for (planning::PlacedBank& bank : one.layout.banks) set(bank, index++);
}
// Pads in each lane, but not the last one, which may be that of impedance.
void take(Case& one, char const* by, char const* standard, bool is_input, bool owns_lane, int last_pads = 1) {
  for (planning::PlacedLane const& lane : one.layout.lanes)
    for (int i = 2; i < last_pads + 2 && i < lane.pads; ++i)
      one.wanted.taken.push_back({lane.first + lane.pads - i, by, standard, is_input, owns_lane});
}
int lane_of(Case const& one, char const* name) { return one.layout.lane_of(one.layout.bank_of_number(64), name); }
int pad_of(Case const& one, char const* lane, int index) {
  return one.layout.lanes[static_cast<std::size_t>(lane_of(one, lane))].first + index;
}
void without_clock(Case& one) { one.wanted.interface.system_clock = planning::SystemClock::none; }

constexpr char kByte[] = "DDR4-2400R-8Gb-x8";

TEST(Diagnosis, NamesWhatBinds) {
  const Bound all[] = {
      {{"lane-owner: a lane is for one controller"},
       nullptr,
       "DDR4",
       kByte,
       72,
       [](Case& one) { take(one, "another", "", false, true); }},
      {{"bank-reference: a bank has one reference voltage"},
       nullptr,
       "DDR4",
       kByte,
       72,
       [](Case& one) { take(one, "another", "SSTL12", true, false); }},
      {{"bank-voltage: a bank has one Vcco, in its range"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) { all_banks(one, [](planning::PlacedBank& bank, int) {
                         bank.vcco_v = {1.5, 1.8};
                       }); }},
      {{"configuration-pad: pads of configuration are for no signal"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) { all_pads<&planning::PlacedPad::configuration>(one, true); }},
      {{"impedance-pad: impedance pads are for no signal"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) { all_pads<&planning::PlacedPad::impedance>(one, true); }},
      {{"reference-pad: reference pads are for no signal"},
       "reference: the reference voltage made inside",
       "DDR4",
       kByte,
       8,
       [](Case& one) { all_pads<&planning::PlacedPad::reference>(one, true); }},
      {{"pad-bonded: the package leaves pads out"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         for (planning::PlacedPad& pad : one.layout.pads) pad.ball.clear();
       }},
      {{"strobe-pair: strobes are on pairs of pads", "clock-pair: clocks of the memory are on pairs of pads"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         without_clock(one);
         for (planning::PlacedPad& pad : one.layout.pads) pad.partner = -1;
       }},
      {{"strobe-reach: groups are within reach of their strobe"},
       nullptr,
       "QDRIIPLUS",
       "QDRIIPLUS-1000-x18",
       18,
       [](Case& one) {
         all_banks(one, [](planning::PlacedBank& bank, int) { bank.reach = kdi::device::StrobeReach::lane; });
       }},
      {{"system-clock-site: the system clock is on a clock site"},
       "clock: a system clock from within the device",
       "DDR4",
       kByte,
       8,
       [](Case& one) { all_pads<&planning::PlacedPad::clock>(one, false); }},
      {{"system-clock-near: the system clock enters in a bank of the interface or beside one"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         const int first = one.layout.bank_of_number(64);
         for (std::size_t i = 0; i < one.layout.pads.size(); ++i)
           if (one.layout.bank_of_pad(static_cast<int>(i)) != first) {
             planning::PlacedPad& pad = one.layout.pads[i];  // two pairs are left, which are needed
             pad.clock = false;
             const int lane = pad.lane - one.layout.banks[static_cast<std::size_t>(first)].first;
             if (!pad.strobe || pad.nibble != 0 || lane < 8 || lane > 9) pad.partner = -1;
           }
         for (planning::PlacedLane& lane : one.layout.lanes) {
           if (lane.bank != first) {
             lane.position += 10;
             continue;
           }
           while (lane.pads > 2 && !one.layout.pads[static_cast<std::size_t>(lane.first)].clock) {
             ++lane.first;
             --lane.pads;
           }
           lane.pads = 2;
         }
         for (planning::PlacedBank& bank : one.layout.banks)
           if (bank.number != 64) ++bank.row;
       }},
      {{"address-adjacent: the lanes of the address block follow each other"},
       nullptr,
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         for (planning::PlacedLane& lane : one.layout.lanes) lane.position *= 2;
       }},
      {{"one-slr: the interface is on one die"},
       nullptr,
       "DDR4",
       kByte,
       72,
       [](Case& one) { all_banks(one, [](planning::PlacedBank& bank, int index) { bank.slr = index; }); }},
      {{"one-column: the interface is in one column of banks"},
       nullptr,
       "DDR4",
       kByte,
       72,
       [](Case& one) { all_banks(one, [](planning::PlacedBank& bank, int index) { bank.column = index; }); }},
      {{"banks-near: the interface is in five rows"},
       nullptr,
       "DDR4",
       kByte,
       72,
       [](Case& one) {
         all_banks(one, [](planning::PlacedBank& bank, int index) {
           bank.column = 0;
           bank.row = 5 * index;
         });
       }},
      {{"as-asked: the system clock is asked for where it is"},
       "order: c0_sys_clk_p on another pad than IO_T0_L0P_64",
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         const int pad = pad_of(one, "T0", 0);
         one.layout.pads[static_cast<std::size_t>(pad)].clock = false;
         one.wanted.pad_of_signal["c0_sys_clk_p"] = pad;
       }},
      {{"as-asked: DQ[0-7] is asked for where it is"},
       "order: DQ[0-7] and DQ[8-15] exchanged",
       "DDR4",
       kByte,
       16,
       [](Case& one) {
         one.wanted.lane_of_group = {{"DQ[0-7]", lane_of(one, "T0")}, {"DQ[8-15]", lane_of(one, "T1")}};
         one.wanted.pad_of_signal["c0_ddr4_dq[3]"] = pad_of(one, "T1", 3);
       }},
      {{"as-asked: DQ[0-7] is asked for where it is", "as-asked: DQ[8-15] is asked for where it is"},
       "order: the groups in other lanes",
       "DDR4",
       kByte,
       24,
       [](Case& one) {
         for (char const* const group : {"DQ[0-7]", "DQ[8-15]", "DQ[16-23]"})
           one.wanted.lane_of_group[group] = lane_of(one, "T0");
       }},
      {{"as-asked: DQ[0-7] is asked for where it is"},
       "order: the signals on other pads",
       "DDR4",
       kByte,
       16,
       [](Case& one) {
         for (char const* const bit : {"0", "1", "2", "3"})
           one.wanted.pad_of_signal["c0_ddr4_dq[" + std::string(bit) + "]"] = pad_of(one, "T0", 4);
       }},
      {{"as-asked: DQ[0-7] is asked for where it is", "as-asked: DQ[8-15] is asked for where it is",
        "as-asked: the address block is asked for where it is"},
       "order: groups and signals elsewhere",
       "DDR4",
       kByte,
       24,
       [](Case& one) {
         for (char const* const group : {"DQ[0-7]", "DQ[8-15]", "DQ[16-23]"})
           one.wanted.lane_of_group[group] = lane_of(one, "T0");
         one.wanted.pad_of_signal["c0_ddr4_adr[0]"] = pad_of(one, "T2", 0);
         one.wanted.pad_of_signal["c0_ddr4_adr[1]"] = pad_of(one, "T2", 0);
       }},
      {{"configuration-pad: pads of configuration are for no signal"},
       "mask: no data mask",
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         without_clock(one);
         for (planning::PlacedLane const& lane : one.layout.lanes)
           for (int i = 10; i < lane.pads; ++i)
             one.layout.pads[static_cast<std::size_t>(lane.first + i)].configuration = true;
       }},
      {{"system-clock-site: the system clock is on a clock site"},
       "clock: a system clock of one signal",
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         for (planning::PlacedPad& pad : one.layout.pads) pad.clock = pad.clock && pad.positive;
       }},
      {{"bank-selection: only selected banks may be used"},
       "slot: 1 slot instead of 2",
       "DDR4",
       "DDR4-2133N-8Gb-x8-rdimm-2r",
       72,
       [](Case& one) {
         one.wanted.interface.slots = 2;
         one.wanted.banks = {64, 65, 66};
       }},
      {{"pad-free: fan has 12 pads in bank 64", "pad-free: led has 12 pads in bank 64"},
       "others: without the pads of others",
       "DDR4",
       kByte,
       8,
       [](Case& one) {
         one.wanted.banks = {64};
         take(one, "led", "", false, false, 3);
         for (planning::PlacedLane const& lane : one.layout.lanes)
           for (int i = 0; i < 3 && i < lane.pads; ++i)
             one.wanted.taken.push_back({lane.first + i, "fan", "", false, false});
       }},
  };
  for (Bound const& bound : all) {
    SCOPED_TRACE(bound.obstacles.front());
    Case one("zrv9010-f900-2-e", bound.type, bound.part, bound.width);
    bound.bind(one);
    EXPECT_EQ(one.obstacles(), bound.obstacles);
    if (bound.near == nullptr) continue;
    const Texts near = one.near();
    EXPECT_NE(std::find(near.begin(), near.end(), bound.near), near.end()) << testing::PrintToString(near);
  }
}

TEST(Diagnosis, TakesASecondAtMostAtFullSize) {
  Random random(1);
  double worst = 0;
  for (int round = 0; round < rounds(2, 300); ++round) {
    Case one("brvn5130-c2601-2LHP-e-S", "DDR4", "DDR4-2400R-8Gb-x8", 72);
    for (std::size_t pad = 0; pad < one.layout.pads.size(); ++pad)
      if (random.one_in(3))
        one.wanted.taken.push_back({static_cast<int>(pad), random.one_in(2) ? "led" : "fan",
                                    random.one_in(20) ? "LVCMOS18" : "", random.one_in(2), random.one_in(20)});
    const planning::Asked asked(one.wanted);
    const auto before = std::chrono::steady_clock::now();
    const Diagnosis diagnosis = planning::diagnose(asked.request());
    const auto near = diagnosis.is_possible ? std::vector<planning::NearPlan>() : planning::nearest_plans(one.wanted);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
    worst = std::max(worst, took);
    EXPECT_LE(diagnosis.plans, 5000);
    if (std::getenv("IPTASKS_LONG") != nullptr)
      std::printf("%.3f s, %d plans, %zu obstacles, %d, %zu near\n", took, diagnosis.plans, diagnosis.obstacles.size(),
                  diagnosis.is_smallest, near.size());
  }
  if (std::getenv("IPTASKS_LONG") != nullptr) {
    EXPECT_LT(worst, 1);  // elsewhere others may have the processor
  }
  RecordProperty("milliseconds", static_cast<int>(worst * 1000));
}

}  // namespace
