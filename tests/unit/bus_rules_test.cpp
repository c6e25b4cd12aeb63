// Each rule of buses by itself: a good plan, and one change of it or of the board that breaks the rule and no other, as
// the library says it and as the checker does that shares no code with it. Where the board has changed, the planner
// finds another plan, or none: so the rule alone binds.
#include <gtest/gtest.h>

#include <functional>

#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "tests/support/broken_alone.h"
#include "tests/support/random_buses.h"

namespace {

using namespace test_support::buses;
using planning::Bus;
using planning::BusClock;
using planning::BusDirection;

Bus bus(char const* name, BusDirection direction, int width, char const* standard, BusClock clock,
        char const* clock_standard, int rate = 1600, int ratio = 8) {
  Bus made;
  made.name = name;
  made.direction = direction;
  made.width = width;
  made.standard = standard;
  made.clock = clock;
  made.clock_standard = clock_standard;
  made.rate_mbps = rate;
  made.ratio = ratio;
  return made;
}

struct GoodPlan {
  std::unique_ptr<Question> question = std::make_unique<Question>();
  std::vector<int> pads;

  explicit GoodPlan(std::vector<Bus> buses, char const* device = "brvn3716-b1764-2LHP-e-S") {
    Question& q = *question;
    q.layout = planning::layout_of(HARPartMgr::getGlobal()->getPart(device)->values());
    q.request.buses = std::move(buses);
    q.request.system_clock = planning::SystemClock::differential;
    q.request.system_clock_standard = "DIFF_SSTL12";
    q.finish();
    pads = planning::place_buses(q.request, q.wanted).plan.value().pad_of_signal;
  }

