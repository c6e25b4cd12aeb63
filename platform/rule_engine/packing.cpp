// Lanes are taken in their order: the first lane that is in no quad yet gets one together with some of those behind it,
// so that each way of dividing lanes into groups is come upon once. Which sets of lanes can be reached with how many
// quads is searched in breadth. Whether a group fits into a quad is asked once for each.
#include "kdi/rule_engine/host/Packing.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "kdi/common/KdiText.h"

namespace kdi::gt {
namespace {

using LaneSet = std::uint32_t;

/// What a PLL is set to: the index of the reference, M, N, K.
using Config = std::tuple<int, int, std::int64_t, std::int64_t>;

struct Option {
  int pll;
  int config;
  int index;  ///< of the need's settings
};

/// A need with its settings as numbers; `reference` is the index of its clock.
struct Wanted {
  int reference = 0;
  std::vector<Option> options;
};

class Search {
 public:
  Search(Kind const& kind, std::vector<PackedLane> const& lanes) : kind_(kind), lanes_(lanes) {
    for (PackedLane const& lane : lanes) rates_ = std::max(rates_, lane.needs.size());
    for (PackedLane const& lane : lanes) {
      std::set<int> references;
      auto& by_rate = wanted_.emplace_back();
      for (std::vector<Need> const& needs : lane.needs) {
        auto& wanted = by_rate.emplace_back();
        for (Need const& need : needs) references.insert(wanted.emplace_back(numbered(need)).reference);
      }
      unsigned mask = 0;
      for (const int reference : references) mask |= 1U << std::min(reference, 31);
      references_.push_back(mask);
      has_many_references_ = has_many_references_ || references_seen_.size() > 32;
    }
    if (has_many_references_) throw std::invalid_argument("more than 32 different reference clocks");
  }

  /// Whether the lanes fit into one quad; where to, if `places` is given.
  bool fits(LaneSet group, std::vector<Place>* places = nullptr) {
    if (places == nullptr) {
      const auto known = known_.find(group);
      if (known != known_.end()) return known->second;
      return known_[group] = tries_channels(group, nullptr);
    }
    return tries_channels(group, places);
  }

  int lane_count() const { return static_cast<int>(lanes_.size()); }

 private:
  Wanted numbered(Need const& need) {
    Wanted wanted;
    const auto reference =
        std::find(references_seen_.begin(), references_seen_.end(), need.reference_mhz) - references_seen_.begin();
    if (reference == static_cast<std::ptrdiff_t>(references_seen_.size()))
      references_seen_.push_back(need.reference_mhz);
    wanted.reference = static_cast<int>(reference);
    for (std::size_t i = 0; i < need.settings.size(); ++i) {
      Setting const& setting = need.settings[i];
      const Config config{wanted.reference, setting.reference_divide, setting.feedback, setting.numerator};
      const int number = configs_.try_emplace(config, static_cast<int>(configs_.size())).first->second;
      wanted.options.push_back({setting.pll, number, static_cast<int>(i)});
    }
    return wanted;
  }

  std::vector<Wanted> const& wanted_at(int lane, std::size_t rate) const {
    auto const& by_rate = wanted_[static_cast<std::size_t>(lane)];
    return by_rate[std::min(rate, by_rate.size() - 1)];
  }

  bool tries_channels(LaneSet group, std::vector<Place>* places) {
    members_.clear();
    unsigned references = 0;
    for (int lane = 0; lane < lane_count(); ++lane)
      if ((group >> lane & 1) != 0) {
        members_.push_back(lane);
        references |= references_[static_cast<std::size_t>(lane)];
      }
    if (static_cast<int>(members_.size()) > kind_.channels || std::popcount(references) > kind_.reference_inputs)
      return false;
    tried_.clear();
    channels_.assign(members_.size(), -1);
    return seats(0, 0, places);
  }

  // Which PLLs reach a channel, a bit each.
  std::uint64_t reach(int channel) const {
    std::uint64_t plls = 0;
    for (std::size_t i = 0; i < kind_.plls.size(); ++i)
      if ((kind_.plls[i].channels >> channel & 1) != 0) plls |= std::uint64_t{1} << i;
    return plls;
  }

