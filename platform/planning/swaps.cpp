// What may change places on a board, and which changes mend it.
#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/planning/Board.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

constexpr int kMostSwaps = 500;

std::vector<SwapRule> read_rules() {
  std::vector<SwapRule> rules;
  for (std::string const& directory : data_directories("board")) {
    if (!is_file(directory + "/swaps.json")) continue;
    const JsonFile file(directory + "/swaps.json");
    file.root().allow_only({"format", "swaps"});
    file.root().member("format").integer(1, 1);
    for (const JsonValue value : file.root().member("swaps").items()) {
      value.allow_only({"what", "types", "text", "source", "bound_by_checksum"});
      value.member("what").choice({"bit", "nibble", "byte", "rank"});
      rules.push_back({value.member("what").text(), data::texts(value, "types"), value.member("text").text(),
                       value.member("source").text(), data::flag(value, "bound_by_checksum")});
    }
    break;  // the first root that has it counts
  }
  return rules;
}

class Lister {
 public:
  Lister(InterfaceRequest const& request, Interface const& interface, bool checksum)
      : request_(request), wanted_(interface), checksum_(checksum) {}

  std::vector<Swap> list() {
    if (permits("bit")) bits();
    if (permits("nibble")) nibbles();
    if (permits("byte")) bytes();
    if (permits("rank")) ranks();
    return std::move(swaps_);
  }

 private:
  bool permits(std::string const& what) const {
    for (SwapRule const& rule : swap_rules())
      if (rule.what == what && !(checksum_ && rule.bound_by_checksum) &&
          std::find(rule.types.begin(), rule.types.end(), request_.kind->type) != rule.types.end())
        return true;
    return false;
  }

  std::string const& name(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)].name; }
  bool is_data(int signal) const { return wanted_.signals[static_cast<std::size_t>(signal)].what == SignalClass::data; }

  static std::vector<int> of_cell(Cell const& cell) {
    std::vector<int> signals = cell.singles;
    if (cell.positive >= 0) signals.insert(signals.begin(), {cell.positive, cell.negative});
    return signals;
  }

  void exchange(char const* what, std::string first, std::string second, std::vector<int> const& a,
                std::vector<int> const& b) {
    Swap swap{what, std::move(first), std::move(second), {}};
    for (std::size_t i = 0; i < a.size(); ++i) swap.signals.emplace_back(a[i], b[i]);
    swaps_.push_back(std::move(swap));
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
      for (Cell const& cell : unit.cells)
        for (std::size_t a = 0; a < cell.singles.size(); ++a)
          for (std::size_t b = a + 1; b < cell.singles.size(); ++b) {
            if (!is_data(cell.singles[a]) || !is_data(cell.singles[b])) continue;
            const std::vector<int> first = both_ways(cell.singles[a]), second = both_ways(cell.singles[b]);
            if (first.size() != second.size() || (first.size() > 1 && first[1] < first[0])) continue;  // told already
            exchange("bit", name(cell.singles[a]), name(cell.singles[b]), first, second);
          }
  }

  void nibbles() {
    std::vector<Cell const*> cells;
    for (Unit const& unit : wanted_.units)
      if (unit.cells.size() > 1)
        for (Cell const& cell : unit.cells) cells.push_back(&cell);
    for (std::size_t a = 0; a < cells.size(); ++a)
      for (std::size_t b = a + 1; b < cells.size(); ++b)
        exchange("nibble", name(cells[a]->singles[0]) + " and the bits of its strobe",
                 name(cells[b]->singles[0]) + " and the bits of its strobe", of_cell(*cells[a]), of_cell(*cells[b]));
  }

  void bytes() {
    for (std::size_t a = 0; a < wanted_.units.size(); ++a)
      for (std::size_t b = a + 1; b < wanted_.units.size(); ++b) {
        Unit const &first = wanted_.units[a], &second = wanted_.units[b];
        if (first.cells.size() == 1 && second.cells.size() == 1 && first.signals.size() == second.signals.size())
          exchange("byte", first.group, second.group, first.signals, second.signals);
      }
  }

  void ranks() {
    const int count = request_.ranks * request_.slots;
    std::vector<std::vector<int>> of_rank(static_cast<std::size_t>(count));
    for (AddressPort const& port : request_.kind->address) {
      if (port.count != "ranks") continue;
      for (int rank = 0; rank < count; ++rank)
        of_rank[static_cast<std::size_t>(rank)].push_back(
            wanted_.signal("c0_" + request_.kind->prefix + "_" + port.port + "[" + std::to_string(rank) + "]"));
    }
    for (int a = 0; a < count; ++a)
      for (int b = a + 1; b < count; ++b)
        if (!of_rank[static_cast<std::size_t>(a)].empty())
          exchange("rank", "rank " + std::to_string(a), "rank " + std::to_string(b),
                   of_rank[static_cast<std::size_t>(a)], of_rank[static_cast<std::size_t>(b)]);
  }

  InterfaceRequest const& request_;
  Interface const& wanted_;
  bool checksum_;
  std::vector<Swap> swaps_;
};

