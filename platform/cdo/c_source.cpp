// The C form: the commands as function calls, in pieces that any compiler takes.
#include <algorithm>

#include "kdi/common/KdiText.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

constexpr std::size_t kMostOfAFunction = 200;  // commands: compilers need more than linear time for long ones
constexpr std::size_t kWordsOfALine = 6;

constexpr std::string_view kHead =
    "#include <stddef.h>\n"
    "#include <stdint.h>\n"
    "\n"
    "/* How registers are reached. poll answers 0 once (read & mask) == value, and something else after so many "
    "microseconds\n"
    " * without; delay waits. context is the caller's. */\n"
    "#ifndef CDO_ACCESS\n"
    "#define CDO_ACCESS\n"
    "struct cdo_access {\n"
    "  void (*write)(void *context, uint32_t address, uint32_t value);\n"
    "  void (*mask_write)(void *context, uint32_t address, uint32_t mask, uint32_t value);\n"
    "  int (*poll)(void *context, uint32_t address, uint32_t mask, uint32_t value, uint32_t timeout_us);\n"
    "  void (*delay)(void *context, uint32_t microseconds);\n"
    "  void *context;\n"
    "};\n"
    "#endif\n";

std::string c_word(std::uint32_t word) { return hex_word(word) + "U"; }

bool is_c_name(std::string_view name) {
  const auto fits = [](char c) { return text::is_letter_or_digit(c) || c == '_'; };
  return !name.empty() && !text::is_digit(name[0]) && std::all_of(name.begin(), name.end(), fits);
}

// A remark, or a section's name, that ends no comment early and begins none.
std::string comment(std::string text) {
  for (std::string_view const sign : {"*/", "/*"})
    for (std::size_t at = text.find(sign); at != std::string::npos; at = text.find(sign, at)) text.insert(at + 1, " ");
  return "/* " + text + " */";
}

struct Statement {
  std::size_t number;

  std::string operator()(Section const& section) const { return comment(section.name); }
  std::string operator()(Write const& write) const {
    return "access->write(access->context, " + c_word(write.address) + ", " + c_word(write.value) + ");";
  }
  std::string operator()(MaskedWrite const& write) const {
    return "access->mask_write(access->context, " + c_word(write.address) + ", " + c_word(write.mask) + ", " +
           c_word(write.value) + ");";
  }
  std::string operator()(Poll const& poll) const {
    return "if (access->poll(access->context, " + c_word(poll.address) + ", " + c_word(poll.mask) + ", " +
           c_word(poll.value) + ", " + std::to_string(poll.timeout_us) + "U) != 0) return " +
           std::to_string(number + 1) + ";";
  }
  std::string operator()(Delay const& delay) const {
    return "access->delay(access->context, " + std::to_string(delay.microseconds) + "U);";
  }
  std::string operator()(BlockWrite const& block) const {
    std::string text = "{\n    static const uint32_t words[] = {";
    for (std::size_t i = 0; i < block.words.size(); ++i)
      text += (i == 0 ? "" : ",") + std::string(i % kWordsOfALine == 0 ? "\n        " : " ") + c_word(block.words[i]);
    return text + "};\n    size_t i;\n    for (i = 0; i < " + std::to_string(block.words.size()) +
           "; ++i)\n      access->write(access->context, " + c_word(block.address) +
           " + 4U * (uint32_t)i, words[i]);\n  }";
  }
};

}  // namespace

std::string to_c(Commands const& commands, std::string const& name, Remark const& remark) {
  check(commands);
  if (!is_c_name(name)) throw CdoError(text::shown(name) + " is no C name");
  std::string text(kHead);
  std::string calls;
  for (std::size_t at = 0; at < commands.size(); at += kMostOfAFunction) {
    const std::string piece = name + "_" + std::to_string(at / kMostOfAFunction);
    text += "\nstatic int " + piece + "(const struct cdo_access *access) {\n";
    text += "  (void)access;\n";
    for (std::size_t i = at; i < std::min(commands.size(), at + kMostOfAFunction); ++i) {
      if (const std::string words = remark_of(remark, i); !words.empty()) text += "  " + comment(words) + "\n";
      text += "  " + std::visit(Statement{i}, commands[i]) + "\n";
    }
    text += "  return 0;\n}\n";
    calls += "  failed = " + piece + "(access);\n  if (failed != 0) return failed;\n";
  }
  text +=
      "\n/* Carries the commands out. 0, or the number of the command, counted from 1, whose poll never came true. "
      "*/\n";
  text += "int " + name + "_configure(const struct cdo_access *access);\n";
  text += "int " + name + "_configure(const struct cdo_access *access) {\n";
  text += calls.empty() ? "  (void)access;\n" : "  int failed;\n" + calls;
  return text + "  return 0;\n}\n";
}

}  // namespace kdi::cdo
