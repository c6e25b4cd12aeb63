// Buses in nibbles: the time that a plan or the proof that there is none takes at worst, and how it grows with the pads
// of a device; all pads of the largest package as buses, and the clocks of all its banks.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/coregen/mig_v7_1.h"
#include "kdi/device/Device.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/planning/BusDiagnosis.h"
#include "kdi/planning/ClockRoot.h"
#include "tests/support/random_buses.h"

namespace {

namespace planning = kdi::planning;
using test_support::Random;
using test_support::buses::NibbleShape;
using test_support::buses::Question;

constexpr char kLargest[] = "brvn5130-c2601-2LHP-e-S";
constexpr int kRequests = 10'000;  // over all sizes
constexpr int kSizes = 5;
constexpr int kSmallest = 500;  // pads, and twice as many each time: 8,000 at last
constexpr double kGrowth = 2.3;
constexpr double kSeconds = 1;  // of the processor
constexpr int kRuns = 9;

int requests_of_size() { return bench::runs_once() ? 4 : kRequests / kSizes; }

// One request of the seed on a device of so many pads: the same buses and the same share of taken pads at each size.
std::unique_ptr<Question> question_of(unsigned seed, int pads) {
  Random random(seed), of_layout(seed + 1'000'000);
  NibbleShape shape;
  shape.lanes = 4;
  shape.pairs = 3;
  shape.columns = 1 + static_cast<int>(random.below(3));
  constexpr int kPadsOfBank = 48;
  shape.rows = std::max(1, pads / kPadsOfBank / shape.columns);
  auto question = std::make_unique<Question>();
  question->layout = test_support::buses::random_nibbles(of_layout, shape);
  test_support::buses::random_large(random, *question, 12, 24);
  return question;
}

planning::BusResult planned(Question const& question) {
  return planning::place_buses(question.request, question.wanted);
}

struct Timed {
  double seconds = 0;
  bool has_plan = false;
};

// The growth is that of requests with a plan on both devices, or on neither: where there is none for want of room the
// answer costs next to nothing.
double growth_of(std::vector<Timed> const& before, std::vector<Timed> const& now) {
  double sum_before = 0, sum_now = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i].has_plan != now[i].has_plan) continue;
    sum_before += before[i].seconds;
    sum_now += now[i].seconds;
  }
  return sum_before > 0 ? sum_now / sum_before : 0;
}

bool plans() {
  bool kept = true;
  std::vector<Timed> before;
  for (int size = 0; size < kSizes; ++size) {
    const int pads = kSmallest << size;
    std::vector<Timed> all;
    int impossible = 0, taken = 0;
    unsigned slowest = 0;
    double worst = 0, sum = 0;
    for (int i = 0; i < requests_of_size(); ++i) {
      const unsigned seed = 1 + static_cast<unsigned>(i);
      const auto question = question_of(seed, pads);
      planning::BusResult result;
      double seconds = bench::processor_seconds_of([&] { result = planned(*question); });
      // One that would be the worst once more: what the machine did meanwhile has no say.
      for (int again = 0; again < 2 && seconds > worst && !bench::runs_once(); ++again)
        seconds = std::min(seconds, bench::processor_seconds_of([&] { planned(*question); }));
      if (seconds > worst) {
        worst = seconds;
        slowest = seed;
      }
      sum += seconds;
      all.push_back({seconds, result.plan.has_value()});
      impossible += result.plan ? 0 : 1;
      taken += question->has_taken ? 1 : 0;
    }
    const double growth = growth_of(before, all);
    const bool good = bench::runs_once() || (growth <= kGrowth && worst <= kSeconds);
    kept = kept && good;
    std::printf(
        "%5d pads: worst of %zu %8.2f ms (seed %u), mean %7.3f ms, growth %.2f <= %.1f; %d impossible, %d with pads "
        "taken  %s\n",
        pads, all.size(), worst * 1e3, slowest, sum / static_cast<double>(all.size()) * 1e3, growth, kGrowth,
        impossible, taken, good ? "ok" : "MISSED");
    std::fflush(stdout);
    before = std::move(all);
  }
  return kept;
}

// Why there is no plan and what would have one, of requests on the largest device.
bool diagnoses() {
  constexpr int kDiagnoses = 100;
  const int pads = kSmallest << (kSizes - 1);
  double worst = 0, sum = 0;
  int found = 0;
  unsigned slowest = 0;
  for (unsigned seed = 1; found < (bench::runs_once() ? 1 : kDiagnoses); ++seed) {
    const auto question = question_of(seed, pads);
    std::vector<int> others;
    for (planning::NibbleBank const& bank : question->map.banks) {
      const int number = question->layout.banks[static_cast<std::size_t>(bank.bank)].number;
      std::vector<int> const& own = question->request.banks;
      if (!own.empty() && std::find(own.begin(), own.end(), number) == own.end()) others.push_back(number);
    }
    bool is_possible = false;
    const double seconds = bench::processor_seconds_of(
        [&] { is_possible = planning::diagnose_buses(question->request, others).is_possible; });
    if (is_possible) continue;
    ++found;
    sum += seconds;
    if (seconds > worst) slowest = seed;
    worst = std::max(worst, seconds);
  }
  const bool good = bench::runs_once() || worst <= kSeconds;
  std::printf("%5d pads: why not, worst of %d %8.2f ms (seed %u), mean %7.3f ms <= 1000 ms  %s\n", pads, found,
              worst * 1e3, slowest, sum / found * 1e3, good ? "ok" : "MISSED");
  return good;
}

