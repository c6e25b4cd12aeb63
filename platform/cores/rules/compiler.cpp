#include <algorithm>
#include <boost/container/small_vector.hpp>

#include "platform/cores/rules/code.h"
#include "platform/cores/rules/functions.h"
#include "platform/cores/rules/shape.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

constexpr std::uint32_t kMostRegisters = 1U << 20;

std::vector<Cell> cells_of(std::vector<Value> const& values) {
  std::vector<Cell> cells;
  cells.reserve(values.size());
  for (Value const& value : values) cells.push_back(value.cell());
  return cells;
}

// A name that a let or a loop gives to a register.
struct Local {
  std::string_view name;
  Type type;
  Operand at;
};

std::uint8_t outcomes_of(std::string_view sign) {
  if (sign == "==") return kEqual;
  if (sign == "!=") return kLess | kGreater;
  if (sign == "<") return kLess;
  if (sign == "<=") return kLess | kEqual;
  if (sign == ">") return kGreater;
  return kGreater | kEqual;
}

bool can_hold(Symbol const& symbol, Value const& text) {
  return symbol.texts == nullptr ||
         std::find(symbol.texts->begin(), symbol.texts->end(), text.cell().text()) != symbol.texts->end();
}

// ------------------------------------------------------------------------------------------------------- the types

// Finds the type of every node and what each name means, and refuses what has none.
class Checker {
 public:
  Checker(Syntax const& syntax, Scope const& scope, CheckedTypes& found)
      : types(found.types),
        constants(found.constants),
        symbols(found.symbols),
        argument_types(found.argument_types),
        compared(found.compared),
        syntax_(syntax),
        scope_(scope) {
    const std::size_t nodes = syntax.nodes.size();
    types.assign(nodes, {});
    constants.assign(nodes, false);
    symbols.assign(nodes, std::nullopt);
    if (argument_types.size() < nodes) argument_types.resize(nodes);
    for (std::size_t i = 0; i < nodes; ++i) argument_types[i].clear();
    compared.clear();
  }

  Type check(std::uint32_t number) {
    types[number] = type_of(number);
    Expression const& node = syntax_.at(number);
    const bool computes = node.form == Form::literal || node.form == Form::negate || node.form == Form::arithmetic ||
                          node.form == Form::list || node.form == Form::dictionary;
    constants[number] = computes && std::all_of(node.parts.begin(), node.parts.end(),
                                                [this](std::uint32_t part) { return constants[part]; });
    return types[number];
  }

  std::vector<Type>& types;
  std::vector<bool>& constants;
  std::vector<std::optional<Symbol>>& symbols;
  std::vector<std::vector<Type>>& argument_types;
  std::vector<ComparedText>& compared;

 private:
  [[noreturn]] void fail(std::uint32_t number, std::string const& text) const {
    throw RuleError(text, syntax_.at(number).place);
  }

  Type want(std::uint32_t number, Type wanted) {
    const Type type = check(number);
    if (!type.fits(wanted))
      fail(number, "expected a value of type " + wanted.text() + ", found one of type " + type.text());
    return type;
  }

  Type common_of(std::uint32_t first, std::uint32_t second) {
    const Type a = check(first), b = check(second);
    const std::optional<Type> common = Type::common(a, b);
    if (!common) fail(second, "expected a value of type " + a.text() + ", found one of type " + b.text());
    return *common;
  }

  Type type_of(std::uint32_t number) {
    Expression const& node = syntax_.at(number);
    switch (node.form) {
      case Form::literal:
        return Type(node.value.cell().kind());
      case Form::name:
        return name(number, node);
      case Form::call:
        return call(number, node);
      case Form::negate: {
        const Type type = check(node.parts[0]);
        if (!type.is_number()) fail(node.parts[0], "expected a number, found a value of type " + type.text());
        return type;
      }
      case Form::arithmetic:
        return arithmetic(number, node);
      case Form::compare:
        return compare(number, node);
      case Form::within:
        return within(number, node);
      case Form::not_:
      case Form::and_:
      case Form::or_:
        for (const std::uint32_t part : node.parts) want(part, Kind::truth);
        return Kind::truth;
      case Form::conditional:
        want(node.parts[0], Kind::truth);
        return common_of(node.parts[1], node.parts[2]);
      case Form::let: {
        const Type type = check(node.parts[0]);
        return inside(number, node.word, type, [&] { return check(node.parts[1]); });
      }
      case Form::list:
        return list(number, node);
      case Form::dictionary:
        return dictionary(number, node);
      case Form::index: {
        const Type type = check(node.parts[0]);
        if (!type.is_container()) fail(number, "expected a list or a dictionary, found a value of type " + type.text());
        want(node.parts[1], type.kind() == Kind::list ? Kind::integer : Kind::text);
        return type.element();
      }
      case Form::loop:
        return loop(number, node);
      case Form::rows:
        if (scope_.symbol(node.word)) fail(number, node.word + " is the name of a parameter already");
        return check(node.parts[0]);
    }
    return {};
  }

