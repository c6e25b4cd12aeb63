// Lanes are taken in their order: the first lane that is in no quad yet gets one together with some of those behind it.
// With one quad more each time it is searched whether all lanes find a place; sets of lanes that did not are
// remembered, and whether a group fits into a quad is asked once for each.
#include "kdi/rule_engine/host/Packing.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>
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
    for (std::size_t rate = 0; rate < rates_; ++rate) note_masks(rate);
    known_.assign(std::size_t{1} << lanes.size(), kUnknown);
  }

  /// Whether the lanes fit into one quad.
  bool fits(LaneSet group) {
    char& known = known_[group];
    if (known == kUnknown) known = tries_channels(group, nullptr) ? kFits : kMisfits;
    return known == kFits;
  }
  /// Where to.
  void put(LaneSet group, std::vector<Place>& places) { tries_channels(group, &places); }

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
    channels_.assign(members_.size(), -1);
    gather_masks();
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
    for (std::size_t rate = 0; rate < rates_; ++rate)
      if (!covers(rate)) return false;
    if (places == nullptr) return true;
    for (std::size_t i = 0; i < members_.size(); ++i) {
      Place& place = (*places)[static_cast<std::size_t>(members_[i])];
      place.channel = channels_[i];
      place.chosen.clear();
    }
    for (std::size_t rate = 0; rate < rates_; ++rate) choose(rate, *places);
    return true;
  }

  using NeedSet = std::uint32_t;  // of the needs of a quad at a rate: two bits for each member
  static constexpr std::size_t kMostNeeds = 16;

  // ------------------------------------------------------------------------------- whether needs can be served at all

  // For each PLL of the kind the sets of needs of all lanes that a setting of it serves, two bits for each lane; none
  // that another one holds.
  void note_masks(std::size_t rate) {
    auto& by_pll = masks_.emplace_back(kind_.plls.size());
    std::vector<std::map<int, LaneSet>> by_config(kind_.plls.size());
    for (int lane = 0; lane < lane_count(); ++lane) {
      auto const& wanted = wanted_at(lane, rate);
      for (std::size_t need = 0; need < wanted.size(); ++need)
        for (Option const& option : wanted[need].options)
          by_config[static_cast<std::size_t>(option.pll)][option.config] |= LaneSet{1}
                                                                            << (2 * lane + static_cast<int>(need));
    }
    for (std::size_t pll = 0; pll < by_pll.size(); ++pll)
      for (auto const& [config, mask] : by_config[pll]) add_maximal(by_pll[pll], mask);
  }

  static void add_maximal(std::vector<LaneSet>& masks, LaneSet mask) {
    for (const LaneSet other : masks)
      if ((mask & ~other) == 0) return;
    std::erase_if(masks, [&](LaneSet other) { return (other & ~mask) == 0; });
    masks.push_back(mask);
  }

  // The same for the members of the group, as NeedSets.
  void gather_masks() {
    gathered_.resize(masks_.size());
    all_needs_.assign(masks_.size(), 0);
    for (std::size_t rate = 0; rate < masks_.size(); ++rate) {
      gathered_[rate].resize(kind_.plls.size());
      for (std::size_t pll = 0; pll < kind_.plls.size(); ++pll) {
        auto& mine = gathered_[rate][pll];
        mine.clear();
        for (const LaneSet mask : masks_[rate][pll]) {
          NeedSet needs = 0;
          for (std::size_t i = 0; i < members_.size(); ++i) needs |= (mask >> (2 * members_[i]) & 3) << (2 * i);
          if (needs != 0) add_maximal(mine, needs);
        }
      }
      for (std::size_t i = 0; i < members_.size(); ++i)
        all_needs_[rate] |= ((NeedSet{1} << wanted_at(members_[i], rate).size()) - 1) << (2 * i);
    }
  }

  // Whether one setting for each PLL serves all needs at a rate.
  bool covers(std::size_t rate) {
    const NeedSet all = all_needs_[rate];
    if (marks_.size() <= all) marks_.resize(std::size_t{all} + 1, 0);
    served_.resize(marks_.size());
    std::vector<NeedSet>& served = served_;
    std::size_t count = 1;
    served[0] = 0;
    ++mark_;
    marks_[0] = mark_;
    const auto serve = [&](std::vector<NeedSet> const& masks, NeedSet reached) {
      const std::size_t before = count;
      for (const NeedSet mask : masks)
        if (const NeedSet mine = mask & reached; mine != 0)
          for (std::size_t i = 0; i < before; ++i)
            if (const NeedSet more = served[i] | mine; marks_[more] != mark_) {
              marks_[more] = mark_;
              served[count++] = more;
            }
    };
    for (std::size_t p = 0; p < kind_.plls.size(); ++p) {
      Pll const& pll = kind_.plls[p];
      NeedSet reached = 0;
      for (std::size_t i = 0; i < members_.size(); ++i)
        if ((pll.channels >> channels_[i] & 1) != 0) {
          if (!pll.is_shared) serve(gathered_[rate][p], NeedSet{3} << (2 * i));
          reached |= NeedSet{3} << (2 * i);
        }
      if (pll.is_shared) serve(gathered_[rate][p], reached);
      if (marks_[all] == mark_) return true;
    }
    return marks_[all] == mark_;
  }

  // --------------------------------------------------------------------------------------------- which settings to
  // take

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

  // Of all ways to serve the needs the one whose settings stand first in their lists, all in all, and then the one with
  // the fewest PLLs.
  void choose(std::size_t rate, std::vector<Place>& places) const {
    const std::vector<Entry> entries = entries_at(rate);
    const std::vector<Instance> instances = instances_for(entries);
    const NeedSet all = (NeedSet{1} << entries.size()) - 1;
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
  static constexpr char kUnknown = 0, kFits = 1, kMisfits = 2;
  std::vector<char> known_;
  std::vector<int> members_;
  std::vector<int> channels_;
  std::vector<std::vector<std::vector<LaneSet>>> masks_;     // by rate and PLL
  std::vector<std::vector<std::vector<NeedSet>>> gathered_;  // likewise
  std::vector<NeedSet> all_needs_;                           // by rate
  std::vector<NeedSet> served_;                              // room for all that a question comes upon
  std::vector<unsigned> marks_;  // of a set of needs: that of the last question that came upon it
  unsigned mark_ = 0;
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

// Whether lanes fit into so many quads, of which the first have lanes already that stay there. A quad may take as many
// lanes as it can: those that come over from other quads leave them no worse off.
class Division {
 public:
  Division(Search& search, int channels, std::vector<LaneSet> kept)
      : search_(search), channels_(channels), kept_(std::move(kept)) {}

  /// The groups, in order; nothing if the lanes do not fit.
  std::optional<std::vector<LaneSet>> into(int quads, LaneSet lanes) {
    groups_.clear();
    if (!divide(quads, lanes)) return std::nullopt;
    return groups_;
  }

 private:
  bool divide(int quads, LaneSet left) {
    const std::size_t from_kept = std::min(groups_.size(), kept_.size());
    if (left == 0 && from_kept == kept_.size()) return true;
    int room = quads * channels_;
    for (std::size_t i = from_kept; i < kept_.size(); ++i) room -= std::popcount(kept_[i]);
    if (quads <= 0 || std::popcount(left) > room) return false;
    const auto question = std::pair(from_kept, left);
    const auto failed = failed_.find(question);
    if (failed != failed_.end() && failed->second >= quads) return false;
    const LaneSet first = left & -left;
    const bool is_divided = from_kept < kept_.size() ? grow(quads, left, kept_[from_kept], left)
                                                     : grow(quads, left, first, left & ~first & partners(first));
    if (!is_divided) failed_[question] = quads;
    return is_divided;
  }

  // The group and lanes behind its last, the lowest first.
  bool grow(int quads, LaneSet left, LaneSet group, LaneSet from) {
    if (std::popcount(group) < channels_)
      for (LaneSet rest = from; rest != 0; rest &= rest - 1) {
        const LaneSet lane = rest & -rest;
        const LaneSet behind = rest & ~lane & partners(lane);
        if (search_.fits(group | lane) && grow(quads, left, group | lane, behind)) return true;
      }
    if (!is_largest(left, group)) return false;
    groups_.push_back(group);
    if (divide(quads - 1, left & ~group)) return true;
    groups_.pop_back();
    return false;
  }

  // The lanes behind this one that fit into a quad with it.
  LaneSet partners(LaneSet lane) {
    auto& mine = partners_[static_cast<std::size_t>(std::countr_zero(lane))];
    if (!mine) {
      mine = 0;
      for (int other = std::countr_zero(lane) + 1; other < search_.lane_count(); ++other)
        if (search_.fits(lane | LaneSet{1} << other)) *mine |= LaneSet{1} << other;
    }
    return *mine;
  }

  bool is_largest(LaneSet left, LaneSet group) {
    if (std::popcount(group) == channels_) return true;
    for (LaneSet rest = left & ~group; rest != 0; rest &= rest - 1)
      if (search_.fits(group | (rest & -rest))) return false;
    return true;
  }

  Search& search_;
  int channels_;
  std::vector<LaneSet> kept_;
  std::vector<LaneSet> groups_;
  std::array<std::optional<LaneSet>, kMostLanes> partners_;
  std::map<std::pair<std::size_t, LaneSet>, int> failed_;  // with so many quads, and so with fewer
};

// The groups of the fewest quads; each lane fits into a quad, and those that are kept into theirs.
std::vector<LaneSet> fewest_groups(Search& search, LaneSet lanes, int channels, std::vector<LaneSet> const& kept) {
  Division division(search, channels, kept);
  for (int quads = static_cast<int>(kept.size());; ++quads)
    if (auto groups = division.into(quads, lanes)) return *std::move(groups);
}

std::string lanes_text(std::vector<PackedLane> const& lanes, LaneSet set) {
  std::string names;
  for (std::size_t i = 0; i < lanes.size(); ++i)
    if ((set >> i & 1) != 0) text::append_word(names, lanes[i].name);
  return names;
}

// Of the lanes those of which none can be left out; `is_misfit` tells it of all and of fewer.
template <class IsMisfit>
LaneSet least_misfit(LaneSet group, IsMisfit is_misfit) {
  for (LaneSet rest = group; rest != 0; rest &= rest - 1) {
    const LaneSet lane = rest & -rest;
    if (is_misfit(group & ~lane)) group &= ~lane;
  }
  return group;
}

// The lanes that stay in quads, by quad, and the rest.
struct Kept {
  std::vector<LaneSet> groups;
  LaneSet free = 0;

  Kept(std::vector<PackedLane> const& lanes, LaneSet of) {
    std::map<int, LaneSet> by_quad;
    for (std::size_t i = 0; i < lanes.size(); ++i)
      if ((of >> i & 1) != 0) (lanes[i].quad >= 0 ? by_quad[lanes[i].quad] : free) |= LaneSet{1} << i;
    for (auto const& [quad, group] : by_quad) groups.push_back(group);
  }
};

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
  const LaneSet all = static_cast<LaneSet>((std::uint64_t{1} << lanes.size()) - 1);
  const Kept kept(lanes, all);
  const auto is_misfit = [&](LaneSet group) { return !search.fits(group); };
  for (const LaneSet group : kept.groups)
    if (is_misfit(group)) {
      packing.reason =
          "lanes " + lanes_text(lanes, least_misfit(group, is_misfit)) + " do not fit into one quad of " + kind.name;
      return packing;
    }
  const auto groups_of = [&](LaneSet some) {
    const Kept stay(lanes, some);
    return fewest_groups(search, stay.free, kind.channels, stay.groups);
  };
  const std::vector<LaneSet> groups = groups_of(all);
  packing.quads = static_cast<int>(groups.size());
  if (packing.quads > quads_available) {
    const LaneSet misfit =
        least_misfit(all, [&](LaneSet some) { return static_cast<int>(groups_of(some).size()) > quads_available; });
    const bool is_of_one = quads_available == 1 && std::popcount(misfit) <= kind.channels;
    packing.reason = "lanes " + lanes_text(lanes, misfit) +
                     (is_of_one ? " do not fit into one quad of " + kind.name
                                : " need " + std::to_string(groups_of(misfit).size()) + " quads of " + kind.name +
                                      ", and there are " + std::to_string(quads_available));
    return packing;
  }
  for (std::size_t quad = 0; quad < groups.size(); ++quad) {
    search.put(groups[quad], packing.places);
    for (std::size_t i = 0; i < lanes.size(); ++i)
      if ((groups[quad] >> i & 1) != 0) packing.places[i].quad = static_cast<int>(quad);
  }
  packing.is_possible = true;
  return packing;
}

}  // namespace kdi::gt
