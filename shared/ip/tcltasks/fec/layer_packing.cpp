#include "tcltasks/fec/layer_packing.h"

#include <algorithm>
#include <array>
#include <span>

#include "tcltasks/fec/order_tables.h"

namespace fec {
namespace {

using Ops = std::vector<ldpc_code_element_t>;

constexpr unsigned kMaxBanks = 4;

ldpc_code_element_t addPad() {
  ldpc_code_element_t pad;
  pad.nop = 1;
  return pad;
}

ldpc_code_element_t closing_pad() {
  ldpc_code_element_t pad = addPad();
  pad.last = 1;
  return pad;
}

// The operations of one layer by bank, each in layer order.
class BankSet {
 public:
  explicit BankSet(unsigned count) : count_(count) {}

  void fill(std::span<ldpc_code_element_t const> layer) {
    for (Ops& bank : banks_) bank.clear();
    for (ldpc_code_element_t const& op : layer) banks_[op.col % count_].push_back(op);
    if (!layer.empty()) banks_[layer.back().col % count_].back().layer_end = 1;
  }

  // Pads the longest bank, in front of its operations, so that the layer takes at least `slots` passes.
  void pad_longest(std::size_t slots) {
    const auto longest = std::max_element(banks_.begin(), banks_.begin() + count_, shorter);
    if (longest->size() < slots) longest->insert(longest->begin(), slots - longest->size(), addPad());
  }

  // Lines up the operations that close a sub-matrix: in each round, every bank is padded, just behind its operation at
  // the current position, until its next closing operation stands where that of the farthest bank does.
  void align_closings(std::size_t min_length);

  // Draws the slots. The layer ends with all banks together, so shorter banks start later. An empty slot is a pad with
  // `pads`, and is left out without.
  void draw(bool pads, Ops& slots) const {
    const std::size_t passes = std::max<std::size_t>(1, longest());
    for (std::size_t pass = 0; pass < passes; ++pass) {
      for (unsigned b = 0; b < count_; ++b) {
        const std::size_t start = passes - banks_[b].size();
        if (pass >= start)
          slots.push_back(banks_[b][pass - start]);
        else if (pads)
          slots.push_back(addPad());
      }
    }
  }

 private:
  static bool shorter(Ops const& a, Ops const& b) { return a.size() < b.size(); }
  std::size_t longest() const { return std::max_element(banks_.begin(), banks_.begin() + count_, shorter)->size(); }

  unsigned count_;
  std::array<Ops, kMaxBanks> banks_;
};

// One bank on its way through the alignment: what stands before the current position is in `done`; at it and behind
// stand `pads` closing pads and then the operations from `next` on.
struct AligningBank {
  Ops ops;
  std::vector<std::size_t> closing_from;  // for each index, the first closing operation at or behind it
  Ops done;
  std::size_t pads = 0;
  std::size_t next = 0;
  std::size_t distance = 0;

  explicit AligningBank(Ops bank) : ops(std::move(bank)), closing_from(ops.size() + 1, ops.size()) {
    for (std::size_t i = ops.size(); i-- > 0;) closing_from[i] = ops[i].last != 0 ? i : closing_from[i + 1];
  }

  bool is_at_end() const { return pads == 0 && next == ops.size(); }
  std::size_t length() const { return done.size() + pads + ops.size() - next; }

  // Updates `distance` to the position of the next closing operation; false if there is none.
  bool find_closing() {
    if (pads > 0) {
      distance = done.size();
      return true;
    }
    if (closing_from[next] == ops.size()) return false;
    distance = done.size() + closing_from[next] - next;
    return true;
  }

