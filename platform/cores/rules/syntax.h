// A rule as it is written: the tree that the parser makes of a text.
#pragma once

#include <array>
#include <cstdint>
#include <forward_list>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cores/KeptText.h"
#include "kdi/cores/Rule.h"
#include "kdi/cores/Value.h"
#include "platform/cores/rules/code.h"

namespace kdi::cores {

enum class Form : std::uint8_t {
  literal,     ///< `value`
  name,        ///< `word`: a parameter, a definition or a local name
  call,        ///< function `word` of the parts
  negate,      ///< - part
  arithmetic,  ///< part `word` part: + - * div mod
  compare,     ///< part `word` part: == != < <= > >=
  within,      ///< part in part
  not_,        ///< not part
  and_,
  or_,          ///< of all parts
  conditional,  ///< if part then part else part
  let,          ///< let `word` = part; part
  list,         ///< [parts]
  dictionary,   ///< {part: part, ...}
  index,        ///< part[part]
  loop,         ///< `operation`(`word` in part: part), or with a condition `operation`(`word` in part if part: part)
  rows,  ///< `operation`(`word` in {...}: ...), whose pattern is the text `value`: what it stands for, row by row,
         ///< then its condition, if it has one, and its body as they are written
};

/// A word of a rule, borrowed from its text. Trees have thousands, and mostly names too long to be kept in place.
using Word = KeptText;

/// Numbers of nodes. As many as most forms have take no memory of their own.
class Parts {
 public:
  Parts() = default;
  Parts(std::initializer_list<std::uint32_t> parts) {
    for (const std::uint32_t part : parts) push_back(part);
  }

  void push_back(std::uint32_t part) {
    if (size_ == kFew) many_.assign(few_.begin(), few_.end());
    if (size_ < kFew)
      few_[size_] = part;
    else
      many_.push_back(part);
    ++size_;
  }
  /// Each by so much further.
  void shift(std::uint32_t further) {
    for (std::uint32_t& part : few_) part += further;
    for (std::uint32_t& part : many_) part += further;
  }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::uint32_t operator[](std::size_t at) const { return begin()[at]; }
  std::uint32_t back() const { return begin()[size_ - 1]; }
  std::uint32_t const* begin() const { return size_ <= kFew ? few_.data() : many_.data(); }
  std::uint32_t const* end() const { return begin() + size_; }

 private:
  static constexpr std::uint32_t kFew = 3;

  std::array<std::uint32_t, kFew> few_{};
  std::uint32_t size_ = 0;
  std::vector<std::uint32_t> many_;  ///< all of them, where they are more
};

/// One place of the tree. Parts are numbers of other nodes.
struct Expression {
  Form form;
  std::uint16_t depth = 0;  ///< of the tree below
  std::uint32_t place = 0;  ///< offset in the text
  Word word = {};
  Word operation = {};  ///< of a loop and of rows: list any all sum count
  Value value = {};
  Parts parts = {};
};

/// What the words of a rule are borrowed from: its text, and names in rows.
struct SyntaxTexts {
  std::string source;
  std::forward_list<std::string> made = {};
};

/// A parsed rule.
struct Syntax {
  std::vector<Expression> nodes;
  std::uint32_t root = 0;
  std::shared_ptr<SyntaxTexts> texts = {};

  Expression const& at(std::uint32_t node) const { return nodes[node]; }
};

constexpr std::size_t kLongestRule = std::size_t{64} * 1024;
constexpr int kDeepestRule = 200;
constexpr std::size_t kMostRows = 500;       // of one pattern
constexpr std::size_t kMostPlaces = 50'000;  // of the tree of a rule, all rows written out

/// Parses `text`: an expression, or a message, in which `{expression}` stands for a value and `{{` and `}}` for braces;
/// the tree of that gives the whole text. Throws RuleError.
Syntax parse(std::string_view text, Writing writing = Writing::expression);
/// The same into an empty tree, which borrows the text.
void parse_borrowed(std::string_view text, Writing writing, Syntax& syntax);

/// Whether `word` may name a parameter or a definition: letters, digits and `_`, no digit first, none of the language's
/// own words.
bool is_name(std::string_view word);

/// What a name in the rows of `variable` stands for in the row `label`: each `{variable}` in it replaced.
std::string in_row(std::string_view name, std::string_view variable, std::string_view label);

/// What the variable of rows is worth in the row `label`: an integer if the label is a whole number, else a text.
Value row_value(std::string const& label);

/// The labels of the rows of a pattern. Throws PatternError.
std::vector<std::string> row_labels(std::string_view pattern);

/// The rule in its plainest form: one blank between words, brackets only where they are needed.
std::string written(Syntax const& syntax, std::uint32_t node);

}  // namespace kdi::cores
