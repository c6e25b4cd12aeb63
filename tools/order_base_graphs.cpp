// Finds the processing order of the 5G NR base graphs: order_base_graphs [--check] DATA_DIR
//
// A layer waits for the columns that the layers before it have in flight. Which columns it reads first, and which it
// wrote last, decides for how long, and the order of the columns within a row is free. This tool permutes the columns
// in each row so that the cycles of an iteration, summed over all 51 lifting sizes and both cores, become as few as it
// can make them. With 2 or 4 operations per cycle the order also decides how many slots a row takes, so the sum is of
// work and stall cycles: stalls alone could be bought with work.
//
// Stalls do not depend on the shifts, so the lifting sizes fall into five classes (operations per cycle, MV), and one
// evaluation is ten short schedules. The search is threshold accepting: a random swap or move within a row is kept if
// it costs at most a threshold more, and the threshold falls to 0. It is deterministic to the byte: integers only, a
// fixed seed, and no library distribution.
//
// Writes DATA_DIR/ldpc/order/<table>.csv and gain.csv, and prints the gain over ascending order. With --check it
// searches nothing, recomputes gain.csv with the analyser, and fails if a table or figure differs from its file.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tcltasks/fec/perf_analyser.h"
#include "tools/order_table_list.h"

namespace {

using order_tools::Layout;
using order_tools::TableShape;
using Columns = std::vector<unsigned>;
using Rows = std::vector<Columns>;

// ---------------------------------------------------------------------------------------------------- matrices

Rows read_base_graph(std::string const& data, int base_graph) {
  const std::string path = data + "/ldpc/nr_bg" + std::to_string(base_graph) + ".csv";
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) throw std::runtime_error(path + ": cannot be read");
  Rows rows;
  while (std::getline(file, line)) {
    unsigned row = 0, col = 0;
    char comma = 0;
    if (!(std::istringstream(line) >> row >> comma >> col)) throw std::runtime_error(path + ": bad line " + line);
    rows.resize(std::max<std::size_t>(rows.size(), row + 1));
    rows[row].push_back(col);
  }
  return rows;
}

// Without the information columns from `kb` to 9, the later ones renumbered.
Rows reduced(Rows rows, unsigned kb, unsigned full_kb) {
  for (Columns& row : rows) {
    std::erase_if(row, [&](unsigned col) { return col >= kb && col < full_kb; });
    for (unsigned& col : row)
      if (col >= full_kb) col -= full_kb - kb;
  }
  return rows;
}

// The rows after the double diagonal of the first four has been rewritten, each with its parity column last.
Rows transformed(Rows const& rows, unsigned kb) {
  constexpr unsigned kDiagonal = 4;
  Rows result;
  for (unsigned i = 0; i < kDiagonal; ++i) {
    Columns row = rows[i];
    std::erase_if(row, [&](unsigned col) { return col >= kb; });
    row.push_back(kb + 2 + i);
    result.push_back(row);
  }
  result.push_back({kb + 2, kb + 3, kb + 4, kb + 5, kb});
  for (unsigned k = 0; k + 1 < kDiagonal; ++k) {
    Columns row;
    for (unsigned col : rows[k])
      if (col >= kb && col <= kb + k) row.push_back(col);
    row.push_back(kb + k + 2);
    row.push_back(kb + k + 1);
    result.push_back(row);
  }
  result.insert(result.end(), rows.begin() + kDiagonal, rows.end());
  return result;
}

Rows matrix_of(TableShape const& shape, std::string const& data) {
  constexpr unsigned kFullKb[] = {0, 22, 10};
  Rows rows = reduced(read_base_graph(data, shape.base_graph), shape.kb, kFullKb[shape.base_graph]);
  return shape.encode ? transformed(rows, shape.kb) : rows;
}

// Rows whose order is given, wholly or by how they begin.
struct GivenRow {
  std::string_view table;
  unsigned row;
  Columns begins;
};

