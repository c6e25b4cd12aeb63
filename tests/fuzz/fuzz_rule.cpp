// A rule, and a message, of any text: refused with a place inside it, or compiled, written back to the same rule, and
// evaluated to a value of its type or a fault.
#include <cstdint>
#include <string>

#include "kdi/cores/Rule.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::cores;

class Parameters : public Scope {
 public:
  std::optional<Symbol> symbol(std::string_view name) const override {
    for (std::uint32_t i = 0; i < std::size(kNames); ++i)
      if (name == kNames[i]) return Symbol{types_[i], i};
    return std::nullopt;
  }
  std::span<Cell const> cells() const { return cells_; }

 private:
  static constexpr std::string_view kNames[] = {"ON", "N", "FREQ", "NAME", "PADS", "LOADS"};
  const Type types_[6] = {Kind::truth,
                          Kind::integer,
                          Kind::decimal,
                          Kind::text,
                          *Type::list_of(Kind::integer),
                          *Type::dictionary_of(Kind::decimal)};
  const Value values_[6] = {
      true, 7, Decimal::of(33333, 3), "uart", Value::list({3, 4, 5}), Value::dictionary({{"a", Decimal::of(15, 1)}})};
  const Cell cells_[6] = {values_[0].cell(), values_[1].cell(), values_[2].cell(),
                          values_[3].cell(), values_[4].cell(), values_[5].cell()};
};

void evaluate(Rule const& rule, Parameters const& parameters, std::string const& text) {
  Machine machine;
  try {
    const Value value = machine.run(rule, parameters.cells());
    fuzz::require(value.cell().kind() == rule.type().kind(), "a value of another type", text);
  } catch (RuleFault const&) {
    // an answer as well
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static const Parameters& parameters = *new Parameters;
  const std::string text(reinterpret_cast<char const*>(data), size);
  try {
    const Rule rule = Rule::compile(text, parameters);
    const std::string written = rule.written();
    fuzz::require(Rule::compile(written, parameters).written() == written, "written otherwise the second time", text);
    evaluate(rule, parameters, text);
  } catch (RuleError const& error) {
    fuzz::require(error.offset() <= text.size(), "a place behind the text", text);
  }
  try {
    evaluate(Rule::compile_template(text, parameters), parameters, text);
  } catch (RuleError const& error) {
    fuzz::require(error.offset() <= text.size(), "a place behind the text", text);
  }
  return 0;
}
