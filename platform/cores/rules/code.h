// What a rule becomes: flat code over slots, constants and registers.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kdi/cores/Rule.h"

namespace kdi::cores {

class CodeStore;
class ShapeReader;
class Shapes;
struct KnownShape;

/// Where an instruction finds or leaves a value: an index whose two top bits say among what; of a slot, its place among
/// those that the rule reads.
using Operand = std::uint32_t;
enum class Bank : std::uint32_t { slot = 0, constant = 1, reg = 2 };
constexpr std::uint32_t kIndexBits = 30;
constexpr Operand operand(Bank bank, std::uint32_t index) {
  return static_cast<std::uint32_t>(bank) << kIndexBits | index;
}
constexpr std::uint32_t index_of(Operand at) { return at & ((1U << kIndexBits) - 1); }

/// For comparisons: one bit for each outcome that makes them true.
enum Outcome : std::uint8_t { kLess = 1, kEqual = 2, kGreater = 4 };

enum class Op : std::uint8_t {
  move,  // target = a
  jump,  // to target
  jump_if,
  jump_unless,  // to target by the truth a
  compare_integers,
  compare_decimals,
  compare_any,  // target = a compared with b is in `mode`
  jump_unless_integers,
  jump_unless_decimals,
  jump_unless_any,  // to target unless that holds
  jump_unless_equal_texts,
  jump_if_equal_texts,  // likewise; the commonest of all comparisons
  add_integers,
  subtract_integers,
  multiply_integers,
  divide,
  modulo,
  negate_integer,
  add_decimals,
  subtract_decimals,
  multiply_decimals,
  negate_decimal,
  join_texts,
  join_lists,
  not_truth,  // target = not a
  within_list,
  within_texts,  // target = the text a in set number b
  jump_unless_within_texts,
  jump_if_within_texts,  // to target by that
  within_entries,        // target = a in b
  element,
  entry,  // target = a[b]
  list,
  dictionary,  // target = of `b` registers from a on
  to_decimal,  // target = the integer a
  convert,     // target = a with all integers in it as decimals
  open_list,
  append,
  close_list,  // a list under way: begin; add a; target = all of it
  next,        // the next element of list a into register b + 1, counted in b; else to target
  call,
  call_host,  // target = function number b of `mode` registers from a on
  finish,     // the value is a
};

struct Instruction {
  Op op;
  std::uint8_t mode = 0;
  std::uint32_t target = 0;
  Operand a = 0;
  Operand b = 0;

  friend bool operator==(Instruction const&, Instruction const&) = default;
};

/// Texts that are known beforehand, to be looked up by their hashes.
class TextSet {
 public:
  /// How many places the set of so many texts takes.
  static std::size_t room(std::size_t texts);
  /// Of cells that all are texts, in `places`, which are as many as room() says and free. Borrows both.
  TextSet(std::span<Cell const> texts, std::span<Node const*> places);

  bool contains(Node const& text) const {
    for (std::size_t at = text.hash() & mask_; places_[at] != nullptr; at = (at + 1) & mask_)
      if (places_[at]->hash() == text.hash() && places_[at]->text() == text.text()) return true;
    return false;
  }

 private:
  std::span<Node const*> places_;  // null: free, as half of them are at least
  std::size_t mask_;
};

/// What rules have alike that differ in their slots alone: rows of a pattern are one and the same body. A slot is told
/// by its place among those that the rule reads. Borrows what it consists of.
struct CodeBody {
  std::span<Instruction const> program;
  std::span<Cell const> constants;
  std::uint32_t registers = 0;
  Operand result = 0;  ///< where there is no program; one ends with what finishes
  Type type;
  std::span<TextSet const> sets;  ///< of what `constants` hold
  std::span<Function const* const> functions;
  std::span<std::uint32_t const> said =
      {};                    ///< of a message: numbers of the constants that are its texts, as they stand
  std::uint32_t number = 0;  ///< among those of its store
};

/// How a rule is written: one expression, or a message with expressions in braces.
enum class Writing : std::uint8_t { expression, message };

/// The text of a rule.
struct Source {
  std::string_view text = {};
  Writing writing = Writing::expression;
  std::uint32_t places = 0;  ///< of its tree
};

/// The code of a rule. In the memory behind it are the slots that it reads, and its text.
struct Code {
  CodeBody const* body;
  CodeStore* store;           ///< that keeps it
  std::uint32_t slots;        ///< how many it reads
  std::uint32_t text_length;  ///< bytes; none of a part of a rule
  std::uint32_t places;       ///< of its tree
  Writing writing;
  bool says_other;  ///< of a message: what it says is in its text, and not among the constants of the body

  /// Ascending.
  std::span<std::uint32_t const> reads() const { return {reinterpret_cast<std::uint32_t const*>(this + 1), slots}; }
  std::string_view text() const {
    return {reinterpret_cast<char const*>(this + 1) + slots * sizeof(std::uint32_t), text_length};
  }
  /// What is to be evaluated.
  CodeBody const& own_body() const;

