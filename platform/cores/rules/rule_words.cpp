// Rules in words, for people who read no rules. The words follow the tree: what is a truth becomes a statement, what is
// a value a phrase.
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cores/RuleWords.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {
namespace {

struct SignWords {
  std::string_view sign, holds, fails;
};
constexpr SignWords kSigns[] = {
    {"==", "is", "is not"},           {"!=", "is not", "is"},          {"<", "is below", "is at least"},
    {"<=", "is at most", "is above"}, {">", "is above", "is at most"}, {">=", "is at least", "is below"},
};

// What functions make of their arguments, which stand for {0}, {1}, ...; {all} is all of them, {row} one behind the
// other.
struct CallWords {
  std::string_view name;
  std::size_t arguments;  // kAny: any number
  std::string_view words;
};
constexpr std::size_t kAny = ~std::size_t{0};
constexpr CallWords kCalls[] = {
    {"abs", 1, "the size of {0}"},
    {"min", kAny, "the least of {all}"},
    {"max", kAny, "the greatest of {all}"},
    {"floor", 1, "{0} rounded down"},
    {"ceil", 1, "{0} rounded up"},
    {"round", 1, "{0} rounded"},
    {"round", 2, "{0} rounded to {1} places"},
    {"quotient", 2, "{0} divided by {1}, rounded"},
    {"quotient", 3, "{0} divided by {1}, rounded to {2} places"},
    {"integer", 1, "{0}"},
    {"number", 2, "the number in {0} (else {1})"},
    {"hex", 1, "{0} in hexadecimal"},
    {"hex", 2, "{0} in hexadecimal of {1} digits"},
    {"power_of_two", 1, "2 to the power of {0}"},
    {"text", 1, "{0}"},
    {"concatenated", kAny, "{row}"},
    {"length", 1, "the length of {0}"},
    {"part", 3, "{2} characters of {0} from number {1}"},
    {"replace", 3, "{0} with {2} for {1}"},
    {"lower", 1, "{0} in small letters"},
    {"upper", 1, "{0} in capitals"},
    {"split", 2, "the pieces of {0} between {1}"},
    {"join", 2, "{0} joined by {1}"},
    {"numbers", 2, "the integers from {0} to {1}"},
    {"distinct", 1, "{0}, each once"},
    {"sorted", 1, "{0} in order"},
    {"reversed", 1, "{0} from last to first"},
    {"index_of", 2, "the place of {1} in {0}"},
    {"keys", 1, "the keys of {0}"},
    {"values", 1, "the values of {0}"},
    {"get", 3, "what {0} has for {1} (else {2})"},
    {"user", 1, "the user's {0}"},
    {"device", 1, "the device's {0}"},
};
constexpr CallWords kHolds[] = {
    {"enabled", 1, "{0} is enabled"},      {"given", 1, "{0} is given by the user"},
    {"contains", 2, "{0} contains {1}"},   {"starts_with", 2, "{0} begins with {1}"},
    {"ends_with", 2, "{0} ends with {1}"}, {"is_number", 1, "{0} is a number"},
    {"user", 1, "the user's {0} is on"},   {"device", 1, "the device has {0}"},
};
constexpr CallWords kFails[] = {
    {"enabled", 1, "{0} is disabled"},
    {"given", 1, "{0} is not given by the user"},
    {"contains", 2, "{0} does not contain {1}"},
    {"starts_with", 2, "{0} does not begin with {1}"},
    {"ends_with", 2, "{0} does not end with {1}"},
    {"is_number", 1, "{0} is no number"},
    {"user", 1, "the user's {0} is off"},
    {"device", 1, "the device does not have {0}"},
};

class Speaker {
 public:
  Speaker(Syntax const& syntax, bool limits) : syntax_(syntax), limits_(limits) {}

  // ------------------------------------------------------------------------------------------------- statements

  std::string statement(std::uint32_t number, bool holds = true) const {
    Expression const& node = syntax_.at(number);
    switch (node.form) {
      case Form::literal:
        return node.value.cell().truth() == holds ? "always" : "never";
      case Form::not_:
        return statement(node.parts[0], !holds);
      case Form::and_:
      case Form::or_:
        return row(node, holds);
      case Form::compare:
        return comparison(node, holds);
      case Form::within:
        return value(node.parts[0]) + ((node.word == "in") == holds ? " is " : " is not ") + among(node.parts[1]);
      case Form::conditional:
        return "(if " + statement(node.parts[0]) + ": " + statement(node.parts[1], holds) +
               "; otherwise: " + statement(node.parts[2], holds) + ")";
      case Form::let:
        return statement(node.parts[1], holds) + ", where " + node.word + " is " + value(node.parts[0]);
      case Form::loop:
      case Form::rows:
        return (holds ? "" : "not ") + quantified(node);
      case Form::call:
        return call(node, holds ? std::span<CallWords const>(kHolds) : kFails)
            .value_or(plain(number) + (holds ? " is so" : " is not so"));
      default:
        return value(number) + (holds ? " is on" : " is off");
    }
  }

  // ---------------------------------------------------------------------------------------------------- phrases

  std::string phrase(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    if (node.form == Form::conditional)
      return phrase(node.parts[1]) + " if " + statement(node.parts[0]) + ", otherwise " + phrase(node.parts[2]);
    if (node.form == Form::let) return phrase(node.parts[1]) + ", where " + node.word + " is " + value(node.parts[0]);
    if (limits_ && node.form == Form::list && node.parts.size() == 2)
      return "from " + value(node.parts[0]) + " to " + value(node.parts[1]);
    return value(number);
  }

  std::string template_text(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    std::string text;
    for (const std::uint32_t part : node.parts) {
      Expression const& one = syntax_.at(part);
      const bool is_text = one.form == Form::literal && one.value.cell().kind() == Kind::text;
      text += is_text ? one.value.cell().text() : "{" + value(part) + "}";
    }
    return text;
  }

  std::string value(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    switch (node.form) {
      case Form::literal:
        return literal(node.value);
      case Form::name:
        return node.word;
      case Form::negate:
        return "-" + operand(node.parts[0]);
      case Form::arithmetic:
        return arithmetic(node);
      case Form::not_:
      case Form::and_:
      case Form::or_:
      case Form::compare:
      case Form::within:
        return "whether " + statement(number);
      case Form::conditional:
        return "(" + value(node.parts[1]) + " if " + statement(node.parts[0]) + ", otherwise " + value(node.parts[2]) +
               ")";
      case Form::let:
        return value(node.parts[1]) + ", where " + node.word + " is " + value(node.parts[0]);
      case Form::list:
        return node.parts.empty() ? "nothing" : enumerated(node.parts, " and ");
      case Form::dictionary:
        return plain(number);
      case Form::index:
        return "entry " + value(node.parts[1]) + " of " + operand(node.parts[0]);
      case Form::loop:
      case Form::rows:
        return gathered(node);
      case Form::call:
        if (is_truth(number)) return "whether " + statement(number);
        return call(node, kCalls).value_or(plain(number));
    }
    return "";
  }

 private:
  std::string plain(std::uint32_t number) const { return written(syntax_, number); }

  bool is_truth(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    switch (node.form) {
      case Form::literal:
        return node.value.cell().kind() == Kind::truth;
      case Form::not_:
      case Form::and_:
      case Form::or_:
      case Form::compare:
      case Form::within:
        return true;
      case Form::loop:
      case Form::rows:
        return node.operation == "any" || node.operation == "all";
      case Form::call:
        for (CallWords const& one : kHolds)
          if (one.name == node.word && one.name != "user" && one.name != "device") return true;
        return false;
      default:
        return false;
    }
  }

  static std::string literal(Value const& value) {
    const Cell cell = value.cell();
    if (cell.kind() == Kind::truth) return cell.truth() ? "on" : "off";
    if (cell.kind() == Kind::text) return cell.text().empty() ? "empty" : "'" + cell.text() + "'";
    return value.text();
  }

  // The parts in a row; a row of the other kind within it stands in brackets.
  std::string row(Expression const& node, bool holds) const {
    const bool all = (node.form == Form::and_) == holds;
    std::string text;
    for (std::size_t i = 0; i < node.parts.size(); ++i) {
      if (i > 0) text += all ? " and " : " or ";
      Form part = syntax_.at(node.parts[i]).form;
      bool part_holds = holds;
      for (std::uint32_t at = node.parts[i]; syntax_.at(at).form == Form::not_;) {
        at = syntax_.at(at).parts[0];
        part = syntax_.at(at).form;
        part_holds = !part_holds;
      }
      const bool is_row = part == Form::and_ || part == Form::or_;
      const bool is_other = is_row && ((part == Form::and_) == part_holds) != all;
      const bool is_long = part == Form::let || part == Form::loop || part == Form::rows;
      const std::string words = statement(node.parts[i], holds);
      text += is_other || is_long ? "(" + words + ")" : words;
    }
    return text;
  }

  std::string comparison(Expression const& node, bool holds) const {
    if ((node.word == "==" || node.word == "!=") && (is_truth(node.parts[0]) || is_truth(node.parts[1]))) {
      const bool same = (node.word == "==") == holds;
      return std::string(same ? "both or neither of (" : "one alone of (") + statement(node.parts[0]) + ") and (" +
             statement(node.parts[1]) + ")";
    }
    for (SignWords const& one : kSigns)
      if (one.sign == node.word)
        return value(node.parts[0]) + " " + std::string(holds ? one.holds : one.fails) + " " + value(node.parts[1]);
    return "";
  }

  std::string among(std::uint32_t number) const {
    Expression const& node = syntax_.at(number);
    if (node.form == Form::list && !node.parts.empty()) return enumerated(node.parts, " or ");
    return "among " + value(number);
  }

  std::string arithmetic(Expression const& node) const {
    const std::string left = operand(node.parts[0], node.word), right = operand(node.parts[1]);
    if (node.word == "div") return left + " divided by " + right + ", rounded down";
    if (node.word == "mod") return "the rest of " + left + " divided by " + right;
    return left + (node.word == "*" ? " × " : node.word == "-" ? " − " : " + ") + right;
  }

  // Within a sum or a product; a row of the same sign goes on without brackets.
  std::string operand(std::uint32_t number, std::string_view sign = "") const {
    Expression const& node = syntax_.at(number);
    const bool goes_on = node.form == Form::arithmetic && node.word == sign && (sign == "+" || sign == "*");
    const bool is_simple = node.form == Form::literal || node.form == Form::name || node.form == Form::index ||
                           node.form == Form::conditional || goes_on;
    return is_simple ? value(number) : "(" + value(number) + ")";
  }

  // What a loop or rows run over.
  std::string among(Expression const& node) const {
    const std::string over =
        node.word + (node.form == Form::rows ? " of " + node.value.cell().text() : " among " + value(node.parts[0]));
    return node.parts.size() > 2 ? over + " where " + statement(node.parts[1]) : over;
  }

  std::string quantified(Expression const& node) const {
    const std::string among = this->among(node);
    if (node.operation == "any") return "for some " + among + ": " + statement(node.parts.back());
    if (node.operation == "all") return "for every " + among + ": " + statement(node.parts.back());
    return value_of_loop(node);
  }

  std::string gathered(Expression const& node) const {
    if (node.operation == "any" || node.operation == "all") return "whether " + quantified(node);
    return value_of_loop(node);
  }

  std::string value_of_loop(Expression const& node) const {
    const std::string among = this->among(node);
    Expression const& each = syntax_.at(node.parts.back());
    if (node.operation == "count") return "how many " + among + " have " + statement(node.parts.back());
    const bool is_itself = each.form == Form::name && each.word == node.word;
    const std::string what = value(node.parts.back());
    if (node.operation == "sum") return "the sum of " + (is_itself ? "" : what + " over ") + "all " + among;
    return is_itself ? "every " + among : what + " for every " + among;
  }

  std::string enumerated(Parts const& parts, std::string_view last) const {
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      if (i > 0) text += i + 1 == parts.size() ? last : std::string_view(", ");
      text += value(parts[i]);
    }
    return text;
  }

  std::optional<std::string> call(Expression const& node, std::span<CallWords const> table) const {
    for (CallWords const& one : table)
      if (one.name == node.word && (one.arguments == kAny || one.arguments == node.parts.size()))
        return filled(one.words, node.parts);
    return std::nullopt;
  }

  std::string filled(std::string_view words, Parts const& parts) const {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (words[i] != '{') {
        text += words[i];
        continue;
      }
      const char place = words[i + 1];
      i = words.find('}', i);
      if (place == 'a')
        text += enumerated(parts, " and ");
      else if (place == 'r')
        text += followed(parts);
      else
        text += argument(parts[static_cast<std::size_t>(place - '0')], words);
    }
    return text;
  }

  // Sums and products stand in brackets, unless they are all there is.
  std::string argument(std::uint32_t number, std::string_view words) const {
    const bool is_compound = syntax_.at(number).form == Form::arithmetic && words != "{0}";
    return is_compound ? "(" + value(number) + ")" : value(number);
  }

  std::string followed(Parts const& parts) const {
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) text += (i > 0 ? " followed by " : "") + value(parts[i]);
    return text;
  }

  Syntax const& syntax_;
  bool limits_;
};

}  // namespace

std::string Rule::in_words(Said said) const {
  const std::shared_ptr<Syntax const> tree = syntax();
  const Speaker speaker(*tree, said == Said::limits);
  const bool is_truth = type() == Type(Kind::truth);
  return is_truth && said != Said::value ? speaker.statement(tree->root) : speaker.phrase(tree->root);
}

// A message is compiled to a row of its pieces, which is written as a call.
std::string message_words(Rule const& text) {
  const Syntax syntax = parse(text.written());
  return Speaker(syntax, false).template_text(syntax.root);
}

}  // namespace kdi::cores
