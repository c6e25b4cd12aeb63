#include <stdexcept>

#include "platform/cores/rules/code.h"
#include "platform/cores/rules/functions.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

[[noreturn]] void overflow() { throw RuleFault("a number too large"); }

std::int64_t added(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_add_overflow(a, b, &result)) overflow();
  return result;
}
std::int64_t subtracted(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_sub_overflow(a, b, &result)) overflow();
  return result;
}
std::int64_t multiplied(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_mul_overflow(a, b, &result)) overflow();
  return result;
}

// Towards minus infinity, and what is left over from 0 to the divisor.
std::int64_t divided(std::int64_t a, std::int64_t b) {
  if (b == 0) throw RuleFault("division by zero");
  if (b == -1) return subtracted(0, a);
  const std::int64_t quotient = a / b;
  return a % b != 0 && (a < 0) != (b < 0) ? quotient - 1 : quotient;
}
std::int64_t left_over(std::int64_t a, std::int64_t b) {
  if (b == 0) throw RuleFault("division by zero");
  if (b == -1) return 0;
  const std::int64_t rest = a % b;
  return rest != 0 && (rest < 0) != (b < 0) ? rest + b : rest;
}

std::uint8_t outcome(std::strong_ordering order) {
  if (order == std::strong_ordering::less) return kLess;
  return order == std::strong_ordering::equal ? kEqual : kGreater;
}
template <class Number>
std::uint8_t outcome(Number a, Number b) {
  return static_cast<std::uint8_t>((a < b) | (a == b) << 1 | (a > b) << 2);
}

Cell with_decimals(Workshop& workshop, Cell cell) {
  switch (cell.kind()) {
    case Kind::integer:
      return Cell::of(Decimal(cell.integer()));
    case Kind::list: {
      std::vector<Cell> elements;
      for (const Cell element : cell.elements()) elements.push_back(with_decimals(workshop, element));
      return workshop.list(std::move(elements));
    }
    case Kind::dictionary: {
      Node::Entries entries;
      for (auto const& [name, value] : cell.entries()) entries.emplace(name, with_decimals(workshop, value));
      return workshop.dictionary(std::move(entries));
    }
    default:
      return cell;
  }
}

Cell element_of(Cell list, std::int64_t index) {
  const std::span<Cell const> elements = list.elements();
  if (index < 0 || static_cast<std::uint64_t>(index) >= elements.size())
    throw RuleFault("no element " + std::to_string(index) + " in a list of " + std::to_string(elements.size()));
  return elements[static_cast<std::size_t>(index)];
}

Cell entry_of(Cell dictionary, std::string const& name) {
  const auto found = dictionary.entries().find(name);
  if (found == dictionary.entries().end()) throw RuleFault("no key '" + name + "'");
  return found->second;
}

bool is_within(Cell sought, Cell list) {
  for (const Cell element : list.elements())
    if (element == sought) return true;
  return false;
}

Cell joined(Workshop& workshop, Cell a, Cell b) {
  std::vector<Cell> elements(a.elements().begin(), a.elements().end());
  elements.insert(elements.end(), b.elements().begin(), b.elements().end());
  return workshop.list(std::move(elements));
}

Cell dictionary_of(Workshop& workshop, std::span<Cell const> pairs) {
  Node::Entries entries;
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) entries.insert_or_assign(pairs[i].text(), pairs[i + 1]);
  return workshop.dictionary(std::move(entries));
}

// What an operation on a value costs beyond a step, in steps: what is long counts by its length.
std::uint64_t cost_of_text(Cell text) {
  constexpr std::uint64_t kBytesPerStep = 64;
  return text.text().size() / kBytesPerStep;
}
std::uint64_t cost(Cell cell) {
  switch (cell.kind()) {
    case Kind::text:
      return cost_of_text(cell);
    case Kind::list:
      return cell.elements().size();
    case Kind::dictionary:
      return cell.entries().size();
    default:
      return 0;
  }
}
std::uint64_t cost(std::span<Cell const> cells) {
  std::uint64_t sum = 0;
  for (const Cell cell : cells) sum += cost(cell);
  return sum;
}

Cell called(void* context, Workshop& workshop, Function const& function, std::span<Cell const> arguments) {
  return workshop.keep(function.call(context, arguments));
}

}  // namespace

