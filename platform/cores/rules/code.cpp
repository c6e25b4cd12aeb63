#include "platform/cores/rules/code.h"

#include <bit>
#include <type_traits>

namespace kdi::cores {

void CodeDraft::clear() {
  program.clear();
  constants.clear();
  sets.clear();
  functions.clear();
  reads.clear();
  registers = 0;
}

std::size_t TextSet::room(std::size_t texts) { return std::bit_ceil(2 * texts + 1); }

TextSet::TextSet(std::span<Cell const> texts, std::span<Node const*> places)
    : places_(places), mask_(places.size() - 1) {
  for (const Cell text : texts) {
    if (contains(*text.node())) continue;
    std::size_t at = text.node()->hash() & mask_;
    while (places_[at] != nullptr) at = (at + 1) & mask_;
    places_[at] = text.node();
  }
}

CodeStore::~CodeStore() {
  for (std::span<Cell const> const constants : constants_)
    for (const Cell cell : constants)
      if (cell.has_node()) cell.node()->release();
}

// `count` items made by `make(number)`.
template <class Make>
auto CodeStore::row(std::size_t count, Make make) {
  using Item = decltype(make(0));
  static_assert(std::is_trivially_destructible_v<Item>);  // nobody destroys them
  if (count == 0) return std::span<Item>();
  Item* const first = static_cast<Item*>(memory_.allocate(count * sizeof(Item), alignof(Item)));
  for (std::size_t i = 0; i < count; ++i) new (first + i) Item(make(i));
  return std::span<Item>(first, count);
}

Code const& CodeStore::add(CodeDraft const& draft) {
  Code& code = row(1, [](std::size_t) { return Code(); }).front();  // in front of what a machine goes through
  code.registers = draft.registers;
  code.result = draft.result;
  code.type = draft.type;
  const auto copy = [this](auto const& items) { return row(items.size(), [&](std::size_t i) { return items[i]; }); };
  code.program = copy(draft.program);
  const std::span<Cell> constants = row(draft.constants.size(), [](std::size_t) { return Cell(); });
  constants_.push_back(constants);
  for (std::size_t i = 0; i < constants.size(); ++i) {
    constants[i] = draft.constants[i].cell();
    if (constants[i].has_node()) constants[i].node()->retain();
  }
  code.constants = constants;
  code.functions = copy(draft.functions);
  code.reads = copy(draft.reads);
  code.sets = row(draft.sets.size(), [&](std::size_t i) {
    const std::span<Cell const> texts = constants[draft.sets[i]].elements();
    return TextSet(texts, row(TextSet::room(texts.size()), [](std::size_t) -> Node const* { return nullptr; }));
  });
  return code;
}

}  // namespace kdi::cores