  Type name(std::uint32_t number, Expression const& node) {
    for (auto local = locals_.rbegin(); local != locals_.rend(); ++local)
      if (local->name == node.word) return local->type;
    const std::optional<Symbol> symbol = scope_.symbol(node.word);
    if (!symbol) {
      const std::string like = scope_.like(node.word);
      fail(number, "unknown name " + node.word + (like.empty() ? "" : "; there is " + like));
    }
    return known(number, *symbol);
  }

  Type known(std::uint32_t number, Symbol const& symbol) {
    if (symbol.slot >= 1U << kIndexBits) fail(number, "too many parameters");
    symbols[number] = symbol;
    return symbol.type;
  }

  // What an aspect is of: a name, or a word of the device as a text.
  std::optional<std::string_view> subject(Expression const& call) const {
    if (call.parts.size() != 1) return std::nullopt;
    Expression const& part = syntax_.at(call.parts[0]);
    if (call.word != "device")
      return part.form == Form::name ? std::optional<std::string_view>(part.word) : std::nullopt;
    const bool is_text = part.form == Form::literal && part.value.cell().kind() == Kind::text;
    return is_text ? std::optional<std::string_view>(part.value.cell().text()) : std::nullopt;
  }

  Type call(std::uint32_t number, Expression const& node) {
    if (const std::optional<std::string_view> of = subject(node))
      if (const auto symbol = scope_.aspect(node.word, *of)) return known(number, *symbol);
    std::vector<Type>& given = argument_types[number];
    for (const std::uint32_t part : node.parts) given.push_back(check(part));
    if (Function const* const function = scope_.function(node.word)) {
      if (given.size() != function->parameters.size())
        fail(number, node.word + " takes " + std::to_string(function->parameters.size()) + " arguments, found " +
                         std::to_string(given.size()));
      for (std::size_t i = 0; i < given.size(); ++i)
        if (!given[i].fits(function->parameters[i]))
          fail(node.parts[i],
               "expected a value of type " + function->parameters[i].text() + ", found one of type " + given[i].text());
      given = function->parameters;
      return function->result;
    }
    Builtin const* const builtin = find_builtin(node.word);
    if (builtin == nullptr && node.word == "device") fail(number, "device('word') is for a word that is declared");
    if (builtin == nullptr) fail(number, "unknown function " + node.word);
    const std::string usage = node.word + "(" + std::string(builtin->arguments) + ")";
    if (given.size() < builtin->least || given.size() > builtin->most)
      fail(number, "expected " + usage + ", found " + std::to_string(given.size()) + " arguments");
    std::vector<Type> widened = given;
    const std::optional<Type> result = builtin->check(widened);
    if (!result) {
      std::string found;
      for (const Type type : given) found += (found.empty() ? "" : ", ") + type.text();
      fail(number, "expected " + usage + ", found arguments of types " + found);
    }
    given = widened;
    return *result;
  }

  Type arithmetic(std::uint32_t number, Expression const& node) {
    const Type common = common_of(node.parts[0], node.parts[1]);
    const bool joins = node.word == "+" && (common == Type(Kind::text) || common.kind() == Kind::list);
    if (joins) return common;
    if (!common.is_number())
      fail(number, "expected numbers on both sides of " + node.word + ", found values of type " + common.text());
    if ((node.word == "div" || node.word == "mod") && common != Type(Kind::integer))
      fail(number, node.word + " is for integers; quotient(number, divisor, places) divides decimal numbers");
    return common;
  }

