#include "platform/bmg/tiler.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

namespace bmg {
namespace {

using Cost = std::uint64_t;

// The best for some bits of a block: what it costs, how many primitives are over a bit at most, and what comes first.
struct Best {
  Cost cost;
  int inputs;
  int first;  // index of a part of the table; kHalves: all bits by the halves
};

constexpr int kHalves = -1;
constexpr Best kNone{std::numeric_limits<Cost>::max(), 0, kHalves};

bool is_better(Cost cost, int inputs, Best const& than) {
  return cost < than.cost || (cost == than.cost && inputs < than.inputs);
}

// What may hold a part of the bits, so that the best of the others is beside it.
struct Part {
  int width;
  Cost cost;
  int inputs;
  int choice;  // kHalves: these bits by the halves
};

// Whether halves are worth looking at for a part of the bits. They are not where they are alike, or one: what parts
// make of them, their own parts make.
enum class Halves { alike, in_parts };

// The best tilings of one block for each number of bits.
class Table {
 public:
  // `shapes` are those of the block's depth; by_halves(bits) is the best that its halves make, kNone without any.
  template <class ByHalves>
  Table(int most_bits, std::vector<Part> shapes, Halves use, ByHalves by_halves) : parts_(std::move(shapes)) {
    // What costs more than the halves' best for as many bits is in no best tiling.
    parts_.erase(
        std::remove_if(parts_.begin(), parts_.end(),
                       [&](Part const& one) { return by_halves(std::min(one.width, most_bits)).cost < one.cost; }),
        parts_.end());
    best_.reserve(static_cast<std::size_t>(most_bits) + 1);
    best_.push_back({0, 0, kHalves});
    for (int bits = 1; bits <= most_bits; ++bits) {
      Best best = kNone;
      for (std::size_t i = 0; i < parts_.size(); ++i) {
        Part const& one = parts_[i];
        Best const& others = at(std::max(0, bits - one.width));
        const int inputs = std::max(one.inputs, others.inputs);
        if (is_better(one.cost + others.cost, inputs, best))
          best = {one.cost + others.cost, inputs, static_cast<int>(i)};
      }
      const Best halves = by_halves(bits);
      if (is_better(halves.cost, halves.inputs, best)) {
        best = {halves.cost, halves.inputs, kHalves};
        if (use == Halves::in_parts) add_part(bits, halves);
      }
      best_.push_back(best);
    }
  }

  Best const& at(int bits) const { return best_[static_cast<std::size_t>(bits)]; }

  // Calls take(choice or kHalves, first bit, number of bits) for each part of `bits` that begin at `first`.
  template <class Take>
  void each_part(int first, int bits, Take take) const {
    while (bits > 0) {
      Best const& best = at(bits);
      const bool is_part = best.first != kHalves;
      const int width = is_part ? std::min(bits, parts_[static_cast<std::size_t>(best.first)].width) : bits;
      take(is_part ? parts_[static_cast<std::size_t>(best.first)].choice : kHalves, first, width);
      first += width;
      bits -= width;
    }
  }

 private:
  // What costs the same for some bits more, as the last part of wide shapes does, is one part.
  void add_part(int bits, Best const& halves) {
    Part const* const last = parts_.empty() ? nullptr : &parts_.back();
    if (last != nullptr && last->choice == kHalves && last->cost == halves.cost && last->inputs == halves.inputs)
      parts_.back().width = bits;
    else
      parts_.push_back({bits, halves.cost, halves.inputs, kHalves});
  }

  std::vector<Part> parts_;
  std::vector<Best> best_;
};

class Tiler {
 public:
  Tiler(std::vector<Choice> const& choices, int width, int depth) : choices_(choices), width_(width), depth_(depth) {
    lay_out_levels();
    choose_unit();
    whole_.reserve(levels_.size());
    last_.reserve(levels_.size() + 1);
    for (std::size_t k = 0; k < first_of_no_whole_; ++k) add_whole(k);
    for (std::size_t k = 0; k < levels_.size(); ++k) add_last(k);
    add_memory();
  }

  std::vector<Grid> grids() {
    collect_memory(0, bits_);
    const std::size_t single = grids_.size();
    if (repeats_ > 0) collect_memory(0, period_);
    for (std::size_t i = single; i < grids_.size(); ++i) {  // side by side, each as wide as all repetitions
      grids_[i].first_bit = bits_ + grids_[i].first_bit * repeats_;
      grids_[i].bits *= repeats_;
    }
    to_bits();
    join_columns();
    join_stacks();
    join_columns();
    return std::move(grids_);
  }

 private:
  // One depth, the shallowest first.
  struct Level {
    int depth;
    int rows;  // of the memory's last block, 1 to depth
  };

  void lay_out_levels() {
    const auto [shallowest, deepest] = std::minmax_element(
        choices_.begin(), choices_.end(), [](Choice const& a, Choice const& b) { return a.depth < b.depth; });
    for (int depth = shallowest->depth; depth <= deepest->depth; depth *= 2) levels_.push_back({depth, 0});
    int rows = (depth_ - 1) % deepest->depth + 1;
    blocks_ = (depth_ - rows) / deepest->depth;
    if (blocks_ > 0) first_of_no_whole_ = levels_.size();
    for (std::size_t k = levels_.size(); k-- > 0;) {
      levels_[k].rows = rows;
      if (k == 0 || rows <= levels_[k - 1].depth) continue;
      rows -= levels_[k - 1].depth;
      first_of_no_whole_ = std::max(first_of_no_whole_, k);
    }
  }