  bool seats(std::size_t member, unsigned taken, std::vector<Place>* places) {
    if (member == members_.size()) return all_rates(places);
    const int fixed = lanes_[static_cast<std::size_t>(members_[member])].channel;
    std::set<std::uint64_t> reaches;
    for (int channel = 0; channel < kind_.channels; ++channel) {
      if ((taken >> channel & 1) != 0 || (fixed >= 0 && channel != fixed)) continue;
      // Free channels that the same PLLs reach are alike, unless lanes have channels of their own.
      if (!reaches.insert(reach(channel)).second && !any_fixed()) continue;
      channels_[member] = channel;
      if (seats(member + 1, taken | 1U << channel, places)) return true;
    }
    return false;
  }
  bool any_fixed() const {
    return std::any_of(members_.begin(), members_.end(),
                       [&](int lane) { return lanes_[static_cast<std::size_t>(lane)].channel >= 0; });
  }

  bool all_rates(std::vector<Place>* places) {
    if (places == nullptr) {
      // Which PLLs reach the lanes is all that counts.
      std::vector<std::uint64_t> reaches;
      for (const int channel : channels_) reaches.push_back(reach(channel));
      if (!tried_.insert(reaches).second) return false;
    }
    if (places != nullptr)
      for (std::size_t i = 0; i < members_.size(); ++i) {
        Place& place = (*places)[static_cast<std::size_t>(members_[i])];
        place.channel = channels_[i];
        place.chosen.clear();
      }
    for (std::size_t rate = 0; rate < rates_; ++rate)
      if (!covers(rate, places)) return false;
    return true;
  }

  using NeedSet = std::uint32_t;  // of the needs of a quad at a rate: at most kMostNeeds
  static constexpr std::size_t kMostNeeds = 16;

  struct Entry {
    std::size_t member;
    Wanted const* wanted;
  };
  // A way to set a PLL, the needs that it serves, and which of its settings each takes.
  struct Choice {
    NeedSet needs;
    int config;
    std::array<int, kMostNeeds> settings;
  };
  struct Instance {  // a PLL of the quad: one that is shared, or a channel's own
    int pll;
    int channel;  // -1: shared
    std::vector<Choice> choices;
  };

  std::vector<Entry> entries_at(std::size_t rate) const {
    std::vector<Entry> entries;
    for (std::size_t i = 0; i < members_.size(); ++i)
      for (Wanted const& wanted : wanted_at(members_[i], rate)) entries.push_back({i, &wanted});
    return entries;
  }

  std::vector<Instance> instances_for(std::vector<Entry> const& entries) const {
    std::vector<Instance> instances;
    for (int p = 0; p < static_cast<int>(kind_.plls.size()); ++p) {
      Pll const& pll = kind_.plls[static_cast<std::size_t>(p)];
      if (pll.is_shared) {
        instances.push_back({p, -1, {}});
        continue;
      }
      for (const int channel : channels_)
        if ((pll.channels >> channel & 1) != 0) instances.push_back({p, channel, {}});
    }
    for (Instance& instance : instances)
      for (std::size_t e = 0; e < entries.size(); ++e) add_choices(instance, e, entries[e]);
    return instances;
  }

  void add_choices(Instance& instance, std::size_t e, Entry const& entry) const {
    const int channel = channels_[entry.member];
    const bool is_reached = instance.channel >= 0
                                ? instance.channel == channel
                                : (kind_.plls[static_cast<std::size_t>(instance.pll)].channels >> channel & 1) != 0;
    if (!is_reached) return;
    for (Option const& option : entry.wanted->options) {
      if (option.pll != instance.pll) continue;
      auto same = std::find_if(instance.choices.begin(), instance.choices.end(),
                               [&](Choice const& choice) { return choice.config == option.config; });
      if (same == instance.choices.end()) same = instance.choices.insert(same, {0, option.config, {}});
      same->needs |= NeedSet{1} << e;
      same->settings[e] = option.index;
    }
  }

