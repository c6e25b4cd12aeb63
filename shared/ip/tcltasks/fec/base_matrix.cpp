#include "tcltasks/fec/base_matrix.h"

#include <algorithm>

namespace fec {
namespace {

constexpr auto by_column = [](Circulant const& a, Circulant const& b) { return a.col < b.col; };

}  // namespace

std::span<Circulant const> BlockRow::at(std::uint32_t col) const {
  const auto [begin, end] = std::equal_range(circulants_.begin(), circulants_.end(), Circulant{col, 0}, by_column);
  return {begin, end};
}

void BlockRow::cut(std::uint64_t width) {
  if (width >= width_) return;
  width_ = width;
  while (!circulants_.empty() && circulants_.back().col >= width) circulants_.pop_back();
}

void BlockRow::sort() {
  if (!std::is_sorted(circulants_.begin(), circulants_.end(), by_column))
    std::stable_sort(circulants_.begin(), circulants_.end(), by_column);
}

ColumnIndex::ColumnIndex(BaseMatrix const& h) {
  std::size_t total = 0;
  for (BlockRow const& row : h) total += row.weight();
  columns_.reserve(total);
  for (BlockRow const& row : h)
    row.for_each_position([this](BlockPosition const& position) { columns_.push_back(position.col); });
  std::sort(columns_.begin(), columns_.end());
  columns_.erase(std::unique(columns_.begin(), columns_.end()), columns_.end());
}

std::size_t ColumnIndex::rank(std::uint32_t col) const {
  return static_cast<std::size_t>(std::lower_bound(columns_.begin(), columns_.end(), col) - columns_.begin());
}

}  // namespace fec
