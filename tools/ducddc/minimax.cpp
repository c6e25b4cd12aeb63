#include "tools/ducddc/minimax.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "tools/ducddc/cos_pi.h"
#include "tools/ducddc/registers.h"

namespace fir {

namespace {

constexpr std::size_t kNodesTogether = 4;  // nodes that are taken at a time

// Takes the column out of all rows below its own, of a matrix of `n` rows.
IN_WIDE_REGISTERS
void eliminate(double* matrix, double* right_side, std::size_t n, std::size_t column) {
  double const* const pivot = matrix + column * n;
  for (std::size_t row = column + 1; row < n; ++row) {
    double* const own = matrix + row * n;
    const double factor = own[column] / pivot[column];
    std::size_t k = column;
    for (; k + kTogether <= n; k += kTogether) {
      Eight difference, other;
      std::memcpy(&difference, own + k, sizeof difference);
      std::memcpy(&other, pivot + k, sizeof other);
      difference -= factor * other;
      std::memcpy(own + k, &difference, sizeof difference);
    }
    for (; k < n; ++k) own[k] -= factor * pivot[k];
    right_side[row] -= factor * right_side[column];
  }
}

}  // namespace

double Interpolant::operator()(double x) const {
  double above = 0, below = 0;
  for (std::size_t k = 0; k < nodes.size(); ++k) {
    const double distance = x - nodes[k];
    if (distance == 0) return values[k];
    const double share = weights[k] / distance;
    above += share * values[k];
    below += share;
  }
  return above / below;
}

std::vector<double> solve(std::vector<double> matrix, std::vector<double> right_side) {
  const std::size_t n = right_side.size();
  for (std::size_t column = 0; column < n; ++column) {
    std::size_t pivot = column;
    for (std::size_t row = column + 1; row < n; ++row)
      if (std::fabs(matrix[row * n + column]) > std::fabs(matrix[pivot * n + column])) pivot = row;
    if (matrix[pivot * n + column] == 0) throw std::runtime_error("the basis is dependent on the points");
    std::swap_ranges(matrix.begin() + static_cast<std::ptrdiff_t>(column * n),
                     matrix.begin() + static_cast<std::ptrdiff_t>((column + 1) * n),
                     matrix.begin() + static_cast<std::ptrdiff_t>(pivot * n));
    std::swap(right_side[column], right_side[pivot]);
    eliminate(matrix.data(), right_side.data(), n, column);
  }
  for (std::size_t row = n; row-- > 0;) {
    for (std::size_t k = row + 1; k < n; ++k) right_side[row] -= matrix[row * n + k] * right_side[k];
    right_side[row] /= matrix[row * n + row];
  }
  return right_side;
}

namespace {

constexpr int kMostExchanges = 100;
constexpr int kPointsPerCoefficient = 12;
constexpr double kAtRest = 1e-4;          // relative: how close the largest error is to the reference's when it is over
constexpr double kNoise = 1e-15;          // of the values wanted: no digit of a level that small is right
constexpr double kRounding = 6e-13;       // of the values wanted: differences that say nothing
constexpr double kUnderRounding = 2e-12;  // of the values wanted: errors that do not stand out from rounding

// A place on the axis.
struct Place {
  std::size_t band;
  double frequency;
  Target target;
  double error = 0;  // weighted
};

struct Levelled {
  double deviation = 0;  // weighted error of the first place of the reference; the next have it with changing sign
  Interpolant polynomial;
};

// Products of the distances from each of kTogether nodes, the first of them number `first`, to all others.
IN_WIDE_REGISTERS
void multiply_distances(std::vector<double> const& nodes, std::size_t first, double scale, double const* x,
                        double* product) {
  const std::size_t own_end = std::min(first + kTogether, nodes.size());
  double running[kTogether];
  std::fill_n(running, kTogether, 1.0);
  for (std::size_t j = 0; j < first; ++j)
    for (std::size_t i = 0; i < kTogether; ++i) running[i] *= scale * (x[i] - nodes[j]);
  for (std::size_t j = first; j < own_end; ++j)
    for (std::size_t i = 0; i < kTogether; ++i) running[i] *= first + i == j ? 1 : scale * (x[i] - nodes[j]);
  for (std::size_t j = own_end; j < nodes.size(); ++j)
    for (std::size_t i = 0; i < kTogether; ++i) running[i] *= scale * (x[i] - nodes[j]);
  std::copy_n(running, kTogether, product);
}

// The polynomial whose weighted error on the reference is level and alternates.
Levelled level(std::vector<Place> const& reference) {
  const std::size_t r = reference.size();
  Levelled result;
  std::vector<double>& nodes = result.polynomial.nodes;
  for (Place const& place : reference) nodes.push_back(place.target.x);
  // The products of distances on an interval of length 4 neither grow nor vanish with their number.
  const double scale = 4 / std::fabs(nodes.back() - nodes.front());
  std::vector<double> inverse(r);
  for (std::size_t first = 0; first < r; first += kTogether) {
    double x[kTogether], product[kTogether];
    for (std::size_t i = 0; i < kTogether; ++i) x[i] = nodes[std::min(first + i, r - 1)];
    multiply_distances(nodes, first, scale, x, product);
    for (std::size_t i = 0; i < std::min(kTogether, r - first); ++i) inverse[first + i] = 1 / product[i];
  }
  double wanted = 0, unit = 0, sign = 1;
  for (std::size_t k = 0; k < r; ++k, sign = -sign) {
    wanted += inverse[k] * reference[k].target.desired;
    unit += sign * inverse[k] / reference[k].target.weight;
  }
  result.deviation = wanted / unit;
  // All places but the last fix the polynomial.
  const double last = nodes.back();
  nodes.pop_back();
  sign = 1;
  for (std::size_t k = 0; k + 1 < r; ++k, sign = -sign) {
    result.polynomial.weights.push_back(inverse[k] * scale * (nodes[k] - last));
    result.polynomial.values.push_back(reference[k].target.desired -
                                       sign * result.deviation / reference[k].target.weight);
  }
  return result;
}

// The polynomial's values at kTogether places, each a quotient of two sums over the nodes. This loop is most of the
// designer's running time. Nodes are taken in fours, since u / a + v / b = (u b + v a) / (a b), and so on, has one
// division for all.
IN_WIDE_REGISTERS
void evaluate_fast(std::size_t nodes, double const* node, double const* weight, double const* weighted, double const* x,
                   double* value) {
  Eight at, up{}, down{};
  std::memcpy(&at, x, sizeof at);
  for (std::size_t k = 0; k < nodes; k += kNodesTogether) {
    const Eight a = at - node[k], b = at - node[k + 1], c = at - node[k + 2], d = at - node[k + 3];
    const Eight ab = a * b, cd = c * d, reciprocal = 1.0 / (ab * cd);
    up +=
        ((weighted[k] * b + weighted[k + 1] * a) * cd + (weighted[k + 2] * d + weighted[k + 3] * c) * ab) * reciprocal;
    down += ((weight[k] * b + weight[k + 1] * a) * cd + (weight[k + 2] * d + weight[k + 3] * c) * ab) * reciprocal;
  }
  const Eight quotient = up / down;
  std::memcpy(value, &quotient, sizeof quotient);
}

// The same with a division for each node: the short cut costs digits next to the nodes.
IN_WIDE_REGISTERS
void evaluate_carefully(std::size_t nodes, double const* node, double const* weight, double const* values,
                        double const* x, double* value) {
  Eight at, up{}, down{};
  std::memcpy(&at, x, sizeof at);
  for (std::size_t k = 0; k < nodes; ++k) {
    const Eight share = weight[k] / (at - node[k]);
    up += share * values[k];
    down += share;
  }
  const Eight quotient = up / down;
  std::memcpy(value, &quotient, sizeof quotient);
}

using Evaluate = void (*)(std::size_t nodes, double const* node, double const* weight, double const* values,
                          double const* x, double* value);

// Weighted errors at all places; `values` is what `evaluate` wants for each node beside its weight.
void set_errors_by(Evaluate evaluate, std::vector<Place>& places, Interpolant const& polynomial,
                   std::vector<double> const& node, std::vector<double> const& weight,
                   std::vector<double> const& values) {
  for (std::size_t first = 0; first < places.size(); first += kTogether) {
    const std::size_t count = std::min(kTogether, places.size() - first);
    double x[kTogether], value[kTogether];
    for (std::size_t j = 0; j < kTogether; ++j) x[j] = places[first + std::min(j, count - 1)].target.x;
    evaluate(node.size(), node.data(), weight.data(), values.data(), x, value);
    for (std::size_t j = 0; j < count; ++j) {
      Place& place = places[first + j];
      if (!std::isfinite(value[j])) value[j] = polynomial(place.target.x);  // the place is a node
      place.error = place.target.weight * (place.target.desired - value[j]);
    }
  }
}

void set_errors(std::vector<Place>& places, Interpolant const& polynomial) {
  std::vector<double> node = polynomial.nodes, weight = polynomial.weights, weighted(node.size());
  for (std::size_t k = 0; k < node.size(); ++k) weighted[k] = weight[k] * polynomial.values[k];
  while (node.size() % kNodesTogether != 0) {  // a partner that adds nothing, away from all places
    node.push_back(4);
    weight.push_back(0);
    weighted.push_back(0);
  }
  set_errors_by(evaluate_fast, places, polynomial, node, weight, weighted);
}

void set_errors_carefully(std::vector<Place>& places, Interpolant const& polynomial) {
  set_errors_by(evaluate_carefully, places, polynomial, polynomial.nodes, polynomial.weights, polynomial.values);
}

// How to climb to a large order.
struct Ladder {
  double shrink;  // share of an order that the one before it has
  void (*set_errors)(std::vector<Place>&, Interpolant const&);
};

class RemezExchange {
 public:
  RemezExchange(Demand const& demand, int count, Ladder const& ladder)
      : demand_(demand), ladder_(ladder), size_(static_cast<std::size_t>(count) + 1) {
    double width = 0;
    for (auto const& [low, high] : demand.bands) width += high - low;
    cell_ = width / (kPointsPerCoefficient * count);
    for (std::size_t band = 0; band < demand.bands.size(); ++band) {
      const auto [low, high] = demand.bands[band];
      const double share = (high - low) / width;
      const auto points =
          std::max<std::size_t>(4, static_cast<std::size_t>(std::ceil(share * kPointsPerCoefficient * count))) + 1;
      std::vector<double> frequencies(points), cosines(points);
      for (std::size_t i = 0; i < points; ++i) frequencies[i] = low + (high - low) * along(i, points);
      for (std::size_t i = 0; i < points; ++i) cosines[i] = demand.turns * frequencies[i];
      cos_pi(cosines.data(), points, cosines.data());
      grid_.reserve(grid_.size() + points);
      for (std::size_t i = 0; i < points; ++i) {
        grid_.push_back({band, frequencies[i], demand.at(band, frequencies[i], cosines[i]), 0});
        largest_desired_ = std::max(largest_desired_, std::fabs(grid_.back().target.desired));
      }
    }
  }

