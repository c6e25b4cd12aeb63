// Each rule by itself: a good plan, and one change of it or of the board that breaks the rule and no other, as the
// library says it and as the checker does that shares no code with it.
#include <gtest/gtest.h>

#include <functional>

#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "tests/support/broken_alone.h"
#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;

// A plan on a shipped device, which the changes below work on.
struct GoodPlan {
  std::unique_ptr<Question> question = std::make_unique<Question>();
  std::vector<int> pads;
  planning::InterfaceRequest asked;

  GoodPlan(char const* device, char const* type, char const* part, int width) {
    Question& q = *question;
    q.layout = planning::layout_of(HARPartMgr::getGlobal()->getPart(device)->values());
    q.kind = *planning::find_memory(type);
    asked.kind = &q.kind;
    asked.part = q.kind.part(part).value();
    asked.width = width;
    q.wanted = planning::interface_of(asked);
    q.request.rate_mbps = asked.part.rate_mbps;
    q.request.layout = &q.layout;
    q.request.interface = &q.wanted;
    q.request.standards = q.kind.standards;
    pads = planning::place(q.request).plan.value().pad_of_signal;
  }

  planning::Layout& layout() { return question->layout; }
  planning::PlacementRequest& request() { return question->request; }
  int signal(std::string const& name) const { return question->wanted.signal("c0_" + name); }
  int& pad(std::string const& name) { return pads[static_cast<std::size_t>(signal(name))]; }
  planning::PlacedPad& placed(std::string const& name) { return layout().pads[static_cast<std::size_t>(pad(name))]; }
  planning::PlacedBank& bank_of(std::string const& name) {
    return layout().banks[static_cast<std::size_t>(layout().bank_of_pad(pad(name)))];
  }
  int named(std::string const& name) { return layout().pad_of_name(name); }
  /// A pad without signal in the lane of a signal.
  int free_beside(std::string const& name) {
    planning::PlacedLane const& lane = layout().lane_of_pad(pad(name));
    for (int at = lane.first; at < lane.first + lane.pads; ++at)
      if (std::find(pads.begin(), pads.end(), at) == pads.end() &&
          !layout().pads[static_cast<std::size_t>(at)].impedance)
        return at;
    ADD_FAILURE() << "no free pad beside " << name;
    return lane.first;
  }
  /// Of a byte in a bank that has neither addresses nor the clock.
  planning::PlacedBank& bank_of_bytes_alone() {
    for (planning::PlacedBank& bank : layout().banks) {
      bool bytes = false, others = false;
      for (std::size_t i = 0; i < pads.size(); ++i)
        if (layout().banks[static_cast<std::size_t>(layout().bank_of_pad(pads[i]))].number == bank.number)
          (question->wanted.signals[i].unit >= 0 ? bytes : others) = true;
      if (bytes && !others) return bank;
    }
    ADD_FAILURE() << "no bank of bytes alone";
    return layout().banks[0];
  }
};

struct Change {
  char const* rule;
  char const* text;
  std::function<GoodPlan()> plan;
  std::function<void(GoodPlan&)> make;
  bool on_board = true;  ///< the checker can see it
};

GoodPlan byte() { return {"zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x8", 8}; }
GoodPlan word() { return {"zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x8", 72}; }
GoodPlan nibbles() { return {"zrv9010-f900-2-e", "DDR4", "DDR4-2400R-8Gb-x4", 8}; }
GoodPlan quad() { return {"zrv9010-f900-2-e", "QDRIIPLUS", "QDRIIPLUS-1000-x18", 18}; }

