#include "platform/bmg/tiler.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>
#include <utility>

namespace bmg {
namespace {

using Cost = std::uint64_t;

bool is_widest(std::vector<Choice> const& choices, std::size_t index) {
  return index + 1 == choices.size() || choices[index + 1].primitive != choices[index].primitive;
}

int deepest_widest(std::vector<Choice> const& choices) {
  int depth = 0;
  for (std::size_t i = 0; i < choices.size(); ++i)
    if (is_widest(choices, i)) depth = std::max(depth, choices[i].depth);
  return depth;
}

// Columns of widest shapes over a block of some rows. Any number of each may be taken. The one that is cheapest for its
// width carries the bulk: of another, as many as make a common multiple of both widths can be replaced by it, so fewer
// than that are looked at.
class Columns {
 public:
  Columns(std::vector<Choice> const& choices, int rows) {
    for (std::size_t i = 0; i < choices.size(); ++i) {
      if (!is_widest(choices, i)) continue;
      Choice const& one = choices[i];
      const auto stack = static_cast<Cost>((rows + one.depth - 1) / one.depth);
      kinds_.push_back({i, one.width, stack * one.for_tile + static_cast<Cost>(rows) * one.for_row, 0});
    }
    const auto bulk = std::min_element(kinds_.begin(), kinds_.end(), [](Kind const& a, Kind const& b) {
      return a.cost * static_cast<Cost>(b.width) < b.cost * static_cast<Cost>(a.width);
    });
    std::iter_swap(kinds_.begin(), bulk);
    for (Kind& one : kinds_) one.most = kinds_.front().width / std::gcd(kinds_.front().width, one.width) - 1;
  }

  // For `least` to `most` bits.
  std::vector<Cost> costs(int least, int most) const {
    int step = 0;  // what is covered is a multiple of this, so the cost changes behind such multiples only
    for (Kind const& one : kinds_) step = std::gcd(step, one.width);
    std::vector<Cost> costs;
    costs.reserve(static_cast<std::size_t>(most - least) + 1);
    for (int bits = least; bits <= most; ++bits)
      costs.push_back(bits == least || (bits - 1) % step == 0 ? cheapest(bits, kinds_.size() - 1, nullptr)
                                                              : costs.back());
    return costs;
  }

  // Calls take(choice, number of columns) for each kind that is used.
  template <class Take>
  void choose(int bits, Take take) const {
    std::vector<int> numbers(kinds_.size());
    cheapest(bits, kinds_.size() - 1, numbers.data());
    for (std::size_t i = 0; i < kinds_.size(); ++i)
      if (numbers[i] > 0) take(kinds_[i].choice, numbers[i]);
  }

 private:
  struct Kind {
    std::size_t choice;
    int width;
    Cost cost;  // of one column
    int most;   // that can be worth it, but for the bulk
  };

  // Covers `bits` by the kinds up to `last`; writes the numbers of each, unless `numbers` is null.
  Cost cheapest(int bits, std::size_t last, int* numbers) const {
    if (last == 0) {
      const int number = bits > 0 ? (bits + kinds_[0].width - 1) / kinds_[0].width : 0;
      if (numbers != nullptr) numbers[0] = number;
      return static_cast<Cost>(number) * kinds_[0].cost;
    }
    Kind const& one = kinds_[last];
    Cost best = std::numeric_limits<Cost>::max();
    int best_number = 0;
    for (int number = 0; number <= one.most; ++number) {
      const Cost cost = static_cast<Cost>(number) * one.cost + cheapest(bits - number * one.width, last - 1, nullptr);
      if (cost < best) {
        best = cost;
        best_number = number;
      }
      if (number * one.width >= bits) break;
    }
    if (numbers != nullptr) {
      numbers[last] = best_number;
      cheapest(bits - best_number * one.width, last - 1, numbers);
    }
    return best;
  }

  std::vector<Kind> kinds_;
};

class Tiler {
 public:
  Tiler(std::vector<Choice> const& choices, int width, int depth) : choices_(choices), width_(width), depth_(depth) {
    lay_out_levels();
    const Columns whole_columns(choices_, levels_.back().depth);
    const Columns part_columns(choices_, levels_.back().rows);
    Level& last = levels_.back();
    if (last.has_whole) {
      last.whole.cost = whole_columns.costs(last.least_below, width_);
      use_shapes(last, last.whole, last.depth);
    }
    last.part.cost = part_columns.costs(last.least_below, width_);
    use_shapes(last, last.part, last.rows);
    for (std::size_t k = levels_.size() - 1; k-- > 0;) {
      Level& at = levels_[k];
      Level const& half = levels_[k + 1];
      if (at.has_whole) {
        at.whole.cost = costs_of_halves(at, half.whole, half.whole);
        use_shapes(at, at.whole, at.depth);
      }
      at.part.cost = at.rows > half.depth ? costs_of_halves(at, half.whole, half.part) : costs_from(at, half.part);
      use_shapes(at, at.part, at.rows);
    }
    collect(whole_columns, part_columns);
  }