  planning::Layout& layout() { return question->layout; }
  planning::BusRequest& request() { return question->request; }
  int signal(std::string const& name) const { return question->wanted.signal(name); }
  int& pad(std::string const& name) { return pads[static_cast<std::size_t>(signal(name))]; }
  planning::PlacedPad& placed(std::string const& name) { return layout().pads[static_cast<std::size_t>(pad(name))]; }
  planning::PlacedBank& bank_of(std::string const& name) {
    return layout().banks[static_cast<std::size_t>(layout().bank_of_pad(pad(name)))];
  }
  int named(std::string const& name) { return layout().pad_of_name(name); }
  /// Onto the pads of a pair, by the name of the positive one.
  void move(std::string const& pair, std::string const& index, std::string const& to) {
    pad(pair + "_p" + index) = named(to);
    pad(pair + "_n" + index) = layout().pads[static_cast<std::size_t>(named(to))].partner;
  }
  void take(int rank, char const* standard = "", bool is_input = false, bool owns = false) {
    request().taken.push_back({rank, "another", standard, is_input, owns});
  }
  /// A pad of the bank that no signal is on.
  int free_in(std::string const& name) {
    const int bank = layout().bank_of_pad(pad(name));
    for (std::size_t at = layout().pads.size(); at-- > 0;)
      if (layout().bank_of_pad(static_cast<int>(at)) == bank &&
          std::find(pads.begin(), pads.end(), static_cast<int>(at)) == pads.end() && !layout().pads[at].impedance)
        return static_cast<int>(at);
    ADD_FAILURE() << "no free pad";
    return 0;
  }
};

struct Change {
  char const* rule;
  char const* text;
  std::function<GoodPlan()> plan;
  std::function<void(GoodPlan&)> make;
  bool on_board = true;  ///< and not of the plan
};

constexpr BusDirection kIn = BusDirection::receive, kOut = BusDirection::transmit;
constexpr char const* kSingle = "SSTL12";
constexpr char const* kPair = "DIFF_SSTL12";

// Sixteen pairs, which take six nibbles; what is sent beside them.
GoodPlan lanes() { return GoodPlan({bus("rx", kIn, 16, kPair, BusClock::strobe, kPair)}); }
GoodPlan two() {
  return GoodPlan({bus("rx", kIn, 4, kPair, BusClock::strobe, kPair), bus("tx", kOut, 4, kPair, BusClock::none, "")});
}
GoodPlan singles() { return GoodPlan({bus("d", kIn, 4, kSingle, BusClock::strobe, kPair)}); }
GoodPlan controlled() { return GoodPlan({bus("d", kIn, 4, "SSTL12_DCI", BusClock::strobe, "DIFF_SSTL12_DCI")}); }
GoodPlan sent() { return GoodPlan({bus("tx", kOut, 4, kPair, BusClock::forwarded, kPair)}); }

// Two buses of one bank each, and the clock.
GoodPlan wide() {
  return GoodPlan(
      {bus("a", kIn, 46, kSingle, BusClock::strobe, kPair), bus("b", kOut, 54, kSingle, BusClock::none, "")});
}

std::vector<Change> changes() {
  return {
      {"pad-bonded", "the pad is for no signal of the interface (rx_p[0] on ", lanes,
       [](GoodPlan& plan) { plan.placed("rx_p[0]").ball.clear(); }},
      {"pad-free", "the pad is taken by another (rx_p[0] on ", lanes,
       [](GoodPlan& plan) { plan.take(plan.pad("rx_p[0]")); }},
      {"pad-free", "two signals have one pad (d[0] on ", singles,
       [](GoodPlan& plan) { plan.pad("d[1]") = plan.pad("d[0]"); }, false},
      {"configuration-pad", "the pad is for no signal of the interface", lanes,
       [](GoodPlan& plan) { plan.placed("rx_n[3]").configuration = true; }},
      {"impedance-pad", "the pad is for no signal of the interface", controlled,
       [](GoodPlan& plan) { plan.placed("d[0]").impedance = true; }},
      {"impedance-pad", "the impedance pad IO_B4_L2N_70", controlled,
       [](GoodPlan& plan) { plan.take(plan.named("IO_B4_L2N_" + std::to_string(plan.bank_of("d[0]").number))); }},
      {"reference-pad", "the pad is for no signal of the interface", singles,
       [](GoodPlan& plan) { plan.placed("d[0]").reference = true; }},
      {"reference-pad", "the reference pad ", singles,
       [](GoodPlan& plan) {
         const int free = plan.free_in("d[0]");
         plan.layout().pads[static_cast<std::size_t>(free)].reference = true;
         plan.take(free);
       }},
      {"bank-kind", "bank 701 is of the kind HD, which has no DIFF_SSTL12", lanes,
       [](GoodPlan& plan) { plan.bank_of("rx_p[0]").kind = "HD"; }},
      {"bank-kind", "DIFF_SSTL12 is too slow for 4000 Mb/s in bank 701", two,
       [](GoodPlan& plan) {
         for (Bus& one : plan.request().buses) one.rate_mbps = 4000;
       }},
      {"bank-kind", "bank 701 has no nibbles", sent, [](GoodPlan& plan) { plan.bank_of("tx_p[0]").ways.ways.clear(); }},
      {"bank-voltage", "bank 701 has no Vcco of 1.2 V", lanes,
       [](GoodPlan& plan) {
         plan.bank_of("rx_p[0]").vcco_v = {1.3, 1.5};
       }},
      {"bank-voltage", "bank 701 has a Vcco of 1.35 V by another", lanes,
       [](GoodPlan& plan) { plan.take(plan.free_in("rx_p[0]"), "SSTL135"); }},
      {"bank-voltage", "one bank is to have a Vcco of 1.2 V and of 1.35 V", two,
       [](GoodPlan& plan) { plan.request().buses[1].standard = "DIFF_SSTL135"; }},
      {"bank-reference", "bank 701 has a reference voltage of 0.84 V by another", singles,
       [](GoodPlan& plan) { plan.take(plan.free_in("d[0]"), "POD12", true); }},
      {"bank-reference", "one bank is to have a reference voltage of 0.6 V and of 0.84 V",
       [] {
         return GoodPlan(
             {bus("a", kIn, 2, kSingle, BusClock::strobe, kPair), bus("b", kIn, 2, kSingle, BusClock::strobe, kPair)});
       },
       [](GoodPlan& plan) { plan.request().buses[1].standard = "POD12"; }},
      {"bank-rate", "one bank is to have 1600 Mb/s and 1200 Mb/s, of which neither is halved to the other", two,
       [](GoodPlan& plan) { plan.request().buses[1].rate_mbps = 1200; }},
      {"bank-bias", "one bank is to have the biases DC_BIAS_0 and DC_BIAS_1", two,
       [](GoodPlan& plan) {
         plan.request().buses[0].bias = "DC_BIAS_0";
         plan.request().buses[1].bias = "DC_BIAS_1";
       }},
      {"bank-selection", "bank 701 is none of those that are selected", lanes,
       [](GoodPlan& plan) {
         plan.request().banks = {703, 704, 705};
       }},
      {"shadow-bank", "bank 700 has its clock from bank 701, which has no pins",
       [] {
         GoodPlan plan({bus("tx", kOut, 4, kPair, BusClock::none, "")});
         plan.request().system_clock = planning::SystemClock::none;
         plan.question->finish();
         plan.pads = planning::place_buses(plan.request(), plan.question->wanted).plan.value().pad_of_signal;
         return plan;
       },
       [](GoodPlan& plan) {
         for (planning::PlacedPad& pad : plan.layout().pads)
           if (pad.name.ends_with("_701")) pad.ball.clear();
       }},
      {"nibble-owner", "one nibble is for two buses", two,
       [](GoodPlan& plan) {
         std::swap(plan.pad("rx_p[3]"), plan.pad("tx_p[0]"));
         std::swap(plan.pad("rx_n[3]"), plan.pad("tx_n[0]"));
       },
       false},
      {"nibble-owner", "the nibble is that of another",
       [] { return GoodPlan({bus("d", kIn, 3, kSingle, BusClock::strobe, kPair)}); },
       [](GoodPlan& plan) { plan.take(plan.pad("d[2]") + 1, "", false, true); }},
      {"bus-in-bank", "a bus is in two banks", sent, [](GoodPlan& plan) { plan.move("tx", "[3]", "IO_B0_L0P_702"); },
       false},
      {"data-pair", "the two signals are no differential pair of pads", sent,
       [](GoodPlan& plan) { std::swap(plan.pad("tx_p[0]"), plan.pad("tx_n[0]")); }, false},
      {"strobe-pair", "the two signals are no differential pair of pads", singles,
       [](GoodPlan& plan) { std::swap(plan.pad("d_strobe_n"), plan.pad("d[0]")); }, false},
      {"clock-pair", "the two signals are no differential pair of pads", sent,
       [](GoodPlan& plan) { std::swap(plan.pad("tx_clk_n"), plan.pad("tx_clk_p")); }, false},
      {"strobe-site", "the pad takes no strobe", singles,
       [](GoodPlan& plan) { plan.placed("d_strobe_p").strobe = false; }},
      {"strobe-hops", "the strobe does not reach the nibble", lanes,
       [](GoodPlan& plan) { plan.bank_of("rx_p[0]").ways.most_hops = 1; }},
      {"bit-slip", "the strobe comes 1 bits later, and a word of 1 is aligned by fewer", lanes,
       [](GoodPlan& plan) {
         plan.request().buses[0].ratio = 1;
         plan.request().buses[0].rate_mbps = 2400;
       }},
      {"one-column", "the interface is in two columns of banks", wide,
       [](GoodPlan& plan) { plan.bank_of("b[0]").column = 7; }},
      {"one-slr", "the interface is on two dies", wide, [](GoodPlan& plan) { plan.bank_of("b[0]").slr = 1; }},
      {"bank-limit", "the interface is in 2 banks", wide, [](GoodPlan& plan) { plan.request().most_banks = 1; }},
      {"triplet-banks", "the interface is in 2 banks of a triplet", wide,
       [](GoodPlan& plan) { plan.request().most_banks_of_triplet = 1; }},
      {"system-clock-site", "the pad takes no clock", sent,
       [](GoodPlan& plan) { plan.placed("sys_clk_p").clock = false; }},
      {"system-clock-master", "the bank is no master of a triplet with a bus", sent,
       [](GoodPlan& plan) { plan.move("sys_clk", "", "IO_B0_L0P_700"); }, false},
      {"system-clock-master", "the bank is no master of a triplet with a bus", sent,
       [](GoodPlan& plan) { plan.move("sys_clk", "", "IO_B0_L0P_704"); }, false},
      {"as-asked", "the signal is asked for on another pad", sent,
       [](GoodPlan& plan) {
         plan.request().pad_of_signal.assign(plan.pads.size(), -1);
         plan.request().pad_of_signal[static_cast<std::size_t>(plan.signal("tx_p[0]"))] = plan.pad("tx_p[1]");
       }},
  };
}

TEST(BusRules, ANamedRuleIsBrokenByItself) {
  for (Change const& change : changes()) {
    SCOPED_TRACE(std::string(change.rule) + ": " + change.text);
    GoodPlan plan = change.plan();
    Question& question = *plan.question;
    ASSERT_TRUE(planning::bus_violations(plan.request(), question.wanted, plan.pads).empty());
    change.make(plan);
    const planning::BusInterface wanted = question.wanted;
    question.map = planning::nibble_map(question.layout);
    question.read_board();
    question.read_facts();
    expect_broken_alone(planning::bus_violations(plan.request(), wanted, plan.pads), change.rule, change.text);
    EXPECT_EQ(question.broken(plan.pads), std::set<std::string>{change.rule});
    if (!change.on_board) continue;
    // The rule binds: without it this plan would still be the best.
    const planning::BusResult again = planning::place_buses(plan.request(), wanted);
    if (again.plan) {
      EXPECT_NE(again.plan->pad_of_signal, plan.pads);
      EXPECT_TRUE(question.broken(again.plan->pad_of_signal).empty());
    } else {
      EXPECT_FALSE(planning::reason_of(plan.request(), *again.refutation).empty());
    }
  }
}

TEST(BusRules, HalfAPairCountsAsFarAsItIsThere) {
  GoodPlan plan = sent();
  plan.pad("tx_clk_p") = -1;
  EXPECT_TRUE(planning::bus_violations(plan.request(), plan.question->wanted, plan.pads).empty());
  plan.pad("tx_clk_n") = plan.pad("tx_clk_n") - 1;
  EXPECT_EQ(planning::bus_violations(plan.request(), plan.question->wanted, plan.pads).at(0).rule, "clock-pair");
}

TEST(BusRules, AnyTwoPadsMayChangePlacesExactlyIfAllRulesStillHold) {
  GoodPlan plan(
      {bus("d", kIn, 5, kSingle, BusClock::strobe, kPair), bus("tx", kOut, 3, kPair, BusClock::forwarded, kSingle)});
  int fine = 0, all = 0;
  for (std::size_t a = 0; a < plan.pads.size(); ++a)
    for (std::size_t b = 0; b < a; ++b) {
      std::vector<int> pads = plan.pads;
      std::swap(pads[a], pads[b]);
      std::set<std::string> rules;
      for (planning::Violation const& one : planning::bus_violations(plan.request(), plan.question->wanted, pads))
        rules.insert(one.rule);
      EXPECT_EQ(rules, plan.question->broken(pads));
      fine += rules.empty() ? 1 : 0;
      ++all;
    }
  EXPECT_GE(fine, 10);  // the five bits of d among each other
  EXPECT_LT(fine, all);
}

std::string refusal(std::vector<Bus> buses, planning::SystemClock clock = planning::SystemClock::none,
                    char const* clock_standard = "") {
  planning::BusRequest request;
  request.buses = std::move(buses);
  request.system_clock = clock;
  request.system_clock_standard = clock_standard;
  try {
    planning::bus_interface_of(request);
  } catch (std::string const& text) {
    return text;
  }
  return {};
}

Bus with(std::function<void(Bus&)> const& change) {
  Bus made = bus("d", kIn, 4, kSingle, BusClock::strobe, kPair);
  change(made);
  return made;
}

TEST(BusRules, BusesThatCannotBeAreRefusedInWords) {
  EXPECT_EQ(refusal({}), "an interface has 1 to 12 buses, not 0");
  EXPECT_EQ(refusal({with([](Bus& one) { one.name = "1"; })}),
            "a bus is named \"1\": letters, digits and _, a letter first, up to 200");
  EXPECT_EQ(refusal({with([](Bus& one) { one.width = 129; })}), "d has a width of 129: 1 to 128");
  EXPECT_EQ(refusal({with([](Bus& one) { one.rate_mbps = 0; })}), "d has a rate in Mb/s of 0: 1 to 100000");
  EXPECT_EQ(refusal({with([](Bus& one) { one.ratio = 3; })}), "d has a ratio of 3: 1, 2, 4 or 8");
  EXPECT_EQ(refusal({with([](Bus& one) { one.direction = kOut; })}),
            "d has a strobe, which comes with what is received");
  EXPECT_EQ(refusal({with([](Bus& one) { one.clock = BusClock::forwarded; })}),
            "d has a forwarded clock, which goes with what is sent");
  EXPECT_EQ(refusal({with([](Bus& one) { one.clock = BusClock::none; })}),
            "d has neither a strobe nor a system clock that captures it");
  EXPECT_EQ(refusal({with([](Bus& one) { one.standard = "X"; })}), "d has the standard \"X\", which is not known");
  EXPECT_EQ(refusal({with([](Bus& one) {
              one.standard = "LVDS";
              one.direction = BusDirection::bidirectional;
            })}),
            "d has the standard LVDS, which is not for signals that go inout");
  EXPECT_EQ(refusal({with([](Bus& one) { one.bias = "DC_BIAS_9"; })}),
            "d has the bias \"DC_BIAS_9\", which SSTL12 has not");
  EXPECT_EQ(refusal({with([](Bus& one) { one.termination = "RTT_9"; })}),
            "d has the termination \"RTT_9\", which SSTL12 has not: RTT_40, RTT_48, RTT_60");
  EXPECT_EQ(refusal({with([](Bus& one) { one.clock_standard = "DIFF_SSTL135"; })}),
            "d has two supplies: SSTL12 of 1.2 V, DIFF_SSTL135 of 1.35 V");
  EXPECT_EQ(refusal({with([](Bus& one) { one.clock_standard = "POD12"; })}),
            "d has two reference voltages: SSTL12 of 0.6 V, POD12 of 0.84 V");
  EXPECT_EQ(refusal({with([](Bus&) {}), with([](Bus&) {})}), "two signals have the name \"d_strobe_p\"");
  const auto good = with([](Bus&) {});
  EXPECT_EQ(refusal({good}, planning::SystemClock::differential, kSingle),
            "the system clock has the standard SSTL12, which is single-ended");
  EXPECT_EQ(refusal({good}, planning::SystemClock::single_ended, kPair),
            "the system clock has the standard DIFF_SSTL12, which is differential");
  EXPECT_EQ(refusal({good}, planning::SystemClock::single_ended, "X"),
            "the system clock has the standard \"X\", which is not known");
  planning::BusRequest request;
  request.buses = {good};
  request.pad_of_signal = {1, 2};
  try {
    planning::bus_interface_of(request);
    ADD_FAILURE() << "wishes for other signals are taken";
  } catch (std::string const& text) {
    EXPECT_EQ(text, "the pads that are asked for are not those of the interface");
  }
}

TEST(BusRules, TheReasonOfAnImpossibleRequestIsToldInWords) {
  const auto reason = [](std::function<void(GoodPlan&)> const& change) {
    GoodPlan plan = two();
    change(plan);
    plan.question->finish();
    const planning::BusResult result = planning::place_buses(plan.request(), plan.question->wanted);
    return result.refutation ? planning::reason_of(plan.request(), *result.refutation) : std::string("none");
  };
  EXPECT_EQ(reason([](GoodPlan&) {}), "none");
  EXPECT_EQ(reason([](GoodPlan& plan) { plan.request().buses[0].width = 60; }),
            "no bank has room for rx (too few pads that are free and in reach)");
  EXPECT_EQ(reason([](GoodPlan& plan) {
              plan.request().buses[0].width = 16;
              plan.request().buses[1].width = 16;
              plan.request().most_banks = 1;
            }),
            "the buses do not fit together into the banks that they may be in");
  EXPECT_EQ(reason([](GoodPlan& plan) { plan.request().banks = {700}; }),
            "no pad takes the system clock: that is a free clock site of the master bank of a triplet");
  EXPECT_EQ(reason([](GoodPlan& plan) {
              for (planning::PlacedBank& bank : plan.layout().banks) bank.ways.ways.clear();
            }),
            "the part has no banks of nibbles");
  GoodPlan plan = two();
  plan.request().pad_of_signal.assign(plan.pads.size(), -1);
  plan.request().pad_of_signal[0] = plan.named("IO_B0_L1P_701");
  const planning::BusResult result = planning::place_buses(plan.request(), plan.question->wanted);
  ASSERT_TRUE(result.refutation);
  EXPECT_EQ(planning::reason_of(plan.request(), *result.refutation),
            "strobe-site: the pad takes no strobe (rx_strobe_p on IO_B0_L1P_701)");
}

TEST(BusRules, StrobesTellWhatTheyCaptureInTheOrderOfHops) {
  GoodPlan plan = lanes();
  const auto captures = planning::captures_of(plan.request(), plan.question->wanted, plan.pads);
  ASSERT_EQ(captures.size(), 1u);
  EXPECT_EQ(plan.question->wanted.signals[static_cast<std::size_t>(captures[0].first)].name, "rx_strobe_p");
  int last = 0, hops = 0;
  std::set<int> nibbles;
  for (planning::CapturedNibble const& one : captures[0].second) {
    EXPECT_GE(one.hops, last);
    EXPECT_EQ(one.bit_slip, one.hops * 250 * 1600 / 1000000);
    last = one.hops;
    hops += one.hops;
    nibbles.insert(one.nibble);
  }
  EXPECT_EQ(nibbles.size(), captures[0].second.size());
  EXPECT_EQ(hops, planning::bus_objective_of(plan.request(), plan.question->wanted, plan.pads).crossings);
}

TEST(BusRules, BanksOfMoreThanFitAreRefused) {
  GoodPlan plan = lanes();
  planning::Layout layout = plan.layout();
  planning::PlacedLane& lane =
      layout.lanes[static_cast<std::size_t>(layout.lane_of_pad(plan.pad("rx_p[0]")).first == 0)];
  for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) layout.pads[static_cast<std::size_t>(pad)].nibble = 0;
  const auto fault = [](planning::Layout const& wrong) {
    try {
      planning::nibble_map(wrong);
    } catch (std::string const& text) {
      return text;
    }
    return std::string();
  };
  layout.banks[static_cast<std::size_t>(lane.bank)].ways.ways = {{0, 1}};
  EXPECT_NE(fault(layout).find(" has more than 8 sites in a nibble"), std::string::npos) << fault(layout);
  planning::Layout many = plan.layout();
  const int rank = plan.pad("rx_p[0]");
  many.pads[static_cast<std::size_t>(rank)].nibble = 9;
  EXPECT_NE(fault(many).find(" has more than 10 nibbles"), std::string::npos) << fault(many);
}

}  // namespace
