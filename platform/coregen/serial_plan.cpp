#include "platform/coregen/serial_plan.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/memory_v1.h"
#include "platform/coregen/instances.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

using planning::Bus;
using planning::BusSignal;

constexpr char kNone[] = "-";

int whole(std::string const& of, std::string const& word) {
  const auto value = number::whole<int>(word);
  if (!value) throw of + " " + text::shown(word) + " is no whole number";
  return *value;
}

template <std::size_t count>
int choice(std::string const& of, std::string const& word, std::array<char const*, count> const& words) {
  for (std::size_t i = 0; i < count; ++i)
    if (text::same_but_case(word, words[i])) return static_cast<int>(i);
  throw of + " " + text::shown(word) + " is none of " + text::joined(words, " ");
}

// name,direction,width,standard,clock,clock_standard,rate,ratio,bias
Bus read_bus(std::string_view words) {
  constexpr std::size_t kFields = 9;
  constexpr std::size_t kNeeded = 4;
  std::vector<std::string> fields;
  for (const std::string_view field : text::split(words, ',')) fields.emplace_back(field);
  if (fields.size() < kNeeded || fields.size() > kFields)
    throw "bus " + text::shown(words) + " has " + std::to_string(fields.size()) +
        " fields: 4 to 9, with commas between";
  fields.resize(kFields);
  for (std::string& field : fields)
    if (field == kNone) field.clear();
  Bus bus;
  bus.name = fields[0];
  const std::string of = "bus " + bus.name + ":";
  bus.direction = static_cast<planning::BusDirection>(choice(of, fields[1], std::array{"RX", "TX", "BIDIR"}));
  bus.width = whole(of, fields[2]);
  bus.standard = fields[3];
  if (!fields[4].empty())
    bus.clock = static_cast<planning::BusClock>(choice(of, fields[4], std::array{"none", "Strobe", "ClkFwd"}));
  bus.clock_standard = fields[5].empty() ? bus.standard : fields[5];
  constexpr int kUsualRate = 800;
  bus.rate_mbps = fields[6].empty() ? kUsualRate : whole(of, fields[6]);
  bus.ratio = fields[7].empty() ? 8 : whole(of, fields[7]);
  bus.bias = fields[8];
  return bus;
}

}  // namespace

SerialPlan::SerialPlan(device::Part const& part, OptionMap const& options, planning::Seat& seat)
    : layout_(planning::layout_of(part)), map_(planning::nibble_map(layout_)) {
  if (map_.banks.empty()) throw "part " + text::shown(part.name) + " has no banks that are planned by nibble";
  read(options);
  interface_ = planning::bus_interface_of(request_);
  place(seat);
}

void SerialPlan::read(OptionMap const& options) {
  const auto told = [&](char const* key) {
    std::string const* const value = given(options, key);
    return value == nullptr ? std::string() : *value;
  };
  request_.layout = &layout_;
  request_.nibbles = &map_;
  for (const std::string_view bus : text::words(required(options, "-buses"))) request_.buses.push_back(read_bus(bus));
  const std::string banks = told("-banks");
  for (const std::string_view bank : text::words(banks)) {
    request_.banks.push_back(whole("-banks:", std::string(bank)));
    if (layout_.bank_of_number(request_.banks.back()) < 0) throw "no I/O bank " + text::shown(bank);
  }
  const auto count = [&](char const* key, int most, int& into) {
    if (const std::string word = told(key); !word.empty()) {
      into = whole(std::string(key) + ":", word);
      if (into < 1 || into > most) throw std::string(key) + ": " + word + " is not 1 to " + std::to_string(most);
    }
  };
  count("-max_banks", 1024, request_.most_banks);
  count("-banks_in_triplet", planning::kBanksOfTriplet, request_.most_banks_of_triplet);
  if (const std::string clock = told("-system_clock"); !clock.empty())
    request_.system_clock = static_cast<planning::SystemClock>(
        choice("-system_clock:", clock, std::array{"Differential", "Single-Ended", "No_Buffer"}));
  request_.system_clock_standard = told("-system_clock_standard");
}

// Another thread may place something on the same part meanwhile; then this one looks again.
void SerialPlan::place(planning::Seat& seat) {
  for (;;) {
    planning::Occupancy::Seen seen = seat.others();
    request_.taken = std::move(seen.taken);
    const planning::BusResult result = planning::place_buses(request_, interface_);
    if (!result.plan) throw planning::reason_of(request_, *result.refutation);
    pads_ = result.plan->pad_of_signal;
    std::vector<planning::TakenPad> claims;
    for (std::size_t i = 0; i < pads_.size(); ++i) {
      BusSignal const& signal = interface_.signals[i];
      claims.push_back(
          {pads_[i], "a serial interface", signal.standard, signal.direction != "out", signal.bus >= 0, true});
    }
    if (seat.put(std::move(claims), seen.version)) return;
  }
}

std::string SerialPlan::name_of(planning::Nibble const& nibble) const {
  return std::to_string(layout_.banks[static_cast<std::size_t>(nibble.bank)].number) + "_" +
         std::to_string(nibble.index);
}

