// One rule over a store of a thousand parameters, against the same expression compiled by Tcl over a thousand
// variables, both called from here. Every few evaluations a parameter changes.
#include <tcl.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "kdi/cores/Rule.h"

namespace {

using namespace kdi::cores;

constexpr int kPairs = 15;
constexpr int kParameters = 1000;
constexpr int kEvaluations = 100'000;
constexpr int kEvaluationsPerTurn = 16;
constexpr double kBar = 0.1;

std::string name_of(int parameter) { return "P" + std::to_string(parameter); }

// P0, P4, ... truths, P1, P5, ... integers, P2, P6, ... texts, P3, P7, ... decimal numbers.
class Store : public Scope {
 public:
  Store() {
    for (int i = 0; i < kParameters; ++i) values_.push_back(value(i, 0));
    for (Value const& value : values_) cells_.push_back(value.cell());
    for (int i = 0; i < kParameters; ++i) changed_.push_back(value(i, 1));
  }
  std::optional<Symbol> symbol(std::string_view name) const override {
    const int number = std::atoi(std::string(name.substr(1)).c_str());
    return Symbol{Type(values_[static_cast<std::size_t>(number)].cell().kind()), static_cast<std::uint32_t>(number)};
  }
  std::span<Cell const> cells() const { return cells_; }
  void turn(std::size_t parameter, bool changed) {
    cells_[parameter] = (changed ? changed_ : values_)[parameter].cell();
  }

  static Value value(int parameter, int turn) {
    switch (parameter % 4) {
      case 0:
        return Value(turn == 0);
      case 1:
        return Value(parameter + turn);
      case 2:
        return Value(turn == 0 ? "Dual Parallel" : "Single");
      default:
        return Value(Decimal::of(33333 + turn, 3));
    }
  }

 private:
  std::vector<Value> values_, changed_;
  std::vector<Cell> cells_;
};

struct Pair {
  char const* what;
  std::string rule;
  std::string expression;
  std::size_t moves;  ///< a parameter that changes at every evaluation
};

Tcl_Obj* object(Value const& value) {
  if (value.cell().kind() == Kind::truth) return Tcl_NewBooleanObj(value.cell().truth());
  if (value.cell().kind() == Kind::integer) return Tcl_NewWideIntObj(value.cell().integer());
  if (value.cell().kind() == Kind::decimal) return Tcl_NewDoubleObj(std::atof(value.text().c_str()));
  return Tcl_NewStringObj(value.text().c_str(), -1);
}

class TclSide {
 public:
  TclSide(Tcl_Interp* interp, Pair const& pair)
      : interp_(interp),
        name_(name_of(static_cast<int>(pair.moves))),
        expression_(Tcl_NewStringObj(pair.expression.c_str(), -1)) {
    Tcl_IncrRefCount(expression_);
    for (int i = 0; i < kParameters; ++i)
      Tcl_SetVar2Ex(interp, name_of(i).c_str(), nullptr, object(Store::value(i, 0)), 0);
  }
  ~TclSide() { Tcl_DecrRefCount(expression_); }
  TclSide(TclSide const&) = delete;
  TclSide& operator=(TclSide const&) = delete;

  void turn(std::size_t parameter, bool changed) {
    Tcl_SetVar2Ex(interp_, name_.c_str(), nullptr, object(Store::value(static_cast<int>(parameter), changed)), 0);
  }
  bool holds() {
    int truth = 0;
    if (Tcl_ExprBooleanObj(interp_, expression_, &truth) != TCL_OK) std::abort();
    return truth != 0;
  }

 private:
  Tcl_Interp* interp_;
  std::string name_;
  Tcl_Obj* expression_;
};

// Seconds of all evaluations, and how many held.
template <class Turn, class Holds>
double timed(Pair const& pair, int& held, Turn turn, Holds holds) {
  held = 0;
  return bench::processor_seconds_of([&] {
    for (int i = 0; i < kEvaluations; ++i) {
      if (i % kEvaluationsPerTurn == 0) turn(pair.moves, i / kEvaluationsPerTurn % 2 != 0);
      held += holds();
    }
  });
}

}  // namespace

int main() {
  bench::print_heading("Rules of cores, 100,000 evaluations");
  const Pair pairs[] = {
      {"enabled: truths and a text", "P0 and P400 and (P802 == 'Dual Parallel' or P2 == 'Single') and not P996",
       "$P0 && $P400 && ($P802 eq {Dual Parallel} || $P2 eq {Single}) && !$P996", 0},
      {"range: integers", "P1 * 2 + P501 < P901 and P1 mod 4 == 1", "$P1 * 2 + $P501 < $P901 && $P1 % 4 == 1", 1},
      {"condition: decimal numbers", "P3 * 3 <= 100 and P7 > 0.5 and P999 < 200",
       "$P3 * 3 <= 100 && $P7 > 0.5 && $P999 < 200", 3},
      {"one of a list", "P2 in ['Single', 'Custom', 'Dual Stacked'] or P402 == 'Single'",
       "$P2 in {Single Custom {Dual Stacked}} || $P402 eq {Single}", 2},
  };
  Tcl_Interp* const interp = Tcl_CreateInterp();
  bool kept = true;
  for (Pair const& pair : pairs) {
    Store store;
    const Rule rule = Rule::compile(pair.rule, store, Type(Kind::truth));
    Machine machine;
    TclSide tcl(interp, pair);
    int our_truths = 0, tcl_truths = 0;
    const auto ours = [&] {
      return timed(
          pair, our_truths, [&](std::size_t parameter, bool changed) { store.turn(parameter, changed); },
          [&] { return machine.holds(rule, store.cells()); });
    };
    const auto theirs = [&] {
      return timed(
          pair, tcl_truths, [&](std::size_t parameter, bool changed) { tcl.turn(parameter, changed); },
          [&] { return tcl.holds(); });
    };
    kept = bench::print_row(pair.what, bench::interleaved(kPairs, ours, theirs), kBar) && kept;
    if (our_truths != tcl_truths) std::abort();
  }
  Tcl_DeleteInterp(interp);
  return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
