#include "platform/place/bus_plan.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/Standards.h"
#include "platform/place/dictionary.h"
#include "platform/place/memory_plan.h"

namespace kdi::place {
namespace {

using planning::BusClock;
using planning::BusSignal;

constexpr int kRatio = 8;  // unless told
constexpr char kNone[] = "NONE";
constexpr char const* kDirections[] = {"RX", "TX", "BIDIR"};

// Buses in the words of people as those of the planner: data buses of one strobe or clock are one, since they share it.
class Reader {
 public:
  explicit Reader(Settings const& settings)
      : settings_(settings), buses_(by_name(settings.buses())), ports_(ports_of(buses_)) {}

  void read(planning::BusRequest& request, std::vector<int>& slips) {
    if (buses_.empty()) throw std::string("BUSES: there are none");
    check_turning();
    for (std::size_t i = 0; i < buses_.size(); ++i) {
      Bus const& bus = buses_[i];
      if (bus.role != BusRole::data && bus.width != 1)
        throw "BUSES: " + bus.name + " WIDTH: a strobe or clock is one signal";
      if (bus.role == BusRole::data)
        take_data(static_cast<int>(i));
      else if (bus.role == BusRole::input_clock)
        take_input_clock(static_cast<int>(i));
    }
    for (Bus const& bus : buses_)
      if ((bus.role == BusRole::strobe || bus.role == BusRole::clk_fwd) && !has_data(bus.name))
        throw "BUSES: " + bus.name + " is the STROBE of no bus";
    for (Group const& group : groups_) {
      request.buses.push_back(planned(group));
      slips.push_back(buses_[static_cast<std::size_t>(group.data[0])].bit_slip);
    }
    read_clock(request);
  }

  /// By port the termination that the user asks for.
  std::map<std::string, std::string> terminations() const {
    std::map<std::string, std::string> all;
    for (BusPort const& port : ports_) {
      Bus const& bus = buses_[static_cast<std::size_t>(port.bus)];
      if (bus.termination.empty()) continue;
      planning::IoStandard const* const of = planning::find_standard(standard(bus));
      const std::vector<std::string> words = of == nullptr ? std::vector<std::string>() : of->termination;
      if (bus.termination != kNone && std::find(words.begin(), words.end(), bus.termination) == words.end())
        throw "BUSES: " + bus.name + " TERMINATION: " + text::shown(bus.termination) + " is none of " + standard(bus) +
            ": " + text::joined(words, ", ") + (words.empty() ? "" : ", ") + kNone;
      all.emplace(port.name, bus.termination);
    }
    return all;
  }

  /// In the order of the planner's signals.
  std::vector<std::string> names(planning::BusRequest const& request) const {
    std::vector<std::string> names;
    const auto add = [&](int bus) {
      for (BusPort const& port : ports_)
        if (port.bus == bus) names.push_back(port.name);
    };
    for (Group const& group : groups_) {
      if (group.clock >= 0) add(group.clock);
      for (const int data : group.data) add(data);
    }
    if (request.system_clock == planning::SystemClock::none) return names;
    if (input_clock_ >= 0)
      add(input_clock_);
    else if (request.system_clock == planning::SystemClock::differential)
      names.insert(names.end(), {"sys_clk_p", "sys_clk_n"});
    else
      names.emplace_back("sys_clk");
    return names;
  }

 private:
  // A map of maps has no order of its own, and the same buses are to have the same plan.
  static Buses by_name(Buses buses) {
    std::sort(buses.begin(), buses.end(), [](Bus const& a, Bus const& b) { return a.name < b.name; });
    return buses;
  }

  void check_turning() const {
    if (!settings_.has("BIDIR_MODE")) return;
    const auto turning =
        std::find_if(buses_.begin(), buses_.end(), [](Bus const& bus) { return bus.direction == BusDirection::bidir; });
    const bool is_told = settings_.truth("BIDIR_MODE");
    if (is_told && turning == buses_.end()) throw std::string("BIDIR_MODE: no bus goes BIDIR");
    if (!is_told && turning != buses_.end()) throw "BIDIR_MODE: " + turning->name + " goes BIDIR";
  }

