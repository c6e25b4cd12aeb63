// The designer's side of remez_bench.py: reads demands, writes designs and times.
//
// remez_bench design: lines "length pass stop" in, lines "seconds ripple tap tap ..." out, an empty line where none is
// found. remez_bench filters RULES.json: designs the catalogue's filters and writes "seconds step length edge..." lines.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "fir_design.h"

namespace {

constexpr int kRepeats = 3;

// The shortest of a few times.
template <class Work>
double seconds_of(Work work) {
  double best = 1e9;
  for (int i = 0; i < kRepeats; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

void print(double seconds, fir::Design const& design) {
  std::printf("%.9g %.9g", seconds, design.ripple);
  for (double tap : design.taps) std::printf(" %.17g", tap);
  std::printf("\n");
}

}  // namespace

int main() {
  for (std::string kind; std::cin >> kind;) {
    int length = 0;
    double first = 0, second = 0;
    std::cin >> length >> first >> second;
    fir::Design design;
    try {
      // lowpass: pass edge and stop edge; nyquist: factor and edge
      const double seconds = seconds_of([&] {
        design = kind == "lowpass" ? fir::equiripple(length, {{0, first, 1}, {second, 0.5, 0}})
                                   : fir::nyquist(static_cast<int>(first), length, second);
      });
      print(seconds, design);
    } catch (std::runtime_error const& error) {
      std::printf("\n");
      std::fprintf(stderr, "%s %d %g %g: %s\n", kind.c_str(), length, first, second, error.what());
    }
  }
  return 0;
}