  // Begins with a reference of its size. Ends when the error is level to `at_rest`, or when the level, which no
  // polynomial stays below, has fallen under rounding.
  Approximation run(std::vector<Place> reference, double at_rest) {
    Approximation result;
    if (reference.size() != size_) return result;
    std::vector<Place const*> places;
    double smallest_excess = HUGE_VAL;
    for (int since_better = 0; result.iterations < kMostExchanges && since_better < 10; ++since_better) {
      ++result.iterations;
      Levelled levelled = level(reference);
      ladder_.set_errors(grid_, levelled.polynomial);
      // On the reference the error is known, rounding or not: it alternates there, so there are always enough extrema.
      double sign = 1;
      for (Place& place : reference) {
        place.error = sign * levelled.deviation;
        sign = -sign;
      }
      merge(reference, places);
      std::vector<Place> extrema = find_extrema(places, levelled.polynomial);
      double largest = 0;
      for (Place const& place : extrema) largest = std::max(largest, std::fabs(place.error));
      if (!std::isfinite(largest) || !std::isfinite(levelled.deviation)) break;
      result.least_error = std::fabs(levelled.deviation);
      const double excess = largest - result.least_error;
      if (excess < smallest_excess) {
        smallest_excess = excess;
        since_better = 0;
        result.error = largest;
        reference_ = reference;
        result.frequencies.clear();
        for (std::size_t k = 0; k + 1 < size_; ++k) result.frequencies.push_back(reference[k].frequency);
        result.polynomial = std::move(levelled.polynomial);
        result.converged =
            excess <= at_rest * largest + kRounding * largest_desired_ || largest <= kUnderRounding * largest_desired_;
        if (result.converged) break;
      }
      if (result.least_error < (result.iterations < 4 ? kNoise : kUnderRounding / 4) * largest_desired_) break;
      thin_out(extrema);
      if (extrema.size() != size_) break;
      reference = std::move(extrema);
    }
    return result;
  }