std::vector<Change> changes() {
  return {
      {"pad-bonded", "the pad is for no signal of the interface (c0_ddr4_dq[0] on IO_T0_L1P_64)", byte,
       [](GoodPlan& plan) { plan.placed("ddr4_dq[0]").ball.clear(); }},
      {"pad-free", "the pad is taken by another (c0_ddr4_dq[0] on", byte,
       [](GoodPlan& plan) {
         plan.request().taken.push_back({plan.pad("ddr4_dq[0]"), "another", "", false, false});
       }},
      {"pad-free", "two signals have one pad (c0_ddr4_dq[0] on IO_T0_L1N_64, c0_ddr4_dq[1] on IO_T0_L1N_64)", byte,
       [](GoodPlan& plan) { plan.pad("ddr4_dq[0]") = plan.pad("ddr4_dq[1]"); }},
      {"configuration-pad", "the pad is for no signal of the interface", byte,
       [](GoodPlan& plan) { plan.placed("ddr4_dq[0]").configuration = true; }},
      {"impedance-pad", "the pad is for no signal of the interface", byte,
       [](GoodPlan& plan) { plan.placed("ddr4_dq[0]").impedance = true; }},
      {"impedance-pad", "the impedance pad IO_T0_S_64 is taken by another", byte,
       [](GoodPlan& plan) {
         plan.request().taken.push_back({plan.named("IO_T0_S_64"), "another", "", false, false});
       }},
      {"reference-pad", "the pad is for no signal of the interface", byte,
       [](GoodPlan& plan) { plan.placed("ddr4_dq[0]").reference = true; }},
      {"reference-pad", "the reference pad IO_T3_L5N_64 is taken by another", byte,
       [](GoodPlan& plan) {
         plan.layout().pads[static_cast<std::size_t>(plan.named("IO_T3_L5N_64"))].reference = true;
         plan.request().taken.push_back({plan.named("IO_T3_L5N_64"), "another", "", false, false});
       }},
      {"bank-kind", "POD12_DCI is too slow for 3000 Mb/s in bank 64", byte,
       [](GoodPlan& plan) { plan.request().rate_mbps = 3000; }},
      {"bank-kind", "bank 64 is of the kind HR, in which the interface has no standards", byte,
       [](GoodPlan& plan) { plan.bank_of("ddr4_dq[0]").kind = "HR"; }},
      {"bank-kind", "the interface is in banks of two kinds", word,
       [](GoodPlan& plan) { plan.bank_of_bytes_alone().kind = "XP"; }},
      {"bank-voltage", "bank 64 has no Vcco of 1.2 V", byte,
       [](GoodPlan& plan) {
         plan.bank_of("ddr4_dq[0]").vcco_v = {1.5, 1.8};
       }},
      {"bank-voltage", "bank 64 has a Vcco of 1.8 V by another", byte,
       [](GoodPlan& plan) {
         plan.request().taken.push_back({plan.free_beside("sys_clk_p"), "another", "LVCMOS18", false, false});
       }},
      {"bank-reference", "bank 64 has a reference voltage of 0.6 V by another", byte,
       [](GoodPlan& plan) {
         plan.request().taken.push_back({plan.free_beside("sys_clk_p"), "another", "SSTL12", true, false});
       }},
      {"bank-selection", "bank 64 is none of those that are selected", byte,
       [](GoodPlan& plan) { plan.request().banks = {66}; }},
      {"byte-in-lane", "DQ[0-7] is in two lanes", byte,
       [](GoodPlan& plan) { plan.pad("ddr4_dq[0]") = plan.named("IO_T1_L1P_65"); }},
      {"nibble", "four bits and their strobe are not in a nibble of their own", nibbles,
       [](GoodPlan& plan) { std::swap(plan.pad("ddr4_dq[0]"), plan.pad("ddr4_dq[4]")); }},
      {"lane-owner", "the lane is another controller's", byte,
       [](GoodPlan& plan) {
         plan.request().taken.push_back({plan.free_beside("ddr4_dq[0]"), "another", "", false, true});
       }},
      {"lane-owner", "one lane is for two groups", byte,
       [](GoodPlan& plan) { plan.pad("ddr4_reset_n") = plan.free_beside("ddr4_dq[0]"); }},
      {"strobe-site", "the pad takes no strobe", byte,
       [](GoodPlan& plan) {
         std::swap(plan.pad("ddr4_dqs_t[0]"), plan.pad("ddr4_dq[0]"));
         std::swap(plan.pad("ddr4_dqs_c[0]"), plan.pad("ddr4_dq[1]"));
       }},
      {"strobe-pair", "the two signals are no differential pair of pads", byte,
       [](GoodPlan& plan) { std::swap(plan.pad("ddr4_dqs_t[0]"), plan.pad("ddr4_dqs_c[0]")); }},
      {"clock-pair", "the two signals are no differential pair of pads", byte,
       [](GoodPlan& plan) { std::swap(plan.pad("ddr4_ck_t[0]"), plan.pad("ddr4_ck_c[0]")); }},
      {"strobe-reach", "the strobe does not reach the lane", quad,
       [](GoodPlan& plan) {
         for (planning::PlacedBank& bank : plan.layout().banks) bank.reach = kdi::device::StrobeReach::lane;
       }},
      {"address-adjacent", "lanes between those of the address block have none of it", byte,
       [](GoodPlan& plan) {
         for (planning::PlacedLane& lane : plan.layout().lanes)
           if (lane.first >= plan.layout().lane_of_pad(plan.pad("ddr4_reset_n")).first) ++lane.position;
       }},
      {"system-clock-site", "the pad is no clock site", byte,
       [](GoodPlan& plan) {
         plan.placed("sys_clk_p").clock = false;
         plan.placed("sys_clk_n").clock = false;
       }},
      {"system-clock-near", "no bank of the interface is beside that of its clock", byte,
       [](GoodPlan& plan) {
         plan.pad("sys_clk_p") = plan.named("IO_T1_L2P_67");
         plan.pad("sys_clk_n") = plan.named("IO_T1_L2N_67");
       }},
      {"one-column", "the interface is in two columns of banks", word,
       [](GoodPlan& plan) { plan.bank_of_bytes_alone().column = 7; }},
      {"one-slr", "the interface is on two dies", word, [](GoodPlan& plan) { plan.bank_of_bytes_alone().slr = 1; }},
      {"banks-near", "the interface is in more than 5 rows", word,
       [](GoodPlan& plan) { plan.bank_of_bytes_alone().row += 20; }},
      {"as-asked", "the signal is asked for on another pad", byte,
       [](GoodPlan& plan) {
         plan.request().pad_of_signal.assign(plan.pads.size(), -1);
         plan.request().pad_of_signal[static_cast<std::size_t>(plan.signal("ddr4_dq[0]"))] = plan.pad("ddr4_dq[1]");
       },
       false},
      {"as-asked", "the group is asked for in another lane", byte,
       [](GoodPlan& plan) {
         plan.request().lane_of_unit = {plan.layout().lane_of(plan.layout().bank_of_number(65), "T1")};
       },
       false},
  };
}