  std::vector<Grid> grids() && { return std::move(grids_); }

  // Recuts each stack of one shape into the deepest shapes of its primitive that cost no more there: fewer inputs to
  // the output multiplexer.
  void deepen() {
    join_stacks();
    std::vector<Grid> recut;
    for (Grid const& one : grids_) recut_stack(one, recut);
    grids_ = std::move(recut);
    join_stacks();
  }

 private:
  // By bits still to be covered: the cost, and one bit for each shape of the level that is set if it is taken there.
  struct Table {
    std::vector<Cost> cost;
    std::vector<std::uint8_t> taken;
  };

  // The shapes of one depth that are not their primitive's widest, over whole blocks of that depth and over the
  // memory's last, partial one.
  struct Level {
    int depth;
    std::vector<std::size_t> shapes;
    int least_below;  // bits left when all shapes up to these are taken
    int rows;         // of the partial block, 1 to depth
    bool has_whole;
    Table whole, part;
  };

  // The halves of blocks come one by one; where they go on with the same shape they are one stack.
  void join_stacks() {
    std::vector<Grid> joined;
    for (Grid const& one : grids_) {
      const auto above = std::find_if(joined.begin(), joined.end(), [&](Grid const& other) {
        return other.choice == one.choice && other.first_row + other.rows == one.first_row &&
               other.first_bit == one.first_bit && other.bits == one.bits;
      });
      if (above == joined.end())
        joined.push_back(one);
      else
        above->rows += one.rows;
    }
    grids_ = std::move(joined);
  }

  void recut_stack(Grid const& stack, std::vector<Grid>& recut) const {
    std::size_t first = stack.choice;
    while (first > 0 && choices_[first - 1].primitive == choices_[stack.choice].primitive) --first;
    const auto costs_no_more = [&](std::size_t index, int rows) {
      Grid block = stack;
      block.rows = rows;
      return cost(block, choices_[index]) <= cost(block, choices_[stack.choice]);
    };
    std::size_t deepest = first;  // that is worth it for whole blocks
    while (!costs_no_more(deepest, choices_[deepest].depth)) ++deepest;

    const bool is_last = stack.first_row + stack.rows == depth_;
    Grid rest = stack;
    while (rest.rows > 0) {
      Grid next = rest;
      for (next.choice = first; next.choice < stack.choice; ++next.choice) {
        const int depth = choices_[next.choice].depth;
        const bool has_block = rest.first_row % depth == 0 && (rest.rows >= depth || is_last);
        if (has_block && costs_no_more(next.choice, std::min(depth, rest.rows))) break;
      }
      // Behind a block that is not of the deepest shape, a deeper one may begin.
      const int depth = choices_[next.choice].depth;
      const int blocks = next.choice == deepest ? std::max(1, rest.rows / depth) : 1;
      next.rows = std::min(rest.rows, blocks * depth);
      recut.push_back(next);
      rest.first_row += next.rows;
      rest.rows -= next.rows;
    }
  }

  static Cost cost(Grid const& one, Choice const& shape) {
    const auto columns = static_cast<Cost>((one.bits + shape.width - 1) / shape.width);
    const auto stack = static_cast<Cost>((one.rows + shape.depth - 1) / shape.depth);
    return columns * (stack * shape.for_tile + static_cast<Cost>(one.rows) * shape.for_row);
  }

  void lay_out_levels() {
    int deepest = 1;
    for (Choice const& one : choices_) deepest = std::max(deepest, one.depth);
    int least = width_;
    int rows = (depth_ - 1) % deepest + 1;
    bool has_whole = depth_ > rows;
    for (int depth = deepest; depth >= deepest_widest(choices_); depth /= 2) {
      if (rows > depth) {
        rows -= depth;
        has_whole = true;
      }
      Level next{depth, {}, 0, rows, has_whole, {}, {}};
      for (std::size_t i = 0; i < choices_.size(); ++i) {
        if (choices_[i].depth != depth || is_widest(choices_, i)) continue;
        next.shapes.push_back(i);
        least -= choices_[i].width;
      }
      next.least_below = std::max(0, least);
      levels_.push_back(std::move(next));
    }
  }

