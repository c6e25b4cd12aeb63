// The C form: the commands as function calls, in pieces that any compiler takes.
#include <algorithm>

#include "kdi/common/KdiText.h"
#include "platform/cdo/c_form.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

constexpr std::size_t kMostOfAFunction = 200;  // commands: compilers need more than linear time for long ones
constexpr std::size_t kWordsOfALine = 6;

std::string c_word(std::uint32_t word) { return hex_word(word) + "U"; }

// A remark, or a section's name, that ends no comment early and begins none: a backslash keeps the signs apart.
std::string comment(std::string_view text) {
  std::string all(kCBeginRemark);
  char last = ' ';
  for (const char c : text) {
    if ((last == '*' && c == '/') || (last == '/' && c == '*')) all += '\\';
    all += c;
    last = c;
  }
  return all += kCEndRemark;
}

std::string call(std::string_view begin, std::initializer_list<std::string> numbers) {
  std::string text(begin);
  char const* before = "";
  for (std::string const& number : numbers) {
    text += before + number;
    before = ", ";
  }
  return text + ")";
}

struct Statement {
  std::size_t number;

  std::string operator()(Section const& section) const { return comment(section.name); }
  std::string operator()(Write const& write) const {
    return call(kCWrite, {c_word(write.address), c_word(write.value)}) + ";";
  }
  std::string operator()(MaskedWrite const& write) const {
    return call(kCMaskedWrite, {c_word(write.address), c_word(write.mask), c_word(write.value)}) + ";";
  }
  std::string operator()(Poll const& poll) const {
    return call(kCPoll,
                {c_word(poll.address), c_word(poll.mask), c_word(poll.value), std::to_string(poll.timeout_us) + "U"}) +
           " != 0) return " + std::to_string(number + 1) + ";";
  }
  std::string operator()(Delay const& delay) const {
    return call(kCDelay, {std::to_string(delay.microseconds) + "U"}) + ";";
  }
  std::string operator()(BlockWrite const& block) const {
    std::string text = "{\n    static const uint32_t words[] = {";
    for (std::size_t i = 0; i < block.words.size(); ++i) {
      if (i > 0) text += ',';
      text += i % kWordsOfALine == 0 ? "\n        " : " ";
      (text += hex_word(block.words[i])) += 'U';
    }
    return text + "};\n    size_t i;\n    for (i = 0; i < " + std::to_string(block.words.size()) + "; ++i)\n      " +
           call(kCWrite, {c_word(block.address) + " + 4U * (uint32_t)i", "words[i]"}) + ";\n  }";
  }
};

}  // namespace

bool is_c_name(std::string_view name) {
  const auto fits = [](char c) { return text::is_letter_or_digit(c) || c == '_'; };
  return !name.empty() && !text::is_digit(name[0]) && std::all_of(name.begin(), name.end(), fits);
}

bool has_comment_signs(std::string_view text) {
  return text.find("*/") != std::string_view::npos || text.find("/*") != std::string_view::npos;
}

std::string to_c(Commands const& commands, std::string const& name, Remark const& remark) {
  check(commands);
  if (!is_c_name(name)) throw CdoError(text::shown(name) + " is no C name");
  std::string text(kCHead);
  std::string calls;
  for (std::size_t at = 0; at < commands.size(); at += kMostOfAFunction) {
    const std::string piece = name + "_" + std::to_string(at / kMostOfAFunction);
    text += "\nstatic int " + piece + "(const struct cdo_access *access) {\n";
    text += "  (void)access;\n";
    for (std::size_t i = at; i < std::min(commands.size(), at + kMostOfAFunction); ++i) {
      text += "  " + std::visit(Statement{i}, commands[i]);
      if (const std::string words = remark_of(remark, i); !words.empty()) text += "  " + comment(words);
      text += '\n';
      if (text.size() > kLargestFile) throw CdoError("the source would have more than 64 MiB");
    }
    text += "  return 0;\n}\n";
    calls += "  failed = " + piece + "(access);\n  if (failed != 0) return failed;\n";
  }
  const std::string function = "int " + name + std::string(kCFunction);
  text +=
      "\n/* Carries the commands out. 0, or the number of the command, counted from 1, whose poll never came true. "
      "*/\n";
  text += function + ";\n" + function + " {\n";
  text += calls.empty() ? "  (void)access;\n" : "  int failed;\n" + calls;
  return text + "  return 0;\n}\n";
}

}  // namespace kdi::cdo
