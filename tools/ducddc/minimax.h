// Best uniform approximation, the two ways in which the filter designer needs it.
//
// remez_exchange: by polynomials, where the error of the best one alternates; fast and of high order.
// stiefel_exchange: by any linear family on a set of points, which need not have that property; the dual simplex method
// on the family's matrix. It is also the independent truth against which the first is tested.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace fir {

// Points x in descending or ascending order with what is wanted there. A segment is a run of points between gaps.
struct Demand {
  std::vector<double> x, desired, weight;
  std::vector<char> ends_segment;

  void add(double at, double wanted, double error_weight, bool ends) {
    x.push_back(at);
    desired.push_back(wanted);
    weight.push_back(error_weight);
    ends_segment.push_back(ends);
  }
};

// A polynomial by its values at nodes (barycentric form, second kind): numerically sound at any order.
class Interpolant {
 public:
  Interpolant() = default;
  Interpolant(std::vector<double> nodes, std::vector<double> weights, std::vector<double> values)
      : nodes_(std::move(nodes)), weights_(std::move(weights)), values_(std::move(values)) {}
  double operator()(double x) const;

 private:
  std::vector<double> nodes_, weights_, values_;
};

struct Approximation {
  Interpolant polynomial;
  double error = 0;  // largest weighted error over the points
  int iterations = 0;
  bool converged = false;
};

// The polynomial of `count` coefficients with the smallest largest weighted error over the points.
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

}  // namespace fir
