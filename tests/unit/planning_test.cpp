// Placements of memory interfaces: they keep the rules as a checker that shares no code with the planner reads them,
// they are the best as all assignments tell, and what is said to be impossible is.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <tuple>

#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "tests/support/plain_refutation.h"
#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;
using planning::Objective;
using planning::PlacementResult;
using test_support::Random;

/// So many random requests as the variable says, or few.
int rounds(int few) {
  char const* const many = std::getenv("IPTASKS_PLANNING_ROUNDS");
  return many != nullptr ? std::atoi(many) : few;
}

std::set<std::string> broken(Question const& question, std::vector<int> const& pads) {
  Checker checker(question.board, question.facts);
  checker.read_constraints(question.lines_of(pads));
  return checker.broken();
}

std::string listed(std::set<std::string> const& rules) {
  std::string all;
  for (std::string const& rule : rules) all += rule + " ";
  return all;
}

// ---------------------------------------------------------------------------------------------- all assignments

// Signal by signal on each pad; what is broken by part of a placement stays broken. The first of equal objectives is
// the one with the least pads.
class AllAssignments {
 public:
  explicit AllAssignments(Question const& question)
      : question_(question), checker_(question.board, question.facts), pads_(question.wanted.signals.size(), -1) {
    go(0);
  }

  bool found() const { return found_; }
  std::tuple<int, int, int> objective() const { return best_; }
  std::vector<int> const& pads() const { return best_pads_; }

 private:
  static bool is_hopeless(std::set<std::string> rules) {
    for (char const* const open : {"address-adjacent", "system-clock-near"}) rules.erase(open);
    return !rules.empty();
  }

  void go(std::size_t signal) {
    planning::Layout const& layout = question_.layout;
    if (signal == pads_.size()) {
      if (!checker_.broken().empty()) return;
      std::set<std::pair<int, int>> banks;
      std::set<int> lanes, addresses;
      for (std::size_t i = 0; i < pads_.size(); ++i) {
        Pin const& pin = question_.board.pins.at(layout.pads[static_cast<std::size_t>(pads_[i])].ball);
        banks.insert({pin.column, pin.row});
        lanes.insert(pin.place);
        if (question_.wanted.signals[i].unit == planning::Signal::kAddress) addresses.insert(pin.place);
      }
      const std::tuple value(static_cast<int>(banks.size()), *lanes.rbegin() - *lanes.begin() + 1,
                             std::abs(*addresses.begin() + *addresses.rbegin() - *lanes.begin() - *lanes.rbegin()));
      if (found_ && value >= best_) return;
      found_ = true;
      best_ = value;
      best_pads_ = pads_;
      return;
    }
    std::string const& name = question_.wanted.signals[signal].name;
    for (std::size_t pad = 0; pad < layout.pads.size(); ++pad) {
      if (layout.pads[pad].ball.empty()) continue;
      const std::string standard =
          planning::standard_of(question_.request, static_cast<int>(signal), layout.bank_of_pad(static_cast<int>(pad)));
      if (standard.empty()) continue;
      pads_[signal] = static_cast<int>(pad);
      checker_.put(name, layout.pads[pad].ball, standard);
      if (!is_hopeless(checker_.broken())) go(signal + 1);
      checker_.drop(name);
    }
    pads_[signal] = -1;
  }

  Question const& question_;
  Checker checker_;
  std::vector<int> pads_, best_pads_;
  std::tuple<int, int, int> best_;
  bool found_ = false;
};

TEST(Planning, FindsTheBestOfAllAssignmentsOnSmallLayouts) {
  Random random(test_support::fresh_seed());
  int impossible = 0, placed = 0;
  const int all_rounds = rounds(20);
  for (int round = 0; round < all_rounds; ++round) {
    const auto question = small_question(random);
    // All assignments of the larger ones take seconds.
    if (all_rounds < 100 && (question->layout.pads.size() > 12 || question->wanted.signals.size() > 8)) continue;
    if (question->layout.pads.size() > 14 || question->wanted.signals.size() > 12) continue;
    SCOPED_TRACE("round " + std::to_string(round) + "\n" + table_of(question->layout));
    const PlacementResult result = planning::place(question->request);
    const AllAssignments truth(*question);
    ASSERT_EQ(result.plan.has_value(), truth.found());
    ASSERT_NE(result.plan.has_value(), result.refutation.has_value());
    (truth.found() ? placed : impossible) += 1;
    if (result.refutation) {
      EXPECT_EQ(RefutationCheck(*question).fault(*result.refutation), "");
    }
    if (!truth.found()) continue;
    Objective const& is = result.plan->objective;
    EXPECT_EQ(std::tuple(is.banks, is.lanes, is.off_centre), truth.objective());
    EXPECT_EQ(result.plan->pad_of_signal, truth.pads());
  }
  const int all = placed + impossible;
  EXPECT_GT(all, 0);
  if (all > 100) {
    EXPECT_GT(placed, all / 10);
    EXPECT_GT(impossible, all / 10);
  }
  RecordProperty("placed", placed);
  RecordProperty("impossible", impossible);
}

TEST(Planning, FindsTheBestOfAllLanesForGroups) {
  Random random(test_support::fresh_seed());
  int impossible = 0, placed = 0;
  const int all_rounds = rounds(25);
  for (int round = 0; round < all_rounds; ++round) {
    const auto question = lanes_question(random);
    SCOPED_TRACE("round " + std::to_string(round));
    const PlacementResult result = planning::place(question->request);
    const AllLanes truth(*question);
    ASSERT_EQ(result.plan.has_value(), truth.found());
    (truth.found() ? placed : impossible) += 1;
    if (!truth.found()) {
      ASSERT_EQ(RefutationCheck(*question).fault(*result.refutation), "");
      continue;
    }
    Objective const& is = result.plan->objective;
    ASSERT_EQ(std::tuple(is.banks, is.lanes, is.off_centre), truth.objective());
    ASSERT_EQ(listed(broken(*question, result.plan->pad_of_signal)), "");
  }
  EXPECT_GT(placed, 0);
  EXPECT_GT(impossible, 0);
  RecordProperty("placed", placed);
  RecordProperty("impossible", impossible);
}