std::vector<GivenRow> const& given_rows() {
  static const std::vector<GivenRow> rows = {
      {"BG1_REORDERED", 0, {12, 5, 2, 3, 0, 9, 6, 11, 16}},
      {"BG1_REORDERED", 4, {0, 1, 26}},
      {"BG1_REORDERED", 45, {6, 1, 10, 67}},
      {"ENC_BG1REORDERED", 0, {12, 5, 2, 3, 0, 9, 6, 11, 16, 1, 10, 15, 20, 21, 18, 19, 13, 24}},
      {"ENC_BG1REORDERED", 4, {24, 25, 26, 27, 22}},
      {"BG2KB10P128", 0, {2, 9, 6, 3, 0, 1, 10, 11}},
      {"BG2KB10P128", 41, {1, 5, 11, 51}},
      {"ENC_BG2KB10REORDERED", 4, {12, 13, 14, 15, 10}},
      {"BG2KB6REORDERED", 0, {0, 1, 2, 3, 6, 7}},
  };
  return rows;
}

// A table on its way: the order of each row, and the part of it that may be permuted.
struct OrderProblem {
  TableShape const* shape;
  Rows rows;
  std::vector<unsigned> first_free;  // entries before it are given
  unsigned fixed_tail;               // entries at the end that stay: the parity column of an encoder row
};

OrderProblem problem_of(TableShape const& shape, std::string const& data) {
  OrderProblem problem{&shape, matrix_of(shape, data), {}, shape.encode ? 1U : 0U};
  problem.first_free.assign(problem.rows.size(), 0);
  for (GivenRow const& given : given_rows()) {
    if (given.table != shape.name) continue;
    Columns& row = problem.rows[given.row];
    Columns rest = row;
    for (unsigned col : given.begins)
      if (std::erase(rest, col) != 1) throw std::runtime_error(std::string(shape.name) + ": given row does not fit");
    row = given.begins;
    row.insert(row.end(), rest.begin(), rest.end());
    problem.first_free[given.row] = static_cast<unsigned>(given.begins.size());
  }
  return problem;
}

// ---------------------------------------------------------------------------------------------------- schedules

// Lifting sizes that share one schedule.
struct SizeClass {
  unsigned width;  // operations per cycle
  unsigned mv;     // cycles per operation
  unsigned p;      // one lifting size of the class
  unsigned sizes;  // how many there are
};

constexpr SizeClass kClasses[] = {{4, 1, 32, 23}, {2, 1, 64, 8}, {1, 1, 128, 8}, {1, 2, 256, 8}, {1, 3, 384, 4}};

std::array<unsigned, 2> delays_of(TableShape const& shape) {
  if (shape.encode) return {sd_fec::Variant::kEncoderDelay, ldpc::Variant::kEncoderDelay};
  return {sd_fec::Variant::kDecoderDelay, ldpc::Variant::kDecoderDelay};
}

// Slots of a row under the compressed packing: operations that issue together stand in different lanes.
Rows issues_of(Columns const& row, unsigned width) {
  Rows issues;
  for (std::size_t position = 0; position < row.size();) {
    std::size_t size = std::min<std::size_t>(width, row.size() - position);
    for (; size > 1; --size) {
      unsigned lanes = 0;
      for (std::size_t i = 0; i < size; ++i) lanes |= 1U << (row[position + i] % width);
      if (static_cast<std::size_t>(__builtin_popcount(lanes)) == size) break;
    }
    const auto begin = row.begin() + static_cast<std::ptrdiff_t>(position);
    issues.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(size));
    position += size;
  }
  return issues;
}

struct Cycles {
  std::uint64_t work = 0;
  std::uint64_t stall = 0;
};

