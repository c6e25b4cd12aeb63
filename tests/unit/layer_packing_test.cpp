// Packing against a plain transcription of its steps with double-ended queues, and its properties.
#include "tcltasks/fec/layer_packing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "tcltasks/fec/order_tables.h"
#include "tests/support/random_code.h"

namespace {

using fec::code_config;
using fec::ldpc_code_element_t;
using fec::packing_rules;
using test_support::Random;

ldpc_code_element_t pad(unsigned last) {
  ldpc_code_element_t op;
  op.nop = 1;
  op.last = last;
  return op;
}

// ------------------------------------------------------------------------------------------------ slow packing

using bank_t = std::deque<ldpc_code_element_t>;  // front: the end of the layer

void slow_align(std::vector<bank_t>& banks, std::size_t min_slots) {
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
  for (bank_t const& bank : banks) length = std::max(length, bank.size());
  for (bank_t& bank : banks)
    while (bank.size() < length) bank.push_front(pad(1));
}

struct slow_group {
  std::vector<ldpc_code_element_t> lanes;
  unsigned occupied = 0;
};

slow_group slow_place(std::vector<ldpc_code_element_t> const& list, std::size_t position, unsigned size,
                      unsigned width) {
  slow_group group;
  group.lanes.assign(width, pad(0));
  for (std::size_t i = position; i < position + size && i < list.size(); ++i)
    group.lanes[list[i].col % width] = list[i];
  for (auto const& lane : group.lanes) group.occupied += lane.nop == 0;
  return group;
}

struct slow_result {
  std::vector<ldpc_code_element_t> qc;
  std::vector<std::uint32_t> dc, qc_count;
  unsigned errors = 0;
};

slow_result slow_pack(code_config const& config, packing_rules rules) {
  slow_result result;
  const bool compressed = config.compress_packing == 1;
  unsigned banks_count = rules.pf;
  if (compressed) {
    banks_count = rules.reorder_type == 0 ? 4 : rules.reorder_type == 1 ? 2 : 1;
    if (rules.reorder_type > 1) rules.min_slots = 1;
  }
  std::uint32_t real = 0;
  std::size_t at = 0;
  for (unsigned layer = 0; layer < config.nlayers; ++layer) {
    std::vector<bank_t> banks(banks_count);
    const std::uint32_t dc = config.dc[layer];
    for (std::uint32_t i = 0; i < dc; ++i, ++at) {
      banks[config.qc[at].col % banks_count].push_front(config.qc[at]);
      if (i + 1 == dc) banks[config.qc[at].col % banks_count].front().layer_end = 1;
    }
    if (rules.align_closings) {
      slow_align(banks, rules.min_slots);
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
        slow_group group = slow_place(list, position, w, 4);
        while (group.occupied != w && w > 1) group = slow_place(list, position, --w, 4);
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
        slow_group group = slow_place(list, position, 2, 2);
        if (group.occupied != 2) group = slow_place(list, position, 1, 2);
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
    if (count == 0) ++result.errors;
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

// ------------------------------------------------------------------------------------------------------ inputs

code_config random_layers(Random& random) {
  code_config config;
  config.nlayers = 1 + random.below(6);
  config.encode = random.below(2);
  config.compress_packing = random.below(2);
  const unsigned columns = random.one_in(2) ? 12 : 68;
  const bool grouped = random.one_in(3);
  for (unsigned layer = 0; layer < config.nlayers; ++layer) {
    unsigned dc = 0;
    const unsigned positions = random.below(12);
    for (unsigned i = 0; i < positions; ++i) {
      const unsigned col = random.below(columns);
      const unsigned weight = grouped && random.one_in(3) ? 2 + random.below(3) : 1;
      for (unsigned w = 0; w < weight; ++w, ++dc) {
        ldpc_code_element_t op;
        op.col = col;
        op.shift = static_cast<std::uint32_t>(config.qc.size() + 1);  // tells the operations apart
        op.last = w + 1 == weight;
        config.qc.push_back(op);
      }
    }
    config.dc.push_back(dc);
  }
  return config;
}

packing_rules random_rules(Random& random) {
  packing_rules rules;
  rules.pf = 1U << random.below(3);
  rules.min_slots = random.one_in(2) ? 3 : 1;
  rules.align_closings = random.one_in(3);
  rules.reorder_type = random.below(8);
  return rules;
}

TEST(LayerPacking, EqualsThePlainTranscription) {
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    code_config config = random_layers(random);
    const packing_rules rules = random_rules(random);
    if (rules.pf == 1 && config.compress_packing == 0) continue;  // not packed at all
    const slow_result expected = slow_pack(config, rules);
    unsigned errors = 0;
    fec::reporter report([](void* count, int severity, char const*) { *static_cast<unsigned*>(count) += severity; },
                         &errors, false, false);
    fec::pack_layers(config, rules, report);
    ASSERT_EQ(config.qc, expected.qc);
    ASSERT_EQ(config.dc, expected.dc);
    ASSERT_EQ(config.qc_count, expected.qc_count);
    ASSERT_EQ(errors, expected.errors);
  }
}

TEST(LayerPacking, KeepsEveryOperationOnceAndIssuesDifferentBanksTogether) {
  for (unsigned seed = 1; seed <= 5000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Random random(seed);
    code_config config = random_layers(random);
    packing_rules rules = random_rules(random);
    rules.reorder_type = random.below(2);
    if (rules.pf == 1) config.compress_packing = 1;
    const std::size_t operations = config.qc.size();
    fec::reporter report(nullptr, nullptr, false, false);
    fec::pack_layers(config, rules, report);

    std::vector<std::uint32_t> serials;
    for (auto const& op : config.qc)
      if (op.nop == 0) serials.push_back(op.shift);
    std::sort(serials.begin(), serials.end());
    ASSERT_EQ(serials.size(), operations);
    for (std::size_t i = 0; i < operations; ++i) ASSERT_EQ(serials[i], i + 1);

    if (rules.pf == 1) continue;
    ASSERT_EQ(config.qc.size() % rules.pf, 0U);
    for (std::size_t i = 0; i < config.qc.size(); ++i) {
      if (config.qc[i].nop != 0) continue;
      ASSERT_EQ(config.qc[i].col % rules.pf, i % rules.pf);
    }
  }
}

code_config one_layer(std::vector<unsigned> const& columns) {
  code_config config;
  config.nlayers = 1;
  config.dc = {static_cast<std::uint32_t>(columns.size())};
  for (unsigned col : columns) {
    ldpc_code_element_t op;
    op.col = col;
    op.last = 1;
    config.qc.push_back(op);
  }
  return config;
}

double pack(code_config& config, packing_rules const& rules) {
  fec::reporter report(nullptr, nullptr, false, false);
  return fec::pack_layers(config, rules, report);
}

TEST(LayerPacking, IsFullyEfficientWhenEveryColumnHasItsOwnBank) {
  code_config config = one_layer({0, 1, 2, 3, 4, 5, 6, 7});
  packing_rules rules;
  rules.pf = 4;
  EXPECT_EQ(pack(config, rules), 1.0);
  EXPECT_EQ(config.dc[0], 8U);
}

TEST(LayerPacking, PadsWhereOneBankHoldsEverything) {
  code_config config = one_layer({0, 2, 4});
  packing_rules rules;
  rules.pf = 2;
  EXPECT_EQ(pack(config, rules), 0.5);
  EXPECT_EQ(config.dc[0], 6U);
  EXPECT_EQ(std::count_if(config.qc.begin(), config.qc.end(), [](auto const& op) { return op.nop != 0; }), 3);
}

TEST(LayerPacking, TriesNarrowerGroupsUntilTheLanesDiffer) {
  code_config config = one_layer({0, 1, 5, 2});  // lanes 0, 1, 1, 2
  config.compress_packing = 1;
  packing_rules rules;
  pack(config, rules);
  std::vector<std::uint32_t> columns, codes;
  for (auto const& op : config.qc) {
    columns.push_back(op.col);
    codes.push_back(op.pack4);
  }
  // Four banks draw 1 first, then 0, 5, 2 together.
  EXPECT_EQ(columns, (std::vector<std::uint32_t>{1, 0, 5, 2}));
  EXPECT_EQ(codes, (std::vector<std::uint32_t>{2, 1, 2, 1}));
}

TEST(LayerPacking, ReportsACodeWithoutLayersAndALayerWithoutSlots) {
  std::vector<std::string> texts;
  const auto collect = [](void* list, int, char const* text) {
    static_cast<std::vector<std::string>*>(list)->push_back(text);
  };
  fec::reporter report(collect, &texts, false, false);
  code_config none;
  EXPECT_EQ(fec::pack_layers(none, {}, report), 0.0);
  code_config config = one_layer({});
  config.compress_packing = 1;
  fec::pack_layers(config, {}, report);
  EXPECT_EQ(texts, (std::vector<std::string>{"ERROR: num. layers: 0", "ERROR: DC count 0 for layer0"}));
}

TEST(LayerPacking, DrawsAPassOfPadsForALayerWithoutOperations) {
  code_config config = one_layer({});
  packing_rules rules;
  rules.pf = 4;
  pack(config, rules);
  EXPECT_EQ(config.dc[0], 4U);
  EXPECT_EQ(config.qc.size(), 4U);
}

}  // namespace
