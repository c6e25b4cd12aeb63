// Layouts of banks of nibbles and buses, as small or as large as a test asks for, and as a board has them.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kdi/planning/Buses.h"
#include "kdi/planning/Standards.h"
#include "tests/support/made_lanes.h"
#include "tests/support/plain_buses.h"
#include "tests/support/random.h"

namespace test_support::buses {

namespace planning = kdi::planning;

/// A request with all that it points to, and the same as a board has it.
struct Question {
  planning::Layout layout;
  planning::NibbleMap map;
  planning::BusRequest request;
  planning::BusInterface wanted;
  Board board;
  Facts facts;
  bool has_taken = false;

  Question() = default;
  Question(Question const&) = delete;
  Question& operator=(Question const&) = delete;

  planning::PlacedPad const& pad(int rank) const { return layout.pads[static_cast<std::size_t>(rank)]; }

  /// Of layout, buses, clock, taken and limits all the rest.
  void finish() {
    map = planning::nibble_map(layout);
    request.layout = &layout;
    request.nibbles = &map;
    wanted = planning::bus_interface_of(request);
    read_board();
    read_facts();
  }

  void read_board() {
    board = {};
    for (std::size_t rank = 0; rank < layout.pads.size(); ++rank) {
      planning::PlacedPad const& pad = layout.pads[rank];
      planning::PlacedLane const& lane = layout.lanes[static_cast<std::size_t>(pad.lane)];
      planning::PlacedBank const& bank = layout.banks[static_cast<std::size_t>(lane.bank)];
      Pin pin;
      pin.ball = pad.ball;
      pin.pad = pad.name;
      pin.kind = bank.kind;
      pin.lane = lane.name;
      pin.mate = pad.partner < 0 ? "-" : layout.pads[static_cast<std::size_t>(pad.partner)].name;
      pin.bank = bank.number;
      pin.column = bank.column;
      pin.row = bank.row;
      pin.slr = bank.slr;
      pin.place = lane.position;
      pin.vcco_min = bank.vcco_v.min;
      pin.vcco_max = bank.vcco_v.max;
      pin.positive = pad.positive;
      pin.strobe = pad.strobe;
      pin.clock = pad.clock;
      pin.impedance = pad.impedance;
      pin.reference = pad.reference;
      pin.configuration = pad.configuration;
      // Counted by hand: nibbles lane by lane.
      for (int before = bank.first; before < pad.lane; ++before) pin.nibble += nibbles_of(before);
      pin.nibble += pad.nibble;
      if (!pad.ball.empty()) board.pins.emplace(pin.ball, pin);
    }
    int alone = 1000;
    for (planning::PlacedBank const& bank : layout.banks) {
      if (bank.ways.ways.empty()) continue;
      BankFacts one;
      one.column = bank.column;
      one.slr = bank.slr;
      one.triplet = bank.triplet < 0 ? alone++ : bank.triplet;
      one.master = bank.triplet < 0 || bank.master;
      for (int lane = bank.first; lane < bank.first + bank.lanes; ++lane) one.nibbles += nibbles_of(lane);
      for (auto const& [a, b] : bank.ways.ways) one.ways.insert({{a, b}, {b, a}});
      one.most_hops = bank.ways.most_hops;
      one.hop_ps = bank.ways.hop_ps;
      board.banks.emplace(bank.number, one);
    }
    // Of a triplet whose master has no nibbles the first one that has makes the clock.
    std::set<int> with_master;
    for (auto const& [number, bank] : board.banks)
      if (bank.master) with_master.insert(bank.triplet);
    for (planning::PlacedBank const& bank : layout.banks) {
      const auto one = board.banks.find(bank.number);
      if (one != board.banks.end() && with_master.insert(one->second.triplet).second) one->second.master = true;
    }
  }

  void read_facts() {
    facts = {};
    constexpr char kDirections[] = {'r', 't', 'b'};
    constexpr char kClocks[] = {'n', 's', 'f'};
    for (planning::Bus const& bus : request.buses) {
      BusFacts one;
      one.name = bus.name;
      one.standard = bus.standard;
      one.clock_standard = bus.clock_standard;
      one.bias = bus.bias;
      one.direction = kDirections[static_cast<int>(bus.direction)];
      one.clock = kClocks[static_cast<int>(bus.clock)];
      one.width = bus.width;
      one.rate = bus.rate_mbps;
      one.ratio = bus.ratio;
      facts.buses.push_back(one);
    }
    if (request.system_clock != planning::SystemClock::none) facts.system_standard = request.system_clock_standard;
    for (std::string const& name : planning::standard_names()) {
      planning::IoStandard const& standard = *planning::find_standard(name);
      facts.standards[name] = {std::stod(standard.vcco_v),
                               standard.vref_v.empty() ? 0 : std::stod(standard.vref_v),
                               standard.differential,
                               standard.controlled,
                               {standard.rate_mbps.begin(), standard.rate_mbps.end()}};
      for (auto& [kind, rate] : facts.standards[name].rates) rate = *standard.rate(kind, request.grade);
    }
    for (planning::TakenPad const& one : request.taken)
      facts.taken.push_back({pad(one.pad).ball, one.standard, one.is_input, one.owns_lane, one.of_bus});
    facts.banks = {request.banks.begin(), request.banks.end()};
    facts.most_banks = request.most_banks;
    facts.most_of_triplet = request.most_banks_of_triplet;
    facts.internal_reference = request.internal_reference;
    for (std::size_t i = 0; i < request.pad_of_signal.size(); ++i)
      if (request.pad_of_signal[i] >= 0) facts.wishes[wanted.signals[i].name] = pad(request.pad_of_signal[i]).ball;
  }

