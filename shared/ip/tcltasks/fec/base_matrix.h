// The working matrix H of the compiler: block rows of block columns of circulant shifts, stored sparsely.
//
// A script may name any 32-bit column, so a row keeps only the columns that hold circulants, and its width as a number.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "tcltasks/fec/records.h"

namespace fec {

struct Circulant {
  std::uint32_t col;    ///< block column
  std::uint32_t shift;  ///< right-shift of the identity
};

/// The circulants of one block column of a row: never empty, all of the same column, in the order they were given.
struct BlockPosition {
  std::uint32_t col;
  std::span<Circulant const> circulants;

  std::size_t weight() const { return circulants.size(); }
};

/// One block row. A column without circulants is an empty position and is not stored.
class BlockRow {
 public:
  /// Number of block columns, the empty ones at the end included. May exceed 32 bits by a few.
  std::uint64_t width() const { return width_; }

  /// Highest column index, 4294967295 for a row without columns.
  std::uint32_t last_col() const { return static_cast<std::uint32_t>(width_ - 1); }

  bool has_circulants() const { return !circulants_.empty(); }
  std::size_t weight() const { return circulants_.size(); }
  std::span<Circulant const> circulants() const { return circulants_; }

  /// Circulants of column `col`; an empty span for an empty position or one behind the row.
  std::span<Circulant const> at(std::uint32_t col) const;

  /// Grows the row to `width` columns if it is narrower.
  void extend(std::uint64_t width) { width_ = width > width_ ? width : width_; }

  /// Cuts the row to `width` columns if it is wider; what stood behind is gone.
  void cut(std::uint64_t width);

  /// Appends a circulant. Columns may come in any order until sort() is called; the row grows as needed.
  void append(std::uint32_t col, std::uint32_t shift) {
    circulants_.push_back({col, shift});
    extend(std::uint64_t{col} + 1);
  }

  /// Puts the circulants into ascending column order, those of one column in the order they were appended.
  void sort();

  /// Calls `visit(BlockPosition)` for each non-empty position, in ascending column order.
  template <class Visit>
  void for_each_position(Visit visit) const {
    for (std::size_t begin = 0; begin < circulants_.size();) {
      std::size_t end = begin + 1;
      while (end < circulants_.size() && circulants_[end].col == circulants_[begin].col) ++end;
      visit(BlockPosition{circulants_[begin].col, std::span(circulants_).subspan(begin, end - begin)});
      begin = end;
    }
  }

 private:
  std::uint64_t width_ = 0;
  std::vector<Circulant> circulants_;
};

using BaseMatrix = std::vector<BlockRow>;

/// Parity-calculation points: (row, col) to the non-zero value that the script gave.
using ParityPoints = std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t>;

/// The columns of a matrix that hold circulants, numbered from 0 in ascending order, so that a count or a flag for each
/// column costs memory by the columns in use and not by their numbers.
class ColumnIndex {
 public:
  explicit ColumnIndex(BaseMatrix const& h);

  std::size_t size() const { return columns_.size(); }
  std::uint32_t column(std::size_t rank) const { return columns_[rank]; }
  std::size_t rank(std::uint32_t col) const;  ///< of a column that holds circulants

 private:
  std::vector<std::uint32_t> columns_;
};

}  // namespace fec
