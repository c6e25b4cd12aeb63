#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiPattern.h"
#include "platform/cores/rules/lexer.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

constexpr std::array<std::string_view, 5> kLoops = {"all", "any", "count", "list", "sum"};
constexpr int kDeepestTree = 1000;  // of operators in a row as well, which nest to the left

template <class Words>
bool has(Words const& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

class Parser {
 public:
  Parser(std::string_view text, Syntax& syntax, std::size_t begin, std::size_t end)
      : text_(text.substr(0, end)),
        lexer_(text_, begin, end, rows_),
        syntax_(syntax),
        token_(lexer_.next()),
        ahead_(lexer_.next()) {}

  std::uint32_t whole() {
    const std::uint32_t root = expression();
    if (token_.sort != Token::Sort::end) fail("expected an operator or the end, found " + found());
    return root;
  }

 private:
  // What nests in the parser's own calls is counted where the calls come round.
  class Deeper {
   public:
    explicit Deeper(Parser& parser) : parser_(parser) {
      if (++parser_.depth_ > kDeepestRule) parser_.fail("nested too deeply");
    }
    ~Deeper() { --parser_.depth_; }

   private:
    Parser& parser_;
  };

  std::uint32_t expression() {
    const Deeper deeper(*this);
    const std::size_t place = token_.place;
    if (take("let")) {
      Expression node = start(Form::let, place);
      node.word = name("a name");
      want("=");
      node.parts.push_back(expression());
      want(";");
      node.parts.push_back(expression());
      return add(std::move(node));
    }
    if (take("if")) {
      Expression node = start(Form::conditional, place);
      node.parts.push_back(expression());
      want("then");
      node.parts.push_back(expression());
      want("else");
      node.parts.push_back(expression());
      return add(std::move(node));
    }
    return chain(Form::or_, "or", [this] { return chain(Form::and_, "and", [this] { return negation(); }); });
  }

  // As many parts as there are: a chain is one node.
  template <class Part>
  std::uint32_t chain(Form form, std::string_view word, Part part) {
    const std::size_t place = token_.place;
    const std::uint32_t first = part();
    if (!is(word)) return first;
    Expression node = start(form, place);
    node.parts.push_back(first);
    while (take(word)) node.parts.push_back(part());
    return add(std::move(node));
  }

  std::uint32_t negation() {
    const std::size_t place = token_.place;
    if (!take("not")) return comparison();
    const Deeper deeper(*this);
    Expression node = start(Form::not_, place);
    node.parts.push_back(negation());
    return add(std::move(node));
  }

  std::uint32_t comparison() {
    const std::uint32_t left = sum();
    const std::size_t place = token_.place;
    if (token_.sort == Token::Sort::sign && begins_comparison(token_.written[0]) && is_comparison(token_.written)) {
      const std::string_view sign = token_.written;
      advance();
      return binary(Form::compare, sign, place, left, sum());
    }
    const bool negated = is("not") && ahead_.sort == Token::Sort::word && ahead_.written == "in";
    if (!negated && !is("in")) return left;
    if (negated) advance();
    advance();
    const std::uint32_t within = binary(Form::within, "in", place, left, sum());
    if (!negated) return within;
    Expression node = start(Form::not_, place);
    node.parts.push_back(within);
    return add(std::move(node));
  }

  std::uint32_t sum() {
    std::uint32_t left = product();
    while (is("+") || is("-")) {
      const Token sign = token_;
      advance();
      left = binary(Form::arithmetic, sign.written, sign.place, left, product());
    }
    return left;
  }

  std::uint32_t product() {
    std::uint32_t left = factor();
    while (is("*") || is("div") || is("mod")) {
      const Token sign = token_;
      advance();
      left = binary(Form::arithmetic, sign.written, sign.place, left, factor());
    }
    return left;
  }

  std::uint32_t factor() {
    const std::size_t place = token_.place;
    if (!take("-")) return item();
    const Deeper deeper(*this);
    Expression node = start(Form::negate, place);
    node.parts.push_back(factor());
    return add(std::move(node));
  }

  std::uint32_t item() {
    std::uint32_t node = primary();
    while (is("[")) {
      const std::size_t place = token_.place;
      advance();
      node = binary(Form::index, "", place, node, expression());
      want("]");
    }
    return node;
  }

  std::uint32_t primary() {
    const Token token = token_;
    switch (token.sort) {
      case Token::Sort::number:
        return number();
      case Token::Sort::text:
        return text();
      case Token::Sort::word:
        return word();
      case Token::Sort::sign:
        if (take("(")) {
          const std::uint32_t inner = expression();
          want(")");
          return inner;
        }
        if (take("[")) return several(start(Form::list, token.place), "]", [this](Expression& node) { part(node); });
        if (take("{"))
          return several(start(Form::dictionary, token.place), "}", [this](Expression& node) {
            part(node);
            want(":");
            part(node);
          });
        break;
      case Token::Sort::end:
        break;
    }
    fail("expected a value, found " + found());
  }

  void part(Expression& node) { node.parts.push_back(expression()); }

  // Parts between commas up to `close`.
  template <class Part>
  std::uint32_t several(Expression node, std::string_view close, Part part) {
    if (!take(close)) {
      do {
        part(node);
      } while (take(","));
      want(close);
    }
    return add(std::move(node));
  }

  std::uint32_t number() {
    const std::string_view written = token_.written;
    Expression node = start(Form::literal, token_.place);
    if (written.find('.') == std::string_view::npos) {
      const auto integer = number::whole<std::int64_t>(written);
      if (!integer) fail("a number that 64 bits do not hold");
      node.value = Value(*integer);
    } else {
      const std::optional<Decimal> decimal = written.ends_with('.') ? std::nullopt : Decimal::read(written);
      if (!decimal) fail("expected a number, found " + found());
      node.value = Value(*decimal);
    }
    advance();
    return add(std::move(node));
  }

  std::uint32_t text() {
    Expression node = start(Form::literal, token_.place);
    std::string content;
    for (std::size_t i = 1; i + 1 < token_.written.size(); ++i) {
      content += token_.written[i];
      if (token_.written[i] == '\'') ++i;
    }
    node.value = Value(std::move(content));
    advance();
    return add(std::move(node));
  }

  std::uint32_t word() {
    const Token token = token_;
    if (is("true") || is("false")) {
      Expression node = start(Form::literal, token.place);
      node.value = Value(token.written == "true");
      advance();
      return add(std::move(node));
    }
    if (is_reserved(token.written) && token.written != "list") fail("expected a value, found " + found());
    advance();
    if (!is("(")) {
      if (token.written == "list") fail("expected (, found " + found());
      return named(token);
    }
    advance();
    const bool is_loop = has(kLoops, token.written) && token_.sort == Token::Sort::word &&
                         ahead_.sort == Token::Sort::word && ahead_.written == "in";
    if (is_loop || token.written == "list") return loop(token);
    Expression node = start(Form::call, token.place);
    node.word = token.written;
    return several(std::move(node), ")", [this](Expression& call) { part(call); });
  }

  std::uint32_t named(Token const& token) {
    Expression node = start(Form::name, token.place);
    node.word = token.written;
    return add(std::move(node));
  }

  std::uint32_t loop(Token const& operation) {
    Expression node = start(Form::loop, operation.place);
    node.operation = operation.written;
    node.word = name("a name for the elements");
    want("in");
    if (const auto pattern = row_pattern()) return rows(std::move(node), *pattern);
    const std::uint32_t range = expression_before_if();
    node.parts.push_back(range);
    if (take("if")) node.parts.push_back(expression());
    want(":");
    node.parts.push_back(expression());
    want(")");
    return add(std::move(node));
  }

  // --- rows

  // Names and numbers between braces, which are no dictionary.
  std::optional<std::string_view> row_pattern() const {
    if (!is("{")) return std::nullopt;
    const std::string_view rest = text_.substr(token_.place + 1);
    const std::size_t size = rest.find('}');
    if (size == 0 || size == std::string_view::npos) return std::nullopt;
    const auto continues = [](char c) { return continues_word(c) || c == '.' || c == ','; };
    if (!std::all_of(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size), continues)) return std::nullopt;
    return text_.substr(token_.place, size + 2);
  }

  struct Row {
    std::string_view variable, label;
  };

  struct RowParts {
    std::optional<std::uint32_t> condition;
    std::uint32_t body = 0;
  };

  // The text behind the pattern is read as it is written; each row is a copy of that with its own names.
  std::uint32_t rows(Expression&& node, std::string_view pattern) {
    const Deeper deeper(*this);
    std::vector<std::string> labels;
    try {
      labels = row_labels(pattern);
    } catch (PatternError const& error) {
      fail("expected " + std::string(error.what()));
    }
    const std::size_t begin = syntax_.nodes.size();
    rows_.emplace_back(node.word);
    const RowParts written = row(token_.place + pattern.size());
    rows_.pop_back();
    go_to(closed_);
    const std::size_t end = syntax_.nodes.size();
    std::vector<RowParts> all;
    for (std::string const& label : labels) all.push_back(in_row(written, begin, end, {node.word, label}));
    node.form = Form::rows;
    node.value = Value(std::string(pattern));
    node.parts.push_back(combined(node, all));
    if (written.condition) node.parts.push_back(*written.condition);
    node.parts.push_back(written.body);
    return add(std::move(node));
  }

  // What stands in the nodes from `begin` to `end`, which are complete, as it is in a row.
  RowParts in_row(RowParts written, std::size_t begin, std::size_t end, Row const& row) {
    const std::uint32_t further = static_cast<std::uint32_t>(syntax_.nodes.size() - begin);
    for (std::size_t i = begin; i < end; ++i) {
      Expression copy = syntax_.nodes[i];
      copy.parts.shift(further);
      if (copy.form == Form::name) name_in_row(copy, row);
      add(std::move(copy));
    }
    if (written.condition) *written.condition += further;
    written.body += further;
    return written;
  }

  void name_in_row(Expression& name, Row const& row) {
    if (name.word == row.variable && is_as_written(name.word)) {
      name.form = Form::literal;
      name.value = row_value(std::string(row.label));
    } else if (name.word.find('{') != std::string_view::npos) {
      if (!syntax_.texts) syntax_.texts = std::make_shared<SyntaxTexts>();
      name.word =
          std::string_view(syntax_.texts->made.emplace_front(kdi::cores::in_row(name.word, row.variable, row.label)));
    }
  }

  // And not as the label of a row around it has made it.
  bool is_as_written(std::string_view word) const {
    return std::less_equal<>()(text_.data(), word.data()) && std::less<>()(word.data(), text_.data() + text_.size());
  }

  RowParts row(std::size_t begin) {
    go_to(begin);
    RowParts parts;
    if (take("if")) parts.condition = expression();
    want(":");
    parts.body = expression();
    closed_ = token_.place + 1;
    want(")");
    return parts;
  }

  void go_to(std::size_t place) {
    lexer_ = Lexer(text_, place, text_.size(), rows_);
    token_ = lexer_.next();
    ahead_ = lexer_.next();
  }

  // What the rows come to together, in forms that there are without rows.
  std::uint32_t combined(Expression const& node, std::vector<RowParts> const& all) {
    Parts parts;
    for (RowParts const& row : all) parts.push_back(combined(node, row));
    const bool is_all = node.operation == "all";
    if (is_all || node.operation == "any") return joined(is_all ? Form::and_ : Form::or_, std::move(parts), node);
    if (node.operation == "list" && !all[0].condition) return several(Form::list, std::move(parts), node);
    std::uint32_t sum = parts[0];
    for (std::size_t i = 1; i < parts.size(); ++i) sum = binary(Form::arithmetic, "+", node.place, sum, parts[i]);
    return sum;
  }

  std::uint32_t combined(Expression const& node, RowParts const& row) {
    if (node.operation == "any")
      return row.condition ? several(Form::and_, {*row.condition, row.body}, node) : row.body;
    if (node.operation == "all")
      return row.condition ? several(Form::or_, {several(Form::not_, {*row.condition}, node), row.body}, node)
                           : row.body;
    if (node.operation == "count") {
      const std::uint32_t holds = row.condition ? several(Form::and_, {*row.condition, row.body}, node) : row.body;
      return several(Form::conditional, {holds, integer(1, node), integer(0, node)}, node);
    }
    if (!row.condition) return row.body;
    if (node.operation == "sum") return several(Form::conditional, {*row.condition, row.body, integer(0, node)}, node);
    return several(Form::conditional,
                   {*row.condition, several(Form::list, {row.body}, node), several(Form::list, {}, node)}, node);
  }

  // A chain of one part is that part.
  std::uint32_t joined(Form form, Parts parts, Expression const& at) {
    return parts.size() == 1 ? parts[0] : several(form, std::move(parts), at);
  }

  std::uint32_t several(Form form, Parts parts, Expression const& at) {
    Expression node = start(form, at.place);
    node.parts = std::move(parts);
    return add(std::move(node));
  }

  std::uint32_t integer(int value, Expression const& at) {
    Expression node = start(Form::literal, at.place);
    node.value = Value(value);
    return add(std::move(node));
  }

  // What a loop runs over: `if` behind it begins the loop's condition.
  std::uint32_t expression_before_if() { return sum(); }

  std::string_view name(std::string_view what) {
    if (token_.sort != Token::Sort::word || !is_name(token_.written))
      fail("expected " + std::string(what) + ", found " + found());
    const std::string_view word = token_.written;
    for (std::string_view const variable : rows_)
      if (variable == word) fail(std::string(word) + " stands for the rows around already");
    advance();
    return word;
  }

  std::uint32_t binary(Form form, std::string_view word, std::size_t place, std::uint32_t left, std::uint32_t right) {
    Expression node = start(form, place);
    node.word = word;
    node.parts = {left, right};
    return add(std::move(node));
  }

  static Expression start(Form form, std::size_t place) { return {form, 0, static_cast<std::uint32_t>(place)}; }

  std::uint32_t add(Expression&& node) {
    node.depth = 0;
    for (const std::uint32_t part : node.parts)
      node.depth = std::max(node.depth, static_cast<std::uint16_t>(syntax_.at(part).depth + 1));
    if (node.depth >= kDeepestTree) throw RuleError("nested too deeply", node.place);
    if (syntax_.nodes.size() >= kMostPlaces) throw RuleError("too many rows", node.place);
    syntax_.nodes.push_back(std::move(node));
    return static_cast<std::uint32_t>(syntax_.nodes.size() - 1);
  }

  bool is(std::string_view written) const {
    return (token_.sort == Token::Sort::word || token_.sort == Token::Sort::sign) && token_.written[0] == written[0] &&
           token_.written == written;
  }
  bool take(std::string_view written) {
    if (!is(written)) return false;
    advance();
    return true;
  }
  void want(std::string_view written) {
    if (!take(written)) fail("expected " + std::string(written) + ", found " + found());
  }
  void advance() {
    token_ = ahead_;
    if (ahead_.sort != Token::Sort::end) ahead_ = lexer_.next();
  }

  std::string found() const {
    if (token_.sort == Token::Sort::end) return "the end";
    constexpr std::size_t kShown = 40;
    return std::string(token_.written.substr(0, kShown)) + (token_.written.size() > kShown ? "..." : "");
  }
  [[noreturn]] void fail(std::string const& text) const { throw RuleError(text, token_.place); }

  std::string_view text_;
  std::vector<std::string_view> rows_;  // variables of those around what is being read
  std::size_t closed_ = 0;              // behind the rows that were read last
  Lexer lexer_;
  Syntax& syntax_;
  Token token_, ahead_;
  int depth_ = 0;
};