  struct Group {
    int clock = -1;  // a bus; -1: none
    std::vector<int> data;
  };

  int index_of(std::string const& name) const {
    for (std::size_t i = 0; i < buses_.size(); ++i)
      if (buses_[i].name == name) return static_cast<int>(i);
    return -1;
  }
  bool has_data(std::string const& clock) const {
    return std::any_of(buses_.begin(), buses_.end(), [&](Bus const& bus) { return bus.strobe == clock; });
  }

  void take_input_clock(int index) {
    if (input_clock_ >= 0)
      throw "BUSES: " + buses_[static_cast<std::size_t>(input_clock_)].name + " and " +
          buses_[static_cast<std::size_t>(index)].name + " are both an InputClock";
    input_clock_ = index;
  }

  void take_data(int index) {
    Bus const& bus = buses_[static_cast<std::size_t>(index)];
    const std::string application = settings_.text("APPLICATION_TYPE");
    const std::string direction = kDirections[static_cast<int>(bus.direction)];
    if (!application.empty() && application != direction && !(application == "RX_TX" && direction != "BIDIR"))
      throw "APPLICATION_TYPE: " + bus.name + " goes " + direction + " and not " + application;
    const int clock = bus.strobe.empty() ? -1 : index_of(bus.strobe);
    const bool has_clock = clock >= 0 && buses_[static_cast<std::size_t>(clock)].role != BusRole::input_clock;
    if (has_clock) {
      const bool is_sent = bus.direction == BusDirection::tx;
      if (is_sent != (buses_[static_cast<std::size_t>(clock)].role == BusRole::clk_fwd))
        throw "BUSES: " + bus.name + " STROBE: what goes " + direction + " has a bus of the role " +
            (is_sent ? "ClkFwd" : "Strobe");
      for (Group& group : groups_)
        if (group.clock == clock) {
          join(group, index);
          return;
        }
    }
    groups_.push_back({has_clock ? clock : -1, {index}});
  }

  void join(Group& group, int index) {
    Bus const& first = buses_[static_cast<std::size_t>(group.data[0])];
    Bus const& bus = buses_[static_cast<std::size_t>(index)];
    const auto same = [&](char const* field, auto const& a, auto const& b) {
      if (a != b) throw "BUSES: " + first.name + " and " + bus.name + " have one strobe and differ in " + field;
    };
    same("DIRECTION", first.direction, bus.direction);
    same("IO_STANDARD", standard(first), standard(bus));
    same("RATIO", ratio(first), ratio(bus));
    same("DC_BIAS", bias(first), bias(bus));
    same("BIT_SLIP", first.bit_slip, bus.bit_slip);
    group.data.push_back(index);
  }

  std::string standard(Bus const& bus) const {
    std::string name = bus.standard;
    if (name.empty()) name = settings_.text(bus.differential ? "DIFF_IO_STD" : "SINGLE_IO_STD");
    if (name.empty()) throw "BUSES: " + bus.name + " IO_STANDARD: none is told";
    planning::IoStandard const* const known = planning::find_standard(name);
    if (known != nullptr && known->differential != bus.differential)
      throw "BUSES: " + bus.name + " DIFFERENTIAL: " + name + " is " +
          (known->differential ? "for pairs" : "for single signals");
    return name;
  }
  int ratio(Bus const& bus) const {
    if (bus.ratio != 0) return bus.ratio;
    const int all = settings_.ratio("RATIO");
    return all == 0 ? kRatio : all;
  }
  std::string bias(Bus const& bus) const {
    if (bus.direction == BusDirection::tx) return {};  // it is of inputs
    std::string word = bus.bias;
    if (word.empty()) word = settings_.text(bus.differential ? "DIFF_DC_BIAS" : "SINGLE_DC_BIAS");
    return word == kNone ? std::string() : word;
  }

