#include "kdi/rule_engine/host/Quad.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"
#include "platform/rule_engine/reference_plan.h"
#include "platform/rule_engine/texts.h"

namespace kdi::gt {
namespace {

constexpr int kMostPpm = 10'000;
constexpr int kRegisterBits = 16;
constexpr int kLaneStride = 0x40, kRxBase = 0x200, kPllBase = 0x400, kPllStride = 0x20, kCommonBase = 0x7F00;

constexpr std::string_view kKeys[] = {"RATE",      "REFCLK", "MODULATION", "ENCODING",      "USER_WIDTH",
                                      "INT_WIDTH", "PLL",    "FRACN",      "OUTCLK_SOURCE", "PROGDIV",
                                      "BUFFER",    "PPM",    "PROTOCOL"};
constexpr std::string_view kCommonKeys[] = {"AIM"};
constexpr std::string_view kOptionKeys[] = {"AIM", "PROTOCOL", "LANES"};

template <class Keys>
std::string unknown_key(std::string const& where, std::string const& key, Keys const& keys) {
  const auto nearest = std::min_element(std::begin(keys), std::end(keys), [&](auto a, auto b) {
    return text::edit_distance(key.substr(0, 64), a) < text::edit_distance(key.substr(0, 64), b);
  });
  return where + ": " + text::shown(key) + " is not known and changes nothing; the nearest name is " +
         std::string(*nearest);
}

bool is_known(std::string_view key, auto const& keys) {
  return std::find(std::begin(keys), std::end(keys), key) != std::end(keys);
}

bool truth_of(std::string const& where, std::string const& key, std::string const& word) {
  const std::string lowered = text::lowered(word);
  for (char const* const yes : {"true", "1", "yes", "on"})
    if (lowered == yes) return true;
  for (char const* const no : {"false", "0", "no", "off"})
    if (lowered == no) return false;
  refuse(where + ": " + key + " " + text::shown(word) + " is no truth value");
}

Aim aim_of(std::string const& word) {
  if (word == "jitter") return Aim::jitter;
  if (word == "power") return Aim::power;
  refuse("AIM " + text::shown(word) + " is none of jitter, power");
}

// ------------------------------------------------------------------------------------------------ one lane at one rate

class RateReader {
 public:
  RateReader(Kind const& kind, bool is_tx, std::string where, ParamMap const& words, std::vector<std::string>& warnings)
      : kind_(kind), is_tx_(is_tx), where_(std::move(where)), words_(words) {
    for (auto const& [key, value] : words)
      if (!is_known(key, kKeys)) warnings.push_back(unknown_key(where_, key, kKeys));
  }

  LaneRate read() {
    if (has("PROTOCOL")) read_protocol();
    LaneRate lane;
    lane.gbps = required("RATE", protocol_.rate);
    lane.real_gbps = lane.gbps;
    lane.reference_mhz = required("REFCLK", protocol_.reference);
    if (!has_rate(kind_, lane.gbps))
      refuse(where_ + ": " + kind_.name + " " + kind_.grade + " has no band with " + exact_text(lane.gbps) + " Gb/s");
    read_modulation(lane);
    lane.pll = has("PLL") && !text::same_but_case(words_.at("PLL"), "any") ? index_of("PLL", kind_.plls) : -1;
    if (has("FRACN") && !text::same_but_case(words_.at("FRACN"), "auto"))
      lane.takes_fraction = truth_of(where_, "FRACN", words_.at("FRACN"));
    read_clock(lane);
    read_widths(lane);
    if (has("BUFFER")) lane.has_buffer = truth_of(where_, "BUFFER", words_.at("BUFFER"));
    lane.ppm = has("PPM") ? whole("PPM", 0, kMostPpm) : protocol_.ppm;
    return lane;
  }

 private:
  bool has(char const* key) const {
    const auto found = words_.find(key);
    return found != words_.end() && !found->second.empty();
  }
  [[noreturn]] void fault(char const* key, std::string const& what) const {
    refuse(where_ + ": " + key + " " + text::shown(words_.at(key)) + " is " + what);
  }

  void read_protocol() {
    for (Protocol& protocol : protocols())
      if (protocol.name == words_.at("PROTOCOL")) {
        protocol_ = std::move(protocol);
        return;
      }
    fault("PROTOCOL", "no protocol");
  }

  Fraction required(char const* key, std::string const& otherwise) const {
    if (!has(key) && otherwise.empty()) refuse(where_ + ": " + key + " is missing");
    const auto value = read_fraction(has(key) ? words_.at(key) : otherwise);
    if (!value) fault(key, "no number from 0.001 to 1000000");
    return *value;
  }

  int whole(char const* key, int least, int most) const {
    const auto value = number::whole<int>(words_.at(key));
    if (!value || *value < least || *value > most)
      fault(key, "no integer from " + std::to_string(least) + " to " + std::to_string(most));
    return *value;
  }

  template <class All>
  int index_of(char const* key, All const& all) const {
    for (std::size_t i = 0; i < all.size(); ++i)
      if (all[i].name == words_.at(key)) return static_cast<int>(i);
    fault(key, "none of " + names_of(all));
  }

