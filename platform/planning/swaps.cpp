// What may change places on a board.
#include <algorithm>
#include <map>
#include <mutex>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/planning/Board.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

std::vector<MirrorPair> read_pairs(JsonValue rule) {
  std::vector<MirrorPair> pairs;
  if (const auto list = rule.find("pairs"))
    for (const JsonValue pair : list->items()) {
      if (pair.items().size() != 3) pair.refuse("a port and two of its indices");
      pairs.push_back({std::string(pair.items()[0].text()), data::whole(pair.items()[1], 0, 63),
                       data::whole(pair.items()[2], 0, 63)});
    }
  return pairs;
}

std::vector<SwapRule> read_rules() {
  std::vector<SwapRule> rules;
  for (std::string const& directory : data_directories("board")) {
    if (!is_file(directory + "/swaps.json")) continue;
    const JsonFile file(directory + "/swaps.json");
    file.root().allow_only({"format", "swaps"});
    file.root().member("format").integer(1, 1);
    for (const JsonValue value : file.root().member("swaps").items()) {
      value.allow_only({"what", "types", "not_modules", "pairs", "text", "source", "bound_by_checksum"});
      value.member("what").choice({"bit", "nibble", "byte", "rank", "mirror"});
      rules.push_back({std::string(value.member("what").text()), data::texts(value, "types"),
                       data::texts(value, "not_modules"), read_pairs(value), std::string(value.member("text").text()),
                       std::string(value.member("source").text()), data::flag(value, "bound_by_checksum")});
    }
    break;  // the first root that has it counts
  }
  return rules;
}

class Lister {
 public:
  Lister(InterfaceRequest const& request, Interface const& interface, bool checksum)
      : request_(request), wanted_(interface), checksum_(checksum) {}

  std::vector<SwapClass> list() {
    if (permits("bit")) bits();
    if (permits("nibble")) nibbles();
    if (permits("byte")) bytes();
    if (permits("rank")) ranks();
    if (permits("mirror")) mirror();
    std::erase_if(classes_, [](SwapClass const& one) { return one.items.size() < 2; });
    return std::move(classes_);
  }

 private:
  bool permits(std::string const& what) const { return rule(what) != nullptr; }
  SwapRule const* rule(std::string const& what) const {
    const auto has = [](std::vector<std::string> const& list, std::string const& one) {
      return std::find(list.begin(), list.end(), one) != list.end();
    };
    for (SwapRule const& rule : swap_rules())
      if (rule.what == what && !(checksum_ && rule.bound_by_checksum) && has(rule.types, request_.kind->type) &&
          !has(rule.not_modules, request_.part.module))
        return &rule;
    return nullptr;
  }

  std::string const& name(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)].name; }
  bool is_data(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)].what == SignalClass::data; }
  int of_port(std::string const& port, int index) const {
    return wanted_.signal("c0_" + request_.kind->prefix + "_" + port + "[" + std::to_string(index) + "]");
  }

  static std::vector<int> of_cell(Cell const& cell) {
    std::vector<int> signals = cell.singles;
    if (cell.positive >= 0) signals.insert(signals.begin(), {cell.positive, cell.negative});
    return signals;
  }

  // The same bit of the other way of a memory with separate ports, where there is one.
  std::vector<int> both_ways(int signal) const {
    std::vector<int> all{signal};
    Signal const& one = wanted_.signals[static_cast<std::size_t>(signal)];
    if (request_.kind->lanes.size() < 2) return all;
    for (std::size_t i = 0; i < wanted_.signals.size(); ++i)
      if (static_cast<int>(i) != signal && is_data(static_cast<int>(i)) && wanted_.signals[i].index == one.index)
        all.push_back(static_cast<int>(i));
    return all;
  }

  void bits() {
    for (Unit const& unit : wanted_.units)
      for (Cell const& cell : unit.cells) {
        SwapClass bits{"bit", {}};
        for (const int signal : cell.singles) {
          if (!is_data(signal)) continue;
          std::vector<int> signals = both_ways(signal);
          if (signals.size() == 1 || signals[0] < signals[1])  // else told with the other way
            bits.items.push_back({name(signal), std::move(signals)});
        }
        classes_.push_back(std::move(bits));
      }
  }

  void nibbles() {
    SwapClass nibbles{"nibble", {}};
    for (Unit const& unit : wanted_.units)
      if (unit.cells.size() == 2)
        for (Cell const& cell : unit.cells)
          nibbles.items.push_back({name(cell.singles[0]) + " and the bits of its strobe", of_cell(cell)});
    classes_.push_back(std::move(nibbles));
  }

  // With a strobe that clocks no other byte, and of the same signals.
  void bytes() {
    std::map<std::size_t, SwapClass> by_size;
    for (Unit const& unit : wanted_.units) {
      const auto units = std::count_if(wanted_.units.begin(), wanted_.units.end(),
                                       [&](Unit const& other) { return other.set == unit.set; });
      if (unit.cells.size() != 1 || units != 1) continue;
      SwapClass& bytes = by_size.try_emplace(unit.signals.size(), SwapClass{"byte", {}}).first->second;
      bytes.items.push_back({unit.group, unit.signals});
    }
    for (auto& [size, bytes] : by_size) classes_.push_back(std::move(bytes));
  }

  void ranks() {
    SwapClass ranks{"rank", {}};
    for (int rank = 0; rank < request_.ranks * request_.slots; ++rank) {
      SwapItem item{"rank " + std::to_string(rank), {}};
      for (AddressPort const& port : request_.kind->address)
        if (port.count == "ranks") item.signals.push_back(of_port(port.port, rank));
      if (!item.signals.empty()) ranks.items.push_back(std::move(item));
    }
    classes_.push_back(std::move(ranks));
  }

  // All pairs at once, as far as the memory has them.
  void mirror() {
    SwapItem straight{"addresses", {}}, mirrored{"addresses of a mirrored rank", {}};
    for (MirrorPair const& pair : rule("mirror")->pairs) {
      const int first = of_port(pair.port, pair.first), second = of_port(pair.port, pair.second);
      if (first < 0 || second < 0) continue;
      straight.signals.push_back(first);
      mirrored.signals.push_back(second);
    }
    if (!straight.signals.empty()) classes_.push_back({"mirror", {std::move(straight), std::move(mirrored)}});
  }

  InterfaceRequest const& request_;
  Interface const& wanted_;
  bool checksum_;
  std::vector<SwapClass> classes_;
};

}  // namespace

std::vector<SwapRule> const& swap_rules() {
  static std::mutex mutex;
  static std::vector<SwapRule> const* all = nullptr;  // never destroyed
  const std::lock_guard lock(mutex);
  if (all == nullptr) all = new std::vector<SwapRule>(read_rules());
  return *all;
}

std::vector<SwapClass> permitted_swaps(InterfaceRequest const& request, Interface const& interface, bool checksum) {
  return Lister(request, interface, checksum).list();
}

}  // namespace kdi::planning