  planning::Bus planned(Group const& group) const {
    Bus const& first = buses_[static_cast<std::size_t>(group.data[0])];
    planning::Bus bus;
    bus.name = first.name;
    bus.direction = static_cast<planning::BusDirection>(first.direction);
    bus.width = 0;
    for (const int data : group.data) bus.width += buses_[static_cast<std::size_t>(data)].width;
    bus.standard = standard(first);
    bus.ratio = ratio(first);
    bus.bias = bias(first);
    bus.rate_mbps = static_cast<int>(std::ceil(settings_.decimal("DATA_RATE")));
    if (bus.rate_mbps == 0) throw std::string("DATA_RATE: it is not told");
    if (group.clock < 0) return bus;
    Bus const& clock = buses_[static_cast<std::size_t>(group.clock)];
    bus.clock = clock.role == BusRole::strobe ? BusClock::strobe : BusClock::forwarded;
    bus.clock_standard = standard(clock);
    return bus;
  }

  void read_clock(planning::BusRequest& request) const {
    using planning::SystemClock;
    const std::string word = settings_.text("SYSTEM_CLOCK");
    request.system_clock = word == "Differential"   ? SystemClock::differential
                           : word == "Single-Ended" ? SystemClock::single_ended
                                                    : SystemClock::none;
    if (input_clock_ >= 0) {
      Bus const& clock = buses_[static_cast<std::size_t>(input_clock_)];
      request.system_clock = clock.differential ? SystemClock::differential : SystemClock::single_ended;
      request.system_clock_standard = standard(clock);
    } else if (request.system_clock != SystemClock::none) {
      request.system_clock_standard = clock_standard(request);
    }
  }

  // As the setting says; unless told of the supply of the first bus.
  std::string clock_standard(planning::BusRequest const& request) const {
    const bool is_pair = request.system_clock == planning::SystemClock::differential;
    if (std::string told = settings_.text(is_pair ? "DIFF_IO_STD" : "SINGLE_IO_STD"); !told.empty()) return told;
    planning::IoStandard const* const first = planning::find_standard(request.buses[0].standard);
    if (first == nullptr || first->differential == is_pair) return request.buses[0].standard;
    for (std::string const& name : planning::standard_names()) {
      planning::IoStandard const* const one = planning::find_standard(name);
      const bool has_same_kinds = std::all_of(request.banks.begin(), request.banks.end(), [&](int number) {
        auto const& bank = request.layout->banks[static_cast<std::size_t>(request.layout->bank_of_number(number))];
        return first->rate_mbps.count(bank.kind) == 0 || one->rate_mbps.count(bank.kind) != 0;
      });
      if (one->differential == is_pair && one->vcco_v == first->vcco_v && !one->controlled && has_same_kinds)
        return name;
    }
    throw std::string("SYSTEM_CLOCK: no standard for it has the supply of ") + request.buses[0].standard;
  }