  // Whether one choice for each PLL serves all needs at a rate.
  bool covers(std::size_t rate, std::vector<Place>* places) {
    const std::vector<Entry> entries = entries_at(rate);
    const std::vector<Instance> instances = instances_for(entries);
    const NeedSet all = (NeedSet{1} << entries.size()) - 1;
    std::vector<NeedSet> served{0};  // what the PLLs so far can serve
    std::vector<char> is_served(std::size_t{all} + 1, 0);
    is_served[0] = 1;
    for (Instance const& instance : instances) {
      const std::size_t before = served.size();
      for (Choice const& choice : instance.choices)
        for (std::size_t i = 0; i < before; ++i) {
          const NeedSet more = served[i] | choice.needs;
          if (std::exchange(is_served[more], 1) == 0) served.push_back(more);
        }
    }
    if (is_served[all] == 0) return false;
    if (places != nullptr) choose(entries, instances, all, *places);
    return true;
  }

  // Of all ways to serve the needs the one whose settings stand first in their lists, all in all, and then the one with
  // the fewest PLLs.
  void choose(std::vector<Entry> const& entries, std::vector<Instance> const& instances, NeedSet all,
              std::vector<Place>& places) const {
    constexpr int kNone = std::numeric_limits<int>::max(), kPlaceWeight = 64;
    struct Step {
      int cost = kNone;
      NeedSet served = 0;  // by this PLL
      int choice = -1;
    };
    std::vector<std::vector<Step>> best(instances.size() + 1, std::vector<Step>(std::size_t{all} + 1));
    best[0][0].cost = 0;
    for (std::size_t i = 0; i < instances.size(); ++i)
      for (NeedSet before = 0; before <= all; ++before) {
        const int cost = best[i][before].cost;
        if (cost == kNone) continue;
        const auto offer = [&](NeedSet served, int choice, int more) {
          Step& step = best[i + 1][before | served];
          if (cost + more < step.cost) step = {cost + more, served, choice};
        };
        offer(0, -1, 0);
        for (std::size_t c = 0; c < instances[i].choices.size(); ++c) {
          Choice const& choice = instances[i].choices[c];
          const NeedSet open = choice.needs & ~before;
          for (NeedSet part = open; part != 0; part = (part - 1) & open) {
            int more = 1;
            for (std::size_t e = 0; e < entries.size(); ++e)
              if ((part >> e & 1) != 0) more += kPlaceWeight * choice.settings[e];
            offer(part, static_cast<int>(c), more);
          }
        }
      }
    std::vector<int> chosen(entries.size(), 0);
    NeedSet state = all;
    for (std::size_t i = instances.size(); i-- > 0;) {
      const Step step = best[i + 1][state];
      for (std::size_t e = 0; e < entries.size(); ++e)
        if ((step.served >> e & 1) != 0)
          chosen[e] = instances[i].choices[static_cast<std::size_t>(step.choice)].settings[e];
      state &= ~step.served;
    }
    for (const int lane : members_) places[static_cast<std::size_t>(lane)].chosen.emplace_back();
    for (std::size_t e = 0; e < entries.size(); ++e)
      places[static_cast<std::size_t>(members_[entries[e].member])].chosen.back().push_back(chosen[e]);
  }

