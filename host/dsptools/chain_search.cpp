#include "host/dsptools/chain_search.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNamedWords.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"

namespace dsptools {
namespace {

struct Refusals {
  [[noreturn]] static void refuse(kdi::WordFault, std::string const& text) { throw std::invalid_argument(text); }
};
using Words = kdi::NamedWords<Refusals>;

// ------------------------------------------------------------------------------------------------ what a name says

constexpr double kMegahertz = 1e-6;

// What the numbers of a name stand for, by the rules from which the catalogue is made.
struct Meanings {
  std::map<int, double> bandwidths, rates;  // MHz
};

Meanings read_meanings() {
  const std::vector<std::string> folders = kdi::data_directories("ducddc");
  if (folders.empty()) throw kdi::FileError("no data directory has a folder ducddc");
  const kdi::JsonFile file(folders.front() + "/rules.json");
  Meanings meanings;
  const auto read = [&](std::map<int, double>& values, char const* list, char const* number, char const* hertz) {
    for (const kdi::JsonValue row : file.root().member(list).items())
      values[static_cast<int>(row.member(number).integer(0, 1000))] =
          static_cast<double>(row.member(hertz).integer(1)) * kMegahertz;
  };
  read(meanings.bandwidths, "channels", "chbw", "width_hz");
  read(meanings.rates, "rf", "frf", "rate_hz");
  return meanings;
}

// The number behind a piece of a name: 4 behind `C` in ddc_chbw10_C4_pb40_if0_frf122_os2.
int number_of(std::string_view name, std::string_view piece) {
  const std::size_t at = name.find("_" + std::string(piece));
  if (at == std::string_view::npos) throw std::runtime_error("no name of a chain: " + std::string(name));
  std::string_view rest = name.substr(at + 1 + piece.size());
  return kdi::number::take<int>(rest).value_or(0);
}

double meant(std::map<int, double> const& values, int number, std::string const& name) {
  const auto place = values.find(number);
  if (place == values.end()) throw std::runtime_error("ducddc/rules.json does not say what " + name + " is");
  return place->second;
}

// ------------------------------------------------------------------------------------------------ what a chain costs

// The figures of a stage in one of the four variants, in the order of the tables.
enum Figure : std::size_t { kMultipliers, kMemories, kLatency, kFigures };

int sum_of(ducddcgen_init::Record const& record, std::size_t variant, Figure figure) {
  std::uint8_t const* const values =
      ducddcgen_init::per_stage_data +
      ducddcgen_init::rsrc_data[static_cast<std::size_t>(record.rsrc_index) + variant * kFigures + figure];
  int sum = 0;
  for (int stage = 0; stage < record.stage_count; ++stage) sum += values[stage];
  return sum;
}

// A path of the mixer takes as many carriers in turn as there are clock cycles in a sample.
int mixer_multipliers(ducddcgen_init::Record const& record, int carriers, int cycles) {
  if (record.mixer_stage < 0) return 0;
  for (int stage = 0; stage < record.mixer_stage; ++stage)
    cycles *= ducddcgen_init::per_stage_data[record.step_offset + stage];
  return (carriers + cycles - 1) / cycles * record.mixer_dsps;
}

Chain chain_of(ducddcgen_init::Record const& record, Meanings const& meanings, std::size_t variant) {
  Chain chain;
  chain.name = name_of(record);
  chain.direction = chain.name.substr(0, chain.name.find('_'));
  chain.bandwidth = meant(meanings.bandwidths, number_of(chain.name, "chbw"), chain.name);
  chain.carriers = number_of(chain.name, "C");
  chain.passband = number_of(chain.name, "pb");
  chain.is_real = number_of(chain.name, "if") != 0;
  chain.rate = meant(meanings.rates, number_of(chain.name, "frf"), chain.name);
  const int cycles = number_of(chain.name, "os");
  chain.clock = chain.rate * cycles;
  chain.multipliers = sum_of(record, variant, kMultipliers) + mixer_multipliers(record, chain.carriers, cycles);
  chain.block_memories = sum_of(record, variant, kMemories);
  chain.latency = sum_of(record, variant, kLatency);
  chain.settling_samples = record.clean_time;
  chain.settling = chain.settling_samples / chain.rate;
  return chain;
}

// ------------------------------------------------------------------------------------------------ what is asked for

struct Range {
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();