  void read_modulation(LaneRate& lane) const {
    if (has("MODULATION"))
      lane.modulation = &kind_.modulations[static_cast<std::size_t>(index_of("MODULATION", kind_.modulations))];
    else if (!protocol_.modulation.empty())
      lane.modulation = kind_.modulation(protocol_.modulation);
    else
      lane.modulation = modulation_for(kind_, lane.gbps);
    if (lane.modulation == nullptr || !has_symbols(*lane.modulation, lane.gbps))
      refuse(where_ + ": " + kind_.name + " has no symbol rate for " + exact_text(lane.gbps) + " Gb/s" +
             (lane.modulation == nullptr ? "" : " with " + lane.modulation->name));
  }

  void read_clock(LaneRate& lane) const {
    const std::string name = has("OUTCLK_SOURCE") ? words_.at("OUTCLK_SOURCE") : "PMA";
    lane.clock = -1;
    std::string known;
    for (std::size_t i = 0; i < kind_.clocks.size(); ++i) {
      OutputClock const& clock = kind_.clocks[i];
      if (!(is_tx_ ? clock.is_tx : clock.is_rx)) continue;
      if (clock.name == name) lane.clock = static_cast<int>(i);
      known += (known.empty() ? "" : ", ") + clock.name;
    }
    if (lane.clock < 0) refuse(where_ + ": OUTCLK_SOURCE " + text::shown(name) + " is none of " + known);
    lane.progdiv_halves = static_cast<int>(kind_.programmable_halves.least);
    if (!has("PROGDIV")) return;
    const auto divide = read_fraction(words_.at("PROGDIV"));
    const auto halves = divide ? times(*divide, 2) : std::nullopt;
    if (!halves || halves->den != 1 || halves->num > kind_.programmable_halves.most ||
        halves->num < kind_.programmable_halves.least)
      fault("PROGDIV", "no half or whole number from " + halved(kind_.programmable_halves.least) + " to " +
                           halved(kind_.programmable_halves.most));
    lane.progdiv_halves = static_cast<int>(halves->num);
  }
  static std::string halved(std::int64_t halves) { return number::plain(static_cast<double>(halves) / 2); }

  // The least widths that the clocks allow, of those that fit what is given.
  void read_widths(LaneRate& lane) const {
    if (has("ENCODING")) {
      lane.encoding = index_of("ENCODING", kind_.encodings);
    } else if (Encoding const* const usual = kind_.encoding(protocol_.encoding)) {
      lane.encoding = static_cast<int>(usual - kind_.encodings.data());
    }
    const int internal = has("INT_WIDTH") ? whole("INT_WIDTH", 1, 4096) : 0;
    const int user = has("USER_WIDTH") ? whole("USER_WIDTH", 1, 4096) : 0;
    std::set<int> internals, users;
    std::string too_fast;
    for (Widths const& widths : kind_.widths) {
      if (widths.encoding != lane.encoding) continue;
      internals.insert(widths.internal);
      if (internal != 0 && widths.internal != internal) continue;
      for (const int each : widths.user) {
        users.insert(each);
        if (user != 0 && each != user) continue;
        LaneRate tried = lane;
        tried.internal_width = widths.internal;
        tried.user_width = each;
        too_fast = limit_of(tried);
        if (too_fast.empty()) {
          lane.internal_width = widths.internal;
          lane.user_width = each;
          return;
        }
      }
    }
    std::string const& encoding = kind_.encodings[static_cast<std::size_t>(lane.encoding)].name;
    if (internal != 0 && !internals.contains(internal))
      fault("INT_WIDTH", "no internal width for " + encoding + ": " + listed(internals));
    if (user != 0 && !users.contains(user)) fault("USER_WIDTH", "no user width for " + encoding + ": " + listed(users));
    refuse(where_ + ": no widths for " + encoding + " at " + exact_text(lane.gbps) + " Gb/s: " + too_fast);
  }
  static std::string listed(std::set<int> const& numbers) {
    std::string all;
    for (const int number : numbers) all += (all.empty() ? "" : ", ") + std::to_string(number);
    return all;
  }

  // What of the widths' clocks is too fast; empty if nothing is.
  std::string limit_of(LaneRate const& lane) const {
    const auto over = [](std::optional<Fraction> const& mhz, std::int64_t most) {
      return !mhz || less(Fraction{most, 1'000'000}, *mhz);
    };
    const auto mhz = [](std::int64_t hz) { return number::plain(static_cast<double>(hz) / 1e6) + " MHz"; };
    if (over(user_clock(kind_, lane), kind_.user_clock_most))
      return "the user clock would exceed " + mhz(kind_.user_clock_most);
    if (kind_.clocks[static_cast<std::size_t>(lane.clock)].by == OutputClock::By::internal_width &&
        over(output_clock(kind_, lane), kind_.output_clock_most))
      return "the output clock would exceed " + mhz(kind_.output_clock_most);
    return {};
  }