// ------------------------------------------------------------------------------------------------ the largest package

planning::BusRequest full_banks(planning::Layout const& layout, planning::NibbleMap const& map, int slr, int banks) {
  planning::BusRequest asked;
  asked.layout = &layout;
  asked.nibbles = &map;
  for (planning::NibbleBank const& bank : map.banks) {
    planning::PlacedBank const& placed = layout.banks[static_cast<std::size_t>(bank.bank)];
    if (placed.slr == slr && static_cast<int>(asked.banks.size()) < banks) asked.banks.push_back(placed.number);
  }
  // Five nibbles and four, which is a bank.
  for (int bank = 0; bank < banks; ++bank)
    for (const int width : {30, 24}) {
      planning::Bus bus;
      bus.name = "b" + std::to_string(asked.buses.size());
      bus.direction = planning::BusDirection::transmit;
      bus.width = width;
      bus.standard = "SSTL12";
      bus.rate_mbps = 800;
      bus.ratio = 8;
      asked.buses.push_back(bus);
    }
  return asked;
}

double seconds(planning::Layout const& layout, planning::NibbleMap const& map, int dies, int banks, int& pads) {
  std::vector<double> all;
  for (int run = 0; run < (bench::runs_once() ? 1 : kRuns); ++run)
    all.push_back(bench::processor_seconds_of([&] {
      pads = 0;
      for (int slr = 0; slr < dies; ++slr) {
        const planning::BusRequest asked = full_banks(layout, map, slr, banks);
        const planning::BusResult result = planning::place_buses(asked, planning::bus_interface_of(asked));
        if (!result.plan) {
          std::printf("no plan: %s\n", planning::reason_of(asked, *result.refutation).c_str());
          std::exit(1);
        }
        pads += static_cast<int>(result.plan->pad_of_signal.size());
      }
    }));
  return bench::median(all);
}

bool row(char const* name, double seconds, double bar) {
  const bool good = bench::runs_once() || seconds <= bar;
  std::printf("%s: %.1f ms <= %.0f ms  %s\n", name, 1e3 * seconds, 1e3 * bar, good ? "ok" : "MISSED");
  return good;
}

bool largest_package() {
  kdi::device::Part const& part = HARPartMgr::getGlobal()->getPart(kLargest)->values();
  const planning::Layout layout = planning::layout_of(part);
  const planning::NibbleMap map = planning::nibble_map(layout);
  int pads = 0;
  constexpr int kDies = 3, kBanks = 6;  // of buses, on a die
  const double whole = seconds(layout, map, kDies, kBanks, pads);
  bool kept = row(("all " + std::to_string(pads) + " pads of the banks").c_str(), whole, kSeconds);
  double before = 0;
  for (const int banks : {1, 2, 4}) {
    const double now = seconds(layout, map, kDies, banks, pads);
    const double growth = before > 0 ? now / before : 0;
    const bool good = bench::runs_once() || growth <= kGrowth;
    kept = kept && good;
    std::printf("%d of them: %.2f ms, growth %.2f <= %.1f  %s\n", pads, 1e3 * now, growth, kGrowth,
                good ? "ok" : "MISSED");
    before = now;
  }
  // The clocks of all banks: in which region each is made, and by which multipliers and dividers. A period for each
  // bank, so that no solution is known from another.
  using mig::mig_v7_1::HIPMigIPMgr;
  HIPMigIPMgr::loadMigPkgData({{"-instance_name", "c"}, {"-part", kLargest}, {"-controllertype", "DDR4"}});
  auto* const controller = HIPMigIPMgr::getIPInstance(std::string("c"));
  std::size_t made = 0;
  const double clocks = bench::processor_seconds_of([&] {
    for (std::size_t bank = 0; bank < layout.banks.size(); ++bank) {
      made += planning::clock_root(part, layout, {static_cast<int>(bank)}).name().size();
      const std::string period = std::to_string(1000 + 3 * bank);
      const std::string input = controller->InputClockPeriod("DDR4", period).range.at(0);
      made += controller->getClockingModelParams("DDR4", input, period).size();
    }
  });
  HIPMigIPMgr::releasePkgData({});
  return row(("the clocks of all " + std::to_string(layout.banks.size()) + " banks").c_str(), clocks, kSeconds) &&
         made > 0 && kept;
}

}  // namespace

int main() {
  const bool plans_are_good = plans();
  const bool diagnoses_are_good = diagnoses();
  return largest_package() && plans_are_good && diagnoses_are_good ? 0 : 1;
}