  // The costs of a level below that `at` can ask for.
  std::vector<Cost> costs_from(Level const& at, Table const& below) const {
    return {below.cost.end() - (width_ - at.least_below + 1), below.cost.end()};
  }
  std::vector<Cost> costs_of_halves(Level const& at, Table const& first, Table const& second) const {
    std::vector<Cost> sums = costs_from(at, first);
    const std::size_t skipped = second.cost.size() - sums.size();
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += second.cost[skipped + i];
    return sums;
  }

  // One pass for each shape: with it or without, whichever costs less. Equal costs take it, for it is the deeper one.
  void use_shapes(Level const& at, Table& costs, int rows) const {
    costs.taken.resize(costs.cost.size());
    int least = at.least_below;
    unsigned mask = 1;
    for (std::size_t const index : at.shapes) {
      Choice const& one = choices_[index];
      const Cost own = one.for_tile + static_cast<Cost>(rows) * one.for_row;
      if (least > 0) least += one.width;
      for (int bits = width_; bits >= least; --bits) {
        const auto i = static_cast<std::size_t>(bits - at.least_below);
        const Cost with = own + costs.cost[static_cast<std::size_t>(std::max(0, bits - one.width) - at.least_below)];
        if (with > costs.cost[i]) continue;
        costs.cost[i] = with;
        costs.taken[i] = static_cast<std::uint8_t>(costs.taken[i] | mask);
      }
      mask <<= 1U;
    }
  }

  void collect(Columns const& whole_columns, Columns const& part_columns) {
    int row = depth_ - (depth_ - 1) % levels_.front().depth - 1;
    if (row > 0) collect_whole(0, width_, 0, row, whole_columns);
    int bits = width_;
    for (std::size_t k = 0; k < levels_.size(); ++k) {
      Level const& at = levels_[k];
      // The first half of the block above, if this level's rows are its second.
      if (k > 0 && levels_[k - 1].rows > at.depth) {
        collect_whole(k, bits, row, at.depth, whole_columns);
        row += at.depth;
      }
      take_shapes(at, at.part, bits, row, at.rows);
    }
    take_columns(part_columns, bits, row, levels_.back().rows);
  }

  // `rows` are whole blocks of level k, all tiled alike: each shape makes one grid over them.
  void collect_whole(std::size_t k, int bits, int row, int rows, Columns const& last) {
    for (; k < levels_.size(); ++k) take_shapes(levels_[k], levels_[k].whole, bits, row, rows);
    take_columns(last, bits, row, rows);
  }

  void take_shapes(Level const& at, Table const& costs, int& bits, int row, int rows) {
    for (std::size_t i = at.shapes.size(); i-- > 0;) {
      if ((costs.taken[static_cast<std::size_t>(bits - at.least_below)] >> i & 1U) == 0) continue;
      const int rest = std::max(0, bits - choices_[at.shapes[i]].width);
      grids_.push_back({at.shapes[i], rest, bits - rest, row, rows});
      bits = rest;
    }
  }

  void take_columns(Columns const& from, int bits, int row, int rows) {
    int bit = 0;
    from.choose(bits, [&](std::size_t index, int number) {
      const int taken = std::min(bits - bit, number * choices_[index].width);
      grids_.push_back({index, bit, taken, row, rows});
      bit += taken;
    });
  }

  std::vector<Choice> const& choices_;
  int width_, depth_;
  std::vector<Level> levels_;
  std::vector<Grid> grids_;
};

}  // namespace

namespace {

std::vector<Grid> cheapest(std::vector<Choice> const& choices, int width, int depth) {
  Tiler found(choices, width, depth);
  found.deepen();
  return std::move(found).grids();
}

Cost cost_of(std::vector<Choice> const& choices, std::vector<Grid> const& grids) {
  Cost sum = 0;
  for (Grid const& one : grids) {
    Choice const& choice = choices[one.choice];
    const auto columns = static_cast<Cost>((one.bits + choice.width - 1) / choice.width);
    const auto stack = static_cast<Cost>((one.rows + choice.depth - 1) / choice.depth);
    sum += columns * (stack * choice.for_tile + static_cast<Cost>(one.rows) * choice.for_row);
  }
  return sum;
}

// Of the bit over which most primitives stand. Their number changes only where a grid begins.
int inputs_of(std::vector<Choice> const& choices, std::vector<Grid> const& grids) {
  int most = 0;
  for (Grid const& start : grids) {
    int inputs = 0;
    for (Grid const& one : grids)
      if (one.first_bit <= start.first_bit && start.first_bit < one.first_bit + one.bits)
        inputs += (one.rows + choices[one.choice].depth - 1) / choices[one.choice].depth;
    most = std::max(most, inputs);
  }
  return most;
}

// Tilings by some of the choices, named as all of them are.
class Some {
 public:
  template <class Keep>
  Some(std::vector<Choice> const& all, Keep keep) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (!keep(all[i])) continue;
      choices_.push_back(all[i]);
      index_.push_back(i);
    }
  }

