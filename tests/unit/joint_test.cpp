// Several controllers together: the least sums of all ways to share the lanes, and placements that stand beside each
// other.
#include "kdi/planning/Joint.h"

#include <gtest/gtest.h>

#include <cstdlib>

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
  std::vector<std::unique_ptr<planning::Interface>> interfaces;
  std::vector<PlacementRequest> requests;

  Table(Random& random, LayoutShape const& shape) : layout(random_layout(random, shape)) {}

  void add(int bytes, planning::SystemClock clock, std::vector<planning::TakenPad> const& taken) {
    planning::InterfaceRequest asked;
    asked.kind = planning::find_memory("DDR4");
    asked.part = *asked.kind->part("DDR4-2400R-8Gb-x8");
    asked.width = 8 * bytes;
    asked.data_mask = false;
    asked.system_clock = clock;
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
  PlacementRequest without(PlacementRequest request, unsigned lanes) const {
    for (std::size_t lane = 0; lane < layout.lanes.size(); ++lane)
      if ((lanes >> lane & 1u) != 0) request.taken.push_back({layout.lanes[lane].first, "another", "", false, true});
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
    const unsigned all = 1u << table.layout.lanes.size();
    std::optional<Objective> best;
    std::pair<std::vector<int>, std::vector<int>> least;
    for (unsigned lanes = 0; lanes < all; ++lanes) {
      const PlacementRequest second = table.without(table.requests[1], all - 1 - lanes);
      if (!planning::can_place(second)) continue;
      const PlacementRequest first = table.without(table.requests[0], lanes);
      const auto a = planning::place(first).plan, b = planning::place(second).plan;
      if (!a) continue;
      const Objective sum{a->objective.banks + b->objective.banks, a->objective.lanes + b->objective.lanes,
                          a->objective.off_centre + b->objective.off_centre};
      std::pair pads(a->pad_of_signal, b->pad_of_signal);
      if (!best || std::pair(in_order(sum), pads) < std::pair(in_order(*best), least)) {
        best = sum;
        least = std::move(pads);
      }
    }
    const JointPlan joint = planning::place_jointly(table.requests);
    EXPECT_TRUE(joint.is_exact);
    ASSERT_EQ(!joint.plans.empty(), best.has_value());
    (best ? possible : impossible) += 1;
    if (!best) continue;
    EXPECT_EQ(in_order(joint.sum), in_order(*best));
    // As far as it is proven, and that is far.
    std::vector<int> pads = joint.plans[0].pad_of_signal, truth = least.first;
    pads.insert(pads.end(), joint.plans[1].pad_of_signal.begin(), joint.plans[1].pad_of_signal.end());
    truth.insert(truth.end(), least.second.begin(), least.second.end());
    const auto proven = static_cast<std::size_t>(joint.pads_proven);
    EXPECT_EQ(joint.has_least_pads, proven == pads.size());
    pads.resize(proven);
    truth.resize(proven);
    EXPECT_EQ(pads, truth);
    whole += joint.has_least_pads ? 1 : 0;
    expect_whole(table, joint);
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
