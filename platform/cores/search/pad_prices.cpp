// The simplex method on a dense table of the variables that are not 0 (rows) by those that are (columns).
#include "platform/cores/search/pad_prices.h"

#include <algorithm>

namespace kdi::cores {
namespace {

constexpr double kNil = 1e-7;
constexpr std::size_t kNone = ~std::size_t{0};
constexpr std::size_t kLanes = 8;  // that a processor may take at once

// cells -= factor * own; so many cells, a multiple of kLanes.
void subtract(double* __restrict cells, double const* __restrict own, double factor, std::size_t count) {
  for (std::size_t j = 0; j < count; j += kLanes)
    for (std::size_t k = 0; k < kLanes; ++k) cells[j + k] -= factor * own[j + k];
}

}  // namespace

PadPrices::PadPrices(std::vector<Option> const& options, std::size_t peripherals, std::optional<int> budget)
    : options_(options.size()), peripherals_(peripherals), has_budget_(budget.has_value()) {
  for (Option const& option : options) pads_.insert(pads_.end(), option.pads->begin(), option.pads->end());
  std::sort(pads_.begin(), pads_.end());
  pads_.erase(std::unique(pads_.begin(), pads_.end()), pads_.end());
  width_ = peripherals_ + pads_.size() + (has_budget_ ? 1 : 0);
  stride_ = (width_ + kLanes - 1) / kLanes * kLanes;
  gain_.assign(stride_, 0);
  std::fill_n(gain_.begin(), width_, -1);
  std::fill_n(gain_.begin(), peripherals_, 1);
  if (budget) gain_[width_ - 1] = -*budget;
  cells_.assign(options_ * stride_, 0);
  for (std::size_t i = 0; i < options_; ++i) {
    row(i)[options[i].peripheral] = 1;
    for (const std::uint32_t pad : *options[i].pads)
      row(i)[peripherals_ +
             static_cast<std::size_t>(std::lower_bound(pads_.begin(), pads_.end(), pad) - pads_.begin())] = -1;
    if (has_budget_ && options[i].is_given_up) row(i)[width_ - 1] = -1;
    // Costs that are all different keep the method from going in circles.
    right_.push_back(options[i].cost + 1e-5 * (1 + static_cast<double>(i * 7919 % 1009) / 1009));
    row_variable_.push_back(width_ + i);
  }
  for (std::size_t j = 0; j < width_; ++j) column_variable_.push_back(j);
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
  for (std::size_t j = 0; j < stride_; ++j) own[j] *= inverse;
  own[column] = inverse;
  right_[leaving] *= inverse;
  places_.clear();
  for (std::size_t j = 0; j < stride_; ++j)
    if (own[j] != 0) places_.push_back(static_cast<std::uint32_t>(j));
  const bool is_sparse = places_.size() * kLanes / 2 < stride_;
  const auto clear = [&](double* cells) {
    const double factor = cells[column];
    if (factor == 0) return factor;
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
  std::copy_n(row(last), stride_, row(i));
  right_[i] = right_[last];
  row_variable_[i] = row_variable_[last];
  right_.pop_back();
  row_variable_.pop_back();
  cells_.resize(last * stride_);
}

void PadPrices::remove(std::size_t option) {
  const std::size_t variable = width_ + option;
  const auto as_row = std::find(row_variable_.begin(), row_variable_.end(), variable);
  if (as_row != row_variable_.end()) {
    drop_row(static_cast<std::size_t>(as_row - row_variable_.begin()));
    return;
  }
  const auto as_column = std::find(column_variable_.begin(), column_variable_.end(), variable);
  if (as_column == column_variable_.end()) return;
  // It may be below 0 from now on: it becomes a row, which bounds nothing.
  const std::size_t column = static_cast<std::size_t>(as_column - column_variable_.begin());
  if (followed_) return;
  const std::size_t least = leaving(column, -1);
  if (least == kNone) {
    if (gain_[column] < -kNil) follow(column, -1);
    return;  // otherwise it stays, and the bound is lower than it could be
  }
  pivot(least, column);
  drop_row(least);
}

void PadPrices::solve(int steps) {
  for (int n = 0; n < steps && !followed_; ++n) {
    const auto best = std::max_element(gain_.begin(), gain_.end());
    if (best == gain_.end() || *best <= kNil) return;
    const auto column = static_cast<std::size_t>(best - gain_.begin());
    const std::size_t least = leaving(column, 1);
    if (least == kNone) {
      follow(column, 1);
      return;
    }
    pivot(least, column);
  }
}

double PadPrices::value(std::size_t variable) const {
  if (followed_ && followed_->first == variable) return std::max(0.0, followed_->second);
  const auto found = std::find(row_variable_.begin(), row_variable_.end(), variable);
  if (found == row_variable_.end()) return 0;
  return std::max(0.0, right_[static_cast<std::size_t>(found - row_variable_.begin())]);
}

std::vector<double> PadPrices::prices(std::size_t pads) const {
  std::vector<double> all(pads);
  for (std::size_t i = 0; i < pads_.size(); ++i) all[pads_[i]] = value(peripherals_ + i);
  return all;
}

double PadPrices::budget_price() const { return has_budget_ ? value(width_ - 1) : 0; }

std::vector<double> PadPrices::shares() const {
  std::vector<double> all(options_);
  for (std::size_t j = 0; j < width_; ++j)
    if (column_variable_[j] >= width_) all[column_variable_[j] - width_] = std::clamp(-gain_[j], 0.0, 1.0);
  return all;
}

}  // namespace kdi::cores