  Kind const& kind_;
  bool is_tx_;
  std::string where_;
  ParamMap const& words_;
  Protocol protocol_;
};

// --------------------------------------------------------------------------------------------------------- the design

std::vector<LaneRate> read_direction(Kind const& kind, bool is_tx, std::string const& lane, GtMap2 const& words,
                                     std::vector<std::string>& warnings) {
  std::vector<LaneRate> rates;
  std::size_t known = 0;
  for (;;) {
    const auto found = words.find("LR" + std::to_string(known) + "_SETTINGS");
    if (found == words.end()) break;
    if (++known > kMostRates) refuse(lane + " has more than " + std::to_string(kMostRates) + " rates");
    rates.push_back(
        RateReader(kind, is_tx, lane + " at rate " + std::to_string(known - 1), found->second, warnings).read());
  }
  for (auto const& [key, value] : words) {
    const bool is_rate = key.starts_with("LR") && key.ends_with("_SETTINGS");
    if (!is_rate)
      warnings.push_back(lane + ": " + text::shown(key) +
                         " is not known and changes nothing; the nearest name is LR0_SETTINGS");
    else if (number::whole<std::size_t>(std::string_view(key).substr(2, key.size() - 11)).value_or(known) >= known)
      refuse(lane + " has " + key + " and no LR" + std::to_string(known) + "_SETTINGS");
  }
  if (rates.empty()) refuse(lane + " has no LR0_SETTINGS");
  return rates;
}

std::optional<int> lane_number(std::string const& word, std::string_view prefix) {
  if (!word.starts_with(prefix)) return std::nullopt;
  return number::whole<int>(std::string_view(word).substr(prefix.size()));
}

void read_lanes(GtSettings const& settings, bool is_tx, int most, Design& design, std::map<int, Lane>& lanes) {
  const auto found = settings.find(is_tx ? "TX_SETTINGS" : "RX_SETTINGS");
  if (found == settings.end()) return;
  for (auto const& [name, words] : found->second) {
    const auto number = lane_number(name, is_tx ? "TX" : "RX");
    if (!number) {
      design.warnings.push_back(text::shown(name) + " is not known and changes nothing; the nearest name is " +
                                (is_tx ? "TX0" : "RX0"));
      continue;
    }
    if (*number < 0 || *number >= most)
      refuse("lane " + text::shown(name) + " is none of the " + std::to_string(most) + " that there are");
    Lane& lane = lanes[*number];
    lane.number = *number;
    (is_tx ? lane.tx : lane.rx) = read_direction(*design.kind, is_tx, name, words, design.warnings);
  }
}

// A word where entries should be stands under the empty key.
std::string const* word_of(GtMap2 const& map) {
  const auto outer = map.find("");
  if (outer == map.end()) return nullptr;
  const auto inner = outer->second.find("");
  return inner == outer->second.end() ? nullptr : &inner->second;
}

void read_common(GtSettings const& settings, Design& design) {
  const auto found = settings.find("QUAD_COMMON_SETTINGS");
  if (found == settings.end()) return;
  for (auto const& [key, value] : found->second) {
    if (!is_known(key, kCommonKeys)) {
      design.warnings.push_back(unknown_key("QUAD_COMMON_SETTINGS", key, kCommonKeys));
      continue;
    }
    std::string const* const word = word_of(value);
    if (word == nullptr) refuse("AIM is none of jitter, power");
    design.aim = aim_of(*word);
  }
}

// Options are names and values, and give what settings leave out: the aim, and all lanes of a protocol.
GtSettings with_options(std::string const& options, GtSettings settings, Design& design) {
  const auto words = text::words(options);
  std::string protocol;
  int lanes = design.kind->channels;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const std::string key(words[i]), value(i + 1 < words.size() ? words[i + 1] : "");
    if (key == "AIM") {
      design.aim = aim_of(value);
    } else if (key == "PROTOCOL") {
      protocol = value;
    } else if (key == "LANES") {
      const auto count = number::whole<int>(value);
      if (!count || *count < 1 || *count > design.kind->channels)
        refuse("LANES " + text::shown(value) + " is no integer from 1 to " + std::to_string(design.kind->channels));
      lanes = *count;
    } else {
      design.warnings.push_back(unknown_key("options", key, kOptionKeys));
    }
  }
  if (!protocol.empty())
    for (int i = 0; i < lanes; ++i)
      for (char const* const direction : {"TX", "RX"})
        settings[std::string(direction) + "_SETTINGS"].try_emplace(
            direction + std::to_string(i), GtMap2{{"LR0_SETTINGS", ParamMap{{"PROTOCOL", protocol}}}});
  return settings;
}

std::map<int, int> given_quads(GtSettings const& settings) {
  std::map<int, int> quads;
  const auto outer = settings.find("quadUsage");
  if (outer == settings.end()) return quads;
  const auto usage = outer->second.find("quadUsage");
  if (usage == outer->second.end()) return quads;
  for (auto const& [direction, prefix] : {std::pair("TX_QUAD_CH", "TX"), std::pair("RX_QUAD_CH", "RX")}) {
    const auto lanes = usage->second.find(direction);
    if (lanes == usage->second.end()) continue;
    for (auto const& [lane, quad] : lanes->second) {
      const auto number = lane_number(lane, prefix);
      const auto in = text::is_digit(quad.empty() ? 'x' : quad.front()) ? number::whole<int>(quad) : std::nullopt;
      if (!number || !in)
        refuse(std::string(direction) + " gives " + text::shown(lane) + " the quad " + text::shown(quad));
      const auto [place, is_new] = quads.emplace(*number, *in);
      if (!is_new && place->second != *in)
        refuse("lane " + std::to_string(*number) + " is in the quads " + std::to_string(place->second) + " and " +
               quad);
    }
  }
  return quads;
}

Need need_of(Design& design, std::string const& name, LaneRate const& lane, bool is_tx, std::size_t rate) {
  const Request request{lane.gbps, lane.reference_mhz, lane.modulation, lane.pll, lane.takes_fraction, design.aim};
  Need need{lane.reference_mhz, exact_settings(*design.kind, request)};
  if (!need.settings.empty()) return need;
  const Answer answer = solve(*design.kind, request);
  if (answer.best && std::abs(answer.ppm) <= lane.ppm)
    need.settings.push_back(*answer.best);
  else if (design.packing.reason.empty())
    design.packing.reason = (is_tx ? "TX" : "RX") + name + " at rate " + std::to_string(rate) + ": " +
                            reason_of(*design.kind, request, answer);
  return need;
}

void make_needs(Design& design, std::map<int, int> const& quads, bool is_one_quad) {
  for (Lane const& lane : design.lanes) {
    PackedLane& packed = design.packed.emplace_back();
    packed.name = std::to_string(lane.number);
    if (is_one_quad) packed.channel = lane.number;
    const auto quad = quads.find(lane.number);
    if (quad != quads.end()) packed.quad = quad->second;
    const std::size_t rates = std::max(lane.tx.size(), lane.rx.size());
    for (std::size_t rate = 0; rate < rates; ++rate) {
      auto& needs = packed.needs.emplace_back();
      if (!lane.tx.empty()) needs.push_back(need_of(design, packed.name, design.at(lane.tx, rate), true, rate));
      if (!lane.rx.empty()) needs.push_back(need_of(design, packed.name, design.at(lane.rx, rate), false, rate));
    }
  }
}

// Every rate up to the quad's own number, so that the direction has what packing chose for each.
void take_settings(Design& design) {
  const std::size_t rates = design.rates();
  for (std::size_t i = 0; i < design.lanes.size(); ++i) {
    Lane& lane = design.lanes[i];
    Place const& place = design.packing.places[i];
    for (std::vector<LaneRate>* const direction : {&lane.tx, &lane.rx}) {
      if (direction->empty()) continue;
      while (direction->size() < rates) direction->push_back(direction->back());
      for (std::size_t rate = 0; rate < rates; ++rate) {
        LaneRate& mine = (*direction)[rate];
        auto const& needs = design.packed[i].needs[std::min(rate, design.packed[i].needs.size() - 1)];
        const std::size_t need = direction == &lane.rx && !lane.tx.empty() ? 1 : 0;
        mine.setting = needs[need].settings[static_cast<std::size_t>(place.chosen[rate][need])];
        mine.real_gbps =
            gbps_of(*design.kind, mine.setting, mine.reference_mhz, mine.modulation->bits).value_or(mine.gbps);
      }
    }
  }
}

std::vector<int> numbers_of_quads(std::string const& part, std::string const& kind, std::string const& quad) {
  std::vector<int> numbers;
  if (part.empty()) {
    for (int i = 0; i < static_cast<int>(kMostLanes); ++i) numbers.push_back(i);
    return numbers;
  }
  for (device::Quad const& one : device::find_part(part)->package->quads)
    if (one.type == kind) numbers.push_back(one.number);
  if (const auto first = number::whole<int>(quad)) {
    const auto found = std::find(numbers.begin(), numbers.end(), *first);
    if (found == numbers.end())
      refuse("quad " + text::shown(quad) + " is no " + kind + " of the part " + text::shown(part));
    numbers.erase(numbers.begin(), found);
  }
  return numbers;
}

std::string usual_kind(std::string const& kind, std::string const& part) {
  if (!kind.empty()) return kind;
  device::Part const* const named = part.empty() ? nullptr : device::find_part(part);
  return named == nullptr || named->speed->transceivers.empty() ? "GTYP" : named->speed->transceivers.front().type;
}

// ------------------------------------------------------------------------------------------------------------ sections

struct PllInstance {
  int pll;
  int channel;  ///< -1: shared
  std::string name;
};

std::vector<PllInstance> pll_instances(Kind const& kind) {
  std::vector<PllInstance> instances;
  for (int i = 0; i < static_cast<int>(kind.plls.size()); ++i) {
    Pll const& pll = kind.plls[static_cast<std::size_t>(i)];
    if (pll.is_shared) {
      instances.push_back({i, -1, pll.name});
      continue;
    }
    for (int channel = 0; channel < kind.channels; ++channel)
      if ((pll.channels >> channel & 1) != 0) instances.push_back({i, channel, pll.name + std::to_string(channel)});
  }
  return instances;
}

std::int64_t floor_of(std::optional<Fraction> const& value, std::int64_t unit) {
  if (!value) return 0;
  const auto scaled = times(*value, unit);
  return scaled ? static_cast<std::int64_t>(scaled->num / scaled->den) : 0;
}

std::int64_t input_of(std::vector<Fraction> const& references, Fraction const& mhz) {
  return std::find(references.begin(), references.end(), mhz) - references.begin();
}

// What follows from a lane's settings and the rest that it has.
void add_derived(Kind const& kind, LaneRate const& lane, Quantities& all) {
  all["payload_of"] = kind.encodings[static_cast<std::size_t>(lane.encoding)].of;
  all["user_clock_khz"] = floor_of(user_clock(kind, lane), 1000);
  all["out_clock_khz"] = floor_of(output_clock(kind, lane), 1000);
  all["reference_khz"] = floor_of(lane.reference_mhz, 1000);
  all["symbol_mbd"] = floor_of(times(lane.real_gbps, 1, lane.modulation->bits), 1000);
  all["rate_mbps"] = floor_of(lane.real_gbps, 1000);
}

Quantities lane_quantities(Kind const& kind, LaneRate const& lane, std::vector<Fraction> const& references) {
  Quantities all{{"pll", lane.setting.pll},
                 {"reference", input_of(references, lane.reference_mhz)},
                 {"output_divide", lane.setting.output_divide},
                 {"modulation_bits", lane.modulation->bits},
                 {"encoding", lane.encoding},
                 {"internal_width", lane.internal_width},
                 {"user_width", lane.user_width},
                 {"clock_source", lane.clock},
                 {"progdiv_halves", lane.progdiv_halves},
                 {"buffer", lane.has_buffer ? 1 : 0},
                 {"ppm", lane.ppm},
                 {"fraction_used", lane.setting.numerator != 0 ? 1 : 0}};
  add_derived(kind, lane, all);
  return all;
}

Quantities pll_quantities(Kind const& kind, LaneRate const* user, std::vector<Fraction> const& references) {
  Quantities all;
  for (char const* const name : {"enable", "reference", "reference_divide", "feedback", "numerator", "fraction_used",
                                 "vco_mhz", "pfd_khz", "reference_khz"})
    all[name] = 0;
  if (user == nullptr) return all;
  all["enable"] = 1;
  all["reference"] = input_of(references, user->reference_mhz);
  all["reference_divide"] = user->setting.reference_divide;
  all["feedback"] = user->setting.feedback;
  all["numerator"] = user->setting.numerator;
  all["fraction_used"] = user->setting.numerator != 0 ? 1 : 0;
  all["vco_mhz"] = floor_of(vco_mhz_of(kind, user->setting, user->reference_mhz), 1);
  all["pfd_khz"] = floor_of(times(user->reference_mhz, 1, user->setting.reference_divide), 1000);
  all["reference_khz"] = floor_of(user->reference_mhz, 1000);
  return all;
}

LaneRate const* user_of(Design const& design, PllInstance const& instance, std::size_t rate) {
  for (Lane const& lane : design.lanes) {
    if (instance.channel >= 0 && lane.number != instance.channel) continue;
    for (auto const* const direction : {&lane.tx, &lane.rx})
      if (!direction->empty() && design.at(*direction, rate).setting.pll == instance.pll &&
          (design.kind->plls[static_cast<std::size_t>(instance.pll)].channels >> lane.number & 1) != 0)
        return &design.at(*direction, rate);
  }
  return nullptr;
}

Quantities common_quantities(Design const& design, std::size_t rate) {
  Quantities all{{"tx_channels", 0}, {"rx_channels", 0}, {"plls_in_use", 0}};
  for (Lane const& lane : design.lanes) {
    if (!lane.tx.empty()) all["tx_channels"] |= std::int64_t{1} << lane.number;
    if (!lane.rx.empty()) all["rx_channels"] |= std::int64_t{1} << lane.number;
  }
  const auto instances = pll_instances(*design.kind);
  for (std::size_t i = 0; i < instances.size(); ++i)
    if (user_of(design, instances[i], rate) != nullptr) all["plls_in_use"] |= std::int64_t{1} << i;
  const auto references = references_of(design);
  all["references_in_use"] = (std::int64_t{1} << references.size()) - 1;
  all["rates"] = static_cast<std::int64_t>(design.rates());
  all["aim"] = design.aim == Aim::power ? 1 : 0;
  all["reference0_khz"] = references.empty() ? 0 : floor_of(references[0], 1000);
  all["reference1_khz"] = references.size() < 2 ? 0 : floor_of(references[1], 1000);
  return all;
}

Lane const* lane_of(Design const& design, int number) {
  for (Lane const& lane : design.lanes)
    if (lane.number == number) return &lane;
  return nullptr;
}

void require_packed(Design const& design) {
  if (!design.packing.is_possible) refuse(design.packing.reason);
}

}  // namespace