// ------------------------------------------------------------------------------------------------- many requests

TEST(Planning, KeepsAllRulesInManyRequests) {
  Random random(test_support::fresh_seed());
  int impossible = 0, with_taken = 0, nearly_full = 0, all = 0;
  for (int round = 0; round < rounds(70); ++round, ++all) {
    const auto question = large_question(random);
    SCOPED_TRACE("round " + std::to_string(round));
    const PlacementResult result = planning::place(question->request);
    with_taken += question->has_taken ? 1 : 0;
    nearly_full += question->is_nearly_full ? 1 : 0;
    impossible += result.plan ? 0 : 1;
    if (result.refutation) {
      ASSERT_EQ(RefutationCheck(*question).fault(*result.refutation), "");
    }
    if (!result.plan) continue;
    ASSERT_EQ(listed(broken(*question, result.plan->pad_of_signal)), "");
    ASSERT_TRUE(planning::violations(question->request, result.plan->pad_of_signal).empty());
    ASSERT_EQ(planning::objective_of(question->request, result.plan->pad_of_signal), result.plan->objective);
    // Any two pads swapped: the library and the checker judge alike.
    for (int swap = 0; swap < 5; ++swap) {
      std::vector<int> pads = result.plan->pad_of_signal;
      std::swap(pads[random.below(static_cast<unsigned>(pads.size()))],
                pads[random.below(static_cast<unsigned>(pads.size()))]);
      if (random.one_in(2))
        pads[random.below(static_cast<unsigned>(pads.size()))] =
            static_cast<int>(random.below(static_cast<unsigned>(question->layout.pads.size())));
      std::set<std::string> ours;
      for (planning::Violation const& one : planning::violations(question->request, pads)) ours.insert(one.rule);
      std::set<std::string> theirs = broken(*question, pads);
      EXPECT_EQ(ours.empty(), theirs.empty()) << listed(ours) << "against " << listed(theirs);
    }
  }
  if (all > 1000) {  // of few it is chance
    EXPECT_GE(impossible * 10, all * 3);
    EXPECT_GE(nearly_full * 10, all);
  }
  EXPECT_GE(impossible * 10, all * 2);
  EXPECT_GE(with_taken * 10, all * 3);
  EXPECT_GT(nearly_full, 0);
  RecordProperty("nearly_full", nearly_full);
  RecordProperty("impossible", impossible);
  RecordProperty("with_taken", with_taken);
}

// --------------------------------------------------------------------------------------------------- shipped data

kdi::device::Part const& part(char const* name) { return HARPartMgr::getGlobal()->getPart(name)->values(); }

PlacementResult placed_on(char const* device, char const* type, char const* memory, int width) {
  static std::vector<std::unique_ptr<Question>> kept;
  auto question = std::make_unique<Question>();
  question->layout = planning::layout_of(part(device));
  question->kind = *planning::find_memory(type);
  planning::InterfaceRequest asked;
  asked.kind = &question->kind;
  asked.part = question->kind.part(memory).value();
  asked.width = width;
  asked.ranks = asked.part.ranks;
  question->wanted = planning::interface_of(asked);
  question->request.rate_mbps = asked.part.rate_mbps;
  question->finish(asked);
  PlacementResult result = planning::place(question->request);
  if (result.plan) {
    EXPECT_EQ(listed(broken(*question, result.plan->pad_of_signal)), "") << device << " " << memory;
  }
  kept.push_back(std::move(question));
  return result;
}

TEST(Planning, PlacesInterfacesOnShippedDevices) {
  EXPECT_EQ(placed_on("zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x8", 8).plan->objective, (Objective{1, 4, 1}));
  EXPECT_EQ(placed_on("zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x4", 72).plan->objective.banks, 3);
  EXPECT_EQ(placed_on("zrv7030-f676-2-c", "QDRIIPLUS", "QDRIIPLUS-1000-x36", 36).plan->objective.banks, 3);
  EXPECT_TRUE(placed_on("brvn5130-c2601-2LHP-e-S", "QDRIV", "QDRIV-1866-x36", 36).plan);
  EXPECT_TRUE(placed_on("brvn5130-c2601-2LHP-e-S", "RLDRAM3", "RLDRAM3-1866-x36", 72).plan);
}

TEST(Planning, SaysThatNibblesNeedTwoStrobeSites) {
  const PlacementResult result = placed_on("zrv7030-f676-2-c", "DDR3", "DDR3-1600K-4Gb-x4", 8);
  ASSERT_TRUE(result.refutation);
  for (auto const& branch : result.refutation->branches) {
    EXPECT_EQ(branch.why.kind, planning::Refutation::Kind::overfull);
    EXPECT_TRUE(branch.why.lanes.empty());
  }
}

TEST(Planning, KnowsEachPartByItsName) {
  std::size_t parts = 0;
  for (std::string const& type : planning::memory_types()) {
    planning::MemoryKind const& kind = *planning::find_memory(type);
    for (std::string const& name : kind.part_names()) {
      if (++parts % 17 != 0) continue;
      const auto found = kind.part(name);
      ASSERT_TRUE(found) << name;
      EXPECT_EQ(found->name, name);
      EXPECT_GT(found->rate_mbps, 0);
    }
    EXPECT_FALSE(kind.part("none"));
  }
  EXPECT_GT(parts, 300u);
}

}  // namespace
