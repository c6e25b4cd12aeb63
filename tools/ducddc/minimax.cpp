#include "minimax.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

namespace fir {

double Interpolant::operator()(double x) const {
  double above = 0, below = 0;
  for (std::size_t k = 0; k < nodes_.size(); ++k) {
    const double distance = x - nodes_[k];
    if (distance == 0) return values_[k];
    const double share = weights_[k] / distance;
    above += share * values_[k];
    below += share;
  }
  return above / below;
}

namespace {

constexpr int kMostExchanges = 200;
constexpr double kAtRest = 1e-7;  // relative difference of the largest error to the reference's at which to stop

using Reference = std::vector<std::size_t>;

struct Levelled {
  double deviation = 0;  // signed error of the first reference point
  std::vector<double> nodes, weights, values;
};

// The polynomial whose weighted error on the reference is level and alternates.
Levelled level(Demand const& demand, Reference const& reference) {
  const std::size_t r = reference.size();
  Levelled result;
  result.nodes.resize(r);
  for (std::size_t k = 0; k < r; ++k) result.nodes[k] = demand.x[reference[k]];
  const auto [low, high] = std::minmax_element(result.nodes.begin(), result.nodes.end());
  // The products of distances on an interval of length 4 neither grow nor vanish with their number.
  const double scale = 4 / (*high - *low);
  std::vector<double> inverse(r);
  for (std::size_t k = 0; k < r; ++k) {
    double product = 1;
    for (std::size_t j = 0; j < r; ++j)
      if (j != k) product *= scale * (result.nodes[k] - result.nodes[j]);
    inverse[k] = 1 / product;
  }
  double wanted = 0, unit = 0, sign = 1;
  for (std::size_t k = 0; k < r; ++k, sign = -sign) {
    wanted += inverse[k] * demand.desired[reference[k]];
    unit += sign * inverse[k] / demand.weight[reference[k]];
  }
  result.deviation = wanted / unit;
  // All points but the last fix the polynomial.
  const double last = result.nodes.back();
  result.nodes.pop_back();
  sign = 1;
  for (std::size_t k = 0; k + 1 < r; ++k, sign = -sign) {
    result.weights.push_back(inverse[k] * scale * (result.nodes[k] - last));
    result.values.push_back(demand.desired[reference[k]] -
                            sign * result.deviation / demand.weight[reference[k]]);
  }
  return result;
}

// Weighted errors at all points.
void errors_of(Demand const& demand, Levelled const& polynomial, Reference const& reference,
               std::vector<double>& errors) {
  const std::size_t nodes = polynomial.nodes.size();
  double const* const node = polynomial.nodes.data();
  double const* const weight = polynomial.weights.data();
  std::vector<double> weighted(nodes);
  for (std::size_t k = 0; k < nodes; ++k) weighted[k] = weight[k] * polynomial.values[k];
  errors.resize(demand.x.size());
  for (std::size_t i = 0; i < errors.size(); ++i) {
    const double x = demand.x[i];
    double above = 0, below = 0;
    for (std::size_t k = 0; k < nodes; ++k) {
      const double reciprocal = 1 / (x - node[k]);
      above += weighted[k] * reciprocal;
      below += weight[k] * reciprocal;
    }
    errors[i] = demand.weight[i] * (demand.desired[i] - above / below);
  }
  // On the reference itself the quotient above is no number, and the error is known.
  double sign = 1;
  for (std::size_t k = 0; k < reference.size(); ++k, sign = -sign) errors[reference[k]] = sign * polynomial.deviation;
}

// The new reference: local extrema whose errors alternate, the largest among them, `count` in all.
// Empty when there are not as many.
Reference exchange(Demand const& demand, std::vector<double> const& errors, std::size_t count) {
  Reference found;
  const std::size_t n = errors.size();
  for (std::size_t i = 0; i < n; ++i) {
    const bool first = i == 0 || demand.ends_segment[i - 1];
    const bool last = demand.ends_segment[i];
    const double size = std::fabs(errors[i]);
    const double sign = errors[i] < 0 ? -1 : 1;
    if (!first && sign * errors[i - 1] > size) continue;
    if (!last && sign * errors[i + 1] >= size) continue;
    if (!found.empty() && (errors[found.back()] < 0) == (errors[i] < 0)) {
      if (size > std::fabs(errors[found.back()])) found.back() = i;
    } else {
      found.push_back(i);
    }
  }
  const auto size = [&](std::size_t at) { return std::fabs(errors[found[at]]); };
  while (found.size() > count) {
    // One too many: an end goes. More: the smallest goes with its smaller neighbour, so that the rest alternates.
    if (found.size() == count + 1) {
      found.erase(size(0) < size(found.size() - 1) ? found.begin() : found.end() - 1);
      break;
    }
    std::size_t smallest = 0;
    for (std::size_t k = 1; k < found.size(); ++k)
      if (size(k) < size(smallest)) smallest = k;
    if (smallest == 0 || smallest + 1 == found.size()) {
      found.erase(found.begin() + static_cast<std::ptrdiff_t>(smallest));
      continue;
    }
    const std::size_t pair = size(smallest - 1) < size(smallest + 1) ? smallest - 1 : smallest;
    found.erase(found.begin() + static_cast<std::ptrdiff_t>(pair), found.begin() + static_cast<std::ptrdiff_t>(pair + 2));
  }
  if (found.size() < count) found.clear();
  return found;
}

}  // namespace

Approximation remez_exchange(Demand const& demand, int count) {
  const std::size_t size = static_cast<std::size_t>(count) + 1;
  const std::size_t points = demand.x.size();
  Approximation result;
  if (points < size) return result;
  Reference reference(size);
  for (std::size_t k = 0; k < size; ++k) reference[k] = k * (points - 1) / (size - 1);
  std::vector<double> errors;
  while (result.iterations < kMostExchanges) {
    ++result.iterations;
    const Levelled levelled = level(demand, reference);
    errors_of(demand, levelled, reference, errors);
    double largest = 0;
    for (double error : errors) largest = std::max(largest, std::fabs(error));
    if (!std::isfinite(largest)) return result;
    result.polynomial = Interpolant(levelled.nodes, levelled.weights, levelled.values);
    result.error = largest;
    if (largest - std::fabs(levelled.deviation) <= kAtRest * largest) {
      result.converged = true;
      return result;
    }
    Reference next = exchange(demand, errors, size);
    if (next.empty()) return result;
    if (next == reference) {
      result.converged = true;
      return result;
    }
    reference = std::move(next);
  }
  return result;
}

namespace {

// When the fit is as good as level: relative, and what the solution of an ill-conditioned basis resolves.
constexpr double kLevelled = 1e-6;
constexpr double kResolved = 1e-12;

// Rows of the points' basis values, and the square systems of the exchange.
class Exchange {
 public:
  Exchange(std::size_t points, std::size_t terms, std::function<double(std::size_t, std::size_t)> const& basis,
           std::function<double(std::size_t)> const& wanted)
      : points_(points), terms_(terms), rows_(points * terms), wanted_(points) {
    for (std::size_t i = 0; i < points; ++i) {
      for (std::size_t j = 0; j < terms; ++j) rows_[i * terms + j] = basis(i, j);
      wanted_[i] = wanted(i);
    }
  }

