#include "tcltasks/fec/encoder_check.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <set>

namespace fec {

bool is_enc_compatible(std::int64_t kb, std::int64_t /*nb*/, BaseMatrix const& h, ParityPoints const& cp,
                       MessageCallback msg, void* ctx, bool quiet, bool skip) {
  return is_enc_compatible(kb, h, cp, Reporter(msg, ctx, quiet, skip));
}

bool is_enc_compatible(std::int64_t kb, BaseMatrix const& h, ParityPoints const& cp, Reporter const& report) {
  const std::int64_t last_info = kb - 1;
  const ColumnIndex columns(h);
  std::vector<bool> calculated(columns.size());
  bool compatible = true;
  for (std::uint32_t r = 0; r < h.size(); ++r) {
    h[r].for_each_position([&](BlockPosition const& position) {
      const std::uint32_t c = position.col;
      if (c == h[r].last_col() || cp.contains({r, c})) {
        if (c > last_info) {
          calculated[columns.rank(c)] = true;
          return;
        }
        compatible = false;
        report.encoder_warning("WARNING: Encoder compatibility: Last column (", c, ") in row ", r, " is not parity(>",
                               last_info, ")");
      } else if (c > last_info && !calculated[columns.rank(c)]) {
        compatible = false;
        report.encoder_warning("WARNING: Encoder compatibility: Column ", c, " in row ", r, " is parity(>", last_info,
                               ") and not the end of the row(", h[r].last_col(),
                               ") but has not been calculated in a previously row. Only one parity location can be "
                               "calcualted per row.");  // sic
      }
    });
  }
  return compatible;
}

namespace {

// Column weights over rows 0 to r, for falling r.
class FallingWeights {
 public:
  explicit FallingWeights(BaseMatrix const& h) : h_(h), columns_(h), weight_(columns_.size()), twos_(columns_.size()) {
    for (BlockRow const& row : h)
      for (Circulant const& one : row.circulants()) ++weight_[columns_.rank(one.col)];
    for (std::size_t rank = 0; rank < weight_.size(); ++rank) enter(rank);
  }

  void remove_row(std::uint32_t r) {
    h_[r].for_each_position([this](BlockPosition const& position) {
      const std::size_t rank = columns_.rank(position.col);
      leave(rank);
      weight_[rank] -= position.weight();
      enter(rank);
    });
  }

  // The search of one r: going down from `from`, columns of weight 0, 1 and 3 are passed until one of weight 2 stands
  // at `first2`; from there on only a run of weight 2 may follow, and behind it the base, of weight 3, r columns below
  // `first2`. A weight above 3 ends the search at any point.
  std::optional<std::uint32_t> find_base(std::uint32_t r, std::uint32_t from) const {
    const auto above = stops_.upper_bound(from);
    if (above == stops_.begin()) return std::nullopt;
    const std::uint32_t first2 = *std::prev(above);
    if (weight(first2) != 2 || first2 < r) return std::nullopt;
    const std::uint32_t base = first2 - r;
    if (weight(base) != 3) return std::nullopt;
    return count_twos(base, first2) == r ? std::optional(base) : std::nullopt;
  }

 private:
  std::size_t weight(std::uint32_t col) const {
    const std::size_t rank = columns_.rank(col);
    return rank < columns_.size() && columns_.column(rank) == col ? weight_[rank] : 0;
  }

  // Number of columns of weight 2 in (after, upto], from a binary indexed tree over the ranks.
  std::uint64_t count_twos(std::uint32_t after, std::uint32_t upto) const {
    const auto prefix = [this](std::size_t ranks) {
      std::uint64_t sum = 0;
      for (; ranks > 0; ranks &= ranks - 1) sum += twos_[ranks - 1];
      return sum;
    };
    return prefix(columns_.rank(upto) + 1) - prefix(columns_.rank(after) + 1);
  }

  void count_two(std::size_t rank, std::uint32_t change) {
    for (std::size_t i = rank + 1; i <= twos_.size(); i += i & (~i + 1)) twos_[i - 1] += change;
  }

  void enter(std::size_t rank) { note(rank, 1); }
  void leave(std::size_t rank) { note(rank, ~0U); }  // ~0 is -1 in the arithmetic of the counters
  void note(std::size_t rank, std::uint32_t change) {
    const std::size_t w = weight_[rank];
    if (w == 2) count_two(rank, change);
    if (w != 2 && w <= 3) return;
    if (change == 1)
      stops_.insert(columns_.column(rank));
    else
      stops_.erase(columns_.column(rank));
  }

