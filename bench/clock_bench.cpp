// The clock synthesis solver against exhaustive enumeration: the same answers, at what part of the work.
#include <cstdio>
#include <cstdlib>

#include "bench/ratio.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_exhaustive.h"
#include "tests/support/clock_primitives.h"
#include "tests/support/clock_requests.h"

namespace {

constexpr int kRepeats = 5;  // of the solver, which is too fast to be timed once

using namespace kdi::clocking;
using test_support::exhaustive::Enumeration;

// False if a bar was not kept.
bool measure(char const* heading, Primitive const& primitive, std::size_t requests) {
  test_support::Random random(11);
  double solver_seconds = 0, exhaustive_seconds = 0;
  std::vector<double> ratios;
  while (ratios.size() < requests) {
    Request request = test_support::random_request(random, primitive, 1 + ratios.size() % 7);
    request.tolerance.reset();
    request.phase_tolerance.reset();
    request.duty_tolerance.reset();
    // A request that has no solution is diagnosed, which enumeration has no counterpart to.
    if (!solve(primitive, request).solution) continue;
    const double fast = bench::processor_seconds_of([&] {
                          for (int i = 0; i < kRepeats; ++i)
                            if (!solve(primitive, request).solution) std::abort();
                        }) /
                        kRepeats;
    const double slow = bench::processor_seconds_of([&] {
      if (!Enumeration(primitive, request).best()) std::abort();
    });
    solver_seconds += fast;
    exhaustive_seconds += slow;
    ratios.push_back(fast / slow);
  }
  bench::print_heading(heading);
  const auto count = static_cast<double>(requests);
  bool kept = bench::print_row("solver / exhaustive enumeration, all requests together (ratio x 1000)",
                               {solver_seconds, exhaustive_seconds, 1000 * solver_seconds / exhaustive_seconds}, 5);
  kept &= bench::print_row("solver / exhaustive enumeration, the median request (ratio x 1000)",
                           {solver_seconds / count, exhaustive_seconds / count, 1000 * bench::median(ratios)}, 10);
  return kept;
}

}  // namespace

int main() {
  const bool kept =
      measure("Clock synthesis, 200 random requests of one to seven outputs", test_support::large_primitive(), 200);
  Primitive fine = test_support::large_primitive();
  fine.multiplier.fraction = 64;
  return measure("The same with M in sixty-fourths, 21 requests", fine, 21) && kept ? 0 : 1;
}