  bool can_tile() const { return !choices_.empty() && end_in_columns(choices_); }
  // Below what bits and rows cost in any tiling: no more is used of a primitive than it has.
  double least_cost(int width, int rows) const {
    double least = std::numeric_limits<double>::infinity();
    for (Choice const& one : choices_)
      least = std::min(least,
                       (static_cast<double>(one.for_tile) / one.depth + static_cast<double>(one.for_row)) / one.width);
    constexpr double kRounding = 1e-9;
    return least * width * rows * (1 - kRounding);
  }
  void add(int width, int first_row, int rows, std::vector<Grid>& grids) const {
    for (Grid one : cheapest(choices_, width, rows)) {
      one.choice = index_[one.choice];
      one.first_row += first_row;
      grids.push_back(one);
    }
  }

 private:
  std::vector<Choice> choices_;
  std::vector<std::size_t> index_;
};

// The best so far: of tilings that cost no more, the one of fewest inputs.
class Fewest {
 public:
  Fewest(std::vector<Choice> const& choices, std::vector<Grid> first)
      : choices_(choices),
        best_(std::move(first)),
        cost_(cost_of(choices, best_)),
        inputs_(inputs_of(choices, best_)) {}

  int inputs() const { return inputs_; }
  double cost() const { return static_cast<double>(cost_); }
  // Whether it costs no more.
  bool offer(std::vector<Grid> grids) {
    if (cost_of(choices_, grids) > cost_) return false;
    const int inputs = inputs_of(choices_, grids);
    if (inputs < inputs_) {
      inputs_ = inputs;
      best_ = std::move(grids);
    }
    return true;
  }
  std::vector<Grid> grids() && { return std::move(best_); }

 private:
  std::vector<Choice> const& choices_;
  std::vector<Grid> best_;
  Cost cost_;
  int inputs_;
};

}  // namespace

namespace {

// Offers the tiling by shapes of at least this depth; whether it costs no more.
bool offer_deep(std::vector<Choice> const& choices, int width, int depth, int least, Fewest& best) {
  const Some deep(choices, [least](Choice const& one) { return one.depth >= least; });
  if (!deep.can_tile() || deep.least_cost(width, depth) > best.cost()) return false;
  std::vector<Grid> grids;
  deep.add(width, 0, depth, grids);
  return best.offer(std::move(grids));
}

// The same over the rows that are whole multiples of the depth, with shallower shapes behind these.
void offer_deep_then_shallow(std::vector<Choice> const& choices, int width, int depth, int least, Fewest& best) {
  const int whole = depth / least * least;
  if (whole == 0 || whole == depth) return;
  // A primitive holds as many rows as it has, but for the memory's last.
  const Some deep(choices, [least, whole](Choice const& one) { return one.depth >= least && whole % one.depth == 0; });
  const Some shallow(choices, [whole](Choice const& one) { return whole % one.depth == 0; });
  if (!deep.can_tile() || !shallow.can_tile() || deep.least_cost(width, whole) > best.cost()) return;
  std::vector<Grid> grids;
  deep.add(width, 0, whole, grids);
  shallow.add(width, whole, depth - whole, grids);
  best.offer(std::move(grids));
}

}  // namespace

// Deep shapes alone need few inputs, and often they cost no more. Of the depths, the deepest whose shapes cost no more
// is found by halves, since more shapes never cost more.
std::vector<Grid> tile(std::vector<Choice> const& choices, int width, int depth) {
  constexpr int kMostInputs = 8;  // of a multiplexer that is looked at: beyond, one more or less is no matter
  Fewest best(choices, cheapest(choices, width, depth));
  const int inputs = best.inputs();
  if (inputs == 1 || inputs > kMostInputs) return std::move(best).grids();
  std::vector<int> depths;  // that may have fewer, the deepest first
  for (Choice const& one : choices)
    if ((depth + one.depth - 1) / one.depth < inputs) depths.push_back(one.depth);
  std::sort(depths.begin(), depths.end(), std::greater<>());
  depths.erase(std::unique(depths.begin(), depths.end()), depths.end());
  const auto found = std::partition_point(depths.begin(), depths.end(),
                                          [&](int least) { return !offer_deep(choices, width, depth, least, best); });
  if (found != depths.begin()) offer_deep_then_shallow(choices, width, depth, *std::prev(found), best);
  return std::move(best).grids();
}

bool end_in_columns(std::vector<Choice> const& choices) {
  const int depth = deepest_widest(choices);
  for (std::size_t i = 0; i < choices.size(); ++i)
    if (!is_widest(choices, i) && choices[i].depth < depth) return false;
  return true;
}

}  // namespace bmg
