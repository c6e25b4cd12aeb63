#include "platform/cores/rules/code.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "platform/cores/rules/lexer.h"
#include "platform/cores/rules/syntax.h"

namespace kdi::cores {

void CodeDraft::clear() {
  program.clear();
  constants.clear();
  sets.clear();
  functions.clear();
  said.clear();
  reads.clear();
  registers = 0;
}

namespace {

// Whether that is one and the same value; texts and lists that are equal are the same object here.
bool is_same(Cell a, Cell b) { return a.kind() == b.kind() && (a.has_node() ? a.node() == b.node() : a == b); }

}  // namespace

std::size_t CodeDraft::hash() const {
  std::size_t hash = registers;
  const auto add = [&hash](std::uint64_t value) {
    constexpr std::size_t kFactor = 0x9e3779b97f4a7c15;
    hash = (hash ^ value) * kFactor;
    hash ^= hash >> 29;
  };
  for (Instruction const& one : program) {
    add(static_cast<std::uint64_t>(one.target) << 32 | static_cast<std::uint64_t>(one.op) << 8 | one.mode);
    add(static_cast<std::uint64_t>(one.a) << 32 | one.b);
  }
  for (Value const& constant : constants) {
    const Cell cell = constant.cell();
    add(cell.has_node() ? static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(cell.node()))
                        : static_cast<std::uint64_t>(cell.integer()));
  }
  add(result);
  return hash;
}

bool CodeDraft::is(CodeBody const& body) const {
  return registers == body.registers && result == body.result && type == body.type &&
         std::equal(program.begin(), program.end(), body.program.begin(), body.program.end()) &&
         std::equal(functions.begin(), functions.end(), body.functions.begin(), body.functions.end()) &&
         std::equal(constants.begin(), constants.end(), body.constants.begin(), body.constants.end(),
                    [](Value const& own, Cell other) { return is_same(own.cell(), other); }) &&
         std::equal(said.begin(), said.end(), body.said.begin(), body.said.end());
}

std::optional<std::uint32_t> Code::slot() const {
  const bool is_one = body->program.empty() && body->result >> kIndexBits == static_cast<std::uint32_t>(Bank::slot);
  return is_one ? std::optional(reads()[index_of(body->result)]) : std::nullopt;
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

void intrusive_ptr_add_ref(Code const* code) { intrusive_ptr_add_ref(code->store); }
void intrusive_ptr_release(Code const* code) { intrusive_ptr_release(code->store); }

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
  // NOLINTNEXTLINE(bugprone-sizeof-expression): an item may be a pointer
  Item* const first = static_cast<Item*>(memory_.allocate(count * sizeof(Item), alignof(Item)));
  for (std::size_t i = 0; i < count; ++i) new (first + i) Item(make(i));
  return std::span<Item>(first, count);
}

template <class CellOf>
std::span<Cell> CodeStore::retained(std::size_t count, CellOf cell_of) {
  const std::span<Cell> cells = row(count, cell_of);
  for (const Cell cell : cells)
    if (cell.has_node()) cell.node()->retain();
  constants_.push_back(cells);
  return cells;
}

Code const& CodeStore::add(CodeBody const& body, std::vector<std::uint32_t> const& reads, Source source,
                           bool says_other) {
  const std::size_t slots = reads.size() * sizeof(std::uint32_t);
  std::byte* const place =
      static_cast<std::byte*>(memory_.allocate(sizeof(Code) + slots + source.text.size(), alignof(Code)));
  Code const* const code = new (place) Code{&body,
                                            this,
                                            static_cast<std::uint32_t>(reads.size()),
                                            static_cast<std::uint32_t>(source.text.size()),
                                            source.places,
                                            source.writing,
                                            says_other};
  std::copy(reads.begin(), reads.end(), reinterpret_cast<std::uint32_t*>(place + sizeof(Code)));
  source.text.copy(reinterpret_cast<char*>(place + sizeof(Code) + slots), source.text.size());
  return *code;
}

char const* CodeStore::keep(std::string_view text) {
  char* const copy = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
  text.copy(copy, text.size());
  copy[text.size()] = '\0';
  return copy;
}

CodeBody const& Code::own_body() const { return says_other ? store->body_saying(*this) : *body; }

std::shared_ptr<Syntax const> CodeStore::syntax_of(Code const& code) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Syntax const>& known = syntaxes_[&code];
  if (!known) known = std::make_shared<Syntax const>(parse(code.text(), code.writing));
  return known;
}

CodeBody const& CodeStore::body_saying(Code const& message) {
  const std::lock_guard lock(mutex_);
  CodeBody const*& known = saying_[&message];
  if (known != nullptr) return *known;
  std::vector<Value> texts;
  TemplatePieces pieces(message.text());
  while (const auto piece = pieces.next())
    if (!piece->is_expression) texts.emplace_back(pieces.said(*piece));
  CodeBody const& like = *message.body;
  CodeBody& own = row(1, [&](std::size_t) { return like; }).front();
  std::size_t next = 0;
  own.constants = retained(like.constants.size(), [&](std::size_t i) {
    return next < like.said.size() && like.said[next] == i ? texts[next++].cell() : like.constants[i];
  });
  known = &own;
  return own;
}

CodeBody const& CodeStore::body_of(CodeDraft const& draft) {
  const std::size_t hash = draft.hash();
  const auto [first, last] = bodies_.equal_range(hash);
  const auto known = std::find_if(first, last, [&](auto const& entry) { return draft.is(*entry.second); });
  if (known != last) return *known->second;
  CodeBody& body = row(1, [](std::size_t) { return CodeBody(); }).front();  // in front of what a machine goes through
  body.number = static_cast<std::uint32_t>(numbered_.size());
  numbered_.push_back(&body);
  body.registers = draft.registers;
  body.result = draft.result;
  body.type = draft.type;
  const auto copy = [this](auto const& items) { return row(items.size(), [&](std::size_t i) { return items[i]; }); };
  body.program = copy(draft.program);
  const std::span<Cell> constants =
      retained(draft.constants.size(), [&](std::size_t i) { return draft.constants[i].cell(); });
  body.constants = constants;
  body.functions = copy(draft.functions);
  body.said = copy(draft.said);
  body.sets = row(draft.sets.size(), [&](std::size_t i) {
    const std::span<Cell const> texts = constants[draft.sets[i]].elements();
    return TextSet(texts, row(TextSet::room(texts.size()), [](std::size_t) -> Node const* { return nullptr; }));
  });
  bodies_.emplace(hash, &body);
  return body;
}

}  // namespace kdi::cores
