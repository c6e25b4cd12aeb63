// Layouts of banks and interfaces to memories, as small or as large as a test asks for, and as a board has them.
#pragma once

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kdi/planning/Placement.h"
#include "kdi/planning/Standards.h"
#include "tests/support/made_lanes.h"
#include "tests/support/plain_board.h"
#include "tests/support/random.h"

namespace test_support::board {

namespace planning = kdi::planning;

struct LayoutShape {
  int columns = 1, rows = 2, lanes = 3, pairs = 2;  // of a bank, of a lane
  bool singles = true;                              // some lanes have a pad without partner
  bool small = false;
};

inline planning::Layout random_layout(Random& random, LayoutShape const& shape) {
  planning::Layout layout;
  for (int column = 0; column < shape.columns; ++column) {
    int position = 0, slr = 0, row = 0;
    const bool has_strobes = !random.one_in(8);
    for (int r = 0; r < shape.rows; ++r) {
      const bool gap = r > 0 && random.one_in(10);
      row += gap ? 2 : r > 0;
      position += gap ? 1 : 0;
      if (random.one_in(12)) ++slr;
      planning::PlacedBank bank;
      bank.number = 100 * (column + 1) + row;
      bank.kind = random.one_in(10) ? "HD" : "HP";
      bank.column = column;
      bank.row = row;
      bank.slr = slr;
      bank.vcco_v = random.one_in(12) ? kdi::device::Range{1.5, 3.3} : kdi::device::Range{1.0, 1.8};
      bank.reach = static_cast<kdi::device::StrobeReach>(random.below(3));
      bank.first = static_cast<int>(layout.lanes.size());
      bank.lanes = shape.lanes;
      layout.banks.push_back(bank);
      for (int l = 0; l < shape.lanes; ++l) {
        planning::PlacedLane lane;
        lane.name = "T" + std::to_string(l);
        lane.bank = static_cast<int>(layout.banks.size()) - 1;
        lane.position = position++;
        lane.first = static_cast<int>(layout.pads.size());
        const int pairs = random.one_in(5) ? (shape.pairs + 1) / 2 : shape.pairs;
        for (int p = 0; p < 2 * pairs; ++p) {
          planning::PlacedPad pad;
          pad.site = "L" + std::to_string(p / 2) + (p % 2 == 0 ? "P" : "N");
          pad.positive = p % 2 == 0;
          pad.partner = static_cast<int>(layout.pads.size()) + (p % 2 == 0 ? 1 : -1);
          pad.nibble = p >= pairs ? 1 : 0;
          if (pairs % 2 == 1) pad.nibble = p / 2 > pairs / 2 ? 1 : 0;
          pad.strobe = has_strobes && (p / 2 == 0 || p / 2 == (pairs + 1) / 2);
          pad.clock = p / 2 == pairs - 1 || random.one_in(6);
          layout.pads.push_back(pad);
        }
        if (shape.singles && random.one_in(3)) {
          planning::PlacedPad pad;
          pad.site = "S";
          pad.nibble = pairs > 1 ? 1 : 0;
          pad.impedance = l == 0;
          layout.pads.push_back(pad);
        }
        end_lane(layout, lane, bank.number, [&](planning::PlacedPad& one, std::string const& ball) {
          one.ball = random.one_in(60) ? "" : ball;
          one.configuration = random.one_in(80);
        });
      }
    }
  }
  return layout;
}

/// The table of pins; pads without a ball are not in it.
inline std::string table_of(planning::Layout const& layout) {
  std::ostringstream table;
  for (planning::PlacedPad const& pad : layout.pads) {
    if (pad.ball.empty()) continue;
    planning::PlacedLane const& lane = layout.lanes[static_cast<std::size_t>(pad.lane)];
    planning::PlacedBank const& bank = layout.banks[static_cast<std::size_t>(lane.bank)];
    const std::string mate = pad.partner < 0 ? "" : layout.pads[static_cast<std::size_t>(pad.partner)].name;
    constexpr char const* kReach[] = {"lane", "neighbours", "bank"};
    table << pad.ball << ' ' << pad.name << ' ' << bank.number << ' ' << bank.kind << ' ' << bank.column << ' '
          << bank.row << ' ' << bank.slr << ' ' << bank.vcco_v.min << ' ' << bank.vcco_v.max << ' '
          << kReach[static_cast<int>(bank.reach)] << ' ' << lane.name << ' ' << lane.position << ' ' << pad.site << ' '
          << pad.nibble << ' ' << (mate.empty() ? "-" : mate) << ' ' << pad.positive << ' ' << pad.strobe << ' '
          << pad.clock << ' ' << pad.impedance << ' ' << pad.reference << ' ' << pad.configuration << '\n';
  }
  return table.str();
}

inline Standard plain(planning::IoStandard const& standard, std::string const& grade) {
  Standard plain{
      standard.name,         std::stod(standard.vcco_v), standard.vref_v.empty() ? 0 : std::stod(standard.vref_v),
      standard.differential, standard.controlled,        {standard.rate_mbps.begin(), standard.rate_mbps.end()}};
  if (grade.empty()) return plain;
  for (auto const& [kind, rates] : standard.grade_rates) {
    int& rate = plain.rates.at(kind);
    for (auto const& [of, at] : rates) rate = std::min(rate, at);
    if (const auto own = rates.find(grade); own != rates.end()) rate = own->second;
  }
  return plain;
}

/// A request with all that it points to, and the same as a board has it.
struct Question {
  planning::Layout layout;
  planning::MemoryKind kind;
  planning::InterfaceRequest asked;
  planning::Interface wanted;
  planning::PlacementRequest request;
  Board board;
  Facts facts;
  bool has_taken = false;
  bool is_nearly_full = false;

