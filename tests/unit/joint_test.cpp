// Several controllers together: the least sums of all ways to share the lanes, and placements that stand beside each
// other.
#include "kdi/planning/Joint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>

#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;
using planning::JointPlan;
using planning::Objective;
using planning::PlacementRequest;
using test_support::Random;

int rounds(int few, int many) { return std::getenv("IPTASKS_LONG") != nullptr ? many : few; }

std::tuple<int, int, int> in_order(Objective const& one) { return {one.banks, one.lanes, one.off_centre}; }

// Interfaces of some bytes on one layout.
struct Table {
  planning::Layout layout;
  std::vector<std::unique_ptr<planning::MemoryKind>> kinds;
  std::vector<std::unique_ptr<planning::Interface>> interfaces;
  std::vector<PlacementRequest> requests;

  Table(Random& random, LayoutShape const& shape) : layout(random_layout(random, shape)) {}
  explicit Table(planning::Layout made) : layout(std::move(made)) {}

  void add(int bytes, planning::SystemClock clock, std::vector<planning::TakenPad> const& taken) {
    planning::InterfaceRequest asked;
    asked.kind = planning::find_memory("DDR4");
    asked.part = *asked.kind->part("DDR4-2400R-8Gb-x8");
    asked.width = 8 * bytes;
    asked.data_mask = false;
    asked.system_clock = clock;
    add(asked, taken);
  }

  // A memory of a few signals: groups of two bits, each with a strobe or all with one.
  void add_small(int addresses, int groups, bool one_strobe, planning::SystemClock clock,
                 std::vector<planning::TakenPad> const& taken) {
    planning::MemoryKind& kind = *kinds.emplace_back(std::make_unique<planning::MemoryKind>());
    kind.type = "SMALL";
    kind.prefix = "small";
    kind.ranks_max = 1;
    kind.standards = planning::find_memory("DDR4")->standards;
    planning::LaneKind lane;
    lane.group = "DQ";
    lane.data = "dq";
    lane.direction = "inout";
    lane.mask_direction = "out";
    lane.bits = 2;
    lane.strobe = {"dqs_t", "dqs_c"};
    lane.strobe_bits = {{8, one_strobe ? 2 * groups : 2}};
    kind.lanes = {lane};
    planning::AddressPort address;
    address.port = "a";
    address.direction = "out";
    address.count = std::to_string(addresses);
    kind.address = {address};
    planning::InterfaceRequest asked;
    asked.kind = &kind;
    asked.part.width = 8;
    asked.width = 2 * groups;
    asked.system_clock = clock;
    add(asked, taken);
  }

  void add(planning::InterfaceRequest const& asked, std::vector<planning::TakenPad> const& taken) {
    interfaces.push_back(std::make_unique<planning::Interface>(planning::interface_of(asked)));
    PlacementRequest request;
    request.layout = &layout;
    request.interface = interfaces.back().get();
    request.standards = asked.kind->standards;
    request.rate_mbps = 2400;
    request.taken = taken;
    requests.push_back(std::move(request));
  }

  // A request that has to leave lanes to others.
  PlacementRequest without(PlacementRequest request, unsigned lanes, std::set<int> const& clock = {}) const {
    for (std::size_t lane = 0; lane < layout.lanes.size(); ++lane) {
      if ((lanes >> lane & 1u) == 0) continue;
      int pad = layout.lanes[lane].first;
      while (clock.contains(pad)) ++pad;
      request.taken.push_back({pad, "another", "", false, true});
    }
    return request;
  }

  // The pads that the system clock can have, by its positive one; -1 where there is none to be placed.
  std::vector<int> clocks_of(PlacementRequest const& request) const {
    if (request.interface->system_clock.empty()) return {-1};
    std::vector<int> pads;
    for (std::size_t pad = 0; pad < layout.pads.size(); ++pad)
      if (layout.pads[pad].clock && layout.pads[pad].positive && layout.pads[pad].partner >= 0)
        pads.push_back(static_cast<int>(pad));
    return pads;
  }
  std::set<int> pads_of_clock(PlacementRequest const& request, int clock) const {
    if (clock < 0) return {};
    if (request.interface->system_clock.size() == 1) return {clock};
    return {clock, layout.pads[static_cast<std::size_t>(clock)].partner};
  }
  // With its clock there, and that of another elsewhere.
  PlacementRequest clocked(PlacementRequest request, int clock, std::set<int> const& of_other) const {
    for (const int pad : of_other) request.taken.push_back({pad, "another", "", false, false});
    request.pad_of_signal.assign(request.interface->signals.size(), -1);
    if (clock >= 0) request.pad_of_signal[static_cast<std::size_t>(request.interface->system_clock[0])] = clock;
    return request;
  }
};