std::size_t Design::rates() const {
  std::size_t most = 0;
  for (Lane const& lane : lanes) most = std::max({most, lane.tx.size(), lane.rx.size()});
  return most;
}

std::optional<Fraction> user_clock(Kind const& kind, LaneRate const& lane) {
  Encoding const& encoding = kind.encodings[static_cast<std::size_t>(lane.encoding)];
  return times(lane.real_gbps, Int128{1000} * encoding.payload, static_cast<Int128>(encoding.of) * lane.user_width);
}

std::optional<Fraction> output_clock(Kind const& kind, LaneRate const& lane) {
  OutputClock const& clock = kind.clocks[static_cast<std::size_t>(lane.clock)];
  std::optional<Fraction> from;
  switch (clock.from) {
    case OutputClock::From::rate:
      from = times(lane.real_gbps, 1000, clock.and_by);
      break;
    case OutputClock::From::symbols:
      from = times(lane.real_gbps, 1000, Int128{clock.and_by} * lane.modulation->bits);
      break;
    case OutputClock::From::reference:
      from = times(lane.reference_mhz, 1, clock.and_by);
      break;
    case OutputClock::From::vco:
      from = vco_mhz_of(kind, lane.setting, lane.reference_mhz);
      break;
  }
  if (!from) return from;
  switch (clock.by) {
    case OutputClock::By::internal_width:
      return times(*from, 1, lane.internal_width);
    case OutputClock::By::programmable:
      return times(*from, 2, lane.progdiv_halves);
    case OutputClock::By::none:
      break;
  }
  return from;
}

