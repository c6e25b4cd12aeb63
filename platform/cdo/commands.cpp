#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/cdo/c_form.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

std::string fault_of_address(std::uint32_t address) {
  return address % 4 == 0 ? std::string() : "the address " + hex_word(address) + " is no multiple of 4";
}

std::string fault_of_bits(std::uint32_t mask, std::uint32_t value) {
  return (value & ~mask) == 0 ? std::string() : "the value has bits outside of the mask";
}

std::string fault_of_time(std::uint32_t microseconds) {
  return microseconds <= kLongestTime ? std::string() : "a time of more than 60000000 us";
}

struct Judge {
  std::string operator()(Section const& section) const {
    if (section.name.empty() || section.name.size() > kLongestName) return "a section's name has 1 to 200 characters";
    const bool is_plain = std::all_of(section.name.begin(), section.name.end(),
                                      [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
    return is_plain ? std::string() : "a section's name has printable ASCII characters without \" and \\ alone";
  }
  std::string operator()(Write const& write) const { return fault_of_address(write.address); }
  std::string operator()(MaskedWrite const& write) const {
    const std::string fault = fault_of_address(write.address);
    return fault.empty() ? fault_of_bits(write.mask, write.value) : fault;
  }
  std::string operator()(Poll const& poll) const {
    if (std::string fault = fault_of_address(poll.address); !fault.empty()) return fault;
    if (std::string fault = fault_of_bits(poll.mask, poll.value); !fault.empty()) return fault;
    return fault_of_time(poll.timeout_us);
  }
  std::string operator()(Delay const& delay) const { return fault_of_time(delay.microseconds); }
  std::string operator()(BlockWrite const& block) const {
    if (block.words.empty() || block.words.size() > kMostWords) return "a block has 1 to 65535 words";
    if (std::uint64_t{block.address} + 4 * block.words.size() > std::uint64_t{1} << 32)
      return "the block reaches beyond the last address";
    return fault_of_address(block.address);
  }
};

}  // namespace

std::string fault_of(Command const& command) { return std::visit(Judge(), command); }

void check(Commands const& commands) {
  if (commands.size() > kMostCommands) throw CdoError("more than 1000000 commands");
  for (std::size_t i = 0; i < commands.size(); ++i)
    if (const std::string fault = fault_of(commands[i]); !fault.empty())
      throw CdoError("command " + std::to_string(i) + ": " + fault);
}

std::string remark_of(Remark const& remark, std::size_t command) {
  std::string text = remark ? remark(command) : std::string();
  std::replace_if(text.begin(), text.end(), text::is_control, ' ');
  return text;
}

std::string hex_word(std::uint32_t word) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "0x00000000";
  for (std::size_t i = 0; i < 8; ++i) text[9 - i] = kDigits[word >> (4 * i) & 15];
  return text;
}

Commands from_any(std::string_view content, std::string const& name) {
  if (content.starts_with("CDO1")) return from_binary(content, name);
  if (content.starts_with(kCHead)) return from_c(content, name).commands;
  return from_text(content, name);
}

}  // namespace kdi::cdo