  Type compare(std::uint32_t number, Expression const& node) {
    const Type common = common_of(node.parts[0], node.parts[1]);
    const bool ordered = node.word != "==" && node.word != "!=";
    if (ordered && common.is_container()) fail(number, "values of type " + common.text() + " have no order");
    check_texts(node.parts[0], node.parts[1]);
    check_texts(node.parts[1], node.parts[0]);
    return Kind::truth;
  }

  // A comparison with a text that a parameter cannot hold is a slip.
  void check_texts(std::uint32_t name, std::uint32_t literal) const {
    Expression const& node = syntax_.at(literal);
    if (!symbols[name] || node.form != Form::literal || node.value.cell().kind() != Kind::text) return;
    compared.push_back({symbols[name]->slot, node.value});
    if (can_hold(*symbols[name], node.value)) return;
    std::vector<std::string> const* const texts = symbols[name]->texts;
    constexpr std::size_t kShown = 6;
    std::string all;
    for (std::size_t i = 0; i < texts->size() && i < kShown; ++i) all += (i > 0 ? ", " : "") + (*texts)[i];
    if (texts->size() > kShown) all += ", ...";
    fail(literal, syntax_.at(name).word + " is never '" + node.value.cell().text() + "'; it is one of " + all);
  }

  Type within(std::uint32_t number, Expression const& node) {
    const Type sought = check(node.parts[0]), range = check(node.parts[1]);
    if (range.kind() == Kind::dictionary) {
      if (!sought.fits(Kind::text)) fail(node.parts[0], "a key is a text, found a value of type " + sought.text());
      return Kind::truth;
    }
    if (range.kind() != Kind::list)
      fail(number, "expected a list or a dictionary behind in, found a value of type " + range.text());
    const std::optional<Type> common = Type::common(sought, range.element());
    if (!common || !Type::list_of(*common))
      fail(number, "a value of type " + sought.text() + " is never in a value of type " + range.text());
    Expression const& list = syntax_.at(node.parts[1]);
    if (list.form == Form::list)
      for (const std::uint32_t part : list.parts) check_texts(node.parts[0], part);
    return Kind::truth;
  }

  Type list(std::uint32_t number, Expression const& node) {
    Type common;
    for (const std::uint32_t part : node.parts) common = widen(common, part);
    const std::optional<Type> type = Type::list_of(common);
    if (!type) fail(number, "lists are nested too deeply");
    return *type;
  }

  Type dictionary(std::uint32_t number, Expression const& node) {
    Type common;
    for (std::size_t i = 0; i + 1 < node.parts.size(); i += 2) {
      want(node.parts[i], Kind::text);
      common = widen(common, node.parts[i + 1]);
    }
    const std::optional<Type> type = Type::dictionary_of(common);
    if (!type) fail(number, "dictionaries are nested too deeply");
    return *type;
  }

  Type widen(Type common, std::uint32_t part) {
    const Type type = check(part);
    const std::optional<Type> both = Type::common(common, type);
    if (!both) fail(part, "expected a value of type " + common.text() + ", found one of type " + type.text());
    return *both;
  }

  Type loop(std::uint32_t number, Expression const& node) {
    const Type range = check(node.parts[0]);
    if (range.kind() != Kind::list) fail(node.parts[0], "expected a list, found a value of type " + range.text());
    return inside(number, node.word, range.element(), [&]() -> Type {
      if (node.parts.size() > 2) want(node.parts[1], Kind::truth);
      const std::uint32_t body = node.parts.back();
      if (node.operation == "list") {
        const std::optional<Type> type = Type::list_of(check(body));
        if (!type) fail(number, "lists are nested too deeply");
        return *type;
      }
      if (node.operation == "sum") {
        const Type type = check(body);
        if (!type.is_number()) fail(body, "expected a number, found a value of type " + type.text());
        return type;
      }
      want(body, Kind::truth);
      return node.operation == "count" ? Kind::integer : Kind::truth;
    });
  }

  template <class Use>
  Type inside(std::uint32_t number, Word name, Type type, Use use) {
    if (scope_.symbol(name)) fail(number, name + " is the name of a parameter already");
    locals_.push_back({name, type, 0});
    const Type result = use();
    locals_.pop_back();
    return result;
  }

  Syntax const& syntax_;
  Scope const& scope_;
  std::vector<Local> locals_;
};