  LinearFit run() {
    start();
    LinearFit fit;
    for (int steps = 0; steps < 100 * static_cast<int>(terms_ + 1); ++steps) {
      if (steps % 32 == 0) factorise();
      const std::vector<double> solution = times_right_side();
      const double level = solution[terms_];
      std::size_t worst = 0;
      double worst_error = 0;
      for (std::size_t i = 0; i < points_; ++i) {
        double error = -wanted_[i];
        for (std::size_t j = 0; j < terms_; ++j) error += rows_[i * terms_ + j] * solution[j];
        if (std::fabs(error) > std::fabs(worst_error)) worst_error = error, worst = i;
      }
      fit = {{solution.begin(), solution.end() - 1}, std::fabs(worst_error), steps + 1};
      if (std::fabs(worst_error) <= level * (1 + kLevelled) + kResolved) return fit;
      if (!replace(worst, worst_error > 0 ? 1 : -1)) break;
    }
    throw std::runtime_error("the exchange does not come to rest");
  }

 private:
  double& inverse(std::size_t row, std::size_t column) { return inverse_[row * (terms_ + 1) + column]; }

  // Column `place` of the constraint sign (row . c - wanted) <= level, as coefficients of (c, level).
  double constraint(std::size_t point, double sign, std::size_t place) const {
    return place == terms_ ? -1 : sign * rows_[point * terms_ + place];
  }

