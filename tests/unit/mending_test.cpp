// Boards that swaps mend: the fewest swaps that leave the least in breach, as all sequences of swaps tell.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>

#include "kdi/planning/Board.h"
#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;
using planning::Mending;
using planning::SwapClass;
using test_support::Random;

using Pads = std::vector<int>;

int signals_in_breach(planning::PlacementRequest const& request, Pads const& pads) {
  int sum = 0;
  for (planning::Violation const& one : planning::violations(request, pads))
    sum += std::max(1, static_cast<int>(one.signals.size()));
  return sum;
}

void exchange(Pads& pads, std::vector<int> const& a, std::vector<int> const& b) {
  for (std::size_t i = 0; i < a.size(); ++i)
    std::swap(pads[static_cast<std::size_t>(a[i])], pads[static_cast<std::size_t>(b[i])]);
}

// Breadth first through all that swaps make of a board.
struct AllSwaps {
  int least = 0, swaps = 0;
  std::size_t boards = 0;
  static constexpr std::size_t kMost = 3000;

  AllSwaps(planning::PlacementRequest const& request, std::vector<SwapClass> const& classes, Pads const& pads) {
    std::map<Pads, int> known{{pads, 0}};
    std::vector<Pads> open{pads};
    least = signals_in_breach(request, pads);
    for (std::size_t at = 0; at < open.size() && known.size() <= kMost; ++at) {
      const Pads here = open[at];
      const int steps = known.at(here);
      if (const int breaches = signals_in_breach(request, here); breaches < least) {
        least = breaches;
        swaps = steps;
      }
      for (SwapClass const& one : classes)
        for (std::size_t a = 0; a < one.items.size(); ++a)
          for (std::size_t b = a + 1; b < one.items.size(); ++b) {
            Pads next = here;
            exchange(next, one.items[a].signals, one.items[b].signals);
            if (known.emplace(next, steps + 1).second) open.push_back(std::move(next));
          }
    }
    boards = known.size();
  }
};

// Bytes of a few bits on a random layout, and a design of them.
struct Board {
  planning::Layout layout;
  planning::MemoryKind kind;
  planning::InterfaceRequest asked;
  planning::Interface wanted;
  planning::PlacementRequest request;
  Pads pads;
};

std::unique_ptr<Board> random_board(Random& random) {
  auto board = std::make_unique<Board>();
  board->kind = *planning::find_memory("DDR4");
  planning::LaneKind& lane = board->kind.lanes[0];
  const bool nibbles = random.one_in(2);
  lane.bits = nibbles ? 2 : 2 + static_cast<int>(random.below(2));
  lane.strobe_bits = {{8, nibbles ? lane.bits / 2 : lane.bits}};
  board->kind.address_bits_min = random.one_in(3) ? 5 : 1;
  for (planning::AddressPort& port : board->kind.address)
    if (port.port == "ba" || port.port == "bg" || port.port == "act_n") port.count = "1";
  LayoutShape shape;
  shape.rows = 2;
  shape.lanes = 4;
  shape.pairs = 6;
  board->layout = random_layout(random, shape);
  planning::InterfaceRequest& asked = board->asked;
  asked.kind = &board->kind;
  asked.part = *board->kind.part("DDR4-2400R-8Gb-x8");
  asked.part.address_bits = board->kind.address_bits_min;
  asked.width = lane.bits * (1 + static_cast<int>(random.below(nibbles ? 2 : 3)));
  asked.ranks = random.one_in(3) ? 2 : 1;
  asked.data_mask = random.one_in(2);
  asked.system_clock = planning::SystemClock::none;
  board->wanted = planning::interface_of(asked);
  board->request.layout = &board->layout;
  board->request.interface = &board->wanted;
  board->request.standards = board->kind.standards;
  board->request.rate_mbps = 2400;
  const auto plan = planning::place(board->request).plan;
  if (plan) board->pads = plan->pad_of_signal;
  return board;
}

