#include "host/kdish/command_end.h"

#include <algorithm>

#include "kdi/common/KdiText.h"

namespace kdish {
namespace {

constexpr std::string_view kContinuation = "\\\n";

// A line feed ends a command.
bool is_space(char c) { return c != '\n' && kdi::text::is_blank(c); }

}  // namespace

void CommandEnd::clear() {
  open_.assign(1, {Inside::script});
  goes_on_ = false;
  is_wrong_ = false;
}

bool CommandEnd::add(std::string_view line) {
  while (!line.empty() && !is_wrong_) {
    goes_on_ = false;
    line.remove_prefix(std::min(step(line), line.size()));
  }
  return is_wrong_ || (open_.size() == 1 && !goes_on_);
}

// Each step returns how many characters it has taken.
std::size_t CommandEnd::step(std::string_view rest) {
  switch (open_.back().inside) {
    case Inside::braces:
      if (rest.front() == '\\') return 2;
      return step_in_braces(rest.front());
    case Inside::name:
      if (rest.front() == '}') open_.pop_back();
      return 1;
    case Inside::quotes:
    case Inside::index:
      if (rest.front() != (open_.back().inside == Inside::quotes ? '"' : ')')) return token(rest);
      open_.pop_back();
      return 1;
    case Inside::script:
    case Inside::substitution:
      break;
  }
  return step_in_script(rest);
}

std::size_t CommandEnd::step_in_braces(char c) {
  std::size_t& depth = open_.back().depth;
  if (c == '{') ++depth;
  if (c == '}' && --depth == 0) open_.pop_back();
  return 1;
}

std::size_t CommandEnd::step_in_script(std::string_view rest) {
  At& at = open_.back().at;
  const char c = rest.front();
  if (rest.starts_with(kContinuation)) {
    goes_on_ = true;
    if (at != At::command && at != At::comment) at = At::word;
    return kContinuation.size();
  }
  if (at == At::comment) {
    if (c == '\n') at = At::command;
    return c == '\\' ? 2 : 1;
  }
  if (at == At::command && (is_space(c) || c == '\n')) return 1;
  if (at == At::command && c == '#') {
    at = At::comment;
    return 1;
  }
  if (is_space(c)) {
    at = At::word;
    return 1;
  }
  if (ends_command(c)) {
    end_command(c);
    return 1;
  }
  if (at == At::in_word) return token(rest);
  if (at != At::behind_closing) return begin_word(rest);
  is_wrong_ = true;  // only a blank or the command's end stands behind a closing quote or brace
  return 1;
}

std::size_t CommandEnd::begin_word(std::string_view rest) {
  constexpr std::string_view kExpansion = "{*}";
  At& at = open_.back().at;
  if (at != At::behind_expansion && rest.starts_with(kExpansion)) {
    at = At::behind_expansion;
    return kExpansion.size();
  }
  const char c = rest.front();
  if (c != '{' && c != '"') {
    at = At::in_word;
    return token(rest);
  }
  at = At::behind_closing;
  open_.push_back({c == '{' ? Inside::braces : Inside::quotes});
  return 1;
}

bool CommandEnd::ends_command(char c) const {
  return c == '\n' || c == ';' || (c == ']' && open_.back().inside == Inside::substitution);
}

void CommandEnd::end_command(char c) {
  if (c == ']')
    open_.pop_back();
  else
    open_.back().at = At::command;
}

// In a word, in quotes, in an index.
std::size_t CommandEnd::token(std::string_view rest) {
  if (rest.front() == '\\') return 2;
  if (rest.front() == '$') return variable(rest);
  if (rest.front() == '[') open_.push_back({Inside::substitution});
  return 1;
}

std::size_t CommandEnd::variable(std::string_view rest) {
  if (rest.substr(1).starts_with('{')) {
    open_.push_back({Inside::name});
    return 2;
  }
  std::size_t end = 1;
  for (;;) {
    if (end < rest.size() && (kdi::text::is_letter_or_digit(rest[end]) || rest[end] == '_')) {
      ++end;
    } else if (rest.substr(end).starts_with("::")) {
      end = std::min(rest.find_first_not_of(':', end), rest.size());
    } else {
      break;
    }
  }
  if (!rest.substr(end).starts_with('(')) return end;
  open_.push_back({Inside::index});
  return end + 1;
}

}  // namespace kdish