// -------------------------------------------------------------------------------------------------------- the code

class Generator {
 public:
  Generator(Syntax const& syntax, Scope const& scope, Checker& checker, CodeDraft& code)
      : syntax_(syntax), scope_(scope), checker_(checker), code_(code) {
    code_.clear();
  }

  void make_all(Type wanted) {
    for (std::optional<Symbol> const& symbol : checker_.symbols)
      if (symbol) code_.reads.push_back(symbol->slot);
    std::sort(code_.reads.begin(), code_.reads.end());
    code_.reads.erase(std::unique(code_.reads.begin(), code_.reads.end()), code_.reads.end());
    code_.type = wanted;
    finish(syntax_.root, wanted);
  }

 private:
  using Position = std::size_t;  // of an instruction whose target is still open
  using Positions = boost::container::small_vector<Position, 8>;

  Type type(std::uint32_t number) const { return checker_.types[number]; }

  // --- places

  Operand constant(Value value) {
    code_.constants.push_back(std::move(value));
    return operand(Bank::constant, static_cast<std::uint32_t>(code_.constants.size() - 1));
  }

  Operand fresh() {
    if (used_ == kMostRegisters) throw RuleError("too many values at once", 0);
    const Operand at = operand(Bank::reg, used_++);
    code_.registers = std::max(code_.registers, used_);
    return at;
  }

  Position emit(Op op, Operand target = 0, Operand a = 0, Operand b = 0, std::uint8_t mode = 0) {
    code_.program.push_back({op, mode, target, a, b});
    return code_.program.size() - 1;
  }
  void land(Position jump) { code_.program[jump].target = static_cast<std::uint32_t>(code_.program.size()); }
  void land(Positions const& jumps) {
    for (const Position jump : jumps) land(jump);
  }

  // Ends the evaluation with the value of the node; what decides which, decides it with no detour.
  void finish(std::uint32_t number, Type wanted) {
    Expression const& node = syntax_.at(number);
    const std::uint32_t used = used_;
    Positions away;
    switch (node.form) {
      case Form::conditional:
        branch(node.parts[0], true, away);
        finish(node.parts[1], wanted);
        land(away);
        finish(node.parts[2], wanted);
        break;
      case Form::and_:
      case Form::or_:
        branch(number, true, away);
        emit(Op::finish, 0, constant(Value(true)));
        land(away);
        emit(Op::finish, 0, constant(Value(false)));
        break;
      default:
        code_.result = value(number, wanted);
        if (!code_.program.empty()) emit(Op::finish, 0, code_.result);
        break;
    }
    used_ = used;
  }

  // --- values

  // Where the value of the node is, as a value of type `wanted`.
  Operand value(std::uint32_t number, Type wanted) {
    Expression const& node = syntax_.at(number);
    const Type own = type(number);
    if (checker_.constants[number] && (node.form != Form::literal || own != wanted))
      if (std::optional<Value> known = evaluated(number, wanted)) return constant(*std::move(known));
    return widened(plain(number, node), own, wanted);
  }

  // The value of a node that reads nothing; none if it has a fault, which is for those to meet who evaluate the rule.
  std::optional<Value> evaluated(std::uint32_t number, Type wanted) {
    if (std::optional<Value> written = as_written(number, wanted)) return written;
    CodeDraft code;
    Generator generator(syntax_, scope_, checker_, code);
    code.result = generator.widened(generator.plain(number, syntax_.at(number)), type(number), wanted);
    const std::vector<Cell> constants = cells_of(code.constants);
    try {
      const CodeBody body{code.program, constants, code.registers, code.result, wanted, {}, {}};
      return value_of(body);
    } catch (RuleFault const&) {
      checker_.constants[number] = false;  // and not tried again
      return std::nullopt;
    }
  }
  Operand value(std::uint32_t number) { return value(number, type(number)); }

