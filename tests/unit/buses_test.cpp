// Buses in nibbles: plans keep the rules as a checker that shares no code with the planner reads them, they are the
// best as all assignments tell, and what is said to be impossible is.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <tuple>

#include "kdi/planning/BusDiagnosis.h"
#include "tests/support/plain_bus_refutation.h"
#include "tests/support/random_buses.h"

namespace {

using namespace test_support::buses;
using planning::BusObjective;
using planning::BusResult;
using test_support::Random;

/// So many random requests as in the long run, or few.
int rounds(int few, int many) { return std::getenv("IPTASKS_LONG") != nullptr ? many : few; }

std::string listed(std::set<std::string> const& rules) {
  std::string all;
  for (std::string const& rule : rules) all += rule + " ";
  return all;
}

std::string shown(Question const& question) {
  std::string all;
  for (planning::Bus const& bus : question.request.buses)
    all += bus.name + " " + std::to_string(static_cast<int>(bus.direction)) + " " + std::to_string(bus.width) + " " +
           bus.standard + " " + std::to_string(static_cast<int>(bus.clock)) + " " + bus.clock_standard + "; ";
  return all + std::to_string(question.layout.pads.size()) + " pads";
}

// ---------------------------------------------------------------------------------------------- all assignments

// Signal by signal on each pad; what is broken by part of a plan stays broken. The first of equal objectives is the one
// with the least pads.
class AllAssignments {
 public:
  explicit AllAssignments(Question const& question)
      : question_(question), checker_(question.board, question.facts), pads_(question.wanted.signals.size(), -1) {
    go(0);
  }

  bool found() const { return found_; }
  std::tuple<int, int, int, int> objective() const { return best_; }
  std::vector<int> const& pads() const { return best_pads_; }

 private:
  Pin const& pin(int pad) const { return question_.board.pins.at(question_.pad(pad).ball); }

  std::tuple<int, int, int, int> value() const {
    std::set<int> banks, places;
    std::map<int, Pin const*> strobes;
    std::set<std::tuple<int, int>> captured;  // bus, nibble
    int hops = 0, clock = -1;
    auto const& signals = question_.wanted.signals;
    for (std::size_t i = 0; i < pads_.size(); ++i) {
      Pin const& at = pin(pads_[i]);
      banks.insert(at.bank);
      places.insert(at.place);
      if (signals[i].role == planning::BusSignal::Role::strobe && !signals[i].negative) strobes[signals[i].bus] = &at;
      if (signals[i].role == planning::BusSignal::Role::system_clock) clock = at.place;
    }
    for (std::size_t i = 0; i < pads_.size(); ++i) {
      if (signals[i].role != planning::BusSignal::Role::data || strobes.count(signals[i].bus) == 0) continue;
      Pin const& at = pin(pads_[i]);
      if (captured.insert({signals[i].bus, at.nibble}).second) hops += checker_.hops(*strobes[signals[i].bus], at);
    }
    const int first = *places.begin(), last = *places.rbegin();
    return {static_cast<int>(banks.size()), hops, last - first + 1, clock < 0 ? 0 : std::abs(2 * clock - first - last)};
  }

  // Data that may change places with those before have the later pads in the plan with the least.
  std::size_t first_pad(std::size_t signal) const {
    auto const& signals = question_.wanted.signals;
    const std::size_t before = signals[signal].partner < 0 ? 1 : 2;
    if (signals[signal].negative || signal < before || signals[signal].role != planning::BusSignal::Role::data)
      return 0;
    if (signals[signal - before].role != planning::BusSignal::Role::data ||
        signals[signal - before].bus != signals[signal].bus)
      return 0;
    for (std::size_t i = signal - before; i < std::min(signal + before, signals.size()); ++i)
      if (question_.facts.wishes.count(signals[i].name) != 0) return 0;
    return static_cast<std::size_t>(pads_[signal - before]) + 1;
  }

  void go(std::size_t signal) {
    if (signal == pads_.size()) {
      const auto now = value();
      if (!found_ || now < best_) {
        found_ = true;
        best_ = now;
        best_pads_ = pads_;
      }
      return;
    }
    std::string const& name = question_.wanted.signals[signal].name;
    for (std::size_t pad = first_pad(signal); pad < question_.layout.pads.size(); ++pad) {
      std::string const& ball = question_.layout.pads[pad].ball;
      if (ball.empty()) continue;
      checker_.put(name, ball);
      if (checker_.broken().empty()) {
        pads_[signal] = static_cast<int>(pad);
        go(signal + 1);
      }
      checker_.drop(name);
    }
  }