Design design_of(std::string const& part, std::string const& kind_word, std::string const& quad,
                 GtSettings const& settings, std::string const& options, bool is_one_quad, bool keep) {
  Design design;
  const std::string kind = usual_kind(kind_word, part);
  design.kind = required_kind(kind, part);
  design.part = part;
  design.quad = quad;
  design.quad_numbers = numbers_of_quads(part, kind, quad);
  const GtSettings all = with_options(options, settings, design);
  read_common(all, design);
  std::map<int, Lane> lanes;
  const int most = is_one_quad ? design.kind->channels : static_cast<int>(kMostLanes);
  read_lanes(all, true, most, design, lanes);
  read_lanes(all, false, most, design, lanes);
  for (auto& [number, lane] : lanes) design.lanes.push_back(std::move(lane));
  const auto quads = keep ? given_quads(all) : std::map<int, int>();
  make_needs(design, quads, is_one_quad);
  for (auto const& [lane, number] : quads)
    if (!part.empty() &&
        std::find(design.quad_numbers.begin(), design.quad_numbers.end(), number) == design.quad_numbers.end())
      refuse("quad " + std::to_string(number) + " is no " + kind + " of the part " + text::shown(part));
  const bool is_hopeless = !design.packing.reason.empty();
  if (!is_hopeless)
    design.packing = pack(*design.kind, design.packed, is_one_quad ? 1 : static_cast<int>(design.quad_numbers.size()));
  if (is_one_quad) require_packed(design);
  if (!design.packing.is_possible) return design;
  // Quads that lanes had to be in keep their numbers, the others take those that are left.
  std::set<int> kept;
  for (auto const& [lane, number] : quads)
    if (lanes.contains(lane)) kept.insert(number);
  std::vector<int> numbers(kept.begin(), kept.end());
  for (const int number : design.quad_numbers)
    if (!kept.contains(number)) numbers.push_back(number);
  design.quad_numbers = std::move(numbers);
  take_settings(design);
  return design;
}

