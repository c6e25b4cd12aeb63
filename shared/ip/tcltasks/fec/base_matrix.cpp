#include "tcltasks/fec/base_matrix.h"

#include <algorithm>

namespace fec {
namespace {

constexpr auto by_column = [](circulant const& a, circulant const& b) { return a.col < b.col; };

}  // namespace

std::span<circulant const> block_row::at(std::uint32_t col) const {
  const auto [begin, end] = std::equal_range(circulants_.begin(), circulants_.end(), circulant{col, 0}, by_column);
  return {begin, end};
}

void block_row::cut(std::uint64_t width) {
  if (width >= width_) return;
  width_ = width;
  while (!circulants_.empty() && circulants_.back().col >= width) circulants_.pop_back();
}

void block_row::sort() {
  if (!std::is_sorted(circulants_.begin(), circulants_.end(), by_column))
    std::stable_sort(circulants_.begin(), circulants_.end(), by_column);
}

column_index::column_index(base_matrix const& h) {
  std::size_t total = 0;
  for (block_row const& row : h) total += row.weight();
  columns_.reserve(total);
  for (block_row const& row : h)
    row.for_each_position([this](block_position const& position) { columns_.push_back(position.col); });
  std::sort(columns_.begin(), columns_.end());
  columns_.erase(std::unique(columns_.begin(), columns_.end()), columns_.end());
}

std::size_t column_index::rank(std::uint32_t col) const {
  return static_cast<std::size_t>(std::lower_bound(columns_.begin(), columns_.end(), col) - columns_.begin());
}

}  // namespace fec