  void take() {
    if (pads > 0) {
      --pads;
      done.push_back(closing_pad());
    } else {
      done.push_back(ops[next++]);
    }
  }
};

void BankSet::align_closings(std::size_t min_length) {
  std::vector<AligningBank> aligning;
  for (unsigned b = 0; b < count_; ++b) aligning.emplace_back(std::move(banks_[b]));

  for (;;) {
    bool found = false;
    std::size_t target = 0;
    for (AligningBank& bank : aligning)
      if (!bank.is_at_end() && bank.find_closing()) {
        found = true;
        target = std::max(target, bank.distance);
      }
    if (!found) break;  // the rest is padded at the end
    bool goes_on = false;
    for (AligningBank& bank : aligning) {
      if (!bank.is_at_end() && bank.distance < target) {
        bank.take();
        bank.pads += target - bank.distance;
      }
      while (!bank.is_at_end() && bank.done.size() <= target) bank.take();
      goes_on = goes_on || !bank.is_at_end();
    }
    if (!goes_on) break;
  }

  std::size_t length = min_length;
  for (AligningBank const& bank : aligning) length = std::max(length, bank.length());
  for (unsigned b = 0; b < count_; ++b) {
    while (!aligning[b].is_at_end()) aligning[b].take();
    banks_[b] = std::move(aligning[b].done);
    banks_[b].resize(length, closing_pad());
  }
}

// ----------------------------------------------------------------------------------------- compressed packing

// Layer order for a base graph: table entry by table entry, every operation on that column, last drawn first. What the
// first entries, as many as there are operations, do not name drops out.
Ops in_table_order(Ops const& slots, std::span<std::uint32_t const> row) {
  Ops ordered;
  for (std::uint32_t col : row.first(std::min(row.size(), slots.size())))
    for (auto op = slots.rbegin(); op != slots.rend(); ++op)
      if (op->col == col) ordered.push_back(*op);
  return ordered;
}

// Operations gathered into groups that issue together.
struct Grouping {
  Ops lanes;                         // the groups one after the other, a pad in each free lane
  std::vector<std::uint32_t> codes;  // for each operation: on the first of a group its size, 0 if it is full; 1 behind
  std::size_t pads = 0;              // free lanes
};

// Takes, from each position on, the widest group of up to `width` operations in different lanes (column mod width).
Grouping group_by_lanes(Ops const& ops, unsigned width) {
  Grouping result;
  std::array<ldpc_code_element_t, kMaxBanks> lanes;
  for (std::size_t position = 0; position < ops.size();) {
    unsigned occupied = 0;
    for (unsigned size = width;; --size) {
      lanes.fill(addPad());
      for (std::size_t i = position; i < std::min<std::size_t>(position + size, ops.size()); ++i)
        lanes[ops[i].col % width] = ops[i];
      occupied = static_cast<unsigned>(
          std::count_if(lanes.begin(), lanes.begin() + width, [](auto const& op) { return op.nop == 0; }));
      if (size == 1 || occupied == size) break;
    }
    const unsigned taken = std::max(1U, occupied);  // a pad by itself counts as a group of one
    result.lanes.insert(result.lanes.end(), lanes.begin(), lanes.begin() + width);
    result.codes.push_back(taken == width ? 0 : taken);
    result.codes.insert(result.codes.end(), taken - 1, 1);
    result.pads += width - taken;
    position += taken;
  }
  return result;
}

unsigned bank_count(CodeConfig const& config, PackingRules const& rules) {
  if (config.compress_packing != 1) return rules.pf;
  return rules.reorder_type == 0 ? 4 : rules.reorder_type == 1 ? 2 : 1;
}

class Packer {
 public:
  Packer(CodeConfig& config, PackingRules const& rules, Reporter& report)
      : config_(config), rules_(rules), report_(report), banks_(bank_count(config, rules)) {
    if (compresses() && rules.reorder_type >= 2) rules_.min_slots = 1;
    packed_.reserve(config.qc.size());
  }

  double run() {
    double efficiency_sum = 0;
    std::size_t begin = 0;
    for (unsigned layer = 0; layer < config_.nlayers; ++layer) {
      const std::uint32_t dc = config_.dc[layer];
      const std::size_t slots = pack_layer(layer, std::span(config_.qc).subspan(begin, dc));
      begin += dc;
      config_.qc_count.push_back(real_ops_);
      if (slots == 0) {
        report_.error("ERROR: DC count 0 for layer", layer);
        continue;
      }
      efficiency_sum += static_cast<double>(dc) / static_cast<double>(slots);
      config_.dc[layer] = std::max(dc, static_cast<std::uint32_t>(slots));
    }
    config_.qc = std::move(packed_);
    return efficiency_sum / config_.nlayers;
  }

 private:
  bool compresses() const { return config_.compress_packing == 1; }

  // Appends the layer's slots to the new list and returns how many cycles of one operation they count as.
  std::size_t pack_layer(unsigned layer, std::span<ldpc_code_element_t const> ops) {
    banks_.fill(ops);
    if (rules_.align_closings)
      banks_.align_closings(rules_.min_slots);
    else if (rules_.min_slots > 1)
      banks_.pad_longest(rules_.min_slots);

    slots_.clear();
    banks_.draw(!compresses() && rules_.pf >= 2, slots_);
    const std::size_t drawn = slots_.size();
    const std::size_t pads = compresses() ? compress(layer) : 0;
    packed_.insert(packed_.end(), slots_.begin(), slots_.end());
    return drawn + pads;
  }

  // Orders and groups the drawn slots; returns the lanes left free.
  std::size_t compress(unsigned layer) {
    if (rules_.reorder_type >= 2)
      slots_ = in_table_order(slots_, order_tables::row(rules_.reorder_type, config_.encode != 0, layer));
    std::size_t pads = 0;
    if (rules_.pf == 1) {
      write_group_codes();
    } else {
      Grouping groups = group_by_lanes(slots_, rules_.pf);
      slots_ = std::move(groups.lanes);
      pads = groups.pads;
    }
    for (ldpc_code_element_t const& op : slots_) real_ops_ += op.nop == 0;
    return pads;
  }

  // One operation per cycle issues as it comes; the codes tell what a wider core could issue together.
  void write_group_codes() {
    const std::vector<std::uint32_t> by4 = group_by_lanes(slots_, 4).codes;
    const std::vector<std::uint32_t> by2 = group_by_lanes(slots_, 2).codes;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      slots_[i].pack4 = by4[i];
      slots_[i].pack2 = by2[i];
    }
  }

  CodeConfig& config_;
  PackingRules rules_;
  Reporter& report_;
  BankSet banks_;
  Ops slots_;
  Ops packed_;
  std::uint32_t real_ops_ = 0;
};

}  // namespace

double pack_layers(CodeConfig& config, PackingRules const& rules, Reporter& report) {
  if (config.nlayers == 0) {
    report.error("ERROR: num. layers: ", 0);
    return 0;
  }
  return Packer(config, rules, report).run();
}

}  // namespace fec