  /// The slot that the rule is, if it is one and nothing else.
  std::optional<std::uint32_t> slot() const;
};

/// Code that is being made.
struct CodeDraft {
  std::vector<Instruction> program;
  std::vector<Value> constants;
  std::vector<std::uint32_t> sets;  ///< numbers of constants that are lists of texts
  std::vector<Function const*> functions;
  std::vector<std::uint32_t> said;   ///< as of a body
  std::vector<std::uint32_t> reads;  ///< ascending
  std::uint32_t registers = 0;
  Operand result = 0;
  Type type;

  void clear();
  /// Of all but `reads` and `sets`, which follow from the rest.
  std::size_t hash() const;
  bool is(CodeBody const& body) const;
};

/// Keeps the code of many rules in one piece of memory, in the order in which they came: what is computed in a row lies
/// in a row. Bodies that are equal are kept once. The trees of rules, and the bodies of messages, are made when
/// somebody asks for them, which may be several threads at once, and are kept as well.
class CodeStore {
 public:
  CodeStore() = default;
  CodeStore(CodeStore const&) = delete;
  CodeStore& operator=(CodeStore const&) = delete;

  /// It goes with the last share in it, or in code that it keeps.
  friend void intrusive_ptr_add_ref(CodeStore* store) { store->shares_.fetch_add(1, std::memory_order_relaxed); }
  friend void intrusive_ptr_release(CodeStore* store) {
    if (store->shares_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete store;
  }

  /// Good as long as the store. Lists and texts among the constants are the same where they are equal.
  CodeBody const& body_of(CodeDraft const& draft);
  /// Copies the slots and the text.
  Code const& add(CodeBody const& body, std::vector<std::uint32_t> const& reads, Source source,
                  bool says_other = false);
  /// All bodies, by their numbers.
  std::vector<CodeBody const*> const& bodies() const { return numbered_; }
  /// A copy of `text`, which holds no NUL, good as long as the store.
  char const* keep(std::string_view text);
  /// The tree of code of this store.
  std::shared_ptr<Syntax const> syntax_of(Code const& code);
  /// The body of a message of this store with what the message says.
  CodeBody const& body_saying(Code const& message);

 private:
  ~CodeStore();
  template <class Make>
  auto row(std::size_t count, Make make);
  template <class CellOf>
  std::span<Cell> retained(std::size_t count, CellOf cell_of);

  std::pmr::monotonic_buffer_resource memory_;
  std::atomic<std::size_t> shares_ = 0;
  std::mutex mutex_;  // over what is made when somebody asks, which is after all rules have been added
  std::unordered_map<Code const*, std::shared_ptr<Syntax const>> syntaxes_;
  std::unordered_map<Code const*, CodeBody const*> saying_;
  std::vector<std::span<Cell const>> constants_;                  // of all code; owned
  std::unordered_multimap<std::size_t, CodeBody const*> bodies_;  // by their hashes
  std::vector<CodeBody const*> numbered_;
};

/// A text that a rule compares with what is in a slot.
struct ComparedText {
  std::uint32_t slot;
  Value text;
};

/// What is found out of the nodes of a rule, by their numbers; kept from rule to rule for its memory.
struct CheckedTypes {
  std::vector<Type> types;
  std::vector<bool> constants;                    ///< of literals alone
  std::vector<std::optional<Symbol>> symbols;     ///< of what is a slot
  std::vector<std::vector<Type>> argument_types;  ///< what a call's arguments are widened to
  std::vector<ComparedText> compared;             ///< of the whole rule
};

/// Checks rules of one scope and makes code of them. Lists and texts that are known beforehand are one and the same
/// where they are equal; a rule of a shape that came already is not parsed.
class Compiler {
 public:
  Compiler();
  ~Compiler();

  /// The code of the rule `text`, which keeps all that was made by this compiler. Throws RuleError.
  SharedCode compile(std::string_view text, Writing writing, Scope const& scope, std::optional<Type> wanted);
  /// All bodies that it has made, by their numbers.
  std::vector<CodeBody const*> const& bodies() const { return store_->bodies(); }
  /// The code of a part of a rule.
  SharedCode compile(Syntax const& part, Scope const& scope, std::optional<Type> wanted);
  /// A copy of `text`, which holds no NUL; the code of each rule keeps it.
  char const* keep(std::string_view text) { return store_->keep(text); }
  boost::intrusive_ptr<CodeStore> const& store() const { return store_; }

 private:
  void generate(Syntax const& syntax, Scope const& scope, std::optional<Type> wanted);
  std::vector<std::uint32_t> texts_of(Syntax const& syntax, Writing writing) const;
  CodeBody const& drafted_body();
  void share(Value& constant);

  boost::intrusive_ptr<CodeStore> store_{new CodeStore};
  CodeDraft draft_;
  CheckedTypes types_;
  std::unordered_multimap<std::size_t, Value> known_;  // lists and texts, by their hashes
  std::unique_ptr<ShapeReader> reader_;
  std::unique_ptr<Shapes> shapes_;
};

/// The value of code that reads no slot and calls no function of a scope. Throws RuleFault.
Value value_of(CodeBody const& code);

}  // namespace kdi::cores