// The timing of the analyser, cut down to what a search needs; report() holds it against the analyser itself.
Cycles schedule(std::vector<Rows> const& layers, bool encode, unsigned mv, unsigned delay) {
  std::array<unsigned, 256> free_at{};
  unsigned now = 0, update_end = 0;
  Cycles cycles;
  const unsigned iterations = encode ? 1 : 4;
  for (unsigned iteration = 0; iteration < iterations; ++iteration) {
    cycles = {};
    for (Rows const& issues : layers) {
      unsigned waited = 0, natural = now;
      for (Columns const& issue : issues) {
        for (unsigned col : issue)
          if (free_at[col] > natural + waited) waited = free_at[col] - natural;
        natural += mv;
      }
      const auto length = static_cast<unsigned>(issues.size()) * mv;
      now += waited + length;
      const unsigned update = std::max(now - 1 + delay, update_end);
      update_end = update + length;
      if (encode) {
        free_at[issues.back().back()] = update_end;  // the parity column ends the row
      } else {
        unsigned written = update;
        for (Columns const& issue : issues) {
          written += mv;
          for (unsigned col : issue) free_at[col] = written;
        }
      }
      cycles.work += length;
      cycles.stall += waited;
    }
  }
  return cycles;
}

// The layers of a table for each issue width, kept up to date row by row.
class ScheduleSet {
 public:
  explicit ScheduleSet(OrderProblem const& problem) : problem_(problem), delays_(delays_of(*problem.shape)) {
    for (unsigned width : {1U, 2U, 4U}) {
      layers_[width].resize(problem.rows.size());
      for (std::size_t row = 0; row < problem.rows.size(); ++row) update(row, problem.rows[row], width);
    }
  }

  void update(std::size_t row, Columns const& columns) {
    for (unsigned width : {1U, 2U, 4U}) update(row, columns, width);
  }

  Cycles cycles(SizeClass const& one, unsigned delay) const {
    return schedule(layers_.at(one.width), problem_.shape->encode, one.mv, delay);
  }

  std::uint64_t cost() const {
    std::uint64_t sum = 0;
    for (SizeClass const& one : kClasses)
      for (unsigned delay : delays_) {
        const Cycles result = cycles(one, delay);
        sum += one.sizes * (result.work + result.stall);
      }
    return sum;
  }

 private:
  void update(std::size_t row, Columns const& columns, unsigned width) {
    layers_[width][row] = issues_of(columns, width);
  }

  OrderProblem const& problem_;
  std::array<unsigned, 2> delays_;
  std::map<unsigned, std::vector<Rows>> layers_;
};

// ------------------------------------------------------------------------------------------------------ search

constexpr unsigned kSteps = 200000;
constexpr std::uint64_t kFirstThreshold = 60;  // cycles over all lifting sizes

class BoundedRandom {
 public:
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(engine_() % bound); }

 private:
  std::mt19937_64 engine_{20240611};  // the engine's output is fixed by the language standard
};

void optimise(OrderProblem& problem) {
  std::vector<std::size_t> movable;
  for (std::size_t row = 0; row < problem.rows.size(); ++row)
    if (problem.first_free[row] + problem.fixed_tail + 2 <= problem.rows[row].size()) movable.push_back(row);

  ScheduleSet schedules(problem);
  BoundedRandom random;
  std::uint64_t cost = schedules.cost();
  Rows best = problem.rows;
  std::uint64_t best_cost = cost;
  for (unsigned step = 0; step < kSteps; ++step) {
    const std::uint64_t threshold = kFirstThreshold * (kSteps - 1 - step) / kSteps;
    const std::size_t row = movable[random.below(movable.size())];
    const Columns before = problem.rows[row];
    const std::size_t first = problem.first_free[row];
    const std::size_t room = before.size() - problem.fixed_tail - first;
    const auto from = static_cast<std::ptrdiff_t>(first + random.below(room));
    const auto to = static_cast<std::ptrdiff_t>(first + random.below(room));
    if (from == to) continue;
    auto& columns = problem.rows[row];
    if (random.below(2) == 0)
      std::swap(columns[static_cast<std::size_t>(from)], columns[static_cast<std::size_t>(to)]);
    else if (from < to)
      std::rotate(columns.begin() + from, columns.begin() + from + 1, columns.begin() + to + 1);
    else
      std::rotate(columns.begin() + to, columns.begin() + from, columns.begin() + from + 1);
    schedules.update(row, columns);
    const std::uint64_t next = schedules.cost();
    if (next > cost + threshold) {
      columns = before;
      schedules.update(row, columns);
      continue;
    }
    cost = next;
    if (cost < best_cost) {
      best_cost = cost;
      best = problem.rows;
    }
  }
  problem.rows = best;
}

