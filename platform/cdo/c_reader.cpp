// The way back from the C form. Commands are picked out of the lines by how these begin; what makes the reading sound
// is that the commands, written anew, have to give the same lines.
#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "kdi/common/KdiText.h"
#include "platform/cdo/c_form.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

constexpr std::string_view kIndent = "  ";

// The numbers of a line that have a U behind them. What is not read so is found when the line is compared.
std::vector<std::uint32_t> numbers_of(std::string_view line) {
  std::vector<std::uint32_t> numbers;
  char const* const end = line.data() + line.size();
  for (char const* at = line.data(); at < end;) {
    if (!text::is_digit(*at)) {
      ++at;
      continue;
    }
    const bool is_hex = end - at > 2 && at[0] == '0' && at[1] == 'x';
    std::uint32_t number = 0;
    const auto [behind, error] = std::from_chars(is_hex ? at + 2 : at, end, number, is_hex ? 16 : 10);
    if (error == std::errc() && behind < end && *behind == 'U') numbers.push_back(number);
    at = std::max(behind, at + 1);
  }
  return numbers;
}

// A remark stands at the end of a line, behind two blanks. Without it a line is what the writer makes of the command.
std::string_view without_remark(std::string_view line) {
  const std::size_t at = line.find("  /* ", 1);
  const std::size_t begin = at + kIndent.size() + kCBeginRemark.size();
  if (at == std::string_view::npos || !line.ends_with(kCEndRemark) || begin + kCEndRemark.size() > line.size())
    return line;
  const std::string_view words = line.substr(begin, line.size() - kCEndRemark.size() - begin);
  return has_comment_signs(words) ? line : line.substr(0, at);
}

std::string name_in(std::string_view comment) {
  std::string name(comment);
  std::erase(name, '\\');  // which the writer put between signs; a name has none of its own
  return name;
}

class CReader {
 public:
  CReader(std::string_view text, std::string const& name) : text_(text), name_(name) {}

  Source read() {
    if (text_.size() > kLargestFile) throw CdoError(name_ + ": more than 64 MiB");
    for (const std::string_view line : text::lines(text_)) {
      ++line_;
      const std::string_view words = without_remark(line);
      (plain_ += words) += '\n';
      take(words);
    }
    if (source_.name.empty()) refuse("a source ends with the function that carries the commands out");
    compare(to_c(source_.commands, source_.name));
    return std::move(source_);
  }

 private:
  [[noreturn]] void refuse(std::string const& what) const {
    throw CdoError(name_ + ":" + std::to_string(line_) + ": " + what);
  }

  void take(std::string_view line) {
    constexpr std::string_view kInt = "int ";
    if (line.starts_with(kInt) && line.ends_with(std::string(kCFunction) + ";"))
      take_name(line.substr(kInt.size(), line.size() - kInt.size() - kCFunction.size() - 1));
    if (!line.starts_with(kIndent)) return;
    line.remove_prefix(kIndent.size());
    if (block_)
      take_of_block(line);
    else if (line == "{")
      block_.emplace();
    else if (auto command = command_in(line))
      add(std::move(*command));
  }

  void take_name(std::string_view name) {
    if (!is_c_name(name)) refuse(text::shown(name) + " is no C name");
    source_.name = name;
  }

  static std::optional<Command> command_in(std::string_view line) {
    if (line.starts_with(kCBeginRemark) && line.size() >= kCBeginRemark.size() + kCEndRemark.size())
      return Section{
          name_in(line.substr(kCBeginRemark.size(), line.size() - kCBeginRemark.size() - kCEndRemark.size()))};
    const std::vector<std::uint32_t> n = numbers_of(line);
    if (line.starts_with(kCWrite) && n.size() == 2) return Write{n[0], n[1]};
    if (line.starts_with(kCMaskedWrite) && n.size() == 3) return MaskedWrite{n[0], n[1], n[2]};
    if (line.starts_with(kCPoll) && n.size() == 4) return Poll{n[0], n[1], n[2], n[3]};
    if (line.starts_with(kCDelay) && n.size() == 1) return Delay{n[0]};
    return std::nullopt;
  }

  void take_of_block(std::string_view line) {
    if (line == "}") {
      add(*std::exchange(block_, std::nullopt));
      return;
    }
    const std::vector<std::uint32_t> numbers = numbers_of(line);
    if (line.starts_with("    " + std::string(kCWrite))) {
      if (!numbers.empty()) block_->address = numbers[0];
    } else {
      block_->words.insert(block_->words.end(), numbers.begin(), numbers.end());
    }
  }

  void add(Command command) {
    if (const std::string fault = fault_of(command); !fault.empty()) refuse(fault);
    if (source_.commands.size() == kMostCommands) refuse("more than 1000000 commands");
    source_.commands.push_back(std::move(command));
  }

  void compare(std::string const& written) {
    if (plain_ == written) return;
    const auto at = static_cast<std::size_t>(
        std::mismatch(plain_.begin(), plain_.end(), written.begin(), written.end()).first - plain_.begin());
    line_ = 1 + static_cast<std::size_t>(
                    std::count(plain_.begin(), plain_.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    if (at == written.size()) refuse("nothing may stand behind the source");
    const std::size_t begin = at == 0 ? 0 : written.rfind('\n', at - 1) + 1;
    refuse(text::shown(written.substr(begin, written.find('\n', begin) - begin)) + " is expected");
  }

  std::string_view text_;
  std::string const& name_;
  std::size_t line_ = 0;
  std::string plain_;  // without remarks
  std::optional<BlockWrite> block_;
  Source source_;
};

}  // namespace

Source from_c(std::string_view text, std::string const& name) { return CReader(text, name).read(); }

}  // namespace kdi::cdo