std::vector<Fraction> references_of(Design const& design) {
  std::vector<Fraction> all;
  for (PackedLane const& lane : design.packed)
    for (auto const& needs : lane.needs)
      for (Need const& need : needs)
        if (std::find(all.begin(), all.end(), need.reference_mhz) == all.end()) all.push_back(need.reference_mhz);
  std::sort(all.begin(), all.end(), less);
  return all;
}

void require_rate(Design const& design, std::size_t rate) {
  const std::size_t last = std::max<std::size_t>(design.rates(), 1) - 1;
  if (rate <= last) return;
  refuse("there is no rate " + std::to_string(rate) + "; there is " +
         (last == 0 ? "rate 0 alone" : "0 to " + std::to_string(last)));
}

std::vector<std::string> section_names(Design const& design) {
  std::vector<std::string> names;
  for (Lane const& lane : design.lanes)
    if (!lane.tx.empty()) names.push_back("TX" + std::to_string(lane.number));
  for (Lane const& lane : design.lanes)
    if (!lane.rx.empty()) names.push_back("RX" + std::to_string(lane.number));
  for (PllInstance const& instance : pll_instances(*design.kind)) names.push_back(instance.name);
  names.push_back("COMMON");
  return names;
}

SectionImage section_image(Design const& design, std::string const& name, std::size_t rate) {
  require_packed(design);
  require_rate(design, rate);
  SectionImage image;
  const auto references = references_of(design);
  if (const auto tx = lane_number(name, "TX"), rx = lane_number(name, "RX"); tx || rx) {
    Lane const* const lane = lane_of(design, tx ? *tx : *rx);
    auto const* const direction = lane == nullptr ? nullptr : tx ? &lane->tx : &lane->rx;
    if (direction != nullptr && !direction->empty()) {
      image.section = &section_of_kind(tx ? "TX" : "RX");
      image.address = (tx ? 0 : kRxBase) + lane->number * kLaneStride;
      image.quantities = lane_quantities(*design.kind, design.at(*direction, rate), references);
    }
  } else if (name == "COMMON") {
    image.section = &section_of_kind("COMMON");
    image.address = kCommonBase;
    image.quantities = common_quantities(design, rate);
  } else {
    const auto instances = pll_instances(*design.kind);
    for (std::size_t i = 0; i < instances.size(); ++i)
      if (instances[i].name == name) {
        image.section = &section_of_kind("PLL");
        image.address = kPllBase + static_cast<int>(i) * kPllStride;
        image.quantities = pll_quantities(*design.kind, user_of(design, instances[i], rate), references);
      }
  }
  if (image.section == nullptr)
    refuse("the section " + text::shown(name) + " is none of " + text::joined(section_names(design), ", "));
  try {
    image.registers = encoded(*image.section, image.quantities);
  } catch (std::out_of_range const& fault) {
    refuse(fault.what());
  }
  return image;
}