  Settings const& settings_;
  const Buses buses_;
  std::vector<BusPort> ports_;
  std::vector<Group> groups_;
  int input_clock_ = -1;
};

// Banks whose groups of sites are of the size, among those that the user names.
std::vector<int> banks_for(planning::NibbleMap const& map, planning::Layout const& layout, SiteGroup group,
                           std::vector<int> const& wanted) {
  const std::size_t sites = group == SiteGroup::nibble ? 6 : 8;
  std::vector<int> numbers;
  for (planning::NibbleBank const& bank : map.banks) {
    const int number = layout.banks[static_cast<std::size_t>(bank.bank)].number;
    const bool fits = map.nibbles[static_cast<std::size_t>(bank.first)].pads.size() == sites;
    const bool is_wanted = wanted.empty() || std::find(wanted.begin(), wanted.end(), number) != wanted.end();
    if (fits && is_wanted) numbers.push_back(number);
  }
  for (const int number : wanted)
    if (std::find(numbers.begin(), numbers.end(), number) == numbers.end())
      throw "BANKS: " + std::to_string(number) + " is no bank of " +
          (group == SiteGroup::nibble ? "nibbles" : "octads");
  if (numbers.empty())
    throw std::string("the part has no banks of ") + (group == SiteGroup::nibble ? "nibbles" : "octads");
  return numbers;
}

std::string unused(std::string name, std::vector<planning::Bus> const& buses) {
  while (std::any_of(buses.begin(), buses.end(), [&](planning::Bus const& bus) { return bus.name == name; }))
    name += "_";
  return name;
}

// A bus that is clocked by its own strobe or clock is in one bank. One without is as many as it takes banks, as wide as
// each other but for one signal.
void split_wide(planning::BusRequest& request, std::vector<int>& slips) {
  std::vector<planning::Bus> buses;
  std::vector<int> slips_then;
  for (std::size_t i = 0; i < request.buses.size(); ++i) {
    planning::Bus const& bus = request.buses[i];
    const int most = planning::most_data_in_bank(request, static_cast<int>(i));
    const int parts = most == 0 ? 1 : (bus.width + most - 1) / most;
    if (parts > 1 && bus.clock != BusClock::none)
      throw "BUSES: " + bus.name + " WIDTH: what has one strobe or clock is in one bank, which has room for " +
          std::to_string(most) + " at most and not for " + std::to_string(bus.width) +
          ": let there be more buses, each with its own";
    for (int part = 0; part < parts; ++part) {
      planning::Bus one = bus;
      one.width = bus.width / parts + (part < bus.width % parts ? 1 : 0);
      if (parts > 1) one.name = unused(bus.name + "_" + std::to_string(part), request.buses);
      buses.push_back(std::move(one));
      slips_then.push_back(slips[i]);
    }
  }
  if (buses.size() > static_cast<std::size_t>(planning::kMostBuses))
    throw "BUSES: an interface has at most " + std::to_string(planning::kMostBuses) +
        " strobes, clocks that are sent and buses without, each bank of a wide one counting, and not " +
        std::to_string(buses.size()) + ": another interface can have the others, beside it";
  request.buses = std::move(buses);
  slips = std::move(slips_then);
}

char const* role_word(BusSignal::Role role) {
  constexpr char const* kRoles[] = {"Data", "Strobe", "ClkFwd", "InputClock"};
  return kRoles[static_cast<int>(role)];
}

// Words of the fabric come at the rate of the bits over the ratio, on a clock that a buffer has to carry.
void check_word_clock(device::Part const& part, planning::Bus const& bus) {
  if (part.speed->clock_buffers.empty()) return;
  constexpr double kMhzOfNs = 1000;  // over a period in ns
  const double most_mhz = kMhzOfNs / part.speed->clock_buffers[0].period_ns.min;
  if (bus.rate_mbps <= most_mhz * bus.ratio) return;
  throw "RATIO: " + bus.name + " has words of " + number::plain(static_cast<double>(bus.rate_mbps) / bus.ratio) +
      " MHz, and clocks of the part go up to " + number::plain(std::floor(most_mhz));
}

// Each standard that is told has to be the port's own.
void take_wishes(BusSetup& setup, Locations const& told, std::string const& key) {
  std::vector<int> pads(setup.wanted.signals.size(), -1);
  for (auto const& [port, at] : told)
    if (setup.wanted.signal(port) < 0) throw key + ": there is no port " + text::shown(port);
  for (auto const& [port, pad] : pads_of(told, *setup.layout, key)) {
    const int signal = setup.wanted.signal(port);
    pads[static_cast<std::size_t>(signal)] = pad;
    std::string const& standard = told.at(port).standard;
    std::string const& own = setup.wanted.signals[static_cast<std::size_t>(signal)].standard;
    if (!standard.empty() && standard != own)
      throw key + ": " + port + ": the standard is " + text::shown(own) + " and not " + text::shown(standard);
  }
  if (std::any_of(pads.begin(), pads.end(), [](int pad) { return pad >= 0; })) setup.request.pad_of_signal = pads;
}

}  // namespace

BusSetup bus_setup(device::Part const& part, SiteGroup group, Asked const& what,
                   std::vector<planning::TakenPad> taken) {
  Settings const& settings = what.settings;
  BusSetup setup;
  setup.layout = layout_of(part);
  setup.nibbles = std::make_shared<planning::NibbleMap const>(planning::nibble_map(*setup.layout));
  planning::BusRequest& request = setup.request;
  request.layout = setup.layout.get();
  request.nibbles = setup.nibbles.get();
  request.grade = part.speed->name;
  request.taken = std::move(taken);
  request.banks = banks_for(*setup.nibbles, *setup.layout, group, settings.numbers("BANKS"));
  for (const int bank : banks_for(*setup.nibbles, *setup.layout, group, {}))
    if (std::find(request.banks.begin(), request.banks.end(), bank) == request.banks.end())
      setup.other_banks.push_back(bank);
  request.most_banks = settings.whole("MAX_BANKS");
  if (const int most = settings.whole("BANKS_IN_TRIPLET"); most > 0) request.most_banks_of_triplet = most;
  request.internal_reference = settings.truth("INTERNAL_VREF");
  Reader reader(settings);
  reader.read(request, setup.slips);
  split_wide(request, setup.slips);
  setup.wanted = planning::bus_interface_of(request);
  for (planning::Bus const& bus : request.buses) check_word_clock(part, bus);
  setup.terminations = reader.terminations();
  const std::vector<std::string> names = reader.names(request);
  std::set<std::string> known;
  for (std::size_t i = 0; i < names.size(); ++i) {
    setup.wanted.signals[i].name = names[i];
    if (!known.insert(names[i]).second) throw "BUSES: two ports are called " + text::quoted(names[i]);
  }
  take_wishes(setup, what.locations, what.key);
  return setup;
}

BusPlan::BusPlan(device::Part const& part, SiteGroup group, Asked const& what, std::vector<planning::TakenPad> taken)
    : setup_(bus_setup(part, group, what, std::move(taken))) {
  planning::BusResult result = planning::place_buses(setup_.request, setup_.wanted);
  if (!result.plan) throw "the ports cannot be placed: " + planning::reason_of(setup_.request, *result.refutation);
  pads_ = std::move(result.plan->pad_of_signal);
}

std::vector<planning::TakenPad> BusPlan::claims() const {
  std::vector<planning::TakenPad> claims;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    BusSignal const& signal = setup_.wanted.signals[i];
    claims.push_back(
        {pads_[i], "another interface", signal.standard, signal.direction != "out", signal.bus >= 0, true});
  }
  return claims;
}