Cell Machine::evaluate(CodeBody const& code, std::uint32_t const* reads, Slots slots) {
  if (registers_.size() < code.registers) registers_.resize(code.registers);
  Cell* const registers = registers_.data();
  Cell const* const banks[] = {nullptr, code.constants.data(), registers};
  // As calls these would take longer than what most instructions do, and keep what is here out of the processor's
  // registers.
  const auto at = [&banks, &slots, reads ](Operand where) __attribute__((always_inline))->Cell {
    const std::uint32_t bank = where >> kIndexBits;
    return bank == static_cast<std::uint32_t>(Bank::slot) ? slots[reads[where]] : banks[bank][index_of(where)];
  };
  // What an instruction has just left is not copied as a whole, which would wait until all of it is there.
  const auto integer = [&](Operand where) __attribute__((always_inline)) {
    const std::uint32_t bank = where >> kIndexBits;
    return bank == static_cast<std::uint32_t>(Bank::slot) ? slots[reads[where]].integer()
                                                          : banks[bank][index_of(where)].integer();
  };
  const auto decimal = [&](Operand where) __attribute__((always_inline)) {
    const std::uint32_t bank = where >> kIndexBits;
    return bank == static_cast<std::uint32_t>(Bank::slot) ? slots[reads[where]].decimal()
                                                          : banks[bank][index_of(where)].decimal();
  };
  const auto row = [registers](Operand first, std::size_t count) {
    return std::span<Cell const>(registers + index_of(first), count);
  };
  Workshop workshop(made_);
  if (!open_.empty()) open_.clear();  // of an evaluation that had a fault
  Instruction const* const program = code.program.data();
  const std::size_t size = code.program.size();
  const auto charge = [ this, most = spent_ + most_steps_ ](std::uint64_t more) __attribute__((always_inline)) {
    spent_ += more;
    if (spent_ > most) throw RuleFault("an evaluation takes too many steps");
  };
  const auto are_equal = [&](Instruction const& i) __attribute__((always_inline)) {
    const Cell a = at(i.a), b = at(i.b);
    if (a.node() == b.node()) return true;
    if (!a.has_node() || !b.has_node()) return false;  // there is no text yet
    charge(cost_of_text(a));
    return a.node()->hash() == b.node()->hash() && a.text() == b.text();
  };
  const auto is_in_set = [&](Instruction const& i) __attribute__((always_inline)) {
    const Cell sought = at(i.a);
    charge(cost_of_text(sought));
    return code.sets[i.b].contains(*sought.node());
  };

  for (std::size_t pc = 0; pc < size;) {
    Instruction const& i = program[pc++];
    // Not every instruction has a register there.
    const auto target = [&i, registers]() -> Cell& { return registers[index_of(i.target)]; };
    switch (i.op) {
      case Op::move:
        target() = at(i.a);
        break;
      case Op::jump:
        charge(1);  // every loop comes by here
        pc = i.target;
        break;
      case Op::jump_if:
        if (at(i.a).truth()) pc = i.target;
        break;
      case Op::jump_unless:
        if (!at(i.a).truth()) pc = i.target;
        break;
      case Op::compare_integers:
        target() = Cell::of((outcome(integer(i.a), integer(i.b)) & i.mode) != 0);
        break;
      case Op::compare_decimals:
        target() = Cell::of((outcome(decimal(i.a) <=> decimal(i.b)) & i.mode) != 0);
        break;
      case Op::compare_any:
        charge(cost(at(i.a)));
        target() = Cell::of((outcome(order(at(i.a), at(i.b))) & i.mode) != 0);
        break;
      case Op::jump_unless_integers:
        if ((outcome(integer(i.a), integer(i.b)) & i.mode) == 0) pc = i.target;
        break;
      case Op::jump_unless_decimals:
        if ((outcome(decimal(i.a) <=> decimal(i.b)) & i.mode) == 0) pc = i.target;
        break;
      case Op::jump_unless_any:
        charge(cost(at(i.a)));
        if ((outcome(order(at(i.a), at(i.b))) & i.mode) == 0) pc = i.target;
        break;
      case Op::jump_unless_equal_texts:
        if (!are_equal(i)) pc = i.target;
        break;
      case Op::jump_if_equal_texts:
        if (are_equal(i)) pc = i.target;
        break;
      case Op::add_integers:
        target() = Cell::of(added(integer(i.a), integer(i.b)));
        break;
      case Op::subtract_integers:
        target() = Cell::of(subtracted(integer(i.a), integer(i.b)));
        break;
      case Op::multiply_integers:
        target() = Cell::of(multiplied(integer(i.a), integer(i.b)));
        break;
      case Op::divide:
        target() = Cell::of(divided(integer(i.a), integer(i.b)));
        break;
      case Op::modulo:
        target() = Cell::of(left_over(integer(i.a), integer(i.b)));
        break;
      case Op::negate_integer:
        target() = Cell::of(subtracted(0, integer(i.a)));
        break;
      case Op::add_decimals:
        target() = Cell::of(decimal(i.a) + decimal(i.b));
        break;
      case Op::subtract_decimals:
        target() = Cell::of(decimal(i.a) - decimal(i.b));
        break;
      case Op::multiply_decimals:
        target() = Cell::of(decimal(i.a) * decimal(i.b));
        break;
      case Op::negate_decimal:
        target() = Cell::of(Decimal() - decimal(i.a));
        break;
      case Op::join_texts:
        charge(cost(at(i.a)) + cost(at(i.b)));
        target() = workshop.text(at(i.a).text() + at(i.b).text());
        break;
      case Op::join_lists:
        charge(cost(at(i.a)) + cost(at(i.b)));
        target() = joined(workshop, at(i.a), at(i.b));
        break;
      case Op::not_truth:
        target() = Cell::of(!at(i.a).truth());
        break;
      case Op::within_list:
        charge(cost(at(i.b)) * (1 + cost(at(i.a))));
        target() = Cell::of(is_within(at(i.a), at(i.b)));
        break;
      case Op::within_texts:
        target() = Cell::of(is_in_set(i));
        break;
      case Op::jump_unless_within_texts:
        if (!is_in_set(i)) pc = i.target;
        break;
      case Op::jump_if_within_texts:
        if (is_in_set(i)) pc = i.target;
        break;
      case Op::within_entries:
        target() = Cell::of(at(i.b).entries().contains(at(i.a).text()));
        break;
      case Op::element:
        target() = element_of(at(i.a), integer(i.b));
        break;
      case Op::entry:
        target() = entry_of(at(i.a), at(i.b).text());
        break;
      case Op::list: {
        const std::span<Cell const> elements = row(i.a, i.b);
        target() = workshop.list({elements.begin(), elements.end()});
        break;
      }
      case Op::dictionary:
        target() = dictionary_of(workshop, row(i.a, i.b));
        break;
      case Op::to_decimal:
        target() = Cell::of(Decimal(integer(i.a)));
        break;
      case Op::convert:
        charge(cost(at(i.a)));
        target() = with_decimals(workshop, at(i.a));
        break;
      case Op::open_list:
        open_.emplace_back();
        break;
      case Op::append:
        open_.back().push_back(at(i.a));
        break;
      case Op::close_list:
        target() = workshop.list(std::move(open_.back()));
        open_.pop_back();
        break;
      case Op::next: {
        Cell& counter = registers[index_of(i.b)];
        const std::span<Cell const> elements = at(i.a).elements();
        const std::size_t index = static_cast<std::size_t>(counter.integer());
        if (index == elements.size()) {
          pc = i.target;
        } else {
          (&counter)[1] = elements[index];
          counter = Cell::of(static_cast<std::int64_t>(index + 1));
        }
        break;
      }
      case Op::call:
        charge(cost(row(i.a, i.mode)));
        target() = builtins()[i.b].call(workshop, row(i.a, i.mode));
        charge(cost(target()));
        break;
      case Op::call_host:
        target() = called(context_, workshop, *code.functions[i.b], row(i.a, i.mode));
        break;
      case Op::finish:
        return at(i.a);
    }
  }
  return at(code.result);
}

