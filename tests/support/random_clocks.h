// Clock requests at random.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kdi/cores/Clocks.h"

namespace random_clocks {

using namespace kdi::cores;

class RandomClocks {
 public:
  explicit RandomClocks(std::uint64_t seed) : engine_(seed) {}

  std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }
  bool one_in(std::uint64_t n) { return below(n) == 0; }
  Decimal mhz(std::int64_t least, std::int64_t most, int places) {
    std::int64_t scale = 1;
    for (int i = 0; i < places; ++i) scale *= 10;
    return Decimal::of(
        least * scale + static_cast<std::int64_t>(below(static_cast<std::uint64_t>((most - least) * scale + 1))),
        places);
  }
  template <class List>
  auto const& one_of(List const& list) {
    return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
  }

  static std::vector<int> numbers(int first, int last) {
    std::vector<int> all;
    for (int i = first; i <= last; ++i) all.push_back(i);
    return all;
  }

  /// One to four clocks over one to three PLLs that have few settings, often too few, so that trying all is quick.
  ClockRequest small() {
    ClockRequest request;
    request.references.push_back(
        {"REF", one_in(4) ? Decimal::of(33333333, 6) : mhz(10, 50, static_cast<int>(below(2)))});
    if (one_in(3)) request.references.push_back({"ALT", mhz(10, 50, 0)});
    const std::uint64_t plls = below(3) + 1;
    for (std::uint64_t p = 0; p < plls; ++p) request.plls.push_back(small_pll("P" + std::to_string(p), request));
    const std::uint64_t clocks = below(4) + 1;
    const bool alike = one_in(3);  // many ties
    for (std::uint64_t c = 0; c < clocks; ++c)
      request.clocks.push_back(small_clock("C" + std::to_string(c), request, alike));
    return request;
  }

  /// The same over two or three PLLs that have the same settings, most or all of which are taken alike.
  ClockRequest alike() {
    ClockRequest request = small();
    while (request.plls.size() < 2 + below(2)) request.plls.push_back(request.plls.front());
    for (std::size_t p = 0; p < request.plls.size(); ++p) {
      Pll pll = request.plls.front();
      pll.name = "P" + std::to_string(p);
      if (pll.crossing) pll.crossing->name = pll.name + "X";
      request.plls[p] = std::move(pll);
    }
    for (Clock& clock : request.clocks) {
      clock.sources = some_sources(request, 3);
      if (one_in(6)) continue;
      const auto takes = [&](char last) {
        return std::any_of(clock.sources.begin(), clock.sources.end(), [&](std::string const& source) {
          return source[0] == 'P' && (source.back() == 'X') == (last == 'X');
        });
      };
      std::vector<std::string> all;
      for (Pll const& pll : request.plls) {
        if (takes('P')) all.push_back(pll.name);
        if (pll.crossing && takes('X')) all.push_back(pll.crossing->name);
      }
      for (std::string const& source : clock.sources)
        if (source[0] != 'P') all.push_back(source);
      std::shuffle(all.begin(), all.end(), engine_);
      clock.sources = std::move(all);
    }
    std::shuffle(request.plls.begin(), request.plls.end(), engine_);
    return request;
  }

  /// Thirty to sixty clocks over three to six PLLs, of the size of whole processors.
  ClockRequest whole() {
    ClockRequest request;
    request.references.push_back(
        {"REF", one_in(2) ? Decimal::of(33333333, 6) : mhz(25, 60, static_cast<int>(below(4)))});
    const bool has_alternative = one_in(3);
    if (has_alternative) request.references.push_back({"ALT", mhz(25, 60, 2)});
    const std::uint64_t plls = below(4) + 3;
    for (std::uint64_t p = 0; p < plls; ++p) {
      Pll pll{"P" + std::to_string(p), {"REF"},     numbers(20, 200), {1, 2, 4, 8}, 2160, 4320,
              Decimal(1600),           std::nullopt};
      if (has_alternative) pll.references.push_back("ALT");
      if (one_in(2)) pll.output_dividers = {2, 4};
      if (one_in(4)) pll.crossing = Crossing{"X" + std::to_string(p), numbers(1, 4), std::nullopt};
      request.plls.push_back(std::move(pll));
    }
    const std::uint64_t clocks = below(31) + 30;
    const std::uint64_t manner = below(4);
    for (std::uint64_t c = 0; c < clocks; ++c)
      request.clocks.push_back(whole_clock("C" + std::to_string(c), request, manner));
    return request;
  }

