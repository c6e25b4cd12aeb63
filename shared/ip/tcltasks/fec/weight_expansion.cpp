#include "tcltasks/fec/weight_expansion.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

namespace fec {
namespace {

// Hands out virtual columns, one for each real column and copy.
class VirtualColumns {
 public:
  VirtualColumns(std::uint32_t banks, std::uint32_t columns) : next_(banks) {
    for (std::uint32_t i = 0; i < banks; ++i) next_[(columns + i) % banks] = columns + i;
  }

  std::uint32_t of_copy(std::uint32_t copy, std::uint32_t col) {
    const auto [place, is_new] = given_.try_emplace({copy, col}, 0);
    if (is_new) {
      std::uint32_t& next = next_[col % next_.size()];
      place->second = next;
      highest_ = std::max(highest_, next);
      next += static_cast<std::uint32_t>(next_.size());
    }
    return place->second;
  }

  std::uint32_t highest() const { return highest_; }

 private:
  std::vector<std::uint32_t> next_;  // for each bank
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> given_;
  std::uint32_t highest_ = 0;
};

struct SplitLayer {
  std::vector<ldpc_code_element_t> groups;  // the operations of sub-matrices of weight above 1
  std::vector<ldpc_code_element_t> plain;
};

SplitLayer split(std::span<ldpc_code_element_t const> layer) {
  SplitLayer parts;
  bool in_group = false;
  for (ldpc_code_element_t const& op : layer) {
    (in_group || op.last == 0 ? parts.groups : parts.plain).push_back(op);
    in_group = op.last == 0;
  }
  return parts;
}

void rename_copies(std::vector<ldpc_code_element_t>& groups, VirtualColumns& columns) {
  std::uint32_t copy = 0;
  for (ldpc_code_element_t& op : groups) {
    if (copy > 0) op.col = columns.of_copy(copy, op.col);
    copy = op.last != 0 ? 0 : copy + 1;
  }
}

// The combining layer: every operation of a group with the shift of the group's first, and no column for the first
// time.
std::vector<ldpc_code_element_t> combining(std::vector<ldpc_code_element_t> groups) {
  bool opens_group = true;
  std::uint32_t shift = 0;
  for (ldpc_code_element_t& op : groups) {
    if (opens_group) shift = op.shift;
    op.shift = shift;
    op.first = 0;
    opens_group = op.last != 0;
  }
  return groups;
}

}  // namespace

std::uint32_t expand_weights(CodeConfig& config, std::uint32_t banks, std::uint32_t columns) {
  VirtualColumns virtuals(banks, columns);
  CodeConfig expanded;
  const auto add_layer = [&](std::size_t layer, std::vector<ldpc_code_element_t> const& ops, std::size_t dc) {
    expanded.qc.insert(expanded.qc.end(), ops.begin(), ops.end());
    expanded.dc.push_back(static_cast<std::uint32_t>(dc));
    if (config.norm_type == 1) expanded.scale.push_back(config.scale[layer]);
  };

  std::size_t begin = 0;
  for (std::size_t layer = 0; layer < config.nlayers; begin += config.dc[layer], ++layer) {
    SplitLayer parts = split(std::span(config.qc).subspan(begin, config.dc[layer]));
    rename_copies(parts.groups, virtuals);
    std::vector<ldpc_code_element_t> ops = parts.groups;
    ops.insert(ops.end(), parts.plain.begin(), parts.plain.end());
    add_layer(layer, ops, config.dc[layer]);
    expanded.stall.push_back(config.stall[layer]);
    expanded.extra_layer.push_back(config.extra_layer[layer]);
    if (parts.groups.empty()) continue;

    add_layer(layer, combining(parts.groups), parts.groups.size());
    expanded.stall.push_back(0);
    expanded.extra_layer.push_back(1);
  }
  config.qc = std::move(expanded.qc);
  config.dc = std::move(expanded.dc);
  config.stall = std::move(expanded.stall);
  config.extra_layer = std::move(expanded.extra_layer);
  if (config.norm_type == 1) config.scale = std::move(expanded.scale);
  config.nlayers = static_cast<std::uint32_t>(config.dc.size());
  return virtuals.highest();
}

}  // namespace fec
