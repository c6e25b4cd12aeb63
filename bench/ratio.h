// Ratios of two pieces of work, measured so that they hold on a busy machine: in seconds of the processor, both sides
// in turn in one process, and the figure is the median of the ratios of the pairs.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace bench {

/// Seconds of the processor that this thread took for the work: what else the machine does has no say. All that is
/// measured here runs in one thread.
template <class Work>
double processor_seconds_of(Work&& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  const double begin = now();
  work();
  return now() - begin;
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct RatioResult {
  double first;   ///< median seconds of the first side
  double second;  ///< of the second side
  double ratio;   ///< median of the ratios of the pairs
  double noise =
      0;  ///< what the ratio may be off by, with nineteen runs of twenty within it; 0 where there are no pairs
};

/// What a median of the values may be off by: from the middle half of them, as of a normal distribution.
inline double noise_of(std::vector<double> values) {
  if (values.size() < 4) return 0;
  std::sort(values.begin(), values.end());
  const double middle_half = values[values.size() * 3 / 4] - values[values.size() / 4];
  return 1.8 * middle_half / std::sqrt(static_cast<double>(values.size()));
}

/// Each side runs once, and no bar counts: IPTASKS_BENCH_ONCE in the environment asks what the sides compute, not how
/// fast.
inline bool runs_once() { return std::getenv("IPTASKS_BENCH_ONCE") != nullptr; }

/// Runs `first` and `second` in turn, `pairs` times after one warm-up of each. Each returns the seconds it took.
template <class First, class Second>
RatioResult interleaved(int pairs, First first, Second second) {
  if (runs_once()) {
    const double first_seconds = first(), second_seconds = second();
    return {first_seconds, second_seconds, first_seconds / second_seconds};
  }
  first();
  second();
  std::vector<double> firsts, seconds, ratios;
  for (int i = 0; i < pairs; ++i) {
    firsts.push_back(first());
    seconds.push_back(second());
    ratios.push_back(firsts.back() / seconds.back());
  }
  return {median(firsts), median(seconds), median(ratios), noise_of(ratios)};
}

/// Prints one row of the table and returns whether the ratio keeps its bar. A bar that the ratio is nearer to than its
/// noise is told as such: whether it is kept is a matter of chance, and it should be elsewhere.
inline bool print_row(char const* name, RatioResult const& result, double bar) {
  const bool is_close = result.noise > 0 && std::fabs(result.ratio - bar) < result.noise;
  const bool kept = runs_once() || result.ratio <= bar || is_close;
  char noise[32] = "";
  if (result.noise > 0) std::snprintf(noise, sizeof noise, "+-%.3f", result.noise);
  std::printf("%-58s %10.3f ms %10.3f ms %8.3f %-8s <= %-5.2f %s\n", name, result.first * 1e3, result.second * 1e3,
              result.ratio, noise, bar,
              runs_once() ? "not asked"
              : is_close  ? "CLOSE: the bar is within the noise"
              : kept      ? "ok"
                          : "MISSED");
  return kept;
}

/// Seconds of the processor for a fixed piece of work that is no part of the project, sorting a million numbers: what
/// bars on times are told by, so that they are the same on any machine.
inline double yardstick_seconds() {
  constexpr std::size_t kNumbers = 1000000;
  std::vector<double> times;
  for (int i = 0; i < (runs_once() ? 1 : 5); ++i) {
    std::vector<unsigned> numbers(kNumbers);
    unsigned last = 1;
    for (unsigned& number : numbers) number = last = last * 1664525U + 1013904223U;
    times.push_back(processor_seconds_of([&] { std::sort(numbers.begin(), numbers.end()); }));
    if (numbers.front() > numbers.back()) std::abort();
  }
  return median(times);
}

/// A row of a time that has no peer, against `yardstick`; the bar is in yardsticks.
inline bool print_time(char const* name, double seconds, double yardstick, double bar) {
  return print_row(name, {seconds, yardstick, seconds / yardstick}, bar);
}

inline void print_heading(char const* title) {
  std::printf("\n%s\n%-58s %13s %13s %8s %-8s %s\n", title, "", "first", "second", "ratio", "noise", "bar");
}

}  // namespace bench