  // The value of a literal or a list of them, for which no code is needed; none for anything else.
  std::optional<Value> as_written(std::uint32_t number, Type wanted) const {
    Expression const& node = syntax_.at(number);
    if (node.form == Form::literal) {
      const Cell cell = node.value.cell();
      if (cell.kind() == wanted.kind()) return node.value;
      if (cell.kind() == Kind::integer && wanted.kind() == Kind::decimal) return Value(Decimal(cell.integer()));
      return std::nullopt;
    }
    if (node.form != Form::list || wanted.kind() != Kind::list) return std::nullopt;
    std::vector<Value> elements;
    elements.reserve(node.parts.size());
    for (const std::uint32_t part : node.parts) {
      std::optional<Value> element = as_written(part, wanted.element());
      if (!element) return std::nullopt;
      elements.push_back(*std::move(element));
    }
    return Value::list(elements);
  }

  Operand widened(Operand at, Type own, Type wanted) {
    if (own == wanted || own == Type() || !holds_decimal(wanted)) return at;
    const Operand target = fresh();
    emit(own.is_container() ? Op::convert : Op::to_decimal, target, at);
    return target;
  }

  static bool holds_decimal(Type type) {
    while (type.is_container()) type = type.element();
    return type == Type(Kind::decimal);
  }

  Operand plain(std::uint32_t number, Expression const& node) {
    switch (node.form) {
      case Form::literal:
        return constant(node.value);
      case Form::name:
        return name(number, node);
      case Form::call:
        return call(number, node);
      case Form::negate: {
        const Operand at = value(node.parts[0]);
        return into(type(number) == Type(Kind::decimal) ? Op::negate_decimal : Op::negate_integer, at);
      }
      case Form::arithmetic:
        return arithmetic(number, node);
      case Form::compare: {
        const Comparison comparison = compared(node);
        return into(comparison.set, comparison.a, comparison.b, comparison.outcomes);
      }
      case Form::within:
        return within(node);
      case Form::not_:
        return into(Op::not_truth, value(node.parts[0]));
      case Form::and_:
      case Form::or_:
        return truth(number);
      case Form::conditional:
        return conditional(number, node);
      case Form::let: {
        const Operand bound = value(node.parts[0]);
        locals_.push_back({node.word, type(node.parts[0]), bound});
        const Operand result = value(node.parts[1]);
        locals_.pop_back();
        return result;
      }
      case Form::list:
        return collected(Op::list, node, [&](std::size_t) { return type(number).element(); });
      case Form::dictionary:
        return collected(Op::dictionary, node,
                         [&](std::size_t i) { return i % 2 == 0 ? Type(Kind::text) : type(number).element(); });
      case Form::index: {
        const Operand range = value(node.parts[0]), at = value(node.parts[1]);
        return into(type(node.parts[0]).kind() == Kind::list ? Op::element : Op::entry, range, at);
      }
      case Form::loop:
        return loop(number, node);
      case Form::rows:
        return value(node.parts[0]);
    }
    return 0;
  }

  Operand into(Op op, Operand a, Operand b = 0, std::uint8_t mode = 0) {
    const Operand target = fresh();
    emit(op, target, a, b, mode);
    return target;
  }

  Operand name(std::uint32_t number, Expression const& node) {
    for (auto local = locals_.rbegin(); local != locals_.rend(); ++local)
      if (local->name == node.word) return local->at;
    return slot_of(number);
  }

  Operand slot_of(std::uint32_t number) {
    const auto place = std::lower_bound(code_.reads.begin(), code_.reads.end(), checker_.symbols[number]->slot);
    return operand(Bank::slot, static_cast<std::uint32_t>(place - code_.reads.begin()));
  }

  // The parts in registers that follow one another.
  template <class TypeOf>
  Operand row(Expression const& node, TypeOf type_of) {
    std::vector<Operand> values;
    for (std::size_t i = 0; i < node.parts.size(); ++i) values.push_back(value(node.parts[i], type_of(i)));
    const Operand first = operand(Bank::reg, used_);
    for (const Operand at : values) {
      const Operand target = fresh();
      emit(Op::move, target, at);
    }
    return first;
  }

  template <class TypeOf>
  Operand collected(Op op, Expression const& node, TypeOf type_of) {
    const Operand first = row(node, type_of);
    return into(op, first, static_cast<Operand>(node.parts.size()));
  }