  void take(Random& random, unsigned one_in) {
    constexpr char const* kStandards[] = {"", "", "", "LVCMOS12", "SSTL12", "POD12", "LVCMOS18"};
    has_taken = true;
    for (std::size_t rank = 0; rank < layout.pads.size(); ++rank) {
      if (layout.pads[rank].ball.empty() || !random.one_in(one_in)) continue;
      const bool other_voltage = random.one_in(30);
      request.taken.push_back({static_cast<int>(rank), "another", kStandards[random.below(other_voltage ? 7 : 6)],
                               random.one_in(4), random.one_in(20), random.one_in(2)});
    }
  }

  /// The lines that a person would write for pads.
  std::vector<std::string> lines_of(std::vector<int> const& pads) const {
    std::vector<std::string> lines;
    for (std::size_t signal = 0; signal < pads.size(); ++signal) {
      if (pads[signal] < 0) continue;
      std::string const& ball = pad(pads[signal]).ball;
      lines.push_back("set_property PACKAGE_PIN " + (ball.empty() ? "none" : ball) + " [get_ports {" +
                      wanted.signals[signal].name + "}]");
    }
    return lines;
  }

  std::set<std::string> broken(std::vector<int> const& pads) const {
    Checker checker(board, facts);
    checker.read_constraints(lines_of(pads));
    return checker.broken();
  }