  Question() = default;
  Question(Question const&) = delete;
  Question& operator=(Question const&) = delete;

  void finish(planning::InterfaceRequest const& made_for) {
    asked = made_for;
    asked.kind = &kind;
    request.layout = &layout;
    request.interface = &wanted;
    request.standards = kind.standards;
    board = read_board(table_of(layout));
    const std::string prefix = "c0_" + kind.prefix + "_";
    for (planning::LaneKind const& lane : kind.lanes) {
      Family family;
      family.data = prefix + lane.data;
      family.mask = lane.mask.empty() ? "" : prefix + lane.mask;
      family.strobe_p = prefix + lane.strobe.first;
      family.strobe_n = prefix + lane.strobe.second;
      family.bits = lane.bits;
      for (auto const& [width, bits] : lane.strobe_bits)
        if (width == asked.part.width) family.strobe_bits = bits;
      family.mask_bits = lane.bits;
      for (auto const& [width, bits] : lane.mask_bits)
        if (width == asked.part.width) family.mask_bits = bits;
      family.forwarded = lane.forwarded;
      facts.families.push_back(family);
    }
    for (planning::Signal const& signal : wanted.signals) facts.directions[signal.port] = signal.direction;
    for (std::string const& name : planning::standard_names())
      facts.standards.emplace(name, plain(*planning::find_standard(name), request.grade));
    for (planning::TakenPad const& one : request.taken)
      facts.taken.push_back(
          {layout.pads[static_cast<std::size_t>(one.pad)].ball, one.standard, one.is_input, one.owns_lane});
    facts.rate = request.rate_mbps;
    facts.internal_reference = request.internal_reference;
  }

  void take(Random& random, unsigned one_in) {
    constexpr char const* kStandards[] = {"", "", "", "LVCMOS12", "SSTL12", "POD12", "LVCMOS18"};
    has_taken = true;
    for (std::size_t pad = 0; pad < layout.pads.size(); ++pad) {
      if (layout.pads[pad].ball.empty() || !random.one_in(one_in)) continue;
      const bool other_voltage = random.one_in(20);
      request.taken.push_back({static_cast<int>(pad), "another", kStandards[random.below(other_voltage ? 7 : 6)],
                               random.one_in(2), random.one_in(20)});
    }
  }