std::vector<planning::TakenPad> some_pads(Random& random, planning::Layout const& layout) {
  std::vector<planning::TakenPad> taken;
  for (std::size_t pad = 0; pad < layout.pads.size(); ++pad)
    if (random.one_in(25)) taken.push_back({static_cast<int>(pad), "led", "", false, false});
  return taken;
}

// Each placement keeps the rules beside the others.
void expect_whole(Table const& table, JointPlan const& joint) {
  for (std::size_t c = 0; c < joint.plans.size(); ++c) {
    PlacementRequest request = table.requests[c];
    for (std::size_t other = 0; other < joint.plans.size(); ++other) {
      if (other == c) continue;
      const auto taken = planning::taken_by_plan(table.requests[other], joint.plans[other].pad_of_signal, "another");
      request.taken.insert(request.taken.end(), taken.begin(), taken.end());
    }
    EXPECT_TRUE(planning::is_whole(joint.plans[c].pad_of_signal));
    for (planning::Violation const& one : planning::violations(request, joint.plans[c].pad_of_signal))
      ADD_FAILURE() << one.text;
  }
}

// The least sum of all shares of lanes and pads of clocks, and of that the least pads.
struct Truth {
  std::optional<Objective> best;
  std::vector<int> pads;
};

Truth least_of_all(Table const& table) {
  Truth truth;
  const unsigned all = 1u << table.layout.lanes.size();
  PlacementRequest const &one = table.requests[0], &other = table.requests[1];
  for (const int p : table.clocks_of(one))
    for (const int q : table.clocks_of(other)) {
      const std::set<int> of_one = table.pads_of_clock(one, p), of_other = table.pads_of_clock(other, q);
      if (std::any_of(of_one.begin(), of_one.end(), [&](int pad) { return of_other.contains(pad); })) continue;
      const PlacementRequest a = table.clocked(one, p, of_other), b = table.clocked(other, q, of_one);
      if (!planning::can_place(a) || !planning::can_place(b)) continue;
      for (unsigned lanes = 0; lanes < all; ++lanes) {
        const PlacementRequest second = table.without(b, all - 1 - lanes, of_other);
        if (!planning::can_place(second)) continue;
        const auto x = planning::place(table.without(a, lanes, of_one)).plan, y = planning::place(second).plan;
        if (!x) continue;
        const Objective sum{x->objective.banks + y->objective.banks, x->objective.lanes + y->objective.lanes,
                            x->objective.off_centre + y->objective.off_centre};
        std::vector<int> pads = x->pad_of_signal;
        pads.insert(pads.end(), y->pad_of_signal.begin(), y->pad_of_signal.end());
        if (truth.best && std::pair(in_order(sum), pads) >= std::pair(in_order(*truth.best), truth.pads)) continue;
        truth.best = sum;
        truth.pads = std::move(pads);
      }
    }
  return truth;
}

void expect_least(Table const& table, JointPlan const& joint, Truth const& truth) {
  EXPECT_EQ(in_order(joint.sum), in_order(*truth.best));
  // As far as it is proven, and that is far.
  std::vector<int> pads = joint.plans[0].pad_of_signal, least = truth.pads;
  pads.insert(pads.end(), joint.plans[1].pad_of_signal.begin(), joint.plans[1].pad_of_signal.end());
  const auto proven = static_cast<std::size_t>(joint.pads_proven);
  EXPECT_EQ(joint.has_least_pads, proven == pads.size());
  pads.resize(proven);
  least.resize(proven);
  EXPECT_EQ(pads, least);
  expect_whole(table, joint);
}

// Banks in one column, of so many lanes of six pads, all of them strobe sites and none a clock site.
planning::Layout plain_layout(std::vector<int> const& lanes_of_bank) {
  planning::Layout layout;
  for (const int lanes : lanes_of_bank) {
    planning::PlacedBank bank;
    bank.row = static_cast<int>(layout.banks.size());
    bank.number = 100 + bank.row;
    bank.kind = "HP";
    bank.column = 0;
    bank.vcco_v = {1.0, 1.8};
    bank.first = static_cast<int>(layout.lanes.size());
    bank.lanes = lanes;
    layout.banks.push_back(bank);
    for (int i = 0; i < lanes; ++i) {
      planning::PlacedLane lane;
      lane.name = "T" + std::to_string(i);
      lane.bank = bank.row;
      lane.position = static_cast<int>(layout.lanes.size());
      lane.first = static_cast<int>(layout.pads.size());
      for (int p = 0; p < 6; ++p) {
        planning::PlacedPad pad;
        pad.site = "L" + std::to_string(p / 2) + (p % 2 == 0 ? "P" : "N");
        pad.positive = p % 2 == 0;
        pad.partner = static_cast<int>(layout.pads.size()) + (p % 2 == 0 ? 1 : -1);
        pad.strobe = true;
        layout.pads.push_back(pad);
      }
      test_support::end_lane(layout, lane, bank.number,
                             [](planning::PlacedPad& one, std::string const& ball) { one.ball = ball; });
    }
  }
  return layout;
}