  std::vector<Place> const& reference() const { return reference_; }  // of the last run's result

  std::vector<Place> even_reference() const {
    std::vector<Place> reference;
    if (grid_.size() < size_) return reference;
    for (std::size_t k = 0; k < size_; ++k) reference.push_back(grid_[k * (grid_.size() - 1) / (size_ - 1)]);
    return reference;
  }

  // The extrema of a smaller polynomial, spread over as many as are needed here: they crowd at the edges of the bands
  // in nearly the same way. (S. Filip, "A robust and scalable implementation of the Parks-McClellan algorithm for
  // designing FIR filters", ACM Trans. Math. Softw. 43 (2016).)
  std::vector<Place> scaled_reference(std::vector<Place> const& smaller) const {
    std::vector<Place> reference;
    std::size_t begin = 0;
    for (std::size_t band = 0; band < demand_.bands.size(); ++band) {
      std::size_t end = begin;
      while (end < smaller.size() && smaller[end].band == band) ++end;
      // The share of the bands so far, rounded, less what they have: the whole comes out exactly.
      const std::size_t count = (end * size_ + smaller.size() / 2) / smaller.size() - reference.size();
      const auto [low, high] = demand_.bands[band];
      for (std::size_t k = 0; k < count; ++k) {
        double frequency = low + (high - low) * (static_cast<double>(k) + 0.5) / static_cast<double>(count);
        if (end - begin >= 2 && count >= 2) {
          const double at =
              static_cast<double>(k) * static_cast<double>(end - begin - 1) / static_cast<double>(count - 1);
          const std::size_t left = std::min(begin + static_cast<std::size_t>(at), end - 2);
          const double share = at - static_cast<double>(left - begin);
          frequency = smaller[left].frequency * (1 - share) + smaller[left + 1].frequency * share;
        }
        reference.push_back(place_at(band, frequency));
      }
      begin = end;
    }
    return reference;
  }