// ------------------------------------------------------------------------------------------------------ report

// The same schedule by the analyser.
Cycles analysed(OrderProblem const& problem, SizeClass const& one, unsigned delay) {
  fec::CodeConfig config;
  config.p = one.p;
  config.mv = one.mv;
  config.encode = problem.shape->encode;
  config.nlayers = static_cast<std::uint32_t>(problem.rows.size());
  Cycles cycles;
  for (Columns const& row : problem.rows) {
    const Rows issues = issues_of(row, one.width);
    for (Columns const& issue : issues) {
      const std::size_t begin = config.qc.size();
      for (unsigned col : issue) config.qc.emplace_back().col = col;
      if (&issue == &issues.back()) config.qc.back().layer_end = 1;
      while (config.qc.size() < begin + one.width) config.qc.emplace_back().nop = 1;
    }
    config.dc.push_back(static_cast<std::uint32_t>(issues.size() * one.width));
    cycles.work += issues.size() * one.mv;
  }
  std::string reports;
  fec::XLogger logger([](void* all, int, char const* text) { *static_cast<std::string*>(all) += text; }, &reports);
  fec::perf_analyser::ModelTraits traits;
  traits.delay = delay;
  traits.capacities.fill(0xFFFFFFFF);
  for (std::uint32_t stall : fec::perf_analyser::stall_counts(config, traits, logger)) cycles.stall += stall;
  if (!reports.empty()) throw std::runtime_error(std::string(problem.shape->name) + ": " + reports);
  const Cycles quick = ScheduleSet(problem).cycles(one, delay);
  if (quick.work != cycles.work || quick.stall != cycles.stall)
    throw std::runtime_error("the search's schedule differs from the analyser's");
  return cycles;
}

OrderProblem ascending(OrderProblem problem) {
  for (Columns& row : problem.rows) std::sort(row.begin(), row.end() - problem.fixed_tail);
  return problem;
}

struct GainSum {
  std::uint64_t before = 0, after = 0, stall_before = 0, stall_after = 0;
};

void add_gain(OrderProblem const& problem, std::ostream& csv, GainSum& sum) {
  const OrderProblem plain = ascending(problem);
  for (unsigned delay : delays_of(*problem.shape))
    for (SizeClass const& one : kClasses) {
      const Cycles before = analysed(plain, one, delay);
      const Cycles after = analysed(problem, one, delay);
      csv << problem.shape->name << ',' << delay << ',' << one.width << ',' << one.mv << ',' << one.sizes << ','
          << before.work << ',' << before.stall << ',' << after.work << ',' << after.stall << '\n';
      sum.before += one.sizes * (before.work + before.stall);
      sum.after += one.sizes * (after.work + after.stall);
      sum.stall_before += one.sizes * before.stall;
      sum.stall_after += one.sizes * after.stall;
    }
}

void print_gain(std::string_view name, GainSum const& sum) {
  const auto percent = [](std::uint64_t part, std::uint64_t whole) {
    return 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  };
  std::cout << name << ": stall cycles " << sum.stall_before << " -> " << sum.stall_after << " ("
            << percent(sum.stall_after, sum.stall_before) << " %), all cycles " << sum.before << " -> " << sum.after
            << " (" << percent(sum.after, sum.before) << " %)\n";
}

// ------------------------------------------------------------------------------------------------------- files

