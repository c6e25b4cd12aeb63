// The fewest quads for lanes by trying every way: each lane in each quad and channel, each PLL with each setting that a
// need has for it.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "kdi/rule_engine/host/Packing.h"

namespace plain_lanes {

using namespace kdi::gt;

/// Whether the lanes of a quad, each on its channel, have PLLs for all needs at a rate.
inline bool has_plls(Kind const& kind, std::vector<PackedLane const*> const& lanes, std::vector<int> const& channels,
                     std::size_t rate) {
  struct Open {
    int channel;
    Need const* need;
  };
  struct Tuned {
    int pll, channel;
    Fraction reference;
    Setting setting;
  };
  std::vector<Open> needs;
  for (std::size_t i = 0; i < lanes.size(); ++i) {
    auto const& by_rate = lanes[i]->needs;
    for (Need const& need : by_rate[std::min(rate, by_rate.size() - 1)]) needs.push_back({channels[i], &need});
  }
  std::vector<Tuned> tuned;
  const std::function<bool(std::size_t)> serve = [&](std::size_t at) {
    if (at == needs.size()) return true;
    for (Setting const& setting : needs[at].need->settings) {
      Pll const& pll = kind.plls[static_cast<std::size_t>(setting.pll)];
      if ((pll.channels >> needs[at].channel & 1) == 0) continue;
      const auto same = std::find_if(tuned.begin(), tuned.end(), [&](Tuned const& one) {
        return one.pll == setting.pll && (pll.is_shared || one.channel == needs[at].channel);
      });
      if (same == tuned.end()) {
        tuned.push_back({setting.pll, needs[at].channel, needs[at].need->reference_mhz, setting});
        if (serve(at + 1)) return true;
        tuned.pop_back();
      } else if (same->reference == needs[at].need->reference_mhz &&
                 same->setting.reference_divide == setting.reference_divide &&
                 same->setting.feedback == setting.feedback && same->setting.numerator == setting.numerator) {
        if (serve(at + 1)) return true;
      }
    }
    return false;
  };
  return serve(0);
}

inline bool fits(Kind const& kind, std::vector<PackedLane const*> const& lanes) {
  std::vector<Fraction> references;
  std::size_t rates = 0;
  for (PackedLane const* lane : lanes) {
    rates = std::max(rates, lane->needs.size());
    for (auto const& needs : lane->needs)
      for (Need const& need : needs)
        if (std::find(references.begin(), references.end(), need.reference_mhz) == references.end())
          references.push_back(need.reference_mhz);
  }
  if (static_cast<int>(lanes.size()) > kind.channels || static_cast<int>(references.size()) > kind.reference_inputs)
    return false;
  std::vector<int> channels;
  for (int channel = 0; channel < kind.channels; ++channel) channels.push_back(channel);
  do {
    const std::vector<int> mine(channels.begin(), channels.begin() + static_cast<std::ptrdiff_t>(lanes.size()));
    bool is_good = true;
    for (std::size_t i = 0; i < lanes.size(); ++i)
      is_good = is_good && (lanes[i]->channel < 0 || lanes[i]->channel == mine[i]);
    for (std::size_t rate = 0; is_good && rate < rates; ++rate) is_good = has_plls(kind, lanes, mine, rate);
    if (is_good) return true;
  } while (std::next_permutation(channels.begin(), channels.end()));
  return false;
}

/// The fewest quads; 0 if there is no way.
inline int fewest_quads(Kind const& kind, std::vector<PackedLane> const& lanes) {
  std::map<std::vector<std::size_t>, bool> known;
  int fewest = static_cast<int>(lanes.size()) + 1;
  std::vector<std::vector<std::size_t>> quads;
  // Lanes that have to be in quads are together with those of the same one and with none of another one.
  const auto stays = [&](std::vector<std::size_t> const& quad) {
    for (const std::size_t lane : quad)
      for (std::size_t other = 0; other < lanes.size(); ++other) {
        const bool is_here = std::find(quad.begin(), quad.end(), other) != quad.end();
        if (lanes[lane].quad >= 0 && lanes[other].quad >= 0 && is_here != (lanes[lane].quad == lanes[other].quad))
          return false;
      }
    return true;
  };
  const auto good = [&](std::vector<std::size_t> const& quad) {
    const auto [at, is_new] = known.try_emplace(quad, false);
    if (is_new) {
      std::vector<PackedLane const*> members;
      for (const std::size_t lane : quad) members.push_back(&lanes[lane]);
      at->second = stays(quad) && fits(kind, members);
    }
    return at->second;
  };
  const std::function<void(std::size_t)> place = [&](std::size_t lane) {
    if (static_cast<int>(quads.size()) >= fewest) return;
    if (lane == lanes.size()) {
      if (std::all_of(quads.begin(), quads.end(), good)) fewest = static_cast<int>(quads.size());
      return;
    }
    for (std::size_t quad = 0; quad <= quads.size(); ++quad) {
      if (quad == quads.size()) {
        quads.push_back({lane});
        place(lane + 1);
        quads.pop_back();
        break;
      }
      quads[quad].push_back(lane);
      place(lane + 1);
      quads[quad].pop_back();
    }
  };
  place(0);
  return fewest > static_cast<int>(lanes.size()) ? 0 : fewest;
}

}  // namespace plain_lanes