  Operand call(std::uint32_t number, Expression const& node) {
    if (checker_.symbols[number]) return slot_of(number);
    std::vector<Type> const& types = checker_.argument_types[number];
    const Operand first = row(node, [&](std::size_t i) { return types[i]; });
    const std::uint8_t count = static_cast<std::uint8_t>(node.parts.size());
    if (Function const* const function = scope_.function(node.word)) {
      code_.functions.push_back(function);
      return into(Op::call_host, first, static_cast<Operand>(code_.functions.size() - 1), count);
    }
    return into(Op::call, first, static_cast<Operand>(find_builtin(node.word) - builtins().data()), count);
  }

  Operand arithmetic(std::uint32_t number, Expression const& node) {
    const Type own = type(number);
    const Operand a = value(node.parts[0], own), b = value(node.parts[1], own);
    if (node.word == "div") return into(Op::divide, a, b);
    if (node.word == "mod") return into(Op::modulo, a, b);
    if (own == Type(Kind::text)) return into(Op::join_texts, a, b);
    if (own.is_container()) return into(Op::join_lists, a, b);
    const bool decimal = own == Type(Kind::decimal);
    if (node.word == "+") return into(decimal ? Op::add_decimals : Op::add_integers, a, b);
    if (node.word == "-") return into(decimal ? Op::subtract_decimals : Op::subtract_integers, a, b);
    return into(decimal ? Op::multiply_decimals : Op::multiply_integers, a, b);
  }

  struct Comparison {
    Op set, jump_unless;
    Operand a, b;
    std::uint8_t outcomes;
    bool texts;
  };

  Comparison compared(Expression const& node) {
    const Type common = *Type::common(type(node.parts[0]), type(node.parts[1]));
    const Operand a = value(node.parts[0], common), b = value(node.parts[1], common);
    const std::uint8_t outcomes = outcomes_of(node.word);
    if (common == Type(Kind::integer) || common == Type(Kind::truth))
      return {Op::compare_integers, Op::jump_unless_integers, a, b, outcomes, false};
    if (common == Type(Kind::decimal)) return {Op::compare_decimals, Op::jump_unless_decimals, a, b, outcomes, false};
    return {Op::compare_any, Op::jump_unless_any, a, b, outcomes, common == Type(Kind::text)};
  }

  struct Within {
    Op op, jump_unless, jump_if;  ///< the jumps are `jump` where it takes a truth to decide
    Operand sought, range;
  };

  Within sought(Expression const& node) {
    const Type range = type(node.parts[1]);
    if (range.kind() == Kind::dictionary)
      return {Op::within_entries, Op::jump, Op::jump, value(node.parts[0]), value(node.parts[1])};
    const Type common = *Type::common(type(node.parts[0]), range.element());
    const Operand sought = value(node.parts[0], common), list = value(node.parts[1], *Type::list_of(common));
    if (common != Type(Kind::text) || list >> kIndexBits != static_cast<std::uint32_t>(Bank::constant))
      return {Op::within_list, Op::jump, Op::jump, sought, list};
    code_.sets.push_back(index_of(list));
    return {Op::within_texts, Op::jump_unless_within_texts, Op::jump_if_within_texts, sought,
            static_cast<Operand>(code_.sets.size() - 1)};
  }

  Operand within(Expression const& node) {
    const Within asked = sought(node);
    return into(asked.op, asked.sought, asked.range);
  }

  // --- truths by jumps

  // Jumps away where the node does not hold (or, for `sense` false, where it does), and goes on otherwise.
  void branch(std::uint32_t number, bool sense, Positions& away) {
    Expression const& node = syntax_.at(number);
    const std::uint32_t used = used_;
    switch (node.form) {
      case Form::not_:
        branch(node.parts[0], !sense, away);
        break;
      case Form::rows:
        branch(node.parts[0], sense, away);
        break;
      case Form::and_:
      case Form::or_:
        if ((node.form == Form::and_) == sense) {
          for (const std::uint32_t part : node.parts) branch(part, sense, away);
        } else {
          // The last part decides; any other may settle it before.
          Positions settled;
          for (std::size_t i = 0; i + 1 < node.parts.size(); ++i) branch(node.parts[i], !sense, settled);
          branch(node.parts.back(), sense, away);
          land(settled);
        }
        break;
      case Form::compare: {
        const Comparison comparison = compared(node);
        const std::uint8_t outcomes =
            sense ? comparison.outcomes : static_cast<std::uint8_t>(comparison.outcomes ^ (kLess | kEqual | kGreater));
        if (comparison.texts && outcomes == kEqual)
          away.push_back(emit(Op::jump_unless_equal_texts, 0, comparison.a, comparison.b));
        else if (comparison.texts && outcomes == (kLess | kGreater))
          away.push_back(emit(Op::jump_if_equal_texts, 0, comparison.a, comparison.b));
        else
          away.push_back(emit(comparison.jump_unless, 0, comparison.a, comparison.b, outcomes));
        break;
      }
      case Form::within: {
        const Within asked = sought(node);
        if (asked.jump_if == Op::jump)
          away.push_back(emit(sense ? Op::jump_unless : Op::jump_if, 0, into(asked.op, asked.sought, asked.range)));
        else
          away.push_back(emit(sense ? asked.jump_unless : asked.jump_if, 0, asked.sought, asked.range));
        break;
      }
      default:
        away.push_back(emit(sense ? Op::jump_unless : Op::jump_if, 0, value(number)));
        break;
    }
    used_ = used;  // what it took to decide is free again
  }