  // Widths are counted in what all of them are multiples of.
  void choose_unit() {
    for (Choice const& one : choices_) unit_ = std::gcd(unit_, one.width);
    std::int64_t common = 1;
    bits_ = (width_ + unit_ - 1) / unit_;
    for (Choice const& one : choices_)
      if (common <= bits_) common = std::lcm(common, std::int64_t{one.width / unit_});
    if (2 * common >= bits_) return;
    period_ = static_cast<int>(common);
    repeats_ = (bits_ - period_ - 1) / period_;
    bits_ -= repeats_ * period_;
  }

  std::vector<Part> shapes_of(int depth, int rows) const {
    std::vector<Part> shapes;
    for (std::size_t i = 0; i < choices_.size(); ++i) {
      Choice const& one = choices_[i];
      if (one.depth == depth)
        shapes.push_back(
            {one.width / unit_, one.for_tile + static_cast<Cost>(rows) * one.for_row, 1, static_cast<int>(i)});
    }
    return shapes;
  }

  void add_whole(std::size_t k) {
    const int depth = levels_[k].depth;
    whole_.emplace_back(bits_, shapes_of(depth, depth), Halves::alike, [&](int bits) {
      if (k == 0) return kNone;
      Best const& half = whole_[k - 1].at(bits);
      return Best{2 * half.cost, 2 * half.inputs, kHalves};
    });
  }

  bool has_first_half(std::size_t k) const { return levels_[k].rows > levels_[k - 1].depth; }
  void add_last(std::size_t k) {
    const Halves use = k > 0 && has_first_half(k) ? Halves::in_parts : Halves::alike;
    last_.emplace_back(bits_, shapes_of(levels_[k].depth, levels_[k].rows), use, [&](int bits) {
      if (k == 0) return kNone;
      Best const& rest = last_[k - 1].at(bits);
      if (!has_first_half(k)) return rest;
      Best const& half = whole_[k - 1].at(bits);
      return Best{half.cost + rest.cost, half.inputs + rest.inputs, kHalves};
    });
  }

  void add_memory() {
    if (blocks_ == 0) return;
    last_.emplace_back(bits_, std::vector<Part>(), Halves::in_parts, [&](int bits) {
      Best const& rest = last_[levels_.size() - 1].at(bits);
      Best const& block = whole_[levels_.size() - 1].at(bits);
      return Best{static_cast<Cost>(blocks_) * block.cost + rest.cost, blocks_ * block.inputs + rest.inputs, kHalves};
    });
  }

  void collect_memory(int first, int bits) {
    const std::size_t deepest = levels_.size() - 1;
    if (blocks_ == 0) return collect_last(deepest, first, bits, 0);
    const int rows = blocks_ * levels_[deepest].depth;
    last_.back().each_part(first, bits, [&](int, int part, int part_bits) {
      collect_whole(deepest, part, part_bits, 0, rows);
      collect_last(deepest, part, part_bits, rows);
    });
  }

  // `rows` are whole blocks of level k, all tiled alike.
  void collect_whole(std::size_t k, int first, int bits, int row, int rows) {
    whole_[k].each_part(first, bits, [&](int choice, int part, int part_bits) {
      if (choice == kHalves)
        collect_whole(k - 1, part, part_bits, row, rows);
      else
        grids_.push_back({static_cast<std::size_t>(choice), part, part_bits, row, rows});
    });
  }

  void collect_last(std::size_t k, int first, int bits, int row) {
    last_[k].each_part(first, bits, [&](int choice, int part, int part_bits) {
      if (choice != kHalves) {
        grids_.push_back({static_cast<std::size_t>(choice), part, part_bits, row, levels_[k].rows});
        return;
      }
      const int half = has_first_half(k) ? levels_[k - 1].depth : 0;
      if (half > 0) collect_whole(k - 1, part, part_bits, row, half);
      collect_last(k - 1, part, part_bits, row + half);
    });
  }

  void to_bits() {
    for (Grid& one : grids_) {
      one.first_bit *= unit_;
      one.bits = std::min(one.bits * unit_, width_ - one.first_bit);
    }
  }

  // Columns of one choice come one by one, and with what is below them.
  void join_columns() {
    std::sort(grids_.begin(), grids_.end(), [](Grid const& a, Grid const& b) {
      return std::tie(a.first_row, a.first_bit) < std::tie(b.first_row, b.first_bit);
    });
    std::vector<Grid> joined;
    for (Grid const& one : grids_) {
      const bool goes_on = !joined.empty() && joined.back().choice == one.choice &&
                           joined.back().first_row == one.first_row && joined.back().rows == one.rows &&
                           joined.back().first_bit + joined.back().bits == one.first_bit &&
                           joined.back().bits % choices_[one.choice].width == 0;
      if (goes_on)
        joined.back().bits += one.bits;
      else
        joined.push_back(one);
    }
    grids_ = std::move(joined);
  }

  // Where the halves of a block go on with the same columns, they are one stack.
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

  std::vector<Choice> const& choices_;
  int width_, depth_;
  int unit_ = 0;                       // bits
  int bits_ = 0;                       // the memory's, without repetitions; here and below in units
  int period_ = 0, repeats_ = 0;       // bits that are tiled alike beside these, and how often
  int blocks_ = 0;                     // whole ones of the deepest shape
  std::size_t first_of_no_whole_ = 0;  // level of which the memory has no whole block that is tiled alone
  std::vector<Level> levels_;
  std::vector<Table> whole_;
  std::vector<Table> last_;  // of each level, and of a memory that has more blocks than its last
  std::vector<Grid> grids_;
};

}  // namespace

std::vector<Grid> tile(std::vector<Choice> const& choices, int width, int depth) {
  return Tiler(choices, width, depth).grids();
}

}  // namespace bmg