  bool has(double value) const {
    constexpr double kRounding = 1e-9;  // of a frequency that was computed
    return value >= low - kRounding * std::fabs(low) && value <= high + kRounding * std::fabs(high);
  }
};

// A number, or two of a range. A single one is the value itself, or, of a cost, the most that there may be.
Range range_of(Words const& words, std::string_view name, bool is_cost) {
  Range range;
  if (!words.has(name)) return range;
  const std::vector<std::string_view> numbers = kdi::text::words(words.text(name));
  const auto number = [&](std::size_t at) {
    const auto value = kdi::number::whole_with_sign<double>(numbers[at]);
    if (!value || !(*value >= 0))
      Words::refuse(kdi::WordFault::bad_value, name, kdi::text::shown(numbers[at]) + " is no number from 0");
    return *value;
  };
  if (numbers.empty() || numbers.size() > 2)
    Words::refuse(kdi::WordFault::bad_value, name, "is a number, or the lowest and the highest of a range");
  range.high = number(numbers.size() - 1);
  if (numbers.size() == 2 || !is_cost) range.low = number(0);
  if (range.low > range.high) Words::refuse(kdi::WordFault::bad_value, name, "the range ends before it begins");
  return range;
}

struct Quantity {
  std::string_view name;
  double (*of)(Chain const& chain);
  bool is_cost;
};

constexpr Quantity kQuantities[] = {
    {"bandwidth", [](Chain const& chain) { return chain.bandwidth; }, false},
    {"carriers", [](Chain const& chain) { return static_cast<double>(chain.carriers); }, false},
    {"passband", [](Chain const& chain) { return chain.passband; }, false},
    {"rate", [](Chain const& chain) { return chain.rate; }, false},
    {"clock", [](Chain const& chain) { return chain.clock; }, false},
    {"multipliers", [](Chain const& chain) { return static_cast<double>(chain.multipliers); }, true},
    {"block_memories", [](Chain const& chain) { return static_cast<double>(chain.block_memories); }, true},
    {"latency", [](Chain const& chain) { return static_cast<double>(chain.latency); }, true},
    {"settling", [](Chain const& chain) { return chain.settling; }, true},
};

constexpr std::string_view kDirections[] = {"both", "ddc", "duc"};
constexpr std::string_view kSignals[] = {"any", "complex", "real"};
constexpr std::string_view kSpeeds[] = {"area", "speed"};
constexpr std::string_view kMemoriesAre[] = {"distributed", "block"};
constexpr std::string_view kOrders[] = {"multipliers", "block_memories", "latency", "settling", "name"};

constexpr std::string_view kNames[] = {"direction", "bandwidth", "carriers",    "passband",       "signal",
                                       "rate",      "clock",     "multipliers", "block_memories", "latency",
                                       "settling",  "optimise",  "memory",      "sort",           "most"};

// What one word asks of a chain.
struct Condition {
  std::string_view name;
  std::function<bool(Chain const&)> holds;
  Quantity const* quantity = nullptr;  // of one that is a number
};

std::vector<Condition> conditions_of(Words const& words) {
  std::vector<Condition> asked;
  if (const std::size_t direction = words.choice("direction", kDirections); direction != 0)
    asked.push_back({"direction", [direction](Chain const& one) { return one.direction == kDirections[direction]; }});
  if (const std::size_t signal = words.choice("signal", kSignals); signal != 0)
    asked.push_back({"signal", [signal](Chain const& one) { return one.is_real == (kSignals[signal] == "real"); }});
  for (Quantity const& quantity : kQuantities)
    if (words.has(quantity.name))
      asked.push_back({quantity.name,
                       [&quantity, range = range_of(words, quantity.name, quantity.is_cost)](Chain const& one) {
                         return range.has(quantity.of(one));
                       },
                       &quantity});
  return asked;
}

// In one of the four variants, that the words ask for.
std::vector<Chain> all_chains(Words const& words) {
  const std::size_t variant = 2 * words.choice("optimise", kSpeeds) + words.choice("memory", kMemoriesAre);
  const Meanings meanings = read_meanings();
  std::vector<Chain> all;
  for (ducddcgen_init::Record const& record : ducddcgen_init::database)
    all.push_back(chain_of(record, meanings, variant));
  return all;
}

// The values that chains have: all where they are few, or the range.
std::string values_of(std::vector<Chain> const& chains, Quantity const& quantity) {
  constexpr std::size_t kFew = 12;
  std::set<double> values;
  for (Chain const& chain : chains) values.insert(quantity.of(chain));
  const auto text = [](double value) { return kdi::number::general(value, 6); };
  if (values.size() > kFew) return text(*values.begin()) + " to " + text(*values.rbegin());
  std::vector<std::string> texts;
  for (const double value : values) texts.push_back(text(value));
  return kdi::text::joined(texts, ", ");
}

void sort(std::vector<Chain>& chains, std::string_view order) {
  double (*key)(Chain const&) = [](Chain const&) { return 0.0; };
  for (Quantity const& quantity : kQuantities)
    if (quantity.name == order) key = quantity.of;
  const bool by_name = order == "name";
  std::sort(chains.begin(), chains.end(), [&](Chain const& a, Chain const& b) {
    if (by_name) return a.name < b.name;
    return std::tuple(key(a), a.multipliers, std::string_view(a.name)) <
           std::tuple(key(b), b.multipliers, std::string_view(b.name));
  });
}

}  // namespace

std::span<std::string_view const> chain_words() { return kNames; }

std::vector<Chain> find_chains(std::span<std::string_view const> given) {
  const Words words(given, kNames);
  const std::string_view order = kOrders[words.choice("sort", kOrders)];
  const auto most = static_cast<std::size_t>(
      words.has("most") ? words.integer("most", 1, std::numeric_limits<int>::max()) : ducddcgen_init::kRecords);
  const std::vector<Condition> asked = conditions_of(words);
  std::vector<Chain> found = all_chains(words);
  std::erase_if(found, [&](Chain const& chain) {
    return !std::all_of(asked.begin(), asked.end(), [&](Condition const& one) { return one.holds(chain); });
  });
  sort(found, order);
  if (found.size() > most) found.resize(most);
  return found;
}

std::string why_none(std::span<std::string_view const> given) {
  const Words words(given, kNames);
  const std::vector<Condition> asked = conditions_of(words);
  const std::vector<Chain> all = all_chains(words);
  std::vector<std::size_t> holds(asked.size()), fails_alone(asked.size());
  for (Chain const& chain : all) {
    std::vector<std::size_t> failing;
    for (std::size_t i = 0; i < asked.size(); ++i)
      if (asked[i].holds(chain))
        ++holds[i];
      else
        failing.push_back(i);
    if (failing.size() == 1) ++fails_alone[failing[0]];
  }
  std::vector<std::string> reasons;
  for (std::size_t i = 0; i < asked.size(); ++i)
    if (holds[i] == 0 && asked[i].quantity != nullptr)
      reasons.push_back("word \"" + std::string(asked[i].name) + "\": no chain has that; they have " +
                        values_of(all, *asked[i].quantity));
  if (!reasons.empty()) return kdi::text::joined(reasons, "\n");
  for (std::size_t i = 0; i < asked.size(); ++i)
    if (fails_alone[i] > 0)
      reasons.push_back(std::to_string(fails_alone[i]) + " without \"" + std::string(asked[i].name) + "\"");
  return "no chain is all of that" + (reasons.empty() ? std::string(", nor without any one word of it")
                                                      : "; there would be " + kdi::text::joined(reasons, ", "));
}

std::string chain_table(std::span<Chain const> chains) {
  std::vector<std::vector<std::string>> rows = {
      {"Chain", "MHz", "Carriers", "Rate", "Clock", "Multipliers", "Memories", "Cycles", "Settling us"}};
  using kdi::number::fixed;
  for (Chain const& chain : chains)
    rows.push_back({chain.name, fixed(chain.bandwidth, 1), std::to_string(chain.carriers), fixed(chain.rate, 2),
                    fixed(chain.clock, 2), std::to_string(chain.multipliers), std::to_string(chain.block_memories),
                    std::to_string(chain.latency), fixed(chain.settling, 2)});
  std::vector<std::size_t> widths(rows.front().size());
  for (auto const& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  std::string text;
  for (auto const& row : rows) {
    text += row[0] + std::string(widths[0] - row[0].size(), ' ');
    for (std::size_t i = 1; i < row.size(); ++i) text += std::string(widths[i] + 2 - row[i].size(), ' ') + row[i];
    text += '\n';
  }
  return text;
}

}  // namespace dsptools
