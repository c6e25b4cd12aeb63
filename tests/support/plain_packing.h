// Packing step by step, with double-ended queues: the truth that fec/layer_packing.h is held against. Nothing here is
// fast, and nothing is the product's but the records and the orders of the base graphs.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <vector>

#include "tcltasks/fec/layer_packing.h"
#include "tcltasks/fec/order_tables.h"
#include "tcltasks/fec/records.h"

namespace plain {

using fec::CodeConfig;
using fec::ldpc_code_element_t;
using fec::PackingRules;

inline ldpc_code_element_t pad(unsigned last) {
  ldpc_code_element_t op;
  op.nop = 1;
  op.last = last;
  return op;
}

using Bank = std::deque<ldpc_code_element_t>;  // front: the end of the layer

inline void align(std::vector<Bank>& banks, std::size_t min_slots) {
  std::vector<std::size_t> distance(banks.size(), 0);
  std::size_t pos = 0;
  for (;;) {
    std::size_t target = 0;
    bool found = false;
    for (std::size_t b = 0; b < banks.size(); ++b) {
      if (pos >= banks[b].size()) continue;
      for (std::size_t at = pos; at < banks[b].size(); ++at) {
        if (banks[b][banks[b].size() - 1 - at].last == 0) continue;
        distance[b] = at;
        target = std::max(target, at);
        found = true;
        break;
      }
    }
    if (!found) break;
    std::size_t longest = 0;
    for (std::size_t b = 0; b < banks.size(); ++b) {
      if (distance[b] < target && pos < banks[b].size()) {
        // just after the element at pos, on the side of the front
        const auto place = banks[b].end() - 1 - static_cast<std::ptrdiff_t>(pos);
        banks[b].insert(place, target - distance[b], pad(1));
      }
      longest = std::max(longest, banks[b].size());
    }
    pos = target + 1;
    if (longest <= pos) break;
  }
  std::size_t length = min_slots;
  for (Bank const& bank : banks) length = std::max(length, bank.size());
  for (Bank& bank : banks)
    while (bank.size() < length) bank.push_front(pad(1));
}

struct LaneGroup {
  std::vector<ldpc_code_element_t> lanes;
  unsigned occupied = 0;
};

inline LaneGroup place(std::vector<ldpc_code_element_t> const& list, std::size_t position, unsigned size,
                       unsigned width) {
  LaneGroup group;
  group.lanes.assign(width, pad(0));
  for (std::size_t i = position; i < position + size && i < list.size(); ++i)
    group.lanes[list[i].col % width] = list[i];
  for (auto const& lane : group.lanes) group.occupied += lane.nop == 0;
  return group;
}

struct Packed {
  std::vector<ldpc_code_element_t> qc;
  std::vector<std::uint32_t> dc, qc_count;
  double efficiency = 0;  // mean share of operations among the slots of a layer
  std::vector<std::size_t> empty_layers;
};

inline Packed pack(CodeConfig const& config, PackingRules rules) {
  Packed result;
  const bool compressed = config.compress_packing == 1;
  unsigned banks_count = rules.pf;
  if (compressed) {
    banks_count = rules.reorder_type == 0 ? 4 : rules.reorder_type == 1 ? 2 : 1;
    if (rules.reorder_type > 1) rules.min_slots = 1;
  }
  std::uint32_t real = 0;
  std::size_t at = 0;
  for (unsigned layer = 0; layer < config.nlayers; ++layer) {
    std::vector<Bank> banks(banks_count);
    const std::uint32_t dc = config.dc[layer];
    for (std::uint32_t i = 0; i < dc; ++i, ++at) {
      banks[config.qc[at].col % banks_count].push_front(config.qc[at]);
      if (i + 1 == dc) banks[config.qc[at].col % banks_count].front().layer_end = 1;
    }
    if (rules.align_closings) {
      align(banks, rules.min_slots);
    } else if (rules.min_slots > 1) {
      std::size_t longest = 0;
      for (std::size_t b = 1; b < banks.size(); ++b)
        if (banks[b].size() > banks[longest].size()) longest = b;
      while (banks[longest].size() < rules.min_slots) banks[longest].push_back(pad(0));
    }
    std::vector<ldpc_code_element_t> slots;
    std::size_t count = 0;
    const auto all_empty = [&] { return std::all_of(banks.begin(), banks.end(), [](auto& b) { return b.empty(); }); };
    do {
      for (std::size_t b = banks.size(); b-- > 0;) {
        if (!banks[b].empty()) {
          slots.push_back(banks[b].front());
          banks[b].pop_front();
          ++count;
        } else if (!compressed && rules.pf >= 2) {
          slots.push_back(pad(0));
          ++count;
        }
      }
    } while (!all_empty());

    std::vector<std::uint32_t> codes4, codes2;
    if (compressed) {
      std::vector<ldpc_code_element_t> list;
      if (rules.reorder_type <= 1) {
        list.assign(slots.rbegin(), slots.rend());
      } else {
        const auto row = fec::order_tables::row(rules.reorder_type, config.encode != 0, layer);
        for (std::size_t j = 0; j < row.size() && j < slots.size(); ++j)
          for (auto const& op : slots)
            if (op.col == row[j]) list.push_back(op);
      }
      std::vector<ldpc_code_element_t> wide4, wide2;
      std::size_t count4 = count, count2 = count;
      for (std::size_t position = 0; position < list.size();) {
        unsigned w = 4;
        LaneGroup group = place(list, position, w, 4);
        while (group.occupied != w && w > 1) group = place(list, position, --w, 4);
        wide4.insert(wide4.end(), group.lanes.begin(), group.lanes.end());
        switch (group.occupied) {
          case 4:
            codes4.insert(codes4.end(), {0, 1, 1, 1});
            position += 4;
            break;
          case 3:
            codes4.insert(codes4.end(), {3, 1, 1});
            count4 += 1;
            position += 3;
            break;
          case 2:
            codes4.insert(codes4.end(), {2, 1});
            count4 += 2;
            position += 2;
            break;
          default:
            codes4.insert(codes4.end(), {1});
            count4 += 3;
            position += 1;
            break;
        }
      }
      for (std::size_t position = 0; position < list.size();) {
        LaneGroup group = place(list, position, 2, 2);
        if (group.occupied != 2) group = place(list, position, 1, 2);
        wide2.insert(wide2.end(), group.lanes.begin(), group.lanes.end());
        if (group.occupied == 2) {
          codes2.insert(codes2.end(), {0, 1});
          position += 2;
        } else {
          codes2.push_back(1);
          ++count2;
          ++position;
        }
      }
      auto const& chosen = rules.pf == 4 ? wide4 : rules.pf == 2 ? wide2 : list;
      slots.assign(chosen.rbegin(), chosen.rend());
      count = rules.pf == 4 ? count4 : rules.pf == 2 ? count2 : count;
      for (auto const& op : slots) real += op.nop == 0;
    }
    result.qc_count.push_back(real);
    if (count == 0)
      result.empty_layers.push_back(layer);
    else
      result.efficiency += static_cast<double>(dc) / static_cast<double>(count) / config.nlayers;
    result.dc.push_back(count == 0 ? dc : std::max<std::uint32_t>(dc, static_cast<std::uint32_t>(count)));
    std::size_t taken = 0;
    for (std::size_t i = slots.size(); i-- > 0; ++taken) {
      ldpc_code_element_t op = slots[i];
      op.pack4 = compressed && rules.pf == 1 ? codes4[taken] : 0;
      op.pack2 = compressed && rules.pf == 1 ? codes2[taken] : 0;
      result.qc.push_back(op);
    }
  }
  return result;
}

}  // namespace plain
