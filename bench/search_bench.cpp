// The two searches of cores. Requests of the size of whole cores, 200 of each sort: the median and the worst in
// milliseconds. Small ones against trying everything, as a ratio. `search_bench 10000` asks for more.
#include <cstdlib>
#include <string>

#include "bench/ratio.h"
#include "tests/support/plain_clocks.h"
#include "tests/support/random_clocks.h"
#include "tests/support/random_pads.h"

namespace {

using namespace kdi::cores;

constexpr int kRequests = 200;
constexpr int kRequestsOfOneRun = 5;
constexpr int kSmall = 50;
constexpr int kPairs = 5;
constexpr double kBar = 0.5;

// `search` is given a seed, and returns the seconds that it took.
template <class Search>
void print_times(char const* name, int requests, Search search) {
  std::vector<double> times;
  int worst = 1;
  for (int seed = 1; seed <= requests; ++seed) {
    times.push_back(search(static_cast<std::uint64_t>(seed)));
    if (times.back() >= *std::max_element(times.begin(), times.end())) worst = seed;
  }
  const double most = *std::max_element(times.begin(), times.end());
  std::sort(times.begin(), times.end());
  std::printf("%-42s %6d requests: median %8.2f ms, 99 %% %8.2f ms, worst %8.2f ms (seed %d)\n", name, requests,
              1e3 * bench::median(times), 1e3 * times[times.size() * 99 / 100], 1e3 * most, worst);
}

template <class Each>
double seconds_of_small(Each each) {
  return bench::seconds_of([&] {
    for (std::uint64_t seed = 1; seed <= kSmall; ++seed) each(seed);
  });
}

}  // namespace

int main(int argc, char** argv) {
  const int requests = bench::runs_once() ? kRequestsOfOneRun : argc > 1 ? std::atoi(argv[1]) : kRequests;
  print_times("clocks of whole cores", requests, [](std::uint64_t seed) {
    const ClockRequest request = random_clocks::RandomClocks(seed).whole();
    return bench::seconds_of([&] { search_clocks(request); });
  });
  const auto pads = [&](char const* name, auto plan) {
    print_times(name, requests, [&](std::uint64_t seed) {
      const std::vector<PadFunction> functions = random_pads::RandomPads(seed).whole(seed % 11);
      return bench::seconds_of([&] { plan(functions); });
    });
  };
  pads("pads of whole cores, free assignment", [](auto const& functions) { free_assignment(functions); });
  pads("pads of whole cores, fewest moved",
       [](auto const& functions) { nearest_repair(functions, PadRepair::fewest_moved); });
  pads("pads of whole cores, fewest given up",
       [](auto const& functions) { nearest_repair(functions, PadRepair::fewest_given_up); });
  const bool kept = bench::print_row(
      "clocks, one to four / trying everything",
      bench::interleaved(
          kPairs,
          [] {
            return seconds_of_small([](std::uint64_t s) { search_clocks(random_clocks::RandomClocks(s).small()); });
          },
          [] {
            return seconds_of_small([](std::uint64_t s) {
              const ClockRequest request = random_clocks::RandomClocks(s).small();
              plain_clocks::PlainClocks(request).answer();
            });
          }),
      kBar);
  return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