  /// Of four lanes three are full, and of the fourth a pad or two.
  void fill_nearly(Random& random) {
    has_taken = is_nearly_full = true;
    for (planning::PlacedLane const& lane : layout.lanes) {
      const unsigned one_in = random.one_in(4) ? 8 : 1;
      for (int pad = lane.first; pad < lane.first + lane.pads; ++pad) {
        planning::PlacedPad const& at = layout.pads[static_cast<std::size_t>(pad)];
        if (!at.ball.empty() && !at.impedance && !at.reference && random.one_in(one_in))
          request.taken.push_back({pad, "another", "", false, false});
      }
    }
  }

  /// The lines that a person would write for pads.
  std::vector<std::string> lines_of(std::vector<int> const& pads) const {
    std::vector<std::string> lines;
    for (std::size_t signal = 0; signal < pads.size(); ++signal) {
      if (pads[signal] < 0) continue;
      std::string const& name = wanted.signals[signal].name;
      const int bank = layout.bank_of_pad(pads[signal]);
      const std::string standard = planning::standard_of(request, static_cast<int>(signal), bank);
      std::string const& ball = layout.pads[static_cast<std::size_t>(pads[signal])].ball;
      lines.push_back("set_property PACKAGE_PIN " + (ball.empty() ? "none" : ball) + " [get_ports {" + name + "}]");
      if (!standard.empty()) lines.push_back("set_property IOSTANDARD " + standard + " [get_ports {" + name + "}]");
    }
    return lines;
  }
};

/// A memory of few signals: groups of `bits`, some with several strobes, masks or one strobe for several groups.
inline std::unique_ptr<Question> small_question(Random& random) {
  auto question = std::make_unique<Question>();
  LayoutShape shape;
  shape.columns = random.one_in(5) ? 2 : 1;
  shape.rows = 1 + static_cast<int>(random.below(shape.columns == 2 ? 1 : 2));
  shape.lanes = shape.rows * shape.columns == 1 ? 3 : 2;
  shape.pairs = shape.rows * shape.columns == 1 ? 2 : random.one_in(3) ? 2 : 1;
  if (shape.rows * shape.columns * shape.lanes * shape.pairs > 6) shape.pairs = 1;
  question->layout = random_layout(random, shape);
  planning::MemoryKind& kind = question->kind;
  kind.type = "SMALL";
  kind.prefix = "small";
  kind.ranks_max = 2;
  kind.standards = planning::find_memory("DDR4")->standards;
  planning::LaneKind lane;
  lane.group = "DQ";
  lane.data = "dq";
  lane.direction = "inout";
  lane.mask_direction = "out";
  lane.bits = 1 + static_cast<int>(random.below(2));
  lane.mask = lane.bits == 1 && random.one_in(3) ? "dm" : "";
  lane.strobe = {"dqs_t", "dqs_c"};
  lane.forwarded = random.one_in(4);
  const int width = lane.bits * (1 + static_cast<int>(random.below(2)));
  lane.strobe_bits = {{8, random.one_in(3) ? width : lane.bits}};
  if (lane.bits == 2 && random.one_in(3)) lane.strobe_bits = {{8, 1}};
  kind.lanes = {lane};
  planning::AddressPort address;
  address.port = "a";
  address.direction = "out";
  address.count = std::to_string(1 + random.below(3));
  kind.address = {address};
  if (random.one_in(2)) {
    address.port = "ck_t";
    address.negative = "ck_c";
    address.count = "1";
    address.what = planning::SignalClass::clock;
    kind.address.push_back(address);
  }
  planning::InterfaceRequest asked;
  asked.kind = &kind;
  asked.part.width = 8;
  asked.width = width;
  asked.system_clock = static_cast<planning::SystemClock>(random.below(3));
  question->wanted = planning::interface_of(asked);
  question->request.rate_mbps = 2400;
  if (random.one_in(3)) question->take(random, 6);
  question->finish(asked);
  return question;
}

/// A public type on the layout that the question has.
inline std::unique_ptr<Question> large_question(Random& random, std::unique_ptr<Question> question) {
  constexpr char const* kTypes[] = {"DDR4", "DDR4", "DDR4", "DDR3", "LPDDR3", "QDRIIPLUS", "QDRIV", "RLDRAM3"};
  constexpr char const* kParts[] = {"DDR4-2400R-8Gb-x8", "DDR4-2400R-8Gb-x4",   "DDR4-2400R-8Gb-x8-rdimm-2r",
                                    "DDR3-1600K-4Gb-x8", "LPDDR3-1600-8Gb-x32", "QDRIIPLUS-1000-x18",
                                    "QDRIV-1866-x36",    "RLDRAM3-1866-x36"};
  const unsigned type = random.below(8);
  question->kind = *planning::find_memory(kTypes[type]);
  planning::InterfaceRequest asked;
  asked.kind = &question->kind;
  asked.part = *question->kind.part(kParts[type]);
  const int unit = type < 4 ? 8 : type == 4 ? 32 : 36;
  const int groups = type < 4    ? 1 + static_cast<int>(random.below(9))
                     : type == 4 ? 1
                                 : 1 + static_cast<int>(random.below(2));
  asked.width = unit * groups;
  asked.ranks = asked.part.ranks;
  asked.data_mask = !random.one_in(3);
  asked.system_clock = static_cast<planning::SystemClock>(random.below(3));
  question->wanted = planning::interface_of(asked);
  question->request.rate_mbps = type < 3 && random.one_in(4) ? 2667 : asked.part.rate_mbps;  // not at each grade
  question->request.internal_reference = random.one_in(2);
  constexpr char const* kGrades[] = {"", "-1", "-2"};
  question->request.grade = kGrades[random.below(3)];
  if (random.one_in(8))
    question->fill_nearly(random);
  else if (random.one_in(2))
    question->take(random, random.one_in(3) ? 6 : 40);
  question->finish(asked);
  return question;
}

/// The same on a layout of many banks.
inline std::unique_ptr<Question> large_question(Random& random) {
  auto question = std::make_unique<Question>();
  LayoutShape shape;
  shape.columns = 1 + static_cast<int>(random.below(2));
  shape.rows = 1 + static_cast<int>(random.below(6));
  shape.lanes = 4;
  shape.pairs = 6;
  question->layout = random_layout(random, shape);
  return large_question(random, std::move(question));
}

/// Up to four groups on at most twelve lanes, some with a strobe for two of them.
inline std::unique_ptr<Question> lanes_question(Random& random) {
  auto question = std::make_unique<Question>();
  LayoutShape shape;
  shape.rows = 1 + static_cast<int>(random.below(3));
  shape.lanes = shape.rows == 1 ? 4 : 3 + static_cast<int>(random.below(2));
  shape.pairs = 6;
  question->layout = random_layout(random, shape);
  question->kind = *planning::find_memory("DDR4");
  planning::InterfaceRequest asked;
  asked.kind = &question->kind;
  asked.part = *question->kind.part(random.one_in(3) ? "DDR4-2400R-8Gb-x4" : "DDR4-2400R-8Gb-x8");
  asked.width = 8 * (1 + static_cast<int>(random.below(4)));
  if (asked.part.width == 8 && asked.width % 16 == 0 && random.one_in(2))
    question->kind.lanes[0].strobe_bits = {{8, 16}};
  asked.system_clock = static_cast<planning::SystemClock>(random.below(3));
  question->wanted = planning::interface_of(asked);
  question->request.rate_mbps = asked.part.rate_mbps;
  if (random.one_in(2)) question->take(random, random.one_in(3) ? 10 : 40);
  question->finish(asked);
  return question;
}

}  // namespace test_support::board
