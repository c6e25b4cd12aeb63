#include "kdi/rule_engine/rule_engine_utilities.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/rule_engine/host/Rates.h"
#include "platform/rule_engine/texts.h"

namespace kelvane_gtwiz {
namespace {

using kdi::gt::Fraction;
using kdi::gt::Kind;
using kdi::gt::refuse;

constexpr char const* kDefaultKind = "GTYP";
constexpr char const* kDefaultKindOfLatest = "GTM";

Fraction positive(double number, char const* what) {
  const auto value = kdi::gt::shortest_fraction(number);
  if (!value) refuse(std::string(what) + " " + kdi::number::shortest(number) + " is outside 0.001 to 1000000");
  return *value;
}

std::shared_ptr<Kind const> kind_of(std::string const& name) { return kdi::gt::required_kind(name, {}); }

bool is_any(std::string const& word) { return word.empty() || kdi::text::same_but_case(word, "any"); }

kdi::gt::Modulation const* modulation_of(Kind const& kind, std::string const& name, Fraction const& gbps) {
  if (is_any(name)) {
    kdi::gt::Modulation const* const fitting = kdi::gt::modulation_for(kind, gbps);
    return fitting == nullptr ? &kind.modulations.front() : fitting;
  }
  if (auto const* const modulation = kind.modulation(name)) return modulation;
  refuse("the modulation " + kdi::text::shown(name) + " is none of " + kind.name + ": " +
         kdi::gt::names_of(kind.modulations));
}

int pll_of(Kind const& kind, std::string const& name) {
  if (is_any(name)) return -1;
  const int index = kind.pll_index(name);
  if (index < 0)
    refuse("the PLL " + kdi::text::shown(name) + " is none of " + kind.name + ": " + kdi::gt::names_of(kind.plls));
  return index;
}

int width_of(Kind const& kind, std::string const& word) {
  if (is_any(word) || word == "0") return 0;
  const auto width = kdi::number::whole<int>(word);
  for (kdi::gt::Widths const& widths : kind.widths)
    if (width == widths.internal) return *width;
  std::set<int> widths;
  for (kdi::gt::Widths const& one : kind.widths) widths.insert(one.internal);
  std::vector<std::string> known;
  for (const int one : widths) known.push_back(std::to_string(one));
  refuse("the internal width " + kdi::text::shown(word) + " is none of " + kind.name + ": " +
         kdi::text::joined(known, ", "));
}

std::string source_of(Kind const& kind, std::string const& word, bool is_tx) {
  if (is_any(word)) return {};
  std::vector<std::string> known;
  for (kdi::gt::OutputClock const& clock : kind.clocks)
    if (is_tx ? clock.is_tx : clock.is_rx) known.push_back(clock.name);
  if (std::find(known.begin(), known.end(), word) != known.end()) return word;
  refuse("the output clock source " + kdi::text::shown(word) + " is none of " + kind.name + ": " +
         kdi::text::joined(known, ", "));
}

int halves_of(Kind const& kind, float divider) {
  if (divider == 0) return 0;
  const double halves = 2.0 * static_cast<double>(divider);
  if (!(halves >= static_cast<double>(kind.programmable_halves.least) &&
        halves <= static_cast<double>(kind.programmable_halves.most)) ||
      halves != std::floor(halves))
    refuse("the programmable divider " + kdi::number::shortest(static_cast<double>(divider)) + " is none of " +
           kind.name + ": halves from " + kdi::number::plain(static_cast<double>(kind.programmable_halves.least) / 2) +
           " to " + kdi::number::plain(static_cast<double>(kind.programmable_halves.most) / 2));
  return static_cast<int>(halves);
}

std::set<double> doubles_of(std::vector<Fraction> const& clocks) {
  std::set<double> all;
  for (Fraction const& clock : clocks) all.insert(kdi::gt::nearest_double(clock));
  return all;
}

double actual_reference(char const* kind_name, double gbps, double wanted_mhz, std::string const& numerator,
                        bool any_numerator) {
  const auto kind = kind_of(kind_name);
  const Fraction rate = positive(gbps, "the line rate"), wanted = positive(wanted_mhz, "the reference clock");
  std::optional<std::int64_t> fixed;
  if (!any_numerator) {
    fixed = numerator.empty() ? 0 : kdi::number::whole<std::int64_t>(numerator);
    if (!fixed || *fixed < 0 || *fixed >= 1 << 24)
      refuse("the numerator " + kdi::text::shown(numerator) + " is no integer from 0 to 16777215");
  }
  auto const* const modulation = kdi::gt::modulation_for(*kind, rate);
  if (modulation == nullptr)
    refuse(kind->name + " " + kind->grade + " has no band with " + kdi::gt::exact_text(rate) + " Gb/s");
  const auto found = kdi::gt::actual_reference(*kind, rate, modulation->bits, wanted, fixed);
  if (!found)
    refuse("no reference clock of " + kind->name + " " + kind->grade + " gives " + kdi::gt::exact_text(rate) +
           " Gb/s with that numerator");
  return kdi::gt::nearest_double(found->mhz);
}

}  // namespace

std::set<double> rule_engine_utilities::findTXOUTCLKlist(double gbps, double reference_mhz, std::string const& kind,
                                                         std::string const& modulation, std::string const& pll,
                                                         float divider, std::string const& width,
                                                         std::string const& source) {
  return kdi::gt::answered([&] {
    const auto rules = kind_of(kind);
    kdi::gt::ClockRequest request;
    request.gbps = positive(gbps, "the line rate");
    request.reference_mhz = positive(reference_mhz, "the reference clock");
    request.modulation = modulation_of(*rules, modulation, request.gbps);
    request.pll = pll_of(*rules, pll);
    request.divide_halves = halves_of(*rules, divider);
    request.internal_width = width_of(*rules, width);
    request.source = source_of(*rules, source, true);
    return doubles_of(kdi::gt::output_clocks(*rules, request));
  });
}

std::set<double> rule_engine_utilities::findRXOUTCLKlist(double gbps, std::string const& kind, float divider,
                                                         std::string const& width, std::string const& source) {
  return kdi::gt::answered([&] {
    const auto rules = kind_of(kind);
    kdi::gt::ClockRequest request;
    request.gbps = positive(gbps, "the line rate");
    request.divide_halves = halves_of(*rules, divider);
    request.internal_width = width_of(*rules, width);
    request.source = source_of(*rules, source, false);
    std::set<double> all;
    if (!kdi::gt::has_rate(*rules, request.gbps)) return all;
    for (kdi::gt::Modulation const& modulation : rules->modulations) {  // the data may come in any of them
      if (!kdi::gt::has_symbols(modulation, request.gbps)) continue;
      request.modulation = &modulation;
      all.merge(doubles_of(kdi::gt::output_clocks(*rules, request)));
    }
    return all;
  });
}

bool rule_engine_utilities::fracNEnable(double gbps, double reference_mhz, std::string const& kind) {
  return kdi::gt::answered([&] {
    const auto rules = kind_of(kind);
    kdi::gt::Request request;
    request.gbps = positive(gbps, "the line rate");
    request.reference_mhz = positive(reference_mhz, "the reference clock");
    request.modulation = modulation_of(*rules, {}, request.gbps);
    const auto settings = kdi::gt::exact_settings(*rules, request);
    return !settings.empty() && settings.front().numerator != 0;  // those without a fraction come first
  });
}

double rule_engine_utilities::calculateActualRefclk(double gbps, double wanted_mhz, std::string const& numerator,
                                                    bool any_numerator) {
  return kdi::gt::answered([&] { return actual_reference(kDefaultKind, gbps, wanted_mhz, numerator, any_numerator); });
}

double rule_engine_utilities::calculateActualRefclk_GTME5(double gbps, double wanted_mhz, std::string const& numerator,
                                                          bool any_numerator) {
  return kdi::gt::answered(
      [&] { return actual_reference(kDefaultKindOfLatest, gbps, wanted_mhz, numerator, any_numerator); });
}

}  // namespace kelvane_gtwiz
