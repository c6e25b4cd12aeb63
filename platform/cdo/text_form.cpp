// The text form: a line for each command, between a line that says what it is and one that says how much there is of
// it.
#include <optional>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

constexpr std::string_view kFirstLine = "cdo 1";

struct Line {
  std::string operator()(Section const& section) const { return "section \"" + section.name + "\""; }
  std::string operator()(Write const& write) const {
    return "write " + hex_word(write.address) + " " + hex_word(write.value);
  }
  std::string operator()(MaskedWrite const& write) const {
    return "mask_write " + hex_word(write.address) + " " + hex_word(write.mask) + " " + hex_word(write.value);
  }
  std::string operator()(Poll const& poll) const {
    return "poll " + hex_word(poll.address) + " " + hex_word(poll.mask) + " " + hex_word(poll.value) + " " +
           std::to_string(poll.timeout_us);
  }
  std::string operator()(Delay const& delay) const { return "delay " + std::to_string(delay.microseconds); }
  std::string operator()(BlockWrite const& block) const {
    std::string line = "block_write " + hex_word(block.address);
    for (const std::uint32_t word : block.words) line += " " + hex_word(word);
    return line;
  }
};

class Reader {
 public:
  Reader(std::string_view text, std::string const& name) : text_(text), name_(name) {}

  Commands read() {
    if (text_.size() > kLargestFile) throw CdoError(name_ + ": more than 64 MiB");
    bool is_first = true, is_ended = false;
    for (std::string_view line : text::lines(text_)) {
      ++line_;
      if (line.ends_with('\r')) line.remove_suffix(1);
      words_ = words_of(line);
      if (words_.empty()) continue;
      if (is_ended) refuse("nothing may stand behind the line end");
      if (is_first) {
        if (line != kFirstLine) refuse("the first line has to be " + std::string(kFirstLine));
        is_first = false;
      } else if (words_[0] == "end") {
        end();
        is_ended = true;
      } else {
        add();
      }
    }
    if (!is_ended) refuse("the line end is missing");
    return std::move(commands_);
  }

 private:
  [[noreturn]] void refuse(std::string const& what) const {
    throw CdoError(name_ + ":" + std::to_string(line_) + ": " + what);
  }

  // Words between blanks; one in quotation marks is one. What stands behind # is for people.
  std::vector<std::string_view> words_of(std::string_view line) const {
    std::vector<std::string_view> words;
    for (std::size_t at = 0; at < line.size();) {
      if (line[at] == ' ' || line[at] == '\t') {
        ++at;
        continue;
      }
      if (line[at] == '#') break;
      const std::size_t end = line[at] == '"' ? line.find('"', at + 1) : line.find_first_of(" \t#", at);
      if (line[at] == '"' && end == std::string_view::npos) refuse("a quotation mark without its partner");
      const std::size_t behind = end == std::string_view::npos ? line.size() : line[at] == '"' ? end + 1 : end;
      words.push_back(line.substr(at, behind - at));
      at = behind;
    }
    return words;
  }

  // Decimal, or hexadecimal behind 0x.
  std::uint32_t number(std::size_t word) const {
    std::string_view digits = words_[word];
    const bool is_hex = digits.starts_with("0x");
    if (is_hex) digits.remove_prefix(2);
    std::uint64_t value = 0;
    bool is_good = !digits.empty() && digits.size() <= 10;
    for (const char c : digits) {
      const bool is_letter = c >= 'a' && c <= 'f';
      const bool is_capital = c >= 'A' && c <= 'F';
      is_good = is_good && (text::is_digit(c) || (is_hex && (is_letter || is_capital)));
      const int digit = is_letter ? c - 'a' + 10 : is_capital ? c - 'A' + 10 : c - '0';
      value = value * (is_hex ? 16 : 10) + static_cast<std::uint64_t>(digit);
    }
    if (!is_good || value > 0xFFFFFFFFU) refuse("a number of 32 bits is expected, not " + text::shown(words_[word]));
    return static_cast<std::uint32_t>(value);
  }

  void expect(std::size_t numbers, std::string_view what) const {
    if (words_.size() != numbers + 1) refuse(std::string(words_[0]) + " takes " + std::string(what));
  }

  std::optional<Command> command() const {
    std::string_view const word = words_[0];
    if (word == "section") {
      expect(1, "a name in quotation marks");
      std::string_view name = words_[1];
      if (!name.starts_with('"')) refuse("section takes a name in quotation marks");
      return Section{std::string(name.substr(1, name.size() - 2))};
    }
    if (word == "write") {
      expect(2, "address and value");
      return Write{number(1), number(2)};
    }
    if (word == "mask_write") {
      expect(3, "address, mask and value");
      return MaskedWrite{number(1), number(2), number(3)};
    }
    if (word == "poll") {
      expect(4, "address, mask, value and the most microseconds");
      return Poll{number(1), number(2), number(3), number(4)};
    }
    if (word == "delay") {
      expect(1, "microseconds");
      return Delay{number(1)};
    }
    if (word == "block_write") {
      if (words_.size() < 3) refuse("block_write takes an address and values");
      BlockWrite block{number(1), {}};
      if (words_.size() - 2 > kMostWords) refuse("a block has 1 to 65535 words");
      for (std::size_t i = 2; i < words_.size(); ++i) block.words.push_back(number(i));
      return block;
    }
    return std::nullopt;
  }

  void add() {
    std::optional<Command> read = command();
    if (!read) refuse("no command is called " + text::shown(words_[0]));
    if (const std::string fault = fault_of(*read); !fault.empty()) refuse(fault);
    if (commands_.size() == kMostCommands) refuse("more than 1000000 commands");
    commands_.push_back(std::move(*read));
  }

  void end() const {
    expect(1, "the number of commands");
    if (number(1) != commands_.size())
      refuse("the line end tells " + std::string(words_[1]) + " commands, and there are " +
             std::to_string(commands_.size()));
  }

  std::string_view text_;
  std::string const& name_;
  std::size_t line_ = 0;
  std::vector<std::string_view> words_;
  Commands commands_;
};

}  // namespace

std::string line_of(Command const& command) { return std::visit(Line(), command); }

std::string to_text(Commands const& commands, Remark const& remark) {
  check(commands);
  std::string text(kFirstLine);
  text += '\n';
  for (std::size_t i = 0; i < commands.size(); ++i) {
    text += line_of(commands[i]);
    if (const std::string words = remark_of(remark, i); !words.empty()) text += "  # " + words;
    text += '\n';
  }
  text += "end " + std::to_string(commands.size()) + "\n";
  if (text.size() > kLargestFile) throw CdoError("the text would have more than 64 MiB");
  return text;
}

Commands from_text(std::string_view text, std::string const& name) { return Reader(text, name).read(); }

}  // namespace kdi::cdo