// --------------------------------------------------------------------------------------------------------------
// mending

void apply(Swap const& swap, std::vector<int>& pads) {
  for (auto const& [a, b] : swap.signals)
    std::swap(pads[static_cast<std::size_t>(a)], pads[static_cast<std::size_t>(b)]);
}

class Mender {
 public:
  Mender(PlacementRequest const& request, std::vector<int> pads, std::vector<Swap> const& swaps)
      : request_(request), before_(pads), pads_(std::move(pads)), swaps_(swaps) {}

  Mending mend() {
    score_ = score(pads_);
    while (score_ > 0 && chosen_.size() < kMostSwaps)
      if (!take_best() && !take_two()) break;
    drop_superfluous();
    Mending done;
    for (const std::size_t swap : chosen_) done.swaps.push_back(swaps_[swap]);
    done.pads = pads_;
    done.left = violations(request_, pads_);
    return done;
  }

 private:
  int score(std::vector<int> const& pads) const {
    int sum = 0;
    for (Violation const& one : violations(request_, pads)) sum += std::max(1, static_cast<int>(one.signals.size()));
    return sum;
  }
  int score_after(std::vector<int> pads, std::size_t swap) const {
    apply(swaps_[swap], pads);
    return score(pads);
  }

  // Those that move a signal of a breach, or one beside such a signal in its group.
  std::vector<std::size_t> candidates() const {
    std::set<int> units, signals;
    for (Violation const& one : violations(request_, pads_))
      for (const int signal : one.signals) {
        signals.insert(signal);
        const int unit = request_.interface->signals[static_cast<std::size_t>(signal)].unit;
        if (unit >= 0) units.insert(unit);
      }
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < swaps_.size(); ++i) {
      const bool is_bit = swaps_[i].what == "bit";
      const auto concerns = [&](int signal) {
        return signals.contains(signal) ||
               (!is_bit && units.contains(request_.interface->signals[static_cast<std::size_t>(signal)].unit));
      };
      if (std::any_of(swaps_[i].signals.begin(), swaps_[i].signals.end(),
                      [&](auto const& pair) { return concerns(pair.first) || concerns(pair.second); }))
        found.push_back(i);
    }
    return found;
  }

  void take(std::size_t swap) {
    apply(swaps_[swap], pads_);
    chosen_.push_back(swap);
    score_ = score(pads_);
  }

  bool take_best() {
    int least = score_;
    std::optional<std::size_t> best;
    for (const std::size_t swap : candidates())
      if (const int one = score_after(pads_, swap); one < least) {
        least = one;
        best = swap;
      }
    if (best) take(*best);
    return best.has_value();
  }

  // Larger things only: two bits that help together, but neither alone, there are not.
  bool take_two() {
    std::vector<std::size_t> some = candidates();
    std::erase_if(some, [&](std::size_t swap) { return swaps_[swap].what == "bit"; });
    for (const std::size_t first : some) {
      std::vector<int> pads = pads_;
      apply(swaps_[first], pads);
      for (const std::size_t second : some)
        if (score_after(pads, second) < score_) {
          take(first);
          take(second);
          return true;
        }
    }
    return false;
  }

  void drop_superfluous() {
    for (std::size_t i = chosen_.size(); i-- > 0;) {
      std::vector<int> pads = before_;
      for (std::size_t j = 0; j < chosen_.size(); ++j)
        if (j != i) apply(swaps_[chosen_[j]], pads);
      if (score(pads) > score_) continue;
      chosen_.erase(chosen_.begin() + static_cast<std::ptrdiff_t>(i));
      pads_ = std::move(pads);
    }
  }

  PlacementRequest const& request_;
  const std::vector<int> before_;
  std::vector<int> pads_;
  std::vector<Swap> const& swaps_;
  std::vector<std::size_t> chosen_;
  int score_ = 0;
};

}  // namespace

std::vector<SwapRule> const& swap_rules() {
  static std::mutex mutex;
  static std::vector<SwapRule> const* all = nullptr;  // never destroyed
  const std::lock_guard lock(mutex);
  if (all == nullptr) all = new std::vector<SwapRule>(read_rules());
  return *all;
}

std::vector<Swap> permitted_swaps(InterfaceRequest const& request, Interface const& interface, bool checksum) {
  return Lister(request, interface, checksum).list();
}

Mending mend(PlacementRequest const& request, std::vector<int> const& pads, std::vector<Swap> const& swaps) {
  return Mender(request, pads, swaps).mend();
}

}  // namespace kdi::planning
