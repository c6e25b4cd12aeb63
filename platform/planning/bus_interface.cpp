// The signals of buses, and which buses cannot be.
#include <algorithm>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/Buses.h"
#include "kdi/planning/Standards.h"
#include "platform/planning/bus_facts.h"

namespace kdi::planning {
namespace {

constexpr int kMostRate = 100000;
constexpr char const* kDirections[] = {"in", "out", "inout"};

bool is_name(std::string const& name) {
  return !name.empty() && name.size() <= 200 && text::is_letter(name[0]) &&
         std::all_of(name.begin(), name.end(), [](char c) { return text::is_letter_or_digit(c) || c == '_'; });
}

IoStandard const& standard(std::string const& of, std::string const& name, std::string const& direction) {
  IoStandard const* const found = find_standard(name);
  if (found == nullptr) throw of + " has the standard " + text::shown(name) + ", which is not known";
  if (std::find(found->directions.begin(), found->directions.end(), direction) == found->directions.end())
    throw of + " has the standard " + name + ", which is not for signals that go " + direction;
  return *found;
}

class Builder {
 public:
  explicit Builder(BusRequest const& request) : request_(request) {}

  BusInterface build() {
    if (request_.buses.empty() || request_.buses.size() > static_cast<std::size_t>(kMostBuses))
      throw "an interface has 1 to " + std::to_string(kMostBuses) + " buses, not " +
          std::to_string(request_.buses.size());
    for (std::size_t i = 0; i < request_.buses.size(); ++i) add_bus(static_cast<int>(i), request_.buses[i]);
    add_system_clock();
    if (!request_.pad_of_signal.empty() && request_.pad_of_signal.size() != built_.signals.size())
      throw std::string("the pads that are asked for are not those of the interface");
    return std::move(built_);
  }

 private:
  using Role = BusSignal::Role;

  void check(Bus const& bus) const {
    if (!is_name(bus.name))
      throw "a bus is named " + text::shown(bus.name) + ": letters, digits and _, a letter first, up to 200";
    const auto between = [&](char const* what, int value, int most) {
      if (value < 1 || value > most)
        throw bus.name + " has " + what + " " + std::to_string(value) + ": 1 to " + std::to_string(most);
    };
    between("a width of", bus.width, kMostBusWidth);
    between("a rate in Mb/s of", bus.rate_mbps, kMostRate);
    if (bus.ratio != 1 && bus.ratio != 2 && bus.ratio != 4 && bus.ratio != 8)
      throw bus.name + " has a ratio of " + std::to_string(bus.ratio) + ": 1, 2, 4 or 8";
    if (bus.clock == BusClock::strobe && bus.direction == BusDirection::transmit)
      throw bus.name + " has a strobe, which comes with what is received";
    if (bus.clock == BusClock::forwarded && bus.direction != BusDirection::transmit)
      throw bus.name + " has a forwarded clock, which goes with what is sent";
    if (bus.clock == BusClock::none && bus.direction != BusDirection::transmit &&
        request_.system_clock == SystemClock::none)
      throw bus.name + " has neither a strobe nor a system clock that captures it";
    check_standards(bus);
  }

  void check_standards(Bus const& bus) const {
    const std::string direction = kDirections[static_cast<int>(bus.direction)];
    IoStandard const& data = standard(bus.name, bus.standard, direction);
    const auto among = [&](char const* what, std::string const& word, std::vector<std::string> const& words) {
      if (word.empty() || std::find(words.begin(), words.end(), word) != words.end()) return;
      throw bus.name + " has the " + what + " " + text::shown(word) + ", which " + data.name + " has not" +
          (words.empty() ? "" : ": " + text::joined(words, ", "));
    };
    among("bias", bus.bias, data.dc_bias);
    among("termination", bus.termination, data.termination);
    if (bus.clock == BusClock::none) return;
    IoStandard const& clock = standard(bus.name, bus.clock_standard, direction);
    if (number::whole<double>(data.vcco_v) != number::whole<double>(clock.vcco_v))
      throw bus.name + " has two supplies: " + data.name + " of " + data.vcco_v + " V, " + clock.name + " of " +
          clock.vcco_v + " V";
    if (!data.differential && !clock.differential && data.vref_v != clock.vref_v && !data.vref_v.empty() &&
        !clock.vref_v.empty() && direction != "out")
      throw bus.name + " has two reference voltages: " + data.name + " of " + data.vref_v + " V, " + clock.name +
          " of " + clock.vref_v + " V";
  }

  void add_one(BusSignal signal) {
    if (!names_.insert(signal.name).second) throw "two signals have the name " + text::quoted(signal.name);
    built_.signals.push_back(std::move(signal));
  }

  void add(std::string const& port, int index, int bus, Role role, std::string const& direction,
           std::string const& of_standard) {
    const bool is_pair = is_differential(of_standard);
    const std::string at = index < 0 ? "" : "[" + std::to_string(index) + "]";
    const int first = static_cast<int>(built_.signals.size());
    for (const bool negative : {false, true}) {
      if (negative && !is_pair) break;
      const std::string whole = is_pair ? port + (negative ? "_n" : "_p") : port;
      const int partner = is_pair ? first + (negative ? 0 : 1) : -1;
      add_one({whole + at, whole, index, bus, role, direction, of_standard, partner, negative});
    }
  }

  void add_bus(int index, Bus const& bus) {
    check(bus);
    const std::string direction = kDirections[static_cast<int>(bus.direction)];
    if (bus.clock == BusClock::strobe)
      add(bus.name + "_strobe", -1, index, Role::strobe, direction, bus.clock_standard);
    if (bus.clock == BusClock::forwarded)
      add(bus.name + "_clk", -1, index, Role::forwarded_clock, direction, bus.clock_standard);
    for (int bit = 0; bit < bus.width; ++bit) add(bus.name, bit, index, Role::data, direction, bus.standard);
  }

  void add_system_clock() {
    if (request_.system_clock == SystemClock::none) return;
    IoStandard const& of = standard("the system clock", request_.system_clock_standard, "in");
    if (of.differential != (request_.system_clock == SystemClock::differential))
      throw "the system clock has the standard " + of.name + ", which is " +
          (of.differential ? "differential" : "single-ended");
    add("sys_clk", -1, kSystemClockBus, Role::system_clock, "in", of.name);
  }

  BusRequest const& request_;
  BusInterface built_;
  std::set<std::string> names_;
};

}  // namespace

int BusInterface::signal(std::string_view name) const {
  const auto at = std::find_if(signals.begin(), signals.end(), [&](BusSignal const& one) { return one.name == name; });
  return at == signals.end() ? -1 : static_cast<int>(at - signals.begin());
}

BusInterface bus_interface_of(BusRequest const& request) { return Builder(request).build(); }

}  // namespace kdi::planning