// Clocks in banks of others, within reach of their controller or just not; strobes for several groups.
TEST(Joint, FindsTheLeastSumsBesideClocks) {
  Random random(std::getenv("IPTASKS_LONG") != nullptr ? test_support::fresh_seed() : 1);
  int possible = 0, impossible = 0, whole = 0;
  for (int round = 0; round < rounds(40, 3000); ++round) {
    const std::vector<int> kBanks[] = {{3, 3}, {2, 2, 2}, {1, 2, 1, 2}, {2, 1, 1, 2}, {1, 1, 1, 1, 1, 1}};
    Table table(plain_layout(kBanks[random.below(5)]));
    int rows_left_out = 0;
    for (planning::PlacedBank& bank : table.layout.banks) {
      rows_left_out += random.one_in(6) ? 1 : 0;
      bank.row += rows_left_out;
      bank.reach = static_cast<kdi::device::StrobeReach>(random.below(3));
    }
    std::vector<planning::TakenPad> taken;
    const bool is_at_end = random.one_in(2);  // all clocks on the first pads
    for (std::size_t pad = 0; pad < table.layout.pads.size(); pad += 2) {
      planning::PlacedPad &one = table.layout.pads[pad], &other = table.layout.pads[pad + 1];
      one.clock = other.clock = is_at_end ? pad == 0 : random.one_in(4);
      one.strobe = other.strobe = !random.one_in(5);
      if (random.one_in(15)) taken.push_back({static_cast<int>(pad + random.below(2)), "led", "", false, false});
    }
    for (int c = 0; c < 2; ++c) {
      const int groups = 1 + static_cast<int>(random.below(2));
      const int addresses = random.one_in(3) ? 6 : 3;  // in one lane, or two
      table.add_small(addresses, groups, random.one_in(3), static_cast<planning::SystemClock>(random.below(3)), taken);
      if (random.one_in(8)) table.requests.back().banks = {table.layout.banks.front().number};
    }
    SCOPED_TRACE("round " + std::to_string(round));
    const Truth truth = least_of_all(table);
    const JointPlan joint = planning::place_jointly(table.requests);
    EXPECT_TRUE(joint.is_exact);
    ASSERT_EQ(!joint.plans.empty(), truth.best.has_value());
    (truth.best ? possible : impossible) += 1;
    if (!truth.best) continue;
    expect_least(table, joint, truth);
    whole += joint.has_least_pads ? 1 : 0;
  }
  EXPECT_GT(possible, 0);
  EXPECT_GT(impossible, 0);
  EXPECT_GT(whole, possible / 2);
  RecordProperty("possible", possible);
  RecordProperty("impossible", impossible);
  RecordProperty("proven", whole);
}

// Of two controllers that no order of loading places: the least of all.
void expect_joint_alone(Table const& table) {
  EXPECT_LT(planning::place_in_sequence(table.requests).size(), 2u);
  EXPECT_LT(planning::place_in_sequence({table.requests[1], table.requests[0]}).size(), 2u);
  const Truth truth = least_of_all(table);
  const JointPlan joint = planning::place_jointly(table.requests);
  ASSERT_TRUE(truth.best);
  ASSERT_EQ(joint.plans.size(), 2u);
  expect_least(table, joint, truth);
}

// The addresses have room in the lane of the clock, but not beside it: then they need one lane more.
TEST(Joint, ClocksTakeRoomFromAddresses) {
  Table table(plain_layout({1, 2, 1, 1}));
  std::vector<planning::TakenPad> taken;
  for (const int pad : {6, 8, 10}) taken.push_back({pad, "led", "", false, false});
  for (std::size_t lane = 1; lane < 5; ++lane) ++table.layout.lanes[lane].position;
  for (int pad = 12; pad < 18; ++pad) table.layout.pads[static_cast<std::size_t>(pad)].strobe = false;
  table.layout.pads[14].clock = true;
  table.add_small(6, 1, false, planning::SystemClock::single_ended, taken);
  table.add_small(6, 1, false, planning::SystemClock::none, taken);
  table.requests[1].banks = {101, 102, 103};
  expect_joint_alone(table);
}