  // Both ways of a branch leave their value in one register.
  Operand truth(std::uint32_t number) {
    const Operand target = fresh();
    Positions away;
    branch(number, true, away);
    emit(Op::move, target, constant(Value(true)));
    const Position end = emit(Op::jump);
    land(away);
    emit(Op::move, target, constant(Value(false)));
    land(end);
    return target;
  }

  Operand conditional(std::uint32_t number, Expression const& node) {
    const Operand target = fresh();
    Positions away;
    branch(node.parts[0], true, away);
    const std::uint32_t used = used_;
    emit(Op::move, target, value(node.parts[1], type(number)));
    const Position end = emit(Op::jump);
    used_ = used;
    land(away);
    emit(Op::move, target, value(node.parts[2], type(number)));
    used_ = used;
    land(end);
    return target;
  }

  // --- loops

  Operand loop(std::uint32_t number, Expression const& node) {
    const Operand result = fresh();
    const bool decimal = type(number) == Type(Kind::decimal);
    begin(node, result, decimal);
    const Operand range = value(node.parts[0]);
    const Operand counter = fresh();
    const Operand element = fresh();
    emit(Op::move, counter, constant(Value(0)));
    const std::uint32_t again = static_cast<std::uint32_t>(code_.program.size());
    const Position exhausted = emit(Op::next, 0, range, counter);
    locals_.push_back({node.word, type(node.parts[0]).element(), element});
    const std::uint32_t used = used_;
    Positions skip, leave;
    if (node.parts.size() > 2) branch(node.parts[1], true, skip);
    step(node, result, decimal, skip, leave);
    used_ = used;
    locals_.pop_back();
    for (const Position jump : skip) code_.program[jump].target = again;
    code_.program[emit(Op::jump)].target = again;
    land(leave);
    if (!leave.empty()) emit(Op::move, result, constant(Value(node.operation == "any")));
    land(exhausted);
    if (node.operation == "list") emit(Op::close_list, result);
    return result;
  }

  void begin(Expression const& node, Operand result, bool decimal) {
    if (node.operation == "list")
      emit(Op::open_list);
    else if (node.operation == "sum" || node.operation == "count")
      emit(Op::move, result, constant(decimal ? Value(Decimal()) : Value(0)));
    else
      emit(Op::move, result, constant(Value(node.operation == "all")));
  }

  void step(Expression const& node, Operand result, bool decimal, Positions& skip, Positions& leave) {
    const std::uint32_t body = node.parts.back();
    if (node.operation == "list")
      emit(Op::append, 0, value(body));
    else if (node.operation == "sum")
      emit(decimal ? Op::add_decimals : Op::add_integers, result, result, value(body));
    else if (node.operation == "any")
      branch(body, false, leave);
    else if (node.operation == "all")
      branch(body, true, leave);
    else {
      branch(body, true, skip);
      emit(Op::add_integers, result, result, constant(Value(1)));
    }
  }

  Syntax const& syntax_;
  Scope const& scope_;
  Checker& checker_;
  CodeDraft& code_;
  std::vector<Local> locals_;
  std::uint32_t used_ = 0;  // registers
};

