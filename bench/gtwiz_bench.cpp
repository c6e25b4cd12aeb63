// The transceiver wizard: a solve against testing its pairs of PLL and dividers by plain arithmetic, reading settings
// against Tcl's own walk of the dictionary, and the time that packing 16 lanes takes at worst.
#include <tcl.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/rule_engine/host/Packing.h"
#include "kdi/rule_engine/host/Rates.h"
#include "tcltasks/gtwiz/settings_maps.h"

namespace {

using namespace kdi::gt;

// The same question in doubles: each pair's feedback, rounded both ways, tested against all ranges.
double plain_error(Kind const& kind, Request const& request, double gbps, double mhz) {
  double best = 1e9;
  const int bits = request.modulation->bits;
  for (Pll const& pll : kind.plls)
    for (const int divide : pll.output_divides)
      for (std::int64_t m = pll.reference_divide.least; m <= pll.reference_divide.most; ++m) {
        const double pfd = mhz * 1e6 / static_cast<double>(m);
        if (pfd < static_cast<double>(pll.pfd.least) || pfd > static_cast<double>(pll.pfd.most)) continue;
        const double one = std::ldexp(1.0, pll.fraction_bits);
        const double ideal = gbps * 1e9 * divide / (2.0 * bits) / pfd * one;
        for (const double k : {std::floor(ideal), std::floor(ideal) + 1}) {
          const double feedback = k / one, vco = feedback * pfd, symbols = 2 * vco / divide;
          if (feedback < static_cast<double>(pll.feedback.least) || feedback > static_cast<double>(pll.feedback.most) ||
              vco < static_cast<double>(pll.vco.least) || vco > static_cast<double>(pll.vco.most) ||
              symbols < static_cast<double>(kind.divider(divide)->symbols.least) ||
              symbols > static_cast<double>(kind.divider(divide)->symbols.most))
            continue;
          best = std::min(best, std::abs(symbols * bits / (gbps * 1e9) - 1));
        }
      }
  return best;
}

bool solves() {
  struct Asked {
    std::shared_ptr<Kind const> kind;
    Request request;
    double gbps, mhz;
  };
  std::vector<Asked> all;
  std::mt19937 random(5);
  constexpr char const* kReferences[] = {"156.25", "100", "161.1328125", "148.5", "122.88", "125", "312.5", "200"};
  for (std::string const& name : kind_names())
    for (int i = 0; i < 400; ++i) {
      const auto kind = find_kind(name);
      Bounds const& band = kind->rates[random() % kind->rates.size()];
      Request request;
      const auto steps = static_cast<std::uint32_t>((band.most - band.least) / 31'250'000);
      request.gbps = *fraction(band.least + std::int64_t{31'250'000} * (random() % (steps + 1)), 1'000'000'000);
      request.reference_mhz = *read_fraction(kReferences[random() % 8]);
      request.modulation = modulation_for(*kind, request.gbps);
      if (request.modulation == nullptr) continue;
      all.push_back({kind, request, nearest_double(request.gbps), nearest_double(request.reference_mhz)});
    }
  double sum = 0;
  std::size_t answered = 0, exact = 0, disagreed = 0;
  for (Asked const& asked : all) {  // that both sides ask the same
    const Answer answer = solve(*asked.kind, asked.request);
    const double error = plain_error(*asked.kind, asked.request, asked.gbps, asked.mhz);
    exact += answer.is_exact ? 1 : 0;
    answered += answer.best ? 1 : 0;
    disagreed += answer.is_exact && error > 1e-12 ? 1 : 0;
  }
  constexpr int kTimes = 20;
  const auto result = bench::interleaved(
      21,
      [&] {
        return bench::processor_seconds_of([&] {
          for (int i = 0; i < kTimes; ++i)
            for (Asked const& asked : all) sum += solve(*asked.kind, asked.request).ppm;
        });
      },
      [&] {
        return bench::processor_seconds_of([&] {
          for (int i = 0; i < kTimes; ++i)
            for (Asked const& asked : all) sum += plain_error(*asked.kind, asked.request, asked.gbps, asked.mhz);
        });
      });
  std::printf("%zu requests, %zu with an exact setting\n", answered, exact);
  return bench::print_row("solve / its pairs by plain arithmetic", result, 3) && disagreed == 0 && sum != 1;
}

bool reads() {
  std::string text;
  for (int lane = 0; lane < 16; ++lane) {
    text += "TX" + std::to_string(lane) + " {";
    for (int rate = 0; rate < 8; ++rate)
      text +=
          "LR" + std::to_string(rate) +
          "_SETTINGS {RATE 10.3125 REFCLK 156.25 ENCODING 64B66B INT_WIDTH 32 USER_WIDTH 64 PLL any PPM 100 BUFFER 1} ";
    text += "} ";
  }
  std::size_t entries = 0;
  const auto walk = [&](auto const& self, Tcl_Obj* dict, int depth) -> void {
    Tcl_DictSearch search;
    Tcl_Obj *key = nullptr, *value = nullptr;
    int done = 0;
    if (Tcl_DictObjFirst(nullptr, dict, &search, &key, &value, &done) != TCL_OK) return;
    for (; done == 0; Tcl_DictObjNext(&search, &key, &value, &done)) {
      if (depth == 3)
        entries += static_cast<std::size_t>(Tcl_GetCharLength(value)) > 0 ? 1 : 0;
      else
        self(self, value, depth + 1);
    }
    Tcl_DictObjDone(&search);
  };
  constexpr int kTimes = 50;
  std::size_t lanes = 0;
  const auto result = bench::interleaved(
      21,
      [&] {
        return bench::processor_seconds_of([&] {
          for (int i = 0; i < kTimes; ++i) {
            GtMap3 map;
            kelvane_gtwiz_utils::gtwiz_utils::constructMultiMapFromTCLDict(text, map);
            lanes += map.size();
          }
        });
      },
      [&] {
        return bench::processor_seconds_of([&] {
          for (int i = 0; i < kTimes; ++i) {
            Tcl_Obj* const dict = Tcl_NewStringObj(text.data(), static_cast<int>(text.size()));
            Tcl_IncrRefCount(dict);
            walk(walk, dict, 1);
            Tcl_DecrRefCount(dict);
          }
        });
      });
  return bench::print_row("reading 1,024 entries of settings / Tcl's walk", result, 4) && entries % 1024 == 0 &&
         lanes % 16 == 0;
}

bool packs() {
  std::mt19937 random(7);
  constexpr char const* kRates[] = {"10.3125", "25.78125", "12.5",  "1.25", "5",        "8",
                                    "16",      "9.8304",   "6.144", "2.97", "24.33024", "20"};
  constexpr char const* kReferences[] = {"156.25", "100", "122.88", "148.5", "161.1328125", "125"};
  const auto kind = find_kind("GTYP");
  double worst = 0;
  int possible = 0;
  const int requests = bench::runs_once() ? 20 : 1000;
  for (int i = 0; i < requests; ++i) {
    std::vector<PackedLane> lanes(16);
    const unsigned rates = 1 + random() % 12, references = 1 + random() % 3;
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
      lanes[lane].name = std::to_string(lane);
      auto& needs = lanes[lane].needs.emplace_back();
      for (int direction = 0; direction < 2; ++direction) {
        Request request;
        request.gbps = *read_fraction(kRates[random() % rates]);
        request.reference_mhz = *read_fraction(kReferences[random() % references]);
        request.modulation = &kind->modulations.front();
        needs.push_back({request.reference_mhz, exact_settings(*kind, request)});
      }
    }
    const double seconds = bench::processor_seconds_of([&] { possible += pack(*kind, lanes, 16).is_possible ? 1 : 0; });
    worst = std::max(worst, seconds);
  }
  const bool kept = bench::runs_once() || worst <= 0.05;
  std::printf("packing 16 lanes, the worst of %d: %.2f ms (%d possible)  <= 50 ms %s\n", requests, worst * 1e3,
              possible, kept ? "ok" : "MISSED");
  return kept && possible > 0 && possible < requests;
}

}  // namespace

int main() {
  Tcl_FindExecutable(nullptr);
  bench::print_heading("Transceivers");
  const bool solved = solves(), read = reads(), packed = packs();
  return solved && read && packed ? 0 : 1;
}
