// Whatever a controller of a shipped device can be asked for has a plan that the checker accepts, or a proof that there
// is none: each controller made of fabric, with each of its types, widths, ranks, kinds of modules, widths of devices
// and voltages, in each package and at each speed grade. All of them where IPTASKS_LONG is set, which prints a table;
// else a sample.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>

#include "kdi/device/Device.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/places.h"
#include "tests/support/plain_refutation.h"
#include "tests/support/random_boards.h"

namespace {

using namespace test_support::board;
using kdi::device::MemoryInterface;
using kdi::device::Part;

struct Asked {
  MemoryInterface const* interface = nullptr;
  planning::MemoryKind const* kind = nullptr;
  planning::MemoryPart memory;
  std::string voltage_v;
  int width = 0, ranks = 1, slots = 1;

  std::string text() const {
    return memory.name + " " + std::to_string(width) + " bits, " + std::to_string(ranks) + " ranks, " +
           std::to_string(slots) + " slots, " + voltage_v + " V";
  }
};

// One part for each kind of module, device width, rank count and stack height, as fast as the controller lets it be.
std::vector<planning::MemoryPart> parts_for(planning::MemoryKind const& kind, MemoryInterface const& interface) {
  std::map<std::tuple<std::string, int, int, int>, planning::MemoryPart> best;
  static std::map<std::string, std::vector<planning::MemoryPart>> all;
  std::vector<planning::MemoryPart>& parts = all[kind.type];
  if (parts.empty())
    for (std::string const& name : kind.part_names()) parts.push_back(*kind.part(name));
  for (planning::MemoryPart const& part : parts) {
    if (!part.module.empty() && !interface.modules) continue;
    planning::MemoryPart& known = best[{part.module, part.width, part.ranks, part.stack}];
    const int most = static_cast<int>(interface.rate_mbps.max);
    if (known.name.empty() || (part.rate_mbps <= most && part.rate_mbps > known.rate_mbps)) known = part;
  }
  std::vector<planning::MemoryPart> chosen;
  for (auto const& [shape, part] : best)
    if (part.ranks <= interface.ranks_max) chosen.push_back(part);
  return chosen;
}

std::vector<std::string> voltages_in(planning::MemoryKind const& kind, MemoryInterface const& interface) {
  std::set<std::string> voltages;
  for (planning::StandardSet const& set : kind.standards)
    for (std::string const& bank_kind : set.bank_kinds)
      if (std::count(interface.bank_kinds.begin(), interface.bank_kinds.end(), bank_kind) != 0)
        voltages.insert(set.voltage_v);
  return {voltages.begin(), voltages.end()};
}

// Calls use(asked) for whatever the interface of a controller can be.
template <class Use>
void for_each_form(MemoryInterface const& interface, Use use) {
  Asked asked;
  asked.interface = &interface;
  asked.kind = planning::find_memory(interface.type);
  ASSERT_NE(asked.kind, nullptr) << interface.type;
  for (planning::MemoryPart const& part : parts_for(*asked.kind, interface))
    for (const int width : interface.data_widths)
      for (std::string const& voltage : voltages_in(*asked.kind, interface)) {
        const bool is_module = !part.module.empty();
        if (width % part.width != 0 || (is_module && width != 64 && width != 72)) continue;
        asked.memory = part;
        asked.width = width;
        asked.voltage_v = voltage;
        const int most = is_module ? part.ranks : std::min(asked.kind->ranks_max, interface.ranks_max);
        for (asked.ranks = is_module ? part.ranks : 1; asked.ranks <= most; asked.ranks *= 2)
          for (asked.slots = 1; asked.slots <= (is_module ? 2 : 1); ++asked.slots) use(asked);
      }
}

std::unique_ptr<Question> question_of(Asked const& asked, Part const& part) {
  auto question = std::make_unique<Question>();
  question->layout = planning::layout_of(part);
  question->kind = *asked.kind;
  std::erase_if(question->kind.standards, [&](planning::StandardSet& set) {
    std::erase_if(set.bank_kinds, [&](std::string const& kind) {
      return std::count(asked.interface->bank_kinds.begin(), asked.interface->bank_kinds.end(), kind) == 0;
    });
    return set.bank_kinds.empty() || set.voltage_v != asked.voltage_v;
  });
  planning::InterfaceRequest request;
  request.kind = &question->kind;
  request.part = asked.memory;
  request.width = asked.width;
  request.ranks = asked.ranks;
  request.slots = asked.slots;
  request.data_mask = asked.memory.width != 4;
  question->wanted = planning::interface_of(request);
  question->request.rate_mbps = std::min(asked.memory.rate_mbps, static_cast<int>(asked.interface->rate_mbps.max));
  question->request.grade = part.speed->name;
  question->finish(request);
  return question;
}

struct Counts {
  int planned = 0, impossible = 0;
  std::map<std::string, int> why;  // leaves of proofs: what the first of them says
};

std::string first_leaf(planning::Refutation const& node) {
  if (!node.branches.empty()) return first_leaf(node.branches.back().why);
  using Kind = planning::Refutation::Kind;
  if (node.kind == Kind::overfull) return node.lanes.empty() ? "groups fit nowhere" : "more groups than lanes";
  if (node.kind == Kind::empty) return "no room for " + node.what;
  return node.kind == Kind::far_clock ? "system clock too far" : "a bank is overfull";
}

TEST(PlanningCoverage, EveryFormHasAPlanOrAProof) {
  const bool all = std::getenv("IPTASKS_LONG") != nullptr;
  const int stride = all ? 1 : 997;
  std::map<std::string, Counts> table;
  int number = 0, looked_at = 0;
  kdi::device::PartCatalogue catalogue({places::data("devices")});
  for (std::string const& device : catalogue.devices()) {
    std::set<std::pair<std::string, std::string>> seen;  // packages and grades
    for (std::string const& name : catalogue.parts(device)) {
      Part const& part = catalogue.part(name)->values();
      if (!seen.insert({part.package->name, part.speed->name}).second) continue;
      for (kdi::device::MemoryController const& controller : part.speed->memory_controllers) {
        if (controller.hard) continue;  // its pins are its own
        for (MemoryInterface const& interface : controller.interfaces)
          for_each_form(interface, [&](Asked const& asked) {
            if (number++ % stride != 0) return;
            ++looked_at;
            SCOPED_TRACE(name + " " + asked.text());
            const auto question = question_of(asked, part);
            const planning::PlacementResult result = planning::place(question->request);
            Counts& counts = table[device + "-" + part.package->name + " " + part.speed->name + " " + interface.type];
            if (result.plan) {
              ++counts.planned;
              Checker checker(question->board, question->facts);
              checker.read_constraints(question->lines_of(result.plan->pad_of_signal));
              EXPECT_TRUE(checker.broken().empty()) << *checker.broken().begin();
            } else {
              ++counts.impossible;
              ++counts.why[first_leaf(*result.refutation)];
              EXPECT_EQ(RefutationCheck(*question).fault(*result.refutation), "");
            }
          });
      }
    }
  }
  EXPECT_GT(number, 5000);
  EXPECT_GE(looked_at, number / stride);
  int planned = 0, impossible = 0;
  for (auto const& [what, counts] : table) {
    planned += counts.planned;
    impossible += counts.impossible;
    if (!all) continue;
    std::printf("%-40s %5d planned %5d impossible", what.c_str(), counts.planned, counts.impossible);
    for (auto const& [why, times] : counts.why) std::printf("; %s: %d", why.c_str(), times);
    std::printf("\n");
  }
  EXPECT_GT(planned, 0);
  if (all) {
    EXPECT_GT(impossible, 0);
  }
  std::printf("%d forms, %d looked at: %d planned, %d impossible\n", number, looked_at, planned, impossible);
}

}  // namespace