std::vector<std::uint32_t> table_entries(Design const& design, std::string const& section, std::size_t rate) {
  std::vector<std::uint32_t> entries;
  for (std::string const& name : section.empty() ? section_names(design) : std::vector<std::string>{section}) {
    const SectionImage image = section_image(design, name, rate);
    for (std::size_t i = 0; i < image.registers.size(); ++i)
      entries.push_back((static_cast<std::uint32_t>(image.address) + static_cast<std::uint32_t>(i)) << kRegisterBits |
                        image.registers[i]);
  }
  return entries;
}

// ------------------------------------------------------------------------------------------------------------ decoding

namespace {

class Decoder {
 public:
  Decoder(Kind const& kind, std::vector<std::uint32_t> const& entries, std::vector<Fraction> const& references)
      : kind_(kind), references_(references), instances_(pll_instances(kind)) {
    for (const std::uint32_t entry : entries)
      data_[static_cast<int>(entry >> kRegisterBits)] = static_cast<std::uint16_t>(entry);
  }

  Decoded decode() {
    for (int channel = 0; channel < kind_.channels; ++channel) lane(channel, true);
    for (int channel = 0; channel < kind_.channels; ++channel) lane(channel, false);
    for (std::size_t i = 0; i < instances_.size(); ++i) pll_as_used(i);
    return decoded_;
  }

 private:
  std::optional<Registers> registers_at(Section const& section, int address) const {
    Registers registers;
    for (int i = 0; i < section.registers; ++i) {
      const auto found = data_.find(address + i);
      if (found == data_.end()) return std::nullopt;
      registers.push_back(found->second);
    }
    return registers;
  }

  template <class All>
  auto const& one_of(All const& all, Quantities const& quantities, char const* name) const {
    const auto found = quantities.find(name);
    if (found == quantities.end() || found->second < 0 || found->second >= static_cast<std::int64_t>(all.size()))
      refuse(std::string("the registers hold no ") + name + " of " + kind_.name);
    return all[static_cast<std::size_t>(found->second)];
  }
  static int int_of(Quantities const& quantities, char const* name) {
    const auto found = quantities.find(name);
    if (found == quantities.end()) refuse(std::string("the registers hold no ") + name);
    return static_cast<int>(found->second);
  }

  void lane(int channel, bool is_tx) {
    Section const& section = section_of_kind(is_tx ? "TX" : "RX");
    const auto registers = registers_at(section, (is_tx ? 0 : kRxBase) + channel * kLaneStride);
    if (!registers) return;
    Quantities found = gt::decoded(section, *registers);
    DecodedLane lane;
    lane.section = (is_tx ? "TX" : "RX") + std::to_string(channel);
    LaneRate rate;
    Pll const& pll = one_of(kind_.plls, found, "pll");
    rate.reference_mhz = one_of(references_, found, "reference");
    rate.encoding = static_cast<int>(&one_of(kind_.encodings, found, "encoding") - kind_.encodings.data());
    rate.modulation = nullptr;
    for (Modulation const& modulation : kind_.modulations)
      if (modulation.bits == int_of(found, "modulation_bits")) rate.modulation = &modulation;
    if (rate.modulation == nullptr) refuse("the registers hold no modulation of " + kind_.name);
    rate.clock = static_cast<int>(&one_of(kind_.clocks, found, "clock_source") - kind_.clocks.data());
    rate.internal_width = int_of(found, "internal_width");
    rate.user_width = int_of(found, "user_width");
    rate.progdiv_halves = int_of(found, "progdiv_halves");
    const std::size_t instance = instance_of(static_cast<int>(&pll - kind_.plls.data()), channel);
    rate.setting = setting_of(instance);
    rate.setting.output_divide = int_of(found, "output_divide");
    const auto gbps = gbps_of(kind_, rate.setting, rate.reference_mhz, rate.modulation->bits);
    const auto vco = vco_mhz_of(kind_, rate.setting, rate.reference_mhz);
    if (!gbps || !vco) refuse("the registers hold no rate");
    rate.real_gbps = *gbps;
    users_[instance] = rate;
    add_derived(kind_, rate, found);
    found["fraction_used"] = rate.setting.numerator != 0 ? 1 : 0;
    note(lane.section, section, *registers, found);
    lane.gbps = exact_text(*gbps);
    lane.vco_mhz = exact_text(*vco);
    lane.pll = pll.name;
    lane.encoding = kind_.encodings[static_cast<std::size_t>(rate.encoding)].name;
    lane.modulation = rate.modulation->name;
    lane.output_divide = rate.setting.output_divide;
    lane.internal_width = rate.internal_width;
    lane.user_width = rate.user_width;
    decoded_.lanes.push_back(std::move(lane));
  }