  // Points spread evenly, with the signs by which their errors can be level: those of the one linear dependence among
  // their rows.
  void start() {
    const std::size_t n = terms_;
    members_.resize(n + 1);
    for (std::size_t k = 0; k <= n; ++k) members_[k] = k * (points_ - 1) / n;
    // sum_k lambda_k row_k = 0 with lambda of the first member 1
    std::vector<double> matrix(n * (n + 1));
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = 1; k <= n; ++k) matrix[j * (n + 1) + k - 1] = rows_[members_[k] * n + j];
      matrix[j * (n + 1) + n] = -rows_[members_[0] * n + j];
    }
    for (std::size_t column = 0; column < n; ++column) {
      std::size_t pivot = column;
      for (std::size_t row = column + 1; row < n; ++row)
        if (std::fabs(matrix[row * (n + 1) + column]) > std::fabs(matrix[pivot * (n + 1) + column])) pivot = row;
      if (matrix[pivot * (n + 1) + column] == 0) throw std::runtime_error("the basis is dependent on the points");
      for (std::size_t k = 0; k <= n; ++k) std::swap(matrix[column * (n + 1) + k], matrix[pivot * (n + 1) + k]);
      for (std::size_t row = 0; row < n; ++row) {
        if (row == column) continue;
        const double factor = matrix[row * (n + 1) + column] / matrix[column * (n + 1) + column];
        for (std::size_t k = column; k <= n; ++k) matrix[row * (n + 1) + k] -= factor * matrix[column * (n + 1) + k];
      }
    }
    signs_.assign(n + 1, 1);
    double level = -wanted_[members_[0]];
    for (std::size_t k = 1; k <= n; ++k) {
      const double lambda = matrix[(k - 1) * (n + 1) + n] / matrix[(k - 1) * (n + 1) + k - 1];
      signs_[k] = lambda < 0 ? -1 : 1;
      level -= lambda * wanted_[members_[k]];
    }
    if (level < 0)
      for (double& sign : signs_) sign = -sign;
  }

  // The inverse of the members' constraint matrix, by elimination with the largest pivot.
  void factorise() {
    const std::size_t n = terms_ + 1;
    std::vector<double> matrix(n * n);
    inverse_.assign(n * n, 0);
    for (std::size_t row = 0; row < n; ++row) {
      for (std::size_t column = 0; column < n; ++column)
        matrix[row * n + column] = constraint(members_[row], signs_[row], column);
      inverse(row, row) = 1;
    }
    for (std::size_t column = 0; column < n; ++column) {
      std::size_t pivot = column;
      for (std::size_t row = column + 1; row < n; ++row)
        if (std::fabs(matrix[row * n + column]) > std::fabs(matrix[pivot * n + column])) pivot = row;
      if (matrix[pivot * n + column] == 0) throw std::runtime_error("the basis is dependent on the points");
      for (std::size_t k = 0; k < n; ++k) {
        std::swap(matrix[column * n + k], matrix[pivot * n + k]);
        std::swap(inverse(column, k), inverse(pivot, k));
      }
      const double scale = 1 / matrix[column * n + column];
      for (std::size_t k = 0; k < n; ++k) {
        matrix[column * n + k] *= scale;
        inverse(column, k) *= scale;
      }
      for (std::size_t row = 0; row < n; ++row) {
        const double factor = matrix[row * n + column];
        if (row == column || factor == 0) continue;
        for (std::size_t k = 0; k < n; ++k) {
          matrix[row * n + k] -= factor * matrix[column * n + k];
          inverse(row, k) -= factor * inverse(column, k);
        }
      }
    }
  }

  std::vector<double> times_right_side() {
    const std::size_t n = terms_ + 1;
    std::vector<double> solution(n, 0);
    for (std::size_t row = 0; row < n; ++row)
      for (std::size_t k = 0; k < n; ++k) solution[row] += inverse(row, k) * signs_[k] * wanted_[members_[k]];
    return solution;
  }

  // The violated constraint enters; the member leaves whose multiplier reaches zero first.
  bool replace(std::size_t point, double sign) {
    const std::size_t n = terms_ + 1;
    std::vector<double> share(n, 0);  // the constraint as a sum of the members'
    for (std::size_t row = 0; row < n; ++row) {
      const double value = constraint(point, sign, row);
      for (std::size_t k = 0; k < n; ++k) share[k] += value * inverse(row, k);
    }
    std::size_t leaving = n;
    double smallest = 0;
    for (std::size_t k = 0; k < n; ++k) {
      if (share[k] <= 1e-12) continue;
      const double ratio = std::max(0.0, -inverse(terms_, k)) / share[k];
      if (leaving == n || ratio < smallest) leaving = k, smallest = ratio;
    }
    if (leaving == n) return false;
    members_[leaving] = point;
    signs_[leaving] = sign;
    const double pivot = share[leaving];
    for (std::size_t row = 0; row < n; ++row) {
      const double carried = inverse(row, leaving) / pivot;
      for (std::size_t k = 0; k < n; ++k)
        if (k != leaving) inverse(row, k) -= carried * share[k];
      inverse(row, leaving) = carried;
    }
    return true;
  }

  std::size_t points_, terms_;
  std::vector<double> rows_, wanted_;
  std::vector<std::size_t> members_;
  std::vector<double> signs_, inverse_;
};

}  // namespace

LinearFit stiefel_exchange(std::size_t points, std::size_t terms,
                           std::function<double(std::size_t, std::size_t)> const& basis,
                           std::function<double(std::size_t)> const& wanted) {
  if (points <= terms || terms == 0) throw std::invalid_argument("a fit needs terms, and more points than those");
  return Exchange(points, terms, basis, wanted).run();
}

}  // namespace fir
