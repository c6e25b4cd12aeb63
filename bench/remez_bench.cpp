// The designer's side of remez_bench.py: reads low-pass demands "length pass stop" and writes "seconds ripple tap tap
// ..." for each, or an empty line where no design is found.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "bench/ratio.h"
#include "tools/ducddc/fir_design.h"

namespace {

constexpr int kRepeats = 3;

// The shortest of a few times.
template <class Work>
double seconds_of(Work work) {
  double best = 1e9;
  for (int i = 0; i < kRepeats; ++i) best = std::min(best, bench::processor_seconds_of(work));
  return best;
}

void print(double seconds, fir::Design const& design) {
  std::printf("%.9g %.9g", seconds, design.ripple);
  for (double tap : design.taps) std::printf(" %.17g", tap);
  std::printf("\n");
}

}  // namespace

int main() {
  int length = 0;
  double pass = 0, stop = 0;
  while (std::cin >> length >> pass >> stop) {
    fir::Design design;
    try {
      const double seconds = seconds_of([&] { design = fir::equiripple(length, {{0, pass, 1}, {stop, 0.5, 0}}); });
      print(seconds, design);
    } catch (std::runtime_error const& error) {
      std::printf("\n");
      std::fprintf(stderr, "%d %g %g: %s\n", length, pass, stop, error.what());
    }
  }
  return 0;
}