// The addresses have room in one lane, but only a second one, which has no room for all of them, is near the clock.
TEST(Joint, AddressesReachOutToTheClock) {
  Table table(plain_layout({1, 1, 1, 1, 1, 1}));
  std::vector<planning::TakenPad> taken;
  for (const int pad : {12, 13, 14, 16, 19, 20, 21, 22, 23}) taken.push_back({pad, "led", "", false, false});
  for (std::size_t lane = 1; lane < 6; ++lane) table.layout.lanes[lane].position += lane == 5 ? 2 : 1;
  table.layout.banks[5].row = 6;
  table.layout.pads[18].clock = true;
  table.add_small(3, 1, false, planning::SystemClock::single_ended, taken);
  table.add_small(3, 1, false, planning::SystemClock::none, taken);
  table.requests[0].banks = {100, 101, 102, 103, 104};
  table.requests[1].banks = {100, 101, 104, 105};
  expect_joint_alone(table);
}

TEST(Joint, FindsTheLeastSumsOfAllSharesOfLanes) {
  // Of a few rounds drawn anew all may be impossible.
  Random random(std::getenv("IPTASKS_LONG") != nullptr ? test_support::fresh_seed() : 1);
  int possible = 0, impossible = 0, missed = 0, whole = 0;
  for (int round = 0; round < rounds(12, 600); ++round) {
    LayoutShape shape;
    shape.rows = 2;
    shape.lanes = 3 + static_cast<int>(random.below(2));
    shape.pairs = 7;
    Table table(random, shape);
    const auto taken = some_pads(random, table.layout);
    table.add(1, planning::SystemClock::none, taken);
    table.add(1 + static_cast<int>(random.below(2)), planning::SystemClock::none, taken);
    if (random.one_in(2)) table.requests[1].banks = {table.layout.banks[0].number};
    SCOPED_TRACE("round " + std::to_string(round));
    const Truth truth = least_of_all(table);
    const JointPlan joint = planning::place_jointly(table.requests);
    EXPECT_TRUE(joint.is_exact);
    ASSERT_EQ(!joint.plans.empty(), truth.best.has_value());
    (truth.best ? possible : impossible) += 1;
    if (!truth.best) continue;
    expect_least(table, joint, truth);
    whole += joint.has_least_pads ? 1 : 0;
    missed += planning::place_in_sequence(table.requests).size() < 2 ? 1 : 0;
  }
  EXPECT_GT(possible, 0);
  EXPECT_GT(whole, possible / 2);
  RecordProperty("proven", whole);
  RecordProperty("possible", possible);
  RecordProperty("impossible", impossible);
  RecordProperty("missed_in_sequence", missed);
}

TEST(Joint, IsNeverWorseThanOneAfterTheOther) {
  Random random(test_support::fresh_seed());
  int better = 0, all = 0, cut = 0, least = 0;
  for (int round = 0; round < rounds(6, 300); ++round) {
    LayoutShape shape;
    shape.columns = 1 + static_cast<int>(random.below(2));
    shape.rows = 3 + static_cast<int>(random.below(3));
    shape.lanes = 4;
    shape.pairs = 6;
    Table table(random, shape);
    const auto taken = some_pads(random, table.layout);
    const int controllers = 2 + static_cast<int>(random.below(2));
    for (int c = 0; c < controllers; ++c)
      table.add(1 + static_cast<int>(random.below(4)), static_cast<planning::SystemClock>(random.below(3)), taken);
    SCOPED_TRACE("round " + std::to_string(round));
    const JointPlan joint = planning::place_jointly(table.requests);
    const auto sequence = planning::place_in_sequence(table.requests);
    cut += joint.is_exact ? 0 : 1;
    least += joint.has_least_pads ? 1 : 0;
    expect_whole(table, joint);
    if (sequence.size() < table.requests.size()) continue;
    ++all;
    ASSERT_EQ(joint.plans.size(), table.requests.size());
    Objective sum;
    for (planning::Plan const& one : sequence) {
      sum.banks += one.objective.banks;
      sum.lanes += one.objective.lanes;
      sum.off_centre += one.objective.off_centre;
    }
    EXPECT_LE(in_order(joint.sum), in_order(sum));
    better += in_order(joint.sum) < in_order(sum) ? 1 : 0;
  }
  RecordProperty("sequences", all);
  RecordProperty("better", better);
  RecordProperty("cut_short", cut);
  RecordProperty("least_pads", least);
}

}  // namespace
