#include "platform/cores/rules/lexer.h"

#include <algorithm>
#include <array>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Rule.h"

namespace kdi::cores {
namespace {

constexpr std::array<std::string_view, 13> kReserved = {"and", "div", "else", "false", "if",   "in",  "let",
                                                        "mod", "not", "or",   "then",  "true", "list"};
constexpr std::array<std::string_view, 6> kComparisons = {"==", "!=", "<=", ">=", "<", ">"};

// What a character may be, of which rules are read by the megabyte.
enum Sort : std::uint8_t { kBlank = 1, kBeginsWord = 2, kDigit = 4, kBeginsComparison = 8, kSign = 16 };

constexpr std::array<std::uint8_t, 256> kSorts = [] {
  std::array<std::uint8_t, 256> sorts{};
  for (std::size_t i = 0; i < sorts.size(); ++i) {
    const char c = static_cast<char>(i);
    const auto is_one_of = [c](std::string_view all) { return all.find(c) != std::string_view::npos; };
    sorts[i] = static_cast<std::uint8_t>(
        (text::is_blank(c) ? kBlank : 0) | (text::is_letter(c) || c == '_' ? kBeginsWord : 0) |
        (text::is_digit(c) ? kDigit : 0) | (is_one_of("=!<>") ? kBeginsComparison : 0) |
        (is_one_of("+-*()[]{},:;=") ? kSign : 0));
  }
  return sorts;
}();

bool is(char c, unsigned sorts) { return (kSorts[static_cast<unsigned char>(c)] & sorts) != 0; }

}  // namespace

bool is_reserved(std::string_view word) {
  if (!text::is_lower(word[0])) return false;  // as most names begin
  return std::any_of(kReserved.begin(), kReserved.end(),
                     [word](std::string_view reserved) { return text::same_name(reserved, word); });
}
bool is_comparison(std::string_view sign) {
  return std::find(kComparisons.begin(), kComparisons.end(), sign) != kComparisons.end();
}
bool begins_word(char c) { return is(c, kBeginsWord); }
bool continues_word(char c) { return is(c, kBeginsWord | kDigit); }
bool begins_comparison(char c) { return is(c, kBeginsComparison); }

Token Lexer::next() {
  while (at_ < text_.size() && is(text_[at_], kBlank)) ++at_;
  const std::size_t begin = at_;
  if (begin == text_.size()) return {Token::Sort::end, "", begin};
  const Token::Sort sort = take();
  return {sort, text_.substr(begin, at_ - begin), begin};
}

Token::Sort Lexer::take() {
  const char c = text_[at_];
  if (is(c, kBeginsWord) || variable() > 0) {
    do {
      std::size_t at = at_;
      while (at < text_.size() && is(text_[at], kBeginsWord | kDigit)) ++at;
      at_ = at;
    } while (take_variable());
    return Token::Sort::word;
  }
  if (is(c, kDigit)) {
    while (at_ < text_.size() && (is(text_[at_], kDigit) || text_[at_] == '.')) ++at_;
    return Token::Sort::number;
  }
  if (c == '\'') return take_text();
  if (is(c, kBeginsComparison)) {
    if (at_ + 1 < text_.size() && text_[at_ + 1] == '=') return take_sign(2);
    if (c == '<' || c == '>') return take_sign(1);
  }
  if (is(c, kSign)) return take_sign(1);
  throw RuleError("a character that means nothing here", at_);
}

bool Lexer::take_variable() {
  const std::size_t size = variable();
  at_ += size;
  return size > 0;
}

// The size of the variable in braces that stands here; 0 if none does.
std::size_t Lexer::variable() const {
  if (at_ == text_.size() || text_[at_] != '{') return 0;
  for (std::string_view const variable : variables_)
    if (text_.substr(at_ + 1).starts_with(variable) && text_.substr(at_ + 1 + variable.size()).starts_with('}'))
      return variable.size() + 2;
  return 0;
}

Token::Sort Lexer::take_sign(std::size_t size) {
  at_ += size;
  return Token::Sort::sign;
}

// A quote within is written twice.
Token::Sort Lexer::take_text() {
  const std::size_t begin = at_++;
  for (; at_ < text_.size(); ++at_) {
    if (text_[at_] != '\'') continue;
    if (at_ + 1 < text_.size() && text_[at_ + 1] == '\'')
      ++at_;
    else {
      ++at_;
      return Token::Sort::text;
    }
  }
  throw RuleError("a text that is not closed", begin);
}

std::optional<TemplatePieces::Piece> TemplatePieces::next() {
  const auto stands_at = [this](char c, std::size_t at) { return at < text_.size() && text_[at] == c; };
  const std::size_t begin = at_;
  for (; at_ < text_.size(); ++at_) {
    const char c = text_[at_];
    if (c != '{' && c != '}') continue;
    if (stands_at(c, at_ + 1)) {
      ++at_;
      continue;
    }
    if (at_ > begin) return Piece{false, begin, at_};
    if (c == '}') throw RuleError("a } without its {", at_);
    const std::size_t end = closing_brace(at_);
    at_ = end + 1;
    return Piece{true, begin + 1, end};
  }
  return at_ > begin ? std::optional(Piece{false, begin, at_}) : std::nullopt;
}

std::string TemplatePieces::said(Piece const& piece) const {
  const std::string_view written = text_.substr(piece.begin, piece.end - piece.begin);
  if (written.find('{') == std::string_view::npos && written.find('}') == std::string_view::npos)
    return std::string(written);
  std::string said;
  for (std::size_t i = 0; i < written.size(); ++i) {
    said += written[i];
    if (written[i] == '{' || written[i] == '}') ++i;
  }
  return said;
}

// Where the expression that begins behind the brace at `open` ends: braces within it count, those of its texts do not.
std::size_t TemplatePieces::closing_brace(std::size_t open) const {
  int depth = 0;
  bool quoted = false;
  for (std::size_t i = open; i < text_.size(); ++i) {
    if (text_[i] == '\'' && i > open) quoted = !quoted;
    if (quoted) continue;
    if (text_[i] == '{') ++depth;
    if (text_[i] == '}' && --depth == 0) return i;
  }
  throw RuleError("a { without its }", open);
}

}  // namespace kdi::cores
