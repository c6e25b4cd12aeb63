// Ratios of two pieces of work, measured so that they hold on a busy machine: both sides run in turn in one process,
// and the figure is the median of the ratios of the pairs.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace bench {

template <class Work>
double seconds_of(Work&& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The same in seconds of the processor that this thread took: what else the machine does has no say.
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
};

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
  return {median(firsts), median(seconds), median(ratios)};
}

/// Prints one row of the table and returns whether the ratio keeps its bar.
inline bool print_row(char const* name, RatioResult const& result, double bar) {
  const bool kept = runs_once() || result.ratio <= bar;
  std::printf("%-58s %10.3f ms %10.3f ms %8.3f   <= %-5.2f %s\n", name, result.first * 1e3, result.second * 1e3,
              result.ratio, bar,
              runs_once() ? "not asked"
              : kept      ? "ok"
                          : "MISSED");
  return kept;
}

inline void print_heading(char const* title) {
  std::printf("\n%s\n%-58s %13s %13s %8s   %s\n", title, "", "first", "second", "ratio", "bar");
}

}  // namespace bench
