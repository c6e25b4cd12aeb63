// Texts that users might give to a parameter of a core, at random.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "kdi/cores/Instance.h"

namespace plain_rules {

template <class Random, class List>
auto const& one_of(Random& random, List const& list) {
  return list[random() % list.size()];
}

/// One that the present range permits: of two limits mostly one near the ends, and sometimes one between.
template <class Random>
std::string valid_text(Random& random, kdi::cores::Instance const& instance, std::uint32_t i) {
  using namespace kdi::cores;
  Parameter const& parameter = instance.core().parameters()[i];
  const std::vector<std::string> range = instance.range(i);
  const bool has_limits =
      parameter.limits() || (parameter.range && parameter.widget == Widget::edit && parameter.type.is_number());
  if (parameter.type == Type(Kind::truth) && range.empty())
    return one_of(random, std::vector<std::string>{"0", "1", "true", "false"});
  if (range.empty()) {
    static const std::vector<std::string> kNumbers = {"0", "1", "2", "3", "7", "8", "33", "100", "4096"},
                                          kTexts = {"", "a", "0", "1", "0x10", "VCC_SAT 1", "0 1 2 3", "PMC_MIO 12"};
    return one_of(random, parameter.type.is_number() ? kNumbers : kTexts);
  }
  if (!has_limits) return one_of(random, range);
  const auto least = *Decimal::read(range.front()), most = *Decimal::read(range.back());
  const std::uint64_t sort = random() % 4;
  const Decimal steps = static_cast<std::int64_t>(random() % (sort == 3 ? 1000 : 3));
  const Decimal value = sort == 0 ? most - steps : least + steps;
  return value < least || most < value ? range.front() : value.text();
}

/// About what there is without a device.
template <class Random>
kdi::cores::Facts some_facts(Random& random, kdi::cores::Core const& core) {
  using namespace kdi::cores;
  Facts facts;
  const auto below = [&](std::uint64_t bound) { return random() % bound; };
  for (Fact const& fact : core.facts()) {
    if (below(2) == 0) continue;
    const Cell without = fact.without.cell();
    switch (fact.type.kind()) {
      case Kind::truth:
        facts[fact.word] = std::to_string(below(2));
        break;
      case Kind::integer:
        facts[fact.word] = std::to_string(below(2) == 0 ? below(17) : without.integer() * below(3) / 2);
        break;
      case Kind::decimal:
        facts[fact.word] = (without.decimal() * Decimal::of(static_cast<std::int64_t>(5 + below(11)), 1)).text();
        break;
      default:
        facts[fact.word] = below(2) == 0 ? "" : "2";
    }
  }
  return facts;
}

}  // namespace plain_rules