// A row in groups of lanes: the first member of each lane, then the second, and so on.
Columns in_lanes(Columns const& row, unsigned lanes) {
  Columns slots;
  std::vector<unsigned> used(lanes, 0);
  for (unsigned col : row) {
    const std::size_t slot = used[col % lanes]++ * lanes + col % lanes;
    if (slot >= slots.size()) slots.resize((slot / lanes + 1) * lanes, order_tools::kEmptySlot);
    slots[slot] = col;
  }
  return slots;
}

std::string csv_text(Rows const& rows) {
  std::ostringstream text;
  for (Columns const& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) text << row[i] << (i + 1 < row.size() ? ',' : '\n');
  return text.str();
}

Rows laid_out(TableShape const& shape, Rows const& order) {
  Rows rows;
  for (unsigned row = 0; row < shape.rows; ++row)
    rows.push_back(in_lanes(order[row], shape.arrangement == Layout::lanes4 ? 4 : 2));
  return rows;
}

std::string read_file(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

Rows read_rows(std::string const& path) {
  Rows rows;
  std::istringstream lines(read_file(path));
  for (std::string line; std::getline(lines, line);) {
    Columns& row = rows.emplace_back();
    std::istringstream fields(line);
    for (std::string field; std::getline(fields, field, ',');) row.push_back(static_cast<unsigned>(std::stoul(field)));
  }
  return rows;
}

// The order in the file, if it is one of the matrix and begins as given.
void load_order(OrderProblem& problem, std::string const& path) {
  const Rows rows = read_rows(path);
  if (rows.size() != problem.rows.size()) throw std::runtime_error(path + ": wrong number of rows");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const Columns& expected = problem.rows[row];
    const bool begins =
        std::equal(expected.begin(), expected.begin() + problem.first_free[row], rows[row].begin(),
                   rows[row].begin() + std::min<std::ptrdiff_t>(problem.first_free[row], std::ssize(rows[row])));
    const bool ends = problem.fixed_tail == 0 || (!rows[row].empty() && rows[row].back() == expected.back());
    if (!begins || !ends || !std::is_permutation(expected.begin(), expected.end(), rows[row].begin(), rows[row].end()))
      throw std::runtime_error(path + ": line " + std::to_string(row + 1) + " is no order of its row");
  }
  problem.rows = rows;
}

class Output {
 public:
  explicit Output(bool check) : check_(check) {}

  void put(std::string const& path, std::string const& text) const {
    if (check_) {
      if (read_file(path) != text) throw std::runtime_error(path + ": differs from what the tables give");
      return;
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) throw std::runtime_error(path + ": cannot be written");
  }

 private:
  bool check_;
};

void run(bool check, std::string const& data) {
  const std::string directory = data + "/ldpc/order/";
  const Output files(check);
  std::ostringstream gain;
  gain << "table,delay,operations_per_cycle,mv,lifting_sizes,work_ascending,stall_ascending,work,stall\n";
  std::map<std::string_view, Rows> orders;
  for (TableShape const& shape : order_tools::kTables) {
    const std::string path = directory + std::string(shape.name) + ".csv";
    if (shape.arrangement != Layout::order) {
      const std::string_view source = shape.base_graph == 1 ? "BG1_REORDERED" : "BG2KB10P128";
      files.put(path, csv_text(laid_out(shape, orders.at(source))));
      continue;
    }
    OrderProblem problem = problem_of(shape, data);
    if (check)
      load_order(problem, path);
    else
      optimise(problem);
    GainSum sum;
    add_gain(problem, gain, sum);
    print_gain(shape.name, sum);
    files.put(path, csv_text(problem.rows));
    orders[shape.name] = problem.rows;
  }
  files.put(directory + "gain.csv", gain.str());
}

}  // namespace

int main(int argc, char** argv) {
  const bool check = argc == 3 && std::string_view(argv[1]) == "--check";
  if (argc != 2 && !check) {
    std::cerr << "usage: order_base_graphs [--check] DATA_DIR\n";
    return 2;
  }
  try {
    run(check, argv[argc - 1]);
  } catch (std::exception const& error) {
    std::cerr << "order_base_graphs: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