  Kind const& kind_;
  std::vector<PackedLane> const& lanes_;
  std::size_t rates_ = 0;
  std::vector<std::vector<std::vector<Wanted>>> wanted_;  // by lane, rate and need
  std::vector<unsigned> references_;                      // of each lane, a bit each
  std::vector<Fraction> references_seen_;
  bool has_many_references_ = false;
  std::map<Config, int> configs_;
  std::unordered_map<LaneSet, bool> known_;
  std::vector<int> members_;
  std::vector<int> channels_;
  std::set<std::vector<std::uint64_t>> tried_;
};

void check(std::vector<PackedLane> const& lanes) {
  if (lanes.size() > kMostLanes) throw std::invalid_argument("more than 16 lanes");
  for (PackedLane const& lane : lanes) {
    if (lane.needs.empty()) throw std::invalid_argument("a lane without rates");
    if (lane.needs.size() > kMostRates) throw std::invalid_argument("more than 16 rates of a lane");
    for (auto const& needs : lane.needs)
      if (needs.empty() || needs.size() > 2) throw std::invalid_argument("a lane has one or two directions");
  }
}

// The groups of the fewest quads for `all`; empty if no lane fits somewhere.
std::vector<LaneSet> fewest_groups(Search& search, LaneSet all, int channels) {
  struct Reached {
    LaneSet before;
    LaneSet group;
  };
  std::unordered_map<LaneSet, Reached> reached{{0, {0, 0}}};
  std::vector<LaneSet> now{0};
  while (!now.empty() && !reached.contains(all)) {
    std::vector<LaneSet> next;
    for (const LaneSet done : now) {
      const LaneSet left = all & ~done;
      const LaneSet first = left & -left, others = left & ~first;
      std::vector<LaneSet> groups;
      // A group and one lane behind its last: all that fit, since what does not fit fits with no more lanes either.
      const auto grow = [&](auto const& self, LaneSet group, LaneSet from) -> void {
        if (!search.fits(group)) return;
        groups.push_back(group);
        if (std::popcount(group) == channels) return;
        for (LaneSet rest = from; rest != 0; rest &= rest - 1) {
          const LaneSet lane = rest & -rest;
          self(self, group | lane, rest & ~lane);
        }
      };
      grow(grow, first, others);
      // Full quads first, then those with the lowest lanes.
      std::stable_sort(groups.begin(), groups.end(),
                       [](LaneSet a, LaneSet b) { return std::popcount(a) > std::popcount(b); });
      for (const LaneSet group : groups)
        if (reached.try_emplace(done | group, Reached{done, group}).second) next.push_back(done | group);
    }
    now = std::move(next);
  }
  std::vector<LaneSet> groups;
  if (reached.contains(all))
    for (LaneSet at = all; at != 0; at = reached.at(at).before) groups.push_back(reached.at(at).group);
  std::reverse(groups.begin(), groups.end());
  return groups;
}

std::string lanes_text(std::vector<PackedLane> const& lanes, LaneSet set) {
  std::string names;
  for (std::size_t i = 0; i < lanes.size(); ++i)
    if ((set >> i & 1) != 0) text::append_word(names, lanes[i].name);
  return names;
}

// Lanes of which none can be left out without the rest fitting.
LaneSet least_misfit(Search& search, LaneSet group) {
  for (LaneSet rest = group; rest != 0; rest &= rest - 1) {
    const LaneSet lane = rest & -rest;
    if (!search.fits(group & ~lane)) group &= ~lane;
  }
  return group;
}

}  // namespace

Packing pack(Kind const& kind, std::vector<PackedLane> const& lanes, int quads_available) {
  check(lanes);
  Packing packing;
  packing.places.resize(lanes.size());
  Search search(kind, lanes);
  for (std::size_t i = 0; i < lanes.size(); ++i)
    if (!search.fits(LaneSet{1} << i)) {
      packing.reason = "lane " + lanes[i].name + " fits into no quad of " + kind.name + " by itself";
      return packing;
    }
  std::vector<LaneSet> groups;
  std::map<int, LaneSet> kept;
  LaneSet free = 0;
  for (std::size_t i = 0; i < lanes.size(); ++i) (lanes[i].quad >= 0 ? kept[lanes[i].quad] : free) |= LaneSet{1} << i;
  for (auto const& [quad, group] : kept) {
    if (!search.fits(group)) {
      packing.reason =
          "lanes " + lanes_text(lanes, least_misfit(search, group)) + " do not fit into one quad of " + kind.name;
      return packing;
    }
    groups.push_back(group);
  }
  for (const LaneSet group : fewest_groups(search, free, kind.channels)) groups.push_back(group);
  packing.quads = static_cast<int>(groups.size());
  if (packing.quads > quads_available) {
    packing.reason = "the lanes need " + std::to_string(packing.quads) + " quads of " + kind.name + ", and there are " +
                     std::to_string(quads_available);
    if (quads_available == 1 && kept.empty() && lanes.size() <= static_cast<std::size_t>(kind.channels)) {
      const LaneSet misfit = least_misfit(search, free);
      packing.reason = "lanes " + lanes_text(lanes, misfit) + " do not fit into one quad of " + kind.name;
    }
    return packing;
  }
  for (std::size_t quad = 0; quad < groups.size(); ++quad) {
    search.fits(groups[quad], &packing.places);
    for (std::size_t i = 0; i < lanes.size(); ++i)
      if ((groups[quad] >> i & 1) != 0) packing.places[i].quad = static_cast<int>(quad);
  }
  packing.is_possible = true;
  return packing;
}

}  // namespace kdi::gt