PortPads BusPlan::port_pads() const {
  PortPads pads;
  for (std::size_t i = 0; i < pads_.size(); ++i) pads.emplace(setup_.wanted.signals[i].name, pads_[i]);
  return pads;
}

std::string const& BusPlan::standard(std::string const& port) const {
  return setup_.wanted.signals[static_cast<std::size_t>(setup_.wanted.signal(port))].standard;
}

std::map<std::string, std::vector<std::string>> BusPlan::strobes() const {
  std::map<std::string, std::vector<std::string>> strobes;
  for (auto const& [strobe, captured] : planning::captures_of(setup_.request, setup_.wanted, pads_)) {
    std::vector<std::string>& names = strobes[setup_.wanted.signals[static_cast<std::size_t>(strobe)].name];
    for (planning::CapturedNibble const& one : captured)
      names.push_back(
          nibble_name(*setup_.layout, setup_.nibbles->nibbles[static_cast<std::size_t>(one.nibble)].pads[0]));
  }
  return strobes;
}

PlanWords BusPlan::words() const {
  PlanWords words{port_pads(), {}, strobes()};
  for (BusSignal const& signal : setup_.wanted.signals) words.standards.emplace(signal.name, signal.standard);
  for (auto const& [strobe, captured] : planning::captures_of(setup_.request, setup_.wanted, pads_)) {
    const int more =
        setup_.slips[static_cast<std::size_t>(setup_.wanted.signals[static_cast<std::size_t>(strobe)].bus)];
    for (planning::CapturedNibble const& one : captured)
      words.bit_slips.emplace(
          nibble_name(*setup_.layout, setup_.nibbles->nibbles[static_cast<std::size_t>(one.nibble)].pads[0]),
          one.bit_slip + more);
  }
  return words;
}

