// The tokens that a rule is cut into.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kdi::cores {

struct Token {
  enum class Sort : std::uint8_t { end, number, text, word, sign } sort = Sort::end;
  std::string_view written = {};
  std::size_t place = 0;
};

/// Whether it, not empty, is one of the language's own words.
bool is_reserved(std::string_view word);
/// What a name of letters, digits and `_` consists of.
bool begins_word(char c);
bool continues_word(char c);
bool begins_comparison(char c);
/// Whether it is one of == != <= >= < >.
bool is_comparison(std::string_view sign);

/// Cuts a text into tokens, one at a time. Within rows `{variable}` is a piece of a name, whatever row it is.
class Lexer {
 public:
  /// From `begin` to `end` of the text, within rows of `variables`. Borrows both.
  Lexer(std::string_view text, std::size_t begin, std::size_t end, std::span<std::string_view const> variables)
      : text_(text.substr(0, end)), at_(begin), variables_(variables) {}

  /// Throws RuleError for what is none.
  Token next();

 private:
  Token::Sort take();
  Token::Sort take_sign(std::size_t size);
  Token::Sort take_text();
  std::size_t variable() const;
  bool take_variable();

  std::string_view text_;
  std::size_t at_;
  std::span<std::string_view const> variables_;
};

/// Cuts a message into texts and the expressions that stand in braces among them.
class TemplatePieces {
 public:
  struct Piece {
    bool is_expression;
    std::size_t begin, end;  ///< without the braces around an expression; braces in a text are written twice
  };

  /// Borrows the text.
  explicit TemplatePieces(std::string_view text) : text_(text) {}

  /// The next piece, no text being empty; nothing at the end. Throws RuleError for a brace without its other.
  std::optional<Piece> next();
  /// What a piece that is a text says.
  std::string said(Piece const& piece) const;

 private:
  std::size_t closing_brace(std::size_t open) const;

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace kdi::cores