 private:
  Place place_at(std::size_t band, double frequency) const {
    return {band, frequency, demand_.at(band, frequency, cos_pi(demand_.turns * frequency)), 0};
  }

  // Place i of n along a band, 0 to 1: evenly, but for the cells at its ends, where extrema crowd; they are halved
  // twice.
  static double along(std::size_t i, std::size_t n) {
    const double cells = static_cast<double>(n - 1) - 4;
    if (cells < 2) return static_cast<double>(i) / static_cast<double>(n - 1);
    if (2 * i > n - 1) return 1 - along(n - 1 - i, n);
    constexpr double kFirst[] = {0, 0.25, 0.5};
    return (i < 3 ? kFirst[i] : static_cast<double>(i) - 2) / cells;
  }

  // Grid and reference in one row, without the grid's points next to the reference: a parabola needs room.
  void merge(std::vector<Place> const& reference, std::vector<Place const*>& places) const {
    places.resize(grid_.size() + reference.size());
    auto out = places.begin();
    std::size_t next = 0;
    const double near = cell_ / 32;  // less than any two points of the grid are apart
    const auto is_next_to = [&](Place const& place, Place const& other) {
      return std::fabs(other.frequency - place.frequency) < near && other.band == place.band;
    };
    for (Place const& extremum : reference) {
      // bands ascend, so frequencies do from one band to the next
      for (; next < grid_.size() && grid_[next].frequency < extremum.frequency; ++next) *out++ = &grid_[next];
      if (next > 0 && out != places.begin() && out[-1] == &grid_[next - 1] && is_next_to(grid_[next - 1], extremum))
        --out;
      *out++ = &extremum;
      if (next < grid_.size() && is_next_to(grid_[next], extremum)) ++next;
    }
    for (; next < grid_.size(); ++next) *out++ = &grid_[next];
    places.erase(out, places.end());
  }