TEST(Mending, TakesTheFewestSwapsOfAllSequences) {
  Random random(test_support::fresh_seed());
  const int rounds = std::getenv("IPTASKS_LONG") != nullptr ? 3000 : 60;
  int compared = 0, mended = 0, partly = 0, most = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto board = random_board(random);
    if (board->pads.empty()) continue;
    SCOPED_TRACE("round " + std::to_string(round));
    const Pads design = board->pads;
    const std::vector<SwapClass> classes = planning::permitted_swaps(board->asked, board->wanted, random.one_in(8));
    for (unsigned i = random.below(7); i > 0 && !classes.empty(); --i) {
      SwapClass const& one = classes[random.below(static_cast<unsigned>(classes.size()))];
      const auto count = static_cast<unsigned>(one.items.size());
      exchange(board->pads, one.items[random.below(count)].signals, one.items[random.below(count)].signals);
    }
    for (unsigned i = random.one_in(2) ? random.below(4) : 0; i > 0; --i) {
      const auto count = static_cast<unsigned>(board->pads.size());
      std::swap(board->pads[random.below(count)], board->pads[random.below(count)]);
    }
    if (const unsigned one_in = random.below(4); one_in > 0) {
      board->request.pad_of_signal = design;
      for (int& pad : board->request.pad_of_signal)
        if (one_in < 3 && random.one_in(one_in + 1)) pad = -1;
    }
    if (random.one_in(4))
      for (std::size_t unit = 0; unit < board->wanted.units.size(); ++unit)
        board->request.lane_of_unit.push_back(
            random.one_in(2) ? -1 : static_cast<int>(random.below(static_cast<unsigned>(board->layout.lanes.size()))));
    if (random.one_in(12)) board->pads[random.below(static_cast<unsigned>(board->pads.size()))] = -1;
    // What has a signal without a pad stays, of nibbles the byte.
    std::vector<SwapClass> whole = classes;
    for (SwapClass& one : whole)
      std::erase_if(one.items, [&](planning::SwapItem const& item) {
        const int unit = board->wanted.signals[static_cast<std::size_t>(item.signals[0])].unit;
        auto const& signals =
            one.what == "nibble" ? board->wanted.units[static_cast<std::size_t>(unit)].signals : item.signals;
        return std::any_of(signals.begin(), signals.end(),
                           [&](int signal) { return board->pads[static_cast<std::size_t>(signal)] < 0; });
      });
    const AllSwaps truth(board->request, whole, board->pads);
    if (truth.boards > AllSwaps::kMost) continue;
    ++compared;
    const Mending mending = planning::mend(board->request, board->pads, classes);
    EXPECT_TRUE(mending.is_fewest);
    ASSERT_EQ(signals_in_breach(board->request, mending.pads), truth.least);
    ASSERT_EQ(static_cast<int>(mending.swaps.size()), truth.swaps);
    EXPECT_EQ(mending.at_least, truth.swaps);
    Pads again = board->pads;
    for (planning::Swap const& swap : mending.swaps)
      for (auto const& [a, b] : swap.signals)
        std::swap(again[static_cast<std::size_t>(a)], again[static_cast<std::size_t>(b)]);
    EXPECT_EQ(again, mending.pads);
    mended += truth.swaps > 0 ? 1 : 0;
    partly += truth.swaps > 0 && truth.least > 0 ? 1 : 0;
    most = std::max(most, truth.swaps);
  }
  EXPECT_GT(mended, rounds / 8);
  if (rounds > 1000) {
    EXPECT_GT(partly, rounds / 50);
    EXPECT_GE(most, 4);
  }
  RecordProperty("compared", compared);
  RecordProperty("mended", mended);
  RecordProperty("partly", partly);
  RecordProperty("most_swaps", most);
}

// 18 devices of four bits in any order, with and without what is asked for.
TEST(Mending, SaysWhatIsProvenOfLargeBoards) {
  Random random(1);
  const int rounds = std::getenv("IPTASKS_LONG") != nullptr ? 200 : 3;
  int proven = 0, all = 0;
  double worst = 0;
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LayoutShape shape;
    shape.rows = 5;
    shape.lanes = 4;
    shape.pairs = 6;
    planning::InterfaceRequest asked;
    asked.kind = planning::find_memory("DDR4");
    asked.part = *asked.kind->part("DDR4-2400R-8Gb-x4");
    asked.width = 72;
    asked.system_clock = planning::SystemClock::none;
    planning::Layout const layout = random_layout(random, shape);
    planning::Interface const wanted = planning::interface_of(asked);
    planning::PlacementRequest request;
    request.layout = &layout;
    request.interface = &wanted;
    request.standards = asked.kind->standards;
    request.rate_mbps = 2400;
    const auto plan = planning::place(request).plan;
    if (!plan) continue;
    ++all;
    const std::vector<SwapClass> classes = planning::permitted_swaps(asked, wanted, false);
    Pads pads = plan->pad_of_signal;
    int made = 0;
    for (unsigned i = random.below(8); i > 0; --i, ++made) {
      SwapClass const& one = classes[random.below(static_cast<unsigned>(classes.size()))];
      const auto count = static_cast<unsigned>(one.items.size());
      exchange(pads, one.items[random.below(count)].signals, one.items[random.below(count)].signals);
    }
    if (random.one_in(2)) request.pad_of_signal = plan->pad_of_signal;
    const auto before = std::clock();
    const Mending mending = planning::mend(request, pads, classes);
    worst = std::max(worst, static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC);
    EXPECT_TRUE(mending.left.empty());
    EXPECT_LE(mending.at_least, made);
    EXPECT_LE(mending.at_least, static_cast<int>(mending.swaps.size()));
    if (mending.is_fewest) {
      EXPECT_LE(static_cast<int>(mending.swaps.size()), made);
    }
    proven += mending.is_fewest ? 1 : 0;
  }
  EXPECT_GT(proven, 0);
  RecordProperty("boards", all);
  RecordProperty("proven", proven);
  RecordProperty("milliseconds", static_cast<int>(worst * 1000));
}

}  // namespace