  Question const& question_;
  Checker checker_;
  std::vector<int> pads_;
  bool found_ = false;
  std::tuple<int, int, int, int> best_;
  std::vector<int> best_pads_;
};

TEST(Buses, ThePlanIsTheBestOfAllAssignments) {
  Random random(7);
  int possible = 0, all = rounds(30, 4000);
  for (int round = 0; round < all; ++round) {
    const auto question = small_question(random);
    const AllAssignments truth(*question);
    const BusResult result = planning::place_buses(question->request, question->wanted);
    ASSERT_EQ(result.plan.has_value(), truth.found()) << round << ": " << shown(*question);
    ASSERT_NE(result.plan.has_value(), result.refutation.has_value());
    if (!truth.found()) {
      ASSERT_EQ(RefutationCheck(*question).fault(*result.refutation), "")
          << round << ": " << shown(*question) << "; " << result.refutation->pinned;
      continue;
    }
    ++possible;
    const auto [banks, hops, lanes, off_centre] = truth.objective();
    ASSERT_EQ(result.plan->objective, (BusObjective{banks, hops, lanes, off_centre})) << round << shown(*question);
    ASSERT_EQ(result.plan->pad_of_signal, truth.pads()) << round << ": " << shown(*question);
  }
  std::cout << possible << " of " << all << " possible\n";
  EXPECT_GT(possible, all / 5);
  EXPECT_LT(possible, all * 4 / 5);
}

TEST(Buses, PlansKeepTheRulesAndProofsAreSound) {
  Random random(11);
  int possible = 0, with_taken = 0, nearly_full = 0;
  const int all = rounds(50, 20000);
  for (int round = 0; round < all; ++round) {
    const auto question = large_question(random);
    const BusResult result = planning::place_buses(question->request, question->wanted);
    with_taken += question->has_taken ? 1 : 0;
    if (!result.plan) {
      ASSERT_EQ(RefutationCheck(*question).fault(*result.refutation), "")
          << round << ": " << shown(*question) << "; " << result.refutation->pinned;
      continue;
    }
    ++possible;
    std::vector<int> const& pads = result.plan->pad_of_signal;
    ASSERT_EQ(listed(question->broken(pads)), "") << round << ": " << shown(*question);
    const auto told = planning::bus_violations(question->request, question->wanted, pads);
    ASSERT_TRUE(told.empty()) << told[0].text;
    // Of the banks that it has, nine pads of ten.
    std::set<int> banks;
    for (const int pad : pads) banks.insert(question->layout.bank_of_pad(pad));
    int room = 0;
    for (std::size_t pad = 0; pad < question->layout.pads.size(); ++pad)
      room += banks.count(question->layout.bank_of_pad(static_cast<int>(pad))) != 0 ? 1 : 0;
    nearly_full += static_cast<int>(pads.size()) * 10 >= room * 9 ? 1 : 0;
  }
  std::cout << all - possible << " of " << all << " impossible, " << with_taken << " with taken pads, " << nearly_full
            << " nearly full\n";
  EXPECT_GE(all - possible, all * 30 / 100);
  EXPECT_GE(with_taken, all * 30 / 100);
  EXPECT_GE(nearly_full, all * 10 / 100);
}

// -------------------------------------------------------------------------------------------------------- why not

// Of one bank of two lanes of two nibbles of two pairs.
constexpr int kPlainPads = 2 * 2 * 4;

// A request without some of what stands in the way, as a person would ask it.
planning::BusRequest without(Question const& question, std::vector<planning::Obstacle> const& obstacles,
                             std::vector<int> const& other_banks) {
  planning::BusRequest request = question.request;
  std::map<std::string, int> asked;
  for (std::size_t i = 0; i < request.pad_of_signal.size(); ++i)
    if (request.pad_of_signal[i] >= 0) asked[question.wanted.signals[i].name] = request.pad_of_signal[i];
  request.pad_of_signal.clear();
  for (planning::Obstacle const& one : obstacles) {
    if (one.rule == "bank-selection") request.banks.insert(request.banks.end(), other_banks.begin(), other_banks.end());
    if (one.rule == "bank-limit") request.most_banks = 0;
    if (one.rule == "triplet-banks") request.most_banks_of_triplet = 3;
    if (one.rule == "reference-pad") request.internal_reference = true;
    if (one.rule == "system-clock-site") request.system_clock = planning::SystemClock::none;
    if (one.rule == "pad-free") request.taken.clear();
    if (one.rule == "nibble-owner")
      std::erase_if(request.buses, [&](auto const& bus) { return one.text.starts_with(bus.name + ","); });
    if (one.rule == "as-asked")
      for (planning::BusSignal const& signal : question.wanted.signals)
        if (one.text.ends_with(" " + (signal.bus < 0
                                          ? std::string("the system clock")
                                          : question.request.buses[static_cast<std::size_t>(signal.bus)].name)))
          asked.erase(signal.name);
  }
  if (request.buses.empty() || asked.empty()) return request;
  for (planning::BusSignal const& signal : planning::bus_interface_of(request).signals)
    request.pad_of_signal.push_back(asked.count(signal.name) != 0 ? asked.at(signal.name) : -1);
  return request;
}

bool is_possible(planning::BusRequest const& request) {
  if (request.buses.empty()) return true;
  return planning::place_buses(request, planning::bus_interface_of(request)).plan.has_value();
}

// Of a bank that a bus fills, with what leaves it no room.
TEST(Buses, WhatStandsInTheWayIsToldInWords) {
  const auto told = [](std::function<void(Question&)> const& change) {
    Random random(1);
    Question question;
    NibbleShape shape;
    shape.rows = 1;
    shape.plain = true;
    question.layout = random_nibbles(random, shape);
    for (planning::PlacedPad& pad : question.layout.pads) pad.impedance = false;
    planning::Bus bus;
    bus.name = "b";
    bus.direction = planning::BusDirection::transmit;
    bus.width = static_cast<int>(question.layout.pads.size());
    bus.standard = "SSTL12";
    bus.rate_mbps = 800;
    bus.ratio = 8;
    question.request.buses = {bus};
    question.request.system_clock = planning::SystemClock::none;
    question.request.internal_reference = true;
    change(question);
    question.finish();
    const planning::BusDiagnosis found = planning::diagnose_buses(question.request, {});
    std::string all;
    for (planning::Obstacle const& one : found.obstacles) all += one.rule + ": " + one.text + "; ";
    for (planning::NearBusPlan const& one : found.nearest) all += one.change + ": " + one.text + "; ";
    return all;
  };
  EXPECT_EQ(told([](Question&) {}), "");
  EXPECT_EQ(
      told([](Question& one) {
        one.request.internal_reference = false;
        one.request.buses[0].direction = planning::BusDirection::bidirectional;
        one.request.buses[0].clock = planning::BusClock::strobe;
        one.request.buses[0].clock_standard = "SSTL12";
        --one.request.buses[0].width;
        one.layout.pads[3].reference = true;
      }),
      "reference-pad: the reference voltage that comes from outside; reference: the reference voltage made inside; "
      "narrower: b with " +
          std::to_string(kPlainPads - 2) + " signals instead of " + std::to_string(kPlainPads - 1) + "; ");
  EXPECT_EQ(
      told([](Question& one) {
        one.request.system_clock = planning::SystemClock::single_ended;
        one.request.system_clock_standard = "SSTL12";
      }),
      "system-clock-site: the pads of the system clock; clock: a system clock from within the device; narrower: b "
      "with " +
          std::to_string(kPlainPads - 1) + " signals instead of " + std::to_string(kPlainPads) + "; ");
  EXPECT_EQ(told([](Question& one) {
              one.request.taken = {{0, "another", "", false, false, true}};
            }),
            "pad-free: the pads that others have; narrower: b with " + std::to_string(kPlainPads - 1) +
                " signals instead of " + std::to_string(kPlainPads) +
                "; others: without the pads of others in bank 100; ");
}

TEST(Buses, WhatStandsInTheWayIsAllNeededAndTheNearestPlansKeepTheRules) {
  Random random(23);
  int diagnosed = 0, near = 0, together = 0;
  std::set<std::string> rules, changes;
  for (int round = 0, all = rounds(24, 3000); round < all; ++round) {
    const auto question = round % 4 == 0 ? large_question(random) : small_question(random);
    std::vector<int> others;
    if (!question->request.banks.empty())
      for (auto const& [number, bank] : question->board.banks)
        if (std::count(question->request.banks.begin(), question->request.banks.end(), number) == 0)
          others.push_back(number);
    const planning::BusDiagnosis told = planning::diagnose_buses(question->request, others);
    ASSERT_EQ(told.is_possible, is_possible(question->request)) << round;
    if (told.is_possible) continue;
    ++diagnosed;
    ASSERT_FALSE(told.obstacles.empty()) << round;
    ASSERT_TRUE(is_possible(without(*question, told.obstacles, others))) << round;
    for (std::size_t i = 0; i < told.obstacles.size(); ++i) {
      rules.insert(told.obstacles[i].rule);
      std::vector<planning::Obstacle> fewer = told.obstacles;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      ASSERT_FALSE(is_possible(without(*question, fewer, others))) << round << ": " << told.obstacles[i].text;
    }
    together += told.obstacles.size() > 1 ? 1 : 0;
    for (planning::NearBusPlan const& one : told.nearest) {
      ++near;
      changes.insert(one.change);
      Question then;
      then.layout = question->layout;
      then.request = one.request;
      then.finish();
      ASSERT_EQ(listed(then.broken(one.plan.pad_of_signal)), "") << round << ": " << one.text;
    }
  }
  std::cout << diagnosed << " diagnosed, " << near << " near, " << together
            << " with several obstacles: " << listed(rules) << "; " << listed(changes) << "\n";
  EXPECT_GT(diagnosed, 6);
  EXPECT_GT(near, 6);
  EXPECT_GE(rules.size(), 4u);
  EXPECT_GE(changes.size(), 4u);
}

}  // namespace
