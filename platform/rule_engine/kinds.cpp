#include "kdi/rule_engine/host/Kinds.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJsonLists.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/Device.h"

namespace kdi::gt {
namespace {

constexpr std::int64_t kMega = 1'000'000, kGiga = 1'000'000'000;
constexpr int kMostCount = 100'000;
constexpr std::int64_t kMostOfAList = 64;

template <class All>
auto const* named(All const& all, std::string_view name) {
  const auto found = std::find_if(all.begin(), all.end(), [&](auto const& one) { return one.name == name; });
  return found == all.end() ? nullptr : &*found;
}

// A quantity as a whole number of Hz, bit/s or symbols/s.
std::int64_t scaled(double value, std::int64_t unit) { return std::llround(value * static_cast<double>(unit)); }
std::int64_t quantity(JsonValue value, std::int64_t unit) {
  const double given = value.number(1e-6, 1e4);
  const std::int64_t whole = scaled(given, unit);
  if (whole < 1 || std::abs(static_cast<double>(whole) / static_cast<double>(unit) - given) > given * 1e-12)
    value.refuse("a number of whole Hz");
  return whole;
}

Bounds bounds(JsonValue list, std::int64_t unit) {
  const auto [least, most] = ends(list, [unit](JsonValue value) { return quantity(value, unit); });
  return {least, most};
}
Bounds counts(JsonValue list, std::int64_t most_of_all) {
  const auto [least, most] = ends(list, [most_of_all](JsonValue value) { return value.integer(1, most_of_all); });
  return {least, most};
}

// The objects of a list, each with a name that no other has where `names` is given.
template <class Read>
void each(JsonValue list, std::initializer_list<std::string_view> fields, Read read) {
  if (list.items().empty() || static_cast<std::int64_t>(list.items().size()) > kMostOfAList)
    list.refuse("1 to 64 entries");
  for (const JsonValue one : list.items()) {
    one.allow_only(fields);
    read(one);
  }
}
std::string name_at(JsonValue value) {
  if (value.text().empty() || value.text().size() > 64) value.refuse("a name of at most 64 bytes");
  return std::string(value.text());
}
template <class All>
std::string new_name(JsonValue one, All const& all) {
  std::string name = name_at(one.member("name"));
  if (named(all, name) != nullptr) one.member("name").refuse("a new name");
  return name;
}

Pll read_pll(JsonValue value, std::vector<Pll> const& before, int channels) {
  Pll pll;
  pll.name = new_name(value, before);
  pll.is_shared = value.member("shared").boolean();
  pll.feedback = counts(value.member("feedback"), kMostCount);
  pll.reference_divide = counts(value.member("reference_divide"), 64);
  pll.output_divides = ascending(value.member("output_divides"), 1024);
  pll.fraction_bits = whole(value.member("fraction_bits"), 0, 24);
  for (const JsonValue channel : value.member("channels").items())
    pll.channels |= 1U << whole(channel, 0, channels - 1);
  if (pll.channels == 0) value.member("channels").refuse("a channel at least");
  return pll;
}

void read_clock(JsonValue value, Kind& kind) {
  OutputClock clock;
  clock.name = name_at(value.member("name"));
  for (const JsonValue direction : value.member("directions").items())
    (direction.choice({"TX", "RX"}) == 0 ? clock.is_tx : clock.is_rx) = true;
  clock.from = static_cast<OutputClock::From>(value.member("from").choice({"rate", "reference", "vco", "symbols"}));
  clock.by = static_cast<OutputClock::By>(value.member("by").choice({"none", "internal_width", "programmable"}));
  if (const auto by = value.find("and_by")) clock.and_by = whole(*by, 1, 1024);
  const bool is_transmitters = clock.from == OutputClock::From::reference || clock.from == OutputClock::From::vco;
  if (clock.is_rx && is_transmitters) value.member("from").refuse("what a receiver has: rate or symbols");
  kind.clocks.push_back(std::move(clock));
}

void read_widths(JsonValue value, Kind& kind) {
  Widths widths;
  Encoding const* const encoding = kind.encoding(value.member("encoding").text());
  if (encoding == nullptr) value.member("encoding").refuse("the name of an encoding");
  widths.encoding = static_cast<int>(encoding - kind.encodings.data());
  widths.internal = whole(value.member("internal"), 1, 4096);
  widths.user = ascending(value.member("user"), 4096);
  kind.widths.push_back(std::move(widths));
}

Kind read_common(JsonValue root) {
  root.allow_only({"format", "kind", "description", "channels_per_quad", "reference_inputs", "reference_reach_quads",
                   "fabric_entries_max", "modulations", "plls", "output_dividers", "encodings", "widths",
                   "output_clocks", "programmable_divide_halves", "grades"});
  root.member("format").integer(1, 1);
  Kind kind;
  kind.name = name_at(root.member("kind"));
  kind.description = root.member("description").text();
  kind.channels = whole(root.member("channels_per_quad"), 1, 8);
  kind.reference_inputs = whole(root.member("reference_inputs"), 1, 8);
  kind.reference_reach = whole(root.member("reference_reach_quads"), 0, 16);
  kind.fabric_entries = whole(root.member("fabric_entries_max"), 0, kMostCount);
  each(root.member("modulations"), {"name", "bits_per_symbol", "symbol_gbd"}, [&](JsonValue one) {
    std::string name = new_name(one, kind.modulations);
    kind.modulations.push_back(
        {std::move(name), whole(one.member("bits_per_symbol"), 1, 8), bounds(one.member("symbol_gbd"), kGiga)});
  });
  each(root.member("plls"),
       {"name", "shared", "feedback", "reference_divide", "output_divides", "fraction_bits", "channels"},
       [&](JsonValue one) { kind.plls.push_back(read_pll(one, kind.plls, kind.channels)); });
  each(root.member("output_dividers"), {"divide", "symbol_gbd"}, [&](JsonValue one) {
    kind.dividers.push_back({whole(one.member("divide"), 1, 1024), bounds(one.member("symbol_gbd"), kGiga)});
  });
  for (Pll const& pll : kind.plls)
    for (const int divide : pll.output_divides)
      if (kind.divider(divide) == nullptr)
        root.member("output_dividers").refuse("the divider " + std::to_string(divide) + " of " + pll.name);
  each(root.member("encodings"), {"name", "payload"}, [&](JsonValue one) {
    std::string name = new_name(one, kind.encodings);
    const Bounds payload = counts(one.member("payload"), 4096);
    kind.encodings.push_back({std::move(name), static_cast<int>(payload.least), static_cast<int>(payload.most)});
  });
  each(root.member("widths"), {"encoding", "internal", "user"}, [&](JsonValue one) { read_widths(one, kind); });
  each(root.member("output_clocks"), {"name", "directions", "from", "by", "and_by"},
       [&](JsonValue one) { read_clock(one, kind); });
  kind.programmable_halves = counts(root.member("programmable_divide_halves"), 4096);
  return kind;
}

void read_grade(JsonValue value, Kind& kind) {
  kind.grade = name_at(value.member("name"));
  for (const JsonValue band : value.member("line_rate_gbps").items()) {
    kind.rates.push_back(bounds(band, kGiga));
    if (kind.rates.size() > 1 && kind.rates[kind.rates.size() - 2].most >= kind.rates.back().least)
      band.refuse("line rates above those before");
  }
  if (kind.rates.empty()) value.member("line_rate_gbps").refuse("at least one range");
  kind.reference = bounds(value.member("reference_mhz"), kMega);
  const JsonValue vco = value.member("vco_ghz"), pfd = value.member("pfd_mhz");
  for (Pll& pll : kind.plls) {
    pll.vco = bounds(vco.member(pll.name), kGiga);
    pll.pfd = bounds(pfd.member(pll.name), kMega);
  }
  for (const JsonValue object : {vco, pfd})
    for (const JsonValue one : object.members())
      if (kind.pll_index(one.name()) < 0) one.refuse("the name of one of the PLLs");
  kind.user_clock_most = quantity(value.member("user_clock_max_mhz"), kMega);
  kind.output_clock_most = quantity(value.member("output_clock_max_mhz"), kMega);
}

std::vector<Kind> read_kinds(JsonFile const& file) {
  const Kind common = read_common(file.root());
  std::vector<Kind> grades;
  each(file.root().member("grades"),
       {"name", "line_rate_gbps", "reference_mhz", "vco_ghz", "pfd_mhz", "user_clock_max_mhz", "output_clock_max_mhz"},
       [&](JsonValue one) {
         for (Kind const& before : grades)
           if (before.grade == one.member("name").text()) one.member("name").refuse("a new name");
         read_grade(one, grades.emplace_back(common));
       });
  return grades;
}

// ------------------------------------------------------------------------------------------------------------- store

using Kinds = std::map<std::string, std::vector<std::shared_ptr<Kind const>>>;

Kinds read_all() {
  Kinds all;
  for (std::string const& root : data_directories("transceivers"))
    for (std::string const& file : list_directory(root, ".json")) {
      const std::string name = file.substr(0, file.size() - 5);
      if (kdi::text::is_lower(name.front()) || all.contains(name)) continue;  // protocols and registers
      std::vector<std::shared_ptr<Kind const>> grades;
      for (Kind& kind : read_kinds(JsonFile(root + "/" + file))) {
        if (kind.name != name) throw JsonError(root + "/" + file + ": the kind is " + kdi::text::shown(kind.name));
        grades.push_back(std::make_shared<Kind const>(std::move(kind)));
      }
      all.emplace(name, std::move(grades));
    }
  return all;
}

Kinds const& kinds() {
  static std::mutex mutex;
  static auto* const known = new std::optional<Kinds>;  // never destroyed: asked while the process ends
  const std::lock_guard lock(mutex);
  if (!*known) *known = read_all();  // read again after a fault
  return **known;
}

Bounds hertz(device::Range range, std::int64_t unit) { return {scaled(range.min, unit), scaled(range.max, unit)}; }

// What a device says itself goes before what is said of the kind.
void take_over(device::Transceiver const& own, Kind& kind) {
  kind.channels = own.channels_per_quad;
  kind.reference = hertz(own.reference_mhz, kMega);
  kind.rates.clear();
  for (device::Range const& band : own.line_rate_gbps) kind.rates.push_back(hertz(band, kGiga));
  for (Pll& pll : kind.plls) {
    device::TransceiverPll const* const its = named(own.plls, pll.name);
    if (its == nullptr) continue;
    pll.vco = hertz(its->vco_ghz, kGiga);
    pll.is_shared = its->shared;
    pll.feedback = {std::llround(its->feedback.min), std::llround(its->feedback.max)};
    pll.reference_divide = {std::llround(its->reference_divide.min), std::llround(its->reference_divide.max)};
    pll.fraction_bits = std::min(its->fraction_bits, 24);
    pll.output_divides = its->output_divides;
    std::erase_if(pll.output_divides, [&](int divide) { return kind.divider(divide) == nullptr; });
  }
  std::erase_if(kind.plls, [&](Pll const& pll) { return named(own.plls, pll.name) == nullptr; });
}

}  // namespace

Modulation const* Kind::modulation(std::string_view name_of_it) const { return named(modulations, name_of_it); }
Encoding const* Kind::encoding(std::string_view name_of_it) const { return named(encodings, name_of_it); }
OutputDivider const* Kind::divider(int divide) const {
  for (OutputDivider const& divider : dividers)
    if (divider.divide == divide) return &divider;
  return nullptr;
}
int Kind::pll_index(std::string_view name_of_it) const {
  Pll const* const pll = named(plls, name_of_it);
  return pll == nullptr ? -1 : static_cast<int>(pll - plls.data());
}

std::vector<std::string> kind_names() {
  std::vector<std::string> names;
  for (auto const& [name, grades] : kinds()) names.push_back(name);
  return names;
}

std::vector<std::string> grade_names(std::string const& kind) {
  std::vector<std::string> names;
  const auto found = kinds().find(kind);
  if (found != kinds().end())
    for (auto const& grade : found->second) names.push_back(grade->grade);
  return names;
}

std::shared_ptr<Kind const> find_kind(std::string const& kind, std::string const& grade) {
  const auto found = kinds().find(kind);
  if (found == kinds().end()) return nullptr;
  if (grade.empty()) return found->second.back();
  for (auto const& one : found->second)
    if (one->grade == grade) return one;
  return nullptr;
}

std::shared_ptr<Kind const> find_kind(std::string const& kind, device::Part const& part) {
  device::Transceiver const* const own = part.transceiver(kind);
  if (own == nullptr) return nullptr;
  auto known = find_kind(kind, part.speed->name);
  if (!known) known = find_kind(kind);
  if (!known) return nullptr;
  auto mine = std::make_shared<Kind>(*known);
  take_over(*own, *mine);
  return mine;
}

std::vector<Kind> read_kinds(std::string_view text, std::string const& name) {
  return read_kinds(JsonFile(text, name));
}

std::vector<Protocol> protocols() {
  std::vector<Protocol> all;
  for (std::string const& root : data_directories("transceivers")) {
    const std::string path = root + "/protocols.json";
    if (!is_file(path)) continue;
    const JsonFile file(path);
    file.root().allow_only({"format", "protocols"});
    file.root().member("format").integer(1, 1);
    for (const JsonValue one : file.root().member("protocols").items()) {
      one.allow_only({"name", "source", "rate_gbps", "reference_mhz", "modulation", "encoding", "ppm"});
      Protocol protocol{std::string(one.member("name").text()),       std::string(one.member("source").text()),
                        std::string(one.member("rate_gbps").text()),  std::string(one.member("reference_mhz").text()),
                        std::string(one.member("modulation").text()), std::string(one.member("encoding").text()),
                        whole(one.member("ppm"), 0, 10'000)};
      if (protocol.source.empty()) one.member("source").refuse("the standard that the figures are from");
      if (named(all, protocol.name) == nullptr) all.push_back(std::move(protocol));
    }
  }
  return all;
}

std::vector<std::string> stock_oscillators() {
  std::vector<std::string> all;
  for (std::string const& root : data_directories("transceivers")) {
    const std::string path = root + "/oscillators.json";
    if (!all.empty() || !is_file(path)) continue;
    const JsonFile file(path);
    file.root().allow_only({"format", "mhz"});
    file.root().member("format").integer(1, 1);
    for (const JsonValue one : file.root().member("mhz").items()) all.emplace_back(one.text());
  }
  return all;
}

}  // namespace kdi::gt
