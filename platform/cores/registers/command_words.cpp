#include "platform/cores/registers/command_words.h"

#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/cores/PadSection.h"

namespace kdi::cores {
namespace {

struct Toucher {
  std::vector<Touched> operator()(cdo::Section const&) const { return {}; }
  std::vector<Touched> operator()(cdo::Delay const&) const { return {}; }
  std::vector<Touched> operator()(cdo::Write const& write) const { return {{write.address, ~0U, write.value}}; }
  std::vector<Touched> operator()(cdo::MaskedWrite const& write) const {
    return {{write.address, write.mask, write.value}};
  }
  std::vector<Touched> operator()(cdo::Poll const& poll) const { return {{poll.address, poll.mask, poll.value}}; }
  std::vector<Touched> operator()(cdo::BlockWrite const& block) const {
    std::vector<Touched> all;
    for (cdo::Write const& write : cdo::writes_of(block)) all.push_back({write.address, ~0U, write.value});
    return all;
  }
};

}  // namespace

std::string hex_word(std::uint32_t word) { return "0x" + number::hexadecimal(word, 8); }

std::string bits_text(RegisterField const& field) {
  const std::string low = std::to_string(field.low);
  return field.width == 1 ? low : std::to_string(field.low + field.width - 1) + ":" + low;
}

std::uint32_t value_of(RegisterField const& field, std::uint32_t word) { return (word & field.mask()) >> field.low; }

std::string function_name(CommandSubject const& subject, RegisterField const& field, std::uint32_t value) {
  if (!field.pad || value == 0) return {};
  for (auto const& [name, number] : subject.map->pad_functions())
    if (number == value) return name;
  return {};
}

std::vector<std::string> deciding_parameters(CommandSubject const& subject, RegisterField const& field,
                                             std::uint32_t value) {
  std::vector<std::string> names;
  const auto add = [&](std::uint32_t parameter) {
    const KeptText name = subject.core->parameters()[parameter].name;
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  };
  if (const std::string function = function_name(subject, field, value); !function.empty()) {
    for (DescribedFunction const& one : subject.core->pads()->functions)
      if (one.name == function) {
        if (one.enabler) add(*one.enabler);
        if (one.parameter) add(*one.parameter);
      }
    return names;
  }
  for (const std::uint32_t parameter : field.parameters) add(parameter);
  return names;
}

std::uint32_t described_bits(Register const& reg) {
  std::uint32_t bits = 0;
  for (RegisterField const& field : reg.fields) bits |= field.mask();
  return bits;
}

std::vector<Touched> touched_by(cdo::Command const& command) { return std::visit(Toucher(), command); }

}  // namespace kdi::cores