std::size_t hash_of(Cell constant) {
  if (constant.kind() == Kind::text) return constant.node()->hash();
  std::size_t hash = constant.elements().size();
  for (const Cell element : constant.elements()) {
    constexpr std::size_t kFactor = 0x9e3779b97f4a7c15;
    std::size_t own = 0;  // lists of lists are all alike to it
    if (element.kind() == Kind::text)
      own = element.node()->hash();
    else if (!element.has_node())
      own = static_cast<std::size_t>(element.integer());
    hash = (hash ^ own) * kFactor;
  }
  return hash;
}

}  // namespace

// Puts what is known in the place of what is equal: ranges are alike by the hundreds.
void Compiler::share(Value& constant) {
  const Kind kind = constant.cell().kind();
  if (kind != Kind::list && kind != Kind::text) return;
  const std::size_t hash = hash_of(constant.cell());
  const auto [first, last] = known_.equal_range(hash);
  const auto known = std::find_if(
      first, last, [&](auto const& one) { return one.second.cell().kind() == kind && one.second == constant; });
  if (known == last)
    known_.emplace(hash, constant);
  else
    constant = known->second;
}

Compiler::Compiler() : reader_(new ShapeReader), shapes_(new Shapes) {}
Compiler::~Compiler() = default;

SharedCode Compiler::compile(std::string_view text, Writing writing, Scope const& scope, std::optional<Type> wanted) {
  const std::optional<std::string_view> shape = reader_->read(text, writing, scope, wanted);
  KnownShape const* const known = shape ? shapes_->find(*shape) : nullptr;
  const auto holds = [&](ComparedText const& one) { return can_hold(reader_->symbol_at(one.slot), one.text); };
  if (known != nullptr && std::all_of(known->compared.begin(), known->compared.end(), holds))
    return SharedCode(
        &store_->add(*known->body, reader_->slots(), {text, writing, known->places}, reader_->texts() > 0));
  Syntax syntax;
  parse_borrowed(text, writing, syntax);
  const std::uint32_t places = static_cast<std::uint32_t>(syntax.nodes.size());
  generate(syntax, scope, wanted);
  draft_.said = texts_of(syntax, writing);
  CodeBody const& body = drafted_body();
  if (shape && known == nullptr && draft_.reads == reader_->slots() && draft_.said.size() == reader_->texts()) {
    for (ComparedText& one : types_.compared)
      one.slot = static_cast<std::uint32_t>(std::lower_bound(draft_.reads.begin(), draft_.reads.end(), one.slot) -
                                            draft_.reads.begin());
    shapes_->add(*shape, {&body, places, types_.compared});
  }
  return SharedCode(&store_->add(body, draft_.reads, {text, writing, places}));
}

SharedCode Compiler::compile(Syntax const& part, Scope const& scope, std::optional<Type> wanted) {
  generate(part, scope, wanted);
  return SharedCode(&store_->add(drafted_body(), draft_.reads, {}));
}

void Compiler::generate(Syntax const& syntax, Scope const& scope, std::optional<Type> wanted) {
  Checker checker(syntax, scope, types_);
  const Type own = checker.check(syntax.root);
  if (wanted && !own.fits(*wanted))
    throw RuleError("expected a value of type " + wanted->text() + ", found one of type " + own.text(),
                    syntax.at(syntax.root).place);
  Generator(syntax, scope, checker, draft_).make_all(wanted.value_or(own));
}

// Where the texts of a message are among the constants of the draft, in the order in which they stand.
std::vector<std::uint32_t> Compiler::texts_of(Syntax const& syntax, Writing writing) const {
  std::vector<std::uint32_t> numbers;
  if (writing == Writing::expression) return numbers;
  for (const std::uint32_t part : syntax.at(syntax.root).parts) {
    Expression const& piece = syntax.at(part);
    if (piece.form != Form::literal || piece.value.cell().kind() != Kind::text) continue;
    const auto is_it = [&](Value const& one) {
      return one.cell().has_node() && one.cell().node() == piece.value.cell().node();
    };
    const auto found = std::find_if(draft_.constants.begin(), draft_.constants.end(), is_it);
    numbers.push_back(static_cast<std::uint32_t>(found - draft_.constants.begin()));
  }
  return numbers;
}

CodeBody const& Compiler::drafted_body() {
  for (Value& constant : draft_.constants) share(constant);
  return store_->body_of(draft_);
}

}  // namespace kdi::cores