 private:
  int nibbles_of(int lane) const {
    planning::PlacedLane const& one = layout.lanes[static_cast<std::size_t>(lane)];
    int last = -1;
    for (int pad = one.first; pad < one.first + one.pads; ++pad)
      last = std::max(last, layout.pads[static_cast<std::size_t>(pad)].nibble);
    return last + 1;
  }
};

struct NibbleShape {
  int columns = 1, rows = 2, lanes = 2, nibbles = 2, pairs = 2;  // of a bank, of a lane, of a nibble
  bool plain = false;                                            // without what gets in the way
};

/// By threes, or fewer at the end of a die; some banks are in none.
inline void join_triplets(Random& random, planning::Layout& layout) {
  int triplet = 0;
  for (std::size_t first = 0; first < layout.banks.size();) {
    std::size_t end = first;
    while (end < layout.banks.size() && end - first < 3 && layout.banks[end].column == layout.banks[first].column &&
           layout.banks[end].slr == layout.banks[first].slr && !layout.banks[end].ways.ways.empty())
      ++end;
    if (end == first || random.one_in(8)) {
      ++first;
      continue;
    }
    for (std::size_t bank = first; bank < end; ++bank) layout.banks[bank].triplet = triplet;
    layout.banks[first + random.below(static_cast<unsigned>(end - first))].master = true;
    ++triplet;
    first = end;
  }
}

inline planning::Layout random_nibbles(Random& random, NibbleShape const& shape) {
  planning::Layout layout;
  const auto odd = [&](unsigned n) { return !shape.plain && random.one_in(n); };
  for (int column = 0; column < shape.columns; ++column) {
    int position = 0, slr = 0, row = 0;
    for (int r = 0; r < shape.rows; ++r) {
      const bool gap = r > 0 && odd(12);
      row += gap ? 2 : r > 0;
      position += gap ? 1 : 0;
      if (r > 0 && odd(12)) ++slr;
      planning::PlacedBank bank;
      bank.number = 100 * (column + 1) + row;
      bank.kind = odd(12) ? "HD" : "XP";
      bank.column = column;
      bank.row = row;
      bank.slr = slr;
      bank.vcco_v = odd(15) ? kdi::device::Range{1.4, 3.3} : kdi::device::Range{1.0, 1.8};
      bank.first = static_cast<int>(layout.lanes.size());
      bank.lanes = shape.lanes;
      const int nibbles = shape.lanes * shape.nibbles;
      for (int n = 0; n + 1 < nibbles; ++n) bank.ways.ways.emplace_back(n, n + 1);
      if (nibbles == 1) bank.ways.ways.emplace_back(0, 0);
      for (int n = 0; n + 2 < nibbles; ++n)
        if (random.one_in(2)) bank.ways.ways.emplace_back(n, n + 2);
      bank.ways.most_hops = shape.plain ? 8 : 1 + static_cast<int>(random.below(3));
      bank.ways.hop_ps = shape.plain ? 0 : 50 * static_cast<int>(random.below(12));
      if (odd(15)) bank.ways.ways.clear();
      layout.banks.push_back(bank);
      const bool is_bonded = !odd(15);
      for (int l = 0; l < shape.lanes; ++l) {
        planning::PlacedLane lane;
        lane.name = "B" + std::to_string(l);
        lane.bank = static_cast<int>(layout.banks.size()) - 1;
        lane.position = position++;
        lane.first = static_cast<int>(layout.pads.size());
        int site = 0;
        for (int n = 0; n < shape.nibbles; ++n) {
          const int pairs = odd(6) ? std::max(1, shape.pairs - 1) : shape.pairs;
          for (int p = 0; p < 2 * pairs; ++p, ++site) {
            planning::PlacedPad pad;
            pad.site = "L" + std::to_string(site / 2) + (p % 2 == 0 ? "P" : "N");
            pad.positive = p % 2 == 0;
            pad.partner = static_cast<int>(layout.pads.size()) + (p % 2 == 0 ? 1 : -1);
            pad.nibble = n;
            pad.strobe = p / 2 == 0 || odd(15);
            pad.clock = (p / 2 == 0 && n == 0) || odd(12);
            layout.pads.push_back(pad);
          }
          if (pairs < 3 && odd(6)) {
            planning::PlacedPad pad;
            pad.site = "S" + std::to_string(n);
            pad.nibble = n;
            pad.impedance = n == 0;
            layout.pads.push_back(pad);
          }
        }
        end_lane(layout, lane, bank.number, [&](planning::PlacedPad& one, std::string const& ball) {
          one.ball = !is_bonded || odd(60) ? "" : ball;
          one.configuration = odd(80);
          one.reference = odd(60);
        });
      }
    }
  }
  join_triplets(random, layout);
  return layout;
}

inline planning::Bus random_bus(Random& random, std::string const& name, int most_width, bool has_clock) {
  planning::Bus bus;
  bus.name = name;
  bus.direction = static_cast<planning::BusDirection>(random.below(3));
  bus.width = 1 + static_cast<int>(random.below(static_cast<unsigned>(most_width)));
  constexpr char const* kSingles[] = {"SSTL12", "SSTL12", "POD12", "SSTL12_DCI", "SSTL135"};
  constexpr char const* kPairs[] = {"DIFF_SSTL12", "DIFF_SSTL12", "DIFF_POD12", "DIFF_SSTL12_DCI", "DIFF_SSTL135"};
  const unsigned family = random.below(random.one_in(3) ? 5 : 2);
  const bool is_pair = random.one_in(2);
  bus.standard = is_pair ? kPairs[family] : kSingles[family];
  bus.clock_standard = random.one_in(2) ? kPairs[family] : kSingles[family];
  if (bus.direction == planning::BusDirection::transmit)
    bus.clock = random.one_in(2) ? planning::BusClock::none : planning::BusClock::forwarded;
  else
    bus.clock = has_clock && random.one_in(3) ? planning::BusClock::none : planning::BusClock::strobe;
  if (bus.clock == planning::BusClock::none) bus.clock_standard.clear();
  constexpr int kRates[] = {800, 1600, 1600, 1600, 1200, 2400};
  bus.rate_mbps = kRates[random.below(6)];
  bus.ratio = 1 << random.below(4);
  return bus;
}

inline void random_limits(Random& random, Question& question) {
  planning::BusRequest& request = question.request;
  request.system_clock = static_cast<planning::SystemClock>(random.below(3));
  if (request.system_clock == planning::SystemClock::differential) request.system_clock_standard = "DIFF_SSTL12";
  if (request.system_clock == planning::SystemClock::single_ended)
    request.system_clock_standard = random.one_in(2) ? "LVCMOS12" : "SSTL12";
  request.internal_reference = !random.one_in(4);
  if (random.one_in(6)) request.most_banks = 1 + static_cast<int>(random.below(2));
  if (random.one_in(6)) request.most_banks_of_triplet = 1 + static_cast<int>(random.below(2));
  if (random.one_in(10))
    for (planning::PlacedBank const& bank : question.layout.banks)
      if (!random.one_in(3)) request.banks.push_back(bank.number);
}

/// Some signals where the user wants them, most of them where they can be.
inline void random_wishes(Random& random, Question& question) {
  question.request.pad_of_signal.assign(question.wanted.signals.size(), -1);
  for (int i = 1 + static_cast<int>(random.below(2)); i > 0; --i) {
    const unsigned signal = random.below(static_cast<unsigned>(question.wanted.signals.size()));
    const unsigned pad = random.below(static_cast<unsigned>(question.layout.pads.size()));
    if (!question.layout.pads[pad].ball.empty()) question.request.pad_of_signal[signal] = static_cast<int>(pad);
  }
  question.read_facts();
}

/// At most 14 pads and 12 signals.
inline std::unique_ptr<Question> small_question(Random& random) {
  for (;;) {
    auto question = std::make_unique<Question>();
    NibbleShape shape;
    shape.columns = random.one_in(6) ? 2 : 1;
    shape.rows = 1 + static_cast<int>(random.below(3));
    shape.lanes = 1 + static_cast<int>(random.below(2));
    shape.nibbles = 1 + static_cast<int>(random.below(2));
    shape.pairs = 1 + static_cast<int>(random.below(3));
    shape.plain = random.one_in(3);
    question->layout = random_nibbles(random, shape);
    if (question->layout.pads.size() > 14 || question->layout.pads.size() < 6) continue;
    random_limits(random, *question);
    if (shape.plain) question->request.internal_reference = true;
    const int buses = 1 + static_cast<int>(random.below(2));
    for (int i = 0; i < buses; ++i)
      question->request.buses.push_back(random_bus(random, "b" + std::to_string(i), buses == 1 ? 5 : 2,
                                                   question->request.system_clock != planning::SystemClock::none));
    if (buses == 2 && random.one_in(3)) {
      question->request.buses[1] = question->request.buses[0];
      question->request.buses[1].name = "b1";
    }
    if (random.one_in(3)) question->take(random, 8);
    question->finish();
    if (question->wanted.signals.size() > 12) continue;
    if (random.one_in(5)) random_wishes(random, *question);
    return question;
  }
}

/// Buses that fill banks, or nearly.
inline std::unique_ptr<Question> full_question(Random& random) {
  auto question = std::make_unique<Question>();
  NibbleShape shape;
  shape.rows = 1 + static_cast<int>(random.below(4));
  shape.lanes = 4;
  shape.pairs = 3 + static_cast<int>(random.below(2));
  shape.plain = true;
  question->layout = random_nibbles(random, shape);
  const int parts = 1 + static_cast<int>(random.below(2));  // of a bank
  for (int i = 0; i < shape.rows * parts; ++i) {
    planning::Bus bus = random_bus(random, "b" + std::to_string(i), 1, false);
    const bool is_pair = random.one_in(2);
    bus.standard = is_pair ? "DIFF_SSTL12" : "SSTL12";
    bus.clock_standard = bus.clock == planning::BusClock::none ? "" : "DIFF_SSTL12";
    bus.rate_mbps = 1600;
    bus.width = shape.lanes * shape.nibbles / parts * shape.pairs * (is_pair ? 1 : 2);
    if (bus.clock != planning::BusClock::none) bus.width -= is_pair ? 1 : 2;
    bus.width = std::max(1, bus.width - static_cast<int>(random.below(2)));
    if (random.one_in(24)) bus.width += 2;
    question->request.buses.push_back(bus);
  }
  question->request.internal_reference = true;
  if (random.one_in(5)) question->take(random, 80);
  question->finish();
  return question;
}

/// Buses for a question that has its layout, and what is beside them.
inline void random_large(Random& random, Question& question, int most_buses, int most_width) {
  random_limits(random, question);
  const int buses = 1 + static_cast<int>(random.below(static_cast<unsigned>(most_buses)));
  for (int i = 0; i < buses; ++i) {
    planning::Bus bus = random_bus(random, "b" + std::to_string(i), most_width,
                                   question.request.system_clock != planning::SystemClock::none);
    if (i > 0 && random.one_in(2)) {
      bus = question.request.buses.back();
      bus.name = "b" + std::to_string(i);
    }
    question.request.buses.push_back(bus);
  }
  if (!random.one_in(3)) question.take(random, random.one_in(3) ? 6 : 40);
  question.finish();
  if (random.one_in(6)) random_wishes(random, question);
}

/// Banks as large as those of devices.
inline std::unique_ptr<Question> large_question(Random& random) {
  if (random.one_in(4)) return full_question(random);
  auto question = std::make_unique<Question>();
  NibbleShape shape;
  shape.columns = 1 + (random.one_in(4) ? 1 : 0);
  shape.rows = 1 + static_cast<int>(random.below(6));
  shape.lanes = 4;
  shape.pairs = 3 + static_cast<int>(random.below(2));
  shape.plain = random.one_in(4);
  question->layout = random_nibbles(random, shape);
  random_large(random, *question, 5, 16);
  return question;
}

}  // namespace test_support::buses
