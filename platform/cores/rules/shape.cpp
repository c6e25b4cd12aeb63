#include "platform/cores/rules/shape.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <type_traits>

namespace kdi::cores {
namespace {

// In front of what a shape consists of; no token begins so. Rules that differ in more than names differ in shape.
constexpr char kBegin = '\x01', kName = '\x02', kText = '\x03', kRanks = '\x04';

template <class Item>
void put_bytes(std::string& shape, Item const& item) {
  static_assert(std::has_unique_object_representations_v<Item>);
  const auto bytes = std::bit_cast<std::array<char, sizeof(Item)>>(item);
  shape.append(bytes.data(), bytes.size());
}

}  // namespace

std::optional<std::string_view> ShapeReader::read(std::string_view text, Writing writing, Scope const& scope,
                                                  std::optional<Type> wanted) {
  if (text.size() > kLongest) return std::nullopt;
  shape_.assign({kBegin, writing == Writing::message ? '1' : '0', wanted ? '1' : '0'});
  if (wanted) put_bytes(shape_, *wanted);
  symbols_.clear();
  texts_ = 0;
  try {
    if (writing == Writing::expression) {
      if (!read_tokens(text, 0, text.size(), scope)) return std::nullopt;
    } else {
      TemplatePieces pieces(text);
      while (const auto piece = pieces.next()) {
        if (piece->is_expression) {
          shape_ += kBegin;
          if (!read_tokens(text, piece->begin, piece->end, scope)) return std::nullopt;
        } else {
          shape_ += kText;
          ++texts_;
        }
      }
    }
  } catch (RuleError const&) {  // which the parser tells
    return std::nullopt;
  }
  return put_ranks() ? std::optional<std::string_view>(shape_) : std::nullopt;
}

Symbol const& ShapeReader::symbol_at(std::size_t rank) const {
  return *std::find_if(symbols_.begin(), symbols_.end(),
                       [&](Symbol const& symbol) { return symbol.slot == slots_[rank]; });
}

// False if there is a brace among them. What is no name goes into the shape as it is written.
bool ShapeReader::read_tokens(std::string_view text, std::size_t begin, std::size_t end, Scope const& scope) {
  Lexer lexer(text, begin, end, {});
  tokens_.clear();
  do {
    tokens_.push_back(lexer.next());
    if (stands_at(tokens_.size() - 1, '{')) return false;
  } while (tokens_.back().sort != Token::Sort::end);
  std::size_t put_to = begin;
  const auto put = [&](Symbol const& symbol, Token const& token) {
    shape_.append(text, put_to, token.place - put_to);
    put_to = token.place + token.written.size();
    shape_ += kName;
    put_bytes(shape_, symbol.type);
    symbols_.push_back(symbol);
  };
  for (std::size_t at = 0; at + 1 < tokens_.size(); ++at) {
    Token const& token = tokens_[at];
    if (token.sort != Token::Sort::word || is_reserved(token.written)) continue;
    if (!stands_at(at + 1, '(')) {
      if (const std::optional<Symbol> known = scope.symbol(token.written)) put(*known, token);
    } else if (const std::optional<Symbol> known = aspect(at, scope)) {
      put(*known, tokens_[at + 2]);
      at += 3;
    }
  }
  shape_.append(text, put_to, end - put_to);
  return true;
}

// What the call that begins there stands for if it is an aspect, of one name or one text in brackets.
std::optional<Symbol> ShapeReader::aspect(std::size_t at, Scope const& scope) const {
  if (!stands_at(at + 3, ')')) return std::nullopt;
  Token const& of = tokens_[at + 2];
  const bool is_device = tokens_[at].written == "device";
  if (of.sort != (is_device ? Token::Sort::text : Token::Sort::word)) return std::nullopt;
  const std::string_view word = is_device ? of.written.substr(1, of.written.size() - 2) : of.written;
  if (word.find('\'') != std::string_view::npos) return std::nullopt;  // written twice, which no word of a device has
  return scope.aspect(tokens_[at].written, word);
}

bool ShapeReader::stands_at(std::size_t at, char sign) const {
  return at < tokens_.size() && tokens_[at].sort == Token::Sort::sign && tokens_[at].written[0] == sign;
}

// False if there are too many for a byte each.
bool ShapeReader::put_ranks() {
  if (symbols_.size() > std::numeric_limits<std::uint8_t>::max()) return false;
  slots_.clear();
  for (Symbol const& symbol : symbols_) slots_.push_back(symbol.slot);
  std::sort(slots_.begin(), slots_.end());
  slots_.erase(std::unique(slots_.begin(), slots_.end()), slots_.end());
  shape_ += kRanks;
  for (Symbol const& symbol : symbols_)
    shape_ += static_cast<char>(std::lower_bound(slots_.begin(), slots_.end(), symbol.slot) - slots_.begin());
  return true;
}

KnownShape const* Shapes::find(std::string_view shape) const {
  const auto known = known_.find(shape);
  return known == known_.end() ? nullptr : &known->second;
}

void Shapes::add(std::string_view shape, KnownShape known) {
  if (known_.size() < kMost) known_.emplace(shape, std::move(known));
}

}  // namespace kdi::cores