std::map<std::string, PinInfo> BusPlan::pin_info() const {
  std::map<std::string, PinInfo> info;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    BusSignal const& signal = setup_.wanted.signals[i];
    planning::PlacedPad const& at = setup_.layout->pads[static_cast<std::size_t>(pads_[i])];
    info[signal.name] = {role_word(signal.role), signal.direction, at.ball, at.name, at.site, signal.standard};
  }
  return info;
}

OptionMap BusPlan::constraints() const {
  OptionMap ports;
  for (std::size_t i = 0; i < pads_.size(); ++i) {
    BusSignal const& signal = setup_.wanted.signals[i];
    planning::IoStandard const& standard = *planning::find_standard(signal.standard);
    Pairs properties{{"PACKAGE_PIN", setup_.layout->pads[static_cast<std::size_t>(pads_[i])].ball},
                     {"IOSTANDARD", signal.standard}};
    if (signal.direction != "in" && !standard.output_impedance.empty())
      properties.emplace_back("OUTPUT_IMPEDANCE", standard.output_impedance[0]);
    const auto told = setup_.terminations.find(signal.name);
    const std::string termination = told != setup_.terminations.end() ? told->second
                                    : standard.termination.empty()    ? std::string(kNone)
                                                                      : standard.termination[0];
    if (signal.direction != "out" && termination != kNone) properties.emplace_back("ODT", termination);
    if (signal.role == BusSignal::Role::data &&
        !setup_.request.buses[static_cast<std::size_t>(signal.bus)].bias.empty())
      properties.emplace_back("DC_BIAS", setup_.request.buses[static_cast<std::size_t>(signal.bus)].bias);
    ports[signal.name] = write_dictionary(properties);
  }
  return ports;
}

int BusPlan::bank_number(int pad) const {
  return setup_.layout->banks[static_cast<std::size_t>(setup_.layout->bank_of_pad(pad))].number;
}

std::vector<int> BusPlan::banks() const {
  std::set<int> numbers;
  for (const int pad : pads_) numbers.insert(bank_number(pad));
  return {numbers.begin(), numbers.end()};
}

int BusPlan::master_bank() const {
  const int pad = setup_.request.system_clock == planning::SystemClock::none ? pads_[0] : pads_.back();
  planning::NibbleBank const& home = *setup_.nibbles->of_bank(setup_.layout->bank_of_pad(pad));
  const int master = setup_.nibbles->banks[static_cast<std::size_t>(home.master)].bank;
  return setup_.layout->banks[static_cast<std::size_t>(master)].number;
}

int BusPlan::system_clock_bank() const {
  return setup_.request.system_clock == planning::SystemClock::none ? -1 : bank_number(pads_.back());
}

std::vector<CoreInterface> interfaces_of_buses(Settings const& settings) {
  std::vector<CoreInterface> all;
  for (Bus const& bus : settings.buses()) {
    CoreInterface one{bus.name, {}};
    std::string direction = bus.direction == BusDirection::rx   ? "in"
                            : bus.direction == BusDirection::tx ? "out"
                                                                : "inout";
    // Of a strobe or clock it is that of its data.
    for (Bus const& data : settings.buses())
      if (data.role == BusRole::data && data.strobe == bus.name && bus.role != BusRole::input_clock)
        direction = data.direction == BusDirection::rx ? "in" : data.direction == BusDirection::tx ? "out" : "inout";
    for (char const* const half : {"_p", "_n"}) {
      if (!bus.differential && half[1] == 'n') break;
      one.ports.push_back(
          {bus.differential ? bus.name + half : bus.name, direction, bus.width, std::string(word_of(bus.role))});
    }
    all.push_back(std::move(one));
  }
  return all;
}

}  // namespace kdi::place
