// The simplex method on a dense table of the variables that are not 0 (rows) by those that are (columns).
#include "platform/cores/search/pad_prices.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kdi::cores {
namespace {

constexpr double kNil = 1e-7;
constexpr double kDust = 1e-11;  // of cells that should be 0
constexpr std::size_t kNone = ~std::size_t{0};
constexpr std::size_t kLanes = 8;  // that a processor may take at once

// cells -= factor * own; so many cells, a multiple of kLanes.
void subtract(double* __restrict cells, double const* __restrict own, double factor, std::size_t count) {
  for (std::size_t j = 0; j < count; j += kLanes)
    for (std::size_t k = 0; k < kLanes; ++k) cells[j + k] -= factor * own[j + k];
}

}  // namespace

PadPrices::PadPrices(std::vector<Option> const& options, std::size_t numbers, std::size_t choices,
                     std::vector<int> const& limits)
    : numbers_(numbers), choices_(choices), limits_(limits.size()) {
  const std::size_t width = choices_ + limits_;
  stride_ = (width + kLanes - 1) / kLanes * kLanes;
  gain_.assign(stride_, 0);
  std::fill_n(gain_.begin(), choices_, 1);
  std::transform(limits.begin(), limits.end(), gain_.begin() + static_cast<std::ptrdiff_t>(choices_),
                 [](int most) { return -most; });
  where_.assign(width + numbers_, kNowhere);
  for (std::uint32_t j = 0; j < width; ++j) {
    column_variable_.push_back(j);
    where_[j] = j | kColumn;
  }
  cells_.assign(options.size() * stride_, 0);
  for (std::size_t i = 0; i < options.size(); ++i) {
    row(i)[options[i].choice] = 1;
    for (const std::uint32_t limit : *options[i].limits) row(i)[choices_ + limit] = -1;
    // Costs that are all different keep the method from going in circles.
    right_.push_back(options[i].cost + 1e-5 * (1 + static_cast<double>(i * 7919 % 1009) / 1009));
    row_variable_.push_back(static_cast<std::uint32_t>(width + options[i].number));
    where_[row_variable_.back()] = static_cast<std::uint32_t>(i);
  }
}

// The row that is first at 0 when the column's variable goes that way.
std::size_t PadPrices::leaving(std::size_t column, double direction) const {
  std::size_t best = kNone;
  double least = 0, size = 0;
  for (std::size_t i = 0; i < right_.size(); ++i) {
    const double slope = direction * cells_[i * stride_ + column];
    if (slope <= kNil) continue;
    const double ratio = std::max(right_[i], 0.0) / slope;
    if (best == kNone || ratio < least - kNil || (ratio <= least && slope > size)) {
      best = i;
      least = ratio;
      size = slope;
    }
  }
  return best;
}

void PadPrices::pivot(std::size_t leaving, std::size_t column) {
  double* const own = row(leaving);
  const double inverse = 1 / own[column];
  own[column] = 1;
  places_.clear();
  for (std::size_t j = 0; j < stride_; ++j) {
    own[j] *= inverse;
    if (std::abs(own[j]) > kDust)
      places_.push_back(static_cast<std::uint32_t>(j));
    else
      own[j] = 0;
  }
  right_[leaving] *= inverse;
  const bool is_sparse = places_.size() * kLanes / 2 < stride_;
  const auto clear = [&](double* cells) {
    const double factor = cells[column];
    if (std::abs(factor) <= kDust) {
      cells[column] = 0;
      return 0.0;
    }
    cells[column] = 0;
    if (is_sparse)
      for (const std::uint32_t j : places_) cells[j] -= factor * own[j];
    else
      subtract(cells, own, factor, stride_);
    return factor;
  };
  for (std::size_t i = 0; i < right_.size(); ++i)
    if (i != leaving) right_[i] -= clear(row(i)) * right_[leaving];
  clear(gain_.data());
  std::swap(row_variable_[leaving], column_variable_[column]);
  where_[row_variable_[leaving]] = static_cast<std::uint32_t>(leaving);
  where_[column_variable_[column]] = static_cast<std::uint32_t>(column) | kColumn;
}

// A direction in which the bound grows without end, which says that there is no plan: as far as prices may go.
void PadPrices::follow(std::size_t column, double direction) {
  double steepest = 1;
  for (std::size_t i = 0; i < right_.size(); ++i) steepest = std::max(steepest, -direction * row(i)[column]);
  const double way = direction * kMost / 2 / steepest;
  for (std::size_t i = 0; i < right_.size(); ++i) right_[i] -= way * row(i)[column];
  followed_ = {column_variable_[column], way};
}

void PadPrices::drop_row(std::size_t i) {
  const std::size_t last = right_.size() - 1;
  where_[row_variable_[i]] = kNowhere;
  if (i != last) {
    std::copy_n(row(last), stride_, row(i));
    right_[i] = right_[last];
    row_variable_[i] = row_variable_[last];
    where_[row_variable_[i]] = static_cast<std::uint32_t>(i);
  }
  right_.pop_back();
  row_variable_.pop_back();
  cells_.resize(last * stride_);
}

