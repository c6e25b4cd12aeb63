// Best uniform approximation, the two ways in which the filter designer needs it.
//
// remez_exchange: by polynomials, where the error of the best one alternates; fast and of high order.
// stiefel_exchange: by any linear family on a set of points, which need not have that property; the dual simplex method
// on the family's matrix. It is also the independent truth against which the first is tested.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace fir {

// What is wanted at one place of the frequency axis: the polynomial in x should have the value `desired`.
struct Target {
  double x, desired, weight;
};

// What is wanted over the whole axis. The polynomial is one in cos(pi turns f), which is monotonic over the bands.
struct Demand {
  std::vector<std::pair<double, double>> bands;  // frequencies, ascending
  double turns = 2;
  std::function<Target(std::size_t band, double frequency, double cosine)> at;
};

// A polynomial by its values at nodes (barycentric form, second kind): numerically sound at any order.
struct Interpolant {
  std::vector<double> nodes, weights, values;
  double operator()(double x) const;
};

struct Approximation {
  Interpolant polynomial;
  std::vector<double> frequencies;  // of the polynomial's nodes
  double error = 0;                 // largest weighted error over the bands
  double least_error = 0;           // no polynomial of that order has a smaller one
  int iterations = 0;
  bool converged = false;

  // Not converged because the best error is under what doubles resolve.
  bool is_too_easy() const { return !converged && least_error < 1e-11; }
};

// The polynomial of `count` coefficients with the smallest largest weighted error over the bands.
Approximation remez_exchange(Demand const& demand, int count);

struct LinearFit {
  std::vector<double> coefficients;
  double error = 0;  // largest error over the points
  int iterations = 0;
};

// Coefficients c that make the largest |sum_j c_j basis(i, j) - wanted(i)| over the points i smallest.
// Needs more points than terms. Throws std::runtime_error when the exchange does not come to rest.
LinearFit stiefel_exchange(std::size_t points, std::size_t terms,
                           std::function<double(std::size_t point, std::size_t term)> const& basis,
                           std::function<double(std::size_t point)> const& wanted);

// The solution of a square system, rows one after the other, by elimination with the largest pivot: whatever its
// condition, its residual is small. Throws std::runtime_error for a singular matrix.
std::vector<double> solve(std::vector<double> matrix, std::vector<double> right_side);

}  // namespace fir