std::vector<std::vector<int>> SerialPlan::signals_by_nibble() const {
  std::vector<std::vector<int>> all;
  for (planning::Nibble const& nibble : map_.nibbles) {
    std::vector<int>& sites = all.emplace_back();
    for (const int pad : nibble.pads) {
      const auto at = std::find(pads_.begin(), pads_.end(), pad);
      sites.push_back(at == pads_.end() ? -1 : static_cast<int>(at - pads_.begin()));
    }
    if (std::all_of(sites.begin(), sites.end(), [](int signal) { return signal < 0; })) sites.clear();
  }
  return all;
}

OptionMap SerialPlan::places() const {
  OptionMap map;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    planning::PlacedPad const& pad = layout_.pads[static_cast<std::size_t>(pads_[i])];
    planning::Nibble const& nibble =
        map_.nibbles[static_cast<std::size_t>(map_.nibble_of_pad[static_cast<std::size_t>(pads_[i])])];
    const std::string words[] = {std::to_string(layout_.banks[static_cast<std::size_t>(nibble.bank)].number),
                                 layout_.lanes[static_cast<std::size_t>(pad.lane)].name,
                                 std::to_string(nibble.index),
                                 pad.site,
                                 pad.ball,
                                 interface_.signals[i].standard};
    map[interface_.signals[i].name] = text::joined(words, ",");
  }
  return map;
}

PinMap SerialPlan::nibbles() const {
  PinMap map;
  const auto all = signals_by_nibble();
  for (std::size_t i = 0; i < all.size(); ++i)
    for (const int signal : all[i])
      map[name_of(map_.nibbles[i])].push_back(signal < 0 ? std::string(kNone)
                                                         : interface_.signals[static_cast<std::size_t>(signal)].name);
  return map;
}

PinMap SerialPlan::captured() const {
  PinMap map;
  for (auto const& [strobe, nibbles] : planning::captures_of(request_, interface_, pads_))
    for (planning::CapturedNibble const& one : nibbles)
      map[interface_.signals[static_cast<std::size_t>(strobe)].name].push_back(
          name_of(map_.nibbles[static_cast<std::size_t>(one.nibble)]));
  return map;
}

OptionMap SerialPlan::parameters() const {
  OptionMap map;
  std::set<int> banks;
  const auto all = signals_by_nibble();
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::vector<std::string> ports, standards;
    for (const int signal : all[i]) {
      BusSignal const* const one = signal < 0 ? nullptr : &interface_.signals[static_cast<std::size_t>(signal)];
      ports.push_back(one == nullptr ? std::string(kNone) : one->name);
      standards.push_back(one == nullptr ? std::string(kNone) : one->standard);
    }
    if (ports.empty()) continue;
    banks.insert(layout_.banks[static_cast<std::size_t>(map_.nibbles[i].bank)].number);
    map["NIBBLE_" + name_of(map_.nibbles[i])] = text::joined(ports, ",");
    map["STANDARD_" + name_of(map_.nibbles[i])] = text::joined(standards, ",");
  }
  for (auto const& [strobe, nibbles] : captured())
    for (std::string const& nibble : nibbles) map["STROBE_" + nibble] = strobe;
  std::vector<std::string> numbers;
  numbers.reserve(banks.size());
  for (const int bank : banks) numbers.push_back(std::to_string(bank));
  map["NUM_BANKS"] = std::to_string(banks.size());
  map["BANKS"] = text::joined(numbers, ",");
  return map;
}

// ---------------------------------------------------------------------------------------------------------- operations

namespace {

// The plan by what the options say, or, where they say nothing of buses, the one that there is.
SerialPlan& serial_plan(Controller::State& state, OptionMap const& options) {
  OptionMap told;
  for (char const* const key : kSerialOptions) {
    if (std::string const* const value = given(options, key))
      told[key] = *value;
    else if (std::string const* const before = given(state.serial_options, key))
      told[key] = *before;
  }
  if (state.serial == nullptr || told != state.serial_options) {
    auto plan = std::make_unique<SerialPlan>(*state.part, told, *state.serial_seat);
    state.serial = std::move(plan);
    state.serial_options = std::move(told);
  }
  return *state.serial;
}

// Asks the plan something, after a warning of each option that is none.
template <class Ask>
auto ask_serial(Controller& controller, OptionMap options, Ask ask) {
  keep_known(options, kSerialOptions);  // not under the lock: who hears of a warning may ask again
  return controller.state().ask([&](Controller::State& state) { return ask(serial_plan(state, options)); });
}

}  // namespace
}  // namespace kdi::coregen

namespace memory::memory_v1 {

using kdi::coregen::ask_serial;
using kdi::coregen::SerialPlan;

OptionMap HIPMigInstance::advwizDefaultPinAssignment(OptionMap const& options) {
  return ask_serial(*this, options, [](SerialPlan& plan) { return plan.places(); });
}

PinMap HIPMigInstance::advwizNibbleGrouping(OptionMap const& options) {
  return ask_serial(*this, options, [](SerialPlan& plan) { return plan.nibbles(); });
}

OptionMap HIPMigInstance::advwizGenerateMapData(std::string const&, std::string const& controller) {
  if (controller != "0" && controller != "-1") throw "no controller " + kdi::text::shown(controller) + ": there is 0";
  return ask_serial(*this, {}, [](SerialPlan& plan) { return plan.parameters(); });
}

PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(OptionMap const& options) {
  return ask_serial(*this, options, [](SerialPlan& plan) { return plan.captured(); });
}

}  // namespace memory::memory_v1