void PadPrices::drop_column(std::size_t j) {
  const std::size_t last = column_variable_.size() - 1;
  where_[column_variable_[j]] = kNowhere;
  for (std::size_t i = 0; i < right_.size(); ++i) row(i)[j] = std::exchange(row(i)[last], 0);
  gain_[j] = std::exchange(gain_[last], 0);
  if (j != last) {
    column_variable_[j] = column_variable_[last];
    where_[column_variable_[j]] = static_cast<std::uint32_t>(j) | kColumn;
  }
  column_variable_.pop_back();
}

// Whether the row is what a choice pays, all of it for one option that bears on nothing else: its column.
bool PadPrices::is_decided(std::size_t i, std::size_t& column) const {
  if (row_variable_[i] >= choices_) return false;
  column = kNone;
  for (std::size_t j = 0; j < column_variable_.size(); ++j) {
    if (std::abs(row(i)[j]) <= kNil) continue;
    if (column != kNone || column_variable_[j] < choices_ + limits_) return false;
    column = j;
  }
  if (column == kNone) return false;
  for (std::size_t other = 0; other < right_.size(); ++other)
    if (other != i && std::abs(row(other)[column]) > kNil) return false;
  return true;
}

// Rows of no more cells than they need.
void PadPrices::narrow() {
  const std::size_t stride = (column_variable_.size() + kLanes - 1) / kLanes * kLanes;
  if (stride == stride_) return;
  for (std::size_t i = 0; i < right_.size(); ++i) std::copy_n(row(i), stride, cells_.data() + i * stride);
  cells_.resize(right_.size() * stride);
  gain_.resize(stride);
  stride_ = stride;
}

void PadPrices::forget(std::vector<char> const& needed) {
  if (followed_) return;
  for (std::size_t limit = 0; limit < limits_; ++limit) {
    const std::uint32_t place = where_[choices_ + limit];
    if (needed[limit] == 0 && place != kNowhere && (place & kColumn) != 0) drop_column(place & ~kColumn);
  }
  for (std::size_t i = right_.size(); i-- > 0;) {
    std::size_t column = 0;
    if (!is_decided(i, column)) continue;
    drop_column(column);
    drop_row(i);
  }
  narrow();
}

void PadPrices::remove(std::size_t option) {
  const std::uint32_t place = where_[choices_ + limits_ + option];
  if (place == kNowhere || followed_) return;
  if ((place & kColumn) == 0) {
    drop_row(place);
    return;
  }
  // It may be below 0 from now on: it becomes a row, which bounds nothing.
  const std::size_t column = place & ~kColumn;
  const std::size_t least = leaving(column, -1);
  if (least == kNone) {
    if (gain_[column] < -kNil) follow(column, -1);
    return;  // otherwise it makes no difference how far below 0 it is
  }
  pivot(least, column);
  drop_row(least);
}

// The column with the most to gain for its length, as far as that is known; kNone at the solution.
std::size_t PadPrices::entering() const {
  std::size_t best = kNone;
  double most = 0;
  for (std::size_t j = 0; j < column_variable_.size(); ++j) {
    if (gain_[j] <= kNil) continue;
    const double worth = gain_[j] * gain_[j] / weights_[j];
    if (worth <= most) continue;
    most = worth;
    best = j;
  }
  return best;
}

// A pivot after which the weights are still near the squared lengths of their columns, in the space that the first of
// the solve has.
void PadPrices::step(std::size_t leaving, std::size_t column) {
  const double weight = weights_[column], slope = row(leaving)[column];
  pivot(leaving, column);
  double const* const own = row(leaving);
  for (std::size_t j = 0; j < column_variable_.size(); ++j)
    weights_[j] = std::max(weights_[j], own[j] * own[j] * weight);
  weights_[column] = std::max(weight / (slope * slope), 1.0);
}

void PadPrices::solve(int steps) {
  weights_.assign(stride_, 1);
  for (int n = 0; n < steps && !followed_; ++n) {
    const std::size_t column = entering();
    if (column == kNone) return;
    const std::size_t least = leaving(column, 1);
    if (least == kNone)
      follow(column, 1);
    else
      step(least, column);
  }
}

std::vector<double> PadPrices::prices() const {
  std::vector<double> all(limits_);
  for (std::size_t limit = 0; limit < limits_; ++limit) {
    const std::uint32_t place = where_[choices_ + limit];
    if ((place & kColumn) == 0) all[limit] = std::max(0.0, right_[place]);
  }
  if (followed_ && followed_->first >= choices_ && followed_->first < choices_ + limits_)
    all[followed_->first - choices_] = std::max(0.0, followed_->second);
  return all;
}

std::vector<double> PadPrices::shares() const {
  std::vector<double> all(numbers_);
  const std::size_t first = choices_ + limits_;
  for (std::size_t j = 0; j < column_variable_.size(); ++j)
    if (column_variable_[j] >= first) all[column_variable_[j] - first] = std::clamp(-gain_[j], 0.0, 1.0);
  return all;
}

}  // namespace kdi::cores