  // Local extrema of the error with alternating sign, each moved to where a parabola through its neighbours has its
  // top.
  std::vector<Place> find_extrema(std::vector<Place const*> const& places, Interpolant const& polynomial) const {
    std::vector<Place> tops, moved;
    tops.reserve(2 * size_);
    moved.reserve(2 * size_);
    for (std::size_t i = 0; i < places.size(); ++i) {
      Place const& place = *places[i];
      const double sign = place.error < 0 ? -1 : 1;
      const double size = sign * place.error;
      const bool first = i == 0 || places[i - 1]->band != place.band;
      if (!first && sign * places[i - 1]->error > size) continue;
      const bool last = i + 1 == places.size() || places[i + 1]->band != place.band;
      if (!last && sign * places[i + 1]->error >= size) continue;
      double shift = 0;
      if (!first && !last) {
        Place const &before = *places[i - 1], &behind = *places[i + 1];
        const double left = place.frequency - before.frequency;
        const double right = behind.frequency - place.frequency;
        const double fall_left = size - sign * before.error, fall_right = size - sign * behind.error;
        const double bend = fall_left * right + fall_right * left;
        if (left > 0 && right > 0 && bend > 0)
          shift = (fall_left * right * right - fall_right * left * left) / bend / 2;
      }
      tops.push_back(place);
      moved.push_back(place_at(place.band, place.frequency + shift));
    }
    ladder_.set_errors(moved, polynomial);
    std::vector<Place> found;
    found.reserve(tops.size());
    for (std::size_t i = 0; i < tops.size(); ++i) {
      const double sign = tops[i].error < 0 ? -1 : 1;
      Place const& top = sign * moved[i].error > sign * tops[i].error ? moved[i] : tops[i];
      if (!found.empty() && (found.back().error < 0) == (top.error < 0)) {
        if (std::fabs(top.error) > std::fabs(found.back().error)) found.back() = top;
      } else {
        found.push_back(top);
      }
    }
    return found;
  }

  // Leaves as many as the reference has. One too many: an end goes. More: the smallest goes with its smaller neighbour,
  // so that the rest alternates.
  void thin_out(std::vector<Place>& found) const {
    const auto size = [&](std::size_t at) { return std::fabs(found[at].error); };
    while (found.size() > size_) {
      std::size_t smallest = 0;
      for (std::size_t k = 1; k < found.size(); ++k)
        if (size(k) < size(smallest)) smallest = k;
      const bool one_too_many = found.size() == size_ + 1;
      if (one_too_many) smallest = size(0) < size(found.size() - 1) ? 0 : found.size() - 1;
      const auto at = [&](std::size_t k) { return found.begin() + static_cast<std::ptrdiff_t>(k); };
      if (smallest == 0 || smallest + 1 == found.size())
        found.erase(at(smallest));
      else if (size(smallest - 1) < size(smallest + 1))
        found.erase(at(smallest - 1), at(smallest + 1));
      else
        found.erase(at(smallest), at(smallest + 2));
    }
  }

  Demand const& demand_;
  Ladder const& ladder_;
  std::size_t size_;  // of the reference
  std::vector<Place> grid_;
  double cell_ = 0;  // distance of the grid's points, nearly
  double largest_desired_ = 0;
  std::vector<Place> reference_;
};

constexpr int kSmall = 16;        // coefficients from which on an even start would lie too far off
constexpr double kRoughly = 0.1;  // how level the error of a smaller polynomial has to be

// The extrema, nearly, of the best polynomial of `count` coefficients, reached over smaller ones; empty if none were
// found.
std::vector<Place> rough_reference(Demand const& demand, int count, Ladder const& ladder) {
  RemezExchange exchange(demand, count, ladder);
  std::vector<Place> start =
      count <= kSmall
          ? exchange.even_reference()
          : exchange.scaled_reference(rough_reference(demand, static_cast<int>(count * ladder.shrink), ladder));
  exchange.run(std::move(start), kRoughly);
  return exchange.reference();
}

}  // namespace

Approximation remez_exchange(Demand const& demand, int count) {
  // Small steps lead to errors that great ones lose among rounding, and cost more.
  constexpr Ladder kLadders[] = {{0.5, set_errors}, {0.8, set_errors}, {0.8, set_errors_carefully}};
  Approximation found;
  for (Ladder const& ladder : kLadders) {
    RemezExchange exchange(demand, count, ladder);
    if (count <= kSmall) {
      found = exchange.run(exchange.even_reference(), kAtRest);
    } else {
      const std::vector<Place> smaller = rough_reference(demand, static_cast<int>(count * ladder.shrink), ladder);
      if (smaller.empty()) continue;
      found = exchange.run(exchange.scaled_reference(smaller), kAtRest);
    }
    if (found.converged) break;
  }
  return found;
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
    std::vector<double> matrix(n * n), right_side(n);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = 0; k < n; ++k) matrix[j * n + k] = rows_[members_[k + 1] * n + j];
      right_side[j] = -rows_[members_[0] * n + j];
    }
    const std::vector<double> lambda = solve(std::move(matrix), std::move(right_side));
    signs_.assign(n + 1, 1);
    double level = -wanted_[members_[0]];
    for (std::size_t k = 1; k <= n; ++k) {
      signs_[k] = lambda[k - 1] < 0 ? -1 : 1;
      level -= lambda[k - 1] * wanted_[members_[k]];
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