  std::size_t instance_of(int pll, int channel) const {
    for (std::size_t i = 0; i < instances_.size(); ++i)
      if (instances_[i].pll == pll && (instances_[i].channel < 0 || instances_[i].channel == channel)) return i;
    refuse("the registers hold a PLL that channel " + std::to_string(channel) + " does not have");
  }

  Setting setting_of(std::size_t instance) const {
    Section const& section = section_of_kind("PLL");
    const auto registers = registers_at(section, kPllBase + static_cast<int>(instance) * kPllStride);
    if (!registers) refuse("the registers of " + instances_[instance].name + " are missing");
    const Quantities found = gt::decoded(section, *registers);
    if (int_of(found, "enable") != 1 || int_of(found, "reference_divide") == 0 || int_of(found, "feedback") == 0)
      refuse("the registers of " + instances_[instance].name + " have it off, and a lane takes it");
    return {instances_[instance].pll, int_of(found, "reference_divide"), int_of(found, "feedback"),
            int_of(found, "numerator"), 1};
  }

  void pll_as_used(std::size_t instance) {
    Section const& section = section_of_kind("PLL");
    const auto registers = registers_at(section, kPllBase + static_cast<int>(instance) * kPllStride);
    if (!registers) return;
    const auto user = users_.find(instance);
    note(instances_[instance].name, section, *registers,
         pll_quantities(kind_, user == users_.end() ? nullptr : &user->second, references_));
  }

  void note(std::string const& name, Section const& section, Registers const& registers, Quantities const& quantities) {
    for (std::string const& attribute : differing(section, registers, quantities))
      decoded_.differing.push_back(name + "." + attribute);
  }

  Kind const& kind_;
  std::vector<Fraction> const& references_;
  std::vector<PllInstance> instances_;
  std::map<int, std::uint16_t> data_;
  std::map<std::size_t, LaneRate> users_;
  Decoded decoded_;
};

}  // namespace

Decoded decode_entries(Kind const& kind, std::vector<std::uint32_t> const& entries,
                       std::vector<Fraction> const& references_mhz) {
  try {
    return Decoder(kind, entries, references_mhz).decode();
  } catch (std::out_of_range const& fault) {
    refuse(fault.what());
  }
}

// ----------------------------------------------------------------------------------------------------- reference ports

namespace {

// The positive pad of a quad's input; empty without a part.
std::string pad_of_input(std::string const& part, int quad, int input) {
  if (part.empty()) return {};
  if (device::Quad const* const place = device::find_part(part)->package->quad(quad))
    for (device::Pad const& pad : place->pads)
      if (pad.name.find("REFCLK" + std::to_string(input) + "P") != std::string::npos) return pad.name;
  return {};
}

}  // namespace

std::vector<ReferencePort> reference_ports(Design const& design) {
  require_packed(design);
  const std::vector<Fraction> references = references_of(design);
  std::map<int, std::uint32_t> wanted;  // by quad
  for (std::size_t i = 0; i < design.packed.size(); ++i) {
    const int quad = design.quad_numbers[static_cast<std::size_t>(design.packing.places[i].quad)];
    for (auto const& needs : design.packed[i].needs)
      for (Need const& need : needs) wanted[quad] |= std::uint32_t{1} << input_of(references, need.reference_mhz);
  }
  std::vector<ListeningQuad> quads;
  for (auto const& [number, wants] : wanted) quads.push_back({number, wants});
  const auto plan = reference_plan(quads, design.kind->reference_reach, design.kind->reference_inputs);
  std::vector<ReferencePort> ports;
  for (std::size_t i = 0; i < quads.size(); ++i) {
    int input = 0;
    for (std::size_t reference = 0; reference < references.size(); ++reference) {
      if ((plan[i] >> reference & 1) == 0) continue;
      const int quad = quads[i].number;
      ports.push_back({"REFCLK" + std::to_string(input) + "_" + std::to_string(quad), references[reference],
                       pad_of_input(design.part, quad, input), quad});
      ++input;
    }
  }
  return ports;
}

}  // namespace kdi::gt
