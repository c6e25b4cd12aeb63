// Rules: the expressions by which a core's description says when a parameter is enabled, what its range is, what value
// it takes, and which message is due. docs/rule-language.md tells the language.
//
// A rule is parsed and checked once, against a scope that says what names mean, and becomes flat code over numbered
// slots. Its evaluation makes no decision about names or types any more.
//
//   const Rule rule = Rule::compile("UART_ENABLE and UART_BAUD > 115200", scope, Kind::truth);
//   Machine machine;
//   if (machine.run(rule, slots).cell().truth()) ...
#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Value.h"

namespace kdi::cores {

/// What is wrong with a rule as it is written, and where: `offset` counts the bytes before the place.
class KDI_DOOR RuleError : public std::runtime_error {
 public:
  RuleError(std::string const& text, std::size_t offset) : std::runtime_error(text), offset_(offset) {}
  std::size_t offset() const { return offset_; }

 private:
  std::size_t offset_;
};

/// Why a rule has no value for what its slots hold: a number too large, a division by zero, an index that is not there,
/// a text or list that grows without bound, or too many steps.
class KDI_DOOR RuleFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a name stands for.
struct Symbol {
  Type type;
  std::uint32_t slot = 0;
  /// The only texts that the slot can hold; a rule that compares it with another is refused. Null: any.
  std::vector<std::string> const* texts = nullptr;
};

/// A function that the scope adds to the language's own, such as one that asks a device.
struct Function {
  std::string name;
  std::vector<Type> parameters;
  Type result;
  /// The value for `arguments`; `context` is the machine's. May throw RuleFault.
  Value (*call)(void* context, std::span<Cell const> arguments) = nullptr;
};

/// What names mean to a rule.
class KDI_DOOR Scope {
 public:
  virtual ~Scope() = default;
  /// Nothing for an unknown name.
  virtual std::optional<Symbol> symbol(std::string_view name) const = 0;
  /// What `aspect(name)` stands for, such as `enabled(UART0)`; nothing if there is no such aspect of that name.
  virtual std::optional<Symbol> aspect(std::string_view, std::string_view) const { return std::nullopt; }
  /// Null for an unknown function. It outlives the rules that call it.
  virtual Function const* function(std::string_view) const { return nullptr; }
  /// A known name that is like `name`, for an error; empty if there is none.
  virtual std::string like(std::string_view) const { return {}; }
};

struct Syntax;
struct Code;
struct CodeBody;
class Compiler;

/// A share in the code of a rule is one in what keeps it.
KDI_DOOR void intrusive_ptr_add_ref(Code const* code);
KDI_DOOR void intrusive_ptr_release(Code const* code);
using SharedCode = boost::intrusive_ptr<Code const>;

class KDI_DOOR Rule {
 public:
  Rule() = default;  ///< none yet
  /// Compiles `text`; the value has the type `wanted`, or with no wanted type whatever type it has. Throws RuleError.
  static Rule compile(std::string_view text, Scope const& scope, std::optional<Type> wanted = std::nullopt);
  /// Compiles a message with `{expressions}` in it to a rule that gives a text.
  static Rule compile_template(std::string_view text, Scope const& scope);
  /// The same by a compiler that makes many.
  static Rule compile(std::string_view text, Scope const& scope, std::optional<Type> wanted, Compiler& compiler);
  static Rule compile_template(std::string_view text, Scope const& scope, Compiler& compiler);

  Type type() const;
  /// The slots that the rule reads, ascending.
  std::span<std::uint32_t const> reads() const;
  /// Whether it is one and the same as the other, as rules of the same text in one core mostly are.
  bool is_same(Rule const& other) const { return code_ == other.code_; }
  /// The rule as it is read: canonical, so that rules that differ in blanks and brackets alone read alike.
  std::string written() const;
  /// What it is for, which decides how it is told.
  enum class Said : std::uint8_t {
    condition,  ///< a truth as a statement: `UART0_ENABLE is on and UART0_BAUD is above 9600`
    value,      ///< a phrase: `whether UART0_ENABLE is on`, `2 × UART0_BAUD`
    limits,     ///< a phrase in which lists of two are limits: `from 1 to 8 if UART0_ENABLE is on, otherwise ...`
  };
  /// The rule in words, with the names of parameters as they are.
  std::string in_words(Said said) const;
  /// What it takes of memory, in bytes, about.
  std::size_t bytes() const;
  /// Where it stands, as its description names the place: `xram/1.0.json:27: parameters[3].enabled`; empty unless set.
  std::string place() const { return place_; }
  /// `place` is kept by the compiler that made the rule.
  void set_place(char const* place) { place_ = place; }

 private:
  friend class Machine;
  friend class TermReader;
  friend class CoreReader;
  friend class OptionalRule;
  explicit Rule(SharedCode code) : code_(std::move(code)) {}
  std::shared_ptr<Syntax const> syntax() const;

  SharedCode code_;
  char const* place_ = "";  // kept by what keeps the code, for all rules that one text of a description stands for
};

/// A rule or none, as std::optional has it; a core has hundreds of thousands, so that it takes no more than a rule.
class OptionalRule {
 public:
  OptionalRule() = default;
  OptionalRule(std::nullopt_t) {}                      // NOLINT: as of std::optional
  OptionalRule(Rule rule) : rule_(std::move(rule)) {}  // NOLINT

  bool has_value() const { return static_cast<bool>(rule_.code_); }
  explicit operator bool() const { return has_value(); }
  /// Of one that is there.
  Rule const& operator*() const { return rule_; }
  Rule const* operator->() const { return &rule_; }
  /// Null for none.
  Rule const* get() const { return has_value() ? &rule_ : nullptr; }

 private:
  Rule rule_;
};

/// Evaluates rules, one at a time; holds the memory that this needs.
class KDI_DOOR Machine {
 public:
  static constexpr std::uint64_t kMostSteps = 10'000'000;  ///< of one evaluation
  static constexpr std::size_t kLongestText = 1 << 20;     ///< bytes
  static constexpr std::size_t kLongestList = 100'000;     ///< elements of a list or a dictionary

  /// `context` is passed to the functions of the scope.
  explicit Machine(void* context = nullptr) : context_(context) {}

  /// The value of `rule`. Slot s holds `slots[s]`, of the type that the scope gave it. Throws RuleFault.
  Value run(Rule const& rule, Slots slots);
  /// The same for a rule of type truth.
  bool holds(Rule const& rule, Slots slots);
  /// Steps that all evaluations took together.
  std::uint64_t spent() const { return spent_; }

 private:
  friend Value value_of(CodeBody const& code);
  friend class Instance;
  // Calls use(cell) with the value, which is good until that returns. Throws RuleFault.
  template <class Use>
  auto with_value(CodeBody const& code, std::uint32_t const* reads, Slots slots, Use use) {
    const struct Tidy {
      Machine& machine;
      ~Tidy() {
        if (!machine.made_.empty()) machine.forget();
      }
    } tidy{*this};
    try {
      return use(evaluate(code, reads, slots));
    } catch (std::overflow_error const& error) {
      throw RuleFault(error.what());
    } catch (std::domain_error const& error) {
      throw RuleFault(error.what());
    }
  }
  Cell evaluate(CodeBody const& code, std::uint32_t const* reads, Slots slots);
  void forget();

  void* context_;
  std::uint64_t most_steps_ = kMostSteps;
  std::uint64_t spent_ = 0;
  std::vector<Cell> registers_;
  std::vector<Node*> made_;              ///< by the evaluation
  std::vector<std::vector<Cell>> open_;  ///< lists under way
};

}  // namespace kdi::cores