 private:
  Pll small_pll(std::string const& name, ClockRequest const& request) {
    Pll pll;
    pll.name = name;
    for (ClockReference const& reference : request.references)
      if (pll.references.empty() || one_in(2)) pll.references.push_back(reference.name);
    const int first = static_cast<int>(below(12)) + 20;
    pll.feedback = numbers(first, first + static_cast<int>(below(6)));
    pll.output_dividers = one_in(2) ? std::vector<int>{2} : std::vector<int>{1, 2, 4};
    pll.vco_least = mhz(300, 700, 0);
    pll.vco_most = pll.vco_least + mhz(100, 900, 0);
    if (one_in(4)) pll.most = mhz(200, 900, 0);
    if (one_in(4)) {
      pll.crossing = Crossing{name + "X", numbers(1, 1 + static_cast<int>(below(3))), std::nullopt};
      if (one_in(3)) pll.crossing->most = mhz(100, 500, 0);
    }
    return pll;
  }

  Clock small_clock(std::string const& name, ClockRequest const& request, bool alike) {
    static constexpr int kAlike[] = {50, 100, 125, 200};
    Clock clock;
    clock.name = name;
    clock.requested = alike       ? Decimal(one_of(kAlike))
                      : one_in(6) ? mhz(1, 10, 0)
                                  : mhz(20, 400, static_cast<int>(below(3)));
    clock.sources = some_sources(request, 3);
    for (std::uint64_t stages = below(3); stages > 0; --stages) {
      const int first = one_in(4) ? 2 : 1;
      clock.stages.push_back(numbers(first, first + static_cast<int>(below(8))));
    }
    if (one_in(3)) clock.most = clock.requested + mhz(0, 30, 0);
    if (one_in(12)) clock.most = mhz(5, 60, 0);
    clock.may_exceed = !one_in(3);
    return clock;
  }

  Clock whole_clock(std::string const& name, ClockRequest const& request, std::uint64_t manner) {
    static constexpr int kUsual[] = {1200, 1000, 800, 600, 500, 400, 300, 250, 200, 150, 125, 100, 75, 50, 25, 20};
    Clock clock;
    clock.name = name;
    const bool usual = manner == 0 || (manner == 1 && !one_in(4));
    clock.requested = usual         ? Decimal(one_of(kUsual))
                      : manner == 2 ? mhz(50, 1000, 0)
                                    : mhz(10, 400, static_cast<int>(below(4)));
    clock.sources = some_sources(request, 2);
    clock.stages.push_back(one_in(3) ? numbers(1, 1023) : numbers(1, 63));
    if (one_in(4)) clock.stages.push_back(numbers(1, 63));
    if (one_in(3)) clock.most = clock.requested + mhz(0, 50, 0);
    clock.may_exceed = !one_in(3);
    return clock;
  }

  std::vector<std::string> some_sources(ClockRequest const& request, std::uint64_t more) {
    std::vector<std::string> all;
    for (Pll const& pll : request.plls) {
      all.push_back(pll.name);
      if (pll.crossing) all.push_back(pll.crossing->name);
    }
    if (one_in(4)) all.push_back(request.references.front().name);
    std::shuffle(all.begin(), all.end(), engine_);
    all.resize(std::min<std::size_t>(all.size(), below(more + 1) + (more == 2 ? 2 : 1)));
    return all;
  }

  std::mt19937_64 engine_;
};

}  // namespace random_clocks