  BaseMatrix const& h_;
  ColumnIndex columns_;
  std::vector<std::size_t> weight_;
  std::vector<std::uint32_t> twos_;
  std::set<std::uint32_t> stops_;  // columns at which a search that has not met a weight of 2 yet stops: 2, or above 3
};

struct DoubleDiagonal {
  std::uint32_t r;      // last row of the diagonal
  std::uint32_t c;      // base column
  std::uint32_t shift;  // of the base column's circulant that the other two leave over
};

std::optional<DoubleDiagonal> find_base(BaseMatrix const& h) {
  if (h.size() < 3) return std::nullopt;
  FallingWeights weights(h);
  for (auto r = static_cast<std::uint32_t>(h.size() - 1); r >= 2; --r) {
    if (h[r].width() > 0)
      if (const auto base = weights.find_base(r, h[r].last_col())) return DoubleDiagonal{r, *base, 0};
    weights.remove_row(r);
  }
  return std::nullopt;
}

// Two of the three circulants of the base column have to cancel. Leaves the third one's shift in `found`.
bool base_column_cancels(BaseMatrix const& h, DoubleDiagonal& found) {
  std::set<std::uint32_t> shifts;
  for (std::uint32_t i = 0; i <= found.r; ++i)
    for (Circulant const& one : h[i].at(found.c))
      if (!shifts.insert(one.shift).second) shifts.erase(one.shift);
  if (shifts.size() != 1 || h[0].at(found.c).empty()) return false;
  found.shift = *shifts.begin();
  return true;
}

// Right of the base column, row i holds identities in the columns base + i and base + i + 1 and nothing else. Reports
// the first fault.
bool is_double_diagonal(BaseMatrix const& h, DoubleDiagonal const& found, Reporter const& report) {
  for (std::uint32_t i = 0; i < found.r; ++i) {
    BlockRow const& row = h[i];
    const std::uint64_t left = std::uint64_t{found.c} + i;
    std::uint64_t expected =
        std::max<std::uint64_t>(left, std::uint64_t{found.c} + 1);  // next column that has to hold one
    const auto is_missing = [&](std::uint64_t before) {
      const std::uint64_t end = std::min(before, row.width());
      if (expected > left + 1 || expected >= end) return false;
      report.encoder_warning("WARNING: Sub-matrix expected for double diagonal characteristic, row: ", i,
                             " col: ", expected);
      return true;
    };
    bool sound = true;
    row.for_each_position([&](BlockPosition const& position) {
      const std::uint64_t j = position.col;
      if (!sound || j <= found.c) return;
      sound = false;
      if (is_missing(j)) return;
      if (position.weight() > 1) {
        report.encoder_warning("WARNING: Sub-matrix contains multiple circulants, row: ", i, " col: ", j);
      } else if (j != left && j != left + 1) {
        report.encoder_warning("WARNING: Sub-matrix set outwith double diagonal characteristic, row: ", i, " col: ", j);
      } else if (position.circulants[0].shift != 0) {
        report.encoder_warning("WARNING: Non-identity sub-matrix detected, row: ", i, " col: ", j);
      } else {
        expected = j + 1;
        sound = true;
      }
    });
    if (!sound || is_missing(row.width())) return false;
  }
  return true;
}

// Inserted rows push the later ones down, and what the cut parity section held falls away.
void move_parity_points(ParityPoints& cp, DoubleDiagonal const& found) {
  ParityPoints moved;
  for (auto const& [place, value] : cp) {
    const auto [row, col] = place;
    if (row > found.r)
      moved[{row + found.r + 1, col}] = value;
    else if (col < found.c)
      moved[place] = value;
  }
  cp = std::move(moved);
}

void transform(EncoderMatrix& matrix, DoubleDiagonal const& found) {
  const auto [r, c, shift] = found;
  const std::uint64_t width = std::uint64_t{c} + r + 3;
  if (matrix.max_col < c + r + 2) {
    matrix.extra_cols = c + r + 2 - matrix.max_col;
    matrix.nb += matrix.extra_cols;
    matrix.max_col = c + r + 2;
  }
  move_parity_points(matrix.cp, found);

  std::vector<BlockRow> inserted(r + 1);
  // The sum of the first r + 1 rows leaves the base column alone, so it gives that parity block first.
  inserted[0].append(c, shift);
  for (std::uint32_t col = c + 2; col < width; ++col) inserted[0].append(col, 0);
  matrix.cp[{r + 1, c}] = 1;
  // Each further row gives the next block of the diagonal from the one before.
  for (std::uint32_t k = 0; k < r; ++k) {
    BlockRow& row = inserted[k + 1];
    for (Circulant const& one : matrix.h[k].circulants())
      if (one.col >= c && one.col <= c + k + 1) row.append(one.col, one.shift);
    row.append(c + k + 2, 0);
    row.extend(width);
    matrix.cp[{r + k + 2, c + k + 1}] = 1;
  }
  // The rows themselves now end in a parity column of their own, the sum of their information part.
  for (std::uint32_t i = 0; i <= r; ++i) {
    matrix.h[i].cut(c);
    matrix.h[i].append(c + 2 + i, 0);
  }
  matrix.h.insert(matrix.h.begin() + r + 1, std::make_move_iterator(inserted.begin()),
                  std::make_move_iterator(inserted.end()));
}

}  // namespace

bool apply_double_diagonal(EncoderMatrix& matrix, Reporter const& report) {
  auto found = find_base(matrix.h);
  if (found) {
    report.encoder_warning("INFO: Encoder double diagonal characteristic potentially detected, base row: ", found->r,
                           " base col: ", found->c, ", checking ...");
    const bool has_room = std::uint64_t{found->c} + found->r + 3 <= std::numeric_limits<std::uint32_t>::max();
    if (!has_room || !base_column_cancels(matrix.h, *found) || !is_double_diagonal(matrix.h, *found, report))
      found.reset();
  }
  if (!found) {
    report.encoder_warning("WARNING: Encoder double diagonal characteristic not detected");
    return false;
  }
  report.encoder_warning("INFO: Encoder double diagonal detected, applying transform ...");
  transform(matrix, *found);
  return is_enc_compatible(matrix.kb, matrix.h, matrix.cp, report);
}

}  // namespace fec
