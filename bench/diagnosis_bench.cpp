// How long it takes to say why clocks cannot be made: the worst of 10,000 random requests without a solution, over the
// clock primitives of all shipped devices.
//
//   diagnosis_bench ?REQUESTS?
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/device/host/PartCatalogue.h"
#include "platform/ip/clock_faces/part_primitives.h"
#include "platform/ip/clocking/solver.h"
#include "tests/support/clock_requests.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::clocking;
using test_support::between;
using test_support::Random;

constexpr double kBar = 2;  // yardsticks of 54 ms where this was written

struct Candidate {
  std::string name;
  Primitive primitive;
  Primitive fine;  // with fine phase shift
};

// Every clock primitive of the first part of each device.
std::vector<Candidate> candidates(kdi::device::PartCatalogue& catalogue) {
  std::vector<Candidate> all;
  for (std::string const& device : catalogue.devices()) {
    const std::vector<std::string> names = catalogue.parts(device);
    if (names.empty()) continue;
    kdi::device::Part const& part = catalogue.part(names.front())->values();
    for (auto const& data : part.speed->clock_primitives)
      all.push_back(
          {part.name + " " + data.name, solver_primitive(part, data, false), solver_primitive(part, data, true)});
  }
  return all;
}

std::int64_t random_hz(Random& random, int low_mhz, int high_mhz) {
  return random.one_in(2) ? between(random, low_mhz, high_mhz) * 1000000
                          : between(random, low_mhz * 1000000, high_mhz * 1000000);
}

OutputRequest random_output(Random& random) {
  OutputRequest output;
  output.frequency_hz = random_hz(random, random.one_in(6) ? 1 : 8, random.one_in(8) ? 1200 : 500);
  if (random.one_in(3)) output.phase_deg = Rational(between(random, -3600, 3600), 10);
  if (random.one_in(6)) output.duty = Rational(between(random, 1, 99), 100);
  return output;
}

Request random_question(Random& random, Primitive const& primitive) {
  Request request;
  request.input_hz = random_hz(random, random.one_in(4) ? 1 : 10, random.one_in(4) ? 1200 : 500);
  if (random.one_in(8)) request.second_input_hz = random_hz(random, 10, 500);
  const std::size_t most = std::min<std::size_t>(primitive.outputs.size(), 7);
  const std::size_t count = 1 + random.below(static_cast<unsigned>(most));
  for (std::size_t i = 0; i < count; ++i) request.outputs.push_back(random_output(random));
  if (!primitive.high_speed_modes.empty() && random.one_in(3)) request.high_speed_hz = random_hz(random, 100, 4000);
  request.bandwidth = random.one_in(4) ? Bandwidth::low : Bandwidth::optimized;
  request.whole_counters = random.one_in(8);
  if (!primitive.spread_modes.empty() && random.one_in(8))
    request.spread = {primitive.spread_modes.front().name, Rational(between(random, 30000, 240000))};
  const auto tolerance = [&random](std::int64_t most_ppm) {
    return random.one_in(3) ? Rational(0) : Rational(between(random, 0, most_ppm), 1000000);
  };
  if (!random.one_in(4)) request.tolerance = tolerance(1000);
  if (random.one_in(3)) request.phase_tolerance = tolerance(50000);
  if (random.one_in(6)) request.duty_tolerance = tolerance(50000);
  return request;
}

std::string told(Request const& request) {
  std::string text = "input " + mhz_text(request.input_hz);
  if (request.second_input_hz) text += " second_input " + mhz_text(*request.second_input_hz);
  text += " outputs {";
  for (auto const& output : request.outputs)
    text += " " + mhz_text(output.frequency_hz) + "@" + output.phase_deg.text() + "/" + output.duty.text();
  text += " }";
  if (request.high_speed_hz) text += " phy " + mhz_text(*request.high_speed_hz);
  if (request.whole_counters) text += " whole";
  if (request.fine_phase) text += " fine";
  if (request.bandwidth == Bandwidth::low) text += " LOW";
  if (request.spread) text += " spread " + request.spread->modulation_hz.text();
  if (request.tolerance) text += " tolerance " + (*request.tolerance * 1000000).text();
  if (request.phase_tolerance) text += " phase_tolerance " + (*request.phase_tolerance * 360).text();
  if (request.duty_tolerance) text += " duty_tolerance " + (*request.duty_tolerance * 100).text();
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t wanted = argc > 1 ? std::stoul(argv[1]) : bench::runs_once() ? 50 : 10000;
  kdi::device::PartCatalogue catalogue(std::vector<std::string>{places::data("devices")});
  const std::vector<Candidate> all = candidates(catalogue);
  Random random(17);
  std::vector<double> seconds;
  double worst = 0;
  std::string worst_told;
  for (std::size_t i = 0; seconds.size() < wanted; ++i) {
    Candidate const& one = all[i % all.size()];
    const bool is_fine = one.primitive.fine_phase_steps > 0 && random.one_in(4);
    Primitive const& primitive = is_fine ? one.fine : one.primitive;
    Request request = random_question(random, primitive);
    request.fine_phase = is_fine;
    Result result;
    const double taken = bench::processor_seconds_of([&] { result = solve(primitive, request); });
    if (result.solution || !result.diagnosis) continue;
    seconds.push_back(taken);
    if (taken <= worst) continue;
    worst = taken;
    worst_told = one.name + ": " + told(request);
    if (std::getenv("DIAGNOSIS_BENCH_TELLS") != nullptr) std::printf("%8.1f ms %s\n", worst * 1e3, worst_told.c_str());
  }
  std::sort(seconds.begin(), seconds.end());
  std::printf("\nWhy clocks cannot be made, %zu random requests without a solution\n", wanted);
  std::printf("median %.3f ms, one in a hundred above %.1f ms, one in a thousand above %.1f ms\n",
              bench::median(seconds) * 1e3, seconds[seconds.size() - 1 - seconds.size() / 100] * 1e3,
              seconds[seconds.size() - 1 - seconds.size() / 1000] * 1e3);
  std::printf("the worst: %s\n", worst_told.c_str());
  return bench::print_time("the worst / sorting a million numbers", worst, bench::yardstick_seconds(), kBar) ? 0 : 1;
}
