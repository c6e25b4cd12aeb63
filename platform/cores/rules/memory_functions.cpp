#include "platform/cores/rules/memory_functions.h"

#include <algorithm>
#include <string>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ddr/SpeedBins.h"

namespace kdi::cores {
namespace {

ddr::MemoryType const& type_of(Cell name) {
  if (ddr::MemoryType const* const type = ddr::find_type(name.text())) return *type;
  throw RuleFault("no memory of the type " + text::quoted(text::shortened(name.text())));
}

Value number_of(std::string const* figure, std::string const& what) {
  if (figure == nullptr) throw RuleFault("no " + what);
  return Decimal::read(*figure).value();
}

Value figure(void*, std::span<Cell const> arguments) {
  return number_of(type_of(arguments[0]).figure(arguments[1].text(), arguments[2].text()),
                   arguments[2].text() + " of " + arguments[0].text() + "-" + arguments[1].text());
}

// A clock that is above all that the type has is told by a message at its bin; the latency is then that of the fastest.
Value figure_at(void*, std::span<Cell const> arguments) {
  ddr::MemoryType const& type = type_of(arguments[0]);
  const double most = static_cast<double>(type.speed_bins().back().rate_mtps) / 2;
  const double clock = number::whole<double>(arguments[1].decimal().text()).value();
  return number_of(type.figure_at(std::min(clock, most), arguments[2].text()),
                   arguments[2].text() + " of " + arguments[0].text());
}

Value bins(void*, std::span<Cell const> arguments) {
  std::vector<Value> names;
  for (ddr::SpeedBin const& bin : type_of(arguments[0]).speed_bins()) names.emplace_back(bin.name);
  return Value::list(names);
}

Value densities(void*, std::span<Cell const> arguments) {
  std::vector<Value> all;
  for (const std::int64_t density : type_of(arguments[0]).densities_mbit()) all.emplace_back(density);
  return Value::list(all);
}

}  // namespace

Function const* memory_function(std::string_view name) {
  static auto const& all = *new std::vector<Function>{
      {"ddr", {Kind::text, Kind::text, Kind::text}, Kind::decimal, figure},
      {"ddr_at", {Kind::text, Kind::decimal, Kind::text}, Kind::decimal, figure_at},
      {"ddr_bins", {Kind::text}, *Type::list_of(Kind::text), bins},
      {"ddr_densities", {Kind::text}, *Type::list_of(Kind::integer), densities},
  };
  const auto place = std::find_if(all.begin(), all.end(), [&](Function const& one) { return one.name == name; });
  return place == all.end() ? nullptr : &*place;
}

}  // namespace kdi::cores
