#include "platform/place/dictionary.h"

#include <cstdint>
#include <set>

#include "kdi/common/KdiText.h"

namespace kdi::place {
namespace {

constexpr int digit_of(char c, int base) {
  const int value = text::is_digit(c) ? c - '0' : text::is_letter(c) ? text::to_lower(c) - 'a' + 10 : 99;
  return value < base ? value : -1;
}

void append_utf8(std::string& all, std::uint32_t code) {
  const auto byte = [&](std::uint32_t value) { all += static_cast<char>(static_cast<unsigned char>(value)); };
  if (code < 0x80) return byte(code);
  if (code < 0x800) return byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F));
  if (code < 0x10000) return byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F));
  byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)), byte(0x80 | (code >> 6 & 0x3F)),
      byte(0x80 | (code & 0x3F));
}

// Takes elements off the front of a text as Tcl does.
class Elements {
 public:
  Elements(std::string_view rest, std::string const& what) : rest_(rest), what_(what) {}

  bool next(std::string& element) {
    while (!rest_.empty() && text::is_blank(rest_[0])) rest_.remove_prefix(1);
    if (rest_.empty()) return false;
    element.clear();
    if (rest_[0] == '{')
      braced(element);
    else if (rest_[0] == '"')
      quoted(element);
    else
      bare(element);
    return true;
  }

 private:
  [[noreturn]] void refuse(std::string const& fault) const { throw what_ + ": " + fault; }

  void braced(std::string& element) {
    std::size_t depth = 0, at = 0;
    for (; at < rest_.size(); ++at) {
      if (rest_[at] == '\\')
        ++at;
      else if (rest_[at] == '{')
        ++depth;
      else if (rest_[at] == '}' && --depth == 0)
        break;
    }
    if (at >= rest_.size()) refuse("a brace is open at the end");
    element = rest_.substr(1, at - 1);
    ended(at + 1, "a brace");
  }

  void quoted(std::string& element) {
    rest_.remove_prefix(1);
    while (!rest_.empty() && rest_[0] != '"') take(element);
    if (rest_.empty()) refuse("a quote is open at the end");
    ended(1, "a quote");
  }

  void bare(std::string& element) {
    while (!rest_.empty() && !text::is_blank(rest_[0])) take(element);
  }

  void ended(std::size_t length, char const* by) {
    rest_.remove_prefix(length);
    if (!rest_.empty() && !text::is_blank(rest_[0]))
      refuse("an element is ended by " + std::string(by) + " and goes on with " +
             text::shown(rest_.substr(0, rest_.find_first_of(text::kBlanks))));
  }

  // One character, or what a backslash stands for.
  void take(std::string& element) {
    const char first = rest_[0];
    rest_.remove_prefix(1);
    if (first != '\\' || rest_.empty()) {
      element += first;
      return;
    }
    const char escaped = rest_[0];
    constexpr std::string_view kNames = "abfnrtv", kValues = "\a\b\f\n\r\t\v";
    if (const auto at = kNames.find(escaped); at != std::string_view::npos) {
      rest_.remove_prefix(1);
      element += kValues[at];
    } else if (escaped == '\n') {
      rest_.remove_prefix(1);
      while (!rest_.empty() && (rest_[0] == ' ' || rest_[0] == '\t')) rest_.remove_prefix(1);
      element += ' ';
    } else if (escaped == 'x' || escaped == 'u' || escaped == 'U') {
      rest_.remove_prefix(1);
      number(element, escaped, 16, escaped == 'x' ? 2 : escaped == 'u' ? 4 : 8);
    } else if (escaped >= '0' && escaped <= '7') {
      number(element, escaped, 8, 3);
    } else {
      rest_.remove_prefix(1);
      element += escaped;
    }
  }

  void number(std::string& element, char name, int base, int most) {
    std::uint32_t value = 0;
    int digits = 0;
    for (; digits < most && !rest_.empty() && digit_of(rest_[0], base) >= 0; ++digits) {
      const std::uint32_t longer =
          value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit_of(rest_[0], base));
      // A digit more than a character or, in base 8, a byte has room for is one for itself.
      if (longer > (base == 8 ? 0xFFu : 0x10FFFFu)) break;
      value = longer;
      rest_.remove_prefix(1);
    }
    if (digits == 0)
      element += name;
    else if (value == 0)
      refuse("a character with the code 0");
    else
      append_utf8(element, value);
  }

  std::string_view rest_;
  std::string const& what_;
};

// Whether the element between braces is itself for Tcl, and on one line.
bool braces_do(std::string_view element) {
  long depth = 0;
  for (std::size_t at = 0; at < element.size(); ++at) {
    if (element[at] == '\\') {
      if (++at == element.size() || element[at] == '\n') return false;
    } else if (element[at] == '{') {
      ++depth;
    } else if (element[at] == '\n' || (element[at] == '}' && --depth < 0)) {
      return false;
    }
  }
  return depth == 0;
}

}  // namespace

std::vector<std::string> read_list(std::string_view text, std::string const& what) {
  std::vector<std::string> elements;
  Elements source(text, what);
  for (std::string element; source.next(element);) elements.push_back(element);
  return elements;
}

void append_element(std::string& list, std::string_view element) {
  constexpr std::string_view kSpecial = " \t\n\v\f\r{}[]$;\"\\";
  if (!list.empty()) list += ' ';
  if (!element.empty() && element[0] != '#' && element.find_first_of(kSpecial) == std::string_view::npos) {
    list += element;
  } else if (braces_do(element)) {
    list.append("{").append(element).append("}");
  } else {
    constexpr std::string_view kBlank = "\n\t\r\v\f", kName = "ntrvf";
    for (const char c : element) {
      if (const auto at = kBlank.find(c); at != std::string_view::npos) {
        list.append("\\") += kName[at];
        continue;
      }
      if (c == '#' || kSpecial.find(c) != std::string_view::npos) list += '\\';
      list += c;
    }
  }
}

std::string write_list(std::vector<std::string> const& elements) {
  std::string list;
  for (std::string const& element : elements) append_element(list, element);
  return list;
}

Pairs read_dictionary(std::string_view text, std::string const& what) {
  Pairs pairs;
  std::set<std::string> names;
  Elements source(text, what);
  for (std::string name, value; source.next(name);) {
    if (!names.insert(name).second) throw what + ": " + text::shown(name) + " is there twice";
    if (!source.next(value)) throw what + ": " + text::shown(name) + " has no value";
    pairs.emplace_back(name, value);
  }
  return pairs;
}

std::string write_dictionary(Pairs const& pairs) {
  std::string dictionary;
  for (auto const& [name, value] : pairs) {
    append_element(dictionary, name);
    append_element(dictionary, value);
  }
  return dictionary;
}

}  // namespace kdi::place