TEST(PlanningRules, ANamedRuleIsBrokenByItself) {
  for (Change const& change : changes()) {
    GoodPlan plan = change.plan();
    SCOPED_TRACE(std::string(change.rule) + ": " + change.text);
    ASSERT_TRUE(planning::violations(plan.request(), plan.pads).empty());
    change.make(plan);
    expect_broken_alone(planning::violations(plan.request(), plan.pads), change.rule, change.text);
    if (!change.on_board) continue;
    plan.question->finish(plan.asked);
    plan.question->facts.banks.insert(plan.request().banks.begin(), plan.request().banks.end());
    Checker checker(plan.question->board, plan.question->facts);
    checker.read_constraints(plan.question->lines_of(plan.pads));
    EXPECT_EQ(checker.broken(), std::set<std::string>{change.rule});
  }
}

TEST(PlanningRules, ASinglePadTakesAClockOnlyIfItIsThePositiveOneOfAPair) {
  GoodPlan plan = byte();
  planning::InterfaceRequest asked = plan.asked;
  asked.system_clock = planning::SystemClock::single_ended;
  plan.question->wanted = planning::interface_of(asked);
  plan.pads = planning::place(plan.request()).plan.value().pad_of_signal;
  EXPECT_TRUE(planning::violations(plan.request(), plan.pads).empty());
  ++plan.pad("sys_clk_i");
  const auto broken = planning::violations(plan.request(), plan.pads);
  ASSERT_EQ(broken.size(), 1u);
  EXPECT_EQ(broken[0].text,
            "system-clock-site: a single clock enters at the positive pad of a pair (c0_sys_clk_i on IO_T3_L2N_64)");
}

TEST(PlanningRules, HalfAPairCountsAsFarAsItIsThere) {
  GoodPlan plan = byte();
  plan.pad("ddr4_dqs_t[0]") = -1;
  EXPECT_TRUE(planning::violations(plan.request(), plan.pads).empty());
  std::swap(plan.pad("ddr4_dqs_c[0]"), plan.pad("ddr4_dq[0]"));
  const auto broken = planning::violations(plan.request(), plan.pads);
  ASSERT_FALSE(broken.empty());
  EXPECT_TRUE(broken[0].text.starts_with("strobe-pair: the negative signal is on no negative pad of a pair"));
}

TEST(PlanningRules, AWishThatCannotBeIsTheReason) {
  GoodPlan plan = byte();
  plan.request().pad_of_signal.assign(plan.pads.size(), -1);
  plan.request().pad_of_signal[static_cast<std::size_t>(plan.signal("ddr4_dqs_t[0]"))] = plan.named("IO_T0_S_65");
  const planning::PlacementResult result = planning::place(plan.request());
  ASSERT_TRUE(result.refutation);
  EXPECT_EQ(result.refutation->kind, planning::Refutation::Kind::pinned);
  EXPECT_EQ(result.refutation->what, "c0_ddr4_dqs_t[0] cannot be on IO_T0_S_65");
}

TEST(PlanningRules, WishesAreKept) {
  GoodPlan plan = word();
  planning::Layout const& layout = plan.layout();
  plan.request().lane_of_unit.assign(plan.question->wanted.units.size(), -1);
  plan.request().lane_of_unit[4] = layout.lane_of(layout.bank_of_number(66), "T2");
  plan.request().pad_of_signal.assign(plan.pads.size(), -1);
  plan.request().pad_of_signal[static_cast<std::size_t>(plan.signal("ddr4_dq[11]"))] = plan.named("IO_T1_L4N_65");
  const planning::PlacementResult result = planning::place(plan.request());
  ASSERT_TRUE(result.plan);
  EXPECT_TRUE(planning::violations(plan.request(), result.plan->pad_of_signal).empty());
}

}  // namespace