void check_size(std::string_view text) {
  if (text.size() > kLongestRule)
    throw RuleError("longer than " + std::to_string(kLongestRule) + " bytes", kLongestRule);
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) throw RuleError("a zero byte", zero);
}

std::uint32_t add_text(Syntax& syntax, std::string text, std::size_t place) {
  Expression node{Form::literal, 0, static_cast<std::uint32_t>(place)};
  node.value = Value(std::move(text));
  syntax.nodes.push_back(std::move(node));
  return static_cast<std::uint32_t>(syntax.nodes.size() - 1);
}

}  // namespace

bool is_name(std::string_view word) {
  return !word.empty() && begins_word(word[0]) && !is_reserved(word) &&
         std::all_of(word.begin(), word.end(), continues_word);
}

std::string in_row(std::string_view name, std::string_view variable, std::string_view label) {
  std::string filled;
  filled.reserve(name.size() + label.size());
  for (std::size_t at = 0; at < name.size();) {
    const std::string_view rest = name.substr(at);
    const bool is_here =
        rest[0] == '{' && rest.substr(1).starts_with(variable) && rest.substr(1 + variable.size()).starts_with('}');
    filled += is_here ? label : rest.substr(0, 1);
    at += is_here ? variable.size() + 2 : 1;
  }
  return filled;
}

