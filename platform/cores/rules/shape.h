// Rules by their shape: what they say, whichever parameters they say it of.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kdi/common/KdiNameHash.h"
#include "kdi/cores/Rule.h"
#include "platform/cores/rules/code.h"
#include "platform/cores/rules/lexer.h"

namespace kdi::cores {

/// Reads the shape of a rule: its tokens, with each name replaced by its type and by the rank of its slot among those
/// that the rule reads, and with a mark for each text of a message. Rules of one shape have one body, but for these
/// texts, as the rows of a pattern mostly do.
class ShapeReader {
 public:
  static constexpr std::size_t kLongest = 2000;  ///< bytes of a text; longer ones are seldom alike

  /// The shape of `text` for the value `wanted`, good until the next. Nothing where the tokens do not tell it: in rows,
  /// whose names are put together, in dictionaries, which begin alike, and in what is no rule.
  std::optional<std::string_view> read(std::string_view text, Writing writing, Scope const& scope,
                                       std::optional<Type> wanted);

  /// Of the shape that was read: the slots, ascending, and what a slot is, by its rank among them.
  std::vector<std::uint32_t> const& slots() const { return slots_; }
  Symbol const& symbol_at(std::size_t rank) const;
  /// How many texts the message has.
  std::size_t texts() const { return texts_; }

 private:
  bool read_tokens(std::string_view text, std::size_t begin, std::size_t end, Scope const& scope);
  std::optional<Symbol> aspect(std::size_t at, Scope const& scope) const;
  bool stands_at(std::size_t at, char sign) const;
  bool put_ranks();

  std::string shape_;
  std::vector<Token> tokens_;    // of one expression
  std::vector<Symbol> symbols_;  // of the names, as they come
  std::vector<std::uint32_t> slots_;
  std::size_t texts_ = 0;
};

/// What a compiler made of a shape.
struct KnownShape {
  CodeBody const* body;
  std::uint32_t places;                ///< of its tree
  std::vector<ComparedText> compared;  ///< what slots have to be able to hold, by their ranks
};

/// The shapes that a compiler has met.
class Shapes {
 public:
  /// Null for one that is new.
  KnownShape const* find(std::string_view shape) const;
  /// One of very many is not kept.
  void add(std::string_view shape, KnownShape known);

 private:
  static constexpr std::size_t kMost = 4096;

  std::unordered_map<std::string, KnownShape, NameHash, std::equal_to<>> known_;
};

}  // namespace kdi::cores