void Machine::forget() {
  for (Node* const node : made_) node->release();
  made_.clear();
}

Value Machine::run(Rule const& rule, Slots slots) {
  return with_value(rule.code_->own_body(), rule.code_->reads().data(), slots,
                    [](Cell cell) { return Value::share(cell); });
}

bool Machine::holds(Rule const& rule, Slots slots) {
  return with_value(*rule.code_->body, rule.code_->reads().data(), slots, [](Cell cell) { return cell.truth(); });
}

// What takes longer is left to those who need it: a rule may have thousands of such places.
Value value_of(CodeBody const& code) {
  constexpr std::uint64_t kMostSteps = 1000;
  Machine machine;
  machine.most_steps_ = kMostSteps;
  return machine.with_value(code, nullptr, std::span<Cell const>(), [](Cell cell) { return Value::share(cell); });
}

Rule Rule::compile(std::string_view text, Scope const& scope, std::optional<Type> wanted) {
  Compiler compiler;
  return compile(text, scope, wanted, compiler);
}

Rule Rule::compile_template(std::string_view text, Scope const& scope) {
  Compiler compiler;
  return compile_template(text, scope, compiler);
}

Rule Rule::compile(std::string_view text, Scope const& scope, std::optional<Type> wanted, Compiler& compiler) {
  return Rule(compiler.compile(text, Writing::expression, scope, wanted));
}

Rule Rule::compile_template(std::string_view text, Scope const& scope, Compiler& compiler) {
  return Rule(compiler.compile(text, Writing::message, scope, Type(Kind::text)));
}

Type Rule::type() const { return code_->body->type; }
std::span<std::uint32_t const> Rule::reads() const { return code_->reads(); }
std::size_t Rule::bytes() const {
  std::size_t bytes = code_->places * sizeof(Expression) + code_->body->program.size() * sizeof(Instruction);
  for (const Cell constant : code_->body->constants) bytes += cores::bytes(constant);
  return bytes;
}
std::shared_ptr<Syntax const> Rule::syntax() const { return code_->store->syntax_of(*code_); }
std::string Rule::written() const {
  const std::shared_ptr<Syntax const> tree = syntax();
  return cores::written(*tree, tree->root);
}

}  // namespace kdi::cores