Value row_value(std::string const& label) {
  const auto integer = number::whole<std::int64_t>(label);
  return integer && std::to_string(*integer) == label ? Value(*integer) : Value(label);
}

std::vector<std::string> row_labels(std::string_view pattern) { return expand(pattern, kMostRows); }

namespace {

void parse_expression(std::string_view text, Syntax& syntax) {
  constexpr std::size_t kBytesOfANode = 6;  // about
  syntax.nodes.reserve(text.size() / kBytesOfANode + 2);
  syntax.root = Parser(text, syntax, 0, text.size()).whole();
}

void parse_message(std::string_view text, Syntax& syntax) {
  Expression whole{Form::call, 0};
  whole.word = "concatenated";
  TemplatePieces pieces(text);
  while (const auto piece = pieces.next())
    whole.parts.push_back(piece->is_expression ? Parser(text, syntax, piece->begin, piece->end).whole()
                                               : add_text(syntax, pieces.said(*piece), piece->begin));
  if (whole.parts.empty()) whole.parts.push_back(add_text(syntax, "", 0));
  syntax.nodes.push_back(std::move(whole));
  syntax.root = static_cast<std::uint32_t>(syntax.nodes.size() - 1);
}

}  // namespace

Syntax parse(std::string_view text, Writing writing) {
  const auto texts = std::make_shared<SyntaxTexts>(SyntaxTexts{std::string(text)});
  Syntax syntax{{}, 0, texts};
  parse_borrowed(texts->source, writing, syntax);
  return syntax;
}

void parse_borrowed(std::string_view text, Writing writing, Syntax& syntax) {
  check_size(text);
  writing == Writing::message ? parse_message(text, syntax) : parse_expression(text, syntax);
}

namespace {

// How strongly a form holds its parts together; higher binds closer.
int binding(Expression const& node) {
  switch (node.form) {
    case Form::let:
    case Form::conditional:
      return 0;
    case Form::or_:
      return 1;
    case Form::and_:
      return 2;
    case Form::not_:
      return 3;
    case Form::compare:
    case Form::within:
      return 4;
    case Form::arithmetic:
      return node.word == "+" || node.word == "-" ? 5 : 6;
    case Form::negate:
      return 7;
    default:
      return 8;
  }
}

class Writer {
 public:
  explicit Writer(Syntax const& syntax) : syntax_(syntax) {}

  std::string part(std::uint32_t number, int least) const {
    std::string text = whole(number);
    return binding(syntax_.at(number)) < least ? "(" + text + ")" : text;
  }

  std::string whole(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    Parts const& parts = node.parts;
    switch (node.form) {
      case Form::literal:
        return literal(node.value);
      case Form::name:
        return node.word;
      case Form::call:
        return node.word + "(" + list(parts) + ")";
      case Form::negate:
        return "-" + part(parts[0], 7);
      case Form::arithmetic:
      case Form::compare:
      case Form::within: {
        const int own = binding(node);
        const bool chains = node.form == Form::arithmetic;  // to the left
        return part(parts[0], chains ? own : own + 1) + " " + node.word + " " + part(parts[1], own + 1);
      }
      case Form::not_:
        return "not " + part(parts[0], 3);
      case Form::and_:
        return joined(parts, " and ", 3);
      case Form::or_:
        return joined(parts, " or ", 2);
      case Form::conditional:
        return "if " + whole(parts[0]) + " then " + whole(parts[1]) + " else " + whole(parts[2]);
      case Form::let:
        return "let " + node.word + " = " + whole(parts[0]) + "; " + whole(parts[1]);
      case Form::list:
        return "[" + list(parts) + "]";
      case Form::dictionary: {
        std::string text = "{";
        for (std::size_t i = 0; i + 1 < parts.size(); i += 2)
          text += (i > 0 ? ", " : "") + whole(parts[i]) + ": " + whole(parts[i + 1]);
        return text + "}";
      }
      case Form::index:
        return part(parts[0], 8) + "[" + whole(parts[1]) + "]";
      case Form::loop: {
        const std::string head = node.operation + "(" + node.word + " in " + part(parts[0], 5);
        return head + (parts.size() > 2 ? " if " + whole(parts[1]) : "") + ": " + whole(parts.back()) + ")";
      }
      case Form::rows: {
        const std::string head = node.operation + "(" + node.word + " in " + node.value.cell().text();
        return head + (parts.size() > 2 ? " if " + whole(parts[1]) : "") + ": " + whole(parts.back()) + ")";
      }
    }
    return "";
  }

 private:
  std::string list(Parts const& parts) const { return joined(parts, ", ", 0); }

  std::string joined(Parts const& parts, std::string_view between, int least) const {
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) text += (i > 0 ? std::string(between) : "") + part(parts[i], least);
    return text;
  }

  static std::string literal(Value const& value) {
    const Cell cell = value.cell();
    if (cell.kind() == Kind::text) return text_literal(cell.text());
    return value.text() + (cell.kind() == Kind::decimal && cell.decimal().is_whole() ? ".0" : "");
  }

  static std::string text_literal(std::string const& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    return quoted + "'";
  }

  Syntax const& syntax_;
};

}  // namespace

std::string written(Syntax const& syntax, std::uint32_t node) { return Writer(syntax).whole(node); }

}  // namespace kdi::cores
